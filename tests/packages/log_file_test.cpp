// Where log files go and how they end: the automatic Desktop location and its numbering, the Save
// dialog, the message for a file that cannot be opened, and the question when a log closes.
#include "log/clock.h"
#include "log/log_file.h"
#include "packages/package_store.h"
#include "support/dialogs.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <shlobj.h>

#include <fstream>

using namespace tarv;
using testsupport::DialogAnswerer;
using testsupport::fixedTime;

namespace {

std::string desktopLogs()
{
    char desktop[MAX_PATH];
    SHGetSpecialFolderPathA(nullptr, desktop, CSIDL_DESKTOPDIRECTORY, FALSE);
    return std::string(desktop) + "\\TARV logs";
}

struct LogFileTest : testing::Test {
    void SetUp() override
    {
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\TARV");
        setLocalTimeSource(&fixedTime);
        removeLogs();
    }
    void TearDown() override
    {
        setLocalTimeSource(nullptr);
        CallLog::setCloseHook(nullptr);
        removeLogs();
        RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\TARV");
    }
    static void removeLogs()
    {
        std::string dir = desktopLogs();
        for (const char* name : {"\\log-14November2026-15h17.tlg", "\\log-14November2026-15h17(1).tlg",
                                 "\\log-14November2026-15h17(2).tlg"})
            DeleteFileA((dir + name).c_str());
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

TEST_F(LogFileTest, TheOptionIsReadAgainForEveryLogAndAutomaticNamesAreNumberedWithinTheMinute)
{
    options(0, 0);
    {
        DialogAnswerer cancel("Create log for Mix:", IDCANCEL);
        std::string path;
        EXPECT_EQ(chooseLogFile(&path, "Create log for Mix:"), 0);
        EXPECT_TRUE(cancel.wait());
    }
    options(1, 0);   // as the manager window of another process would
    for (const char* name : {"", "(1)", "(2)"}) {
        std::string path;
        ASSERT_EQ(chooseLogFile(&path, "Create log for Mix:"), 1);
        EXPECT_EQ(path, desktopLogs() + "\\log-14November2026-15h17" + name + ".tlg");
        std::ofstream(path) << "x";
    }
}

TEST_F(LogFileTest, TheSaveDialogGivesAChosenNameItsExtension)
{
    options(0, 0);
    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    std::string chosen = std::string(temp) + "chosen-log";
    DialogAnswerer save("Create log for Mix:", IDOK, 1, chosen);
    std::string path;
    ASSERT_EQ(chooseLogFile(&path, "Create log for Mix:"), 1);
    EXPECT_TRUE(save.wait());
    EXPECT_EQ(path, chosen + ".tlg");
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
    EXPECT_EQ(seen[0].buttons, std::vector<int>{IDOK});
    EXPECT_EQ(seen[0].icon, MB_ICONERROR);
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
    EXPECT_EQ(seen[0].text, "Open log file \"" + path + "\"?");
    EXPECT_EQ(seen[0].buttons, (std::vector<int>{IDYES, IDNO}));
    EXPECT_EQ(seen[0].icon, MB_ICONQUESTION);
    // The file is complete and can be opened for reading with sharing refused, as the viewer does.
    HANDLE h = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(h, INVALID_HANDLE_VALUE);
    CloseHandle(h);

    // With the prompt off when the log is made, nothing is asked.
    log = createLogFile("Create log for Mix:", "Mix", "Test object");
    ASSERT_NE(log, nullptr);
    DialogAnswerer none("Object terminated:", IDNO);
    log->addRef();
    log->release();
    EXPECT_FALSE(none.wait(300));
}
