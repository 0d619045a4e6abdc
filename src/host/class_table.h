#pragma once
// The server's creatable classes, in the order in which they are registered and served.
#include <windows.h>

namespace tarv {

struct CreatableClass {
    const CLSID* clsid;
    int script;                                            // resource number of the registry script
    HRESULT (*create)(IUnknown* outer, REFIID iid, void** out);
};

// The classes this build serves.
const CreatableClass* creatableClasses(size_t* count);

// A class object for a creatable class. Class objects hold no lock on the server; LockServer does.
class ClassObject final : public IClassFactory {
public:
    explicit ClassObject(const CreatableClass& cls) : class_(cls) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

private:
    const CreatableClass& class_;
};

} // namespace tarv
