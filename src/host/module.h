#pragma once
// The process-wide module: the server's lock count and the shutdown it triggers. Every live COM
// object of the server holds one lock; when the last one goes, the message loop is told to quit.
#include "packages/package_store.h"

#include <windows.h>
#include <commctrl.h>

namespace tarv {

class CTARVModule {
public:
    // One lock on the server process (CoAddRefServerProcess). Returns the new count.
    static ULONG lock();
    // Gives one lock back (CoReleaseServerProcess). At zero: with delayed shutdown the monitor
    // thread is woken through `shutdownEvent`, otherwise WM_QUIT goes straight to the main thread.
    static ULONG unlock();

    static CTARVModule& instance();

    DWORD mainThreadId = 0;
    HANDLE shutdownEvent = nullptr;
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
