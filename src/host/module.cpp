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
        if (m.shutdownEvent) SetEvent(m.shutdownEvent);
    } else if (m.mainThreadId) {
        PostThreadMessageA(m.mainThreadId, WM_QUIT, 0, 0);
    }
    return 0;
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
