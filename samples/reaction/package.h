#pragma once
// A CAPE-OPEN 1.0 reaction package with power-law kinetics (kinetics.h). The simulator gives it
// a reaction object (ICapeKineticReactionContext) and a material, by either thermo context; the
// material is read through ICapeThermoMaterialObject: temperature and pressure overall, mole
// fractions of the reactions' phase. CalcReactionProp writes "reactionRate" [mol/(m3 s)] and
// "rateConstant" of the reactions asked for to the reaction object (ICapeReactionProperties,
// basis "mole"). Each reaction's pre-exponential factor and activation energy are its parameters.
// Terminate lets go of the material and the reaction object.
#include "ideal/component.h"
#include "reaction/kinetics.h"

namespace samples::reaction {

class KineticPackage10 final
    : public ideal::CapeComponent<ICapeReactionChemistry, ICapeReactionsRoutine, ICapeKineticReactionContext,
                                       ICapeThermoMaterialContext, ICapeThermoContext10> {
public:
    explicit KineticPackage10(const ReactionSet& set);

    // ICapeReactionChemistry
    HRESULT STDMETHODCALLTYPE GetNumberOfReactions(LONG* nReacs) override;
    HRESULT STDMETHODCALLTYPE GetReactionsIds(VARIANT* reactionIDS) override;
    HRESULT STDMETHODCALLTYPE GetReactionType(BSTR reacID, CapeReactionType* type) override;
    HRESULT STDMETHODCALLTYPE GetNumberOfReactionCompounds(BSTR reacID, LONG* nComps) override;
    HRESULT STDMETHODCALLTYPE GetReactionCompoundIds(BSTR reacID, VARIANT* compIds, VARIANT* compCharge,
                                                     VARIANT* compCASNumber) override;
    HRESULT STDMETHODCALLTYPE GetStoichiometricCoefficients(BSTR reacID, VARIANT* coeffs) override;
    HRESULT STDMETHODCALLTYPE GetReactionPhase(BSTR reacID, BSTR* phase) override;
    HRESULT STDMETHODCALLTYPE GetReactionRateBasis(BSTR reacID, CapeReactionRateBasis* rateBasis) override;
    HRESULT STDMETHODCALLTYPE GetReactionConcBasis(BSTR reacID, BSTR* concBasis) override;
    HRESULT STDMETHODCALLTYPE GetBaseReactant(BSTR reacID, BSTR* baseReactantId) override;
    HRESULT STDMETHODCALLTYPE GetPhaseCompounds(BSTR reacID, LONG* compNo, VARIANT* compIds) override;
    HRESULT STDMETHODCALLTYPE GetReactionParameters(BSTR reacID, IDispatch** ParameterCollection) override;
    // ICapeReactionsRoutine
    HRESULT STDMETHODCALLTYPE CalcReactionProp(VARIANT props, BSTR phase, VARIANT reacIds, BSTR basis) override;
    // ICapeKineticReactionContext
    HRESULT STDMETHODCALLTYPE SetReactionObject(IDispatch** reactionsObject) override;
    // ICapeThermoMaterialContext
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch* material) override;
    HRESULT STDMETHODCALLTYPE UnsetMaterial() override;
    // ICapeThermoContext10
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch** materialObject) override;

private:
    struct Entry {
        std::shared_ptr<Reaction> reaction;   // shared with its parameters, which write to it
        tarv::ComPtr<IDispatch> parameters;
    };
    Entry& entry(BSTR reacID);
    void takeMaterial(IDispatch* material);
    void terminate() override;

    std::vector<Entry> reactions_;
    tarv::ComPtr<ICapeThermoMaterialObject> material_;
    tarv::ComPtr<ICapeReactionProperties> reactionObject_;
};

// The reaction package manager: offers every set of reactionSets().
class ReactionPackageManager final : public ideal::CapeComponent<ICapeReactionsPackageManager> {
public:
    ReactionPackageManager();

    HRESULT STDMETHODCALLTYPE GetListOfReactionsPackages(VARIANT* reactionIDS) override;
    // A new KineticPackage10 of the named set; an unknown name fails with ECapeInvalidArgument.
    HRESULT STDMETHODCALLTYPE ResolveReactionsPackage(BSTR reactionsPkg, IDispatch** reaction) override;
};

} // namespace samples::reaction
