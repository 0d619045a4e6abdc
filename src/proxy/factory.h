#pragma once
// Making proxies. A proxy is made only where a call log exists, afresh at every crossing of an
// interface pointer: there is no map from foreign objects to proxies.
#include "proxy/exposed_object_base.h"
#include "proxy/method.h"

namespace tarv {

// A proxy whose making was cut short by a fault, with no reference handed out yet.
inline void destroyUnfinishedProxy(CapeOpenBase* proxy)
{
    proxy->addRefImpl();
    proxy->releaseImpl();
}

template <class C>
void noFurtherStep(C&)
{}

// The factory steps shared by all proxy factories. `configure` sets the class's own values
// (material version, direction) before the foreign object is attached; `complete` is a class's
// own last step on the finished proxy, which may call the foreign object. Returns the proxy's
// IDispatch with the one reference that passes to the caller.
template <class C, class Configure, class Complete = void (*)(C&)>
ComPtr<IDispatch> createProxy(IUnknown* foreign, CallLog* log, ExposedObjectBase* owner, int readOnly,
                              Configure&& configure, Complete complete = &noFurtherStep<C>)
{
    C* proxy = new C();
    // Asking the foreign object for its name may fault; the unfinished proxy then goes again,
    // with the foreign reference and the server lock it holds.
    UndoOnFault undo([](void* made) { destroyUnfinishedProxy(static_cast<C*>(made)); }, proxy);
    configure(*proxy);
    proxy->attachObject(ComPtr<IUnknown>(foreign).detach());
    proxy->attachLog(log, nullptr);
    proxy->setOwner(owner);
    proxy->setReadOnly(readOnly);
    if (owner) owner->addChild(proxy);
    complete(*proxy);
    ComPtr<IDispatch> result;
    proxy->QueryInterface(IID_IDispatch, result.putVoid());
    return result;
}

// Factories of proxies that the exposed objects make but whose classes live in other subsystems;
// each subsystem installs its own when it is set up.
struct ProxyFactories {
    ComPtr<IDispatch> (*simulationContext)(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner,
                                           int readOnly) = nullptr;
    ComPtr<IDispatch> (*parameterCollection)(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner,
                                             int isInput, int readOnly) = nullptr;
};

ProxyFactories& proxyFactories();

// A proxy handed to the caller's out-argument during a call; a fault later in the call takes it
// back, so that the failed call leaves the caller nothing to release.
struct HandedOut {
    IDispatch** location = nullptr;
    IDispatch* proxy = nullptr;

    IDispatch* hand(IDispatch** out, ComPtr<IDispatch> made)
    {
        location = out;
        proxy = made.detach();
        return proxy;
    }
    void takeBack()
    {
        if (!proxy) return;
        if (*location == proxy) *location = nullptr;
        ComPtr<IDispatch>::attach(proxy).reset();
        proxy = nullptr;
    }
};

// What the record of a wrapped out-argument shows: what the caller receives (the proxy), or the
// foreign object's own pointer, logged before it is wrapped.
enum class ResultShown { Received, Foreign };

// Step of a method whose foreign call returns an interface: the call fills a local (slot()), and
// after a success a non-null result reaches the caller as a proxy made by `make`, the foreign
// reference going with the local; a null result gives null. The out-argument is logged as the
// caller receives it, or as the foreign object gave it. After a failure the caller's location is
// set to null, or left alone. Without a log no proxy is made: the caller gets the foreign result
// as it came.
template <class Make>
struct WrapResult {
    const char* name;
    IDispatch** out;
    Make make;
    bool nullOnFailure = true;
    ResultShown shown = ResultShown::Received;
    ComPtr<IDispatch> local{};
    HandedOut handed{};

    IDispatch** slot() { return local.put(); }
    void afterForward(ProxyCall& c)
    {
        if (!c.log) {
            *out = local.detach();
            return;
        }
        if (FAILED(c.result)) {
            if (nullOnFailure) *out = nullptr;
            return;
        }
        if (shown == ResultShown::Received) wrap();
    }
    void after(ProxyCall& c)
    {
        if (shown == ResultShown::Received) {
            c.log->argInterface(name, 0, *out);
            return;
        }
        c.log->argInterface(name, 0, local.get());
        wrap();
    }
    void onFault(ProxyCall&) { handed.takeBack(); }

private:
    void wrap()
    {
        *out = local ? handed.hand(out, make(local.get())) : nullptr;
        local.reset();
    }
};

template <class Make>
WrapResult(const char*, IDispatch**, Make, bool = true, ResultShown = ResultShown::Received) -> WrapResult<Make>;

} // namespace tarv
