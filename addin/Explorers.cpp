#include "addin/Explorers.h"

#include "actions/ClipAction.h"
#include "actions/ClipGate.h"
#include "addin/ClipActions.h"
#include "addin/Dispatch.h"
#include "addin/OfficeInterfaces.h"
#include "core/Log.h"

namespace Tessarix::Addin {
namespace {

using Outlook::kIID_ExplorerEvents_10;
using Outlook::kIID_ExplorersEvents;
constexpr DISPID kNewExplorer = 0xF001;
constexpr DISPID kFolderSwitch = 0xF002;
constexpr DISPID kSelectionChange = 0xF007;
constexpr DISPID kClose = 0xF008;

Win::ComPtr<IDispatch> AsExplorer(IDispatch* explorer) {
    Win::ComPtr<IDispatch> result;
    if (!explorer)
        throw kE_POINTER;
    const HRESULT hr =
        explorer->QueryInterface(Outlook::kIID_Explorer, reinterpret_cast<void**>(result.AddressOf()));
    if (FAILED(hr))
        throw HResultFrom(static_cast<std::uint32_t>(hr));
    return result;
}

} // namespace

CExplorer::CExplorer(IDispatch* explorer, IExplorerCloseEventListener* closeListener,
                     IExplorerViewFactory& viewFactory, std::shared_ptr<IClipActions> clipActions)
    : m_explorer(AsExplorer(explorer)), m_closeListener(closeListener), m_clipActions(std::move(clipActions)),
      m_events(kIID_ExplorerEvents_10, *this) {
    CallTracer trace(u"CExplorer c'tor");
    m_view = viewFactory.Create(m_explorer.Get(), this);
    m_view->Advise(this);
    m_view->Init();
    m_events.Connect(m_explorer.Get());
}

CExplorer::~CExplorer() {
    CallTracer trace(u"CExplorer d'tor");
    m_events.Disconnect();
}

void CExplorer::OnEvent(DISPID id, DISPPARAMS*) {
    switch (id) {
    case kSelectionChange:
        OnSelection();
        break;
    case kFolderSwitch:
        OnFolderSwitch();
        break;
    case kClose:
        OnClose(); // this tracker is gone afterwards
        break;
    default:
        break;
    }
}

void CExplorer::OnSelection() {
    CallTracer trace(u"CExplorer::OnSelection");
    const Win::ComPtr<IDispatch> selection = Dispatch::GetDispatch(m_explorer.Get(), L"Selection");
    m_view->SetEnabled(m_clipActions->CanClipSelection(selection.Get()));
}

void CExplorer::OnFolderSwitch() {
    CallTracer trace(u"CExplorer::OnFolderSwitch");
    // Disabled until the next selection change.
    m_view->SetEnabled(false);
}

void CExplorer::OnClose() {
    CallTracer trace(u"CExplorer::OnClose");
    m_closeListener->OnClose(this);
}

void CExplorer::OnAddNote() {
    CallTracer trace(u"CExplorer::OnAddNote");
    Win::ComPtr<IDispatch> selection = Dispatch::GetDispatch(m_explorer.Get(), L"Selection");
    const std::shared_ptr<IAction> action = m_clipActions->ClipSelection(selection.Get());
    if (action)
        action->Execute();
}

CExplorers::CExplorers(IDispatch* application, std::shared_ptr<IExplorerViewFactory> viewFactory,
                       std::shared_ptr<IClipActions> clipActions)
    : m_viewFactory(std::move(viewFactory)), m_clipActions(std::move(clipActions)),
      m_events(kIID_ExplorersEvents, *this) {
    CallTracer trace(u"CExplorers::Ctor");
    m_explorers = Dispatch::GetDispatch(application, L"Explorers");
    m_events.Connect(m_explorers.Get());
    const std::int32_t count = Dispatch::GetInt(m_explorers.Get(), L"Count");
    for (std::int32_t i = 1; i <= count; ++i) {
        const Win::ComPtr<IDispatch> explorer =
            Dispatch::CallForObject(m_explorers.Get(), L"Item", {Dispatch::Arg::Int(i)});
        m_list.push_back(CreateExplorer(explorer.Get()));
    }
}

CExplorers::~CExplorers() {
    CallTracer trace(u"CExplorers::Dtor");
    m_events.Disconnect();
    m_list.clear();
    m_explorers.Reset();
}

std::unique_ptr<CExplorer> CExplorers::CreateExplorer(IDispatch* explorer) {
    CallTracer trace(u"CExplorers::CreateExplorer()");
    return std::make_unique<CExplorer>(explorer, this, *m_viewFactory, m_clipActions);
}

void CExplorers::OnEvent(DISPID id, DISPPARAMS* params) {
    if (id != kNewExplorer)
        return;
    CallTracer trace(u"CExplorers::OnNewExplorer()");
    const Win::ComPtr<IDispatch> explorer = EventObjectArgument(params, 0);
    m_list.push_back(CreateExplorer(explorer.Get()));
}

void CExplorers::OnClose(CExplorer* explorer) {
    CallTracer trace(u"CExplorers::OnClose()");
    // A clip started from this window may still be running further up the stack.
    ClipGate::ReleaseFrom(m_list, explorer);
}

} // namespace Tessarix::Addin
