// The logged unit operation end to end: this test is the simulator, TARV64.exe creates the real unit.
#include "host/export_fixture.h"
#include "com/bstr.h"
#include "com/variant.h"
#include "ideal/parameters.h"
#include "kit/units.h"
#include "simulator/material.h"
#include "support/dialogs.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <thread>
#include <tuple>

using namespace tarv;
using testsupport::ExportTest;
using testsupport::occurrences;
using testsupport::readLog;

namespace {

constexpr char kDrumClass[] = "{731C4BC2-A91B-4986-87AB-0D83551A5A31}";

class UnitTest : public ExportTest {
protected:
    // The options as the demo sets them, with `unit` as the configured unit operation.
    static void configure(const CLSID& unit)
    {
        ServerOptions options;
        options.autoLogLocation = 1;
        options.promptOpenLog = 0;
        options.loggedUnitOperation = unit;
        saveOptions(options);
    }
    // All logs of the test, once the server has ended, in one text.
    static std::string allLogs()
    {
        EXPECT_TRUE(waitForServerExit());
        std::string text;
        for (const std::string& path : logFiles()) text += readLog(path);
        return text;
    }
    // The lines of the first Calculate of each log.
    static std::vector<std::string> calculateRecords()
    {
        std::vector<std::string> lines;
        for (const std::string& path : logFiles())
            for (const std::string& line : testsupport::topLevelRecord(readLog(path), "<func name=\"ICapeUnit::Calculate\""))
                lines.push_back(line);
        return lines;
    }
    // The read-only errors inside Calculate, by the object of the call that wrote them.
    static std::map<std::string, size_t> errorsInCalculate()
    {
        std::map<std::string, size_t> errors;
        std::string object;
        for (const std::string& line : calculateRecords()) {
            const size_t at = line.find(" object=\"");
            if (line.rfind(" <func ", 0) == 0 && at != std::string::npos) object = line.substr(at + 9, line.find('"', at + 9) - at - 9);
            if (line.find("<error value=\"This object should be considered read-only\"") != std::string::npos) ++errors[object];
        }
        return errors;
    }
};

// The simulator's side of a flowsheet: feed, products and duty, over its own 1.0 package.
struct Flowsheet {
    ComPtr<ICapeThermoPropertyPackage> thermo;
    ComPtr<sim::Material> feed, vapour, liquid;
    std::shared_ptr<double> work = std::make_shared<double>(0.0);
    ComPtr<IDispatch> duty;

    Flowsheet()
    {
        EXPECT_EQ(CoCreateInstance(samples::CLSID_Package10, nullptr, CLSCTX_INPROC_SERVER, IID_ICapeThermoPropertyPackage,
                                   thermo.putVoid()), S_OK);
        const std::vector<std::wstring> compounds{L"n-Pentane", L"n-Hexane", L"n-Heptane"};
        feed = sim::Material::create(compounds, {L"Vapor", L"Liquid"}, L"Feed");
        vapour = sim::Material::create(compounds, {L"Vapor", L"Liquid"}, L"Vapour");
        liquid = sim::Material::create(compounds, {L"Vapor", L"Liquid"}, L"Liquid");
        for (sim::Material* m : {feed.get(), vapour.get(), liquid.get()}) m->attachPackage10(thermo.get());
        feed->setValue(L"temperature", L"Overall", L"", {340});
        feed->setValue(L"pressure", L"Overall", L"", {101325});
        feed->setValue(L"fraction", L"Overall", L"mole", {0.4, 0.35, 0.25});
        feed->setValue(L"totalFlow", L"Overall", L"mole", {1.0});
        auto w = work;
        duty = samples::ideal::makeRealParameterCollection(
            L"Energy stream", {{L"work", L"Heat duty", [w] { return *w; }, [w](double v) { *w = v; }, 0.0, -1e12, 1e12,
                                L"W", {2, 1, -3, 0, 0, 0, 0, 0}}});
    }
    ~Flowsheet()
    {
        for (sim::Material* m : {feed.get(), vapour.get(), liquid.get()}) m->attachPackage10(nullptr);
    }
    IDispatch* feedObject() const { return static_cast<ICapeThermoMaterialObject*>(feed.get()); }
    double flow(const sim::Material& m) const { return m.value(L"totalFlow", L"Overall", L"mole")->at(0); }
};

ComPtr<ICapeUnit> placeUnit()
{
    ComPtr<ICapeUnit> unit;
    EXPECT_EQ(CoCreateInstance(CLSID_UnitOperation64, nullptr, CLSCTX_LOCAL_SERVER, IID_ICapeUnit, unit.putVoid()), S_OK);
    return unit;
}

// The item `name` of a collection property (ports or parameters).
template <class I>
ComPtr<I> item(const ComPtr<IDispatch>& collection, const wchar_t* name)
{
    ComPtr<IDispatch> found;
    auto items = collection.query<ICapeCollection>();
    EXPECT_TRUE(items && items->Item(Variant::fromString(name).get(), found.put()) == S_OK) << toNarrow(name);
    return found.query<I>();
}

ComPtr<ICapeUnitPort> port(ICapeUnit* unit, const wchar_t* name)
{
    ComPtr<IDispatch> ports;
    EXPECT_EQ(unit->get_ports(ports.put()), S_OK);
    return item<ICapeUnitPort>(ports, name);
}

// Connects the four ports as a simulator does and returns the feed's port.
ComPtr<ICapeUnitPort> connect(ICapeUnit* unit, const Flowsheet& f)
{
    const std::pair<const wchar_t*, IDispatch*> streams[] = {
        {L"Feed", f.feedObject()}, {L"Vapour", static_cast<ICapeThermoMaterialObject*>(f.vapour.get())},
        {L"Liquid", static_cast<ICapeThermoMaterialObject*>(f.liquid.get())}, {L"Duty", f.duty.get()}};
    for (const auto& [name, object] : streams) EXPECT_EQ(port(unit, name)->Connect(object), S_OK) << name;
    return port(unit, L"Feed");
}

ComPtr<ICapeParameter> drumParameter(IUnknown* unit, const wchar_t* name)
{
    ComPtr<IDispatch> parameters;
    EXPECT_EQ(ComPtr<IUnknown>(unit).query<ICapeUtilities>()->get_parameters(parameters.put()), S_OK);
    return item<ICapeParameter>(parameters, name);
}

void setDrum(IUnknown* unit, double T, double P)
{
    EXPECT_EQ(drumParameter(unit, L"Temperature")->put_value(Variant::fromDouble(T).get()), S_OK);
    EXPECT_EQ(drumParameter(unit, L"Pressure")->put_value(Variant::fromDouble(P).get()), S_OK);
}

std::pair<double, double> drumSettings(IUnknown* unit)
{
    Variant T, P;
    EXPECT_EQ(drumParameter(unit, L"Temperature")->get_value(T.put()), S_OK);
    EXPECT_EQ(drumParameter(unit, L"Pressure")->get_value(P.put()), S_OK);
    return {T.get().dblVal, P.get().dblVal};
}

ComPtr<IStream> streamOf(const std::string& bytes)
{
    ComPtr<IStream> stream;
    EXPECT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, stream.put()), S_OK);
    stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
    return stream;
}

// What Save wrote to a stream of the simulator's, with the result it returned.
std::pair<HRESULT, std::string> save(IUnknown* persistent)
{
    ComPtr<IStream> stream = streamOf({});
    const HRESULT hr = ComPtr<IUnknown>(persistent).query<IPersistStreamInit>()->Save(stream.get(), TRUE);
    ULARGE_INTEGER size{};
    stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_END, &size);
    stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
    std::string bytes(static_cast<size_t>(size.QuadPart), '\0');
    if (!bytes.empty()) stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    return {hr, bytes};
}

// The stream format's header: the class in its memory layout and the image's length.
std::string header(const CLSID& clsid, size_t imageLength)
{
    const UINT32 n = static_cast<UINT32>(imageLength);
    return std::string(reinterpret_cast<const char*>(&clsid), sizeof clsid) + std::string(reinterpret_cast<const char*>(&n), sizeof n);
}

void* identity(IUnknown* object) { return ComPtr<IUnknown>(object).query<IUnknown>().get(); }

} // namespace

TEST_F(UnitTest, TheFlashDrumRoadIsLoggedAndItsImageComesBackInANewUnit)
{
    configure(samples::CLSID_FlashDrum);
    Flowsheet f;
    std::string saved;
    auto empty = placeUnit();   // left empty; it also keeps the server running between the others
    ASSERT_TRUE(empty);
    {
        auto unit = placeUnit();
        ASSERT_TRUE(unit);
        ASSERT_EQ(unit.query<IPersistStreamInit>()->InitNew(), S_OK);
        setDrum(unit.get(), 335, 101325);
        auto feedPort = connect(unit.get(), f);
        ASSERT_EQ(unit->Calculate(), S_OK);
        EXPECT_NEAR(f.flow(*f.vapour.get()) + f.flow(*f.liquid.get()), 1.0, 1e-12);
        EXPECT_GT(f.flow(*f.vapour.get()), 0.0);
        EXPECT_GT(f.flow(*f.liquid.get()), 0.0);
        EXPECT_NE(*f.work, 0.0);
        ComPtr<IDispatch> connected;
        ASSERT_EQ(feedPort->get_connectedObject(connected.put()), S_OK);
        EXPECT_EQ(identity(connected.get()), identity(f.feedObject())) << "the simulator's own feed comes back";
        HRESULT hr;
        std::tie(hr, saved) = save(unit.get());
        EXPECT_EQ(hr, S_OK);
        EXPECT_EQ(unit.query<ICapeUtilities>()->Terminate(), S_OK);
    }
    // Byte for byte: the drum's own image of the same settings behind its class and its length.
    {
        ComPtr<IUnknown> drum;
        ASSERT_EQ(CoCreateInstance(samples::CLSID_FlashDrum, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, drum.putVoid()), S_OK);
        ASSERT_EQ(drum.query<IPersistStreamInit>()->InitNew(), S_OK);
        setDrum(drum.get(), 335, 101325);
        const std::string image = save(drum.get()).second;
        ASSERT_FALSE(image.empty());
        EXPECT_EQ(saved, header(samples::CLSID_FlashDrum, image.size()) + image);
    }
    // Loaded while another class is configured: the saved class comes back, with its settings.
    configure(kit::kUnitVariants[0].clsid);
    {
        auto unit = placeUnit();
        ASSERT_EQ(unit.query<IPersistStreamInit>()->Load(streamOf(saved).get()), S_OK);
        EXPECT_EQ(drumSettings(unit.get()), std::make_pair(335.0, 101325.0));
    }
    // An empty unit saves its null class and no image; a stream cut inside the image loads nothing.
    EXPECT_EQ(save(empty.get()), std::make_pair(S_OK, std::string(20, '\0')));
    EXPECT_EQ(placeUnit().query<IPersistStreamInit>()->Load(streamOf(saved.substr(0, saved.size() - 1)).get()), E_FAIL);
    empty = nullptr;
    const std::string logs = allLogs();
    ASSERT_EQ(logFiles().size(), 4u);   // the empty unit, the road's, the loaded one, the cut one
    // The road's unit and the loaded one are created; the cut stream creates none.
    const std::pair<std::string, size_t> counts[] = {
        {"Automatically creating user configured unit operation: " + std::string(kDrumClass), 1},
        {"Created unit operation from CLSID " + std::string(kDrumClass), 2},
        {"Replacing object by logged material object for port type CAPE_MATERIAL", 3},
        {"Replacing object by logged parameter collection for port type CAPE_ENERGY", 1},
        {"Using IPersistStreamInit::Save of logged PMC", 1}, {"Using IPersistStreamInit::Load of logged PMC", 1},
        {"Read error during Load", 1}};
    for (const auto& [text, count] : counts) EXPECT_EQ(occurrences(logs, text), count) << text;
    EXPECT_TRUE(errorsInCalculate().empty()) << "the drum only reads its feed";
    // The drum's calls to the streams stand inside Calculate, outward.
    const std::vector<std::string> inside = calculateRecords();
    for (const char* call : {" <func name=\"ICapeThermoMaterialObject::GetProp\" direc=\"out\" object=\"Feed\">",
                             " <func name=\"ICapeThermoMaterialObject::CalcEquilibrium\" direc=\"out\" object=\"Vapour\">",
                             " <func name=\"ICapeThermoMaterialObject::SetProp\" direc=\"out\" object=\"Liquid\">",
                             " <func name=\"ICapeParameter::put_value\" direc=\"out\" object=\"work\">"})
        EXPECT_NE(std::find(inside.begin(), inside.end(), call), inside.end()) << call;
}

TEST_F(UnitTest, AWriteToTheFeedIsReportedAndStillReachesIt)
{
    configure(kit::kUnitVariants[5].clsid);   // flashes its feed in place
    Flowsheet f;
    {
        auto unit = placeUnit();
        ASSERT_EQ(unit.query<IPersistStreamInit>()->InitNew(), S_OK);
        connect(unit.get(), f);
        ASSERT_EQ(unit->Calculate(), S_OK);
        EXPECT_FALSE(f.feed->presentPhases().empty()) << "the feed was flashed all the same";
        EXPECT_EQ(unit.query<ICapeUtilities>()->Terminate(), S_OK);
    }
    EXPECT_TRUE(waitForServerExit());
    const auto errors = errorsInCalculate();
    ASSERT_TRUE(errors.count("Feed"));
    EXPECT_GE(errors.at("Feed"), 4u) << "temperature, pressure, composition and flow, at least";
    EXPECT_EQ(errors.size(), 1u) << "outlets are writable";
}

TEST_F(UnitTest, EachKindOfRealUnitIsSavedAndLoadedAsItCan)
{
    const auto& v = kit::kUnitVariants;
    const std::string huge = "Object reports rediculously high max file size.";
    const struct {
        const char* what;
        CLSID clsid;
        HRESULT saveResult;
        bool image;                                            // Save wrote an image behind the header
        std::vector<std::pair<std::string, size_t>> records;   // texts in the logs, and how often
    } kinds[] = {
        {"IPersistStream only", v[0].clsid, S_OK, true,
         {{"Using IPersistStream::Save of logged PMC", 1}, {"Using IPersistStream::Load of logged PMC", 1}}},
        {"neither", v[1].clsid, S_OK, false, {{"Using IPersist", 0}, {"provides no interface for Load", 0}}},
        {"GetSizeMax of 2^32", v[2].clsid, S_OK, true, {{huge, 1}, {"Size returned by GetSizeMax was too small", 0}}},
        {"Save returning S_FALSE", v[3].clsid, E_FAIL, false, {{"Object did not return S_OK from Save.", 1}}},
        {"Save failing", v[4].clsid, STG_E_MEDIUMFULL, false, {{"Object failed to Save.", 1}}},
    };
    for (const auto& k : kinds) {
        SCOPED_TRACE(k.what);
        for (const std::string& log : logFiles()) DeleteFileA(log.c_str());
        configure(k.clsid);
        auto unit = placeUnit();                            // kept until the end, so that the server stays
        auto persist = unit.query<IPersistStreamInit>();   // before the real unit may hide it
        ASSERT_EQ(persist->InitNew(), S_OK);
        const std::pair<HRESULT, std::string> saved = save(persist.get());
        EXPECT_EQ(saved.first, k.saveResult);
        if (saved.first != S_OK) {
            EXPECT_EQ(saved.second, "") << "nothing is written after a failed Save";
        } else {
            ASSERT_GE(saved.second.size(), 20u);
            EXPECT_EQ(saved.second.substr(0, 20), header(k.clsid, saved.second.size() - 20));
            EXPECT_EQ(saved.second.size() > 20, k.image);
            auto reloaded = placeUnit();
            EXPECT_EQ(reloaded.query<IPersistStreamInit>()->Load(streamOf(saved.second).get()), S_OK);
            if (k.image) { EXPECT_EQ(drumSettings(reloaded.get()), std::make_pair(330.0, 101325.0)); }
        }
        persist = nullptr;
        unit = nullptr;
        const std::string logs = allLogs();
        for (const auto& [text, count] : k.records) EXPECT_EQ(occurrences(logs, text), count) << text;
    }
}

TEST_F(UnitTest, TheUserChoosesTheUnitInTheSelectionDialog)
{
    configure(CLSID_NULL);
    {
        auto unit = placeUnit();
        // The flash drum chosen in the dialog's list, then OK; what the list offered is kept.
        std::vector<std::string> offered;
        std::thread driver([&] {
            HWND dialog = testsupport::waitForWindow("Select Unit Operation:", 30000);
            if (!dialog) return;
            HWND list = GetDlgItem(dialog, 211);
            LRESULT drum = 0;   // when missing, the test fails on the record; the dialog must not stay open
            for (LRESULT i = 0, count = SendMessageA(list, LB_GETCOUNT, 0, 0); i < count; ++i) {
                wchar_t text[512] = L"";
                SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text));
                offered.push_back(toNarrow(text));
                if (offered.back().rfind("TARVKit Flash Drum (", 0) == 0) drum = i;
            }
            SendMessageA(list, LB_SETCURSEL, static_cast<WPARAM>(drum), 0);
            PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDOK)));
        });
        EXPECT_EQ(unit.query<IPersistStreamInit>()->InitNew(), S_OK);
        driver.join();
        EXPECT_GT(offered.size(), std::size(kit::kUnitVariants));
        for (const std::string& entry : offered) EXPECT_EQ(entry.find("VESKER"), std::string::npos) << entry;
        EXPECT_EQ(componentName(unit.get()), L"Flash Drum");
    }
    EXPECT_EQ(occurrences(allLogs(), "Creating user selected unit operation: " + std::string(kDrumClass)), 1u);
}
