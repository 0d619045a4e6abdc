#include "kit/units.h"

#include <iterator>
#include <utility>

namespace kit {
namespace {

template <size_t N>
HRESULT createUnit(REFIID iid, void** out)
{
    const UnitVariant& v = kUnitVariants[N];
    return samples::unit::createFlashDrum(iid, out, v.clsid, v.name, v.behaviour);
}

template <size_t... N>
void appendRows(std::vector<ClassRow>& rows, std::index_sequence<N...>)
{
    const GUID component = CATID_CapeOpenComponent;
    (rows.push_back({kUnitVariants[N].clsid, kUnitVariants[N].progId, kUnitVariants[N].name, L"Apartment",
                     {component, CATID_CapeUnitOperation}, &createUnit<N>,
                     {kUnitVariants[N].name, kUnitVariants[N].description, L"1.0", L"1.0", L"http://tarv.invalid/kit",
                      L"Test components of TARV64; not for production use"}}),
     ...);
}

} // namespace

std::vector<ClassRow> withUnitRows(std::vector<ClassRow> rows)
{
    appendRows(rows, std::make_index_sequence<std::size(kUnitVariants)>());
    return rows;
}

} // namespace kit
