#pragma once
// What the tests of proxy classes share: a leak check over kit objects and the server's lock
// count, an exposed object as the owner of the proxies under test, log records without addresses,
// and calls of any method as the registered CAPE-OPEN type library describes it, through the
// vtable or by name.
#include "com/com_ptr.h"
#include "kit/kit.h"
#include "log/call_log.h"
#include "proxy/exposed_object_base.h"
#include "support/process.h"

#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace testsupport {

// Checks at scope exit that the given kit objects are back to the reference counts they had when
// it was made, and that every proxy made meanwhile is gone. Make it after the kit objects (and
// their scripts) and before any proxy.
class NoLeaks {
public:
    NoLeaks(std::initializer_list<kit::Object*> objects);
    ~NoLeaks();
    NoLeaks(const NoLeaks&) = delete;
    NoLeaks& operator=(const NoLeaks&) = delete;

private:
    std::vector<std::pair<tarv::ComPtr<kit::Object>, ULONG>> baseline_;
    ULONG locks_;
};

// An exposed object of class C in front of a kit object, made as the server's resolution makes
// it: the owner of the proxies made on its behalf. A null log makes it unlogged.
struct Exposed {
    tarv::ComPtr<IDispatch> dispatch;
    tarv::ExposedObjectBase* exposed;
};
template <class C>
Exposed expose(kit::Object* real, tarv::CallLog* log, const char* name)
{
    C* exposed = new C();
    exposed->attachObject(tarv::ComPtr<IUnknown>(real).detach());
    if (log) exposed->attachLog(log, name);
    Exposed result{{}, exposed};
    exposed->QueryInterface(IID_IDispatch, result.dispatch.putVoid());
    return result;
}

// The foreign object behind one of the server's proxies (its reference goes at once: the kit
// object outlives the check); null for anything else.
IUnknown* originalOf(IUnknown* proxy);

// The records with the addresses of logged interfaces taken out.
std::string withoutAddresses(std::string records);

struct Param {
    VARTYPE vt;        // VT_BSTR, VT_R8, VT_INT, VT_VARIANT, VT_BOOL, VT_I4 (also enumerations), VT_DISPATCH
    bool byRef;        // passed as a pointer
    bool out;
    bool retval;
};

struct Method {
    IID iid;
    std::string qualified;   // "Interface::Method" as logs and kit calls name it (get_X, put_X for properties)
    std::wstring dispName;   // the name GetIDsOfNames knows
    INVOKEKIND kind;
    SHORT vtableOffset;
    std::vector<Param> params;
};

// The methods of one interface of the registered CAPE-OPEN 1.1 library, in slot order.
std::vector<Method> methodsOf(REFIID iid);

// A call's arguments, differing by position n: strings "P<n>", numbers n + 0.5, VARIANTs a string
// array {"a<n>", "b"}, longs and enumerations 15, booleans true, interfaces null; outs start empty.
class Call {
public:
    explicit Call(const Method& method);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // Through the vtable slot of `facet` (DispCallFunc), or by name through `facet`'s IDispatch.
    HRESULT byVtable(IUnknown* facet);
    HRESULT byName(IDispatch* facet);

    struct Slot {
        Param param;
        VARIANT value{};        // by-value in-arguments
        VARIANT out{};          // the storage of out-arguments other than VARIANTs
        VARIANT outVariant{};
        void* storage();
    };

private:
    const Method& method_;
    std::vector<Slot> slots_;
};

// A proxy class as the both-ways test sees it.
struct ProxiedInterfaces {
    const char* name;                  // for the printed count
    std::vector<IID> interfaces;       // the interfaces whose methods it proxies
    std::function<tarv::ComPtr<kit::Object>()> kit;   // a fresh foreign object offering all of them
    std::function<tarv::ComPtr<IDispatch>(IUnknown* foreign, tarv::CallLog* log)> proxy;
    // Methods whose records carry another name than "Interface::Method" of the library.
    std::map<std::string, std::string> loggedAs = {};
    // For classes whose destruction keeps the foreign references: what their owner's final
    // release does before the test lets the proxy go.
    std::function<void(IDispatch* proxy)> beforeRelease = {};
};

// Every method of each class's interfaces is called through its vtable on one proxy and by name
// on a second, each over a fresh kit object: both ways must return the same, log the same records
// (addresses aside), reach the kit object the same way and once, and leak nothing. Prints the
// count per class and in all, and returns the count.
int checkEveryMethodBothWays(const std::vector<ProxiedInterfaces>& classes);

} // namespace testsupport
