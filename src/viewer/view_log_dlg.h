#pragma once
// The log viewer: one window per log, on a thread of its own with its own message loop and keys.
// The tree above holds every record of the document, the list below its errors and warnings;
// selecting a row selects its record. Search, next error, expand and collapse all, and the removal
// of the notes about interface queries are commands of its menu.
#include "com/com_ptr.h"
#include "viewer/log_reader.h"

#include <windows.h>
#include <commctrl.h>

#include <memory>
#include <string>

namespace tarv {

class CFileProgressDialog;

class CViewLogDlg final : private LogSink {
public:
    // Takes one lock on the server process for the life of the viewer.
    explicit CViewLogDlg(std::string logPath);
    ~CViewLogDlg() override;
    CViewLogDlg(const CViewLogDlg&) = delete;
    CViewLogDlg& operator=(const CViewLogDlg&) = delete;

    // Creates the window, which reads the log into its controls before this returns. Null if the
    // window could not be made; the object is then still the caller's. Once the window exists, its
    // last message deletes the object.
    HWND create();
    // The flag of the thread's message loop, cleared when the object goes.
    void setRunning(int* flag) { running_ = flag; }

    // The search: the last string and its options, kept for Find next and Find previous.
    int searchForward = 1;
    int searchIgnoreCase = 1;
    int searchWholeItem = 0;
    std::string searchText;

    // Shows the search dialog; on OK searches forward.
    void showSearchDialog();
    // One search with the state above, from the selected item, wrapping around; selects the item
    // found or says that there is none.
    void searchTree();

private:
    static INT_PTR CALLBACK dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR handle(UINT message, WPARAM wParam, LPARAM lParam);
    void startUp();
    void layout();
    void command(int id);
    void notify(const NMHDR& header);
    void initMenu(HMENU menu);

    void expandAll();
    void collapseAll();
    void expandEach(UINT action);
    void nextError();
    void selectRowItem(int row);
    void removeQueryInterfaceNotes();
    void findAgain(int forward, const char* caption);

    // The reader's items and rows go straight into the controls.
    Item insertItem(Item parent, const std::string& text, int image, bool hasChildren) override;
    void addListRow(const std::string& text, int image, Item item) override;
    void report(const LogReaderMessage& message) override;
    void progressBegin(int64_t fileLength) override;
    void progressShow() override;
    void progressSet(int percent) override;
    void progressEnd() override;

    ComPtr<IUnknown> serverLock_;
    std::string logPath_;
    int32_t maxItemLength_ = 0;
    HICON windowIcon_ = nullptr;
    int* running_ = nullptr;
    HWND window_ = nullptr;
    HWND tree_ = nullptr;
    HWND list_ = nullptr;
    std::unique_ptr<CFileProgressDialog> progress_;
    bool closing_ = false;
};

// Shows the log at `path` in a viewer on a thread of its own, and returns at once.
void openLogViewer(const std::string& path);

// The item after `item` in a pre-order walk of `tree`, forward or backward, wrapping around at the
// ends. Null stands for the invisible root: forward from it is the first item, backward the last.
HTREEITEM nextItem(HWND tree, HTREEITEM item, bool forward);

} // namespace tarv
