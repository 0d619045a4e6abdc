#include "unit/persistent_object.h"

#include "com/bstr.h"
#include "packages/package_store.h"
#include "unit/selection.h"
#include "unit/stream.h"

#include <cstring>

namespace tarv {
namespace {

constexpr DWORD kAnyContext = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER |
                              CLSCTX_REMOTE_SERVER;
constexpr ULONG kHeaderSize = sizeof(CLSID) + sizeof(ULONG);

// Reads exactly `size` bytes; false on a failed or short read.
bool readAll(ProxyCall& c, IStream* pstm, void* into, ULONG size)
{
    ULONG got = 0;
    const HRESULT hr = callForeign(c, [&] { return pstm->Read(into, size, &got); });
    return hr == S_OK && got == size;
}

bool writeAll(ProxyCall& c, IStream* pstm, const void* from, ULONG size)
{
    ULONG written = 0;
    const HRESULT hr = callForeign(c, [&] { return pstm->Write(from, size, &written); });
    return hr == S_OK && written == size;
}

// The stream handed to the real object, with its buffer, given back whatever happens.
struct StreamLease {
    CStreamImpl* stream;
    ~StreamLease()
    {
        stream->reading = 0;
        stream->writing = 0;
        stream->freeData();
        stream->Release();
    }
};

void info(ProxyCall& c, const char* text) { if (c.log) c.log->writeInfo(text); }
void error(ProxyCall& c, const char* text) { if (c.log) c.log->writeError(text); }
void warning(ProxyCall& c, const char* text) { if (c.log) c.log->writeWarning(text); }

} // namespace

void PersistentObject::releaseInterfaces()
{
    persistStream_.reset();
    persistStreamInit_.reset();
    ExposedObjectBase::releaseInterfaces();
}

void PersistentObject::queryPersistence()
{
    if (!wrapped_) return;
    persistStreamInit_ = wrapped_.query<IPersistStreamInit>(IID_IPersistStreamInit);
    if (!persistStreamInit_) persistStream_ = wrapped_.query<IPersistStream>(IID_IPersistStream);
}

HRESULT PersistentObject::GetClassID(CLSID* clsid)
{
    if (!clsid) return E_POINTER;
    *clsid = ownClassId();
    return S_OK;
}

void PersistentObject::reportFailedCreation(ProxyCall& c, const std::wstring& errorText)
{
    // The longer sentence is composed as well, but the box shows the system's message alone under
    // the caption, as users of the logged unit operation know it.
    const std::string text = type_ + " creation failed: " + toNarrow(errorText);
    error(c, text.c_str());
    MessageBoxA(nullptr, toNarrow(errorText).c_str(), type_.c_str(), MB_ICONERROR | MB_TOPMOST);
}

HRESULT PersistentObject::createAndInitialize(ProxyCall& c)
{
    std::wstring errorText;
    if (!createLoggedObject(c, errorText)) {
        reportFailedCreation(c, errorText);
        return E_FAIL;
    }
    queryPersistence();
    if (!persistStreamInit_) return S_OK;
    return callForeign(c, [&] { return persistStreamInit_->InitNew(); });
}

HRESULT PersistentObject::initNew(ProxyCall& c)
{
    if (wrapped_) {
        error(c, "InitNew is called after Load or InitNew");
        return E_FAIL;
    }
    ServerOptions options;
    loadOptions(options);
    if (options.loggedUnitOperation != GUID_NULL && lstrcmpiA(type_.c_str(), "Unit Operation") == 0) {
        if (c.log) {
            std::string text = "Automatically creating user configured unit operation: " + guidText(options.loggedUnitOperation);
            c.log->writeInfo(text.c_str());
        }
        clsid_ = options.loggedUnitOperation;
    } else if (!selectLoggedClass(*this, c)) {
        return E_FAIL;
    }
    return createAndInitialize(c);
}

HRESULT PersistentObject::InitNew()
{
    return servedCall<LogMode::Checked>(*this, "IPersistStreamInit::InitNew",
                                        [this](ProxyCall& c) { return initNew(c); }, ReadOnlyCheck{});
}

HRESULT PersistentObject::load(ProxyCall& c, IStream* pstm)
{
    if (wrapped_) {
        error(c, "Load is called after Load or InitNew");
        return E_FAIL;
    }
    if (!readAll(c, pstm, &clsid_, sizeof clsid_)) {
        error(c, "Read error during Load");
        return E_FAIL;
    }
    StreamLease lease{CStreamImpl::create(c.log)};
    CStreamImpl& stream = *lease.stream;
    ULONG length = 0;
    if (!readAll(c, pstm, &length, sizeof length)) {
        error(c, "Read error during Load");
        return E_FAIL;
    }
    if (!stream.allocate(length)) return E_OUTOFMEMORY;
    stream.position = 0;
    if (length && !readAll(c, pstm, stream.data, length)) {
        stream.capacity = 0;
        error(c, "Read error during Load");
        return E_FAIL;
    }
    std::wstring errorText;
    if (!createLoggedObject(c, errorText)) {
        reportFailedCreation(c, errorText);
        return E_FAIL;
    }
    queryPersistence();
    stream.reading = 1;
    if (persistStreamInit_) {
        info(c, "Using IPersistStreamInit::Load of logged PMC");
        return callForeign(c, [&] { return persistStreamInit_->Load(&stream); });
    }
    if (persistStream_) {
        info(c, "Using IPersistStream::Load of logged PMC");
        return callForeign(c, [&] { return persistStream_->Load(&stream); });
    }
    if (length > 0) warning(c, (type_ + " has been saved, but provides no interface for Load").c_str());
    return S_OK;
}

HRESULT PersistentObject::Load(IStream* pstm)
{
    return servedCall<LogMode::Checked>(*this, "IPersistStreamInit::Load",
                                        [this, pstm](ProxyCall& c) { return load(c, pstm); }, ReadOnlyCheck{},
                                        InInterfacePointer{"pstm", pstm});
}

HRESULT PersistentObject::save(ProxyCall& c, IStream* pstm, BOOL fClearDirty)
{
    IPersist* source = persistStreamInit_ ? static_cast<IPersist*>(persistStreamInit_.get())
                                          : static_cast<IPersist*>(persistStream_.get());
    ULONG expected = 0;
    int sizeKnown = 1;
    if (source) {
        ULARGE_INTEGER size{};
        const HRESULT hr = callForeign(c, [&] {
            return persistStreamInit_ ? persistStreamInit_->GetSizeMax(&size) : persistStream_->GetSizeMax(&size);
        });
        if (FAILED(hr)) {
            std::string text = "Failed to get maximum file size from object. GetSizeMax returns: " +
                               toNarrow(systemErrorText(hr));
            warning(c, text.c_str());
            sizeKnown = 0;
        } else if (size.HighPart != 0) {
            warning(c, "Object reports rediculously high max file size.");
            sizeKnown = 0;
        } else {
            expected = size.LowPart;
        }
    }
    StreamLease lease{CStreamImpl::create(c.log)};
    CStreamImpl& stream = *lease.stream;
    stream.writing = 1;
    stream.checkSize = sizeKnown;
    stream.position = 0;
    stream.size = 0;
    if (!stream.allocate(expected)) return E_OUTOFMEMORY;
    if (persistStreamInit_) info(c, "Using IPersistStreamInit::Save of logged PMC");
    else if (persistStream_) info(c, "Using IPersistStream::Save of logged PMC");
    if (source) {
        const HRESULT hr = callForeign(c, [&] {
            return persistStreamInit_ ? persistStreamInit_->Save(&stream, fClearDirty)
                                      : persistStream_->Save(&stream, fClearDirty);
        });
        if (FAILED(hr)) {
            error(c, "Object failed to Save.");
            return hr;
        }
        if (hr != S_OK) {
            error(c, "Object did not return S_OK from Save.");
            return E_FAIL;
        }
    }
    const ULONG length = stream.size;
    if (!writeAll(c, pstm, &clsid_, sizeof clsid_) || !writeAll(c, pstm, &length, sizeof length) ||
        (length && !writeAll(c, pstm, stream.data, length))) {
        error(c, "Write error during Save.");
        return E_FAIL;
    }
    return S_OK;
}

HRESULT PersistentObject::Save(IStream* pstm, BOOL fClearDirty)
{
    return servedCall<LogMode::Checked>(*this, "IPersistStreamInit::Save",
                                        [=, this](ProxyCall& c) { return save(c, pstm, fClearDirty); },
                                        InInterfacePointer{"pstm", pstm}, InBool{"fClearDirty", fClearDirty});
}

HRESULT PersistentObject::IsDirty()
{
    return servedCall<LogMode::Checked>(*this, "IPersistStreamInit::IsDirty", [this](ProxyCall& c) {
        HRESULT hr = S_FALSE;
        if (persistStreamInit_) hr = callForeign(c, [&] { return persistStreamInit_->IsDirty(); });
        else if (persistStream_) hr = callForeign(c, [&] { return persistStream_->IsDirty(); });
        if (hr == S_OK) info(c, "Returning S_OK");
        else if (hr == S_FALSE) info(c, "Returning S_FALSE");
        else warning(c, "Returning other value than S_FALSE or S_OK");
        c.recorded = S_OK;
        return hr;
    });
}

HRESULT PersistentObject::GetSizeMax(ULARGE_INTEGER* pcbSize)
{
    return servedCall<LogMode::Checked>(*this, "IPersistStreamInit::GetSizeMax", [this, pcbSize](ProxyCall& c) {
        HRESULT hr = S_OK;
        if (persistStreamInit_) hr = callForeign(c, [&] { return persistStreamInit_->GetSizeMax(pcbSize); });
        else if (persistStream_) hr = callForeign(c, [&] { return persistStream_->GetSizeMax(pcbSize); });
        if (FAILED(hr)) return hr;
        // The header in front of the image, added in 32 bits; the sum goes back sign-extended.
        const LONG sum = static_cast<LONG>(pcbSize->LowPart + kHeaderSize);
        if (c.log) c.log->argLong("pcbSize", 0, sum);
        pcbSize->QuadPart = static_cast<ULONGLONG>(static_cast<LONGLONG>(sum));
        return hr;
    });
}

} // namespace tarv
