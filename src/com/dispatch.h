#pragma once
// IDispatch answered from type information, so that a call by name reaches the same vtable method
// as a direct call. One DualImpl<I> per dual interface of a class: each keeps its own four
// IDispatch methods in its own vtable, while IUnknown stays with the most derived class.
#include <windows.h>
#include <ole2.h>

namespace tarv {

enum class TypeLib {
    CapeOpen,   // the CAPE-OPEN 1.1 library (LIBID 4A5E2E81-C093-11D4-9F1B-0010A4D198C2, 1.1)
    Tarv,       // the server's own TARVLib64
};

// Type information of a dual interface, cached per process. The interface half serves Invoke and
// GetIDsOfNames; the dispatch half is what GetTypeInfo hands to callers.
HRESULT interfaceTypeInfo(TypeLib lib, REFIID iid, ITypeInfo** out) noexcept;
HRESULT dispatchTypeInfo(TypeLib lib, REFIID iid, ITypeInfo** out) noexcept;

// The library itself, loaded the way interfaceTypeInfo loads it.
HRESULT loadTypeLib(TypeLib lib, ITypeLib** out) noexcept;

template <class I, TypeLib Lib = TypeLib::CapeOpen>
class DualImpl : public I {
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        if (!count) return E_POINTER;
        *count = 1;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override
    {
        if (!info) return E_POINTER;
        *info = nullptr;
        if (index != 0) return DISP_E_BADINDEX;
        return dispatchTypeInfo(Lib, __uuidof(I), info);
    }

    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) override
    {
        if (riid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
        ITypeInfo* ti = nullptr;
        HRESULT hr = interfaceTypeInfo(Lib, __uuidof(I), &ti);
        if (FAILED(hr)) return hr;
        hr = ti->GetIDsOfNames(names, count, ids);
        ti->Release();
        return hr;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID, WORD flags, DISPPARAMS* params,
                                     VARIANT* result, EXCEPINFO* excep, UINT* argErr) override
    {
        if (riid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
        ITypeInfo* ti = nullptr;
        HRESULT hr = interfaceTypeInfo(Lib, __uuidof(I), &ti);
        if (FAILED(hr)) return hr;
        hr = ti->Invoke(static_cast<I*>(this), id, flags, params, result, excep, argErr);
        ti->Release();
        return hr;
    }
};

} // namespace tarv
