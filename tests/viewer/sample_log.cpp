#include "viewer/sample_log.h"
#include "capeopen.h"
#include "com/bstr.h"
#include "com/variant.h"
#include "log/call_log.h"

#include <share.h>
#include <vector>

namespace viewertest {
namespace {

using tarv::Bstr;
using tarv::CallLog;

void round(CallLog& log, int n, const VARIANT& compounds, const VARIANT& values)
{
    log.queryInterface("Ideal Alkanes", IID_ICapeThermoMaterial, E_NOINTERFACE);
    log.beginFunc(1, "ICapeThermoPropertyRoutine::CalcSinglePhaseProp", "Ideal Alkanes");
    log.argVariant("props", 1, compounds, VT_ARRAY | VT_BSTR, 0);
    log.argString("phaseLabel", 1, Bstr(L"Vapor").get());
    log.beginFunc(0, "ICapeThermoMaterial::GetOverallProp", "Stream 1");
    log.argString("property", 1, Bstr(L"temperature").get());
    log.argString("basis", 1, nullptr);
    log.argVariant("results", 0, values, VT_ARRAY | VT_R8, 0);
    log.endFunc(S_OK, nullptr);
    log.beginFunc(0, "ICapeThermoMaterial::SetSinglePhaseProp", "Stream 1");
    log.argString("property", 1, Bstr(L"enthalpy").get());
    log.argString("phaseLabel", 1, Bstr(L"").get());
    log.writeWarning("ICapeThermoMaterial::SetSinglePhaseProp: empty phase label");
    log.argVariant("values", 1, values, VT_ARRAY | VT_R8, 0);
    log.endFunc(S_OK, nullptr);
    log.argDouble("temperature", 0, 300.0 + n % 50);
    log.endFunc(S_OK, nullptr);
    log.beginFunc(1, "ICapeThermoPropertyRoutine::CalcAndGetLnPhi", "Ideal Alkanes");
    log.argString("phaseLabel", 1, Bstr(L"Liquid").get());
    log.argDouble("temperature", 1, 330.0);
    log.writeWarning("ICapeThermoPropertyRoutine::CalcAndGetLnPhi: QueryInterface not returning supported interface");
    log.endFunc(0x80040509, nullptr);   // ECapeNoImplHR
}

} // namespace

void writeSampleLog(const std::string& path, int rounds, int arraySize)
{
    std::vector<std::wstring> names;
    std::vector<double> numbers;
    for (int i = 0; i < arraySize; ++i) {
        names.push_back(L"compound " + std::to_wstring(i + 1));
        numbers.push_back(101325.0 + 1.0 / (i + 3) * 17.0);
    }
    tarv::Variant compounds = tarv::makeStringArray(names);
    tarv::Variant values = tarv::makeDoubleArray(numbers);
    CallLog* log = CallLog::open(_fsopen(path.c_str(), "w", _SH_DENYWR), "Ideal Alkanes",
                                 "CAPE-OPEN version 1.1 Physical Property Package", path.c_str());
    for (int n = 0; n < rounds; ++n) round(*log, n, compounds.get(), values.get());
    log->destroy();
}

} // namespace viewertest
