#include "host/discovery.h"

#include "com/bstr.h"

#include <ole2.h>

namespace tarv {

RegistryKey::RegistryKey(HKEY parent, const char* name)
{
    if (!parent || RegOpenKeyExA(parent, name, 0, KEY_READ, &handle_) != ERROR_SUCCESS) handle_ = nullptr;
}

RegistryKey::~RegistryKey()
{
    if (handle_) RegCloseKey(handle_);
}

std::string RegistryKey::text(const char* value) const
{
    if (!handle_) return {};
    DWORD type = 0, size = 0;
    if (RegQueryValueExA(handle_, value, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ))
        return {};
    std::string buffer(size + 1, '\0');
    if (RegQueryValueExA(handle_, value, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &size) !=
        ERROR_SUCCESS)
        return {};
    buffer.resize(size);
    // The stored terminator, if any, is not part of the text.
    return buffer.substr(0, buffer.find('\0'));
}

std::string RegistryKey::subkeyText(const char* name) const
{
    return RegistryKey(handle_, name).text(nullptr);
}

void RegistryKey::forEachSubkey(const std::function<void(const char* name)>& visit) const
{
    if (!handle_) return;
    char name[128];
    for (DWORD index = 0;; ++index) {
        DWORD length = sizeof name;
        const LONG rc = RegEnumKeyExA(handle_, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (rc == ERROR_NO_MORE_ITEMS) return;
        if (rc == ERROR_SUCCESS) visit(name);
    }
}

bool forEachClassInCategories(const char* const* categories, size_t count, const CategoryClassVisitor& visit)
{
    const RegistryKey classes(HKEY_CLASSES_ROOT, "CLSID");
    if (!classes) return false;
    classes.forEachSubkey([&](const char* keyName) {
        const RegistryKey classKey(classes.handle(), keyName);
        RegistryKey(classKey.handle(), "Implemented Categories").forEachSubkey([&](const char* implemented) {
            for (size_t i = 0; i < count; ++i) {
                if (lstrcmpiA(implemented, categories[i]) != 0) continue;
                CLSID clsid;
                if (SUCCEEDED(CLSIDFromString(toWide(keyName).c_str(), &clsid))) visit(classKey, keyName, clsid, i);
                return;
            }
        });
    });
    return true;
}

std::string componentLabel(const RegistryKey& classKey, const char* keyName)
{
    const RegistryKey description(classKey.handle(), "CapeDescription");
    std::string label = description.text("Name");
    const std::string detail = description.text("Description");
    if (label.empty()) label = detail;
    else if (!detail.empty()) label += " (" + detail + ")";
    if (label.empty()) label = classKey.subkeyText("ProgID");
    if (label.empty()) label = classKey.subkeyText("VersionIndependentProgID");
    if (label.empty()) label = keyName;
    return label;
}

void listComponentsOfCategory(std::vector<std::string>& names, std::vector<CLSID>& classIds, const char* category,
                              const CLSID& excludedClass)
{
    const bool opened = forEachClassInCategories(
        &category, 1, [&](const RegistryKey& classKey, const char* keyName, const CLSID& clsid, size_t) {
            if (clsid == excludedClass) return;
            names.push_back(componentLabel(classKey, keyName));
            classIds.push_back(clsid);
        });
    if (!opened)
        MessageBoxA(nullptr, "Failed to open HKEY_CLASSES_ROOT\\CLSID", "Error:", MB_ICONERROR | MB_TOPMOST);
}

} // namespace tarv
