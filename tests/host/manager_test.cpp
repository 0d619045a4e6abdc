// The manager window and the add-package dialog driven through their messages, as a user meets them.
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

#include <fstream>
#include <functional>
#include <map>
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

// Class keys under HKLM\Software\Classes\CLSID: categories, and "Subkey\Value" -> text.
struct FakeClass { std::string key; std::vector<const char*> categories; std::map<std::string, std::string> values; };

constexpr const char* kManager11 = "{CF51E383-0110-4ed8-ACB7-B50CFDE6908E}";
constexpr const char* kPackage11 = "{cf51e384-0110-4ED8-acb7-b50cfde6908e}";   // case differs from the table
const char kBare[] = "{D73EA0DC-5638-47F5-8C69-FDB0D23D1CA4}";
const char kMixer[] = "{5368C70E-B0F8-4530-8B18-0A5FF1D9D8B5}";

const std::vector<FakeClass> kFakeClasses{
    {"{2C655EA2-37A3-4775-AB68-3F2EA7EB8AAD}", {kManager11, kPackage11}, {{"CapeDescription\\Name", "Kit Twice"}}},
    {kBare, {kPackage11}, {}},
    {"Not a class id", {kPackage11}, {{"CapeDescription\\Name", "Kit Not A Class"}}},
    {"{C80943C3-0760-44A1-B339-FB5FE2403364}", {"{678C09AA-0100-11D2-A67D-00105A42887F}"},
     {{"ProgID\\", "Kit.Reactions.1"}, {"VersionIndependentProgID\\", "Kit.Reactions"}}},
    {"{D76068CF-5970-48F8-93D1-C613FB80FE9B}", {"{678C09AB-0100-11D2-A67D-00105A42887F}"},
     {{"CapeDescription\\Description", "not a label here"}, {"ProgID\\", "Kit.Reaction.1"}}},
    {kMixer, {kUnitOperationCategory}, {{"CapeDescription\\Name", "Kit Mixer"}, {"CapeDescription\\Description", "adiabatic"}}},
    {"{9C1D62F0-759D-42C9-9E95-34DFFE588859}", {"{678C09A5-7D66-11D2-A67D-00105A42887F}"},
     {{"CapeDescription\\Description", "Kit Splitter"}}},
};

void setValue(const std::string& key, const std::string& name, const std::string& value)
{
    EXPECT_EQ(RegSetKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), name.empty() ? nullptr : name.c_str(), REG_SZ, value.c_str(),
                              static_cast<DWORD>(value.size() + 1)), ERROR_SUCCESS) << key;
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
        for (const FakeClass& c : kFakeClasses) {
            const std::string base = "Software\\Classes\\CLSID\\" + c.key;
            setValue(base, "", "");
            for (const char* category : c.categories) setValue(base + "\\Implemented Categories\\" + category, "", "");
            for (const auto& [path, value] : c.values)
                setValue(base + "\\" + path.substr(0, path.find('\\')), path.substr(path.find('\\') + 1), value);
        }
    }
    static void TearDownTestSuite()
    {
        for (const FakeClass& c : kFakeClasses) RegDeleteTreeA(HKEY_LOCAL_MACHINE, ("Software\\Classes\\CLSID\\" + c.key).c_str());
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
    // A popup of the menu bar (or one below it) as it looks once opened.
    std::vector<std::string> popup(int index, int sub = -1)
    {
        HMENU menu = GetSubMenu(GetMenu(window), index);
        if (sub >= 0) menu = GetSubMenu(menu, sub);
        SendMessageA(window, WM_INITMENUPOPUP, reinterpret_cast<WPARAM>(menu), index);
        return items(menu);
    }
    std::unique_ptr<CPackageManagerDlg> manager;
    HWND window = nullptr, list = nullptr;
};

// The add-package dialog's tree, read from another thread.
struct Tree {
    HWND tree;
    CAddPackageDlg* dialog = nullptr;   // for the kind of the entries behind top-level items
    HTREEITEM next(UINT relation, HTREEITEM item = nullptr) const
    {
        return reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
    }
    // "label|image" (with "|kind|image|children" for top-level items when `dialog` is known).
    std::string describe(HTREEITEM h, bool top) const
    {
        char text[256] = "";
        TVITEMA it{};
        it.mask = TVIF_TEXT | TVIF_IMAGE | TVIF_PARAM | TVIF_CHILDREN;
        it.hItem = h;
        it.pszText = text;
        it.cchTextMax = 256;
        SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
        if (!top) return std::string(text) + "|" + std::to_string(it.iImage);
        return std::string(text) + "|" + std::to_string(dialog->entries.at(static_cast<size_t>(it.lParam))->kind) + "|" +
               std::to_string(it.iImage) + "|" + std::to_string(it.cChildren);
    }
    std::vector<std::string> under(HTREEITEM parent, bool top = false) const
    {
        std::vector<std::string> out;
        for (HTREEITEM h = next(parent ? TVGN_CHILD : TVGN_ROOT, parent); h; h = next(TVGN_NEXT, h)) out.push_back(describe(h, top));
        return out;
    }
    HTREEITEM find(const std::string& label, HTREEITEM parent = nullptr) const
    {
        for (HTREEITEM h = next(parent ? TVGN_CHILD : TVGN_ROOT, parent); h; h = next(TVGN_NEXT, h))
            if (describe(h, false).rfind(label + "|", 0) == 0) return h;
        return nullptr;
    }
    void select(HTREEITEM h) const { SendMessageA(tree, TVM_SELECTITEM, TVGN_CARET, reinterpret_cast<LPARAM>(h)); }
    // Selects the item and opens it as a user does, with the right arrow key.
    void open(HTREEITEM h) const { select(h); SendMessageA(tree, WM_KEYDOWN, VK_RIGHT, 0); }
};

bool contains(const std::vector<std::string>& all, const std::string& one) { return std::find(all.begin(), all.end(), one) != all.end(); }

} // namespace

TEST_F(ManagerTest, TheWindowShowsTheStoreSavesEachChangeAtOnceAndOpensWhatItsMenusName)
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
    char about[64] = "";
    GetMenuStringA(GetSystemMenu(window, FALSE), ID_SYSTEM_ABOUT, about, sizeof about, MF_BYCOMMAND);
    EXPECT_STREQ(about, "&About TARV...");
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
    // A reload from elsewhere refreshes the window.
    exportedPackages().clear();
    loadPackages();
    EXPECT_EQ(rows().size(), 2u);
    // Adding refuses a display name already exported, ignoring case.
    exportedPackages()[0]->displayName = L"tarvkit PACKAGE 1.0";
    savePackages();
    auto choose = [](const char* label) {
        return [label](HWND d) {
            Tree tree{GetDlgItem(d, IDC_COMPONENT_TREE)};
            tree.select(tree.find(label));
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
    // About, from the Help menu and the system menu; Help without its file; View log.
    for (auto [kind, id] : {std::pair{WM_COMMAND, ID_HELP_ABOUT}, {WM_SYSCOMMAND, ID_SYSTEM_ABOUT}}) {
        char version[256] = "", address[256] = "";
        withDialog("TARV:", [&](HWND box) {
            GetDlgItemTextA(box, IDC_ABOUT_VERSION, version, sizeof version);
            GetDlgItemTextA(box, IDC_ABOUT_ADDRESS, address, sizeof address);
        }, [&, kind = kind, id = id] { return SendMessageA(window, kind, id, 0); });
        EXPECT_EQ(version, std::string("TARV Thermo Host ") + versionString + " (x64)");
        EXPECT_STREQ(address, kVendorUrl);
    }
    {
        DialogAnswerer help("Error starting Help:", IDOK);
        command(ID_HELP_HELP);
        ASSERT_TRUE(help.wait());
        char module[MAX_PATH];
        std::string folder(module, GetModuleFileNameA(nullptr, module, MAX_PATH));
        EXPECT_EQ(help.seen()[0].text + "|" + std::to_string(help.seen()[0].icon),
                  "Failed to load HTML Help file " + folder.substr(0, folder.rfind('\\') + 1) + "MIRB.chm|" + std::to_string(MB_ICONERROR));
    }
    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    const std::string log = std::string(temp) + "manager-view.tlg";
    std::ofstream(log) << "<?xml version=\"1.0\"?>\n<tarvlogdocument>\n<info value=\"Alpha\"/>\n</tarvlogdocument>\n";
    {
        DialogAnswerer file("View log file:", IDOK, 1, log);
        command(ID_LOG_VIEW);
        ASSERT_TRUE(file.wait());
    }
    HWND viewer = waitForWindow("Log file manager-view.tlg:");
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(SendMessageA(GetDlgItem(viewer, IDC_LOG_TREE), TVM_GETCOUNT, 0, 0), 1);
    PostMessageA(viewer, WM_COMMAND, ID_VIEW_CLOSE, 0);
    for (int i = 0; i < 500 && IsWindow(viewer); ++i) Sleep(10);
    DeleteFileA(log.c_str());
    // Enter does not close the window; Close does, and lets the process go.
    command(IDOK);
    EXPECT_TRUE(IsWindow(window));
    command(ID_FILE_CLOSE);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(serverLocks(), before);
}

TEST_F(ManagerTest, TheOptionsMenuFlipsTheStoredOptionsAndListsTheInstalledUnitOperations)
{
    open();
    ServerOptions& options = CTARVModule::instance().options;
    EXPECT_EQ(popup(3), (std::vector<std::string>{"&Automatic log location", "&Prompt for opening log when object terminates+",
                                                  "&VESKER logs unit operation:"}));
    command(ID_OPTIONS_AUTO_LOCATION);
    command(ID_OPTIONS_PROMPT_OPEN_LOG);
    ServerOptions saved;
    loadOptions(saved);
    EXPECT_EQ(std::pair(saved.autoLogLocation, saved.promptOpenLog), std::pair(1, 0));
    // Another process changed them: the menu shows the registry's state.
    saved.autoLogLocation = 0;
    saveOptions(saved);
    EXPECT_EQ(popup(3)[0], "&Automatic log location");
    // Discovery: the kit's mixer and splitter by their labels, the server's own unit operation not.
    const auto& names = CTARVModule::instance().unitOperationNames;
    std::vector<std::string> shown = popup(3, 2);
    ASSERT_EQ(shown.size(), names.size() + 2);
    EXPECT_EQ(shown[0] + shown[1], "&Ask user+-");
    const auto mixer = std::find(names.begin(), names.end(), "Kit Mixer (adiabatic)");
    ASSERT_NE(mixer, names.end());
    EXPECT_TRUE(contains(names, "Kit Splitter"));
    EXPECT_FALSE(contains(names, "VESKER Logged Unit Operation (x64) (VESKER Logged Unit Operation (x64))"));
    const int mixerId = ID_UNIT_FIRST + static_cast<int>(mixer - names.begin());
    CLSID mixerClass;
    CLSIDFromString(toWide(kMixer).c_str(), &mixerClass);
    // The command; the class stored before it and saved after it; the last item shown before it.
    const struct { int command; CLSID stored, expected; const char* last; } cases[] = {
        {mixerId, CLSID{}, mixerClass, nullptr},
        {ID_UNIT_UNKNOWN, kit::CLSID_KitObject, kit::CLSID_KitObject, "<Unknown>+"},   // changes nothing
        {ID_OPTIONS_ASK_USER, kit::CLSID_KitObject, CLSID{}, "<Unknown>+"},
    };
    for (const auto& c : cases) {
        options.loggedUnitOperation = c.stored;
        saveOptions(options);
        shown = popup(3, 2);
        EXPECT_EQ(shown[0], c.stored == CLSID{} ? "&Ask user+" : "&Ask user") << c.command;
        EXPECT_EQ(c.last ? shown.back() : shown[static_cast<size_t>(mixerId - ID_UNIT_FIRST + 2)],
                  c.last ? c.last : "Kit Mixer (adiabatic)");
        command(c.command);
        ServerOptions after;
        loadOptions(after);
        EXPECT_EQ(after.loggedUnitOperation, c.expected) << c.command;
    }
    options.loggedUnitOperation = mixerClass;
    EXPECT_EQ(popup(3, 2)[static_cast<size_t>(mixerId - ID_UNIT_FIRST + 2)], "Kit Mixer (adiabatic)+");
}

TEST_F(ManagerTest, TheAddPackageDialogOffersTheComponentsByCategoryOpensContainersAndTakesAChoice)
{
    // The top level, with each generation hidden as the server's own dialogs hide them.
    const struct { int hide10, hide11, hideReaction; std::vector<std::string> present, absent; } filters[] = {
        {0, 0, 0,
         {"Kit Twice|0|0|1", "Kit Twice|1|1|0", kBare + std::string("|1|1|0"), "Kit.Reactions|4|11|1", "Kit.Reaction.1|5|12|0",
          "TARVKit Package Manager|0|0|1", "TARVKit Thermo System|2|0|1", "TARVKit Package 1.0|3|1|0",
          "TARVKit Ideal Package|1|1|0"},
         {"Kit Not A Class|1|1|0", "TARV Property Package Manager (CAPE-OPEN 1.1, x64)|0|0|1",
          "TARV Thermo System (CAPE-OPEN 1.0, x64)|2|0|1", "TARV Reaction Package Manager (CAPE-OPEN 1.0, x64)|4|11|1"}},
        {1, 0, 1, {"Kit Twice|0|0|1", "TARVKit Ideal Package|1|1|0"}, {"TARVKit Thermo System|2|0|1", "Kit.Reactions|4|11|1"}},
        {1, 1, 0, {"Kit.Reactions|4|11|1", "Kit.Reaction.1|5|12|0"}, {"Kit Twice|0|0|1"}},
    };
    for (const auto& c : filters) {
        CAddPackageDlg dialog;
        dialog.hideProperty10 = c.hide10;
        dialog.hideProperty11 = c.hide11;
        dialog.hideReaction = c.hideReaction;
        std::vector<std::string> top;
        bool logging = false;
        withDialog("Export package:", [&](HWND d) {
            top = Tree{GetDlgItem(d, IDC_COMPONENT_TREE), &dialog}.under(nullptr, true);
            logging = IsDlgButtonChecked(d, IDC_LOGGING_ENABLED) == BST_CHECKED;
        }, [&] { return dialog.showModal(nullptr); });
        for (const std::string& p : c.present) EXPECT_TRUE(contains(top, p)) << c.hide10 << c.hide11 << ": " << p;
        for (const std::string& a : c.absent) EXPECT_FALSE(contains(top, a)) << c.hide10 << c.hide11 << ": " << a;
        EXPECT_TRUE(std::is_sorted(top.begin(), top.end(), [](const std::string& a, const std::string& b) {
            return lstrcmpiA(a.substr(0, a.find('|')).c_str(), b.substr(0, b.find('|')).c_str()) < 0;
        }));
        EXPECT_TRUE(logging);
    }
    // Opening a container asks it for its packages once it has them, and tells each failure.
    const std::string aromatics = "Ideal Aromatics|1", alkanes = "Ideal Alkanes|1";
    const std::string failingList = "Failed to get a list of property packages from property package manager: " +
                                    toNarrow(kit::kFailingListText);
    const std::string noReactions = "Failed to create reaction package mananger: " + toNarrow(systemErrorText(REGDB_E_CLASSNOTREG));
    const struct { const char* label; std::vector<std::string> children, messages; } openings[] = {   // messages at two openings
        {"TARVKit Package Manager", {alkanes, aromatics}, {}},
        {"TARVKit Thermo System", {alkanes, aromatics}, {}},
        {"TARVKit Manager Listing Nothing", {}, {}},
        {"TARVKit Manager Failing Init", {alkanes, aromatics},
         {"Failed to initialize property package manager: " + toNarrow(kit::kFailingInitText)}},
        {"TARVKit Manager Failing List", {}, {failingList, failingList}},
        {"Kit.Reactions", {}, {noReactions, noReactions}},
    };
    // What OK takes: nothing on a container or a reaction package, else the choice with its logging.
    const struct { const char* label; const char* child; bool logging; ExportedPackage result; } choices[] = {
        {"TARVKit Package Manager", "Ideal Aromatics", false,
         {kit::CLSID_PackageManager, PropertyPackageManager11, L"Ideal Aromatics", L"TARVKit Package Manager/Ideal Aromatics", 0}},
        {"TARVKit Thermo System", "Ideal Alkanes", true,
         {kit::CLSID_ThermoSystem10, ThermoSystem10, L"Ideal Alkanes", L"TARVKit Thermo System/Ideal Alkanes", 1}},
        {"TARVKit Package 1.0", nullptr, true,
         {kit::CLSID_Package10, PropertyPackage10, L"TARVKit Package 1.0", L"TARVKit Package 1.0", 1}},
    };
    bool first = true;
    for (const auto& c : choices) {
        CAddPackageDlg dialog;
        const INT_PTR end = withDialog("Export package:", [&](HWND d) {
            Tree tree{GetDlgItem(d, IDC_COMPONENT_TREE), &dialog};
            for (const auto& o : openings) {
                if (!first) break;
                HTREEITEM item = tree.find(o.label);
                std::vector<std::string> messages;
                for (int i = 0; i < 2; ++i) {
                    DialogAnswerer error("Error:", IDOK);
                    tree.open(item);
                    SendMessageA(tree.tree, WM_KEYDOWN, VK_LEFT, 0);
                    if (error.wait(i < static_cast<int>(o.messages.size()) ? 10000 : 300)) {
                        messages.push_back(error.seen()[0].text);
                        EXPECT_EQ(error.seen()[0].icon, static_cast<UINT>(MB_ICONERROR));
                    }
                }
                EXPECT_EQ(tree.under(item), o.children) << o.label;
                EXPECT_EQ(messages, o.messages) << o.label;
            }
            for (const char* refused : {"TARVKit Package Manager", "Kit.Reaction.1"}) {
                if (!first) break;
                tree.select(tree.find(refused));
                EXPECT_FALSE(IsWindowEnabled(GetDlgItem(d, IDOK))) << refused;
                SendMessageA(d, WM_COMMAND, IDOK, 0);
                EXPECT_TRUE(IsWindow(d)) << refused;
            }
            HTREEITEM item = tree.find(c.label);
            if (c.child) {
                tree.open(item);
                item = tree.find(c.child, item);
            }
            tree.select(item);
            EXPECT_TRUE(IsWindowEnabled(GetDlgItem(d, IDOK))) << c.label;
            if (!c.logging) SendDlgItemMessageA(d, IDC_LOGGING_ENABLED, BM_CLICK, 0, 0);
            SendMessageA(d, WM_COMMAND, IDOK, 0);
        }, [&] { return dialog.showModal(nullptr); });
        first = false;
        EXPECT_EQ(end, IDOK) << c.label;
        EXPECT_EQ(dialog.result, c.result) << c.label;
    }
}
