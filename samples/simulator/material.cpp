#include "simulator/material.h"

#include "com/variant.h"
#include "ideal/properties.h"

#include <algorithm>
#include <cmath>
#include <cwctype>

namespace sim {

using namespace samples::ideal;

namespace {

constexpr const wchar_t* kMaterial = L"ICapeThermoMaterial";
constexpr const wchar_t* kObject = L"ICapeThermoMaterialObject";
constexpr wchar_t kOverall[] = L"Overall";

// Materials alive in this process, so that CopyFromMaterial can recognise its own kind.
std::vector<Material*>& liveMaterials()
{
    static std::vector<Material*> list;
    return list;
}

std::wstring lower(std::wstring s)
{
    for (wchar_t& c : s) c = static_cast<wchar_t>(std::towlower(c));
    return s;
}

bool basisFree(const std::wstring& property)
{
    static const wchar_t* const list[] = {L"temperature", L"pressure", L"molecularWeight", L"fugacityCoefficient",
                                          L"logFugacityCoefficient", L"fugacity", L"compressibilityFactor",
                                          L"kvalue", L"logKvalue"};
    for (const wchar_t* p : list)
        if (sameId(p, property)) return true;
    return false;
}

bool perCompound(const std::wstring& property)
{
    static const wchar_t* const list[] = {L"fraction", L"flow", L"fugacityCoefficient", L"logFugacityCoefficient",
                                          L"fugacity", L"kvalue", L"logKvalue"};
    for (const wchar_t* p : list)
        if (sameId(p, property)) return true;
    return false;
}

std::wstring joinPhases(const std::vector<std::wstring>& labels)
{
    std::wstring s;
    for (const std::wstring& l : labels) s += (s.empty() ? L"" : L"+") + l;
    return s;
}

} // namespace

tarv::ComPtr<Material> Material::create(std::vector<std::wstring> compounds, std::vector<std::wstring> phases,
                                        std::wstring name)
{
    return tarv::ComPtr<Material>(new Material(std::move(compounds), std::move(phases), std::move(name)));
}

Material::Material(std::vector<std::wstring> compounds, std::vector<std::wstring> phases, std::wstring name)
    : CapeComponent(std::move(name), L"Material object of the TARV sample simulator"),
      compounds_(std::move(compounds)), phases_(std::move(phases))
{
    hide(IID_ICapeUtilities);   // a material is not a primary component
    liveMaterials().push_back(this);
}

Material::~Material()
{
    auto& list = liveMaterials();
    list.erase(std::remove(list.begin(), list.end(), this), list.end());
}

// --- The store -----------------------------------------------------------------------------------

std::wstring Material::key(const std::wstring& property, const std::wstring& phase, const std::wstring& basis)
{
    return lower(property) + L"|" + lower(phase) + L"|" + (basisFree(property) ? std::wstring() : lower(basis));
}

void Material::setValue(const std::wstring& property, const std::wstring& phase, const std::wstring& basis,
                        std::vector<double> values)
{
    values_[key(property, phase, basis)] = Stored{property, phase, basis, std::move(values)};
}

std::optional<std::vector<double>> Material::value(const std::wstring& property, const std::wstring& phase,
                                                   const std::wstring& basis) const
{
    auto it = values_.find(key(property, phase, basis));
    if (it == values_.end()) return std::nullopt;
    return it->second.values;
}

const std::vector<double>& Material::stored(const std::wstring& property, const std::wstring& phase,
                                            const std::wstring& basis) const
{
    auto it = values_.find(key(property, phase, basis));
    if (it == values_.end()) {
        std::wstring what = property + (basisFree(property) || basis.empty() ? L"" : L" (" + basis + L" basis)");
        raise(kCapeThrmPropertyNotAvailable,
              sameId(phase, kOverall) ? L"Overall " + what + L" is not set"
                                      : what + L" of phase " + phase + L" is not set");
    }
    return it->second.values;
}

std::wstring Material::knownPhase(const std::wstring& label) const
{
    for (const std::wstring& p : phases_)
        if (sameId(p, label)) return p;
    raise(kCapeInvalidArgument, L"Unknown phase label \"" + label + L"\"");
}

void Material::requirePresent(const std::wstring& label) const
{
    for (const std::wstring& p : present_)
        if (sameId(p, label)) return;
    raise(kCapeInvalidArgument, L"Phase " + label + L" is not present");
}

std::vector<double> Material::checkedValues(const std::wstring& property, const VARIANT& v) const
{
    std::vector<double> values = doublesFrom(v, L"values");
    const size_t n = compounds_.size();
    auto bad = [&](const std::wstring& why) { raise(kCapeInvalidArgument, L"Invalid " + property + L": " + why); };
    if (perCompound(property) && values.size() != n)
        bad(std::to_wstring(values.size()) + L" values for " + std::to_wstring(n) + L" compounds");
    if (!perCompound(property) && values.size() != 1) bad(L"expected one value, got " + std::to_wstring(values.size()));
    for (double d : values)
        if (!std::isfinite(d)) bad(L"not a number");
    if (sameId(property, L"temperature") || sameId(property, L"pressure")) {
        if (values[0] <= 0) bad(L"must be positive");
    } else if (sameId(property, L"fraction") || sameId(property, L"flow") || sameId(property, L"totalFlow")) {
        for (double d : values)
            if (d < 0) bad(L"must not be negative");
    } else if (sameId(property, L"phaseFraction")) {
        if (values[0] < 0 || values[0] > 1) bad(L"must lie between 0 and 1");
    }
    return values;
}

void Material::dropPhase(const std::wstring& label)
{
    for (auto it = values_.begin(); it != values_.end();) {
        const std::wstring& k = it->first;
        // The phase's own values and two-phase values that involve it.
        const std::wstring phasePart = k.substr(k.find(L'|') + 1, k.rfind(L'|') - k.find(L'|') - 1);
        bool involves = false;
        size_t start = 0;
        while (start <= phasePart.size()) {
            size_t end = phasePart.find(L'+', start);
            if (end == std::wstring::npos) end = phasePart.size();
            if (phasePart.compare(start, end - start, lower(label)) == 0) involves = true;
            start = end + 1;
        }
        it = involves ? values_.erase(it) : std::next(it);
    }
    for (size_t i = 0; i < present_.size(); ++i)
        if (sameId(present_[i], label)) {
            present_.erase(present_.begin() + static_cast<std::ptrdiff_t>(i));
            status_.erase(status_.begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
}

void Material::setPresentPhases(const std::vector<std::wstring>& labels, const std::vector<LONG>& status)
{
    std::vector<std::wstring> canonical;
    for (const std::wstring& l : labels) canonical.push_back(knownPhase(l));
    if (!status.empty() && status.size() != labels.size())
        raise(kCapeInvalidArgument, L"The phase status list must have one entry per phase label");
    for (const std::wstring& p : phases_)
        if (std::none_of(canonical.begin(), canonical.end(), [&](const std::wstring& c) { return c == p; }))
            dropPhase(p);
    present_ = canonical;
    status_ = status.empty() ? std::vector<LONG>(labels.size(), CAPE_UNKNOWNPHASESTATUS) : status;
}

// --- ICapeThermoMaterial ---------------------------------------------------------------------------

HRESULT Material::ClearAllProps()
{
    return guard(kMaterial, L"ClearAllProps", [&] {
        values_.clear();
        present_.clear();
        status_.clear();
    });
}

tarv::ComPtr<Material> Material::copy(bool withValues) const
{
    tarv::ComPtr<Material> m = create(compounds_, phases_, componentName());
    m->package10_ = package10_;
    if (withValues) {
        m->values_ = values_;
        m->present_ = present_;
        m->status_ = status_;
    }
    return m;
}

HRESULT Material::CopyFromMaterial(IDispatch** source)
{
    return guard(kMaterial, L"CopyFromMaterial", [&] {
        if (!source || !*source) raise(kCapeInvalidArgument, L"No source material was given");
        tarv::ComPtr<ICapeThermoMaterial> wanted;
        (*source)->QueryInterface(IID_ICapeThermoMaterial, wanted.putVoid());
        for (Material* m : liveMaterials()) {
            if (static_cast<ICapeThermoMaterial*>(m) != wanted.get()) continue;
            if (m->compounds_ != compounds_) raise(kCapeInvalidArgument, L"The source material has other compounds");
            values_ = m->values_;
            present_ = m->present_;
            status_ = m->status_;
            return;
        }
        raise(kCapeInvalidArgument, L"Only materials of this simulator can be copied");
    });
}

HRESULT Material::CreateMaterial(IDispatch** materialObject)
{
    return guard(kMaterial, L"CreateMaterial", [&] {
        IDispatch** result = out(materialObject);
        *result = nullptr;
        copy(false)->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(result));
    });
}

HRESULT Material::GetOverallProp(BSTR property, BSTR basis, VARIANT* results)
{
    return guard(kMaterial, L"GetOverallProp",
                 [&] { setDoubles(out(results), stored(text(property), kOverall, text(basis))); });
}

HRESULT Material::GetOverallTPFraction(double* temperature, double* pressure, VARIANT* composition)
{
    return guard(kMaterial, L"GetOverallTPFraction", [&] {
        const double T = stored(L"temperature", kOverall, L"")[0];
        const double P = stored(L"pressure", kOverall, L"")[0];
        const std::vector<double>& z = stored(L"fraction", kOverall, L"mole");
        *out(temperature) = T;
        *out(pressure) = P;
        setDoubles(out(composition), z);
    });
}

HRESULT Material::GetPresentPhases(VARIANT* phaseLabels, VARIANT* phaseStatus)
{
    return guard(kMaterial, L"GetPresentPhases", [&] {
        VARIANT* labels = out(phaseLabels);
        VARIANT* status = out(phaseStatus);
        setStrings(labels, present_);
        setLongs(status, status_);
    });
}

HRESULT Material::GetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis, VARIANT* results)
{
    return guard(kMaterial, L"GetSinglePhaseProp", [&] {
        const std::wstring phase = knownPhase(text(phaseLabel));
        requirePresent(phase);
        setDoubles(out(results), stored(text(property), phase, text(basis)));
    });
}

HRESULT Material::GetTPFraction(BSTR phaseLabel, double* temperature, double* pressure, VARIANT* composition)
{
    return guard(kMaterial, L"GetTPFraction", [&] {
        const std::wstring phase = knownPhase(text(phaseLabel));
        requirePresent(phase);
        // A phase without its own temperature or pressure is at the overall conditions.
        auto T = value(L"temperature", phase, L"");
        auto P = value(L"pressure", phase, L"");
        const double t = T ? (*T)[0] : stored(L"temperature", kOverall, L"")[0];
        const double p = P ? (*P)[0] : stored(L"pressure", kOverall, L"")[0];
        const std::vector<double>& x = stored(L"fraction", phase, L"mole");
        *out(temperature) = t;
        *out(pressure) = p;
        setDoubles(out(composition), x);
    });
}

HRESULT Material::GetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis, VARIANT* results)
{
    return guard(kMaterial, L"GetTwoPhaseProp", [&] {
        std::vector<std::wstring> labels = stringsFrom(phaseLabels, L"phaseLabels");
        for (std::wstring& l : labels) {
            l = knownPhase(l);
            requirePresent(l);
        }
        setDoubles(out(results), stored(text(property), joinPhases(labels), text(basis)));
    });
}

HRESULT Material::SetOverallProp(BSTR property, BSTR basis, VARIANT values)
{
    return guard(kMaterial, L"SetOverallProp", [&] {
        const std::wstring p = text(property);
        setValue(p, kOverall, text(basis), checkedValues(p, values));
    });
}

HRESULT Material::SetPresentPhases(VARIANT phaseLabels, VARIANT phaseStatus)
{
    return guard(kMaterial, L"SetPresentPhases", [&] {
        const std::vector<std::wstring> labels = stringsFrom(phaseLabels, L"phaseLabels");
        std::vector<LONG> status;
        for (double d : doublesFrom(phaseStatus, L"phaseStatus")) status.push_back(static_cast<LONG>(d));
        setPresentPhases(labels, status);
    });
}

HRESULT Material::SetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis, VARIANT values)
{
    return guard(kMaterial, L"SetSinglePhaseProp", [&] {
        const std::wstring phase = knownPhase(text(phaseLabel));
        requirePresent(phase);
        const std::wstring p = text(property);
        setValue(p, phase, text(basis), checkedValues(p, values));
    });
}

HRESULT Material::SetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis, VARIANT values)
{
    return guard(kMaterial, L"SetTwoPhaseProp", [&] {
        std::vector<std::wstring> labels = stringsFrom(phaseLabels, L"phaseLabels");
        if (labels.size() != 2) raise(kCapeInvalidArgument, L"A two-phase property needs two phase labels");
        for (std::wstring& l : labels) {
            l = knownPhase(l);
            requirePresent(l);
        }
        const std::wstring p = text(property);
        setValue(p, joinPhases(labels), text(basis), checkedValues(p, values));
    });
}

// --- ICapeThermoMaterialObject -----------------------------------------------------------------

ICapeThermoPropertyPackage& Material::package(const wchar_t* operation) const
{
    if (!package10_) raise(kCapeBadInvOrder, std::wstring(operation) + L" needs a property package");
    return *package10_.get();
}

void Material::checkPackage(HRESULT hr, const wchar_t* operation) const
{
    if (FAILED(hr))
        raise(hr, std::wstring(L"The property package's ") + operation + L" failed: " +
                      describeFailure(package10_.get(), hr));
}

HRESULT Material::get_ComponentIds(VARIANT* compIds)
{
    return guard(kObject, L"ComponentIds", [&] { setStrings(out(compIds), compounds_); });
}

HRESULT Material::get_PhaseIds(VARIANT* PhaseIds)
{
    return guard(kObject, L"PhaseIds", [&] { setStrings(out(PhaseIds), present_); });
}

HRESULT Material::GetUniversalConstant(VARIANT props, VARIANT* propVals)
{
    return guard(kObject, L"GetUniversalConstant", [&] {
        VARIANT* result = out(propVals);
        checkPackage(package(L"GetUniversalConstant")
                         .GetUniversalConstant(static_cast<ICapeThermoMaterialObject*>(this), props, result),
                     L"GetUniversalConstant");
    });
}

HRESULT Material::GetComponentConstant(VARIANT props, VARIANT compIds, VARIANT* propVals)
{
    return guard(kObject, L"GetComponentConstant", [&] {
        VARIANT* result = out(propVals);
        tarv::Variant all;
        checkPackage(package(L"GetComponentConstant")
                         .GetComponentConstant(static_cast<ICapeThermoMaterialObject*>(this), props, all.ptr()),
                     L"GetComponentConstant");
        if (isUndefined(compIds)) {
            VariantClear(result);
            all.detachTo(result);
            return;
        }
        // The package answers for every compound, property by property: pick the requested ones.
        std::vector<size_t> which;
        for (const std::wstring& id : stringsFrom(compIds, L"compIds")) {
            auto it = std::find_if(compounds_.begin(), compounds_.end(), [&](const std::wstring& c) { return sameId(c, id); });
            if (it == compounds_.end()) raise(kCapeInvalidArgument, L"Unknown compound \"" + id + L"\"");
            which.push_back(static_cast<size_t>(it - compounds_.begin()));
        }
        const size_t n = compounds_.size();
        const size_t nProps = stringsFrom(props, L"props").size();
        std::vector<tarv::Variant> picked;
        const VARIANT& a = all.get();
        if (!(a.vt & VT_ARRAY) || !a.parray) raise(kCapeInvalidArgument, L"The package's constants are not an array");
        for (size_t p = 0; p < nProps; ++p)
            for (size_t i : which) {
                LONG index = static_cast<LONG>(p * n + i);
                tarv::Variant e;
                if (FAILED(SafeArrayGetElement(a.parray, &index, e.ptr())))
                    raise(kCapeInvalidArgument, L"The package returned too few constants");
                picked.push_back(std::move(e));
            }
        VariantClear(result);
        tarv::makeVariantArray(std::move(picked)).detachTo(result);
    });
}

HRESULT Material::CalcProp(VARIANT props, VARIANT phases, BSTR calcType)
{
    return guard(kObject, L"CalcProp", [&] {
        checkPackage(package(L"CalcProp").CalcProp(static_cast<ICapeThermoMaterialObject*>(this), props, phases, calcType),
                     L"CalcProp");
    });
}

HRESULT Material::GetProp(BSTR property, BSTR phase, VARIANT compIds, BSTR, BSTR basis, VARIANT* results)
{
    return guard(kObject, L"GetProp", [&] {
        const std::wstring p = text(property);
        std::wstring ph = text(phase);
        if (!sameId(ph, kOverall)) {
            ph = knownPhase(ph);
            requirePresent(ph);
        } else {
            ph = kOverall;
        }
        const std::vector<double>& all = stored(p, ph, text(basis));
        if (isUndefined(compIds) || all.size() != compounds_.size()) {
            setDoubles(out(results), all);
            return;
        }
        std::vector<double> picked;
        for (const std::wstring& id : stringsFrom(compIds, L"compIds")) {
            auto it = std::find_if(compounds_.begin(), compounds_.end(), [&](const std::wstring& c) { return sameId(c, id); });
            if (it == compounds_.end()) raise(kCapeInvalidArgument, L"Unknown compound \"" + id + L"\"");
            picked.push_back(all[static_cast<size_t>(it - compounds_.begin())]);
        }
        setDoubles(out(results), picked);
    });
}

HRESULT Material::SetProp(BSTR property, BSTR phase, VARIANT compIds, BSTR, BSTR basis, VARIANT values)
{
    return guard(kObject, L"SetProp", [&] {
        const std::wstring p = text(property);
        std::wstring ph = text(phase);
        ph = sameId(ph, kOverall) ? std::wstring(kOverall) : knownPhase(ph);
        std::vector<double> v;
        if (isUndefined(compIds)) {
            v = checkedValues(p, values);
        } else {
            // Values of some compounds: merged into what is stored.
            const std::vector<std::wstring> ids = stringsFrom(compIds, L"compIds");
            const std::vector<double> given = doublesFrom(values, L"values");
            if (given.size() != ids.size()) raise(kCapeInvalidArgument, L"One value per compound is needed");
            auto existing = value(p, ph, text(basis));
            v = existing && existing->size() == compounds_.size() ? *existing : std::vector<double>(compounds_.size(), 0.0);
            for (size_t k = 0; k < ids.size(); ++k) {
                auto it = std::find_if(compounds_.begin(), compounds_.end(), [&](const std::wstring& c) { return sameId(c, ids[k]); });
                if (it == compounds_.end()) raise(kCapeInvalidArgument, L"Unknown compound \"" + ids[k] + L"\"");
                v[static_cast<size_t>(it - compounds_.begin())] = given[k];
            }
        }
        if (ph != kOverall && sameId(p, L"phaseFraction")) {
            // 1.0: the phase fraction says whether a phase is present.
            const bool present = std::any_of(present_.begin(), present_.end(), [&](const std::wstring& x) { return x == ph; });
            if (v[0] > 0 && !present) {
                present_.push_back(ph);
                status_.push_back(CAPE_ATEQUILIBRIUM);
            } else if (v[0] <= 0) {
                dropPhase(ph);
                return;
            }
        }
        setValue(p, ph, text(basis), std::move(v));
    });
}

HRESULT Material::CalcEquilibrium(BSTR flashType, VARIANT props)
{
    return guard(kObject, L"CalcEquilibrium", [&] {
        checkPackage(package(L"CalcEquilibrium").CalcEquilibrium(static_cast<ICapeThermoMaterialObject*>(this), flashType, props),
                     L"CalcEquilibrium");
    });
}

namespace {

// The independent variables of a 1.0 material object: temperature, pressure and the overall
// mole fractions, their values concatenated in the order of the names.
size_t independentCount(const std::wstring& name, size_t compounds)
{
    if (sameId(name, L"temperature") || sameId(name, L"pressure")) return 1;
    if (sameId(name, L"fraction")) return compounds;
    raise(kCapeInvalidArgument, L"\"" + name + L"\" is not an independent variable");
}

} // namespace

HRESULT Material::SetIndependentVar(VARIANT indVars, VARIANT values)
{
    return guard(kObject, L"SetIndependentVar", [&] {
        const std::vector<std::wstring> names = stringsFrom(indVars, L"indVars");
        const std::vector<double> v = doublesFrom(values, L"values");
        size_t at = 0;
        for (const std::wstring& n : names) {
            const size_t count = independentCount(n, compounds_.size());
            if (at + count > v.size()) raise(kCapeInvalidArgument, L"Too few values for the independent variables");
            tarv::Variant part = tarv::makeDoubleArray(std::vector<double>(v.begin() + at, v.begin() + at + count));
            setValue(n, kOverall, sameId(n, L"fraction") ? L"mole" : L"", checkedValues(n, part.get()));
            at += count;
        }
        if (at != v.size()) raise(kCapeInvalidArgument, L"Too many values for the independent variables");
    });
}

HRESULT Material::GetIndependentVar(VARIANT indVars, VARIANT* values)
{
    return guard(kObject, L"GetIndependentVar", [&] {
        std::vector<double> v;
        for (const std::wstring& n : stringsFrom(indVars, L"indVars")) {
            independentCount(n, compounds_.size());
            const std::vector<double>& s = stored(n, kOverall, sameId(n, L"fraction") ? L"mole" : L"");
            v.insert(v.end(), s.begin(), s.end());
        }
        setDoubles(out(values), v);
    });
}

HRESULT Material::PropCheck(VARIANT props, VARIANT* valid)
{
    return guard(kObject, L"PropCheck", [&] {
        VARIANT* result = out(valid);
        checkPackage(package(L"PropCheck").PropCheck(static_cast<ICapeThermoMaterialObject*>(this), props, result),
                     L"PropCheck");
    });
}

HRESULT Material::AvailableProps(VARIANT* props)
{
    return guard(kObject, L"AvailableProps", [&] {
        std::vector<std::wstring> names;
        for (const auto& [k, s] : values_)
            if (std::none_of(names.begin(), names.end(), [&](const std::wstring& n) { return sameId(n, s.property); }))
                names.push_back(s.property);
        setStrings(out(props), names);
    });
}

HRESULT Material::RemoveResults(VARIANT props)
{
    return guard(kObject, L"RemoveResults", [&] {
        const std::vector<std::wstring> names = stringsFrom(props, L"props");
        for (auto it = values_.begin(); it != values_.end();) {
            const bool drop = std::any_of(names.begin(), names.end(), [&](const std::wstring& n) { return sameId(n, it->second.property); });
            it = drop ? values_.erase(it) : std::next(it);
        }
    });
}

HRESULT Material::CreateMaterialObject(IDispatch** materialObject)
{
    return guard(kObject, L"CreateMaterialObject", [&] {
        IDispatch** result = out(materialObject);
        *result = nullptr;
        tarv::ComPtr<Material> m = copy(false);
        *result = static_cast<ICapeThermoMaterialObject*>(m.get());
        (*result)->AddRef();
    });
}

HRESULT Material::Duplicate(IDispatch** clone)
{
    return guard(kObject, L"Duplicate", [&] {
        IDispatch** result = out(clone);
        *result = nullptr;
        tarv::ComPtr<Material> m = copy(true);
        *result = static_cast<ICapeThermoMaterialObject*>(m.get());
        (*result)->AddRef();
    });
}

HRESULT Material::ValidityCheck(VARIANT props, VARIANT* relList)
{
    return guard(kObject, L"ValidityCheck", [&] {
        VARIANT* result = out(relList);
        checkPackage(package(L"ValidityCheck").ValidityCheck(static_cast<ICapeThermoMaterialObject*>(this), props, result),
                     L"ValidityCheck");
    });
}

HRESULT Material::GetPropList(VARIANT* props)
{
    return guard(kObject, L"GetPropList", [&] {
        VARIANT* result = out(props);
        checkPackage(package(L"GetPropList").GetPropList(result), L"GetPropList");
    });
}

HRESULT Material::GetNumComponents(LONG* numComp)
{
    return guard(kObject, L"GetNumComponents", [&] { *out(numComp) = static_cast<LONG>(compounds_.size()); });
}

} // namespace sim
