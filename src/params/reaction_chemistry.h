#pragma once
// What the reaction package and the reaction object proxy have alike: the methods of
// ICapeReactionChemistry that describe the reactions, and ICapeReactionsRoutine::CalcReactionProp.
// The package exists with or without a log and tests it at each step; the reaction object exists
// only with one. GetReactionParameters differs between the two and stays with each class.
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

namespace tarv {

template <class Derived, class Base, LogMode Mode, class Default, class... Own>
class ReactionProxyClass : public ProxyClass<Derived, Base, Default, Own...> {
public:
    HRESULT STDMETHODCALLTYPE GetNumberOfReactions(LONG* nReacs) override
    {
        return call("ICapeReactionChemistry::GetNumberOfReactions", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetNumberOfReactions(nReacs); }, OutLong{"nReacs", nReacs});
    }
    HRESULT STDMETHODCALLTYPE GetReactionsIds(VARIANT* reactionIDS) override
    {
        return call("ICapeReactionChemistry::GetReactionsIds", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetReactionsIds(reactionIDS); },
            OutVariant{"reactionIDS", reactionIDS, expect::strings, expect::mayBeEmpty});
    }
    HRESULT STDMETHODCALLTYPE GetReactionType(BSTR reacID, CapeReactionType* type) override
    {
        return call("ICapeReactionChemistry::GetReactionType", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetReactionType(reacID, type); }, InString{"reacID", reacID},
            OutReactionType{"type", type});
    }
    HRESULT STDMETHODCALLTYPE GetNumberOfReactionCompounds(BSTR reacID, LONG* nComps) override
    {
        return call("ICapeReactionChemistry::GetNumberOfReactionCompounds", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetNumberOfReactionCompounds(reacID, nComps); },
            InString{"reacID", reacID}, OutLong{"nComps", nComps});
    }
    HRESULT STDMETHODCALLTYPE GetReactionCompoundIds(BSTR reacID, VARIANT* compIds, VARIANT* compCharge,
                                                     VARIANT* compCASNumber) override
    {
        return call("ICapeReactionChemistry::GetReactionCompoundIds", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetReactionCompoundIds(reacID, compIds, compCharge, compCASNumber); },
            InString{"reacID", reacID}, OutVariant{"compIds", compIds, expect::strings},
            OutVariant{"compCharge", compCharge, expect::doubles},
            OutVariant{"compCASNumber", compCASNumber, expect::strings});
    }
    HRESULT STDMETHODCALLTYPE GetStoichiometricCoefficients(BSTR reacID, VARIANT* coeffs) override
    {
        return call("ICapeReactionChemistry::GetStoichiometricCoefficients", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetStoichiometricCoefficients(reacID, coeffs); },
            InString{"reacID", reacID}, OutVariant{"coeffs", coeffs, expect::doubles});
    }
    HRESULT STDMETHODCALLTYPE GetReactionPhase(BSTR reacID, BSTR* phase) override
    {
        return call("ICapeReactionChemistry::GetReactionPhase", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetReactionPhase(reacID, phase); }, InString{"reacID", reacID},
            OutString{"phase", phase});
    }
    HRESULT STDMETHODCALLTYPE GetReactionRateBasis(BSTR reacID, CapeReactionRateBasis* rateBasis) override
    {
        return call("ICapeReactionChemistry::GetReactionRateBasis", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetReactionRateBasis(reacID, rateBasis); },
            InString{"reacID", reacID}, OutReactionRateBasis{"rateBasis", rateBasis});
    }
    HRESULT STDMETHODCALLTYPE GetReactionConcBasis(BSTR reacID, BSTR* concBasis) override
    {
        return call("ICapeReactionChemistry::GetReactionConcBasis", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetReactionConcBasis(reacID, concBasis); },
            InString{"reacID", reacID}, OutString{"concBasis", concBasis});
    }
    HRESULT STDMETHODCALLTYPE GetBaseReactant(BSTR reacID, BSTR* baseReactantId) override
    {
        return call("ICapeReactionChemistry::GetBaseReactant", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetBaseReactant(reacID, baseReactantId); },
            InString{"reacID", reacID}, OutString{"baseReactantId", baseReactantId});
    }
    HRESULT STDMETHODCALLTYPE GetPhaseCompounds(BSTR reacID, LONG* compNo, VARIANT* compIds) override
    {
        return call("ICapeReactionChemistry::GetPhaseCompounds", reactionChemistry_,
            [&](ICapeReactionChemistry* i) { return i->GetPhaseCompounds(reacID, compNo, compIds); },
            InString{"reacID", reacID}, OutLong{"compNo", compNo},
            OutVariant{"compIds", compIds, expect::strings, expect::mayBeEmpty});
    }

    HRESULT STDMETHODCALLTYPE CalcReactionProp(VARIANT props, BSTR phase, VARIANT reacIds, BSTR basis) override
    {
        return call("ICapeReactionsRoutine::CalcReactionProp", reactionsRoutine_,
            [&](ICapeReactionsRoutine* i) { return i->CalcReactionProp(props, phase, reacIds, basis); },
            InVariant{"props", props, expect::strings}, InString{"phase", phase},
            InVariant{"reacIds", reacIds, expect::strings}, InString{"basis", basis});
    }

protected:
    ReactionProxyClass() = default;

    template <class I, class F, class... S>
    HRESULT call(const char* method, ComPtr<I>& cached, F&& forward, S&&... steps)
    {
        return proxyCall<Mode>(*this, method, cached, std::forward<F>(forward), std::forward<S>(steps)...);
    }

    // Both keep the foreign references at their destruction; only releaseInterfaces (their own,
    // or their owner's final release) gives them up.
    bool releasesOnDestruction() const override { return false; }

    ComPtr<ICapeReactionChemistry> reactionChemistry_;
    ComPtr<ICapeReactionsRoutine> reactionsRoutine_;
};

} // namespace tarv
