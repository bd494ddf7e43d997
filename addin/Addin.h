#pragma once
// The add-in variant for the running Outlook; CConnect forwards every ribbon request to it.
#include <windows.h>

#include <oaidl.h>
#include <ocidl.h>

namespace Tessarix::Addin {

// Each operation takes the arguments of the IRibbonExtensibility / IRibbonCallback method of the
// same name. Slot order is part of the design.
class IAddin {
public:
    virtual ~IAddin() = default;
    virtual HRESULT GetCustomUI(BSTR ribbonId, BSTR* ribbonXml) = 0;
    virtual HRESULT GetImage(IDispatch* control, IPictureDisp** image) = 0;
    virtual HRESULT OnClick(IDispatch* control) = 0;
    virtual HRESULT GetLabel(IDispatch* control, BSTR* label) = 0;
    virtual HRESULT GetEnabled(IDispatch* control, VARIANT_BOOL* enabled) = 0;
    virtual HRESULT OnLoad(IDispatch* ribbon) = 0;
};

} // namespace Tessarix::Addin
