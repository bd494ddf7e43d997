#pragma once
// One tracker per Outlook inspector (item window) that the add-in cares about (Outlook 2003): each
// gets its view, built late when the item could not be read at first.
#include <windows.h>

#include <oaidl.h>

#include <list>
#include <memory>

#include "addin/EventSink.h"
#include "addin/Views.h"
#include "core/win/ComPtr.h"

namespace Tessarix::Addin {

class IClipActions;
class CInspector;

class IInspectorCloseEventListener {
public:
    virtual ~IInspectorCloseEventListener() = default;
    virtual void OnClose(CInspector* inspector) = 0;
};

class CInspector final : private IEventHandler {
public:
    CInspector(IDispatch* inspector, IInspectorCloseEventListener* closeListener,
               IInspectorViewBuilder* viewBuilder, std::shared_ptr<IClipActions> clipActions);
    ~CInspector();
    CInspector(const CInspector&) = delete;
    CInspector& operator=(const CInspector&) = delete;

    // Builds the view unless it exists; a COM failure is logged and retried at the next activation.
    void InitUI();
    bool HasView() const { return m_view != nullptr; }

private:
    void OnEvent(DISPID id, DISPPARAMS* params) override;

    Win::ComPtr<IDispatch> m_inspector; // _Inspector
    IInspectorCloseEventListener* m_closeListener;
    IInspectorViewBuilder* m_viewBuilder;
    std::shared_ptr<CAddinView> m_view;
    std::shared_ptr<IAction> m_action;
    std::shared_ptr<IClipActions> m_clipActions;
    EventConnection m_events;
};

class CInspectors final : public IInspectorCloseEventListener, private IEventHandler {
public:
    // `application` is Outlook's _Application. Inspectors already open are not visited.
    CInspectors(IDispatch* application, std::shared_ptr<IInspectorViewBuilder> viewBuilder,
                std::shared_ptr<IClipActions> clipActions);
    ~CInspectors() override;
    CInspectors(const CInspectors&) = delete;
    CInspectors& operator=(const CInspectors&) = delete;

    // A message being composed (an unsent mail) gets no tracker.
    bool ShouldIgnore(IDispatch* inspector);
    void OnClose(CInspector* inspector) override;
    std::size_t Count() const { return m_list.size(); }

private:
    void OnEvent(DISPID id, DISPPARAMS* params) override;

    Win::ComPtr<IDispatch> m_inspectors; // _Inspectors
    std::shared_ptr<IInspectorViewBuilder> m_viewBuilder;
    std::shared_ptr<IClipActions> m_clipActions;
    std::list<std::unique_ptr<CInspector>> m_list;
    EventConnection m_events;
};

} // namespace Tessarix::Addin
