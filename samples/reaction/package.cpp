#include "reaction/package.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "ideal/compounds.h"
#include "ideal/parameters.h"
#include "ideal/properties.h"

namespace samples::reaction {
namespace {

using namespace ideal;

constexpr const wchar_t* kChemistry = L"ICapeReactionChemistry";
constexpr const wchar_t* kRoutine = L"ICapeReactionsRoutine";

const std::vector<double> kMolarEnergy{2, 1, -2, 0, 0, -1, 0, 0};   // J/mol

// The overall order of a power-law rate whose orders are the reactants' coefficients.
double overallOrder(const Reaction& r)
{
    double n = 0;
    for (double c : r.coefficients)
        if (c < 0) n -= c;
    return n;
}

tarv::ComPtr<IDispatch> kineticParameters(const std::shared_ptr<Reaction>& r)
{
    // k0 turns concentrations [mol/m3] to the power n into a rate [mol/(m3 s)].
    const double n = overallOrder(*r);
    const std::wstring unit = n == 1 ? L"1/s" : n == 2 ? L"m3/(mol s)" : L"(m3/mol)^" + numberText(n - 1) + L"/s";
    const std::vector<double> dims{3 * n - 3, 0, -1, 0, 0, 1 - n, 0, 0};
    return makeRealParameterCollection(
        L"Kinetic parameters of " + r->id,
        {{L"Pre-exponential factor", L"k0 of the rate constant k0 exp(-Ea/(R T))",
          [r] { return r->preExponentialFactor; }, [r](double v) { r->preExponentialFactor = v; },
          r->preExponentialFactor, 0.0, 1e15, unit, dims},
         {L"Activation energy", L"Ea of the rate constant k0 exp(-Ea/(R T))", [r] { return r->activationEnergy; },
          [r](double v) { r->activationEnergy = v; }, r->activationEnergy, 0.0, 1e6, L"J/mol", kMolarEnergy}});
}

bool isCalculated(const std::wstring& property)
{
    return sameId(property, L"reactionRate") || sameId(property, L"rateConstant");
}

} // namespace

KineticPackage10::KineticPackage10(const ReactionSet& set) : CapeComponent(set.name, set.description)
{
    for (const Reaction& r : set.reactions) {
        auto shared = std::make_shared<Reaction>(r);
        reactions_.push_back({shared, kineticParameters(shared)});
    }
}

KineticPackage10::Entry& KineticPackage10::entry(BSTR reacID)
{
    const std::wstring id = text(reacID);
    for (Entry& e : reactions_)
        if (sameId(e.reaction->id, id)) return e;
    std::wstring known;
    for (const Entry& e : reactions_) known += (known.empty() ? L"\"" : L", \"") + e.reaction->id + L"\"";
    raise(kCapeInvalidArgument, L"There is no reaction \"" + id + L"\" in " + name_ + L"; its reactions: " + known);
}

void KineticPackage10::terminate()
{
    material_ = nullptr;
    reactionObject_ = nullptr;
}

// --- ICapeReactionChemistry ----------------------------------------------------------------------

HRESULT KineticPackage10::GetNumberOfReactions(LONG* nReacs)
{
    return guard(kChemistry, L"GetNumberOfReactions", [&] { *out(nReacs) = static_cast<LONG>(reactions_.size()); });
}

HRESULT KineticPackage10::GetReactionsIds(VARIANT* reactionIDS)
{
    return guard(kChemistry, L"GetReactionsIds", [&] {
        std::vector<std::wstring> ids;
        for (const Entry& e : reactions_) ids.push_back(e.reaction->id);
        setStrings(out(reactionIDS), ids);
    });
}

HRESULT KineticPackage10::GetReactionType(BSTR reacID, CapeReactionType* type)
{
    return guard(kChemistry, L"GetReactionType", [&] {
        entry(reacID);
        *out(type) = CAPE_KINETIC;
    });
}

HRESULT KineticPackage10::GetNumberOfReactionCompounds(BSTR reacID, LONG* nComps)
{
    return guard(kChemistry, L"GetNumberOfReactionCompounds",
                 [&] { *out(nComps) = static_cast<LONG>(entry(reacID).reaction->compounds.size()); });
}

HRESULT KineticPackage10::GetReactionCompoundIds(BSTR reacID, VARIANT* compIds, VARIANT* compCharge,
                                                 VARIANT* compCASNumber)
{
    return guard(kChemistry, L"GetReactionCompoundIds", [&] {
        const Reaction& r = *entry(reacID).reaction;
        std::vector<std::wstring> cas;
        for (const std::wstring& id : r.compounds) cas.emplace_back(findCompound(id)->casNumber);
        setStrings(out(compIds), r.compounds);
        setDoubles(out(compCharge), std::vector<double>(r.compounds.size(), 0.0));
        setStrings(out(compCASNumber), cas);
    });
}

HRESULT KineticPackage10::GetStoichiometricCoefficients(BSTR reacID, VARIANT* coeffs)
{
    return guard(kChemistry, L"GetStoichiometricCoefficients",
                 [&] { setDoubles(out(coeffs), entry(reacID).reaction->coefficients); });
}

HRESULT KineticPackage10::GetReactionPhase(BSTR reacID, BSTR* phase)
{
    return guard(kChemistry, L"GetReactionPhase", [&] {
        entry(reacID);
        *out(phase) = allocText(kPhase);
    });
}

HRESULT KineticPackage10::GetReactionRateBasis(BSTR reacID, CapeReactionRateBasis* rateBasis)
{
    return guard(kChemistry, L"GetReactionRateBasis", [&] {
        entry(reacID);
        *out(rateBasis) = CAPE_HOMOGENEOUS;
    });
}

HRESULT KineticPackage10::GetReactionConcBasis(BSTR reacID, BSTR* concBasis)
{
    return guard(kChemistry, L"GetReactionConcBasis", [&] {
        entry(reacID);
        *out(concBasis) = allocText(kConcentrationBasis);
    });
}

HRESULT KineticPackage10::GetBaseReactant(BSTR reacID, BSTR* baseReactantId)
{
    return guard(kChemistry, L"GetBaseReactant",
                 [&] { *out(baseReactantId) = allocText(entry(reacID).reaction->baseReactant); });
}

// A gas-phase reaction: every compound of it is in its phase.
HRESULT KineticPackage10::GetPhaseCompounds(BSTR reacID, LONG* compNo, VARIANT* compIds)
{
    return guard(kChemistry, L"GetPhaseCompounds", [&] {
        const Reaction& r = *entry(reacID).reaction;
        *out(compNo) = static_cast<LONG>(r.compounds.size());
        setStrings(out(compIds), r.compounds);
    });
}

HRESULT KineticPackage10::GetReactionParameters(BSTR reacID, IDispatch** ParameterCollection)
{
    return guard(kChemistry, L"GetReactionParameters", [&] {
        *out(ParameterCollection) = nullptr;
        entry(reacID).parameters.copyTo(ParameterCollection);
    });
}

// --- ICapeReactionsRoutine -----------------------------------------------------------------------

HRESULT KineticPackage10::CalcReactionProp(VARIANT props, BSTR phase, VARIANT reacIds, BSTR basis)
{
    return guard(kRoutine, L"CalcReactionProp", [&] {
        const std::vector<std::wstring> names = stringsFrom(props, L"props");
        if (names.empty()) raise(kCapeInvalidArgument, L"No property was requested");
        for (const std::wstring& n : names)
            if (!isCalculated(n))
                raise(kCapeThrmPropertyNotAvailable,
                      L"Property \"" + n + L"\" is not available; the package calculates reactionRate and rateConstant");
        if (!sameId(text(phase), kPhase))
            raise(kCapeInvalidArgument,
                  L"The reactions take place in phase \"" + std::wstring(kPhase) + L"\", not \"" + text(phase) + L"\"");
        if (!text(basis).empty() && !sameId(text(basis), L"mole"))
            raise(kCapeInvalidArgument, L"Basis \"" + text(basis) + L"\" is not supported; rates are per mole");
        std::vector<const Reaction*> which;
        std::vector<std::wstring> ids;
        if (isUndefined(reacIds)) {
            for (const Entry& e : reactions_) which.push_back(e.reaction.get());
        } else {
            for (const std::wstring& id : stringsFrom(reacIds, L"reacIds"))
                which.push_back(entry(tarv::Bstr(id).get()).reaction.get());
        }
        for (const Reaction* r : which) ids.push_back(r->id);
        if (!material_) raise(kCapeBadInvOrder, L"No material is set; SetMaterial must come before CalcReactionProp");
        if (!reactionObject_)
            raise(kCapeBadInvOrder, L"No reaction object is set; SetReactionObject must come before CalcReactionProp");

        // The conditions and the composition of the reactions' phase, from the material.
        auto get = [&](const wchar_t* property, const wchar_t* ofPhase, const wchar_t* onBasis) {
            tarv::Variant results, all;
            HRESULT hr = material_->GetProp(tarv::Bstr(property).get(), tarv::Bstr(ofPhase).get(), all.get(),
                                            tarv::Bstr(L"").get(), tarv::Bstr(onBasis).get(), results.ptr());
            if (FAILED(hr))
                raise(hr, std::wstring(L"The material's GetProp of ") + property + L" (" + ofPhase + L") failed: " +
                              describeFailure(material_.get(), hr));
            return doublesFrom(results.get(), property);
        };
        const std::vector<double> T = get(L"temperature", L"Overall", L"");
        const std::vector<double> P = get(L"pressure", L"Overall", L"");
        if (T.size() != 1 || P.size() != 1)
            raise(kCapeInvalidArgument, L"The material's temperature and pressure must be single values");
        const std::vector<double> y = get(L"fraction", kPhase, L"mole");
        tarv::Variant compounds;
        HRESULT hr = material_->get_ComponentIds(compounds.ptr());
        if (FAILED(hr))
            raise(hr, L"The material's ComponentIds failed: " + describeFailure(material_.get(), hr));
        const std::vector<std::wstring> compoundIds = stringsFrom(compounds.get(), L"ComponentIds");

        const tarv::Variant idList = tarv::makeStringArray(ids);
        for (const std::wstring& n : names) {
            std::vector<double> values;
            for (const Reaction* r : which)
                values.push_back(sameId(n, L"rateConstant") ? rateConstant(*r, T[0])
                                                             : reactionRate(*r, T[0], P[0], compoundIds, y));
            hr = reactionObject_->SetReactionProp(tarv::Bstr(n).get(), tarv::Bstr(kPhase).get(), idList.get(),
                                                  tarv::Bstr(L"mole").get(), tarv::makeDoubleArray(values).get());
            if (FAILED(hr))
                raise(hr, L"The reaction object's SetReactionProp of " + n + L" failed: " +
                              describeFailure(reactionObject_.get(), hr));
        }
    });
}

// --- Contexts --------------------------------------------------------------------------------------

HRESULT KineticPackage10::SetReactionObject(IDispatch** reactionsObject)
{
    return guard(L"ICapeKineticReactionContext", L"SetReactionObject", [&] {
        if (!reactionsObject) raise(kCapeInvalidArgument, L"A null reference was passed for the reaction object");
        tarv::ComPtr<ICapeReactionProperties> properties;
        if (*reactionsObject &&
            (FAILED((*reactionsObject)->QueryInterface(IID_ICapeReactionProperties, properties.putVoid())) || !properties))
            raise(kCapeInvalidArgument, L"The reaction object does not implement ICapeReactionProperties");
        reactionObject_ = properties;
    });
}

void KineticPackage10::takeMaterial(IDispatch* material)
{
    tarv::ComPtr<ICapeThermoMaterialObject> object;
    if (material && (FAILED(material->QueryInterface(IID_ICapeThermoMaterialObject, object.putVoid())) || !object))
        raise(kCapeInvalidArgument, L"The material does not implement ICapeThermoMaterialObject");
    material_ = object;
}

HRESULT KineticPackage10::SetMaterial(IDispatch* material)
{
    return guard(L"ICapeThermoMaterialContext", L"SetMaterial", [&] {
        if (!material) raise(kCapeInvalidArgument, L"A null material was passed; UnsetMaterial lets go of the material");
        takeMaterial(material);
    });
}

HRESULT KineticPackage10::UnsetMaterial()
{
    return guard(L"ICapeThermoMaterialContext", L"UnsetMaterial", [&] { material_ = nullptr; });
}

// The 1.0 context has no UnsetMaterial: a null material lets go of the one set.
HRESULT KineticPackage10::SetMaterial(IDispatch** materialObject)
{
    return guard(L"ICapeThermoContext", L"SetMaterial", [&] {
        if (!materialObject) raise(kCapeInvalidArgument, L"A null reference was passed for the material");
        takeMaterial(*materialObject);
    });
}

// --- ReactionPackageManager ------------------------------------------------------------------------

ReactionPackageManager::ReactionPackageManager()
    : CapeComponent(L"TARVKit Reaction Package Manager", L"Power-law reaction packages of the test kit")
{}

HRESULT ReactionPackageManager::GetListOfReactionsPackages(VARIANT* reactionIDS)
{
    return guard(L"ICapeReactionsPackageManager", L"GetListOfReactionsPackages", [&] {
        std::vector<std::wstring> names;
        for (const ReactionSet& s : reactionSets()) names.emplace_back(s.name);
        setStrings(out(reactionIDS), names);
    });
}

HRESULT ReactionPackageManager::ResolveReactionsPackage(BSTR reactionsPkg, IDispatch** reaction)
{
    return guard(L"ICapeReactionsPackageManager", L"ResolveReactionsPackage", [&] {
        *out(reaction) = nullptr;
        const ReactionSet* set = findReactionSet(text(reactionsPkg));
        if (!set) {
            std::wstring known;
            for (const ReactionSet& s : reactionSets()) known += (known.empty() ? L"\"" : L", \"") + std::wstring(s.name) + L"\"";
            raise(kCapeInvalidArgument,
                  L"There is no reaction package named \"" + text(reactionsPkg) + L"\"; available: " + known);
        }
        if (FAILED(createAndQuery<KineticPackage10>(IID_IDispatch, reinterpret_cast<void**>(reaction), *set)))
            raise(kCapeNoMemory, L"The reaction package could not be created");
    });
}

} // namespace samples::reaction
