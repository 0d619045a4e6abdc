// Interface pointers crossing the thermo proxies: results wrapped in new proxies of the same tree
// with the generation, owner and read-only flag each method gives them, a source material that is
// one of the server's own proxies, and a package that calls back into its material.
#include "thermo/harness.h"

#include "com/bstr.h"
#include "com/variant.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using tarv::Bstr;
using tarv::ComPtr;
using testsupport::LogCapture;
using namespace thermotest;

namespace {

IDispatch* const kUntouched = reinterpret_cast<IDispatch*>(0x5A5A5A5A);

// The owners a row can give its maker.
enum class Owner { None, Package10, Package11 };

struct WrapRow {
    const char* what;
    const char* outName;
    // Makes the proxy whose method is called, over `kit`, on `log`, owned by `owner`.
    std::function<ComPtr<IDispatch>(Object* kit, tarv::CallLog* log, tarv::ExposedObjectBase* owner)> maker;
    Owner owner;
    std::function<ComPtr<Object>()> kit;        // the maker's foreign object
    std::function<ComPtr<Object>()> product;    // what its method hands back
    std::function<void(Object& kit, IDispatch* answer)> answer;
    std::function<void(Object& kit)> fail;
    std::function<HRESULT(IDispatch* maker, IDispatch** out)> call;
    int productVersion;    // materials only
    int productReadOnly;
    bool nullsOnFailure;
};

ComPtr<Object> templateKit(const wchar_t* name)
{
    return Object::create<ICapeThermoMaterialTemplate, ICapeIdentification>(name);
}

ComPtr<Object> contextKit()
{
    return Object::create<ICapeMaterialTemplateSystem, ICapeIdentification>(L"Context");
}

auto materialMaker(int version, int readOnly)
{
    return [=](Object* kit, tarv::CallLog* log, tarv::ExposedObjectBase* owner) {
        return tarv::createMaterialProxy(kit, log, version, owner, readOnly);
    };
}

auto templateMaker(int readOnly)
{
    return [=](Object* kit, tarv::CallLog* log, tarv::ExposedObjectBase* owner) {
        return tarv::createMaterialTemplateProxy(kit, log, owner, readOnly);
    };
}

auto contextMaker(int readOnly)
{
    return [=](Object* kit, tarv::CallLog* log, tarv::ExposedObjectBase* owner) {
        return tarv::createSimulationContextProxy(kit->ptr<ICapeMaterialTemplateSystem>(), log, owner, readOnly);
    };
}

std::vector<WrapRow> wrapRows()
{
    auto product = [] { return makeMaterial(Material::Both, L"Made"); };
    auto material = [] { return makeMaterial(Material::Both, L"Maker"); };
    auto createMaterial = WrapRow{
        "", "materialObject", nullptr, Owner::None, material, product,
        [](Object& k, IDispatch* a) { k.returns(&ICapeThermoMaterial::CreateMaterial, a); },
        [](Object& k) { k.fail(&ICapeThermoMaterial::CreateMaterial, E_FAIL); },
        [](IDispatch* m, IDispatch** out) { return ComPtr<IDispatch>(m).query<ICapeThermoMaterial>()->CreateMaterial(out); },
        1, 0, true};
    auto createObject = createMaterial;
    createObject.answer = [](Object& k, IDispatch* a) { k.returns(&ICapeThermoMaterialObject::CreateMaterialObject, a); };
    createObject.fail = [](Object& k) { k.fail(&ICapeThermoMaterialObject::CreateMaterialObject, E_FAIL); };
    createObject.call = [](IDispatch* m, IDispatch** out) {
        return ComPtr<IDispatch>(m).query<ICapeThermoMaterialObject>()->CreateMaterialObject(out);
    };
    createObject.productVersion = 0;
    auto duplicate = createObject;
    duplicate.outName = "clone";
    duplicate.answer = [](Object& k, IDispatch* a) { k.returns(&ICapeThermoMaterialObject::Duplicate, a); };
    duplicate.fail = [](Object& k) { k.fail(&ICapeThermoMaterialObject::Duplicate, E_FAIL); };
    duplicate.call = [](IDispatch* m, IDispatch** out) {
        return ComPtr<IDispatch>(m).query<ICapeThermoMaterialObject>()->Duplicate(out);
    };
    auto fromTemplate = WrapRow{
        "", "materialObject", templateMaker(1), Owner::Package11, [] { return templateKit(L"Template"); }, product,
        [](Object& k, IDispatch* a) { k.returns(&ICapeThermoMaterialTemplate::CreateMaterialObject, a); },
        [](Object& k) { k.fail(&ICapeThermoMaterialTemplate::CreateMaterialObject, E_FAIL); },
        [](IDispatch* t, IDispatch** out) {
            return ComPtr<IDispatch>(t).query<ICapeThermoMaterialTemplate>()->CreateMaterialObject(out);
        },
        1, 0, false};
    auto fromContext = WrapRow{
        "", "MaterialTemplate", contextMaker(1), Owner::Package11, contextKit, [] { return templateKit(L"Made"); },
        [](Object& k, IDispatch* a) { k.returns(&ICapeMaterialTemplateSystem::CreateMaterialTemplate, a); },
        [](Object& k) { k.fail(&ICapeMaterialTemplateSystem::CreateMaterialTemplate, E_FAIL); },
        [](IDispatch* c, IDispatch** out) {
            return ComPtr<IDispatch>(c).query<ICapeMaterialTemplateSystem>()->CreateMaterialTemplate(
                Bstr(L"Water").get(), out);
        },
        -1, 1, false};

    std::vector<WrapRow> rows;
    auto add = [&](WrapRow row, const char* what, auto maker, Owner owner, int version, int readOnly) {
        row.what = what;
        row.maker = maker;
        row.owner = owner;
        row.productVersion = version;
        row.productReadOnly = readOnly;
        rows.push_back(row);
    };
    // A read-only maker makes a writable material: readOnly 0 whatever the maker's flag.
    add(createMaterial, "CreateMaterial on a read-only 1.1 material", materialMaker(1, 1), Owner::Package11, 1, 0);
    add(createMaterial, "CreateMaterial under a 1.0 package", materialMaker(-1, 0), Owner::Package10, 1, 0);
    add(createObject, "CreateMaterialObject on a read-only material", materialMaker(0, 1), Owner::Package10, 0, 0);
    add(createObject, "CreateMaterialObject under a 1.1 package", materialMaker(-1, 0), Owner::Package11, 0, 0);
    add(duplicate, "Duplicate of a read-only material without owner", materialMaker(-1, 1), Owner::None, 0, 0);
    // The template's material follows its tree's generation; its own read-only flag stays behind.
    add(fromTemplate, "template under a 1.1 package", templateMaker(1), Owner::Package11, 1, 0);
    add(fromTemplate, "template under a 1.0 package", templateMaker(0), Owner::Package10, 0, 0);
    add(fromTemplate, "template without owner", templateMaker(1), Owner::None, -1, 0);
    // The context's template takes over the context's read-only flag and owner.
    add(fromContext, "read-only context", contextMaker(1), Owner::Package11, -1, 1);
    add(fromContext, "writable context", contextMaker(0), Owner::Package10, -1, 0);
    return rows;
}

tarv::CapeOpenBase* baseOf(IDispatch* product, bool isTemplate)
{
    return isTemplate ? static_cast<tarv::CapeOpenBase*>(templateOf(product))
                      : static_cast<tarv::CapeOpenBase*>(materialOf(product));
}

} // namespace

TEST(Wrapping, ResultsComeBackAsProxiesOfTheMakersOwnerWithTheirMethodsGenerationAndReadOnlyFlag)
{
    enum class Answer { Object, Null, Failure };
    for (const WrapRow& row : wrapRows()) {
        for (Answer answer : {Answer::Object, Answer::Null, Answer::Failure}) {
            SCOPED_TRACE(std::string(row.what) + " / answer " + std::to_string(static_cast<int>(answer)));
            LogCapture capture;
            ComPtr<Object> makerKit = row.kit(), productKit = row.product();
            auto package10Kit = Object::create<ICapeThermoPropertyPackage, ICapeIdentification>();
            auto package11Kit = Object::create<ICapeThermoMaterialContext, ICapeIdentification>();
            IDispatch* answered = productKit->ptr<ICapeIdentification>();
            if (answer == Answer::Object) row.answer(*makerKit.get(), answered);
            if (answer == Answer::Null) row.answer(*makerKit.get(), nullptr);
            if (answer == Answer::Failure) row.fail(*makerKit.get());
            NoLeaks leaks{makerKit.get(), productKit.get(), package10Kit.get(), package11Kit.get()};

            Package package10 = exposePackage10(package10Kit.get(), capture.log());
            Package package11 = exposePackage11(package11Kit.get(), capture.log());
            tarv::ExposedObjectBase* owner = row.owner == Owner::Package10   ? package10.exposed
                                             : row.owner == Owner::Package11 ? package11.exposed
                                                                             : nullptr;
            ComPtr<IDispatch> maker = row.maker(makerKit.get(), capture.log(), owner);
            size_t children = owner ? owner->children().size() : 0;
            size_t before = capture.records().size();
            IDispatch* out = kUntouched;
            HRESULT hr = row.call(maker.get(), &out);
            std::string records = withoutAddresses(capture.records().substr(before));
            std::string logged = std::string("<arg name=\"") + row.outName + "\" direc=\"out\" type=\"interface\">\n";

            if (answer == Answer::Failure) {
                EXPECT_EQ(hr, E_FAIL);
                EXPECT_EQ(out, row.nullsOnFailure ? nullptr : kUntouched);
                EXPECT_EQ(records.find(logged), std::string::npos) << records;
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
            // A new proxy over the product, shown in the log with the product's name.
            ASSERT_TRUE(made);
            ComPtr<IUnknown> original;
            ASSERT_EQ(made.query<IOriginalObject64>()->GetOriginalObject(original.put()), S_OK);
            EXPECT_EQ(original.get(), static_cast<IUnknown*>(answered));
            EXPECT_NE(records.find(logged + "  <argval value=\"interface to object &quot;Made&quot;\"/>"),
                      std::string::npos)
                << records;
            bool isTemplate = row.outName == std::string("MaterialTemplate");
            tarv::CapeOpenBase* product = baseOf(made.get(), isTemplate);
            if (!isTemplate) {
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

TEST(Wrapping, ATemplatesMaterialFollowsTheContextsTreeAndALateCallAfterTheOwnersEndIsRefused)
{
    tarv::registerThermoProxyFactories();
    LogCapture capture("Package");
    auto packageKit = Object::create<ICapeThermoMaterialContext, ICapeUtilities, ICapeIdentification>();
    auto contextKitObject = Object::create<ICapeMaterialTemplateSystem, ICapeDiagnostic, ICapeIdentification>(L"Context");
    auto templateKitObject = templateKit(L"Template");
    auto materialKit = makeMaterial(Material::Full11, L"Made");
    contextKitObject->returns(&ICapeMaterialTemplateSystem::CreateMaterialTemplate,
                              templateKitObject->ptr<ICapeThermoMaterialTemplate>());
    templateKitObject->returns(&ICapeThermoMaterialTemplate::CreateMaterialObject,
                               materialKit->ptr<ICapeThermoMaterial>());
    ComPtr<IDispatch> keptContext;
    packageKit->on(&ICapeUtilities::put_simulationContext, [&](IDispatch* c) { keptContext = ComPtr<IDispatch>(c); });
    NoLeaks leaks{packageKit.get(), contextKitObject.get(), templateKitObject.get(), materialKit.get()};
    ComPtr<IDispatch> keptTemplate, material;
    {
        Package package = exposePackage11(packageKit.get(), capture.log());
        ASSERT_EQ(package.dispatch.query<ICapeUtilities>()->put_simulationContext(
                      contextKitObject->ptr<ICapeMaterialTemplateSystem>()),
                  S_OK);
        ASSERT_EQ(keptContext.query<ICapeMaterialTemplateSystem>()->CreateMaterialTemplate(Bstr(L"Water").get(),
                                                                                          keptTemplate.put()),
                  S_OK);
        ASSERT_EQ(keptTemplate.query<ICapeThermoMaterialTemplate>()->CreateMaterialObject(material.put()), S_OK);
        // The template and its material belong to the package, beside the context.
        EXPECT_EQ(package.exposed->children().size(), 3u);
        EXPECT_EQ(materialOf(material.get())->materialVersion, 1);
        material.reset();
    }
    std::string text = capture.text();
    EXPECT_NE(text.find("Object &quot;Context&quot; (type: Simulation Context) is not released"), std::string::npos)
        << text;
    EXPECT_NE(text.find("Object &quot;Template&quot; (type: Material Template) is not released"), std::string::npos);
    // Both were emptied at the package's end; the closed log takes nothing more.
    EXPECT_FALSE(keptTemplate.query<ICapeThermoMaterialTemplate>());
    EXPECT_EQ(static_cast<ICapeThermoMaterialTemplate*>(templateOf(keptTemplate.get()))->CreateMaterialObject(
                  material.put()),
              E_UNEXPECTED);
    EXPECT_EQ(static_cast<ICapeDiagnostic*>(contextOf(keptContext.get()))->LogMessage(Bstr(L"late").get()),
              E_UNEXPECTED);
    EXPECT_FALSE(material);
    EXPECT_EQ(capture.text(), text);
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

// A package's calls back into the material it was given are the server's calls out to the
// simulator's object: records with direc "out", nested in the package's record.
TEST(PropertyPackage11, ThePackagesCallsIntoItsMaterialNestInsideItsOwnRecord)
{
    LogCapture capture("Package");
    auto stream = makeMaterial(Material::Full11, L"Feed");
    stream->on(&ICapeThermoMaterial::GetOverallTPFraction, [](double* t, double* p, VARIANT* x) {
        *t = 350;
        *p = 2e5;
        tarv::makeDoubleArray({1}).detachTo(x);
    });
    auto real = Object::create<ICapeThermoMaterialContext, ICapeThermoEquilibriumRoutine, ICapeIdentification>(L"Real");
    ComPtr<IDispatch> stored;
    real->on(&ICapeThermoMaterialContext::SetMaterial, [&](IDispatch* m) { stored = ComPtr<IDispatch>(m); })
        .on(&ICapeThermoMaterialContext::UnsetMaterial, [&] { stored.reset(); })
        .on(&ICapeThermoEquilibriumRoutine::CalcEquilibrium, [&](VARIANT, VARIANT, BSTR) {
            auto material = stored.query<ICapeThermoMaterial>();
            double t = 0, p = 0;
            tarv::Variant x;
            material->GetOverallTPFraction(&t, &p, x.ptr());
            tarv::Variant temperature = tarv::makeDoubleArray({t});
            return material->SetSinglePhaseProp(Bstr(L"temperature").get(), Bstr(L"Vapor").get(), nullptr,
                                                temperature.get());
        });
    NoLeaks leaks{stream.get(), real.get()};
    {
        Package package = exposePackage11(real.get(), capture.log());
        auto context = package.dispatch.query<ICapeThermoMaterialContext>();
        ASSERT_EQ(context->SetMaterial(stream->ptr<ICapeThermoMaterial>()), S_OK);
        EXPECT_NE(stored.get(), static_cast<IDispatch*>(stream->ptr<ICapeThermoMaterial>()));
        EXPECT_EQ(package.exposed->children().size(), 1u);
        tarv::Variant spec = tarv::makeStringArray({L"temperature", L"", L"Overall"});
        ASSERT_EQ(package.dispatch.query<ICapeThermoEquilibriumRoutine>()->CalcEquilibrium(spec.get(), spec.get(),
                                                                                          Bstr(L"Unspecified").get()),
                  S_OK);
        ASSERT_EQ(context->UnsetMaterial(), S_OK);
        EXPECT_TRUE(package.exposed->children().empty());
    }
    // The log closes at the package's final release.
    EXPECT_EQ(withoutAddresses(capture.records()), R"(<func name="ICapeThermoMaterialContext::SetMaterial" direc="in" object="Package">
 <arg name="material" direc="in" type="interface">
  <argval value="interface to object &quot;Feed&quot;"/>
 </arg>
</func>
<func name="ICapeThermoEquilibriumRoutine::CalcEquilibrium" direc="in" object="Package">
 <arg name="specification1" direc="in" type="VT_ARRAY|VT_BSTR">
  <info value="Lower bound: 0"/>
  <info value="Upper bound: 2"/>
  <argval value="&quot;temperature&quot;"/>
  <argval value="&quot;&quot;"/>
  <argval value="&quot;Overall&quot;"/>
 </arg>
 <arg name="specification2" direc="in" type="VT_ARRAY|VT_BSTR">
  <info value="Lower bound: 0"/>
  <info value="Upper bound: 2"/>
  <argval value="&quot;temperature&quot;"/>
  <argval value="&quot;&quot;"/>
  <argval value="&quot;Overall&quot;"/>
 </arg>
 <arg name="solutionType" direc="in" type="string">
  <argval value="&quot;Unspecified&quot;"/>
 </arg>
 <func name="ICapeThermoMaterial::GetOverallTPFraction" direc="out" object="Feed">
  <arg name="temperature" direc="out" type="double">
   <argval value="350"/>
  </arg>
  <arg name="pressure" direc="out" type="double">
   <argval value="200000"/>
  </arg>
  <arg name="composition" direc="out" type="VT_ARRAY|VT_R8">
   <info value="Lower bound: 0"/>
   <info value="Upper bound: 0"/>
   <argval value="1"/>
  </arg>
 </func>
 <func name="ICapeThermoMaterial::SetSinglePhaseProp" direc="out" object="Feed">
  <arg name="property" direc="in" type="string">
   <argval value="&quot;temperature&quot;"/>
  </arg>
  <arg name="phaseLabel" direc="in" type="string">
   <argval value="&quot;Vapor&quot;"/>
  </arg>
  <arg name="basis" direc="in" type="string">
   <argval value="&lt;NULL&gt;"/>
  </arg>
  <arg name="values" direc="in" type="VT_ARRAY|VT_R8">
   <info value="Lower bound: 0"/>
   <info value="Upper bound: 0"/>
   <argval value="350"/>
  </arg>
 </func>
</func>
<func name="ICapeThermoMaterialContext::UnsetMaterial" direc="in" object="Package">
</func>
</tarvlogdocument>
)");
}
