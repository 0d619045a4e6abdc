#include "host/export_fixture.h"

#include <windows.h>
#include <shlobj.h>
#include <tlhelp32.h>

#include <algorithm>

namespace testsupport {

using namespace tarv;

void ExportTest::SetUp()
{
    // A server still ending from the previous test would race with the next activation.
    ASSERT_TRUE(waitForServerExit());
    RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\TARV");
    ServerOptions options;
    options.autoLogLocation = 1;
    options.promptOpenLog = 0;
    saveOptions(options);
    for (const std::string& log : logFiles()) DeleteFileA(log.c_str());
    exportedPackages().clear();
}

void ExportTest::TearDown()
{
    EXPECT_TRUE(waitForServerExit()) << "the server outlived the test";
    exportedPackages().clear();
    RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\TARV");
}

void ExportTest::addRecord(const CLSID& clsid, PackageKind kind, const wchar_t* packageName,
                           const wchar_t* displayName, bool logging)
{
    auto record = std::make_unique<ExportedPackage>();
    record->clsid = clsid;
    record->kind = kind;
    record->packageName = packageName;
    record->displayName = displayName;
    record->loggingEnabled = logging ? 1 : 0;
    exportedPackages().push_back(std::move(record));
    savePackages();
}

std::vector<std::wstring> ExportTest::storedNames()
{
    std::vector<std::wstring> names;
    for (const auto& p : exportedPackages()) names.push_back(p->displayName);
    return names;
}

ManagerErrors ExportTest::managerErrors(IUnknown* manager)
{
    ManagerErrors e;
    ComPtr<ECapeUser> user;
    ComPtr<ECapeRoot> root;
    if (FAILED(manager->QueryInterface(IID_ECapeUser, user.putVoid())) ||
        FAILED(manager->QueryInterface(IID_ECapeRoot, root.putVoid())))
        return e;
    Bstr text;
    user->get_code(&e.code);
    if (SUCCEEDED(user->get_description(text.put()))) e.description = text.wide();
    if (SUCCEEDED(user->get_scope(text.put()))) e.scope = text.wide();
    if (SUCCEEDED(user->get_interfaceName(text.put()))) e.interfaceName = text.wide();
    if (SUCCEEDED(user->get_operation(text.put()))) e.operation = text.wide();
    if (SUCCEEDED(user->get_moreInfo(text.put()))) e.moreInfo = text.wide();
    if (SUCCEEDED(root->get_name(text.put()))) e.name = text.wide();
    return e;
}

std::wstring ExportTest::componentName(IUnknown* object)
{
    ComPtr<ICapeIdentification> id;
    Bstr name;
    if (SUCCEEDED(object->QueryInterface(IID_ICapeIdentification, id.putVoid()))) id->get_ComponentName(name.put());
    return name.wide();
}

bool ExportTest::serverRunning()
{
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    bool found = false;
    for (BOOL more = Process32First(snapshot, &entry); more && !found; more = Process32Next(snapshot, &entry))
        found = lstrcmpiA(entry.szExeFile, "TARV64.exe") == 0;
    CloseHandle(snapshot);
    return found;
}

bool ExportTest::waitForServerExit(DWORD milliseconds)
{
    for (DWORD waited = 0; serverRunning(); waited += 50) {
        if (waited >= milliseconds) return false;
        Sleep(50);
    }
    return true;
}

std::string ExportTest::logFolder()
{
    char desktop[MAX_PATH];
    SHGetSpecialFolderPathA(nullptr, desktop, CSIDL_DESKTOPDIRECTORY, FALSE);
    return std::string(desktop) + "\\TARV logs";
}

std::vector<std::string> ExportTest::logFiles()
{
    std::vector<std::pair<FILETIME, std::string>> found;
    WIN32_FIND_DATAA data;
    HANDLE h = FindFirstFileA((logFolder() + "\\*.tlg").c_str(), &data);
    if (h != INVALID_HANDLE_VALUE) {
        do found.push_back({data.ftLastWriteTime, logFolder() + "\\" + data.cFileName});
        while (FindNextFileA(h, &data));
        FindClose(h);
    }
    std::sort(found.begin(), found.end(),
              [](const auto& a, const auto& b) { return CompareFileTime(&a.first, &b.first) < 0; });
    std::vector<std::string> paths;
    for (auto& f : found) paths.push_back(f.second);
    return paths;
}

} // namespace testsupport
