#pragma once
// A window as the user sees it, frame and menu included, saved as a 24-bit BMP file: copied from the
// window's device context, which works under Wine's null graphics driver too.
#include <windows.h>

#include <string>

namespace viewertest {

bool saveWindowPicture(HWND window, const std::string& path);

} // namespace viewertest
