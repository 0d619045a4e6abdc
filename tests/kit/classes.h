#pragma once
// The classes of tarvkit.dll, the kit as a registered in-process server for end-to-end tests.
// A class is one row of kit::classTable(); adding a sample component is adding a row.
#include <windows.h>
#include <ole2.h>

#include <vector>

namespace kit {

// TARVKit.Object: a generic kit object exposing ICapeIdentification, ICapeUtilities, ECapeUser and
// ECapeRoot, named "TARVKit.Object"; its error interfaces answer empty texts.
// {965E01B0-3441-421A-83D0-09B4708D0C52}
inline constexpr CLSID CLSID_KitObject = {0x965E01B0, 0x3441, 0x421A, {0x83, 0xD0, 0x09, 0xB4, 0x70, 0x8D, 0x0C, 0x52}};
inline constexpr wchar_t kKitObjectProgId[] = L"TARVKit.Object";

// --- Ideal-mixture property packages (kit/ideal): n-pentane/n-hexane/n-heptane ("Ideal Alkanes")
// and benzene/toluene/o-xylene ("Ideal Aromatics"), TP flash by Raoult's law. ---------------------

// TARVKit.IdealPackage: stand-alone CAPE-OPEN 1.1 property package "Ideal Alkanes".
// {E2785283-7782-4DEA-B42C-FDD927B10286}
inline constexpr CLSID CLSID_IdealPackage = {0xE2785283, 0x7782, 0x4DEA, {0xB4, 0x2C, 0xFD, 0xD9, 0x27, 0xB1, 0x02, 0x86}};
inline constexpr wchar_t kIdealPackageProgId[] = L"TARVKit.IdealPackage";

// TARVKit.PackageManager: CAPE-OPEN 1.1 property package manager offering "Ideal Alkanes" and
// "Ideal Aromatics"; an unknown name fails with ECapeInvalidArgument.
// {808B7DF7-562A-4C2D-A3F5-BECF58BAC59F}
inline constexpr CLSID CLSID_PackageManager = {0x808B7DF7, 0x562A, 0x4C2D, {0xA3, 0xF5, 0xBE, 0xCF, 0x58, 0xBA, 0xC5, 0x9F}};
inline constexpr wchar_t kPackageManagerProgId[] = L"TARVKit.PackageManager";

// TARVKit.ThermoSystem10: CAPE-OPEN 1.0 thermo system offering the same two packages.
// {841DF50A-28EB-4538-9194-0B2D4EE3F400}
inline constexpr CLSID CLSID_ThermoSystem10 = {0x841DF50A, 0x28EB, 0x4538, {0x91, 0x94, 0x0B, 0x2D, 0x4E, 0xE3, 0xF4, 0x00}};
inline constexpr wchar_t kThermoSystem10ProgId[] = L"TARVKit.ThermoSystem10";

// TARVKit.Package10: stand-alone CAPE-OPEN 1.0 property package "Ideal Alkanes".
// {DF4A99ED-9950-4A90-BD93-0B3C89C68695}
inline constexpr CLSID CLSID_Package10 = {0xDF4A99ED, 0x9950, 0x4A90, {0xBD, 0x93, 0x0B, 0x3C, 0x89, 0xC6, 0x86, 0x95}};
inline constexpr wchar_t kPackage10ProgId[] = L"TARVKit.Package10";

// --- Power-law reaction packages (samples/reaction): "Toluene Disproportionation" and "Hexane
// Disproportionation", gas-phase, CAPE-OPEN 1.0. ----------------------------------------------------

// TARVKit.ReactionPackage: stand-alone reaction package "Toluene Disproportionation".
// {F3730141-3E64-4D25-B105-E0DD5E705925}
inline constexpr CLSID CLSID_ReactionPackage = {0xF3730141, 0x3E64, 0x4D25, {0xB1, 0x05, 0xE0, 0xDD, 0x5E, 0x70, 0x59, 0x25}};
inline constexpr wchar_t kReactionPackageProgId[] = L"TARVKit.ReactionPackage";

// TARVKit.ReactionPackageManager: reaction package manager offering both; an unknown name fails
// with ECapeInvalidArgument.
// {BCFAF3C5-997E-4B36-BE51-B84A7D4381EC}
inline constexpr CLSID CLSID_ReactionPackageManager = {0xBCFAF3C5, 0x997E, 0x4B36, {0xBE, 0x51, 0xB8, 0x4A, 0x7D, 0x43, 0x81, 0xEC}};
inline constexpr wchar_t kReactionPackageManagerProgId[] = L"TARVKit.ReactionPackageManager";

// --- Misbehaving 1.1 containers and packages, for failure tests of package resolution. --------

// TARVKit.ManagerFailingInit: Initialize fails with ECapeFailedInitialisation (0x8004050F) and
// the description kFailingInitText; otherwise a normal manager.
// {1BC0B0B8-8C80-403A-9F8D-43B41379A9DF}
inline constexpr CLSID CLSID_ManagerFailingInit = {0x1BC0B0B8, 0x8C80, 0x403A, {0x9F, 0x8D, 0x43, 0xB4, 0x13, 0x79, 0xA9, 0xDF}};
inline constexpr wchar_t kManagerFailingInitProgId[] = L"TARVKit.ManagerFailingInit";
inline constexpr wchar_t kFailingInitText[] = L"The compound data bank could not be opened";

// TARVKit.ManagerWithoutUtilities: a working manager that does not expose ICapeUtilities.
// {0C450ED7-19C3-4B68-BD6C-1FB5B37CB954}
inline constexpr CLSID CLSID_ManagerWithoutUtilities = {0x0C450ED7, 0x19C3, 0x4B68, {0xBD, 0x6C, 0x1F, 0xB5, 0xB3, 0x7C, 0xB9, 0x54}};
inline constexpr wchar_t kManagerWithoutUtilitiesProgId[] = L"TARVKit.ManagerWithoutUtilities";

// TARVKit.ManagerReturningNull: GetPropertyPackage returns S_OK and a null package for any name.
// {444928C3-0CAF-4A59-AB42-F2F11794AC22}
inline constexpr CLSID CLSID_ManagerReturningNull = {0x444928C3, 0x0CAF, 0x4A59, {0xAB, 0x42, 0xF2, 0xF1, 0x17, 0x94, 0xAC, 0x22}};
inline constexpr wchar_t kManagerReturningNullProgId[] = L"TARVKit.ManagerReturningNull";

// TARVKit.PackageWithoutUtilities: stand-alone 1.1 package "Ideal Alkanes" without ICapeUtilities.
// {8121192B-0D4F-4EC6-ADFF-BF31D6E725CE}
inline constexpr CLSID CLSID_PackageWithoutUtilities = {0x8121192B, 0x0D4F, 0x4EC6, {0xAD, 0xFF, 0xBF, 0x31, 0xD6, 0xE7, 0x25, 0xCE}};
inline constexpr wchar_t kPackageWithoutUtilitiesProgId[] = L"TARVKit.PackageWithoutUtilities";

// --- Liars, for the server's tests of faults while logging (dll/liars.cpp). -------------------

// TARVKit.LiarPackage: a stand-alone 1.1 package "Liar". GetPhaseInfo(lie, ...) answers with the
// lie its phase label names; CalcSinglePhaseProp(props, lie) calls back the material it was given
// (SetMaterial) with that lie in an argument and returns that call's result. Other labels give
// honest answers.
// {2E950278-FE6B-447F-9FD6-DD02A61D5C93}
inline constexpr CLSID CLSID_LiarPackage = {0x2E950278, 0xFE6B, 0x447F, {0x9F, 0xD6, 0xDD, 0x02, 0xA6, 0x1D, 0x5C, 0x93}};
inline constexpr wchar_t kLiarPackageProgId[] = L"TARVKit.LiarPackage";
// Results of GetPhaseInfo.
inline constexpr wchar_t kLieNullObjectInArray[] = L"null object in an array";    // also a callback's
inline constexpr wchar_t kLieFloatsAsDoubles[] = L"floats under a double tag";
inline constexpr wchar_t kLieWideElements[] = L"elements wider than their tag";
inline constexpr wchar_t kLieShortLengthPrefix[] = L"a length prefix that lies";
inline constexpr wchar_t kLieLocks[] = L"locks";                                   // the server's lock count
inline constexpr wchar_t kLieLiveObjects[] = L"live objects";   // the kit's objects alive in the server
// Arguments of CalcSinglePhaseProp's call back to the material.
inline constexpr wchar_t kLieBoundsBeyondData[] = L"bounds beyond the data";
inline constexpr wchar_t kLieUnknownType[] = L"a value of no known type";
inline constexpr wchar_t kLieObjectInNoAccessPage[] = L"an object in a no-access page";
inline constexpr wchar_t kLieThrowingName[] = L"a name that throws";

// TARVKit.ReloadingManager: a 1.1 package manager whose Initialize puts a record "Late Arrival"
// in front of the store, has the server make one of its managers (which reloads the list), and
// then fails with ECapeFailedInitialisation and kReloadingManagerText.
// {D49F5D63-1B18-48CD-BBD9-8DDD00411D00}
inline constexpr CLSID CLSID_ReloadingManager = {0xD49F5D63, 0x1B18, 0x48CD, {0xBB, 0xD9, 0x8D, 0xDD, 0x00, 0x41, 0x1D, 0x00}};
inline constexpr wchar_t kReloadingManagerProgId[] = L"TARVKit.ReloadingManager";
inline constexpr wchar_t kReloadingManagerText[] = L"The list changed while I was starting";

// The CapeDescription key of a CAPE-OPEN component; a row with a null name writes none.
struct CapeDescription {
    const wchar_t* name;
    const wchar_t* description;
    const wchar_t* capeVersion;        // "1.0" or "1.1"
    const wchar_t* componentVersion;
    const wchar_t* vendorUrl;
    const wchar_t* about;
};

struct ClassRow {
    CLSID clsid;
    const wchar_t* progId;
    const wchar_t* friendlyName;
    const wchar_t* threadingModel;
    std::vector<GUID> categories;   // written as Implemented Categories
    // Creates a new instance and queries it for `iid`.
    HRESULT (*create)(REFIID iid, void** out);
    CapeDescription cape;
};

const std::vector<ClassRow>& classTable();

} // namespace kit
