#pragma once
// Proxy of a collection of parameters: every parameter that it hands out comes back as a
// parameter proxy of the same tree, so that what a simulator or a unit does with the parameters
// of a package, a unit operation, a reaction or a port reaches the log.
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

namespace tarv {

class CParameterCollection
    : public ProxyClass<CParameterCollection, CapeOpenBase, ICapeCollection, ICapeCollection> {
public:
    CParameterCollection();

    HRESULT STDMETHODCALLTYPE Item(VARIANT id, IDispatch** Item) override;
    HRESULT STDMETHODCALLTYPE Count(LONG* itemsCount) override;

    void releaseInterfaces() override;

private:
    ComPtr<ICapeCollection> collection_;
};

// ICapeCollection::Count of the collection proxies (of parameters, and of the ports of a unit
// operation): forwarded through `collection`, "itemsCount" logged.
HRESULT proxyCollectionCount(CapeOpenBase& self, ComPtr<ICapeCollection>& collection, LONG* itemsCount);

ComPtr<IDispatch> createParameterCollectionProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner,
                                                 int isInput, int readOnly);

// Installs the collection factory for the exposed objects' get_parameters.
void registerParameterProxyFactories();

} // namespace tarv
