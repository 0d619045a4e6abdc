#include "viewer/screenshot.h"

#include <cstdint>
#include <fstream>
#include <vector>

namespace viewertest {
namespace {

uint32_t crc32(const std::string& bytes)
{
    static const std::vector<uint32_t> table = [] {
        std::vector<uint32_t> t(256);
        for (uint32_t n = 0; n < 256; ++n) {
            uint32_t c = n;
            for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[n] = c;
        }
        return t;
    }();
    uint32_t c = 0xFFFFFFFFu;
    for (unsigned char b : bytes) c = table[(c ^ b) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

std::string bigEndian(uint32_t v)
{
    return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8), static_cast<char>(v)};
}

std::string chunk(const char* type, const std::string& data)
{
    std::string body = std::string(type, 4) + data;
    return bigEndian(static_cast<uint32_t>(data.size())) + body + bigEndian(crc32(body));
}

// zlib data in stored (uncompressed) blocks: bigger files, no compressor needed.
std::string stored(const std::string& raw)
{
    std::string out = "\x78\x01";
    for (size_t pos = 0; pos < raw.size() || pos == 0;) {
        size_t n = std::min<size_t>(raw.size() - pos, 65535);
        bool last = pos + n == raw.size();
        out += static_cast<char>(last ? 1 : 0);
        out += static_cast<char>(n & 0xFF);
        out += static_cast<char>(n >> 8);
        out += static_cast<char>(~n & 0xFF);
        out += static_cast<char>((~n >> 8) & 0xFF);
        out.append(raw, pos, n);
        pos += n;
        if (last) break;
    }
    uint32_t a = 1, b = 0;
    for (unsigned char c : raw) {
        a = (a + c) % 65521;
        b = (b + a) % 65521;
    }
    return out + bigEndian((b << 16) | a);
}

} // namespace

bool saveWindowPicture(HWND window, const std::string& path)
{
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_FRAME | RDW_UPDATENOW | RDW_ALLCHILDREN);
    RECT r;
    GetWindowRect(window, &r);
    int width = r.right - r.left, height = r.bottom - r.top;
    if (width <= 0 || height <= 0) return false;

    HDC source = GetWindowDC(window);
    HDC memory = CreateCompatibleDC(source);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, source, 0, 0, SRCCOPY);
    GdiFlush();

    std::string raw;
    raw.reserve(static_cast<size_t>(height) * (3 * width + 1));
    const auto* pixels = static_cast<const uint8_t*>(bits);
    for (int y = 0; y < height; ++y) {
        raw += '\0';   // no filter
        for (int x = 0; x < width; ++x) {
            const uint8_t* p = pixels + 4 * (static_cast<size_t>(y) * width + x);
            raw += static_cast<char>(p[2]);
            raw += static_cast<char>(p[1]);
            raw += static_cast<char>(p[0]);
        }
    }
    SelectObject(memory, old);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(window, source);

    std::string header = bigEndian(static_cast<uint32_t>(width)) + bigEndian(static_cast<uint32_t>(height)) +
                         std::string("\x08\x02\x00\x00\x00", 5);
    std::ofstream out(path, std::ios::binary);
    out << "\x89PNG\r\n\x1a\n" << chunk("IHDR", header) << chunk("IDAT", stored(raw)) << chunk("IEND", "");
    return static_cast<bool>(out);
}

} // namespace viewertest
