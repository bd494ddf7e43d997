#pragma once
// Declarations in the manner of the platform SDK's headers, and compiled as such: COM interfaces
// have no destructors by design.
#pragma GCC system_header
// The Office and add-in-designer interfaces the add-in implements or calls, declared from their
// published IIDs and vtable orders (no Office type library is needed to build). Outlook's own
// interfaces are used late-bound through IDispatch, so only their IIDs are listed.
#include <windows.h>

#include <oaidl.h>
#include <ocidl.h>

// _IDTExtensibility2 (AddInDesignerObjects 1.0): the add-in connection interface.
enum ext_ConnectMode {
    ext_cm_AfterStartup = 0,
    ext_cm_Startup = 1,
    ext_cm_External = 2,
    ext_cm_CommandLine = 3,
};

enum ext_DisconnectMode {
    ext_dm_HostShutdown = 0,
    ext_dm_UserClosed = 1,
};

// The SDK's declaration style, which the formatter misreads through the macros.
// clang-format off
MIDL_INTERFACE("B65AD801-ABAF-11D0-BB8B-00A0C90F2744")
_IDTExtensibility2 : public IDispatch {
    virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* Application, ext_ConnectMode ConnectMode,
                                                   IDispatch* AddInInst, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnDisconnection(ext_DisconnectMode RemoveMode, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;
};
__CRT_UUID_DECL(_IDTExtensibility2, 0xB65AD801, 0xABAF, 0x11D0, 0xBB, 0x8B, 0x00, 0xA0, 0xC9, 0x0F, 0x27, 0x44)

// Office 12+ ribbon interfaces (Office type library 2.4).
MIDL_INTERFACE("000C0396-0000-0000-C000-000000000046")
IRibbonExtensibility : public IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetCustomUI(BSTR RibbonID, BSTR* RibbonXml) = 0;
};
__CRT_UUID_DECL(IRibbonExtensibility, 0x000C0396, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)

MIDL_INTERFACE("000C0395-0000-0000-C000-000000000046")
IRibbonControl : public IDispatch {
    virtual HRESULT STDMETHODCALLTYPE get_Id(BSTR* Id) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Context(IDispatch** Context) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Tag(BSTR* Tag) = 0;
};
__CRT_UUID_DECL(IRibbonControl, 0x000C0395, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)

MIDL_INTERFACE("000C03A7-0000-0000-C000-000000000046")
IRibbonUI : public IDispatch {
    virtual HRESULT STDMETHODCALLTYPE Invalidate() = 0;
    virtual HRESULT STDMETHODCALLTYPE InvalidateControl(BSTR ControlID) = 0;
};
__CRT_UUID_DECL(IRibbonUI, 0x000C03A7, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)
// clang-format on

namespace Tessarix::Addin {

// Outlook object-model interfaces, asked for by IID and then called by name, and the event
// interfaces the add-in subscribes to. The item interfaces are core's (core/Automation.h).
namespace Outlook {
inline constexpr IID kIID_Application = {0x00063001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIID_Explorer = {0x00063003, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIID_Inspector = {0x00063005, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIID_ApplicationEvents_11 = {0x0006302C, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIID_ExplorersEvents = {0x00063078, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIID_ExplorerEvents_10 = {0x0006300F, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIID_InspectorsEvents = {0x00063079, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIID_InspectorEvents_10 = {0x0006302A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
} // namespace Outlook

// Office's command bars (Office type library 2.x).
namespace Office {
inline constexpr IID kIID_CommandBarPopup = {0x000C030A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIID_CommandBarButtonEvents = {0x000C0351, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIID_CommandBarsEvents = {0x000C0352, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
} // namespace Office

} // namespace Tessarix::Addin
