#include "log/log_file.h"

#include "host/module.h"
#include "log/clock.h"
#include "viewer/view_log_dlg.h"

#include <windows.h>
#include <commdlg.h>
#include <shlobj.h>

#include <cerrno>
#include <cstring>
#include <share.h>

namespace tarv {
namespace {

constexpr LCID kDefaultLocale = 2048;  // the system's default locale

// Keeps the Save dialog above every window (it may come up during a simulator's call).
UINT_PTR CALLBACK topmostHook(HWND dialog, UINT message, WPARAM, LPARAM lParam)
{
    if (message == WM_NOTIFY && reinterpret_cast<OFNOTIFYA*>(lParam)->hdr.code == CDN_INITDONE)
        SetWindowPos(GetParent(dialog), HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
    return 0;
}

int askForPath(std::string* path, const char* title)
{
    char file[1024] = "";
    OPENFILENAMEA ofn{};
    ofn.lStructSize = sizeof ofn;
    ofn.lpstrFilter = "TARV Log Files (*.tlg)\0*.tlg\0All files (*.*)\0*.*\0";
    ofn.lpstrFile = file;
    ofn.nMaxFile = sizeof file;
    ofn.lpstrTitle = title;
    ofn.lpstrDefExt = "tlg";
    ofn.Flags = OFN_OVERWRITEPROMPT | OFN_HIDEREADONLY | OFN_EXPLORER | OFN_ENABLEHOOK;
    ofn.lpfnHook = topmostHook;
    if (!GetSaveFileNameA(&ofn)) return 0;
    *path = file;
    return 1;
}

int automaticPath(std::string* path)
{
    char desktop[MAX_PATH];
    if (!SHGetSpecialFolderPathA(nullptr, desktop, CSIDL_DESKTOPDIRECTORY, FALSE)) {
        MessageBoxA(nullptr, "Failed to obtain location of Desktop folder", "Create log file:", MB_ICONERROR);
        return 0;
    }
    std::string dir = std::string(desktop) + "\\TARV logs";
    CreateDirectoryA(dir.c_str(), nullptr);  // normally exists already; a real failure shows at open

    SYSTEMTIME now;
    localTime(&now);
    char date[256] = "", time[256] = "";
    GetDateFormatA(kDefaultLocale, 0, &now, "ddMMMMyyyy", date, 255);
    GetTimeFormatA(kDefaultLocale, 0, &now, "HH'h'mm", time, 255);
    std::string base = dir + "\\log-" + date + "-" + time;
    for (int n = 0;; ++n) {
        std::string candidate = base + (n > 0 ? "(" + std::to_string(n) + ")" : "") + ".tlg";
        WIN32_FIND_DATAA found;
        HANDLE h = FindFirstFileA(candidate.c_str(), &found);
        if (h == INVALID_HANDLE_VALUE) {
            *path = candidate;
            return 1;
        }
        FindClose(h);
    }
}

void askToOpen(const CallLog& log)
{
    if (!CTARVModule::instance().options.promptOpenLog) return;
    std::string text = "Open log file \"" + log.logPath() + "\"?";
    if (MessageBoxA(nullptr, text.c_str(), "Object terminated:", MB_ICONQUESTION | MB_YESNO | MB_TOPMOST) == IDYES)
        openLogViewer(log.logPath());
}

} // namespace

int chooseLogFile(std::string* path, const char* title)
{
    ServerOptions& options = CTARVModule::instance().options;
    loadOptions(options);
    return options.autoLogLocation ? automaticPath(path) : askForPath(path, title);
}

CallLog* createLogFile(const char* title, const char* objectName, const char* objectType)
{
    std::string path;
    if (!chooseLogFile(&path, title)) return nullptr;
    std::FILE* stream = _fsopen(path.c_str(), "wb", _SH_DENYWR);
    if (!stream) {
        std::string text = "Failed to open log file \"" + path + "\" for writing: " + std::strerror(errno) +
                           "\r\nLogging will not be enabled";
        MessageBoxA(nullptr, text.c_str(), "Error:", MB_ICONERROR | MB_TOPMOST);
        return nullptr;
    }
    return CallLog::open(stream, objectName, objectType, path.c_str());
}

void installLogClosePrompt()
{
    CallLog::setCloseHook(&askToOpen);
}

} // namespace tarv
