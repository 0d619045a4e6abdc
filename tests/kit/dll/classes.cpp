// The class table of tarvkit.dll.
#include "kit/classes.h"
#include "kit/ideal/configurations.h"
#include "kit/ideal/managers.h"
#include "kit/ideal/package10.h"
#include "kit/ideal/package11.h"
#include "kit/kit.h"
#include "reaction/package.h"

namespace kit {

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

template <bool Utilities>
HRESULT createPackage11(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::IdealPackage11>(iid, out, standaloneConfiguration(), Utilities);
}

HRESULT createPackage10(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::IdealPackage10>(iid, out, standaloneConfiguration());
}

// The containers: one behaviour each.
struct ContainerVariant {
    const wchar_t* name;
    ideal::ContainerBehaviour behaviour;
};
const ContainerVariant kContainers[] = {
    {L"TARVKit Package Manager", {}},
    {L"TARVKit Manager Failing Init", {true, ideal::kCapeFailedInitialisation, kFailingInitText, false}},
    {L"TARVKit Manager Without Utilities", {false, S_OK, L"", false}},
    {L"TARVKit Manager Returning Null", {true, S_OK, L"", true}},
    {L"TARVKit Thermo System", {}},
};

template <size_t N>
HRESULT createManager(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::PackageManager11>(iid, out, kContainers[N].name, kContainers[N].behaviour);
}

HRESULT createThermoSystem(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::ThermoSystem10>(iid, out, kContainers[4].name, kContainers[4].behaviour);
}

HRESULT createReactionPackage(REFIID iid, void** out)
{
    return ideal::createAndQuery<samples::reaction::KineticPackage10>(iid, out,
                                                                     samples::reaction::reactionSets().front());
}

HRESULT createReactionPackageManager(REFIID iid, void** out)
{
    return ideal::createAndQuery<samples::reaction::ReactionPackageManager>(iid, out);
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
    static const std::vector<ClassRow> rows{
        {CLSID_KitObject, kKitObjectProgId, L"TARV test kit object", L"Apartment", {}, &createKitObject, {}},
        {CLSID_IdealPackage, kIdealPackageProgId, L"TARVKit Ideal Package", L"Apartment", {component, package11},
         &createPackage11<true>,
         {L"TARVKit Ideal Package", L"Ideal-mixture property package: n-pentane, n-hexane, n-heptane", L"1.1",
          L"1.0", kVendor, kAbout}},
        {CLSID_PackageManager, kPackageManagerProgId, L"TARVKit Package Manager", L"Apartment",
         {component, manager11}, &createManager<0>,
         {L"TARVKit Package Manager", L"Ideal-mixture property packages: Ideal Alkanes, Ideal Aromatics", L"1.1",
          L"1.0", kVendor, kAbout}},
        {CLSID_ThermoSystem10, kThermoSystem10ProgId, L"TARVKit Thermo System", L"Apartment",
         {component, CATID_CapeThermoSystem}, &createThermoSystem,
         {L"TARVKit Thermo System", L"Ideal-mixture property packages: Ideal Alkanes, Ideal Aromatics", L"1.0",
          L"1.0", kVendor, kAbout}},
        {CLSID_Package10, kPackage10ProgId, L"TARVKit Package 1.0", L"Apartment",
         {component, CATID_CapeThermoPropertyPackage}, &createPackage10,
         {L"TARVKit Package 1.0", L"Ideal-mixture property package: n-pentane, n-hexane, n-heptane", L"1.0", L"1.0",
          kVendor, kAbout}},
        {CLSID_ReactionPackage, kReactionPackageProgId, L"TARVKit Reaction Package", L"Apartment",
         {component, CATID_CapeReactionsPackage}, &createReactionPackage,
         {L"TARVKit Reaction Package", L"Power-law reaction package: toluene disproportionation", L"1.0", L"1.0",
          kVendor, kAbout}},
        {CLSID_ReactionPackageManager, kReactionPackageManagerProgId, L"TARVKit Reaction Package Manager",
         L"Apartment", {component, CATID_CapeReactionsPackageManager}, &createReactionPackageManager,
         {L"TARVKit Reaction Package Manager",
          L"Power-law reaction packages: Toluene Disproportionation, Hexane Disproportionation", L"1.0", L"1.0",
          kVendor, kAbout}},
        {CLSID_ManagerFailingInit, kManagerFailingInitProgId, L"TARVKit Manager Failing Init", L"Apartment",
         {component, manager11}, &createManager<1>,
         {L"TARVKit Manager Failing Init", L"Property package manager whose Initialize fails", L"1.1", L"1.0",
          kVendor, kAbout}},
        {CLSID_ManagerWithoutUtilities, kManagerWithoutUtilitiesProgId, L"TARVKit Manager Without Utilities",
         L"Apartment", {component, manager11}, &createManager<2>,
         {L"TARVKit Manager Without Utilities", L"Property package manager without ICapeUtilities", L"1.1", L"1.0",
          kVendor, kAbout}},
        {CLSID_ManagerReturningNull, kManagerReturningNullProgId, L"TARVKit Manager Returning Null", L"Apartment",
         {component, manager11}, &createManager<3>,
         {L"TARVKit Manager Returning Null", L"Property package manager that hands out null packages", L"1.1",
          L"1.0", kVendor, kAbout}},
        {CLSID_PackageWithoutUtilities, kPackageWithoutUtilitiesProgId, L"TARVKit Package Without Utilities",
         L"Apartment", {component, package11}, &createPackage11<false>,
         {L"TARVKit Package Without Utilities", L"Ideal-mixture property package without ICapeUtilities", L"1.1",
          L"1.0", kVendor, kAbout}},
        {CLSID_LiarPackage, kLiarPackageProgId, L"TARVKit Liar Package", L"Apartment", {component, package11},
         &createLiarPackage,
         {L"TARVKit Liar Package", L"Property package whose results and callbacks break the rules", L"1.1", L"1.0",
          kVendor, kAbout}},
        {CLSID_ReloadingManager, kReloadingManagerProgId, L"TARVKit Reloading Manager", L"Apartment",
         {component, manager11}, &createReloadingManager,
         {L"TARVKit Reloading Manager", L"Property package manager that changes the exported list while starting",
          L"1.1", L"1.0", kVendor, kAbout}},
    };
    return rows;
}

} // namespace kit
