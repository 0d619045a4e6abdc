// Search in the viewer's tree: the texts the user sees, in document order, forward or backward from
// the selected item, wrapping around.
#include "viewer/view_log_dlg.h"

#include "viewer_ids.h"

#include <cstring>
#include <vector>

namespace tarv {
namespace {

HTREEITEM related(HWND tree, UINT relation, HTREEITEM item)
{
    return reinterpret_cast<HTREEITEM>(
        SendMessageA(tree, TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
}

HTREEITEM firstChild(HWND tree, HTREEITEM item)
{
    return item ? related(tree, TVGN_CHILD, item) : related(tree, TVGN_ROOT, nullptr);
}

// What the C locale calls upper case becomes lower case; other bytes stay.
void fold(char* text)
{
    for (; *text; ++text)
        if (*text >= 'A' && *text <= 'Z') *text = static_cast<char>(*text - 'A' + 'a');
}

// The search dialog: the string and two options, all kept in the viewer.
class CTreeSearchDlg {
public:
    explicit CTreeSearchDlg(CViewLogDlg& viewer) : viewer_(viewer) {}

    INT_PTR run(HWND owner)
    {
        return DialogBoxParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDD_TREE_SEARCH), owner, &dialogProc,
                               reinterpret_cast<LPARAM>(this));
    }

private:
    static INT_PTR CALLBACK dialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message == WM_INITDIALOG) SetWindowLongPtrA(dialog, DWLP_USER, lParam);
        auto* self = reinterpret_cast<CTreeSearchDlg*>(GetWindowLongPtrA(dialog, DWLP_USER));
        if (!self) return FALSE;
        if (message == WM_INITDIALOG) {
            self->open(dialog);
            return TRUE;
        }
        if (message == WM_COMMAND && LOWORD(wParam) == IDOK) {
            self->accept(dialog);
            return TRUE;
        }
        if (message == WM_COMMAND && LOWORD(wParam) == IDCANCEL) {
            EndDialog(dialog, IDCANCEL);
            return TRUE;
        }
        return FALSE;
    }

    void open(HWND dialog)
    {
        SetDlgItemTextA(dialog, IDC_SEARCH_TEXT, viewer_.searchText.c_str());
        CheckDlgButton(dialog, IDC_IGNORE_CASE, viewer_.searchIgnoreCase ? BST_CHECKED : BST_UNCHECKED);
        CheckDlgButton(dialog, IDC_WHOLE_ITEM, viewer_.searchWholeItem ? BST_CHECKED : BST_UNCHECKED);
    }

    // The field is read as wide text and narrowed in the thread's code page, as the tree's texts are.
    void accept(HWND dialog)
    {
        HWND field = GetDlgItem(dialog, IDC_SEARCH_TEXT);
        std::vector<wchar_t> wide(static_cast<size_t>(GetWindowTextLengthW(field)) + 1);
        GetWindowTextW(field, wide.data(), static_cast<int>(wide.size()));
        std::string text;
        if (wide[0]) {
            int n = WideCharToMultiByte(CP_THREAD_ACP, 0, wide.data(), -1, nullptr, 0, nullptr, nullptr);
            text.resize(static_cast<size_t>(n));
            WideCharToMultiByte(CP_THREAD_ACP, 0, wide.data(), -1, text.data(), n, nullptr, nullptr);
            text.resize(std::strlen(text.c_str()));
        }
        if (text.empty()) {
            MessageBoxA(dialog, "Search string cannot be empty", "Search:", MB_ICONERROR);
            return;
        }
        viewer_.searchText = text;
        viewer_.searchIgnoreCase = IsDlgButtonChecked(dialog, IDC_IGNORE_CASE) == BST_CHECKED;
        viewer_.searchWholeItem = IsDlgButtonChecked(dialog, IDC_WHOLE_ITEM) == BST_CHECKED;
        EndDialog(dialog, IDOK);
    }

    CViewLogDlg& viewer_;
};

} // namespace

HTREEITEM nextItem(HWND tree, HTREEITEM item, bool forward)
{
    if (forward) {
        if (HTREEITEM child = firstChild(tree, item)) return child;
        for (HTREEITEM up = item; up; up = related(tree, TVGN_PARENT, up))
            if (HTREEITEM sibling = related(tree, TVGN_NEXT, up)) return sibling;
        return related(tree, TVGN_ROOT, nullptr);
    }
    HTREEITEM start = item ? related(tree, TVGN_PREVIOUS, item) : nullptr;
    if (!start && item) {
        if (HTREEITEM parent = related(tree, TVGN_PARENT, item)) return parent;
    }
    // The last item below `start` (the root when there was neither previous sibling nor parent).
    for (HTREEITEM down = firstChild(tree, start); down; down = firstChild(tree, start)) {
        start = down;
        while (HTREEITEM sibling = related(tree, TVGN_NEXT, start)) start = sibling;
    }
    return start;
}

void CViewLogDlg::showSearchDialog()
{
    if (CTreeSearchDlg(*this).run(window_) != IDOK) return;
    searchForward = 1;
    searchTree();
}

// Every item is compared once, from the one after `start` round to `start` itself, so a search that
// finds nothing else finds the selected item again.
void CViewLogDlg::searchTree()
{
    HTREEITEM start = related(tree_, TVGN_CARET, nullptr);
    std::vector<char> text(static_cast<size_t>(maxItemLength_) + 1);
    if (!start) {
        start = related(tree_, TVGN_ROOT, nullptr);
        if (!start) {
            MessageBoxA(window_, "Tree is empty", "Search tree:", MB_ICONERROR);
            return;
        }
        // Without a selection a forward search begins with the first item, a backward one with
        // the last.
        if (searchForward) start = nextItem(tree_, start, false);
    }
    std::string wanted = searchText;
    if (searchIgnoreCase) fold(wanted.data());

    HTREEITEM item = start;
    for (;;) {
        item = nextItem(tree_, item, searchForward != 0);
        TVITEMA it{};
        it.mask = TVIF_TEXT;
        it.hItem = item;
        it.pszText = text.data();
        it.cchTextMax = static_cast<int>(text.size());
        text[0] = '\0';
        SendMessageA(tree_, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
        if (searchIgnoreCase) fold(text.data());
        bool match = searchWholeItem ? std::strcmp(text.data(), wanted.c_str()) == 0
                                     : std::strstr(text.data(), wanted.c_str()) != nullptr;
        if (match) {
            SendMessageA(tree_, TVM_SELECTITEM, TVGN_CARET, reinterpret_cast<LPARAM>(item));
            return;
        }
        if (item == start || !item) break;
    }
    MessageBoxA(window_, ("Search string \"" + searchText + "\" is not found.").c_str(), "Search tree:",
                MB_ICONINFORMATION);
}

} // namespace tarv
