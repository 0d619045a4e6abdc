// tarv_testreg: registers what the tests of this build need in a fresh test prefix, and fails
// loudly if any step fails.
//
//   tarv_testreg [--typelib <file.tlb>]... [--server <in-process server.dll>]...
//
// Type libraries are registered in the order given (one that imports another comes after it);
// servers register themselves through DllRegisterServer. The project's copy of the CAPE-OPEN
// library is registered this way in test prefixes only.
#include <windows.h>
#include <ole2.h>
#include <shellapi.h>

#include <cstdio>
#include <string>

namespace {

int gFailures = 0;

void fail(const std::wstring& what, HRESULT hr)
{
    std::fwprintf(stderr, L"tarv_testreg: FAILED %ls: 0x%08lX\n", what.c_str(), static_cast<unsigned long>(hr));
    ++gFailures;
}

void registerTypeLib(std::wstring path)
{
    ITypeLib* lib = nullptr;
    HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &lib);
    if (FAILED(hr)) return fail(L"loading type library " + path, hr);
    hr = RegisterTypeLib(lib, path.data(), nullptr);
    // Read it back the way the server loads it: by identifier and version from the registry.
    TLIBATTR* attr = nullptr;
    lib->GetLibAttr(&attr);
    ITypeLib* again = nullptr;
    if (SUCCEEDED(hr)) hr = LoadRegTypeLib(attr->guid, attr->wMajorVerNum, attr->wMinorVerNum, attr->lcid, &again);
    lib->ReleaseTLibAttr(attr);
    lib->Release();
    if (FAILED(hr)) return fail(L"registering type library " + path, hr);
    again->Release();
    std::wprintf(L"registered type library %ls\n", path.c_str());
}

void registerServer(const std::wstring& path)
{
    HMODULE dll = LoadLibraryW(path.c_str());
    if (!dll) return fail(L"loading " + path, HRESULT_FROM_WIN32(GetLastError()));
    auto reg = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(GetProcAddress(dll, "DllRegisterServer")));
    HRESULT hr = reg ? reg() : HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    FreeLibrary(dll);
    if (FAILED(hr)) return fail(L"DllRegisterServer of " + path, hr);
    std::wprintf(L"registered server %ls\n", path.c_str());
}

} // namespace

int main()
{
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
    int steps = 0;
    for (int i = 1; i < argc; ++i, ++steps) {
        std::wstring opt = argv[i];
        if (i + 1 >= argc || (opt != L"--typelib" && opt != L"--server")) {
            std::fwprintf(stderr, L"usage: tarv_testreg [--typelib <file.tlb>]... [--server <file.dll>]...\n");
            return 2;
        }
        std::wstring path = argv[++i];   // CMake writes forward slashes
        for (wchar_t& c : path)
            if (c == L'/') c = L'\\';
        if (opt == L"--typelib") registerTypeLib(path); else registerServer(path);
    }
    CoUninitialize();
    LocalFree(argv);
    if (steps == 0) fail(L"nothing to register", E_INVALIDARG);
    return gFailures == 0 ? 0 : 1;
}
