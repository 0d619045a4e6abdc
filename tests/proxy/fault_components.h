#pragma once
// Access to the test components that fault on purpose (tests/kit), loaded from the directory of
// the running executable.
#include <windows.h>

#include <string>

#include "kit/msvc/fault_menu.h"

namespace tarv::test {

struct FaultComponent {
    const char* label = nullptr;
    HMODULE module = nullptr;
#define TARV_FAULT_MEMBER(type, name) type name = nullptr;
    FAULT_EXPORTS(TARV_FAULT_MEMBER)
#undef TARV_FAULT_MEMBER

    explicit operator bool() const { return module != nullptr; }
};

// Directory of this executable, with a trailing backslash.
inline std::string executableDirectory()
{
    char path[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string dir(path, n);
    return dir.substr(0, dir.find_last_of("\\/") + 1);
}

// Loads one of tarv_msvc_faults.dll / tarv_gcc_faults.dll once per process; an empty component
// (false) if it or one of its exports is missing.
inline FaultComponent loadFaultComponent(const char* label, const char* dllName)
{
    FaultComponent c;
    c.label = label;
    HMODULE module = LoadLibraryA((executableDirectory() + dllName).c_str());
    if (!module) return c;
    bool complete = true;
#define TARV_FAULT_RESOLVE(type, name)                                                \
    c.name = reinterpret_cast<type>(reinterpret_cast<void*>(GetProcAddress(module, #name))); \
    complete = complete && c.name;
    FAULT_EXPORTS(TARV_FAULT_RESOLVE)
#undef TARV_FAULT_RESOLVE
    if (complete) c.module = module;
    return c;
}

inline const FaultComponent& msvcFaults()
{
    static const FaultComponent c = loadFaultComponent("MSVC-ABI", "tarv_msvc_faults.dll");
    return c;
}

inline const FaultComponent& gccFaults()
{
    static const FaultComponent c = loadFaultComponent("g++", "tarv_gcc_faults.dll");
    return c;
}

} // namespace tarv::test
