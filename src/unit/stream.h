#pragma once
// The in-memory stream that a real unit operation reads its saved image from, or writes it to,
// while the logged unit operation loads or saves it. It is strict: one mode at a time, no sharing,
// and misuse is written into the unit operation's log.
#include "log/call_log.h"

#include <windows.h>
#include <objidl.h>

namespace tarv {

class CStreamImpl final : public IStream, public IDispatch {
public:
    // A new stream with one reference; the caller sets the mode and the buffer.
    static CStreamImpl* create(CallLog* log);

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    // ISequentialStream
    HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG count, ULONG* bytesRead) override;
    HRESULT STDMETHODCALLTYPE Write(const void* buffer, ULONG count, ULONG* bytesWritten) override;
    // IStream
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return STG_E_ACCESSDENIED; }
    HRESULT STDMETHODCALLTYPE Clone(IStream** out) override;
    // IDispatch: the object answers it, but has no members to call by name.
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }

    // The state the saving or loading code sets and reads. `data` belongs to that code, which
    // frees it with freeData(); the stream never frees it itself.
    int reading = 0;
    int writing = 0;
    ULONG capacity = 0;
    ULONG position = 0;
    ULONG size = 0;
    int checkSize = 0;
    BYTE* data = nullptr;
    // Where misuse is reported; held for the stream's life, so that a real object that keeps the
    // stream and misuses it later still reaches a live log (closed or not).
    CallLog* const log;

    // Allocates `bytes` zeroed bytes as `data` (nothing for 0); false when there is no memory.
    bool allocate(ULONG bytes);
    void freeData();

private:
    explicit CStreamImpl(CallLog* log) : log(log) { if (log) log->addRef(); }
    ~CStreamImpl() { if (log) log->release(); }
    // Grows `data` to `newCapacity` bytes, zero-filled, keeping `size` bytes; false (buffer kept)
    // when there is no memory.
    bool grow(ULONG newCapacity);
    // Room for a write or seek to `target` in writing mode: the one warning of a too small
    // GetSizeMax, then growth; false after the out-of-memory record.
    bool makeRoom(ULONG newCapacity);
    void error(const char* text) const { if (log) log->writeError(text); }

    LONG refCount_ = 0;
};

} // namespace tarv
