#include "addin/EventSink.h"

#include "addin/ComBoundary.h"
#include "addin/ComModule.h"

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor" // see addin/ComModule.h

namespace Tessarix::Addin {

class EventSinkObject final : public ComObject<IDispatch> {
public:
    EventSinkObject(const IID& events, IEventHandler* handler) : events_(events), handler_(handler) {}

    void Detach() { handler_ = nullptr; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (out && IsEqualIID(iid, events_)) {
            *out = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        return QueryInterfaceFor<IUnknown, IDispatch>(this, iid, out);
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (!count)
            return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        if (!handler_)
            return S_OK;
        // Keep the sink alive while the handler runs: the handler may disconnect it.
        Win::ComPtr<EventSinkObject> self(this);
        return ComBoundary(u"EventSink::Invoke", [&] {
            handler_->OnEvent(id, params);
            return S_OK;
        });
    }

private:
    ~EventSinkObject() override = default;

    IID events_;
    IEventHandler* handler_;
};

EventConnection::EventConnection(const IID& events, IEventHandler& handler)
    : events_(events), handler_(handler) {}

EventConnection::~EventConnection() {
    Disconnect();
}

void EventConnection::Connect(IUnknown* source) {
    if (cookie_ != 0)
        throw kE_FAIL;
    if (!source)
        throw kE_POINTER;
    Win::ComPtr<IConnectionPointContainer> container;
    HRESULT hr = source->QueryInterface(IID_IConnectionPointContainer,
                                        reinterpret_cast<void**>(container.AddressOf()));
    if (FAILED(hr))
        throw HResultFrom(static_cast<std::uint32_t>(hr));
    Win::ComPtr<IConnectionPoint> point;
    hr = container->FindConnectionPoint(events_, point.AddressOf());
    if (FAILED(hr))
        throw HResultFrom(static_cast<std::uint32_t>(hr));
    auto* sink = new EventSinkObject(events_, &handler_);
    DWORD cookie = 0;
    hr = point->Advise(static_cast<IDispatch*>(sink), &cookie);
    if (FAILED(hr)) {
        sink->Detach();
        sink->Release();
        throw HResultFrom(static_cast<std::uint32_t>(hr));
    }
    point_ = std::move(point);
    sink_ = sink;
    cookie_ = cookie;
}

void EventConnection::Disconnect() noexcept {
    if (cookie_ == 0)
        return;
    sink_->Detach();
    point_->Unadvise(cookie_);
    sink_->Release();
    sink_ = nullptr;
    cookie_ = 0;
    point_.Reset();
}

Win::ComPtr<IDispatch> EventObjectArgument(DISPPARAMS* params, UINT index) {
    if (!params || index >= params->cArgs)
        return {};
    const VARIANT& argument = params->rgvarg[params->cArgs - 1 - index];
    IDispatch* object = nullptr;
    if (argument.vt == VT_DISPATCH)
        object = argument.pdispVal;
    else if (argument.vt == (VT_DISPATCH | VT_BYREF) && argument.ppdispVal)
        object = *argument.ppdispVal;
    return Win::ComPtr<IDispatch>(object);
}

} // namespace Tessarix::Addin
