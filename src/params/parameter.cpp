#include "params/parameter.h"

#include "params/parameter_spec.h"

namespace tarv {
namespace {

using namespace expect;

} // namespace

ComPtr<IDispatch> createParameterProxy(IUnknown* foreign, CallLog* log, ExposedObjectBase* owner, int isInput,
                                       int readOnly)
{
    return createProxy<CParameter>(
        foreign, log, owner, readOnly, [isInput](CParameter& p) { p.setIsInput(isInput); },
        [](CParameter& p) { p.askMode(); });
}

CParameter::CParameter()
{
    type_ = "Parameter";
}

void CParameter::releaseInterfaces()
{
    parameter_.reset();
    CapeOpenBase::releaseInterfaces();
}

// A proxy that its maker holds as writable asks the foreign parameter for its mode; an output
// parameter then has its flag set to 0, which it already is, so a parameter of a read-only owner
// stays read-only whatever its mode. The step is kept for the calls it makes on the foreign
// object (neither is logged). The interface is held in the proxy's own slot over the call, so that
// a fault leaves it to the undoing of the unfinished proxy; the slot is empty again afterwards and
// the first proxied call asks for the interface as usual.
void CParameter::askMode()
{
    if (readOnly_ || !wrapped_) return;
    if (SUCCEEDED(wrapped_->QueryInterface(IID_ICapeParameter, parameter_.putVoid()))) {
        CapeParamMode mode = CAPE_INPUT;
        if (SUCCEEDED(parameter_->get_Mode(&mode)) && mode == CAPE_OUTPUT) readOnly_ = 0;
    }
    parameter_.reset();
}

// The record shows the foreign spec; the caller receives a spec proxy with this
// parameter's owner, direction and read-only flag, a new one each time.
HRESULT CParameter::get_Specification(IDispatch** spec)
{
    WrapResult wrap{"spec", spec, [this](IDispatch* foreign) {
        return createParameterSpecProxy(foreign, log_, owner_, isInput_, readOnly_);
    }, true, ResultShown::Foreign};
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameter::get_Specification", parameter_,
        [&](ICapeParameter* p) { return p->get_Specification(wrap.slot()); }, wrap);
}

HRESULT CParameter::get_value(VARIANT* value)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameter::get_value", parameter_,
        [&](ICapeParameter* p) { return p->get_value(value); }, OutVariant{"value", value, any, mayBeEmpty});
}

HRESULT CParameter::put_value(VARIANT value)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameter::put_value", parameter_,
        [&](ICapeParameter* p) { return p->put_value(value); }, ReadOnlyCheck{},
        InVariant{"value", value, any, mayBeEmpty});
}

HRESULT CParameter::get_ValStatus(CapeValidationStatus* ValStatus)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameter::get_ValStatus", parameter_,
        [&](ICapeParameter* p) { return p->get_ValStatus(ValStatus); }, OutValidationStatus{"ValStatus", ValStatus});
}

HRESULT CParameter::get_Mode(CapeParamMode* Mode)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameter::get_Mode", parameter_,
        [&](ICapeParameter* p) { return p->get_Mode(Mode); }, OutParamMode{"Mode", Mode});
}

HRESULT CParameter::put_Mode(CapeParamMode Mode)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameter::put_Mode", parameter_,
        [&](ICapeParameter* p) { return p->put_Mode(Mode); }, ReadOnlyCheck{}, InParamMode{"Mode", Mode});
}

HRESULT CParameter::Validate(BSTR* message, VARIANT_BOOL* isOK)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameter::Validate", parameter_,
        [&](ICapeParameter* p) { return p->Validate(message, isOK); }, OutString{"message", message},
        OutVariantBool{"isOK", isOK});
}

HRESULT CParameter::Reset()
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeParameter::Reset", parameter_,
        [](ICapeParameter* p) { return p->Reset(); }, ReadOnlyCheck{});
}

} // namespace tarv
