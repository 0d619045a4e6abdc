// The viewer window as a user meets it: its controls read back, its commands sent as its menu and keys send them.
#include "viewer/outline.h"
#include "host/module.h"
#include "log/call_log.h"
#include "log/log_file.h"
#include "support/dialogs.h"
#include "support/log_capture.h"
#include "support/process.h"
#include "viewer/view_log_dlg.h"
#include "viewer_ids.h"

#include <gtest/gtest.h>

#include <share.h>

using testsupport::DialogAnswerer;
using testsupport::waitForWindow;
using viewertest::writeLogFile;

namespace {

// One record of each kind, errors and warnings, interface-query notes, the last holding records.
std::string smallLog() { return testsupport::expectedText("viewer/small.log"); }

std::string nameOf(const std::string& path)
{
    const size_t slash = path.rfind('\\');
    return slash == std::string::npos || slash == 0 ? path : path.substr(slash + 1);
}

class ViewerWindow : public testing::Test {
protected:
    static void SetUpTestSuite() { if (!tarv::sharedImageList) tarv::createSharedImageList(GetModuleHandleA(nullptr)); }
    void TearDown() override
    {
        if (window) close();
        for (const std::string& f : files) DeleteFileA(f.c_str());
    }
    std::string log(const std::string& body)
    {
        files.push_back(writeLogFile("window-" + std::to_string(files.size()) + ".tlg", body));
        return files.back();
    }
    // Waits for the viewer titled `title` to show, filled.
    void attach(const std::string& title)
    {
        window = waitForWindow(title);
        ASSERT_NE(window, nullptr) << title;
        tree = GetDlgItem(window, IDC_LOG_TREE);
        list = GetDlgItem(window, IDC_ERROR_LIST);
    }
    void open(const std::string& path)
    {
        tarv::openLogViewer(path);
        attach("Log file " + nameOf(path) + ":");
    }
    // Escape, posted to the tree, reaches the window through the viewer's own loop and its keys.
    void close()
    {
        PostMessageA(tree, WM_KEYDOWN, VK_ESCAPE, 0);
        for (int i = 0; i < 500 && IsWindow(window); ++i) Sleep(10);
        EXPECT_FALSE(IsWindow(window));
        window = nullptr;
    }
    // A key posted to the tree, then a marker (a scroll time nobody sees): once it is set the key was handled.
    void key(WPARAM virtualKey)
    {
        static UINT marker = 1;
        marker = marker % 99 + 1;   // the control keeps scroll times up to 100
        PostMessageA(tree, WM_KEYDOWN, virtualKey, 0);
        PostMessageA(tree, TVM_SETSCROLLTIME, marker, 0);
        for (int i = 0; i < 1000 && SendMessageA(tree, TVM_GETSCROLLTIME, 0, 0) != static_cast<LRESULT>(marker); ++i) Sleep(5);
    }
    void command(int id) { SendMessageA(window, WM_COMMAND, id, 0); }
    tarv::CViewLogDlg& viewer() { return *reinterpret_cast<tarv::CViewLogDlg*>(GetWindowLongPtrA(window, DWLP_USER)); }
    HTREEITEM related(UINT relation, HTREEITEM item = nullptr)
    {
        return reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
    }
    std::string text(HTREEITEM item)
    {
        char buffer[1024] = "";
        auto it = viewertest::asked<TVITEMA>(TVIF_TEXT, buffer);
        it.hItem = item;
        if (!item || !SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it))) return "<none>";
        return buffer;
    }
    std::string selected() { return text(related(TVGN_CARET)); }
    // The first item in pre-order whose text is `wanted`.
    HTREEITEM find(const std::string& wanted)
    {
        for (HTREEITEM item = related(TVGN_ROOT); item;) {
            if (text(item) == wanted) return item;
            HTREEITEM next = related(TVGN_CHILD, item);
            while (!next && item)
                if (!(next = related(TVGN_NEXT, item))) item = related(TVGN_PARENT, item);
            item = next;
        }
        return nullptr;
    }
    void select(HTREEITEM item) { SendMessageA(tree, TVM_SELECTITEM, TVGN_CARET, reinterpret_cast<LPARAM>(item)); }
    int selectedRow() { return static_cast<int>(SendMessageA(list, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED)); }
    std::string rowText(int row)
    {
        char buffer[1024] = "";
        auto it = viewertest::asked<LVITEMA>(LVIF_TEXT, buffer);
        SendMessageA(list, LVM_GETITEMTEXTA, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&it));
        return buffer;
    }
    // Whether a menu item shows gray when its menu opens.
    bool grayed(int menu, UINT id)
    {
        HMENU popup = GetSubMenu(GetMenu(window), menu);
        SendMessageA(window, WM_INITMENUPOPUP, reinterpret_cast<WPARAM>(popup), menu);
        return (GetMenuState(popup, id, MF_BYCOMMAND) & MF_GRAYED) != 0;
    }
    std::vector<std::string> files;
    HWND window = nullptr, tree = nullptr, list = nullptr;
};

} // namespace

TEST_F(ViewerWindow, ShowsTheReadersTreeWalksItsErrorsAndRemovesQueryNotesHoldingTheServerUntilEscape)
{
    const std::string path = log(smallLog());
    viewertest::RecordingSink reader;
    tarv::parseLogFile(path, reader);
    const ULONG before = testsupport::serverLocks();
    open(path);
    EXPECT_EQ(testsupport::serverLocks(), before + 1);
    EXPECT_EQ(viewertest::controlsOutline(tree, list), reader.outline());
    const char* parents[] = {"ICapeThermoPropertyRoutine::CalcSinglePhaseProp (Ideal Alkanes)", "props (type: VT_ARRAY|VT_BSTR)",
                             "ICapeThermoMaterial::GetOverallProp (Stream 1)"};
    auto expanded = [&](const char* item) {
        return (SendMessageA(tree, TVM_GETITEMSTATE, reinterpret_cast<WPARAM>(find(item)), TVIS_EXPANDED) & TVIS_EXPANDED) != 0;
    };
    const LONG_PTR style = GetWindowLongPtrA(tree, GWL_STYLE);
    command(ID_VIEW_EXPAND_ALL);
    for (const char* p : parents) EXPECT_TRUE(expanded(p)) << p;
    command(ID_VIEW_COLLAPSE_ALL);
    for (const char* p : parents) EXPECT_FALSE(expanded(p)) << p;
    EXPECT_EQ(GetWindowLongPtrA(tree, GWL_STYLE), style);
    // A row selected in the list selects its record in the tree.
    LVITEMA state{};
    state.state = state.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
    SendMessageA(list, LVM_SETITEMSTATE, 1, reinterpret_cast<LPARAM>(&state));
    EXPECT_EQ(selected(), rowText(1));
    // F4 goes on from the selected row, not from the tree's selection, round again; the tree follows.
    EXPECT_FALSE(grayed(1, ID_SEARCH_NEXT_ERROR));
    select(find("Alpha"));
    for (int expected : {2, 0, 1}) {
        key(VK_F4);
        EXPECT_EQ(selectedRow(), expected);
        EXPECT_EQ(selected(), rowText(expected));
    }
    // Removing the notes takes the warning inside the last one with it and leaves its row without a
    // record: F4 onto that row leaves the tree where it was.
    EXPECT_FALSE(grayed(0, ID_VIEW_REMOVE_QUERIES));
    command(ID_VIEW_REMOVE_QUERIES);
    EXPECT_EQ(viewertest::controlsOutline(tree, list), testsupport::expectedText("viewer/queries_removed.txt"));
    EXPECT_TRUE(grayed(0, ID_VIEW_REMOVE_QUERIES));
    for (int i = 0; i < 3 && selectedRow() != 2; ++i) key(VK_F4);
    EXPECT_EQ(selectedRow(), 2);
    EXPECT_EQ(selected(), "ECapeNoImplHR: not implemented");
    close();
    EXPECT_EQ(testsupport::serverLocks(), before);
}

TEST_F(ViewerWindow, SearchFindsTheNextItemRoundTheTreeFromItsDialogAndItsKeys)
{
    open(log("<info value=\"Alpha\"/>\n<func name=\"I::M\" direc=\"in\" object=\"Beta\">\n<info value=\"alpha two\"/>\n"
             "<error value=\"ALPHA three\"/>\n</func>\n<info value=\"omega\"/>\n"));
    for (auto [id, caption] : {std::pair{ID_SEARCH_FIND_NEXT, "Find next:"}, {ID_SEARCH_FIND_PREVIOUS, "Find previous:"}}) {
        EXPECT_TRUE(grayed(1, id));
        DialogAnswerer none(caption, IDOK);
        command(id);
        ASSERT_TRUE(none.wait());
        EXPECT_EQ(none.seen()[0].text + "|" + std::to_string(none.seen()[0].icon), "No previous search string.|" + std::to_string(MB_ICONERROR));
    }
    // The search dialog, answered with a text.
    select(find("Alpha"));
    PostMessageA(window, WM_COMMAND, ID_SEARCH_FIND, 0);
    HWND dialog = waitForWindow("Search:");
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(std::pair(IsDlgButtonChecked(dialog, IDC_IGNORE_CASE), IsDlgButtonChecked(dialog, IDC_WHOLE_ITEM)),
              std::pair(static_cast<UINT>(BST_CHECKED), static_cast<UINT>(BST_UNCHECKED)));
    // Whole items, case ignored: past "alpha two" and round to the selected item itself.
    SetDlgItemTextA(dialog, IDC_SEARCH_TEXT, "ALPHA");
    CheckDlgButton(dialog, IDC_WHOLE_ITEM, BST_CHECKED);
    PostMessageA(dialog, WM_COMMAND, IDOK, 0);
    for (int i = 0; i < 500 && IsWindow(dialog); ++i) Sleep(10);
    SendMessageA(window, WM_NULL, 0, 0);
    EXPECT_EQ(selected(), "Alpha");
    const tarv::CViewLogDlg& v = viewer();
    EXPECT_EQ(std::vector<int>({v.searchIgnoreCase, v.searchWholeItem, v.searchForward}), std::vector<int>({1, 1, 1}));
    EXPECT_EQ(v.searchText, "ALPHA");
    // Selection (null: none), direction, text, ignore case, whole item, found (null: not found, the selection stays).
    const struct { const char* selection; int forward; const char* text; int ignoreCase, wholeItem; const char* found; } cases[] = {
        {nullptr, 1, "Alpha", 0, 0, "Alpha"},          // forward without a selection: the first item first
        {nullptr, 0, "Alpha", 0, 0, "Alpha"},          // backward: every other item first, the first last
        {nullptr, 0, "alpha", 1, 0, "ALPHA three"},
        {"Alpha", 1, "alpha", 1, 0, "alpha two"},
        {"ALPHA three", 1, "ALPHA", 1, 0, "Alpha"},    // round from the last item to the first
        {"alpha two", 0, "a", 0, 0, "I::M (Beta)"},    // backward to the parent
        {"Alpha", 0, "omega", 0, 0, "omega"},          // backward from the first item to the last
        {"omega", 1, "omega", 0, 0, "omega"},          // only the selected item matches: selected again
        {"omega", 1, "Alpha", 0, 1, "Alpha"},
        {"omega", 1, "Alph", 0, 1, nullptr},           // a part of a text is not the whole item
        {"Alpha", 1, "OMEGA", 0, 0, nullptr},
    };
    for (const auto& c : cases) {
        const std::string name = std::string(c.text) + (c.forward ? " forward from " : " backward from ") +
                                 (c.selection ? c.selection : "no selection");
        select(c.selection ? find(c.selection) : nullptr);
        ASSERT_EQ(selected(), c.selection ? c.selection : "<none>") << name;
        viewer().searchText = c.text;
        viewer().searchIgnoreCase = c.ignoreCase;
        viewer().searchWholeItem = c.wholeItem;
        DialogAnswerer notFound("Search tree:", IDOK);
        command(c.forward ? ID_SEARCH_FIND_NEXT : ID_SEARCH_FIND_PREVIOUS);
        if (c.found) {
            EXPECT_EQ(selected(), c.found) << name;
            EXPECT_TRUE(notFound.seen().empty()) << name;
        } else {
            ASSERT_TRUE(notFound.wait()) << name;
            EXPECT_EQ(notFound.seen()[0].text + "|" + std::to_string(notFound.seen()[0].icon),
                      "Search string \"" + std::string(c.text) + "\" is not found.|" + std::to_string(MB_ICONINFORMATION));
            EXPECT_EQ(selected(), c.selection ? c.selection : "<none>") << name;
        }
    }
    for (int id : {ID_SEARCH_FIND_NEXT, ID_SEARCH_FIND_PREVIOUS}) EXPECT_FALSE(grayed(1, id));
}

TEST_F(ViewerWindow, AFileThatCannotBeReadLeavesAnEmptyWindowTitledByTheNameAfterTheLastBackslash)
{
    const std::pair<const char*, const char*> cases[] = {{"C:\\no such folder\\gone.tlg", "Log file gone.tlg:"},
                                                         {"gone.tlg", "Log file gone.tlg:"},
                                                         {"\\gone.tlg", "Log file \\gone.tlg:"}};
    for (auto [path, title] : cases) {
        DialogAnswerer error("File error:", IDOK);
        tarv::openLogViewer(path);
        ASSERT_TRUE(error.wait());
        EXPECT_EQ(error.seen()[0].text.rfind(std::string("Failed to open \"") + path + "\" for reading: ", 0), 0u);
        attach(title);
        EXPECT_EQ(viewertest::controlsOutline(tree, list), "");
        EXPECT_TRUE(grayed(1, ID_SEARCH_NEXT_ERROR));
        key(VK_F4);
        EXPECT_EQ(selectedRow(), -1);
        close();
    }
}

TEST_F(ViewerWindow, YesToTheClosingPromptOpensTheLog)
{
    std::string path = viewertest::tempPath("closed.tlg");
    files.push_back(path);
    tarv::CTARVModule::instance().options.promptOpenLog = 1;
    tarv::installLogClosePrompt();
    tarv::CallLog* log = tarv::CallLog::open(_fsopen(path.c_str(), "w", _SH_DENYWR), "Mix", "Test object", path.c_str());
    log->writeError("the one error");
    DialogAnswerer yes("Object terminated:", IDYES);
    log->addRef();
    log->release();
    tarv::CallLog::setCloseHook(nullptr);
    ASSERT_TRUE(yes.wait());
    attach("Log file " + nameOf(path) + ":");
    EXPECT_EQ(SendMessageA(list, LVM_GETITEMCOUNT, 0, 0), 1);
    EXPECT_EQ(rowText(0), "the one error");
}

TEST(ViewerProcess, ALogPathOnTheCommandLineShowsItAndTheServerEndsWithItsWindow)
{
    std::string path = writeLogFile("process.tlg", smallLog());
    std::string command = std::string("\"") + std::getenv("TARV64_SERVER") + "\" \"" + path + "\"";
    STARTUPINFOA si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    ASSERT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi));
    HWND window = waitForWindow("Log file " + nameOf(path) + ":");
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(SendMessageA(GetDlgItem(window, IDC_LOG_TREE), TVM_GETCOUNT, 0, 0), 13);
    EXPECT_EQ(WaitForSingleObject(pi.hProcess, 300), static_cast<DWORD>(WAIT_TIMEOUT)) << "ended with its window open";
    PostMessageA(window, WM_COMMAND, ID_VIEW_CLOSE, 0);
    EXPECT_EQ(WaitForSingleObject(pi.hProcess, 10000), static_cast<DWORD>(WAIT_OBJECT_0));
    DWORD code = 1;
    GetExitCodeProcess(pi.hProcess, &code);
    EXPECT_EQ(code, 0u);
    CloseHandle(pi.hProcess);
    CloseHandle(pi.hThread);
    DeleteFileA(path.c_str());
}
