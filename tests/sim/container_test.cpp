// The kit's manager and stand-alone packages created from the test prefix's registry, as the
// end-to-end tests and the demo create them; the manager variants are run by the simulator tests.
#include "com/bstr.h"
#include "com/com_ptr.h"
#include "kit/classes.h"

#include "capeopen.h"

#include <gtest/gtest.h>

using tarv::Bstr;
using tarv::ComPtr;

TEST(KitContainers, PackagesComeWhole)
{
    struct Row {
        const char* what;
        CLSID clsid;
        bool utilities;
        const wchar_t* package;   // asked of a manager; null: the class is a package itself
    } rows[] = {
        {"manager, any case", kit::CLSID_PackageManager, true, L"ideal aromatics"},
        {"stand-alone package", kit::CLSID_IdealPackage, true, nullptr},
        {"stand-alone package without utilities", kit::CLSID_PackageWithoutUtilities, false, nullptr},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        ComPtr<IDispatch> object;
        ASSERT_EQ(CoCreateInstance(r.clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object.putVoid()), S_OK);
        auto utilities = object.query<ICapeUtilities>();
        ASSERT_EQ(bool(utilities), r.utilities);
        if (utilities) {
            EXPECT_EQ(utilities->Initialize(), S_OK);
        }
        ComPtr<IDispatch> package = object;
        if (r.package) {
            ASSERT_EQ(object.query<ICapeThermoPropertyPackageManager>()->GetPropertyPackage(Bstr(r.package).get(),
                                                                                           package.put()),
                      S_OK);
            // The package outlives its manager's Terminate and release, as a resolving server needs.
            EXPECT_EQ(utilities->Terminate(), S_OK);
            utilities = nullptr;
            object = nullptr;
        }
        ASSERT_TRUE(package);
        LONG count = 0;
        EXPECT_EQ(package.query<ICapeThermoCompounds>()->GetNumCompounds(&count), S_OK);
        EXPECT_EQ(count, 3);
    }
}
