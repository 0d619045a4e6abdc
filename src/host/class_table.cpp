#include "host/class_table.h"

#include "host/module.h"
#include "packages/package_managers.h"
#include "tarvlib.h"
#include "unit/unit_operation.h"

namespace tarv {

const CreatableClass* creatableClasses(size_t* count)
{
    static const CreatableClass classes[] = {
        {&CLSID_ThermoSystem64, 109, &CThermoSystem::create},
        {&CLSID_PropertyPackageManager64, 104, &CPropertyPackageManager::create},
        {&CLSID_ReactionPackageManager64, 135, &CReactionPackageManager::create},
        {&CLSID_UnitOperation64, 116, &CUnitOperation::create},
    };
    *count = sizeof classes / sizeof classes[0];
    return classes;
}

HRESULT ClassObject::QueryInterface(REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
        *out = static_cast<IClassFactory*>(this);
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT ClassObject::CreateInstance(IUnknown* outer, REFIID iid, void** out)
{
    return class_.create(outer, iid, out);
}

HRESULT ClassObject::LockServer(BOOL lock)
{
    if (lock) CTARVModule::lock();
    else CTARVModule::unlock();
    return S_OK;
}

} // namespace tarv
