#include "host/lock_object.h"

#include "host/module.h"

#include <atomic>

namespace tarv {
namespace {

class CLockObject final : public IUnknown {
public:
    CLockObject() { CTARVModule::lock(); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        if (iid != IID_IUnknown) {
            *out = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        *out = static_cast<IUnknown*>(this);
        return S_OK;
    }
    // Counted atomically: a viewer's lock is taken and given back on the viewer's own thread.
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        ULONG n = --refs_;
        if (n == 0) delete this;
        return n;
    }

private:
    ~CLockObject() { CTARVModule::unlock(); }

    std::atomic<ULONG> refs_{1};
};

} // namespace

ComPtr<IUnknown> createLockObject()
{
    return ComPtr<IUnknown>::attach(new CLockObject);
}

} // namespace tarv
