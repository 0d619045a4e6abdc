#include "viewer/screenshot.h"

#include <fstream>
#include <vector>

namespace viewertest {

bool saveWindowPicture(HWND window, const std::string& path)
{
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_FRAME | RDW_UPDATENOW | RDW_ALLCHILDREN);
    RECT r;
    GetWindowRect(window, &r);
    BITMAPINFOHEADER info{sizeof info, r.right - r.left, r.bottom - r.top, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    if (info.biWidth <= 0 || info.biHeight <= 0) return false;
    std::vector<char> bits(static_cast<size_t>((info.biWidth * 3 + 3) & ~3) * info.biHeight);

    HDC source = GetWindowDC(window);
    HDC memory = CreateCompatibleDC(source);
    HBITMAP bitmap = CreateCompatibleBitmap(source, info.biWidth, info.biHeight);
    HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, info.biWidth, info.biHeight, source, 0, 0, SRCCOPY);
    SelectObject(memory, old);
    GetDIBits(memory, bitmap, 0, info.biHeight, bits.data(), reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(window, source);

    BITMAPFILEHEADER file{0x4D42, static_cast<DWORD>(sizeof(BITMAPFILEHEADER) + sizeof info + bits.size()), 0, 0,
                          sizeof(BITMAPFILEHEADER) + sizeof info};
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(&file), sizeof file);
    out.write(reinterpret_cast<const char*>(&info), sizeof info);
    out.write(bits.data(), static_cast<std::streamsize>(bits.size()));
    return static_cast<bool>(out);
}

} // namespace viewertest
