#pragma once
// Base of the proxies at the root of a proxy tree (the exposed packages and the logged unit
// operation): the component lifecycle through ICapeUtilities, the list of proxies made on the
// tree's behalf, the report of those still alive at the end, and the closing of the log.
#include "proxy/cape_open_base.h"

#include <vector>

namespace tarv {

class ExposedObjectBase : public CapeOpenBase, public DualImpl<ICapeUtilities> {
public:
    using ExtraInterfaces = InterfaceList<ICapeUtilities>;

    HRESULT STDMETHODCALLTYPE get_parameters(IDispatch** parameters) override;
    HRESULT STDMETHODCALLTYPE put_simulationContext(IDispatch* context) override;
    HRESULT STDMETHODCALLTYPE Initialize() override;
    HRESULT STDMETHODCALLTYPE Terminate() override;
    HRESULT STDMETHODCALLTYPE Edit() override;

    void releaseInterfaces() override;

    // -1 none, 0 CAPE-OPEN 1.0, 1 CAPE-OPEN 1.1: what material objects of this tree follow.
    int thermoVersion() const { return thermoVersion_; }

    // The live proxies whose owner this is, in order of creation; not counted.
    const std::vector<CapeOpenBase*>& children() const { return children_; }
    void addChild(CapeOpenBase* child) { children_.push_back(child); }
    void removeChild(CapeOpenBase* child);

protected:
    ExposedObjectBase() = default;
    void beforeTeardown() override;

    int thermoVersion_ = -1;
    std::vector<CapeOpenBase*> children_;
    ComPtr<ICapeUtilities> utilities_;
};

} // namespace tarv
