// tarv_simulator: a small CAPE-OPEN simulator. It drives a property package manager (1.1) or a
// thermo system (1.0) the way a process simulator does: lists the packages, takes one, gives it
// the simulator's own material, runs a TP flash and the properties of the phases found, prints
// a summary and releases everything. With --reactions it drives a reaction package manager
// instead: takes a reaction package, reads its chemistry, gives it a gas of the reactions'
// compounds at T, P and composition z and a reaction object of its own, and prints the rates.
// With --unit it places a unit operation on its flowsheet: a flash drum between its own
// materials and an energy stream, calculated, saved to memory and loaded into a new instance.
//
//   tarv_simulator [--generation 1.1|1.0] [--manager <ProgID|{CLSID}>] [--package <name>]
//                  [--flash TP|PVF|TVF] [--T <K>] [--P <Pa>] [--vf <vapour fraction>]
//                  [--z <x1,x2,...>] [--flow <mol/s>] [--inproc] [--list] [--new]
//   tarv_simulator --reactions [--manager <ProgID|{CLSID}>] [--package <name>] [--T <K>] [--P <Pa>]
//                  [--z <y1,y2,...>] [--inproc] [--list]
//   tarv_simulator --unit [--manager <ProgID|{CLSID}>] [--thermo <ProgID|{CLSID}>] [--T <K>] [--P <Pa>]
//                  [--z <x1,x2,...>] [--flow <mol/s>] [--drum-T <K>] [--drum-P <Pa>] [--inproc]
//
// --new (1.1) asks the manager for a new package (ICapeThermoNewPropertyPackage) instead of taking
// one by name: the manager lets the user choose it, and a null answer ends the run with status 1.
// --flash PVF finds the temperature at which the feed at --P has vapour fraction --vf (0: bubble
// point, 1: dew point), TVF the pressure at --T; both are CAPE-OPEN 1.1 calculations here.
// By default the manager is activated out of process (CLSCTX_LOCAL_SERVER), as a simulator
// reaches the exported packages; --inproc allows any context, for in-process components.
// --unit creates the unit operation (by default VESKER64.UnitOperation64, the logged unit, whose real
// unit is the one configured in TARV64 or chosen by the user) and the simulator's own CAPE-OPEN 1.0
// property package (--thermo, default TARVKit.Package10) in process for its materials: the feed at
// --T, --P, --z and --flow, flashed; a vapour and a liquid product; an energy stream "Duty" with
// the parameter "work". It sets the drum's "Temperature" and "Pressure" parameters to --drum-T and
// --drum-P, connects the ports Feed, Vapour, Liquid and Duty, initialises, validates and
// calculates, prints the products, saves the unit to a stream in memory, loads that stream into a
// new unit operation of the same class and prints what came back.
// Exit status: 0 success, 1 a CAPE-OPEN or COM call failed, 2 bad command line.
#include "com/bstr.h"
#include "com/com_ptr.h"
#include "com/variant.h"
#include "ideal/parameters.h"
#include "ideal/values.h"
#include "simulator/material.h"
#include "simulator/reaction_object.h"

#include "capeopen.h"
#include "tarvlib.h"

#include <windows.h>
#include <ole2.h>
#include <shellapi.h>

#include <cstdio>
#include <cwchar>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using samples::ideal::doublesFrom;
using samples::ideal::stringsFrom;
using tarv::Bstr;
using tarv::ComPtr;
using tarv::Variant;

struct Options {
    std::wstring generation = L"1.1";
    std::wstring manager;               // default depends on the generation
    std::wstring package;               // default: the first listed
    std::wstring flash = L"TP";
    double temperature = 340.0;         // K
    double pressure = 101325.0;         // Pa
    double vaporFraction = 0.0;
    std::vector<double> composition;    // default: equimolar
    double flow = 1.0;                  // mol/s
    bool inproc = false;
    bool listOnly = false;
    bool newPackage = false;
    bool reactions = false;
    bool unit = false;
    std::wstring thermo = L"TARVKit.Package10";
    double drumTemperature = 330.0;     // K
    double drumPressure = 101325.0;     // Pa
};

// A failed step: what was called, its status and the failing object's ECapeUser description.
struct Failure {
    std::string step;
    HRESULT hr;
    std::wstring description;
};

struct UsageError {
    std::string text;
};

std::string narrow(const std::wstring& s)
{
    return tarv::toNarrow(s);
}

std::wstring capeDescription(IUnknown* object)
{
    if (!object) return {};
    ComPtr<ECapeUser> user;
    if (FAILED(object->QueryInterface(IID_ECapeUser, user.putVoid())) || !user) return {};
    Bstr d;
    if (FAILED(user->get_description(d.put()))) return {};
    return d.wide();
}

void check(HRESULT hr, IUnknown* object, const std::string& step)
{
    if (FAILED(hr)) throw Failure{step, hr, capeDescription(object)};
}

std::string statusName(HRESULT hr)
{
    static const char* const cape[] = {
        "ECapeUnknown", "ECapeData", "ECapeLicenceError", "ECapeBadCOParameter", "ECapeBadArgument",
        "ECapeInvalidArgument", "ECapeOutOfBounds", "ECapeImplementation", "ECapeNoImpl", "ECapeLimitedImpl",
        "ECapeComputation", "ECapeOutOfResources", "ECapeNoMemory", "ECapeTimeOut", "ECapeFailedInitialisation",
        "ECapeSolvingError", "ECapeBadInvOrder", "ECapeInvalidOperation", "ECapePersistence", "ECapeIllegalAccess",
        "ECapePersistenceNotFound", "ECapePersistenceSystemError", "ECapePersistenceOverflow",
        "ECapeOutsideSolverScope", "ECapeHessianInfoNotAvailable", "ECapeThrmPropertyNotAvailable"};
    const unsigned long u = static_cast<unsigned long>(hr);
    if (u >= 0x80040501UL && u <= 0x8004051AUL) return cape[u - 0x80040501UL];
    static const std::pair<HRESULT, const char*> com[] = {
        {REGDB_E_CLASSNOTREG, "REGDB_E_CLASSNOTREG, class not registered"},
        {CO_E_CLASSSTRING, "CO_E_CLASSSTRING, invalid class string"},
        {CO_E_SERVER_EXEC_FAILURE, "CO_E_SERVER_EXEC_FAILURE, server execution failed"},
        {CO_E_SERVER_STOPPING, "CO_E_SERVER_STOPPING, the server is stopping"},
        {RPC_E_DISCONNECTED, "RPC_E_DISCONNECTED, the object disconnected from its clients"},
        {RPC_E_SERVERFAULT, "RPC_E_SERVERFAULT, the server raised an exception"},
        {static_cast<HRESULT>(0x800706BA), "RPC_S_SERVER_UNAVAILABLE, the server is unavailable"},
        {static_cast<HRESULT>(0x800706BE), "RPC_S_CALL_FAILED, the remote call failed"},
        {E_NOINTERFACE, "E_NOINTERFACE, no such interface"},
        {E_NOTIMPL, "E_NOTIMPL, not implemented"},
        {E_POINTER, "E_POINTER, invalid pointer"},
        {E_INVALIDARG, "E_INVALIDARG, invalid argument"},
        {E_OUTOFMEMORY, "E_OUTOFMEMORY, out of memory"},
        {E_FAIL, "E_FAIL, unspecified failure"},
    };
    for (const auto& [code, name] : com)
        if (code == hr) return name;
    wchar_t* text = nullptr;
    FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                   static_cast<DWORD>(hr), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring s = text ? text : L"";
    LocalFree(text);
    while (!s.empty() && (s.back() == L'\n' || s.back() == L'\r' || s.back() == L' ')) s.pop_back();
    return s.empty() ? "unknown status" : narrow(s);
}

// --- Command line -------------------------------------------------------------------------------

double number(const std::wstring& option, const std::wstring& text)
{
    wchar_t* end = nullptr;
    const double v = std::wcstod(text.c_str(), &end);
    if (text.empty() || *end) throw UsageError{"option " + narrow(option) + " needs a number, not \"" + narrow(text) + "\""};
    return v;
}

Options parse(int argc, wchar_t** argv)
{
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::wstring opt = argv[i];
        auto value = [&]() -> std::wstring {
            if (i + 1 >= argc) throw UsageError{"option " + narrow(opt) + " needs a value"};
            return argv[++i];
        };
        if (opt == L"--generation") o.generation = value();
        else if (opt == L"--manager") o.manager = value();
        else if (opt == L"--package") o.package = value();
        else if (opt == L"--T") o.temperature = number(opt, value());
        else if (opt == L"--P") o.pressure = number(opt, value());
        else if (opt == L"--flow") o.flow = number(opt, value());
        else if (opt == L"--vf") o.vaporFraction = number(opt, value());
        else if (opt == L"--flash") o.flash = value();
        else if (opt == L"--z") {
            std::wstring list = value();
            size_t start = 0;
            while (start <= list.size()) {
                size_t end = list.find(L',', start);
                if (end == std::wstring::npos) end = list.size();
                o.composition.push_back(number(opt, list.substr(start, end - start)));
                start = end + 1;
            }
        }
        else if (opt == L"--inproc") o.inproc = true;
        else if (opt == L"--list") o.listOnly = true;
        else if (opt == L"--new") o.newPackage = true;
        else if (opt == L"--reactions") o.reactions = true;
        else if (opt == L"--unit") o.unit = true;
        else if (opt == L"--thermo") o.thermo = value();
        else if (opt == L"--drum-T") o.drumTemperature = number(opt, value());
        else if (opt == L"--drum-P") o.drumPressure = number(opt, value());
        else throw UsageError{"unknown option " + narrow(opt)};
    }
    if (o.generation != L"1.1" && o.generation != L"1.0") throw UsageError{"--generation must be 1.1 or 1.0"};
    if (o.flash != L"TP" && o.flash != L"PVF" && o.flash != L"TVF") throw UsageError{"--flash must be TP, PVF or TVF"};
    if (o.flash != L"TP" && o.generation != L"1.1") throw UsageError{"--flash " + narrow(o.flash) + " needs --generation 1.1"};
    if (o.unit && o.reactions) throw UsageError{"--unit and --reactions are two different roads"};
    if (o.manager.empty())
        o.manager = o.unit                 ? L"VESKER64.UnitOperation64"
                    : o.reactions            ? L"TARV64.ReactionPackageManager64"
                    : o.generation == L"1.1" ? L"TARV64.PropertyPackageManager64"
                                             : L"TARV64.ThermoSystem64";
    return o;
}

// --- Activation ---------------------------------------------------------------------------------

// The class named by a ProgID or a {CLSID}.
CLSID classOf(const std::wstring& name)
{
    CLSID clsid;
    const HRESULT hr = name.front() == L'{' ? CLSIDFromString(name.c_str(), &clsid) : CLSIDFromProgID(name.c_str(), &clsid);
    check(hr, nullptr, "looking up class " + narrow(name));
    return clsid;
}

template <class I>
ComPtr<I> activate(const Options& o, REFIID iid)
{
    ComPtr<I> object;
    const HRESULT hr =
        CoCreateInstance(classOf(o.manager), nullptr, o.inproc ? CLSCTX_ALL : CLSCTX_LOCAL_SERVER, iid, object.putVoid());
    if (hr == REGDB_E_CLASSNOTREG && !o.inproc)
        throw Failure{"creating " + narrow(o.manager), hr,
                      L"no local server is registered for it; --inproc allows in-process components"};
    check(hr, nullptr, "creating " + narrow(o.manager));
    return object;
}

// Initialize through ICapeUtilities when the object has it; the returned pointer is for Terminate.
ComPtr<ICapeUtilities> initialize(IUnknown* object, const std::string& what)
{
    ComPtr<ICapeUtilities> u;
    object->QueryInterface(IID_ICapeUtilities, u.putVoid());
    if (u) check(u->Initialize(), object, what + " Initialize");
    return u;
}

std::vector<std::wstring> packageList(const Variant& names, const std::string& step, const wchar_t* what = L"property")
{
    if (names.vt() == VT_EMPTY) throw Failure{step, S_OK, std::wstring(L"no ") + what + L" packages are offered"};
    try {
        return stringsFrom(names.get(), L"package names");
    } catch (const samples::ideal::CapeError& e) {
        throw Failure{step, e.code, e.text};
    }
}

// --- Results ------------------------------------------------------------------------------------

struct Compound {
    std::wstring id, formula, cas;
    double boilingPoint = 0, molecularWeight = 0;
};

struct Summary {
    std::wstring generation, managerName, packageName, packageDescription;
    std::vector<std::wstring> packages;
    std::vector<Compound> compounds;
};

std::vector<Compound> compoundsFrom(const Variant& ids, const Variant& formulae, const Variant& boil,
                                    const Variant& mw, const Variant& cas)
{
    const auto i = stringsFrom(ids.get(), L"compIds");
    const auto f = stringsFrom(formulae.get(), L"formulae");
    const auto b = doublesFrom(boil.get(), L"boilTemps");
    const auto m = doublesFrom(mw.get(), L"molwts");
    const auto c = stringsFrom(cas.get(), L"casnos");
    std::vector<Compound> out;
    for (size_t k = 0; k < i.size(); ++k)
        out.push_back({i[k], k < f.size() ? f[k] : L"", k < c.size() ? c[k] : L"", k < b.size() ? b[k] : 0.0,
                       k < m.size() ? m[k] : 0.0});
    return out;
}

// The properties asked for each phase, by their identifiers in each generation, and how the
// summary shows them.
struct ShownProperty {
    const wchar_t* id11;
    const wchar_t* id10;
    const wchar_t* basis;
    const char* label;
};
const ShownProperty kProperties[] = {
    {L"molecularWeight", L"molecularWeight", L"", "Molecular weight [g/mol]"},
    {L"density", L"density", L"mole", "Density [mol/m3]"},
    {L"enthalpy", L"enthalpy", L"mole", "Enthalpy [J/mol]"},
    {L"entropy", L"entropy", L"mole", "Entropy [J/(mol K)]"},
    {L"heatCapacityCp", L"heatCapacity", L"mole", "Cp [J/(mol K)]"},
    {L"fugacityCoefficient", L"fugacityCoefficient", L"", "Fugacity coefficient"},
};

void printRow(const std::string& label, const std::vector<std::string>& cells)
{
    std::printf("  %-34s", label.c_str());
    for (const std::string& c : cells) std::printf(" %16s", c.c_str());
    std::printf("\n");
}

std::string fmt(const char* format, double v)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, format, v);
    return buf;
}

void printSummary(const Summary& s, const Options& o, const sim::Material& m, bool generation10)
{
    std::printf("TARV sample simulator, CAPE-OPEN %s\n", narrow(s.generation).c_str());
    std::printf("Manager:    %s (%s)\n", narrow(o.manager).c_str(), narrow(s.managerName).c_str());
    std::printf("Packages:  ");
    for (size_t i = 0; i < s.packages.size(); ++i)
        std::printf("%s \"%s\"", i ? "," : "", narrow(s.packages[i]).c_str());
    std::printf("\n");
    std::printf("Package:    \"%s\": %s\n", narrow(s.packageName).c_str(), narrow(s.packageDescription).c_str());
    std::printf("Compounds:\n");
    for (const Compound& c : s.compounds)
        std::printf("  %-14s %-8s CAS %-10s MW %8.3f g/mol  Tb %7.2f K\n", narrow(c.id).c_str(),
                    narrow(c.formula).c_str(), narrow(c.cas).c_str(), c.molecularWeight, c.boilingPoint);

    const std::vector<double> z = *m.value(L"fraction", L"Overall", L"mole");
    const double T = m.value(L"temperature", L"Overall", L"")->at(0);
    const double P = m.value(L"pressure", L"Overall", L"")->at(0);
    std::printf("Feed:       T = %g K%s, P = %g Pa%s, flow = %g mol/s\n", T, o.flash == L"PVF" ? " (found)" : "", P,
                o.flash == L"TVF" ? " (found)" : "", o.flow);
    const std::vector<std::wstring>& present = m.presentPhases();
    std::string phases;
    for (const std::wstring& p : present) phases += (phases.empty() ? "" : " + ") + narrow(p);
    std::string flash = narrow(o.flash);
    if (o.flash != L"TP") flash += ", vapour fraction " + fmt("%g", o.vaporFraction);
    std::printf("Flash:      %s, %s\n", flash.c_str(),
                present.size() == 1 ? ("single phase, " + phases).c_str() : ("two phases, " + phases).c_str());

    std::vector<std::string> header{"Feed"};
    for (const std::wstring& p : present) header.push_back(narrow(p));
    printRow("", header);
    auto phaseValue = [&](const wchar_t* prop, const std::wstring& phase, const wchar_t* basis) {
        std::optional<std::vector<double>> v = m.value(prop, phase, basis);
        return v ? *v : std::vector<double>();
    };
    std::vector<std::string> row{fmt("%.6f", 1.0)};
    std::vector<double> fractions;
    for (const std::wstring& p : present) {
        const auto f = phaseValue(L"phaseFraction", p, L"mole");
        fractions.push_back(f.empty() ? 0.0 : f[0]);
        row.push_back(fmt("%.6f", fractions.back()));
    }
    printRow("Phase fraction [mol/mol]", row);
    row = {fmt("%.6g", o.flow)};
    for (double f : fractions) row.push_back(fmt("%.6g", f * o.flow));
    printRow("Flow [mol/s]", row);
    for (size_t i = 0; i < s.compounds.size(); ++i) {
        row = {fmt("%.6f", z[i])};
        for (const std::wstring& p : present) {
            const auto x = phaseValue(L"fraction", p, L"mole");
            row.push_back(i < x.size() ? fmt("%.6f", x[i]) : "-");
        }
        printRow("x " + narrow(s.compounds[i].id), row);
    }
    for (const ShownProperty& sp : kProperties) {
        const wchar_t* id = generation10 ? sp.id10 : sp.id11;
        const bool perCompound = std::wstring(id) == L"fugacityCoefficient";
        const size_t rows = perCompound ? s.compounds.size() : 1;
        for (size_t i = 0; i < rows; ++i) {
            row = {""};
            for (const std::wstring& p : present) {
                const auto v = phaseValue(id, p, sp.basis);
                row.push_back(i < v.size() ? fmt("%.6g", v[i]) : "-");
            }
            printRow(perCompound ? std::string(sp.label) + " " + narrow(s.compounds[i].id) : sp.label, row);
        }
        if (std::wstring(sp.id11) == L"density") {
            // Mass density from the molar density and the phase's molecular weight.
            row = {""};
            for (const std::wstring& p : present) {
                const auto rho = phaseValue(L"density", p, L"mole");
                const auto mw = phaseValue(L"molecularWeight", p, L"");
                row.push_back(rho.empty() || mw.empty() ? "-" : fmt("%.6g", rho[0] * mw[0] / 1000.0));
            }
            printRow("Density [kg/m3]", row);
        }
    }
    if (present.size() == 2) {
        const auto k = m.value(L"kvalue", present[0] + L"+" + present[1], L"");
        if (k)
            for (size_t i = 0; i < s.compounds.size() && i < k->size(); ++i)
                printRow("K-value (y/x) " + narrow(s.compounds[i].id), {"", fmt("%.6g", (*k)[i])});
    }
}

// --- The 1.1 road -------------------------------------------------------------------------------

std::wstring identification(IUnknown* object, bool description)
{
    ComPtr<ICapeIdentification> id;
    object->QueryInterface(IID_ICapeIdentification, id.putVoid());
    if (!id) return {};
    Bstr text;
    if (FAILED(description ? id->get_ComponentDescription(text.put()) : id->get_ComponentName(text.put()))) return {};
    return text.wide();
}

template <class I>
ComPtr<I> require(IUnknown* object, REFIID iid, const char* name, const char* holder = "the package")
{
    ComPtr<I> p;
    object->QueryInterface(iid, p.putVoid());
    if (!p) throw Failure{std::string("querying ") + holder + " for " + name, E_NOINTERFACE, {}};
    return p;
}

std::vector<double> feedComposition(const Options& o, size_t compounds)
{
    if (o.composition.empty()) return std::vector<double>(compounds, 1.0 / static_cast<double>(compounds));
    if (o.composition.size() != compounds)
        throw UsageError{"--z has " + std::to_string(o.composition.size()) + " values; the package has " +
                         std::to_string(compounds) + " compounds"};
    return o.composition;
}

void run11(const Options& o)
{
    Summary s;
    s.generation = L"1.1";
    ComPtr<ICapeThermoPropertyPackageManager> manager =
        activate<ICapeThermoPropertyPackageManager>(o, IID_ICapeThermoPropertyPackageManager);
    s.managerName = identification(manager.get(), false);
    ComPtr<ICapeUtilities> managerUtilities = initialize(manager.get(), "manager");

    Variant names;
    check(manager->GetPropertyPackageList(names.ptr()), manager.get(), "GetPropertyPackageList");
    // A new package may be asked of a manager that has none yet.
    if (!o.newPackage || names.vt() != VT_EMPTY) s.packages = packageList(names, "GetPropertyPackageList");
    if (o.listOnly) {
        for (const std::wstring& n : s.packages) std::printf("%s\n", narrow(n).c_str());
        if (managerUtilities) managerUtilities->Terminate();
        return;
    }
    ComPtr<IDispatch> package;
    if (o.newPackage) {
        ComPtr<ICapeThermoNewPropertyPackage> creator;
        manager->QueryInterface(IID_ICapeThermoNewPropertyPackage, creator.putVoid());
        if (!creator) throw Failure{"querying the manager for ICapeThermoNewPropertyPackage", E_NOINTERFACE, {}};
        check(creator->NewPropertyPackage(package.put()), manager.get(), "NewPropertyPackage");
        if (!package) throw Failure{"NewPropertyPackage", S_OK, L"no package was chosen"};
        s.packageName = identification(package.get(), false);
    } else {
        s.packageName = o.package.empty() ? s.packages.front() : o.package;
        check(manager->GetPropertyPackage(Bstr(s.packageName).get(), package.put()), manager.get(),
              "GetPropertyPackage(\"" + narrow(s.packageName) + "\")");
    }
    if (!package)
        throw Failure{"GetPropertyPackage(\"" + narrow(s.packageName) + "\")", S_OK,
                      L"success, but no package was returned"};
    ComPtr<ICapeUtilities> packageUtilities = initialize(package.get(), "package");
    s.packageDescription = identification(package.get(), true);

    auto compounds = require<ICapeThermoCompounds>(package.get(), IID_ICapeThermoCompounds, "ICapeThermoCompounds");
    Variant ids, formulae, compoundNames, boil, mw, cas;
    check(compounds->GetCompoundList(ids.ptr(), formulae.ptr(), compoundNames.ptr(), boil.ptr(), mw.ptr(), cas.ptr()),
          package.get(), "GetCompoundList");
    s.compounds = compoundsFrom(ids, formulae, boil, mw, cas);

    auto phases = require<ICapeThermoPhases>(package.get(), IID_ICapeThermoPhases, "ICapeThermoPhases");
    Variant labels, states, keys;
    check(phases->GetPhaseList(labels.ptr(), states.ptr(), keys.ptr()), package.get(), "GetPhaseList");
    const std::vector<std::wstring> phaseLabels = stringsFrom(labels.get(), L"phaseLabels");

    std::vector<std::wstring> compoundIds;
    for (const Compound& c : s.compounds) compoundIds.push_back(c.id);
    ComPtr<sim::Material> material = sim::Material::create(compoundIds, phaseLabels, L"Feed");
    ICapeThermoMaterial* mat = material.get();

    auto context = require<ICapeThermoMaterialContext>(package.get(), IID_ICapeThermoMaterialContext,
                                                       "ICapeThermoMaterialContext");
    check(context->SetMaterial(static_cast<ICapeThermoMaterial*>(material.get())), package.get(), "SetMaterial");

    const Bstr none(L""), mole(L"mole");
    if (o.flash != L"PVF")
        check(mat->SetOverallProp(Bstr(L"temperature").get(), none.get(), tarv::makeDoubleArray({o.temperature}).get()),
              mat, "setting the feed temperature");
    if (o.flash != L"TVF")
        check(mat->SetOverallProp(Bstr(L"pressure").get(), none.get(), tarv::makeDoubleArray({o.pressure}).get()), mat,
              "setting the feed pressure");
    check(mat->SetOverallProp(Bstr(L"fraction").get(), mole.get(),
                              tarv::makeDoubleArray(feedComposition(o, s.compounds.size())).get()),
          mat, "setting the feed composition");
    check(mat->SetOverallProp(Bstr(L"totalFlow").get(), mole.get(), tarv::makeDoubleArray({o.flow}).get()), mat,
          "setting the feed flow");
    // Every phase of the package may appear.
    material->setPresentPhases(phaseLabels, std::vector<LONG>(phaseLabels.size(), CAPE_UNKNOWNPHASESTATUS));

    // The two specs: temperature and pressure, or one of them and the vapour fraction,
    // whose value goes on the vapour phase.
    Variant spec1 = tarv::makeStringArray({o.flash == L"PVF" ? L"pressure" : L"temperature", L"", L"Overall"});
    Variant spec2 = o.flash == L"TP" ? tarv::makeStringArray({L"pressure", L"", L"Overall"})
                                     : tarv::makeStringArray({L"phaseFraction", L"mole", L"Vapor"});
    if (o.flash != L"TP")
        check(mat->SetSinglePhaseProp(Bstr(L"phaseFraction").get(), Bstr(L"Vapor").get(), mole.get(),
                                      tarv::makeDoubleArray({o.vaporFraction}).get()),
              mat, "setting the vapour fraction");
    auto equilibrium = require<ICapeThermoEquilibriumRoutine>(package.get(), IID_ICapeThermoEquilibriumRoutine,
                                                              "ICapeThermoEquilibriumRoutine");
    const Bstr unspecified(L"Unspecified");
    VARIANT_BOOL supported = VARIANT_FALSE;
    check(equilibrium->CheckEquilibriumSpec(spec1.get(), spec2.get(), unspecified.get(), &supported), package.get(),
          "CheckEquilibriumSpec");
    if (supported != VARIANT_TRUE)
        throw Failure{"CheckEquilibriumSpec", S_OK, L"the package cannot do a " + o.flash + L" flash"};
    check(equilibrium->CalcEquilibrium(spec1.get(), spec2.get(), unspecified.get()), package.get(), "CalcEquilibrium");

    auto routine = require<ICapeThermoPropertyRoutine>(package.get(), IID_ICapeThermoPropertyRoutine,
                                                       "ICapeThermoPropertyRoutine");
    std::vector<std::wstring> props;
    for (const ShownProperty& sp : kProperties) props.emplace_back(sp.id11);
    Variant propList = tarv::makeStringArray(props);
    for (const std::wstring& phase : material->presentPhases())
        check(routine->CalcSinglePhaseProp(propList.get(), Bstr(phase).get()), package.get(),
              "CalcSinglePhaseProp(" + narrow(phase) + ")");
    if (material->presentPhases().size() == 2) {
        Variant pair = tarv::makeStringArray(material->presentPhases());
        VARIANT_BOOL ok = VARIANT_FALSE;
        check(routine->CheckTwoPhasePropSpec(Bstr(L"kvalue").get(), pair.get(), &ok), package.get(),
              "CheckTwoPhasePropSpec");
        if (ok == VARIANT_TRUE)
            check(routine->CalcTwoPhaseProp(tarv::makeStringArray({L"kvalue"}).get(), pair.get()), package.get(),
                  "CalcTwoPhaseProp");
    }

    printSummary(s, o, *material.get(), false);

    check(context->UnsetMaterial(), package.get(), "UnsetMaterial");
    if (packageUtilities) check(packageUtilities->Terminate(), package.get(), "package Terminate");
    if (managerUtilities) check(managerUtilities->Terminate(), manager.get(), "manager Terminate");
}

// --- The 1.0 road -------------------------------------------------------------------------------

// A property of the 1.0 material, for all its compounds, as a simulator sets it.
void setProp10(ICapeThermoMaterialObject* mo, const wchar_t* property, const std::wstring& phase,
               const wchar_t* basis, const std::vector<double>& values, const std::string& what)
{
    const Variant all;
    check(mo->SetProp(Bstr(property).get(), Bstr(phase).get(), all.get(), Bstr(L"").get(), Bstr(basis).get(),
                      tarv::makeDoubleArray(values).get()),
          mo, "setting " + what);
}

void run10(const Options& o)
{
    Summary s;
    s.generation = L"1.0";
    ComPtr<ICapeThermoSystem> system = activate<ICapeThermoSystem>(o, IID_ICapeThermoSystem);
    s.managerName = identification(system.get(), false);
    ComPtr<ICapeUtilities> systemUtilities = initialize(system.get(), "thermo system");

    Variant names;
    check(system->GetPropertyPackages(names.ptr()), system.get(), "GetPropertyPackages");
    s.packages = packageList(names, "GetPropertyPackages");
    if (o.listOnly) {
        for (const std::wstring& n : s.packages) std::printf("%s\n", narrow(n).c_str());
        if (systemUtilities) systemUtilities->Terminate();
        return;
    }
    s.packageName = o.package.empty() ? s.packages.front() : o.package;

    ComPtr<IDispatch> resolved;
    check(system->ResolvePropertyPackage(Bstr(s.packageName).get(), resolved.put()), system.get(),
          "ResolvePropertyPackage(\"" + narrow(s.packageName) + "\")");
    if (!resolved)
        throw Failure{"ResolvePropertyPackage(\"" + narrow(s.packageName) + "\")", S_OK,
                      L"success, but no package was returned"};
    auto package = require<ICapeThermoPropertyPackage>(resolved.get(), IID_ICapeThermoPropertyPackage,
                                                       "ICapeThermoPropertyPackage");
    ComPtr<ICapeUtilities> packageUtilities = initialize(package.get(), "package");
    s.packageDescription = identification(package.get(), true);

    Variant ids, formulae, compoundNames, boil, mw, cas;
    check(package->GetComponentList(ids.ptr(), formulae.ptr(), compoundNames.ptr(), boil.ptr(), mw.ptr(), cas.ptr()),
          package.get(), "GetComponentList");
    s.compounds = compoundsFrom(ids, formulae, boil, mw, cas);
    Variant phaseList;
    check(package->GetPhaseList(phaseList.ptr()), package.get(), "GetPhaseList");
    const std::vector<std::wstring> phaseLabels = stringsFrom(phaseList.get(), L"phases");

    std::vector<std::wstring> compoundIds;
    for (const Compound& c : s.compounds) compoundIds.push_back(c.id);
    ComPtr<sim::Material> material = sim::Material::create(compoundIds, phaseLabels, L"Feed");
    material->attachPackage10(package.get());
    ICapeThermoMaterialObject* mo = material.get();
    IDispatch* moDispatch = mo;

    setProp10(mo, L"temperature", L"Overall", L"", {o.temperature}, "the feed temperature");
    setProp10(mo, L"pressure", L"Overall", L"", {o.pressure}, "the feed pressure");
    setProp10(mo, L"fraction", L"Overall", L"mole", feedComposition(o, s.compounds.size()), "the feed composition");
    setProp10(mo, L"totalFlow", L"Overall", L"mole", {o.flow}, "the feed flow");
    Variant all;

    check(package->CalcEquilibrium(moDispatch, Bstr(L"TP").get(), all.get()), package.get(), "CalcEquilibrium");
    std::vector<std::wstring> props;
    for (const ShownProperty& sp : kProperties) props.emplace_back(sp.id10);
    check(package->CalcProp(moDispatch, tarv::makeStringArray(props).get(),
                            tarv::makeStringArray(material->presentPhases()).get(), Bstr(L"Mixture").get()),
          package.get(), "CalcProp");

    printSummary(s, o, *material.get(), true);

    material->attachPackage10(nullptr);
    if (packageUtilities) check(packageUtilities->Terminate(), package.get(), "package Terminate");
    if (systemUtilities) check(systemUtilities->Terminate(), system.get(), "thermo system Terminate");
}


// --- The reaction road --------------------------------------------------------------------------

struct ReactionInfo {
    std::wstring id, phase, concBasis, baseReactant;
    CapeReactionType type = CAPE_KINETIC;
    CapeReactionRateBasis rateBasis = CAPE_HOMOGENEOUS;
    std::vector<std::wstring> compounds;
    std::vector<double> coefficients;
};

ReactionInfo reactionInfo(ICapeReactionChemistry* chemistry, const std::wstring& id)
{
    ReactionInfo r;
    r.id = id;
    const Bstr reacId(id);
    const std::string step = "(\"" + narrow(id) + "\")";
    check(chemistry->GetReactionType(reacId.get(), &r.type), chemistry, "GetReactionType" + step);
    Variant compIds, charges, cas, coefficients;
    check(chemistry->GetReactionCompoundIds(reacId.get(), compIds.ptr(), charges.ptr(), cas.ptr()), chemistry,
          "GetReactionCompoundIds" + step);
    r.compounds = stringsFrom(compIds.get(), L"compIds");
    check(chemistry->GetStoichiometricCoefficients(reacId.get(), coefficients.ptr()), chemistry,
          "GetStoichiometricCoefficients" + step);
    r.coefficients = doublesFrom(coefficients.get(), L"coeffs");
    if (r.coefficients.size() != r.compounds.size())
        throw Failure{"GetStoichiometricCoefficients" + step, S_OK, L"one coefficient per compound was expected"};
    Bstr text;
    check(chemistry->GetReactionPhase(reacId.get(), text.put()), chemistry, "GetReactionPhase" + step);
    r.phase = text.wide();
    check(chemistry->GetReactionRateBasis(reacId.get(), &r.rateBasis), chemistry, "GetReactionRateBasis" + step);
    check(chemistry->GetReactionConcBasis(reacId.get(), text.put()), chemistry, "GetReactionConcBasis" + step);
    r.concBasis = text.wide();
    check(chemistry->GetBaseReactant(reacId.get(), text.put()), chemistry, "GetBaseReactant" + step);
    r.baseReactant = text.wide();
    return r;
}

// "2 Toluene -> Benzene + o-Xylene"
std::string equation(const ReactionInfo& r)
{
    std::string left, right;
    for (size_t i = 0; i < r.compounds.size(); ++i) {
        const double c = r.coefficients[i];
        if (c == 0) continue;
        std::string& side = c < 0 ? left : right;
        const double n = c < 0 ? -c : c;
        side += (side.empty() ? "" : " + ") + (n == 1 ? std::string() : fmt("%g ", n)) + narrow(r.compounds[i]);
    }
    return left + " -> " + right;
}

void runReactions(const Options& o)
{
    ComPtr<ICapeReactionsPackageManager> manager =
        activate<ICapeReactionsPackageManager>(o, IID_ICapeReactionsPackageManager);
    const std::wstring managerName = identification(manager.get(), false);
    ComPtr<ICapeUtilities> managerUtilities = initialize(manager.get(), "manager");

    Variant names;
    check(manager->GetListOfReactionsPackages(names.ptr()), manager.get(), "GetListOfReactionsPackages");
    const std::vector<std::wstring> packages = packageList(names, "GetListOfReactionsPackages", L"reaction");
    if (o.listOnly) {
        for (const std::wstring& n : packages) std::printf("%s\n", narrow(n).c_str());
        if (managerUtilities) managerUtilities->Terminate();
        return;
    }
    const std::wstring packageName = o.package.empty() ? packages.front() : o.package;
    const std::string resolving = "ResolveReactionsPackage(\"" + narrow(packageName) + "\")";
    ComPtr<IDispatch> package;
    check(manager->ResolveReactionsPackage(Bstr(packageName).get(), package.put()), manager.get(), resolving);
    if (!package) throw Failure{resolving, S_OK, L"success, but no package was returned"};
    ComPtr<ICapeUtilities> packageUtilities = initialize(package.get(), "package");

    // The chemistry: the reactions, their compounds and phases.
    auto chemistry = require<ICapeReactionChemistry>(package.get(), IID_ICapeReactionChemistry, "ICapeReactionChemistry");
    Variant ids;
    check(chemistry->GetReactionsIds(ids.ptr()), package.get(), "GetReactionsIds");
    std::vector<ReactionInfo> reactions;
    std::vector<std::wstring> compounds, phases;
    auto addOnce = [](std::vector<std::wstring>& list, const std::wstring& item) {
        for (const std::wstring& x : list)
            if (x == item) return;
        list.push_back(item);
    };
    for (const std::wstring& id : stringsFrom(ids.get(), L"reactionIDS")) {
        reactions.push_back(reactionInfo(chemistry.get(), id));
        for (const std::wstring& c : reactions.back().compounds) addOnce(compounds, c);
        addOnce(phases, reactions.back().phase);
    }
    if (reactions.empty()) throw Failure{"GetReactionsIds", S_OK, L"the package has no reactions"};

    // The simulator's gas of those compounds, in each reaction phase with the same composition.
    const std::vector<double> z = feedComposition(o, compounds.size());
    ComPtr<sim::Material> material = sim::Material::create(compounds, phases, L"Reactor gas");
    ICapeThermoMaterialObject* mo = material.get();
    setProp10(mo, L"temperature", L"Overall", L"", {o.temperature}, "the temperature");
    setProp10(mo, L"pressure", L"Overall", L"", {o.pressure}, "the pressure");
    setProp10(mo, L"fraction", L"Overall", L"mole", z, "the composition");
    for (const std::wstring& phase : phases) {
        setProp10(mo, L"phaseFraction", phase, L"mole", {1.0 / static_cast<double>(phases.size())},
                  "the phase fraction of " + narrow(phase));
        setProp10(mo, L"fraction", phase, L"mole", z, "the composition of " + narrow(phase));
    }
    const Bstr mole(L"mole");

    // The package gets the reaction object and the material the 1.0 way, and calculates.
    ComPtr<sim::ReactionObject> reactionObject = sim::ReactionObject::create();
    auto kinetic = require<ICapeKineticReactionContext>(package.get(), IID_ICapeKineticReactionContext,
                                                        "ICapeKineticReactionContext");
    IDispatch* reactionDispatch = static_cast<ICapeReactionProperties*>(reactionObject.get());
    check(kinetic->SetReactionObject(&reactionDispatch), package.get(), "SetReactionObject");
    auto context = require<ICapeThermoContext10>(package.get(), IID_ICapeThermoContext10, "ICapeThermoContext");
    IDispatch* materialDispatch = mo;
    check(context->SetMaterial(&materialDispatch), package.get(), "SetMaterial");
    auto routine = require<ICapeReactionsRoutine>(package.get(), IID_ICapeReactionsRoutine, "ICapeReactionsRoutine");
    const Variant props = tarv::makeStringArray({L"reactionRate", L"rateConstant"});
    for (const std::wstring& phase : phases) {
        std::vector<std::wstring> inPhase;
        for (const ReactionInfo& r : reactions)
            if (r.phase == phase) inPhase.push_back(r.id);
        check(routine->CalcReactionProp(props.get(), Bstr(phase).get(), tarv::makeStringArray(inPhase).get(),
                                        mole.get()),
              package.get(), "CalcReactionProp(" + narrow(phase) + ")");
    }

    std::printf("TARV sample simulator, CAPE-OPEN 1.0 reactions\n");
    std::printf("Manager:    %s (%s)\n", narrow(o.manager).c_str(), narrow(managerName).c_str());
    std::printf("Packages:  ");
    for (size_t i = 0; i < packages.size(); ++i) std::printf("%s \"%s\"", i ? "," : "", narrow(packages[i]).c_str());
    std::printf("\n");
    std::printf("Package:    \"%s\": %s\n", narrow(packageName).c_str(),
                narrow(identification(package.get(), true)).c_str());
    std::printf("Reactions:\n");
    for (const ReactionInfo& r : reactions)
        std::printf("  %-20s %s; %s, %s, phase %s, %s, base reactant %s\n", narrow(r.id).c_str(), equation(r).c_str(),
                    r.type == CAPE_KINETIC ? "kinetic" : "equilibrium",
                    r.rateBasis == CAPE_HOMOGENEOUS ? "homogeneous" : "heterogeneous", narrow(r.phase).c_str(),
                    narrow(r.concBasis).c_str(), narrow(r.baseReactant).c_str());
    std::printf("Gas:        T = %g K, P = %g Pa\n", o.temperature, o.pressure);
    for (size_t i = 0; i < compounds.size(); ++i) printRow("y " + narrow(compounds[i]), {fmt("%.6f", z[i])});
    printRow("", {"Rate constant", "r, mol/(m3 s)"});
    std::vector<double> production(compounds.size(), 0.0);
    for (const ReactionInfo& r : reactions) {
        auto k = reactionObject->value(L"rateConstant", r.phase, L"mole", r.id);
        auto rate = reactionObject->value(L"reactionRate", r.phase, L"mole", r.id);
        printRow(narrow(r.id), {k ? fmt("%.6g", *k) : "-", rate ? fmt("%.6g", *rate) : "-"});
        for (size_t i = 0; rate && i < r.compounds.size(); ++i)
            for (size_t j = 0; j < compounds.size(); ++j)
                if (compounds[j] == r.compounds[i]) production[j] += r.coefficients[i] * *rate;
    }
    for (size_t j = 0; j < compounds.size(); ++j)
        printRow("Production [mol/(m3 s)] " + narrow(compounds[j]), {"", fmt("%.6g", production[j])});

    // Terminate lets the package go of the material and the reaction object.
    if (packageUtilities) check(packageUtilities->Terminate(), package.get(), "package Terminate");
    if (managerUtilities) check(managerUtilities->Terminate(), manager.get(), "manager Terminate");
}

// --- The unit road ------------------------------------------------------------------------------

// A port of the unit by name, connected to `object`.
void connectPort(ICapeCollection* ports, const wchar_t* name, IDispatch* object)
{
    const std::string step = "connecting port " + narrow(name);
    ComPtr<IDispatch> item;
    check(ports->Item(Variant::fromString(name).get(), item.put()), ports, step);
    if (!item) throw Failure{step, S_OK, L"the unit has no such port"};
    auto port = require<ICapeUnitPort>(item.get(), IID_ICapeUnitPort, "ICapeUnitPort", "the port");
    check(port->Connect(object), port.get(), step);
}

// A parameter of a collection by name, as ICapeParameter.
ComPtr<ICapeParameter> parameter(IDispatch* collection, const wchar_t* name)
{
    const std::string step = "parameter " + narrow(name);
    auto c = require<ICapeCollection>(collection, IID_ICapeCollection, "ICapeCollection", "the parameters");
    ComPtr<IDispatch> item;
    check(c->Item(Variant::fromString(name).get(), item.put()), c.get(), step);
    if (!item) throw Failure{step, S_OK, L"no such parameter"};
    return require<ICapeParameter>(item.get(), IID_ICapeParameter, "ICapeParameter", "the parameter");
}

double realValue(ICapeParameter* p, const std::string& step)
{
    Variant v;
    check(p->get_value(v.ptr()), p, step);
    Variant d;
    check(VariantChangeType(d.ptr(), v.ptr(), 0, VT_R8), nullptr, step);
    return d.get().dblVal;
}

void setRealValue(ICapeParameter* p, double value, const std::string& step)
{
    check(p->put_value(Variant::fromDouble(value).get()), p, step);
}

// The unit's drum settings as its parameters hold them.
std::pair<double, double> drumSettings(ICapeUtilities* utilities)
{
    ComPtr<IDispatch> parameters;
    check(utilities->get_parameters(parameters.put()), utilities, "get_parameters");
    return {realValue(parameter(parameters.get(), L"Temperature").get(), "reading Temperature"),
            realValue(parameter(parameters.get(), L"Pressure").get(), "reading Pressure")};
}

void printStream(const char* label, const sim::Material& m, const std::vector<std::wstring>& compounds)
{
    auto scalar = [&](const wchar_t* property, const wchar_t* basis) {
        auto v = m.value(property, L"Overall", basis);
        return v && !v->empty() ? fmt("%.6g", v->front()) : std::string("-");
    };
    std::printf("  %-8s T = %s K, P = %s Pa, flow = %s mol/s, x =", label, scalar(L"temperature", L"").c_str(),
                scalar(L"pressure", L"").c_str(), scalar(L"totalFlow", L"mole").c_str());
    const auto x = m.value(L"fraction", L"Overall", L"mole");
    for (size_t i = 0; i < compounds.size(); ++i)
        std::printf(" %s %s", narrow(compounds[i]).c_str(), x && i < x->size() ? fmt("%.4f", (*x)[i]).c_str() : "-");
    std::printf("\n");
}

void runUnit(const Options& o)
{
    // The simulator's own thermodynamics, in process, for its materials.
    ComPtr<ICapeThermoPropertyPackage> thermo;
    check(CoCreateInstance(classOf(o.thermo), nullptr, CLSCTX_INPROC_SERVER, IID_ICapeThermoPropertyPackage,
                           thermo.putVoid()),
          nullptr, "creating " + narrow(o.thermo));
    ComPtr<ICapeUtilities> thermoUtilities = initialize(thermo.get(), "property package");
    Variant ids, formulae, compoundNames, boil, mw, cas, phaseList;
    check(thermo->GetComponentList(ids.ptr(), formulae.ptr(), compoundNames.ptr(), boil.ptr(), mw.ptr(), cas.ptr()),
          thermo.get(), "GetComponentList");
    check(thermo->GetPhaseList(phaseList.ptr()), thermo.get(), "GetPhaseList");
    const std::vector<std::wstring> compounds = stringsFrom(ids.get(), L"compIds");
    const std::vector<std::wstring> phases = stringsFrom(phaseList.get(), L"phases");

    auto stream = [&](const wchar_t* name) {
        ComPtr<sim::Material> m = sim::Material::create(compounds, phases, name);
        m->attachPackage10(thermo.get());
        return m;
    };
    ComPtr<sim::Material> feed = stream(L"Feed"), vapour = stream(L"Vapour"), liquid = stream(L"Liquid");
    ICapeThermoMaterialObject* feedObject = feed.get();
    setProp10(feedObject, L"temperature", L"Overall", L"", {o.temperature}, "the feed temperature");
    setProp10(feedObject, L"pressure", L"Overall", L"", {o.pressure}, "the feed pressure");
    setProp10(feedObject, L"fraction", L"Overall", L"mole", feedComposition(o, compounds.size()), "the feed composition");
    setProp10(feedObject, L"totalFlow", L"Overall", L"mole", {o.flow}, "the feed flow");
    check(feedObject->CalcEquilibrium(Bstr(L"TP").get(), tarv::makeStringArray({L"enthalpy"}).get()), feedObject,
          "the feed's TP flash");
    // The energy stream: one parameter "work", the duty in W.
    auto work = std::make_shared<double>(0.0);
    ComPtr<IDispatch> duty = samples::ideal::makeRealParameterCollection(
        L"Energy stream", {{L"work", L"Heat duty", [work] { return *work; }, [work](double v) { *work = v; }, 0.0, -1e12,
                            1e12, L"W", {2, 1, -3, 0, 0, 0, 0, 0}}});
    if (auto id = duty.query<ICapeIdentification>(IID_ICapeIdentification)) id->put_ComponentName(Bstr(L"Duty").get());

    // The unit: placed new, set, connected, calculated.
    ComPtr<ICapeUnit> unit = activate<ICapeUnit>(o, IID_ICapeUnit);
    auto persist = require<IPersistStreamInit>(unit.get(), IID_IPersistStreamInit, "IPersistStreamInit", "the unit");
    check(persist->InitNew(), unit.get(), "InitNew");
    const std::wstring unitName = identification(unit.get(), false);
    const std::wstring unitDescription = identification(unit.get(), true);
    auto utilities = require<ICapeUtilities>(unit.get(), IID_ICapeUtilities, "ICapeUtilities", "the unit");
    {
        ComPtr<IDispatch> parameters;
        check(utilities->get_parameters(parameters.put()), unit.get(), "get_parameters");
        setRealValue(parameter(parameters.get(), L"Temperature").get(), o.drumTemperature, "setting Temperature");
        setRealValue(parameter(parameters.get(), L"Pressure").get(), o.drumPressure, "setting Pressure");
    }
    {
        ComPtr<IDispatch> portsDispatch;
        check(unit->get_ports(portsDispatch.put()), unit.get(), "get_ports");
        auto ports = require<ICapeCollection>(portsDispatch.get(), IID_ICapeCollection, "ICapeCollection", "the ports");
        connectPort(ports.get(), L"Feed", feedObject);
        connectPort(ports.get(), L"Vapour", static_cast<ICapeThermoMaterialObject*>(vapour.get()));
        connectPort(ports.get(), L"Liquid", static_cast<ICapeThermoMaterialObject*>(liquid.get()));
        connectPort(ports.get(), L"Duty", duty.get());
    }
    check(utilities->Initialize(), unit.get(), "Initialize");
    Bstr message;
    VARIANT_BOOL valid = VARIANT_FALSE;
    check(unit->Validate(message.put(), &valid), unit.get(), "Validate");
    if (!valid) throw Failure{"Validate", S_OK, L"the unit is not valid: " + message.wide()};
    check(unit->Calculate(), unit.get(), "Calculate");
    std::wstring report;
    if (auto reports = unit.query<ICapeUnitReport>(IID_ICapeUnitReport)) {
        Bstr text;
        if (SUCCEEDED(reports->ProduceReport(text.put()))) report = text.wide();
    }

    // Saved to memory, as a simulator saves its flowsheet.
    ComPtr<IStream> saved;
    check(CreateStreamOnHGlobal(nullptr, TRUE, saved.put()), nullptr, "CreateStreamOnHGlobal");
    check(persist->Save(saved.get(), TRUE), unit.get(), "Save");
    ULARGE_INTEGER savedSize{};
    LARGE_INTEGER zero{};
    check(saved->Seek(zero, STREAM_SEEK_END, &savedSize), nullptr, "measuring the saved unit");
    check(saved->Seek(zero, STREAM_SEEK_SET, nullptr), nullptr, "rewinding the saved unit");
    check(utilities->Terminate(), unit.get(), "Terminate");

    // ... and loaded into a new unit operation of the same class. The new one is made while the first
    // is still held: a server whose last object has just gone is on its way out, and an activation
    // that reaches it then can fail.
    ComPtr<ICapeUnit> reloaded = activate<ICapeUnit>(o, IID_ICapeUnit);
    persist = nullptr;
    utilities = nullptr;
    unit = nullptr;
    auto reloadedPersist =
        require<IPersistStreamInit>(reloaded.get(), IID_IPersistStreamInit, "IPersistStreamInit", "the new unit");
    check(reloadedPersist->Load(saved.get()), reloaded.get(), "Load");
    auto reloadedUtilities =
        require<ICapeUtilities>(reloaded.get(), IID_ICapeUtilities, "ICapeUtilities", "the new unit");
    const auto [loadedT, loadedP] = drumSettings(reloadedUtilities.get());
    const std::wstring reloadedName = identification(reloaded.get(), false);
    check(reloadedUtilities->Terminate(), reloaded.get(), "Terminate of the new unit");

    std::printf("TARV sample simulator, CAPE-OPEN 1.0 unit operation\n");
    std::printf("Unit:       %s: \"%s\", %s\n", narrow(o.manager).c_str(), narrow(unitName).c_str(),
                narrow(unitDescription).c_str());
    std::printf("Thermo:     %s (%s)\n", narrow(o.thermo).c_str(), narrow(identification(thermo.get(), false)).c_str());
    std::printf("Drum:       T = %g K, P = %g Pa\n", o.drumTemperature, o.drumPressure);
    std::printf("Streams:\n");
    printStream("Feed", *feed.get(), compounds);
    printStream("Vapour", *vapour.get(), compounds);
    printStream("Liquid", *liquid.get(), compounds);
    std::printf("Duty:       %.6g W\n", *work);
    if (!report.empty()) std::printf("Report:     %s\n", narrow(report).c_str());
    std::printf("Saved:      %llu bytes in memory\n", static_cast<unsigned long long>(savedSize.QuadPart));
    std::printf("Reloaded:   \"%s\", T = %g K, P = %g Pa\n", narrow(reloadedName).c_str(), loadedT, loadedP);

    for (sim::Material* m : {feed.get(), vapour.get(), liquid.get()}) m->attachPackage10(nullptr);
    if (thermoUtilities) check(thermoUtilities->Terminate(), thermo.get(), "property package Terminate");
}
} // namespace

int main()
{
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    int status = 0;
    Options o;
    try {
        o = parse(argc, argv);
    } catch (const UsageError& e) {
        std::fprintf(stderr, "tarv_simulator: %s\n", e.text.c_str());
        std::fprintf(stderr, "usage: tarv_simulator [--generation 1.1|1.0] [--manager <ProgID|{CLSID}>] "
                             "[--package <name>] [--flash TP|PVF|TVF] [--T <K>] [--P <Pa>] [--vf <fraction>] "
                             "[--z <x1,x2,...>] [--flow <mol/s>] [--inproc] [--list] [--new]\n"
                             "       tarv_simulator --reactions [--manager <ProgID|{CLSID}>] [--package <name>] "
                             "[--T <K>] [--P <Pa>] [--z <y1,y2,...>] [--inproc] [--list]\n"
                             "       tarv_simulator --unit [--manager <ProgID|{CLSID}>] [--thermo <ProgID|{CLSID}>] "
                             "[--T <K>] [--P <Pa>] [--z <x1,x2,...>] [--flow <mol/s>] [--drum-T <K>] [--drum-P <Pa>] "
                             "[--inproc]\n");
        LocalFree(argv);
        return 2;
    }
    LocalFree(argv);

    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        std::fprintf(stderr, "tarv_simulator: COM could not be initialised\n");
        return 1;
    }
    try {
        if (o.unit) runUnit(o);
        else if (o.reactions) runReactions(o);
        else if (o.generation == L"1.1") run11(o);
        else run10(o);
    } catch (const Failure& f) {
        if (FAILED(f.hr))
            std::fprintf(stderr, "tarv_simulator: %s failed: HRESULT 0x%08lX (%s)\n", f.step.c_str(),
                         static_cast<unsigned long>(f.hr), statusName(f.hr).c_str());
        else
            std::fprintf(stderr, "tarv_simulator: %s failed\n", f.step.c_str());
        if (!f.description.empty()) std::fprintf(stderr, "  %s\n", narrow(f.description).c_str());
        status = 1;
    } catch (const UsageError& e) {
        std::fprintf(stderr, "tarv_simulator: %s\n", e.text.c_str());
        status = 2;
    } catch (const samples::ideal::CapeError& e) {
        std::fprintf(stderr, "tarv_simulator: unexpected answer: %s\n", narrow(e.text).c_str());
        status = 1;
    }
    std::fflush(stdout);
    CoUninitialize();
    return status;
}
