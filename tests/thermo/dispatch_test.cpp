// Every method of the thermo proxies reached both ways, through its vtable slot and by name
// through the interface's IDispatch, with arguments built from the registered CAPE-OPEN library's
// description: both ways must log the same records and reach the foreign object the same way.
#include "thermo/harness.h"

#include <gtest/gtest.h>

using namespace thermotest;

TEST(Dispatch, EveryMethodLogsTheSameWhetherCalledThroughItsVtableOrByName)
{
    std::vector<testsupport::ProxiedInterfaces> classes;
    for (const ProxyClassInfo& cls : proxyClasses())
        classes.push_back({cls.name, cls.interfaces, [&cls] { return cls.fullKit(L"Stream"); },
                           [&cls](IUnknown* foreign, tarv::CallLog* log) { return cls.make(foreign, log, -1, 1); }});
    // The material's seven interfaces hold 53 methods, the template's one 2, the context's four 6.
    EXPECT_EQ(testsupport::checkEveryMethodBothWays(classes), 53 + 2 + 6);
}
