#include "ideal/compounds.h"

#include <windows.h>

namespace samples::ideal {

// Constants and correlations of common handbook tables: Antoine constants for mmHg and degC
// (each gives 760 mmHg within 0.1 K of the normal boiling point), ideal-gas Cp polynomials
// (J/(mol K), about 280-1000 K), liquid densities at 20 degC.
const std::vector<Compound>& compoundDatabase()
{
    static const std::vector<Compound> compounds{
        {L"n-Pentane", L"pentane", L"C5H12", L"109-66-0", 72.151, 309.22, 469.7, 33.70e5, 0.252, 626.2,
         {6.87632, 1075.780, 233.205}, {-3.626, 4.873e-1, -2.580e-4, 5.305e-8}},
        {L"n-Hexane", L"hexane", L"C6H14", L"110-54-3", 86.178, 341.88, 507.6, 30.25e5, 0.301, 659.4,
         {6.87601, 1171.170, 224.410}, {-4.413, 5.820e-1, -3.119e-4, 6.494e-8}},
        {L"n-Heptane", L"heptane", L"C7H16", L"142-82-5", 100.205, 371.58, 540.2, 27.40e5, 0.350, 683.8,
         {6.89677, 1264.900, 216.540}, {-5.146, 6.762e-1, -3.651e-4, 7.658e-8}},
        {L"Benzene", L"benzene", L"C6H6", L"71-43-2", 78.114, 353.24, 562.05, 48.95e5, 0.210, 876.5,
         {6.90565, 1211.033, 220.790}, {-33.92, 4.739e-1, -3.017e-4, 7.130e-8}},
        {L"Toluene", L"methylbenzene", L"C7H8", L"108-88-3", 92.141, 383.79, 591.75, 41.08e5, 0.264, 866.9,
         {6.95464, 1344.800, 219.482}, {-24.35, 5.125e-1, -2.765e-4, 4.911e-8}},
        {L"o-Xylene", L"1,2-dimethylbenzene", L"C8H10", L"95-47-6", 106.167, 417.59, 630.3, 37.32e5, 0.312, 880.2,
         {6.99891, 1474.679, 213.686}, {-15.85, 5.962e-1, -3.443e-4, 7.528e-8}},
    };
    return compounds;
}

const Compound* findCompound(std::wstring_view id)
{
    for (const Compound& c : compoundDatabase())
        if (CompareStringOrdinal(c.id, -1, id.data(), static_cast<int>(id.size()), TRUE) == CSTR_EQUAL) return &c;
    return nullptr;
}

} // namespace samples::ideal
