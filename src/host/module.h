#pragma once
// The process-wide module: the server's lock count and the shutdown it triggers. Every live COM
// object of the server holds one lock; when the last one goes, the message loop is told to quit.
#include "packages/package_store.h"

#include <windows.h>
#include <commctrl.h>

namespace tarv {

// The thread that turns the last lock's release into the main thread's quit. unlock() may signal
// it from any thread at any time, so its event lives until the monitor has been stopped and
// joined; a signal that finds the count risen again is passed over by the main thread, which
// checks the count before it acts on the quit (see runModule).
class ShutdownMonitor {
public:
    // Starts the thread; false if it could not be started.
    bool start(DWORD quitThreadId);
    // Wakes the thread, which posts WM_QUIT to the quit thread. Harmless when not started.
    void signal();
    // Ends the thread and frees the event. Harmless when not started.
    void stop();
    bool running() const { return thread_ != nullptr; }

private:
    static DWORD WINAPI run(void* self);
    HANDLE event_ = nullptr;
    HANDLE thread_ = nullptr;
    DWORD quitThreadId_ = 0;
    volatile LONG stopping_ = 0;
};

class CTARVModule {
public:
    // One lock on the server process (CoAddRefServerProcess). Returns the new count.
    static ULONG lock();
    // Gives one lock back (CoReleaseServerProcess). At zero: with delayed shutdown the monitor
    // thread is woken, otherwise WM_QUIT goes straight to the main thread.
    static ULONG unlock();

    // The server's lock count now (other threads may change it at any moment).
    static ULONG lockCount();

    static CTARVModule& instance();

    DWORD mainThreadId = 0;
    ShutdownMonitor monitor;
    bool delayShutdown = true;
    bool activity = false;
    DWORD pauseMs = 1000;
    // The persistent options as last read from the registry.
    ServerOptions options;
};

// The 16x16 images of the server's windows, made once at the start of the process from bitmap 202
// (13 images, white transparent) and shared by the trees and lists of all windows on all threads.
extern HIMAGELIST sharedImageList;
void createSharedImageList(HINSTANCE instance);
void destroySharedImageList();

} // namespace tarv
