#include "ideal/package10.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "ideal/package11.h"
#include "ideal/properties.h"

namespace samples::ideal {
namespace {

constexpr const wchar_t* kPackage = L"ICapeThermoPropertyPackage";

// 1.0 callers also ask for "heatCapacity", the isobaric heat capacity.
const PropertyInfo* findProperty10(const std::wstring& id)
{
    if (sameId(id, L"heatCapacity")) return findSinglePhaseProperty(L"heatCapacityCp");
    return findSinglePhaseProperty(id);
}

std::vector<std::wstring> propertyNames(const VARIANT& props)
{
    std::vector<std::wstring> names = stringsFrom(props, L"props");
    if (names.empty()) raise(kCapeInvalidArgument, L"No property was requested");
    for (const std::wstring& n : names)
        if (!findProperty10(n)) raise(kCapeThrmPropertyNotAvailable, L"Property \"" + n + L"\" is not available");
    return names;
}

} // namespace

IdealPackage10::IdealPackage10(const PackageConfiguration& config)
    : CapeComponent(config.name, config.description), model_(modelOf(config))
{
    model_.useSettings(parameters_.settings);
}

IdealPackage10::Target IdealPackage10::target(IDispatch* materialObject)
{
    if (!materialObject) raise(kCapeInvalidArgument, L"No material object was passed");
    tarv::ComPtr<ICapeThermoMaterialObject> mo;
    if (FAILED(materialObject->QueryInterface(IID_ICapeThermoMaterialObject, mo.putVoid())) || !mo)
        raise(kCapeInvalidArgument, L"The material object does not implement ICapeThermoMaterialObject");
    tarv::Variant ids;
    HRESULT hr = mo->get_ComponentIds(ids.ptr());
    if (FAILED(hr))
        raise(hr, L"The material object's ComponentIds failed: " + describeFailure(mo.get(), hr));
    const std::vector<std::wstring> compounds = stringsFrom(ids.get(), L"ComponentIds");
    if (compounds.empty()) raise(kCapeInvalidArgument, L"The material object carries no compounds");
    for (const std::wstring& c : compounds)
        if (model_.indexOf(c) < 0)
            raise(kCapeInvalidArgument, L"Compound \"" + c + L"\" of the material object is not in package " +
                                            componentName());
    Target t{std::move(mo), IdealModel::fromIds(compounds)};
    t.model.useSettings(parameters_.settings);
    return t;
}

std::vector<double> IdealPackage10::get(Target& t, const wchar_t* property, const wchar_t* phase, const wchar_t* basis)
{
    tarv::Variant results;
    tarv::Variant all;   // undefined: every compound
    HRESULT hr = t.object->GetProp(tarv::Bstr(property).get(), tarv::Bstr(phase).get(), all.get(), tarv::Bstr(L"").get(),
                                   tarv::Bstr(basis).get(), results.ptr());
    if (FAILED(hr))
        raise(hr, std::wstring(L"The material object's GetProp of ") + property + L" (" + phase +
                      L") failed: " + describeFailure(t.object.get(), hr));
    return doublesFrom(results.get(), property);
}

void IdealPackage10::set(Target& t, const std::wstring& property, const wchar_t* phase, const wchar_t* calcType,
                         const wchar_t* basis, const std::vector<double>& values)
{
    tarv::Variant v = tarv::makeDoubleArray(values);
    tarv::Variant all;
    HRESULT hr = t.object->SetProp(tarv::Bstr(property).get(), tarv::Bstr(phase).get(), all.get(),
                                   tarv::Bstr(calcType).get(), tarv::Bstr(basis).get(), v.get());
    if (FAILED(hr))
        raise(hr, L"The material object's SetProp of " + property + L" (" + phase + L") failed: " +
                      describeFailure(t.object.get(), hr));
}

void IdealPackage10::calcProps(Target& t, const std::vector<std::wstring>& props, const std::vector<Phase>& phases)
{
    const std::vector<double> T = get(t, L"temperature", L"Overall", L"");
    const std::vector<double> P = get(t, L"pressure", L"Overall", L"");
    if (T.size() != 1 || P.size() != 1)
        raise(kCapeInvalidArgument, L"The material object's temperature and pressure must be single values");
    for (Phase phase : phases) {
        const std::vector<double> x = get(t, L"fraction", labelOf(phase), L"mole");
        for (const std::wstring& n : props) {
            const PropertyInfo* p = findProperty10(n);
            set(t, n, labelOf(phase), L"Mixture", p->basis, calcSinglePhase(t.model, *p, phase, T[0], P[0], x));
        }
    }
}

HRESULT IdealPackage10::GetPhaseList(VARIANT* phases)
{
    return guard(kPackage, L"GetPhaseList",
                 [&] { setStrings(out(phases), {labelOf(Phase::Vapor), labelOf(Phase::Liquid)}); });
}

HRESULT IdealPackage10::GetComponentList(VARIANT* compIds, VARIANT* formulae, VARIANT* name, VARIANT* boilTemps,
                                         VARIANT* molwt, VARIANT* casno)
{
    return guard(kPackage, L"GetComponentList", [&] {
        writeCompoundList(model_, out(compIds), out(formulae), out(name), out(boilTemps), out(molwt), out(casno));
    });
}

HRESULT IdealPackage10::GetUniversalConstant(IDispatch*, VARIANT props, VARIANT* propVals)
{
    return guard(kPackage, L"GetUniversalConstant", [&] {
        std::vector<Mixed> values;
        for (const std::wstring& id : stringsFrom(props, L"props")) values.push_back({false, universalConstant(id), {}});
        setMixed(out(propVals), values);
    });
}

HRESULT IdealPackage10::GetComponentConstant(IDispatch* materialObject, VARIANT props, VARIANT* propVals)
{
    return guard(kPackage, L"GetComponentConstant", [&] {
        const std::vector<std::wstring> names = stringsFrom(props, L"props");
        Target t = target(materialObject);
        // For each property in turn, one value per compound of the material object.
        std::vector<Mixed> values;
        for (const std::wstring& n : names)
            for (size_t i = 0; i < t.model.size(); ++i) {
                const ConstantValue v = compoundConstant(t.model.compound(i), n);
                if (const double* d = std::get_if<double>(&v)) values.push_back({false, *d, {}});
                else values.push_back({true, 0.0, std::get<std::wstring>(v)});
            }
        setMixed(out(propVals), values);
    });
}

HRESULT IdealPackage10::CalcProp(IDispatch* materialObject, VARIANT props, VARIANT phases, BSTR calcType)
{
    return guard(kPackage, L"CalcProp", [&] {
        const std::vector<std::wstring> names = propertyNames(props);
        if (!sameId(text(calcType), L"Mixture"))
            raise(kCapeLimitedImpl, L"Calculation type \"" + text(calcType) + L"\" is not supported; use Mixture");
        std::vector<Phase> which;
        for (const std::wstring& label : stringsFrom(phases, L"phases")) {
            const std::optional<Phase> p = phaseFromLabel(label);
            if (!p) raise(kCapeInvalidArgument, L"Unknown phase \"" + label + L"\"; the package's phases are Vapor and Liquid");
            which.push_back(*p);
        }
        if (which.empty()) raise(kCapeInvalidArgument, L"No phase was given");
        Target t = target(materialObject);
        calcProps(t, names, which);
    });
}

HRESULT IdealPackage10::CalcEquilibrium(IDispatch* materialObject, BSTR flashType, VARIANT props)
{
    return guard(kPackage, L"CalcEquilibrium", [&] {
        if (!sameId(text(flashType), L"TP"))
            raise(kCapeLimitedImpl, L"Flash type \"" + text(flashType) + L"\" is not supported; use TP");
        const std::vector<std::wstring> names = isUndefined(props) ? std::vector<std::wstring>() : propertyNames(props);
        Target t = target(materialObject);
        const std::vector<double> T = get(t, L"temperature", L"Overall", L"");
        const std::vector<double> P = get(t, L"pressure", L"Overall", L"");
        const std::vector<double> z = get(t, L"fraction", L"Overall", L"mole");
        if (T.size() != 1 || P.size() != 1)
            raise(kCapeInvalidArgument, L"The material object's temperature and pressure must be single values");
        const FlashResult r = t.model.flashTP(T[0], P[0], z);

        // A phase fraction of zero tells the material object the phase is absent.
        set(t, L"phaseFraction", labelOf(Phase::Vapor), L"", L"mole", {r.vapor ? r.vaporFraction : 0.0});
        set(t, L"phaseFraction", labelOf(Phase::Liquid), L"", L"mole", {r.liquid ? 1.0 - r.vaporFraction : 0.0});
        std::vector<Phase> present;
        if (r.vapor) {
            set(t, L"fraction", labelOf(Phase::Vapor), L"", L"mole", r.y);
            present.push_back(Phase::Vapor);
        }
        if (r.liquid) {
            set(t, L"fraction", labelOf(Phase::Liquid), L"", L"mole", r.x);
            present.push_back(Phase::Liquid);
        }
        if (!names.empty()) calcProps(t, names, present);
    });
}

HRESULT IdealPackage10::PropCheck(IDispatch*, VARIANT props, VARIANT* valid)
{
    return guard(kPackage, L"PropCheck", [&] {
        std::vector<bool> ok;
        for (const std::wstring& n : stringsFrom(props, L"props")) ok.push_back(findProperty10(n) != nullptr);
        setBools(out(valid), ok);
    });
}

HRESULT IdealPackage10::ValidityCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid)
{
    // A property is reliable where the model is defined: a supported property at a temperature in
    // the model's range.
    return guard(kPackage, L"ValidityCheck", [&] {
        const std::vector<std::wstring> names = stringsFrom(props, L"props");
        Target t = target(materialObject);
        const std::vector<double> T = get(t, L"temperature", L"Overall", L"");
        bool inRange = T.size() == 1;
        if (inRange) {
            try {
                t.model.checkTemperature(T[0]);
            } catch (const CapeError&) {
                inRange = false;
            }
        }
        std::vector<bool> ok;
        for (const std::wstring& n : names) ok.push_back(inRange && findProperty10(n) != nullptr);
        setBools(out(valid), ok);
    });
}

HRESULT IdealPackage10::GetPropList(VARIANT* props)
{
    return guard(kPackage, L"GetPropList", [&] {
        std::vector<std::wstring> ids;
        for (const PropertyInfo& p : singlePhaseProperties()) ids.emplace_back(p.id);
        setStrings(out(props), ids);
    });
}

} // namespace samples::ideal
