#pragma once
// Outlook and Office events: a connection to one source's event dispinterface through its
// connection point. The sink is a small COM object of its own, so a tracker can be deleted while
// Outlook still holds the sink: disconnecting detaches the sink before unadvising it.
#include <windows.h>

#include <ocidl.h>

#include "core/win/ComPtr.h"

namespace Tessarix::Addin {

class IEventHandler {
public:
    // `params` holds the event's arguments in reverse order, as IDispatch::Invoke passes them.
    virtual void OnEvent(DISPID id, DISPPARAMS* params) = 0;

protected:
    ~IEventHandler() = default;
};

class EventSinkObject;

class EventConnection {
public:
    EventConnection(const IID& events, IEventHandler& handler);
    ~EventConnection();
    EventConnection(const EventConnection&) = delete;
    EventConnection& operator=(const EventConnection&) = delete;

    // Advises `source`'s connection point for the events. A connection that is already made is
    // refused with E_FAIL; other failures are thrown as their HRESULTs.
    void Connect(IUnknown* source);
    // Unadvises; nothing when not connected. Events arriving later are ignored.
    void Disconnect() noexcept;
    bool IsConnected() const { return cookie_ != 0; }

private:
    IID events_;
    IEventHandler& handler_;
    Win::ComPtr<IConnectionPoint> point_;
    EventSinkObject* sink_ = nullptr; // owned through COM references
    DWORD cookie_ = 0;
};

// The first argument of an event (the last in DISPPARAMS), as a new reference; null when it is
// missing or not an object.
Win::ComPtr<IDispatch> EventObjectArgument(DISPPARAMS* params, UINT index);

} // namespace Tessarix::Addin
