// Status names, failure texts, interface names and the record of a turned-down query.
#include "log_fixture.h"

#include "com/bstr.h"
#include "kit/kit.h"
#include "tarvlib.h"

#include <set>
#include <string>

using logtest::crlf;
using logtest::recordsOf;
using tarv::CallLog;
using tarv::capeErrorText;
using tarv::systemErrorText;

TEST(StatusName, NamesTheConstantsAndFallsBackToHex)
{
    struct {
        HRESULT status;
        const char* name;
    } cases[] = {
        {0, "NOERROR"},
        {CO_E_LAUNCH_PERMSSION_DENIED, "CO_E_LAUNCH_PERMSSION_DENIED"},   // spelt as the system spells it
        {S_FALSE, "0x1"},
        {static_cast<HRESULT>(0x80040500), "0x80040500"},
        {static_cast<HRESULT>(0x8004051B), "0x8004051B"},
        {static_cast<HRESULT>(0xDEADBEEF), "0xDEADBEEF"},
    };
    for (auto c : cases) EXPECT_EQ(CallLog::statusName(c.status), c.name) << std::hex << c.status;

    // The CAPE-OPEN block has a name for each of its 26 codes, each its own.
    std::set<std::string> names;
    for (uint32_t code = 0x80040501; code <= 0x8004051A; ++code) {
        std::string name = CallLog::statusName(static_cast<HRESULT>(code));
        EXPECT_EQ(name.rfind("ECape", 0), 0u) << std::hex << code;
        names.insert(name);
    }
    EXPECT_EQ(names.size(), 26u);
}

TEST(SystemErrorText, SystemMessageWithoutItsLineEndElseTheCode)
{
    // Codes the system has a message for, Win32 codes and HRESULTs alike.
    for (HRESULT known : {HRESULT{2}, E_ACCESSDENIED}) {
        wchar_t raw[1024];
        DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                 static_cast<DWORD>(known), 0, raw, 1024, nullptr);
        ASSERT_GE(n, 2u) << std::hex << known;
        ASSERT_EQ(std::wstring(raw + n - 2, 2), L"\r\n");
        EXPECT_EQ(systemErrorText(known), std::wstring(raw, n - 2)) << std::hex << known;
    }

    EXPECT_EQ(systemErrorText(static_cast<HRESULT>(0x8004051B)), L"error code 0x8004051B");
    EXPECT_EQ(systemErrorText(static_cast<HRESULT>(0xA0001234)), L"error code 0xA0001234");
}

TEST(CapeErrorText, AsksUserThenRootThenTheTable)
{
    const struct {
        const wchar_t* description;   // null: ECapeUser left out; empty: an empty text
        const wchar_t* name;          // null: ECapeRoot left out
        HRESULT code;
        std::wstring text;
    } cases[] = {
        {L"Property not supported", L"Root name", HRESULT(ECapeNoImplHR), L"Property not supported"},
        {L"", L"Root name", HRESULT(ECapeNoImplHR), L"Root name"},
        {L"", nullptr, HRESULT(ECapeNoImplHR), L"not implemented"},
        {L"", L"", HRESULT(ECapeThrmPropertyNotAvailableHR),
         L"One or more of the requested thermodynamic properties are not set on the material"},
        {nullptr, nullptr, HRESULT(ECapeUnknownHR), L"Failed to get error name for ECapeUnknown"},
        // Outside the block the object is not asked.
        {L"never", L"never", static_cast<HRESULT>(0x8004051B), L"error code 0x8004051B"},
        {L"never", L"never", E_FAIL, systemErrorText(E_FAIL)},
    };
    for (const auto& c : cases) {
        std::vector<IID> interfaces{IID_ICapeUtilities};
        if (c.description) interfaces.push_back(IID_ECapeUser);
        if (c.name) interfaces.push_back(IID_ECapeRoot);
        auto object = kit::Object::create(interfaces);
        if (c.description) object->errorDescription(c.description);
        if (c.name) object->errorName(c.name);
        EXPECT_EQ(capeErrorText(object->ptr<ICapeUtilities>(), c.code), c.text);
        // Every reference taken during the lookup is given back.
        EXPECT_EQ(object->refCount(), 1u);
        if (c.code < HRESULT(ECapeUnknownHR) || c.code > HRESULT(ECapeThrmPropertyNotAvailableHR)) {
            EXPECT_TRUE(object->queries().empty()) << std::hex << c.code;
        }
    }
    auto failing = kit::Object::create<ICapeUtilities, ECapeUser, ECapeRoot>();
    failing->fail(&ECapeUser::get_description, E_FAIL).fail(&ECapeRoot::get_name, E_FAIL);
    EXPECT_EQ(capeErrorText(failing->ptr<ICapeUtilities>(), ECapePersistenceHR), L"storage / persistence error");
    EXPECT_EQ(capeErrorText(nullptr, ECapeDataHR), L"invalid data");
}

TEST(InterfaceName, RegisteredNameElseTheBracedIID)
{
    EXPECT_EQ(CallLog::interfaceName(IID_IUnknown), "IUnknown");
    EXPECT_EQ(CallLog::interfaceName(IID_IDispatch), "IDispatch");
    // {6B0C1A2E-53A4-4F0F-9E5D-0A11C0FFEE01}: registered nowhere.
    const IID unregistered = {0x6B0C1A2E, 0x53A4, 0x4F0F, {0x9E, 0x5D, 0x0A, 0x11, 0xC0, 0xFF, 0xEE, 0x01}};
    EXPECT_EQ(CallLog::interfaceName(unregistered), "{6B0C1A2E-53A4-4F0F-9E5D-0A11C0FFEE01}");
}

TEST(QueryInterfaceRecord, NamesInterfaceAndResultButNeverTheServersOwnQuery)
{
    EXPECT_EQ(recordsOf([](CallLog& l) {
                  l.queryInterface("Stream 1", IID_IDispatch, E_NOINTERFACE);
                  l.queryInterface("Stream 1", IID_IOriginalObject64, E_NOINTERFACE);
                  l.beginFunc(1, "F", "Stream 1");
                  l.queryInterface("A&B", IID_IUnknown, static_cast<HRESULT>(0x80040509));
                  l.endFunc(S_OK, nullptr);
              }),
              crlf(R"(<info value="Stream 1: QueryInterface for unsupported interface IDispatch results E_NOINTERFACE"/>
<func name="F" direc="in" object="Stream 1">
 <info value="A&amp;B: QueryInterface for unsupported interface IUnknown results ECapeNoImplHR"/>
</func>
)"));
}
