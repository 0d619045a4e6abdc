#include "unit/selection.h"

#include "com/bstr.h"
#include "host/discovery.h"
#include "unit/persistent_object.h"

namespace tarv {
namespace {

constexpr int kSelectDialog = 124;
constexpr int kComponentList = 211;

} // namespace

CSelectCOObject::CSelectCOObject(std::string title, const char* category, const CLSID& excludedClass)
    : title_(std::move(title))
{
    listComponentsOfCategory(names_, classIds_, category, excludedClass);
}

INT_PTR CSelectCOObject::showModal(HWND parent)
{
    return DialogBoxParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(kSelectDialog), parent, &dialogProc,
                           reinterpret_cast<LPARAM>(this));
}

bool CSelectCOObject::takeSelection(HWND window)
{
    const LRESULT position = SendDlgItemMessageA(window, kComponentList, LB_GETCURSEL, 0, 0);
    if (position == LB_ERR) return false;
    selectedIndex_ = static_cast<int>(SendDlgItemMessageA(window, kComponentList, LB_GETITEMDATA, position, 0));
    EndDialog(window, IDOK);
    return true;
}

INT_PTR CALLBACK CSelectCOObject::dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto* self = reinterpret_cast<CSelectCOObject*>(GetWindowLongPtrA(window, DWLP_USER));
    switch (message) {
    case WM_INITDIALOG: {
        self = reinterpret_cast<CSelectCOObject*>(lParam);
        SetWindowLongPtrA(window, DWLP_USER, lParam);
        SetWindowTextA(window, self->title_.c_str());
        // The box sorts its entries; each carries its index into the lists as item data.
        for (size_t i = 0; i < self->names_.size(); ++i) {
            const LRESULT position =
                SendDlgItemMessageA(window, kComponentList, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(self->names_[i].c_str()));
            SendDlgItemMessageA(window, kComponentList, LB_SETITEMDATA, position, static_cast<LPARAM>(i));
        }
        return TRUE;
    }
    case WM_COMMAND:
        // OK or a double click on an entry; with nothing selected the dialog stays.
        if (LOWORD(wParam) == IDOK || (LOWORD(wParam) == kComponentList && HIWORD(wParam) == LBN_DBLCLK)) {
            self->takeSelection(window);
            return TRUE;
        }
        if (LOWORD(wParam) == IDCANCEL) {
            EndDialog(window, IDCANCEL);
            return TRUE;
        }
        return FALSE;
    default:
        return FALSE;
    }
}

bool selectLoggedClass(PersistentObject& object, ProxyCall& c)
{
    const std::string& type = object.type();
    CLSID self{};
    object.GetClassID(&self);
    CSelectCOObject dialog("Select " + type + ":", object.category(), self);
    if (dialog.showModal(GetActiveWindow()) != IDOK) {
        const std::string text = type + " selection has been cancelled. " + type + " will not be functional.";
        if (c.log) c.log->writeError(text.c_str());
        MessageBoxA(nullptr, text.c_str(), type.c_str(), MB_ICONERROR | MB_TOPMOST);
        return false;
    }
    // Without a log the choice is not taken over, and the creation that follows reports it.
    if (c.log) {
        object.setClsid(dialog.classIds()[static_cast<size_t>(dialog.selectedIndex())]);
        const std::string text = "Creating user selected unit operation: " + guidText(object.clsid());
        c.log->writeInfo(text.c_str());
    }
    return true;
}

} // namespace tarv
