// What a start of the server does, by its command line.
#include "host/server.h"

#include <gtest/gtest.h>

using tarv::StartDecision;
using Kind = StartDecision::Kind;

TEST(StartDecision, TheCommandLineChoosesRegistrationALogFileServingOrTheWindow)
{
    struct Case {
        const char* line;
        Kind kind;
        const char* path;
    } cases[] = {
        {"/RegServer", Kind::Registration, ""},
        {"-unregserverperuser", Kind::Registration, ""},
        {"C:\\logs\\regserver.tlg", Kind::Registration, ""},   // the text alone takes the branch
        {"C:/x/RegServer", Kind::Registration, ""},
        {"-Embedding", Kind::Serve, ""},
        {"/AUTOMATION -embedding", Kind::Serve, ""},
        {"", Kind::ManagerWindow, ""},
        {"  \t ", Kind::ManagerWindow, ""},
        {"-Foo", Kind::ManagerWindow, ""},
        {"\"-Foo\"", Kind::LogFile, "-Foo"},                   // the switch test comes before the quote goes
        {"  C:\\logs\\a b.tlg\t", Kind::LogFile, "C:\\logs\\a b.tlg"},
        {"\"C:\\logs\\a b.tlg\"", Kind::LogFile, "C:\\logs\\a b.tlg"},
        {"C:\\logs\\a.tlg\"", Kind::LogFile, "C:\\logs\\a.tlg\""},  // a trailing quote alone stays
        {"\"C:\\logs\\embedding.tlg\"", Kind::LogFile, "C:\\logs\\embedding.tlg"},
    };
    for (const Case& c : cases) {
        StartDecision d = tarv::decideStart(c.line);
        EXPECT_EQ(d.kind, c.kind) << c.line;
        EXPECT_EQ(d.path, c.path) << c.line;
    }
}
