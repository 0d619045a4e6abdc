#pragma once
// Owning BSTR and the narrow/wide conversions used at the edge of the interfaces.
#include <windows.h>
#include <ole2.h>
#include <string>
#include <string_view>
#include <utility>

namespace tarv {

class Bstr {
public:
    Bstr() noexcept = default;
    explicit Bstr(const wchar_t* s) : b_(s ? SysAllocString(s) : nullptr) {}
    explicit Bstr(std::wstring_view s) : b_(SysAllocStringLen(s.data(), static_cast<UINT>(s.size()))) {}
    // Narrow text in the thread's ANSI code page.
    static Bstr fromNarrow(std::string_view s);
    // Takes over an allocated BSTR.
    static Bstr attach(BSTR b) noexcept { Bstr r; r.b_ = b; return r; }

    Bstr(const Bstr& o) : b_(o.b_ ? SysAllocStringLen(o.b_, SysStringLen(o.b_)) : nullptr) {}
    Bstr(Bstr&& o) noexcept : b_(std::exchange(o.b_, nullptr)) {}
    Bstr& operator=(Bstr o) noexcept { std::swap(b_, o.b_); return *this; }
    ~Bstr() { SysFreeString(b_); }

    BSTR get() const noexcept { return b_; }
    BSTR* put() noexcept { reset(); return &b_; }
    [[nodiscard]] BSTR detach() noexcept { return std::exchange(b_, nullptr); }
    void reset() noexcept { SysFreeString(std::exchange(b_, nullptr)); }

    UINT length() const noexcept { return SysStringLen(b_); }
    bool empty() const noexcept { return length() == 0; }
    std::wstring wide() const { return b_ ? std::wstring(b_, SysStringLen(b_)) : std::wstring(); }
    std::string narrow() const;

private:
    BSTR b_ = nullptr;
};

// Wide text to the thread's ANSI code page (CP_THREAD_ACP, flags 0, default replacement).
// A null pointer gives an empty string; conversion stops at the first NUL.
std::string toNarrow(const wchar_t* s);
std::string toNarrow(std::wstring_view s);
// Narrow text in the thread's ANSI code page to wide.
std::wstring toWide(std::string_view s);
// A class or interface id in registry form with braces, or "<unknown>" if it cannot be formatted.
std::string guidText(REFGUID id);

} // namespace tarv
