// The exported-package list and the options in the registry, and where log files go and how they end.
#include "com/bstr.h"
#include "log/clock.h"
#include "log/log_file.h"
#include "packages/package_store.h"
#include "support/dialogs.h"
#include "support/log_capture.h"
#include <gtest/gtest.h>
#include <shlobj.h>
#include <fstream>
#include <string>
#include <tuple>

using namespace tarv;
using testsupport::DialogAnswerer;

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
    static void setCount(DWORD count) { setRaw("NumPackages64", REG_DWORD, std::string(reinterpret_cast<const char*>(&count), sizeof count)); }
    static std::string record(const char* clsid, const char* kind, const char* name, const char* display, const char* logging)
    {
        std::string s;
        for (const char* part : {clsid, kind, name, display, logging}) s += part + std::string(1, '\0');
        return s + '\0';
    }
    static LSTATUS value(const char* name, DWORD* v = nullptr)
    {
        DWORD size = sizeof *v;
        return RegGetValueA(HKEY_CURRENT_USER, kKey, name, RRF_RT_ANY, nullptr, v, v ? &size : nullptr);
    }
    static std::vector<std::wstring> displayNames()
    {
        std::vector<std::wstring> names;
        for (const auto& p : exportedPackages()) names.push_back(p->displayName);
        return names;
    }
};

const char* const kClsid = "{C0FFEE00-1111-2222-3333-444455556666}";

std::string desktopLogs()
{
    char desktop[MAX_PATH];
    SHGetSpecialFolderPathA(nullptr, desktop, CSIDL_DESKTOPDIRECTORY, FALSE);
    return std::string(desktop) + "\\TARV logs";
}

struct LogFileTest : testing::Test {
    void SetUp() override { RegDeleteTreeA(HKEY_CURRENT_USER, kKey); setLocalTimeSource(&testsupport::fixedTime); removeLogs(); }
    void TearDown() override
    {
        setLocalTimeSource(nullptr);
        CallLog::setCloseHook(nullptr);
        removeLogs();
        RegDeleteTreeA(HKEY_CURRENT_USER, kKey);
    }
    static void removeLogs()
    {
        std::string dir = desktopLogs();
        for (const char* n : {"", "(1)", "(2)"}) DeleteFileA((dir + "\\log-14November2026-15h17" + n + ".tlg").c_str());
        RemoveDirectoryA(dir.c_str());
        DeleteFileA(dir.c_str());
    }
    static void options(int autoLog, int prompt)
    {
        ServerOptions o;
        o.autoLogLocation = autoLog;
        o.promptOpenLog = prompt;
        saveOptions(o);
    }
};

} // namespace

TEST_F(StoreTest, ARecordIsFiveStringsAndATerminatorAndItsFieldsAreJudgedAsStored)
{
    ExportedPackage p;
    p.clsid = kClass;
    p.kind = PropertyPackageManager11;
    p.packageName = L"";   // a lone NUL: reading goes by count, not to the first double NUL
    p.displayName = L"My Thermo/Peng Robinson";
    p.loggingEnabled = 1;
    std::string bytes = serialisePackage(p);
    EXPECT_EQ(bytes, record(kClsid, "0", "", "My Thermo/Peng Robinson", "true"));
    ExportedPackage back;
    ASSERT_TRUE(parsePackage(back, bytes.data(), bytes.size()));
    EXPECT_TRUE(IsEqualCLSID(back.clsid, kClass));
    EXPECT_EQ(std::tuple(back.kind, back.packageName, back.displayName, back.loggingEnabled),
              std::tuple(p.kind, p.packageName, p.displayName, p.loggingEnabled));
    const struct { const char *clsid, *kind, *logging; int expectKind, expectLogging = 0; } cases[] = {   // kind -1: refused
        {kClsid, "1", "true", 1, 1}, {kClsid, "5", "TRUE", 5, 1}, {kClsid, "2abc", "false", 2, 0}, {kClsid, "3", "1", 3, 0},
        {kClsid, "6", "true", -1}, {kClsid, "-1", "true", -1}, {kClsid, "x", "true", -1}, {"{not a class}", "1", "true", -1},
    };
    for (const auto& c : cases) {
        std::string r = record(c.clsid, c.kind, "n", "d", c.logging);
        ExportedPackage q;
        EXPECT_EQ(parsePackage(q, r.data(), r.size()), c.expectKind >= 0) << c.kind;
        if (c.expectKind >= 0) { EXPECT_EQ(std::pair(int(q.kind), q.loggingEnabled), std::pair(c.expectKind, c.expectLogging)) << c.kind; }
    }
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
    DWORD count = 0;
    EXPECT_EQ(value("Package64_4"), ERROR_SUCCESS);
    EXPECT_EQ(value("NumPackages64", &count), ERROR_SUCCESS);
    EXPECT_EQ(count, 2u);
    // A name outside the code page comes back as its narrow form.
    exportedPackages()[0]->displayName = L"Mix \u4e2d";
    savePackages();
    loadPackages();
    EXPECT_EQ(exportedPackages()[0]->displayName, toWide(toNarrow(L"Mix \u4e2d")));
}

TEST_F(StoreTest, AHugeCountLoadsTheRecordsThatExistInNumberOrder)
{
    // A corrupt count is not walked: the records found are those a walk from 1 would find, in order.
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
    auto expectOptions = [](int autoLog, int prompt, const CLSID& unit) {
        ServerOptions o;
        loadOptions(o);
        EXPECT_EQ(std::tuple(o.autoLogLocation, o.promptOpenLog, IsEqualCLSID(o.loggedUnitOperation, unit)), std::tuple(autoLog, prompt, TRUE));
    };
    loadPackages();
    EXPECT_TRUE(exportedPackages().empty());
    expectOptions(0, 1, GUID_NULL);
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, kKey, 0, KEY_READ, &key), ERROR_SUCCESS);
    RegCloseKey(key);
    setRaw("AutoLogLocation", REG_DWORD, std::string("\x07\0\0\0", 4));
    setRaw("PromptOpenLog", REG_SZ, "0");                       // wrong type: ignored
    setRaw("VESKERUnit64", REG_BINARY, std::string(15, '\x01'));  // wrong length: ignored
    expectOptions(1, 1, GUID_NULL);
    ServerOptions options;
    loadOptions(options);
    options.promptOpenLog = 0;
    options.loggedUnitOperation = kClass;
    saveOptions(options);
    expectOptions(1, 0, kClass);
}

TEST_F(LogFileTest, TheOptionIsReadAgainForEveryLogAndAutomaticNamesAreNumberedWithinTheMinute)
{
    options(0, 0);
    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    const std::string chosen = std::string(temp) + "chosen-log";
    for (int answer : {IDCANCEL, IDOK}) {
        DialogAnswerer dialog("Create log for Mix:", answer, 1, chosen);
        std::string path;
        EXPECT_EQ(chooseLogFile(&path, "Create log for Mix:"), answer == IDOK);
        EXPECT_TRUE(dialog.wait());
        if (answer == IDOK) { EXPECT_EQ(path, chosen + ".tlg"); }   // a chosen name gets its extension
    }
    options(1, 0);   // as the manager window of another process would
    for (const char* name : {"", "(1)", "(2)"}) {
        std::string path;
        ASSERT_EQ(chooseLogFile(&path, "Create log for Mix:"), 1);
        EXPECT_EQ(path, desktopLogs() + "\\log-14November2026-15h17" + name + ".tlg");
        std::ofstream(path) << "x";
    }
}

TEST_F(LogFileTest, AFileThatCannotBeOpenedIsReportedAndNoLogIsMade)
{
    options(1, 0);
    // A file where the logs' folder should be: the folder cannot be made, the open fails.
    std::ofstream(desktopLogs()) << "in the way";
    DialogAnswerer error("Error:", IDOK);
    CallLog* log = createLogFile("Create log for Mix:", "Mix", "Test object");
    EXPECT_EQ(log, nullptr);
    ASSERT_TRUE(error.wait());
    auto seen = error.seen();
    ASSERT_EQ(seen.size(), 1u);
    std::string path = desktopLogs() + "\\log-14November2026-15h17.tlg";
    EXPECT_EQ(seen[0].text.rfind("Failed to open log file \"" + path + "\" for writing: ", 0), 0u) << seen[0].text;
    EXPECT_NE(seen[0].text.find("\r\nLogging will not be enabled"), std::string::npos);
    EXPECT_EQ(std::pair(seen[0].buttons, seen[0].icon), std::pair(std::vector<int>{IDOK}, UINT(MB_ICONERROR)));
}

TEST_F(LogFileTest, ClosingAsksAsTheOptionWasReadWhenTheLogWasMade)
{
    options(1, 1);
    installLogClosePrompt();
    CallLog* log = createLogFile("Create log for Mix:", "Mix", "Test object");
    ASSERT_NE(log, nullptr);
    std::string path = log->logPath();
    options(1, 0);   // changed after the last read: does not count for this log
    log->addRef();
    DialogAnswerer no("Object terminated:", IDNO);
    log->release();
    ASSERT_TRUE(no.wait());
    auto seen = no.seen();
    EXPECT_EQ(std::tuple(seen[0].text, seen[0].buttons, seen[0].icon),
              std::tuple("Open log file \"" + path + "\"?", std::vector<int>{IDYES, IDNO}, UINT(MB_ICONQUESTION)));
    // With the prompt off when the log is made, nothing is asked.
    log = createLogFile("Create log for Mix:", "Mix", "Test object");
    ASSERT_NE(log, nullptr);
    DialogAnswerer none("Object terminated:", IDNO);
    log->addRef();
    log->release();
    EXPECT_FALSE(none.wait(300));
}
