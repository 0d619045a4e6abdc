#include "ideal/component.h"

#include "com/bstr.h"

#include <cwchar>

namespace samples::ideal {
namespace {

volatile LONG gLive = 0;

} // namespace

LONG liveComponents() noexcept
{
    return gLive;
}

namespace detail {
void componentCreated() noexcept { InterlockedIncrement(&gLive); }
void componentDestroyed() noexcept { InterlockedDecrement(&gLive); }
} // namespace detail

std::wstring describeFailure(IUnknown* object, HRESULT hr)
{
    if (object) {
        tarv::ComPtr<ECapeUser> user;
        if (SUCCEEDED(object->QueryInterface(IID_ECapeUser, user.putVoid())) && user) {
            tarv::Bstr d;
            if (SUCCEEDED(user->get_description(d.put())) && !d.empty()) return d.wide();
        }
    }
    wchar_t buf[32];
    std::swprintf(buf, 32, L"error 0x%08lX", static_cast<unsigned long>(hr));
    return buf;
}

} // namespace samples::ideal
