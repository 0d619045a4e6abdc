// Every method of the logged unit, its port collection and its ports, through the vtable and by name.
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

// A collection of kit ports, so that get_ports and Item make their proxies both ways too.
ComPtr<Object> kitPorts()
{
    auto ports = Object::create<ICapeCollection, ICapeIdentification>(L"Ports");
    ports->returns(&ICapeCollection::Item, kitPort()).returns(&ICapeCollection::Count, 1);
    return ports;
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
         [](IUnknown* f, tarv::CallLog* log) {
             return tarv::createPortCollectionProxy(ComPtr<IUnknown>(f).query<IDispatch>().get(), log, nullptr, 0);
         }},
        {"Unit port", {IID_ICapeCollection, IID_ICapeUnitPort}, kitPort,
         [](IUnknown* f, tarv::CallLog* log) {
             return tarv::createUnitPortProxy(ComPtr<IUnknown>(f).query<IDispatch>().get(), log, nullptr, 0);
         }},
    };
    // Unit: ICapeUnit, ICapeUnitReport, two reaction contexts, ICapeUtilities; the collection; the port's two interfaces.
    EXPECT_EQ(testsupport::checkEveryMethodBothWays(classes), 4 + 4 + 2 + 5 + 2 + 2 + 5);
}
