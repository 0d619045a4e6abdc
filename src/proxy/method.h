#pragma once
// The method proxy template: the fixed steps by which a call that enters a proxy is logged,
// checked, forwarded under the exception barrier and closed. Every proxied method of the server is
// one call of proxyCall() with a list of steps that say how that method differs: which arguments
// it logs in which order, what it checks, what it wraps.
//
//   1 open the record          beginFunc
//   2-4 in-arguments, checks    step.before()          (in the order the steps are listed)
//       (short cut)             step.instead()         (may answer without the foreign object)
//   5 get the interface        cached, else queried from the foreign object; refusals here
//   6 wrap / unwrap            step.prepare()
//   7 forward under the barrier
//       after the forward       step.afterForward()    (whatever the result)
//   8 out-arguments            step.after()           (success only)
//   9 close the record         endFunc(result, cached interface)
//       after the record        step.finish()
//
// before() and after() are log steps: they run only when the call is logged. The other hooks
// always run and test the log themselves where it matters.
//
// Everything a logged call does with what a component handed over - reading in-arguments for the
// log, forwarding, reading out-arguments, wrapping, asking objects for their names - runs under the
// barrier, the forward under a barrier of its own inside. A fault anywhere ends as the barrier's
// error record in this call's func and E_UNEXPECTED, and leaves nothing behind: the log is put
// back where the record opened (CallLog::recover), objects registered with UndoOnFault are
// undone, and each step may take back what it handed to the caller (step.onFault()). Steps keep
// what they make for the call in their own members, which live in the method's frame and so are
// cleaned up by their destructors whatever happened below.
#include "proxy/barrier.h"
#include "proxy/cape_open_base.h"

#include <concepts>
#include <optional>
#include <type_traits>

namespace tarv {

// Methods of objects that exist with or without a log test it at each step (Checked); methods of
// proxies that are only ever made with a log assume it (Assumed).
enum class LogMode { Checked, Assumed };

struct ProxyCall {
    CapeOpenBase& self;
    CallLog* log;                               // null when the call is not logged
    HRESULT result = S_OK;
    const CallLog::Mark* mark = nullptr;        // where the record opened; null when not logged
    std::optional<HRESULT> recorded{};          // the status the record closes with, if not `result`
    bool handedOver = false;                    // the foreign call succeeded: its out-arguments are the caller's
};

// A call of a foreign method (or of anything that runs foreign code) inside a proxied method,
// under a barrier of its own: a fault puts the log back where the record opened and becomes the
// barrier's record and E_UNEXPECTED.
template <class F>
HRESULT callForeign(ProxyCall& c, F&& call);

// Step of a method that the proxy serves itself, in place of the forward: `body` (taking the
// ProxyCall) returns the result, calling the foreign object through callForeign where it needs to.
template <class Body>
struct ServedHere {
    Body body;
    std::optional<HRESULT> instead(ProxyCall& c) { return body(c); }
};
template <class Body>
ServedHere(Body) -> ServedHere<Body>;

// Marker step: a foreign object without the method's interface makes the call succeed in silence.
struct SilentWhenMissing {};

namespace detail {

template <class S> concept HasBefore = requires(S& s, ProxyCall& c) { s.before(c); };
template <class S> concept HasInstead = requires(S& s, ProxyCall& c) { { s.instead(c) } -> std::same_as<std::optional<HRESULT>>; };
template <class S> concept HasPrepare = requires(S& s, ProxyCall& c) { s.prepare(c); };
template <class S> concept HasAfterForward = requires(S& s, ProxyCall& c) { s.afterForward(c); };
template <class S> concept HasAfter = requires(S& s, ProxyCall& c) { s.after(c); };
template <class S> concept HasFinish = requires(S& s, ProxyCall& c) { s.finish(c); };
template <class S> concept HasOnFault = requires(S& s, ProxyCall& c) { s.onFault(c); };

template <class S> void before(S& s, ProxyCall& c) { if constexpr (HasBefore<S>) s.before(c); }
template <class S> void prepare(S& s, ProxyCall& c) { if constexpr (HasPrepare<S>) s.prepare(c); }
template <class S> void afterForward(S& s, ProxyCall& c) { if constexpr (HasAfterForward<S>) s.afterForward(c); }
template <class S> void after(S& s, ProxyCall& c) { if constexpr (HasAfter<S>) s.after(c); }
template <class S> void finish(S& s, ProxyCall& c) { if constexpr (HasFinish<S>) s.finish(c); }
template <class S> void onFault(S& s, ProxyCall& c) { if constexpr (HasOnFault<S>) s.onFault(c); }
template <class S> bool instead(S& s, ProxyCall& c)
{
    if constexpr (HasInstead<S>) {
        if (auto r = s.instead(c)) { c.result = *r; return true; }
    }
    return false;
}

// Writes the barrier's error record; the call's result is then E_UNEXPECTED.
HRESULT barrierCaught(CallLog* log, const BarrierFault& fault);
// Refusals at step 5 close the record with S_OK although the method returns the failure.
HRESULT refuseNotCreated(CallLog* log);
HRESULT refuseNotExposed(CallLog* log, bool silently);

// Step 5: the method's interface, cached or asked of the foreign object. False (with the record
// closed and c.result set) when the call is refused.
template <class Interface>
bool obtainInterface(ProxyCall& c, ComPtr<Interface>& cached, bool silentWhenMissing)
{
    if (cached) return true;
    if (!c.self.wrapped()) {
        c.result = refuseNotCreated(c.log);
        return false;
    }
    if (FAILED(c.self.wrapped()->QueryInterface(__uuidof(Interface), cached.putVoid()))) {
        cached.reset();
        c.result = refuseNotExposed(c.log, silentWhenMissing);
        return false;
    }
    return true;
}

// Steps 6 and 7 and what follows the forward whatever its result. A fault of the foreign method
// puts the log back where the record opened before the barrier's record is written.
template <class Interface, class Forward, class... Steps>
void forwardCall(ProxyCall& c, ComPtr<Interface>& cached, Forward& forward, Steps&... steps)
{
    (detail::prepare(steps, c), ...);
    Interface* target = cached.get();
    c.result = callForeign(c, [&]() -> HRESULT { return forward(target); });
    c.handedOver = SUCCEEDED(c.result);
    (detail::afterForward(steps, c), ...);
}

} // namespace detail

template <class F>
HRESULT callForeign(ProxyCall& c, F&& call)
{
    BarrierFault fault;
    const HRESULT result = guardedCall(call, fault);
    if (!fault) return result;
    if (c.mark) c.log->recover(*c.mark);
    return detail::barrierCaught(c.log, fault);
}

// Each instance serves one proxied method, so it is inlined into it.
template <LogMode Mode, class Interface, class Forward, class... Steps>
[[gnu::always_inline]] inline HRESULT proxyCall(CapeOpenBase& self, const char* method, ComPtr<Interface>& cached,
                                                Forward&& forward, Steps&&... steps)
{
    constexpr bool silent = (std::is_same_v<std::decay_t<Steps>, SilentWhenMissing> || ...);
    CallLog* log = self.log();
    if (Mode == LogMode::Checked && !log) {
        // Without a log only the forward touches what the component hands over.
        ProxyCall call{self, nullptr};
        if (!(detail::instead(steps, call) || ...)) {
            if (!detail::obtainInterface(call, cached, silent)) return call.result;
            detail::forwardCall(call, cached, forward, steps...);
        }
        (detail::finish(steps, call), ...);
        return call.result;
    }

    ProxyCall call{self, log};
    log->beginFunc(self.isInput(), method, self.name().c_str());
    const CallLog::Mark mark = log->mark();
    call.mark = &mark;
    bool refused = false;
    bool closed = false;
    BarrierFault fault;
    guardedCall([&]() -> HRESULT {
        (detail::before(steps, call), ...);
        if (!(detail::instead(steps, call) || ...)) {
            if (!detail::obtainInterface(call, cached, silent)) {
                refused = closed = true;
                return S_OK;
            }
            detail::forwardCall(call, cached, forward, steps...);
        }
        if (SUCCEEDED(call.result)) (detail::after(steps, call), ...);
        log->endFunc(call.recorded.value_or(call.result), cached.get());
        closed = true;
        return S_OK;
    }, fault);
    if (fault) {
        // Both touch what the component handed over (its arrays, its objects' Release).
        BarrierFault ignored;
        guardedCall([&]() -> HRESULT { log->recover(mark); return S_OK; }, ignored);
        guardedCall([&]() -> HRESULT { (detail::onFault(steps, call), ...); return S_OK; }, ignored);
        call.result = detail::barrierCaught(log, fault);
        if (!closed) log->endFunc(call.result, cached.get());
    }
    if (refused) return call.result;
    (detail::finish(steps, call), ...);
    return call.result;
}

// Expected types of array arguments.
namespace expect {
constexpr VARTYPE strings = VT_ARRAY | VT_BSTR;
constexpr VARTYPE doubles = VT_ARRAY | VT_R8;
constexpr VARTYPE longs = VT_ARRAY | VT_I4;
constexpr VARTYPE bools = VT_ARRAY | VT_BOOL;
constexpr VARTYPE dispatches = VT_ARRAY | VT_DISPATCH;
constexpr VARTYPE variants = VT_ARRAY | VT_VARIANT;
constexpr VARTYPE any = CallLog::anyType;
constexpr int mayBeEmpty = 1;
} // namespace expect

// --- Steps: in-arguments (logged with direction "in") ------------------------------------------

// An in-argument logged by one of the log's argument operations.
template <class T, void (CallLog::*Log)(const char*, int, T)>
struct InArg {
    const char* name;
    T value;
    void before(ProxyCall& c) const { (c.log->*Log)(name, 1, value); }
};

using InString = InArg<BSTR, &CallLog::argString>;
using InDouble = InArg<double, &CallLog::argDouble>;
using InLong = InArg<LONG, &CallLog::argLong>;
using InVariantBool = InArg<VARIANT_BOOL, &CallLog::argVariantBool>;
using InBool = InArg<BOOL, &CallLog::argBool>;
using InInterface = InArg<IUnknown*, &CallLog::argInterface>;
using InInterfacePointer = InArg<IUnknown*, &CallLog::argInterfacePointer>;
using InCalculationFlags = InArg<int, &CallLog::argCalculationFlags>;
using InParamMode = InArg<CapeParamMode, &CallLog::argParamMode>;
using InPortDirection = InArg<CapePortDirection, &CallLog::argPortDirection>;

// A VARIANT argument against its expected type; `direction` 0 shows an in-argument as "out".
template <int Direction>
struct InVariantArg {
    const char* name;
    const VARIANT& value;
    VARTYPE expected = CallLog::anyType;
    int emptyAllowed = 0;
    void before(ProxyCall& c) const { c.log->argVariant(name, Direction, value, expected, emptyAllowed); }
};

using InVariant = InVariantArg<1>;
// An in-argument that the log shows with direction "out".
using InVariantShownAsOut = InVariantArg<0>;

// --- Steps: checks --------------------------------------------------------------------------------

// A changing method on an object that its caller holds as read-only: reported, not refused.
struct ReadOnlyCheck {
    void before(ProxyCall& c) const;
};

// A fixed error record, written every time (deprecated methods and the like).
struct ErrorRecord {
    const char* text;
    void before(ProxyCall& c) const { c.log->writeError(text); }
};

// An error record for a null interface argument, written once the method's interface is in hand;
// the null is forwarded all the same.
struct ErrorWhenNull {
    const void* value;
    const char* text;
    void prepare(ProxyCall& c) const
    {
        if (c.log && !value) c.log->writeError(text);
    }
};

// An in-argument step run once the method's interface is in hand instead of before: a refused
// call shows no record of it.
template <class Arg>
struct AfterFetch {
    Arg arg;
    void prepare(ProxyCall& c) const
    {
        if (c.log) arg.before(c);
    }
};

// --- Steps: out-arguments (logged with direction "out", after success) ---------------------------

// What a successful foreign call put in an out-argument, taken back after a fault later in the
// call: the caller's location is emptied first, then the value is freed under a barrier of its
// own, since freeing touches what the component handed over (which may be what faulted).
template <class T>
void discardOut(ProxyCall& c, T* value)
{
    if constexpr (std::is_same_v<T, VARIANT> || std::is_same_v<T, BSTR> || std::is_same_v<T, IDispatch*>) {
        if (!c.handedOver) return;
        T taken = *value;
        BarrierFault ignored;
        if constexpr (std::is_same_v<T, VARIANT>) {
            VariantInit(value);
            guardedCall([&]() -> HRESULT { return VariantClear(&taken); }, ignored);
        } else if constexpr (std::is_same_v<T, BSTR>) {
            *value = nullptr;
            SysFreeString(taken);
        } else {
            *value = nullptr;
            if (taken) guardedCall([&]() -> HRESULT { taken->Release(); return S_OK; }, ignored);
        }
    }
}

// An out-argument logged by one of the log's argument operations, read where the foreign object
// wrote it.
template <class T, void (CallLog::*Log)(const char*, int, T)>
struct OutArg {
    const char* name;
    T* value;
    void after(ProxyCall& c) const { (c.log->*Log)(name, 0, *value); }
    void onFault(ProxyCall& c) const { discardOut(c, value); }
};

using OutString = OutArg<BSTR, &CallLog::argString>;
using OutDouble = OutArg<double, &CallLog::argDouble>;
using OutLong = OutArg<LONG, &CallLog::argLong>;
using OutShort = OutArg<short, &CallLog::argShort>;
using OutVariantBool = OutArg<VARIANT_BOOL, &CallLog::argVariantBool>;
using OutValidationStatus = OutArg<CapeValidationStatus, &CallLog::argValidationStatus>;
using OutPortType = OutArg<CapePortType, &CallLog::argPortType>;
using OutPortDirection = OutArg<CapePortDirection, &CallLog::argPortDirection>;
using OutReactionType = OutArg<CapeReactionType, &CallLog::argReactionType>;
using OutReactionRateBasis = OutArg<CapeReactionRateBasis, &CallLog::argReactionRateBasis>;
using OutParamMode = OutArg<CapeParamMode, &CallLog::argParamMode>;
using OutParamType = OutArg<CapeParamType, &CallLog::argParamType>;

struct OutVariant {
    const char* name;
    VARIANT* value;
    VARTYPE expected = CallLog::anyType;
    int emptyAllowed = 0;
    void after(ProxyCall& c) const { c.log->argVariant(name, 0, *value, expected, emptyAllowed); }
    void onFault(ProxyCall& c) const { discardOut(c, value); }
};

// An interface result, shown with the name of its object.
struct OutInterface {
    const char* name;
    IDispatch** value;
    void after(ProxyCall& c) const { c.log->argInterface(name, 0, *value); }
    void onFault(ProxyCall& c) const { discardOut(c, value); }
};

} // namespace tarv

namespace tarv {

// A logged method that the proxy serves itself rather than forwarding it to one interface: the
// record, its in-argument and check steps, and the barrier and recovery of the template, around
// `body` (see ServedHere). The record closes with a null interface.
template <LogMode Mode, class Body, class... Steps>
HRESULT servedCall(CapeOpenBase& self, const char* method, Body&& body, Steps&&... steps)
{
    ComPtr<IUnknown> none;
    return proxyCall<Mode>(self, method, none, [](IUnknown*) { return E_UNEXPECTED; }, std::forward<Steps>(steps)...,
                           ServedHere{std::forward<Body>(body)});
}

} // namespace tarv
