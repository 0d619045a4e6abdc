#pragma once
// The simulator's reaction object: the store of the reaction properties that a reaction package
// writes (ICapeReactionProperties), one value per property, phase, basis and reaction. A value
// that was never written can't be read.
#include "ideal/component.h"

#include <map>
#include <optional>
#include <string>

namespace sim {

class ReactionObject final : public samples::ideal::CapeObject<ICapeReactionProperties> {
public:
    static tarv::ComPtr<ReactionObject> create(std::wstring name = L"Reactions");

    // Direct access for the owner, without going through COM.
    std::optional<double> value(const std::wstring& property, const std::wstring& phase, const std::wstring& basis,
                                const std::wstring& reaction) const;

    HRESULT STDMETHODCALLTYPE GetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis,
                                              VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE SetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis,
                                              VARIANT propVals) override;

private:
    explicit ReactionObject(std::wstring name);
    static std::wstring key(const std::wstring& property, const std::wstring& phase, const std::wstring& basis,
                            const std::wstring& reaction);

    std::map<std::wstring, double> values_;
};

} // namespace sim
