// The class table of tarvkit.dll.
#include "kit/classes.h"
#include "kit/kit.h"

namespace kit {
namespace {

template <class Make>
HRESULT createWith(Make make, REFIID iid, void** out)
{
    try {
        tarv::ComPtr<Object> obj = make();
        return obj->QueryInterface(iid, out);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT createKitObject(REFIID iid, void** out)
{
    return createWith([] {
        auto obj = Object::create<ICapeIdentification, ICapeUtilities, ECapeUser, ECapeRoot>(kKitObjectProgId);
        obj->errorDescription(L"").errorName(L"");
        return obj;
    }, iid, out);
}

} // namespace

const std::vector<ClassRow>& classTable()
{
    static const std::vector<ClassRow> rows{
        {CLSID_KitObject, kKitObjectProgId, L"TARV test kit object", L"Apartment", {}, &createKitObject},
    };
    return rows;
}

} // namespace kit
