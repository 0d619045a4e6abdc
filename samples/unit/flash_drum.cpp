#include "unit/flash_drum.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "ideal/parameters.h"

#include <objidl.h>

#include <cstdio>
#include <cstring>
#include <cwctype>
#include <memory>

namespace samples::unit {
namespace {

using ideal::allocText;
using ideal::CapeObject;
using ideal::raise;
using ideal::text;
using tarv::Bstr;
using tarv::ComPtr;
using tarv::Variant;

constexpr const wchar_t* kUnit = L"ICapeUnit";
constexpr const wchar_t* kPort = L"ICapeUnitPort";
constexpr const wchar_t* kCollection = L"ICapeCollection";
constexpr const wchar_t* kReport = L"ICapeUnitReport";
constexpr const wchar_t* kPersist = L"IPersistStreamInit";
constexpr const wchar_t* kSummary = L"Summary";
constexpr UINT32 kImageVersion = 1;

bool sameName(const std::wstring& a, const std::wstring& b)
{
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::towlower(a[i]) != std::towlower(b[i])) return false;
    return true;
}

// One port: its type and direction are fixed, and it holds what the simulator connected.
class Port final : public CapeObject<ICapeUnitPort> {
public:
    Port(std::wstring name, std::wstring description, CapePortType type, CapePortDirection direction)
        : CapeObject(std::move(name), std::move(description)), type_(type), direction_(direction)
    {}

    HRESULT STDMETHODCALLTYPE get_portType(CapePortType* type) override
    {
        return guard(kPort, L"portType", [&] { *out(type) = type_; });
    }
    HRESULT STDMETHODCALLTYPE get_direction(CapePortDirection* direction) override
    {
        return guard(kPort, L"direction", [&] { *out(direction) = direction_; });
    }
    HRESULT STDMETHODCALLTYPE get_connectedObject(IDispatch** object) override
    {
        return guard(kPort, L"connectedObject", [&] { connected_.copyTo(out(object)); });
    }
    HRESULT STDMETHODCALLTYPE Connect(IDispatch* object) override
    {
        return guard(kPort, L"Connect", [&] {
            if (!object) raise(ideal::kCapeInvalidArgument, L"Nothing was given to connect to port " + name_);
            const IID& needed = type_ == CAPE_MATERIAL ? IID_ICapeThermoMaterialObject : IID_ICapeCollection;
            ComPtr<IUnknown> check;
            if (FAILED(object->QueryInterface(needed, check.putVoid())) || !check)
                raise(ideal::kCapeInvalidArgument,
                      L"Port " + name_ +
                          (type_ == CAPE_MATERIAL ? L" takes a material object (ICapeThermoMaterialObject)"
                                                  : L" takes a parameter collection (ICapeCollection)"));
            connected_ = ComPtr<IDispatch>(object);
        });
    }
    HRESULT STDMETHODCALLTYPE Disconnect() override
    {
        return guard(kPort, L"Disconnect", [&] { connected_ = nullptr; });
    }

    IDispatch* connected() const noexcept { return connected_.get(); }

private:
    CapePortType type_;
    CapePortDirection direction_;
    ComPtr<IDispatch> connected_;
};

// The drum's ports by name (ignoring case) or by position from 1.
class PortCollection final : public CapeObject<ICapeCollection> {
public:
    explicit PortCollection(std::vector<ComPtr<Port>> ports)
        : CapeObject(L"Ports", L"The ports of the flash drum"), ports_(std::move(ports))
    {}

    HRESULT STDMETHODCALLTYPE Item(VARIANT id, IDispatch** item) override
    {
        return guard(kCollection, L"Item", [&] {
            IDispatch** result = out(item);
            *result = nullptr;
            Port* chosen = nullptr;
            if (id.vt == VT_BSTR) {
                for (const ComPtr<Port>& p : ports_)
                    if (sameName(p->componentName(), text(id.bstrVal))) chosen = p.get();
                if (!chosen) raise(ideal::kCapeInvalidArgument, L"There is no port \"" + text(id.bstrVal) + L"\"");
            } else {
                Variant n;
                if (FAILED(VariantChangeType(n.ptr(), &id, 0, VT_I4)) || n.get().lVal < 1 ||
                    n.get().lVal > static_cast<LONG>(ports_.size()))
                    raise(ideal::kCapeInvalidArgument, L"A port is asked for by its name or by its position from 1");
                chosen = ports_[static_cast<size_t>(n.get().lVal - 1)].get();
            }
            *result = static_cast<ICapeUnitPort*>(chosen);
            (*result)->AddRef();
        });
    }
    HRESULT STDMETHODCALLTYPE Count(LONG* count) override
    {
        return guard(kCollection, L"Count", [&] { *out(count) = static_cast<LONG>(ports_.size()); });
    }

private:
    std::vector<ComPtr<Port>> ports_;
};

// A material's single value of the overall mixture.
double overall(ICapeThermoMaterialObject* m, const wchar_t* property, const wchar_t* basis, const wchar_t* stream)
{
    std::vector<double> v;
    {
        Variant results, all;
        const HRESULT hr = m->GetProp(Bstr(property).get(), Bstr(L"Overall").get(), all.get(), Bstr(L"").get(),
                                      Bstr(basis).get(), results.ptr());
        if (FAILED(hr))
            raise(hr, std::wstring(L"Reading the ") + property + L" of " + stream + L" failed: " +
                          ideal::describeFailure(m, hr));
        v = ideal::doublesFrom(results.get(), property);
    }
    if (v.size() != 1) raise(ideal::kCapeInvalidArgument, std::wstring(L"The ") + property + L" of " + stream + L" is not one value");
    return v[0];
}

std::vector<double> get(ICapeThermoMaterialObject* m, const wchar_t* property, const std::wstring& phase,
                        const wchar_t* basis, const wchar_t* stream)
{
    Variant results, all;
    const HRESULT hr = m->GetProp(Bstr(property).get(), Bstr(phase).get(), all.get(), Bstr(L"").get(),
                                  Bstr(basis).get(), results.ptr());
    if (FAILED(hr))
        raise(hr, std::wstring(L"Reading the ") + property + L" (" + phase + L") of " + stream + L" failed: " +
                      ideal::describeFailure(m, hr));
    return ideal::doublesFrom(results.get(), property);
}

void set(ICapeThermoMaterialObject* m, const wchar_t* property, const wchar_t* basis, const std::vector<double>& v,
         const wchar_t* stream)
{
    Variant all;
    const HRESULT hr = m->SetProp(Bstr(property).get(), Bstr(L"Overall").get(), all.get(), Bstr(L"").get(),
                                  Bstr(basis).get(), tarv::makeDoubleArray(v).get());
    if (FAILED(hr))
        raise(hr, std::wstring(L"Setting the ") + property + L" of " + stream + L" failed: " +
                      ideal::describeFailure(m, hr));
}

// The phases after a TP flash: fraction, mole fractions and molar enthalpy of each present one.
struct PhaseState {
    std::wstring label;
    double fraction = 0;
    std::vector<double> composition;
    double enthalpy = 0;
};

// Sets a material to T, P, z and flow, flashes it and reads back its phases.
std::vector<PhaseState> flash(ICapeThermoMaterialObject* m, double T, double P, const std::vector<double>& z,
                              double flow, const wchar_t* stream)
{
    set(m, L"temperature", L"", {T}, stream);
    set(m, L"pressure", L"", {P}, stream);
    set(m, L"fraction", L"mole", z, stream);
    set(m, L"totalFlow", L"mole", {flow}, stream);
    HRESULT hr = m->CalcEquilibrium(Bstr(L"TP").get(), tarv::makeStringArray({L"enthalpy"}).get());
    if (FAILED(hr))
        raise(hr, std::wstring(L"The TP flash of ") + stream + L" failed: " + ideal::describeFailure(m, hr));
    Variant ids;
    hr = m->get_PhaseIds(ids.ptr());
    if (FAILED(hr)) raise(hr, std::wstring(L"Reading the phases of ") + stream + L" failed");
    std::vector<PhaseState> phases;
    for (const std::wstring& label : ideal::stringsFrom(ids.get(), L"PhaseIds")) {
        PhaseState s;
        s.label = label;
        s.fraction = get(m, L"phaseFraction", label, L"mole", stream).at(0);
        s.composition = get(m, L"fraction", label, L"mole", stream);
        s.enthalpy = get(m, L"enthalpy", label, L"mole", stream).at(0);
        phases.push_back(std::move(s));
    }
    return phases;
}

double mixtureEnthalpy(const std::vector<PhaseState>& phases)
{
    double h = 0;
    for (const PhaseState& p : phases) h += p.fraction * p.enthalpy;
    return h;
}

const PhaseState* phase(const std::vector<PhaseState>& phases, const wchar_t* label)
{
    for (const PhaseState& p : phases)
        if (sameName(p.label, label)) return &p;
    return nullptr;
}

struct Settings {
    double temperature = 330.0;
    double pressure = 101325.0;
};

struct Result {
    double vapourFraction = 0, vapourFlow = 0, liquidFlow = 0, duty = 0;
};

class FlashDrum final : public ideal::CapeComponent<ICapeUnit, ICapeUnitReport>,
                        public IPersistStreamInit,
                        public IPersistStream {
    using Base = ideal::CapeComponent<ICapeUnit, ICapeUnitReport>;

public:
    FlashDrum(const CLSID& clsid, const wchar_t* name, Behaviour behaviour)
        : Base(name, L"Isothermal flash drum: feed in, vapour and liquid out, the duty to hold T and P"),
          clsid_(clsid), behaviour_(behaviour)
    {
        auto port = [](const wchar_t* n, const wchar_t* d, CapePortType t, CapePortDirection dir) {
            return ComPtr<Port>(new Port(n, d, t, dir));
        };
        feed_ = port(L"Feed", L"The feed stream", CAPE_MATERIAL, CAPE_INLET);
        vapour_ = port(L"Vapour", L"The vapour product", CAPE_MATERIAL, CAPE_OUTLET);
        liquid_ = port(L"Liquid", L"The liquid product", CAPE_MATERIAL, CAPE_OUTLET);
        duty_ = port(L"Duty", L"The heat duty: parameter \"work\" in W", CAPE_ENERGY, CAPE_OUTLET);
        ideal::createAndQuery<PortCollection>(IID_IDispatch, ports_.putVoid(),
                                              std::vector<ComPtr<Port>>{feed_, vapour_, liquid_, duty_});
        auto s = settings_;
        parameters_ = ideal::makeRealParameterCollection(
            L"The flash drum's conditions",
            {{L"Temperature", L"Drum temperature", [s] { return s->temperature; }, [s](double v) { s->temperature = v; },
              330.0, 150.0, 1000.0, L"K", {0, 0, 0, 0, 1, 0, 0, 0}},
             {L"Pressure", L"Drum pressure", [s] { return s->pressure; }, [s](double v) { s->pressure = v; },
              101325.0, 1000.0, 1e8, L"Pa", {-1, 1, -2, 0, 0, 0, 0, 0}}});
    }

    // --- IUnknown: the persistence interfaces besides those of the base ---------------------
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        const bool init = behaviour_.interfaces == Behaviour::Interfaces::StreamInit;
        const bool any = behaviour_.interfaces != Behaviour::Interfaces::None;
        *out = nullptr;
        if (init && iid == IID_IPersistStreamInit) *out = static_cast<IPersistStreamInit*>(this);
        else if (any && iid == IID_IPersistStream) *out = static_cast<IPersistStream*>(this);
        else if (any && iid == IID_IPersist) *out = static_cast<IPersistStream*>(this);
        else return Base::QueryInterface(iid, out);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Base::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Base::Release(); }

    // --- ICapeUnit ----------------------------------------------------------------------------
    HRESULT STDMETHODCALLTYPE get_ports(IDispatch** ports) override
    {
        return guard(kUnit, L"ports", [&] { ports_.copyTo(out(ports)); });
    }
    HRESULT STDMETHODCALLTYPE get_ValStatus(CapeValidationStatus* status) override
    {
        return guard(kUnit, L"ValStatus", [&] { *out(status) = status_; });
    }
    HRESULT STDMETHODCALLTYPE Calculate() override
    {
        return guard(kUnit, L"Calculate", [&] {
            const std::wstring problem = whatIsMissing();
            if (!problem.empty()) raise(ideal::kCapeBadInvOrder, problem);
            calculate();
        });
    }
    HRESULT STDMETHODCALLTYPE Validate(BSTR* message, VARIANT_BOOL* isValid) override
    {
        return guard(kUnit, L"Validate", [&] {
            const std::wstring problem = whatIsMissing();
            BSTR m = allocText(problem);
            SysFreeString(*out(message));
            *message = m;
            *out(isValid) = problem.empty() ? VARIANT_TRUE : VARIANT_FALSE;
            status_ = problem.empty() ? CAPE_VALID : CAPE_INVALID;
        });
    }

    // --- ICapeUnitReport ---------------------------------------------------------------------
    HRESULT STDMETHODCALLTYPE get_reports(VARIANT* reports) override
    {
        return guard(kReport, L"reports", [&] { ideal::setStrings(out(reports), {kSummary}); });
    }
    HRESULT STDMETHODCALLTYPE get_selectedReport(BSTR* report) override
    {
        return guard(kReport, L"selectedReport", [&] { *out(report) = allocText(kSummary); });
    }
    HRESULT STDMETHODCALLTYPE put_selectedReport(BSTR report) override
    {
        return guard(kReport, L"selectedReport", [&] {
            if (!sameName(text(report), kSummary))
                raise(ideal::kCapeInvalidArgument, L"The flash drum has one report, \"Summary\"");
        });
    }
    HRESULT STDMETHODCALLTYPE ProduceReport(BSTR* message) override
    {
        return guard(kReport, L"ProduceReport", [&] { *out(message) = allocText(summary()); });
    }

    // --- IPersistStreamInit and IPersistStream ----------------------------------------------
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override
    {
        if (!clsid) return E_POINTER;
        *clsid = clsid_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsDirty() override
    {
        const bool same = saved_.temperature == settings_->temperature && saved_.pressure == settings_->pressure &&
                          savedName_ == name_;
        return same ? S_FALSE : S_OK;
    }
    HRESULT STDMETHODCALLTYPE InitNew() override
    {
        *settings_ = Settings{};
        markSaved();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Load(IStream* stream) override
    {
        return guard(kPersist, L"Load", [&] {
            if (!stream) raise(E_POINTER, L"No stream to load from");
            UINT32 version = 0, length = 0;
            Settings s;
            read(stream, &version, sizeof version);
            if (version != kImageVersion)
                raise(ideal::kCapeInvalidArgument, L"The saved flash drum has image version " + std::to_wstring(version) +
                                                       L"; this drum reads version 1");
            read(stream, &s.temperature, sizeof s.temperature);
            read(stream, &s.pressure, sizeof s.pressure);
            read(stream, &length, sizeof length);
            if (length > 4096) raise(ideal::kCapeInvalidArgument, L"The saved name is too long");
            std::wstring name(length, L'\0');
            read(stream, name.data(), length * sizeof(wchar_t));
            *settings_ = s;
            name_ = std::move(name);
            markSaved();
        });
    }
    HRESULT STDMETHODCALLTYPE Save(IStream* stream, BOOL clearDirty) override
    {
        const HRESULT hr = guard(kPersist, L"Save", [&] {
            if (!stream) raise(E_POINTER, L"No stream to save to");
            const UINT32 length = static_cast<UINT32>(name_.size());
            write(stream, &kImageVersion, sizeof kImageVersion);
            write(stream, &settings_->temperature, sizeof settings_->temperature);
            write(stream, &settings_->pressure, sizeof settings_->pressure);
            write(stream, &length, sizeof length);
            write(stream, name_.data(), length * sizeof(wchar_t));
            if (clearDirty) markSaved();
        });
        return FAILED(hr) ? hr : behaviour_.saveResult;
    }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* size) override
    {
        if (!size) return E_POINTER;
        size->QuadPart = behaviour_.reportedSize.value_or(4 + 8 + 8 + 4 + name_.size() * sizeof(wchar_t));
        return S_OK;
    }

private:
    void markSaved()
    {
        saved_ = *settings_;
        savedName_ = name_;
    }
    void terminate() override
    {
        for (Port* p : {feed_.get(), vapour_.get(), liquid_.get(), duty_.get()}) p->Disconnect();
    }
    ComPtr<IDispatch> parameterCollection() override { return parameters_; }

    static void read(IStream* stream, void* to, ULONG count)
    {
        ULONG got = 0;
        const HRESULT hr = count ? stream->Read(to, count, &got) : S_OK;
        if (FAILED(hr) || got != count) raise(STG_E_READFAULT, L"The saved flash drum ends early");
    }
    static void write(IStream* stream, const void* from, ULONG count)
    {
        ULONG put = 0;
        const HRESULT hr = count ? stream->Write(from, count, &put) : S_OK;
        if (FAILED(hr) || put != count) raise(STG_E_WRITEFAULT, L"The flash drum could not be written to the stream");
    }

    std::wstring whatIsMissing() const
    {
        for (const Port* p : {feed_.get(), vapour_.get(), liquid_.get()})
            if (!p->connected()) return L"Port " + p->componentName() + L" is not connected";
        return {};
    }

    static ComPtr<ICapeThermoMaterialObject> material(const Port& port)
    {
        return ComPtr<IDispatch>(port.connected()).query<ICapeThermoMaterialObject>(IID_ICapeThermoMaterialObject);
    }

    void calculate()
    {
        const auto feed = material(*feed_.get()), vapour = material(*vapour_.get()), liquid = material(*liquid_.get());
        const double T = settings_->temperature, P = settings_->pressure;
        const double feedT = overall(feed.get(), L"temperature", L"", L"the feed");
        const double feedP = overall(feed.get(), L"pressure", L"", L"the feed");
        const double F = overall(feed.get(), L"totalFlow", L"mole", L"the feed");
        const std::vector<double> z = get(feed.get(), L"fraction", L"Overall", L"mole", L"the feed");

        // The feed's enthalpy, from a copy of it on the liquid outlet, which is set anew below.
        ICapeThermoMaterialObject* copy = behaviour_.flashesFeed ? feed.get() : liquid.get();
        const double hFeed = mixtureEnthalpy(flash(copy, feedT, feedP, z, F, L"the liquid product"));
        // The split at the drum's conditions.
        const std::vector<PhaseState> split = flash(vapour.get(), T, P, z, F, L"the vapour product");
        const PhaseState* v = phase(split, L"Vapor");
        const PhaseState* l = phase(split, L"Liquid");
        Result r;
        r.vapourFraction = v ? v->fraction : 0.0;
        r.vapourFlow = F * r.vapourFraction;
        r.liquidFlow = F - r.vapourFlow;
        // Each product at its own composition; an empty product keeps the feed's composition.
        const auto hV = mixtureEnthalpy(flash(vapour.get(), T, P, v ? v->composition : z, r.vapourFlow, L"the vapour product"));
        const auto hL = mixtureEnthalpy(flash(liquid.get(), T, P, l ? l->composition : z, r.liquidFlow, L"the liquid product"));
        r.duty = r.vapourFlow * hV + r.liquidFlow * hL - F * hFeed;

        if (IDispatch* energy = duty_->connected()) {
            auto collection = ComPtr<IDispatch>(energy).query<ICapeCollection>(IID_ICapeCollection);
            ComPtr<IDispatch> item;
            HRESULT hr = collection ? collection->Item(Variant::fromString(L"work").get(), item.put()) : E_NOINTERFACE;
            auto work = item.query<ICapeParameter>(IID_ICapeParameter);
            if (SUCCEEDED(hr) && !work) hr = E_NOINTERFACE;
            if (SUCCEEDED(hr)) hr = work->put_value(Variant::fromDouble(r.duty).get());
            if (FAILED(hr))
                raise(hr, L"The duty could not be written to parameter \"work\" of the energy port: " +
                              ideal::describeFailure(collection.get(), hr));
        }
        result_ = r;
        status_ = CAPE_VALID;
    }

    std::wstring summary() const
    {
        wchar_t buf[512];
        if (!result_) {
            std::swprintf(buf, 512, L"%ls: T = %g K, P = %g Pa; not calculated yet", name_.c_str(),
                          settings_->temperature, settings_->pressure);
        } else {
            std::swprintf(buf, 512,
                          L"%ls: T = %g K, P = %g Pa; vapour fraction %.6f; vapour %.6g mol/s, liquid %.6g mol/s; "
                          L"duty %.6g W",
                          name_.c_str(), settings_->temperature, settings_->pressure, result_->vapourFraction,
                          result_->vapourFlow, result_->liquidFlow, result_->duty);
        }
        return buf;
    }

    CLSID clsid_;
    Behaviour behaviour_;
    std::shared_ptr<Settings> settings_ = std::make_shared<Settings>();
    ComPtr<Port> feed_, vapour_, liquid_, duty_;
    ComPtr<IDispatch> ports_;
    ComPtr<IDispatch> parameters_;
    CapeValidationStatus status_ = CAPE_NOT_VALIDATED;
    std::optional<Result> result_;
    Settings saved_;
    std::wstring savedName_ = name_;
};

} // namespace

HRESULT createFlashDrum(REFIID iid, void** out, const CLSID& clsid, const wchar_t* name, Behaviour behaviour)
{
    return ideal::createAndQuery<FlashDrum>(iid, out, clsid, name, behaviour);
}

} // namespace samples::unit
