#include "host/module.h"

#include <ole2.h>

namespace tarv {

CTARVModule& CTARVModule::instance()
{
    static CTARVModule module;
    return module;
}

ULONG CTARVModule::lock()
{
    return CoAddRefServerProcess();
}

ULONG CTARVModule::unlock()
{
    ULONG count = CoReleaseServerProcess();
    if (count != 0) return count;
    CTARVModule& m = instance();
    if (m.delayShutdown) {
        m.activity = true;
        if (m.shutdownEvent) SetEvent(m.shutdownEvent);
    } else if (m.mainThreadId) {
        PostThreadMessageA(m.mainThreadId, WM_QUIT, 0, 0);
    }
    return 0;
}

} // namespace tarv
