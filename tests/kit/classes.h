#pragma once
// The classes of tarvkit.dll, the kit as a registered in-process server for end-to-end tests.
// A class is one row of kit::classTable(); adding a sample component is adding a row.
#include "dll/sample_classes.h"
#include "inproc/inproc_server.h"

#include <windows.h>
#include <ole2.h>

#include <vector>

namespace kit {

// TARVKit.Object: a kit object with ICapeIdentification, ICapeUtilities, ECapeUser and ECapeRoot,
// named "TARVKit.Object"; its error interfaces answer empty texts.
inline constexpr CLSID CLSID_KitObject = {0x965E01B0, 0x3441, 0x421A, {0x83, 0xD0, 0x09, 0xB4, 0x70, 0x8D, 0x0C, 0x52}};
inline constexpr wchar_t kKitObjectProgId[] = L"TARVKit.Object";

// The sample components' classes, registered by tarvsamples.dll, under the kit's names.
using samples::CLSID_IdealPackage;
using samples::CLSID_PackageManager;
using samples::CLSID_ThermoSystem10;
using samples::CLSID_Package10;
using samples::CLSID_ReactionPackageManager;

// Misbehaving 1.1 managers, for failure tests of package resolution: no ICapeUtilities; null
// packages for any name.
inline constexpr CLSID CLSID_ManagerWithoutUtilities = {0x0C450ED7, 0x19C3, 0x4B68, {0xBD, 0x6C, 0x1F, 0xB5, 0xB3, 0x7C, 0xB9, 0x54}};
inline constexpr CLSID CLSID_ManagerReturningNull = {0x444928C3, 0x0CAF, 0x4A59, {0xAB, 0x42, 0xF2, 0xF1, 0x17, 0x94, 0xAC, 0x22}};

// TARVKit.LiarPackage (dll/liars.cpp): a stand-alone 1.1 package "Liar". GetPhaseInfo(lie, ...)
// answers with the lie its phase label names; CalcSinglePhaseProp(props, lie) calls back the
// material it was given with that lie in an argument and returns that call's result. Other labels
// give honest answers.
inline constexpr CLSID CLSID_LiarPackage = {0x2E950278, 0xFE6B, 0x447F, {0x9F, 0xD6, 0xDD, 0x02, 0xA6, 0x1D, 0x5C, 0x93}};
inline constexpr wchar_t kLieNullObjectInArray[] = L"null object in an array";    // also a callback's
inline constexpr wchar_t kLieFloatsAsDoubles[] = L"floats under a double tag";
inline constexpr wchar_t kLieWideElements[] = L"elements wider than their tag";
inline constexpr wchar_t kLieShortLengthPrefix[] = L"a length prefix that lies";
inline constexpr wchar_t kLieLocks[] = L"locks";                  // the server's lock count
inline constexpr wchar_t kLieLiveObjects[] = L"live objects";     // the kit's objects alive in the server
inline constexpr wchar_t kLieBoundsBeyondData[] = L"bounds beyond the data";
inline constexpr wchar_t kLieUnknownType[] = L"a value of no known type";
inline constexpr wchar_t kLieObjectInNoAccessPage[] = L"an object in a no-access page";
inline constexpr wchar_t kLieThrowingName[] = L"a name that throws";

// TARVKit.ReloadingManager: Initialize puts a record "Late Arrival" in front of the store, has the
// server make one of its managers (which reloads the list), then fails with kReloadingManagerText.
inline constexpr CLSID CLSID_ReloadingManager = {0xD49F5D63, 0x1B18, 0x48CD, {0xBB, 0xD9, 0x8D, 0xDD, 0x00, 0x41, 0x1D, 0x00}};
inline constexpr wchar_t kReloadingManagerText[] = L"The list changed while I was starting";

using inproc::CapeDescription;
using inproc::ClassRow;

const std::vector<ClassRow>& classTable();

} // namespace kit
