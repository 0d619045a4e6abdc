#pragma once
// CLockObject (LockObject64): a COM object of the server with no methods of its own. Like every
// object of the server it holds one lock on the process from construction to destruction, so a
// window that keeps one (the manager window, each log viewer) keeps the process alive. It has no
// class object and is never registered: only the server makes it.
#include "com/com_ptr.h"

namespace tarv {

// A new lock object, with the one reference the caller holds.
ComPtr<IUnknown> createLockObject();

} // namespace tarv
