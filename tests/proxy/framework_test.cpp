// The proxy framework read through its log: method template, creation, exposed objects, interface policy.
#include "com/bstr.h"
#include "com/variant.h"
#include "kit/kit.h"
#include "log/golden.h"
#include "proxy/test_proxies.h"
#include "support/log_capture.h"
#include "support/process.h"
#include <gtest/gtest.h>
#include <functional>
#include <regex>

using kit::Object;
using tarv::Bstr;
using tarv::ComPtr;
using testproxy::TestProxy;
using testsupport::LogCapture;
using testsupport::occurrences;
using testsupport::serverLocks;

namespace {

// An outward proxy over a kit object on the capture's log, owned by nobody.
template <class I = ICapeDiagnostic>
ComPtr<I> proxyOf(Object* foreign, LogCapture& capture)
{
    ComPtr<IDispatch> d = testproxy::createTestProxy(foreign, capture.log(), nullptr, 0);
    return d.query<I>();
}

TestProxy* impl(IUnknown* proxy) { return static_cast<TestProxy*>(static_cast<ICapeDiagnostic*>(proxy)); }
std::string golden(const std::string& name) { return testdata::golden("proxy.txt", name); }

} // namespace

TEST(MethodTemplate, EachOutcomeIsLoggedAsItHappened)
{
    auto parameter = Object::create<ICapeParameter>();
    struct Row {   // `method`: the foreign method the call reaches `times` times
        const char* golden; std::function<HRESULT(Object&, IUnknown* proxy)> call; HRESULT hr; const char* method; size_t times;
    } rows[] = {
        {"not created", [](Object&, IUnknown* p) {
             impl(p)->releaseInterfaces();
             return impl(p)->LogMessage(Bstr(L"hi").get());
         }, E_UNEXPECTED, "ICapeDiagnostic::LogMessage", 0},
        // The error getters forward the live state; the parameter of an error comes back raw.
        {"error getters", [&](Object& o, IUnknown* p) {
             o.returns(&ECapeBoundaries::get_LowerBound, 1.5).returns(&ECapeUser::get_code, 7L)
                 .returns(&ECapeBadCOParameter::get_parameter, parameter->ptr<ICapeParameter>());
             double lower = 0;
             LONG code = 0;
             ComPtr<IDispatch> raw;
             EXPECT_EQ(ComPtr<IUnknown>(p).query<ECapeBoundaries>()->get_LowerBound(&lower), S_OK);
             EXPECT_EQ(ComPtr<IUnknown>(p).query<ECapeBadCOParameter>()->get_parameter(raw.put()), S_OK);
             EXPECT_EQ(raw.get(), static_cast<IDispatch*>(parameter->ptr<ICapeParameter>()));
             EXPECT_EQ(lower, 1.5);
             HRESULT hr = ComPtr<IUnknown>(p).query<ECapeUser>()->get_code(&code);
             EXPECT_EQ(code, 7);
             return hr;
         }, S_OK, "ECapeBoundaries::get_LowerBound", 1},
        {"a rename shows in later records only when it succeeds", [](Object& o, IUnknown* p) {
             o.fail(&ICapeIdentification::put_ComponentName, E_FAIL);
             EXPECT_EQ(impl(p)->put_ComponentName(Bstr(L"Refused").get()), E_FAIL);
             o.unscript(&ICapeIdentification::put_ComponentName);
             EXPECT_EQ(impl(p)->put_ComponentName(Bstr(L"New").get()), S_OK);
             return impl(p)->LogMessage(Bstr(L"m").get());
         }, S_OK, "ICapeIdentification::put_ComponentName", 2},
        // A fault in the component: an error record, the caller's out-argument untouched, the next call forwarded.
        {"a fault in the component", [](Object& o, IUnknown* p) {
             o.fault(&ICapeCOSEUtilities::get_NamedValue, kit::Fault::AccessViolation);
             auto utilities = ComPtr<IUnknown>(p).query<ICapeCOSEUtilities>();
             VARIANT untouched;
             untouched.vt = VT_I4;
             untouched.lVal = 99;
             HRESULT hr = utilities->get_NamedValue(Bstr(L"x").get(), &untouched);
             EXPECT_EQ(std::pair(untouched.vt, untouched.lVal), std::pair(VARTYPE(VT_I4), LONG(99)));
             o.unscript(&ICapeCOSEUtilities::get_NamedValue);
             tarv::Variant value;
             EXPECT_EQ(utilities->get_NamedValue(Bstr(L"y").get(), value.put()), S_OK);
             return hr;
         }, E_UNEXPECTED, "ICapeCOSEUtilities::get_NamedValue", 2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.golden);
        LogCapture capture;
        auto kitObject = Object::create<ICapeDiagnostic, ICapeCOSEUtilities, ECapeUser, ICapeIdentification, ECapeBoundaries, ECapeBadCOParameter>();
        auto proxy = proxyOf(kitObject.get(), capture);
        kitObject->clearCalls();
        EXPECT_EQ(row.call(*kitObject.get(), proxy.get()), row.hr);
        EXPECT_EQ(std::regex_replace(capture.records(), std::regex("0x[0-9A-F]{16}"), "0x..."), golden(row.golden));
        EXPECT_EQ(kitObject->callCount(row.method), row.times);
    }
}

TEST(Creation, TheNameFetchReportsWhatTheObjectCannotTell)
{
    struct Case { const char* what; std::function<ComPtr<Object>()> make; const char* record; const char* name; } cases[] = {
        {"no identification", [] { return Object::create<ICapeDiagnostic>(); },
         "<warning value=\"Object does not implement ICapeIdentification\"/>\n", "<unknown>"},
        {"failing name", [] {
             auto o = Object::create<ICapeDiagnostic, ICapeIdentification, ECapeUser>();
             o->fail(&ICapeIdentification::get_ComponentName, ECapeNoImplHR).errorDescription(L"nameless");
             return o;
         }, "<error value=\"Failed to get name from object: nameless\"/>\n", "<unknown>"},
        {"empty name", [] { return Object::create<ICapeDiagnostic, ICapeIdentification>(L""); },
         "<warning value=\"Object&apos;s name is empty\"/>\n", ""},
    };
    for (const Case& c : cases) {
        LogCapture capture;
        auto kitObject = c.make();
        auto proxy = proxyOf(kitObject.get(), capture);
        EXPECT_EQ(capture.records(), c.record) << c.what;
        EXPECT_EQ(impl(proxy.get())->name(), c.name) << c.what;
    }
}

TEST(ExposedObject, UtilitiesWithoutTheInterfaceAreSilentOrRefusedAndAFaultWithoutALogIsStillCaught)
{
    LogCapture capture;
    auto without = Object::create<ICapeCollection, ICapeIdentification>();
    auto exposed = testproxy::expose(without.get(), capture.log());
    ComPtr<IDispatch> parameters;
    EXPECT_EQ((std::vector<HRESULT>{exposed->Initialize(), exposed->Terminate(), exposed->put_simulationContext(nullptr), exposed->Edit(),
                                    exposed->get_parameters(parameters.put())}),
              (std::vector<HRESULT>{S_OK, S_OK, S_OK, E_NOINTERFACE, E_NOINTERFACE}));
    EXPECT_EQ(capture.records(), golden("utilities without the interface"));
    // A fault without a log still gives the caller E_UNEXPECTED, its out-argument untouched.
    without->fault(&ICapeCollection::Count, kit::Fault::AccessViolation);
    LONG count = 5;
    EXPECT_EQ(testproxy::expose(without.get(), nullptr)->Count(&count), E_UNEXPECTED);
    EXPECT_EQ(count, 5);
}

TEST(ExposedObject, AChildThatDiesInTheFirstPassLetsTheNextOneBeReported)
{
    testproxy::installTestFactories();
    LogCapture capture("Package");
    auto package = Object::create<ICapeCollection, ICapeUtilities, ICapeIdentification>();
    auto first = Object::create<ICapeDiagnostic, ICapeIdentification>(L"First");
    auto second = Object::create<ICapeDiagnostic, ICapeIdentification>(L"Second");
    std::vector<ComPtr<IDispatch>> held;
    package->on(&ICapeUtilities::put_simulationContext, [&](IDispatch* c) { held.emplace_back(c); });
    {
        auto exposed = testproxy::expose(package.get(), capture.log(), "Package");
        exposed->put_simulationContext(first->ptr<ICapeDiagnostic>());
        exposed->put_simulationContext(second->ptr<ICapeDiagnostic>());
        // The first proxy's only holder is its own foreign object: the first pass destroys it, and it leaves the list.
        first->on(&ICapeDiagnostic::PopUpMessage, [keep = held[0]](BSTR) {});
        held.erase(held.begin());
        first.reset();
        package->unscript(&ICapeUtilities::put_simulationContext);
    }
    std::string text = capture.text();
    EXPECT_EQ(occurrences(text, "is not released at final release"), 1u) << text;
    EXPECT_NE(text.find("Object &quot;Second&quot;"), std::string::npos);
    // The reported child kept its foreign object: it was passed over in the first pass.
    EXPECT_EQ(second->refCount(), 2u);
}

TEST(InterfacePolicy, KnownFollowTheForeignObjectUnknownComeRawPrivateNeverReachItEmptiedAnswerIdentity)
{
    LogCapture capture;
    auto kitObject = Object::create<ICapeDiagnostic, ECapeUser, ECapeNoImpl, ICapeParameter, ICapeIdentification>();
    ComPtr<IDispatch> proxy = testproxy::createTestProxy(kitObject.get(), capture.log(), nullptr, 0);
    ComPtr<ECapeUser> user = proxy.query<ECapeUser>();
    ASSERT_TRUE(user && proxy.query<ECapeNoImpl>());
    EXPECT_NE(user.get(), kitObject->ptr<ECapeUser>());
    EXPECT_FALSE(proxy.query<ICapeCOSEUtilities>());
    EXPECT_EQ(proxy.query<ICapeParameter>().get(), kitObject->ptr<ICapeParameter>());
    // IUnknown is the proxy's identity, whichever interface it is asked through.
    EXPECT_EQ(proxy.query<IUnknown>().get(), user.query<IUnknown>().get());
    kitObject->clearQueries();
    EXPECT_TRUE(proxy.query<IOriginalObject64>());
    ComPtr<IUnknown> marshal;
    EXPECT_EQ(proxy->QueryInterface(IID_IMarshal, marshal.putVoid()), E_NOINTERFACE);
    EXPECT_FALSE(marshal);
    EXPECT_TRUE(kitObject->queries().empty());
    impl(proxy.query<ICapeDiagnostic>().get())->releaseInterfaces();
    EXPECT_TRUE(proxy.query<IUnknown>() && proxy.query<IDispatch>());
    EXPECT_FALSE(proxy.query<ECapeUser>() || proxy.query<IOriginalObject64>());
    // The interface's registered name, or its identifier where the platform registers no name.
    EXPECT_EQ(capture.records(), golden("interface policy") + "<info value=\"Kit object: QueryInterface for unsupported interface " +
                                     tarv::CallLog::interfaceName(IID_IMarshal) + " results E_NOINTERFACE\"/>\n" +
                                     golden("interface policy of an emptied proxy"));
}

TEST(InterfacePolicy, TheUnitVariationRefusesIPersistStreamAndAnswersEverythingBeforeCreation)
{
    LogCapture capture;
    ComPtr<testproxy::TestUnit> unit(new testproxy::TestUnit());
    unit->attachLog(capture.log(), "Unit");
    // Empty: the class's own interfaces are there, without a foreign object and without a word.
    EXPECT_TRUE(unit.query<ICapeCollection>() && unit.query<ECapeUser>() && unit.query<ICapeUtilities>());
    EXPECT_EQ(capture.records(), "");
    void* untouched = reinterpret_cast<void*>(1);
    EXPECT_EQ(unit->QueryInterface(IID_IPersistStream, &untouched), E_NOINTERFACE);
    EXPECT_EQ(untouched, reinterpret_cast<void*>(1));
    EXPECT_EQ(capture.records(), "<info value=\"Logged object uses IPersistStreamInit; QueryInterface for "
                                 "IPersistStream returns E_NOINTERFACE\"/>\n");
    // Live: the foreign object decides again, and IPersistStream stays refused even if it has it.
    auto real = Object::create<ICapeCollection, IPersistStream, ICapeIdentification>();
    unit->attachObject(ComPtr<IUnknown>(real.get()).detach());
    real->clearQueries();
    EXPECT_FALSE(unit.query<ECapeUser>() || unit.query<IPersistStream>() || real->wasQueried(IID_IPersistStream));
}

// Lies that fault while logged end as the barrier's record in the call's func, with every lock and proxy given back.
TEST(ProxiedCall, AFaultWhileLoggingLeavesNothingBehind)
{
    testproxy::installTestFactories();
    // A readable page right in front of one that faults on any access.
    static char* const pages = [] {
        auto* p = static_cast<char*>(VirtualAlloc(nullptr, 8192, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD old;
        VirtualProtect(p + 4096, 4096, PAGE_NOACCESS, &old);
        return p;
    }();
    IUnknown* const noAccessObject = reinterpret_cast<IUnknown*>(pages + 4096);
    auto endOf = [](const std::string& barrierRecord) {
        return " <error value=\"" + barrierRecord + "\"/>\n <error value=\"E_UNEXPECTED: error code 0x8000FFFF\"/>\n</func>\n";
    };
    const std::string faultEnd = endOf("Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: The thread tried to "
                                       "read from or write to a virtual address for which it does not have the appropriate access.");
    auto element = Object::create<ICapeIdentification>(L"Element");
    auto named = Object::create<ICapeIdentification>(L"Source");
    named->fault(&ICapeIdentification::get_ComponentName, kit::Fault::ThrowText("name table corrupt"));
    auto crashing = Object::create<ICapeCollection, ICapeIdentification>(L"Crashing");
    crashing->fault(&ICapeIdentification::get_ComponentName, kit::Fault::AccessViolation);
    SAFEARRAY* lyingBounds = nullptr;   // claims 1000 doubles; its data ends where a no-access page starts
    // A proxied get_NamedValue whose foreign answer is written by `lie`.
    auto namedValue = [&](LogCapture& capture, const wchar_t* name, std::function<void(VARIANT*)> lie) {
        auto foreign = Object::create<ICapeCOSEUtilities, ICapeIdentification>();
        foreign->on(&ICapeCOSEUtilities::get_NamedValue, [lie](BSTR, VARIANT* v) { lie(v); });
        VARIANT value;
        VariantInit(&value);
        HRESULT hr = proxyOf<ICapeCOSEUtilities>(foreign.get(), capture)->get_NamedValue(Bstr(name).get(), &value);
        EXPECT_EQ(value.vt, VT_EMPTY);   // the failed call leaves nothing to release
        return hr;
    };
    // `keep` holds what must live until the log is read; `end` follows the record's text in the data file.
    auto contextCrossing = [](LogCapture& capture, ComPtr<IUnknown>& keep, IDispatch* context) {
        auto package = Object::create<ICapeCollection, ICapeUtilities, ICapeIdentification>();
        auto exposed = testproxy::expose(package.get(), capture.log());
        keep = exposed.query<IUnknown>();
        return exposed->put_simulationContext(context);
    };
    struct Row { const char* lie; std::function<HRESULT(LogCapture&, ComPtr<IUnknown>& keep)> call; std::string end; };
    const Row rows[] = {
        {"a null object in an array of objects", [&](LogCapture& capture, ComPtr<IUnknown>&) {
             return namedValue(capture, L"phases", [&](VARIANT* v) {
                 SAFEARRAY* a = SafeArrayCreateVector(VT_DISPATCH, 0, 2);
                 LONG first = 0;
                 SafeArrayPutElement(a, &first, element->ptr<ICapeIdentification>());
                 v->vt = VT_ARRAY | VT_DISPATCH;
                 v->parray = a;
             });
         }, faultEnd},
        {"an array whose bounds claim more than its data holds", [&](LogCapture& capture, ComPtr<IUnknown>&) {
             return namedValue(capture, L"x", [&](VARIANT* v) {
                 SafeArrayAllocDescriptorEx(VT_R8, 1, &lyingBounds);
                 lyingBounds->cbElements = sizeof(double);
                 lyingBounds->fFeatures |= FADF_STATIC;
                 lyingBounds->rgsabound[0] = {1000, 0};
                 lyingBounds->pvData = pages + 4096 - sizeof(double);
                 *static_cast<double*>(lyingBounds->pvData) = 7.5;
                 v->vt = VT_ARRAY | VT_R8;
                 v->parray = lyingBounds;
             });
         }, faultEnd},
        {"an interface pointer into a no-access page, asked for its name",
         [&](LogCapture& c, ComPtr<IUnknown>& k) { return contextCrossing(c, k, reinterpret_cast<IDispatch*>(noAccessObject)); }, faultEnd},
        {"a C++ throw while an argument is asked for its name",
         [&](LogCapture& c, ComPtr<IUnknown>& k) { return contextCrossing(c, k, named->ptr<ICapeIdentification>()); },
         endOf("Uncaught exception during function call: name table corrupt")},
        {"a result whose name fetch crashes while its proxy is made", [&](LogCapture& capture, ComPtr<IUnknown>& keep) {
             auto collection = Object::create<ICapeCollection, ICapeIdentification>();
             collection->returns(&ICapeCollection::Item, crashing);
             auto exposed = testproxy::expose(collection.get(), capture.log());
             keep = exposed.query<IUnknown>();
             IDispatch* item = nullptr;
             HRESULT hr = exposed->Item(tarv::Variant::fromLong(1).get(), &item);
             EXPECT_EQ(item, nullptr);
             EXPECT_TRUE(exposed->children().empty());
             return hr;
         }, faultEnd},
    };
    const std::string next = golden("the next record");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.lie);
        LogCapture capture;
        const ULONG locks = serverLocks();
        {
            ComPtr<IUnknown> keep;
            EXPECT_EQ(row.call(capture, keep), E_UNEXPECTED);
            auto other = Object::create<ICapeDiagnostic, ICapeIdentification>();
            EXPECT_EQ(proxyOf(other.get(), capture)->LogMessage(Bstr(L"next").get()), S_OK);
            EXPECT_EQ(capture.records(), golden(row.lie) + row.end + next);
        }
        EXPECT_EQ(serverLocks(), locks) << "a proxy made for the call outlived it";
    }
    ASSERT_TRUE(lyingBounds);
    EXPECT_EQ(lyingBounds->cLocks, 0u) << "the array stayed locked";
    SafeArrayDestroyDescriptor(lyingBounds);
}

