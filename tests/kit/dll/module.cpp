// The in-process server entry points of tarvkit.dll over the class table in classes.cpp.
#include "inproc/inproc_server.h"
#include "ideal/component.h"
#include "kit/classes.h"
#include "kit/kit.h"

static HMODULE gModule = nullptr;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) gModule = instance;
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* out)
{
    return inproc::getClassObject(kit::classTable(), clsid, iid, out);
}

STDAPI DllCanUnloadNow()
{
    return inproc::canUnloadNow(kit::Object::liveCount() != 0 || samples::ideal::liveComponents() != 0);
}

STDAPI DllRegisterServer()
{
    return inproc::registerServer(kit::classTable(), gModule);
}

STDAPI DllUnregisterServer()
{
    return inproc::unregisterServer(kit::classTable());
}
