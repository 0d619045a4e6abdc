#pragma once
// Owning interface pointer. The only place besides QueryInterface implementations where
// AddRef/Release are called by hand.
#include <windows.h>
#include <ole2.h>
#include <utility>

namespace tarv {

template <class T>
class ComPtr {
public:
    ComPtr() noexcept = default;
    ComPtr(std::nullptr_t) noexcept {}
    // Shares: adds a reference to p.
    explicit ComPtr(T* p) noexcept : p_(p) { if (p_) p_->AddRef(); }
    ComPtr(const ComPtr& o) noexcept : ComPtr(o.p_) {}
    ComPtr(ComPtr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    ~ComPtr() { reset(); }

    ComPtr& operator=(const ComPtr& o) noexcept { ComPtr(o).swap(*this); return *this; }
    ComPtr& operator=(ComPtr&& o) noexcept { ComPtr(std::move(o)).swap(*this); return *this; }
    ComPtr& operator=(std::nullptr_t) noexcept { reset(); return *this; }

    // Takes over a reference the caller already holds.
    static ComPtr attach(T* p) noexcept { ComPtr r; r.p_ = p; return r; }
    // Gives up ownership without releasing.
    [[nodiscard]] T* detach() noexcept { return std::exchange(p_, nullptr); }

    void reset() noexcept { if (T* p = std::exchange(p_, nullptr)) p->Release(); }
    void swap(ComPtr& o) noexcept { std::swap(p_, o.p_); }

    T* get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }

    // Out-parameter: releases what is held, then hands out the slot.
    T** put() noexcept { reset(); return &p_; }
    void** putVoid() noexcept { return reinterpret_cast<void**>(put()); }

    // Copies into a caller's out-parameter with a new reference (null stays null).
    void copyTo(T** out) const noexcept { if (p_) p_->AddRef(); *out = p_; }

    template <class U>
    ComPtr<U> query(REFIID iid) const noexcept {
        ComPtr<U> r;
        if (p_) p_->QueryInterface(iid, r.putVoid());
        return r;
    }
    template <class U>
    ComPtr<U> query() const noexcept { return query<U>(__uuidof(U)); }

private:
    T* p_ = nullptr;
};

template <class T>
bool operator==(const ComPtr<T>& a, const T* b) noexcept { return a.get() == b; }

} // namespace tarv
