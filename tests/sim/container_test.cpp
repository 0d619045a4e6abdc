// The kit's containers and stand-alone packages created from the test prefix's registry, the
// misbehaving variants among them: each does what tests/kit/classes.h says of it.
#include "com/bstr.h"
#include "com/com_ptr.h"
#include "kit/classes.h"
#include "kit/ideal/cape_error.h"

#include "capeopen.h"

#include <gtest/gtest.h>

using tarv::Bstr;
using tarv::ComPtr;

namespace {

std::wstring description(IUnknown* object)
{
    auto user = ComPtr<IUnknown>(object).query<ECapeUser>();
    Bstr d;
    if (user) user->get_description(d.put());
    return d.wide();
}

LONG compoundCount(IUnknown* package)
{
    LONG count = 0;
    auto compounds = ComPtr<IUnknown>(package).query<ICapeThermoCompounds>();
    if (compounds) compounds->GetNumCompounds(&count);
    return count;
}

} // namespace

TEST(KitContainers, EachClassBehavesAsDocumented)
{
    using namespace kit;
    struct Row {
        const char* what;
        CLSID clsid;
        bool utilities;
        HRESULT initialize;          // S_FALSE: not asked
        const wchar_t* package;      // asked of a manager; null: the class is a package itself
        HRESULT resolved;
        bool handedOut;
        const wchar_t* told;         // description after the failure
    } rows[] = {
        {"manager", CLSID_PackageManager, true, S_OK, L"ideal aromatics", S_OK, true, L""},
        {"manager, unknown name", CLSID_PackageManager, true, S_OK, L"Steam Tables", ideal::kCapeInvalidArgument, false,
         L"There is no property package named \"Steam Tables\"; available: \"Ideal Alkanes\", \"Ideal Aromatics\""},
        {"failing Initialize", CLSID_ManagerFailingInit, true, ideal::kCapeFailedInitialisation, L"Ideal Alkanes", S_OK,
         true, kFailingInitText},
        {"manager without utilities", CLSID_ManagerWithoutUtilities, false, S_FALSE, L"Ideal Alkanes", S_OK, true, L""},
        {"manager returning null", CLSID_ManagerReturningNull, true, S_OK, L"Ideal Alkanes", S_OK, false, L""},
        {"stand-alone package", CLSID_IdealPackage, true, S_OK, nullptr, S_OK, true, L""},
        {"stand-alone package without utilities", CLSID_PackageWithoutUtilities, false, S_FALSE, nullptr, S_OK, true, L""},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        ComPtr<IDispatch> object;
        ASSERT_EQ(CoCreateInstance(r.clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object.putVoid()), S_OK);
        auto utilities = object.query<ICapeUtilities>();
        EXPECT_EQ(bool(utilities), r.utilities);
        if (utilities) {
            EXPECT_EQ(utilities->Initialize(), r.initialize);
        }
        if (FAILED(r.initialize)) {
            EXPECT_EQ(description(object.get()), r.told);
        }
        ComPtr<IDispatch> package = object;
        if (r.package) {
            package = nullptr;
            EXPECT_EQ(object.query<ICapeThermoPropertyPackageManager>()->GetPropertyPackage(Bstr(r.package).get(),
                                                                                           package.put()),
                      r.resolved);
            if (FAILED(r.resolved)) {
                EXPECT_EQ(description(object.get()), r.told);
            }
            // A package outlives its manager's Terminate and release, as a resolving server needs.
            if (utilities) {
                EXPECT_EQ(utilities->Terminate(), S_OK);
            }
            utilities = nullptr;
            object = nullptr;
        }
        EXPECT_EQ(bool(package), r.handedOut);
        if (package) {
            EXPECT_EQ(compoundCount(package.get()), 3);
        }
    }
}
