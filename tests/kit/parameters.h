#pragma once
// Scripted parameters of every kind, for the tests of the parameter proxies: specs of
// each CapeParamType (an array one with its items), parameters over them, and collections of
// parameters. Each object also has ICapeIdentification; scripts hold what they answer.
#include "kit/kit.h"

#include <vector>

namespace kit {

// A spec of `type`: ICapeParameterSpec, whose get_Type answers `type`, and the
// interface of that type. An array spec answers no items until given some.
tarv::ComPtr<Object> makeSpec(CapeParamType type, std::wstring name = L"Spec");

// Scripts an array spec with items: get_ItemsSpecifications answers a new array of
// `sizes` (one entry per dimension, lower bounds 0) of the items' ICapeParameterSpec, filled
// first index fastest, a null item as a null element; get_NumDimensions and get_Size answer the
// shape.
void giveItems(Object& arraySpec, std::vector<tarv::ComPtr<Object>> items, std::vector<LONG> sizes);

// A parameter whose get_Specification answers `spec` and get_Mode `mode`, and which holds a value:
// get_value answers what put_value last stored, `value` at first.
tarv::ComPtr<Object> makeParameter(tarv::ComPtr<Object> spec, CapeParamMode mode = CAPE_INPUT,
                                   std::wstring name = L"Parameter", tarv::Variant value = {});

// A collection whose Item answers items[id - 1] for a numeric id (a null item for a null entry)
// and whose Count answers their number.
tarv::ComPtr<Object> makeCollection(std::vector<tarv::ComPtr<Object>> items, std::wstring name = L"Parameters");

} // namespace kit
