#pragma once
// Choosing the real component behind a logged object: the installed components of a CAPE-OPEN
// category, read from the registry, and the dialog in which the user picks one.
#include "proxy/method.h"

#include <windows.h>

#include <string>
#include <vector>

namespace tarv {

class PersistentObject;

// The modal selection dialog (resource 124): a sorted list of the components of one category.
class CSelectCOObject {
public:
    CSelectCOObject(std::string title, const char* category, const CLSID& excludedClass);

    // Runs the dialog; IDOK with selectedIndex() set, or IDCANCEL.
    INT_PTR showModal(HWND parent);
    int selectedIndex() const { return selectedIndex_; }
    const std::vector<std::string>& names() const { return names_; }
    const std::vector<CLSID>& classIds() const { return classIds_; }

private:
    static INT_PTR CALLBACK dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    bool takeSelection(HWND window);

    std::vector<std::string> names_;
    std::vector<CLSID> classIds_;
    std::string title_;
    int selectedIndex_ = -1;
};

// The choice of InitNew when no class is configured: the dialog, then the class into the object
// (only with a log, as users know it), or the cancellation message. False when cancelled.
bool selectLoggedClass(PersistentObject& object, ProxyCall& c);

} // namespace tarv
