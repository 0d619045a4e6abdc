#pragma once
// Base of every object of the server that stands for a foreign CAPE-OPEN object. It holds the
// foreign object and the interfaces obtained from it, the shared call log, the object's name and
// type as the log shows them, and serves the error and identification side of CAPE-OPEN once for
// all proxies.
#include "capeopen.h"
#include "com/com_ptr.h"
#include "com/dispatch.h"
#include "log/call_log.h"
#include "tarvlib.h"

#include <string>

namespace tarv {

class CapeOpenBase;
class ExposedObjectBase;

// One row of a class's interface table: the interface and how to reach it in the proxy. `get`
// returns the interface with a new reference (a tear-off is made there).
struct InterfaceEntry {
    const IID* iid;
    IUnknown* (*get)(CapeOpenBase* self);
};

struct InterfaceTable {
    const InterfaceEntry* first;
    const InterfaceEntry* last;
    const InterfaceEntry* find(REFIID iid) const;
};

// A list of interfaces, for interface tables built at compile time.
template <class... I>
struct InterfaceList {};

// Variation points of the interface policy; only the logged unit operation differs.
struct QueryPolicy {
    bool refusesIPersistStream = false;    // answer IPersistStream with E_NOINTERFACE and a note
    bool answersBeforeCreation = false;    // with no foreign object, answer from the table silently
};

class CapeOpenBase
    : public DualImpl<ECapeBadArgument>,
      public DualImpl<ECapeBadCOParameter>,
      public DualImpl<ECapeBadInvOrder>,
      public DualImpl<ECapeBoundaries>,
      public DualImpl<ECapeComputation>,
      public DualImpl<ECapeData>,
      public DualImpl<ECapeFailedInitialisation>,
      public DualImpl<ECapeIllegalAccess>,
      public DualImpl<ECapeImplementation>,
      public DualImpl<ECapeInvalidArgument>,
      public DualImpl<ECapeInvalidOperation>,
      public DualImpl<ECapeLicenceError>,
      public DualImpl<ECapeLimitedImpl>,
      public DualImpl<ECapeNoImpl>,
      public DualImpl<ECapeNoMemory>,
      public DualImpl<ECapeOutOfBounds>,
      public DualImpl<ECapeOutOfResources>,
      public DualImpl<ECapePersistence>,
      public DualImpl<ECapePersistenceNotFound>,
      public DualImpl<ECapePersistenceOverflow>,
      public DualImpl<ECapePersistenceSystemError>,
      public DualImpl<ECapeRoot>,
      public DualImpl<ECapeSolvingError>,
      public DualImpl<ECapeThrmPropertyNotAvailable>,
      public DualImpl<ECapeTimeOut>,
      public DualImpl<ECapeUnknown>,
      public DualImpl<ECapeUser>,
      public DualImpl<ICapeIdentification>,
      public DualImpl<IOriginalObject64, TypeLib::Tarv> {
public:
    // Interfaces a base class adds behind IOriginalObject64 in its subclasses' tables.
    using ExtraInterfaces = InterfaceList<>;

    CapeOpenBase(const CapeOpenBase&) = delete;
    CapeOpenBase& operator=(const CapeOpenBase&) = delete;

    // The error getters, forwarded to the foreign object's live error state.
    HRESULT STDMETHODCALLTYPE get_position(short* position) override;
    HRESULT STDMETHODCALLTYPE get_parameterName(BSTR* parameterName) override;
    HRESULT STDMETHODCALLTYPE get_parameter(IDispatch** parameter) override;
    HRESULT STDMETHODCALLTYPE get_requestedOperation(BSTR* requestedOperation) override;
    HRESULT STDMETHODCALLTYPE get_LowerBound(double* lowerBound) override;
    HRESULT STDMETHODCALLTYPE get_UpperBound(double* upperBound) override;
    HRESULT STDMETHODCALLTYPE get_value(double* value) override;
    HRESULT STDMETHODCALLTYPE get_Type(BSTR* type) override;
    HRESULT STDMETHODCALLTYPE get_itemName(BSTR* itemName) override;
    HRESULT STDMETHODCALLTYPE get_name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_code(LONG* code) override;
    HRESULT STDMETHODCALLTYPE get_description(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE get_scope(BSTR* scope) override;
    HRESULT STDMETHODCALLTYPE get_interfaceName(BSTR* interfaceName) override;
    HRESULT STDMETHODCALLTYPE get_operation(BSTR* operation) override;
    HRESULT STDMETHODCALLTYPE get_moreInfo(BSTR* moreInfo) override;

    // ICapeIdentification
    HRESULT STDMETHODCALLTYPE get_ComponentName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE put_ComponentName(BSTR name) override;
    HRESULT STDMETHODCALLTYPE get_ComponentDescription(BSTR* desc) override;
    HRESULT STDMETHODCALLTYPE put_ComponentDescription(BSTR desc) override;

    // IOriginalObject64: the foreign object with a new reference; never logged.
    HRESULT STDMETHODCALLTYPE GetOriginalObject(IUnknown** origObject) override;

    // Creation (see factory.h): take over a reference to the foreign object; attach the log and
    // learn the object's name.
    void attachObject(IUnknown* foreign);
    void attachLog(CallLog* log, const char* givenName);

    // Releases and nulls the cached foreign interfaces and `wrapped`: afterwards the proxy answers
    // "object not created". Overrides release their own pointers, then call the base.
    virtual void releaseInterfaces();

    IUnknown* wrapped() const { return wrapped_.get(); }
    CallLog* log() const { return log_; }
    const std::string& name() const { return name_; }
    const std::string& type() const { return type_; }
    int isInput() const { return isInput_; }
    int readOnly() const { return readOnly_; }
    ExposedObjectBase* owner() const { return owner_; }
    LONG refCount() const { return refCount_; }

    void setReadOnly(int readOnly) { readOnly_ = readOnly; }
    void setIsInput(int isInput) { isInput_ = isInput; }
    void setOwner(ExposedObjectBase* owner) { owner_ = owner; }
    void setName(std::string name) { name_ = std::move(name); }

    // The shared IUnknown of all interfaces of a proxy, installed by ProxyClass.
    HRESULT queryInterfaceImpl(REFIID iid, void** out);
    ULONG addRefImpl();
    ULONG releaseImpl();

protected:
    CapeOpenBase();
    virtual ~CapeOpenBase();

    virtual const InterfaceTable& interfaceTable() const = 0;
    virtual QueryPolicy queryPolicy() const { return {}; }
    // Whether destruction releases the foreign references (two classes keep them).
    virtual bool releasesOnDestruction() const { return true; }
    // Runs at final release after the foreign interfaces are released and before the base's own
    // teardown (the exposed objects report their children and close the log here).
    virtual void beforeTeardown() {}

    // The unsupported-interface handler: interfaces without method proxies go to the foreign
    // object raw.
    HRESULT queryUnsupported(REFIID iid, void** out);
    HRESULT answerFromTable(REFIID iid, void** out);

    ComPtr<IUnknown> wrapped_;
    ComPtr<ECapeBadArgument> ecapeBadArgument_;
    ComPtr<ECapeBadCOParameter> ecapeBadCOParameter_;
    ComPtr<ECapeBadInvOrder> ecapeBadInvOrder_;
    ComPtr<ECapeBoundaries> ecapeBoundaries_;
    ComPtr<ECapePersistenceNotFound> ecapePersistenceNotFound_;
    ComPtr<ECapeRoot> ecapeRoot_;
    ComPtr<ECapeUser> ecapeUser_;
    ComPtr<ICapeIdentification> identification_;
    CallLog* log_ = nullptr;
    std::string name_;
    std::string type_ = "<unknown>";
    int isInput_ = 1;
    int readOnly_ = 0;
    ExposedObjectBase* owner_ = nullptr;

private:
    void finalRelease();
    LONG refCount_ = 0;
};

// Name of a foreign object as its ICapeIdentification tells it, converted to narrow text; false if
// the object has no identification or the call fails. A null name gives an empty string.
bool fetchComponentName(IUnknown* object, std::string* name);

} // namespace tarv
