// Every method of the logged unit operation, its port collection and its ports reached both ways,
// through its vtable slot and by name through the interface's IDispatch: both ways must log the
// same records and reach the real object the same way. The kit unit answers a collection of kit
// ports, so that get_ports and Item make their proxies both ways too.
#include "kit/parameters.h"
#include "support/proxy_harness.h"
#include "unit/ports.h"
#include "unit/unit_operation.h"

#include <gtest/gtest.h>

using kit::Object;
using tarv::ComPtr;

namespace {

ComPtr<Object> kitPort()
{
    auto port = Object::create<ICapeUnitPort, ICapeCollection, ICapeIdentification>(L"Feed");
    port->returns(&ICapeCollection::Item, kit::makeSpec(CAPE_REAL, L"Port item"));
    return port;
}

ComPtr<Object> kitPorts()
{
    auto ports = Object::create<ICapeCollection, ICapeIdentification>(L"Ports");
    ports->returns(&ICapeCollection::Item, kitPort());
    ports->returns(&ICapeCollection::Count, 1);
    return ports;
}

ComPtr<IDispatch> dispatchOf(IUnknown* foreign)
{
    ComPtr<IDispatch> dispatch;
    foreign->QueryInterface(IID_IDispatch, dispatch.putVoid());
    return dispatch;
}

} // namespace

TEST(Dispatch, EveryUnitMethodLogsTheSameWhetherCalledThroughItsVtableOrByName)
{
    const std::vector<IID> unit = {IID_ICapeUnit, IID_ICapeUnitReport, IID_ICapeKineticReactionContext,
                                   IID_ICapeElectrolyteReactionContext, IID_ICapeUtilities};
    const std::vector<testsupport::ProxiedInterfaces> classes = {
        {"Unit operation", unit,
         [unit] {
             std::vector<IID> all = unit;
             all.push_back(IID_ICapeIdentification);
             auto real = Object::create(all, L"Flash");
             real->returns(&ICapeUnit::get_ports, kitPorts());
             return real;
         },
         [](IUnknown* foreign, tarv::CallLog* log) {
             return testsupport::expose<tarv::CUnitOperation>(static_cast<Object*>(foreign), log, "Flash").dispatch;
         }},
        {"Port collection", {IID_ICapeCollection}, kitPorts,
         [](IUnknown* foreign, tarv::CallLog* log) {
             return tarv::createPortCollectionProxy(dispatchOf(foreign).get(), log, nullptr, 0);
         }},
        {"Unit port", {IID_ICapeCollection, IID_ICapeUnitPort}, kitPort,
         [](IUnknown* foreign, tarv::CallLog* log) {
             return tarv::createUnitPortProxy(dispatchOf(foreign).get(), log, nullptr, 0);
         }},
    };
    // The unit: ICapeUnit 4, ICapeUnitReport 4, the two reaction contexts 1 each, ICapeUtilities 5.
    // The collection 2; the port its collection's 2 and ICapeUnitPort's 5.
    EXPECT_EQ(testsupport::checkEveryMethodBothWays(classes), 4 + 4 + 2 + 5 + 2 + 2 + 5);
}
