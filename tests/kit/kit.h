#pragma once
// Test components: in-process COM objects that implement CAPE-OPEN interfaces with scripted
// behaviour, standing in for the foreign components that the server wraps.
//
//   auto mat = kit::Object::create<ICapeThermoMaterial, ECapeUser>(L"Stream 1");
//   mat->on(&ICapeThermoMaterial::GetOverallProp, [](BSTR prop, BSTR basis, VARIANT* results) { ... });
//   mat->fail(&ICapeThermoMaterial::SetOverallProp, ECapeNoImplHR).errorDescription(L"read only");
//
// An object exposes exactly the interfaces chosen at creation, each a facet of its own (own vtable,
// IDispatch from the type library), so methods of the same name in two interfaces stay two
// methods. A method without a script returns S_OK and leaves its out-arguments alone, except
// ICapeIdentification, which answers and stores the object's name and description.
#include "capeopen.h"
#include "com/com_ptr.h"
#include "com/variant.h"

#include <windows.h>
#include <ole2.h>
#include <ocidl.h>

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace kit {

using Calls = std::vector<std::string>;

// A crash or exception raised inside a component's method, for tests of the exception barrier.
class Fault {
public:
    enum class Kind { AccessViolation, ThrowText };
    static const Fault AccessViolation;   // reads through a null pointer
    static Fault ThrowText(std::string text);   // thrown as a const char*, as g++'s `throw "text"` is
    [[noreturn]] void raise() const;

private:
    explicit Fault(Kind kind, std::string text = {});
    Kind kind_;
    std::shared_ptr<const std::string> text_;   // shared so that a thrown pointer outlives copies
};

inline const Fault Fault::AccessViolation{Fault::Kind::AccessViolation};

namespace detail {

struct ScriptBase { virtual ~ScriptBase() = default; };
template <class... A>
struct Script final : ScriptBase {
    explicit Script(std::function<HRESULT(A...)> f) : fn(std::move(f)) {}
    std::function<HRESULT(A...)> fn;
};

// A method's identity: its interface and its member pointer's representation.
template <class I, class C, class... A>
std::string key(HRESULT (STDMETHODCALLTYPE C::*m)(A...))
{
    static_assert(std::is_base_of_v<C, I>, "the method is not a member of that interface");
    const IID& iid = __uuidof(I);
    std::string k(sizeof iid + sizeof m, '\0');
    std::memcpy(k.data(), &iid, sizeof iid);
    std::memcpy(k.data() + sizeof iid, &m, sizeof m);
    return k;
}

// Stores a value into an out-argument, as a component answering a getter would.
template <class T, class V>
HRESULT assign(T* out, const V& value)
{
    if (!out) return E_POINTER;
    if constexpr (std::is_same_v<T, BSTR>) {
        std::wstring_view s(value);
        *out = SysAllocStringLen(s.data(), static_cast<UINT>(s.size()));
        return *out ? S_OK : E_OUTOFMEMORY;
    } else if constexpr (std::is_same_v<T, VARIANT>) {
        VariantClear(out);
        if constexpr (std::is_same_v<V, tarv::Variant>)
            return VariantCopy(out, const_cast<VARIANT*>(&value.get()));
        else
            return VariantCopy(out, const_cast<VARIANT*>(&value));
    } else if constexpr (std::is_same_v<V, bool>) {
        *out = value ? VARIANT_TRUE : VARIANT_FALSE;   // VARIANT_BOOL is a short
        return S_OK;
    } else if constexpr (std::is_pointer_v<T>) {        // an interface pointer
        T p;
        if constexpr (std::is_convertible_v<V, T>)
            p = value;
        else if constexpr (requires { value->template ptr<std::remove_pointer_t<T>>(); })
            p = value->template ptr<std::remove_pointer_t<T>>();   // a kit object: its facet
        else
            p = value.get();
        if (p) p->AddRef();
        *out = p;
        return S_OK;
    } else {
        *out = static_cast<T>(value);
        return S_OK;
    }
}

class FacetBase;

} // namespace detail

class Object final : public IUnknown {
public:
    // The object exposing `interfaces`, in that order; the first dual one also answers IDispatch.
    // Throws std::invalid_argument for an interface the kit does not implement.
    static tarv::ComPtr<Object> create(const std::vector<IID>& interfaces, std::wstring name = L"Kit object");
    template <class... I>
    static tarv::ComPtr<Object> create(std::wstring name = L"Kit object")
    {
        return create(std::vector<IID>{__uuidof(I)...}, std::move(name));
    }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    // IUnknown: the object's identity. Every query is recorded in queries().
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    // Scripting: each call replaces the method's script and returns *this. `fn` takes the method's arguments (or none) and returns an HRESULT (or nothing for S_OK).
    template <class C, class... A, class F>
    Object& on(HRESULT (STDMETHODCALLTYPE C::*m)(A...), F fn)
    {
        std::function<HRESULT(A...)> f;
        if constexpr (std::is_invocable_v<F&, A...>) {
            if constexpr (std::is_void_v<std::invoke_result_t<F&, A...>>)
                f = [fn = std::move(fn)](A... a) mutable { fn(a...); return S_OK; };
            else
                f = std::move(fn);
        } else {
            static_assert(std::is_invocable_v<F&>, "a script takes the method's arguments, or none");
            f = [fn = std::move(fn)](A...) mutable -> HRESULT {
                if constexpr (std::is_void_v<std::invoke_result_t<F&>>) { fn(); return S_OK; }
                else return fn();
            };
        }
        setScript(detail::key<C>(m), std::make_shared<detail::Script<A...>>(std::move(f)));
        return *this;
    }
    template <class C, class... A>
    Object& fail(HRESULT (STDMETHODCALLTYPE C::*m)(A...), HRESULT hr)
    {
        return on(m, [hr] { return hr; });
    }
    template <class C, class... A>
    Object& fault(HRESULT (STDMETHODCALLTYPE C::*m)(A...), Fault fault)
    {
        return on(m, [fault]() -> HRESULT { fault.raise(); });
    }
    // Stores `value` into the method's last argument (a getter's result, see detail::assign) and
    // returns S_OK. A VARIANT out-argument is cleared first, so it must arrive initialised.
    template <class C, class... A, class V>
    Object& returns(HRESULT (STDMETHODCALLTYPE C::*m)(A...), V value)
    {
        static_assert(sizeof...(A) > 0, "the method has no argument to return in");
        using Out = std::remove_pointer_t<std::tuple_element_t<sizeof...(A) - 1, std::tuple<A...>>>;
        if constexpr (std::is_same_v<Out, BSTR> && !std::is_same_v<V, std::wstring>)
            return returns(m, std::wstring(value));
        else
            return on(m, [value = std::move(value)](A... a) {
                return detail::assign(std::get<sizeof...(A) - 1>(std::forward_as_tuple(a...)), value);
            });
    }
    template <class C, class... A>
    Object& unscript(HRESULT (STDMETHODCALLTYPE C::*m)(A...))
    {
        setScript(detail::key<C>(m), nullptr);
        return *this;
    }
    Object& errorDescription(std::wstring text) { return returns(&ECapeUser::get_description, std::move(text)); }
    Object& errorName(std::wstring text) { return returns(&ECapeRoot::get_name, std::move(text)); }
    const std::wstring& name() const noexcept { return name_; }
    // The calls received, in order, as "Interface::Method"; the interfaces queried, answered or not.
    const Calls& calls() const noexcept { return calls_; }
    size_t callCount(std::string_view call) const;
    void clearCalls() { calls_.clear(); }
    const std::vector<IID>& queries() const noexcept { return queries_; }
    bool wasQueried(REFIID iid) const;
    void clearQueries() { queries_.clear(); }
    ULONG refCount() const noexcept { return static_cast<ULONG>(refs_); }
    // The object's interface I without a recorded query: ptr() lends it, as() adds a reference.
    template <class I>
    I* ptr() const noexcept { return static_cast<I*>(find(__uuidof(I))); }
    template <class I>
    tarv::ComPtr<I> as() const noexcept { return tarv::ComPtr<I>(ptr<I>()); }
    static LONG liveCount() noexcept;   // objects of this module alive now
    template <class I, class C, class... A>
    HRESULT receive(HRESULT (STDMETHODCALLTYPE C::*m)(A...), const char* iface, const char* method,
                    std::type_identity_t<A>... a)
    {
        record(iface, method);
        std::shared_ptr<detail::ScriptBase> s = script(detail::key<I>(m));
        if (!s) return S_OK;
        return static_cast<detail::Script<A...>&>(*s).fn(a...);
    }

private:
    explicit Object(std::wstring name);
    ~Object();
    void expose(REFIID iid);
    void* find(REFIID iid) const noexcept;
    void record(const char* iface, const char* method);
    std::shared_ptr<detail::ScriptBase> script(const std::string& key) const;
    void setScript(std::string key, std::shared_ptr<detail::ScriptBase> s);
    volatile LONG refs_ = 1;
    std::wstring name_;
    std::wstring description_;
    std::vector<std::unique_ptr<detail::FacetBase>> facets_;
    std::map<std::string, std::shared_ptr<detail::ScriptBase>> scripts_;
    Calls calls_;
    std::vector<IID> queries_;
};

} // namespace kit
