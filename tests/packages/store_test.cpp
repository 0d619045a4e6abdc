// The exported-package list and the options in the current user's registry: the record format
// byte for byte, and what a load does with values that are missing, damaged or of the wrong type.
#include "packages/package_store.h"

#include "com/bstr.h"

#include <gtest/gtest.h>

#include <string>

using namespace tarv;

namespace {

constexpr const char* kKey = "Software\\TARV";
const CLSID kClass = {0xC0FFEE00, 0x1111, 0x2222, {0x33, 0x33, 0x44, 0x44, 0x55, 0x55, 0x66, 0x66}};

struct StoreTest : testing::Test {
    void SetUp() override { RegDeleteTreeA(HKEY_CURRENT_USER, kKey); }
    void TearDown() override { RegDeleteTreeA(HKEY_CURRENT_USER, kKey); }

    static void setRaw(const char* name, DWORD type, const std::string& data)
    {
        HKEY key = openSettingsKey();
        RegSetValueExA(key, name, 0, type, reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size()));
        RegCloseKey(key);
    }
    static void setCount(DWORD count)
    {
        setRaw("NumPackages64", REG_DWORD, std::string(reinterpret_cast<const char*>(&count), sizeof count));
    }
    static std::string record(const char* clsid, const char* kind, const char* name, const char* display,
                              const char* logging)
    {
        std::string s;
        for (const char* part : {clsid, kind, name, display, logging}) {
            s += part;
            s += '\0';
        }
        return s + '\0';
    }
    static bool valueExists(const char* name)
    {
        HKEY key = openSettingsKey();
        bool found = RegQueryValueExA(key, name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
        RegCloseKey(key);
        return found;
    }
    static std::vector<std::wstring> displayNames()
    {
        std::vector<std::wstring> names;
        for (const auto& p : exportedPackages()) names.push_back(p->displayName);
        return names;
    }
};

const char* const kClsid = "{C0FFEE00-1111-2222-3333-444455556666}";

} // namespace

TEST_F(StoreTest, ARecordIsFiveStringsAndATerminatorAndReadsBackWhole)
{
    ExportedPackage p;
    p.clsid = kClass;
    p.kind = PropertyPackageManager11;
    p.packageName = L"Peng Robinson";
    p.displayName = L"My Thermo/Peng Robinson";
    p.loggingEnabled = 1;
    std::string bytes = serialisePackage(p);
    EXPECT_EQ(bytes, record(kClsid, "0", "Peng Robinson", "My Thermo/Peng Robinson", "true"));

    ExportedPackage back;
    ASSERT_TRUE(parsePackage(back, bytes.data(), bytes.size()));
    EXPECT_TRUE(IsEqualCLSID(back.clsid, kClass));
    EXPECT_EQ(back.kind, PropertyPackageManager11);
    EXPECT_EQ(back.packageName, L"Peng Robinson");
    EXPECT_EQ(back.displayName, L"My Thermo/Peng Robinson");
    EXPECT_EQ(back.loggingEnabled, 1);

    // An empty package name is a lone NUL: reading goes by count, not to the first double NUL.
    p.packageName.clear();
    bytes = serialisePackage(p);
    ASSERT_TRUE(parsePackage(back, bytes.data(), bytes.size()));
    EXPECT_EQ(back.packageName, L"");
    EXPECT_EQ(back.displayName, L"My Thermo/Peng Robinson");
}

TEST_F(StoreTest, KindAndLoggingFieldsAreJudgedAsStored)
{
    struct Case {
        const char* kind;
        const char* logging;
        bool accepted;
        int expectKind;
        int expectLogging;
    } cases[] = {
        {"1", "true", true, 1, 1},   {"5", "TRUE", true, 5, 1}, {"2abc", "false", true, 2, 0},
        {"3", "1", true, 3, 0},      {"6", "true", false, 0, 0}, {"-1", "true", false, 0, 0},
        {"x", "true", false, 0, 0},
    };
    for (const Case& c : cases) {
        std::string bytes = record(kClsid, c.kind, "n", "d", c.logging);
        ExportedPackage p;
        EXPECT_EQ(parsePackage(p, bytes.data(), bytes.size()), c.accepted) << c.kind;
        if (!c.accepted) continue;
        EXPECT_EQ(p.kind, c.expectKind) << c.kind;
        EXPECT_EQ(p.loggingEnabled, c.expectLogging) << c.logging;
    }
    std::string badClass = record("{not a class}", "1", "n", "d", "true");
    ExportedPackage p;
    EXPECT_FALSE(parsePackage(p, badClass.data(), badClass.size()));
}

TEST_F(StoreTest, BadRecordsAreDroppedAndTheNextSaveRenumbersTheRest)
{
    // 1 is long enough to grow the read buffer, 2 is missing, 3 has the wrong type, 4 is short.
    const std::string longName(300, 'x');
    setCount(4);
    setRaw("Package64_1", REG_MULTI_SZ, record(kClsid, "1", longName.c_str(), longName.c_str(), "true"));
    setRaw("Package64_3", REG_SZ, "not a record");
    setRaw("Package64_4", REG_MULTI_SZ, record(kClsid, "3", "D", "D", "false"));
    const std::vector<std::wstring> expected{std::wstring(300, L'x'), L"D"};
    loadPackages();
    EXPECT_EQ(displayNames(), expected);

    savePackages();
    loadPackages();
    EXPECT_EQ(displayNames(), expected);
    // The count alone says what is valid; the old fourth value stays behind without effect.
    EXPECT_TRUE(valueExists("Package64_4"));
    HKEY key = openSettingsKey();
    DWORD count = 0, size = sizeof count;
    RegQueryValueExA(key, "NumPackages64", nullptr, nullptr, reinterpret_cast<BYTE*>(&count), &size);
    RegCloseKey(key);
    EXPECT_EQ(count, 2u);
}

TEST_F(StoreTest, AHugeCountLoadsTheRecordsThatExistInNumberOrder)
{
    // A corrupt count does not make the load ask for two billion values: the records found are
    // the ones a walk from 1 would find, in the same order; the rest of the key is left alone.
    setCount(0x7FFFFFFF);
    setRaw("Package64_10", REG_MULTI_SZ, record(kClsid, "1", "J", "J", "true"));
    setRaw("package64_2", REG_MULTI_SZ, record(kClsid, "1", "B", "B", "true"));
    setRaw("Package64_1", REG_MULTI_SZ, record(kClsid, "1", "A", "A", "true"));
    setRaw("Package64_02", REG_MULTI_SZ, record(kClsid, "1", "leading zero", "leading zero", "true"));
    setRaw("Package64_x", REG_MULTI_SZ, record(kClsid, "1", "X", "X", "true"));
    setRaw("AutoLogLocation", REG_DWORD, std::string(4, '\0'));
    loadPackages();   // a walk of the count would run into the test's time-out
    EXPECT_EQ(displayNames(), (std::vector<std::wstring>{L"A", L"B", L"J"}));
    // A count below a record's number still leaves it out.
    setCount(9);
    loadPackages();
    EXPECT_EQ(displayNames(), (std::vector<std::wstring>{L"A", L"B"}));
    // A count that is not a positive DWORD loads nothing.
    for (bool wrongType : {true, false}) {
        if (wrongType) setRaw("NumPackages64", REG_SZ, "1");
        else setCount(static_cast<DWORD>(-1));
        loadPackages();
        EXPECT_TRUE(exportedPackages().empty());
    }
}

TEST_F(StoreTest, FirstUseCreatesTheKeyAndOptionsCountOnlyWhenValidAndAreNormalised)
{
    ServerOptions defaults;
    loadPackages();
    loadOptions(defaults);
    EXPECT_TRUE(exportedPackages().empty());
    EXPECT_EQ(defaults.autoLogLocation, 0);
    EXPECT_EQ(defaults.promptOpenLog, 1);
    EXPECT_TRUE(IsEqualCLSID(defaults.loggedUnitOperation, GUID_NULL));
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, kKey, 0, KEY_READ, &key), ERROR_SUCCESS);
    RegCloseKey(key);

    setRaw("AutoLogLocation", REG_DWORD, std::string("\x07\0\0\0", 4));
    setRaw("PromptOpenLog", REG_SZ, "0");                       // wrong type: ignored
    setRaw("VESKERUnit64", REG_BINARY, std::string(15, '\x01'));  // wrong length: ignored
    ServerOptions options;
    loadOptions(options);
    EXPECT_EQ(options.autoLogLocation, 1);
    EXPECT_EQ(options.promptOpenLog, 1);
    EXPECT_TRUE(IsEqualCLSID(options.loggedUnitOperation, GUID_NULL));

    options.promptOpenLog = 0;
    options.loggedUnitOperation = kClass;
    saveOptions(options);
    ServerOptions reread;
    loadOptions(reread);
    EXPECT_EQ(reread.autoLogLocation, 1);
    EXPECT_EQ(reread.promptOpenLog, 0);
    EXPECT_TRUE(IsEqualCLSID(reread.loggedUnitOperation, kClass));
}

TEST_F(StoreTest, ANameOutsideTheCodePageComesBackAsItsNarrowForm)
{
    ExportedPackage p;
    p.clsid = kClass;
    p.kind = PropertyPackage11;
    p.packageName = p.displayName = L"Mix \u4e2d";
    exportedPackages().clear();
    exportedPackages().push_back(std::make_unique<ExportedPackage>(p));
    savePackages();
    loadPackages();
    ASSERT_EQ(exportedPackages().size(), 1u);
    EXPECT_EQ(exportedPackages()[0]->displayName, toWide(toNarrow(L"Mix \u4e2d")));
}
