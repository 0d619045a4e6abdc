// tarv_testreg [--typelib <file.tlb>]... [--server <in-process server.dll>]...: registers what the
// tests need in a fresh test prefix, in the order given (a library that imports another comes
// after it), and fails loudly if any step fails.
#include <windows.h>
#include <ole2.h>
#include <shellapi.h>

#include <cstdio>
#include <string>

namespace {

HRESULT registerTypeLib(std::wstring path)
{
    ITypeLib* lib = nullptr;
    HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &lib);
    if (FAILED(hr)) return hr;
    hr = RegisterTypeLib(lib, path.data(), nullptr);
    // Read it back the way the server loads it: by identifier and version from the registry.
    TLIBATTR* attr = nullptr;
    lib->GetLibAttr(&attr);
    ITypeLib* again = nullptr;
    if (SUCCEEDED(hr)) hr = LoadRegTypeLib(attr->guid, attr->wMajorVerNum, attr->wMinorVerNum, attr->lcid, &again);
    if (again) again->Release();
    lib->ReleaseTLibAttr(attr);
    lib->Release();
    return hr;
}

HRESULT registerServer(const std::wstring& path)
{
    HMODULE dll = LoadLibraryW(path.c_str());
    if (!dll) return HRESULT_FROM_WIN32(GetLastError());
    auto reg = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(GetProcAddress(dll, "DllRegisterServer")));
    HRESULT hr = reg ? reg() : HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    FreeLibrary(dll);
    return hr;
}

} // namespace

int main()
{
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    if (argc < 3 || argc % 2 == 0 || FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        std::fwprintf(stderr, L"usage: tarv_testreg [--typelib <file.tlb>]... [--server <file.dll>]...\n");
        return 2;
    }
    int failures = 0;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::wstring option = argv[i];
        std::wstring path = argv[i + 1];   // CMake writes forward slashes
        for (wchar_t& c : path)
            if (c == L'/') c = L'\\';
        const HRESULT hr = option == L"--typelib" ? registerTypeLib(path) : option == L"--server" ? registerServer(path) : E_INVALIDARG;
        std::fwprintf(FAILED(hr) ? stderr : stdout, L"%ls %ls %ls: 0x%08lX\n", FAILED(hr) ? L"FAILED" : L"registered",
                      option.c_str() + 2, path.c_str(), static_cast<unsigned long>(hr));
        failures += FAILED(hr);
    }
    CoUninitialize();
    LocalFree(argv);
    return failures == 0 ? 0 : 1;
}
