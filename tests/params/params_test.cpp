// The parameter proxies read through their logs, over scripted kit parameters: what a collection
// hands out, a parameter's read-only record and the mode asked at its making, a spec
// whose foreign object lacks some of the six interfaces, the items of an array spec
// replaced in place, and the collection an exposed object's get_parameters hands out.
#include "com/bstr.h"
#include "com/variant.h"
#include "kit/parameters.h"
#include "packages/property_package.h"
#include "params/parameter.h"
#include "params/parameter_collection.h"
#include "params/parameter_spec.h"
#include "support/log_capture.h"
#include "support/proxy_harness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using kit::Object;
using tarv::ComPtr;
using tarv::Variant;
using testsupport::LogCapture;
using testsupport::NoLeaks;

namespace {

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
    explicit Package(tarv::CallLog* log)
        : exposed(testsupport::expose<tarv::CPropertyPackage11>(real.get(), log, "Package"))
    {}
};

} // namespace

TEST(ParameterCollection, EachItemComesBackAsANewProxyLoggedAsReceived)
{
    auto parameter = kit::makeParameter(kit::makeSpec(CAPE_REAL), CAPE_INPUT, L"Pressure drop");
    auto collection = kit::makeCollection({parameter, nullptr});
    auto notACollection = Object::create<ICapeIdentification>(L"Odd");
    LogCapture capture;
    {
        NoLeaks leaks{parameter.get(), collection.get(), notACollection.get()};
        Package package(capture.log());
        auto items = tarv::createParameterCollectionProxy(collection->ptr<ICapeCollection>(), capture.log(),
                                                          package.exposed.exposed, 1, 0)
                         .query<ICapeCollection>();
        ComPtr<IDispatch> first, second, none;
        IDispatch* failed = kUntouched;
        LONG count = 0;
        EXPECT_EQ(items->Item(Variant::fromLong(1).get(), first.put()), S_OK);
        EXPECT_EQ(items->Item(Variant::fromString(L"1").get(), second.put()), S_OK);
        EXPECT_EQ(items->Item(Variant::fromLong(2).get(), none.put()), S_OK);
        EXPECT_EQ(items->Item(Variant::fromLong(3).get(), &failed), E_INVALIDARG);
        EXPECT_EQ(items->Count(&count), S_OK);
        LONG untouchedCount = -7;
        // The interface policy would refuse ICapeCollection here; IDispatch is its face all the same.
        auto odd = tarv::createParameterCollectionProxy(notACollection->ptr<ICapeIdentification>(), capture.log(),
                                                        package.exposed.exposed, 1, 0);
        EXPECT_EQ(static_cast<ICapeCollection*>(odd.get())->Count(&untouchedCount), E_NOINTERFACE);

        // Two proxies over the one parameter, each a child of the package; a null item stays null and
        // a failure leaves the caller's location alone.
        ASSERT_TRUE(first && second);
        EXPECT_NE(first.get(), second.get());
        EXPECT_EQ(testsupport::originalOf(first.get()), static_cast<IUnknown*>(parameter->ptr<ICapeParameter>()));
        EXPECT_EQ(testsupport::originalOf(second.get()), testsupport::originalOf(first.get()));
        EXPECT_FALSE(none);
        EXPECT_EQ(failed, kUntouched);
        EXPECT_EQ(count, 2);
        EXPECT_EQ(untouchedCount, -7);
        EXPECT_EQ(childNames(package.exposed.exposed),
                  (std::vector<std::string>{"Parameters", "Pressure drop", "Pressure drop", "Odd"}));
    }
    EXPECT_EQ(testsupport::withoutAddresses(capture.records()), testsupport::expectedText("params/collection_items.log"));
}

TEST(Parameter, ItsMakingAsksTheModeOfAWritableParameterAndNeverChangesTheFlag)
{
    struct Row {
        int readOnly;
        CapeParamMode mode;
        bool asked;   // the making queried ICapeParameter and called get_Mode
        std::string putValueRecord;
    };
    const std::string writable = testsupport::expectedText("params/put_value.log");
    const Row rows[] = {
        {0, CAPE_INPUT, true, writable},
        {0, CAPE_OUTPUT, true, writable},
        {1, CAPE_OUTPUT, false, testsupport::expectedText("params/put_value_read_only.log")},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "readOnly " << row.readOnly << ", mode " << row.mode);
        auto parameter = kit::makeParameter(kit::makeSpec(CAPE_REAL), row.mode, L"Reflux ratio", Variant::fromDouble(1.2));
        LogCapture capture;
        {
            NoLeaks leaks{parameter.get()};
            auto proxy = tarv::createParameterProxy(parameter->ptr<ICapeParameter>(), capture.log(), nullptr, 1,
                                                    row.readOnly);
            EXPECT_EQ(parameter->wasQueried(IID_ICapeParameter), row.asked);
            EXPECT_EQ(parameter->callCount("ICapeParameter::get_Mode"), row.asked ? 1u : 0u);
            EXPECT_EQ(static_cast<tarv::CParameter*>(proxy.query<ICapeParameter>().get())->readOnly(), row.readOnly);
            const std::string beforeCall = capture.records();

            // Writing is reported on a read-only proxy, ahead of the value, and done all the same.
            EXPECT_EQ(proxy.query<ICapeParameter>()->put_value(Variant::fromDouble(2.5).get()), S_OK);
            Variant now;
            EXPECT_EQ(parameter->ptr<ICapeParameter>()->get_value(now.put()), S_OK);
            EXPECT_EQ(now.get().dblVal, 2.5);
            EXPECT_EQ(capture.records().substr(beforeCall.size()), row.putValueRecord);
            EXPECT_EQ(beforeCall.find("get_Mode"), std::string::npos) << "the mode asked at the making is not logged";
        }
    }
}

TEST(ParameterSpec, AMissingInterfaceRefusesItsMethodsAloneAndTheBoundariesAreTheRealOnes)
{
    auto spec = Object::create<ICapeParameterSpec, ICapeRealParameterSpec, ECapeBoundaries, ICapeIdentification>(
        L"Temperature spec");
    spec->returns(&ICapeParameterSpec::get_Type, CAPE_REAL);
    spec->returns(&ICapeRealParameterSpec::get_LowerBound, 200.0);
    spec->returns(&ICapeRealParameterSpec::get_UpperBound, 600.0);
    spec->returns(&ECapeBoundaries::get_UpperBound, -1.0);
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
        EXPECT_EQ(type, CAPE_REAL);
        EXPECT_EQ(lower, 200.0);
        EXPECT_EQ(upper, 600.0);
        // Each foreign interface is asked for when first used, and a found one only once; the
        // boundaries never reach the foreign object's error interface.
        const auto& queries = spec->queries();
        EXPECT_EQ(std::count(queries.begin(), queries.end(), IID_ICapeRealParameterSpec), 1);
        EXPECT_EQ(std::count(queries.begin(), queries.end(), IID_ICapeParameterSpec), 1);
        EXPECT_EQ(spec->callCount("ECapeBoundaries::get_UpperBound"), 0u);
        EXPECT_EQ(capture.records().substr(queried.size()), testsupport::expectedText("params/missing_interface.log"));
    }
}

TEST(ParameterSpec, ItemsSpecificationsAreReplacedInPlaceFirstIndexFastest)
{
    struct Row {
        const char* what;
        std::vector<LONG> sizes;
        std::vector<int> nulls;   // positions (in filling order) of null elements
        HRESULT result;
    };
    const Row rows[] = {
        {"3", {3}, {}, S_OK},
        {"2 by 3", {2, 3}, {}, S_OK},
        {"2 by 1 by 2", {2, 1, 2}, {}, S_OK},
        {"empty", {0}, {}, S_OK},
        // A null element faults in the walk: the call fails and the caller gets nothing.
        {"a null second element", {3}, {1}, E_UNEXPECTED},
    };
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
            auto proxy = tarv::createParameterSpecProxy(arraySpec->ptr<ICapeParameterSpec>(), capture.log(),
                                                        package.exposed.exposed, 0, 1)
                             .query<ICapeArrayParameterSpec>();
            const std::string made = capture.records();
            Variant specs;
            ASSERT_EQ(proxy->get_ItemsSpecifications(specs.put()), row.result);
            const std::string record = capture.records().substr(made.size());
            if (FAILED(row.result)) {
                EXPECT_EQ(specs.get().vt, VT_EMPTY);
                EXPECT_NE(record.find("<error value=\"Uncaught SEH exception during function call: "
                                      "EXCEPTION_ACCESS_VIOLATION"),
                          std::string::npos)
                    << record;
            } else {
                // The log shows an element of an object array as "interface pointer", and a
                // one-dimensional array only.
                EXPECT_EQ(testsupport::occurrences(record, "<argval value=\"interface pointer\"/>"),
                          row.sizes.size() == 1 ? items.size() : 0u)
                    << record;
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

TEST(ExposedObject, GetParametersWrapsWithALogAndPassesTheCollectionRawWithout)
{
    tarv::registerParameterProxyFactories();
    struct Row {
        bool logged;
        HRESULT foreignResult;
    };
    const Row rows[] = {{true, S_OK}, {false, S_OK}, {true, E_FAIL}, {false, E_FAIL}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << (row.logged ? "logged, " : "unlogged, ") << std::hex << row.foreignResult);
        auto collection = kit::makeCollection({}, L"Settings");
        ComPtr<Object> real = Object::create<ICapeUtilities, ICapeIdentification>(L"Real package");
        IDispatch* raw = collection->ptr<ICapeCollection>();
        real->on(&ICapeUtilities::get_parameters, [raw, hr = row.foreignResult](IDispatch** out) {
            raw->AddRef();
            *out = raw;   // also on failure, as careless components do
            return hr;
        });
        LogCapture capture;
        {
            NoLeaks leaks{collection.get()};
            auto exposed = testsupport::expose<tarv::CPropertyPackage11>(real.get(), row.logged ? capture.log() : nullptr,
                                                                         "Package");
            ComPtr<IDispatch> parameters;
            EXPECT_EQ(exposed.dispatch.query<ICapeUtilities>()->get_parameters(parameters.put()), row.foreignResult);
            if (!row.logged) {
                EXPECT_EQ(parameters.get(), raw) << "without a log the foreign answer goes through as it is";
            } else if (FAILED(row.foreignResult)) {
                EXPECT_FALSE(parameters);
            } else {
                EXPECT_NE(parameters.get(), raw);
                EXPECT_EQ(testsupport::originalOf(parameters.get()), static_cast<IUnknown*>(raw));
                EXPECT_EQ(childNames(exposed.exposed), std::vector<std::string>{"Settings"});
                EXPECT_NE(capture.records().find("interface to object &quot;Settings&quot;"), std::string::npos);
            }
        }
    }
}
