#include "unit/ports.h"

#include "com/bstr.h"
#include "params/parameter_spec.h"
#include "thermo/material_object.h"

namespace tarv {
namespace {

// Connect: what the real port gets in place of the simulator's object, decided by the port's type
// (asked once per port proxy) and direction (whatever is connected to an inlet is read-only).
struct ConnectDecision {
    CUnitPort& port;
    IDispatch* object;
    ComPtr<IDispatch> passed{};

    IDispatch* forwarded() const { return passed ? passed.get() : object; }
    void prepare(ProxyCall& c)
    {
        ICapeUnitPort* real = port.port().get();
        if (port.portType == -1) {
            CapePortType type = CAPE_MATERIAL;
            const HRESULT hr = real->get_portType(&type);
            if (FAILED(hr)) {
                c.log->writeError(("Failed to get port type from port: " + toNarrow(capeErrorText(real, hr))).c_str());
                port.portType = -1;
            } else {
                port.portType = type;
            }
        }
        int readOnly = port.readOnly();
        CapePortDirection direction = CAPE_OUTLET;
        if (!readOnly && SUCCEEDED(real->get_direction(&direction)) && direction == CAPE_INLET) readOnly = 1;
        if (!object) {
            c.log->writeWarning("Cannot log object to connect to: NULL pointer");
            return;
        }
        auto parameters = proxyFactories().parameterCollection;
        switch (port.portType) {
        case CAPE_MATERIAL:
            c.log->writeInfo("Replacing object by logged material object for port type CAPE_MATERIAL");
            passed = createMaterialProxy(object, c.log, -1, port.owner(), readOnly);
            return;
        case CAPE_ENERGY:
        case CAPE_INFORMATION:
            c.log->writeInfo(port.portType == CAPE_ENERGY
                                 ? "Replacing object by logged parameter collection for port type CAPE_ENERGY"
                                 : "Replacing object by logged parameter collection for port type CAPE_INFORMATION");
            passed = parameters ? parameters(object, c.log, port.owner(), 0, readOnly) : ComPtr<IDispatch>(object);
            return;
        case CAPE_ANY:
            c.log->writeWarning("Cannot log object to connect to: do not know which object to use for port type CAPE_ANY");
            break;
        default:
            c.log->writeWarning("Cannot log object to connect to: do not know which object to use for undefined port type");
            break;
        }
        passed = ComPtr<IDispatch>(object);
    }
    void afterForward(ProxyCall&) { passed.reset(); }
};

// get_connectedObject: the simulator gets back the object it connected, not the proxy in its
// place.
struct UnwrapConnected {
    IDispatch** out;
    void after(ProxyCall& c) const
    {
        c.log->argInterface("connectedObject", 0, *out);
        if (!*out) return;
        ComPtr<IOriginalObject64> proxy;
        if (FAILED((*out)->QueryInterface(IID_IOriginalObject64, proxy.putVoid()))) return;
        IUnknown* original = nullptr;
        if (FAILED(proxy->GetOriginalObject(&original))) return;
        (*out)->Release();
        // The object behind the proxy is the very pointer the simulator passed to Connect.
        *out = static_cast<IDispatch*>(original);
    }
};

} // namespace

HRESULT countItems(CapeOpenBase& self, ComPtr<ICapeCollection>& collection, LONG* itemsCount)
{
    return proxyCall<LogMode::Assumed>(self, "ICapeCollection::Count", collection,
        [&](ICapeCollection* i) { return i->Count(itemsCount); }, OutLong{"itemsCount", itemsCount});
}

ComPtr<IDispatch> createPortCollectionProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner, int readOnly)
{
    return createProxy<CPortCollection>(foreign, log, owner, readOnly, [](CPortCollection&) {});
}

ComPtr<IDispatch> createUnitPortProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner, int readOnly)
{
    return createProxy<CUnitPort>(foreign, log, owner, readOnly, [](CUnitPort&) {});
}

// --- CPortCollection ------------------------------------------------------------------------------

CPortCollection::CPortCollection()
{
    type_ = "Port collection";
}

void CPortCollection::releaseInterfaces()
{
    collection_.reset();
    CapeOpenBase::releaseInterfaces();
}

HRESULT CPortCollection::Item(VARIANT id, IDispatch** item)
{
    WrapResult wrap{"Item", item, [this](IDispatch* raw) { return createUnitPortProxy(raw, log_, owner_, readOnly_); },
                    true, ResultShown::Foreign};
    return proxyCall<LogMode::Assumed>(*this, "ICapeCollection::Item", collection_,
        [&](ICapeCollection* i) { return i->Item(id, wrap.slot()); }, InVariant{"id", id}, wrap);
}

HRESULT CPortCollection::Count(LONG* itemsCount)
{
    return countItems(*this, collection_, itemsCount);
}

// --- CUnitPort --------------------------------------------------------------------------------------

CUnitPort::CUnitPort()
{
    type_ = "Unit Port";
}

void CUnitPort::releaseInterfaces()
{
    collection_.reset();
    port_.reset();
    CapeOpenBase::releaseInterfaces();
}

HRESULT CUnitPort::Item(VARIANT id, IDispatch** item)
{
    WrapResult wrap{"Item", item,
                    [this](IDispatch* raw) { return createParameterSpecProxy(raw, log_, owner_, 1, readOnly_); },
                    true, ResultShown::Foreign};
    return proxyCall<LogMode::Assumed>(*this, "ICapeCollection::Item", collection_,
        [&](ICapeCollection* i) { return i->Item(id, wrap.slot()); }, InVariant{"id", id}, wrap);
}

HRESULT CUnitPort::Count(LONG* itemsCount)
{
    return countItems(*this, collection_, itemsCount);
}

HRESULT CUnitPort::get_portType(CapePortType* portType)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeUnitPort::get_portType", port_,
        [&](ICapeUnitPort* i) { return i->get_portType(portType); }, OutPortType{"portType", portType});
}

HRESULT CUnitPort::get_direction(CapePortDirection* direction)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeUnitPort::get_direction", port_,
        [&](ICapeUnitPort* i) { return i->get_direction(direction); }, OutPortDirection{"portDirection", direction});
}

HRESULT CUnitPort::get_connectedObject(IDispatch** connectedObject)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeUnitPort::get_connectedObject", port_,
        [&](ICapeUnitPort* i) { return i->get_connectedObject(connectedObject); }, UnwrapConnected{connectedObject});
}

HRESULT CUnitPort::Connect(IDispatch* objectToConnect)
{
    ConnectDecision decision{*this, objectToConnect};
    return proxyCall<LogMode::Assumed>(*this, "ICapeUnitPort::Connect", port_,
        [&](ICapeUnitPort* i) { return i->Connect(decision.forwarded()); }, ReadOnlyCheck{},
        InInterface{"objectToConnect", objectToConnect}, decision);
}

HRESULT CUnitPort::Disconnect()
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeUnitPort::Disconnect", port_,
        [&](ICapeUnitPort* i) { return i->Disconnect(); }, ReadOnlyCheck{});
}

} // namespace tarv
