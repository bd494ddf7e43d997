#include "addin/Connect.h"

#include "addin/AddinFactory.h"
#include "addin/ClipPress.h"
#include "addin/ComBoundary.h"
#include "core/Log.h"
#include "core/Utf.h"

namespace Tessarix::Addin {

CConnect::CConnect() {
    CallTracer trace(u"你好CConnect::Ctor");
}

CConnect::~CConnect() {
    CallTracer trace(u"CConnect::Dtor");
    ForgetConnection(static_cast<_IDTExtensibility2*>(this));
}

HRESULT STDMETHODCALLTYPE CConnect::QueryInterface(REFIID iid, void** out) {
    if (out && IsEqualIID(iid, IID_IUnknown)) {
        *out = static_cast<IUnknown*>(static_cast<_IDTExtensibility2*>(this));
        AddRef();
        return S_OK;
    }
    if (out && IsEqualIID(iid, IID_IDispatch)) {
        *out = static_cast<IDispatch*>(static_cast<IRibbonCallback*>(this));
        AddRef();
        return S_OK;
    }
    return QueryInterfaceFor<_IDTExtensibility2, IRibbonExtensibility, IRibbonCallback>(this, iid, out);
}

HRESULT CConnect::CallbackTypeInfo(ITypeInfo** typeInfo) {
    if (!m_typeInfo) {
        const HRESULT hr = ComBoundary(u"CConnect::CallbackTypeInfo", [this] {
            Win::ComPtr<ITypeLib> typeLib;
            HRESULT result = ::LoadTypeLibEx(AsWide(ThisModulePath()), REGKIND_NONE, typeLib.AddressOf());
            if (SUCCEEDED(result))
                result = typeLib->GetTypeInfoOfGuid(__uuidof(IRibbonCallback), m_typeInfo.AddressOf());
            return result;
        });
        if (FAILED(hr))
            return hr;
    }
    return m_typeInfo.CopyTo(typeInfo);
}

HRESULT STDMETHODCALLTYPE CConnect::GetTypeInfoCount(UINT* count) {
    if (!count)
        return E_POINTER;
    *count = 1;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CConnect::GetTypeInfo(UINT index, LCID /*lcid*/, ITypeInfo** typeInfo) {
    if (!typeInfo)
        return E_POINTER;
    *typeInfo = nullptr;
    if (index != 0)
        return DISP_E_BADINDEX;
    return CallbackTypeInfo(typeInfo);
}

HRESULT STDMETHODCALLTYPE CConnect::GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID /*lcid*/,
                                                  DISPID* ids) {
    if (!IsEqualIID(iid, IID_NULL))
        return DISP_E_UNKNOWNINTERFACE;
    Win::ComPtr<ITypeInfo> typeInfo;
    const HRESULT hr = CallbackTypeInfo(typeInfo.AddressOf());
    if (FAILED(hr))
        return hr;
    // Name lookup ignores case, so the documents' "getImage" reaches GetImage.
    return ::DispGetIDsOfNames(typeInfo.Get(), names, count, ids);
}

HRESULT STDMETHODCALLTYPE CConnect::Invoke(DISPID id, REFIID iid, LCID /*lcid*/, WORD flags,
                                           DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                                           UINT* argumentError) {
    if (!IsEqualIID(iid, IID_NULL))
        return DISP_E_UNKNOWNINTERFACE;
    Win::ComPtr<ITypeInfo> typeInfo;
    const HRESULT hr = CallbackTypeInfo(typeInfo.AddressOf());
    if (FAILED(hr))
        return hr;
    return ::DispInvoke(static_cast<IRibbonCallback*>(this), typeInfo.Get(), id, flags, params, result,
                        exception, argumentError);
}

HRESULT STDMETHODCALLTYPE CConnect::OnConnection(IDispatch* application, ext_ConnectMode /*connectMode*/,
                                                 IDispatch* /*addInInst*/, SAFEARRAY** /*custom*/) {
    CallTracer trace(u"CConnect::OnConnection()");
    return ComBoundary(u"CConnect::OnConnection", [&]() -> HRESULT {
        if (!application)
            return E_POINTER;
        Win::ComPtr<IDispatch> outlook;
        const HRESULT hr = application->QueryInterface(Outlook::kIID_Application,
                                                       reinterpret_cast<void**>(outlook.AddressOf()));
        if (FAILED(hr))
            return hr;
        m_application = std::move(outlook);
        SetCurrentConnection(static_cast<_IDTExtensibility2*>(this));
        m_factory = std::make_shared<CAddinFactory>(m_application.Get());
        // An unsupported Outlook leaves m_addin empty: the add-in stays loaded and idle.
        m_addin = m_factory->Create();
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE CConnect::OnDisconnection(ext_DisconnectMode /*removeMode*/,
                                                    SAFEARRAY** /*custom*/) {
    CallTracer trace(u"CConnect::OnDisconnection()");
    return ComBoundary(u"CConnect::OnDisconnection", [this] {
        // During a clip the variant, with the trackers and buttons the clip runs from, goes when the
        // clip has unwound; the order stays the same.
        ClipGate::Release(std::move(m_addin));
        ClipGate::Release(std::move(m_factory));
        ClipGate::Release(std::move(m_application));
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE CConnect::OnAddInsUpdate(SAFEARRAY** /*custom*/) {
    CallTracer trace(u"CConnect::OnAddInsUpdate()");
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CConnect::OnStartupComplete(SAFEARRAY** /*custom*/) {
    CallTracer trace(u"CConnect::OnStartupComplete()");
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CConnect::OnBeginShutdown(SAFEARRAY** /*custom*/) {
    CallTracer trace(u"CConnect::OnBeginShutdown()");
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CConnect::GetCustomUI(BSTR ribbonId, BSTR* ribbonXml) {
    if (!m_addin)
        return E_NOTIMPL;
    return ComBoundary(u"CConnect::GetCustomUI", [&] { return m_addin->GetCustomUI(ribbonId, ribbonXml); });
}

HRESULT STDMETHODCALLTYPE CConnect::GetEnabled(IDispatch* control, VARIANT_BOOL* value) {
    if (!m_addin)
        return E_NOTIMPL;
    return ComBoundary(u"CConnect::GetEnabled", [&] { return m_addin->GetEnabled(control, value); });
}

HRESULT STDMETHODCALLTYPE CConnect::OnClick(IDispatch* control) {
    if (!m_addin)
        return E_NOTIMPL;
    return ComBoundary(u"CConnect::OnClick", [&] { return m_addin->OnClick(control); });
}

HRESULT STDMETHODCALLTYPE CConnect::GetImage(IDispatch* control, IPictureDisp** image) {
    if (!m_addin)
        return E_NOTIMPL;
    return ComBoundary(u"CConnect::GetImage", [&] { return m_addin->GetImage(control, image); });
}

HRESULT STDMETHODCALLTYPE CConnect::GetLabel(IDispatch* control, BSTR* label) {
    if (!m_addin)
        return E_NOTIMPL;
    return ComBoundary(u"CConnect::GetLabel", [&] { return m_addin->GetLabel(control, label); });
}

HRESULT STDMETHODCALLTYPE CConnect::OnLoad(IDispatch* ribbon) {
    if (!m_addin)
        return E_NOTIMPL;
    return ComBoundary(u"CConnect::OnLoad", [&] { return m_addin->OnLoad(ribbon); });
}

} // namespace Tessarix::Addin
