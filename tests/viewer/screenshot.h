#pragma once
// A window as the user sees it, frame and menu included, saved as a 24-bit BMP file: copied from the
// window's device context, which works under Wine's null graphics driver too.
#include <windows.h>

#include <string>
#include <vector>

namespace viewertest {

bool saveWindowPicture(HWND window, const std::string& path);

// Several windows in one picture, each drawn at its place on the screen over the ones before it
// (a window and the menu or dialog open above it); the picture spans them all.
bool saveWindowsPicture(const std::vector<HWND>& windows, const std::string& path);

} // namespace viewertest
