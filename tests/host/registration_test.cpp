// Registration of the server, read back key by key from the registry of the test prefix:
// machine-wide, its reverse, and per user.
#include "com/bstr.h"
#include "support/log_capture.h"
#include "support/process.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The server executable under test (from TARV64_SERVER), as a full path.
std::string serverPath()
{
    const char* given = std::getenv("TARV64_SERVER");
    char full[MAX_PATH];
    DWORD n = given ? GetFullPathNameA(given, MAX_PATH, full, nullptr) : 0;
    return n ? std::string(full, n) : std::string(given ? given : "");
}

long runServer(const std::string& arguments)
{
    return static_cast<long>(testsupport::runProcess(tarv::toWide("\"" + serverPath() + "\" " + arguments), 30000));
}

const char* const kLibId = "{8032C600-BA13-484F-A25F-3DFB47FCA46D}";

// A string value, or "<missing>" (the key or the value is absent).
std::string value(HKEY root, const std::string& key, const char* name = nullptr)
{
    char data[1024];
    DWORD size = sizeof data;
    if (RegGetValueA(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, data, &size) != ERROR_SUCCESS) return "<missing>";
    return data;
}

bool keyExists(HKEY root, const std::string& key)
{
    HKEY h = nullptr;
    if (RegOpenKeyExA(root, key.c_str(), 0, KEY_READ, &h) != ERROR_SUCCESS) return false;
    RegCloseKey(h);
    return true;
}

// Every key and value that registration of the application and the classes writes below `root`
// ("key|value name" for a named value, "<present>" for a key without a default value), kept as
// expected data with the quoted server path in place of %SERVER%.
std::map<std::string, std::string> expectedEntries()
{
    std::map<std::string, std::string> e;
    std::istringstream lines(testsupport::expectedText("host/registration.txt"));
    for (std::string line; std::getline(lines, line);) {
        std::string value = line.substr(line.find('\t') + 1);
        for (size_t at; (at = value.find("%SERVER%")) != std::string::npos;) value.replace(at, 8, "\"" + serverPath() + "\"");
        e[line.substr(0, line.find('\t'))] = value;
    }
    return e;
}

std::string read(HKEY root, const std::string& entry)
{
    size_t bar = entry.find('|');
    std::string key = entry.substr(0, bar);
    if (bar != std::string::npos) return value(root, key, entry.substr(bar + 1).c_str());
    std::string v = value(root, key);
    if (v == "<missing>" && keyExists(root, key)) return "<present>";
    return v;
}

struct RegistrationTest : testing::Test {
    static void SetUpTestSuite() { ASSERT_FALSE(serverPath().empty()) << "TARV64_SERVER not set"; }
    static void TearDownTestSuite()
    {
        // Leave the server registered machine-wide, as the end-to-end tests expect.
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\MIRB");
        runServer("/RegServer");
    }
};

} // namespace

TEST_F(RegistrationTest, MachineWideWritesEveryKeyAndValueAndUnregistrationTakesThemAway)
{
    ASSERT_EQ(runServer("/RegServer"), 0);
    HKEY machine = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Classes", 0, KEY_READ, &machine);
    for (const auto& [entry, expected] : expectedEntries()) EXPECT_EQ(read(machine, entry), expected) << entry;
    for (const auto& [entry, expected] : expectedEntries()) {
        if (entry.rfind("CLSID\\", 0) != 0 || entry.find_first_of("\\|", 6) != std::string::npos) continue;
        std::string about = read(machine, entry + "\\CapeDescription|About");
        EXPECT_NE(about.find("out-of-proc"), std::string::npos) << about;
        EXPECT_NE(read(machine, entry + "\\CapeDescription|VendorURL"), "<missing>");
    }
    // The type library, and the interfaces it declares: its own only.
    EXPECT_EQ(value(HKEY_CLASSES_ROOT, std::string("TypeLib\\") + kLibId + "\\1.0"), "TARV 1.0 Type Library x64");
    EXPECT_NE(value(HKEY_CLASSES_ROOT, std::string("TypeLib\\") + kLibId + "\\1.0\\409\\win64"), "<missing>");
    EXPECT_EQ(value(HKEY_CLASSES_ROOT, "Interface\\{23A15B93-9C6C-4EB6-BFB6-0F090C17B6B9}\\TypeLib"), kLibId);

    ASSERT_EQ(runServer("/UnregServer"), 0);
    for (const auto& entry : expectedEntries()) EXPECT_EQ(read(machine, entry.first), "<missing>") << entry.first;
    // The parents are never removed.
    EXPECT_TRUE(keyExists(machine, "AppID"));
    EXPECT_TRUE(keyExists(machine, "CLSID"));
    EXPECT_EQ(value(HKEY_CLASSES_ROOT, std::string("TypeLib\\") + kLibId + "\\1.0"), "<missing>");
    RegCloseKey(machine);
}

TEST_F(RegistrationTest, PerUserWritesTheUsersClassesOnlyWhetherAskedOrConfigured)
{
    for (bool configured : {false, true}) {
        runServer("/UnregServer");
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\MIRB");
        if (configured) {
            HKEY mirb = nullptr;
            RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\MIRB", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &mirb, nullptr);
            RegSetValueExA(mirb, "CurrentUser", 0, REG_SZ, reinterpret_cast<const BYTE*>("1"), 2);
            RegCloseKey(mirb);
        }
        ASSERT_EQ(runServer(configured ? "/RegServer" : "/RegServerPerUser"), 0);
        HKEY user = nullptr, machine = nullptr;
        RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Classes", 0, KEY_READ, &user);
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Classes", 0, KEY_READ, &machine);
        for (const auto& [entry, expected] : expectedEntries()) {
            EXPECT_EQ(read(user, entry), expected) << entry << (configured ? " (configured)" : "");
            if (entry.rfind("AppID", 0) != 0) {
                EXPECT_EQ(read(machine, entry), "<missing>") << entry;
            }
        }
        ASSERT_EQ(runServer(configured ? "/UnregServer" : "/UnregServerPerUser"), 0);
        for (const auto& entry : expectedEntries()) {
            if (entry.first.rfind("AppID", 0) != 0) {
                EXPECT_EQ(read(user, entry.first), "<missing>") << entry.first;
            }
        }
        RegCloseKey(user);
        RegCloseKey(machine);
    }
}
