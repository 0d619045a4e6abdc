// The kit's facets: one per interface, its methods in declaration order with their parameter types.
// `override` and the instantiation below hold every line against the IDL's generated header.
#include "kit/facet.h"

namespace kit::detail {
namespace {

#define KIT_FACET(I, ...) struct I##Facet final : Facet<I> { using Facet::Facet; __VA_ARGS__ };
// The name is spelled where first met, before a Windows macro of that name (SetProp) can replace it.
#define KIT_M(n, name, params, ...) \
    HRESULT STDMETHODCALLTYPE n params override { return run(&Iface::n, name __VA_OPT__(,) __VA_ARGS__); }
#define M0(n) KIT_M(n, #n, ())
#define M1(n, A) KIT_M(n, #n, (A a), a)
#define M2(n, A, B) KIT_M(n, #n, (A a, B b), a, b)
#define M3(n, A, B, C) KIT_M(n, #n, (A a, B b, C c), a, b, c)
#define M4(n, A, B, C, D) KIT_M(n, #n, (A a, B b, C c, D d), a, b, c, d)
#define M5(n, A, B, C, D, E) KIT_M(n, #n, (A a, B b, C c, D d, E e), a, b, c, d, e)
#define M6(n, A, B, C, D, E, F) KIT_M(n, #n, (A a, B b, C c, D d, E e, F f), a, b, c, d, e, f)
#define M9(n, A, B, C, D, E, F, G, H, I) \
    KIT_M(n, #n, (A a, B b, C c, D d, E e, F f, G g, H h, I i), a, b, c, d, e, f, g, h, i)

// Every interface the kit implements (those the tests use), in the order of the CAPE-OPEN library,
// then IPersistStream.
#define KIT_INTERFACES(X) \
    X(ECapeRoot, M1(get_name, BSTR*)) \
    X(ECapeUser, M1(get_code, LONG*) M1(get_description, BSTR*) M1(get_scope, BSTR*) M1(get_interfaceName, BSTR*) \
        M1(get_operation, BSTR*) M1(get_moreInfo, BSTR*)) \
    X(ECapeBadCOParameter, M1(get_parameterName, BSTR*) M1(get_parameter, IDispatch**)) X(ECapeNoImpl) \
    X(ECapeBoundaries, M1(get_LowerBound, double*) M1(get_UpperBound, double*) M1(get_value, double*) \
        M1(get_Type, BSTR*)) \
    X(ICapeIdentification, M1(get_ComponentName, BSTR*) M1(put_ComponentName, BSTR) \
        M1(get_ComponentDescription, BSTR*) M1(put_ComponentDescription, BSTR)) \
    X(ICapeUtilities, M1(get_parameters, IDispatch**) M1(put_simulationContext, IDispatch*) M0(Initialize) \
        M0(Terminate) M0(Edit)) \
    X(ICapeSimulationContext) \
    X(ICapeDiagnostic, M1(PopUpMessage, BSTR) M1(LogMessage, BSTR)) \
    X(ICapeMaterialTemplateSystem, M1(get_MaterialTemplates, VARIANT*) \
        M2(CreateMaterialTemplate, BSTR, IDispatch**)) \
    X(ICapeCOSEUtilities, M1(get_NamedValueList, VARIANT*) M2(get_NamedValue, BSTR, VARIANT*)) \
    X(ICapeCollection, M2(Item, VARIANT, IDispatch**) M1(Count, LONG*)) \
    X(ICapeParameter, M1(get_Specification, IDispatch**) M1(get_value, VARIANT*) M1(put_value, VARIANT) \
        M1(get_ValStatus, CapeValidationStatus*) M1(get_Mode, CapeParamMode*) M1(put_Mode, CapeParamMode) \
        M2(Validate, BSTR*, VARIANT_BOOL*) M0(Reset)) \
    X(ICapeParameterSpec, M1(get_Type, CapeParamType*) M1(get_Dimensionality, VARIANT*)) \
    X(ICapeRealParameterSpec, M1(get_DefaultValue, double*) M1(get_LowerBound, double*) M1(get_UpperBound, double*) \
        M3(Validate, double, BSTR*, VARIANT_BOOL*)) \
    X(ICapeIntegerParameterSpec, M1(get_DefaultValue, LONG*) M1(get_LowerBound, LONG*) M1(get_UpperBound, LONG*) \
        M3(Validate, LONG, BSTR*, VARIANT_BOOL*)) \
    X(ICapeOptionParameterSpec, M1(get_DefaultValue, BSTR*) M1(get_OptionList, VARIANT*) \
        M1(get_RestrictedToList, VARIANT_BOOL*) M3(Validate, BSTR, BSTR*, VARIANT_BOOL*)) \
    X(ICapeBooleanParameterSpec, M1(get_DefaultValue, VARIANT_BOOL*) \
        M3(Validate, VARIANT_BOOL, BSTR*, VARIANT_BOOL*)) \
    X(ICapeArrayParameterSpec, M1(get_NumDimensions, LONG*) M1(get_Size, VARIANT*) \
        M1(get_ItemsSpecifications, VARIANT*) M3(Validate, VARIANT, VARIANT*, VARIANT*)) \
    X(ICapeUnit, M1(get_ports, IDispatch**) M1(get_ValStatus, CapeValidationStatus*) M0(Calculate) \
        M2(Validate, BSTR*, VARIANT_BOOL*)) \
    X(ICapeUnitPort, M1(get_portType, CapePortType*) M1(get_direction, CapePortDirection*) \
        M1(get_connectedObject, IDispatch**) M1(Connect, IDispatch*) M0(Disconnect)) \
    X(ICapeUnitReport, M1(get_reports, VARIANT*) M1(get_selectedReport, BSTR*) M1(put_selectedReport, BSTR) \
        M1(ProduceReport, BSTR*)) \
    X(ICapeThermoPropertyPackage, M1(GetPhaseList, VARIANT*) \
        M6(GetComponentList, VARIANT*, VARIANT*, VARIANT*, VARIANT*, VARIANT*, VARIANT*) \
        M3(GetUniversalConstant, IDispatch*, VARIANT, VARIANT*) \
        M3(GetComponentConstant, IDispatch*, VARIANT, VARIANT*) M4(CalcProp, IDispatch*, VARIANT, VARIANT, BSTR) \
        M3(CalcEquilibrium, IDispatch*, BSTR, VARIANT) M3(PropCheck, IDispatch*, VARIANT, VARIANT*) \
        M3(ValidityCheck, IDispatch*, VARIANT, VARIANT*) M1(GetPropList, VARIANT*)) \
    X(ICapeThermoMaterialObject, M1(get_ComponentIds, VARIANT*) M1(get_PhaseIds, VARIANT*) \
        M2(GetUniversalConstant, VARIANT, VARIANT*) M3(GetComponentConstant, VARIANT, VARIANT, VARIANT*) \
        M3(CalcProp, VARIANT, VARIANT, BSTR) M6(GetProp, BSTR, BSTR, VARIANT, BSTR, BSTR, VARIANT*) \
        M6(SetProp, BSTR, BSTR, VARIANT, BSTR, BSTR, VARIANT) M2(CalcEquilibrium, BSTR, VARIANT) \
        M2(SetIndependentVar, VARIANT, VARIANT) M2(GetIndependentVar, VARIANT, VARIANT*) \
        M2(PropCheck, VARIANT, VARIANT*) M1(AvailableProps, VARIANT*) M1(RemoveResults, VARIANT) \
        M1(CreateMaterialObject, IDispatch**) M1(Duplicate, IDispatch**) M2(ValidityCheck, VARIANT, VARIANT*) \
        M1(GetPropList, VARIANT*) M1(GetNumComponents, LONG*)) \
    X(ICapeThermoMaterialTemplate, M1(CreateMaterialObject, IDispatch**) M2(SetProp, BSTR, VARIANT)) \
    X(ICapeThermoContext10, M1(SetMaterial, IDispatch**)) \
    X(ICapeThermoPropertyPackageManager, M1(GetPropertyPackageList, VARIANT*) \
        M2(GetPropertyPackage, BSTR, IDispatch**)) \
    X(ICapeThermoMaterial, M0(ClearAllProps) M1(CopyFromMaterial, IDispatch**) M1(CreateMaterial, IDispatch**) \
        M3(GetOverallProp, BSTR, BSTR, VARIANT*) M3(GetOverallTPFraction, double*, double*, VARIANT*) \
        M2(GetPresentPhases, VARIANT*, VARIANT*) M4(GetSinglePhaseProp, BSTR, BSTR, BSTR, VARIANT*) \
        M4(GetTPFraction, BSTR, double*, double*, VARIANT*) M4(GetTwoPhaseProp, BSTR, VARIANT, BSTR, VARIANT*) \
        M3(SetOverallProp, BSTR, BSTR, VARIANT) M2(SetPresentPhases, VARIANT, VARIANT) \
        M4(SetSinglePhaseProp, BSTR, BSTR, BSTR, VARIANT) M4(SetTwoPhaseProp, BSTR, VARIANT, BSTR, VARIANT)) \
    X(ICapeThermoCompounds, M3(GetCompoundConstant, VARIANT, VARIANT, VARIANT*) \
        M6(GetCompoundList, VARIANT*, VARIANT*, VARIANT*, VARIANT*, VARIANT*, VARIANT*) \
        M1(GetConstPropList, VARIANT*) M1(GetNumCompounds, LONG*) \
        M4(GetPDependentProperty, VARIANT, double, VARIANT, VARIANT*) M1(GetPDependentPropList, VARIANT*) \
        M4(GetTDependentProperty, VARIANT, double, VARIANT, VARIANT*) M1(GetTDependentPropList, VARIANT*)) \
    X(ICapeThermoPhases, M1(GetNumPhases, LONG*) M3(GetPhaseInfo, BSTR, BSTR, VARIANT*) \
        M3(GetPhaseList, VARIANT*, VARIANT*, VARIANT*)) \
    X(ICapeThermoPropertyRoutine, \
        M9(CalcAndGetLnPhi, BSTR, double, double, VARIANT, int, VARIANT*, VARIANT*, VARIANT*, VARIANT*) \
        M2(CalcSinglePhaseProp, VARIANT, BSTR) M2(CalcTwoPhaseProp, VARIANT, VARIANT) \
        M3(CheckSinglePhasePropSpec, BSTR, BSTR, VARIANT_BOOL*) \
        M3(CheckTwoPhasePropSpec, BSTR, VARIANT, VARIANT_BOOL*) M1(GetSinglePhasePropList, VARIANT*) \
        M1(GetTwoPhasePropList, VARIANT*)) \
    X(ICapeThermoEquilibriumRoutine, M3(CalcEquilibrium, VARIANT, VARIANT, BSTR) \
        M4(CheckEquilibriumSpec, VARIANT, VARIANT, BSTR, VARIANT_BOOL*)) \
    X(ICapeThermoUniversalConstant, M2(GetUniversalConstant, BSTR, VARIANT*) M1(GetUniversalConstantList, VARIANT*)) \
    X(ICapeThermoMaterialContext, M1(SetMaterial, IDispatch*) M0(UnsetMaterial)) \
    X(ICapeReactionChemistry, M1(GetNumberOfReactions, LONG*) M1(GetReactionsIds, VARIANT*) \
        M2(GetReactionType, BSTR, CapeReactionType*) M2(GetNumberOfReactionCompounds, BSTR, LONG*) \
        M4(GetReactionCompoundIds, BSTR, VARIANT*, VARIANT*, VARIANT*) \
        M2(GetStoichiometricCoefficients, BSTR, VARIANT*) M2(GetReactionPhase, BSTR, BSTR*) \
        M2(GetReactionRateBasis, BSTR, CapeReactionRateBasis*) M2(GetReactionConcBasis, BSTR, BSTR*) \
        M2(GetBaseReactant, BSTR, BSTR*) M3(GetPhaseCompounds, BSTR, LONG*, VARIANT*) \
        M2(GetReactionParameters, BSTR, IDispatch**)) \
    X(ICapeReactionProperties, M5(GetReactionProp, BSTR, BSTR, VARIANT, BSTR, VARIANT*) \
        M5(SetReactionProp, BSTR, BSTR, VARIANT, BSTR, VARIANT)) \
    X(ICapeReactionsRoutine, M4(CalcReactionProp, VARIANT, BSTR, VARIANT, BSTR)) \
    X(ICapeKineticReactionContext, M1(SetReactionObject, IDispatch**)) \
    X(ICapeElectrolyteReactionContext, M1(SetReactionObject, IDispatch**)) \
    X(IPersistStream, M1(GetClassID, CLSID*) M0(IsDirty) M1(Load, IStream*) M2(Save, IStream*, BOOL) \
        M1(GetSizeMax, ULARGE_INTEGER*))

KIT_INTERFACES(KIT_FACET)

template <class F>
InterfaceEntry entry(const char* name)
{
    return {__uuidof(typename F::Iface), name,
            [](Object& owner, const char* n) -> std::unique_ptr<FacetBase> { return std::make_unique<F>(owner, n); }};
}

#define KIT_ENTRY(I, ...) entry<I##Facet>(#I),

} // namespace

const std::vector<InterfaceEntry>& interfaceTable()
{
    static const std::vector<InterfaceEntry> table{KIT_INTERFACES(KIT_ENTRY)};
    return table;
}

const InterfaceEntry* findInterface(REFIID iid)
{
    for (const InterfaceEntry& e : interfaceTable())
        if (e.iid == iid) return &e;
    return nullptr;
}

} // namespace kit::detail
