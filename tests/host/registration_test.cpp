// Registration of the server, read back key by key from the registry of the test prefix:
// machine-wide, its reverse, and per user.
#include "host/server_process.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using testsupport::runServer;
using testsupport::serverPath;

namespace {

const char* const kAppId = "{6D1BB91A-FE7B-47EC-999E-B4AA78F2F91B}";
const char* const kLibId = "{8032C600-BA13-484F-A25F-3DFB47FCA46D}";

struct ClassRow {
    const char* clsid;
    const char* progId;
    const char* friendly;
    const char* capeName;
    const char* capeDescription;
    const char* capeVersion;
    std::vector<std::string> categories;
};

const ClassRow kClasses[] = {
    {"{BFF556B4-600E-40F6-A257-1A9695A390C9}", "TARV64.ThermoSystem64", "ThermoSystem64 Class",
     "TARV Thermo System (CAPE-OPEN 1.0, x64)", "TARV Thermo Host: Thermo System (x64)", "1.0",
     {"{678C09A3-7D66-11D2-A67D-00105A42887F}", "{678C09A1-7D66-11D2-A67D-00105A42887F}"}},
    {"{2EB2940C-6E77-4166-943B-CBFF3296BAAD}", "TARV64.PropertyPackageManager64", "PropertyPackageManager64 Class",
     "TARV Property Package Manager (CAPE-OPEN 1.1, x64)", "TARV Thermo Host: Property Package Manager (x64)", "1.1",
     {"{678C09A1-7D66-11D2-A67D-00105A42887F}", "{CF51E383-0110-4ed8-ACB7-B50CFDE6908E}"}},
    {"{AE8F5C73-AE95-4991-96B8-E8F37B23FDB4}", "TARV64.ReactionPackageManager64", "ReactionPackageManager64 Class",
     "TARV Reaction Package Manager (CAPE-OPEN 1.0, x64)", "TARV Thermo Host: Reacion Package Manager (x64)", "1.0",
     {"{678C09A1-7D66-11D2-A67D-00105A42887F}", "{678C09AA-0100-11D2-A67D-00105A42887F}"}},
    {"{9BDC15FC-9609-4281-8529-34A4D88984A7}", "VESKER64.UnitOperation64", "UnitOperation64 Class",
     "VESKER Logged Unit Operation (x64)", "VESKER Logged Unit Operation (x64)", "1.0",
     {"{678C09A5-7D66-11D2-A67D-00105A42887F}", "{678C09A1-7D66-11D2-A67D-00105A42887F}"}},
};

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

std::string quotedServer()
{
    return "\"" + serverPath() + "\"";
}

// Every key and value that registration of the application and the classes writes below `root`.
std::map<std::string, std::string> expectedEntries()
{
    std::map<std::string, std::string> e;
    e[std::string("AppID\\") + kAppId] = "TARV64";
    e["AppID\\TARV64.EXE|AppID"] = kAppId;
    e[".tlg"] = "TARV64.logFile";
    e["TARV64.logFile"] = "TARV64.logFile";
    e["TARV64.logFile\\DefaultIcon"] = quotedServer() + ",0";
    e["TARV64.logFile\\shell\\open\\command"] = quotedServer() + " \"%1\"";
    for (const ClassRow& c : kClasses) {
        std::string progId = c.progId, clsidKey = std::string("CLSID\\") + c.clsid;
        e[progId + ".1"] = c.friendly;
        e[progId + ".1\\CLSID"] = c.clsid;
        e[progId] = c.friendly;
        e[progId + "\\CLSID"] = c.clsid;
        e[progId + "\\CurVer"] = progId + ".1";
        e[clsidKey] = c.friendly;
        e[clsidKey + "\\ProgID"] = progId + ".1";
        e[clsidKey + "\\VersionIndependentProgID"] = progId;
        e[clsidKey + "\\LocalServer32"] = quotedServer();
        e[clsidKey + "|AppID"] = kAppId;
        e[clsidKey + "\\TypeLib"] = kLibId;
        e[clsidKey + "\\CapeDescription|Name"] = c.capeName;
        e[clsidKey + "\\CapeDescription|Description"] = c.capeDescription;
        e[clsidKey + "\\CapeDescription|CapeVersion"] = c.capeVersion;
        e[clsidKey + "\\CapeDescription|ComponentVersion"] = "1.0.0.1";
        for (const std::string& cat : c.categories) e[clsidKey + "\\Implemented Categories\\" + cat] = "<present>";
        e[clsidKey + "\\Programmable"] = "<present>";
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
    for (const ClassRow& c : kClasses) {
        std::string about = read(machine, std::string("CLSID\\") + c.clsid + "\\CapeDescription|About");
        const bool unit = std::string(c.progId).find("UnitOperation") != std::string::npos;
        EXPECT_NE(about.find(unit ? "CAPE-OPEN 1.0 unit operation" : "out-of-proc"), std::string::npos) << about;
        EXPECT_NE(read(machine, std::string("CLSID\\") + c.clsid + "\\CapeDescription|VendorURL"), "<missing>");
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
