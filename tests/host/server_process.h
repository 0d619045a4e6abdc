#pragma once
// Running TARV64.exe from tests, in the test prefix.
#include <windows.h>

#include <string>

namespace testsupport {

// The server executable under test (from TARV64_SERVER).
std::string serverPath();

// Runs the server with `arguments`, waits for it to end and returns its exit code (or -1 when it
// could not be started or did not end in time).
long runServer(const std::string& arguments, DWORD timeoutMs = 30000);

} // namespace testsupport
