#pragma once
// The CAPE-OPEN 1.0 ideal property package: the same model as the 1.1 package, working through
// the ICapeThermoMaterialObject passed to each call (get_ComponentIds, GetProp, SetProp).
// Flash type "TP"; properties are calculated with calcType "Mixture".
#include "ideal/component.h"
#include "ideal/configurations.h"
#include "ideal/ideal_model.h"
#include "ideal/parameters.h"

namespace samples::ideal {

class IdealPackage10 final : public CapeComponent<ICapeThermoPropertyPackage> {
public:
    explicit IdealPackage10(const PackageConfiguration& config);

    const IdealModel& model() const noexcept { return model_; }

    HRESULT STDMETHODCALLTYPE GetPhaseList(VARIANT* phases) override;
    HRESULT STDMETHODCALLTYPE GetComponentList(VARIANT* compIds, VARIANT* formulae, VARIANT* name,
                                               VARIANT* boilTemps, VARIANT* molwt, VARIANT* casno) override;
    HRESULT STDMETHODCALLTYPE GetUniversalConstant(IDispatch* materialObject, VARIANT props,
                                                   VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE GetComponentConstant(IDispatch* materialObject, VARIANT props,
                                                   VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE CalcProp(IDispatch* materialObject, VARIANT props, VARIANT phases,
                                       BSTR calcType) override;
    HRESULT STDMETHODCALLTYPE CalcEquilibrium(IDispatch* materialObject, BSTR flashType, VARIANT props) override;
    HRESULT STDMETHODCALLTYPE PropCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid) override;
    HRESULT STDMETHODCALLTYPE ValidityCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid) override;
    HRESULT STDMETHODCALLTYPE GetPropList(VARIANT* props) override;

private:
    // The material object of a call and the model of the compounds it carries.
    struct Target {
        tarv::ComPtr<ICapeThermoMaterialObject> object;
        IdealModel model;
    };
    Target target(IDispatch* materialObject);
    std::vector<double> get(Target& t, const wchar_t* property, const wchar_t* phase, const wchar_t* basis);
    void set(Target& t, const std::wstring& property, const wchar_t* phase, const wchar_t* calcType,
             const wchar_t* basis, const std::vector<double>& values);
    void calcProps(Target& t, const std::vector<std::wstring>& props, const std::vector<Phase>& phases);

    tarv::ComPtr<IDispatch> parameterCollection() override { return parameters_.collection; }

    PackageParameters parameters_;
    IdealModel model_;
};

} // namespace samples::ideal
