// The material, template and simulation context proxies read through their logs over kit objects.
#include "com/bstr.h"
#include "com/variant.h"
#include "kit/kit.h"
#include "packages/property_package.h"
#include "support/log_capture.h"
#include "support/proxy_harness.h"
#include "thermo/material_object.h"
#include "thermo/material_template.h"
#include "thermo/simulation_context.h"
#include <gtest/gtest.h>
#include <functional>
#include <map>
#include <tuple>

using kit::Object;
using tarv::Bstr;
using tarv::ComPtr;
using testsupport::Call;
using testsupport::LogCapture;
using testsupport::Method;
using testsupport::NoLeaks;
using testsupport::withoutAddresses;

namespace {
const std::vector<IID> kMaterial11 = {IID_ICapeThermoCompounds, IID_ICapeThermoEquilibriumRoutine,
                                             IID_ICapeThermoMaterial, IID_ICapeThermoPhases,
                                             IID_ICapeThermoPropertyRoutine, IID_ICapeThermoUniversalConstant};

ComPtr<Object> kitWith(std::vector<IID> interfaces, const wchar_t* name)
{
    interfaces.push_back(IID_ICapeIdentification);
    return Object::create(interfaces, name);
}

// What a kit material exposes besides ICapeIdentification.
enum class Material { Full11, Material11, Object10, Both };
ComPtr<Object> makeMaterial(Material kind, const wchar_t* name = L"Stream")
{
    std::vector<IID> both = kMaterial11;
    both.push_back(IID_ICapeThermoMaterialObject);
    return kitWith(kind == Material::Full11 ? kMaterial11 : kind == Material::Material11 ? std::vector<IID>{IID_ICapeThermoMaterial}
                   : kind == Material::Object10 ? std::vector<IID>{IID_ICapeThermoMaterialObject} : both, name);
}

// The factories hand out each class's default dispatch interface.
auto materialOf(IUnknown* p) { return static_cast<tarv::CMaterialObject*>(static_cast<ICapeThermoMaterialObject*>(p)); }
auto templateOf(IUnknown* p) { return static_cast<tarv::CMaterialTemplate*>(static_cast<ICapeThermoMaterialTemplate*>(p)); }

// The material proxy's own implementation of `iid`, reached without a query.
IUnknown* materialFacet(IDispatch* proxy, REFIID iid)
{
    tarv::CMaterialObject* m = materialOf(proxy);
    if (iid == IID_ICapeThermoCompounds) return static_cast<ICapeThermoCompounds*>(m);
    if (iid == IID_ICapeThermoEquilibriumRoutine) return static_cast<ICapeThermoEquilibriumRoutine*>(m);
    if (iid == IID_ICapeThermoMaterial) return static_cast<ICapeThermoMaterial*>(m);
    if (iid == IID_ICapeThermoMaterialObject) return static_cast<ICapeThermoMaterialObject*>(m);
    if (iid == IID_ICapeThermoPhases) return static_cast<ICapeThermoPhases*>(m);
    if (iid == IID_ICapeThermoPropertyRoutine) return static_cast<ICapeThermoPropertyRoutine*>(m);
    if (iid == IID_ICapeThermoUniversalConstant) return static_cast<ICapeThermoUniversalConstant*>(m);
    return static_cast<ICapeIdentification*>(m);
}

// The three proxy classes over fresh kit objects offering all their interfaces.
const std::vector<testsupport::ProxiedInterfaces>& proxyClasses()
{
    static const std::vector<testsupport::ProxiedInterfaces> classes = {
        {"Material Object",
         [] { std::vector<IID> all = kMaterial11; all.push_back(IID_ICapeThermoMaterialObject); return all; }(),
         [] { return makeMaterial(Material::Both); },
         [](IUnknown* foreign, tarv::CallLog* log) { return tarv::createMaterialProxy(foreign, log, -1, nullptr, 1); }},
        {"Material Template", {IID_ICapeThermoMaterialTemplate},
         [] { return kitWith({IID_ICapeThermoMaterialTemplate}, L"Stream"); },
         [](IUnknown* foreign, tarv::CallLog* log) { return tarv::createMaterialTemplateProxy(foreign, log, nullptr, 1); }},
        {"Simulation Context",
         {IID_ICapeCOSEUtilities, IID_ICapeDiagnostic, IID_ICapeMaterialTemplateSystem, IID_ICapeSimulationContext},
         [] { return kitWith({IID_ICapeCOSEUtilities, IID_ICapeDiagnostic, IID_ICapeMaterialTemplateSystem}, L"Stream"); },
         [](IUnknown* foreign, tarv::CallLog* log) {
             return tarv::createSimulationContextProxy(ComPtr<IUnknown>(foreign).query<IDispatch>().get(), log, nullptr, 1);
         }},
    };
    return classes;
}

// A method of the thermo proxies' interfaces or of ICapeIdentification by its qualified name.
const Method& findMethod(const std::string& qualified)
{
    static const std::map<std::string, Method> all = [] {
        std::map<std::string, Method> m;
        std::vector<IID> interfaces = proxyClasses()[0].interfaces;
        interfaces.push_back(IID_ICapeIdentification);
        for (const IID& iid : interfaces)
            for (Method& method : testsupport::methodsOf(iid)) m.emplace(method.qualified, std::move(method));
        return m;
    }();
    auto it = all.find(qualified);
    if (it == all.end()) throw std::invalid_argument("no such method: " + qualified);
    return it->second;
}

} // namespace

TEST(Dispatch, EveryMethodLogsTheSameWhetherCalledThroughItsVtableOrByName)
{
    // The material's seven interfaces hold 53 methods, the template's one 2, the context's four 6.
    EXPECT_EQ(testsupport::checkEveryMethodBothWays(proxyClasses()), 53 + 2 + 6);
}

TEST(VersionLock, TheFirstCallDecidesPerProxyAndWrongGenerationCallsAreReportedAndForwarded)
{
    struct Step { int proxy; const char* method; HRESULT result; bool forwarded; };   // proxy: which of the two
    // version: what the factory passed; finalVersion: the first proxy's lock at the end
    struct Scenario { const char* what; Material kit; int version; std::vector<Step> steps; int finalVersion; };
    const char* const compounds = "ICapeThermoCompounds::GetNumCompounds";
    const char* const phases = "ICapeThermoPhases::GetNumPhases";
    const char* const clear = "ICapeThermoMaterial::ClearAllProps";
    const char* const overall = "ICapeThermoMaterial::GetOverallProp";
    const char* const getProp = "ICapeThermoMaterialObject::GetProp";
    const char* const components = "ICapeThermoMaterialObject::GetNumComponents";
    const Scenario scenarios[] = {
        {"1.1 proxy, full 1.1 material", Material::Full11, 1,
         {{0, compounds, S_OK, true}, {0, components, E_NOINTERFACE, false}}, 1},
        {"1.0 proxy, full 1.1 material", Material::Full11, 0,
         {{0, compounds, S_OK, true}, {0, phases, S_OK, true}}, 0},
        {"1.0 proxy, ICapeThermoMaterial only", Material::Material11, 0,
         {{0, overall, S_OK, true}, {0, phases, E_NOINTERFACE, false}}, 0},
        {"1.1 proxy, 1.0 material", Material::Object10, 1,
         {{0, components, S_OK, true}, {0, clear, E_NOINTERFACE, false}}, 1},
        {"undecided, identification first, then 1.1", Material::Both, -1,
         {{0, "ICapeIdentification::get_ComponentName", S_OK, true}, {0, clear, S_OK, true},
          {0, getProp, S_OK, true}, {0, overall, S_OK, true}}, 1},
        {"undecided, 1.0 first", Material::Both, -1, {{0, getProp, S_OK, true}, {0, clear, S_OK, true}}, 0},
        {"undecided, 1.0 material", Material::Object10, -1,
         {{0, getProp, S_OK, true}, {0, clear, E_NOINTERFACE, false}}, 0},
        {"undecided, decided by a refused call", Material::Material11, -1,
         {{0, components, E_NOINTERFACE, false}, {0, clear, S_OK, true}}, 0},
        {"two proxies of one material lock apart", Material::Both, -1,
         {{0, getProp, S_OK, true}, {1, clear, S_OK, true}, {1, getProp, S_OK, true},
          {0, clear, S_OK, true}}, 0},
    };
    std::string all;   // each step's records, with the checks that come before its arguments
    for (const Scenario& s : scenarios) {
        SCOPED_TRACE(s.what);
        LogCapture capture;
        auto kitObject = makeMaterial(s.kit);
        NoLeaks leaks{kitObject.get()};
        ComPtr<IDispatch> proxies[] = {tarv::createMaterialProxy(kitObject.get(), capture.log(), s.version, nullptr, 0),
                                       tarv::createMaterialProxy(kitObject.get(), capture.log(), s.version, nullptr, 0)};
        // Queries for either generation take no part in the lock.
        proxies[0].query<ICapeThermoMaterialObject>();
        proxies[0].query<ICapeThermoMaterial>();
        for (const Step& step : s.steps) {
            kitObject->clearCalls();
            size_t before = capture.records().size();
            Call call(findMethod(step.method));
            EXPECT_EQ(call.byVtable(materialFacet(proxies[step.proxy].get(), findMethod(step.method).iid)), step.result)
                << step.method;
            all += std::string("== ") + s.what + ": " + step.method + "\n" + withoutAddresses(capture.records().substr(before));
            EXPECT_EQ(kitObject->callCount(step.method), step.forwarded ? 1u : 0u) << step.method;
        }
        EXPECT_EQ(materialOf(proxies[0].get())->materialVersion, s.finalVersion);
    }
    EXPECT_EQ(all, testsupport::expectedText("thermo/version_lock.log"));
}

TEST(MaterialObject, CalcAndGetLnPhiLogsTheResultsItsFlagsAskForAndForwardsTheFlags)
{
    struct Case { int flags; HRESULT result; } cases[] = {
        {0, S_OK}, {1, S_OK}, {4, S_OK}, {10, S_OK}, {15, S_OK}, {16, S_OK}, {17, S_OK}, {15, E_FAIL}};
    std::string all;   // the records: the flags as the log writes them, the results they ask for
    for (const Case& c : cases) {
        SCOPED_TRACE(c.flags);
        LogCapture capture;
        auto kitObject = makeMaterial(Material::Full11);
        int received = -1;
        // The material fills all four whatever it was asked.
        kitObject->on(&ICapeThermoPropertyRoutine::CalcAndGetLnPhi,
                      [&](BSTR, double, double, VARIANT, int flags, VARIANT* a, VARIANT* b, VARIANT* c2, VARIANT* d) {
                          received = flags;
                          for (VARIANT* out : {a, b, c2, d}) tarv::makeDoubleArray({-0.5}).detachTo(out);
                          return c.result;
                      });
        NoLeaks leaks{kitObject.get()};
        auto proxy = tarv::createMaterialProxy(kitObject.get(), capture.log(), 1, nullptr, 0).query<ICapeThermoPropertyRoutine>();
        tarv::Variant lnPhi, dT, dP, dn, moles = tarv::makeDoubleArray({1, 2});
        EXPECT_EQ(proxy->CalcAndGetLnPhi(Bstr(L"Vapor").get(), 300, 1e5, moles.get(), c.flags, lnPhi.ptr(), dT.ptr(), dP.ptr(), dn.ptr()), c.result);
        EXPECT_EQ(received, c.flags);
        all += capture.records();
    }
    EXPECT_EQ(all, testsupport::expectedText("thermo/ln_phi.log"));
}

// Read-only and empty-label errors come before every argument; a deprecated method is reported at every call; all go on.
TEST(MaterialObject, ReadOnlySettersAndDeprecatedMethodsAreReportedAndStillForwarded)
{
    LogCapture capture;
    auto kitObject = makeMaterial(Material::Both);
    NoLeaks leaks{kitObject.get()};
    {
        ComPtr<IDispatch> readOnly11 = tarv::createMaterialProxy(kitObject.get(), capture.log(), 1, nullptr, 1);
        ComPtr<IDispatch> readOnly10 = tarv::createMaterialProxy(kitObject.get(), capture.log(), 0, nullptr, 1);
        tarv::Variant values = tarv::makeDoubleArray({1.5}), compIds = tarv::makeStringArray({L"water"}), relList;
        EXPECT_EQ(readOnly11.query<ICapeThermoMaterial>()->SetSinglePhaseProp(Bstr(L"fugacity").get(), Bstr(L"").get(), Bstr(L"mole").get(),
                                                                             values.get()), S_OK);
        auto object = readOnly10.query<ICapeThermoMaterialObject>();
        EXPECT_EQ(object->SetProp(Bstr(L"fraction").get(), Bstr(L"Vapor").get(), compIds.get(), nullptr, Bstr(L"mole").get(), values.get()), S_OK);
        EXPECT_EQ(capture.records(), testsupport::expectedText("thermo/read_only_setters.log"));
        for (int i = 0; i < 2; ++i) EXPECT_EQ(object->ValidityCheck(compIds.get(), relList.ptr()), S_OK);
        EXPECT_EQ(testsupport::occurrences(capture.records(), "ValidityCheck should not be used"), 2u);
    }
    for (auto [method, n] : {std::pair{"ICapeThermoMaterial::SetSinglePhaseProp", 1u}, {"ICapeThermoMaterialObject::SetProp", 1u},
                             {"ICapeThermoMaterialObject::ValidityCheck", 2u}})
        EXPECT_EQ(kitObject->callCount(method), n) << method;
}

namespace {
IDispatch* const kUntouched = reinterpret_cast<IDispatch*>(0x5A5A5A5A);

// One method that hands back an interface in its last argument, scripted on the kit to write `value` there
// (with a reference) and return `hr`; and what its caller's location holds after a failure.
struct Making {
    const char* outName;
    std::function<void(Object& kit, IDispatch* value, HRESULT hr)> script;
    std::function<HRESULT(IDispatch* maker, IDispatch** out)> call;
    enum After { Null, Untouched, AsTheForeignCallLeftIt } afterFailure;
};

template <class I, class... A>
Making making(const char* outName, HRESULT (STDMETHODCALLTYPE I::*method)(A...), Making::After afterFailure)
{
    auto script = [method](Object& kit, IDispatch* value, HRESULT hr) {
        kit.on(method, [value, hr](A... a) {
            IDispatch** out = std::get<sizeof...(A) - 1>(std::forward_as_tuple(a...));
            if (value) value->AddRef();
            *out = value;
            return hr;
        });
    };
    auto call = [method](IDispatch* maker, IDispatch** out) {
        ComPtr<I> i = ComPtr<IDispatch>(maker).query<I>();
        if constexpr (sizeof...(A) == 2) return (i.get()->*method)(Bstr(L"Water").get(), out);   // a template's name first
        else return (i.get()->*method)(out);
    };
    return {outName, script, call, afterFailure};
}

const Making kCreateMaterial = making("materialObject", &ICapeThermoMaterial::CreateMaterial, Making::Null);
const Making kCreateMaterialObject = making("materialObject", &ICapeThermoMaterialObject::CreateMaterialObject, Making::Null);
const Making kDuplicate = making("clone", &ICapeThermoMaterialObject::Duplicate, Making::Null);
const Making kTemplateMaterial = making("materialObject", &ICapeThermoMaterialTemplate::CreateMaterialObject, Making::Untouched);
const Making kCreateTemplate = making("MaterialTemplate", &ICapeMaterialTemplateSystem::CreateMaterialTemplate, Making::AsTheForeignCallLeftIt);

enum class Maker { Material, Template, Context };
enum class Owner { None, Package10, Package11 };

struct WrapRow {   // productVersion: materials only
    const char* what; const Making& making; Maker maker; int makerVersion, makerReadOnly; Owner owner; int productVersion, productReadOnly;
};

// A read-only maker makes writable materials; a template's material takes its tree's generation, a context's template its flag.
const WrapRow kWrapRows[] = {
    {"CreateMaterial, read-only 1.1 material", kCreateMaterial, Maker::Material, 1, 1, Owner::Package11, 1, 0},
    {"CreateMaterial under a 1.0 package", kCreateMaterial, Maker::Material, -1, 0, Owner::Package10, 1, 0},
    {"CreateMaterialObject, read-only material", kCreateMaterialObject, Maker::Material, 0, 1, Owner::Package10, 0, 0},
    {"CreateMaterialObject under a 1.1 package", kCreateMaterialObject, Maker::Material, -1, 0, Owner::Package11, 0, 0},
    {"Duplicate, read-only material under a 1.1 package", kDuplicate, Maker::Material, -1, 1, Owner::Package11, 0, 0},
    {"Duplicate, no owner", kDuplicate, Maker::Material, 0, 0, Owner::None, 0, 0},
    {"template under a 1.1 package", kTemplateMaterial, Maker::Template, -1, 1, Owner::Package11, 1, 0},
    {"template under a 1.0 package", kTemplateMaterial, Maker::Template, -1, 0, Owner::Package10, 0, 0},
    {"template without owner", kTemplateMaterial, Maker::Template, -1, 1, Owner::None, -1, 0},
    {"read-only context", kCreateTemplate, Maker::Context, -1, 1, Owner::Package11, -1, 1},
    {"writable context", kCreateTemplate, Maker::Context, -1, 0, Owner::Package10, -1, 0},
};

ComPtr<Object> kitFor(Maker maker, const wchar_t* name)
{
    return maker == Maker::Material   ? makeMaterial(Material::Both, name)
           : maker == Maker::Template ? Object::create<ICapeThermoMaterialTemplate, ICapeIdentification>(name)
                                      : Object::create<ICapeMaterialTemplateSystem, ICapeIdentification>(name);
}

} // namespace

TEST(Wrapping, ResultsComeBackAsProxiesOfTheMakersOwnerWithTheirMethodsGenerationAndReadOnlyFlag)
{
    enum class Answer { Object, Null, Failure };
    for (const WrapRow& row : kWrapRows) {
        for (Answer answer : {Answer::Object, Answer::Null, Answer::Failure}) {
            SCOPED_TRACE(std::string(row.what) + " / answer " + std::to_string(static_cast<int>(answer)));
            LogCapture capture;
            bool makesTemplates = row.maker == Maker::Context;
            ComPtr<Object> makerKit = kitFor(row.maker, L"Maker");
            ComPtr<Object> productKit = kitFor(makesTemplates ? Maker::Template : Maker::Material, L"Made");
            auto package10Kit = Object::create<ICapeThermoPropertyPackage, ICapeIdentification>();
            auto package11Kit = Object::create<ICapeThermoMaterialContext, ICapeIdentification>();
            // A failing call writes its result all the same.
            IDispatch* answered = productKit->ptr<ICapeIdentification>();
            row.making.script(*makerKit.get(), answer == Answer::Null ? nullptr : answered,
                              answer == Answer::Failure ? E_FAIL : S_OK);
            NoLeaks leaks{makerKit.get(), productKit.get(), package10Kit.get(), package11Kit.get()};
            auto package10 = testsupport::expose<tarv::CPropertyPackage10>(package10Kit.get(), capture.log(), "Package");
            auto package11 = testsupport::expose<tarv::CPropertyPackage11>(package11Kit.get(), capture.log(), "Package");
            tarv::ExposedObjectBase* owner = row.owner == Owner::Package10   ? package10.exposed
                                             : row.owner == Owner::Package11 ? package11.exposed
                                                                             : nullptr;
            ComPtr<IDispatch> maker =
                row.maker == Maker::Material ? tarv::createMaterialProxy(makerKit.get(), capture.log(), row.makerVersion, owner, row.makerReadOnly)
                : row.maker == Maker::Template ? tarv::createMaterialTemplateProxy(makerKit.get(), capture.log(), owner, row.makerReadOnly)
                : tarv::createSimulationContextProxy(makerKit->ptr<ICapeMaterialTemplateSystem>(), capture.log(), owner, row.makerReadOnly);
            size_t children = owner ? owner->children().size() : 0;
            size_t before = capture.records().size();
            IDispatch* out = kUntouched;
            HRESULT hr = row.making.call(maker.get(), &out);
            std::string records = withoutAddresses(capture.records().substr(before));
            std::string logged = std::string("<arg name=\"") + row.making.outName + "\" direc=\"out\" type=\"interface\">\n";
            EXPECT_EQ(hr, answer == Answer::Failure ? E_FAIL : S_OK);
            if (answer != Answer::Object) {   // a failure logs no result, a null one logs NULL; neither makes a child
                EXPECT_EQ(out, answer == Answer::Null || row.making.afterFailure == Making::Null ? nullptr
                               : row.making.afterFailure == Making::Untouched                    ? kUntouched : answered);
                if (out == answered) out->Release();
                EXPECT_EQ(records.find(answer == Answer::Null ? logged + "  <argval value=\"NULL\"/>" : logged) != std::string::npos,
                          answer == Answer::Null) << records;
                EXPECT_EQ(owner ? owner->children().size() : 0, children);
                continue;
            }
            ComPtr<IDispatch> made = ComPtr<IDispatch>::attach(out);
            // A new proxy over what the foreign call returned, shown in the log with its name.
            ASSERT_TRUE(made);
            ComPtr<IUnknown> original;
            ASSERT_EQ(made.query<IOriginalObject64>()->GetOriginalObject(original.put()), S_OK);
            EXPECT_EQ(original.get(), static_cast<IUnknown*>(answered));
            EXPECT_NE(records.find(logged + "  <argval value=\"interface to object &quot;Made&quot;\"/>"), std::string::npos);
            tarv::CapeOpenBase* product = makesTemplates ? static_cast<tarv::CapeOpenBase*>(templateOf(made.get()))
                                                         : static_cast<tarv::CapeOpenBase*>(materialOf(made.get()));
            if (!makesTemplates) { EXPECT_EQ(materialOf(made.get())->materialVersion, row.productVersion); }
            EXPECT_EQ(product->readOnly(), row.productReadOnly);
            EXPECT_EQ(product->owner(), owner);
            if (owner) {
                ASSERT_EQ(owner->children().size(), children + 1);
                EXPECT_EQ(owner->children().back(), product);
            }
        }
    }
}

TEST(MaterialObject, CopyFromMaterialHoldsTheObjectBehindAProxySourceOverTheCallAndForwardsTheSourceAsItCame)
{
    LogCapture capture;
    auto target = makeMaterial(Material::Full11, L"Target");
    auto source = makeMaterial(Material::Full11, L"Source");
    IDispatch* received = nullptr;
    ULONG heldDuring = 0;
    target->on(&ICapeThermoMaterial::CopyFromMaterial, [&](IDispatch** s) {
        received = *s;
        heldDuring = source->refCount();
    });
    NoLeaks leaks{target.get(), source.get()};
    ComPtr<IDispatch> targetProxy = tarv::createMaterialProxy(target.get(), capture.log(), 1, nullptr, 0);
    ComPtr<IDispatch> sourceProxy = tarv::createMaterialProxy(source.get(), capture.log(), 1, nullptr, 0);
    struct Case { const char* what; IDispatch* source; ULONG held; const char* shown; } cases[] = {   // held: during the call
        {"a proxy of this server", sourceProxy.get(), 1, "interface to object &quot;Source&quot;"},
        {"the foreign material itself", source->ptr<ICapeThermoMaterial>(), 0, "interface to object &quot;Source&quot;"},
        {"nothing", nullptr, 0, "NULL"},
    };
    auto material = targetProxy.query<ICapeThermoMaterial>();
    // The log asks the source proxy its name; its identification interface stays cached from then on.
    Bstr name;
    sourceProxy.query<ICapeIdentification>()->get_ComponentName(name.put());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ULONG before = source->refCount();
        size_t logged = capture.records().size();
        IDispatch* slot = c.source;
        EXPECT_EQ(material->CopyFromMaterial(&slot), S_OK);
        EXPECT_EQ(received, c.source);
        EXPECT_EQ(slot, c.source);
        EXPECT_EQ(heldDuring, before + c.held);
        EXPECT_EQ(source->refCount(), before);
        EXPECT_EQ(withoutAddresses(capture.records().substr(logged)),
                  std::string(R"(<func name="ICapeThermoMaterial::CopyFromMaterial" direc="out" object="Target">
 <arg name="source" direc="in" type="interface">
  <argval value=")") + c.shown + R"("/>
 </arg>
</func>
)");
    }
}
