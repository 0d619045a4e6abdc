// The kit's facets: one per interface, one line per method, in the order of the interface's
// declaration. `override` and the instantiation in the table below make the compiler hold every
// line against the IDL's generated header; a method missing here leaves the facet abstract.
#include "kit/facet.h"

namespace kit::detail {
namespace {

struct ECapeRootFacet final : Facet<ECapeRoot> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_name(BSTR* name) override { return KIT_RUN(get_name, name); }
};

struct ECapeUserFacet final : Facet<ECapeUser> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_code(LONG* code) override { return KIT_RUN(get_code, code); }
    HRESULT STDMETHODCALLTYPE get_description(BSTR* description) override
        { return KIT_RUN(get_description, description); }
    HRESULT STDMETHODCALLTYPE get_scope(BSTR* scope) override { return KIT_RUN(get_scope, scope); }
    HRESULT STDMETHODCALLTYPE get_interfaceName(BSTR* interfaceName) override
        { return KIT_RUN(get_interfaceName, interfaceName); }
    HRESULT STDMETHODCALLTYPE get_operation(BSTR* operation) override { return KIT_RUN(get_operation, operation); }
    HRESULT STDMETHODCALLTYPE get_moreInfo(BSTR* moreInfo) override { return KIT_RUN(get_moreInfo, moreInfo); }
};

struct ECapeUnknownFacet final : Facet<ECapeUnknown> {
    using Facet::Facet;
};

struct ECapeDataFacet final : Facet<ECapeData> {
    using Facet::Facet;
};

struct ECapeLicenceErrorFacet final : Facet<ECapeLicenceError> {
    using Facet::Facet;
};

struct ECapeBadCOParameterFacet final : Facet<ECapeBadCOParameter> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_parameterName(BSTR* parameterName) override
        { return KIT_RUN(get_parameterName, parameterName); }
    HRESULT STDMETHODCALLTYPE get_parameter(IDispatch** parameter) override
        { return KIT_RUN(get_parameter, parameter); }
};

struct ECapeBadArgumentFacet final : Facet<ECapeBadArgument> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_position(short* position) override { return KIT_RUN(get_position, position); }
};

struct ECapeInvalidArgumentFacet final : Facet<ECapeInvalidArgument> {
    using Facet::Facet;
};

struct ECapeOutOfBoundsFacet final : Facet<ECapeOutOfBounds> {
    using Facet::Facet;
};

struct ECapeImplementationFacet final : Facet<ECapeImplementation> {
    using Facet::Facet;
};

struct ECapeNoImplFacet final : Facet<ECapeNoImpl> {
    using Facet::Facet;
};

struct ECapeLimitedImplFacet final : Facet<ECapeLimitedImpl> {
    using Facet::Facet;
};

struct ECapeComputationFacet final : Facet<ECapeComputation> {
    using Facet::Facet;
};

struct ECapeOutOfResourcesFacet final : Facet<ECapeOutOfResources> {
    using Facet::Facet;
};

struct ECapeNoMemoryFacet final : Facet<ECapeNoMemory> {
    using Facet::Facet;
};

struct ECapeTimeOutFacet final : Facet<ECapeTimeOut> {
    using Facet::Facet;
};

struct ECapeFailedInitialisationFacet final : Facet<ECapeFailedInitialisation> {
    using Facet::Facet;
};

struct ECapeSolvingErrorFacet final : Facet<ECapeSolvingError> {
    using Facet::Facet;
};

struct ECapeBadInvOrderFacet final : Facet<ECapeBadInvOrder> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_requestedOperation(BSTR* requestedOperation) override
        { return KIT_RUN(get_requestedOperation, requestedOperation); }
};

struct ECapeInvalidOperationFacet final : Facet<ECapeInvalidOperation> {
    using Facet::Facet;
};

struct ECapePersistenceFacet final : Facet<ECapePersistence> {
    using Facet::Facet;
};

struct ECapeIllegalAccessFacet final : Facet<ECapeIllegalAccess> {
    using Facet::Facet;
};

struct ECapePersistenceNotFoundFacet final : Facet<ECapePersistenceNotFound> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_itemName(BSTR* itemName) override { return KIT_RUN(get_itemName, itemName); }
};

struct ECapePersistenceSystemErrorFacet final : Facet<ECapePersistenceSystemError> {
    using Facet::Facet;
};

struct ECapePersistenceOverflowFacet final : Facet<ECapePersistenceOverflow> {
    using Facet::Facet;
};

struct ECapeBoundariesFacet final : Facet<ECapeBoundaries> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_LowerBound(double* LowerBound) override
        { return KIT_RUN(get_LowerBound, LowerBound); }
    HRESULT STDMETHODCALLTYPE get_UpperBound(double* UpperBound) override
        { return KIT_RUN(get_UpperBound, UpperBound); }
    HRESULT STDMETHODCALLTYPE get_value(double* value) override { return KIT_RUN(get_value, value); }
    HRESULT STDMETHODCALLTYPE get_Type(BSTR* Type) override { return KIT_RUN(get_Type, Type); }
};

struct ECapeThrmPropertyNotAvailableFacet final : Facet<ECapeThrmPropertyNotAvailable> {
    using Facet::Facet;
};

struct ICapeIdentificationFacet final : Facet<ICapeIdentification> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_ComponentName(BSTR* name) override { return KIT_RUN(get_ComponentName, name); }
    HRESULT STDMETHODCALLTYPE put_ComponentName(BSTR name) override { return KIT_RUN(put_ComponentName, name); }
    HRESULT STDMETHODCALLTYPE get_ComponentDescription(BSTR* desc) override
        { return KIT_RUN(get_ComponentDescription, desc); }
    HRESULT STDMETHODCALLTYPE put_ComponentDescription(BSTR desc) override
        { return KIT_RUN(put_ComponentDescription, desc); }
};

struct ICapeUtilitiesFacet final : Facet<ICapeUtilities> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_parameters(IDispatch** parameters) override
        { return KIT_RUN(get_parameters, parameters); }
    HRESULT STDMETHODCALLTYPE put_simulationContext(IDispatch* context) override
        { return KIT_RUN(put_simulationContext, context); }
    HRESULT STDMETHODCALLTYPE Initialize() override { return KIT_RUN(Initialize); }
    HRESULT STDMETHODCALLTYPE Terminate() override { return KIT_RUN(Terminate); }
    HRESULT STDMETHODCALLTYPE Edit() override { return KIT_RUN(Edit); }
};

struct ICapeSimulationContextFacet final : Facet<ICapeSimulationContext> {
    using Facet::Facet;
};

struct ICapeDiagnosticFacet final : Facet<ICapeDiagnostic> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE PopUpMessage(BSTR message) override { return KIT_RUN(PopUpMessage, message); }
    HRESULT STDMETHODCALLTYPE LogMessage(BSTR message) override { return KIT_RUN(LogMessage, message); }
};

struct ICapeMaterialTemplateSystemFacet final : Facet<ICapeMaterialTemplateSystem> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_MaterialTemplates(VARIANT* TemplateNames) override
        { return KIT_RUN(get_MaterialTemplates, TemplateNames); }
    HRESULT STDMETHODCALLTYPE CreateMaterialTemplate(BSTR materialTemplateName, IDispatch** MaterialTemplate) override
        { return KIT_RUN(CreateMaterialTemplate, materialTemplateName, MaterialTemplate); }
};

struct ICapeCOSEUtilitiesFacet final : Facet<ICapeCOSEUtilities> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_NamedValueList(VARIANT* NamedValues) override
        { return KIT_RUN(get_NamedValueList, NamedValues); }
    HRESULT STDMETHODCALLTYPE get_NamedValue(BSTR name, VARIANT* NamedValue) override
        { return KIT_RUN(get_NamedValue, name, NamedValue); }
};

struct ICapeCollectionFacet final : Facet<ICapeCollection> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE Item(VARIANT id, IDispatch** Item) override { return KIT_RUN(Item, id, Item); }
    HRESULT STDMETHODCALLTYPE Count(LONG* itemsCount) override { return KIT_RUN(Count, itemsCount); }
};

struct ICapeParameterFacet final : Facet<ICapeParameter> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_Specification(IDispatch** spec) override { return KIT_RUN(get_Specification, spec); }
    HRESULT STDMETHODCALLTYPE get_value(VARIANT* value) override { return KIT_RUN(get_value, value); }
    HRESULT STDMETHODCALLTYPE put_value(VARIANT value) override { return KIT_RUN(put_value, value); }
    HRESULT STDMETHODCALLTYPE get_ValStatus(CapeValidationStatus* ValStatus) override
        { return KIT_RUN(get_ValStatus, ValStatus); }
    HRESULT STDMETHODCALLTYPE get_Mode(CapeParamMode* Mode) override { return KIT_RUN(get_Mode, Mode); }
    HRESULT STDMETHODCALLTYPE put_Mode(CapeParamMode Mode) override { return KIT_RUN(put_Mode, Mode); }
    HRESULT STDMETHODCALLTYPE Validate(BSTR* message, VARIANT_BOOL* isOK) override
        { return KIT_RUN(Validate, message, isOK); }
    HRESULT STDMETHODCALLTYPE Reset() override { return KIT_RUN(Reset); }
};

struct ICapeParameterSpecFacet final : Facet<ICapeParameterSpec> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_Type(CapeParamType* Type) override { return KIT_RUN(get_Type, Type); }
    HRESULT STDMETHODCALLTYPE get_Dimensionality(VARIANT* dim) override { return KIT_RUN(get_Dimensionality, dim); }
};

struct ICapeRealParameterSpecFacet final : Facet<ICapeRealParameterSpec> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_DefaultValue(double* DefaultValue) override
        { return KIT_RUN(get_DefaultValue, DefaultValue); }
    HRESULT STDMETHODCALLTYPE get_LowerBound(double* lBound) override { return KIT_RUN(get_LowerBound, lBound); }
    HRESULT STDMETHODCALLTYPE get_UpperBound(double* uBound) override { return KIT_RUN(get_UpperBound, uBound); }
    HRESULT STDMETHODCALLTYPE Validate(double value, BSTR* message, VARIANT_BOOL* isOK) override
        { return KIT_RUN(Validate, value, message, isOK); }
};

struct ICapeIntegerParameterSpecFacet final : Facet<ICapeIntegerParameterSpec> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_DefaultValue(LONG* pVal) override { return KIT_RUN(get_DefaultValue, pVal); }
    HRESULT STDMETHODCALLTYPE get_LowerBound(LONG* pVal) override { return KIT_RUN(get_LowerBound, pVal); }
    HRESULT STDMETHODCALLTYPE get_UpperBound(LONG* pVal) override { return KIT_RUN(get_UpperBound, pVal); }
    HRESULT STDMETHODCALLTYPE Validate(LONG value, BSTR* message, VARIANT_BOOL* isOK) override
        { return KIT_RUN(Validate, value, message, isOK); }
};

struct ICapeOptionParameterSpecFacet final : Facet<ICapeOptionParameterSpec> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_DefaultValue(BSTR* DefaultValue) override
        { return KIT_RUN(get_DefaultValue, DefaultValue); }
    HRESULT STDMETHODCALLTYPE get_OptionList(VARIANT* optionNames) override
        { return KIT_RUN(get_OptionList, optionNames); }
    HRESULT STDMETHODCALLTYPE get_RestrictedToList(VARIANT_BOOL* restricted) override
        { return KIT_RUN(get_RestrictedToList, restricted); }
    HRESULT STDMETHODCALLTYPE Validate(BSTR value, BSTR* message, VARIANT_BOOL* isOK) override
        { return KIT_RUN(Validate, value, message, isOK); }
};

struct ICapeBooleanParameterSpecFacet final : Facet<ICapeBooleanParameterSpec> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_DefaultValue(VARIANT_BOOL* DefaultValue) override
        { return KIT_RUN(get_DefaultValue, DefaultValue); }
    HRESULT STDMETHODCALLTYPE Validate(VARIANT_BOOL value, BSTR* message, VARIANT_BOOL* isOK) override
        { return KIT_RUN(Validate, value, message, isOK); }
};

struct ICapeArrayParameterSpecFacet final : Facet<ICapeArrayParameterSpec> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_NumDimensions(LONG* DefaultValue) override
        { return KIT_RUN(get_NumDimensions, DefaultValue); }
    HRESULT STDMETHODCALLTYPE get_Size(VARIANT* Size) override { return KIT_RUN(get_Size, Size); }
    HRESULT STDMETHODCALLTYPE get_ItemsSpecifications(VARIANT* specs) override
        { return KIT_RUN(get_ItemsSpecifications, specs); }
    HRESULT STDMETHODCALLTYPE Validate(VARIANT value, VARIANT* message, VARIANT* isOK) override
        { return KIT_RUN(Validate, value, message, isOK); }
};

struct ICapeUnitFacet final : Facet<ICapeUnit> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_ports(IDispatch** ports) override { return KIT_RUN(get_ports, ports); }
    HRESULT STDMETHODCALLTYPE get_ValStatus(CapeValidationStatus* ValStatus) override
        { return KIT_RUN(get_ValStatus, ValStatus); }
    HRESULT STDMETHODCALLTYPE Calculate() override { return KIT_RUN(Calculate); }
    HRESULT STDMETHODCALLTYPE Validate(BSTR* message, VARIANT_BOOL* isValid) override
        { return KIT_RUN(Validate, message, isValid); }
};

struct ICapeUnitPortFacet final : Facet<ICapeUnitPort> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_portType(CapePortType* portType) override { return KIT_RUN(get_portType, portType); }
    HRESULT STDMETHODCALLTYPE get_direction(CapePortDirection* portDirection) override
        { return KIT_RUN(get_direction, portDirection); }
    HRESULT STDMETHODCALLTYPE get_connectedObject(IDispatch** connectedObject) override
        { return KIT_RUN(get_connectedObject, connectedObject); }
    HRESULT STDMETHODCALLTYPE Connect(IDispatch* objectToConnect) override { return KIT_RUN(Connect, objectToConnect); }
    HRESULT STDMETHODCALLTYPE Disconnect() override { return KIT_RUN(Disconnect); }
};

struct ICapeUnitReportFacet final : Facet<ICapeUnitReport> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_reports(VARIANT* reports) override { return KIT_RUN(get_reports, reports); }
    HRESULT STDMETHODCALLTYPE get_selectedReport(BSTR* report) override { return KIT_RUN(get_selectedReport, report); }
    HRESULT STDMETHODCALLTYPE put_selectedReport(BSTR report) override { return KIT_RUN(put_selectedReport, report); }
    HRESULT STDMETHODCALLTYPE ProduceReport(BSTR* message) override { return KIT_RUN(ProduceReport, message); }
};

struct ICapeThermoSystemFacet final : Facet<ICapeThermoSystem> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetPropertyPackages(VARIANT* propPackageList) override
        { return KIT_RUN(GetPropertyPackages, propPackageList); }
    HRESULT STDMETHODCALLTYPE ResolvePropertyPackage(BSTR propertyPackage, IDispatch** propPackObject) override
        { return KIT_RUN(ResolvePropertyPackage, propertyPackage, propPackObject); }
};

struct ICapeThermoPropertyPackageFacet final : Facet<ICapeThermoPropertyPackage> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetPhaseList(VARIANT* phases) override { return KIT_RUN(GetPhaseList, phases); }
    HRESULT STDMETHODCALLTYPE GetComponentList(VARIANT* compIds, VARIANT* formulae, VARIANT* name, VARIANT* boilTemps, VARIANT* molwt, VARIANT* casno) override
        { return KIT_RUN(GetComponentList, compIds, formulae, name, boilTemps, molwt, casno); }
    HRESULT STDMETHODCALLTYPE GetUniversalConstant(IDispatch* materialObject, VARIANT props, VARIANT* propVals) override
        { return KIT_RUN(GetUniversalConstant, materialObject, props, propVals); }
    HRESULT STDMETHODCALLTYPE GetComponentConstant(IDispatch* materialObject, VARIANT props, VARIANT* propVals) override
        { return KIT_RUN(GetComponentConstant, materialObject, props, propVals); }
    HRESULT STDMETHODCALLTYPE CalcProp(IDispatch* materialObject, VARIANT props, VARIANT phases, BSTR calcType) override
        { return KIT_RUN(CalcProp, materialObject, props, phases, calcType); }
    HRESULT STDMETHODCALLTYPE CalcEquilibrium(IDispatch* materialObject, BSTR flashType, VARIANT props) override
        { return KIT_RUN(CalcEquilibrium, materialObject, flashType, props); }
    HRESULT STDMETHODCALLTYPE PropCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid) override
        { return KIT_RUN(PropCheck, materialObject, props, valid); }
    HRESULT STDMETHODCALLTYPE ValidityCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid) override
        { return KIT_RUN(ValidityCheck, materialObject, props, valid); }
    HRESULT STDMETHODCALLTYPE GetPropList(VARIANT* props) override { return KIT_RUN(GetPropList, props); }
};

struct ICapeThermoMaterialObjectFacet final : Facet<ICapeThermoMaterialObject> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE get_ComponentIds(VARIANT* compIds) override { return KIT_RUN(get_ComponentIds, compIds); }
    HRESULT STDMETHODCALLTYPE get_PhaseIds(VARIANT* PhaseIds) override { return KIT_RUN(get_PhaseIds, PhaseIds); }
    HRESULT STDMETHODCALLTYPE GetUniversalConstant(VARIANT props, VARIANT* propVals) override
        { return KIT_RUN(GetUniversalConstant, props, propVals); }
    HRESULT STDMETHODCALLTYPE GetComponentConstant(VARIANT props, VARIANT compIds, VARIANT* propVals) override
        { return KIT_RUN(GetComponentConstant, props, compIds, propVals); }
    HRESULT STDMETHODCALLTYPE CalcProp(VARIANT props, VARIANT phases, BSTR calcType) override
        { return KIT_RUN(CalcProp, props, phases, calcType); }
    HRESULT STDMETHODCALLTYPE GetProp(BSTR property, BSTR phase, VARIANT compIds, BSTR calcType, BSTR basis, VARIANT* results) override
        { return KIT_RUN(GetProp, property, phase, compIds, calcType, basis, results); }
    HRESULT STDMETHODCALLTYPE SetProp(BSTR property, BSTR phase, VARIANT compIds, BSTR calcType, BSTR basis, VARIANT values) override
        { return KIT_RUN(SetProp, property, phase, compIds, calcType, basis, values); }
    HRESULT STDMETHODCALLTYPE CalcEquilibrium(BSTR flashType, VARIANT props) override
        { return KIT_RUN(CalcEquilibrium, flashType, props); }
    HRESULT STDMETHODCALLTYPE SetIndependentVar(VARIANT indVars, VARIANT values) override
        { return KIT_RUN(SetIndependentVar, indVars, values); }
    HRESULT STDMETHODCALLTYPE GetIndependentVar(VARIANT indVars, VARIANT* values) override
        { return KIT_RUN(GetIndependentVar, indVars, values); }
    HRESULT STDMETHODCALLTYPE PropCheck(VARIANT props, VARIANT* valid) override
        { return KIT_RUN(PropCheck, props, valid); }
    HRESULT STDMETHODCALLTYPE AvailableProps(VARIANT* props) override { return KIT_RUN(AvailableProps, props); }
    HRESULT STDMETHODCALLTYPE RemoveResults(VARIANT props) override { return KIT_RUN(RemoveResults, props); }
    HRESULT STDMETHODCALLTYPE CreateMaterialObject(IDispatch** materialObject) override
        { return KIT_RUN(CreateMaterialObject, materialObject); }
    HRESULT STDMETHODCALLTYPE Duplicate(IDispatch** clone) override { return KIT_RUN(Duplicate, clone); }
    HRESULT STDMETHODCALLTYPE ValidityCheck(VARIANT props, VARIANT* relList) override
        { return KIT_RUN(ValidityCheck, props, relList); }
    HRESULT STDMETHODCALLTYPE GetPropList(VARIANT* props) override { return KIT_RUN(GetPropList, props); }
    HRESULT STDMETHODCALLTYPE GetNumComponents(LONG* numComp) override { return KIT_RUN(GetNumComponents, numComp); }
};

struct ICapeThermoMaterialTemplateFacet final : Facet<ICapeThermoMaterialTemplate> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE CreateMaterialObject(IDispatch** materialObject) override
        { return KIT_RUN(CreateMaterialObject, materialObject); }
    HRESULT STDMETHODCALLTYPE SetProp(BSTR property, VARIANT values) override
        { return KIT_RUN(SetProp, property, values); }
};

struct ICapeThermoCalculationRoutineFacet final : Facet<ICapeThermoCalculationRoutine> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE CalcProp(IDispatch* materialObject, VARIANT props, VARIANT phases, BSTR calcType) override
        { return KIT_RUN(CalcProp, materialObject, props, phases, calcType); }
    HRESULT STDMETHODCALLTYPE PropCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid) override
        { return KIT_RUN(PropCheck, materialObject, props, valid); }
    HRESULT STDMETHODCALLTYPE PropList(VARIANT* props, VARIANT* phases, VARIANT* calcType) override
        { return KIT_RUN(PropList, props, phases, calcType); }
    HRESULT STDMETHODCALLTYPE ValidityCheck(IDispatch* materialObject, VARIANT props, VARIANT* relList) override
        { return KIT_RUN(ValidityCheck, materialObject, props, relList); }
};

struct ICapeThermoContext10Facet final : Facet<ICapeThermoContext10> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch** materialObject) override
        { return KIT_RUN(SetMaterial, materialObject); }
};

struct ICapeThermoPropertyPackageManagerFacet final : Facet<ICapeThermoPropertyPackageManager> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetPropertyPackageList(VARIANT* PackageNames) override
        { return KIT_RUN(GetPropertyPackageList, PackageNames); }
    HRESULT STDMETHODCALLTYPE GetPropertyPackage(BSTR PackageName, IDispatch** Package) override
        { return KIT_RUN(GetPropertyPackage, PackageName, Package); }
};

struct ICapeThermoMaterialFacet final : Facet<ICapeThermoMaterial> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE ClearAllProps() override { return KIT_RUN(ClearAllProps); }
    HRESULT STDMETHODCALLTYPE CopyFromMaterial(IDispatch** source) override
        { return KIT_RUN(CopyFromMaterial, source); }
    HRESULT STDMETHODCALLTYPE CreateMaterial(IDispatch** materialObject) override
        { return KIT_RUN(CreateMaterial, materialObject); }
    HRESULT STDMETHODCALLTYPE GetOverallProp(BSTR property, BSTR basis, VARIANT* results) override
        { return KIT_RUN(GetOverallProp, property, basis, results); }
    HRESULT STDMETHODCALLTYPE GetOverallTPFraction(double* temperature, double* pressure, VARIANT* composition) override
        { return KIT_RUN(GetOverallTPFraction, temperature, pressure, composition); }
    HRESULT STDMETHODCALLTYPE GetPresentPhases(VARIANT* phaseLabels, VARIANT* phaseStatus) override
        { return KIT_RUN(GetPresentPhases, phaseLabels, phaseStatus); }
    HRESULT STDMETHODCALLTYPE GetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis, VARIANT* results) override
        { return KIT_RUN(GetSinglePhaseProp, property, phaseLabel, basis, results); }
    HRESULT STDMETHODCALLTYPE GetTPFraction(BSTR phaseLabel, double* temperature, double* pressure, VARIANT* composition) override
        { return KIT_RUN(GetTPFraction, phaseLabel, temperature, pressure, composition); }
    HRESULT STDMETHODCALLTYPE GetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis, VARIANT* results) override
        { return KIT_RUN(GetTwoPhaseProp, property, phaseLabels, basis, results); }
    HRESULT STDMETHODCALLTYPE SetOverallProp(BSTR property, BSTR basis, VARIANT values) override
        { return KIT_RUN(SetOverallProp, property, basis, values); }
    HRESULT STDMETHODCALLTYPE SetPresentPhases(VARIANT phaseLabels, VARIANT phaseStatus) override
        { return KIT_RUN(SetPresentPhases, phaseLabels, phaseStatus); }
    HRESULT STDMETHODCALLTYPE SetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis, VARIANT values) override
        { return KIT_RUN(SetSinglePhaseProp, property, phaseLabel, basis, values); }
    HRESULT STDMETHODCALLTYPE SetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis, VARIANT values) override
        { return KIT_RUN(SetTwoPhaseProp, property, phaseLabels, basis, values); }
};

struct ICapeThermoCompoundsFacet final : Facet<ICapeThermoCompounds> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetCompoundConstant(VARIANT props, VARIANT compIds, VARIANT* propVals) override
        { return KIT_RUN(GetCompoundConstant, props, compIds, propVals); }
    HRESULT STDMETHODCALLTYPE GetCompoundList(VARIANT* compIds, VARIANT* formulae, VARIANT* names, VARIANT* boilTemps, VARIANT* molwts, VARIANT* casnos) override
        { return KIT_RUN(GetCompoundList, compIds, formulae, names, boilTemps, molwts, casnos); }
    HRESULT STDMETHODCALLTYPE GetConstPropList(VARIANT* props) override { return KIT_RUN(GetConstPropList, props); }
    HRESULT STDMETHODCALLTYPE GetNumCompounds(LONG* num) override { return KIT_RUN(GetNumCompounds, num); }
    HRESULT STDMETHODCALLTYPE GetPDependentProperty(VARIANT props, double pressure, VARIANT compIds, VARIANT* propVals) override
        { return KIT_RUN(GetPDependentProperty, props, pressure, compIds, propVals); }
    HRESULT STDMETHODCALLTYPE GetPDependentPropList(VARIANT* props) override
        { return KIT_RUN(GetPDependentPropList, props); }
    HRESULT STDMETHODCALLTYPE GetTDependentProperty(VARIANT props, double temperature, VARIANT compIds, VARIANT* propVals) override
        { return KIT_RUN(GetTDependentProperty, props, temperature, compIds, propVals); }
    HRESULT STDMETHODCALLTYPE GetTDependentPropList(VARIANT* props) override
        { return KIT_RUN(GetTDependentPropList, props); }
};

struct ICapeThermoPhasesFacet final : Facet<ICapeThermoPhases> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetNumPhases(LONG* num) override { return KIT_RUN(GetNumPhases, num); }
    HRESULT STDMETHODCALLTYPE GetPhaseInfo(BSTR phaseLabel, BSTR phaseAttribute, VARIANT* value) override
        { return KIT_RUN(GetPhaseInfo, phaseLabel, phaseAttribute, value); }
    HRESULT STDMETHODCALLTYPE GetPhaseList(VARIANT* phaseLabels, VARIANT* stateOfAggregation, VARIANT* keyCompoundId) override
        { return KIT_RUN(GetPhaseList, phaseLabels, stateOfAggregation, keyCompoundId); }
};

struct ICapeThermoPropertyRoutineFacet final : Facet<ICapeThermoPropertyRoutine> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE CalcAndGetLnPhi(BSTR phaseLabel, double temperature, double pressure, VARIANT moleNumbers, int fFlags, VARIANT* lnPhi, VARIANT* lnPhiDT, VARIANT* lnPhiDP, VARIANT* lnPhiDn) override
        { return KIT_RUN(CalcAndGetLnPhi, phaseLabel, temperature, pressure, moleNumbers, fFlags, lnPhi, lnPhiDT, lnPhiDP, lnPhiDn); }
    HRESULT STDMETHODCALLTYPE CalcSinglePhaseProp(VARIANT props, BSTR phaseLabel) override
        { return KIT_RUN(CalcSinglePhaseProp, props, phaseLabel); }
    HRESULT STDMETHODCALLTYPE CalcTwoPhaseProp(VARIANT props, VARIANT phaseLabels) override
        { return KIT_RUN(CalcTwoPhaseProp, props, phaseLabels); }
    HRESULT STDMETHODCALLTYPE CheckSinglePhasePropSpec(BSTR property, BSTR phaseLabel, VARIANT_BOOL* valid) override
        { return KIT_RUN(CheckSinglePhasePropSpec, property, phaseLabel, valid); }
    HRESULT STDMETHODCALLTYPE CheckTwoPhasePropSpec(BSTR property, VARIANT phaseLabels, VARIANT_BOOL* valid) override
        { return KIT_RUN(CheckTwoPhasePropSpec, property, phaseLabels, valid); }
    HRESULT STDMETHODCALLTYPE GetSinglePhasePropList(VARIANT* props) override
        { return KIT_RUN(GetSinglePhasePropList, props); }
    HRESULT STDMETHODCALLTYPE GetTwoPhasePropList(VARIANT* props) override
        { return KIT_RUN(GetTwoPhasePropList, props); }
};

struct ICapeThermoEquilibriumRoutineFacet final : Facet<ICapeThermoEquilibriumRoutine> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE CalcEquilibrium(VARIANT specification1, VARIANT specification2, BSTR solutionType) override
        { return KIT_RUN(CalcEquilibrium, specification1, specification2, solutionType); }
    HRESULT STDMETHODCALLTYPE CheckEquilibriumSpec(VARIANT specification1, VARIANT specification2, BSTR solutionType, VARIANT_BOOL* isSupported) override
        { return KIT_RUN(CheckEquilibriumSpec, specification1, specification2, solutionType, isSupported); }
};

struct ICapeThermoUniversalConstantFacet final : Facet<ICapeThermoUniversalConstant> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetUniversalConstant(BSTR constantId, VARIANT* constantValue) override
        { return KIT_RUN(GetUniversalConstant, constantId, constantValue); }
    HRESULT STDMETHODCALLTYPE GetUniversalConstantList(VARIANT* constantId) override
        { return KIT_RUN(GetUniversalConstantList, constantId); }
};

struct ICapeThermoMaterialContextFacet final : Facet<ICapeThermoMaterialContext> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch* material) override { return KIT_RUN(SetMaterial, material); }
    HRESULT STDMETHODCALLTYPE UnsetMaterial() override { return KIT_RUN(UnsetMaterial); }
};

struct ICapeReactionsPackageManagerFacet final : Facet<ICapeReactionsPackageManager> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetListOfReactionsPackages(VARIANT* reactionIDS) override
        { return KIT_RUN(GetListOfReactionsPackages, reactionIDS); }
    HRESULT STDMETHODCALLTYPE ResolveReactionsPackage(BSTR reactionsPkg, IDispatch** reaction) override
        { return KIT_RUN(ResolveReactionsPackage, reactionsPkg, reaction); }
};

struct ICapeReactionChemistryFacet final : Facet<ICapeReactionChemistry> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetNumberOfReactions(LONG* nReacs) override
        { return KIT_RUN(GetNumberOfReactions, nReacs); }
    HRESULT STDMETHODCALLTYPE GetReactionsIds(VARIANT* reactionIDS) override
        { return KIT_RUN(GetReactionsIds, reactionIDS); }
    HRESULT STDMETHODCALLTYPE GetReactionType(BSTR reacID, CapeReactionType* nReacs) override
        { return KIT_RUN(GetReactionType, reacID, nReacs); }
    HRESULT STDMETHODCALLTYPE GetNumberOfReactionCompounds(BSTR reacID, LONG* nComps) override
        { return KIT_RUN(GetNumberOfReactionCompounds, reacID, nComps); }
    HRESULT STDMETHODCALLTYPE GetReactionCompoundIds(BSTR reacID, VARIANT* compIds, VARIANT* compCharge, VARIANT* compCASNumber) override
        { return KIT_RUN(GetReactionCompoundIds, reacID, compIds, compCharge, compCASNumber); }
    HRESULT STDMETHODCALLTYPE GetStoichiometricCoefficients(BSTR reacID, VARIANT* coeffs) override
        { return KIT_RUN(GetStoichiometricCoefficients, reacID, coeffs); }
    HRESULT STDMETHODCALLTYPE GetReactionPhase(BSTR reacID, BSTR* phase) override
        { return KIT_RUN(GetReactionPhase, reacID, phase); }
    HRESULT STDMETHODCALLTYPE GetReactionRateBasis(BSTR reacID, CapeReactionRateBasis* rateBasis) override
        { return KIT_RUN(GetReactionRateBasis, reacID, rateBasis); }
    HRESULT STDMETHODCALLTYPE GetReactionConcBasis(BSTR reacID, BSTR* concBasis) override
        { return KIT_RUN(GetReactionConcBasis, reacID, concBasis); }
    HRESULT STDMETHODCALLTYPE GetBaseReactant(BSTR reacID, BSTR* baseReactantId) override
        { return KIT_RUN(GetBaseReactant, reacID, baseReactantId); }
    HRESULT STDMETHODCALLTYPE GetPhaseCompounds(BSTR reacID, LONG* compNo, VARIANT* compIds) override
        { return KIT_RUN(GetPhaseCompounds, reacID, compNo, compIds); }
    HRESULT STDMETHODCALLTYPE GetReactionParameters(BSTR reacID, IDispatch** ParameterCollection) override
        { return KIT_RUN(GetReactionParameters, reacID, ParameterCollection); }
};

struct ICapeReactionPropertiesFacet final : Facet<ICapeReactionProperties> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis, VARIANT* propVals) override
        { return KIT_RUN(GetReactionProp, property, phase, reacIds, basis, propVals); }
    HRESULT STDMETHODCALLTYPE SetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis, VARIANT propVals) override
        { return KIT_RUN(SetReactionProp, property, phase, reacIds, basis, propVals); }
};

struct ICapeReactionsRoutineFacet final : Facet<ICapeReactionsRoutine> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE CalcReactionProp(VARIANT props, BSTR phase, VARIANT reacIds, BSTR basis) override
        { return KIT_RUN(CalcReactionProp, props, phase, reacIds, basis); }
};

struct ICapeKineticReactionContextFacet final : Facet<ICapeKineticReactionContext> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE SetReactionObject(IDispatch** reactionsObject) override
        { return KIT_RUN(SetReactionObject, reactionsObject); }
};

struct ICapeElectrolyteReactionContextFacet final : Facet<ICapeElectrolyteReactionContext> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE SetReactionObject(IDispatch** reactionsObject) override
        { return KIT_RUN(SetReactionObject, reactionsObject); }
};

struct IPersistStreamInitFacet final : Facet<IPersistStreamInit> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* classId) override { return KIT_RUN(GetClassID, classId); }
    HRESULT STDMETHODCALLTYPE IsDirty() override { return KIT_RUN(IsDirty); }
    HRESULT STDMETHODCALLTYPE Load(IStream* stream) override { return KIT_RUN(Load, stream); }
    HRESULT STDMETHODCALLTYPE Save(IStream* stream, BOOL clearDirty) override
        { return KIT_RUN(Save, stream, clearDirty); }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* size) override { return KIT_RUN(GetSizeMax, size); }
    HRESULT STDMETHODCALLTYPE InitNew() override { return KIT_RUN(InitNew); }
};

struct IPersistStreamFacet final : Facet<IPersistStream> {
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* classId) override { return KIT_RUN(GetClassID, classId); }
    HRESULT STDMETHODCALLTYPE IsDirty() override { return KIT_RUN(IsDirty); }
    HRESULT STDMETHODCALLTYPE Load(IStream* stream) override { return KIT_RUN(Load, stream); }
    HRESULT STDMETHODCALLTYPE Save(IStream* stream, BOOL clearDirty) override
        { return KIT_RUN(Save, stream, clearDirty); }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* size) override { return KIT_RUN(GetSizeMax, size); }
};

template <class F>
InterfaceEntry entry(const char* name)
{
    return {__uuidof(typename F::Iface), name,
            [](Object& owner, const char* n) -> std::unique_ptr<FacetBase> { return std::make_unique<F>(owner, n); }};
}

#define KIT_ENTRY(I) entry<I##Facet>(#I)

} // namespace

const std::vector<InterfaceEntry>& interfaceTable()
{
    static const std::vector<InterfaceEntry> table{
        KIT_ENTRY(ECapeRoot),
        KIT_ENTRY(ECapeUser),
        KIT_ENTRY(ECapeUnknown),
        KIT_ENTRY(ECapeData),
        KIT_ENTRY(ECapeLicenceError),
        KIT_ENTRY(ECapeBadCOParameter),
        KIT_ENTRY(ECapeBadArgument),
        KIT_ENTRY(ECapeInvalidArgument),
        KIT_ENTRY(ECapeOutOfBounds),
        KIT_ENTRY(ECapeImplementation),
        KIT_ENTRY(ECapeNoImpl),
        KIT_ENTRY(ECapeLimitedImpl),
        KIT_ENTRY(ECapeComputation),
        KIT_ENTRY(ECapeOutOfResources),
        KIT_ENTRY(ECapeNoMemory),
        KIT_ENTRY(ECapeTimeOut),
        KIT_ENTRY(ECapeFailedInitialisation),
        KIT_ENTRY(ECapeSolvingError),
        KIT_ENTRY(ECapeBadInvOrder),
        KIT_ENTRY(ECapeInvalidOperation),
        KIT_ENTRY(ECapePersistence),
        KIT_ENTRY(ECapeIllegalAccess),
        KIT_ENTRY(ECapePersistenceNotFound),
        KIT_ENTRY(ECapePersistenceSystemError),
        KIT_ENTRY(ECapePersistenceOverflow),
        KIT_ENTRY(ECapeBoundaries),
        KIT_ENTRY(ECapeThrmPropertyNotAvailable),
        KIT_ENTRY(ICapeIdentification),
        KIT_ENTRY(ICapeUtilities),
        KIT_ENTRY(ICapeSimulationContext),
        KIT_ENTRY(ICapeDiagnostic),
        KIT_ENTRY(ICapeMaterialTemplateSystem),
        KIT_ENTRY(ICapeCOSEUtilities),
        KIT_ENTRY(ICapeCollection),
        KIT_ENTRY(ICapeParameter),
        KIT_ENTRY(ICapeParameterSpec),
        KIT_ENTRY(ICapeRealParameterSpec),
        KIT_ENTRY(ICapeIntegerParameterSpec),
        KIT_ENTRY(ICapeOptionParameterSpec),
        KIT_ENTRY(ICapeBooleanParameterSpec),
        KIT_ENTRY(ICapeArrayParameterSpec),
        KIT_ENTRY(ICapeUnit),
        KIT_ENTRY(ICapeUnitPort),
        KIT_ENTRY(ICapeUnitReport),
        KIT_ENTRY(ICapeThermoSystem),
        KIT_ENTRY(ICapeThermoPropertyPackage),
        KIT_ENTRY(ICapeThermoMaterialObject),
        KIT_ENTRY(ICapeThermoMaterialTemplate),
        KIT_ENTRY(ICapeThermoCalculationRoutine),
        KIT_ENTRY(ICapeThermoContext10),
        KIT_ENTRY(ICapeThermoPropertyPackageManager),
        KIT_ENTRY(ICapeThermoMaterial),
        KIT_ENTRY(ICapeThermoCompounds),
        KIT_ENTRY(ICapeThermoPhases),
        KIT_ENTRY(ICapeThermoPropertyRoutine),
        KIT_ENTRY(ICapeThermoEquilibriumRoutine),
        KIT_ENTRY(ICapeThermoUniversalConstant),
        KIT_ENTRY(ICapeThermoMaterialContext),
        KIT_ENTRY(ICapeReactionsPackageManager),
        KIT_ENTRY(ICapeReactionChemistry),
        KIT_ENTRY(ICapeReactionProperties),
        KIT_ENTRY(ICapeReactionsRoutine),
        KIT_ENTRY(ICapeKineticReactionContext),
        KIT_ENTRY(ICapeElectrolyteReactionContext),
        KIT_ENTRY(IPersistStreamInit),
        KIT_ENTRY(IPersistStream),
    };
    return table;
}

const InterfaceEntry* findInterface(REFIID iid)
{
    for (const InterfaceEntry& e : interfaceTable())
        if (e.iid == iid) return &e;
    return nullptr;
}

} // namespace kit::detail

namespace kit {

const std::vector<IID>& allInterfaces()
{
    static const std::vector<IID> all = [] {
        std::vector<IID> v;
        for (const detail::InterfaceEntry& e : detail::interfaceTable()) v.push_back(e.iid);
        return v;
    }();
    return all;
}

const std::vector<IID>& errorInterfaces()
{
    static const std::vector<IID> errors{
        __uuidof(ECapeRoot),
        __uuidof(ECapeUser),
        __uuidof(ECapeUnknown),
        __uuidof(ECapeData),
        __uuidof(ECapeLicenceError),
        __uuidof(ECapeBadCOParameter),
        __uuidof(ECapeBadArgument),
        __uuidof(ECapeInvalidArgument),
        __uuidof(ECapeOutOfBounds),
        __uuidof(ECapeImplementation),
        __uuidof(ECapeNoImpl),
        __uuidof(ECapeLimitedImpl),
        __uuidof(ECapeComputation),
        __uuidof(ECapeOutOfResources),
        __uuidof(ECapeNoMemory),
        __uuidof(ECapeTimeOut),
        __uuidof(ECapeFailedInitialisation),
        __uuidof(ECapeSolvingError),
        __uuidof(ECapeBadInvOrder),
        __uuidof(ECapeInvalidOperation),
        __uuidof(ECapePersistence),
        __uuidof(ECapeIllegalAccess),
        __uuidof(ECapePersistenceNotFound),
        __uuidof(ECapePersistenceSystemError),
        __uuidof(ECapePersistenceOverflow),
        __uuidof(ECapeBoundaries),
        __uuidof(ECapeThrmPropertyNotAvailable),
    };
    return errors;
}

std::string interfaceName(REFIID iid)
{
    const detail::InterfaceEntry* e = detail::findInterface(iid);
    return e ? e->name : std::string();
}

} // namespace kit
