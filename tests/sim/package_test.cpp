// The ideal packages in process, on the simulator's material: what a TP flash and the property
// calls leave on the material, the errors they report, and the 1.0 and 1.1 packages agreeing.
#include "com/bstr.h"
#include "com/variant.h"
#include "kit/ideal/configurations.h"
#include "kit/ideal/package10.h"
#include "kit/ideal/package11.h"
#include "kit/ideal/values.h"
#include "sim/material.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kit::ideal;
using tarv::Bstr;
using tarv::ComPtr;
using tarv::Variant;

namespace {

constexpr double kAtm = 101325.0;
const std::vector<std::wstring> kAlkanes{L"n-Pentane", L"n-Hexane", L"n-Heptane"};
const std::vector<std::wstring> kPhases{L"Vapor", L"Liquid"};

template <class P, class I, class... A>
ComPtr<I> make(A&&... args)
{
    ComPtr<I> p;
    EXPECT_EQ(createAndQuery<P>(__uuidof(I), p.putVoid(), std::forward<A>(args)...), S_OK);
    return p;
}

ComPtr<IUnknown> package11()
{
    return make<IdealPackage11, IUnknown>(*findConfiguration(L"Ideal Alkanes"), true);
}

ComPtr<sim::Material> feed(double T, double P, std::vector<double> z)
{
    ComPtr<sim::Material> m = sim::Material::create(kAlkanes, kPhases);
    m->setValue(L"temperature", L"Overall", L"", {T});
    m->setValue(L"pressure", L"Overall", L"", {P});
    m->setValue(L"fraction", L"Overall", L"mole", std::move(z));
    return m;
}

Variant spec(const wchar_t* property)
{
    return tarv::makeStringArray({property, L"", L"Overall"});
}

// TP flash of the material through the 1.1 routines; the status of CalcEquilibrium.
HRESULT flash11(IUnknown* package, sim::Material* m)
{
    ComPtr<ICapeThermoMaterialContext> context = ComPtr<IUnknown>(package).query<ICapeThermoMaterialContext>();
    EXPECT_EQ(context->SetMaterial(static_cast<ICapeThermoMaterial*>(m)), S_OK);
    auto eq = ComPtr<IUnknown>(package).query<ICapeThermoEquilibriumRoutine>();
    return eq->CalcEquilibrium(spec(L"temperature").get(), spec(L"pressure").get(), Bstr(L"Unspecified").get());
}

std::vector<double> stored(const ComPtr<sim::Material>& m, const wchar_t* prop, const wchar_t* phase,
                           const wchar_t* basis)
{
    auto v = m->value(prop, phase, basis);
    return v ? *v : std::vector<double>();
}

// The last error as the package's ECapeUser tells it.
struct Told {
    LONG code;
    std::wstring description, interfaceName, operation, name;
};
Told told(IUnknown* object)
{
    auto user = ComPtr<IUnknown>(object).query<ECapeUser>();
    auto root = ComPtr<IUnknown>(object).query<ECapeRoot>();
    Told t{};
    Bstr d, i, o, n;
    user->get_code(&t.code);
    user->get_description(d.put());
    user->get_interfaceName(i.put());
    user->get_operation(o.put());
    root->get_name(n.put());
    return {t.code, d.wide(), i.wide(), o.wide(), n.wide()};
}

ULONG refCount(IUnknown* p)
{
    p->AddRef();
    return p->Release();
}

} // namespace

TEST(Package11, TPFlashWritesPhasesFractionsAndConditionsOnTheMaterial)
{
    const IdealModel model = IdealModel::fromIds(kAlkanes);
    const FlashResult expected = model.flashTP(340.0, kAtm, {1, 1, 1});
    for (bool pressureFirst : {false, true}) {
        auto package = package11();
        auto m = feed(340.0, kAtm, {1.0 / 3, 1.0 / 3, 1.0 / 3});
        m->setPresentPhases(kPhases, {CAPE_UNKNOWNPHASESTATUS, CAPE_UNKNOWNPHASESTATUS});
        auto eq = package.query<ICapeThermoEquilibriumRoutine>();
        auto context = package.query<ICapeThermoMaterialContext>();
        ASSERT_EQ(context->SetMaterial(static_cast<ICapeThermoMaterial*>(m.get())), S_OK);
        Variant t = spec(L"temperature"), p = spec(L"pressure");
        ASSERT_EQ(pressureFirst ? eq->CalcEquilibrium(p.get(), t.get(), Bstr(L"Normal").get())
                                : eq->CalcEquilibrium(t.get(), p.get(), Bstr(L"Unspecified").get()),
                  S_OK);

        EXPECT_EQ(m->presentPhases(), kPhases);
        EXPECT_EQ(m->phaseStatus(), (std::vector<LONG>{CAPE_ATEQUILIBRIUM, CAPE_ATEQUILIBRIUM}));
        EXPECT_NEAR(stored(m, L"phaseFraction", L"Vapor", L"mole").at(0), expected.vaporFraction, 1e-12);
        EXPECT_NEAR(stored(m, L"phaseFraction", L"Liquid", L"mole").at(0), 1 - expected.vaporFraction, 1e-12);
        EXPECT_EQ(stored(m, L"fraction", L"Vapor", L"mole"), expected.y);
        EXPECT_EQ(stored(m, L"fraction", L"Liquid", L"mole"), expected.x);
        EXPECT_EQ(stored(m, L"temperature", L"Liquid", L""), std::vector<double>{340.0});
        EXPECT_EQ(stored(m, L"pressure", L"Vapor", L""), std::vector<double>{kAtm});
    }
}

TEST(Package11, PropertiesOfEachPhaseComeFromItsOwnConditions)
{
    auto package = package11();
    auto m = feed(340.0, kAtm, {0.2, 0.5, 0.3});
    m->setPresentPhases(kPhases, {});
    ASSERT_EQ(flash11(package.get(), m.get()), S_OK);
    auto routine = package.query<ICapeThermoPropertyRoutine>();
    Variant props = tarv::makeStringArray({L"fugacityCoefficient", L"molecularWeight", L"density", L"enthalpy"});
    for (const std::wstring& phase : kPhases) ASSERT_EQ(routine->CalcSinglePhaseProp(props.get(), Bstr(phase).get()), S_OK);

    const IdealModel model = IdealModel::fromIds(kAlkanes);
    const FlashResult r = model.flashTP(340.0, kAtm, {0.2, 0.5, 0.3});
    EXPECT_NEAR(stored(m, L"molecularWeight", L"Liquid", L"").at(0), model.molecularWeight(r.x), 1e-12);
    EXPECT_NEAR(stored(m, L"molecularWeight", L"Vapor", L"").at(0), model.molecularWeight(r.y), 1e-12);
    EXPECT_NEAR(stored(m, L"density", L"Vapor", L"mole").at(0), kAtm / (kGasConstant * 340.0), 1e-9);
    EXPECT_NEAR(stored(m, L"enthalpy", L"Liquid", L"mole").at(0), model.enthalpy(Phase::Liquid, 340.0, r.x), 1e-9);
    const std::vector<double> phiV = stored(m, L"fugacityCoefficient", L"Vapor", L"");
    const std::vector<double> phiL = stored(m, L"fugacityCoefficient", L"Liquid", L"");
    ASSERT_EQ(phiL.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(phiV[i], 1.0);
        // Equal fugacities at equilibrium: y phiV = x phiL.
        EXPECT_NEAR(r.y[i] * phiV[i], r.x[i] * phiL[i], 1e-12);
    }

    // K-values as a two-phase property, Vapor over Liquid.
    ASSERT_EQ(routine->CalcTwoPhaseProp(tarv::makeStringArray({L"kvalue"}).get(), tarv::makeStringArray(kPhases).get()),
              S_OK);
    const std::vector<double> k = stored(m, L"kvalue", L"Vapor+Liquid", L"");
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(k[i], r.y[i] / r.x[i], 1e-9);
}

TEST(Package11, OnlyThePhasesTheMaterialAllowsAppear)
{
    auto package = package11();
    auto m = feed(340.0, kAtm, {0.2, 0.5, 0.3});
    m->setPresentPhases({L"Vapor"}, {CAPE_UNKNOWNPHASESTATUS});
    ASSERT_EQ(flash11(package.get(), m.get()), S_OK);
    EXPECT_EQ(m->presentPhases(), std::vector<std::wstring>{L"Vapor"});
    EXPECT_EQ(stored(m, L"fraction", L"Vapor", L"mole"), (std::vector<double>{0.2, 0.5, 0.3}));

    // Subcooled feed, both phases allowed: liquid only, and the vapour's old values are gone.
    m->setValue(L"temperature", L"Overall", L"", {290.0});
    m->setPresentPhases(kPhases, {});
    ASSERT_EQ(flash11(package.get(), m.get()), S_OK);
    EXPECT_EQ(m->presentPhases(), std::vector<std::wstring>{L"Liquid"});
    EXPECT_FALSE(m->value(L"fraction", L"Vapor", L"mole"));
    EXPECT_EQ(stored(m, L"phaseFraction", L"Liquid", L"mole"), std::vector<double>{1.0});
}

TEST(Package11, FailuresReturnCapeStatusesAndDescribeThemselves)
{
    auto package = package11();
    auto eq = package.query<ICapeThermoEquilibriumRoutine>();
    auto routine = package.query<ICapeThermoPropertyRoutine>();
    const Bstr unspecified(L"Unspecified");

    // No material yet.
    EXPECT_EQ(eq->CalcEquilibrium(spec(L"temperature").get(), spec(L"pressure").get(), unspecified.get()), kCapeBadInvOrder);
    Told t = told(package.get());
    EXPECT_EQ(t.code, kCapeBadInvOrder);
    EXPECT_NE(t.description.find(L"SetMaterial"), std::wstring::npos) << t.description;
    EXPECT_EQ(t.interfaceName, L"ICapeThermoEquilibriumRoutine");
    EXPECT_EQ(t.operation, L"CalcEquilibrium");
    EXPECT_EQ(t.name, L"ECapeBadInvOrder");

    // Unsupported and malformed specifications.
    VARIANT_BOOL ok = VARIANT_TRUE;
    Variant h = spec(L"enthalpy");
    EXPECT_EQ(eq->CheckEquilibriumSpec(h.get(), spec(L"pressure").get(), unspecified.get(), &ok), S_OK);
    EXPECT_EQ(ok, VARIANT_FALSE);
    EXPECT_EQ(eq->CheckEquilibriumSpec(spec(L"pressure").get(), spec(L"temperature").get(), unspecified.get(), &ok), S_OK);
    EXPECT_EQ(ok, VARIANT_TRUE);
    EXPECT_EQ(eq->CalcEquilibrium(h.get(), spec(L"pressure").get(), unspecified.get()), kCapeLimitedImpl);
    EXPECT_EQ(eq->CalcEquilibrium(tarv::makeStringArray({L"temperature"}).get(), spec(L"pressure").get(),
                                  unspecified.get()),
              kCapeInvalidArgument);
    EXPECT_EQ(eq->CalcEquilibrium(spec(L"temperature").get(), spec(L"pressure").get(), Bstr(L"Retrograde").get()),
              kCapeLimitedImpl);

    // The material's own failure reaches the caller with the material's text.
    auto m = sim::Material::create(kAlkanes, kPhases);
    m->setValue(L"pressure", L"Overall", L"", {kAtm});
    EXPECT_EQ(flash11(package.get(), m.get()), kCapeThrmPropertyNotAvailable);
    t = told(package.get());
    EXPECT_NE(t.description.find(L"GetOverallTPFraction"), std::wstring::npos) << t.description;
    EXPECT_NE(t.description.find(L"Overall temperature is not set"), std::wstring::npos) << t.description;

    // Unknown property and phase.
    EXPECT_EQ(routine->CalcSinglePhaseProp(tarv::makeStringArray({L"viscosity"}).get(), Bstr(L"Liquid").get()),
              kCapeThrmPropertyNotAvailable);
    EXPECT_EQ(routine->CalcSinglePhaseProp(tarv::makeStringArray({L"density"}).get(), Bstr(L"Solid").get()),
              kCapeInvalidArgument);
    EXPECT_NE(told(package.get()).description.find(L"Solid"), std::wstring::npos);
    EXPECT_EQ(package.query<ICapeThermoMaterialContext>()->SetMaterial(nullptr), kCapeInvalidArgument);
}

TEST(Package11, VapourFractionSpecificationsTakeTheirValuesFromTheMaterial)
{
    const IdealModel model = IdealModel::fromIds(kAlkanes);
    const std::vector<double> z{0.2, 0.5, 0.3};
    auto package = package11();
    auto eq = package.query<ICapeThermoEquilibriumRoutine>();

    // Bubble point at 2 bar: the temperature found goes on the material overall.
    auto m = sim::Material::create(kAlkanes, kPhases);
    m->setValue(L"pressure", L"Overall", L"", {2e5});
    m->setValue(L"fraction", L"Overall", L"mole", z);
    m->setPresentPhases(kPhases, {});
    ASSERT_EQ(package.query<ICapeThermoMaterialContext>()->SetMaterial(static_cast<ICapeThermoMaterial*>(m.get())), S_OK);
    Variant fraction = tarv::makeStringArray({L"phaseFraction", L"mole", L"Vapor"});
    // The vapour fraction is not on the material yet.
    EXPECT_EQ(eq->CalcEquilibrium(spec(L"pressure").get(), fraction.get(), Bstr(L"Unspecified").get()),
              kCapeThrmPropertyNotAvailable);
    EXPECT_NE(told(package.get()).description.find(L"GetSinglePhaseProp"), std::wstring::npos);

    m->setValue(L"phaseFraction", L"Vapor", L"mole", {0.0});
    ASSERT_EQ(eq->CalcEquilibrium(spec(L"pressure").get(), fraction.get(), Bstr(L"Unspecified").get()), S_OK);
    EXPECT_NEAR(stored(m, L"temperature", L"Overall", L"").at(0), model.bubbleTemperature(2e5, z), 1e-9);
    EXPECT_EQ(m->presentPhases(), kPhases);
    EXPECT_EQ(stored(m, L"phaseFraction", L"Vapor", L"mole"), std::vector<double>{0.0});

    // A liquid fraction of 0.25 at 330 K: the pressure found gives vapour fraction 0.75.
    m->setValue(L"temperature", L"Overall", L"", {330.0});
    m->setPresentPhases(kPhases, {});
    m->setValue(L"phaseFraction", L"Liquid", L"mole", {0.25});
    Variant liquid = tarv::makeStringArray({L"phaseFraction", L"mole", L"Liquid"});
    ASSERT_EQ(eq->CalcEquilibrium(liquid.get(), spec(L"temperature").get(), Bstr(L"Unspecified").get()), S_OK);
    const double P = stored(m, L"pressure", L"Overall", L"").at(0);
    EXPECT_NEAR(model.flashTP(330.0, P, z).vaporFraction, 0.75, 1e-9);
    EXPECT_NEAR(stored(m, L"phaseFraction", L"Vapor", L"mole").at(0), 0.75, 1e-12);
}

TEST(Package11, CalcAndGetLnPhiFillsOnlyTheFlaggedResults)
{
    auto package = package11();
    auto routine = package.query<ICapeThermoPropertyRoutine>();
    const IdealModel model = IdealModel::fromIds(kAlkanes);
    const double T = 330.0, P = 2e5;
    Variant n = tarv::makeDoubleArray({1.0, 2.0, 3.0});
    for (int flags = 0; flags < 16; ++flags) {
        Variant out[4];
        for (Variant& v : out) v = Variant::fromLong(42);   // untouched unless flagged
        ASSERT_EQ(routine->CalcAndGetLnPhi(Bstr(L"Liquid").get(), T, P, n.get(), flags, out[0].ptr(), out[1].ptr(),
                                           out[2].ptr(), out[3].ptr()),
                  S_OK)
            << flags;
        for (int bit = 0; bit < 4; ++bit) {
            if (!(flags & (1 << bit))) {
                EXPECT_EQ(out[bit].vt(), VT_I4) << flags << " " << bit;
                continue;
            }
            const std::vector<double> v = doublesFrom(out[bit].get(), L"result");
            ASSERT_EQ(v.size(), bit == 3 ? 9u : 3u) << flags;
            for (size_t i = 0; i < v.size(); ++i) {
                const size_t c = i % 3;
                const double h = 1e-3;
                const double expected[] = {
                    std::log(model.vaporPressure(c, T) / P),
                    (std::log(model.vaporPressure(c, T + h)) - std::log(model.vaporPressure(c, T - h))) / (2 * h),
                    -1.0 / P,
                    0.0};   // ideal mixture: no composition dependence
                EXPECT_NEAR(v[i], expected[bit], 1e-7) << flags << " " << bit << " " << i;
            }
        }
    }
    Variant lnPhi;
    EXPECT_EQ(routine->CalcAndGetLnPhi(Bstr(L"Vapor").get(), T, P, tarv::makeDoubleArray({1.0, 2.0}).get(), 1,
                                       lnPhi.ptr(), nullptr, nullptr, nullptr),
              kCapeInvalidArgument);
}

TEST(Package11, CompoundsPhasesAndConstants)
{
    auto package = package11();
    auto compounds = package.query<ICapeThermoCompounds>();
    Variant ids, formulae, names, tb, mw, cas;
    ASSERT_EQ(compounds->GetCompoundList(ids.ptr(), formulae.ptr(), names.ptr(), tb.ptr(), mw.ptr(), cas.ptr()), S_OK);
    EXPECT_EQ(stringsFrom(ids.get(), L""), kAlkanes);
    EXPECT_EQ(stringsFrom(cas.get(), L""), (std::vector<std::wstring>{L"109-66-0", L"110-54-3", L"142-82-5"}));
    EXPECT_EQ(doublesFrom(mw.get(), L""), (std::vector<double>{72.151, 86.178, 100.205}));

    // Values for each property in turn, one per requested compound, in the requested order.
    Variant constants;
    ASSERT_EQ(compounds->GetCompoundConstant(tarv::makeStringArray({L"molecularWeight", L"casRegistryNumber"}).get(),
                                             tarv::makeStringArray({L"n-Heptane", L"n-Pentane"}).get(),
                                             constants.ptr()),
              S_OK);
    ASSERT_EQ(constants.vt(), VT_ARRAY | VT_VARIANT);
    const std::vector<std::wstring> asText = stringsFrom(constants.get(), L"");
    EXPECT_EQ(asText, (std::vector<std::wstring>{L"100.205", L"72.151", L"142-82-5", L"109-66-0"}));
    EXPECT_EQ(compounds->GetCompoundConstant(tarv::makeStringArray({L"molecularWeight"}).get(),
                                             tarv::makeStringArray({L"Water"}).get(), constants.ptr()),
              kCapeInvalidArgument);
    EXPECT_EQ(compounds->GetCompoundConstant(tarv::makeStringArray({L"dipoleMoment"}).get(), Variant().get(),
                                             constants.ptr()),
              kCapeThrmPropertyNotAvailable);

    Variant psat, tboil;
    ASSERT_EQ(compounds->GetTDependentProperty(tarv::makeStringArray({L"vaporPressure"}).get(), 341.88,
                                               tarv::makeStringArray({L"n-Hexane"}).get(), psat.ptr()),
              S_OK);
    EXPECT_NEAR(doublesFrom(psat.get(), L"").at(0), kAtm, 50.0);
    ASSERT_EQ(compounds->GetPDependentProperty(tarv::makeStringArray({L"boilingPointTemperature"}).get(), kAtm,
                                               Variant().get(), tboil.ptr()),
              S_OK);
    const std::vector<double> boiling = doublesFrom(tboil.get(), L"");
    ASSERT_EQ(boiling.size(), 3u);
    EXPECT_NEAR(boiling[1], 341.88, 0.01);

    auto phases = package.query<ICapeThermoPhases>();
    Variant labels, states, keys, info;
    ASSERT_EQ(phases->GetPhaseList(labels.ptr(), states.ptr(), keys.ptr()), S_OK);
    EXPECT_EQ(stringsFrom(labels.get(), L""), kPhases);
    ASSERT_EQ(phases->GetPhaseInfo(Bstr(L"Liquid").get(), Bstr(L"StateOfAggregation").get(), info.ptr()), S_OK);
    EXPECT_EQ(stringsFrom(info.get(), L""), std::vector<std::wstring>{L"Liquid"});

    Variant r;
    ASSERT_EQ(package.query<ICapeThermoUniversalConstant>()->GetUniversalConstant(Bstr(L"molarGasConstant").get(), r.ptr()),
              S_OK);
    EXPECT_EQ(r.get().dblVal, 8.314462618);
}

TEST(Package11, TerminateAndUnsetMaterialReleaseTheMaterial)
{
    auto package = package11();
    auto m = feed(340.0, kAtm, {1, 1, 1});
    IUnknown* identity = static_cast<ICapeThermoMaterial*>(m.get());
    const ULONG before = refCount(identity);
    auto context = package.query<ICapeThermoMaterialContext>();
    ASSERT_EQ(context->SetMaterial(static_cast<ICapeThermoMaterialObject*>(m.get())), S_OK);   // any of its interfaces
    EXPECT_EQ(refCount(identity), before + 1);
    ASSERT_EQ(context->UnsetMaterial(), S_OK);
    EXPECT_EQ(refCount(identity), before);
    ASSERT_EQ(context->SetMaterial(static_cast<ICapeThermoMaterial*>(m.get())), S_OK);
    ASSERT_EQ(package.query<ICapeUtilities>()->Terminate(), S_OK);
    EXPECT_EQ(refCount(identity), before);
}

TEST(Packages, TenAndElevenAgreeOnTheSameFeed)
{
    const PackageConfiguration& config = *findConfiguration(L"Ideal Aromatics");
    const std::vector<std::wstring> ids{L"Benzene", L"Toluene", L"o-Xylene"};
    const std::vector<double> z{0.5, 0.3, 0.2};
    const wchar_t* props11[] = {L"fugacityCoefficient", L"molecularWeight", L"density", L"enthalpy", L"entropy",
                                L"heatCapacityCp"};
    const wchar_t* props10[] = {L"fugacityCoefficient", L"molecularWeight", L"density", L"enthalpy", L"entropy",
                                L"heatCapacity"};

    auto m11 = sim::Material::create(ids, kPhases);
    auto m10 = sim::Material::create(ids, kPhases);
    for (sim::Material* m : {m11.get(), m10.get()}) {
        m->setValue(L"temperature", L"Overall", L"", {370.0});
        m->setValue(L"pressure", L"Overall", L"", {kAtm});
        m->setValue(L"fraction", L"Overall", L"mole", z);
    }

    auto p11 = make<IdealPackage11, IUnknown>(config, true);
    m11->setPresentPhases(kPhases, {});
    ASSERT_EQ(flash11(p11.get(), m11.get()), S_OK);
    std::vector<std::wstring> list(std::begin(props11), std::end(props11));
    for (const std::wstring& phase : m11->presentPhases())
        ASSERT_EQ(p11.query<ICapeThermoPropertyRoutine>()->CalcSinglePhaseProp(tarv::makeStringArray(list).get(),
                                                                               Bstr(phase).get()),
                  S_OK);

    auto p10 = make<IdealPackage10, ICapeThermoPropertyPackage>(config);
    IDispatch* mo = static_cast<ICapeThermoMaterialObject*>(m10.get());
    ASSERT_EQ(p10->CalcEquilibrium(mo, Bstr(L"TP").get(), Variant().get()), S_OK);
    list.assign(std::begin(props10), std::end(props10));
    ASSERT_EQ(p10->CalcProp(mo, tarv::makeStringArray(list).get(), tarv::makeStringArray(m10->presentPhases()).get(),
                            Bstr(L"Mixture").get()),
              S_OK);

    ASSERT_EQ(m11->presentPhases(), kPhases);
    ASSERT_EQ(m10->presentPhases(), kPhases);
    EXPECT_NEAR(stored(m10, L"phaseFraction", L"Vapor", L"mole").at(0), 0.1750516245, 1e-9);   // worked by hand
    for (const std::wstring& phase : kPhases) {
        EXPECT_EQ(stored(m10, L"phaseFraction", phase.c_str(), L"mole"), stored(m11, L"phaseFraction", phase.c_str(), L"mole"));
        EXPECT_EQ(stored(m10, L"fraction", phase.c_str(), L"mole"), stored(m11, L"fraction", phase.c_str(), L"mole"));
        for (size_t k = 0; k < std::size(props11); ++k) {
            const wchar_t* basis = k == 0 || k == 1 ? L"" : L"mole";
            const std::vector<double> a = stored(m11, props11[k], phase.c_str(), basis);
            EXPECT_FALSE(a.empty()) << props11[k];
            EXPECT_EQ(a, stored(m10, props10[k], phase.c_str(), basis)) << props11[k] << " " << phase;
        }
    }
}

TEST(Package10, PhaseFractionsTellTheMaterialObjectWhichPhasesArePresent)
{
    auto p10 = make<IdealPackage10, ICapeThermoPropertyPackage>(*findConfiguration(L"Ideal Alkanes"));
    auto m = feed(300.0, kAtm, {0.2, 0.5, 0.3});
    m->attachPackage10(p10.get());
    ICapeThermoMaterialObject* mo = m.get();

    // Through the material object's own CalcEquilibrium, which passes itself to the package.
    ASSERT_EQ(mo->CalcEquilibrium(Bstr(L"TP").get(), Variant().get()), S_OK);
    Variant phaseIds;
    ASSERT_EQ(mo->get_PhaseIds(phaseIds.ptr()), S_OK);
    EXPECT_EQ(stringsFrom(phaseIds.get(), L""), std::vector<std::wstring>{L"Liquid"});

    m->setValue(L"temperature", L"Overall", L"", {420.0});
    ASSERT_EQ(mo->CalcEquilibrium(Bstr(L"TP").get(), Variant().get()), S_OK);
    ASSERT_EQ(mo->get_PhaseIds(phaseIds.ptr()), S_OK);
    EXPECT_EQ(stringsFrom(phaseIds.get(), L""), std::vector<std::wstring>{L"Vapor"});
    EXPECT_FALSE(m->value(L"fraction", L"Liquid", L"mole"));

    // Requested properties are calculated for the phases found.
    ASSERT_EQ(mo->CalcEquilibrium(Bstr(L"tp").get(), tarv::makeStringArray({L"density"}).get()), S_OK);
    EXPECT_NEAR(stored(m, L"density", L"Vapor", L"mole").at(0), kAtm / (kGasConstant * 420.0), 1e-9);

    EXPECT_EQ(mo->CalcEquilibrium(Bstr(L"PH").get(), Variant().get()), kCapeLimitedImpl);
    EXPECT_NE(told(mo).description.find(L"PH"), std::wstring::npos);
    EXPECT_EQ(p10->CalcProp(mo, tarv::makeStringArray({L"density"}).get(), tarv::makeStringArray({L"Vapor"}).get(),
                            Bstr(L"Pure").get()),
              kCapeLimitedImpl);

    // A material object with a compound the package lacks.
    auto water = sim::Material::create({L"n-Pentane", L"Water"}, kPhases);
    EXPECT_EQ(p10->CalcEquilibrium(static_cast<ICapeThermoMaterialObject*>(water.get()), Bstr(L"TP").get(), Variant().get()),
              kCapeInvalidArgument);
    EXPECT_NE(told(p10.get()).description.find(L"Water"), std::wstring::npos);
    m->attachPackage10(nullptr);
}

TEST(Material, StoreRulesThatPackagesRelyOn)
{
    auto m = feed(340.0, kAtm, {0.2, 0.5, 0.3});
    ICapeThermoMaterial* mat = m.get();
    Variant values = tarv::makeDoubleArray({0.4});
    // A phase's values need the phase present.
    EXPECT_EQ(mat->SetSinglePhaseProp(Bstr(L"phaseFraction").get(), Bstr(L"Vapor").get(), Bstr(L"mole").get(), values.get()),
              kCapeInvalidArgument);
    m->setPresentPhases(kPhases, {});
    EXPECT_EQ(mat->SetSinglePhaseProp(Bstr(L"phaseFraction").get(), Bstr(L"Vapor").get(), Bstr(L"mole").get(), values.get()),
              S_OK);
    // Compositions need one value per compound; unknown phases are refused.
    EXPECT_EQ(mat->SetSinglePhaseProp(Bstr(L"fraction").get(), Bstr(L"Vapor").get(), Bstr(L"mole").get(),
                                      tarv::makeDoubleArray({0.5, 0.5}).get()),
              kCapeInvalidArgument);
    EXPECT_EQ(mat->SetPresentPhases(tarv::makeStringArray({L"Solid"}).get(), Variant().get()), kCapeInvalidArgument);
    // Leaving the present list drops the phase's values.
    m->setPresentPhases({L"Liquid"}, {});
    m->setPresentPhases(kPhases, {});
    Variant r;
    EXPECT_EQ(mat->GetSinglePhaseProp(Bstr(L"phaseFraction").get(), Bstr(L"Vapor").get(), Bstr(L"mole").get(), r.ptr()),
              kCapeThrmPropertyNotAvailable);

    // The 1.0 view: "Overall" is the overall store, and compound subsets pick values.
    ICapeThermoMaterialObject* mo = m.get();
    ASSERT_EQ(mo->GetProp(Bstr(L"fraction").get(), Bstr(L"Overall").get(), tarv::makeStringArray({L"n-Heptane"}).get(),
                          Bstr(L"").get(), Bstr(L"mole").get(), r.ptr()),
              S_OK);
    EXPECT_EQ(doublesFrom(r.get(), L""), std::vector<double>{0.3});
    double T = 0, P = 0;
    ASSERT_EQ(mat->GetOverallTPFraction(&T, &P, r.ptr()), S_OK);
    EXPECT_EQ(T, 340.0);
    EXPECT_EQ(doublesFrom(r.get(), L""), (std::vector<double>{0.2, 0.5, 0.3}));
}
