#include "proxy/test_proxies.h"

namespace testproxy {

using namespace tarv;

TestProxy::TestProxy() { isInput_ = 0; type_ = "Test Proxy"; }
void TestProxy::releaseInterfaces() { diagnostic_.reset(); cose_.reset(); CapeOpenBase::releaseInterfaces(); }
HRESULT TestProxy::LogMessage(BSTR message)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeDiagnostic::LogMessage", diagnostic_,
        [&](ICapeDiagnostic* i) { return i->LogMessage(message); }, InString{"message", message});
}
HRESULT TestProxy::get_NamedValue(BSTR name, VARIANT* value)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeCOSEUtilities::get_NamedValue", cose_,
        [&](ICapeCOSEUtilities* i) { return i->get_NamedValue(name, value); }, InString{"name", name},
        OutVariant{"NamedValue", value, expect::any, expect::mayBeEmpty});
}

ComPtr<IDispatch> createTestProxy(IUnknown* foreign, CallLog* log, ExposedObjectBase* owner, int readOnly)
{
    return createProxy<TestProxy>(foreign, log, owner, readOnly, [](TestProxy&) {});
}

TestExposed::TestExposed() { type_ = "Test Exposed"; }
void TestExposed::releaseInterfaces() { collection_.reset(); ExposedObjectBase::releaseInterfaces(); }
HRESULT TestExposed::Item(VARIANT id, IDispatch** item)
{
    WrapResult wrap{"Item", item, [this](IDispatch* made) { return createTestProxy(made, log_, this, readOnly_); }};
    return proxyCall<LogMode::Checked>(*this, "ICapeCollection::Item", collection_,
        [&](ICapeCollection* i) { return i->Item(id, wrap.slot()); }, InVariant{"id", id}, wrap);
}
HRESULT TestExposed::Count(LONG* count)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeCollection::Count", collection_,
        [&](ICapeCollection* i) { return i->Count(count); }, OutLong{"itemsCount", count});
}

TestUnit::TestUnit() { type_ = "Test Unit"; }
ComPtr<TestExposed> expose(IUnknown* foreign, CallLog* log, const char* name)
{
    ComPtr<TestExposed> object(new TestExposed());
    object->attachObject(ComPtr<IUnknown>(foreign).detach());
    if (log) object->attachLog(log, name);
    return object;
}

void installTestFactories()
{
    proxyFactories().simulationContext = [](IDispatch* foreign, CallLog* log, ExposedObjectBase* owner, int readOnly) {
        return createTestProxy(foreign, log, owner, readOnly);
    };
    proxyFactories().parameterCollection = [](IDispatch* foreign, CallLog* log, ExposedObjectBase* owner, int, int readOnly) {
        return createTestProxy(foreign, log, owner, readOnly);
    };
}

} // namespace testproxy
