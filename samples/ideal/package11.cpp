#include "ideal/package11.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "ideal/properties.h"

#include <cmath>

namespace samples::ideal {
namespace {

constexpr const wchar_t* kRoutine = L"ICapeThermoPropertyRoutine";
constexpr const wchar_t* kEquilibrium = L"ICapeThermoEquilibriumRoutine";
constexpr const wchar_t* kCompounds = L"ICapeThermoCompounds";
constexpr const wchar_t* kPhases = L"ICapeThermoPhases";
constexpr const wchar_t* kConstants = L"ICapeThermoUniversalConstant";
constexpr const wchar_t* kContext = L"ICapeThermoMaterialContext";

Phase phaseArgument(const std::wstring& label)
{
    if (auto p = phaseFromLabel(label)) return *p;
    raise(kCapeInvalidArgument, L"Unknown phase label \"" + label + L"\"; the package's phases are Vapor and Liquid");
}

// One condition of an equilibrium: property, basis, phase label (and an optional compound).
struct EquilibriumCondition {
    std::wstring property, basis, phase;
};

EquilibriumCondition parseCondition(const VARIANT& v, const wchar_t* argument)
{
    std::vector<std::wstring> s = stringsFrom(v, argument);
    if (s.size() < 3 || s.size() > 4)
        raise(kCapeInvalidArgument, std::wstring(L"Argument ") + argument +
                                        L" must hold a property, a basis and a phase label");
    return {s[0], s[1], s[2]};
}

// The flashes the package does: temperature and pressure, or a vapour (or liquid) phase fraction
// with one of them.
enum class FlashKind { TP, PVF, TVF };
struct FlashSpec {
    FlashKind kind;
    Phase fractionPhase = Phase::Vapor;   // the phase whose fraction is specified
};

FlashSpec parseFlash(const VARIANT& spec1, const VARIANT& spec2, const std::wstring& solutionType)
{
    const EquilibriumCondition specs[] = {parseCondition(spec1, L"specification1"),
                                   parseCondition(spec2, L"specification2")};
    bool t = false, p = false, f = false;
    FlashSpec result{FlashKind::TP};
    for (const EquilibriumCondition& s : specs) {
        if (sameId(s.property, L"temperature") || sameId(s.property, L"pressure")) {
            if (!sameId(s.phase, L"Overall"))
                raise(kCapeLimitedImpl, L"The " + s.property + L" condition must be for phase Overall, not \"" +
                                            s.phase + L"\"");
            (sameId(s.property, L"temperature") ? t : p) = true;
        } else if (sameId(s.property, L"phaseFraction")) {
            const std::optional<Phase> ph = phaseFromLabel(s.phase);
            if (!ph) raise(kCapeLimitedImpl, L"A phase fraction can be specified for Vapor or Liquid, not \"" + s.phase + L"\"");
            if (!s.basis.empty() && !sameId(s.basis, L"mole"))
                raise(kCapeLimitedImpl, L"Phase fractions are specified on a mole basis, not " + s.basis);
            f = true;
            result.fractionPhase = *ph;
        } else {
            raise(kCapeLimitedImpl, L"An equilibrium condition on " + s.property + L" is not supported");
        }
    }
    if (t && p) result.kind = FlashKind::TP;
    else if (p && f) result.kind = FlashKind::PVF;
    else if (t && f) result.kind = FlashKind::TVF;
    else raise(kCapeLimitedImpl, L"Conditions on " + specs[0].property + L" and " + specs[1].property +
                                     L" do not make a supported flash");
    if (!sameId(solutionType, L"Unspecified") && !sameId(solutionType, L"Normal"))
        raise(kCapeLimitedImpl, L"Solution type \"" + solutionType + L"\" is not supported");
    return result;
}

std::vector<std::wstring> phaseLabels()
{
    return {labelOf(Phase::Vapor), labelOf(Phase::Liquid)};
}

} // namespace

IdealModel modelOf(const PackageConfiguration& config)
{
    return IdealModel::fromIds(std::vector<std::wstring>(config.compounds.begin(), config.compounds.end()));
}

IdealPackage11::IdealPackage11(const PackageConfiguration& config)
    : CapeComponent(config.name, config.description), model_(modelOf(config))
{
    model_.useSettings(parameters_.settings);
}

void IdealPackage11::terminate()
{
    material_ = nullptr;
}

ICapeThermoMaterial& IdealPackage11::material(const wchar_t* operation)
{
    if (!material_)
        raise(kCapeBadInvOrder, std::wstring(operation) + L" needs a material: call SetMaterial first");
    return *material_.get();
}

void IdealPackage11::check(HRESULT hr, const wchar_t* call)
{
    if (FAILED(hr))
        raise(hr, std::wstring(L"The material's ") + call + L" failed: " + describeFailure(material_.get(), hr));
}

std::vector<size_t> IdealPackage11::compoundIndices(const VARIANT& compIds)
{
    std::vector<size_t> out;
    if (isUndefined(compIds)) {
        for (size_t i = 0; i < model_.size(); ++i) out.push_back(i);
        return out;
    }
    for (const std::wstring& id : stringsFrom(compIds, L"compIds")) {
        const int i = model_.indexOf(id);
        if (i < 0) raise(kCapeInvalidArgument, L"Compound \"" + id + L"\" is not in package " + componentName());
        out.push_back(static_cast<size_t>(i));
    }
    return out;
}

// --- ICapeThermoPropertyRoutine ----------------------------------------------------------------

HRESULT IdealPackage11::CalcAndGetLnPhi(BSTR phaseLabel, double temperature, double pressure, VARIANT moleNumbers,
                                        int fFlags, VARIANT* lnPhi, VARIANT* lnPhiDT, VARIANT* lnPhiDP,
                                        VARIANT* lnPhiDn)
{
    return guard(kRoutine, L"CalcAndGetLnPhi", [&] {
        const Phase phase = phaseArgument(text(phaseLabel));
        model_.normalized(doublesFrom(moleNumbers, L"moleNumbers"), L"moleNumbers");
        const int known = CAPE_LOG_FUGACITY_COEFFICIENTS | CAPE_T_DERIVATIVE | CAPE_P_DERIVATIVE |
                          CAPE_MOLE_NUMBERS_DERIVATIVES;
        if (fFlags & ~known) raise(kCapeInvalidArgument, L"Unknown calculation flags " + std::to_wstring(fFlags));
        model_.checkTemperature(temperature);
        model_.checkPressure(pressure);
        // Compute everything requested before touching any output.
        std::vector<double> v, dt, dp;
        if (fFlags & CAPE_LOG_FUGACITY_COEFFICIENTS) v = model_.lnFugacityCoefficients(phase, temperature, pressure);
        if (fFlags & CAPE_T_DERIVATIVE) dt = model_.dLnFugacityCoefficientsdT(phase, temperature, pressure);
        if (fFlags & CAPE_P_DERIVATIVE) dp = model_.dLnFugacityCoefficientsdP(phase, temperature, pressure);
        if (fFlags & CAPE_LOG_FUGACITY_COEFFICIENTS) setDoubles(out(lnPhi), v);
        if (fFlags & CAPE_T_DERIVATIVE) setDoubles(out(lnPhiDT), dt);
        if (fFlags & CAPE_P_DERIVATIVE) setDoubles(out(lnPhiDP), dp);
        // Ideal mixtures: fugacity coefficients do not depend on composition.
        if (fFlags & CAPE_MOLE_NUMBERS_DERIVATIVES)
            setDoubles(out(lnPhiDn), std::vector<double>(model_.size() * model_.size(), 0.0));
    });
}

HRESULT IdealPackage11::CalcSinglePhaseProp(VARIANT props, BSTR phaseLabel)
{
    return guard(kRoutine, L"CalcSinglePhaseProp", [&] {
        const std::vector<std::wstring> names = stringsFrom(props, L"props");
        if (names.empty()) raise(kCapeInvalidArgument, L"No property was requested");
        const Phase phase = phaseArgument(text(phaseLabel));
        std::vector<const PropertyInfo*> wanted;
        for (const std::wstring& n : names) {
            const PropertyInfo* p = findSinglePhaseProperty(n);
            if (!p) raise(kCapeThrmPropertyNotAvailable, L"Single-phase property \"" + n + L"\" is not available");
            wanted.push_back(p);
        }
        ICapeThermoMaterial& m = material(L"CalcSinglePhaseProp");
        const tarv::Bstr label(labelOf(phase));
        double T = 0.0, P = 0.0;
        tarv::Variant x;
        check(m.GetTPFraction(label.get(), &T, &P, x.ptr()), L"GetTPFraction");
        const std::vector<double> composition = doublesFrom(x.get(), L"composition");
        for (const PropertyInfo* p : wanted) {
            tarv::Variant values = tarv::makeDoubleArray(calcSinglePhase(model_, *p, phase, T, P, composition));
            check(m.SetSinglePhaseProp(tarv::Bstr(p->id).get(), label.get(), tarv::Bstr(p->basis).get(), values.get()),
                  L"SetSinglePhaseProp");
        }
    });
}

HRESULT IdealPackage11::CalcTwoPhaseProp(VARIANT props, VARIANT phaseLabelsArg)
{
    return guard(kRoutine, L"CalcTwoPhaseProp", [&] {
        const std::vector<std::wstring> names = stringsFrom(props, L"props");
        if (names.empty()) raise(kCapeInvalidArgument, L"No property was requested");
        const std::vector<std::wstring> labels = stringsFrom(phaseLabelsArg, L"phaseLabels");
        if (labels.size() != 2) raise(kCapeInvalidArgument, L"Two-phase properties need exactly two phase labels");
        const Phase first = phaseArgument(labels[0]), second = phaseArgument(labels[1]);
        std::vector<const PropertyInfo*> wanted;
        for (const std::wstring& n : names) {
            const PropertyInfo* p = findTwoPhaseProperty(n);
            if (!p) raise(kCapeThrmPropertyNotAvailable, L"Two-phase property \"" + n + L"\" is not available");
            wanted.push_back(p);
        }
        ICapeThermoMaterial& m = material(L"CalcTwoPhaseProp");
        double T = 0.0, P = 0.0;
        tarv::Variant x;
        check(m.GetTPFraction(tarv::Bstr(labelOf(first)).get(), &T, &P, x.ptr()), L"GetTPFraction");
        tarv::Variant pair = tarv::makeStringArray({labelOf(first), labelOf(second)});
        for (const PropertyInfo* p : wanted) {
            tarv::Variant values = tarv::makeDoubleArray(calcTwoPhase(model_, *p, first, second, T, P));
            check(m.SetTwoPhaseProp(tarv::Bstr(p->id).get(), pair.get(), tarv::Bstr(p->basis).get(), values.get()),
                  L"SetTwoPhaseProp");
        }
    });
}

HRESULT IdealPackage11::CheckSinglePhasePropSpec(BSTR property, BSTR phaseLabel, VARIANT_BOOL* valid)
{
    return guard(kRoutine, L"CheckSinglePhasePropSpec", [&] {
        const bool ok = findSinglePhaseProperty(text(property)) && phaseFromLabel(text(phaseLabel));
        *out(valid) = ok ? VARIANT_TRUE : VARIANT_FALSE;
    });
}

HRESULT IdealPackage11::CheckTwoPhasePropSpec(BSTR property, VARIANT phaseLabelsArg, VARIANT_BOOL* valid)
{
    return guard(kRoutine, L"CheckTwoPhasePropSpec", [&] {
        const std::vector<std::wstring> labels = stringsFrom(phaseLabelsArg, L"phaseLabels");
        const bool ok = findTwoPhaseProperty(text(property)) && labels.size() == 2 && phaseFromLabel(labels[0]) &&
                        phaseFromLabel(labels[1]);
        *out(valid) = ok ? VARIANT_TRUE : VARIANT_FALSE;
    });
}

HRESULT IdealPackage11::GetSinglePhasePropList(VARIANT* props)
{
    return guard(kRoutine, L"GetSinglePhasePropList", [&] {
        std::vector<std::wstring> ids;
        for (const PropertyInfo& p : singlePhaseProperties()) ids.emplace_back(p.id);
        setStrings(out(props), ids);
    });
}

HRESULT IdealPackage11::GetTwoPhasePropList(VARIANT* props)
{
    return guard(kRoutine, L"GetTwoPhasePropList", [&] {
        std::vector<std::wstring> ids;
        for (const PropertyInfo& p : twoPhaseProperties()) ids.emplace_back(p.id);
        setStrings(out(props), ids);
    });
}

// --- ICapeThermoEquilibriumRoutine -------------------------------------------------------------

HRESULT IdealPackage11::CalcEquilibrium(VARIANT specification1, VARIANT specification2, BSTR solutionType)
{
    return guard(kEquilibrium, L"CalcEquilibrium", [&] {
        const FlashSpec spec = parseFlash(specification1, specification2, text(solutionType));
        ICapeThermoMaterial& m = material(L"CalcEquilibrium");
        const tarv::Bstr none(L""), mole(L"mole");

        FlashResult r;
        if (spec.kind == FlashKind::TP) {
            double T = 0.0, P = 0.0;
            tarv::Variant z;
            check(m.GetOverallTPFraction(&T, &P, z.ptr()), L"GetOverallTPFraction");
            const std::vector<double> feed = doublesFrom(z.get(), L"overall composition");
            // The phases the caller lists are the ones that may be present; none listed means all.
            tarv::Variant allowedLabels, allowedStatus;
            check(m.GetPresentPhases(allowedLabels.ptr(), allowedStatus.ptr()), L"GetPresentPhases");
            bool vaporAllowed = false, liquidAllowed = false;
            const std::vector<std::wstring> allowed = stringsFrom(allowedLabels.get(), L"present phases");
            for (const std::wstring& l : allowed)
                (phaseArgument(l) == Phase::Vapor ? vaporAllowed : liquidAllowed) = true;
            if (allowed.empty()) vaporAllowed = liquidAllowed = true;
            r = model_.flashTP(T, P, feed, vaporAllowed, liquidAllowed);
        } else {
            // The specified values are on the material: the fixed temperature or pressure overall,
            // the phase fraction on its phase.
            const wchar_t* fixed = spec.kind == FlashKind::PVF ? L"pressure" : L"temperature";
            tarv::Variant fixedValue, fraction, z;
            check(m.GetOverallProp(tarv::Bstr(fixed).get(), none.get(), fixedValue.ptr()), L"GetOverallProp");
            check(m.GetSinglePhaseProp(tarv::Bstr(L"phaseFraction").get(), tarv::Bstr(labelOf(spec.fractionPhase)).get(),
                                       mole.get(), fraction.ptr()),
                  L"GetSinglePhaseProp");
            check(m.GetOverallProp(tarv::Bstr(L"fraction").get(), mole.get(), z.ptr()), L"GetOverallProp");
            const std::vector<double> v = doublesFrom(fixedValue.get(), fixed);
            const std::vector<double> f = doublesFrom(fraction.get(), L"phase fraction");
            if (v.size() != 1 || f.size() != 1)
                raise(kCapeInvalidArgument, L"The specified values must be single numbers");
            const double vaporFraction = spec.fractionPhase == Phase::Vapor ? f[0] : 1.0 - f[0];
            const std::vector<double> feed = doublesFrom(z.get(), L"overall composition");
            r = spec.kind == FlashKind::PVF ? model_.flashPVF(v[0], vaporFraction, feed)
                                            : model_.flashTVF(v[0], vaporFraction, feed);
            const wchar_t* found = spec.kind == FlashKind::PVF ? L"temperature" : L"pressure";
            tarv::Variant value = tarv::makeDoubleArray({spec.kind == FlashKind::PVF ? r.temperature : r.pressure});
            check(m.SetOverallProp(tarv::Bstr(found).get(), none.get(), value.get()), L"SetOverallProp");
        }

        std::vector<std::wstring> present;
        if (r.vapor) present.emplace_back(labelOf(Phase::Vapor));
        if (r.liquid) present.emplace_back(labelOf(Phase::Liquid));
        tarv::Variant labels = tarv::makeStringArray(present);
        tarv::Variant status = tarv::makeLongArray(std::vector<LONG>(present.size(), CAPE_ATEQUILIBRIUM));
        check(m.SetPresentPhases(labels.get(), status.get()), L"SetPresentPhases");

        auto set = [&](const wchar_t* prop, const tarv::Bstr& phase, const tarv::Bstr& basis, std::vector<double> v) {
            tarv::Variant values = tarv::makeDoubleArray(v);
            check(m.SetSinglePhaseProp(tarv::Bstr(prop).get(), phase.get(), basis.get(), values.get()),
                  L"SetSinglePhaseProp");
        };
        for (Phase p : {Phase::Vapor, Phase::Liquid}) {
            if (!(p == Phase::Vapor ? r.vapor : r.liquid)) continue;
            const tarv::Bstr label(labelOf(p));
            const double fraction = p == Phase::Vapor ? r.vaporFraction : 1.0 - r.vaporFraction;
            set(L"temperature", label, none, {r.temperature});
            set(L"pressure", label, none, {r.pressure});
            set(L"phaseFraction", label, mole, {fraction});
            set(L"fraction", label, mole, p == Phase::Vapor ? r.y : r.x);
        }
    });
}

HRESULT IdealPackage11::CheckEquilibriumSpec(VARIANT specification1, VARIANT specification2, BSTR solutionType,
                                             VARIANT_BOOL* isSupported)
{
    return guard(kEquilibrium, L"CheckEquilibriumSpec", [&] {
        VARIANT_BOOL* result = out(isSupported);
        bool ok = true;
        try {
            parseFlash(specification1, specification2, text(solutionType));
        } catch (const CapeError& e) {
            if (e.code == kCapeInvalidArgument) throw;   // malformed, not merely unsupported
            ok = false;
        }
        *result = ok ? VARIANT_TRUE : VARIANT_FALSE;
    });
}

// --- ICapeThermoCompounds ----------------------------------------------------------------------

HRESULT IdealPackage11::GetCompoundConstant(VARIANT props, VARIANT compIds, VARIANT* propVals)
{
    return guard(kCompounds, L"GetCompoundConstant", [&] {
        const std::vector<std::wstring> names = stringsFrom(props, L"props");
        const std::vector<size_t> which = compoundIndices(compIds);
        // For each property in turn, one value per compound.
        std::vector<Mixed> values;
        for (const std::wstring& n : names)
            for (size_t i : which) {
                const ConstantValue v = compoundConstant(model_.compound(i), n);
                if (const double* d = std::get_if<double>(&v)) values.push_back({false, *d, {}});
                else values.push_back({true, 0.0, std::get<std::wstring>(v)});
            }
        setMixed(out(propVals), values);
    });
}

HRESULT IdealPackage11::GetCompoundList(VARIANT* compIds, VARIANT* formulae, VARIANT* names, VARIANT* boilTemps,
                                        VARIANT* molwts, VARIANT* casnos)
{
    return guard(kCompounds, L"GetCompoundList", [&] {
        writeCompoundList(model_, out(compIds), out(formulae), out(names), out(boilTemps), out(molwts), out(casnos));
    });
}

HRESULT IdealPackage11::GetConstPropList(VARIANT* props)
{
    return guard(kCompounds, L"GetConstPropList", [&] { setStrings(out(props), constantProperties()); });
}

HRESULT IdealPackage11::GetNumCompounds(LONG* num)
{
    return guard(kCompounds, L"GetNumCompounds", [&] { *out(num) = static_cast<LONG>(model_.size()); });
}

HRESULT IdealPackage11::GetPDependentProperty(VARIANT props, double pressure, VARIANT compIds, VARIANT* propVals)
{
    return guard(kCompounds, L"GetPDependentProperty", [&] {
        const std::vector<std::wstring> names = stringsFrom(props, L"props");
        const std::vector<size_t> which = compoundIndices(compIds);
        std::vector<double> values;
        for (const std::wstring& n : names)
            for (size_t i : which) values.push_back(pressureDependent(model_, i, n, pressure));
        setDoubles(out(propVals), values);
    });
}

HRESULT IdealPackage11::GetPDependentPropList(VARIANT* props)
{
    return guard(kCompounds, L"GetPDependentPropList", [&] { setStrings(out(props), pressureDependentProperties()); });
}

HRESULT IdealPackage11::GetTDependentProperty(VARIANT props, double temperature, VARIANT compIds, VARIANT* propVals)
{
    return guard(kCompounds, L"GetTDependentProperty", [&] {
        const std::vector<std::wstring> names = stringsFrom(props, L"props");
        const std::vector<size_t> which = compoundIndices(compIds);
        std::vector<double> values;
        for (const std::wstring& n : names)
            for (size_t i : which) values.push_back(temperatureDependent(model_, i, n, temperature));
        setDoubles(out(propVals), values);
    });
}

HRESULT IdealPackage11::GetTDependentPropList(VARIANT* props)
{
    return guard(kCompounds, L"GetTDependentPropList",
                 [&] { setStrings(out(props), temperatureDependentProperties()); });
}

// --- ICapeThermoPhases -------------------------------------------------------------------------

HRESULT IdealPackage11::GetNumPhases(LONG* num)
{
    return guard(kPhases, L"GetNumPhases", [&] { *out(num) = 2; });
}

HRESULT IdealPackage11::GetPhaseInfo(BSTR phaseLabelArg, BSTR phaseAttribute, VARIANT* value)
{
    return guard(kPhases, L"GetPhaseInfo", [&] {
        const Phase p = phaseArgument(text(phaseLabelArg));
        const std::wstring attribute = text(phaseAttribute);
        tarv::Variant v;
        if (sameId(attribute, L"StateOfAggregation"))
            v = tarv::Variant::fromString(p == Phase::Vapor ? L"Vapor" : L"Liquid");
        else if (sameId(attribute, L"UserDescription"))
            v = tarv::Variant::fromString(p == Phase::Vapor ? L"Ideal gas" : L"Ideal liquid solution (Raoult's law)");
        else if (sameId(attribute, L"DensityDescription"))
            v = tarv::Variant::fromString(p == Phase::Vapor ? L"Light" : L"Heavy");
        else if (sameId(attribute, L"KeyCompoundId") || sameId(attribute, L"ExcludedCompoundId") ||
                 sameId(attribute, L"TypeOfSolid"))
            v = tarv::Variant::fromString(L"");   // no key compound, nothing excluded, not a solid
        else
            raise(kCapeInvalidArgument, L"Unknown phase attribute \"" + attribute + L"\"");
        VARIANT* result = out(value);
        VariantClear(result);
        v.detachTo(result);
    });
}

HRESULT IdealPackage11::GetPhaseList(VARIANT* labels, VARIANT* stateOfAggregation, VARIANT* keyCompoundId)
{
    return guard(kPhases, L"GetPhaseList", [&] {
        setStrings(out(labels), phaseLabels());
        setStrings(out(stateOfAggregation), {L"Vapor", L"Liquid"});
        setStrings(out(keyCompoundId), {L"", L""});   // neither phase has a key compound
    });
}

// --- ICapeThermoUniversalConstant --------------------------------------------------------------

HRESULT IdealPackage11::GetUniversalConstant(BSTR constantId, VARIANT* constantValue)
{
    return guard(kConstants, L"GetUniversalConstant", [&] {
        const double v = universalConstant(text(constantId));
        VARIANT* result = out(constantValue);
        VariantClear(result);
        tarv::Variant::fromDouble(v).detachTo(result);
    });
}

HRESULT IdealPackage11::GetUniversalConstantList(VARIANT* constantId)
{
    return guard(kConstants, L"GetUniversalConstantList", [&] { setStrings(out(constantId), universalConstants()); });
}

// --- ICapeThermoMaterialContext ----------------------------------------------------------------

HRESULT IdealPackage11::SetMaterial(IDispatch* materialArg)
{
    return guard(kContext, L"SetMaterial", [&] {
        if (!materialArg) raise(kCapeInvalidArgument, L"SetMaterial needs a material; UnsetMaterial releases it");
        tarv::ComPtr<ICapeThermoMaterial> m;
        if (FAILED(materialArg->QueryInterface(IID_ICapeThermoMaterial, m.putVoid())) || !m)
            raise(kCapeInvalidArgument, L"The material does not implement ICapeThermoMaterial");
        material_ = std::move(m);
    });
}

HRESULT IdealPackage11::UnsetMaterial()
{
    return guard(kContext, L"UnsetMaterial", [&] { material_ = nullptr; });
}

} // namespace samples::ideal
