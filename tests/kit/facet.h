#pragma once
// One interface of a kit object: its own vtable, the object's reference count and QueryInterface.
#include "kit/kit.h"

#include "com/dispatch.h"

#include <type_traits>

namespace kit::detail {

class FacetBase {
public:
    virtual ~FacetBase() = default;
    virtual IUnknown* unknown() noexcept = 0;   // what QueryInterface hands out
    virtual const IID& iid() const noexcept = 0;
    virtual bool dual() const noexcept = 0;
};

// Dual interfaces get IDispatch from the CAPE-OPEN type library; others are plain vtables.
template <class I>
using FacetRoot = std::conditional_t<std::is_base_of_v<IDispatch, I>, tarv::DualImpl<I>, I>;

template <class I>
class Facet : public FacetRoot<I>, public FacetBase {
public:
    using Iface = I;
    Facet(Object& owner, const char* name) : owner_(owner), name_(name) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override { return owner_.QueryInterface(iid, out); }
    ULONG STDMETHODCALLTYPE AddRef() override { return owner_.AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return owner_.Release(); }
    IUnknown* unknown() noexcept override { return static_cast<I*>(this); }
    const IID& iid() const noexcept override { return __uuidof(I); }
    bool dual() const noexcept override { return std::is_base_of_v<IDispatch, I>; }

protected:
    template <class C, class... A>
    HRESULT run(HRESULT (STDMETHODCALLTYPE C::*m)(A...), const char* method, std::type_identity_t<A>... a)
    {
        return owner_.receive<I>(m, name_, method, a...);
    }

private:
    Object& owner_;
    const char* name_;
};

struct InterfaceEntry {
    IID iid;
    const char* name;
    std::unique_ptr<FacetBase> (*make)(Object& owner, const char* name);
};

const std::vector<InterfaceEntry>& interfaceTable();
const InterfaceEntry* findInterface(REFIID iid);

} // namespace kit::detail
