#pragma once
// One tracker per Outlook explorer (folder window): each gets its view and its clip behaviour from
// the explorer's appearance (or the connection) to its Close event.
#include <windows.h>

#include <oaidl.h>

#include <list>
#include <memory>

#include "addin/EventSink.h"
#include "addin/Views.h"
#include "core/win/ComPtr.h"

namespace Tessarix::Addin {

class IClipActions;
class CExplorer;

class IExplorerCloseEventListener {
public:
    virtual ~IExplorerCloseEventListener() = default;
    virtual void OnClose(CExplorer* explorer) = 0;
};

class CExplorer final : public IExplorerViewListener, private IEventHandler {
public:
    CExplorer(IDispatch* explorer, IExplorerCloseEventListener* closeListener,
              IExplorerViewFactory& viewFactory, std::shared_ptr<IClipActions> clipActions);
    ~CExplorer() override;
    CExplorer(const CExplorer&) = delete;
    CExplorer& operator=(const CExplorer&) = delete;

    void OnAddNote() override;

private:
    void OnEvent(DISPID id, DISPPARAMS* params) override;
    void OnSelection();
    void OnFolderSwitch();
    void OnClose();

    Win::ComPtr<IDispatch> m_explorer; // _Explorer
    IExplorerCloseEventListener* m_closeListener;
    std::shared_ptr<IExplorerView> m_view;
    std::shared_ptr<IClipActions> m_clipActions;
    EventConnection m_events;
};

class CExplorers final : public IExplorerCloseEventListener, private IEventHandler {
public:
    // `application` is Outlook's _Application. Explorers open now get their trackers at once.
    CExplorers(IDispatch* application, std::shared_ptr<IExplorerViewFactory> viewFactory,
               std::shared_ptr<IClipActions> clipActions);
    ~CExplorers() override;
    CExplorers(const CExplorers&) = delete;
    CExplorers& operator=(const CExplorers&) = delete;

    void OnClose(CExplorer* explorer) override;
    std::size_t Count() const { return m_list.size(); }

private:
    void OnEvent(DISPID id, DISPPARAMS* params) override;
    std::unique_ptr<CExplorer> CreateExplorer(IDispatch* explorer);

    Win::ComPtr<IDispatch> m_explorers; // _Explorers
    std::shared_ptr<IExplorerViewFactory> m_viewFactory;
    std::shared_ptr<IClipActions> m_clipActions;
    std::list<std::unique_ptr<CExplorer>> m_list;
    EventConnection m_events;
};

} // namespace Tessarix::Addin
