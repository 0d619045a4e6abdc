// TARV64.exe: what a start of the process does is decided by its command line. It registers or
// unregisters the server; opens a log file; opens the manager window; or, started by COM with
// -Embedding, shows nothing and serves objects.
#include "host/server.h"
#include "log/log_file.h"
#include "packages/package_store.h"

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <string>

namespace {

using namespace tarv;

bool contains(const std::string& text, const char* part)
{
    return text.find(part) != std::string::npos;
}

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

// The command line as a log file path: blanks and tabs trimmed, one pair of enclosing quotes
// removed. Empty when the line is empty or is a switch.
std::string logFileArgument(const std::string& commandLine)
{
    size_t first = commandLine.find_first_not_of(" \t");
    if (first == std::string::npos) return {};
    size_t last = commandLine.find_last_not_of(" \t");
    std::string path = commandLine.substr(first, last - first + 1);
    if (path[0] == '-' || path[0] == '/') return {};
    if (path[0] == '"') {
        path.erase(0, 1);
        if (!path.empty() && path.back() == '"') path.pop_back();
    }
    return path;
}

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR commandLine, int)
{
    bool moduleReady = initialiseModule();
    computeVersionString();

    std::string given = commandLine ? commandLine : "";
    std::string lower = given;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });

    if (contains(lower, "regserver")) {
        readRegistrationScope();
    } else if (std::string path = logFileArgument(given); !path.empty()) {
        openLogViewer(path);
        shutdownModule();
        return 0;
    } else {
        loadPackages();
        if (!contains(lower, "embedding")) {
            MessageBoxA(nullptr,
                        "TARV64 serves the exported packages to simulators when COM starts it.\r\n"
                        "The package manager window is not part of this build.",
                        "TARV64", MB_ICONINFORMATION);
            shutdownModule();
            return 0;
        }
    }
    int result = moduleReady ? runModule(GetCommandLineA()) : -1;
    shutdownModule();
    return result;
}
