// Names of status codes, failure texts and interface names, and the info record of a turned-down
// interface query.
#include "log/call_log.h"

#include "com/bstr.h"
#include "com/com_ptr.h"
#include "tarvlib.h"

#include <new>

namespace tarv {

namespace {

struct StatusEntry {
    HRESULT code;
    const char* name;
};

#define TARV_STATUS(name) {static_cast<HRESULT>(name), #name}

const StatusEntry statusTable[] = {
    TARV_STATUS(NOERROR), TARV_STATUS(E_NOTIMPL), TARV_STATUS(E_NOINTERFACE),
    TARV_STATUS(E_POINTER), TARV_STATUS(E_ABORT), TARV_STATUS(E_FAIL), TARV_STATUS(E_UNEXPECTED),
    TARV_STATUS(E_ACCESSDENIED), TARV_STATUS(E_HANDLE), TARV_STATUS(E_OUTOFMEMORY),
    TARV_STATUS(E_INVALIDARG), TARV_STATUS(E_PENDING),
    TARV_STATUS(CO_E_INIT_TLS), TARV_STATUS(CO_E_INIT_SHARED_ALLOCATOR),
    TARV_STATUS(CO_E_INIT_MEMORY_ALLOCATOR), TARV_STATUS(CO_E_INIT_CLASS_CACHE),
    TARV_STATUS(CO_E_INIT_RPC_CHANNEL), TARV_STATUS(CO_E_INIT_TLS_SET_CHANNEL_CONTROL),
    TARV_STATUS(CO_E_INIT_TLS_CHANNEL_CONTROL), TARV_STATUS(CO_E_INIT_UNACCEPTED_USER_ALLOCATOR),
    TARV_STATUS(CO_E_INIT_SCM_MUTEX_EXISTS), TARV_STATUS(CO_E_INIT_SCM_FILE_MAPPING_EXISTS),
    TARV_STATUS(CO_E_INIT_SCM_MAP_VIEW_OF_FILE), TARV_STATUS(CO_E_INIT_SCM_EXEC_FAILURE),
    TARV_STATUS(CO_E_INIT_ONLY_SINGLE_THREADED), TARV_STATUS(CO_E_CANT_REMOTE),
    TARV_STATUS(CO_E_BAD_SERVER_NAME), TARV_STATUS(CO_E_WRONG_SERVER_IDENTITY),
    TARV_STATUS(CO_E_OLE1DDE_DISABLED), TARV_STATUS(CO_E_RUNAS_SYNTAX),
    TARV_STATUS(CO_E_CREATEPROCESS_FAILURE), TARV_STATUS(CO_E_RUNAS_CREATEPROCESS_FAILURE),
    TARV_STATUS(CO_E_RUNAS_LOGON_FAILURE), TARV_STATUS(CO_E_LAUNCH_PERMSSION_DENIED),
    TARV_STATUS(CO_E_START_SERVICE_FAILURE), TARV_STATUS(CO_E_REMOTE_COMMUNICATION_FAILURE),
    TARV_STATUS(CO_E_SERVER_START_TIMEOUT), TARV_STATUS(CO_E_CLSREG_INCONSISTENT),
    TARV_STATUS(CO_E_IIDREG_INCONSISTENT), TARV_STATUS(CO_E_NOT_SUPPORTED),
    TARV_STATUS(CO_E_RELOAD_DLL), TARV_STATUS(CO_E_MSI_ERROR),
    TARV_STATUS(CO_E_ATTEMPT_TO_CREATE_OUTSIDE_CLIENT_CONTEXT), TARV_STATUS(CO_E_SERVER_PAUSED),
    TARV_STATUS(CO_E_SERVER_NOT_PAUSED), TARV_STATUS(CO_E_CLASS_DISABLED),
    TARV_STATUS(CO_E_CLRNOTAVAILABLE), TARV_STATUS(CO_E_ASYNC_WORK_REJECTED),
    TARV_STATUS(CO_E_SERVER_INIT_TIMEOUT), TARV_STATUS(CO_E_NO_SECCTX_IN_ACTIVATE),
    TARV_STATUS(CO_E_TRACKER_CONFIG), TARV_STATUS(CO_E_THREADPOOL_CONFIG),
    TARV_STATUS(CO_E_SXS_CONFIG), TARV_STATUS(CO_E_MALFORMED_SPN),
    TARV_STATUS(DISP_E_UNKNOWNINTERFACE), TARV_STATUS(DISP_E_MEMBERNOTFOUND),
    TARV_STATUS(DISP_E_PARAMNOTFOUND), TARV_STATUS(DISP_E_TYPEMISMATCH),
    TARV_STATUS(DISP_E_UNKNOWNNAME), TARV_STATUS(DISP_E_NONAMEDARGS),
    TARV_STATUS(DISP_E_BADVARTYPE), TARV_STATUS(DISP_E_EXCEPTION), TARV_STATUS(DISP_E_OVERFLOW),
    TARV_STATUS(DISP_E_BADINDEX), TARV_STATUS(DISP_E_UNKNOWNLCID),
    TARV_STATUS(DISP_E_ARRAYISLOCKED), TARV_STATUS(DISP_E_BADPARAMCOUNT),
    TARV_STATUS(DISP_E_PARAMNOTOPTIONAL), TARV_STATUS(DISP_E_BADCALLEE),
    TARV_STATUS(DISP_E_NOTACOLLECTION), TARV_STATUS(DISP_E_DIVBYZERO),
    TARV_STATUS(DISP_E_BUFFERTOOSMALL),
    TARV_STATUS(STG_E_INVALIDFUNCTION), TARV_STATUS(STG_E_FILENOTFOUND),
    TARV_STATUS(STG_E_PATHNOTFOUND), TARV_STATUS(STG_E_TOOMANYOPENFILES),
    TARV_STATUS(STG_E_ACCESSDENIED), TARV_STATUS(STG_E_INVALIDHANDLE),
    TARV_STATUS(STG_E_INSUFFICIENTMEMORY), TARV_STATUS(STG_E_INVALIDPOINTER),
    TARV_STATUS(STG_E_NOMOREFILES), TARV_STATUS(STG_E_DISKISWRITEPROTECTED),
    TARV_STATUS(STG_E_SEEKERROR), TARV_STATUS(STG_E_WRITEFAULT), TARV_STATUS(STG_E_READFAULT),
    TARV_STATUS(STG_E_SHAREVIOLATION), TARV_STATUS(STG_E_LOCKVIOLATION),
    TARV_STATUS(STG_E_FILEALREADYEXISTS), TARV_STATUS(STG_E_INVALIDPARAMETER),
    TARV_STATUS(STG_E_MEDIUMFULL), TARV_STATUS(STG_E_PROPSETMISMATCHED),
    TARV_STATUS(STG_E_ABNORMALAPIEXIT), TARV_STATUS(STG_E_INVALIDHEADER),
    TARV_STATUS(STG_E_INVALIDNAME), TARV_STATUS(STG_E_UNKNOWN),
    TARV_STATUS(STG_E_UNIMPLEMENTEDFUNCTION), TARV_STATUS(STG_E_INVALIDFLAG),
    TARV_STATUS(STG_E_INUSE), TARV_STATUS(STG_E_NOTCURRENT), TARV_STATUS(STG_E_REVERTED),
    TARV_STATUS(STG_E_CANTSAVE), TARV_STATUS(STG_E_OLDFORMAT), TARV_STATUS(STG_E_OLDDLL),
    TARV_STATUS(STG_E_SHAREREQUIRED), TARV_STATUS(STG_E_NOTFILEBASEDSTORAGE),
    TARV_STATUS(STG_E_EXTANTMARSHALLINGS), TARV_STATUS(STG_E_DOCFILECORRUPT),
    TARV_STATUS(STG_E_DOCFILETOOLARGE), TARV_STATUS(STG_E_NOTSIMPLEFORMAT),
    TARV_STATUS(STG_E_INCOMPLETE), TARV_STATUS(STG_E_STATUS_COPY_PROTECTION_FAILURE),
    TARV_STATUS(STG_E_TERMINATED),
    TARV_STATUS(OLE_E_OLEVERB), TARV_STATUS(OLE_E_ADVF), TARV_STATUS(OLE_E_ENUM_NOMORE),
    TARV_STATUS(OLE_E_ADVISENOTSUPPORTED), TARV_STATUS(OLE_E_NOCONNECTION),
    TARV_STATUS(OLE_E_NOTRUNNING), TARV_STATUS(OLE_E_NOCACHE), TARV_STATUS(OLE_E_BLANK),
    TARV_STATUS(OLE_E_CLASSDIFF), TARV_STATUS(OLE_E_CANT_GETMONIKER),
    TARV_STATUS(OLE_E_CANT_BINDTOSOURCE), TARV_STATUS(OLE_E_STATIC),
    TARV_STATUS(OLE_E_PROMPTSAVECANCELLED), TARV_STATUS(OLE_E_INVALIDRECT),
    TARV_STATUS(OLE_E_WRONGCOMPOBJ), TARV_STATUS(OLE_E_INVALIDHWND),
    TARV_STATUS(OLE_E_NOT_INPLACEACTIVE), TARV_STATUS(OLE_E_CANTCONVERT),
    TARV_STATUS(OLE_E_NOSTORAGE),
    TARV_STATUS(DV_E_FORMATETC), TARV_STATUS(DV_E_DVTARGETDEVICE), TARV_STATUS(DV_E_STGMEDIUM),
    TARV_STATUS(DV_E_STATDATA), TARV_STATUS(DV_E_LINDEX), TARV_STATUS(DV_E_TYMED),
    TARV_STATUS(DV_E_CLIPFORMAT), TARV_STATUS(DV_E_DVASPECT),
    TARV_STATUS(DV_E_DVTARGETDEVICE_SIZE), TARV_STATUS(DV_E_NOIVIEWOBJECT),
    TARV_STATUS(CLASS_E_NOAGGREGATION), TARV_STATUS(CLASS_E_CLASSNOTAVAILABLE),
    TARV_STATUS(CLASS_E_NOTLICENSED), TARV_STATUS(VIEW_E_DRAW),
    TARV_STATUS(REGDB_E_READREGDB), TARV_STATUS(REGDB_E_WRITEREGDB),
    TARV_STATUS(REGDB_E_KEYMISSING), TARV_STATUS(REGDB_E_INVALIDVALUE),
    TARV_STATUS(REGDB_E_CLASSNOTREG), TARV_STATUS(REGDB_E_IIDNOTREG),
    TARV_STATUS(REGDB_E_BADTHREADINGMODEL), TARV_STATUS(CAT_E_CATIDNOEXIST),
    TARV_STATUS(CAT_E_NODESCRIPTION),
    TARV_STATUS(CLIPBRD_E_CANT_OPEN), TARV_STATUS(CLIPBRD_E_CANT_EMPTY),
    TARV_STATUS(CLIPBRD_E_CANT_SET), TARV_STATUS(CLIPBRD_E_BAD_DATA),
    TARV_STATUS(CLIPBRD_E_CANT_CLOSE),
    TARV_STATUS(CO_E_NOTINITIALIZED), TARV_STATUS(CO_E_ALREADYINITIALIZED),
    TARV_STATUS(CO_E_CANTDETERMINECLASS), TARV_STATUS(CO_E_CLASSSTRING),
    TARV_STATUS(CO_E_IIDSTRING), TARV_STATUS(CO_E_APPNOTFOUND), TARV_STATUS(CO_E_APPSINGLEUSE),
    TARV_STATUS(CO_E_ERRORINAPP), TARV_STATUS(CO_E_DLLNOTFOUND), TARV_STATUS(CO_E_ERRORINDLL),
    TARV_STATUS(CO_E_WRONGOSFORAPP), TARV_STATUS(CO_E_OBJNOTREG), TARV_STATUS(CO_E_OBJISREG),
    TARV_STATUS(CO_E_OBJNOTCONNECTED), TARV_STATUS(CO_E_APPDIDNTREG), TARV_STATUS(CO_E_RELEASED),
    TARV_STATUS(CO_E_CLASS_CREATE_FAILED), TARV_STATUS(CO_E_BAD_PATH),
    TARV_STATUS(CO_E_SCM_RPC_FAILURE), TARV_STATUS(CO_E_SCM_ERROR),
    TARV_STATUS(CO_E_SERVER_EXEC_FAILURE), TARV_STATUS(CO_E_OBJSRV_RPC_FAILURE),
    TARV_STATUS(STG_S_CONVERTED), TARV_STATUS(STG_S_BLOCK), TARV_STATUS(STG_S_RETRYNOW),
    TARV_STATUS(STG_S_MONITORING), TARV_STATUS(STG_S_MULTIPLEOPENS),
    TARV_STATUS(STG_S_CONSOLIDATIONFAILED), TARV_STATUS(STG_S_CANNOTCONSOLIDATE),
};

#undef TARV_STATUS

// The CAPE-OPEN block, 0x80040501 to 0x8004051A in order, with the fixed description of each code.
struct CapeEntry {
    const char* name;
    const wchar_t* description;
};

const CapeEntry capeTable[] = {
    {"ECapeUnknownHR", L"Failed to get error name for ECapeUnknown"},
    {"ECapeDataHR", L"invalid data"},
    {"ECapeLicenceErrorHR", L"license problem"},
    {"ECapeBadCOParameterHR", L"Bad Cape-Open parameter"},
    {"ECapeBadArgumentHR", L"Bad argument"},
    {"ECapeInvalidArgumentHR", L"Invalid argument"},
    {"ECapeOutOfBoundsHR", L"index out of bounds"},
    {"ECapeImplementationHR", L"current implementation related error"},
    {"ECapeNoImplHR", L"not implemented"},
    {"ECapeLimitedImplHR", L"implementation is limited"},
    {"ECapeComputationHR", L"computation error"},
    {"ECapeOutOfResourcesHR", L"out of resources"},
    {"ECapeNoMemoryHR", L"out of memory"},
    {"ECapeTimeOutHR", L"operation was timed out"},
    {"ECapeFailedInitialisationHR", L"initialization error"},
    {"ECapeSolvingErrorHR", L"solution error"},
    {"ECapeBadInvOrderHR", L"invalid order of invocations"},
    {"ECapeInvalidOperationHR", L"invalid operation"},
    {"ECapePersistenceHR", L"storage / persistence error"},
    {"ECapeIllegalAccessHR", L"illegal access"},
    {"ECapePersistenceNotFoundHR", L"persistence error: not found"},
    {"ECapePersistenceSystemErrorHR", L"persistence system error"},
    {"ECapePersistenceOverflowHR", L"persistence overflow error"},
    {"ECapeOutsideSolverScopeHR", L"solver scope error"},
    {"ECapeHessianInfoNotAvailableHR", L"Hessian information not available"},
    {"ECapeThrmPropertyNotAvailableHR",
     L"One or more of the requested thermodynamic properties are not set on the material"},
};

constexpr uint32_t capeFirst = ECapeUnknownHR;
constexpr uint32_t capeLast = ECapeThrmPropertyNotAvailableHR;
static_assert(capeLast - capeFirst + 1 == sizeof capeTable / sizeof capeTable[0]);

bool inCapeBlock(HRESULT status)
{
    uint32_t code = static_cast<uint32_t>(status);
    return code >= capeFirst && code <= capeLast;
}

// The BSTR's text when it has any, then frees it.
bool takeNonEmpty(BSTR text, std::wstring* out)
{
    bool found = text && SysStringLen(text) > 0;
    if (found) *out = std::wstring(text, SysStringLen(text));
    SysFreeString(text);
    return found;
}

} // namespace

std::string CallLog::statusName(HRESULT status)
{
    for (const StatusEntry& e : statusTable)
        if (e.code == status) return e.name;
    if (inCapeBlock(status)) return capeTable[static_cast<uint32_t>(status) - capeFirst].name;

    static const char hex[] = "0123456789ABCDEF";
    char text[16];
    char* p = text + sizeof text;
    uint32_t v = static_cast<uint32_t>(status);
    do {
        *--p = hex[v & 0xF];
        v >>= 4;
    } while (v);
    *--p = 'x';
    *--p = '0';
    return std::string(p, text + sizeof text);
}

std::wstring systemErrorText(HRESULT status)
{
    constexpr DWORD room = 1024;
    wchar_t* buffer = new (std::nothrow) wchar_t[room];
    if (!buffer) return L"<out of memory>";

    DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                             static_cast<DWORD>(status), 0, buffer, room, nullptr);
    if (n > 0) {
        if (buffer[n - 1] == L'\n') {
            --n;
            if (n > 0 && buffer[n - 1] == L'\r') --n;
        }
    } else {
        DWORD_PTR arguments[] = {static_cast<DWORD>(status)};
        n = FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY,
                           L"error code 0x%1!08X!", 0, 0, buffer, room,
                           reinterpret_cast<va_list*>(arguments));
    }
    std::wstring text;
    try {
        text.assign(buffer, n);
    } catch (const std::bad_alloc&) {
        text = L"<unknown error>";
    }
    delete[] buffer;
    return text;
}

std::wstring capeErrorText(IUnknown* failedObject, HRESULT status)
{
    if (!inCapeBlock(status)) return systemErrorText(status);
    std::wstring text;
    if (failedObject) {
        // Asked directly of the foreign interface: no proxy, so no records from this lookup.
        ComPtr<ECapeUser> user;
        if (SUCCEEDED(failedObject->QueryInterface(IID_ECapeUser, user.putVoid())) && user) {
            BSTR description = nullptr;
            user->get_description(&description);
            user.reset();
            if (takeNonEmpty(description, &text)) return text;
        }
        ComPtr<ECapeRoot> root;
        if (SUCCEEDED(failedObject->QueryInterface(IID_ECapeRoot, root.putVoid())) && root) {
            BSTR name = nullptr;
            root->get_name(&name);
            if (takeNonEmpty(name, &text)) return text;
        }
    }
    return capeTable[static_cast<uint32_t>(status) - capeFirst].description;
}

std::string CallLog::interfaceName(REFIID iid)
{
    wchar_t braced[64];
    if (StringFromGUID2(iid, braced, 64) == 0) return "<invalid IID>";
    std::string text = toNarrow(braced);

    std::string keyName = "Interface\\" + text;
    HKEY key;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, keyName.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
        char value[513];
        DWORD size = 512;
        DWORD type = 0;
        if (RegQueryValueExA(key, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(value), &size) ==
                ERROR_SUCCESS &&
            type == REG_SZ) {
            value[size] = '\0';
            text = value;
        }
        RegCloseKey(key);
    }
    return text;
}

void CallLog::queryInterface(const char* objectName, REFIID iid, HRESULT status)
{
    if (!stream_) return;
    // The server's own query for the wrapped object never shows in a log.
    if (IsEqualIID(iid, IID_IOriginalObject64)) return;
    std::string text = objectName ? objectName : "";
    text += ": QueryInterface for unsupported interface ";
    text += interfaceName(iid);
    text += " results ";
    text += statusName(status);
    writeInfo(text.c_str());
}

} // namespace tarv
