// The kit's own guarantees that the other tests rest on: COM identity of its facets, one reference
// count for all of them, and scripts kept apart per interface for methods of the same name.
#include "kit/kit.h"

#include "com/bstr.h"

#include <gtest/gtest.h>

#include <set>

using tarv::ComPtr;

namespace {

std::string nameOf(REFIID iid)
{
    std::string n = kit::interfaceName(iid);
    if (!n.empty()) return n;
    wchar_t buf[64];
    StringFromGUID2(iid, buf, 64);
    return tarv::toNarrow(buf);
}

bool contains(const std::vector<IID>& v, REFIID iid)
{
    return std::find(v.begin(), v.end(), iid) != v.end();
}

bool isDual(REFIID iid)
{
    return iid != IID_IPersistStreamInit && iid != IID_IPersistStream;
}

constexpr CLSID kClassA = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
constexpr CLSID kClassB = {0xAAAAAAAA, 0xBBBB, 0xCCCC, {0xDD, 0xDD, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}};

// A pointer value that must come back unchanged; never dereferenced.
template <class T>
T* poison()
{
    return reinterpret_cast<T*>(static_cast<uintptr_t>(0x0BADF00D));
}

} // namespace

TEST(KitIdentity, QueryInterfaceFollowsComIdentityRules)
{
    const struct {
        const char* label;
        std::vector<IID> exposed;
    } sets[] = {
        {"identification and errors", {IID_ICapeIdentification, IID_ECapeUser, IID_ECapeRoot}},
        {"persistence first", {IID_IPersistStreamInit, IID_ICapeUnit, IID_ICapeUnitReport}},
        {"error interfaces", kit::errorInterfaces()},
        {"everything", kit::allInterfaces()},
    };
    for (const auto& set : sets) {
        SCOPED_TRACE(set.label);
        auto obj = kit::Object::create(set.exposed);
        IUnknown* identity = obj->ptr<IUnknown>();

        std::vector<IUnknown*> faces;
        for (const IID& iid : set.exposed) {
            ComPtr<IUnknown> p;
            ASSERT_EQ(identity->QueryInterface(iid, p.putVoid()), S_OK) << nameOf(iid);
            faces.push_back(p.get());
        }
        EXPECT_EQ(std::set<IUnknown*>(faces.begin(), faces.end()).size(), faces.size()) << "facets share a pointer";

        const IID& firstDual = *std::find_if(set.exposed.begin(), set.exposed.end(), isDual);
        IUnknown* defaultDispatch = faces[std::find(set.exposed.begin(), set.exposed.end(), firstDual) - set.exposed.begin()];

        std::vector<IID> missing{IID_IMarshal, IID_IStream};
        for (const IID& iid : kit::allInterfaces())
            if (!contains(set.exposed, iid)) missing.push_back(iid);

        for (size_t i = 0; i < faces.size(); ++i) {
            SCOPED_TRACE("from " + nameOf(set.exposed[i]));
            ComPtr<IUnknown> unk, disp;
            ASSERT_EQ(faces[i]->QueryInterface(IID_IUnknown, unk.putVoid()), S_OK);
            EXPECT_EQ(unk.get(), identity);
            ASSERT_EQ(faces[i]->QueryInterface(IID_IDispatch, disp.putVoid()), S_OK);
            EXPECT_EQ(disp.get(), defaultDispatch);
            // Every exposed interface from every other one, always the same pointer: reflexive,
            // symmetric and transitive.
            for (size_t j = 0; j < faces.size(); ++j) {
                ComPtr<IUnknown> other;
                ASSERT_EQ(faces[i]->QueryInterface(set.exposed[j], other.putVoid()), S_OK) << nameOf(set.exposed[j]);
                EXPECT_EQ(other.get(), faces[j]) << nameOf(set.exposed[j]);
            }
            for (const IID& iid : missing) {
                void* out = poison<void>();
                EXPECT_EQ(faces[i]->QueryInterface(iid, &out), E_NOINTERFACE) << nameOf(iid);
                EXPECT_EQ(out, nullptr) << nameOf(iid);
            }
        }
        EXPECT_EQ(obj->refCount(), 1u);
    }
}

TEST(KitIdentity, FacetsShareTheObjectsReferenceCount)
{
    const LONG before = kit::Object::liveCount();
    auto obj = kit::Object::create<ICapeParameter, ECapeUser>();
    EXPECT_EQ(kit::Object::liveCount(), before + 1);

    ComPtr<ECapeUser> user;
    ASSERT_EQ(obj->QueryInterface(IID_ECapeUser, user.putVoid()), S_OK);
    EXPECT_EQ(obj->refCount(), 2u);
    EXPECT_EQ(user->AddRef(), 3u);
    EXPECT_EQ(obj->ptr<ICapeParameter>()->Release(), 2u);

    // The last reference may be a facet's: the object lives on until it goes.
    ICapeParameter* param = user.query<ICapeParameter>().detach();
    user = nullptr;
    obj = nullptr;
    EXPECT_EQ(kit::Object::liveCount(), before + 1);
    CapeValidationStatus status = CAPE_VALID;
    EXPECT_EQ(param->get_ValStatus(&status), S_OK);
    EXPECT_EQ(param->Release(), 0u);
    EXPECT_EQ(kit::Object::liveCount(), before);
}

TEST(KitScripts, MethodsOfTheSameNameInTwoInterfacesStayDistinct)
{
    auto obj = kit::Object::create<ICapeKineticReactionContext, ICapeElectrolyteReactionContext, ECapeBoundaries,
                                   ICapeRealParameterSpec, ICapeUnit, ICapeParameter, IPersistStreamInit,
                                   IPersistStream>();
    int kineticRuns = 0;
    obj->on(&ICapeKineticReactionContext::SetReactionObject, [&](IDispatch**) { ++kineticRuns; })
        .fail(&ICapeElectrolyteReactionContext::SetReactionObject, E_NOTIMPL)
        .returns(&ECapeBoundaries::get_LowerBound, 1.5)
        .returns(&ICapeRealParameterSpec::get_LowerBound, -2.5)
        .returns(&ICapeUnit::Validate, true)
        .returns(&ICapeParameter::Validate, false)
        // Inherited from IPersist: the same member pointer, told apart by the interface named.
        .returns<IPersistStreamInit>(&IPersistStreamInit::GetClassID, kClassA)
        .returns<IPersistStream>(&IPersistStream::GetClassID, kClassB);

    IDispatch* reactions = nullptr;
    EXPECT_EQ(obj->ptr<ICapeKineticReactionContext>()->SetReactionObject(&reactions), S_OK);
    EXPECT_EQ(obj->ptr<ICapeElectrolyteReactionContext>()->SetReactionObject(&reactions), E_NOTIMPL);
    EXPECT_EQ(kineticRuns, 1);

    double bound = 0;
    EXPECT_EQ(obj->ptr<ECapeBoundaries>()->get_LowerBound(&bound), S_OK);
    EXPECT_EQ(bound, 1.5);
    EXPECT_EQ(obj->ptr<ICapeRealParameterSpec>()->get_LowerBound(&bound), S_OK);
    EXPECT_EQ(bound, -2.5);

    BSTR message = nullptr;
    VARIANT_BOOL ok = VARIANT_FALSE;
    EXPECT_EQ(obj->ptr<ICapeUnit>()->Validate(&message, &ok), S_OK);
    EXPECT_EQ(ok, VARIANT_TRUE);
    EXPECT_EQ(obj->ptr<ICapeParameter>()->Validate(&message, &ok), S_OK);
    EXPECT_EQ(ok, VARIANT_FALSE);

    CLSID clsid{};
    EXPECT_EQ(obj->ptr<IPersistStreamInit>()->GetClassID(&clsid), S_OK);
    EXPECT_EQ(clsid, kClassA);
    EXPECT_EQ(obj->ptr<IPersistStream>()->GetClassID(&clsid), S_OK);
    EXPECT_EQ(clsid, kClassB);
    // IPersist is answered by the first persistence facet.
    EXPECT_EQ(static_cast<void*>(obj->ptr<IPersist>()), static_cast<void*>(obj->ptr<IPersistStreamInit>()));

    EXPECT_EQ(obj->calls(), (kit::Calls{
        "ICapeKineticReactionContext::SetReactionObject", "ICapeElectrolyteReactionContext::SetReactionObject",
        "ECapeBoundaries::get_LowerBound", "ICapeRealParameterSpec::get_LowerBound",
        "ICapeUnit::Validate", "ICapeParameter::Validate",
        "IPersistStreamInit::GetClassID", "IPersistStream::GetClassID"}));
}
