#include "viewer/screenshot.h"

#include <fstream>
#include <vector>

namespace viewertest {

bool saveWindowPicture(HWND window, const std::string& path)
{
    return saveWindowsPicture({window}, path);
}

bool saveWindowsPicture(const std::vector<HWND>& windows, const std::string& path)
{
    RECT all{};
    for (HWND w : windows) {
        RedrawWindow(w, nullptr, nullptr, RDW_INVALIDATE | RDW_FRAME | RDW_UPDATENOW | RDW_ALLCHILDREN);
        RECT r;
        GetWindowRect(w, &r);
        UnionRect(&all, &all, &r);
    }
    BITMAPINFOHEADER info{sizeof info, all.right - all.left, all.bottom - all.top, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    if (info.biWidth <= 0 || info.biHeight <= 0) return false;
    std::vector<char> bits(static_cast<size_t>((info.biWidth * 3 + 3) & ~3) * info.biHeight);

    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, info.biWidth, info.biHeight);
    HGDIOBJ old = SelectObject(memory, bitmap);
    PatBlt(memory, 0, 0, info.biWidth, info.biHeight, WHITENESS);
    for (HWND w : windows) {
        RECT r;
        GetWindowRect(w, &r);
        HDC source = GetWindowDC(w);
        BitBlt(memory, r.left - all.left, r.top - all.top, r.right - r.left, r.bottom - r.top, source, 0, 0, SRCCOPY);
        ReleaseDC(w, source);
    }
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

} // namespace viewertest
