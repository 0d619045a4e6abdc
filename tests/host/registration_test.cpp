// Registration of the server, read back key by key: machine-wide, its reverse, and per user.
#include "com/bstr.h"
#include "support/log_capture.h"
#include "support/process.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace {

// The server executable under test (from TARV64_SERVER), as a full path.
std::string serverPath()
{
    char full[MAX_PATH];
    const char* given = std::getenv("TARV64_SERVER");
    return given ? std::string(full, GetFullPathNameA(given, MAX_PATH, full, nullptr)) : std::string();
}

long runServer(const std::string& arguments)
{
    return static_cast<long>(testsupport::runProcess(tarv::toWide("\"" + serverPath() + "\" " + arguments), 30000));
}

const std::string kLibrary = "TypeLib\\{8032C600-BA13-484F-A25F-3DFB47FCA46D}";

// "key|value name" or "key" (its default value): the text, "<present>" for a key without one, or "<missing>".
std::string read(HKEY root, const std::string& entry)
{
    const size_t bar = entry.find('|');
    const std::string key = entry.substr(0, bar), name = bar == std::string::npos ? "" : entry.substr(bar + 1);
    char data[1024];
    DWORD size = sizeof data;
    if (RegGetValueA(root, key.c_str(), name.empty() ? nullptr : name.c_str(), RRF_RT_REG_SZ, nullptr, data, &size) == ERROR_SUCCESS)
        return data;
    HKEY h = nullptr;
    if (!name.empty() || RegOpenKeyExA(root, key.c_str(), 0, KEY_READ, &h) != ERROR_SUCCESS) return "<missing>";
    RegCloseKey(h);
    return "<present>";
}

// Every key and value registration writes below the classes' root, %SERVER% the quoted server path.
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

struct RegistrationTest : testing::Test {
    static void SetUpTestSuite() { ASSERT_FALSE(serverPath().empty()) << "TARV64_SERVER not set"; }
    static void TearDownTestSuite()
    {
        // Leave the server registered machine-wide, as the end-to-end tests expect.
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\MIRB");
        runServer("/RegServer");
    }
    HKEY machine = nullptr, user = nullptr;
    void SetUp() override
    {
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Classes", 0, KEY_READ, &machine);
        RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\Classes", 0, nullptr, 0, KEY_READ, nullptr, &user, nullptr);
    }
    void TearDown() override
    {
        RegCloseKey(machine);
        RegCloseKey(user);
    }
};

} // namespace

TEST_F(RegistrationTest, MachineWideWritesEveryKeyAndValueAndUnregistrationTakesThemAway)
{
    ASSERT_EQ(runServer("/RegServer"), 0);
    for (const auto& [entry, expected] : expectedEntries()) {
        EXPECT_EQ(read(machine, entry), expected) << entry;
        if (entry.rfind("CLSID\\", 0) != 0 || entry.find_first_of("\\|", 6) != std::string::npos) continue;
        const bool unit = read(machine, entry + "\\ProgID").starts_with("VESKER64.UnitOperation64");
        EXPECT_NE(read(machine, entry + "\\CapeDescription|About").find(unit ? "CAPE-OPEN 1.0 unit operation" : "out-of-proc"),
                  std::string::npos) << entry;
        EXPECT_NE(read(machine, entry + "\\CapeDescription|VendorURL"), "<missing>") << entry;
    }
    // The type library, and the interfaces it declares: its own only.
    EXPECT_EQ(read(HKEY_CLASSES_ROOT, kLibrary + "\\1.0"), "TARV 1.0 Type Library x64");
    EXPECT_NE(read(HKEY_CLASSES_ROOT, kLibrary + "\\1.0\\409\\win64"), "<missing>");
    EXPECT_EQ(read(HKEY_CLASSES_ROOT, "Interface\\{23A15B93-9C6C-4EB6-BFB6-0F090C17B6B9}\\TypeLib"), kLibrary.substr(8));
    ASSERT_EQ(runServer("/UnregServer"), 0);
    for (const auto& entry : expectedEntries()) EXPECT_EQ(read(machine, entry.first), "<missing>") << entry.first;
    // The parents are never removed.
    EXPECT_NE(read(machine, "AppID"), "<missing>");
    EXPECT_NE(read(machine, "CLSID"), "<missing>");
    EXPECT_EQ(read(HKEY_CLASSES_ROOT, kLibrary + "\\1.0"), "<missing>");
}

TEST_F(RegistrationTest, PerUserWritesTheUsersClassesOnlyWhetherAskedOrConfigured)
{
    for (bool configured : {false, true}) {
        runServer("/UnregServer");
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\MIRB");
        if (configured) RegSetKeyValueA(HKEY_CURRENT_USER, "Software\\MIRB", "CurrentUser", REG_SZ, "1", 2);
        ASSERT_EQ(runServer(configured ? "/RegServer" : "/RegServerPerUser"), 0);
        for (const auto& [entry, expected] : expectedEntries()) {
            EXPECT_EQ(read(user, entry), expected) << entry << (configured ? " (configured)" : "");
            EXPECT_TRUE(entry.rfind("AppID", 0) == 0 || read(machine, entry) == "<missing>") << entry;
        }
        ASSERT_EQ(runServer(configured ? "/UnregServer" : "/UnregServerPerUser"), 0);
        for (const auto& entry : expectedEntries())
            EXPECT_TRUE(entry.first.rfind("AppID", 0) == 0 || read(user, entry.first) == "<missing>") << entry.first;
    }
}
