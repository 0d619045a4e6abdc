// A COM-shaped object of a fault component, shared by the MSVC-ABI and the g++ builds: a
// hand-written vtable with the layout of the dual interface ICapeIdentification. The including
// file defines `int run(int kind)` (FAULT_RESULT when it comes back normally) and includes
// <windows.h> and <oleauto.h> first.

namespace {

// ICapeIdentification, laid out by hand: IUnknown, IDispatch, then the four property methods.
const GUID iidIUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const GUID iidIDispatch = {0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const GUID iidICapeIdentification = {0x678C0990, 0x7D66, 0x11D2,
                                     {0xA6, 0x7D, 0x00, 0x10, 0x5A, 0x42, 0x88, 0x7F}};

struct Identification;

struct IdentificationVtbl {
    HRESULT(STDMETHODCALLTYPE* QueryInterface)(Identification*, REFIID, void**);
    ULONG(STDMETHODCALLTYPE* AddRef)(Identification*);
    ULONG(STDMETHODCALLTYPE* Release)(Identification*);
    HRESULT(STDMETHODCALLTYPE* GetTypeInfoCount)(Identification*, UINT*);
    HRESULT(STDMETHODCALLTYPE* GetTypeInfo)(Identification*, UINT, LCID, ITypeInfo**);
    HRESULT(STDMETHODCALLTYPE* GetIDsOfNames)(Identification*, REFIID, LPOLESTR*, UINT, LCID,
                                              DISPID*);
    HRESULT(STDMETHODCALLTYPE* Invoke)(Identification*, DISPID, REFIID, LCID, WORD, DISPPARAMS*,
                                       VARIANT*, EXCEPINFO*, UINT*);
    HRESULT(STDMETHODCALLTYPE* get_ComponentName)(Identification*, BSTR*);
    HRESULT(STDMETHODCALLTYPE* put_ComponentName)(Identification*, BSTR);
    HRESULT(STDMETHODCALLTYPE* get_ComponentDescription)(Identification*, BSTR*);
    HRESULT(STDMETHODCALLTYPE* put_ComponentDescription)(Identification*, BSTR);
};

struct Identification {
    const IdentificationVtbl* vtbl;
    LONG refs;
    int mode;
    BSTR name;
    BSTR description;
};

HRESULT STDMETHODCALLTYPE queryInterface(Identification* self, REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    if (IsEqualGUID(iid, iidIUnknown) || IsEqualGUID(iid, iidIDispatch) ||
        IsEqualGUID(iid, iidICapeIdentification)) {
        InterlockedIncrement(&self->refs);
        *out = self;
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE addRef(Identification* self) { return InterlockedIncrement(&self->refs); }

ULONG STDMETHODCALLTYPE release(Identification* self)
{
    LONG left = InterlockedDecrement(&self->refs);
    if (left == 0) {
        SysFreeString(self->name);
        SysFreeString(self->description);
        HeapFree(GetProcessHeap(), 0, self);
    }
    return static_cast<ULONG>(left);
}

HRESULT STDMETHODCALLTYPE getTypeInfoCount(Identification*, UINT* count)
{
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE getTypeInfo(Identification*, UINT, LCID, ITypeInfo** info)
{
    if (info) *info = nullptr;
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE getIDsOfNames(Identification*, REFIID, LPOLESTR*, UINT, LCID, DISPID*)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE invoke(Identification*, DISPID, REFIID, LCID, WORD, DISPPARAMS*,
                                 VARIANT*, EXCEPINFO*, UINT*)
{
    return E_NOTIMPL;
}

HRESULT copyOut(BSTR source, BSTR* out)
{
    if (!out) return E_POINTER;
    *out = SysAllocStringLen(source, SysStringLen(source));
    return *out || !source ? S_OK : E_OUTOFMEMORY;
}

HRESULT replace(BSTR* field, BSTR value)
{
    BSTR copy = SysAllocStringLen(value, SysStringLen(value));
    if (value && !copy) return E_OUTOFMEMORY;
    SysFreeString(*field);
    *field = copy;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE getComponentName(Identification* self, BSTR* name)
{
    if (run(self->mode) != FAULT_RESULT) return E_FAIL;
    return copyOut(self->name, name);
}

HRESULT STDMETHODCALLTYPE putComponentName(Identification* self, BSTR name)
{
    return replace(&self->name, name);
}

HRESULT STDMETHODCALLTYPE getComponentDescription(Identification* self, BSTR* description)
{
    return copyOut(self->description, description);
}

HRESULT STDMETHODCALLTYPE putComponentDescription(Identification* self, BSTR description)
{
    return replace(&self->description, description);
}

const IdentificationVtbl identificationVtbl = {
    queryInterface,  addRef,        release,          getTypeInfoCount,
    getTypeInfo,     getIDsOfNames, invoke,           getComponentName,
    putComponentName, getComponentDescription, putComponentDescription,
};

} // namespace

extern "C" {

__declspec(dllexport) long fault_create_identification(int mode, void** object)
{
    if (!object) return E_POINTER;
    *object = nullptr;
    auto* self = static_cast<Identification*>(
        HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(Identification)));
    if (!self) return E_OUTOFMEMORY;
    self->vtbl = &identificationVtbl;
    self->refs = 1;
    self->mode = mode;
    self->name = SysAllocString(L"Faulty component");
    self->description = SysAllocString(L"Misbehaves on request");
    *object = self;
    return S_OK;
}

__declspec(dllexport) void fault_set_identification_mode(void* object, int mode)
{
    static_cast<Identification*>(object)->mode = mode;
}

} // extern "C"
