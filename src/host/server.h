#pragma once
// Starting, registering and running the server process.
#include <windows.h>

#include <string>

namespace tarv {

// The server's own file version "major.minor.build.revision"; empty until computed, "<unknown>" if
// the version block has no root.
extern char versionString[128];
void computeVersionString();

// Set when registration goes to the current user's classes instead of the machine's.
extern BYTE perUserRegistration;

// Module set-up before the entry: COM on this thread (single-threaded apartment), common
// controls, the options. Returns false if COM could not be initialised.
bool initialiseModule();
void shutdownModule();

// Registration of the application, the creatable classes and the type library, and its reverse.
// Each stops at the first failure and returns it.
HRESULT registerServer();
HRESULT unregisterServer();

// What a start of the process does, by its command line (without the program name).
struct StartDecision {
    enum class Kind {
        Registration,   // "regserver" anywhere: the registration switches are acted on by runModule
        LogFile,        // a path: shown in the log viewer
        Serve,          // -Embedding: serve COM, open no window
        ManagerWindow,  // nothing, or another switch: the package manager window
    } kind;
    std::string path;   // for LogFile
};
StartDecision decideStart(const std::string& commandLine);

// Runs the module on the process's full command line: a registration switch acts and returns its
// status; otherwise the class objects are registered and the message loop runs until the last
// lock on the server is given up.
int runModule(const char* fullCommandLine);

// Registers one class object per class id, in order, as multiple-use local server objects. A
// failure revokes those registered before it and is returned; otherwise the result is the first
// status that was not plain success, else S_OK.
HRESULT registerClassObjects(const CLSID* const* clsids, IUnknown* const* objects, size_t count, DWORD* cookies);
// Revokes in order, stopping at the first failure, which is returned.
HRESULT revokeClassObjects(const DWORD* cookies, size_t count);

// The owner-supplied texts of the registration.
extern const char* const kVendorUrl;
extern const char* const kOwnerNotice;

} // namespace tarv
