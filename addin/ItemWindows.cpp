#include "addin/ItemWindows.h"

#include "actions/ClipGate.h"
#include "addin/ClipActions.h"
#include "addin/Dispatch.h"
#include "addin/OfficeInterfaces.h"
#include "core/Automation.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/win/MapiPropWin.h"

namespace Tessarix::Addin {
namespace {

using Outlook::kIID_InspectorEvents_10;
using Outlook::kIID_InspectorsEvents;
const IID kIID_MailItem = Win::ToIid(Tessarix::Outlook::kIID_MailItem);
constexpr DISPID kNewInspector = 0xF001;
constexpr DISPID kActivate = 0xF001;
constexpr DISPID kClose = 0xF008;

} // namespace

CInspector::CInspector(IDispatch* inspector, IInspectorCloseEventListener* closeListener,
                       IInspectorViewBuilder* viewBuilder, std::shared_ptr<IClipActions> clipActions)
    : m_inspector(inspector), m_closeListener(closeListener), m_viewBuilder(viewBuilder),
      m_clipActions(std::move(clipActions)), m_events(kIID_InspectorEvents_10, *this) {
    CallTracer trace(u"CInspector::Ctor");
    m_events.Connect(m_inspector.Get());
    InitUI();
}

CInspector::~CInspector() {
    CallTracer trace(u"CInspector::Dtor");
    m_events.Disconnect();
}

void CInspector::InitUI() {
    CallTracer trace(u"CInspector::InitUI");
    if (m_view)
        return;
    try {
        const Win::ComPtr<IDispatch> item = Dispatch::GetDispatch(m_inspector.Get(), L"CurrentItem");
        m_action = item ? m_clipActions->ClipItemIfSupported(item.Get()) : nullptr;
        // Built also without an action: the button then shows and does nothing.
        m_view = m_viewBuilder->Create(m_inspector.Get(), m_action);
    } catch (HResult hr) {
        Log().Error(Format(u"HResultException is thrown, HR code - %d.", hr));
    }
}

void CInspector::OnEvent(DISPID id, DISPPARAMS*) {
    if (id == kActivate) {
        CallTracer trace(u"CInspector::OnActivate");
        InitUI();
    } else if (id == kClose) {
        CallTracer trace(u"CInspector::OnClose");
        m_closeListener->OnClose(this); // this tracker is gone afterwards
    }
}

CInspectors::CInspectors(IDispatch* application, std::shared_ptr<IInspectorViewBuilder> viewBuilder,
                         std::shared_ptr<IClipActions> clipActions)
    : m_viewBuilder(std::move(viewBuilder)), m_clipActions(std::move(clipActions)),
      m_events(kIID_InspectorsEvents, *this) {
    CallTracer trace(u"CInspectors::Ctor");
    m_inspectors = Dispatch::GetDispatch(application, L"Inspectors");
    m_events.Connect(m_inspectors.Get());
}

CInspectors::~CInspectors() {
    CallTracer trace(u"CInspectors::Dtor");
    m_events.Disconnect();
    m_list.clear();
    m_inspectors.Reset();
}

bool CInspectors::ShouldIgnore(IDispatch* inspector) {
    CallTracer trace(u"CInspectors::ShouldIgnore");
    Win::ComPtr<IDispatch> item;
    try {
        item = Dispatch::GetDispatch(inspector, L"CurrentItem");
    } catch (HResult) {
        return false; // no item to judge by
    }
    Win::ComPtr<IDispatch> mail;
    if (!item || FAILED(item.As(kIID_MailItem, mail)))
        return false;
    // A message that is being composed.
    return !Dispatch::GetBool(mail.Get(), L"Sent");
}

void CInspectors::OnEvent(DISPID id, DISPPARAMS* params) {
    if (id != kNewInspector)
        return;
    CallTracer trace(u"CInspectors::OnNewInspector");
    const Win::ComPtr<IDispatch> inspector = EventObjectArgument(params, 0);
    if (ShouldIgnore(inspector.Get()))
        return;
    m_list.push_back(std::make_unique<CInspector>(inspector.Get(), this, m_viewBuilder.get(), m_clipActions));
}

void CInspectors::OnClose(CInspector* inspector) {
    CallTracer trace(u"CInspectors::OnClose");
    // A clip started from this window may still be running further up the stack.
    ClipGate::ReleaseFrom(m_list, inspector);
}

} // namespace Tessarix::Addin
