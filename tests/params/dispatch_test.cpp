// Every method of the parameter and reaction proxies reached both ways, through its vtable slot and by name
// through the interface's IDispatch: both ways must log the same records and reach the foreign
// object the same way. The kit objects answer with parameters and specs, so that the
// wrapping methods make their proxies both ways too.
#include "kit/parameters.h"
#include "params/parameter.h"
#include "params/parameter_collection.h"
#include "params/parameter_spec.h"
#include "params/reaction_object.h"
#include "params/reaction_package.h"
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
    // ICapeCollection has 2 methods, ICapeParameter 8, the six spec interfaces 20.
    EXPECT_EQ(testsupport::checkEveryMethodBothWays(classes), 2 + 8 + 20);
}

TEST(Dispatch, EveryReactionMethodLogsTheSameWhetherCalledThroughItsVtableOrByName)
{
    const std::vector<IID> chemistry = {IID_ICapeReactionChemistry, IID_ICapeReactionsRoutine,
                                        IID_ICapeThermoMaterialContext, IID_ICapeThermoContext10};
    std::vector<IID> package = chemistry, reactionObject = chemistry;
    package.insert(package.end(), {IID_ICapeKineticReactionContext, IID_ICapeElectrolyteReactionContext});
    reactionObject.push_back(IID_ICapeReactionProperties);
    auto kitOf = [](std::vector<IID> interfaces) {
        interfaces.push_back(IID_ICapeIdentification);
        return [interfaces] { return Object::create(interfaces, L"Reactions"); };
    };
    // Both keep the foreign references at their destruction; the owner's final release empties them.
    auto emptied = [](IDispatch* proxy) { dynamic_cast<tarv::CapeOpenBase*>(proxy)->releaseInterfaces(); };
    const std::map<std::string, std::string> renamed = {
        {"ICapeThermoContext10::SetMaterial", "ICapeThermoMaterialContext(v1.0)::SetMaterial"}};
    const std::vector<testsupport::ProxiedInterfaces> classes = {
        {"Reaction package", package, kitOf(package),
         [](IUnknown* foreign, tarv::CallLog* log) {
             return testsupport::expose<tarv::CReactionPackage10>(static_cast<Object*>(foreign), log, "Package").dispatch;
         },
         renamed, emptied},
        {"Reaction object", reactionObject, kitOf(reactionObject),
         [](IUnknown* foreign, tarv::CallLog* log) {
             ComPtr<IDispatch> object;
             foreign->QueryInterface(IID_IDispatch, object.putVoid());
             return tarv::createReactionObjectProxy(object.get(), log, nullptr, 0);
         },
         renamed, emptied},
    };
    // Chemistry 12, the routine 1, the two thermo contexts 3; the package's two reaction contexts
    // 2, the object's properties 2.
    EXPECT_EQ(testsupport::checkEveryMethodBothWays(classes), 2 * (12 + 1 + 3 + 2));
}
