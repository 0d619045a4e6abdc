#include "viewer/view_log_dlg.h"

#include "host/lock_object.h"
#include "host/module.h"
#include "viewer_ids.h"

#include <cstring>

namespace tarv {

// The modeless "Parsing log file:" window of a long parse. No message loop runs while the parser
// works, so each change of the bar is painted at once.
class CFileProgressDialog {
public:
    explicit CFileProgressDialog(HWND owner)
        : window_(CreateDialogParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDD_FILE_PROGRESS), owner,
                                     &dialogProc, 0)),
          bar_(GetDlgItem(window_, IDC_PROGRESS_BAR))
    {
    }
    ~CFileProgressDialog()
    {
        if (window_) DestroyWindow(window_);
    }
    CFileProgressDialog(const CFileProgressDialog&) = delete;
    CFileProgressDialog& operator=(const CFileProgressDialog&) = delete;

    void show()
    {
        ShowWindow(window_, SW_SHOW);
        UpdateWindow(window_);
    }
    void set(int percent)
    {
        SendMessageA(bar_, PBM_SETPOS, static_cast<WPARAM>(percent), 0);
        RedrawWindow(window_, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    }

private:
    static INT_PTR CALLBACK dialogProc(HWND, UINT message, WPARAM, LPARAM) { return message == WM_INITDIALOG; }

    HWND window_;
    HWND bar_;
};

namespace {

constexpr char kQueryInterface[] = "QueryInterface";

HINSTANCE instance()
{
    return GetModuleHandleA(nullptr);
}

// The part of the path behind its last backslash; the whole path if it has none, or if its only
// backslash is its first character.
std::string shownName(const std::string& path)
{
    size_t slash = path.rfind('\\');
    return slash == std::string::npos || slash == 0 ? path : path.substr(slash + 1);
}

HTREEITEM treeItem(HWND tree, UINT relation, HTREEITEM item)
{
    return reinterpret_cast<HTREEITEM>(
        SendMessageA(tree, TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
}

LPARAM rowLink(HWND list, int row)
{
    LVITEMA it{};
    it.mask = LVIF_PARAM;
    it.iItem = row;
    SendMessageA(list, LVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
    return it.lParam;
}

DWORD WINAPI viewerThread(void* param)
{
    HGLOBAL copy = param;
    auto* viewer = new CViewLogDlg(static_cast<const char*>(GlobalLock(copy)));
    GlobalUnlock(copy);
    GlobalFree(copy);

    HWND window = viewer->create();
    if (!window) {
        delete viewer;
        return 0;
    }
    ShowWindow(window, SW_SHOW);
    HACCEL keys = LoadAcceleratorsA(instance(), MAKEINTRESOURCEA(IDR_VIEWER_KEYS));
    int running = 1;
    viewer->setRunning(&running);
    MSG msg;
    while (running && GetMessageA(&msg, nullptr, 0, 0) > 0) {
        if (!TranslateAcceleratorA(window, keys, &msg)) TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
    if (keys) DestroyAcceleratorTable(keys);
    return 0;
}

} // namespace

void openLogViewer(const std::string& path)
{
    HGLOBAL copy = GlobalAlloc(GMEM_MOVEABLE, path.size() + 1);
    if (!copy) return;
    std::memcpy(GlobalLock(copy), path.c_str(), path.size() + 1);
    GlobalUnlock(copy);
    HANDLE thread = CreateThread(nullptr, 0, &viewerThread, copy, 0, nullptr);
    if (!thread) {
        GlobalFree(copy);
        return;
    }
    CloseHandle(thread);
}

CViewLogDlg::CViewLogDlg(std::string logPath) : serverLock_(createLockObject()), logPath_(std::move(logPath)) {}

CViewLogDlg::~CViewLogDlg()
{
    if (running_) *running_ = 0;
    if (windowIcon_) DestroyIcon(windowIcon_);
}

HWND CViewLogDlg::create()
{
    return CreateDialogParamA(instance(), MAKEINTRESOURCEA(IDD_VIEW_LOG), nullptr, &dialogProc,
                              reinterpret_cast<LPARAM>(this));
}

INT_PTR CALLBACK CViewLogDlg::dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto* self = reinterpret_cast<CViewLogDlg*>(GetWindowLongPtrA(window, DWLP_USER));
    if (message == WM_INITDIALOG) {
        self = reinterpret_cast<CViewLogDlg*>(lParam);
        SetWindowLongPtrA(window, DWLP_USER, lParam);
        self->window_ = window;
    }
    if (!self) return FALSE;
    if (message == WM_NCDESTROY) {
        SetWindowLongPtrA(window, DWLP_USER, 0);
        delete self;
        return FALSE;
    }
    return self->handle(message, wParam, lParam);
}

INT_PTR CViewLogDlg::handle(UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_INITDIALOG:
        startUp();
        return TRUE;
    case WM_SIZE:
        layout();
        return TRUE;
    case WM_COMMAND:
        command(LOWORD(wParam));
        return TRUE;
    case WM_NOTIFY:
        notify(*reinterpret_cast<const NMHDR*>(lParam));
        return FALSE;
    case WM_INITMENUPOPUP:
        initMenu(reinterpret_cast<HMENU>(wParam));
        return FALSE;
    case WM_DESTROY:
        closing_ = true;
        return FALSE;
    default:
        return FALSE;
    }
}

void CViewLogDlg::startUp()
{
    tree_ = GetDlgItem(window_, IDC_LOG_TREE);
    list_ = GetDlgItem(window_, IDC_ERROR_LIST);
    SetWindowTextA(window_, ("Log file " + shownName(logPath_) + ":").c_str());

    LVCOLUMNA column{};
    column.mask = LVCF_TEXT;
    column.pszText = const_cast<char*>("Errors");
    SendMessageA(list_, LVM_INSERTCOLUMNA, 0, reinterpret_cast<LPARAM>(&column));
    SendMessageA(list_, LVM_SETIMAGELIST, LVSIL_NORMAL, reinterpret_cast<LPARAM>(sharedImageList));
    SendMessageA(list_, LVM_SETIMAGELIST, LVSIL_SMALL, reinterpret_cast<LPARAM>(sharedImageList));
    SendMessageA(tree_, TVM_SETIMAGELIST, TVSIL_NORMAL, reinterpret_cast<LPARAM>(sharedImageList));

    // The window itself is not shown yet; the controls stop redrawing while they are filled.
    SendMessageA(tree_, WM_SETREDRAW, FALSE, 0);
    SendMessageA(list_, WM_SETREDRAW, FALSE, 0);
    maxItemLength_ = parseLogFile(logPath_, *this);
    SendMessageA(tree_, WM_SETREDRAW, TRUE, 0);
    SendMessageA(list_, WM_SETREDRAW, TRUE, 0);
    RedrawWindow(window_, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);

    SendMessageA(list_, LVM_SETCOLUMNWIDTH, 0, LVSCW_AUTOSIZE_USEHEADER);
    windowIcon_ = static_cast<HICON>(LoadImageA(instance(), MAKEINTRESOURCEA(IDI_TARV), IMAGE_ICON, 0, 0, LR_DEFAULTSIZE));
    SendMessageA(window_, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(windowIcon_));
    SendMessageA(window_, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(windowIcon_));
    layout();
}

// The tree takes three quarters of the client area, the list the rest, with 6 pixels around and
// between them. Nothing guards a tiny window: the sizes may then come out negative.
void CViewLogDlg::layout()
{
    if (!tree_) return;
    RECT client;
    GetClientRect(window_, &client);
    int width = client.right - client.left;
    int height = client.bottom - client.top;
    int treeHeight = (3 * height - 54) / 4;
    MoveWindow(tree_, 6, 6, width - 12, treeHeight, TRUE);
    MoveWindow(list_, 6, treeHeight + 12, width - 12, height - treeHeight - 18, TRUE);
}

void CViewLogDlg::command(int id)
{
    switch (id) {
    case IDOK:
    case IDCANCEL:
    case ID_VIEW_CLOSE:
        DestroyWindow(window_);
        break;
    case ID_VIEW_EXPAND_ALL:
        expandAll();
        break;
    case ID_VIEW_COLLAPSE_ALL:
        collapseAll();
        break;
    case ID_VIEW_REMOVE_QUERIES:
        removeQueryInterfaceNotes();
        break;
    case ID_SEARCH_FIND:
        showSearchDialog();
        break;
    case ID_SEARCH_FIND_NEXT:
        findAgain(1, "Find next:");
        break;
    case ID_SEARCH_FIND_PREVIOUS:
        findAgain(0, "Find previous:");
        break;
    case ID_SEARCH_NEXT_ERROR:
        nextError();
        break;
    }
}

void CViewLogDlg::notify(const NMHDR& header)
{
    if (closing_) return;
    if (header.idFrom == IDC_ERROR_LIST && header.code == LVN_ITEMCHANGED) {
        int row = static_cast<int>(SendMessageA(list_, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
        if (row >= 0) selectRowItem(row);
    } else if (header.idFrom == IDC_LOG_TREE && header.code == TVN_DELETEITEMA) {
        // A record of the list that leaves the tree leaves its row without a link.
        LPARAM row = reinterpret_cast<const NMTREEVIEWA&>(header).itemOld.lParam;
        if (row == 0) return;
        LVITEMA it{};
        it.mask = LVIF_PARAM;
        it.iItem = static_cast<int>(row - 1);
        it.lParam = 0;
        SendMessageA(list_, LVM_SETITEMA, 0, reinterpret_cast<LPARAM>(&it));
    }
}

// The "&Search" menu, known by "&Find..." as its first item: repeating a search needs a string,
// walking the errors needs a row.
void CViewLogDlg::initMenu(HMENU menu)
{
    if (GetMenuItemID(menu, 0) != ID_SEARCH_FIND) return;
    UINT repeat = MF_BYCOMMAND | (searchText.empty() ? MF_GRAYED : MF_ENABLED);
    EnableMenuItem(menu, ID_SEARCH_FIND_NEXT, repeat);
    EnableMenuItem(menu, ID_SEARCH_FIND_PREVIOUS, repeat);
    bool rows = SendMessageA(list_, LVM_GETITEMCOUNT, 0, 0) > 0;
    EnableMenuItem(menu, ID_SEARCH_NEXT_ERROR, MF_BYCOMMAND | (rows ? MF_ENABLED : MF_GRAYED));
}

void CViewLogDlg::expandAll()
{
    SendMessageA(tree_, TVM_EXPAND, TVE_EXPAND, reinterpret_cast<LPARAM>(TVI_ROOT));
    expandEach(TVE_EXPAND);
}

// With many items the tree would scroll for each one: redrawing is off and the tree may not
// scroll until all are collapsed.
void CViewLogDlg::collapseAll()
{
    SendMessageA(window_, WM_SETREDRAW, FALSE, 0);
    SendMessageA(tree_, WM_SETREDRAW, FALSE, 0);
    LONG_PTR style = GetWindowLongPtrA(tree_, GWL_STYLE);
    SetWindowLongPtrA(tree_, GWL_STYLE, style | TVS_NOSCROLL);
    expandEach(TVE_COLLAPSE);
    SetWindowLongPtrA(tree_, GWL_STYLE, style);
    SendMessageA(tree_, WM_SETREDRAW, TRUE, 0);
    SendMessageA(window_, WM_SETREDRAW, TRUE, 0);
    RedrawWindow(window_, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
}

// Each parent in pre-order, one message each: a parent before its children, depth first.
void CViewLogDlg::expandEach(UINT action)
{
    HTREEITEM item = treeItem(tree_, TVGN_ROOT, nullptr);
    while (item) {
        if (HTREEITEM child = treeItem(tree_, TVGN_CHILD, item)) {
            SendMessageA(tree_, TVM_EXPAND, action, reinterpret_cast<LPARAM>(item));
            item = child;
            continue;
        }
        HTREEITEM next = nullptr;
        while (item && !(next = treeItem(tree_, TVGN_NEXT, item))) item = treeItem(tree_, TVGN_PARENT, item);
        item = next;
    }
}

// The row after the selected one, the first after the last; its record is selected in the tree.
void CViewLogDlg::nextError()
{
    int selected = static_cast<int>(SendMessageA(list_, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
    int count = static_cast<int>(SendMessageA(list_, LVM_GETITEMCOUNT, 0, 0));
    if (count <= 0) return;
    int next = selected + 1;
    if (next >= count) next = 0;
    LVITEMA it{};
    it.mask = LVIF_STATE;
    it.iItem = next;
    it.state = it.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
    SendMessageA(list_, LVM_SETITEMA, 0, reinterpret_cast<LPARAM>(&it));
    SendMessageA(list_, LVM_ENSUREVISIBLE, static_cast<WPARAM>(next), FALSE);
    selectRowItem(next);
}

// Selecting an item opens its parents and scrolls it into view.
void CViewLogDlg::selectRowItem(int row)
{
    if (LPARAM item = rowLink(list_, row)) SendMessageA(tree_, TVM_SELECTITEM, TVGN_CARET, item);
}

// Deletes the info records that tell of interface queries, which are most of a log's notes. Once
// per window: the texts are nowhere else, so the command then grays out.
void CViewLogDlg::removeQueryInterfaceNotes()
{
    HTREEITEM previous = nullptr;
    HTREEITEM firstKept = nullptr;
    char text[1024];
    for (HTREEITEM item = nextItem(tree_, nullptr, true); item && item != firstKept;) {
        TVITEMA it{};
        it.mask = TVIF_IMAGE;
        it.hItem = item;
        SendMessageA(tree_, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
        if (it.iImage == imageInfo) {
            it.mask = TVIF_TEXT;
            it.pszText = text;
            it.cchTextMax = sizeof text;
            text[0] = '\0';
            SendMessageA(tree_, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
            if (std::strstr(text, kQueryInterface)) {
                SendMessageA(tree_, TVM_DELETEITEM, 0, reinterpret_cast<LPARAM>(item));
                item = nextItem(tree_, previous, true);
                continue;
            }
        }
        previous = item;
        if (!firstKept) firstKept = item;
        item = nextItem(tree_, item, true);
    }
    EnableMenuItem(GetMenu(window_), ID_VIEW_REMOVE_QUERIES, MF_BYCOMMAND | MF_DISABLED | MF_GRAYED);
}

void CViewLogDlg::findAgain(int forward, const char* caption)
{
    if (searchText.empty()) {
        MessageBoxA(window_, "No previous search string.", caption, MB_ICONERROR);
        return;
    }
    searchForward = forward;
    searchTree();
}

LogSink::Item CViewLogDlg::insertItem(Item parent, const std::string& text, int image, bool hasChildren)
{
    TVINSERTSTRUCTA insert{};
    insert.hParent = parent ? static_cast<HTREEITEM>(parent) : TVI_ROOT;
    insert.hInsertAfter = TVI_LAST;
    insert.item.mask = TVIF_TEXT | TVIF_IMAGE | TVIF_SELECTEDIMAGE | TVIF_CHILDREN | TVIF_PARAM;
    insert.item.pszText = const_cast<char*>(text.c_str());
    insert.item.iImage = insert.item.iSelectedImage = image;
    insert.item.cChildren = hasChildren ? 1 : 0;
    insert.item.lParam = 0;
    return reinterpret_cast<Item>(SendMessageA(tree_, TVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&insert)));
}

// A row links to its tree item, and the item knows its row (plus one), so that a row whose item is
// deleted loses its link instead of pointing at nothing.
void CViewLogDlg::addListRow(const std::string& text, int image, Item item)
{
    LVITEMA row{};
    row.mask = LVIF_TEXT | LVIF_IMAGE | LVIF_PARAM;
    row.iItem = static_cast<int>(SendMessageA(list_, LVM_GETITEMCOUNT, 0, 0));
    row.pszText = const_cast<char*>(text.c_str());
    row.iImage = image;
    row.lParam = reinterpret_cast<LPARAM>(item);
    int index = static_cast<int>(SendMessageA(list_, LVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&row)));
    if (index < 0 || !item) return;
    TVITEMA link{};
    link.mask = TVIF_HANDLE | TVIF_PARAM;
    link.hItem = static_cast<HTREEITEM>(item);
    link.lParam = index + 1;
    SendMessageA(tree_, TVM_SETITEMA, 0, reinterpret_cast<LPARAM>(&link));
}

void CViewLogDlg::report(const LogReaderMessage& message)
{
    MessageBoxA(window_, message.text.c_str(), message.caption, MB_ICONERROR | MB_TOPMOST);
}

void CViewLogDlg::progressBegin(int64_t)
{
    progress_ = std::make_unique<CFileProgressDialog>(window_);
}

void CViewLogDlg::progressShow()
{
    if (progress_) progress_->show();
}

void CViewLogDlg::progressSet(int percent)
{
    if (progress_) progress_->set(percent);
}

void CViewLogDlg::progressEnd()
{
    progress_.reset();
}

} // namespace tarv
