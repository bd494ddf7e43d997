#pragma once
// The coclass Connect: Outlook's add-in connection, its ribbon requests and the ribbon callbacks.
#include <windows.h>

#include <memory>

#include "addin/ComModule.h"
#include "addin/OfficeInterfaces.h"
#include "addin/TessarixOL.h"
#include "core/win/ComPtr.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor" // see addin/ComModule.h

namespace Tessarix::Addin {

class IAddin;
class CAddinFactory;

class CConnect final : public ComObject<_IDTExtensibility2, IRibbonExtensibility, IRibbonCallback> {
public:
    CConnect();

    // IUnknown; IDispatch is IRibbonCallback's, through which Outlook binds the callbacks by name.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;

    // IDispatch, from the type library in this module.
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo** typeInfo) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid,
                                            DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* params,
                                     VARIANT* result, EXCEPINFO* exception, UINT* argumentError) override;

    // _IDTExtensibility2
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, ext_ConnectMode connectMode,
                                           IDispatch* addInInst, SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnDisconnection(ext_DisconnectMode removeMode, SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) override;

    // IRibbonExtensibility
    HRESULT STDMETHODCALLTYPE GetCustomUI(BSTR ribbonId, BSTR* ribbonXml) override;

    // IRibbonCallback; without a variant (unsupported Outlook) each answers E_NOTIMPL.
    HRESULT STDMETHODCALLTYPE GetEnabled(IDispatch* control, VARIANT_BOOL* value) override;
    HRESULT STDMETHODCALLTYPE OnClick(IDispatch* control) override;
    HRESULT STDMETHODCALLTYPE GetImage(IDispatch* control, IPictureDisp** image) override;
    HRESULT STDMETHODCALLTYPE GetLabel(IDispatch* control, BSTR* label) override;
    HRESULT STDMETHODCALLTYPE OnLoad(IDispatch* ribbon) override;

private:
    ~CConnect() override;
    HRESULT CallbackTypeInfo(ITypeInfo** typeInfo);

    Win::ComPtr<IDispatch> m_application;
    std::shared_ptr<CAddinFactory> m_factory;
    std::shared_ptr<IAddin> m_addin;
    Win::ComPtr<ITypeInfo> m_typeInfo;
};

} // namespace Tessarix::Addin

#pragma GCC diagnostic pop
