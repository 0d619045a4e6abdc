#pragma once
// Shared pieces of the thermo proxies' tests: kit materials of both generations and the proxies
// over them, a leak check, the checks a log records, and calls of any method as the registered
// CAPE-OPEN type library describes it, through the vtable or by name.
#include "kit/kit.h"
#include "support/log_capture.h"
#include "thermo/material_object.h"
#include "thermo/material_template.h"
#include "thermo/simulation_context.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace thermotest {

using kit::Object;
using tarv::ComPtr;

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

// The server's lock count (every proxy holds one).
ULONG serverLocks();

// Checks at scope exit that the given kit objects are back to the reference counts they had when
// it was made, and that every proxy made meanwhile is gone. Make it after the kit objects (and
// their scripts) and before any proxy.
class NoLeaks {
public:
    NoLeaks(std::initializer_list<Object*> objects);
    ~NoLeaks();
    NoLeaks(const NoLeaks&) = delete;
    NoLeaks& operator=(const NoLeaks&) = delete;

private:
    std::vector<std::pair<ComPtr<Object>, ULONG>> baseline_;
    ULONG locks_;
};

// A package in front of a kit object, made as the server's resolution makes it: the owner of the
// proxies made on its behalf.
struct Package {
    ComPtr<IDispatch> dispatch;
    tarv::ExposedObjectBase* exposed;
};
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
// The records with the addresses of logged interfaces taken out.
std::string withoutAddresses(std::string records);

// --- Calls described by the type library ---------------------------------------------------------

struct Param {
    VARTYPE vt;        // VT_BSTR, VT_R8, VT_INT, VT_VARIANT, VT_BOOL, VT_I4, VT_DISPATCH
    bool byRef;        // passed as a pointer
    bool out;
    bool retval;
};

struct Method {
    IID iid;
    std::string qualified;   // "Interface::Method" as logs and kit calls name it (get_X for properties)
    std::wstring dispName;   // the name GetIDsOfNames knows
    INVOKEKIND kind;
    SHORT vtableOffset;
    std::vector<Param> params;
};

// The methods of one interface of the registered CAPE-OPEN 1.1 library, in slot order.
std::vector<Method> methodsOf(REFIID iid);
const Method& findMethod(const std::string& qualified);

// The arguments of a call: strings "P<n>", numbers n + 0.5, VARIANTs a string array {"a<n>", "b"},
// n the position, flags 15; out-arguments start empty (null, zero, VT_EMPTY).
class Call {
public:
    explicit Call(const Method& method);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // Through the vtable slot of `facet` (DispCallFunc), or by name through `facet`'s IDispatch.
    HRESULT byVtable(IUnknown* facet);
    HRESULT byName(IDispatch* facet);

private:
    struct Slot {
        Param param;
        VARIANT value{};   // by-value in-arguments
        VARIANT outVariant{};
        BSTR outString = nullptr;
        LONG outLong = 0;
        VARIANT_BOOL outBool = VARIANT_FALSE;
        double outDouble = 0;
        IDispatch* outDispatch = nullptr;
        void* storage();
    };
    const Method& method_;
    std::vector<Slot> slots_;
};

} // namespace thermotest
