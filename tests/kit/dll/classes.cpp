// The class table of tarvkit.dll.
#include "kit/classes.h"
#include "ideal/configurations.h"
#include "ideal/managers.h"
#include "ideal/package11.h"
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

// The stand-alone packages are the first configuration, "Ideal Alkanes".
const ideal::PackageConfiguration& standaloneConfiguration()
{
    return ideal::packageConfigurations().front();
}

HRESULT createPackageWithoutUtilities(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::IdealPackage11>(iid, out, standaloneConfiguration(), false);
}

// The misbehaving containers: one behaviour each.
struct ContainerVariant {
    const wchar_t* name;
    ideal::ContainerBehaviour behaviour;
};
const ContainerVariant kContainers[] = {
    {L"TARVKit Manager Failing Init", {true, ideal::kCapeFailedInitialisation, kFailingInitText, false}},
    {L"TARVKit Manager Without Utilities", {false, S_OK, L"", false}},
    {L"TARVKit Manager Returning Null", {true, S_OK, L"", true}},
    {L"TARVKit Manager Listing Nothing", {true, S_OK, L"", false, ideal::ContainerBehaviour::Listing::Nothing}},
    {L"TARVKit Manager Failing List",
     {true, S_OK, L"", false, ideal::ContainerBehaviour::Listing::Fails, kFailingListText}},
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

} // namespace

const std::vector<ClassRow>& classTable()
{
    const GUID component = CATID_CapeOpenComponent;
    const GUID manager11 = CATID_CapePropertyPackageManager11;
    const GUID package11 = CATID_CapePropertyPackage11;
    static const std::vector<ClassRow> rows = withUnitRows({
        {CLSID_KitObject, kKitObjectProgId, L"TARV test kit object", L"Apartment", {}, &createKitObject, {}},
        {CLSID_ManagerFailingInit, kManagerFailingInitProgId, L"TARVKit Manager Failing Init", L"Apartment",
         {component, manager11}, &createManager<0>,
         {L"TARVKit Manager Failing Init", L"Property package manager whose Initialize fails", L"1.1", L"1.0",
          kVendor, kAbout}},
        {CLSID_ManagerWithoutUtilities, kManagerWithoutUtilitiesProgId, L"TARVKit Manager Without Utilities",
         L"Apartment", {component, manager11}, &createManager<1>,
         {L"TARVKit Manager Without Utilities", L"Property package manager without ICapeUtilities", L"1.1", L"1.0",
          kVendor, kAbout}},
        {CLSID_ManagerReturningNull, kManagerReturningNullProgId, L"TARVKit Manager Returning Null", L"Apartment",
         {component, manager11}, &createManager<2>,
         {L"TARVKit Manager Returning Null", L"Property package manager that hands out null packages", L"1.1",
          L"1.0", kVendor, kAbout}},
        {CLSID_PackageWithoutUtilities, kPackageWithoutUtilitiesProgId, L"TARVKit Package Without Utilities",
         L"Apartment", {component, package11}, &createPackageWithoutUtilities,
         {L"TARVKit Package Without Utilities", L"Ideal-mixture property package without ICapeUtilities", L"1.1",
          L"1.0", kVendor, kAbout}},
        {CLSID_ManagerListingNothing, kManagerListingNothingProgId, L"TARVKit Manager Listing Nothing", L"Apartment",
         {component, manager11}, &createManager<3>,
         {L"TARVKit Manager Listing Nothing", L"Property package manager with no packages", L"1.1", L"1.0", kVendor,
          kAbout}},
        {CLSID_ManagerFailingList, kManagerFailingListProgId, L"TARVKit Manager Failing List", L"Apartment",
         {component, manager11}, &createManager<4>,
         {L"TARVKit Manager Failing List", L"Property package manager whose list fails", L"1.1", L"1.0", kVendor,
          kAbout}},
        {CLSID_LiarPackage, kLiarPackageProgId, L"TARVKit Liar Package", L"Apartment", {component, package11},
         &createLiarPackage,
         {L"TARVKit Liar Package", L"Property package whose results and callbacks break the rules", L"1.1", L"1.0",
          kVendor, kAbout}},
        {CLSID_ReloadingManager, kReloadingManagerProgId, L"TARVKit Reloading Manager", L"Apartment",
         {component, manager11}, &createReloadingManager,
         {L"TARVKit Reloading Manager", L"Property package manager that changes the exported list while starting",
          L"1.1", L"1.0", kVendor, kAbout}},
    });
    return rows;
}

} // namespace kit
