#include "unit/unit_operation.h"

#include "com/bstr.h"
#include "log/log_file.h"
#include "params/reaction_object.h"
#include "unit/ports.h"

#include "tarvlib.h"

namespace tarv {
namespace {

using namespace expect;

constexpr DWORD kAnyContext = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER |
                              CLSCTX_REMOTE_SERVER;
// CAPE-OPEN's category of unit operations.
constexpr const char* kUnitOperationCategory = "{678c09a5-7d66-11d2-a67d-00105a42887f}";

// SetReactionObject, on either context: with a log the real unit operation gets a reaction object
// proxy of this tree in a slot of the call's own, whose address it is given.
struct WrapReactionObject {
    IDispatch** reactionsObject;
    ExposedObjectBase* owner;
    ComPtr<IDispatch> proxy{};
    IDispatch* slot = nullptr;

    IDispatch** forwarded() { return proxy ? &slot : reactionsObject; }
    void prepare(ProxyCall& c)
    {
        if (!c.log || !reactionsObject || !*reactionsObject) return;
        proxy = createReactionObjectProxy(*reactionsObject, c.log, owner, 0);
        slot = proxy.get();
    }
};

// Initialize of a unit operation that InitNew never reached: InitNew is called first, and its own
// record stands inside this one.
struct RemedialInitNew {
    CUnitOperation& unit;
    std::optional<HRESULT> instead(ProxyCall& c) const
    {
        if (unit.wrapped()) return std::nullopt;
        if (c.log) {
            c.log->writeError("Load or InitNew needs to be called before Initialize");
            c.log->writeInfo("Attempting to remedy by calling InitNew");
        }
        if (SUCCEEDED(unit.InitNew())) return std::nullopt;
        if (c.log) c.log->writeError("Internal call to InitNew failed");
        return E_FAIL;
    }
};

} // namespace

HRESULT CUnitOperation::create(IUnknown* outer, REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    ComPtr<CUnitOperation> unit(new CUnitOperation());
    if (CallLog* log = createLogFile("Create log for unit operation:", "Unit Operation", "VESKER Logged Unit Operation"))
        unit->attachLog(log, "VESKER Logged Unit Operation");
    return unit->QueryInterface(iid, out);
}

CUnitOperation::CUnitOperation() : ProxyClass(kUnitOperationCategory)
{
    type_ = "Unit Operation";
}

void CUnitOperation::releaseInterfaces()
{
    unit_.reset();
    kineticContext_.reset();
    unitReport_.reset();
    PersistentObject::releaseInterfaces();
}

void CUnitOperation::extraInterfaceRows(std::vector<InterfaceEntry>& rows)
{
    rows.push_back({&IID_ICapeElectrolyteReactionContext, &CCUnitElectrolyteContext::make<CCUnitElectrolyteContext>});
}

const CLSID& CUnitOperation::ownClassId() const
{
    return CLSID_UnitOperation64;
}

bool CUnitOperation::createLoggedObject(ProxyCall& c, std::wstring& errorText)
{
    IDispatch* made = nullptr;
    const HRESULT hr = callForeign(c, [&] {
        return CoCreateInstance(clsid_, nullptr, kAnyContext, IID_IDispatch, reinterpret_cast<void**>(&made));
    });
    if (FAILED(hr) || !made) {
        errorText = systemErrorText(FAILED(hr) ? hr : E_POINTER);
        if (c.log) c.log->writeError(("Failed to create unit operation: " + toNarrow(errorText)).c_str());
        return false;
    }
    if (c.log) c.log->writeInfo(("Created unit operation from CLSID " + guidText(clsid_)).c_str());
    attachObject(made);
    return true;
}

HRESULT CUnitOperation::get_ports(IDispatch** ports)
{
    WrapResult wrap{"ports", ports, [this](IDispatch* raw) { return createPortCollectionProxy(raw, log_, this, readOnly_); },
                    true, ResultShown::Foreign};
    return proxyCall<LogMode::Checked>(*this, "ICapeUnit::get_ports", unit_,
        [&](ICapeUnit* i) { return i->get_ports(wrap.slot()); }, wrap);
}

HRESULT CUnitOperation::get_ValStatus(CapeValidationStatus* status)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUnit::get_ValStatus", unit_,
        [&](ICapeUnit* i) { return i->get_ValStatus(status); }, OutValidationStatus{"ValStatus", status});
}

HRESULT CUnitOperation::Calculate()
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUnit::Calculate", unit_,
        [&](ICapeUnit* i) { return i->Calculate(); }, ReadOnlyCheck{});
}

HRESULT CUnitOperation::Validate(BSTR* message, VARIANT_BOOL* isValid)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUnit::Validate", unit_,
        [&](ICapeUnit* i) { return i->Validate(message, isValid); }, OutString{"message", message},
        OutVariantBool{"isValid", isValid});
}

HRESULT CUnitOperation::get_reports(VARIANT* reports)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUnitReport::get_reports", unitReport_,
        [&](ICapeUnitReport* i) { return i->get_reports(reports); }, OutVariant{"reports", reports, strings, mayBeEmpty});
}

HRESULT CUnitOperation::get_selectedReport(BSTR* report)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUnitReport::get_selectedReport", unitReport_,
        [&](ICapeUnitReport* i) { return i->get_selectedReport(report); }, OutString{"report", report});
}

HRESULT CUnitOperation::put_selectedReport(BSTR report)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUnitReport::put_selectedReport", unitReport_,
        [&](ICapeUnitReport* i) { return i->put_selectedReport(report); }, ReadOnlyCheck{}, InString{"report", report});
}

HRESULT CUnitOperation::ProduceReport(BSTR* message)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUnitReport::ProduceReport", unitReport_,
        [&](ICapeUnitReport* i) { return i->ProduceReport(message); }, OutString{"message", message});
}

HRESULT CUnitOperation::SetReactionObject(IDispatch** reactionsObject)
{
    WrapReactionObject wrap{reactionsObject, this};
    return proxyCall<LogMode::Checked>(*this, "ICapeKineticReactionContext::SetReactionObject", kineticContext_,
        [&](ICapeKineticReactionContext* i) { return i->SetReactionObject(wrap.forwarded()); }, ReadOnlyCheck{},
        InInterface{"reactionsObject", reactionsObject ? *reactionsObject : nullptr}, wrap);
}

HRESULT CUnitOperation::setElectrolyteReactionObject(IDispatch** reactionsObject)
{
    ComPtr<ICapeElectrolyteReactionContext> uncached;
    WrapReactionObject wrap{reactionsObject, this};
    return proxyCall<LogMode::Checked>(*this, "ICapeElectrolyteReactionContext::SetReactionObject", uncached,
        [&](ICapeElectrolyteReactionContext* i) { return i->SetReactionObject(wrap.forwarded()); }, ReadOnlyCheck{},
        InInterface{"reactionsObject", reactionsObject ? *reactionsObject : nullptr}, wrap);
}

HRESULT CUnitOperation::Initialize()
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUtilities::Initialize", utilities_,
        [](ICapeUtilities* u) { return u->Initialize(); }, RemedialInitNew{*this}, SilentWhenMissing{});
}

} // namespace tarv
