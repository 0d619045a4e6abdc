// The foreign object of proxy_call_bench: GetNumPhases answers at once.
#include "capeopen.h"
#include "proxy/barrier.h"

namespace tarv {

namespace {

class FastPhases final : public ICapeThermoPhases {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_ICapeThermoPhases) {
            *out = static_cast<ICapeThermoPhases*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs_; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNumPhases(LONG* num) override
    {
        *num = 2;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetPhaseInfo(BSTR, BSTR, VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPhaseList(VARIANT*, VARIANT*, VARIANT*) override { return E_NOTIMPL; }

private:
    ULONG refs_ = 1;
};

// The least a proxy can be: a COM object whose method forwards under the barrier and nothing else.
class MinimalProxy final : public ICapeThermoPhases {
public:
    explicit MinimalProxy(ICapeThermoPhases* foreign) : foreign_(foreign) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOTIMPL; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNumPhases(LONG* num) override
    {
        BarrierFault fault;
        return guardedCall([&] { return foreign_->GetNumPhases(num); }, fault);
    }
    HRESULT STDMETHODCALLTYPE GetPhaseInfo(BSTR, BSTR, VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPhaseList(VARIANT*, VARIANT*, VARIANT*) override { return E_NOTIMPL; }

private:
    ICapeThermoPhases* foreign_;
};

} // namespace

ICapeThermoPhases* makeMinimalProxy(ICapeThermoPhases* foreign)
{
    return new MinimalProxy(foreign);
}

ICapeThermoPhases* makeFastPhases()
{
    return new FastPhases();
}

} // namespace tarv
