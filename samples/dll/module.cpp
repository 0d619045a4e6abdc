// The in-process server entry points of tarvsamples.dll over the class table in classes.cpp.
#include "dll/sample_classes.h"
#include "ideal/component.h"

namespace {
HMODULE gModule = nullptr;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        gModule = instance;
        DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* out)
{
    return inproc::getClassObject(samples::classTable(), clsid, iid, out);
}

STDAPI DllCanUnloadNow()
{
    return inproc::canUnloadNow(samples::ideal::liveComponents() != 0);
}

STDAPI DllRegisterServer()
{
    return inproc::registerServer(samples::classTable(), gModule);
}

STDAPI DllUnregisterServer()
{
    return inproc::unregisterServer(samples::classTable());
}
