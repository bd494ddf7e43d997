#include "addin/RibbonSupport.h"

#include <utility>

#include "actions/ClipAction.h"
#include "addin/ClipActions.h"
#include "addin/ClipPress.h"
#include "addin/Dispatch.h"
#include "addin/Localize.h"
#include "addin/ResourceUtil.h"
#include "addin/RibbonTable.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/win/OleTypes.h"

namespace Tessarix::Addin {

CRibbonSupport::CRibbonSupport(std::shared_ptr<CLocalize> localize, std::shared_ptr<IClipActions> clipActions)
    : m_localize(std::move(localize)), m_clipActions(std::move(clipActions)) {
    CallTracer trace(u"CRibbonSuppor::Ctor()");
    for (const auto& entry : kRibbonTable)
        m_ribbonTable.emplace(entry.ribbonId, entry.resourceId);
}

CRibbonSupport::~CRibbonSupport() {
    CallTracer trace(u"CRibbonSupport::Dtor()");
}

HRESULT CRibbonSupport::GetCustomUI(BSTR ribbonId, BSTR* ribbonXml) {
    CallTracer trace(u"CRibbonSupport::GetCustomUI()");
    Log().Debug(u"CRibbonSupport::GetCustomUI");
    if (!ribbonXml)
        return E_POINTER;
    const std::u16string id(reinterpret_cast<const char16_t*>(ribbonId ? ribbonId : L""),
                            ribbonId ? ::SysStringLen(ribbonId) : 0);
    const auto found = m_ribbonTable.find(id);
    // Outlook shows no custom UI for a ribbon type that has no document.
    if (found == m_ribbonTable.end())
        return S_OK;
    Win::Bstr xml = ResourceUtil::LoadRibbon(found->second);
    if (!xml.Get())
        return E_FAIL;
    *ribbonXml = xml.Detach();
    return S_OK;
}

HRESULT CRibbonSupport::OnLoad(IDispatch* ribbon) {
    CallTracer trace(u"CRibbonSupport::OnLoad()");
    Win::ComPtr<IRibbonUI> ribbonUI;
    if (ribbon)
        ribbon->QueryInterface(__uuidof(IRibbonUI), reinterpret_cast<void**>(ribbonUI.AddressOf()));
    m_ribbon = std::move(ribbonUI);
    return S_OK;
}

HRESULT CRibbonSupport::GetImage(IDispatch* /*control*/, IPictureDisp** image) {
    CallTracer trace(u"CRibbonSupport::GetImage()");
    if (!image)
        return E_POINTER;
    const Win::ComPtr<IPicture> picture = ResourceUtil::LoadPng(ResourceId::kRibbonImage);
    return picture->QueryInterface(IID_IPictureDisp, reinterpret_cast<void**>(image));
}

HRESULT CRibbonSupport::GetLabel(IDispatch* /*control*/, BSTR* label) {
    CallTracer trace(u"CRibbonSupport::GetLabel()");
    if (!label)
        return E_POINTER;
    *label = Win::Bstr(m_localize->AddNote()).Detach();
    return S_OK;
}

HRESULT CRibbonSupport::GetEnabled(IDispatch* control, VARIANT_BOOL* enabled) {
    CallTracer trace(u"CRibbonSupport::GetEnabled()");
    if (!control || !enabled)
        return E_POINTER;
    Win::ComPtr<IRibbonControl> ribbonControl;
    HRESULT hr = control->QueryInterface(__uuidof(IRibbonControl),
                                         reinterpret_cast<void**>(ribbonControl.AddressOf()));
    if (FAILED(hr))
        return hr;
    Win::ComPtr<IDispatch> context;
    hr = ribbonControl->get_Context(context.AddressOf());
    if (FAILED(hr))
        return hr;
    Win::ComPtr<IDispatch> explorer;
    if (context)
        context.As(Outlook::kIID_Explorer, explorer);

    Log().Info(u"CRibbonSupport::GetEnabled before proccessing");
    if (!explorer) {
        // An inspector's button is always enabled.
        Log().Info(u"CRibbonSupport::GetEnabled !explorer return true");
        *enabled = VARIANT_TRUE;
        return S_OK;
    }
    const auto view = m_views.find(explorer.Get());
    if (view == m_views.end()) {
        Log().Warning(u"CRibbonSupport::GetEnabled view not found");
        return S_OK;
    }
    Log().Info(u"CRibbonSupport::GetEnabled get view");
    // The view's flag widened from a byte: 1 or 0, not VARIANT_TRUE.
    const unsigned char state = view->second->GetEnabled() ? 1 : 0;
    *enabled = static_cast<VARIANT_BOOL>(state);
    Log().Info(u"CRibbonSupport::GetEnabled OK");
    return S_OK;
}

HRESULT CRibbonSupport::OnClick(IDispatch* control) {
    CallTracer trace(u"CRibbonSupport::OnClick()");
    const ClipPress press(u"CRibbonSupport::OnClick()");
    if (!press)
        return S_OK;
    try {
        Win::ComPtr<IRibbonControl> ribbonControl;
        if (!control || FAILED(control->QueryInterface(
                            __uuidof(IRibbonControl), reinterpret_cast<void**>(ribbonControl.AddressOf())))) {
            return S_OK;
        }
        Win::ComPtr<IDispatch> context;
        if (FAILED(ribbonControl->get_Context(context.AddressOf())) || !context)
            return S_OK;

        Win::ComPtr<IDispatch> inspector, explorer;
        if (SUCCEEDED(context.As(Outlook::kIID_Inspector, inspector))) {
            Log().Info(u"CRibbonSupport::OnClick proccess inspector");
            const Win::ComPtr<IDispatch> item = Dispatch::GetDispatch(inspector.Get(), L"CurrentItem");
            const std::shared_ptr<IAction> action = m_clipActions->ClipItem(item.Get());
            // Logged before the clip runs.
            Log().Info(u"CRibbonSupport::OnClick OK");
            if (action)
                action->Execute();
        } else if (SUCCEEDED(context.As(Outlook::kIID_Explorer, explorer))) {
            Log().Info(u"CRibbonSupport::OnClick proccess explorer");
            const Win::ComPtr<IDispatch> selection = Dispatch::GetDispatch(explorer.Get(), L"Selection");
            const std::shared_ptr<IAction> action = m_clipActions->ClipSelection(selection.Get());
            if (action)
                action->Execute();
            Log().Info(u"CRibbonSupport::OnClick OK");
        }
    } catch (HResult hr) {
        // The window's item or selection could not be read: nothing to clip.
        Log().Error(Format(u"CRibbonSupport::OnClick failed with code: %d", hr));
    }
    return S_OK;
}

void CRibbonSupport::Invalidate() {
    CallTracer trace(u"CRibbonSupport::Invalidate()");
    if (m_ribbon)
        m_ribbon->Invalidate();
}

void CRibbonSupport::AddView(IDispatch* explorer, IRibbonView* view) {
    CallTracer trace(u"CRibbonSupport::AddView()");
    m_views[explorer] = view;
}

void CRibbonSupport::RemoveView(IDispatch* explorer) {
    CallTracer trace(u"CRibbonSupport::RemoveView()");
    m_views.erase(explorer);
}

} // namespace Tessarix::Addin
