#pragma once
// The logged unit operation: the class a simulator places on its flowsheet to have one real unit
// operation logged, with all that is connected to its ports. It is made empty; InitNew or Load
// creates the real unit operation behind it (chosen by the user, configured, or named by the saved
// stream), and until then every other call answers "object not created".
#include "proxy/proxy_class.h"
#include "proxy/tear_off.h"
#include "unit/persistent_object.h"

namespace tarv {

class CUnitOperation
    : public ProxyClass<CUnitOperation, PersistentObject, ICapeUnit, ICapeUnit, ICapeUnitReport,
                        ICapeKineticReactionContext> {
public:
    // The class object's creation: a new unit operation with its own log, if the user wants one.
    static HRESULT create(IUnknown* outer, REFIID iid, void** out);

    CUnitOperation();

    // ICapeUnit
    HRESULT STDMETHODCALLTYPE get_ports(IDispatch** ports) override;
    HRESULT STDMETHODCALLTYPE get_ValStatus(CapeValidationStatus* status) override;
    HRESULT STDMETHODCALLTYPE Calculate() override;
    HRESULT STDMETHODCALLTYPE Validate(BSTR* message, VARIANT_BOOL* isValid) override;
    // ICapeUnitReport
    HRESULT STDMETHODCALLTYPE get_reports(VARIANT* reports) override;
    HRESULT STDMETHODCALLTYPE get_selectedReport(BSTR* report) override;
    HRESULT STDMETHODCALLTYPE put_selectedReport(BSTR report) override;
    HRESULT STDMETHODCALLTYPE ProduceReport(BSTR* message) override;
    // ICapeKineticReactionContext (the electrolyte context is a tear-off with a method of its own)
    HRESULT STDMETHODCALLTYPE SetReactionObject(IDispatch** reactionsObject) override;
    // ICapeUtilities::Initialize creates the real unit operation first if InitNew was never called.
    HRESULT STDMETHODCALLTYPE Initialize() override;

    HRESULT setElectrolyteReactionObject(IDispatch** reactionsObject);
    void releaseInterfaces() override;

    static void extraInterfaceRows(std::vector<InterfaceEntry>& rows);

protected:
    QueryPolicy queryPolicy() const override { return {true, true}; }
    bool createLoggedObject(ProxyCall& c, std::wstring& errorText) override;
    const CLSID& ownClassId() const override;

private:
    ComPtr<ICapeUnit> unit_;
    ComPtr<ICapeUnitReport> unitReport_;
    ComPtr<ICapeKineticReactionContext> kineticContext_;
};

// ICapeElectrolyteReactionContext of a unit operation: made at each query; asks the real unit
// operation for the interface at each call, caching nothing.
class CCUnitElectrolyteContext final : public TearOff<CUnitOperation, ICapeElectrolyteReactionContext> {
public:
    using TearOff::TearOff;
    HRESULT STDMETHODCALLTYPE SetReactionObject(IDispatch** reactionsObject) override
    {
        return owner().setElectrolyteReactionObject(reactionsObject);
    }
};

} // namespace tarv
