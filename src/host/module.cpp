#include "host/module.h"

#include <ole2.h>

namespace tarv {

HIMAGELIST sharedImageList = nullptr;

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
        m.monitor.signal();
    } else if (m.mainThreadId) {
        PostThreadMessageA(m.mainThreadId, WM_QUIT, 0, 0);
    }
    return 0;
}

ULONG CTARVModule::lockCount()
{
    const ULONG count = CoAddRefServerProcess();
    CoReleaseServerProcess();
    return count - 1;
}

bool ShutdownMonitor::start(DWORD quitThreadId)
{
    quitThreadId_ = quitThreadId;
    stopping_ = 0;
    event_ = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (!event_) return false;
    thread_ = CreateThread(nullptr, 0, &ShutdownMonitor::run, this, 0, nullptr);
    if (thread_) return true;
    CloseHandle(event_);
    event_ = nullptr;
    return false;
}

void ShutdownMonitor::signal()
{
    if (event_) SetEvent(event_);
}

void ShutdownMonitor::stop()
{
    if (!thread_) return;
    InterlockedExchange(&stopping_, 1);
    SetEvent(event_);
    WaitForSingleObject(thread_, INFINITE);
    CloseHandle(thread_);
    thread_ = nullptr;
    CloseHandle(event_);
    event_ = nullptr;
}

DWORD WINAPI ShutdownMonitor::run(void* p)
{
    auto* self = static_cast<ShutdownMonitor*>(p);
    for (;;) {
        WaitForSingleObject(self->event_, INFINITE);
        if (InterlockedCompareExchange(&self->stopping_, 0, 0)) return 0;
        PostThreadMessageA(self->quitThreadId_, WM_QUIT, 0, 0);
    }
}

void createSharedImageList(HINSTANCE instance)
{
    constexpr int kImagesBitmap = 202;
    sharedImageList = ImageList_Create(16, 16, ILC_COLOR4 | ILC_MASK, 2, 1);
    HBITMAP images = LoadBitmapA(instance, MAKEINTRESOURCEA(kImagesBitmap));
    if (sharedImageList && images) ImageList_AddMasked(sharedImageList, images, RGB(255, 255, 255));
    if (images) DeleteObject(images);
}

void destroySharedImageList()
{
    if (sharedImageList) ImageList_Destroy(sharedImageList);
    sharedImageList = nullptr;
}

} // namespace tarv
