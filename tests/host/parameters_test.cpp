// A logged exported package's parameters used out of process, as a simulator uses them: the
// collection from get_parameters, an item by name, its value read and written, its spec
// asked for its bounds. The whole log is compared, and the server's locks and the components'
// objects are back where they were once the package has gone.
#include "host/export_fixture.h"

#include "kit/classes.h"
#include "support/proxy_harness.h"

using namespace tarv;
using testsupport::ExportTest;
using testsupport::readLog;
using testsupport::structureProblem;

TEST_F(ExportTest, ALoggedPackagesParametersAreLoggedThroughTheirProxiesAndLeaveNothingBehind)
{
    addRecord(kit::CLSID_LiarPackage, PropertyPackage11, L"Liar", L"Probe");
    addRecord(kit::CLSID_IdealPackage, PropertyPackage11, L"Ideal Alkanes", L"Alkanes", true);
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        ComPtr<IDispatch> probePackage;
        ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Probe").get(), probePackage.put()), S_OK);
        auto phases = probePackage.query<ICapeThermoPhases>();
        ASSERT_TRUE(phases);
        const LONG locks = probe(phases.get(), kit::kLieLocks);
        const LONG live = probe(phases.get(), kit::kLieLiveObjects);
        ASSERT_GT(locks, 0);   // the probe's own exposed object
        ASSERT_GT(live, 0);    // the probe's own component

        double before = 0, after = 0, upper = 0;
        {
            ComPtr<IDispatch> package;
            ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Alkanes").get(), package.put()), S_OK);
            ComPtr<IDispatch> collection;
            ASSERT_EQ(package.query<ICapeUtilities>()->get_parameters(collection.put()), S_OK);
            auto parameters = collection.query<ICapeCollection>();
            ASSERT_TRUE(parameters);
            ComPtr<IDispatch> item;
            ASSERT_EQ(parameters->Item(Variant::fromString(L"Reference temperature").get(), item.put()), S_OK);
            auto parameter = item.query<ICapeParameter>();
            ASSERT_TRUE(parameter);
            Variant value;
            EXPECT_EQ(parameter->get_value(value.put()), S_OK);
            before = value.get().dblVal;
            EXPECT_EQ(parameter->put_value(Variant::fromDouble(310.5).get()), S_OK);
            EXPECT_EQ(parameter->get_value(value.put()), S_OK);
            after = value.get().dblVal;
            ComPtr<IDispatch> spec;
            ASSERT_EQ(parameter->get_Specification(spec.put()), S_OK);
            auto realSpec = spec.query<ICapeRealParameterSpec>();
            ASSERT_TRUE(realSpec);
            EXPECT_EQ(realSpec->get_UpperBound(&upper), S_OK);
        }
        EXPECT_EQ(before, 298.15);
        EXPECT_EQ(after, 310.5);
        EXPECT_EQ(upper, 1000.0);
        EXPECT_EQ(probe(phases.get(), kit::kLieLocks), locks) << "a proxy outlived the package";
        EXPECT_EQ(probe(phases.get(), kit::kLieLiveObjects), live) << "a component's object outlived the package";
    }
    ASSERT_TRUE(waitForServerExit());
    auto logs = logFiles();
    ASSERT_EQ(logs.size(), 1u);
    const std::string log = readLog(logs[0]);
    EXPECT_EQ(structureProblem(log), "");
    // Each proxy handed across the process boundary is asked by the COM runtime for its marshalling
    // interfaces, which it has not: three notes behind the record that handed it out. The
    // parameter is its own spec, so both carry its name.
    EXPECT_EQ(testsupport::withoutAddresses(log.substr(log.find("<func "))), testsupport::expectedText("host/parameters.log"));
}
