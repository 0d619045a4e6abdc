// Every method of the parameter proxies reached both ways, through its vtable slot and by name
// through the interface's IDispatch: both ways must log the same records and reach the foreign
// object the same way. The kit objects answer with parameters and specifications, so that the
// wrapping methods make their proxies both ways too.
#include "kit/parameters.h"
#include "params/parameter.h"
#include "params/parameter_collection.h"
#include "params/parameter_spec.h"
#include "support/proxy_harness.h"

#include <gtest/gtest.h>

using kit::Object;
using tarv::ComPtr;

namespace {

const std::vector<IID> kSpecInterfaces = {IID_ICapeArrayParameterSpec, IID_ICapeBooleanParameterSpec,
                                          IID_ICapeIntegerParameterSpec, IID_ICapeOptionParameterSpec,
                                          IID_ICapeParameterSpec, IID_ICapeRealParameterSpec};

ComPtr<Object> fullSpec()
{
    std::vector<IID> all = kSpecInterfaces;
    all.push_back(IID_ICapeIdentification);
    auto spec = Object::create(all, L"Spec");
    kit::giveItems(*spec.get(), {kit::makeSpec(CAPE_REAL, L"Item 1"), kit::makeSpec(CAPE_INT, L"Item 2")}, {2});
    return spec;
}

} // namespace

TEST(Dispatch, EveryMethodLogsTheSameWhetherCalledThroughItsVtableOrByName)
{
    const std::vector<testsupport::ProxiedInterfaces> classes = {
        {"Parameter collection", {IID_ICapeCollection},
         [] { return kit::makeCollection({kit::makeParameter(kit::makeSpec(CAPE_REAL))}); },
         [](IUnknown* foreign, tarv::CallLog* log) {
             ComPtr<IDispatch> collection;
             foreign->QueryInterface(IID_IDispatch, collection.putVoid());
             return tarv::createParameterCollectionProxy(collection.get(), log, nullptr, 1, 1);
         }},
        {"Parameter", {IID_ICapeParameter}, [] { return kit::makeParameter(fullSpec()); },
         [](IUnknown* foreign, tarv::CallLog* log) { return tarv::createParameterProxy(foreign, log, nullptr, 1, 1); }},
        {"Parameter Spec", kSpecInterfaces, fullSpec,
         [](IUnknown* foreign, tarv::CallLog* log) { return tarv::createParameterSpecProxy(foreign, log, nullptr, 1, 1); }},
    };
    // ICapeCollection has 2 methods, ICapeParameter 8, the six specification interfaces 20.
    EXPECT_EQ(testsupport::checkEveryMethodBothWays(classes), 2 + 8 + 20);
}
