#pragma once
// A CAPE-OPEN 1.0 unit operation: an isothermal flash drum. The feed is brought to the drum's
// temperature and pressure and leaves as a vapour and a liquid product; the heat that takes is the
// duty.
//
//   ports       "Feed" (material inlet), "Vapour" and "Liquid" (material outlets), "Duty" (energy
//               outlet: a parameter collection whose parameter "work" receives the duty in W)
//   parameters  "Temperature" (K, 150 to 1000, default 330) and "Pressure" (Pa, 1000 to 1e8,
//               default 101325): the drum's conditions
//   reports     "Summary": the conditions, the vapour fraction, the product flows and the duty
//
// Materials are used through ICapeThermoMaterialObject, whose CalcEquilibrium the simulator
// passes to its property package. Calculate reads the feed's temperature, pressure, composition
// and flow and writes nothing to it. The feed's enthalpy is found by a TP flash of the feed on
// the liquid outlet, the split by a TP flash at the drum's conditions on the vapour outlet; each
// product is then set to its own composition and flow and flashed at the drum's conditions, and
// the duty is the products' enthalpy flow less the feed's.
//
// Persistence through IPersistStreamInit (IPersistStream answers too): the image is a version
// (uint32, 1), the temperature and the pressure (IEEE doubles) and the component's name (uint32
// count of UTF-16 units, then the units), little-endian.
#include "ideal/component.h"

#include <optional>

namespace samples::unit {

// How the drum behaves: the sample's way, or one of the departures the test kit needs.
struct Behaviour {
    enum class Interfaces { StreamInit, StreamOnly, None };
    Interfaces interfaces = Interfaces::StreamInit;   // which persistence interfaces it has
    std::optional<ULONGLONG> reportedSize;   // what GetSizeMax answers instead of the image's size
    HRESULT saveResult = S_OK;               // what Save returns after writing the image
    bool flashesFeed = false;                // finds the feed's enthalpy by flashing the feed itself
};

// A new flash drum of class `clsid` (what GetClassID answers) named `name`, queried for `iid`.
HRESULT createFlashDrum(REFIID iid, void** out, const CLSID& clsid, const wchar_t* name, Behaviour behaviour = {});

} // namespace samples::unit
