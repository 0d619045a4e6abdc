#pragma once
// The set-up of end-to-end tests of the server: a clean store and log folder, the server's
// objects created out of process, and what the server left behind.
#include "com/bstr.h"
#include "com/com_ptr.h"
#include "packages/package_store.h"
#include "support/log_capture.h"
#include "tarvlib.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace testsupport {

// TARVKit.Object: a registered kit component with identification, utilities and error interfaces.
inline constexpr CLSID kKitObject = {0x965E01B0, 0x3441, 0x421A, {0x83, 0xD0, 0x09, 0xB4, 0x70, 0x8D, 0x0C, 0x52}};
inline constexpr HRESULT kCapeUnknown = static_cast<HRESULT>(0x80040501);

struct ManagerErrors {
    std::wstring name, description, scope, interfaceName, operation, moreInfo;
    LONG code = -1;
};

class ExportTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A record of the store, saved at once; logging on uses the automatic log location.
    static void addRecord(const CLSID& clsid, tarv::PackageKind kind, const wchar_t* packageName,
                          const wchar_t* displayName, bool logging = false);
    static std::vector<std::wstring> storedNames();

    template <class I>
    static tarv::ComPtr<I> create(const CLSID& clsid)
    {
        tarv::ComPtr<I> object;
        HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_LOCAL_SERVER, __uuidof(I), object.putVoid());
        EXPECT_EQ(hr, S_OK);
        return object;
    }

    static ManagerErrors managerErrors(IUnknown* manager);
    static std::wstring componentName(IUnknown* object);

    static bool serverRunning();
    static bool waitForServerExit(DWORD milliseconds = 10000);

    // The log files in the automatic location, oldest first (read with testsupport::readLog).
    static std::vector<std::string> logFiles();
    static std::string logFolder();
};

} // namespace testsupport
