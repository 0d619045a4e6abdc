#pragma once
// The manager window: the exported packages with a logging check box each, and the menus to add
// and remove packages, switch logging, set the options, view logs and get help. A modeless dialog
// on the main thread; while it is open it holds one lock on the server process.
#include "com/com_ptr.h"

#include <windows.h>
#include <commctrl.h>

namespace tarv {

class CPackageManagerDlg {
public:
    // Takes the window's lock on the process and becomes the window that the store refreshes.
    CPackageManagerDlg();
    ~CPackageManagerDlg();
    CPackageManagerDlg(const CPackageManagerDlg&) = delete;
    CPackageManagerDlg& operator=(const CPackageManagerDlg&) = delete;

    // Creates the modeless window from dialog 102 without an owner; null on failure.
    HWND create();
    HWND window() const { return window_; }

    // Refills the list from the exported packages; harmless once the window is gone.
    void refreshList();

private:
    static INT_PTR CALLBACK dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR handle(UINT message, WPARAM wParam, LPARAM lParam);
    void startUp();
    void layout();
    void command(int id, int code);
    void itemChanged(const NMLISTVIEW& change);
    void initMenu(HMENU popup);
    void initUnitOperationMenu(HMENU popup);
    int selectedIndex() const;

    void addPackage();
    void removePackage();
    void toggleLogging();
    void viewLog();
    void showHelp();

    ComPtr<IUnknown> lockObject_;
    HICON icon_ = nullptr;
    int listReady_ = 1;
    HWND window_ = nullptr;
    HWND list_ = nullptr;
};

// The modal About box (dialog 107): the product, its version and the vendor's web address.
class CAboutDlg {
public:
    INT_PTR showModal(HWND owner);

private:
    static INT_PTR CALLBACK dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
};

} // namespace tarv
