#pragma once
// Flash drums that save themselves differently, for the tests of the logged unit operation's
// persistence and ports: one class per row of kUnitVariants, each a sample flash drum with one
// departure.
#include "kit/classes.h"

#include "unit/flash_drum.h"

namespace kit {

struct UnitVariant {
    CLSID clsid;
    const wchar_t* progId;
    const wchar_t* name;   // the component's name and its CapeDescription name
    const wchar_t* description;
    samples::unit::Behaviour behaviour;
};

using Interfaces = samples::unit::Behaviour::Interfaces;

inline const UnitVariant kUnitVariants[] = {
    {{0x095A5F51, 0xA9F8, 0x44A4, {0x8A, 0xD3, 0x29, 0x8E, 0x8D, 0x14, 0x56, 0x8A}}, L"TARVKit.UnitStreamOnly",
     L"TARVKit Unit Stream Only", L"Flash drum saved through IPersistStream alone", {Interfaces::StreamOnly, std::nullopt, S_OK, false}},
    {{0xFDA29EB2, 0x99CB, 0x468C, {0x9B, 0x73, 0x15, 0xCE, 0x5B, 0x6A, 0x03, 0xDA}}, L"TARVKit.UnitWithoutPersistence",
     L"TARVKit Unit Without Persistence", L"Flash drum that cannot be saved", {Interfaces::None, std::nullopt, S_OK, false}},
    {{0x32AFE607, 0x0F54, 0x4624, {0x84, 0xF1, 0x46, 0xC7, 0x3A, 0x91, 0xF7, 0x0B}}, L"TARVKit.UnitSizeFourGiB",
     L"TARVKit Unit Size Four GiB", L"Flash drum whose GetSizeMax answers 2^32 bytes",
     {Interfaces::StreamInit, 1ULL << 32, S_OK, false}},
    {{0x656CC2D0, 0x2D0B, 0x49AA, {0x87, 0xE8, 0x31, 0xF0, 0x49, 0xE9, 0x50, 0x42}}, L"TARVKit.UnitSaveFalse",
     L"TARVKit Unit Save False", L"Flash drum whose Save writes and returns S_FALSE",
     {Interfaces::StreamInit, std::nullopt, S_FALSE, false}},
    {{0x62D63D88, 0xE42A, 0x4820, {0xB5, 0x8D, 0x07, 0x21, 0xBB, 0x32, 0x76, 0x33}}, L"TARVKit.UnitSaveFails",
     L"TARVKit Unit Save Fails", L"Flash drum whose Save writes and fails with STG_E_MEDIUMFULL",
     {Interfaces::StreamInit, std::nullopt, STG_E_MEDIUMFULL, false}},
    {{0x29DDB9C4, 0x498E, 0x4AF2, {0x87, 0x58, 0x84, 0x3A, 0xE1, 0xA2, 0x7A, 0x6F}}, L"TARVKit.UnitWritingFeed",
     L"TARVKit Unit Writing Feed", L"Flash drum that flashes its feed in place, writing to its inlet",
     {Interfaces::StreamInit, std::nullopt, S_OK, true}},
};

// The kit's class table with a row for each unit variant appended.
std::vector<ClassRow> withUnitRows(std::vector<ClassRow> rows);

} // namespace kit
