// The manager window and the add-package dialog driven through their messages, as a user meets them.
#include "com/bstr.h"
#include "host/add_package_dlg.h"
#include "host/discovery.h"
#include "host/module.h"
#include "host/package_manager_dlg.h"
#include "host/server.h"
#include "kit/classes.h"
#include "manager_ids.h"
#include "packages/package_store.h"
#include "support/dialogs.h"
#include "support/process.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

using testsupport::DialogAnswerer;
using testsupport::serverLocks;
using testsupport::waitForWindow;
using namespace tarv;

namespace {

// Runs `show` (a modal dialog) here while `drive` works the dialog `caption` from another thread.
INT_PTR withDialog(const char* caption, const std::function<void(HWND)>& drive, const std::function<INT_PTR()>& show)
{
    std::thread driver([&] {
        if (HWND dialog = waitForWindow(caption)) {
            drive(dialog);
            if (IsWindow(dialog)) PostMessageA(dialog, WM_COMMAND, IDCANCEL, 0);
        }
    });
    INT_PTR result = show();
    driver.join();
    return result;
}

// Each item of a menu: its text, "+" when checked, "~" when grayed; "-" for a separator.
std::vector<std::string> items(HMENU menu)
{
    std::vector<std::string> out;
    for (int i = 0; i < GetMenuItemCount(menu); ++i) {
        char text[256] = "";
        GetMenuStringA(menu, i, text, sizeof text, MF_BYPOSITION);
        const UINT state = GetMenuState(menu, i, MF_BYPOSITION);
        out.push_back(state & MF_SEPARATOR ? "-" : text + std::string(state & MF_CHECKED ? "+" : "") + (state & MF_GRAYED ? "~" : ""));
    }
    return out;
}

class ManagerTest : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        if (!sharedImageList) createSharedImageList(GetModuleHandleA(nullptr));
    }
    void SetUp() override
    {
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\TARV");
        exportedPackages().clear();
        CTARVModule::instance().options = ServerOptions{};
    }
    void TearDown() override
    {
        CTARVModule::instance().managerWindow = nullptr;
        manager.reset();
        exportedPackages().clear();
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\TARV");
    }
    static void addRecord(const CLSID& clsid, PackageKind kind, const wchar_t* name, const wchar_t* display, int logging)
    {
        exportedPackages().push_back(std::make_unique<ExportedPackage>(ExportedPackage{clsid, kind, name, display, logging}));
        savePackages();
    }
    // The store as the registry holds it now: "display name|logging" per record.
    static std::vector<std::string> stored()
    {
        ExportedPackageList saved = std::move(exportedPackages());
        loadPackages();
        std::vector<std::string> rows;
        for (const auto& p : exportedPackages()) rows.push_back(toNarrow(p->displayName) + "|" + std::to_string(p->loggingEnabled));
        exportedPackages() = std::move(saved);
        return rows;
    }
    void open()
    {
        manager = std::make_unique<CPackageManagerDlg>();
        CTARVModule::instance().managerWindow = manager.get();
        ASSERT_NE(window = manager->create(), nullptr);
        ShowWindow(window, SW_SHOWNORMAL);
        list = GetDlgItem(window, IDC_PACKAGE_LIST);
    }
    void command(int id) { SendMessageA(window, WM_COMMAND, id, 0); }
    // Each row: "text|type|check state image".
    std::vector<std::string> rows()
    {
        std::vector<std::string> out;
        for (int i = 0, n = static_cast<int>(SendMessageA(list, LVM_GETITEMCOUNT, 0, 0)); i < n; ++i) {
            std::string row;
            for (int sub = 0; sub < 2; ++sub) {
                char text[256] = "";
                LVITEMA it{};
                it.iSubItem = sub;
                it.pszText = text;
                it.cchTextMax = sizeof text;
                SendMessageA(list, LVM_GETITEMTEXTA, i, reinterpret_cast<LPARAM>(&it));
                row += std::string(text) + "|";
            }
            out.push_back(row + std::to_string(SendMessageA(list, LVM_GETITEMSTATE, i, LVIS_STATEIMAGEMASK) >> 12));
        }
        return out;
    }
    void setRowState(int row, UINT state, UINT mask)
    {
        LVITEMA it{};
        it.state = state;
        it.stateMask = mask;
        SendMessageA(list, LVM_SETITEMSTATE, row, reinterpret_cast<LPARAM>(&it));
    }
    // A popup of the menu bar as it looks once opened.
    std::vector<std::string> popup(int index)
    {
        HMENU menu = GetSubMenu(GetMenu(window), index);
        SendMessageA(window, WM_INITMENUPOPUP, reinterpret_cast<WPARAM>(menu), index);
        return items(menu);
    }
    std::unique_ptr<CPackageManagerDlg> manager;
    HWND window = nullptr, list = nullptr;
};

} // namespace

TEST_F(ManagerTest, TheWindowShowsTheStoreSavesEachChangeAtOnceAndAddsWhatTheDialogChooses)
{
    addRecord(kit::CLSID_PackageManager, PropertyPackageManager11, L"Ideal Alkanes", L"TARVKit Package Manager/Ideal Alkanes", 1);
    addRecord(kit::CLSID_Package10, PropertyPackage10, L"TARVKit Package 1.0", L"TARVKit Package 1.0", 0);
    addRecord(CLSID{}, ReactionPackageManager10, L"Esterification", L"Kit.Reactions/Esterification", 0);
    const ULONG before = serverLocks();
    open();
    EXPECT_EQ(serverLocks(), before + 1);
    EXPECT_EQ(rows(), (std::vector<std::string>{"TARVKit Package Manager/Ideal Alkanes|PP 1.1|2",
                                                "TARVKit Package 1.0|PP 1.0|1", "Kit.Reactions/Esterification|RP 1.0|1"}));
    // Nothing selected: remove and logging are grayed, and do nothing.
    EXPECT_EQ(popup(1), (std::vector<std::string>{"&Add package...", "&Remove package...~"}));
    EXPECT_EQ(popup(2)[0], "&Enable logging~");
    command(ID_PACKAGE_REMOVE);
    EXPECT_EQ(stored().size(), 3u);
    // A check box click changes the store at once; the same state again saves nothing.
    setRowState(1, 0x2000, LVIS_STATEIMAGEMASK);
    setRowState(0, 0x1000, LVIS_STATEIMAGEMASK);
    EXPECT_EQ(stored(), (std::vector<std::string>{"TARVKit Package Manager/Ideal Alkanes|0", "TARVKit Package 1.0|1",
                                                  "Kit.Reactions/Esterification|0"}));
    // The Log menu's toggle keeps the row selected.
    setRowState(2, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    EXPECT_EQ(popup(2)[0], "&Enable logging");
    command(ID_LOG_ENABLE);
    EXPECT_EQ(rows()[2], "Kit.Reactions/Esterification|RP 1.0|2");
    EXPECT_EQ(popup(2)[0], "&Enable logging+");
    EXPECT_EQ(SendMessageA(list, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED), 2);
    // Remove asks nothing.
    setRowState(0, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    command(ID_PACKAGE_REMOVE);
    EXPECT_EQ(stored(), (std::vector<std::string>{"TARVKit Package 1.0|1", "Kit.Reactions/Esterification|1"}));
    EXPECT_EQ(rows().size(), 2u);
    // Adding refuses a display name already exported, ignoring case.
    exportedPackages()[0]->displayName = L"tarvkit PACKAGE 1.0";
    savePackages();
    // The dialog's choice as a user makes it: the label typed into the tree, then OK.
    auto choose = [](const char* label) {
        return [label](HWND d) {
            for (const char* ch = label; *ch; ++ch) SendDlgItemMessageA(d, IDC_COMPONENT_TREE, WM_CHAR, static_cast<unsigned char>(*ch), 0);
            SendMessageA(d, WM_COMMAND, IDOK, 0);
        };
    };
    withDialog("Export package:", choose("TARVKit Ideal Package"), [&] { return SendMessageA(window, WM_COMMAND, ID_PACKAGE_ADD, 0); });
    EXPECT_EQ(stored().back(), "TARVKit Ideal Package|1");
    EXPECT_EQ(rows().back(), "TARVKit Ideal Package|PP 1.1|2");
    {
        DialogAnswerer refused("Add package:", IDOK);
        withDialog("Export package:", choose("TARVKit Package 1.0"), [&] { return SendMessageA(window, WM_COMMAND, ID_PACKAGE_ADD, 0); });
        ASSERT_TRUE(refused.wait());
        EXPECT_EQ(refused.seen()[0].text + "|" + std::to_string(refused.seen()[0].icon),
                  "The selected property package is already exported|" + std::to_string(MB_ICONINFORMATION));
        EXPECT_EQ(stored().size(), 3u);
    }
    // Enter does not close the window; Close does, and lets the process go.
    command(IDOK);
    EXPECT_TRUE(IsWindow(window));
    command(ID_FILE_CLOSE);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(serverLocks(), before);
}
