#include "packages/package_store.h"

#include "com/bstr.h"

#include <ole2.h>

#include <algorithm>
#include <cstdio>

namespace tarv {
namespace {

constexpr const char* kSettingsKey = "Software\\TARV";
PackageListObserver g_observer = nullptr;

struct KeyCloser {
    HKEY key;
    ~KeyCloser() { if (key) RegCloseKey(key); }
};

bool readDword(HKEY key, const char* name, DWORD* value)
{
    DWORD type = 0, size = sizeof *value;
    LONG rc = RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(value), &size);
    return rc == ERROR_SUCCESS && type == REG_DWORD && size == sizeof *value;
}

std::string clsidText(const CLSID& clsid)
{
    LPOLESTR text = nullptr;
    if (FAILED(StringFromCLSID(clsid, &text))) return {};
    std::string narrow = toNarrow(text);
    CoTaskMemFree(text);
    return narrow;
}

// The numbers n from 1 to `count` for which a value "Package64_<n>" exists, in ascending order:
// the records that a walk from 1 to `count` would find, without asking the registry `count` times
// when the count is corrupt and huge. Value names compare ignoring case, as the registry does.
std::vector<DWORD> recordNumbers(HKEY key, DWORD count)
{
    static constexpr char prefix[] = "Package64_";
    constexpr size_t prefixLength = sizeof prefix - 1;
    std::vector<DWORD> numbers;
    char name[256];
    for (DWORD index = 0;; ++index) {
        DWORD length = sizeof name;
        LONG rc = RegEnumValueA(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (rc == ERROR_MORE_DATA) continue;   // a name too long to be one of ours
        if (rc != ERROR_SUCCESS) break;
        if (length <= prefixLength || CompareStringA(LOCALE_INVARIANT, NORM_IGNORECASE, name,
                                                     static_cast<int>(prefixLength), prefix,
                                                     static_cast<int>(prefixLength)) != CSTR_EQUAL)
            continue;
        // The digits as "%lu" writes them: no sign, no leading zero, no more than fit.
        const char* digits = name + prefixLength;
        if (digits[0] == '0' || length - prefixLength > 10) continue;
        unsigned long long n = 0;
        bool valid = true;
        for (const char* d = digits; *d; ++d) {
            if (*d < '0' || *d > '9') valid = false;
            else n = n * 10 + static_cast<unsigned>(*d - '0');
        }
        if (valid && n >= 1 && n <= count) numbers.push_back(static_cast<DWORD>(n));
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

} // namespace

ExportedPackageList& exportedPackages()
{
    static ExportedPackageList list;
    return list;
}

void setPackageListObserver(PackageListObserver observer)
{
    g_observer = observer;
}

void notifyPackageListChanged()
{
    if (g_observer) g_observer();
}

HKEY openSettingsKey()
{
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, kSettingsKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) ==
        ERROR_SUCCESS)
        return key;
    MessageBoxA(nullptr, "Unable to access the registry; unable to store or load packages", "TARV",
                MB_ICONERROR | MB_TOPMOST);
    return nullptr;
}

std::string serialisePackage(const ExportedPackage& package)
{
    std::string out;
    auto append = [&out](const std::string& s) {
        out += s;
        out += '\0';
    };
    append(clsidText(package.clsid));
    append(std::to_string(static_cast<int>(package.kind)));
    append(toNarrow(package.packageName));
    append(toNarrow(package.displayName));
    append(package.loggingEnabled ? "true" : "false");
    out += '\0';
    return out;
}

bool parsePackage(ExportedPackage& package, const char* data, size_t size)
{
    // Five strings in turn; an empty one is a lone NUL, so reading goes by count and never stops
    // at a double NUL.
    size_t pos = 0;
    auto next = [&]() -> std::string {
        size_t end = pos;
        while (end < size && data[end] != '\0') ++end;
        std::string s(data + pos, end - pos);
        pos = end < size ? end + 1 : size;
        return s;
    };
    std::wstring clsid = toWide(next());
    if (FAILED(CLSIDFromString(clsid.c_str(), &package.clsid))) return false;
    long kind = 0;
    if (std::sscanf(next().c_str(), "%ld", &kind) != 1 || static_cast<unsigned long>(kind) >= 6) return false;
    package.kind = static_cast<PackageKind>(kind);
    package.packageName = toWide(next());
    package.displayName = toWide(next());
    package.loggingEnabled = lstrcmpiA(next().c_str(), "true") == 0 ? 1 : 0;
    return true;
}

void loadPackages()
{
    std::vector<char> buffer(200);
    ExportedPackageList& list = exportedPackages();
    list.clear();
    KeyCloser key{openSettingsKey()};
    DWORD count = 0;
    if (!key.key || !readDword(key.key, "NumPackages64", &count) || static_cast<LONG>(count) <= 0) {
        notifyPackageListChanged();
        return;
    }
    for (DWORD i : recordNumbers(key.key, count)) {
        char name[128];
        std::snprintf(name, sizeof name, "Package64_%lu", static_cast<unsigned long>(i));
        DWORD type = 0, size = 0;
        if (RegQueryValueExA(key.key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS || type != REG_MULTI_SZ)
            continue;
        if (size + 1 > buffer.size()) buffer.assign(size + 128, '\0');
        DWORD got = static_cast<DWORD>(buffer.size());
        if (RegQueryValueExA(key.key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &got) !=
            ERROR_SUCCESS)
            continue;
        auto package = std::make_unique<ExportedPackage>();
        if (!parsePackage(*package, buffer.data(), got)) continue;
        list.push_back(std::move(package));
    }
    notifyPackageListChanged();
}

void savePackages()
{
    KeyCloser key{openSettingsKey()};
    if (!key.key) return;
    const ExportedPackageList& list = exportedPackages();
    DWORD count = static_cast<DWORD>(list.size());
    RegSetValueExA(key.key, "NumPackages64", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&count), sizeof count);
    for (size_t i = 0; i < list.size(); ++i) {
        char name[128];
        std::snprintf(name, sizeof name, "Package64_%zu", i + 1);
        std::string value = serialisePackage(*list[i]);
        RegSetValueExA(key.key, name, 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(value.data()),
                       static_cast<DWORD>(value.size()));
    }
}

void loadOptions(ServerOptions& options)
{
    KeyCloser key{openSettingsKey()};
    if (!key.key) return;
    DWORD value = 0;
    if (readDword(key.key, "AutoLogLocation", &value)) options.autoLogLocation = value ? 1 : 0;
    if (readDword(key.key, "PromptOpenLog", &value)) options.promptOpenLog = value ? 1 : 0;
    CLSID unit{};
    DWORD type = 0, size = sizeof unit;
    if (RegQueryValueExA(key.key, "VESKERUnit64", nullptr, &type, reinterpret_cast<BYTE*>(&unit), &size) ==
            ERROR_SUCCESS &&
        type == REG_BINARY && size == sizeof unit)
        options.loggedUnitOperation = unit;
}

void saveOptions(const ServerOptions& options)
{
    KeyCloser key{openSettingsKey()};
    if (!key.key) return;
    DWORD autoLog = options.autoLogLocation ? 1 : 0;
    DWORD prompt = options.promptOpenLog ? 1 : 0;
    RegSetValueExA(key.key, "AutoLogLocation", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&autoLog), sizeof autoLog);
    RegSetValueExA(key.key, "PromptOpenLog", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&prompt), sizeof prompt);
    RegSetValueExA(key.key, "VESKERUnit64", 0, REG_BINARY,
                   reinterpret_cast<const BYTE*>(&options.loggedUnitOperation), sizeof options.loggedUnitOperation);
}

} // namespace tarv
