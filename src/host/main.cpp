// TARV64.exe: what a start of the process does is decided by its command line. It registers or
// unregisters the server; opens a log file; opens the manager window; or, started by COM with
// -Embedding, shows nothing and serves objects.
#include "host/server.h"
#include "host/module.h"
#include "log/log_file.h"
#include "packages/package_store.h"
#include "viewer/view_log_dlg.h"

#include <windows.h>

namespace {

using namespace tarv;

// A registration started with "CurrentUser" = "1" under HKCU\Software\MIRB goes to the current
// user's classes.
void readRegistrationScope()
{
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\MIRB", 0, KEY_READ, &key) != ERROR_SUCCESS) return;
    char value[20] = "";
    DWORD size = sizeof value - 1;
    if (RegQueryValueExA(key, "CurrentUser", nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size) ==
            ERROR_SUCCESS &&
        lstrcmpiA(value, "1") == 0)
        perUserRegistration = 1;
    RegCloseKey(key);
}

} // namespace

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR commandLine, int)
{
    bool moduleReady = initialiseModule();
    computeVersionString();
    createSharedImageList(instance);
    installLogClosePrompt();

    StartDecision start = decideStart(commandLine ? commandLine : "");
    switch (start.kind) {
    case StartDecision::Kind::Registration:
        readRegistrationScope();
        break;
    case StartDecision::Kind::LogFile:
        openLogViewer(start.path);
        break;
    case StartDecision::Kind::Serve:
        loadPackages();
        break;
    case StartDecision::Kind::ManagerWindow:
        loadPackages();
        MessageBoxA(nullptr,
                    "TARV64 serves the exported packages to simulators when COM starts it.\r\n"
                    "The package manager window is not part of this build.",
                    "TARV64", MB_ICONINFORMATION);
        shutdownModule();
        return 0;
    }
    int result = moduleReady ? runModule(GetCommandLineA()) : -1;
    shutdownModule();
    return result;
}
