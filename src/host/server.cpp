#include "host/server.h"

#include "com/bstr.h"
#include "host/class_table.h"
#include "host/module.h"
#include "host/registrar.h"
#include "packages/package_store.h"
#include "params/parameter_collection.h"
#include "tarvlib.h"
#include "thermo/simulation_context.h"

#include <commctrl.h>
#include <ole2.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <vector>

namespace tarv {

char versionString[128] = "";
BYTE perUserRegistration = 0;
const char* const kVendorUrl = "https://www.tarv.example/";
const char* const kOwnerNotice = "Copyright (C) TARV";

namespace {

constexpr int kApplicationScript = 101;
constexpr int kAcceleratorTable = 205;
constexpr const char* kAppId = "{6D1BB91A-FE7B-47EC-999E-B4AA78F2F91B}";
constexpr LCID kTypeLibLocale = 0x0409;

HACCEL g_accelerators = nullptr;
bool g_comReady = false;

std::string modulePath()
{
    char path[1024];
    DWORD n = GetModuleFileNameA(nullptr, path, sizeof path);
    return std::string(path, n);
}

// The module's path as a script value: in double quotes, single quotes doubled for the script's
// own quoting.
std::string quotedModule()
{
    std::string quoted = "\"";
    for (char c : modulePath()) {
        quoted += c;
        if (c == '\'') quoted += '\'';
    }
    return quoted + "\"";
}

RegistryTokens scriptTokens(bool classScript)
{
    RegistryTokens tokens{{"MODULE", quotedModule()}, {"APPID", kAppId}};
    if (classScript) {
        tokens.push_back({"EXEVERSION", toNarrow(toWide(versionString))});
        tokens.push_back({"VENDORURL", kVendorUrl});
        tokens.push_back({"NOTICE", kOwnerNotice});
    }
    return tokens;
}

HRESULT runScript(int resource, bool classScript, bool registering)
{
    std::string script = loadRegistryScript(GetModuleHandleA(nullptr), resource);
    if (script.empty()) return HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND);
    return runRegistryScript(script, scriptTokens(classScript), registering, perUserRegistration != 0);
}

using RegisterForUser = HRESULT(WINAPI*)(ITypeLib*, OLECHAR*, OLECHAR*);
using UnregisterForUser = HRESULT(WINAPI*)(REFGUID, WORD, WORD, LCID, SYSKIND);

template <class F>
F perUserFunction(const char* name)
{
    if (!perUserRegistration) return nullptr;
    return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("OLEAUT32.DLL"), name)));
}

HRESULT registerTypeLibrary()
{
    std::wstring path = toWide(modulePath());
    ITypeLib* raw = nullptr;
    HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &raw);
    if (FAILED(hr)) return hr;
    if (auto forUser = perUserFunction<RegisterForUser>("RegisterTypeLibForUser"))
        hr = forUser(raw, path.data(), nullptr);
    else
        hr = RegisterTypeLib(raw, path.data(), nullptr);
    raw->Release();
    return hr;
}

HRESULT unregisterTypeLibrary()
{
    if (auto forUser = perUserFunction<UnregisterForUser>("UnRegisterTypeLibForUser"))
        return forUser(LIBID_TARVLib64, 1, 0, kTypeLibLocale, SYS_WIN64);
    return UnRegisterTypeLib(LIBID_TARVLib64, 1, 0, kTypeLibLocale, SYS_WIN64);
}

// The word behind each '-' or '/' of the command line, compared with the registration switches.
int registrationSwitch(const char* commandLine, HRESULT* status)
{
    static const char* const switches[] = {"UnregServer", "RegServer", "UnregServerPerUser", "RegServerPerUser"};
    for (const char* p = commandLine; (p = std::strpbrk(p, "-/")) != nullptr;) {
        ++p;
        size_t n = std::strcspn(p, " \t");
        std::string word(p, n);
        for (int i = 0; i < 4; ++i) {
            if (lstrcmpiA(word.c_str(), switches[i]) != 0) continue;
            if (i >= 2) perUserRegistration = 1;
            *status = (i % 2 == 0) ? unregisterServer() : registerServer();
            return 1;
        }
    }
    return 0;
}

} // namespace

StartDecision decideStart(const std::string& commandLine)
{
    std::string lower = commandLine;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (lower.find("regserver") != std::string::npos) return {StartDecision::Kind::Registration, {}};

    // A log file path: blanks and tabs trimmed, then one enclosing pair of quotes removed. A
    // switch is recognised before the quote goes, so "-Foo" in quotes is a path.
    size_t first = commandLine.find_first_not_of(" \t");
    std::string path;
    if (first != std::string::npos) path = commandLine.substr(first, commandLine.find_last_not_of(" \t") - first + 1);
    if (!path.empty() && path[0] != '-' && path[0] != '/') {
        if (path[0] == '"') {
            path.erase(0, 1);
            if (!path.empty() && path.back() == '"') path.pop_back();
        }
        return {StartDecision::Kind::LogFile, path};
    }
    if (lower.find("embedding") != std::string::npos) return {StartDecision::Kind::Serve, {}};
    return {StartDecision::Kind::ManagerWindow, {}};
}

void computeVersionString()
{
    std::string path = modulePath();
    std::vector<char> block(1024);
    if (!GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data())) return;
    VS_FIXEDFILEINFO* info = nullptr;
    UINT size = 0;
    if (!VerQueryValueA(block.data(), "\\", reinterpret_cast<void**>(&info), &size) || !info) {
        std::snprintf(versionString, sizeof versionString, "<unknown>");
        return;
    }
    std::snprintf(versionString, sizeof versionString, "%d.%d.%d.%d", HIWORD(info->dwFileVersionMS),
                  LOWORD(info->dwFileVersionMS), HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS));
}

bool initialiseModule()
{
    CTARVModule& m = CTARVModule::instance();
    m.mainThreadId = GetCurrentThreadId();
    m.pauseMs = 1000;
    m.delayShutdown = true;
    g_comReady = SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    g_accelerators = LoadAcceleratorsA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(kAcceleratorTable));
    INITCOMMONCONTROLSEX icc{sizeof icc, ICC_LISTVIEW_CLASSES | ICC_TREEVIEW_CLASSES | ICC_PROGRESS_CLASS};
    InitCommonControlsEx(&icc);
    m.options = ServerOptions{};
    loadOptions(m.options);
    // The proxies that exposed objects make of contexts and parameter collections.
    registerThermoProxyFactories();
    registerParameterProxyFactories();
    return g_comReady;
}

void shutdownModule()
{
    exportedPackages().clear();
    destroySharedImageList();
    if (g_accelerators) DestroyAcceleratorTable(g_accelerators);
    if (g_comReady) CoUninitialize();
}

HRESULT registerServer()
{
    HRESULT hr = runScript(kApplicationScript, false, true);
    if (FAILED(hr)) return hr;
    size_t count = 0;
    const CreatableClass* classes = creatableClasses(&count);
    for (size_t i = 0; i < count; ++i)
        if (FAILED(hr = runScript(classes[i].script, true, true))) return hr;
    return registerTypeLibrary();
}

HRESULT unregisterServer()
{
    HRESULT hr = S_OK;
    size_t count = 0;
    const CreatableClass* classes = creatableClasses(&count);
    for (size_t i = 0; i < count; ++i)
        if (FAILED(hr = runScript(classes[i].script, true, false))) return hr;
    if (FAILED(hr = unregisterTypeLibrary())) return hr;
    return runScript(kApplicationScript, false, false);
}

int runModule(const char* fullCommandLine)
{
    if (!g_comReady) return -1;
    HRESULT status = S_OK;
    if (registrationSwitch(fullCommandLine, &status)) return status;

    CTARVModule& m = CTARVModule::instance();
    size_t count = 0;
    const CreatableClass* classes = creatableClasses(&count);
    std::vector<ClassObject> objects;
    objects.reserve(count);
    std::vector<const CLSID*> clsids;
    std::vector<IUnknown*> unknowns;
    for (size_t i = 0; i < count; ++i) {
        objects.emplace_back(classes[i]);
        clsids.push_back(classes[i].clsid);
        unknowns.push_back(&objects[i]);
    }
    std::vector<DWORD> cookies(count, 0);
    status = registerClassObjects(clsids.data(), unknowns.data(), count, cookies.data());
    if (FAILED(status)) return status;
    if (status != S_OK) {
        m.delayShutdown = false;
    } else {
        if (!m.monitor.start(m.mainThreadId)) {
            revokeClassObjects(cookies.data(), count);
            return E_FAIL;
        }
        for (;;) {
            MSG msg;
            while (GetMessageA(&msg, nullptr, 0, 0) > 0) {
                if (!TranslateAcceleratorA(GetActiveWindow(), g_accelerators, &msg)) TranslateMessage(&msg);
                DispatchMessageA(&msg);
            }
            // A lock taken after the count fell to zero (a client that activated an object just
            // then) keeps the server: the quit that was on its way is passed over.
            if (CTARVModule::lockCount() == 0) break;
        }
        m.monitor.stop();
    }
    status = revokeClassObjects(cookies.data(), count);
    if (m.delayShutdown) Sleep(m.pauseMs);
    return status;
}

HRESULT registerClassObjects(const CLSID* const* clsids, IUnknown* const* objects, size_t count, DWORD* cookies)
{
    HRESULT status = S_OK;
    for (size_t i = 0; i < count; ++i) {
        HRESULT hr = CoRegisterClassObject(*clsids[i], objects[i], CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE, &cookies[i]);
        if (FAILED(hr)) {
            // The class objects registered so far live in this function's caller, which is about
            // to return: none may stay reachable.
            revokeClassObjects(cookies, i);
            return hr;
        }
        if (hr != S_OK && status == S_OK) status = hr;
    }
    return status;
}

HRESULT revokeClassObjects(const DWORD* cookies, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        HRESULT hr = CoRevokeClassObject(cookies[i]);
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

} // namespace tarv
