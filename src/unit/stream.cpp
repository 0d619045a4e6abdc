#include "unit/stream.h"

#include <cstdlib>
#include <cstring>

namespace tarv {

CStreamImpl* CStreamImpl::create(CallLog* log)
{
    auto* stream = new CStreamImpl(log);
    stream->AddRef();
    return stream;
}

HRESULT CStreamImpl::QueryInterface(REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IStream || iid == IID_ISequentialStream) {
        *out = static_cast<IStream*>(this);
    } else if (iid == IID_IDispatch) {
        *out = static_cast<IDispatch*>(this);
    } else {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG CStreamImpl::AddRef()
{
    return static_cast<ULONG>(++refCount_);
}

ULONG CStreamImpl::Release()
{
    const LONG count = --refCount_;
    if (count == 0) delete this;
    return static_cast<ULONG>(count);
}

HRESULT CStreamImpl::GetTypeInfoCount(UINT* count)
{
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
}

HRESULT CStreamImpl::GetTypeInfo(UINT, LCID, ITypeInfo** info)
{
    if (info) *info = nullptr;
    return DISP_E_BADINDEX;
}

bool CStreamImpl::allocate(ULONG bytes)
{
    capacity = bytes;
    if (bytes == 0) return true;
    data = static_cast<BYTE*>(std::calloc(bytes, 1));
    return data != nullptr;
}

void CStreamImpl::freeData()
{
    std::free(data);
    data = nullptr;
}

bool CStreamImpl::grow(ULONG newCapacity)
{
    auto* larger = static_cast<BYTE*>(std::calloc(newCapacity ? newCapacity : 1, 1));
    if (!larger) return false;
    if (data && size) std::memcpy(larger, data, size);
    std::free(data);
    data = larger;
    capacity = newCapacity;
    return true;
}

bool CStreamImpl::makeRoom(ULONG newCapacity)
{
    if (checkSize) {
        if (log) log->writeWarning("Size returned by GetSizeMax was too small");
        checkSize = 0;
    }
    if (grow(newCapacity)) return true;
    error("Out of memory trying to re-allocate stream data");
    return false;
}

// The two misuse messages are crossed, Read speaking of writing and Write of reading; readers of
// logs know them so.
HRESULT CStreamImpl::Read(void* buffer, ULONG count, ULONG* bytesRead)
{
    if (!reading) {
        error("Attempt to write to IStream when reading");
        return E_FAIL;
    }
    if (position >= capacity && count != 0) {
        error("Attempt to read past end of input stream");
        count = 0;
    } else if (count > capacity - position) {
        count = capacity - position;
    }
    if (count) std::memcpy(buffer, data + position, count);
    position += count;
    if (bytesRead) *bytesRead = count;
    return S_OK;
}

HRESULT CStreamImpl::Write(const void* buffer, ULONG count, ULONG* bytesWritten)
{
    if (!writing) {
        error("Attempt to read from IStream when writing");
        return E_FAIL;
    }
    if (static_cast<ULONGLONG>(position) + count > capacity &&
        !makeRoom(static_cast<ULONG>(count + 2ull * capacity + 1024)))
        return E_OUTOFMEMORY;
    if (count) std::memcpy(data + position, buffer, count);
    position += count;
    if (position > size) size = position;
    if (bytesWritten) *bytesWritten = count;
    return S_OK;
}

HRESULT CStreamImpl::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition)
{
    if (origin != STREAM_SEEK_SET && origin != STREAM_SEEK_CUR && origin != STREAM_SEEK_END) {
        error("Invalid dwOrigin argument to IStream::Seek");
        return E_FAIL;
    }
    if (move.HighPart != 0) {
        error("Position too large for Seek");
        return E_FAIL;
    }
    const ULONG base = origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? position : capacity;
    const ULONG target = base + move.LowPart;
    if (target > capacity) {
        if (!writing) {
            error("Attempt to Seek past end of file");
            return E_FAIL;
        }
        if (!makeRoom(target + 1024)) return E_OUTOFMEMORY;
    }
    position = target;
    if (position > size) size = position;
    if (newPosition) newPosition->QuadPart = position;
    return S_OK;
}

HRESULT CStreamImpl::Clone(IStream** out)
{
    if (out) *out = nullptr;
    return E_FAIL;
}

} // namespace tarv
