// The parameter, spec, collection and reaction proxies over scripted kit objects, read through their logs.
#include "com/bstr.h"
#include "com/variant.h"
#include "kit/parameters.h"
#include "packages/property_package.h"
#include "params/parameter.h"
#include "params/parameter_collection.h"
#include "params/parameter_spec.h"
#include "params/reaction_object.h"
#include "params/reaction_package.h"
#include "support/log_capture.h"
#include "support/proxy_harness.h"
#include <gtest/gtest.h>
#include <algorithm>
#include <set>
#include <tuple>

using kit::Object;
using tarv::ComPtr;
using tarv::Variant;
using testsupport::LogCapture;
using testsupport::NoLeaks;

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

IDispatch* const kUntouched = reinterpret_cast<IDispatch*>(0x5A5A5A5A);
std::vector<std::string> childNames(const tarv::ExposedObjectBase* owner)
{
    std::vector<std::string> names;
    for (const tarv::CapeOpenBase* child : owner->children()) names.push_back(child->name());
    return names;
}

// A logged 1.1 package in front of a kit object: the owner of the proxies under test.
struct Package {
    ComPtr<Object> real = Object::create<ICapeUtilities, ICapeIdentification>(L"Real package");
    testsupport::Exposed exposed;
    explicit Package(tarv::CallLog* log) : exposed(testsupport::expose<tarv::CPropertyPackage11>(real.get(), log, "Package")) {}
};

const std::vector<IID> kPackageInterfaces = {IID_ICapeReactionChemistry, IID_ICapeReactionsRoutine,
                                             IID_ICapeKineticReactionContext, IID_ICapeElectrolyteReactionContext,
                                             IID_ICapeThermoMaterialContext, IID_ICapeThermoContext10,
                                             IID_ICapeIdentification};

// The class's destruction keeps the foreign references: what the owner's final release does.
void empty(IDispatch* proxy) { dynamic_cast<tarv::CapeOpenBase*>(proxy)->releaseInterfaces(); }

// A reaction package proxy over `real`, emptied before it goes.
struct Made {
    ComPtr<IDispatch> proxy;
    ~Made() { if (proxy) empty(proxy.get()); }
    template <class I> ComPtr<I> as() const { return proxy.query<I>(); }
};

} // namespace

TEST(Dispatch, EveryMethodLogsTheSameWhetherCalledThroughItsVtableOrByName)
{
    std::vector<testsupport::ProxiedInterfaces> classes = {
        {"Parameter collection", {IID_ICapeCollection}, [] { return kit::makeCollection({kit::makeParameter(kit::makeSpec(CAPE_REAL))}); },
         [](IUnknown* f, tarv::CallLog* log) {
             return tarv::createParameterCollectionProxy(ComPtr<IUnknown>(f).query<IDispatch>().get(), log, nullptr, 1, 1);
         }},
        {"Parameter", {IID_ICapeParameter}, [] { return kit::makeParameter(fullSpec()); },
         [](IUnknown* foreign, tarv::CallLog* log) { return tarv::createParameterProxy(foreign, log, nullptr, 1, 1); }},
        {"Parameter Spec", kSpecInterfaces, fullSpec,
         [](IUnknown* foreign, tarv::CallLog* log) { return tarv::createParameterSpecProxy(foreign, log, nullptr, 1, 1); }},
    };
    const std::vector<IID> chemistry = {IID_ICapeReactionChemistry, IID_ICapeReactionsRoutine,
                                        IID_ICapeThermoMaterialContext, IID_ICapeThermoContext10};
    std::vector<IID> package = chemistry, reactionObject = chemistry;
    package.insert(package.end(), {IID_ICapeKineticReactionContext, IID_ICapeElectrolyteReactionContext});
    reactionObject.push_back(IID_ICapeReactionProperties);
    auto kitOf = [](std::vector<IID> interfaces) {
        interfaces.push_back(IID_ICapeIdentification);
        return [interfaces] { return Object::create(interfaces, L"Reactions"); };
    };
    const std::map<std::string, std::string> renamed = {
        {"ICapeThermoContext10::SetMaterial", "ICapeThermoMaterialContext(v1.0)::SetMaterial"}};
    classes.insert(classes.end(), {
        {"Reaction package", package, kitOf(package),
         [](IUnknown* foreign, tarv::CallLog* log) {
             return testsupport::expose<tarv::CReactionPackage10>(static_cast<Object*>(foreign), log, "Package").dispatch;
         },
         renamed, empty},
        {"Reaction object", reactionObject, kitOf(reactionObject),
         [](IUnknown* f, tarv::CallLog* log) {
             return tarv::createReactionObjectProxy(ComPtr<IUnknown>(f).query<IDispatch>().get(), log, nullptr, 0);
         },
         renamed, empty},
    });
    // Collection, parameter, six spec interfaces; each reaction class: chemistry, routine, thermo and reaction contexts or properties.
    EXPECT_EQ(testsupport::checkEveryMethodBothWays(classes), 2 + 8 + 20 + 2 * (12 + 1 + 3 + 2));
}

TEST(ParameterCollection, EachItemComesBackAsANewProxyLoggedAsReceived)
{
    auto parameter = kit::makeParameter(kit::makeSpec(CAPE_REAL), CAPE_INPUT, L"Pressure drop");
    auto collection = kit::makeCollection({parameter, nullptr});
    LogCapture capture;
    {
        NoLeaks leaks{parameter.get(), collection.get()};
        Package package(capture.log());
        auto items = tarv::createParameterCollectionProxy(collection->ptr<ICapeCollection>(), capture.log(), package.exposed.exposed, 1, 0)
                         .query<ICapeCollection>();
        ComPtr<IDispatch> first, second, none;
        IDispatch* failed = kUntouched;
        LONG count = 0;
        EXPECT_EQ(items->Item(Variant::fromLong(1).get(), first.put()), S_OK);
        EXPECT_EQ(items->Item(Variant::fromString(L"1").get(), second.put()), S_OK);
        EXPECT_EQ(items->Item(Variant::fromLong(2).get(), none.put()), S_OK);
        EXPECT_EQ(items->Item(Variant::fromLong(3).get(), &failed), E_INVALIDARG);
        EXPECT_EQ(items->Count(&count), S_OK);
        // Two proxies over the one parameter, each a child; a null item stays null, a failure leaves the location alone.
        ASSERT_TRUE(first && second);
        EXPECT_NE(first.get(), second.get());
        EXPECT_EQ(testsupport::originalOf(first.get()), static_cast<IUnknown*>(parameter->ptr<ICapeParameter>()));
        EXPECT_EQ(testsupport::originalOf(second.get()), testsupport::originalOf(first.get()));
        EXPECT_FALSE(none);
        EXPECT_EQ(failed, kUntouched);
        EXPECT_EQ(childNames(package.exposed.exposed),
                  (std::vector<std::string>{"Parameters", "Pressure drop", "Pressure drop"}));
    }
    EXPECT_EQ(testsupport::withoutAddresses(capture.records()), testsupport::expectedText("params/collection_items.log"));
}

TEST(Parameter, ItsMakingAsksTheModeOfAWritableParameterAndNeverChangesTheFlag)
{
    struct Row { int readOnly; CapeParamMode mode; bool asked; };   // asked: get_Mode at the making
    const Row rows[] = {{0, CAPE_INPUT, true}, {0, CAPE_OUTPUT, true}, {1, CAPE_OUTPUT, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "readOnly " << row.readOnly << ", mode " << row.mode);
        auto parameter = kit::makeParameter(kit::makeSpec(CAPE_REAL), row.mode, L"Reflux ratio", Variant::fromDouble(1.2));
        LogCapture capture;
        NoLeaks leaks{parameter.get()};
        auto proxy = tarv::createParameterProxy(parameter->ptr<ICapeParameter>(), capture.log(), nullptr, 1, row.readOnly);
        EXPECT_EQ(parameter->wasQueried(IID_ICapeParameter), row.asked);
        EXPECT_EQ(parameter->callCount("ICapeParameter::get_Mode"), row.asked ? 1u : 0u);
        EXPECT_EQ(static_cast<tarv::CParameter*>(proxy.query<ICapeParameter>().get())->readOnly(), row.readOnly);
        EXPECT_EQ(capture.records().find("get_Mode"), std::string::npos) << "the mode asked at the making is not logged";
    }
}

TEST(ParameterSpec, AMissingInterfaceRefusesItsMethodsAloneAndTheBoundariesAreTheRealOnes)
{
    auto spec = Object::create<ICapeParameterSpec, ICapeRealParameterSpec, ECapeBoundaries, ICapeIdentification>(L"Temperature spec");
    spec->returns(&ICapeParameterSpec::get_Type, CAPE_REAL).returns(&ICapeRealParameterSpec::get_LowerBound, 200.0)
        .returns(&ICapeRealParameterSpec::get_UpperBound, 600.0).returns(&ECapeBoundaries::get_UpperBound, -1.0);
    LogCapture capture;
    {
        NoLeaks leaks{spec.get()};
        auto proxy = tarv::createParameterSpecProxy(spec->ptr<ICapeParameterSpec>(), capture.log(), nullptr, 1, 0);
        auto parameterSpec = proxy.query<ICapeParameterSpec>();
        auto realSpec = proxy.query<ICapeRealParameterSpec>();
        auto boundaries = proxy.query<ECapeBoundaries>();
        ASSERT_TRUE(parameterSpec && realSpec && boundaries);
        // The interface policy refuses the option interface; the method is reached on the class.
        EXPECT_FALSE(proxy.query<ICapeOptionParameterSpec>());
        ICapeOptionParameterSpec* optionSpec = static_cast<tarv::CParameterSpec*>(parameterSpec.get());
        spec->clearQueries();
        const std::string queried = capture.records();
        CapeParamType type = CAPE_ARRAY;
        double lower = 0, upper = 0;
        Variant options;
        VARIANT_BOOL restricted = VARIANT_FALSE;
        EXPECT_EQ(parameterSpec->get_Type(&type), S_OK);
        EXPECT_EQ(realSpec->get_LowerBound(&lower), S_OK);
        EXPECT_EQ(optionSpec->get_OptionList(options.put()), E_NOINTERFACE);
        EXPECT_EQ(boundaries->get_UpperBound(&upper), S_OK);
        EXPECT_EQ(optionSpec->get_RestrictedToList(&restricted), E_NOINTERFACE);
        EXPECT_EQ(std::tuple(type, lower, upper), std::tuple(CAPE_REAL, 200.0, 600.0));
        // Each foreign interface is asked for when first used, a found one once; the boundaries never reach ECapeBoundaries.
        const auto& queries = spec->queries();
        EXPECT_EQ(std::count(queries.begin(), queries.end(), IID_ICapeRealParameterSpec), 1);
        EXPECT_EQ(std::count(queries.begin(), queries.end(), IID_ICapeParameterSpec), 1);
        EXPECT_EQ(spec->callCount("ECapeBoundaries::get_UpperBound"), 0u);
        EXPECT_EQ(capture.records().substr(queried.size()), testsupport::expectedText("params/missing_interface.log"));
    }
}

TEST(ParameterSpec, ItemsSpecificationsAreReplacedInPlaceFirstIndexFastest)
{
    struct Row { const char* what; std::vector<LONG> sizes; std::vector<int> nulls; HRESULT result; };   // nulls: in filling order
    // A null element faults in the walk: the call fails and the caller gets nothing.
    const Row rows[] = {{"3", {3}, {}, S_OK}, {"2 by 3", {2, 3}, {}, S_OK}, {"2 by 1 by 2", {2, 1, 2}, {}, S_OK},
                        {"empty", {0}, {}, S_OK}, {"a null second element", {3}, {1}, E_UNEXPECTED}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        LONG total = 1;
        for (LONG n : row.sizes) total *= n;
        std::vector<ComPtr<Object>> items;
        std::vector<std::pair<Object*, ULONG>> watched;   // the items and their reference counts
        for (LONG i = 0; i < total; ++i) {
            const bool null = std::find(row.nulls.begin(), row.nulls.end(), i) != row.nulls.end();
            items.push_back(null ? nullptr : kit::makeSpec(CAPE_REAL, L"Item " + std::to_wstring(i + 1)));
        }
        auto arraySpec = kit::makeSpec(CAPE_ARRAY, L"Composition spec");
        kit::giveItems(*arraySpec.get(), items, row.sizes);
        for (const ComPtr<Object>& item : items)
            if (item) watched.emplace_back(item.get(), item->refCount());
        LogCapture capture;
        {
            NoLeaks leaks{arraySpec.get()};
            Package package(capture.log());
            auto proxy = tarv::createParameterSpecProxy(arraySpec->ptr<ICapeParameterSpec>(), capture.log(), package.exposed.exposed, 0, 1)
                             .query<ICapeArrayParameterSpec>();
            const std::string made = capture.records();
            Variant specs;
            ASSERT_EQ(proxy->get_ItemsSpecifications(specs.put()), row.result);
            const std::string record = capture.records().substr(made.size());
            if (FAILED(row.result)) {
                EXPECT_EQ(specs.get().vt, VT_EMPTY);
                EXPECT_NE(record.find("<error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION"),
                          std::string::npos) << record;
            } else {
                // Element (i, j, ...) is a new proxy over item i + 2 j + ..., the items made in that order.
                ASSERT_EQ(specs.get().vt, VT_ARRAY | VT_DISPATCH);
                std::vector<LONG> index(row.sizes.size(), 0);
                std::set<IDispatch*> proxies;
                std::vector<std::string> expectedChildren{"Composition spec"};
                for (const ComPtr<Object>& item : items) {
                    ComPtr<IDispatch> element;
                    SafeArrayGetElement(specs.get().parray, index.data(), element.put());
                    EXPECT_EQ(testsupport::originalOf(element.get()), static_cast<IUnknown*>(item->ptr<ICapeParameterSpec>()));
                    EXPECT_EQ(static_cast<tarv::CParameterSpec*>(element.query<ICapeParameterSpec>().get())->readOnly(), 1);
                    proxies.insert(element.get());
                    expectedChildren.push_back(tarv::toNarrow(item->name()));
                    for (size_t d = 0; d < index.size() && ++index[d] == row.sizes[d]; ++d) index[d] = 0;
                }
                EXPECT_EQ(proxies.size(), items.size());
                EXPECT_EQ(childNames(package.exposed.exposed), expectedChildren);
            }
        }
        for (auto [item, refs] : watched) EXPECT_EQ(item->refCount(), refs) << tarv::toNarrow(item->name());
    }
}

TEST(ReactionProxies, EachElectrolyteQueryMakesATearOffThatSharesThePackagesInterface)
{
    auto real = Object::create(kPackageInterfaces, L"Real");
    auto reactions = Object::create<ICapeReactionProperties, ICapeIdentification>(L"Reactions");
    std::vector<IUnknown*> received;
    real->on(&ICapeElectrolyteReactionContext::SetReactionObject, [&](IDispatch** r) { received.push_back(testsupport::originalOf(*r)); });
    LogCapture capture;
    {
        NoLeaks leaks{real.get(), reactions.get()};
        Made package{testsupport::expose<tarv::CReactionPackage10>(real.get(), capture.log(), "Package").dispatch};
        auto first = package.as<ICapeElectrolyteReactionContext>();
        auto second = package.as<ICapeElectrolyteReactionContext>();
        ASSERT_TRUE(first && second);
        EXPECT_NE(first.get(), second.get());
        // Every query goes to the package: the tear-off's own interface is another tear-off.
        auto third = first.query<ICapeElectrolyteReactionContext>();
        EXPECT_NE(third.get(), first.get());
        EXPECT_EQ(first.query<IUnknown>().get(), package.proxy.query<IUnknown>().get());
        auto fetches = [&] { return std::count(real->queries().begin(), real->queries().end(), IID_ICapeElectrolyteReactionContext); };
        const auto before = fetches();
        IDispatch* object = reactions->ptr<IDispatch>();
        EXPECT_EQ(first->SetReactionObject(&object), S_OK);
        EXPECT_EQ(second->SetReactionObject(&object), S_OK);
        EXPECT_EQ(fetches() - before, 1);
    }
    IUnknown* given = reactions->ptr<IDispatch>();
    EXPECT_EQ(received, (std::vector<IUnknown*>{given, given}));
    EXPECT_EQ(testsupport::occurrences(capture.records(),
                                       "<func name=\"ICapeElectrolyteReactionContext::SetReactionObject\" direc=\"in\" object=\"Package\">"), 2u);
}
