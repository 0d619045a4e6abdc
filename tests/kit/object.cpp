#include "kit/facet.h"

#include "com/bstr.h"

#include <algorithm>
#include <stdexcept>

namespace kit {
namespace {
volatile LONG gLive = 0;
} // namespace

tarv::ComPtr<Object> Object::create(const std::vector<IID>& interfaces, std::wstring name)
{
    auto obj = tarv::ComPtr<Object>::attach(new Object(std::move(name)));
    for (const IID& iid : interfaces) obj->expose(iid);
    return obj;
}

Object::Object(std::wstring name) : name_(std::move(name))
{
    InterlockedIncrement(&gLive);
    on(&ICapeIdentification::get_ComponentName, [this](BSTR* out) { return detail::assign(out, name_); });
    on(&ICapeIdentification::put_ComponentName, [this](BSTR s) { name_ = tarv::Bstr(s).wide(); });
    on(&ICapeIdentification::get_ComponentDescription, [this](BSTR* out) { return detail::assign(out, description_); });
    on(&ICapeIdentification::put_ComponentDescription, [this](BSTR s) { description_ = tarv::Bstr(s).wide(); });
}

Object::~Object() { InterlockedDecrement(&gLive); }

LONG Object::liveCount() noexcept { return gLive; }

void Object::expose(REFIID iid)
{
    const detail::InterfaceEntry* e = detail::findInterface(iid);
    if (!e) {
        wchar_t guid[64];
        StringFromGUID2(iid, guid, 64);
        throw std::invalid_argument("kit objects do not implement " + tarv::toNarrow(guid));
    }
    if (!find(iid)) facets_.push_back(e->make(*this, e->name));
}

void* Object::find(REFIID iid) const noexcept
{
    if (iid == IID_IUnknown) return static_cast<IUnknown*>(const_cast<Object*>(this));
    for (const auto& f : facets_) {
        if (f->iid() == iid) return f->unknown();
        if (iid == IID_IDispatch && f->dual()) return f->unknown();
    }
    if (iid == IID_IPersist) return find(IID_IPersistStream);   // its base
    return nullptr;
}

HRESULT STDMETHODCALLTYPE Object::QueryInterface(REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    queries_.push_back(iid);
    auto* p = static_cast<IUnknown*>(find(iid));
    *out = p;
    if (!p) return E_NOINTERFACE;
    p->AddRef();
    return S_OK;
}

ULONG STDMETHODCALLTYPE Object::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&refs_));
}

ULONG STDMETHODCALLTYPE Object::Release()
{
    const LONG n = InterlockedDecrement(&refs_);
    if (n == 0) delete this;
    return static_cast<ULONG>(n);
}

void Object::record(const char* iface, const char* method)
{
    calls_.push_back(std::string(iface) + "::" + method);
}

size_t Object::callCount(std::string_view call) const
{
    return static_cast<size_t>(std::count(calls_.begin(), calls_.end(), call));
}

bool Object::wasQueried(REFIID iid) const
{
    return std::find(queries_.begin(), queries_.end(), iid) != queries_.end();
}

std::shared_ptr<detail::ScriptBase> Object::script(const std::string& key) const
{
    auto it = scripts_.find(key);
    return it == scripts_.end() ? nullptr : it->second;
}

void Object::setScript(std::string key, std::shared_ptr<detail::ScriptBase> s)
{
    if (s) scripts_[std::move(key)] = std::move(s);
    else scripts_.erase(key);
}

} // namespace kit
