#pragma once
// Scripted parameters for the tests of the parameter proxies: specs of each CapeParamType,
// parameters over them, and collections of parameters, each with ICapeIdentification.
#include "kit/kit.h"

#include <vector>

namespace kit {

// A spec of `type`: ICapeParameterSpec answering `type`, and the interface of that type.
tarv::ComPtr<Object> makeSpec(CapeParamType type, std::wstring name = L"Spec");

// Gives an array spec items: an array of `sizes` (per dimension, lower bounds 0), first index
// fastest, a null item as a null element; NumDimensions and Size answer the shape.
void giveItems(Object& arraySpec, std::vector<tarv::ComPtr<Object>> items, std::vector<LONG> sizes);

// A parameter over `spec` in `mode` that holds a value: get_value answers what put_value stored last.
tarv::ComPtr<Object> makeParameter(tarv::ComPtr<Object> spec, CapeParamMode mode = CAPE_INPUT,
                                   std::wstring name = L"Parameter", tarv::Variant value = {});

// A collection whose Item answers items[id - 1] for a numeric id, and Count their number.
tarv::ComPtr<Object> makeCollection(std::vector<tarv::ComPtr<Object>> items, std::wstring name = L"Parameters");

} // namespace kit
