#include "params/parameter_spec.h"

#include <utility>
#include <vector>

namespace tarv {
namespace {

using namespace expect;

// get_ItemsSpecifications: the foreign call fills the caller's VARIANT with an array of item
// specs of any number of dimensions. The array is logged as it came, then every element
// is replaced in place by a spec proxy of this tree, the first index running fastest.
// Each element is released without a test once it is dealt with, so a null element faults to the
// barrier. A fault leaves the caller nothing: the array goes, with the foreign elements and the
// proxies made so far, and the caller's VARIANT is empty. What the walk holds lives here, in the
// method's frame.
struct WrapItemsSpecifications {
    VARIANT* specs;
    bool received = false;   // the foreign call succeeded: the caller's VARIANT holds its array
    std::vector<LONG> lower{}, upper{}, index{};
    IDispatch* element = nullptr;   // the element in hand, with the reference the array gave
    ComPtr<IDispatch> proxy{};      // its proxy, until the array holds it

    explicit WrapItemsSpecifications(VARIANT* out) : specs(out) {}
    WrapItemsSpecifications(const WrapItemsSpecifications&) = delete;
    WrapItemsSpecifications& operator=(const WrapItemsSpecifications&) = delete;
    ~WrapItemsSpecifications()
    {
        if (element) element->Release();
    }

    void afterForward(ProxyCall& c) { received = SUCCEEDED(c.result); }
    void after(ProxyCall& c)
    {
        c.log->argVariant("specs", 0, *specs, dispatches, mayBeEmpty);
        if (specs->vt != (VT_ARRAY | VT_DISPATCH) || !start(specs->parray)) return;
        SAFEARRAY* array = specs->parray;
        for (;;) {
            SafeArrayGetElement(array, index.data(), &element);
            if (element) {
                proxy = createParameterSpecProxy(element, c.log, c.self.owner(), c.self.isInput(), c.self.readOnly());
                SafeArrayPutElement(array, index.data(), proxy.get());
                proxy.reset();
            }
            IDispatch* volatile held = std::exchange(element, nullptr);
            held->Release();
            if (!advance()) return;
        }
    }
    void onFault(ProxyCall&)
    {
        proxy.reset();
        if (element) std::exchange(element, nullptr)->Release();
        if (!received) return;
        VARIANT held = *specs;
        VariantInit(specs);
        VariantClear(&held);
    }

    // Bounds of every dimension (numbered from 1), the index at the lower bounds. False for an
    // array that holds no element.
    bool start(SAFEARRAY* array)
    {
        const UINT dims = SafeArrayGetDim(array);
        lower.assign(dims, 0);
        upper.assign(dims, 0);
        for (UINT d = 0; d < dims; ++d) {
            SafeArrayGetLBound(array, d + 1, &lower[d]);
            SafeArrayGetUBound(array, d + 1, &upper[d]);
            if (upper[d] < lower[d]) return false;
        }
        index = lower;
        return dims > 0;
    }
    // The next index as an odometer, the first dimension fastest; false after the last.
    bool advance()
    {
        for (size_t d = 0; d < index.size(); ++d) {
            if (index[d] < upper[d]) {
                ++index[d];
                return true;
            }
            index[d] = lower[d];
        }
        return false;
    }
};

} // namespace

ComPtr<IDispatch> createParameterSpecProxy(IUnknown* foreign, CallLog* log, ExposedObjectBase* owner, int isInput,
                                           int readOnly)
{
    return createProxy<CParameterSpec>(foreign, log, owner, readOnly,
                                       [isInput](CParameterSpec& p) { p.setIsInput(isInput); });
}

CParameterSpec::CParameterSpec()
{
    type_ = "Parameter Spec";
}

void CParameterSpec::releaseInterfaces()
{
    arraySpec_.reset();
    booleanSpec_.reset();
    integerSpec_.reset();
    optionSpec_.reset();
    parameterSpec_.reset();
    realSpec_.reset();
    CapeOpenBase::releaseInterfaces();
}

// --- ICapeArrayParameterSpec ------------------------------------------------------------------------

HRESULT CParameterSpec::get_NumDimensions(LONG* numDimensions)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeArrayParameterSpec::get_NumDimensions", arraySpec_,
        [&](ICapeArrayParameterSpec* s) { return s->get_NumDimensions(numDimensions); },
        OutLong{"numDimensions", numDimensions});
}

HRESULT CParameterSpec::get_Size(VARIANT* Size)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeArrayParameterSpec::get_Size", arraySpec_,
        [&](ICapeArrayParameterSpec* s) { return s->get_Size(Size); }, OutVariant{"Size", Size, longs});
}

HRESULT CParameterSpec::get_ItemsSpecifications(VARIANT* specs)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeArrayParameterSpec::get_ItemsSpecifications", arraySpec_,
        [&](ICapeArrayParameterSpec* s) { return s->get_ItemsSpecifications(specs); },
        WrapItemsSpecifications{specs});
}

HRESULT CParameterSpec::Validate(VARIANT value, VARIANT* message, VARIANT* isOK)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeArrayParameterSpec::Validate", arraySpec_,
        [&](ICapeArrayParameterSpec* s) { return s->Validate(value, message, isOK); }, InVariant{"value", value},
        OutVariant{"message", message, strings, mayBeEmpty}, OutVariant{"isOK", isOK, bools, mayBeEmpty});
}

// --- ICapeBooleanParameterSpec ----------------------------------------------------------------------

HRESULT CParameterSpec::get_DefaultValue(VARIANT_BOOL* DefaultValue)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeBooleanParameterSpec::get_DefaultValue", booleanSpec_,
        [&](ICapeBooleanParameterSpec* s) { return s->get_DefaultValue(DefaultValue); },
        OutVariantBool{"DefaultValue", DefaultValue});
}

HRESULT CParameterSpec::Validate(VARIANT_BOOL value, BSTR* message, VARIANT_BOOL* isOK)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeBooleanParameterSpec::Validate", booleanSpec_,
        [&](ICapeBooleanParameterSpec* s) { return s->Validate(value, message, isOK); },
        InVariantBool{"value", value}, OutString{"message", message}, OutVariantBool{"isOK", isOK});
}

// --- ICapeIntegerParameterSpec ----------------------------------------------------------------------

HRESULT CParameterSpec::get_DefaultValue(LONG* pVal)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeIntegerParameterSpec::get_DefaultValue", integerSpec_,
        [&](ICapeIntegerParameterSpec* s) { return s->get_DefaultValue(pVal); }, OutLong{"pVal", pVal});
}

HRESULT CParameterSpec::get_LowerBound(LONG* pVal)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeIntegerParameterSpec::get_LowerBound", integerSpec_,
        [&](ICapeIntegerParameterSpec* s) { return s->get_LowerBound(pVal); }, OutLong{"pVal", pVal});
}

HRESULT CParameterSpec::get_UpperBound(LONG* pVal)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeIntegerParameterSpec::get_UpperBound", integerSpec_,
        [&](ICapeIntegerParameterSpec* s) { return s->get_UpperBound(pVal); }, OutLong{"pVal", pVal});
}

HRESULT CParameterSpec::Validate(LONG value, BSTR* message, VARIANT_BOOL* isOK)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeIntegerParameterSpec::Validate", integerSpec_,
        [&](ICapeIntegerParameterSpec* s) { return s->Validate(value, message, isOK); }, InLong{"value", value},
        OutString{"message", message}, OutVariantBool{"isOK", isOK});
}

// --- ICapeOptionParameterSpec -----------------------------------------------------------------------

HRESULT CParameterSpec::get_DefaultValue(BSTR* DefaultValue)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeOptionParameterSpec::get_DefaultValue", optionSpec_,
        [&](ICapeOptionParameterSpec* s) { return s->get_DefaultValue(DefaultValue); },
        OutString{"DefaultValue", DefaultValue});
}

HRESULT CParameterSpec::get_OptionList(VARIANT* optionNames)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeOptionParameterSpec::get_OptionList", optionSpec_,
        [&](ICapeOptionParameterSpec* s) { return s->get_OptionList(optionNames); },
        OutVariant{"optionNames", optionNames, strings, mayBeEmpty});
}

HRESULT CParameterSpec::get_RestrictedToList(VARIANT_BOOL* restricted)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeOptionParameterSpec::get_RestrictedToList", optionSpec_,
        [&](ICapeOptionParameterSpec* s) { return s->get_RestrictedToList(restricted); },
        OutVariantBool{"restricted", restricted});
}

HRESULT CParameterSpec::Validate(BSTR value, BSTR* message, VARIANT_BOOL* isOK)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeOptionParameterSpec::Validate", optionSpec_,
        [&](ICapeOptionParameterSpec* s) { return s->Validate(value, message, isOK); }, InString{"value", value},
        OutString{"message", message}, OutVariantBool{"isOK", isOK});
}

// --- ICapeParameterSpec -----------------------------------------------------------------------------

HRESULT CParameterSpec::get_Type(CapeParamType* Type)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameterSpec::get_Type", parameterSpec_,
        [&](ICapeParameterSpec* s) { return s->get_Type(Type); }, OutParamType{"Type", Type});
}

HRESULT CParameterSpec::get_Dimensionality(VARIANT* dim)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameterSpec::get_Dimensionality", parameterSpec_,
        [&](ICapeParameterSpec* s) { return s->get_Dimensionality(dim); }, OutVariant{"dim", dim, doubles, mayBeEmpty});
}

// --- ICapeRealParameterSpec -------------------------------------------------------------------------

HRESULT CParameterSpec::get_DefaultValue(double* DefaultValue)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeRealParameterSpec::get_DefaultValue", realSpec_,
        [&](ICapeRealParameterSpec* s) { return s->get_DefaultValue(DefaultValue); },
        OutDouble{"DefaultValue", DefaultValue});
}

// Also ECapeBoundaries::get_LowerBound of this class, which logs under this name.
HRESULT CParameterSpec::get_LowerBound(double* lBound)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeRealParameterSpec::get_LowerBound", realSpec_,
        [&](ICapeRealParameterSpec* s) { return s->get_LowerBound(lBound); }, OutDouble{"lBound", lBound});
}

// Also ECapeBoundaries::get_UpperBound of this class, which logs under this name.
HRESULT CParameterSpec::get_UpperBound(double* uBound)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeRealParameterSpec::get_UpperBound", realSpec_,
        [&](ICapeRealParameterSpec* s) { return s->get_UpperBound(uBound); }, OutDouble{"uBound", uBound});
}

HRESULT CParameterSpec::Validate(double value, BSTR* message, VARIANT_BOOL* isOK)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeRealParameterSpec::Validate", realSpec_,
        [&](ICapeRealParameterSpec* s) { return s->Validate(value, message, isOK); }, InDouble{"value", value},
        OutString{"message", message}, OutVariantBool{"isOK", isOK});
}

} // namespace tarv
