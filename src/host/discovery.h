#pragma once
// The CAPE-OPEN components installed on the machine, found by the categories their classes
// implement under HKEY_CLASSES_ROOT\CLSID. One walk serves the add-package dialog, the unit
// operation menu of the manager window and the selection of a logged unit operation.
#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace tarv {

// A registry key opened for reading, closed with the object. A key that could not be opened is
// false and reads as empty.
class RegistryKey {
public:
    RegistryKey() = default;
    RegistryKey(HKEY parent, const char* name);
    ~RegistryKey();
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    explicit operator bool() const { return handle_ != nullptr; }
    HKEY handle() const { return handle_; }

    // A string value (null: the default value); empty when missing or not a string.
    std::string text(const char* value) const;
    // The default value of the subkey `name`, as text().
    std::string subkeyText(const char* name) const;
    // Calls `visit` with the name of each subkey (up to 128 bytes), in registry order; a subkey
    // that cannot be read is passed over.
    void forEachSubkey(const std::function<void(const char* name)>& visit) const;

private:
    HKEY handle_ = nullptr;
};

// Called once for each category key of a class that equals one of the categories asked for:
// the class's key, its name, the class id it names and the index of the category matched.
using CategoryClassVisitor =
    std::function<void(const RegistryKey& classKey, const char* keyName, const CLSID& clsid, size_t category)>;

// Walks the classes in registry order; a key name that is no class id is passed over. Categories
// are compared ignoring case. False, with nothing visited, if HKEY_CLASSES_ROOT\CLSID cannot be
// opened.
bool forEachClassInCategories(const char* const* categories, size_t count, const CategoryClassVisitor& visit);

// The label of a class in the unit operation lists: its CapeDescription "Name (Description)", or
// the one of the two there is, else its ProgID, else its VersionIndependentProgID, else the key's
// own name.
std::string componentLabel(const RegistryKey& classKey, const char* keyName);

// Appends the classes of `category`, but `excludedClass`, with their labels, in registry order.
// If the CLSID key cannot be opened the user is told and the lists stay as they are.
void listComponentsOfCategory(std::vector<std::string>& names, std::vector<CLSID>& classIds, const char* category,
                              const CLSID& excludedClass);

// The unit operation category, as registry key names spell it.
inline constexpr char kUnitOperationCategory[] = "{678c09a5-7d66-11d2-a67d-00105a42887f}";

} // namespace tarv
