// The class table of tarvkit.dll.
#include "kit/classes.h"
#include "ideal/managers.h"
#include "kit/kit.h"
#include "kit/units.h"

namespace kit {

namespace ideal = samples::ideal;

tarv::ComPtr<Object> makeLiarPackage();
tarv::ComPtr<Object> makeReloadingManager();

namespace {

template <class Make>
HRESULT createWith(Make make, REFIID iid, void** out)
{
    try {
        return make()->QueryInterface(iid, out);
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

// The misbehaving managers: one behaviour each.
const struct {
    const wchar_t* name;
    ideal::ContainerBehaviour behaviour;
} kContainers[] = {
    {L"TARVKit Manager Without Utilities", {false, false}},
    {L"TARVKit Manager Returning Null", {true, true}},
};

template <size_t N>
HRESULT createManager(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::PackageManager11>(iid, out, kContainers[N].name, kContainers[N].behaviour);
}

HRESULT createLiarPackage(REFIID iid, void** out) { return createWith(&makeLiarPackage, iid, out); }
HRESULT createReloadingManager(REFIID iid, void** out) { return createWith(&makeReloadingManager, iid, out); }

constexpr wchar_t kVendor[] = L"http://tarv.invalid/kit";
constexpr wchar_t kAbout[] = L"Test components of TARV64; not for production use";

// A 1.1 component of the kit, registered under its display name.
ClassRow component(const CLSID& clsid, const wchar_t* progId, const wchar_t* name, const GUID& category,
                   HRESULT (*create)(REFIID, void**), const wchar_t* description)
{
    return {clsid, progId, name, L"Apartment", {CATID_CapeOpenComponent, category}, create,
            {name, description, L"1.1", L"1.0", kVendor, kAbout}};
}

} // namespace

const std::vector<ClassRow>& classTable()
{
    const GUID manager11 = CATID_CapePropertyPackageManager11;
    const GUID package11 = CATID_CapePropertyPackage11;
    static const std::vector<ClassRow> rows = withUnitRows({
        {CLSID_KitObject, kKitObjectProgId, L"TARV test kit object", L"Apartment", {}, &createKitObject, {}},
        component(CLSID_ManagerWithoutUtilities, L"TARVKit.ManagerWithoutUtilities", kContainers[0].name, manager11,
                  &createManager<0>, L"Property package manager without ICapeUtilities"),
        component(CLSID_ManagerReturningNull, L"TARVKit.ManagerReturningNull", kContainers[1].name, manager11,
                  &createManager<1>, L"Property package manager that hands out null packages"),
        component(CLSID_LiarPackage, L"TARVKit.LiarPackage", L"TARVKit Liar Package", package11, &createLiarPackage,
                  L"Property package whose results and callbacks break the rules"),
        component(CLSID_ReloadingManager, L"TARVKit.ReloadingManager", L"TARVKit Reloading Manager", manager11,
                  &createReloadingManager, L"Property package manager that changes the exported list while starting"),
    });
    return rows;
}

} // namespace kit
