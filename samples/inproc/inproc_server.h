#pragma once
// An in-process COM server over a table of classes: class objects, registration machine-wide with
// the CAPE-OPEN categories and CapeDescription of each class, and the unload rule. A DLL adds its
// table and its four exports, each one line into this.
#include <windows.h>
#include <ole2.h>

#include <vector>

namespace inproc {

// The CapeDescription key of a CAPE-OPEN component; a row with a null name writes none.
struct CapeDescription {
    const wchar_t* name;
    const wchar_t* description;
    const wchar_t* capeVersion;        // "1.0" or "1.1"
    const wchar_t* componentVersion;
    const wchar_t* vendorUrl;
    const wchar_t* about;
};

struct ClassRow {
    CLSID clsid;
    const wchar_t* progId;
    const wchar_t* friendlyName;
    const wchar_t* threadingModel;
    std::vector<GUID> categories;   // written as Implemented Categories
    // Creates a new instance and queries it for `iid`.
    HRESULT (*create)(REFIID iid, void** out);
    CapeDescription cape;
};

// The DLL's exports: DllGetClassObject, DllCanUnloadNow (given whether any of the DLL's objects
// lives), DllRegisterServer (the module's own path as InprocServer32), DllUnregisterServer.
HRESULT getClassObject(const std::vector<ClassRow>& table, REFCLSID clsid, REFIID iid, void** out);
HRESULT canUnloadNow(bool objectsAlive);
HRESULT registerServer(const std::vector<ClassRow>& table, HMODULE module);
HRESULT unregisterServer(const std::vector<ClassRow>& table);

} // namespace inproc
