#include "host/server_process.h"

#include "com/bstr.h"
#include "support/process.h"

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
    return static_cast<long>(runProcess(tarv::toWide("\"" + serverPath() + "\" " + arguments), timeoutMs));
}

} // namespace testsupport
