#include "dispatch.h"

#include "com_ptr.h"

#include <windows.h>

#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace tarv {
namespace {

// {4A5E2E81-C093-11D4-9F1B-0010A4D198C2}
constexpr GUID kCapeOpenLibId = {0x4A5E2E81, 0xC093, 0x11D4, {0x9F, 0x1B, 0x00, 0x10, 0xA4, 0xD1, 0x98, 0xC2}};
// {8032C600-BA13-484F-A25F-3DFB47FCA46D}
constexpr GUID kTarvLibId = {0x8032C600, 0xBA13, 0x484F, {0xA2, 0x5F, 0x3D, 0xFB, 0x47, 0xFC, 0xA4, 0x6D}};

// Resource numbers of the type libraries inside the server's executable. 1 is TARVLib64; 2 is
// this project's copy of the CAPE-OPEN 1.1 library, used only when the published library is not
// registered on the machine. Neither is ever registered from here.
constexpr int kTarvResource = 1;
constexpr int kCapeOpenResource = 2;

HRESULT loadFromExecutable(int resource, ITypeLib** out)
{
    wchar_t path[MAX_PATH + 16];
    DWORD n = GetModuleFileNameW(nullptr, path, MAX_PATH);
    if (n == 0 || n >= MAX_PATH) return TYPE_E_CANTLOADLIBRARY;
    std::wstring withResource = std::wstring(path, n) + L"\\" + std::to_wstring(resource);
    return LoadTypeLibEx(withResource.c_str(), REGKIND_NONE, out);
}

struct Cache {
    std::mutex lock;
    ComPtr<ITypeLib> libs[2];
    std::map<std::pair<int, GUID>, std::pair<ComPtr<ITypeInfo>, ComPtr<ITypeInfo>>, 
             bool (*)(const std::pair<int, GUID>&, const std::pair<int, GUID>&)> infos{
        [](const std::pair<int, GUID>& a, const std::pair<int, GUID>& b) {
            if (a.first != b.first) return a.first < b.first;
            return memcmp(&a.second, &b.second, sizeof(GUID)) < 0;
        }};
};

Cache& cache()
{
    static Cache c;
    return c;
}

HRESULT loadLocked(Cache& c, TypeLib lib, ITypeLib** out)
{
    ComPtr<ITypeLib>& slot = c.libs[static_cast<int>(lib)];
    if (!slot) {
        HRESULT hr;
        if (lib == TypeLib::CapeOpen) {
            hr = LoadRegTypeLib(kCapeOpenLibId, 1, 1, 0, slot.put());
            if (FAILED(hr)) hr = loadFromExecutable(kCapeOpenResource, slot.put());
        } else {
            hr = LoadRegTypeLib(kTarvLibId, 1, 0, 0x0409, slot.put());
            if (FAILED(hr)) hr = loadFromExecutable(kTarvResource, slot.put());
        }
        if (FAILED(hr)) return hr;
    }
    slot.copyTo(out);
    return S_OK;
}

HRESULT lookup(TypeLib lib, REFIID iid, bool interfaceHalf, ITypeInfo** out) noexcept
{
    if (!out) return E_POINTER;
    *out = nullptr;
    Cache& c = cache();
    std::lock_guard<std::mutex> guard(c.lock);
    auto key = std::make_pair(static_cast<int>(lib), iid);
    auto it = c.infos.find(key);
    if (it == c.infos.end()) {
        ComPtr<ITypeLib> tl;
        HRESULT hr = loadLocked(c, lib, tl.put());
        if (FAILED(hr)) return hr;
        ComPtr<ITypeInfo> disp;
        hr = tl->GetTypeInfoOfGuid(iid, disp.put());
        if (FAILED(hr)) return hr;
        // A dual interface is listed as its dispatch half; the vtable half is its implemented
        // type -1. A plain interface is its own vtable half.
        ComPtr<ITypeInfo> vtbl;
        HREFTYPE href = 0;
        if (SUCCEEDED(disp->GetRefTypeOfImplType(-1, &href)))
            hr = disp->GetRefTypeInfo(href, vtbl.put());
        else
            vtbl = disp;
        if (FAILED(hr)) return hr;
        it = c.infos.emplace(key, std::make_pair(std::move(disp), std::move(vtbl))).first;
    }
    (interfaceHalf ? it->second.second : it->second.first).copyTo(out);
    return S_OK;
}

} // namespace

HRESULT interfaceTypeInfo(TypeLib lib, REFIID iid, ITypeInfo** out) noexcept
{
    return lookup(lib, iid, true, out);
}

HRESULT dispatchTypeInfo(TypeLib lib, REFIID iid, ITypeInfo** out) noexcept
{
    return lookup(lib, iid, false, out);
}

HRESULT loadTypeLib(TypeLib lib, ITypeLib** out) noexcept
{
    if (!out) return E_POINTER;
    *out = nullptr;
    Cache& c = cache();
    std::lock_guard<std::mutex> guard(c.lock);
    return loadLocked(c, lib, out);
}

} // namespace tarv
