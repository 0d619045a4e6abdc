#pragma once
// Child processes of the tests: the server, the simulator, tarvlog, and test binaries run again in
// a child mode of their own.
#include <windows.h>

#include <string>

namespace testsupport {

// Runs `commandLine` (the program first, quoted where needed) with `out` and `err` as its standard
// output and error when given, waits for it and returns its exit code; ~0 when it could not start
// or did not end in time (it is then ended).
DWORD runProcess(std::wstring commandLine, DWORD timeoutMs = 60000, HANDLE out = nullptr, HANDLE err = nullptr);

// Runs `program` (slashes either way) with `arguments`, its standard output in `out` and its
// standard error in `err`, or in `out` too when `err` is null, LF line ends; returns its exit code.
DWORD runCaptured(std::wstring program, const std::wstring& arguments, std::string& out, std::string* err = nullptr);

// The server's lock count (every proxy and window of the server holds one).
ULONG serverLocks();

// The running executable, quoted, for a command line that runs it again.
std::wstring quotedSelf();

} // namespace testsupport
