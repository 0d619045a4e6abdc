// What a start of the server does by its command line; its class objects and shutdown monitor.
#include "host/class_table.h"
#include "host/module.h"
#include "host/server.h"

#include <gtest/gtest.h>

using tarv::StartDecision;
using Kind = StartDecision::Kind;

TEST(StartDecision, TheCommandLineChoosesRegistrationALogFileServingOrTheWindow)
{
    const struct { const char* line; Kind kind; const char* path; } cases[] = {
        {"/RegServer", Kind::Registration, ""},
        {"-unregserverperuser", Kind::Registration, ""},
        {"C:\\logs\\regserver.tlg", Kind::Registration, ""},   // the text alone takes the branch
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
    for (const auto& c : cases) {
        const StartDecision d = tarv::decideStart(c.line);
        EXPECT_EQ(std::pair(d.kind, d.path), std::pair(c.kind, std::string(c.path))) << c.line;
    }
}

namespace {

HRESULT createNothing(IUnknown*, REFIID, void** out)
{
    *out = nullptr;
    return E_NOTIMPL;
}

bool registered(const CLSID& clsid)
{
    IClassFactory* factory = nullptr;
    HRESULT hr = CoGetClassObject(clsid, CLSCTX_LOCAL_SERVER, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (factory) factory->Release();
    return SUCCEEDED(hr);
}

} // namespace

TEST(ClassObjects, AFailedRegistrationLeavesNoneOfTheEarlierOnesReachable)
{
    static const CLSID first = {0x5F0C8D01, 0x7E2A, 0x4B6D, {0x9A, 0x11, 0x20, 0x6C, 0x33, 0x0D, 0x44, 0x01}};
    static const CLSID second = {0x5F0C8D02, 0x7E2A, 0x4B6D, {0x9A, 0x11, 0x20, 0x6C, 0x33, 0x0D, 0x44, 0x02}};
    static const CLSID third = {0x5F0C8D03, 0x7E2A, 0x4B6D, {0x9A, 0x11, 0x20, 0x6C, 0x33, 0x0D, 0x44, 0x03}};
    const tarv::CreatableClass rows[] = {{&first, 0, &createNothing}, {&second, 0, &createNothing}};
    tarv::ClassObject a(rows[0]), b(rows[1]);
    const CLSID* clsids[] = {&first, &second, &third};
    IUnknown* objects[] = {&a, &b, nullptr};   // the third cannot be registered
    DWORD cookies[3] = {};
    EXPECT_EQ(tarv::registerClassObjects(clsids, objects, 2, cookies), S_OK);
    EXPECT_TRUE(registered(first));
    EXPECT_EQ(tarv::revokeClassObjects(cookies, 2), S_OK);
    EXPECT_TRUE(FAILED(tarv::registerClassObjects(clsids, objects, 3, cookies)));
    EXPECT_FALSE(registered(first));
    EXPECT_FALSE(registered(second));
}

TEST(ShutdownMonitor, EveryFallToZeroWakesTheMainThreadAndNoSignalOutlivesTheMonitor)
{
    MSG msg;
    PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);   // this thread's queue, for the quit
    tarv::ShutdownMonitor monitor;
    ASSERT_TRUE(monitor.start(GetCurrentThreadId()));
    // A count that goes 0, 1, 0 again signals twice: the second signal must find the monitor.
    for (int fall = 0; fall < 3; ++fall) {
        monitor.signal();
        bool quit = false;
        for (int waited = 0; !quit && waited < 5000; waited += 5) {
            quit = PeekMessageA(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);
            if (!quit) Sleep(5);
        }
        EXPECT_TRUE(quit) << "fall " << fall;
    }
    monitor.stop();
    EXPECT_FALSE(monitor.running());
    monitor.signal();
}
