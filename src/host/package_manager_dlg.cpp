#include "host/package_manager_dlg.h"

#include "com/bstr.h"
#include "host/add_package_dlg.h"
#include "host/discovery.h"
#include "host/lock_object.h"
#include "host/module.h"
#include "host/server.h"
#include "manager_ids.h"
#include "packages/package_store.h"
#include "tarvlib.h"
#include "viewer/view_log_dlg.h"
#include "viewer_ids.h"

#include <commdlg.h>
#include <htmlhelp.h>

#include <new>

namespace tarv {
namespace {

constexpr UINT kCheckedStateImage = 0x2000;

void refreshManagerWindow()
{
    if (CPackageManagerDlg* window = CTARVModule::instance().managerWindow) window->refreshList();
}

// The installed unit operations for the options menu, found once per process when there are any.
void discoverUnitOperations(CTARVModule& m)
{
    try {
        listComponentsOfCategory(m.unitOperationNames, m.unitOperationClasses, kUnitOperationCategory,
                                 CLSID_UnitOperation64);
    } catch (const std::bad_alloc&) {
        m.unitOperationNames.clear();
        m.unitOperationClasses.clear();
        MessageBoxA(nullptr, "Out of memory", "Error:", MB_ICONERROR | MB_TOPMOST);
    }
}

bool isNull(const CLSID& clsid)
{
    return clsid == CLSID{};
}

} // namespace

CPackageManagerDlg::CPackageManagerDlg() : lockObject_(createLockObject())
{
    setPackageListObserver(&refreshManagerWindow);
}

CPackageManagerDlg::~CPackageManagerDlg()
{
    if (window_) DestroyWindow(window_);
    if (icon_) DestroyIcon(icon_);
}

HWND CPackageManagerDlg::create()
{
    return CreateDialogParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDD_PACKAGE_MANAGER), nullptr, &dialogProc,
                              reinterpret_cast<LPARAM>(this));
}

INT_PTR CALLBACK CPackageManagerDlg::dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto* self = reinterpret_cast<CPackageManagerDlg*>(GetWindowLongPtrA(window, DWLP_USER));
    if (message == WM_INITDIALOG) {
        self = reinterpret_cast<CPackageManagerDlg*>(lParam);
        SetWindowLongPtrA(window, DWLP_USER, lParam);
        self->window_ = window;
    }
    return self ? self->handle(message, wParam, lParam) : FALSE;
}

INT_PTR CPackageManagerDlg::handle(UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_INITDIALOG:
        startUp();
        return TRUE;
    case WM_SIZE:
        if (wParam != SIZE_MINIMIZED) layout();
        return TRUE;
    case WM_NOTIFY: {
        const auto* header = reinterpret_cast<const NMHDR*>(lParam);
        if (header->idFrom == IDC_PACKAGE_LIST && header->code == LVN_ITEMCHANGED)
            itemChanged(*reinterpret_cast<const NMLISTVIEW*>(lParam));
        return FALSE;
    }
    case WM_COMMAND:
        command(LOWORD(wParam), HIWORD(wParam));
        return TRUE;
    case WM_SYSCOMMAND:
        if ((wParam & 0xFFF0) == ID_SYSTEM_ABOUT) {
            CAboutDlg().showModal(window_);
            return TRUE;
        }
        return FALSE;
    case WM_INITMENUPOPUP:
        initMenu(reinterpret_cast<HMENU>(wParam));
        return TRUE;
    case WM_DESTROY:
        // The object lives on in the module; only the window's hold on the process goes.
        lockObject_.reset();
        window_ = nullptr;
        list_ = nullptr;
        return TRUE;
    default:
        return FALSE;
    }
}

void CPackageManagerDlg::startUp()
{
    HMENU system = GetSystemMenu(window_, FALSE);
    AppendMenuA(system, MF_SEPARATOR, 0, nullptr);
    AppendMenuA(system, MF_STRING, ID_SYSTEM_ABOUT, "&About TARV...");

    list_ = GetDlgItem(window_, IDC_PACKAGE_LIST);
    const char* const headers[] = {"Package", "Type"};
    for (int i = 0; i < 2; ++i) {
        LVCOLUMNA column{};
        column.mask = LVCF_TEXT | LVCF_SUBITEM;
        column.pszText = const_cast<char*>(headers[i]);
        column.iSubItem = i;
        SendMessageA(list_, LVM_INSERTCOLUMNA, i, reinterpret_cast<LPARAM>(&column));
    }
    SendMessageA(list_, LVM_SETEXTENDEDLISTVIEWSTYLE, LVS_EX_CHECKBOXES, LVS_EX_CHECKBOXES);
    SendMessageA(list_, LVM_SETIMAGELIST, LVSIL_NORMAL, reinterpret_cast<LPARAM>(sharedImageList));
    SendMessageA(list_, LVM_SETIMAGELIST, LVSIL_SMALL, reinterpret_cast<LPARAM>(sharedImageList));
    refreshList();

    icon_ = LoadIconA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDI_TARV));
    SendMessageA(window_, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon_));
    SendMessageA(window_, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(icon_));
    layout();
}

void CPackageManagerDlg::layout()
{
    RECT client;
    GetClientRect(window_, &client);
    MoveWindow(list_, 6, 6, client.right - 12, client.bottom - 12, TRUE);
}

void CPackageManagerDlg::refreshList()
{
    if (!list_) return;
    listReady_ = 0;
    SendMessageA(list_, LVM_DELETEALLITEMS, 0, 0);
    const ExportedPackageList& packages = exportedPackages();
    for (size_t i = 0; i < packages.size(); ++i) {
        const ExportedPackage& p = *packages[i];
        LVITEMW item{};
        item.mask = LVIF_TEXT | LVIF_IMAGE;
        item.iItem = static_cast<int>(i);
        item.pszText = const_cast<wchar_t*>(p.displayName.c_str());
        item.iImage = 1;
        const auto index = static_cast<int>(SendMessageW(list_, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
        static const char* const types[6] = {"PP 1.1", "PP 1.1", "PP 1.0", "PP 1.0", "RP 1.0", "RP 1.0"};
        LVITEMA type{};
        type.iSubItem = 1;
        type.pszText = const_cast<char*>(types[p.kind]);
        SendMessageA(list_, LVM_SETITEMTEXTA, index, reinterpret_cast<LPARAM>(&type));
        if (p.loggingEnabled) {
            LVITEMA state{};
            state.state = kCheckedStateImage;
            state.stateMask = LVIS_STATEIMAGEMASK;
            SendMessageA(list_, LVM_SETITEMSTATE, index, reinterpret_cast<LPARAM>(&state));
        }
    }
    for (int column = 0; column < 2; ++column)
        SendMessageA(list_, LVM_SETCOLUMNWIDTH, column, LVSCW_AUTOSIZE_USEHEADER);
    listReady_ = 1;
}

// A click on a check box takes effect at once, for later resolutions.
void CPackageManagerDlg::itemChanged(const NMLISTVIEW& change)
{
    ExportedPackageList& packages = exportedPackages();
    if (!listReady_ || change.iItem < 0 || static_cast<size_t>(change.iItem) >= packages.size()) return;
    const auto stateImage =
        static_cast<UINT>(SendMessageA(list_, LVM_GETITEMSTATE, change.iItem, LVIS_STATEIMAGEMASK)) >> 12;
    ExportedPackage& p = *packages[static_cast<size_t>(change.iItem)];
    const int32_t wanted = stateImage == 1 ? 0 : 1;
    if (p.loggingEnabled == wanted) return;
    p.loggingEnabled = wanted;
    savePackages();
}

int CPackageManagerDlg::selectedIndex() const
{
    const auto index = static_cast<int>(SendMessageA(list_, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
    return index >= 0 && static_cast<size_t>(index) < exportedPackages().size() ? index : -1;
}

void CPackageManagerDlg::command(int id, int code)
{
    CTARVModule& m = CTARVModule::instance();
    switch (id) {
    case ID_FILE_CLOSE:
    case IDCANCEL:
        if (code == 0) DestroyWindow(window_);
        return;
    case ID_PACKAGE_ADD:
        if (code == 0) addPackage();
        return;
    case ID_PACKAGE_REMOVE:
        if (code == 0) removePackage();
        return;
    case ID_LOG_ENABLE:
        if (code == 0) toggleLogging();
        return;
    case ID_LOG_VIEW:
        if (code == 0) viewLog();
        return;
    case ID_HELP_HELP:
        showHelp();
        return;
    case ID_HELP_ABOUT:
        CAboutDlg().showModal(window_);
        return;
    case ID_OPTIONS_AUTO_LOCATION:
    case ID_OPTIONS_PROMPT_OPEN_LOG: {
        // Read before the flip: another process may have changed the option since.
        loadOptions(m.options);
        int32_t& option = id == ID_OPTIONS_AUTO_LOCATION ? m.options.autoLogLocation : m.options.promptOpenLog;
        option = !option;
        saveOptions(m.options);
        return;
    }
    case ID_OPTIONS_ASK_USER:
        m.options.loggedUnitOperation = CLSID{};
        saveOptions(m.options);
        return;
    default:
        if (id >= ID_UNIT_FIRST && id <= ID_UNIT_UNKNOWN) {
            const auto index = static_cast<size_t>(id - ID_UNIT_FIRST);
            if (index >= m.unitOperationClasses.size()) return;
            m.options.loggedUnitOperation = m.unitOperationClasses[index];
            saveOptions(m.options);
        }
        return;
    }
}

void CPackageManagerDlg::addPackage()
{
    CAddPackageDlg dialog;
    if (dialog.showModal(GetActiveWindow()) != IDOK) return;
    ExportedPackageList& packages = exportedPackages();
    auto added = std::make_unique<ExportedPackage>(dialog.result);
    for (const auto& p : packages) {
        if (lstrcmpiW(p->displayName.c_str(), added->displayName.c_str()) == 0) {
            MessageBoxA(window_, "The selected property package is already exported", "Add package:",
                        MB_ICONINFORMATION | MB_TOPMOST);
            return;
        }
    }
    packages.push_back(std::move(added));
    refreshList();
    savePackages();
}

void CPackageManagerDlg::removePackage()
{
    const int index = selectedIndex();
    if (index < 0) return;
    ExportedPackageList& packages = exportedPackages();
    packages.erase(packages.begin() + index);
    savePackages();
    refreshList();
}

void CPackageManagerDlg::toggleLogging()
{
    const int index = selectedIndex();
    if (index < 0) return;
    ExportedPackage& p = *exportedPackages()[static_cast<size_t>(index)];
    p.loggingEnabled = p.loggingEnabled ? 0 : 1;
    savePackages();
    refreshList();
    LVITEMA state{};
    state.state = state.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
    SendMessageA(list_, LVM_SETITEMSTATE, index, reinterpret_cast<LPARAM>(&state));
}

void CPackageManagerDlg::viewLog()
{
    char path[1024] = "";
    OPENFILENAMEA dialog{};
    dialog.lStructSize = sizeof dialog;
    dialog.hwndOwner = window_;
    dialog.lpstrFilter = "TARV Log Files (*.tlg)\0*.tlg\0All files (*.*)\0*.*\0";
    dialog.lpstrFile = path;
    dialog.nMaxFile = sizeof path;
    dialog.lpstrDefExt = "tlg";
    dialog.lpstrTitle = "View log file:";
    dialog.Flags = OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST | OFN_HIDEREADONLY;
    if (GetOpenFileNameA(&dialog)) openLogViewer(path);
}

// The suite's help file beside the executable, at this program's topic.
void CPackageManagerDlg::showHelp()
{
    char module[1024] = "";
    GetModuleFileNameA(nullptr, module, sizeof module);
    std::string path = module;
    path = path.substr(0, path.rfind('\\') + 1) + "MIRB.chm";
    using HtmlHelpFunction = HWND(WINAPI*)(HWND, LPCSTR, UINT, DWORD_PTR);
    HWND shown = nullptr;
    if (HMODULE help = LoadLibraryA("hhctrl.ocx")) {
        auto htmlHelp = reinterpret_cast<HtmlHelpFunction>(reinterpret_cast<void*>(GetProcAddress(help, "HtmlHelpA")));
        if (htmlHelp)
            shown = htmlHelp(window_, path.c_str(), HH_DISPLAY_TOPIC, reinterpret_cast<DWORD_PTR>("utils/tarv.htm"));
    }
    if (!shown) {
        const std::string text = "Failed to load HTML Help file " + path;
        MessageBoxA(window_, text.c_str(), "Error starting Help:", MB_ICONERROR);
    }
}

// Menu states are computed as a popup opens, recognised by the id of its first item.
void CPackageManagerDlg::initMenu(HMENU popup)
{
    CTARVModule& m = CTARVModule::instance();
    const int selected = selectedIndex();
    switch (GetMenuItemID(popup, 0)) {
    case ID_PACKAGE_ADD:
        EnableMenuItem(popup, ID_PACKAGE_REMOVE, MF_BYCOMMAND | (selected >= 0 ? MF_ENABLED : MF_GRAYED));
        break;
    case ID_LOG_ENABLE: {
        const bool logging = selected >= 0 && exportedPackages()[static_cast<size_t>(selected)]->loggingEnabled;
        EnableMenuItem(popup, ID_LOG_ENABLE, MF_BYCOMMAND | (selected >= 0 ? MF_ENABLED : MF_GRAYED));
        CheckMenuItem(popup, ID_LOG_ENABLE, MF_BYCOMMAND | (logging ? MF_CHECKED : MF_UNCHECKED));
        break;
    }
    case ID_OPTIONS_AUTO_LOCATION:
        loadOptions(m.options);
        CheckMenuItem(popup, ID_OPTIONS_AUTO_LOCATION,
                      MF_BYCOMMAND | (m.options.autoLogLocation ? MF_CHECKED : MF_UNCHECKED));
        CheckMenuItem(popup, ID_OPTIONS_PROMPT_OPEN_LOG,
                      MF_BYCOMMAND | (m.options.promptOpenLog ? MF_CHECKED : MF_UNCHECKED));
        break;
    case ID_OPTIONS_ASK_USER:
        initUnitOperationMenu(popup);
        break;
    default:
        break;
    }
}

void CPackageManagerDlg::initUnitOperationMenu(HMENU popup)
{
    CTARVModule& m = CTARVModule::instance();
    if (m.unitOperationNames.empty()) discoverUnitOperations(m);
    const bool none = isNull(m.options.loggedUnitOperation);
    CheckMenuItem(popup, ID_OPTIONS_ASK_USER, MF_BYCOMMAND | (none ? MF_CHECKED : MF_UNCHECKED));
    while (GetMenuItemCount(popup) > 1) RemoveMenu(popup, 1, MF_BYPOSITION);
    bool checked = false;
    if (!m.unitOperationNames.empty()) {
        AppendMenuA(popup, MF_SEPARATOR, 0, nullptr);
        for (size_t i = 0; i < m.unitOperationNames.size(); ++i) {
            const bool chosen = m.unitOperationClasses[i] == m.options.loggedUnitOperation;
            checked = checked || chosen;
            AppendMenuA(popup, MF_STRING | (chosen ? MF_CHECKED : MF_UNCHECKED), ID_UNIT_FIRST + i,
                        m.unitOperationNames[i].c_str());
        }
    }
    if (!none && !checked) AppendMenuA(popup, MF_STRING | MF_CHECKED, ID_UNIT_UNKNOWN, "<Unknown>");
}

INT_PTR CAboutDlg::showModal(HWND owner)
{
    return DialogBoxParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDD_ABOUT), owner, &dialogProc, 0);
}

INT_PTR CALLBACK CAboutDlg::dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM)
{
    switch (message) {
    case WM_INITDIALOG: {
        const std::string text = std::string("TARV Thermo Host ") + versionString + " (x64)";
        SetDlgItemTextA(window, IDC_ABOUT_VERSION, text.c_str());
        SetDlgItemTextA(window, IDC_ABOUT_ADDRESS, kVendorUrl);
        return TRUE;
    }
    case WM_COMMAND:
        if (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL) {
            EndDialog(window, LOWORD(wParam));
            return TRUE;
        }
        return FALSE;
    default:
        return FALSE;
    }
}

} // namespace tarv
