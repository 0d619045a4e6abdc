#pragma once
// The test components that fault on purpose (tests/kit), loaded from the running executable's directory.
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

// An empty component (false) if the DLL or one of its exports is missing.
inline FaultComponent loadFaultComponent(const char* label, const char* dllName)
{
    FaultComponent c;
    c.label = label;
    char path[MAX_PATH];
    std::string dir(path, GetModuleFileNameA(nullptr, path, MAX_PATH));
    HMODULE module = LoadLibraryA((dir.substr(0, dir.find_last_of("\\/") + 1) + dllName).c_str());
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

inline const FaultComponent& msvcFaults() { static const FaultComponent c = loadFaultComponent("MSVC-ABI", "tarv_msvc_faults.dll"); return c; }
inline const FaultComponent& gccFaults() { static const FaultComponent c = loadFaultComponent("g++", "tarv_gcc_faults.dll"); return c; }

} // namespace tarv::test
