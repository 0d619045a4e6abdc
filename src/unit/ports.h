#pragma once
// The ports of a logged unit operation and their collection. A port's Connect is where objects of
// the simulator (streams, energy and information collections) enter the logged world: the real
// port gets a proxy on the unit operation's log in their place. These proxies exist only with a
// log.
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

namespace tarv {

class CPortCollection : public ProxyClass<CPortCollection, CapeOpenBase, ICapeCollection, ICapeCollection> {
public:
    CPortCollection();
    HRESULT STDMETHODCALLTYPE Item(VARIANT id, IDispatch** item) override;
    HRESULT STDMETHODCALLTYPE Count(LONG* itemsCount) override;
    void releaseInterfaces() override;

private:
    ComPtr<ICapeCollection> collection_;
};

class CUnitPort : public ProxyClass<CUnitPort, CapeOpenBase, ICapeUnitPort, ICapeCollection, ICapeUnitPort> {
public:
    CUnitPort();
    // ICapeCollection: the port's own items, taken for parameter specifications.
    HRESULT STDMETHODCALLTYPE Item(VARIANT id, IDispatch** item) override;
    HRESULT STDMETHODCALLTYPE Count(LONG* itemsCount) override;
    // ICapeUnitPort
    HRESULT STDMETHODCALLTYPE get_portType(CapePortType* portType) override;
    HRESULT STDMETHODCALLTYPE get_direction(CapePortDirection* direction) override;
    HRESULT STDMETHODCALLTYPE get_connectedObject(IDispatch** connectedObject) override;
    HRESULT STDMETHODCALLTYPE Connect(IDispatch* objectToConnect) override;
    HRESULT STDMETHODCALLTYPE Disconnect() override;
    void releaseInterfaces() override;

    // The real port's type as far as Connect has asked for it; -1 until then.
    LONG portType = -1;
    ComPtr<ICapeUnitPort>& port() { return port_; }

private:
    ComPtr<ICapeCollection> collection_;
    ComPtr<ICapeUnitPort> port_;
};

ComPtr<IDispatch> createPortCollectionProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner, int readOnly);
ComPtr<IDispatch> createUnitPortProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner, int readOnly);

// The Count of any logged collection: the foreign count, logged as "itemsCount".
HRESULT countItems(CapeOpenBase& self, ComPtr<ICapeCollection>& collection, LONG* itemsCount);

} // namespace tarv
