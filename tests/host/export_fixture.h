#pragma once
// End-to-end tests of the server: a clean store and log folder, its objects, what it left behind.
#include "com/bstr.h"
#include "com/com_ptr.h"
#include "com/variant.h"
#include "packages/package_store.h"
#include "support/log_capture.h"
#include "support/process.h"
#include "tarvlib.h"

#include <windows.h>
#include <shlobj.h>
#include <tlhelp32.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace testsupport {

inline constexpr HRESULT kCapeUnknown = static_cast<HRESULT>(0x80040501);

class ExportTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(waitForServerExit());   // one still ending would race with the next activation
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\TARV");
        tarv::ServerOptions options;
        options.autoLogLocation = 1;
        options.promptOpenLog = 0;
        tarv::saveOptions(options);
        for (const std::string& log : logFiles()) DeleteFileA(log.c_str());
        tarv::exportedPackages().clear();
    }
    void TearDown() override
    {
        EXPECT_TRUE(waitForServerExit()) << "the server outlived the test";
        tarv::exportedPackages().clear();
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\TARV");
    }

    // A record of the store, saved at once; logging on uses the automatic log location.
    static void addRecord(const CLSID& clsid, tarv::PackageKind kind, const wchar_t* packageName, const wchar_t* displayName,
                          bool logging = false)
    {
        tarv::exportedPackages().push_back(
            std::make_unique<tarv::ExportedPackage>(tarv::ExportedPackage{clsid, kind, packageName, displayName, logging ? 1 : 0}));
        tarv::savePackages();
    }
    // After a logged run of the only record: one log, and the record no longer logged.
    static void stopLogging()
    {
        ASSERT_TRUE(waitForServerExit());
        ASSERT_EQ(logFiles().size(), 1u);
        tarv::exportedPackages()[0]->loggingEnabled = 0;
        tarv::savePackages();
    }
    static std::vector<std::wstring> storedNames()
    {
        std::vector<std::wstring> names;
        for (const auto& p : tarv::exportedPackages()) names.push_back(p->displayName);
        return names;
    }
    template <class I>
    static tarv::ComPtr<I> create(const CLSID& clsid)
    {
        tarv::ComPtr<I> object;
        EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_LOCAL_SERVER, __uuidof(I), object.putVoid()), S_OK);
        return object;
    }
    // What a manager's ECapeUser says about its last failure.
    static std::wstring errorDescription(IUnknown* manager)
    {
        tarv::ComPtr<ECapeUser> user;
        tarv::Bstr text;
        if (SUCCEEDED(manager->QueryInterface(IID_ECapeUser, user.putVoid()))) user->get_description(text.put());
        return text.wide();
    }
    static std::wstring componentName(IUnknown* object)
    {
        tarv::ComPtr<ICapeIdentification> id;
        tarv::Bstr name;
        if (SUCCEEDED(object->QueryInterface(IID_ICapeIdentification, id.putVoid()))) id->get_ComponentName(name.put());
        return name.wide();
    }
    // What the liar package reads inside the server when asked for phase info on kit::kLieLocks
    // (the server's locks) or kit::kLieLiveObjects (the components' live objects).
    static LONG probe(ICapeThermoPhases* phases, const wchar_t* what)
    {
        tarv::Variant value;
        EXPECT_EQ(phases->GetPhaseInfo(tarv::Bstr(what).get(), tarv::Bstr(L"").get(), value.put()), S_OK);
        return value.get().vt == VT_I4 ? value.get().lVal : -1;
    }
    static bool waitForServerExit(DWORD milliseconds = 10000)
    {
        for (DWORD waited = 0;; waited += 50, Sleep(50)) {
            HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
            PROCESSENTRY32 entry{};
            entry.dwSize = sizeof entry;
            bool running = false;
            for (BOOL more = Process32First(snapshot, &entry); more && !running; more = Process32Next(snapshot, &entry))
                running = lstrcmpiA(entry.szExeFile, "TARV64.exe") == 0;
            CloseHandle(snapshot);
            if (!running || waited >= milliseconds) return !running;
        }
    }
    // The log files in the automatic location, oldest first (read with testsupport::readLog).
    static std::vector<std::string> logFiles()
    {
        char desktop[MAX_PATH];
        SHGetSpecialFolderPathA(nullptr, desktop, CSIDL_DESKTOPDIRECTORY, FALSE);
        const std::string folder = std::string(desktop) + "\\TARV logs\\";
        std::vector<std::pair<ULONGLONG, std::string>> found;
        WIN32_FIND_DATAA data;
        HANDLE h = FindFirstFileA((folder + "*.tlg").c_str(), &data);
        for (BOOL more = h != INVALID_HANDLE_VALUE; more; more = FindNextFileA(h, &data))
            found.push_back({ULARGE_INTEGER{{data.ftLastWriteTime.dwLowDateTime, data.ftLastWriteTime.dwHighDateTime}}.QuadPart,
                             folder + data.cFileName});
        if (h != INVALID_HANDLE_VALUE) FindClose(h);
        std::sort(found.begin(), found.end());
        std::vector<std::string> paths;
        for (auto& f : found) paths.push_back(f.second);
        return paths;
    }
};

} // namespace testsupport
