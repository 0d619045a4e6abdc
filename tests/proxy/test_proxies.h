#pragma once
// An outward proxy that exists only with a log, an exposed root with or without one, and a unit.
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

namespace testproxy {

using tarv::CallLog;
using tarv::ComPtr;

class TestProxy : public tarv::ProxyClass<TestProxy, tarv::CapeOpenBase, ICapeDiagnostic, ICapeDiagnostic,
                                          ICapeCOSEUtilities> {
public:
    TestProxy();
    HRESULT STDMETHODCALLTYPE PopUpMessage(BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LogMessage(BSTR message) override;
    HRESULT STDMETHODCALLTYPE get_NamedValueList(VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_NamedValue(BSTR name, VARIANT* value) override;
    void releaseInterfaces() override;
private:
    ComPtr<ICapeDiagnostic> diagnostic_;
    ComPtr<ICapeCOSEUtilities> cose_;
};

ComPtr<IDispatch> createTestProxy(IUnknown* foreign, CallLog* log, tarv::ExposedObjectBase* owner, int readOnly);

class TestExposed : public tarv::ProxyClass<TestExposed, tarv::ExposedObjectBase, ICapeCollection, ICapeCollection> {
public:
    TestExposed();
    HRESULT STDMETHODCALLTYPE Item(VARIANT id, IDispatch** item) override;   // a TestProxy child
    HRESULT STDMETHODCALLTYPE Count(LONG* count) override;
    void releaseInterfaces() override;
private:
    ComPtr<ICapeCollection> collection_;
};

// The unit's interface policy: IPersistStream refused with a note, all interfaces answered before its object.
class TestUnit : public tarv::ProxyClass<TestUnit, tarv::ExposedObjectBase, ICapeCollection, ICapeCollection> {
public:
    TestUnit();
    HRESULT STDMETHODCALLTYPE Item(VARIANT, IDispatch**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Count(LONG*) override { return E_NOTIMPL; }
protected:
    tarv::QueryPolicy queryPolicy() const override { return {true, true}; }
};

// An exposed object over `foreign` (whose reference it takes), logged when `log` is given.
ComPtr<TestExposed> expose(IUnknown* foreign, CallLog* log, const char* name = "Exposed");

void installTestFactories();   // TestProxy for the simulation context and parameter collection

} // namespace testproxy
