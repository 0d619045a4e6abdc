#pragma once
// Proxy of a parameter spec. The foreign object has ICapeParameterSpec and one or more of
// the five type-specific spec interfaces; the proxy presents all six and asks the foreign
// object for each only when it is first used. ECapeBoundaries' bounds are served by the real
// spec's: in this class they are one method.
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

#include <vector>

namespace tarv {

class CParameterSpec
    : public ProxyClass<CParameterSpec, CapeOpenBase, ICapeParameterSpec, ICapeArrayParameterSpec,
                        ICapeBooleanParameterSpec, ICapeIntegerParameterSpec, ICapeOptionParameterSpec,
                        ICapeParameterSpec, ICapeRealParameterSpec> {
public:
    CParameterSpec();

    // ICapeArrayParameterSpec
    HRESULT STDMETHODCALLTYPE get_NumDimensions(LONG* numDimensions) override;
    HRESULT STDMETHODCALLTYPE get_Size(VARIANT* Size) override;
    HRESULT STDMETHODCALLTYPE get_ItemsSpecifications(VARIANT* specs) override;
    HRESULT STDMETHODCALLTYPE Validate(VARIANT value, VARIANT* message, VARIANT* isOK) override;
    // ICapeBooleanParameterSpec
    HRESULT STDMETHODCALLTYPE get_DefaultValue(VARIANT_BOOL* DefaultValue) override;
    HRESULT STDMETHODCALLTYPE Validate(VARIANT_BOOL value, BSTR* message, VARIANT_BOOL* isOK) override;
    // ICapeIntegerParameterSpec
    HRESULT STDMETHODCALLTYPE get_DefaultValue(LONG* pVal) override;
    HRESULT STDMETHODCALLTYPE get_LowerBound(LONG* pVal) override;
    HRESULT STDMETHODCALLTYPE get_UpperBound(LONG* pVal) override;
    HRESULT STDMETHODCALLTYPE Validate(LONG value, BSTR* message, VARIANT_BOOL* isOK) override;
    // ICapeOptionParameterSpec
    HRESULT STDMETHODCALLTYPE get_DefaultValue(BSTR* DefaultValue) override;
    HRESULT STDMETHODCALLTYPE get_OptionList(VARIANT* optionNames) override;
    HRESULT STDMETHODCALLTYPE get_RestrictedToList(VARIANT_BOOL* restricted) override;
    HRESULT STDMETHODCALLTYPE Validate(BSTR value, BSTR* message, VARIANT_BOOL* isOK) override;
    // ICapeParameterSpec
    HRESULT STDMETHODCALLTYPE get_Type(CapeParamType* Type) override;
    HRESULT STDMETHODCALLTYPE get_Dimensionality(VARIANT* dim) override;
    using CapeOpenBase::get_Type;
    // ICapeRealParameterSpec; the bounds also serve ECapeBoundaries.
    HRESULT STDMETHODCALLTYPE get_DefaultValue(double* DefaultValue) override;
    HRESULT STDMETHODCALLTYPE get_LowerBound(double* lBound) override;
    HRESULT STDMETHODCALLTYPE get_UpperBound(double* uBound) override;
    HRESULT STDMETHODCALLTYPE Validate(double value, BSTR* message, VARIANT_BOOL* isOK) override;

    void releaseInterfaces() override;

private:
    ComPtr<ICapeArrayParameterSpec> arraySpec_;
    ComPtr<ICapeBooleanParameterSpec> booleanSpec_;
    ComPtr<ICapeIntegerParameterSpec> integerSpec_;
    ComPtr<ICapeOptionParameterSpec> optionSpec_;
    ComPtr<ICapeParameterSpec> parameterSpec_;
    ComPtr<ICapeRealParameterSpec> realSpec_;
};

ComPtr<IDispatch> createParameterSpecProxy(IUnknown* foreign, CallLog* log, ExposedObjectBase* owner, int isInput,
                                           int readOnly);

} // namespace tarv
