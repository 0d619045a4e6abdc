#include "params/parameter_collection.h"

#include "params/parameter.h"

namespace tarv {

ComPtr<IDispatch> createParameterCollectionProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner,
                                                 int isInput, int readOnly)
{
    return createProxy<CParameterCollection>(foreign, log, owner, readOnly,
                                             [isInput](CParameterCollection& p) { p.setIsInput(isInput); });
}

void registerParameterProxyFactories()
{
    proxyFactories().parameterCollection = &createParameterCollectionProxy;
}

CParameterCollection::CParameterCollection()
{
    type_ = "Parameter collection";
}

void CParameterCollection::releaseInterfaces()
{
    collection_.reset();
    CapeOpenBase::releaseInterfaces();
}

// The item reaches the caller as a parameter proxy with this collection's owner, direction and
// read-only flag, and is logged as received. Each call makes a new proxy: nothing is cached. After
// a failure the caller's location is left as it was.
HRESULT CParameterCollection::Item(VARIANT id, IDispatch** Item)
{
    WrapResult wrap{"Item", Item, [this](IDispatch* item) {
        return createParameterProxy(item, log_, owner_, isInput_, readOnly_);
    }, false};
    return proxyCall<LogMode::Assumed>(*this, "ICapeCollection::Item", collection_,
        [&](ICapeCollection* c) { return c->Item(id, wrap.slot()); }, InVariant{"id", id}, wrap);
}

HRESULT CParameterCollection::Count(LONG* itemsCount)
{
    return proxyCollectionCount(*this, collection_, itemsCount);
}

HRESULT proxyCollectionCount(CapeOpenBase& self, ComPtr<ICapeCollection>& collection, LONG* itemsCount)
{
    return proxyCall<LogMode::Assumed>(self, "ICapeCollection::Count", collection,
        [&](ICapeCollection* c) { return c->Count(itemsCount); }, OutLong{"itemsCount", itemsCount});
}

} // namespace tarv
