#include "kit/parameters.h"

#include "com/variant.h"

#include <memory>

namespace kit {

tarv::ComPtr<Object> makeSpec(CapeParamType type, std::wstring name)
{
    static const IID typed[] = {IID_ICapeRealParameterSpec, IID_ICapeIntegerParameterSpec, IID_ICapeOptionParameterSpec,
                                IID_ICapeBooleanParameterSpec, IID_ICapeArrayParameterSpec};
    auto spec = Object::create({IID_ICapeParameterSpec, typed[type], IID_ICapeIdentification}, std::move(name));
    spec->returns(&ICapeParameterSpec::get_Type, type);
    return spec;
}

void giveItems(Object& arraySpec, std::vector<tarv::ComPtr<Object>> items, std::vector<LONG> sizes)
{
    arraySpec.on(&ICapeArrayParameterSpec::get_ItemsSpecifications, [items, sizes](VARIANT* specs) {
        std::vector<SAFEARRAYBOUND> bounds;
        for (LONG n : sizes) bounds.push_back({static_cast<ULONG>(n), 0});
        SAFEARRAY* array = SafeArrayCreate(VT_DISPATCH, static_cast<UINT>(sizes.size()), bounds.data());
        std::vector<LONG> index(sizes.size(), 0);
        for (const tarv::ComPtr<Object>& item : items) {
            SafeArrayPutElement(array, index.data(), item ? item->ptr<ICapeParameterSpec>() : nullptr);
            for (size_t d = 0; d < index.size() && ++index[d] == sizes[d]; ++d) index[d] = 0;
        }
        VariantClear(specs);
        specs->vt = VT_ARRAY | VT_DISPATCH;
        specs->parray = array;
    });
    arraySpec.returns(&ICapeArrayParameterSpec::get_NumDimensions, static_cast<LONG>(sizes.size()))
        .returns(&ICapeArrayParameterSpec::get_Size, tarv::makeLongArray(sizes));
}

tarv::ComPtr<Object> makeParameter(tarv::ComPtr<Object> spec, CapeParamMode mode, std::wstring name,
                                   tarv::Variant value)
{
    auto parameter = Object::create<ICapeParameter, ICapeIdentification>(std::move(name));
    parameter->on(&ICapeParameter::get_Specification, [spec](IDispatch** out) {
        *out = spec ? spec->ptr<ICapeParameterSpec>() : nullptr;
        if (*out) (*out)->AddRef();
    });
    parameter->returns(&ICapeParameter::get_Mode, mode);
    auto held = std::make_shared<tarv::Variant>(std::move(value));
    parameter->on(&ICapeParameter::get_value, [held](VARIANT* out) {
        VariantClear(out);
        return VariantCopy(out, held->ptr());
    });
    parameter->on(&ICapeParameter::put_value, [held](VARIANT in) { return VariantCopy(held->put(), &in); });
    return parameter;
}

tarv::ComPtr<Object> makeCollection(std::vector<tarv::ComPtr<Object>> items, std::wstring name)
{
    auto collection = Object::create<ICapeCollection, ICapeIdentification>(std::move(name));
    collection->returns(&ICapeCollection::Count, static_cast<LONG>(items.size()));
    collection->on(&ICapeCollection::Item, [items](VARIANT id, IDispatch** item) -> HRESULT {
        tarv::Variant n;
        if (FAILED(VariantChangeType(n.ptr(), &id, 0, VT_I4)) || n.get().lVal < 1 ||
            n.get().lVal > static_cast<LONG>(items.size()))
            return E_INVALIDARG;
        const tarv::ComPtr<Object>& chosen = items[static_cast<size_t>(n.get().lVal - 1)];
        *item = chosen ? chosen->ptr<ICapeParameter>() : nullptr;
        if (*item) (*item)->AddRef();
        return S_OK;
    });
    return collection;
}

} // namespace kit
