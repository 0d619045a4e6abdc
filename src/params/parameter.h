#pragma once
// Proxy of one parameter: reading, writing, validating and resetting it are logged, and its
// spec is handed out through a spec proxy. Values pass through as they are.
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

namespace tarv {

class CParameter : public ProxyClass<CParameter, CapeOpenBase, ICapeParameter, ICapeParameter> {
public:
    CParameter();

    HRESULT STDMETHODCALLTYPE get_Specification(IDispatch** spec) override;
    HRESULT STDMETHODCALLTYPE get_value(VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE put_value(VARIANT value) override;
    HRESULT STDMETHODCALLTYPE get_ValStatus(CapeValidationStatus* ValStatus) override;
    HRESULT STDMETHODCALLTYPE get_Mode(CapeParamMode* Mode) override;
    HRESULT STDMETHODCALLTYPE put_Mode(CapeParamMode Mode) override;
    HRESULT STDMETHODCALLTYPE Validate(BSTR* message, VARIANT_BOOL* isOK) override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    using CapeOpenBase::get_value;

    void releaseInterfaces() override;

    // The factory's last step: the foreign parameter is asked for its mode.
    void askMode();

private:
    ComPtr<ICapeParameter> parameter_;
};

ComPtr<IDispatch> createParameterProxy(IUnknown* foreign, CallLog* log, ExposedObjectBase* owner, int isInput,
                                       int readOnly);

} // namespace tarv
