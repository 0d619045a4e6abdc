// The kit's own guarantees: COM identity of its facets, reference counting, scripts keyed per
// interface, out-values, callbacks between kit objects, and faults that really fault.
#include "kit/kit.h"

#include "com/bstr.h"

#include <gtest/gtest.h>

#include <cstring>
#include <malloc.h>
#include <optional>
#include <set>

using tarv::Bstr;
using tarv::ComPtr;

namespace {

std::string nameOf(REFIID iid)
{
    std::string n = kit::interfaceName(iid);
    if (!n.empty()) return n;
    wchar_t buf[64];
    StringFromGUID2(iid, buf, 64);
    return tarv::toNarrow(buf);
}

bool contains(const std::vector<IID>& v, REFIID iid)
{
    return std::find(v.begin(), v.end(), iid) != v.end();
}

bool isDual(REFIID iid)
{
    return iid != IID_IPersistStreamInit && iid != IID_IPersistStream;
}

constexpr CLSID kClassA = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
constexpr CLSID kClassB = {0xAAAAAAAA, 0xBBBB, 0xCCCC, {0xDD, 0xDD, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}};

// A pointer value that must come back unchanged; never dereferenced.
template <class T>
T* poison()
{
    return reinterpret_cast<T*>(static_cast<uintptr_t>(0x0BADF00D));
}

} // namespace

TEST(KitIdentity, QueryInterfaceFollowsComIdentityRules)
{
    const struct {
        const char* label;
        std::vector<IID> exposed;
    } sets[] = {
        {"identification and errors", {IID_ICapeIdentification, IID_ECapeUser, IID_ECapeRoot}},
        {"persistence first", {IID_IPersistStreamInit, IID_ICapeUnit, IID_ICapeUnitReport}},
        {"error interfaces", kit::errorInterfaces()},
        {"everything", kit::allInterfaces()},
    };
    for (const auto& set : sets) {
        SCOPED_TRACE(set.label);
        auto obj = kit::Object::create(set.exposed);
        IUnknown* identity = obj->ptr<IUnknown>();

        std::vector<IUnknown*> faces;
        for (const IID& iid : set.exposed) {
            ComPtr<IUnknown> p;
            ASSERT_EQ(identity->QueryInterface(iid, p.putVoid()), S_OK) << nameOf(iid);
            faces.push_back(p.get());
        }
        EXPECT_EQ(std::set<IUnknown*>(faces.begin(), faces.end()).size(), faces.size()) << "facets share a pointer";

        const IID& firstDual = *std::find_if(set.exposed.begin(), set.exposed.end(), isDual);
        IUnknown* defaultDispatch = faces[std::find(set.exposed.begin(), set.exposed.end(), firstDual) - set.exposed.begin()];

        std::vector<IID> missing{IID_IMarshal, IID_IStream};
        for (const IID& iid : kit::allInterfaces())
            if (!contains(set.exposed, iid)) missing.push_back(iid);

        for (size_t i = 0; i < faces.size(); ++i) {
            SCOPED_TRACE("from " + nameOf(set.exposed[i]));
            ComPtr<IUnknown> unk, disp;
            ASSERT_EQ(faces[i]->QueryInterface(IID_IUnknown, unk.putVoid()), S_OK);
            EXPECT_EQ(unk.get(), identity);
            ASSERT_EQ(faces[i]->QueryInterface(IID_IDispatch, disp.putVoid()), S_OK);
            EXPECT_EQ(disp.get(), defaultDispatch);
            // Every exposed interface from every other one, always the same pointer: reflexive,
            // symmetric and transitive.
            for (size_t j = 0; j < faces.size(); ++j) {
                ComPtr<IUnknown> other;
                ASSERT_EQ(faces[i]->QueryInterface(set.exposed[j], other.putVoid()), S_OK) << nameOf(set.exposed[j]);
                EXPECT_EQ(other.get(), faces[j]) << nameOf(set.exposed[j]);
            }
            for (const IID& iid : missing) {
                void* out = poison<void>();
                EXPECT_EQ(faces[i]->QueryInterface(iid, &out), E_NOINTERFACE) << nameOf(iid);
                EXPECT_EQ(out, nullptr) << nameOf(iid);
            }
        }
        EXPECT_EQ(obj->refCount(), 1u);
    }
}

TEST(KitIdentity, FacetsShareTheObjectsReferenceCount)
{
    const LONG before = kit::Object::liveCount();
    auto obj = kit::Object::create<ICapeParameter, ECapeUser>();
    EXPECT_EQ(kit::Object::liveCount(), before + 1);

    ComPtr<ECapeUser> user;
    ASSERT_EQ(obj->QueryInterface(IID_ECapeUser, user.putVoid()), S_OK);
    EXPECT_EQ(obj->refCount(), 2u);
    EXPECT_EQ(user->AddRef(), 3u);
    EXPECT_EQ(obj->ptr<ICapeParameter>()->Release(), 2u);

    // The last reference may be a facet's: the object lives on until it goes.
    ICapeParameter* param = user.query<ICapeParameter>().detach();
    user = nullptr;
    obj = nullptr;
    EXPECT_EQ(kit::Object::liveCount(), before + 1);
    CapeValidationStatus status = CAPE_VALID;
    EXPECT_EQ(param->get_ValStatus(&status), S_OK);
    EXPECT_EQ(param->Release(), 0u);
    EXPECT_EQ(kit::Object::liveCount(), before);
}

TEST(KitScripts, MethodsOfTheSameNameInTwoInterfacesStayDistinct)
{
    auto obj = kit::Object::create<ICapeKineticReactionContext, ICapeElectrolyteReactionContext, ECapeBoundaries,
                                   ICapeRealParameterSpec, ICapeUnit, ICapeParameter, IPersistStreamInit,
                                   IPersistStream>();
    int kineticRuns = 0;
    obj->on(&ICapeKineticReactionContext::SetReactionObject, [&](IDispatch**) { ++kineticRuns; })
        .fail(&ICapeElectrolyteReactionContext::SetReactionObject, E_NOTIMPL)
        .returns(&ECapeBoundaries::get_LowerBound, 1.5)
        .returns(&ICapeRealParameterSpec::get_LowerBound, -2.5)
        .returns(&ICapeUnit::Validate, true)
        .returns(&ICapeParameter::Validate, false)
        // Inherited from IPersist: the same member pointer, told apart by the interface named.
        .returns<IPersistStreamInit>(&IPersistStreamInit::GetClassID, kClassA)
        .returns<IPersistStream>(&IPersistStream::GetClassID, kClassB);

    IDispatch* reactions = nullptr;
    EXPECT_EQ(obj->ptr<ICapeKineticReactionContext>()->SetReactionObject(&reactions), S_OK);
    EXPECT_EQ(obj->ptr<ICapeElectrolyteReactionContext>()->SetReactionObject(&reactions), E_NOTIMPL);
    EXPECT_EQ(kineticRuns, 1);

    double bound = 0;
    EXPECT_EQ(obj->ptr<ECapeBoundaries>()->get_LowerBound(&bound), S_OK);
    EXPECT_EQ(bound, 1.5);
    EXPECT_EQ(obj->ptr<ICapeRealParameterSpec>()->get_LowerBound(&bound), S_OK);
    EXPECT_EQ(bound, -2.5);

    BSTR message = nullptr;
    VARIANT_BOOL ok = VARIANT_FALSE;
    EXPECT_EQ(obj->ptr<ICapeUnit>()->Validate(&message, &ok), S_OK);
    EXPECT_EQ(ok, VARIANT_TRUE);
    EXPECT_EQ(obj->ptr<ICapeParameter>()->Validate(&message, &ok), S_OK);
    EXPECT_EQ(ok, VARIANT_FALSE);

    CLSID clsid{};
    EXPECT_EQ(obj->ptr<IPersistStreamInit>()->GetClassID(&clsid), S_OK);
    EXPECT_EQ(clsid, kClassA);
    EXPECT_EQ(obj->ptr<IPersistStream>()->GetClassID(&clsid), S_OK);
    EXPECT_EQ(clsid, kClassB);
    // IPersist is answered by the first persistence facet.
    EXPECT_EQ(static_cast<void*>(obj->ptr<IPersist>()), static_cast<void*>(obj->ptr<IPersistStreamInit>()));

    EXPECT_EQ(obj->calls(), (kit::Calls{
        "ICapeKineticReactionContext::SetReactionObject", "ICapeElectrolyteReactionContext::SetReactionObject",
        "ECapeBoundaries::get_LowerBound", "ICapeRealParameterSpec::get_LowerBound",
        "ICapeUnit::Validate", "ICapeParameter::Validate",
        "IPersistStreamInit::GetClassID", "IPersistStream::GetClassID"}));
}

TEST(KitScripts, UnscriptedMethodsSucceedAndLeaveOutArgumentsAlone)
{
    auto obj = kit::Object::create<ICapeUnit, ICapeThermoMaterial, ECapeUser, ECapeBoundaries>();

    BSTR text = poison<OLECHAR>();
    EXPECT_EQ(obj->ptr<ECapeUser>()->get_description(&text), S_OK);
    EXPECT_EQ(text, poison<OLECHAR>());
    double value = 123.0;
    EXPECT_EQ(obj->ptr<ECapeBoundaries>()->get_value(&value), S_OK);
    EXPECT_EQ(value, 123.0);
    IDispatch* ports = poison<IDispatch>();
    EXPECT_EQ(obj->ptr<ICapeUnit>()->get_ports(&ports), S_OK);
    EXPECT_EQ(ports, poison<IDispatch>());
    CapeValidationStatus status = CAPE_INVALID;
    EXPECT_EQ(obj->ptr<ICapeUnit>()->get_ValStatus(&status), S_OK);
    EXPECT_EQ(status, CAPE_INVALID);
    tarv::Variant results = tarv::Variant::fromLong(77);
    EXPECT_EQ(obj->ptr<ICapeThermoMaterial>()->GetOverallProp(nullptr, nullptr, results.ptr()), S_OK);
    EXPECT_EQ(results.vt(), VT_I4);
    EXPECT_EQ(results.get().lVal, 77);

    EXPECT_EQ(obj->calls(), (kit::Calls{"ECapeUser::get_description", "ECapeBoundaries::get_value",
                                        "ICapeUnit::get_ports", "ICapeUnit::get_ValStatus",
                                        "ICapeThermoMaterial::GetOverallProp"}));
}

TEST(KitScripts, IdentificationAnswersAndKeepsTheNameAndDescription)
{
    auto obj = kit::Object::create<ICapeIdentification>(L"Reactor", L"Plug flow");
    ICapeIdentification* id = obj->ptr<ICapeIdentification>();

    Bstr first, second, desc;
    EXPECT_EQ(id->get_ComponentName(first.put()), S_OK);
    EXPECT_EQ(id->get_ComponentName(second.put()), S_OK);
    EXPECT_EQ(first.wide(), L"Reactor");
    EXPECT_NE(first.get(), second.get()) << "each answer is a new string for the caller to free";
    EXPECT_EQ(id->get_ComponentDescription(desc.put()), S_OK);
    EXPECT_EQ(desc.wide(), L"Plug flow");

    obj->setName(L"Renamed");
    EXPECT_EQ(id->get_ComponentName(first.put()), S_OK);
    EXPECT_EQ(first.wide(), L"Renamed");

    EXPECT_EQ(id->put_ComponentName(Bstr(L"Set by caller").get()), S_OK);
    EXPECT_EQ(obj->name(), L"Set by caller");
    EXPECT_EQ(id->put_ComponentDescription(nullptr), S_OK);
    EXPECT_EQ(obj->description(), L"");

    obj->fail(&ICapeIdentification::get_ComponentName, E_ACCESSDENIED);
    BSTR untouched = poison<OLECHAR>();
    EXPECT_EQ(id->get_ComponentName(&untouched), E_ACCESSDENIED);
    EXPECT_EQ(untouched, poison<OLECHAR>());
    EXPECT_EQ(obj->callCount("ICapeIdentification::get_ComponentName"), 4u);
}

TEST(KitScripts, ScriptsSeeTheArgumentsAndWriteOutValues)
{
    auto spec = kit::Object::create<ICapeRealParameterSpec>();
    auto obj = kit::Object::create<ICapeThermoMaterial, ICapeThermoCompounds, ICapeUnit, ICapeParameter>();
    std::wstring seenProperty, seenBasis;
    obj->on(&ICapeThermoMaterial::GetOverallProp, [&](BSTR property, BSTR basis, VARIANT* results) {
           seenProperty = Bstr(property).wide();
           seenBasis = Bstr(basis).wide();
           VariantClear(results);
           tarv::makeDoubleArray({1.0, 2.0}).detachTo(results);
           return S_OK;
       })
        .on(&ICapeThermoMaterial::GetOverallTPFraction, [](double* t, double* p, VARIANT*) { *t = 300.0; *p = 1e5; })
        .on(&ICapeUnit::Calculate, [] { return ECapeSolvingErrorHR; })
        .returns(&ICapeThermoCompounds::GetNumCompounds, 3)
        .returns(&ICapeParameter::get_value, tarv::Variant::fromString(L"text"))
        .returns(&ICapeParameter::get_Mode, CAPE_OUTPUT)
        .returns(&ICapeParameter::get_Specification, spec);

    tarv::Variant results = tarv::Variant::fromLong(5);
    EXPECT_EQ(obj->ptr<ICapeThermoMaterial>()->GetOverallProp(Bstr(L"fraction").get(), Bstr(L"mole").get(),
                                                              results.ptr()), S_OK);
    EXPECT_EQ(seenProperty, L"fraction");
    EXPECT_EQ(seenBasis, L"mole");
    EXPECT_EQ(tarv::readDoubleArray(results.get()), (std::vector<double>{1.0, 2.0}));

    double t = 0, p = 0;
    EXPECT_EQ(obj->ptr<ICapeThermoMaterial>()->GetOverallTPFraction(&t, &p, results.ptr()), S_OK);
    EXPECT_EQ(t, 300.0);
    EXPECT_EQ(p, 1e5);
    EXPECT_EQ(obj->ptr<ICapeUnit>()->Calculate(), static_cast<HRESULT>(ECapeSolvingErrorHR));

    LONG count = 0;
    EXPECT_EQ(obj->ptr<ICapeThermoCompounds>()->GetNumCompounds(&count), S_OK);
    EXPECT_EQ(count, 3);
    tarv::Variant value;
    EXPECT_EQ(obj->ptr<ICapeParameter>()->get_value(value.put()), S_OK);
    ASSERT_EQ(value.vt(), VT_BSTR);
    EXPECT_STREQ(value.get().bstrVal, L"text");
    CapeParamMode mode = CAPE_INPUT;
    EXPECT_EQ(obj->ptr<ICapeParameter>()->get_Mode(&mode), S_OK);
    EXPECT_EQ(mode, CAPE_OUTPUT);

    const ULONG specRefs = spec->refCount();
    IDispatch* specOut = nullptr;
    EXPECT_EQ(obj->ptr<ICapeParameter>()->get_Specification(&specOut), S_OK);
    EXPECT_EQ(specOut, spec->ptr<IDispatch>());
    EXPECT_EQ(spec->refCount(), specRefs + 1) << "an interface out-value carries a reference for the caller";
    specOut->Release();

    obj->unscript(&ICapeThermoCompounds::GetNumCompounds);
    count = -1;
    EXPECT_EQ(obj->ptr<ICapeThermoCompounds>()->GetNumCompounds(&count), S_OK);
    EXPECT_EQ(count, -1);
}

TEST(KitErrors, ErrorInterfacesAnswerATextAnEmptyStringOrAreMissing)
{
    const struct {
        const char* label;
        std::vector<IID> exposed;
        std::optional<std::wstring> description, name;   // what the object is told to answer
    } cases[] = {
        {"texts", {IID_ICapeUnit, IID_ECapeUser, IID_ECapeRoot}, L"flash failed", L"ECapeComputation"},
        {"empty texts", {IID_ICapeUnit, IID_ECapeUser, IID_ECapeRoot, IID_ECapeNoImpl}, L"", L""},
        {"no ECapeUser", {IID_ICapeUnit, IID_ECapeRoot}, std::nullopt, L"root only"},
        {"no error interfaces", {IID_ICapeUnit}, std::nullopt, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        auto obj = kit::Object::create(c.exposed);
        if (c.description) obj->errorDescription(*c.description);
        if (c.name) obj->errorName(*c.name);

        ComPtr<IUnknown> unit(obj->ptr<ICapeUnit>());
        auto user = unit.query<ECapeUser>();
        auto root = unit.query<ECapeRoot>();
        ASSERT_EQ(bool(user), c.description.has_value());
        ASSERT_EQ(bool(root), c.name.has_value());
        if (user) {
            Bstr text;
            EXPECT_EQ(user->get_description(text.put()), S_OK);
            ASSERT_NE(text.get(), nullptr) << "an empty text is a string, not null";
            EXPECT_EQ(text.wide(), *c.description);
        }
        if (root) {
            Bstr text;
            EXPECT_EQ(root->get_name(text.put()), S_OK);
            ASSERT_NE(text.get(), nullptr);
            EXPECT_EQ(text.wide(), *c.name);
        }
    }
}

TEST(KitQueries, EveryQueryIsRecordedButTheTestsOwnLookupsAreNot)
{
    auto obj = kit::Object::create<ICapeThermoMaterialObject>();
    EXPECT_NE(obj->ptr<ICapeThermoMaterialObject>(), nullptr);
    EXPECT_EQ(obj->ptr<ICapeThermoMaterial>(), nullptr);
    EXPECT_TRUE(obj->queries().empty());

    ComPtr<IUnknown> unk(obj->ptr<IUnknown>());
    EXPECT_FALSE(unk.query<IMarshal>());
    EXPECT_TRUE(unk.query<ICapeThermoMaterialObject>());
    EXPECT_EQ(obj->queries(), (std::vector<IID>{IID_IMarshal, IID_ICapeThermoMaterialObject}));
    EXPECT_TRUE(obj->wasQueried(IID_IMarshal));
    EXPECT_FALSE(obj->wasQueried(IID_ICapeThermoMaterial));
    obj->clearQueries();
    EXPECT_FALSE(obj->wasQueried(IID_IMarshal));
}

// A package-like object keeps the material it is given and calls back into it during a
// calculation, the pattern of every context interface.
TEST(KitCallbacks, APackageCallsBackIntoTheMaterialItWasGiven)
{
    auto material = kit::Object::create<ICapeThermoMaterial>(L"Stream");
    std::vector<double> stored;
    material->returns(&ICapeThermoMaterial::GetOverallProp, tarv::makeDoubleArray({350.0}))
        .on(&ICapeThermoMaterial::SetOverallProp, [&](BSTR, BSTR, VARIANT values) { stored = tarv::readDoubleArray(values); });

    ComPtr<ICapeThermoMaterial> current;
    auto package = kit::Object::create<ICapeThermoMaterialContext, ICapeThermoEquilibriumRoutine>(L"Package");
    package->on(&ICapeThermoMaterialContext::SetMaterial, [&](IDispatch* m) {
               current = ComPtr<IDispatch>(m).query<ICapeThermoMaterial>();
               return current ? S_OK : E_NOINTERFACE;
           })
        .on(&ICapeThermoMaterialContext::UnsetMaterial, [&] { current = nullptr; })
        .on(&ICapeThermoEquilibriumRoutine::CalcEquilibrium, [&](VARIANT, VARIANT, BSTR) {
            Bstr temperature(L"temperature");
            tarv::Variant t;
            HRESULT hr = current->GetOverallProp(temperature.get(), nullptr, t.put());
            return SUCCEEDED(hr) ? current->SetOverallProp(temperature.get(), nullptr, t.get()) : hr;
        });

    const ULONG baseline = material->refCount();
    ICapeThermoMaterialContext* context = package->ptr<ICapeThermoMaterialContext>();
    ASSERT_EQ(context->SetMaterial(material->ptr<IDispatch>()), S_OK);
    EXPECT_EQ(material->refCount(), baseline + 1);

    tarv::Variant spec;
    EXPECT_EQ(package->ptr<ICapeThermoEquilibriumRoutine>()->CalcEquilibrium(spec.get(), spec.get(), nullptr), S_OK);
    EXPECT_EQ(material->calls(), (kit::Calls{"ICapeThermoMaterial::GetOverallProp", "ICapeThermoMaterial::SetOverallProp"}));
    EXPECT_EQ(stored, (std::vector<double>{350.0}));

    EXPECT_EQ(context->UnsetMaterial(), S_OK);
    EXPECT_EQ(material->refCount(), baseline);
    EXPECT_EQ(package->calls(), (kit::Calls{"ICapeThermoMaterialContext::SetMaterial",
                                            "ICapeThermoEquilibriumRoutine::CalcEquilibrium",
                                            "ICapeThermoMaterialContext::UnsetMaterial"}));
}

TEST(KitFaults, ThrownFaultsLeaveTheMethodAsGxxExceptions)
{
    auto unit = kit::Object::create<ICapeUnit>();
    unit->fault(&ICapeUnit::Calculate, kit::Fault::ThrowText("solver exploded"));
    try {
        unit->ptr<ICapeUnit>()->Calculate();
        ADD_FAILURE() << "no exception";
    } catch (const char* text) {
        EXPECT_STREQ(text, "solver exploded");
    }
    unit->fault(&ICapeUnit::Calculate, kit::Fault::ThrowInt(7));
    try {
        unit->ptr<ICapeUnit>()->Calculate();
        ADD_FAILURE() << "no exception";
    } catch (int value) {
        EXPECT_EQ(value, 7);
    }
    EXPECT_EQ(unit->callCount("ICapeUnit::Calculate"), 2u);
}

namespace {

const std::vector<std::pair<const char*, kit::Fault>>& hardwareFaults()
{
    static const std::vector<std::pair<const char*, kit::Fault>> faults{
        {"AccessViolation", kit::Fault::AccessViolation},
        {"IntDivideByZero", kit::Fault::IntDivideByZero},
        {"StackOverflow", kit::Fault::StackOverflow},
    };
    return faults;
}

LONG WINAPI exitWithExceptionCode(EXCEPTION_POINTERS* e)
{
    ExitProcess(e->ExceptionRecord->ExceptionCode);
}

} // namespace

// Child process: raises the fault inside ICapeUnit::Calculate with nothing to catch it, and exits
// with the exception's code from the unhandled-exception filter.
int raiseFaultInChild(const char* name)
{
    ULONG reserve = 64 * 1024;   // room for the filter after a stack overflow
    SetThreadStackGuarantee(&reserve);
    _resetstkoflw();
    SetUnhandledExceptionFilter(exitWithExceptionCode);
    for (const auto& [faultName, fault] : hardwareFaults()) {
        if (std::strcmp(faultName, name) != 0) continue;
        auto unit = kit::Object::create<ICapeUnit>();
        unit->fault(&ICapeUnit::Calculate, fault);
        unit->ptr<ICapeUnit>()->Calculate();
        return 1;   // did not fault
    }
    return 2;
}

TEST(KitFaults, HardwareFaultsRaiseTheirExceptionCodeInsideTheMethod)
{
    wchar_t self[MAX_PATH];
    ASSERT_GT(GetModuleFileNameW(nullptr, self, MAX_PATH), 0u);
    for (const auto& [name, fault] : hardwareFaults()) {
        SCOPED_TRACE(name);
        std::wstring cmd = L"\"" + std::wstring(self) + L"\" --raise " + tarv::toWide(name);
        STARTUPINFOW si{};
        si.cb = sizeof si;
        PROCESS_INFORMATION pi{};
        ASSERT_TRUE(CreateProcessW(self, cmd.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi));
        EXPECT_EQ(WaitForSingleObject(pi.hProcess, 60000), WAIT_OBJECT_0);
        DWORD code = 0;
        GetExitCodeProcess(pi.hProcess, &code);
        CloseHandle(pi.hThread);
        CloseHandle(pi.hProcess);
        EXPECT_EQ(code, fault.exceptionCode()) << std::hex << "exit code 0x" << code;
    }
}
