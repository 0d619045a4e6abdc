#pragma once
// A tear-off: a small object made at each query for an interface whose method has the same
// signature as one the owner already serves under another interface, so that the two can behave
// differently. It counts its own references, holds one on its owner for its whole life, and
// sends every QueryInterface to the owner.
#include "com/dispatch.h"
#include "proxy/cape_open_base.h"

namespace tarv {

template <class Owner, class I>
class TearOff : public DualImpl<I> {
public:
    explicit TearOff(Owner& owner) : owner_(owner) { owner_.addRefImpl(); }
    TearOff(const TearOff&) = delete;
    TearOff& operator=(const TearOff&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override { return owner_.queryInterfaceImpl(iid, out); }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++refCount_); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const LONG count = --refCount_;
        if (count == 0) delete this;
        return static_cast<ULONG>(count);
    }

    // A new tear-off with the one reference that a query hands out.
    template <class T>
    static IUnknown* make(CapeOpenBase* owner)
    {
        T* tearOff = new T(*static_cast<Owner*>(owner));
        tearOff->AddRef();
        return static_cast<I*>(tearOff);
    }

protected:
    virtual ~TearOff() { owner_.releaseImpl(); }
    Owner& owner() const { return owner_; }

private:
    Owner& owner_;
    LONG refCount_ = 0;
};

} // namespace tarv
