#include "support/process.h"

namespace testsupport {

DWORD runProcess(std::wstring commandLine, DWORD timeoutMs, HANDLE out, HANDLE err)
{
    STARTUPINFOW si{};
    si.cb = sizeof si;
    if (out || err) {
        si.dwFlags = STARTF_USESTDHANDLES;
        si.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
        si.hStdOutput = out ? out : GetStdHandle(STD_OUTPUT_HANDLE);
        si.hStdError = err ? err : GetStdHandle(STD_ERROR_HANDLE);
    }
    PROCESS_INFORMATION pi{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, out || err, 0, nullptr, nullptr, &si, &pi))
        return ~DWORD{0};
    CloseHandle(pi.hThread);
    DWORD code = ~DWORD{0};
    if (WaitForSingleObject(pi.hProcess, timeoutMs) == WAIT_OBJECT_0)
        GetExitCodeProcess(pi.hProcess, &code);
    else
        TerminateProcess(pi.hProcess, 99);
    CloseHandle(pi.hProcess);
    return code;
}

std::wstring quotedSelf()
{
    wchar_t self[MAX_PATH];
    DWORD n = GetModuleFileNameW(nullptr, self, MAX_PATH);
    return L"\"" + std::wstring(self, n) + L"\"";
}

} // namespace testsupport
