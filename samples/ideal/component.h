#pragma once
// The COM side of the kit's CAPE-OPEN components. ComObject gives reference counting and
// QueryInterface over a list of dual interfaces (the first also answers IDispatch), with
// interfaces that a variant of a class may hide. CapeObject adds what every CAPE-OPEN object of
// the kit has: ICapeIdentification, and ECapeUser/ECapeRoot that describe the last failure, which
// each method body reports through guard(). CapeComponent adds ICapeUtilities.
#include "com/com_ptr.h"
#include "com/dispatch.h"
#include "ideal/cape_error.h"
#include "ideal/values.h"

#include "capeopen.h"

#include <algorithm>
#include <new>
#include <string>
#include <vector>

namespace samples::ideal {

// Components of this module alive now (for DllCanUnloadNow and leak checks).
LONG liveComponents() noexcept;
namespace detail {
void componentCreated() noexcept;
void componentDestroyed() noexcept;
}

template <class Primary, class... Others>
class ComObject : public tarv::DualImpl<Primary>, public tarv::DualImpl<Others>... {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == __uuidof(Primary)) {
            *out = static_cast<Primary*>(this);
        } else if (std::find(hidden_.begin(), hidden_.end(), iid) == hidden_.end()) {
            (void)((iid == __uuidof(Others) && (*out = static_cast<Others*>(this), true)) || ...);
        }
        if (!*out) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const LONG n = InterlockedDecrement(&refs_);
        if (n == 0) delete this;
        return static_cast<ULONG>(n);
    }

protected:
    ComObject() { detail::componentCreated(); }
    virtual ~ComObject() { detail::componentDestroyed(); }
    // QueryInterface answers E_NOINTERFACE for iid from now on.
    void hide(REFIID iid) { hidden_.push_back(iid); }

private:
    volatile LONG refs_ = 0;
    std::vector<IID> hidden_;
};

// The last failure, as ECapeUser and ECapeRoot tell it.
struct LastError {
    HRESULT code = S_OK;
    std::wstring description;
    std::wstring interfaceName;
    std::wstring operation;
    std::wstring moreInfo;
};

template <class Primary, class... Others>
class CapeObject : public ComObject<Primary, Others..., ICapeIdentification, ECapeUser, ECapeRoot> {
public:
    // --- ICapeIdentification ---------------------------------------------------------------
    HRESULT STDMETHODCALLTYPE get_ComponentName(BSTR* name) override
    {
        return guard(L"ICapeIdentification", L"ComponentName", [&] { *out(name) = allocText(name_); });
    }
    HRESULT STDMETHODCALLTYPE put_ComponentName(BSTR name) override
    {
        return guard(L"ICapeIdentification", L"ComponentName", [&] { name_ = text(name); });
    }
    HRESULT STDMETHODCALLTYPE get_ComponentDescription(BSTR* desc) override
    {
        return guard(L"ICapeIdentification", L"ComponentDescription", [&] { *out(desc) = allocText(description_); });
    }
    HRESULT STDMETHODCALLTYPE put_ComponentDescription(BSTR desc) override
    {
        return guard(L"ICapeIdentification", L"ComponentDescription", [&] { description_ = text(desc); });
    }

    // --- ECapeRoot, ECapeUser: the last failure --------------------------------------------
    HRESULT STDMETHODCALLTYPE get_name(BSTR* name) override { return answer(name, capeErrorName(error_.code)); }
    HRESULT STDMETHODCALLTYPE get_code(LONG* code) override
    {
        if (!code) return E_POINTER;
        *code = error_.code;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_description(BSTR* d) override { return answer(d, error_.description); }
    HRESULT STDMETHODCALLTYPE get_scope(BSTR* s) override { return answer(s, error_.code ? name_ : std::wstring()); }
    HRESULT STDMETHODCALLTYPE get_interfaceName(BSTR* s) override { return answer(s, error_.interfaceName); }
    HRESULT STDMETHODCALLTYPE get_operation(BSTR* s) override { return answer(s, error_.operation); }
    HRESULT STDMETHODCALLTYPE get_moreInfo(BSTR* s) override { return answer(s, error_.moreInfo); }

    const std::wstring& componentName() const noexcept { return name_; }
    const LastError& lastError() const noexcept { return error_; }

protected:
    CapeObject(std::wstring name, std::wstring description)
        : name_(std::move(name)), description_(std::move(description))
    {}

    // Runs a method body: a CapeError becomes the method's status and the last error.
    template <class F>
    HRESULT guard(const wchar_t* interfaceName, const wchar_t* operation, F&& body) noexcept
    {
        try {
            body();
            return S_OK;
        } catch (const CapeError& e) {
            return fail(interfaceName, operation, e.code, e.text);
        } catch (const std::bad_alloc&) {
            return fail(interfaceName, operation, kCapeNoMemory, L"Out of memory");
        } catch (...) {
            return fail(interfaceName, operation, kCapeUnknown, L"Unexpected internal error");
        }
    }

    // An out-argument, checked for null.
    template <class T>
    static T* out(T* p)
    {
        if (!p) raise(kCapeInvalidArgument, L"A null pointer was passed for a result");
        return p;
    }

    std::wstring name_;
    std::wstring description_;

private:
    HRESULT fail(const wchar_t* interfaceName, const wchar_t* operation, HRESULT code, const std::wstring& text) noexcept
    {
        try {
            error_ = LastError{code, text, interfaceName, operation, {}};
        } catch (...) {
            error_.code = code;
        }
        return code;
    }

    static HRESULT answer(BSTR* out, const std::wstring& value) noexcept
    {
        if (!out) return E_POINTER;
        *out = SysAllocStringLen(value.data(), static_cast<UINT>(value.size()));
        return *out ? S_OK : E_OUTOFMEMORY;
    }

    LastError error_;
};

template <class Primary, class... Others>
class CapeComponent : public CapeObject<Primary, Others..., ICapeUtilities> {
    using Base = CapeObject<Primary, Others..., ICapeUtilities>;

public:
    // --- ICapeUtilities --------------------------------------------------------------------
    HRESULT STDMETHODCALLTYPE get_parameters(IDispatch** parameters) override
    {
        return this->guard(L"ICapeUtilities", L"parameters", [&] {
            *Base::out(parameters) = nullptr;
            tarv::ComPtr<IDispatch> collection = parameterCollection();
            if (!collection) raise(kCapeNoImpl, this->name_ + L" has no parameters");
            *parameters = collection.detach();
        });
    }
    HRESULT STDMETHODCALLTYPE put_simulationContext(IDispatch* context) override
    {
        return this->guard(L"ICapeUtilities", L"simulationContext", [&] { context_ = tarv::ComPtr<IDispatch>(context); });
    }
    HRESULT STDMETHODCALLTYPE Initialize() override
    {
        return this->guard(L"ICapeUtilities", L"Initialize", [&] { initialize(); });
    }
    HRESULT STDMETHODCALLTYPE Terminate() override
    {
        return this->guard(L"ICapeUtilities", L"Terminate", [&] {
            terminate();
            context_ = nullptr;
        });
    }
    HRESULT STDMETHODCALLTYPE Edit() override
    {
        return this->guard(L"ICapeUtilities", L"Edit", [&] { raise(kCapeNoImpl, this->name_ + L" has nothing to edit"); });
    }

protected:
    CapeComponent(std::wstring name, std::wstring description) : Base(std::move(name), std::move(description)) {}

    virtual void initialize() {}
    virtual void terminate() {}
    // The component's parameters as a CAPE-OPEN collection; null for a component without any.
    virtual tarv::ComPtr<IDispatch> parameterCollection() { return nullptr; }

private:
    tarv::ComPtr<IDispatch> context_;
};

// Creates an object of class C (whose reference count starts at zero) and queries it for iid.
template <class C, class... A>
HRESULT createAndQuery(REFIID iid, void** out, A&&... args)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    C* obj = nullptr;
    try {
        obj = new C(std::forward<A>(args)...);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
    obj->AddRef();
    HRESULT hr = obj->QueryInterface(iid, out);
    obj->Release();
    return hr;
}

// The ECapeUser description of a failed call on `object`, or the status in hex when it has none.
std::wstring describeFailure(IUnknown* object, HRESULT hr);

} // namespace samples::ideal
