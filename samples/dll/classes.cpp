// The class table of tarvsamples.dll.
#include "dll/sample_classes.h"
#include "ideal/configurations.h"
#include "ideal/managers.h"
#include "ideal/package10.h"
#include "ideal/package11.h"
#include "reaction/package.h"
#include "unit/flash_drum.h"

namespace samples {
namespace {

// The stand-alone packages are the first configuration, "Ideal Alkanes".
HRESULT createPackage11(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::IdealPackage11>(iid, out, ideal::packageConfigurations().front());
}

HRESULT createPackage10(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::IdealPackage10>(iid, out, ideal::packageConfigurations().front());
}

HRESULT createManager(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::PackageManager11>(iid, out, L"TARVKit Package Manager",
                                                          ideal::ContainerBehaviour{});
}

HRESULT createThermoSystem(REFIID iid, void** out)
{
    return ideal::createAndQuery<ideal::ThermoSystem10>(iid, out, L"TARVKit Thermo System", ideal::ContainerBehaviour{});
}

HRESULT createReactionPackage(REFIID iid, void** out)
{
    return ideal::createAndQuery<reaction::KineticPackage10>(iid, out, reaction::reactionSets().front());
}

HRESULT createReactionPackageManager(REFIID iid, void** out)
{
    return ideal::createAndQuery<reaction::ReactionPackageManager>(iid, out);
}

HRESULT createFlashDrum(REFIID iid, void** out)
{
    return unit::createFlashDrum(iid, out, CLSID_FlashDrum, L"Flash Drum");
}

constexpr wchar_t kVendor[] = L"http://tarv.invalid/samples";
constexpr wchar_t kAbout[] = L"Sample components of TARV64: ideal-mixture thermodynamics, power-law reactions, a flash drum";

} // namespace

const std::vector<inproc::ClassRow>& classTable()
{
    const GUID component = CATID_CapeOpenComponent;
    static const std::vector<inproc::ClassRow> rows{
        {CLSID_IdealPackage, kIdealPackageProgId, L"TARVKit Ideal Package", L"Apartment",
         {component, CATID_CapePropertyPackage11}, &createPackage11,
         {L"TARVKit Ideal Package", L"Ideal-mixture property package: n-pentane, n-hexane, n-heptane", L"1.1",
          L"1.0", kVendor, kAbout}},
        {CLSID_PackageManager, kPackageManagerProgId, L"TARVKit Package Manager", L"Apartment",
         {component, CATID_CapePropertyPackageManager11}, &createManager,
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
        {CLSID_FlashDrum, kFlashDrumProgId, L"TARVKit Flash Drum", L"Apartment", {component, CATID_CapeUnitOperation},
         &createFlashDrum,
         {L"TARVKit Flash Drum", L"Isothermal flash drum", L"1.0", L"1.0",
          kVendor, kAbout}},
    };
    return rows;
}

} // namespace samples
