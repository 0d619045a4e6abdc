#include "bstr.h"

#include <windows.h>

namespace tarv {

std::string toNarrow(std::wstring_view s)
{
    if (s.empty()) return {};
    int n = WideCharToMultiByte(CP_THREAD_ACP, 0, s.data(), static_cast<int>(s.size()), nullptr, 0,
                                nullptr, nullptr);
    std::string out(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_THREAD_ACP, 0, s.data(), static_cast<int>(s.size()), out.data(), n,
                        nullptr, nullptr);
    return out;
}

std::string toNarrow(const wchar_t* s)
{
    return s ? toNarrow(std::wstring_view(s)) : std::string();
}

std::wstring toWide(std::string_view s)
{
    if (s.empty()) return {};
    int n = MultiByteToWideChar(CP_THREAD_ACP, 0, s.data(), static_cast<int>(s.size()), nullptr, 0);
    std::wstring out(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_THREAD_ACP, 0, s.data(), static_cast<int>(s.size()), out.data(), n);
    return out;
}

Bstr Bstr::fromNarrow(std::string_view s)
{
    return Bstr(std::wstring_view(toWide(s)));
}

std::string Bstr::narrow() const
{
    return toNarrow(b_);
}

std::string guidText(REFGUID id)
{
    wchar_t text[64];
    if (StringFromGUID2(id, text, 64) <= 0) return "<unknown>";
    return toNarrow(text);
}

} // namespace tarv
