// The new-package method called by the sample simulator out of process: the server's dialog is
// answered in the server's process, through keys and clicks posted to its real controls.
#include "host/export_fixture.h"
#include "support/dialogs.h"

#include <thread>

namespace {

using namespace testsupport;
using tarv::PackageKind;

constexpr CLSID kIdealPackage = {0xE2785283, 0x7782, 0x4DEA, {0xB4, 0x2C, 0xFD, 0xD9, 0x27, 0xB1, 0x02, 0x86}};
constexpr int kTree = 204;
constexpr int kLogging = 814;

class NewPackageTest : public ExportTest {
protected:
    // Wine's marshaling finds a type library only under the locale-neutral key "0", whereas the
    // server's library is registered under its own locale, 409: the prefix gets both.
    static void SetUpTestSuite()
    {
        const std::string version = "Software\\Classes\\TypeLib\\{8032C600-BA13-484F-A25F-3DFB47FCA46D}\\1.0\\";
        char path[MAX_PATH] = "";
        LONG size = sizeof path;
        ASSERT_EQ(RegQueryValueA(HKEY_LOCAL_MACHINE, (version + "409\\win64").c_str(), path, &size), ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueA(HKEY_LOCAL_MACHINE, (version + "0\\win64").c_str(), REG_SZ, path, 0), ERROR_SUCCESS);
    }
};

} // namespace

TEST_F(NewPackageTest, TheSimulatorGetsTheChosenPackageExportedAndLoggedAsTheDialogSays)
{
    struct Case {
        const char* what;
        const wchar_t* stored;    // a record there before, not logged; null: none
        const char* typed;        // nothing: Cancel
        bool logging;             // the dialog's box
        std::vector<std::wstring> after;
        size_t logs;
    } cases[] = {
        {"new, not logged", nullptr, "TARVKit Ideal", false, {L"TARVKit Ideal Package"}, 0},
        {"same name: not added again, logged by the box", L"TARVKit Ideal Package", "TARVKit Ideal", true,
         {L"TARVKit Ideal Package"}, 1},
        {"names differing in case are different", L"tarvkit ideal package", "TARVKit Ideal", false,
         {L"tarvkit ideal package", L"TARVKit Ideal Package"}, 0},
        {"cancelled: the simulator's call fails and nothing is stored", nullptr, "", false, {}, 0},
    };
    for (const Case& c : cases) {
        SetUp();
        if (c.stored) addRecord(kIdealPackage, tarv::PropertyPackage11, c.stored, c.stored, false);
        // The server's dialog: the item whose label starts with what is typed into the tree, the
        // logging box as the case says, then OK; with nothing typed, Cancel.
        bool found = false, okEnabled = false;
        std::thread answer([&] {
            HWND dialog = waitForWindow("TARV version 1.1 Property Package:", 30000);
            if (!(found = dialog != nullptr)) return;
            Sleep(100);
            for (const char* ch = c.typed; *ch; ++ch) SendDlgItemMessageA(dialog, kTree, WM_CHAR, static_cast<unsigned char>(*ch), 0);
            okEnabled = *c.typed && IsWindowEnabled(GetDlgItem(dialog, IDOK));
            if ((SendDlgItemMessageA(dialog, kLogging, BM_GETCHECK, 0, 0) == BST_CHECKED) != c.logging)
                SendDlgItemMessageA(dialog, kLogging, BM_CLICK, 0, 0);
            PostMessageA(dialog, WM_COMMAND, okEnabled ? IDOK : IDCANCEL, 0);
        });
        std::string out, err;
        const DWORD exitCode = runCaptured(_wgetenv(L"TARV_SIMULATOR"), L"--new", out, &err);
        answer.join();
        EXPECT_TRUE(found) << c.what;
        EXPECT_EQ(okEnabled, *c.typed != 0) << c.what;
        EXPECT_EQ(exitCode, *c.typed ? 0u : 1u) << c.what << "\n" << err;
        EXPECT_TRUE(*c.typed || err.find("NewPropertyPackage failed\n  no package was chosen") != std::string::npos) << err;
        ASSERT_TRUE(waitForServerExit()) << c.what;
        tarv::loadPackages();
        EXPECT_EQ(storedNames(), c.after) << c.what;
        EXPECT_EQ(logFiles().size(), c.logs) << c.what;
        TearDown();
    }
}
