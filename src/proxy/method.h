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
    CallLog* log;              // null when the call is not logged
    HRESULT result = S_OK;
};

// Marker step: a foreign object without the method's interface makes the call succeed in silence.
struct SilentWhenMissing {};

namespace detail {

template <class S> concept HasBefore = requires(S& s, ProxyCall& c) { s.before(c); };
template <class S> concept HasInstead = requires(S& s, ProxyCall& c) { { s.instead(c) } -> std::same_as<std::optional<HRESULT>>; };
template <class S> concept HasPrepare = requires(S& s, ProxyCall& c) { s.prepare(c); };
template <class S> concept HasAfterForward = requires(S& s, ProxyCall& c) { s.afterForward(c); };
template <class S> concept HasAfter = requires(S& s, ProxyCall& c) { s.after(c); };
template <class S> concept HasFinish = requires(S& s, ProxyCall& c) { s.finish(c); };

template <class S> void before(S& s, ProxyCall& c) { if constexpr (HasBefore<S>) s.before(c); }
template <class S> void prepare(S& s, ProxyCall& c) { if constexpr (HasPrepare<S>) s.prepare(c); }
template <class S> void afterForward(S& s, ProxyCall& c) { if constexpr (HasAfterForward<S>) s.afterForward(c); }
template <class S> void after(S& s, ProxyCall& c) { if constexpr (HasAfter<S>) s.after(c); }
template <class S> void finish(S& s, ProxyCall& c) { if constexpr (HasFinish<S>) s.finish(c); }
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

} // namespace detail

// Each instance serves one proxied method, so it is inlined into it: a proxied call costs one
// frame of its own besides the barrier's.
template <LogMode Mode, class Interface, class Forward, class... Steps>
[[gnu::always_inline]] inline HRESULT proxyCall(CapeOpenBase& self, const char* method, ComPtr<Interface>& cached,
                                                Forward&& forward, Steps&&... steps)
{
    CallLog* log = self.log();
    const bool logged = Mode == LogMode::Assumed || log != nullptr;
    ProxyCall call{self, logged ? log : nullptr};

    if (logged) log->beginFunc(self.isInput(), method, self.name().c_str());
    if (logged) (detail::before(steps, call), ...);

    bool answered = (detail::instead(steps, call) || ...);
    if (!answered) {
        if (!cached) {
            if (!self.wrapped()) return detail::refuseNotCreated(log);
            if (FAILED(self.wrapped()->QueryInterface(__uuidof(Interface), cached.putVoid()))) {
                cached.reset();
                constexpr bool silent = (std::is_same_v<std::decay_t<Steps>, SilentWhenMissing> || ...);
                return detail::refuseNotExposed(log, silent);
            }
        }
        (detail::prepare(steps, call), ...);
        Interface* target = cached.get();
        BarrierFault fault;
        call.result = guardedCall([&]() -> HRESULT { return forward(target); }, fault);
        if (fault) call.result = detail::barrierCaught(log, fault);
        (detail::afterForward(steps, call), ...);
    }
    if (logged && SUCCEEDED(call.result)) (detail::after(steps, call), ...);
    if (logged) log->endFunc(call.result, cached.get());
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

// --- Steps: out-arguments (logged with direction "out", after success) ---------------------------

// An out-argument logged by one of the log's argument operations, read where the foreign object
// wrote it.
template <class T, void (CallLog::*Log)(const char*, int, T)>
struct OutArg {
    const char* name;
    T* value;
    void after(ProxyCall& c) const { (c.log->*Log)(name, 0, *value); }
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
};

// An interface result, shown with the name of its object.
struct OutInterface {
    const char* name;
    IDispatch** value;
    void after(ProxyCall& c) const { c.log->argInterface(name, 0, *value); }
};

} // namespace tarv
