#pragma once
// The classes of tarvsamples.dll: the sample components as a registered in-process server.
#include "inproc/inproc_server.h"

#include <windows.h>

#include <vector>

namespace samples {

// Ideal-mixture property packages (samples/ideal): n-pentane/n-hexane/n-heptane ("Ideal Alkanes")
// and benzene/toluene/o-xylene ("Ideal Aromatics"), TP flash by Raoult's law.

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

// Power-law reaction packages (samples/reaction): "Toluene Disproportionation" and "Hexane
// Disproportionation", gas-phase, CAPE-OPEN 1.0.

// TARVKit.ReactionPackage: stand-alone reaction package "Toluene Disproportionation".
// {F3730141-3E64-4D25-B105-E0DD5E705925}
inline constexpr CLSID CLSID_ReactionPackage = {0xF3730141, 0x3E64, 0x4D25, {0xB1, 0x05, 0xE0, 0xDD, 0x5E, 0x70, 0x59, 0x25}};
inline constexpr wchar_t kReactionPackageProgId[] = L"TARVKit.ReactionPackage";

// TARVKit.ReactionPackageManager: reaction package manager offering both; an unknown name fails
// with ECapeInvalidArgument.
// {BCFAF3C5-997E-4B36-BE51-B84A7D4381EC}
inline constexpr CLSID CLSID_ReactionPackageManager = {0xBCFAF3C5, 0x997E, 0x4B36, {0xBE, 0x51, 0xB8, 0x4A, 0x7D, 0x43, 0x81, 0xEC}};
inline constexpr wchar_t kReactionPackageManagerProgId[] = L"TARVKit.ReactionPackageManager";

// A unit operation (samples/unit).

// TARVKit.FlashDrum: CAPE-OPEN 1.0 isothermal flash drum "Flash Drum", saved through
// IPersistStreamInit.
// {731C4BC2-A91B-4986-87AB-0D83551A5A31}
inline constexpr CLSID CLSID_FlashDrum = {0x731C4BC2, 0xA91B, 0x4986, {0x87, 0xAB, 0x0D, 0x83, 0x55, 0x1A, 0x5A, 0x31}};
inline constexpr wchar_t kFlashDrumProgId[] = L"TARVKit.FlashDrum";

const std::vector<inproc::ClassRow>& classTable();

} // namespace samples
