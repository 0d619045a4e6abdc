// The reaction package and the reaction object proxy over kit objects, read through their logs:
// the null material in each class's wording, the electrolyte tear-offs, a reaction object without
// some of its interfaces, and its parameter collections. The package's road with and without a
// log (materials, reaction objects, parameters) is the server's, shown out of process.
#include "com/bstr.h"
#include "com/variant.h"
#include "kit/parameters.h"
#include "params/reaction_object.h"
#include "params/reaction_package.h"
#include "support/log_capture.h"
#include "support/proxy_harness.h"

#include <gtest/gtest.h>

#include <algorithm>

using kit::Object;
using tarv::Bstr;
using tarv::ComPtr;
using testsupport::LogCapture;
using testsupport::NoLeaks;

namespace {

const std::vector<IID> kPackageInterfaces = {IID_ICapeReactionChemistry, IID_ICapeReactionsRoutine,
                                             IID_ICapeKineticReactionContext, IID_ICapeElectrolyteReactionContext,
                                             IID_ICapeThermoMaterialContext, IID_ICapeThermoContext10,
                                             IID_ICapeIdentification};

IDispatch* const kUntouched = reinterpret_cast<IDispatch*>(0x5A5A5A5A);

// The class's destruction keeps the foreign references: what the owner's final release does.
void empty(IDispatch* proxy)
{
    dynamic_cast<tarv::CapeOpenBase*>(proxy)->releaseInterfaces();
}

// A reaction package or reaction object proxy over `real`, emptied before it goes.
struct Made {
    ComPtr<IDispatch> proxy;
    ~Made()
    {
        if (proxy) empty(proxy.get());
    }
    template <class I>
    ComPtr<I> as() const
    {
        return proxy.query<I>();
    }
};

enum class Class { Package, ReactionObject };

Made make(Class c, Object* real, tarv::CallLog* log)
{
    if (c == Class::Package) return {testsupport::expose<tarv::CReactionPackage10>(real, log, "Package").dispatch};
    return {tarv::createReactionObjectProxy(real->ptr<IDispatch>(), log, nullptr, 0)};
}

} // namespace

TEST(ReactionProxies, ANullMaterialIsReportedInEachClassesWordingAndForwarded)
{
    struct Row {
        Class cls;
        bool byReference;   // the 1.0 context: no report
        const char* error;
    } rows[] = {
        {Class::Package, false, "Cannot pass NULL to SetMaterial; use UnsetMaterial instead"},
        {Class::ReactionObject, false, "Cannot pass NULL pointer to SetMaterial; use UnsetMaterial instead"},
        {Class::Package, true, nullptr},
        {Class::ReactionObject, true, nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(static_cast<int>(row.cls) * 2 + row.byReference);
        auto real = Object::create(kPackageInterfaces, L"Real");
        IDispatch* received = kUntouched;
        real->on(&ICapeThermoMaterialContext::SetMaterial, [&](IDispatch* m) { received = m; });
        real->on(&ICapeThermoContext10::SetMaterial, [&](IDispatch** m) { received = *m; });
        LogCapture capture;
        {
            NoLeaks leaks{real.get()};
            Made made = make(row.cls, real.get(), capture.log());
            IDispatch* none = nullptr;
            EXPECT_EQ(row.byReference ? made.as<ICapeThermoContext10>()->SetMaterial(&none)
                                      : made.as<ICapeThermoMaterialContext>()->SetMaterial(nullptr),
                      S_OK);
        }
        EXPECT_EQ(received, nullptr);
        const std::string records = capture.records();
        EXPECT_NE(records.find(row.byReference ? "ICapeThermoMaterialContext(v1.0)::SetMaterial"
                                               : "ICapeThermoMaterialContext::SetMaterial"),
                  std::string::npos);
        EXPECT_EQ(testsupport::occurrences(records, "<error "), row.error ? 1u : 0u) << records;
        if (row.error) {
            EXPECT_NE(records.find(std::string("<error value=\"") + row.error + "\"/>"), std::string::npos);
        }
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
        Made package = make(Class::Package, real.get(), capture.log());
        auto first = package.as<ICapeElectrolyteReactionContext>();
        auto second = package.as<ICapeElectrolyteReactionContext>();
        ASSERT_TRUE(first && second);
        EXPECT_NE(first.get(), second.get());
        // Every query goes to the package: the tear-off's own interface is another tear-off.
        auto third = first.query<ICapeElectrolyteReactionContext>();
        EXPECT_NE(third.get(), first.get());
        EXPECT_EQ(first.query<IUnknown>().get(), package.proxy.query<IUnknown>().get());
        auto fetches = [&] {
            return std::count(real->queries().begin(), real->queries().end(), IID_ICapeElectrolyteReactionContext);
        };
        const auto before = fetches();
        IDispatch* object = reactions->ptr<IDispatch>();
        EXPECT_EQ(first->SetReactionObject(&object), S_OK);
        EXPECT_EQ(second->SetReactionObject(&object), S_OK);
        EXPECT_EQ(fetches() - before, 1);
    }
    IUnknown* given = reactions->ptr<IDispatch>();
    EXPECT_EQ(received, (std::vector<IUnknown*>{given, given}));
    EXPECT_EQ(testsupport::occurrences(capture.records(),
                                       "<func name=\"ICapeElectrolyteReactionContext::SetReactionObject\" direc=\"in\" "
                                       "object=\"Package\">"),
              2u);
}

TEST(ReactionProxies, AReactionObjectWithoutItsPropertiesStillAnswersItsChemistry)
{
    auto real = Object::create<ICapeReactionChemistry, ICapeIdentification>(L"Chemistry only");
    real->returns(&ICapeReactionChemistry::GetNumberOfReactions, 2);
    LogCapture capture;
    {
        NoLeaks leaks{real.get()};
        Made made = make(Class::ReactionObject, real.get(), capture.log());
        LONG n = 0;
        EXPECT_EQ(made.as<ICapeReactionChemistry>()->GetNumberOfReactions(&n), S_OK);
        EXPECT_EQ(n, 2);
        EXPECT_FALSE(made.as<ICapeReactionProperties>());
        // Called on the proxy itself, as a component holding the class would.
        ICapeReactionProperties* properties = dynamic_cast<tarv::CReactionObject*>(made.proxy.get());
        tarv::Variant values;
        EXPECT_EQ(properties->GetReactionProp(Bstr(L"reactionRate").get(), Bstr(L"Vapor").get(),
                                              tarv::makeStringArray({L"R1"}).get(), Bstr(L"mole").get(), values.ptr()),
                  E_NOINTERFACE);
    }
    const std::string records = capture.records();
    EXPECT_NE(records.find("<func name=\"ICapeReactionChemistry::GetNumberOfReactions\" direc=\"out\""),
              std::string::npos);
    EXPECT_NE(records.find("<warning value=\"Interface not exposed by object\"/>"), std::string::npos) << records;
    EXPECT_EQ(records.find("propVals"), std::string::npos);
}

// The package's road (logged and not) is the server's; the reaction object's calls are the
// component's, so its collection's records go out.
TEST(ReactionProxies, AReactionObjectsParametersComeWrappedAndTheirCallsGoOut)
{
    auto collection = kit::makeCollection({});
    auto real = Object::create(kPackageInterfaces, L"Real");
    real->returns(&ICapeReactionChemistry::GetReactionParameters, collection->ptr<IDispatch>());
    LogCapture capture;
    {
        NoLeaks leaks{real.get(), collection.get()};
        Made made = make(Class::ReactionObject, real.get(), capture.log());
        ComPtr<IDispatch> parameters;
        ASSERT_EQ(made.as<ICapeReactionChemistry>()->GetReactionParameters(Bstr(L"R1").get(), parameters.put()), S_OK);
        EXPECT_EQ(testsupport::originalOf(parameters.get()), static_cast<IUnknown*>(collection->ptr<IDispatch>()));
        LONG count = -1;
        EXPECT_EQ(parameters.query<ICapeCollection>()->Count(&count), S_OK);
    }
    const std::string records = capture.records();
    EXPECT_NE(records.find(" <arg name=\"reacID\" direc=\"in\" type=\"string\">"), std::string::npos) << records;
    EXPECT_NE(records.find("<func name=\"ICapeCollection::Count\" direc=\"out\" object=\"Parameters\">"), std::string::npos);
}

TEST(ReactionProxies, TheReactionObjectLogsNoReactionIdWhenItsChemistryIsMissing)
{
    auto real = Object::create<ICapeReactionProperties, ICapeIdentification>(L"Properties only");
    LogCapture capture;
    {
        NoLeaks leaks{real.get()};
        Made made = make(Class::ReactionObject, real.get(), capture.log());
        ComPtr<IDispatch> parameters;
        EXPECT_EQ(dynamic_cast<tarv::CReactionObject*>(made.proxy.get())
                      ->GetReactionParameters(Bstr(L"R1").get(), parameters.put()),
                  E_NOINTERFACE);
    }
    EXPECT_EQ(capture.records().find("reacID"), std::string::npos) << capture.records();
}
