#pragma once
// The ribbon of Outlook 2007 inspectors and of every Outlook 2010 window: the custom-UI documents
// by ribbon type, the loaded ribbon, and (Outlook 2010) the explorer views whose enabled state the
// explorer buttons show.
#include <windows.h>

#include <oaidl.h>
#include <ocidl.h>

#include <map>
#include <memory>
#include <string>

#include "addin/OfficeInterfaces.h"
#include "core/win/ComPtr.h"

namespace Tessarix::Addin {

class CLocalize;
class IClipActions;

// What the ribbon asks of an explorer's view.
class IRibbonView {
public:
    virtual ~IRibbonView() = default;
    virtual bool GetEnabled() = 0;
};

class CRibbonSupport {
public:
    CRibbonSupport(std::shared_ptr<CLocalize> localize, std::shared_ptr<IClipActions> clipActions);
    virtual ~CRibbonSupport();
    CRibbonSupport(const CRibbonSupport&) = delete;
    CRibbonSupport& operator=(const CRibbonSupport&) = delete;

    HRESULT GetCustomUI(BSTR ribbonId, BSTR* ribbonXml);
    HRESULT OnLoad(IDispatch* ribbon);
    HRESULT GetImage(IDispatch* control, IPictureDisp** image);
    HRESULT GetLabel(IDispatch* control, BSTR* label);
    HRESULT GetEnabled(IDispatch* control, VARIANT_BOOL* enabled);
    HRESULT OnClick(IDispatch* control);

    // Asks the ribbon for every control's state again; nothing before the ribbon has loaded.
    void Invalidate();
    // `explorer` is the Outlook _Explorer interface pointer, compared as a raw pointer.
    void AddView(IDispatch* explorer, IRibbonView* view);
    void RemoveView(IDispatch* explorer);

private:
    std::shared_ptr<CLocalize> m_localize;
    std::shared_ptr<IClipActions> m_clipActions;
    std::map<std::u16string, unsigned> m_ribbonTable;
    Win::ComPtr<IRibbonUI> m_ribbon;
    std::map<const void*, IRibbonView*> m_views;
};

} // namespace Tessarix::Addin
