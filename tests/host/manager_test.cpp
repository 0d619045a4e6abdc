// The manager window and the add-package dialog as a user meets them: real controls in this
// process, read back and driven through their messages; the modal dialogs and message boxes they
// open are answered from other threads. Discovery runs on the test prefix's registry, with the
// kit's components and a few class keys written here.
#include "support/screenshot.h"

#include "com/bstr.h"
#include "host/add_package_dlg.h"
#include "host/discovery.h"
#include "host/module.h"
#include "host/package_manager_dlg.h"
#include "host/server.h"
#include "kit/classes.h"
#include "log/call_log.h"
#include "manager_ids.h"
#include "packages/package_store.h"
#include "support/dialogs.h"
#include "support/process.h"
#include "viewer_ids.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <thread>

using testsupport::DialogAnswerer;
using testsupport::serverLocks;
using testsupport::waitForWindow;
using namespace tarv;

namespace {

// Runs `show` (which opens a modal dialog) on this thread while `drive` works the dialog titled
// `caption` from another; a dialog that `drive` left open is cancelled.
INT_PTR withDialog(const char* caption, const std::function<void(HWND)>& drive, const std::function<INT_PTR()>& show)
{
    std::thread driver([&] {
        HWND dialog = waitForWindow(caption);
        if (!dialog) return;
        drive(dialog);
        if (IsWindow(dialog)) PostMessageA(dialog, WM_COMMAND, IDCANCEL, 0);
    });
    INT_PTR result = show();
    driver.join();
    return result;
}

// Class keys written under HKLM\Software\Classes\CLSID for one test, removed after it.
struct FakeClass {
    std::string key;
    std::vector<const char*> categories;
    std::map<std::string, std::string> values;   // "CapeDescription\Name" -> text; "ProgID\" for a default
};

void writeClass(const FakeClass& c)
{
    const std::string base = "Software\\Classes\\CLSID\\" + c.key;
    auto set = [](const std::string& key, const char* name, const std::string& value) {
        HKEY h;
        ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &h, nullptr),
                  ERROR_SUCCESS);
        RegSetValueExA(h, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                       static_cast<DWORD>(value.size() + 1));
        RegCloseKey(h);
    };
    set(base, nullptr, "");
    for (const char* category : c.categories) set(base + "\\Implemented Categories\\" + category, nullptr, "");
    for (const auto& [path, value] : c.values) {
        const size_t slash = path.find('\\');
        const std::string name = path.substr(slash + 1);
        set(base + "\\" + path.substr(0, slash), name.empty() ? nullptr : name.c_str(), value);
    }
}

constexpr const char* kManager11 = "{CF51E383-0110-4ed8-ACB7-B50CFDE6908E}";
constexpr const char* kPackage11 = "{cf51e384-0110-4ED8-acb7-b50cfde6908e}";   // case differs from the table
constexpr const char* kReactionManager = "{678C09AA-0100-11D2-A67D-00105A42887F}";
constexpr const char* kReactionPackage = "{678C09AB-0100-11D2-A67D-00105A42887F}";

const char kTwice[] = "{2C655EA2-37A3-4775-AB68-3F2EA7EB8AAD}";
const char kBare[] = "{D73EA0DC-5638-47F5-8C69-FDB0D23D1CA4}";
const char kReactions[] = "{C80943C3-0760-44A1-B339-FB5FE2403364}";
const char kReaction[] = "{D76068CF-5970-48F8-93D1-C613FB80FE9B}";
const char kMixer[] = "{5368C70E-B0F8-4530-8B18-0A5FF1D9D8B5}";
const char kSplitter[] = "{9C1D62F0-759D-42C9-9E95-34DFFE588859}";

const std::vector<FakeClass>& fakeClasses()
{
    static const std::vector<FakeClass> classes{
        {kTwice, {kManager11, kPackage11}, {{"CapeDescription\\Name", "Kit Twice"}}},
        {kBare, {kPackage11}, {}},
        {"Not a class id", {kPackage11}, {{"CapeDescription\\Name", "Kit Not A Class"}}},
        {kReactions, {kReactionManager},
         {{"ProgID\\", "Kit.Reactions.1"}, {"VersionIndependentProgID\\", "Kit.Reactions"}}},
        {kReaction, {kReactionPackage}, {{"CapeDescription\\Description", "not a label here"}, {"ProgID\\", "Kit.Reaction.1"}}},
        {kMixer, {kUnitOperationCategory},
         {{"CapeDescription\\Name", "Kit Mixer"}, {"CapeDescription\\Description", "adiabatic"}}},
        {kSplitter, {"{678C09A5-7D66-11D2-A67D-00105A42887F}"}, {{"CapeDescription\\Description", "Kit Splitter"}}},
    };
    return classes;
}

class ManagerTest : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        if (!sharedImageList) createSharedImageList(GetModuleHandleA(nullptr));
        for (const FakeClass& c : fakeClasses()) writeClass(c);
    }
    static void TearDownTestSuite()
    {
        for (const FakeClass& c : fakeClasses()) {
            const std::string key = "Software\\Classes\\CLSID\\" + c.key;
            RegDeleteTreeA(HKEY_LOCAL_MACHINE, key.c_str());
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, key.c_str());
        }
    }

    void SetUp() override
    {
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\TARV");
        exportedPackages().clear();
        CTARVModule::instance().options = ServerOptions{};
    }
    void TearDown() override
    {
        if (manager) {
            CTARVModule::instance().managerWindow = nullptr;
            manager.reset();
        }
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
        window = manager->create();
        ASSERT_NE(window, nullptr);
        ShowWindow(window, SW_SHOWNORMAL);
        list = GetDlgItem(window, IDC_PACKAGE_LIST);
    }
    void command(int id) { SendMessageA(window, WM_COMMAND, id, 0); }

    // Each row: "text|type|check state image".
    std::vector<std::string> rows()
    {
        std::vector<std::string> out;
        const auto n = static_cast<int>(SendMessageA(list, LVM_GETITEMCOUNT, 0, 0));
        for (int i = 0; i < n; ++i) {
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
            row += std::to_string(SendMessageA(list, LVM_GETITEMSTATE, i, LVIS_STATEIMAGEMASK) >> 12);
            out.push_back(row);
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
    // A popup of the menu bar (or one below it, by position) as it looks once opened.
    HMENU popup(int index, int sub = -1)
    {
        HMENU menu = GetSubMenu(GetMenu(window), index);
        if (sub >= 0) menu = GetSubMenu(menu, sub);
        SendMessageA(window, WM_INITMENUPOPUP, reinterpret_cast<WPARAM>(menu), index);
        return menu;
    }
    // Each item: "text" with "+" when checked and "~" when grayed, "-" for a separator.
    static std::vector<std::string> items(HMENU menu)
    {
        std::vector<std::string> out;
        for (int i = 0; i < GetMenuItemCount(menu); ++i) {
            char text[256] = "";
            GetMenuStringA(menu, i, text, sizeof text, MF_BYPOSITION);
            const UINT state = GetMenuState(menu, i, MF_BYPOSITION);
            out.push_back(state & MF_SEPARATOR ? "-"
                                               : std::string(text) + (state & MF_CHECKED ? "+" : "") +
                                                     (state & MF_GRAYED ? "~" : ""));
        }
        return out;
    }

    std::unique_ptr<CPackageManagerDlg> manager;
    HWND window = nullptr;
    HWND list = nullptr;
};

} // namespace

TEST_F(ManagerTest, TheListShowsTheStoreAndEachChangeIsSavedAtOnce)
{
    addRecord(kit::CLSID_PackageManager, PropertyPackageManager11, L"Ideal Alkanes", L"TARVKit Package Manager/Ideal Alkanes", 1);
    addRecord(kit::CLSID_Package10, PropertyPackage10, L"TARVKit Package 1.0", L"TARVKit Package 1.0", 0);
    addRecord(CLSID{}, ReactionPackageManager10, L"Esterification", L"Kit.Reactions/Esterification", 0);
    const ULONG before = serverLocks();
    open();
    EXPECT_EQ(serverLocks(), before + 1);
    EXPECT_EQ(rows(), (std::vector<std::string>{"TARVKit Package Manager/Ideal Alkanes|PP 1.1|2",
                                                "TARVKit Package 1.0|PP 1.0|1", "Kit.Reactions/Esterification|RP 1.0|1"}));
    EXPECT_EQ(SendMessageA(list, LVM_GETIMAGELIST, LVSIL_SMALL, 0), reinterpret_cast<LRESULT>(sharedImageList));
    LVITEMA image{};
    image.mask = LVIF_IMAGE;
    image.iItem = 2;
    SendMessageA(list, LVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&image));
    EXPECT_EQ(image.iImage, 1);
    HMENU system = GetSystemMenu(window, FALSE);
    char about[64] = "";
    GetMenuStringA(system, ID_SYSTEM_ABOUT, about, sizeof about, MF_BYCOMMAND);
    EXPECT_STREQ(about, "&About TARV...");

    // Nothing selected: remove and logging are grayed, and do nothing.
    EXPECT_EQ(items(popup(1)), (std::vector<std::string>{"&Add package...", "&Remove package...~"}));
    EXPECT_EQ(items(popup(2))[0], "&Enable logging~");
    command(ID_PACKAGE_REMOVE);
    EXPECT_EQ(stored().size(), 3u);

    // A check box click: the store changes at once; a change to the same state saves nothing.
    setRowState(1, 0x2000, LVIS_STATEIMAGEMASK);
    setRowState(0, 0x1000, LVIS_STATEIMAGEMASK);
    EXPECT_EQ(stored(), (std::vector<std::string>{"TARVKit Package Manager/Ideal Alkanes|0", "TARVKit Package 1.0|1",
                                                  "Kit.Reactions/Esterification|0"}));

    // The Log menu's toggle keeps the row selected.
    setRowState(2, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    EXPECT_EQ(items(popup(2))[0], "&Enable logging");
    command(ID_LOG_ENABLE);
    EXPECT_EQ(rows()[2], "Kit.Reactions/Esterification|RP 1.0|2");
    EXPECT_EQ(items(popup(2))[0], "&Enable logging+");
    EXPECT_EQ(SendMessageA(list, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED), 2);
    EXPECT_TRUE(testsupport::saveScreenshot(window, "manager-window.bmp"));

    // Remove asks nothing.
    setRowState(0, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    command(ID_PACKAGE_REMOVE);
    EXPECT_EQ(stored(), (std::vector<std::string>{"TARVKit Package 1.0|1", "Kit.Reactions/Esterification|1"}));
    EXPECT_EQ(rows().size(), 2u);

    // A reload from elsewhere refreshes the window; Enter does not close it; Close does, and lets
    // the process go, while the object lives on.
    exportedPackages().clear();
    loadPackages();
    EXPECT_EQ(rows().size(), 2u);
    command(IDOK);
    EXPECT_TRUE(IsWindow(window));
    command(ID_FILE_CLOSE);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(serverLocks(), before);
    manager->refreshList();
    loadPackages();
}

TEST_F(ManagerTest, TheOptionsMenuFlipsTheStoredOptionsAndListsTheInstalledUnitOperations)
{
    open();
    ServerOptions& options = CTARVModule::instance().options;
    EXPECT_EQ(items(popup(3)), (std::vector<std::string>{"&Automatic log location",
                                                         "&Prompt for opening log when object terminates+",
                                                         "&VESKER logs unit operation:"}));
    command(ID_OPTIONS_AUTO_LOCATION);
    command(ID_OPTIONS_PROMPT_OPEN_LOG);
    ServerOptions saved;
    loadOptions(saved);
    EXPECT_EQ(saved.autoLogLocation, 1);
    EXPECT_EQ(saved.promptOpenLog, 0);
    // Another process changed them: the menu shows the registry's state.
    saved.autoLogLocation = 0;
    saveOptions(saved);
    EXPECT_EQ(items(popup(3))[0], "&Automatic log location");

    // Discovery: the kit's mixer and splitter by their labels, the server's own unit operation not.
    std::vector<std::string> shown = items(popup(3, 2));
    ASSERT_GE(shown.size(), 4u);
    EXPECT_EQ(shown[0], "&Ask user+");
    EXPECT_EQ(shown[1], "-");
    const auto& names = CTARVModule::instance().unitOperationNames;
    const auto mixer = std::find(names.begin(), names.end(), "Kit Mixer (adiabatic)");
    ASSERT_NE(mixer, names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), "Kit Splitter"), names.end());
    EXPECT_EQ(std::find(names.begin(), names.end(), "VESKER Logged Unit Operation (x64) (VESKER Logged Unit Operation (x64))"),
              names.end());
    EXPECT_EQ(shown.size(), names.size() + 2);

    const int mixerId = ID_UNIT_FIRST + static_cast<int>(mixer - names.begin());
    CLSID mixerClass;
    CLSIDFromString(toWide(kMixer).c_str(), &mixerClass);
    struct Case {
        const char* what;
        int command;
        CLSID stored;                 // before the command
        CLSID expected;               // saved after it
        const char* unknown;          // the last item, when "<Unknown>" shows
    } cases[] = {
        {"a discovered one", mixerId, CLSID{}, mixerClass, nullptr},
        {"<Unknown> changes nothing", ID_UNIT_UNKNOWN, kit::CLSID_KitObject, kit::CLSID_KitObject, "<Unknown>+"},
        {"Ask user", ID_OPTIONS_ASK_USER, kit::CLSID_KitObject, CLSID{}, "<Unknown>+"},
    };
    for (const Case& c : cases) {
        options.loggedUnitOperation = c.stored;
        saveOptions(options);
        shown = items(popup(3, 2));
        EXPECT_EQ(shown[0], c.stored == CLSID{} ? "&Ask user+" : "&Ask user") << c.what;
        if (c.unknown) {
            EXPECT_EQ(shown.back(), c.unknown) << c.what;
        } else {
            EXPECT_EQ(shown.size(), names.size() + 2) << c.what;
        }
        command(c.command);
        ServerOptions after;
        loadOptions(after);
        EXPECT_EQ(after.loggedUnitOperation, c.expected) << c.what;
    }
    options.loggedUnitOperation = mixerClass;
    EXPECT_EQ(items(popup(3, 2))[static_cast<size_t>(mixerId - ID_UNIT_FIRST + 2)], "Kit Mixer (adiabatic)+");
}

TEST_F(ManagerTest, AboutHelpAndViewLogOpenWhatTheyName)
{
    open();
    for (auto [kind, id] : {std::pair{WM_COMMAND, ID_HELP_ABOUT}, {WM_SYSCOMMAND, ID_SYSTEM_ABOUT}}) {
        std::string text, address;
        withDialog("TARV:", [&](HWND about) {
            char buffer[256] = "";
            GetDlgItemTextA(about, IDC_ABOUT_VERSION, buffer, sizeof buffer);
            text = buffer;
            GetDlgItemTextA(about, IDC_ABOUT_ADDRESS, buffer, sizeof buffer);
            address = buffer;
            PostMessageA(about, WM_COMMAND, IDOK, 0);
        }, [&, kind = kind, id = id] { return SendMessageA(window, kind, id, 0); });
        EXPECT_EQ(text, std::string("TARV Thermo Host ") + versionString + " (x64)");
        EXPECT_EQ(address, kVendorUrl);
    }

    DialogAnswerer help("Error starting Help:", IDOK);
    command(ID_HELP_HELP);
    ASSERT_TRUE(help.wait());
    char module[MAX_PATH];
    GetModuleFileNameA(nullptr, module, MAX_PATH);
    std::string folder(module);
    folder.erase(folder.rfind('\\') + 1);
    EXPECT_EQ(help.seen()[0].text, "Failed to load HTML Help file " + folder + "MIRB.chm");
    EXPECT_EQ(help.seen()[0].icon, static_cast<UINT>(MB_ICONERROR));

    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    const std::string log = std::string(temp) + "manager-view.tlg";
    FILE* f = std::fopen(log.c_str(), "w");
    std::fputs("<?xml version=\"1.0\"?>\n<tarvlogdocument>\n<info value=\"Alpha\"/>\n</tarvlogdocument>\n", f);
    std::fclose(f);
    DialogAnswerer file("View log file:", IDOK, 1, log);
    command(ID_LOG_VIEW);
    ASSERT_TRUE(file.wait());
    HWND viewer = waitForWindow("Log file manager-view.tlg:");
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(SendMessageA(GetDlgItem(viewer, IDC_LOG_TREE), TVM_GETCOUNT, 0, 0), 1);
    PostMessageA(viewer, WM_COMMAND, ID_VIEW_CLOSE, 0);
    for (int i = 0; i < 500 && IsWindow(viewer); ++i) Sleep(10);
    DeleteFileA(log.c_str());
}

namespace {

// The add-package dialog's tree, read from another thread.
struct Tree {
    HWND tree;
    CAddPackageDlg* dialog = nullptr;   // for the entries behind the top-level items

    HTREEITEM next(UINT relation, HTREEITEM item = nullptr) const
    {
        return reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
    }
    TVITEMA item(HTREEITEM h, char* text) const
    {
        TVITEMA it{};
        it.mask = TVIF_TEXT | TVIF_IMAGE | TVIF_PARAM | TVIF_CHILDREN;
        it.hItem = h;
        it.pszText = text;
        it.cchTextMax = 256;
        SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
        return it;
    }
    // Top-level items: "label|kind|image|child marker".
    std::vector<std::string> top() const
    {
        std::vector<std::string> out;
        for (HTREEITEM h = next(TVGN_ROOT); h; h = next(TVGN_NEXT, h)) {
            char text[256] = "";
            TVITEMA it = item(h, text);
            out.push_back(std::string(text) + "|" + std::to_string(dialog->entries.at(static_cast<size_t>(it.lParam))->kind) +
                          "|" + std::to_string(it.iImage) + "|" + std::to_string(it.cChildren));
        }
        return out;
    }
    HTREEITEM find(const std::string& label) const
    {
        for (HTREEITEM h = next(TVGN_ROOT); h; h = next(TVGN_NEXT, h)) {
            char text[256] = "";
            item(h, text);
            if (label == text) return h;
        }
        return nullptr;
    }
    // Selects the top-level item `label` and presses OK.
    static void choose(HWND dialog, const std::string& label)
    {
        Tree tree{GetDlgItem(dialog, IDC_COMPONENT_TREE)};
        SendMessageA(tree.tree, TVM_SELECTITEM, TVGN_CARET, reinterpret_cast<LPARAM>(tree.find(label)));
        SendMessageA(dialog, WM_COMMAND, IDOK, 0);
    }
    std::vector<std::string> children(HTREEITEM parent) const
    {
        std::vector<std::string> out;
        for (HTREEITEM h = next(TVGN_CHILD, parent); h; h = next(TVGN_NEXT, h)) {
            char text[256] = "";
            const TVITEMA it = item(h, text);
            out.push_back(std::string(text) + "|" + std::to_string(it.iImage));
        }
        return out;
    }
    // Selects the item and opens it as a user does, with the right arrow key.
    void open(HTREEITEM h) const
    {
        SendMessageA(tree, TVM_SELECTITEM, TVGN_CARET, reinterpret_cast<LPARAM>(h));
        SendMessageA(tree, WM_KEYDOWN, VK_RIGHT, 0);
    }
    bool okEnabled(HTREEITEM h) const
    {
        SendMessageA(tree, TVM_SELECTITEM, TVGN_CARET, reinterpret_cast<LPARAM>(h));
        return IsWindowEnabled(GetDlgItem(GetParent(tree), IDOK));
    }
};

bool contains(const std::vector<std::string>& all, const std::string& one)
{
    return std::find(all.begin(), all.end(), one) != all.end();
}

} // namespace

TEST_F(ManagerTest, TheAddPackageDialogOffersTheRegisteredComponentsByCategory)
{
    struct Case {
        const char* what;
        int hide10, hide11, hideReaction;
        std::vector<std::string> present, absent;
    } cases[] = {
        {"all kinds",
         0, 0, 0,
         {"Kit Twice|0|0|1", "Kit Twice|1|1|0", kBare + std::string("|1|1|0"), "Kit.Reactions|4|11|1",
          "Kit.Reaction.1|5|12|0", "TARVKit Package Manager|0|0|1", "TARVKit Thermo System|2|0|1",
          "TARVKit Package 1.0|3|1|0", "TARVKit Ideal Package|1|1|0"},
         {"Kit Not A Class|1|1|0", "TARV Property Package Manager (CAPE-OPEN 1.1, x64)|0|0|1",
          "TARV Thermo System (CAPE-OPEN 1.0, x64)|2|0|1", "TARV Reaction Package Manager (CAPE-OPEN 1.0, x64)|4|11|1"}},
        {"1.1 only", 1, 0, 1, {"Kit Twice|0|0|1", "TARVKit Ideal Package|1|1|0"},
         {"TARVKit Thermo System|2|0|1", "Kit.Reactions|4|11|1"}},
        {"reactions only", 1, 1, 0, {"Kit.Reactions|4|11|1", "Kit.Reaction.1|5|12|0"}, {"Kit Twice|0|0|1"}},
    };
    for (const Case& c : cases) {
        CAddPackageDlg dialog;
        dialog.hideProperty10 = c.hide10;
        dialog.hideProperty11 = c.hide11;
        dialog.hideReaction = c.hideReaction;
        std::vector<std::string> top;
        bool sorted = false, logging = false;
        withDialog("Export package:", [&](HWND d) {
            Tree tree{GetDlgItem(d, IDC_COMPONENT_TREE), &dialog};
            top = tree.top();
            std::vector<std::string> labels;
            for (const std::string& t : top) labels.push_back(t.substr(0, t.find('|')));
            sorted = std::is_sorted(labels.begin(), labels.end(),
                                    [](const std::string& a, const std::string& b) { return lstrcmpiA(a.c_str(), b.c_str()) < 0; });
            logging = IsDlgButtonChecked(d, IDC_LOGGING_ENABLED) == BST_CHECKED;
        }, [&] { return dialog.showModal(nullptr); });
        for (const std::string& p : c.present) EXPECT_TRUE(contains(top, p)) << c.what << ": " << p;
        for (const std::string& a : c.absent) EXPECT_FALSE(contains(top, a)) << c.what << ": " << a;
        if (c.hide10 && c.hideReaction) {
            for (const std::string& t : top)
                EXPECT_TRUE(t.find("|0|") != std::string::npos || t.find("|1|") != std::string::npos) << t;
        }
        EXPECT_TRUE(sorted) << c.what;
        EXPECT_TRUE(logging) << c.what;
    }
}

TEST_F(ManagerTest, OpeningAContainerAsksItForItsPackagesAndTellsEachFailure)
{
    struct Case {
        const char* label;
        std::vector<std::string> children;
        std::vector<std::string> messages;   // shown at each of two openings
    } cases[] = {
        {"TARVKit Package Manager", {"Ideal Alkanes|1", "Ideal Aromatics|1"}, {}},
        {"TARVKit Thermo System", {"Ideal Alkanes|1", "Ideal Aromatics|1"}, {}},
        {"TARVKit Manager Listing Nothing", {}, {}},
        {"TARVKit Manager Failing Init", {"Ideal Alkanes|1", "Ideal Aromatics|1"},
         {"Failed to initialize property package manager: " + toNarrow(kit::kFailingInitText)}},
        {"TARVKit Manager Failing List", {},
         {"Failed to get a list of property packages from property package manager: " + toNarrow(kit::kFailingListText),
          "Failed to get a list of property packages from property package manager: " + toNarrow(kit::kFailingListText)}},
        {"Kit.Reactions", {},
         {"Failed to create reaction package mananger: " + toNarrow(systemErrorText(REGDB_E_CLASSNOTREG)),
          "Failed to create reaction package mananger: " + toNarrow(systemErrorText(REGDB_E_CLASSNOTREG))}},
    };
    for (const Case& c : cases) {
        CAddPackageDlg dialog;
        std::vector<std::string> children;
        std::vector<std::string> messages;
        withDialog("Export package:", [&](HWND d) {
            Tree tree{GetDlgItem(d, IDC_COMPONENT_TREE), &dialog};
            HTREEITEM item = tree.find(c.label);
            if (!item) return;
            // Two openings: an item that got its packages is not asked again.
            for (int i = 0; i < 2; ++i) {
                DialogAnswerer error("Error:", IDOK);
                tree.open(item);
                SendMessageA(tree.tree, WM_KEYDOWN, VK_LEFT, 0);
                if (error.wait(i < static_cast<int>(c.messages.size()) ? 10000 : 300)) {
                    messages.push_back(error.seen()[0].text);
                    EXPECT_EQ(error.seen()[0].icon, static_cast<UINT>(MB_ICONERROR));
                }
            }
            children = tree.children(item);
        }, [&] { return dialog.showModal(nullptr); });
        EXPECT_EQ(children, c.children) << c.label;
        EXPECT_EQ(messages, c.messages) << c.label;
    }
}

TEST_F(ManagerTest, OkTakesAPackageOfAContainerOrAStandAlonePropertyPackage)
{
    struct Case {
        const char* label;
        const char* child;       // null: the top-level item itself
        bool logging;
        bool selectable;
        ExportedPackage result;
    } cases[] = {
        {"TARVKit Package Manager", nullptr, true, false, {}},
        {"Kit.Reaction.1", nullptr, true, false, {}},
        {"TARVKit Package Manager", "Ideal Aromatics", false, true,
         {kit::CLSID_PackageManager, PropertyPackageManager11, L"Ideal Aromatics", L"TARVKit Package Manager/Ideal Aromatics", 0}},
        {"TARVKit Thermo System", "Ideal Alkanes", true, true,
         {kit::CLSID_ThermoSystem10, ThermoSystem10, L"Ideal Alkanes", L"TARVKit Thermo System/Ideal Alkanes", 1}},
        {"TARVKit Package 1.0", nullptr, true, true,
         {kit::CLSID_Package10, PropertyPackage10, L"TARVKit Package 1.0", L"TARVKit Package 1.0", 1}},
    };
    for (const Case& c : cases) {
        CAddPackageDlg dialog;
        bool enabled = false;
        const INT_PTR end = withDialog("Export package:", [&](HWND d) {
            Tree tree{GetDlgItem(d, IDC_COMPONENT_TREE), &dialog};
            HTREEITEM item = tree.find(c.label);
            if (c.child) {
                tree.open(item);
                for (item = tree.next(TVGN_CHILD, item); item; item = tree.next(TVGN_NEXT, item)) {
                    char text[256] = "";
                    tree.item(item, text);
                    if (std::string(text) == c.child) break;
                }
            }
            enabled = tree.okEnabled(item);
            if (!c.logging) SendDlgItemMessageA(d, IDC_LOGGING_ENABLED, BM_CLICK, 0, 0);
            if (c.child && c.logging) {
                EXPECT_TRUE(testsupport::saveScreenshot(d, "add-package-dialog.bmp"));
            }
            // OK on what cannot be taken leaves the dialog open; the driver then cancels it.
            SendMessageA(d, WM_COMMAND, IDOK, 0);
        }, [&] { return dialog.showModal(nullptr); });
        EXPECT_EQ(enabled, c.selectable) << c.label;
        EXPECT_EQ(end, c.selectable ? IDOK : IDCANCEL) << c.label;
        if (c.selectable) {
            EXPECT_EQ(dialog.result, c.result) << c.label;
        }
    }
}

TEST_F(ManagerTest, AddingFromTheWindowRefusesANameAlreadyExportedIgnoringCase)
{
    addRecord(kit::CLSID_Package10, PropertyPackage10, L"x", L"tarvkit PACKAGE 1.0", 0);
    open();
    auto choose = [](const char* label) { return [label](HWND d) { Tree::choose(d, label); }; };
    withDialog("Export package:", choose("TARVKit Ideal Package"), [&] { return SendMessageA(window, WM_COMMAND, ID_PACKAGE_ADD, 0); });
    EXPECT_EQ(stored(), (std::vector<std::string>{"tarvkit PACKAGE 1.0|0", "TARVKit Ideal Package|1"}));
    EXPECT_EQ(rows().back(), "TARVKit Ideal Package|PP 1.1|2");

    DialogAnswerer refused("Add package:", IDOK);
    withDialog("Export package:", choose("TARVKit Package 1.0"), [&] { return SendMessageA(window, WM_COMMAND, ID_PACKAGE_ADD, 0); });
    ASSERT_TRUE(refused.wait());
    EXPECT_EQ(refused.seen()[0].text, "The selected property package is already exported");
    EXPECT_EQ(refused.seen()[0].icon, static_cast<UINT>(MB_ICONINFORMATION));
    EXPECT_EQ(stored().size(), 2u);
}
