#include "proxy/exposed_object_base.h"

#include "proxy/factory.h"
#include "proxy/method.h"

#include <algorithm>

namespace tarv {

ProxyFactories& proxyFactories()
{
    static ProxyFactories factories;
    return factories;
}

namespace {

// Edit: the read-only complaint follows the forward, and a successful edit may have renamed the
// component in its own window, so the name is read again for the records that follow.
struct AfterEdit {
    void afterForward(ProxyCall& c) const
    {
        if (!c.log) return;
        if (c.self.readOnly()) c.log->writeError("This object should be considered read-only");
        if (FAILED(c.result)) return;
        std::string fetched;
        if (fetchComponentName(c.self.wrapped(), &fetched)) c.self.setName(std::move(fetched));
    }
};

// put_simulationContext: with a log, the foreign object gets a proxy of the simulator's context;
// the server's own reference to it goes once the record is closed.
struct WrapContext {
    IDispatch* context;
    ExposedObjectBase* owner;
    ComPtr<IDispatch> proxy;

    IDispatch* forwarded() const { return proxy ? proxy.get() : context; }
    void prepare(ProxyCall& c)
    {
        if (c.log && context && proxyFactories().simulationContext)
            proxy = proxyFactories().simulationContext(context, c.log, owner, 0);
    }
    void finish(ProxyCall&) { proxy.reset(); }
};

// get_parameters: the foreign collection comes back through a proxy when there is a log.
struct WrapParameters {
    IDispatch** parameters;
    ExposedObjectBase* owner;
    ComPtr<IDispatch> local;
    HandedOut handed{};

    void afterForward(ProxyCall& c)
    {
        if (!c.log) {
            *parameters = local.detach();
            return;
        }
        if (FAILED(c.result)) {
            *parameters = nullptr;
            return;
        }
        if (!local) return;
        auto factory = proxyFactories().parameterCollection;
        *parameters = handed.hand(parameters, factory ? factory(local.get(), c.log, owner, 1, 0) : std::move(local));
        local.reset();
    }
    void after(ProxyCall& c) const { c.log->argInterface("parameters", 0, *parameters); }
    void onFault(ProxyCall&) { handed.takeBack(); }
};

} // namespace

HRESULT ExposedObjectBase::Initialize()
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUtilities::Initialize", utilities_,
        [](ICapeUtilities* u) { return u->Initialize(); }, SilentWhenMissing{});
}

HRESULT ExposedObjectBase::Terminate()
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUtilities::Terminate", utilities_,
        [](ICapeUtilities* u) { return u->Terminate(); }, SilentWhenMissing{});
}

HRESULT ExposedObjectBase::Edit()
{
    return proxyCall<LogMode::Checked>(*this, "ICapeUtilities::Edit", utilities_,
        [](ICapeUtilities* u) { return u->Edit(); }, AfterEdit{});
}

HRESULT ExposedObjectBase::put_simulationContext(IDispatch* context)
{
    WrapContext wrap{context, this, {}};
    return proxyCall<LogMode::Checked>(*this, "ICapeUtilities::put_simulationContext", utilities_,
        [&](ICapeUtilities* u) { return u->put_simulationContext(wrap.forwarded()); }, ReadOnlyCheck{},
        InInterface{"context", context}, SilentWhenMissing{}, wrap);
}

HRESULT ExposedObjectBase::get_parameters(IDispatch** parameters)
{
    WrapParameters wrap{parameters, this, {}};
    return proxyCall<LogMode::Checked>(*this, "ICapeUtilities::get_parameters", utilities_,
        [&](ICapeUtilities* u) { return u->get_parameters(wrap.local.put()); }, wrap);
}

void ExposedObjectBase::releaseInterfaces()
{
    utilities_.reset();
    CapeOpenBase::releaseInterfaces();
}

void ExposedObjectBase::removeChild(CapeOpenBase* child)
{
    auto it = std::find(children_.begin(), children_.end(), child);
    if (it != children_.end()) children_.erase(it);
}

void ExposedObjectBase::beforeTeardown()
{
    // Foreign code may run here and re-enter: a child that dies takes itself out of the list, so
    // the bound is read anew and the entry that moves up into its place is passed over. A child
    // whose last holder was its own foreign object dies only once its release has finished.
    for (size_t i = 0; i < children_.size(); ++i) {
        CapeOpenBase* child = children_[i];
        child->addRefImpl();
        child->releaseInterfaces();
        child->releaseImpl();
    }
    if (log_) {
        for (CapeOpenBase* child : children_) {
            std::string text = "Object \"" + child->name() + "\" (type: " + child->type() +
                               ") is not released at final release of \"" + name_ + "\" (reference count " +
                               std::to_string(child->refCount()) + ")";
            log_->writeWarning(text.c_str());
            child->setOwner(nullptr);
        }
        children_.clear();
        log_->close();
    }
    // Without a log the children keep nothing of this object either.
    for (CapeOpenBase* child : children_) child->setOwner(nullptr);
    children_.clear();
}

} // namespace tarv
