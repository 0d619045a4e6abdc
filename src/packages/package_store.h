#pragma once
// The exported packages and the server's options, kept in the current user's registry under
// "Software\TARV" so that every process of the server sees the same list.
#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tarv {

// Which category the component was found in: how it is created and how its packages are named.
// Even values are containers whose packages are reached by name; odd values are the package itself.
enum PackageKind : int32_t {
    PropertyPackageManager11 = 0,
    PropertyPackage11 = 1,
    ThermoSystem10 = 2,
    PropertyPackage10 = 3,
    ReactionPackageManager10 = 4,
    ReactionPackage10 = 5,
};

struct ExportedPackage {
    CLSID clsid{};
    PackageKind kind = PropertyPackageManager11;
    std::wstring packageName;   // name in the container, or the component's label
    std::wstring displayName;   // the exported name; the key of the list
    int32_t loggingEnabled = 0;

    // Two records are the same when every field is.
    bool operator==(const ExportedPackage& other) const
    {
        return clsid == other.clsid && kind == other.kind && packageName == other.packageName &&
               displayName == other.displayName && loggingEnabled == other.loggingEnabled;
    }
};

// The process-wide list, in the order of the registry values. Lives on the main thread.
using ExportedPackageList = std::vector<std::unique_ptr<ExportedPackage>>;
ExportedPackageList& exportedPackages();

struct ServerOptions {
    int32_t autoLogLocation = 0;
    int32_t promptOpenLog = 1;
    CLSID loggedUnitOperation{};
};

// Opens (creating if need be) HKCU\Software\TARV with full access; on failure tells the user and
// returns null.
HKEY openSettingsKey();

// Replaces the list from the registry; bad records are dropped silently, the others keep their order.
void loadPackages();
// Writes the count and all records, renumbered from 1.
void savePackages();
// Overwrites the fields whose values exist and are valid.
void loadOptions(ServerOptions& options);
void saveOptions(const ServerOptions& options);

// The registry form of a record: five narrow strings, each NUL-terminated, and one more NUL.
std::string serialisePackage(const ExportedPackage& package);
// False if the class id or the kind is not valid; the logging flag cannot reject a record.
bool parsePackage(ExportedPackage& package, const char* data, size_t size);

// Called after the list changed (load, removal): the manager window refreshes itself here.
using PackageListObserver = void (*)();
void setPackageListObserver(PackageListObserver observer);
void notifyPackageListChanged();

} // namespace tarv
