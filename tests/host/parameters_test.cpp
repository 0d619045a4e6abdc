// A logged exported package's parameters used out of process, as a simulator uses them: the
// collection from get_parameters, an item by name, its value read and written, its spec
// asked for its bounds. The whole log is compared, and the server's locks and the components'
// objects are back where they were once the package has gone.
#include "host/export_fixture.h"

#include "com/variant.h"
#include "kit/classes.h"
#include "support/proxy_harness.h"

#include <gtest/gtest.h>

using namespace tarv;
using testsupport::ExportTest;
using testsupport::readLog;
using testsupport::structureProblem;

namespace {

// What the unlogged probe package reads inside the server.
LONG probe(ICapeThermoPhases* phases, const wchar_t* what)
{
    Variant value;
    EXPECT_EQ(phases->GetPhaseInfo(Bstr(what).get(), Bstr(L"").get(), value.put()), S_OK);
    return value.get().vt == VT_I4 ? value.get().lVal : -1;
}

// The log from its first record on.
std::string records(const std::string& log)
{
    const size_t first = log.find("<func ");
    return first == std::string::npos ? log : log.substr(first);
}

// Each proxy handed across the process boundary is asked by the COM runtime for its marshalling
// interfaces, which it has not: the three notes behind the record that handed it out. The
// parameter is its own spec, so both carry its name.
const char* const kParametersLog = R"(<func name="ICapeUtilities::get_parameters" direc="in" object="Alkanes">
 <arg name="parameters" direc="out" type="interface">
  <argval value="interface to object &quot;Parameters&quot;"/>
 </arg>
</func>
<info value="Parameters: QueryInterface for unsupported interface {00000003-0000-0000-C000-000000000046} results E_NOINTERFACE"/>
<info value="Parameters: QueryInterface for unsupported interface {00000003-0000-0000-C000-000000000046} results E_NOINTERFACE"/>
<info value="Parameters: QueryInterface for unsupported interface {00000019-0000-0000-C000-000000000046} results E_NOINTERFACE"/>
<func name="ICapeCollection::Item" direc="in" object="Parameters">
 <arg name="id" direc="in" type="VT_BSTR">
  <argval value="&quot;Reference temperature&quot;"/>
 </arg>
 <arg name="Item" direc="out" type="interface">
  <argval value="interface to object &quot;Reference temperature&quot;"/>
 </arg>
</func>
<info value="Reference temperature: QueryInterface for unsupported interface {00000003-0000-0000-C000-000000000046} results E_NOINTERFACE"/>
<info value="Reference temperature: QueryInterface for unsupported interface {00000003-0000-0000-C000-000000000046} results E_NOINTERFACE"/>
<info value="Reference temperature: QueryInterface for unsupported interface {00000019-0000-0000-C000-000000000046} results E_NOINTERFACE"/>
<func name="ICapeParameter::get_value" direc="in" object="Reference temperature">
 <arg name="value" direc="out" type="VT_R8">
  <argval value="298.15"/>
 </arg>
</func>
<func name="ICapeParameter::put_value" direc="in" object="Reference temperature">
 <arg name="value" direc="in" type="VT_R8">
  <argval value="310.5"/>
 </arg>
</func>
<func name="ICapeParameter::get_value" direc="in" object="Reference temperature">
 <arg name="value" direc="out" type="VT_R8">
  <argval value="310.5"/>
 </arg>
</func>
<func name="ICapeParameter::get_Specification" direc="in" object="Reference temperature">
 <arg name="spec" direc="out" type="interface">
  <argval value="interface to object &quot;Reference temperature&quot;"/>
 </arg>
</func>
<info value="Reference temperature: QueryInterface for unsupported interface {00000003-0000-0000-C000-000000000046} results E_NOINTERFACE"/>
<info value="Reference temperature: QueryInterface for unsupported interface {00000003-0000-0000-C000-000000000046} results E_NOINTERFACE"/>
<info value="Reference temperature: QueryInterface for unsupported interface {00000019-0000-0000-C000-000000000046} results E_NOINTERFACE"/>
<func name="ICapeRealParameterSpec::get_UpperBound" direc="in" object="Reference temperature">
 <arg name="uBound" direc="out" type="double">
  <argval value="1000"/>
 </arg>
</func>
</tarvlogdocument>
)";

} // namespace

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
    EXPECT_EQ(testsupport::withoutAddresses(records(log)), kParametersLog);
}
