#include "host/add_package_dlg.h"

#include "com/bstr.h"
#include "com/com_ptr.h"
#include "com/variant.h"
#include "host/discovery.h"
#include "host/module.h"
#include "log/call_log.h"
#include "manager_ids.h"
#include "tarvlib.h"

namespace tarv {

const char* const kPackageCategories[6] = {
    "{CF51E383-0110-4ed8-ACB7-B50CFDE6908E}", "{CF51E384-0110-4ed8-ACB7-B50CFDE6908E}",
    "{678C09A3-7D66-11D2-A67D-00105A42887F}", "{678C09A4-7D66-11D2-A67D-00105A42887F}",
    "{678C09AA-0100-11D2-A67D-00105A42887F}", "{678C09AB-0100-11D2-A67D-00105A42887F}",
};

namespace {

constexpr DWORD kAnyContext = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER |
                              CLSCTX_REMOTE_SERVER;
constexpr int kPackageImage = 1;
// Children of a container carry this instead of an entry's index.
constexpr LPARAM kNoEntry = -1;

bool isContainer(PackageKind kind)
{
    return kind % 2 == 0;
}

int imageOf(PackageKind kind)
{
    static const int images[6] = {0, 1, 0, 1, 11, 12};
    return images[kind];
}

// A container kind's interface, list method and the words of its failure messages.
struct ContainerType {
    const IID* iid;
    HRESULT (*list)(IUnknown* container, VARIANT* names);
    const char* createFailure;
    const char* initializeFailure;
    const char* listFailure;
    const char* invalidList;
};

HRESULT listOfManager(IUnknown* c, VARIANT* names)
{
    return static_cast<ICapeThermoPropertyPackageManager*>(c)->GetPropertyPackageList(names);
}
HRESULT listOfThermoSystem(IUnknown* c, VARIANT* names)
{
    return static_cast<ICapeThermoSystem*>(c)->GetPropertyPackages(names);
}
HRESULT listOfReactionManager(IUnknown* c, VARIANT* names)
{
    return static_cast<ICapeReactionsPackageManager*>(c)->GetListOfReactionsPackages(names);
}

// Indexed by kind / 2.
const ContainerType kContainerTypes[3] = {
    {&IID_ICapeThermoPropertyPackageManager, &listOfManager, "Failed to create property package manager: ",
     "Failed to initialize property package manager: ",
     "Failed to get a list of property packages from property package manager: ",
     "Invalid list of property packages from property package manager: "},
    {&IID_ICapeThermoSystem, &listOfThermoSystem, "Failed to create thermo system: ",
     "Failed to initialize thermo system: ", "Failed to get a list of property packages from thermo system: ",
     "Invalid list of property packages from thermo system: "},
    {&IID_ICapeReactionsPackageManager, &listOfReactionManager, "Failed to create reaction package mananger: ",
     "Failed to initialize reaction package manager: ",
     "Failed to get a list of reaction packages from reaction package manager: ",
     "Invalid list of reaction packages from reaction package manager: "},
};

// The label of a class in this dialog: CapeDescription "Name", else the VersionIndependentProgID,
// else the ProgID, else the class id.
std::string packageLabel(const RegistryKey& classKey, const CLSID& clsid)
{
    std::string label = RegistryKey(classKey.handle(), "CapeDescription").text("Name");
    if (label.empty()) label = classKey.subkeyText("VersionIndependentProgID");
    if (label.empty()) label = classKey.subkeyText("ProgID");
    if (label.empty()) label = guidText(clsid);
    return label;
}

} // namespace

INT_PTR CAddPackageDlg::showModal(HWND owner)
{
    return DialogBoxParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDD_ADD_PACKAGE), owner, &dialogProc,
                           reinterpret_cast<LPARAM>(this));
}

void CAddPackageDlg::startUp()
{
    tree_ = GetDlgItem(window_, IDC_COMPONENT_TREE);
    SendMessageA(tree_, TVM_SETIMAGELIST, TVSIL_NORMAL, reinterpret_cast<LPARAM>(sharedImageList));
    CheckDlgButton(window_, IDC_LOGGING_ENABLED, BST_CHECKED);
    if (!title.empty()) SetWindowTextA(window_, title.c_str());
    fillTree();
}

void CAddPackageDlg::fillTree()
{
    const int32_t hidden[6] = {hideProperty11, hideProperty11, hideProperty10, hideProperty10, hideReaction,
                               hideReaction};
    // The server never offers its own managers.
    const CLSID* const own[] = {&CLSID_PropertyPackageManager64, &CLSID_ThermoSystem64, &CLSID_ReactionPackageManager64};
    forEachClassInCategories(
        kPackageCategories, 6, [&](const RegistryKey& classKey, const char*, const CLSID& clsid, size_t category) {
            if (hidden[category]) return;
            for (const CLSID* c : own)
                if (clsid == *c) return;
            auto entry = std::make_unique<ComponentEntry>();
            entry->clsid = clsid;
            entry->kind = static_cast<PackageKind>(category);
            entry->label = packageLabel(classKey, clsid);
            TVINSERTSTRUCTA insert{};
            insert.hParent = TVI_ROOT;
            insert.hInsertAfter = TVI_SORT;
            insert.item.mask = TVIF_TEXT | TVIF_IMAGE | TVIF_SELECTEDIMAGE | TVIF_PARAM | TVIF_CHILDREN;
            insert.item.pszText = const_cast<char*>(entry->label.c_str());
            insert.item.iImage = insert.item.iSelectedImage = imageOf(entry->kind);
            insert.item.cChildren = isContainer(entry->kind) ? 1 : 0;
            insert.item.lParam = static_cast<LPARAM>(entries.size());
            entries.push_back(std::move(entry));
            SendMessageA(tree_, TVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&insert));
        });
}

const ComponentEntry* CAddPackageDlg::entryOf(HTREEITEM item) const
{
    TVITEMA it{};
    it.mask = TVIF_PARAM;
    it.hItem = item;
    if (!item || !SendMessageA(tree_, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it))) return nullptr;
    if (it.lParam < 0 || static_cast<size_t>(it.lParam) >= entries.size()) return nullptr;
    return entries[static_cast<size_t>(it.lParam)].get();
}

void CAddPackageDlg::expand(HTREEITEM item, LPARAM data)
{
    if (data < 0 || static_cast<size_t>(data) >= entries.size()) return;
    if (SendMessageA(tree_, TVM_GETNEXTITEM, TVGN_CHILD, reinterpret_cast<LPARAM>(item))) return;
    const ComponentEntry& entry = *entries[static_cast<size_t>(data)];
    if (!isContainer(entry.kind)) return;
    if (entry.kind > ReactionPackageManager10) {
        MessageBoxA(window_, "Internal error: unknown package manager type", "Error:", MB_ICONERROR);
        return;
    }
    const ContainerType& type = kContainerTypes[entry.kind / 2];
    auto failed = [&](const char* literal, const std::wstring& why) {
        const std::string text = literal + toNarrow(why);
        MessageBoxA(window_, text.c_str(), "Error:", MB_ICONERROR);
    };

    ComPtr<IUnknown> container;
    HRESULT hr = CoCreateInstance(entry.clsid, nullptr, kAnyContext, *type.iid, container.putVoid());
    if (FAILED(hr) || !container) return failed(type.createFailure, systemErrorText(hr));
    ComPtr<ICapeUtilities> utilities = container.query<ICapeUtilities>(IID_ICapeUtilities);
    if (utilities && FAILED(hr = utilities->Initialize()))
        failed(type.initializeFailure, capeErrorText(utilities.get(), hr));

    Variant names;
    hr = type.list(container.get(), names.ptr());
    if (FAILED(hr)) {
        failed(type.listFailure, capeErrorText(container.get(), hr));
    } else {
        ArrayView array(*names.ptr());
        std::string why;
        if (!array.check(VT_BSTR, &why)) {
            failed(type.invalidList, toWide(why));
        } else {
            for (int32_t i = 0; i < array.count; ++i) {
                LONG index = array.lowerBound + i;
                BSTR name = nullptr;
                if (FAILED(SafeArrayGetElement(array.value.parray, &index, &name))) continue;
                const std::string text = toNarrow(name ? std::wstring_view(name, SysStringLen(name)) : std::wstring_view());
                SysFreeString(name);
                TVINSERTSTRUCTA insert{};
                insert.hParent = item;
                insert.hInsertAfter = TVI_LAST;
                insert.item.mask = TVIF_TEXT | TVIF_IMAGE | TVIF_SELECTEDIMAGE | TVIF_PARAM;
                insert.item.pszText = const_cast<char*>(text.c_str());
                insert.item.iImage = insert.item.iSelectedImage = kPackageImage;
                insert.item.lParam = kNoEntry;
                SendMessageA(tree_, TVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&insert));
            }
        }
    }
    if (utilities) utilities->Terminate();
}

// A package inside a container, or a stand-alone property package of either generation.
bool CAddPackageDlg::selectable(HTREEITEM item) const
{
    if (!item) return false;
    if (SendMessageA(tree_, TVM_GETNEXTITEM, TVGN_PARENT, reinterpret_cast<LPARAM>(item))) return true;
    const ComponentEntry* entry = entryOf(item);
    return entry && (entry->kind == PropertyPackage11 || entry->kind == PropertyPackage10);
}

void CAddPackageDlg::accept()
{
    auto item = reinterpret_cast<HTREEITEM>(SendMessageA(tree_, TVM_GETNEXTITEM, TVGN_CARET, 0));
    if (!selectable(item)) return;
    auto parent = reinterpret_cast<HTREEITEM>(SendMessageA(tree_, TVM_GETNEXTITEM, TVGN_PARENT,
                                                           reinterpret_cast<LPARAM>(item)));
    const ComponentEntry* entry = entryOf(parent ? parent : item);
    if (!entry) return;
    result.clsid = entry->clsid;
    result.kind = entry->kind;
    char text[1024] = "";
    TVITEMA it{};
    it.mask = TVIF_TEXT;
    it.hItem = item;
    it.pszText = text;
    it.cchTextMax = sizeof text;
    SendMessageA(tree_, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
    result.packageName = toWide(text);
    result.displayName = toWide(entry->label);
    result.loggingEnabled = IsDlgButtonChecked(window_, IDC_LOGGING_ENABLED) == BST_CHECKED ? 1 : 0;
    if (entry->kind != PropertyPackage11 && entry->kind != PropertyPackage10 && entry->kind != ReactionPackage10)
        result.displayName += L"/" + result.packageName;
    EndDialog(window_, IDOK);
}

INT_PTR CALLBACK CAddPackageDlg::dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto* self = reinterpret_cast<CAddPackageDlg*>(GetWindowLongPtrA(window, DWLP_USER));
    switch (message) {
    case WM_INITDIALOG:
        self = reinterpret_cast<CAddPackageDlg*>(lParam);
        SetWindowLongPtrA(window, DWLP_USER, lParam);
        self->window_ = window;
        self->startUp();
        return TRUE;
    case WM_NOTIFY: {
        const auto* header = reinterpret_cast<const NMHDR*>(lParam);
        if (!self || header->idFrom != IDC_COMPONENT_TREE) return FALSE;
        const auto* tv = reinterpret_cast<const NMTREEVIEWA*>(lParam);
        if ((header->code == TVN_ITEMEXPANDINGA || header->code == TVN_ITEMEXPANDINGW) && (tv->action & TVE_EXPAND))
            self->expand(tv->itemNew.hItem, tv->itemNew.lParam);
        else if (header->code == TVN_SELCHANGEDA || header->code == TVN_SELCHANGEDW)
            EnableWindow(GetDlgItem(window, IDOK), self->selectable(tv->itemNew.hItem));
        return FALSE;
    }
    case WM_COMMAND:
        if (LOWORD(wParam) == IDOK) {
            self->accept();
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

} // namespace tarv
