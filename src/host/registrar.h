#pragma once
// Runs a registry script: a small declarative text of keys and values (the .rgs scripts of res/),
// forwards to register and backwards to unregister.
//
//   HKCR { NoRemove CLSID { ForceRemove {GUID} = s 'Name' { val AppID = s '%APPID%' } } }
//
// Tokens %NAME% are replaced from the token list before parsing; %% stands for a literal %.
// NoRemove keys survive unregistration (their contents are removed); ForceRemove keys are deleted
// with all their contents before they are written.
#include <windows.h>

#include <string>
#include <utility>
#include <vector>

namespace tarv {

using RegistryTokens = std::vector<std::pair<std::string, std::string>>;

// `perUser` sends HKCR to the current user's classes (HKCU\Software\Classes).
HRESULT runRegistryScript(const std::string& script, const RegistryTokens& tokens, bool registering, bool perUser);

// A script stored as a resource of type "REGISTRY" in `module`.
std::string loadRegistryScript(HMODULE module, int resource);

} // namespace tarv
