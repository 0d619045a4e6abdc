#pragma once
// A window as the user sees it, frame and menu included, saved as a 24-bit BMP file named `name` in
// the folder TARV64_SCREENSHOTS names (else the temporary folder): copied from the window's device
// context, which works under Wine's null graphics driver too.
#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace testsupport {

inline bool saveScreenshot(HWND window, const std::string& name)
{
    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    const char* dir = std::getenv("TARV64_SCREENSHOTS");
    const std::string path = (dir ? std::string(dir) + "\\" : std::string(temp)) + name;
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_FRAME | RDW_UPDATENOW | RDW_ALLCHILDREN);
    RECT all;
    GetWindowRect(window, &all);
    BITMAPINFOHEADER info{sizeof info, all.right - all.left, all.bottom - all.top, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    if (info.biWidth <= 0 || info.biHeight <= 0) return false;
    std::vector<char> bits(static_cast<size_t>((info.biWidth * 3 + 3) & ~3) * info.biHeight);

    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, info.biWidth, info.biHeight);
    HGDIOBJ old = SelectObject(memory, bitmap);
    HDC source = GetWindowDC(window);
    BitBlt(memory, 0, 0, info.biWidth, info.biHeight, source, 0, 0, SRCCOPY);
    ReleaseDC(window, source);
    SelectObject(memory, old);
    GetDIBits(memory, bitmap, 0, info.biHeight, bits.data(), reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);

    BITMAPFILEHEADER file{0x4D42, static_cast<DWORD>(sizeof(BITMAPFILEHEADER) + sizeof info + bits.size()), 0, 0,
                          sizeof(BITMAPFILEHEADER) + sizeof info};
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(&file), sizeof file);
    out.write(reinterpret_cast<const char*>(&info), sizeof info);
    out.write(bits.data(), static_cast<std::streamsize>(bits.size()));
    return static_cast<bool>(out);
}


} // namespace testsupport
