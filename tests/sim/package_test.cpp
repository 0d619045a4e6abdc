// The ideal packages in process, on the simulator's material: the 1.0 and 1.1 packages agreeing on
// a flash checked by hand.
#include "com/bstr.h"
#include "com/variant.h"
#include "ideal/configurations.h"
#include "ideal/package10.h"
#include "ideal/package11.h"
#include "simulator/material.h"

#include <gtest/gtest.h>

using namespace samples::ideal;
using tarv::Bstr;
using tarv::ComPtr;
using tarv::Variant;

namespace {

constexpr double kAtm = 101325.0;
const std::vector<std::wstring> kPhases{L"Vapor", L"Liquid"};

template <class P, class I, class... A>
ComPtr<I> make(A&&... args)
{
    ComPtr<I> p;
    EXPECT_EQ(createAndQuery<P>(__uuidof(I), p.putVoid(), std::forward<A>(args)...), S_OK);
    return p;
}

ComPtr<sim::Material> feed(const std::vector<std::wstring>& ids, double T, std::vector<double> z)
{
    ComPtr<sim::Material> m = sim::Material::create(ids, kPhases);
    m->setValue(L"temperature", L"Overall", L"", {T});
    m->setValue(L"pressure", L"Overall", L"", {kAtm});
    m->setValue(L"fraction", L"Overall", L"mole", std::move(z));
    m->setPresentPhases(kPhases, {});
    return m;
}

Variant spec(const wchar_t* property)
{
    return tarv::makeStringArray({property, L"", L"Overall"});
}

// TP flash of the material through the 1.1 routines; the status of CalcEquilibrium.
HRESULT flash11(const ComPtr<IUnknown>& package, sim::Material* m)
{
    EXPECT_EQ(package.query<ICapeThermoMaterialContext>()->SetMaterial(static_cast<ICapeThermoMaterial*>(m)), S_OK);
    return package.query<ICapeThermoEquilibriumRoutine>()->CalcEquilibrium(spec(L"temperature").get(),
                                                                           spec(L"pressure").get(),
                                                                           Bstr(L"Unspecified").get());
}

std::vector<double> stored(const ComPtr<sim::Material>& m, const wchar_t* prop, const wchar_t* phase,
                           const wchar_t* basis)
{
    auto v = m->value(prop, phase, basis);
    return v ? *v : std::vector<double>();
}

} // namespace

TEST(Packages, TenAndElevenAgreeOnAFlashCheckedByHand)
{
    const PackageConfiguration& config = *findConfiguration(L"Ideal Aromatics");
    const std::vector<std::wstring> ids{L"Benzene", L"Toluene", L"o-Xylene"};
    const std::vector<double> z{0.5, 0.3, 0.2};
    const wchar_t* props11[] = {L"fugacityCoefficient", L"molecularWeight", L"density", L"enthalpy", L"entropy",
                                L"heatCapacityCp"};
    const wchar_t* props10[] = {L"fugacityCoefficient", L"molecularWeight", L"density", L"enthalpy", L"entropy",
                                L"heatCapacity"};
    auto m11 = feed(ids, 370.0, z), m10 = feed(ids, 370.0, z);

    auto p11 = make<IdealPackage11, IUnknown>(config, true);
    ASSERT_EQ(flash11(p11, m11.get()), S_OK);
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
    const double beta = stored(m10, L"phaseFraction", L"Vapor", L"mole").at(0);
    EXPECT_NEAR(beta, 0.1750516245, 1e-9);   // worked by hand
    const std::vector<double> y = stored(m10, L"fraction", L"Vapor", L"mole"), x = stored(m10, L"fraction", L"Liquid", L"mole");
    ASSERT_EQ(y.size(), 3u);
    ASSERT_EQ(x.size(), 3u);
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(beta * y[i] + (1 - beta) * x[i], z[i], 1e-12) << "mass balance";
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
