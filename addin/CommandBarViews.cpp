#include "addin/CommandBarViews.h"

#include "actions/ClipGate.h"
#include "addin/Buttons.h"
#include "addin/ClipActions.h"
#include "addin/Dispatch.h"
#include "addin/OfficeInterfaces.h"
#include "core/Format.h"
#include "core/Log.h"

namespace Tessarix::Addin {
namespace {

using Office::kIID_CommandBarPopup;
using Office::kIID_CommandBarsEvents;
using Outlook::kIID_ApplicationEvents_11;
using Outlook::kIID_ExplorerEvents_10;
constexpr DISPID kExplorerActivate = 0xF001;
constexpr DISPID kCommandBarsUpdate = 1;
constexpr DISPID kItemContextMenuDisplay = 0xFB41;
constexpr DISPID kContextMenuClose = 0xFBA6; // ApplicationEvents_11, Outlook 2007 and later
constexpr DISPID kSelectionChange = 0xF007;  // ExplorerEvents_10
constexpr DISPID kExplorerClose = 0xF008;
constexpr std::int32_t kControlPopup = 10; // msoControlPopup
constexpr std::int32_t kToolsMenuId = 30007;

using Dispatch::Arg;

Win::ComPtr<IDispatch> BarNamed(IDispatch* commandBars, std::u16string_view name) {
    Win::ComPtr<IDispatch> bar = Dispatch::CallForObject(commandBars, L"Item", {Arg::Text(name)});
    if (!bar)
        throw kE_FAIL;
    return bar;
}

} // namespace

// ---------------------------------------------------------------------------------------------

ExplorerToolbarView::ExplorerToolbarView(IDispatch* explorer,
                                         std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator_)
    : m_explorer(explorer), tessarixButtonCreator(std::move(tessarixButtonCreator_)),
      m_events(kIID_ExplorerEvents_10, *this) {
    m_events.Connect(m_explorer.Get());
}

ExplorerToolbarView::~ExplorerToolbarView() {
    m_events.Disconnect();
}

void ExplorerToolbarView::Init() {
    CallTracer trace(u"ExplorerToolbarView::Init()");
    if (!initialized)
        initialized = InitUI();
}

void ExplorerToolbarView::OnActivate() {
    CallTracer trace(u"ExplorerToolbarView::OnActivate()");
    Init();
}

void ExplorerToolbarView::SetEnabled(bool enabled_) {
    CallTracer trace(u"ExplorerToolbarView::SetEnabled()");
    enabled = enabled_;
    if (!initialized)
        return; // applied when the buttons are made
    toolbarButton->SetEnabled(enabled);
    menuButton->SetEnabled(enabled);
}

void ExplorerToolbarView::Advise(IExplorerViewListener* listener_) {
    CallTracer trace(u"ExplorerToolbarView::Advise()");
    listener = listener_;
}

void ExplorerToolbarView::Execute() {
    CallTracer trace(u"ExplorerToolbarView::Execute()");
    if (listener)
        listener->OnAddNote();
}

void ExplorerToolbarView::OnEvent(DISPID id, DISPPARAMS*) {
    if (id == kExplorerActivate)
        OnActivate();
}

bool ExplorerToolbarView::InitUI() {
    CallTracer trace(u"ExplorerToolbarView::InitUI()");
    Win::ComPtr<IDispatch> commandBars;
    try {
        commandBars = Dispatch::GetDispatch(m_explorer.Get(), L"CommandBars");
    } catch (HResult) {
    }
    if (!commandBars) {
        Log().Debug(u"ExplorerToolbarView::InitUI: return false");
        return false;
    }
    Log().Debug(u"ExplorerToolbarView::InitUI: prepare command Bars");
    Win::ComPtr<IDispatch> standard, menuBar, tools;
    try {
        standard = BarNamed(commandBars.Get(), u"Standard");
    } catch (HResult hr) {
        Log().Debug(Format(u"ExplorerToolbarView::InitUI: get_Item(Standard) failed with code: %d", hr));
        return false;
    }
    try {
        menuBar = BarNamed(commandBars.Get(), u"Menu Bar");
    } catch (HResult hr) {
        Log().Debug(Format(u"ExplorerToolbarView::InitUI: get_Item(Menu Bar) failed with code: %d", hr));
        return false;
    }
    try {
        // The built-in Tools menu.
        const Win::ComPtr<IDispatch> control =
            Dispatch::CallForObject(menuBar.Get(), L"FindControl",
                                    {Arg::Int(kControlPopup), Arg::Int(kToolsMenuId), Arg::Missing(),
                                     Arg::Missing(), Arg::Missing()});
        if (!control)
            throw kE_FAIL;
        Win::ComPtr<IDispatch> popup;
        const HRESULT hr = control.As(kIID_CommandBarPopup, popup);
        if (FAILED(hr))
            throw HResultFrom(static_cast<std::uint32_t>(hr));
        tools = Dispatch::GetDispatch(popup.Get(), L"CommandBar");
        if (!tools)
            throw kE_FAIL;
    } catch (HResult hr) {
        Log().Debug(Format(u"ExplorerToolbarView::InitUI: FindControl failed with code: %d", hr));
        return false;
    }

    Log().Debug(u"ExplorerToolbarView::InitUI: before attach");
    toolbarButton = tessarixButtonCreator->ClipItemButton(standard.Get());
    toolbarButton->OnClick(weak_from_this());
    Log().Debug(u"ExplorerToolbarView::InitUI: enable button");
    toolbarButton->SetEnabled(enabled);

    Log().Debug(u"ExplorerToolbarView::InitUI: menu attach");
    menuButton = tessarixButtonCreator->ClipItemButton(tools.Get());
    menuButton->OnClick(weak_from_this());
    menuButton->SetEnabled(enabled);
    Log().Debug(u"ExplorerToolbarView::InitUI: OK");
    return true;
}

// ---------------------------------------------------------------------------------------------

ExplorerView2003::ExplorerView2003(IDispatch* explorer,
                                   std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator_,
                                   std::shared_ptr<IClipActions> clipActions)
    : ExplorerToolbarView(explorer, std::move(tessarixButtonCreator_)),
      m_clipActions(std::move(clipActions)) {}

bool ExplorerView2003::InitUI() {
    CallTracer trace(u"ExplorerView2003::InitUI()");
    if (!ExplorerToolbarView::InitUI())
        return false;
    const Win::ComPtr<IDispatch> commandBars = Dispatch::GetDispatch(m_explorer.Get(), L"CommandBars");
    const Win::ComPtr<IDispatch> application = Dispatch::GetDispatch(m_explorer.Get(), L"Application");
    Log().Debug(u"ExplorerView2003::InitUI: before attach");
    contextMenu = std::make_shared<CContextMenu>(application.Get(), commandBars.Get(), tessarixButtonCreator,
                                                 m_clipActions);
    Log().Debug(u"ExplorerView2003::InitUI:OK");
    return true;
}

// ---------------------------------------------------------------------------------------------

CContextMenuEntry::CContextMenuEntry(IDispatch* application, std::shared_ptr<IClipActions> clipActions)
    : m_application(application), m_clipActions(std::move(clipActions)),
      m_selectionEvents(kIID_ExplorerEvents_10, *this) {}

CContextMenuEntry::~CContextMenuEntry() {
    m_selectionEvents.Disconnect();
}

void CContextMenuEntry::Attach(std::shared_ptr<CButton> button, std::shared_ptr<IAction> action,
                               IDispatch* explorer) {
    Drop();
    m_button = std::move(button);
    m_action = std::move(action);
    m_button->OnClick(weak_from_this());
    if (explorer)
        m_selectionEvents.Connect(explorer);
}

void CContextMenuEntry::Drop() {
    // The button first: it runs this entry. During a clip both go when it has unwound.
    ClipGate::Release(std::move(m_button));
    ReleaseClip();
}

void CContextMenuEntry::ReleaseClip() {
    ClipGate::Release(std::move(m_action));
    m_selectionEvents.Disconnect();
}

void CContextMenuEntry::OnEvent(DISPID id, DISPPARAMS*) {
    if (id == kSelectionChange || id == kExplorerClose)
        ReleaseClip();
}

void CContextMenuEntry::Execute() {
    CallTracer trace(u"CContextMenuEntry::Execute()");
    std::shared_ptr<IAction> action = m_action;
    if (!action) {
        const Win::ComPtr<IDispatch> explorer = Dispatch::GetDispatch(m_application.Get(), L"ActiveExplorer");
        const Win::ComPtr<IDispatch> selection = Dispatch::GetDispatch(explorer.Get(), L"Selection");
        if (!m_clipActions->CanClipSelection(selection.Get())) {
            Log().Info(u"CContextMenuEntry::Execute: the selection of the moment cannot be clipped");
            return;
        }
        action = m_clipActions->ClipSelection(selection.Get());
    }
    action->Execute();
}

namespace {

// The entry's button for a selection of `count` items; empty for none.
std::shared_ptr<CButton> EntryButton(CTessarixButtonCreator& creator, IDispatch* bar, std::int32_t count) {
    if (count == 1)
        return creator.ClipItemButton(bar);
    if (count >= 2)
        return creator.ClipItemsButton(bar);
    return {};
}

} // namespace

// ---------------------------------------------------------------------------------------------

CContextMenu::CContextMenu(IDispatch* application, IDispatch* commandBars,
                           std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator_,
                           std::shared_ptr<IClipActions> clipActions)
    : m_application(application), m_commandBars(commandBars),
      tessarixButtonCreator(std::move(tessarixButtonCreator_)), m_clipActions(std::move(clipActions)),
      m_entry(std::make_shared<CContextMenuEntry>(application, m_clipActions)),
      m_events(kIID_CommandBarsEvents, *this) {
    m_events.Connect(m_commandBars.Get());
}

CContextMenu::~CContextMenu() {
    m_events.Disconnect();
}

void CContextMenu::OnEvent(DISPID id, DISPPARAMS*) {
    if (id == kCommandBarsUpdate)
        OnCommandBarsUpdated();
}

void CContextMenu::OnCommandBarsUpdated() {
    CallTracer trace(u"CContextMenu::OnCommandBarsUpdated()");
    Win::ComPtr<IDispatch> contextBar;
    try {
        contextBar = BarNamed(m_commandBars.Get(), u"Context Menu");
    } catch (HResult) {
        return; // not a context menu that is being shown
    }
    m_entry->Drop();
    const Win::ComPtr<IDispatch> explorer = Dispatch::GetDispatch(m_application.Get(), L"ActiveExplorer");
    const Win::ComPtr<IDispatch> selection = Dispatch::GetDispatch(explorer.Get(), L"Selection");
    if (!m_clipActions->CanClipSelection(selection.Get()))
        return;
    Log().Debug(u"CContextMenu::OnCommandBarsUpdated() attach");
    std::shared_ptr<IAction> action = m_clipActions->ClipSelection(selection.Get());
    const std::int32_t count = Dispatch::GetInt(selection.Get(), L"Count");
    Log().Debug(Format(u"CContextMenu::OnCommandBarsUpdated() count: %d", count));
    std::shared_ptr<CButton> button = EntryButton(*tessarixButtonCreator, contextBar.Get(), count);
    if (!button)
        return;
    Log().Debug(u"CContextMenu::OnCommandBarsUpdated() before on click");
    m_entry->Attach(std::move(button), std::move(action), explorer.Get());
    Log().Debug(u"CContextMenu::OnCommandBarsUpdated() OK");
}

// ---------------------------------------------------------------------------------------------

CContextMenu2007::CContextMenu2007(IDispatch* application,
                                   std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator_,
                                   std::shared_ptr<IClipActions> clipActions)
    : m_application(application), tessarixButtonCreator(std::move(tessarixButtonCreator_)),
      m_clipActions(std::move(clipActions)),
      m_entry(std::make_shared<CContextMenuEntry>(application, m_clipActions)),
      m_events(kIID_ApplicationEvents_11, *this) {
    m_events.Connect(m_application.Get());
}

CContextMenu2007::~CContextMenu2007() {
    m_events.Disconnect();
}

void CContextMenu2007::OnEvent(DISPID id, DISPPARAMS* params) {
    if (id == kContextMenuClose) {
        m_entry->ReleaseClip();
        return;
    }
    if (id != kItemContextMenuDisplay)
        return;
    const Win::ComPtr<IDispatch> commandBar = EventObjectArgument(params, 0);
    const Win::ComPtr<IDispatch> selection = EventObjectArgument(params, 1);
    OnItemContextMenu(commandBar.Get(), selection.Get());
}

void CContextMenu2007::OnItemContextMenu(IDispatch* commandBar, IDispatch* selection) {
    CallTracer trace(u"CContextMenu2007::OnItemContextMenu()");
    m_entry->Drop();
    if (!m_clipActions->CanClipSelection(selection))
        return;
    std::shared_ptr<IAction> action = m_clipActions->ClipSelection(selection);
    const std::int32_t count = Dispatch::GetInt(selection, L"Count");
    std::shared_ptr<CButton> button = EntryButton(*tessarixButtonCreator, commandBar, count);
    if (!button)
        return;
    // The menu's close event lets go of the clip; a selection change is a second, earlier signal
    // where the explorer can be read.
    Win::ComPtr<IDispatch> explorer;
    try {
        explorer = Dispatch::GetDispatch(m_application.Get(), L"ActiveExplorer");
    } catch (HResult hr) {
        Log().Debug(Format(u"CContextMenu2007::OnItemContextMenu: no active explorer: %d", hr));
    }
    m_entry->Attach(std::move(button), std::move(action), explorer.Get());
}

// ---------------------------------------------------------------------------------------------

ExplorerViewFactory2003::ExplorerViewFactory2003(
    std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator_, std::shared_ptr<IClipActions> clipActions)
    : tessarixButtonCreator(std::move(tessarixButtonCreator_)), m_clipActions(std::move(clipActions)) {}

std::shared_ptr<IExplorerView> ExplorerViewFactory2003::Create(IDispatch* explorer, IExplorerViewListener*) {
    CallTracer trace(u"ExplorerViewFactory2003::Create()");
    return std::make_shared<ExplorerView2003>(explorer, tessarixButtonCreator, m_clipActions);
}

ExplorerViewFactory2007::ExplorerViewFactory2007(
    std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator_)
    : tessarixButtonCreator(std::move(tessarixButtonCreator_)) {}

std::shared_ptr<IExplorerView> ExplorerViewFactory2007::Create(IDispatch* explorer, IExplorerViewListener*) {
    CallTracer trace(u"ExplorerViewFactory2007::Create");
    return std::make_shared<ExplorerToolbarView>(explorer, tessarixButtonCreator);
}

CInspectorViewBuilder::CInspectorViewBuilder(std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator_)
    : tessarixButtonCreator(std::move(tessarixButtonCreator_)) {}

std::shared_ptr<CAddinView> CInspectorViewBuilder::Create(IDispatch* inspector,
                                                          std::shared_ptr<IAction> action) {
    CallTracer trace(u"CInspectorViewBuilder::Create");
    auto view = std::make_shared<CAddinView>();
    Win::ComPtr<IDispatch> standard;
    try {
        const Win::ComPtr<IDispatch> commandBars = Dispatch::GetDispatch(inspector, L"CommandBars");
        standard = BarNamed(commandBars.Get(), u"Standard");
    } catch (HResult) {
        Log().Debug(u"CInspectorViewBuilder::Create return NULL");
        return {};
    }
    Log().Debug(u"CInspectorViewBuilder::Create prepare buttons");
    std::shared_ptr<CButton> button = tessarixButtonCreator->ClipItemButton(standard.Get());
    // Without an action the button shows and does nothing; the inspector button is never disabled.
    button->OnClick(action);
    view->Add(std::move(button));
    Log().Debug(u"CInspectorViewBuilder::Create return view");
    return view;
}

// ---------------------------------------------------------------------------------------------

CAddinView::CAddinView() {
    CallTracer trace(u"CAddinView::Ctor");
}

CAddinView::~CAddinView() {
    CallTracer trace(u"CAddinView::Dtor");
    for (auto& button : m_buttons)
        button.reset();
}

void CAddinView::Add(std::shared_ptr<CButton> button) {
    CallTracer trace(u"CAddinView::Add");
    m_buttons.push_back(std::move(button));
}

} // namespace Tessarix::Addin
