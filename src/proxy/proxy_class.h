#pragma once
// ProxyClass completes a proxy class: one dual interface implementation per interface of its own,
// the single IUnknown of the object, and its interface table as data. A concrete proxy is
//
//   class CMaterialTemplate
//       : public ProxyClass<CMaterialTemplate, CapeOpenBase, ICapeThermoMaterialTemplate,
//                           ICapeThermoMaterialTemplate> { ... };
//
// where the third argument is the default dispatch interface (the object's identity) and the rest
// are its own interfaces in table order. The table is: IDispatch, the own interfaces, the ECape*
// error interfaces, ICapeIdentification, IOriginalObject64, then what the base adds
// (ICapeUtilities for exposed objects) and any extra rows of the class (tear-offs).
#include "proxy/cape_open_base.h"

#include <vector>

namespace tarv {

namespace detail {

template <class D, class I>
IUnknown* interfaceOf(CapeOpenBase* self)
{
    I* p = static_cast<D*>(self);
    p->AddRef();
    return p;
}

template <class D, class Default>
IUnknown* dispatchOf(CapeOpenBase* self)
{
    IDispatch* p = static_cast<Default*>(static_cast<D*>(self));
    p->AddRef();
    return p;
}

template <class D, class I>
InterfaceEntry entryOf()
{
    return {&__uuidof(I), &interfaceOf<D, I>};
}

template <class D, class... I>
void appendEntries(std::vector<InterfaceEntry>& rows, InterfaceList<I...>)
{
    (rows.push_back(entryOf<D, I>()), ...);
}

// The error interfaces, ICapeIdentification and IOriginalObject64 that every proxy presents.
using CommonInterfaces = InterfaceList<
    ECapeBadArgument, ECapeBadCOParameter, ECapeBadInvOrder, ECapeBoundaries, ECapeComputation, ECapeData,
    ECapeFailedInitialisation, ECapeIllegalAccess, ECapeImplementation, ECapeInvalidArgument,
    ECapeInvalidOperation, ECapeLicenceError, ECapeLimitedImpl, ECapeNoImpl, ECapeNoMemory, ECapeOutOfBounds,
    ECapeOutOfResources, ECapePersistence, ECapePersistenceNotFound, ECapePersistenceOverflow,
    ECapePersistenceSystemError, ECapeRoot, ECapeSolvingError, ECapeThrmPropertyNotAvailable, ECapeTimeOut,
    ECapeUnknown, ECapeUser, ICapeIdentification, IOriginalObject64>;

template <class D>
concept HasExtraRows = requires(std::vector<InterfaceEntry>& rows) { D::extraInterfaceRows(rows); };

} // namespace detail

template <class Derived, class Base, class Default, class... Own>
class ProxyClass : public Base, public DualImpl<Own>... {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        return this->queryInterfaceImpl(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return this->addRefImpl(); }
    ULONG STDMETHODCALLTYPE Release() override { return this->releaseImpl(); }

protected:
    using Base::Base;

    const InterfaceTable& interfaceTable() const override
    {
        static const std::vector<InterfaceEntry> rows = [] {
            std::vector<InterfaceEntry> r;
            r.push_back({&IID_IDispatch, &detail::dispatchOf<Derived, Default>});
            detail::appendEntries<Derived>(r, InterfaceList<Own...>{});
            detail::appendEntries<Derived>(r, detail::CommonInterfaces{});
            detail::appendEntries<Derived>(r, typename Base::ExtraInterfaces{});
            if constexpr (detail::HasExtraRows<Derived>) Derived::extraInterfaceRows(r);
            return r;
        }();
        static const InterfaceTable table{rows.data(), rows.data() + rows.size()};
        return table;
    }
};

} // namespace tarv
