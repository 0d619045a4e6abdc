#include "ideal/parameters.h"

#include "com/variant.h"
#include "ideal/component.h"
#include "ideal/properties.h"

#include <cmath>
#include <functional>
#include <utility>

namespace samples::ideal {
namespace {

constexpr const wchar_t* kParameter = L"ICapeParameter";
constexpr const wchar_t* kSpec = L"ICapeParameterSpec";

// Dimensionality: exponents of m, kg, s, A, K, mol, cd and rad.
const std::vector<double> kDimensionless(8, 0.0);
const std::vector<double> kTemperature{0, 0, 0, 0, 1, 0, 0, 0};

// Why a value is refused: the status and the text; code S_OK for a valid value.
struct Verdict {
    HRESULT code = S_OK;
    std::wstring text;
};

VARIANT converted(const VARIANT& value, VARTYPE type, const std::wstring& name, const wchar_t* expected)
{
    VARIANT c;
    VariantInit(&c);
    const bool missing = value.vt == VT_EMPTY || value.vt == VT_NULL;
    if (missing || FAILED(VariantChangeType(&c, const_cast<VARIANT*>(&value), 0, type)))
        raise(kCapeInvalidArgument, L"The value of " + name + L" must be " + expected);
    return c;
}

// [in, out] message and [out] isOK of the Validate methods.
void report(const Verdict& v, BSTR* message, VARIANT_BOOL* isOK)
{
    BSTR text = allocText(v.text);
    SysFreeString(*message);
    *message = text;
    *isOK = v.code == S_OK ? VARIANT_TRUE : VARIANT_FALSE;
}

// ICapeParameter and ICapeParameterSpec of a parameter whose value is a T held in the settings.
// The derived class is the type's spec: check(), the default, the VARIANT forms.
template <class Derived, class Spec, class T>
class Parameter : public CapeObject<ICapeParameter, ICapeParameterSpec, Spec> {
    using Base = CapeObject<ICapeParameter, ICapeParameterSpec, Spec>;

public:
    // --- ICapeParameter ----------------------------------------------------------------------
    HRESULT STDMETHODCALLTYPE get_Specification(IDispatch** spec) override
    {
        return this->guard(kParameter, L"Specification", [&] {
            ICapeParameterSpec* self = this;
            self->AddRef();
            *Base::out(spec) = self;
        });
    }
    HRESULT STDMETHODCALLTYPE get_value(VARIANT* value) override
    {
        return this->guard(kParameter, L"value", [&] {
            VariantClear(Base::out(value));
            derived().toVariant(value_()).detachTo(value);
        });
    }
    HRESULT STDMETHODCALLTYPE put_value(VARIANT value) override
    {
        return this->guard(kParameter, L"value", [&] {
            const T v = derived().fromVariant(value);
            const Verdict verdict = derived().check(v);
            if (verdict.code != S_OK) raise(verdict.code, verdict.text);
            setValue(v);
        });
    }
    HRESULT STDMETHODCALLTYPE get_ValStatus(CapeValidationStatus* status) override
    {
        return this->guard(kParameter, L"ValStatus", [&] { *Base::out(status) = status_; });
    }
    HRESULT STDMETHODCALLTYPE get_Mode(CapeParamMode* mode) override
    {
        return this->guard(kParameter, L"Mode", [&] { *Base::out(mode) = CAPE_INPUT; });
    }
    HRESULT STDMETHODCALLTYPE put_Mode(CapeParamMode mode) override
    {
        return this->guard(kParameter, L"Mode", [&] {
            if (mode != CAPE_INPUT) raise(kCapeInvalidArgument, this->name_ + L" is an input; its mode is fixed");
        });
    }
    HRESULT STDMETHODCALLTYPE Validate(BSTR* message, VARIANT_BOOL* isOK) override
    {
        return this->guard(kParameter, L"Validate", [&] {
            const Verdict verdict = derived().check(value_());
            report(verdict, Base::out(message), Base::out(isOK));
            status_ = verdict.code == S_OK ? CAPE_VALID : CAPE_INVALID;
        });
    }
    HRESULT STDMETHODCALLTYPE Reset() override
    {
        return this->guard(kParameter, L"Reset", [&] { setValue(derived().defaultValue()); });
    }

    // --- ICapeParameterSpec ------------------------------------------------------------------
    HRESULT STDMETHODCALLTYPE get_Type(CapeParamType* type) override
    {
        return this->guard(kSpec, L"Type", [&] { *Base::out(type) = Derived::kType; });
    }
    HRESULT STDMETHODCALLTYPE get_Dimensionality(VARIANT* dim) override
    {
        return this->guard(kSpec, L"Dimensionality", [&] { setDoubles(Base::out(dim), derived().dimensionality()); });
    }

protected:
    Parameter(std::wstring name, std::wstring description, std::function<T()> read, std::function<void(T)> write)
        : Base(std::move(name), std::move(description)), value_(std::move(read)), write_(std::move(write))
    {}

    // The parameter spec's Validate of a given value.
    HRESULT validate(const wchar_t* interfaceName, const T& value, BSTR* message, VARIANT_BOOL* isOK)
    {
        return this->guard(interfaceName, L"Validate",
                           [&] { report(derived().check(value), Base::out(message), Base::out(isOK)); });
    }

private:
    Derived& derived() { return static_cast<Derived&>(*this); }
    void setValue(const T& v)
    {
        write_(v);
        status_ = CAPE_NOT_VALIDATED;
    }

    std::function<T()> value_;
    std::function<void(T)> write_;
    CapeValidationStatus status_ = CAPE_VALID;
};

// A number between bounds, of a dimensionality.
class RealParameter final : public Parameter<RealParameter, ICapeRealParameterSpec, double> {
public:
    static constexpr CapeParamType kType = CAPE_REAL;

    RealParameter(std::wstring name, std::wstring description, std::function<double()> read,
                  std::function<void(double)> write, double defaultValue, double lower, double upper,
                  std::wstring unit, std::vector<double> dimensionality)
        : Parameter(std::move(name), std::move(description), std::move(read), std::move(write)),
          default_(defaultValue), lower_(lower), upper_(upper), unit_(std::move(unit)), dims_(std::move(dimensionality))
    {}

    HRESULT STDMETHODCALLTYPE get_DefaultValue(double* v) override
    {
        return guard(L"ICapeRealParameterSpec", L"DefaultValue", [&] { *out(v) = default_; });
    }
    HRESULT STDMETHODCALLTYPE get_LowerBound(double* v) override
    {
        return guard(L"ICapeRealParameterSpec", L"LowerBound", [&] { *out(v) = lower_; });
    }
    HRESULT STDMETHODCALLTYPE get_UpperBound(double* v) override
    {
        return guard(L"ICapeRealParameterSpec", L"UpperBound", [&] { *out(v) = upper_; });
    }
    HRESULT STDMETHODCALLTYPE Validate(double value, BSTR* message, VARIANT_BOOL* isOK) override
    {
        return validate(L"ICapeRealParameterSpec", value, message, isOK);
    }
    using Parameter::Validate;

    Verdict check(double v) const
    {
        if (std::isfinite(v) && v >= lower_ && v <= upper_) return {};
        return {kCapeOutOfBounds, name_ + L" must lie between " + numberText(lower_) + L" and " + numberText(upper_) +
                                      L" " + unit_ + L"; " + numberText(v) + L" is outside"};
    }
    double defaultValue() const { return default_; }
    const std::vector<double>& dimensionality() const { return dims_; }
    double fromVariant(const VARIANT& v) const { return converted(v, VT_R8, name_, L"a number").dblVal; }
    static tarv::Variant toVariant(double v) { return tarv::Variant::fromDouble(v); }

private:
    double default_, lower_, upper_;
    std::wstring unit_;
    std::vector<double> dims_;
};

// A whole number between bounds.
class IntegerParameter final : public Parameter<IntegerParameter, ICapeIntegerParameterSpec, LONG> {
public:
    static constexpr CapeParamType kType = CAPE_INT;

    IntegerParameter(std::wstring name, std::wstring description, std::function<LONG()> read,
                     std::function<void(LONG)> write, LONG defaultValue, LONG lower, LONG upper)
        : Parameter(std::move(name), std::move(description), std::move(read), std::move(write)),
          default_(defaultValue), lower_(lower), upper_(upper)
    {}

    HRESULT STDMETHODCALLTYPE get_DefaultValue(LONG* v) override
    {
        return guard(L"ICapeIntegerParameterSpec", L"DefaultValue", [&] { *out(v) = default_; });
    }
    HRESULT STDMETHODCALLTYPE get_LowerBound(LONG* v) override
    {
        return guard(L"ICapeIntegerParameterSpec", L"LowerBound", [&] { *out(v) = lower_; });
    }
    HRESULT STDMETHODCALLTYPE get_UpperBound(LONG* v) override
    {
        return guard(L"ICapeIntegerParameterSpec", L"UpperBound", [&] { *out(v) = upper_; });
    }
    HRESULT STDMETHODCALLTYPE Validate(LONG value, BSTR* message, VARIANT_BOOL* isOK) override
    {
        return validate(L"ICapeIntegerParameterSpec", value, message, isOK);
    }
    using Parameter::Validate;

    Verdict check(LONG v) const
    {
        if (v >= lower_ && v <= upper_) return {};
        return {kCapeOutOfBounds, name_ + L" must lie between " + std::to_wstring(lower_) + L" and " +
                                      std::to_wstring(upper_) + L"; " + std::to_wstring(v) + L" is outside"};
    }
    LONG defaultValue() const { return default_; }
    const std::vector<double>& dimensionality() const { return kDimensionless; }
    // A number with a fractional part is no count.
    LONG fromVariant(const VARIANT& v) const
    {
        const double d = converted(v, VT_R8, name_, L"a whole number").dblVal;
        if (!(std::trunc(d) == d && std::fabs(d) < 2147483648.0))
            raise(kCapeInvalidArgument, L"The value of " + name_ + L" must be a whole number, not " + numberText(d));
        return static_cast<LONG>(d);
    }
    static tarv::Variant toVariant(LONG v) { return tarv::Variant::fromLong(v); }

private:
    LONG default_, lower_, upper_;
};

// One of a list of names, compared ignoring case and kept as the list spells them.
class OptionParameter final : public Parameter<OptionParameter, ICapeOptionParameterSpec, std::wstring> {
public:
    static constexpr CapeParamType kType = CAPE_OPTION;

    OptionParameter(std::wstring name, std::wstring description, std::function<std::wstring()> read,
                    std::function<void(std::wstring)> write, std::vector<std::wstring> options)
        : Parameter(std::move(name), std::move(description), std::move(read), std::move(write)),
          options_(std::move(options))
    {}

    HRESULT STDMETHODCALLTYPE get_DefaultValue(BSTR* v) override
    {
        return guard(L"ICapeOptionParameterSpec", L"DefaultValue", [&] { *out(v) = allocText(options_.front()); });
    }
    HRESULT STDMETHODCALLTYPE get_OptionList(VARIANT* names) override
    {
        return guard(L"ICapeOptionParameterSpec", L"OptionList", [&] { setStrings(out(names), options_); });
    }
    HRESULT STDMETHODCALLTYPE get_RestrictedToList(VARIANT_BOOL* restricted) override
    {
        return guard(L"ICapeOptionParameterSpec", L"RestrictedToList", [&] { *out(restricted) = VARIANT_TRUE; });
    }
    HRESULT STDMETHODCALLTYPE Validate(BSTR value, BSTR* message, VARIANT_BOOL* isOK) override
    {
        return validate(L"ICapeOptionParameterSpec", text(value), message, isOK);
    }
    using Parameter::Validate;

    Verdict check(const std::wstring& v) const
    {
        for (const std::wstring& o : options_)
            if (sameId(o, v)) return {};
        std::wstring list;
        for (const std::wstring& o : options_) list += (list.empty() ? L"" : L", ") + o;
        return {kCapeInvalidArgument, L"\"" + v + L"\" is not an option of " + name_ + L" (" + list + L")"};
    }
    std::wstring defaultValue() const { return options_.front(); }
    const std::vector<double>& dimensionality() const { return kDimensionless; }
    std::wstring fromVariant(const VARIANT& v) const
    {
        VARIANT c = converted(v, VT_BSTR, name_, L"a text");
        std::wstring s = text(c.bstrVal);
        VariantClear(&c);
        for (const std::wstring& o : options_)
            if (sameId(o, s)) return o;
        return s;
    }
    static tarv::Variant toVariant(const std::wstring& v) { return tarv::Variant::fromString(v); }

private:
    std::vector<std::wstring> options_;   // the first is the default
};

// On or off.
class BooleanParameter final : public Parameter<BooleanParameter, ICapeBooleanParameterSpec, bool> {
public:
    static constexpr CapeParamType kType = CAPE_BOOLEAN;

    BooleanParameter(std::wstring name, std::wstring description, std::function<bool()> read,
                     std::function<void(bool)> write, bool defaultValue)
        : Parameter(std::move(name), std::move(description), std::move(read), std::move(write)), default_(defaultValue)
    {}

    HRESULT STDMETHODCALLTYPE get_DefaultValue(VARIANT_BOOL* v) override
    {
        return guard(L"ICapeBooleanParameterSpec", L"DefaultValue",
                     [&] { *out(v) = default_ ? VARIANT_TRUE : VARIANT_FALSE; });
    }
    HRESULT STDMETHODCALLTYPE Validate(VARIANT_BOOL value, BSTR* message, VARIANT_BOOL* isOK) override
    {
        return validate(L"ICapeBooleanParameterSpec", value != VARIANT_FALSE, message, isOK);
    }
    using Parameter::Validate;

    static Verdict check(bool) { return {}; }
    bool defaultValue() const { return default_; }
    const std::vector<double>& dimensionality() const { return kDimensionless; }
    bool fromVariant(const VARIANT& v) const
    {
        return converted(v, VT_BOOL, name_, L"true or false").boolVal != VARIANT_FALSE;
    }
    static tarv::Variant toVariant(bool v) { return tarv::Variant::fromBool(v); }

private:
    bool default_;
};

class ParameterCollection final : public CapeObject<ICapeCollection> {
public:
    struct Entry {
        std::wstring name;
        tarv::ComPtr<IDispatch> parameter;
    };

    ParameterCollection(std::wstring description, std::vector<Entry> entries)
        : CapeObject(L"Parameters", std::move(description)), entries_(std::move(entries))
    {}

    HRESULT STDMETHODCALLTYPE Item(VARIANT id, IDispatch** item) override
    {
        return guard(L"ICapeCollection", L"Item", [&] {
            *out(item) = nullptr;
            entryOf(id).parameter.copyTo(item);
        });
    }
    HRESULT STDMETHODCALLTYPE Count(LONG* count) override
    {
        return guard(L"ICapeCollection", L"Count", [&] { *out(count) = static_cast<LONG>(entries_.size()); });
    }

private:
    const Entry& entryOf(const VARIANT& id) const
    {
        if (id.vt == VT_BSTR || id.vt == (VT_BYREF | VT_BSTR)) {
            const std::wstring name = text(id.vt == VT_BSTR ? id.bstrVal : *id.pbstrVal);
            for (const Entry& e : entries_)
                if (sameId(e.name, name)) return e;
            raise(kCapeInvalidArgument, L"There is no parameter \"" + name + L"\"");
        }
        VARIANT c;
        VariantInit(&c);
        if (FAILED(VariantChangeType(&c, const_cast<VARIANT*>(&id), 0, VT_I4)))
            raise(kCapeInvalidArgument, L"A parameter is chosen by its name or its position from 1");
        if (c.lVal < 1 || c.lVal > static_cast<LONG>(entries_.size()))
            raise(kCapeInvalidArgument, L"There is no parameter " + std::to_wstring(c.lVal) + L"; there are " +
                                            std::to_wstring(entries_.size()));
        return entries_[static_cast<size_t>(c.lVal - 1)];
    }

    std::vector<Entry> entries_;
};

const wchar_t* densityName(LiquidDensity d)
{
    return d == LiquidDensity::Constant ? L"Constant" : L"Rackett";
}

template <class C, class... A>
ParameterCollection::Entry entry(A&&... args)
{
    C* p = new C(std::forward<A>(args)...);
    return {p->componentName(), tarv::ComPtr<IDispatch>(static_cast<ICapeParameter*>(p))};
}

} // namespace

tarv::ComPtr<IDispatch> makeParameterCollection(std::shared_ptr<ModelSettings> settings)
{
    auto& s = settings;   // each parameter keeps the settings alive through its own copy
    std::vector<ParameterCollection::Entry> entries;
    entries.push_back(entry<RealParameter>(
        L"Reference temperature", L"Temperature at which the ideal gas has zero enthalpy and entropy (at 101325 Pa)",
        [s] { return s->referenceTemperature; }, [s](double v) { s->referenceTemperature = v; },
        kReferenceTemperature, 100.0, 1000.0, L"K", kTemperature));
    entries.push_back(entry<IntegerParameter>(
        L"Flash iterations", L"The most iterations of the Rachford-Rice solution of a TP flash",
        [s] { return static_cast<LONG>(s->flashIterations); }, [s](LONG v) { s->flashIterations = static_cast<int>(v); },
        LONG{200}, LONG{10}, LONG{10000}));
    entries.push_back(entry<OptionParameter>(
        L"Liquid density",
        L"Rackett: saturated liquid volumes fitted to each compound's density at 20 degC; Constant: that density "
        L"at every temperature",
        [s] { return std::wstring(densityName(s->liquidDensity)); },
        [s](const std::wstring& v) {
            s->liquidDensity = sameId(v, L"Constant") ? LiquidDensity::Constant : LiquidDensity::Rackett;
        },
        std::vector<std::wstring>{L"Rackett", L"Constant"}));
    entries.push_back(entry<BooleanParameter>(
        L"Normalise compositions", L"Scale compositions to a sum of one; when off, one that does not sum to one is refused",
        [s] { return s->normaliseCompositions; }, [s](bool v) { s->normaliseCompositions = v; }, true));
    tarv::ComPtr<IDispatch> collection;
    createAndQuery<ParameterCollection>(IID_IDispatch, collection.putVoid(), std::wstring(L"Settings of the ideal property package"),
                                        std::move(entries));
    return collection;
}

tarv::ComPtr<IDispatch> makeRealParameterCollection(std::wstring description,
                                                    std::vector<RealParameterDefinition> parameters)
{
    std::vector<ParameterCollection::Entry> entries;
    for (RealParameterDefinition& p : parameters)
        entries.push_back(entry<RealParameter>(std::move(p.name), std::move(p.description), std::move(p.read),
                                               std::move(p.write), p.defaultValue, p.lower, p.upper, std::move(p.unit),
                                               std::move(p.dimensionality)));
    tarv::ComPtr<IDispatch> collection;
    createAndQuery<ParameterCollection>(IID_IDispatch, collection.putVoid(), std::move(description), std::move(entries));
    return collection;
}

} // namespace samples::ideal
