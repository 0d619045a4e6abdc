#include "simulator/reaction_object.h"

#include <cwctype>

namespace sim {

using namespace samples::ideal;

tarv::ComPtr<ReactionObject> ReactionObject::create(std::wstring name)
{
    return tarv::ComPtr<ReactionObject>(new ReactionObject(std::move(name)));
}

ReactionObject::ReactionObject(std::wstring name)
    : CapeObject(std::move(name), L"Reaction object of the TARV sample simulator")
{}

// Identifiers compare ignoring case.
std::wstring ReactionObject::key(const std::wstring& property, const std::wstring& phase, const std::wstring& basis,
                                 const std::wstring& reaction)
{
    std::wstring k = property + L'\n' + phase + L'\n' + basis + L'\n' + reaction;
    for (wchar_t& c : k) c = static_cast<wchar_t>(std::towlower(c));
    return k;
}

std::optional<double> ReactionObject::value(const std::wstring& property, const std::wstring& phase,
                                            const std::wstring& basis, const std::wstring& reaction) const
{
    auto it = values_.find(key(property, phase, basis, reaction));
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

HRESULT ReactionObject::GetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis, VARIANT* propVals)
{
    return guard(L"ICapeReactionProperties", L"GetReactionProp", [&] {
        std::vector<double> values;
        for (const std::wstring& id : stringsFrom(reacIds, L"reacIds")) {
            const std::optional<double> v = value(text(property), text(phase), text(basis), id);
            if (!v) raise(kCapeInvalidArgument, L"No " + text(property) + L" of reaction \"" + id + L"\" is known");
            values.push_back(*v);
        }
        setDoubles(out(propVals), values);
    });
}

HRESULT ReactionObject::SetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis, VARIANT propVals)
{
    return guard(L"ICapeReactionProperties", L"SetReactionProp", [&] {
        const std::vector<std::wstring> ids = stringsFrom(reacIds, L"reacIds");
        const std::vector<double> values = doublesFrom(propVals, L"propVals");
        if (ids.size() != values.size()) raise(kCapeInvalidArgument, L"One value per reaction is needed");
        for (size_t i = 0; i < ids.size(); ++i) values_[key(text(property), text(phase), text(basis), ids[i])] = values[i];
    });
}

} // namespace sim
