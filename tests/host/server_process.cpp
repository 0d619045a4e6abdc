#include "host/server_process.h"

#include <cstdlib>

namespace testsupport {

std::string serverPath()
{
    const char* given = std::getenv("TARV64_SERVER");
    if (!given) return {};
    char full[MAX_PATH];
    DWORD n = GetFullPathNameA(given, MAX_PATH, full, nullptr);
    return n ? std::string(full, n) : std::string(given);
}

long runServer(const std::string& arguments, DWORD timeoutMs)
{
    std::string command = "\"" + serverPath() + "\" " + arguments;
    STARTUPINFOA si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi)) return -1;
    CloseHandle(pi.hThread);
    DWORD code = static_cast<DWORD>(-1);
    if (WaitForSingleObject(pi.hProcess, timeoutMs) == WAIT_OBJECT_0) GetExitCodeProcess(pi.hProcess, &code);
    else TerminateProcess(pi.hProcess, 1);
    CloseHandle(pi.hProcess);
    return static_cast<long>(code);
}

} // namespace testsupport
