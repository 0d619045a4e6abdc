#include "proxy/cape_open_base.h"

#include "com/bstr.h"
#include "host/module.h"
#include "proxy/exposed_object_base.h"
#include "proxy/method.h"

#include <cstring>

namespace tarv {
namespace {

// Marshaling interfaces that a proxy never passes on: the proxy itself is what crosses a process
// boundary, by standard marshaling.
constexpr GUID kIMarshal = {0x00000003, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
constexpr GUID kIStdMarshalInfo = {0x0000001B, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
constexpr GUID kICallFactory = {0x1C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
constexpr GUID kIPersistStream = {0x00000109, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

// The count a proxy is given while it is being destroyed, so that reference traffic during the
// teardown cannot destroy it twice.
constexpr LONG kDestroyingCount = static_cast<LONG>(0xC0000001u);

// get_ComponentName and get_ComponentDescription of a proxy without a foreign object: a name for
// the caller, an error in the log, success.
struct UninitializedAnswer {
    BSTR* out;
    std::optional<HRESULT> instead(ProxyCall& c) const
    {
        if (c.self.wrapped()) return std::nullopt;
        if (c.log) c.log->writeError("Object is not created or initialized");
        *out = Bstr(L"Uninitialized object").detach();
        return S_OK;
    }
};

// After a successful rename with a log, later records carry the new name.
struct RenameAfterSuccess {
    BSTR value;
    void after(ProxyCall& c) const { c.self.setName(toNarrow(value)); }
};

} // namespace

const InterfaceEntry* InterfaceTable::find(REFIID iid) const
{
    for (const InterfaceEntry* e = first; e != last; ++e)
        if (e->iid && *e->iid == iid) return e;
    return nullptr;
}

bool fetchComponentName(IUnknown* object, std::string* name)
{
    if (!object) return false;
    ComPtr<ICapeIdentification> id;
    if (FAILED(object->QueryInterface(IID_ICapeIdentification, id.putVoid()))) return false;
    Bstr text;
    if (FAILED(id->get_ComponentName(text.put()))) return false;
    *name = text.narrow();
    return true;
}

CapeOpenBase::CapeOpenBase()
{
    CTARVModule::lock();
}

CapeOpenBase::~CapeOpenBase() = default;

ULONG CapeOpenBase::addRefImpl()
{
    return static_cast<ULONG>(++refCount_);
}

ULONG CapeOpenBase::releaseImpl()
{
    LONG count = --refCount_;
    if (count == 0) finalRelease();
    return static_cast<ULONG>(count);
}

void CapeOpenBase::finalRelease()
{
    refCount_ = kDestroyingCount;
    if (releasesOnDestruction()) releaseInterfaces();
    beforeTeardown();
    CTARVModule::unlock();
    if (CallLog* log = log_) {
        log_ = nullptr;
        log->release();
    }
    if (owner_) owner_->removeChild(this);
    delete this;
}

void CapeOpenBase::releaseInterfaces()
{
    wrapped_.reset();
    ecapeBadArgument_.reset();
    ecapeBadCOParameter_.reset();
    ecapeBadInvOrder_.reset();
    ecapeBoundaries_.reset();
    ecapePersistenceNotFound_.reset();
    ecapeRoot_.reset();
    ecapeUser_.reset();
    identification_.reset();
}

// --- Creation ------------------------------------------------------------------------------------

void CapeOpenBase::attachObject(IUnknown* foreign)
{
    wrapped_ = ComPtr<IUnknown>::attach(foreign);
    if (!log_) return;
    std::string fetched;
    if (fetchComponentName(foreign, &fetched)) name_ = std::move(fetched);
}

void CapeOpenBase::attachLog(CallLog* log, const char* givenName)
{
    log_ = log;
    log_->addRef();
    if (givenName) {
        name_ = givenName;
        return;
    }
    name_ = "<unknown>";
    if (!wrapped_) return;
    ComPtr<ICapeIdentification> id = wrapped_.query<ICapeIdentification>(IID_ICapeIdentification);
    if (!id) {
        log_->writeWarning("Object does not implement ICapeIdentification");
        return;
    }
    Bstr text;
    HRESULT hr = id->get_ComponentName(text.put());
    if (FAILED(hr)) {
        std::string message = "Failed to get name from object: " + toNarrow(capeErrorText(id.get(), hr));
        log_->writeError(message.c_str());
        return;
    }
    name_ = text.narrow();
    if (name_.empty()) log_->writeWarning("Object's name is empty");
}

// --- Interface policy ----------------------------------------------------------------------------

HRESULT CapeOpenBase::answerFromTable(REFIID iid, void** out)
{
    const InterfaceEntry* e = interfaceTable().find(iid);
    if (!e) {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    *out = e->get(this);
    return S_OK;
}

HRESULT CapeOpenBase::queryInterfaceImpl(REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    const QueryPolicy policy = queryPolicy();

    if (policy.refusesIPersistStream && iid == kIPersistStream) {
        if (log_) log_->writeInfo("Logged object uses IPersistStreamInit; QueryInterface for IPersistStream returns E_NOINTERFACE");
        return E_NOINTERFACE;
    }
    // The proxy's identity and default interface never depend on the foreign object.
    if (iid == IID_IUnknown || iid == IID_IDispatch) return answerFromTable(IID_IDispatch, out);

    if (!wrapped_) {
        if (policy.answersBeforeCreation) {
            if (interfaceTable().find(iid)) return answerFromTable(iid, out);
            return queryUnsupported(iid, out);
        }
        if (log_) {
            std::string text = name_ + ": QueryInterface not returning " + CallLog::interfaceName(iid) +
                               ": object not created (returning E_NOINTERFACE)";
            log_->writeWarning(text.c_str());
            *out = nullptr;
            return E_NOINTERFACE;
        }
    }

    const InterfaceEntry* entry = interfaceTable().find(iid);
    // The server's private interface is always there and never reaches a foreign object.
    if (iid == IID_IOriginalObject64) return answerFromTable(iid, out);
    if (!entry) return queryUnsupported(iid, out);

    // A known interface is given exactly when the foreign object offers it, and it is always the
    // proxy's own.
    if (!wrapped_) {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ComPtr<IUnknown> probe;
    if (SUCCEEDED(wrapped_->QueryInterface(iid, probe.putVoid()))) {
        probe.reset();
        *out = entry->get(this);
        return S_OK;
    }
    if (log_) {
        std::string text = name_ + ": QueryInterface not returning supported interface " +
                           CallLog::interfaceName(iid) + ": object does not expose it (returning E_NOINTERFACE)";
        log_->writeWarning(text.c_str());
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CapeOpenBase::queryUnsupported(REFIID iid, void** out)
{
    HRESULT hr = E_NOINTERFACE;
    *out = nullptr;
    if (wrapped_ && iid != kIMarshal && iid != kIStdMarshalInfo && iid != kICallFactory) {
        // An interface the server has no proxy for still works: the caller gets the foreign one raw.
        hr = wrapped_->QueryInterface(iid, out);
        if (FAILED(hr)) *out = nullptr;
    }
    if (log_) log_->queryInterface(name_.c_str(), iid, hr);
    if (hr == S_OK) return S_OK;
    if (*out) ComPtr<IUnknown>::attach(static_cast<IUnknown*>(*out)).reset();
    *out = nullptr;
    return E_NOINTERFACE;
}

// --- Error interfaces ----------------------------------------------------------------------------

HRESULT CapeOpenBase::get_position(short* position)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeBadArgument::get_position", ecapeBadArgument_,
        [&](ECapeBadArgument* i) { return i->get_position(position); }, OutShort{"position", position});
}

HRESULT CapeOpenBase::get_parameterName(BSTR* parameterName)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeBadCOParameter::get_parameterName", ecapeBadCOParameter_,
        [&](ECapeBadCOParameter* i) { return i->get_parameterName(parameterName); },
        OutString{"parameterName", parameterName});
}

HRESULT CapeOpenBase::get_parameter(IDispatch** parameter)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeBadCOParameter::get_parameter", ecapeBadCOParameter_,
        [&](ECapeBadCOParameter* i) { return i->get_parameter(parameter); }, OutInterface{"parameter", parameter});
}

HRESULT CapeOpenBase::get_requestedOperation(BSTR* requestedOperation)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeBadInvOrder::get_requestedOperation", ecapeBadInvOrder_,
        [&](ECapeBadInvOrder* i) { return i->get_requestedOperation(requestedOperation); },
        OutString{"requestedOperation", requestedOperation});
}

// The two bounds log their value under the method's own name.
HRESULT CapeOpenBase::get_LowerBound(double* lowerBound)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeBoundaries::get_LowerBound", ecapeBoundaries_,
        [&](ECapeBoundaries* i) { return i->get_LowerBound(lowerBound); }, OutDouble{"get_LowerBound", lowerBound});
}

HRESULT CapeOpenBase::get_UpperBound(double* upperBound)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeBoundaries::get_UpperBound", ecapeBoundaries_,
        [&](ECapeBoundaries* i) { return i->get_UpperBound(upperBound); }, OutDouble{"get_UpperBound", upperBound});
}

HRESULT CapeOpenBase::get_value(double* value)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeBoundaries::get_value", ecapeBoundaries_,
        [&](ECapeBoundaries* i) { return i->get_value(value); }, OutDouble{"value", value});
}

HRESULT CapeOpenBase::get_Type(BSTR* type)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeBoundaries::get_Type", ecapeBoundaries_,
        [&](ECapeBoundaries* i) { return i->get_Type(type); }, OutString{"Type", type});
}

HRESULT CapeOpenBase::get_itemName(BSTR* itemName)
{
    return proxyCall<LogMode::Checked>(*this, "ECapePersistenceNotFound::get_itemName", ecapePersistenceNotFound_,
        [&](ECapePersistenceNotFound* i) { return i->get_itemName(itemName); }, OutString{"itemName", itemName});
}

HRESULT CapeOpenBase::get_name(BSTR* name)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeRoot::get_name", ecapeRoot_,
        [&](ECapeRoot* i) { return i->get_name(name); }, OutString{"name", name});
}

HRESULT CapeOpenBase::get_code(LONG* code)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeUser::get_code", ecapeUser_,
        [&](ECapeUser* i) { return i->get_code(code); }, OutLong{"code", code});
}

HRESULT CapeOpenBase::get_description(BSTR* description)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeUser::get_description", ecapeUser_,
        [&](ECapeUser* i) { return i->get_description(description); }, OutString{"description", description});
}

HRESULT CapeOpenBase::get_scope(BSTR* scope)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeUser::get_scope", ecapeUser_,
        [&](ECapeUser* i) { return i->get_scope(scope); }, OutString{"scope", scope});
}

HRESULT CapeOpenBase::get_interfaceName(BSTR* interfaceName)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeUser::get_interfaceName", ecapeUser_,
        [&](ECapeUser* i) { return i->get_interfaceName(interfaceName); }, OutString{"interfaceName", interfaceName});
}

HRESULT CapeOpenBase::get_operation(BSTR* operation)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeUser::get_operation", ecapeUser_,
        [&](ECapeUser* i) { return i->get_operation(operation); }, OutString{"operation", operation});
}

HRESULT CapeOpenBase::get_moreInfo(BSTR* moreInfo)
{
    return proxyCall<LogMode::Checked>(*this, "ECapeUser::get_moreInfo", ecapeUser_,
        [&](ECapeUser* i) { return i->get_moreInfo(moreInfo); }, OutString{"moreInfo", moreInfo});
}

// --- Identification ------------------------------------------------------------------------------

HRESULT CapeOpenBase::get_ComponentName(BSTR* name)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeIdentification::get_ComponentName", identification_,
        [&](ICapeIdentification* i) { return i->get_ComponentName(name); }, UninitializedAnswer{name},
        OutString{"name", name});
}

HRESULT CapeOpenBase::get_ComponentDescription(BSTR* desc)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeIdentification::get_ComponentDescription", identification_,
        [&](ICapeIdentification* i) { return i->get_ComponentDescription(desc); }, UninitializedAnswer{desc},
        OutString{"desc", desc});
}

HRESULT CapeOpenBase::put_ComponentName(BSTR name)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeIdentification::put_ComponentName", identification_,
        [&](ICapeIdentification* i) { return i->put_ComponentName(name); }, InString{"name", name},
        ReadOnlyCheck{}, RenameAfterSuccess{name});
}

HRESULT CapeOpenBase::put_ComponentDescription(BSTR desc)
{
    return proxyCall<LogMode::Checked>(*this, "ICapeIdentification::put_ComponentDescription", identification_,
        [&](ICapeIdentification* i) { return i->put_ComponentDescription(desc); }, InString{"desc", desc},
        ReadOnlyCheck{});
}

HRESULT CapeOpenBase::GetOriginalObject(IUnknown** origObject)
{
    if (!origObject) return E_POINTER;
    wrapped_.copyTo(origObject);
    return S_OK;
}

// --- Shared pieces of the method template --------------------------------------------------------

void ReadOnlyCheck::before(ProxyCall& c) const
{
    if (c.self.readOnly()) c.log->writeError("This object should be considered read-only");
}

namespace detail {

HRESULT barrierCaught(CallLog* log, const BarrierFault& fault)
{
    if (log) log->writeError(fault.recordText().c_str());
    return E_UNEXPECTED;
}

HRESULT refuseNotCreated(CallLog* log)
{
    if (log) {
        log->writeError("object not created");
        log->endFunc(S_OK, nullptr);
    }
    return E_UNEXPECTED;
}

HRESULT refuseNotExposed(CallLog* log, bool silently)
{
    if (log) {
        if (!silently) log->writeWarning("Interface not exposed by object");
        log->endFunc(S_OK, nullptr);
    }
    return silently ? S_OK : E_NOINTERFACE;
}

} // namespace detail
} // namespace tarv
