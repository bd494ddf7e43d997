#pragma once
// The command-bar views of Outlook 2003 and the Outlook 2007 explorer: toolbar and Tools-menu
// buttons, the context-menu entries, the Outlook 2003 inspector button, and their factories.
#include <windows.h>

#include <oaidl.h>

#include <memory>

#include "actions/ClipAction.h"
#include "addin/EventSink.h"
#include "addin/Views.h"
#include "core/win/ComPtr.h"

namespace Tessarix::Addin {

class CButton;
class CTessarixButtonCreator;
class IClipActions;

// Made by the factories as a shared object: its buttons hold it weakly as their action.
class ExplorerToolbarView : public IExplorerView,
                            public IAction,
                            public std::enable_shared_from_this<ExplorerToolbarView>,
                            private IEventHandler {
public:
    // `explorer` is Outlook's _Explorer; the buttons are made at the first successful Init.
    ExplorerToolbarView(IDispatch* explorer, std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator);
    ~ExplorerToolbarView() override;
    ExplorerToolbarView(const ExplorerToolbarView&) = delete;
    ExplorerToolbarView& operator=(const ExplorerToolbarView&) = delete;

    void Init() override;
    void SetEnabled(bool enabled) override;
    void Advise(IExplorerViewListener* listener) override;
    // Both buttons run this.
    void Execute() override;
    void OnActivate();
    // Makes the buttons; false (with a Debug line) when the explorer's bars are not there yet.
    virtual bool InitUI();

protected:
    Win::ComPtr<IDispatch> m_explorer;
    std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator;

private:
    void OnEvent(DISPID id, DISPPARAMS* params) override;

    IExplorerViewListener* listener = nullptr;
    bool initialized = false;
    bool enabled = false; // disabled until the first selection change
    std::shared_ptr<CButton> toolbarButton;
    std::shared_ptr<CButton> menuButton;
    EventConnection m_events;
};

// The Tessarix entry of a context menu: its button and the clip of the selection the menu was shown
// for. The clip, and with it the selected items, is let go when the menu closes (Outlook 2007 and
// later say when) or when the explorer's selection changes, whichever comes first; a click that
// Outlook delivers after that clips the explorer's selection of that moment. The explorer closing
// lets go of the clip too.
class CContextMenuEntry final : public IAction,
                                public std::enable_shared_from_this<CContextMenuEntry>,
                                private IEventHandler {
public:
    CContextMenuEntry(IDispatch* application, std::shared_ptr<IClipActions> clipActions);
    ~CContextMenuEntry() override;
    CContextMenuEntry(const CContextMenuEntry&) = delete;
    CContextMenuEntry& operator=(const CContextMenuEntry&) = delete;

    // The entry's new button and clip, the button running this entry. `explorer` (may be null) is
    // followed for a selection change.
    void Attach(std::shared_ptr<CButton> button, std::shared_ptr<IAction> action, IDispatch* explorer);
    // Drops the button and the clip (a clip running holds its own).
    void Drop();
    // Drops the clip only.
    void ReleaseClip();
    void Execute() override;

private:
    void OnEvent(DISPID id, DISPPARAMS* params) override;

    Win::ComPtr<IDispatch> m_application;
    std::shared_ptr<IClipActions> m_clipActions;
    std::shared_ptr<CButton> m_button;
    std::shared_ptr<IAction> m_action;
    EventConnection m_selectionEvents;
};

// Outlook 2003's explorer context menu: rebuilt on every display.
class CContextMenu final : private IEventHandler {
public:
    CContextMenu(IDispatch* application, IDispatch* commandBars,
                 std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator,
                 std::shared_ptr<IClipActions> clipActions);
    ~CContextMenu();
    CContextMenu(const CContextMenu&) = delete;
    CContextMenu& operator=(const CContextMenu&) = delete;

    void OnCommandBarsUpdated();

private:
    void OnEvent(DISPID id, DISPPARAMS* params) override;

    Win::ComPtr<IDispatch> m_application;
    Win::ComPtr<IDispatch> m_commandBars;
    std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator;
    std::shared_ptr<IClipActions> m_clipActions;
    std::shared_ptr<CContextMenuEntry> m_entry;
    EventConnection m_events;
};

class ExplorerView2003 final : public ExplorerToolbarView {
public:
    ExplorerView2003(IDispatch* explorer, std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator,
                     std::shared_ptr<IClipActions> clipActions);
    bool InitUI() override;

private:
    std::shared_ptr<IClipActions> m_clipActions;
    std::shared_ptr<CContextMenu> contextMenu;
};

// The item context menu of Outlook 2007 and 2010 (one per add-in); its entry's clip goes when
// Outlook reports the menu closed.
class CContextMenu2007 final : private IEventHandler {
public:
    CContextMenu2007(IDispatch* application, std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator,
                     std::shared_ptr<IClipActions> clipActions);
    ~CContextMenu2007();
    CContextMenu2007(const CContextMenu2007&) = delete;
    CContextMenu2007& operator=(const CContextMenu2007&) = delete;

    void OnItemContextMenu(IDispatch* commandBar, IDispatch* selection);

private:
    void OnEvent(DISPID id, DISPPARAMS* params) override;

    Win::ComPtr<IDispatch> m_application;
    std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator;
    std::shared_ptr<IClipActions> m_clipActions;
    std::shared_ptr<CContextMenuEntry> m_entry;
    EventConnection m_events;
};

class ExplorerViewFactory2003 final : public IExplorerViewFactory {
public:
    ExplorerViewFactory2003(std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator,
                            std::shared_ptr<IClipActions> clipActions);
    std::shared_ptr<IExplorerView> Create(IDispatch* explorer, IExplorerViewListener* listener) override;

private:
    std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator;
    std::shared_ptr<IClipActions> m_clipActions;
};

class ExplorerViewFactory2007 final : public IExplorerViewFactory {
public:
    explicit ExplorerViewFactory2007(std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator);
    std::shared_ptr<IExplorerView> Create(IDispatch* explorer, IExplorerViewListener* listener) override;

private:
    std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator;
};

class CInspectorViewBuilder final : public IInspectorViewBuilder {
public:
    explicit CInspectorViewBuilder(std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator);
    std::shared_ptr<CAddinView> Create(IDispatch* inspector, std::shared_ptr<IAction> action) override;

private:
    std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator;
};

} // namespace Tessarix::Addin
