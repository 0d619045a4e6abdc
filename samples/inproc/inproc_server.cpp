#include "inproc/inproc_server.h"

#include <olectl.h>

#include <new>
#include <string>

namespace inproc {
namespace {

volatile LONG gLocks = 0;       // IClassFactory::LockServer
volatile LONG gFactories = 0;   // class objects handed out and not yet released

class Factory final : public IClassFactory {
public:
    explicit Factory(const ClassRow& row) : row_(row) { InterlockedIncrement(&gFactories); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        if (iid != IID_IUnknown && iid != IID_IClassFactory) {
            *out = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        *out = static_cast<IClassFactory*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        LONG n = InterlockedDecrement(&refs_);
        if (n == 0) delete this;
        return static_cast<ULONG>(n);
    }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        return row_.create(iid, out);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override
    {
        if (lock) InterlockedIncrement(&gLocks); else InterlockedDecrement(&gLocks);
        return S_OK;
    }

private:
    ~Factory() { InterlockedDecrement(&gFactories); }
    const ClassRow& row_;
    volatile LONG refs_ = 1;
};

std::wstring guidText(REFGUID g)
{
    wchar_t buf[64];
    StringFromGUID2(g, buf, 64);
    return buf;
}

// Machine-wide classes: activation in the test prefix reads them, not the per-user ones.
constexpr wchar_t kClasses[] = L"Software\\Classes\\";

LSTATUS setValue(const std::wstring& key, const wchar_t* name, const std::wstring& value)
{
    HKEY h;
    LSTATUS rc = RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kClasses + key).c_str(), 0, nullptr, 0, KEY_SET_VALUE,
                                 nullptr, &h, nullptr);
    if (rc != ERROR_SUCCESS) return rc;
    rc = RegSetValueExW(h, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(h);
    return rc;
}

LSTATUS registerClass(const ClassRow& row, const std::wstring& modulePath)
{
    const std::wstring clsid = guidText(row.clsid);
    const std::wstring key = L"CLSID\\" + clsid;
    const std::pair<std::wstring, std::pair<const wchar_t*, std::wstring>> values[] = {
        {key, {nullptr, row.friendlyName}},
        {key + L"\\InprocServer32", {nullptr, modulePath}},
        {key + L"\\InprocServer32", {L"ThreadingModel", row.threadingModel}},
        {key + L"\\ProgID", {nullptr, row.progId}},
        {row.progId, {nullptr, row.friendlyName}},
        {std::wstring(row.progId) + L"\\CLSID", {nullptr, clsid}},
    };
    for (const auto& [k, v] : values)
        if (LSTATUS rc = setValue(k, v.first, v.second); rc != ERROR_SUCCESS) return rc;
    for (const GUID& cat : row.categories)
        if (LSTATUS rc = setValue(key + L"\\Implemented Categories\\" + guidText(cat), nullptr, L"");
            rc != ERROR_SUCCESS)
            return rc;
    if (!row.cape.name) return ERROR_SUCCESS;
    // CAPE-OPEN components describe themselves to simulators under CapeDescription.
    const std::pair<const wchar_t*, const wchar_t*> cape[] = {
        {L"Name", row.cape.name},
        {L"Description", row.cape.description},
        {L"CapeVersion", row.cape.capeVersion},
        {L"ComponentVersion", row.cape.componentVersion},
        {L"VendorURL", row.cape.vendorUrl},
        {L"About", row.cape.about},
    };
    for (const auto& [name, value] : cape)
        if (LSTATUS rc = setValue(key + L"\\CapeDescription", name, value ? value : L""); rc != ERROR_SUCCESS)
            return rc;
    return ERROR_SUCCESS;
}

LSTATUS deleteTree(const std::wstring& key)
{
    LSTATUS rc = RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kClasses + key).c_str());
    if (rc == ERROR_SUCCESS) rc = RegDeleteKeyW(HKEY_LOCAL_MACHINE, (kClasses + key).c_str());
    return rc == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : rc;
}

} // namespace

HRESULT getClassObject(const std::vector<ClassRow>& table, REFCLSID clsid, REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    for (const ClassRow& row : table) {
        if (row.clsid != clsid) continue;
        auto* f = new (std::nothrow) Factory(row);
        if (!f) return E_OUTOFMEMORY;
        HRESULT hr = f->QueryInterface(iid, out);
        f->Release();
        return hr;
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT canUnloadNow(bool objectsAlive)
{
    return !objectsAlive && gLocks == 0 && gFactories == 0 ? S_OK : S_FALSE;
}

HRESULT registerServer(const std::vector<ClassRow>& table, HMODULE module)
{
    wchar_t path[MAX_PATH];
    DWORD n = GetModuleFileNameW(module, path, MAX_PATH);
    if (n == 0 || n >= MAX_PATH) return SELFREG_E_CLASS;
    for (const ClassRow& row : table)
        if (LSTATUS rc = registerClass(row, std::wstring(path, n)); rc != ERROR_SUCCESS) return HRESULT_FROM_WIN32(rc);
    return S_OK;
}

HRESULT unregisterServer(const std::vector<ClassRow>& table)
{
    HRESULT result = S_OK;
    for (const ClassRow& row : table)
        for (const std::wstring& key : {L"CLSID\\" + guidText(row.clsid), std::wstring(row.progId)})
            if (LSTATUS rc = deleteTree(key); rc != ERROR_SUCCESS) result = HRESULT_FROM_WIN32(rc);
    return result;
}

} // namespace inproc
