// Every method of the thermo proxies reached both ways, through its vtable slot and by name
// through the interface's IDispatch, with arguments built from the registered CAPE-OPEN library's
// description: both ways must log the same records and reach the foreign object the same way.
#include "thermo/harness.h"

#include <gtest/gtest.h>

#include <iostream>

using tarv::ComPtr;
using testsupport::LogCapture;
using namespace thermotest;

TEST(Dispatch, EveryMethodLogsTheSameWhetherCalledThroughItsVtableOrByName)
{
    int covered = 0;
    for (const ProxyClassInfo& cls : proxyClasses()) {
        int ofClass = 0;
        for (const IID& iid : cls.interfaces) {
            for (const Method& m : methodsOf(iid)) {
                SCOPED_TRACE(m.qualified);
                LogCapture direct, byName;
                ComPtr<Object> kitA = cls.fullKit(L"Stream"), kitB = cls.fullKit(L"Stream");
                HRESULT viaVtable, viaName;
                {
                    NoLeaks leaks{kitA.get(), kitB.get()};
                    ComPtr<IDispatch> a = cls.make(kitA.get(), direct.log(), -1, 1);
                    ComPtr<IDispatch> b = cls.make(kitB.get(), byName.log(), -1, 1);
                    ComPtr<IDispatch> facetA, facetB;
                    ASSERT_EQ(a->QueryInterface(iid, facetA.putVoid()), S_OK);
                    ASSERT_EQ(b->QueryInterface(iid, facetB.putVoid()), S_OK);
                    kitA->clearCalls();
                    kitB->clearCalls();
                    Call first(m), second(m);
                    viaVtable = first.byVtable(facetA.get());
                    viaName = second.byName(facetB.get());
                }
                EXPECT_EQ(viaVtable, viaName);
                EXPECT_EQ(withoutAddresses(direct.records()), withoutAddresses(byName.records()));
                EXPECT_NE(direct.records().find("<func name=\"" + m.qualified + "\""), std::string::npos);
                EXPECT_EQ(kitA->calls(), kitB->calls());
                EXPECT_EQ(kitA->callCount(m.qualified), 1u);
                ++ofClass;
            }
        }
        std::cout << "[ covered  ] " << cls.name << ": " << ofClass << " methods\n";
        covered += ofClass;
    }
    std::cout << "[ covered  ] " << covered << " methods, each by vtable and by name\n";
    // The material's seven interfaces hold 53 methods, the template's one 2, the context's four 6.
    EXPECT_EQ(covered, 53 + 2 + 6);
}
