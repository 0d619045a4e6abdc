#pragma once
// The settings of the ideal packages as CAPE-OPEN parameters. Each parameter is its own
// spec (ICapeParameterSpec and the interface of its type, as components commonly make
// them) and writes through to the package's ModelSettings, so a change holds for the package's
// next calculation. A value is taken only if its parameter spec validates it; Reset gives back the
// default. All are inputs.
//
//   "Reference temperature"   real, K, 100 to 1000, default 298.15: where the ideal gas has zero
//                             enthalpy and entropy
//   "Flash iterations"        integer, 10 to 10000, default 200: the most Rachford-Rice
//                             iterations of a TP flash
//   "Liquid density"          option "Rackett" (default) or "Constant" (the density at 20 degC),
//                             restricted to the list
//   "Normalise compositions"  boolean, default true: when false, a composition whose sum is not
//                             one is refused instead of scaled
#include "com/com_ptr.h"
#include "ideal/ideal_model.h"

#include <windows.h>
#include <ole2.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace samples::ideal {

// The package's parameter collection, "Parameters": Item by name (ignoring case) or by position
// from 1, and Count.
tarv::ComPtr<IDispatch> makeParameterCollection(std::shared_ptr<ModelSettings> settings);

// A real-valued input parameter of another component, its own spec like those above,
// reading and writing its value through `read` and `write`.
struct RealParameterDefinition {
    std::wstring name;
    std::wstring description;
    std::function<double()> read;
    std::function<void(double)> write;
    double defaultValue;
    double lower;
    double upper;
    std::wstring unit;
    std::vector<double> dimensionality;   // exponents of m, kg, s, A, K, mol, cd and rad
};

// A collection "Parameters" of such parameters, in the order given.
tarv::ComPtr<IDispatch> makeRealParameterCollection(std::wstring description,
                                                    std::vector<RealParameterDefinition> parameters);

// The settings of one package and the parameters that set them.
struct PackageParameters {
    std::shared_ptr<ModelSettings> settings = std::make_shared<ModelSettings>();
    tarv::ComPtr<IDispatch> collection = makeParameterCollection(settings);
};

} // namespace samples::ideal
