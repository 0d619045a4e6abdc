#include "support/process.h"

#include "support/log_capture.h"

#include <objbase.h>

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

DWORD runCaptured(std::wstring program, const std::wstring& arguments, std::string& out, std::string* err)
{
    for (wchar_t& c : program)
        if (c == L'/') c = L'\\';
    char dir[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    const std::string paths[] = {std::string(dir) + "tarv_child_out.txt", std::string(dir) + "tarv_child_err.txt"};
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE files[2] = {};
    for (int i = 0; i < (err ? 2 : 1); ++i)
        files[i] = CreateFileA(paths[i].c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    const DWORD code = runProcess(L"\"" + program + L"\" " + arguments, 60000, files[0], err ? files[1] : files[0]);
    for (HANDLE f : files)
        if (f) CloseHandle(f);
    out = readLog(paths[0]);
    if (err) *err = readLog(paths[1]);
    return code;
}

ULONG serverLocks()
{
    ULONG n = CoAddRefServerProcess();
    CoReleaseServerProcess();
    return n - 1;
}

std::wstring quotedSelf()
{
    wchar_t self[MAX_PATH];
    DWORD n = GetModuleFileNameW(nullptr, self, MAX_PATH);
    return L"\"" + std::wstring(self, n) + L"\"";
}

} // namespace testsupport
