#pragma once
// Shared pieces of the thermo proxies' tests: kit materials of both generations and the proxies
// over them, and the checks a log records. The leak check and the calls described by the type
// library are the proxy tests' own (support/proxy_harness.h).
#include "kit/kit.h"
#include "support/log_capture.h"
#include "support/proxy_harness.h"
#include "thermo/material_object.h"
#include "thermo/material_template.h"
#include "thermo/simulation_context.h"

#include <string>
#include <vector>

namespace thermotest {

using kit::Object;
using tarv::ComPtr;
using testsupport::Call;
using testsupport::Method;
using testsupport::methodsOf;
using testsupport::NoLeaks;
using testsupport::Param;
using testsupport::serverLocks;
using testsupport::withoutAddresses;

// --- Kit objects and proxies ---------------------------------------------------------------------

// What a kit material exposes besides ICapeIdentification.
enum class Material {
    Full11,       // the six 1.1 interfaces
    Material11,   // ICapeThermoMaterial only
    Object10,     // ICapeThermoMaterialObject only
    Both,         // the six 1.1 interfaces and ICapeThermoMaterialObject
};
ComPtr<Object> makeMaterial(Material kind, const wchar_t* name = L"Stream");

tarv::CMaterialObject* materialOf(IUnknown* proxy);
tarv::CMaterialTemplate* templateOf(IUnknown* proxy);
tarv::CSimulationContext* contextOf(IUnknown* proxy);

// The three proxy classes as the table-driven tests see them.
struct ProxyClassInfo {
    const char* name;
    std::vector<IID> interfaces;                  // the interfaces whose methods it proxies
    ComPtr<Object> (*fullKit)(const wchar_t* name);
    // A proxy over `foreign` on `log`, owned by nobody; `version` matters for materials only.
    ComPtr<IDispatch> (*make)(IUnknown* foreign, tarv::CallLog* log, int version, int readOnly);
    // The proxy's own implementation of `iid`, reached without a query.
    IUnknown* (*facet)(IDispatch* proxy, REFIID iid);
};
const std::vector<ProxyClassInfo>& proxyClasses();

// A package in front of a kit object, made as the server's resolution makes it: the owner of the
// proxies made on its behalf.
using Package = testsupport::Exposed;
Package exposePackage11(Object* real, tarv::CallLog* log, const char* name = "Package");
Package exposePackage10(Object* real, tarv::CallLog* log, const char* name = "Package");

// --- Checks ---------------------------------------------------------------------------------------

// One log record as the check tokens see it.
struct Item {
    enum Kind { Func, EndFunc, Arg, Check } kind;
    std::string name;        // func: method; arg: argument name; check: the record's text
    std::string direction;   // arg: "in" or "out"
};
std::vector<Item> parseRecords(const std::string& records);

// The checks among some records as tokens: VER10 and VER11 for the wrong thermo version,
// NOTEXPOSED, other records in brackets.
std::string checksOf(const std::string& records);

// --- Calls described by the type library ---------------------------------------------------------

// A method of the thermo proxies' interfaces or of ICapeIdentification by its qualified name.
const Method& findMethod(const std::string& qualified);

} // namespace thermotest
