// Interface pointers crossing the thermo proxies: results wrapped in new proxies of the same tree
// with the generation, owner and read-only flag each method gives them, late calls after the
// owner's end, and a source material that is one of the server's own proxies.
#include "thermo/harness.h"

#include "com/bstr.h"
#include "com/variant.h"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>
#include <vector>

using tarv::Bstr;
using namespace thermotest;

namespace {

IDispatch* const kUntouched = reinterpret_cast<IDispatch*>(0x5A5A5A5A);

// Scripts a kit method whose last argument is an interface result: it writes `value` (with a
// reference for the receiver) and returns `hr`.
template <class I, class... A>
void answer(Object& kit, HRESULT (STDMETHODCALLTYPE I::*method)(A...), IDispatch* value, HRESULT hr)
{
    kit.on(method, [value, hr](A... a) {
        IDispatch** out = std::get<sizeof...(A) - 1>(std::forward_as_tuple(a...));
        if (value) value->AddRef();
        *out = value;
        return hr;
    });
}

// One method that hands back an interface, and what its caller's location holds after a failure.
struct Making {
    const char* outName;
    std::function<void(Object& kit, IDispatch* value, HRESULT hr)> script;
    std::function<HRESULT(IDispatch* maker, IDispatch** out)> call;
    enum { Null, Untouched, AsTheForeignCallLeftIt } afterFailure;
};

template <class I>
ComPtr<I> as(IDispatch* d)
{
    return ComPtr<IDispatch>(d).query<I>();
}

const Making kCreateMaterial{"materialObject",
    [](Object& k, IDispatch* v, HRESULT hr) { answer(k, &ICapeThermoMaterial::CreateMaterial, v, hr); },
    [](IDispatch* m, IDispatch** out) { return as<ICapeThermoMaterial>(m)->CreateMaterial(out); }, Making::Null};
const Making kCreateMaterialObject{"materialObject",
    [](Object& k, IDispatch* v, HRESULT hr) { answer(k, &ICapeThermoMaterialObject::CreateMaterialObject, v, hr); },
    [](IDispatch* m, IDispatch** out) { return as<ICapeThermoMaterialObject>(m)->CreateMaterialObject(out); },
    Making::Null};
const Making kDuplicate{"clone",
    [](Object& k, IDispatch* v, HRESULT hr) { answer(k, &ICapeThermoMaterialObject::Duplicate, v, hr); },
    [](IDispatch* m, IDispatch** out) { return as<ICapeThermoMaterialObject>(m)->Duplicate(out); }, Making::Null};
const Making kTemplateMaterial{"materialObject",
    [](Object& k, IDispatch* v, HRESULT hr) { answer(k, &ICapeThermoMaterialTemplate::CreateMaterialObject, v, hr); },
    [](IDispatch* t, IDispatch** out) { return as<ICapeThermoMaterialTemplate>(t)->CreateMaterialObject(out); },
    Making::Untouched};
const Making kCreateTemplate{"MaterialTemplate",
    [](Object& k, IDispatch* v, HRESULT hr) { answer(k, &ICapeMaterialTemplateSystem::CreateMaterialTemplate, v, hr); },
    [](IDispatch* c, IDispatch** out) {
        return as<ICapeMaterialTemplateSystem>(c)->CreateMaterialTemplate(tarv::Bstr(L"Water").get(), out);
    },
    Making::AsTheForeignCallLeftIt};

enum class Maker { Material, Template, Context };
enum class Owner { None, Package10, Package11 };

struct WrapRow {
    const char* what;
    const Making& making;
    Maker maker;
    int makerVersion;
    int makerReadOnly;
    Owner owner;
    int productVersion;    // materials only
    int productReadOnly;
};

// A read-only maker makes writable materials; a template's material follows its tree's generation
// and leaves the template's read-only flag behind; a context's template takes the context's flag.
const WrapRow kWrapRows[] = {
    {"CreateMaterial, read-only 1.1 material", kCreateMaterial, Maker::Material, 1, 1, Owner::Package11, 1, 0},
    {"CreateMaterial under a 1.0 package", kCreateMaterial, Maker::Material, -1, 0, Owner::Package10, 1, 0},
    {"CreateMaterialObject, read-only material", kCreateMaterialObject, Maker::Material, 0, 1, Owner::Package10, 0, 0},
    {"CreateMaterialObject under a 1.1 package", kCreateMaterialObject, Maker::Material, -1, 0, Owner::Package11, 0, 0},
    {"Duplicate, read-only material under a 1.1 package", kDuplicate, Maker::Material, -1, 1, Owner::Package11, 0, 0},
    {"Duplicate, no owner", kDuplicate, Maker::Material, 0, 0, Owner::None, 0, 0},
    {"template under a 1.1 package", kTemplateMaterial, Maker::Template, -1, 1, Owner::Package11, 1, 0},
    {"template under a 1.0 package", kTemplateMaterial, Maker::Template, -1, 0, Owner::Package10, 0, 0},
    {"template without owner", kTemplateMaterial, Maker::Template, -1, 1, Owner::None, -1, 0},
    {"read-only context", kCreateTemplate, Maker::Context, -1, 1, Owner::Package11, -1, 1},
    {"writable context", kCreateTemplate, Maker::Context, -1, 0, Owner::Package10, -1, 0},
};

ComPtr<Object> kitFor(Maker maker, const wchar_t* name)
{
    switch (maker) {
    case Maker::Material: return makeMaterial(Material::Both, name);
    case Maker::Template: return Object::create<ICapeThermoMaterialTemplate, ICapeIdentification>(name);
    case Maker::Context: break;
    }
    return Object::create<ICapeMaterialTemplateSystem, ICapeIdentification>(name);
}

ComPtr<IDispatch> make(const WrapRow& row, Object* kit, tarv::CallLog* log, tarv::ExposedObjectBase* owner)
{
    switch (row.maker) {
    case Maker::Material: return tarv::createMaterialProxy(kit, log, row.makerVersion, owner, row.makerReadOnly);
    case Maker::Template: return tarv::createMaterialTemplateProxy(kit, log, owner, row.makerReadOnly);
    case Maker::Context: break;
    }
    return tarv::createSimulationContextProxy(kit->ptr<ICapeMaterialTemplateSystem>(), log, owner, row.makerReadOnly);
}

} // namespace

TEST(Wrapping, ResultsComeBackAsProxiesOfTheMakersOwnerWithTheirMethodsGenerationAndReadOnlyFlag)
{
    enum class Answer { Object, Null, Failure };
    for (const WrapRow& row : kWrapRows) {
        for (Answer answer : {Answer::Object, Answer::Null, Answer::Failure}) {
            SCOPED_TRACE(std::string(row.what) + " / answer " + std::to_string(static_cast<int>(answer)));
            LogCapture capture;
            bool makesTemplates = row.maker == Maker::Context;
            ComPtr<Object> makerKit = kitFor(row.maker, L"Maker");
            ComPtr<Object> productKit = kitFor(makesTemplates ? Maker::Template : Maker::Material, L"Made");
            auto package10Kit = Object::create<ICapeThermoPropertyPackage, ICapeIdentification>();
            auto package11Kit = Object::create<ICapeThermoMaterialContext, ICapeIdentification>();
            // A failing call writes its result all the same.
            IDispatch* answered = productKit->ptr<ICapeIdentification>();
            row.making.script(*makerKit.get(), answer == Answer::Null ? nullptr : answered,
                              answer == Answer::Failure ? E_FAIL : S_OK);
            NoLeaks leaks{makerKit.get(), productKit.get(), package10Kit.get(), package11Kit.get()};

            auto package10 = testsupport::expose<tarv::CPropertyPackage10>(package10Kit.get(), capture.log(), "Package");
            auto package11 = testsupport::expose<tarv::CPropertyPackage11>(package11Kit.get(), capture.log(), "Package");
            tarv::ExposedObjectBase* owner = row.owner == Owner::Package10   ? package10.exposed
                                             : row.owner == Owner::Package11 ? package11.exposed
                                                                             : nullptr;
            ComPtr<IDispatch> maker = make(row, makerKit.get(), capture.log(), owner);
            size_t children = owner ? owner->children().size() : 0;
            size_t before = capture.records().size();
            IDispatch* out = kUntouched;
            HRESULT hr = row.making.call(maker.get(), &out);
            std::string records = withoutAddresses(capture.records().substr(before));
            std::string logged =
                std::string("<arg name=\"") + row.making.outName + "\" direc=\"out\" type=\"interface\">\n";

            if (answer == Answer::Failure) {
                EXPECT_EQ(hr, E_FAIL);
                IDispatch* expected = row.making.afterFailure == Making::Null        ? nullptr
                                      : row.making.afterFailure == Making::Untouched ? kUntouched
                                                                                     : answered;
                EXPECT_EQ(out, expected);
                if (out == answered) out->Release();
                EXPECT_EQ(records.find(logged), std::string::npos) << records;
                EXPECT_EQ(owner ? owner->children().size() : 0, children);
                continue;
            }
            EXPECT_EQ(hr, S_OK);
            ComPtr<IDispatch> made = ComPtr<IDispatch>::attach(out);
            if (answer == Answer::Null) {
                EXPECT_FALSE(made);
                EXPECT_NE(records.find(logged + "  <argval value=\"NULL\"/>"), std::string::npos) << records;
                EXPECT_EQ(owner ? owner->children().size() : 0, children);
                continue;
            }
            // A new proxy over what the foreign call returned, shown in the log with its name.
            ASSERT_TRUE(made);
            ComPtr<IUnknown> original;
            ASSERT_EQ(made.query<IOriginalObject64>()->GetOriginalObject(original.put()), S_OK);
            EXPECT_EQ(original.get(), static_cast<IUnknown*>(answered));
            EXPECT_NE(records.find(logged + "  <argval value=\"interface to object &quot;Made&quot;\"/>"), std::string::npos);
            tarv::CapeOpenBase* product = makesTemplates ? static_cast<tarv::CapeOpenBase*>(templateOf(made.get()))
                                                         : static_cast<tarv::CapeOpenBase*>(materialOf(made.get()));
            if (!makesTemplates) {
                EXPECT_EQ(materialOf(made.get())->materialVersion, row.productVersion);
            }
            EXPECT_EQ(product->readOnly(), row.productReadOnly);
            EXPECT_EQ(product->owner(), owner);
            if (owner) {
                ASSERT_EQ(owner->children().size(), children + 1);
                EXPECT_EQ(owner->children().back(), product);
            }
        }
    }
}

TEST(Wrapping, ATemplatesMaterialFollowsTheContextsTreeAndLateCallsAfterTheOwnersEndAreRefused)
{
    tarv::registerThermoProxyFactories();
    LogCapture capture("Package");
    auto packageKit = Object::create<ICapeThermoMaterialContext, ICapeUtilities, ICapeIdentification>();
    auto contextKitObject = Object::create<ICapeMaterialTemplateSystem, ICapeDiagnostic, ICapeIdentification>(L"Context");
    auto templateKitObject = Object::create<ICapeThermoMaterialTemplate, ICapeIdentification>(L"Template");
    auto materialKit = makeMaterial(Material::Full11, L"Made");
    contextKitObject->returns(&ICapeMaterialTemplateSystem::CreateMaterialTemplate,
                              templateKitObject->ptr<ICapeThermoMaterialTemplate>());
    templateKitObject->returns(&ICapeThermoMaterialTemplate::CreateMaterialObject,
                               materialKit->ptr<ICapeThermoMaterial>());
    ComPtr<IDispatch> keptContext;
    packageKit->on(&ICapeUtilities::put_simulationContext, [&](IDispatch* c) { keptContext = ComPtr<IDispatch>(c); });
    NoLeaks leaks{packageKit.get(), contextKitObject.get(), templateKitObject.get(), materialKit.get()};
    ComPtr<IDispatch> keptTemplate, keptMaterial;
    {
        auto package = testsupport::expose<tarv::CPropertyPackage11>(packageKit.get(), capture.log(), "Package");
        ASSERT_EQ(package.dispatch.query<ICapeUtilities>()->put_simulationContext(
                      contextKitObject->ptr<ICapeMaterialTemplateSystem>()),
                  S_OK);
        ASSERT_EQ(keptContext.query<ICapeMaterialTemplateSystem>()->CreateMaterialTemplate(Bstr(L"Water").get(),
                                                                                          keptTemplate.put()),
                  S_OK);
        ASSERT_EQ(keptTemplate.query<ICapeThermoMaterialTemplate>()->CreateMaterialObject(keptMaterial.put()), S_OK);
        // The template and its material belong to the package, beside the context.
        EXPECT_EQ(package.exposed->children().size(), 3u);
        EXPECT_EQ(materialOf(keptMaterial.get())->materialVersion, 1);
    }
    std::string text = capture.text();
    for (const char* leftover : {"Object &quot;Context&quot; (type: Simulation Context) is not released",
                                 "Object &quot;Template&quot; (type: Material Template) is not released",
                                 "Object &quot;Made&quot; (type: Material Object) is not released"})
        EXPECT_NE(text.find(leftover), std::string::npos) << leftover << "\n" << text;
    // All three were emptied at the package's end, and the closed log takes nothing more.
    EXPECT_FALSE(keptTemplate.query<ICapeThermoMaterialTemplate>());
    ComPtr<IDispatch> late;
    EXPECT_EQ(static_cast<ICapeThermoMaterialTemplate*>(templateOf(keptTemplate.get()))->CreateMaterialObject(late.put()),
              E_UNEXPECTED);
    EXPECT_FALSE(late);
    EXPECT_EQ(static_cast<ICapeDiagnostic*>(contextOf(keptContext.get()))->LogMessage(Bstr(L"late").get()),
              E_UNEXPECTED);
    LONG count = -1;
    EXPECT_EQ(static_cast<ICapeThermoCompounds*>(materialOf(keptMaterial.get()))->GetNumCompounds(&count), E_UNEXPECTED);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(capture.text(), text);
    keptMaterial.reset();
    keptTemplate.reset();
    keptContext.reset();
}

TEST(MaterialObject, CopyFromMaterialHoldsTheObjectBehindAProxySourceOverTheCallAndForwardsTheSourceAsItCame)
{
    LogCapture capture;
    auto target = makeMaterial(Material::Full11, L"Target");
    auto source = makeMaterial(Material::Full11, L"Source");
    IDispatch* received = nullptr;
    ULONG heldDuring = 0;
    target->on(&ICapeThermoMaterial::CopyFromMaterial, [&](IDispatch** s) {
        received = *s;
        heldDuring = source->refCount();
    });
    NoLeaks leaks{target.get(), source.get()};
    ComPtr<IDispatch> targetProxy = tarv::createMaterialProxy(target.get(), capture.log(), 1, nullptr, 0);
    ComPtr<IDispatch> sourceProxy = tarv::createMaterialProxy(source.get(), capture.log(), 1, nullptr, 0);
    struct Case {
        const char* what;
        IDispatch* source;
        ULONG held;   // extra references on the source's object during the call
        const char* shown;
    } cases[] = {
        {"a proxy of this server", sourceProxy.get(), 1, "interface to object &quot;Source&quot;"},
        {"the foreign material itself", source->ptr<ICapeThermoMaterial>(), 0, "interface to object &quot;Source&quot;"},
        {"nothing", nullptr, 0, "NULL"},
    };
    auto material = targetProxy.query<ICapeThermoMaterial>();
    // The log asks the source proxy its name; its identification interface stays cached from then on.
    Bstr name;
    sourceProxy.query<ICapeIdentification>()->get_ComponentName(name.put());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ULONG before = source->refCount();
        size_t logged = capture.records().size();
        IDispatch* slot = c.source;
        EXPECT_EQ(material->CopyFromMaterial(&slot), S_OK);
        EXPECT_EQ(received, c.source);
        EXPECT_EQ(slot, c.source);
        EXPECT_EQ(heldDuring, before + c.held);
        EXPECT_EQ(source->refCount(), before);
        EXPECT_EQ(withoutAddresses(capture.records().substr(logged)),
                  std::string(R"(<func name="ICapeThermoMaterial::CopyFromMaterial" direc="out" object="Target">
 <arg name="source" direc="in" type="interface">
  <argval value=")") + c.shown + R"("/>
 </arg>
</func>
)");
    }
}
