#pragma once
// An exposed proxy that a simulator saves and restores as if it were the real object: the saved
// stream holds the real object's class and its own image, so that loading brings back the class
// that wrote it without asking anybody.
//
//   offset 0   16 bytes   the real object's class id, in memory layout
//          16   4 bytes   n, little-endian
//          20   n bytes   the real object's image, as it wrote it
#include "proxy/exposed_object_base.h"
#include "proxy/method.h"

#include <objidl.h>

#include <string>

namespace tarv {

class PersistentObject : public ExposedObjectBase, public IPersistStreamInit {
public:
    using ExtraInterfaces = InterfaceList<ICapeUtilities, IPersistStreamInit>;

    // IPersistStreamInit
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override;
    HRESULT STDMETHODCALLTYPE IsDirty() override;
    HRESULT STDMETHODCALLTYPE Load(IStream* pstm) override;
    HRESULT STDMETHODCALLTYPE Save(IStream* pstm, BOOL fClearDirty) override;
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* pcbSize) override;
    HRESULT STDMETHODCALLTYPE InitNew() override;

    void releaseInterfaces() override;

    const CLSID& clsid() const { return clsid_; }
    void setClsid(const CLSID& clsid) { clsid_ = clsid; }
    const char* category() const { return category_; }

protected:
    explicit PersistentObject(const char* category) : category_(category) {}

    // Creates the real object of class clsid() and attaches it. On failure `errorText` says why.
    virtual bool createLoggedObject(ProxyCall& c, std::wstring& errorText) = 0;
    // The class id that GetClassID answers: the logged class itself, never the real object's.
    virtual const CLSID& ownClassId() const = 0;

    // createLoggedObject, then the real object's InitNew if it has IPersistStreamInit; a failed
    // creation is recorded and shown to the user.
    HRESULT createAndInitialize(ProxyCall& c);
    // The record and the message box of a failed creation.
    void reportFailedCreation(ProxyCall& c, const std::wstring& errorText);
    // The real object's persistence: IPersistStreamInit, else IPersistStream, else none.
    void queryPersistence();

    HRESULT initNew(ProxyCall& c);
    HRESULT load(ProxyCall& c, IStream* pstm);
    HRESULT save(ProxyCall& c, IStream* pstm, BOOL fClearDirty);

    CLSID clsid_{};
    const char* category_;
    ComPtr<IPersistStream> persistStream_;
    ComPtr<IPersistStreamInit> persistStreamInit_;
};

} // namespace tarv
