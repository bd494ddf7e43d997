#pragma once
// Command-bar buttons (Office CommandBarButton, late-bound) and the makers of the Tessarix button.
#include <windows.h>

#include <oaidl.h>
#include <ocidl.h>

#include <memory>
#include <string>

#include "addin/EventSink.h"
#include "core/win/ComPtr.h"

namespace Tessarix {
class IAction;
}

namespace Tessarix::Addin {

class CLocalize;

// One button; it lives as long as its view and deletes its control from the bar when destroyed.
// Made only through CButtonCreator (owned by a shared pointer): a click keeps it alive.
class CButton final : public std::enable_shared_from_this<CButton>, private IEventHandler {
public:
    explicit CButton(IDispatch* button);
    ~CButton();
    CButton(const CButton&) = delete;
    CButton& operator=(const CButton&) = delete;

    void SetCaption(const std::u16string& text);
    void SetTooltip(const std::u16string& text);
    void SetBeginGroup(bool beginGroup);
    void SetPicture(IPictureDisp* picture, IPictureDisp* mask);
    void SetEnabled(bool enabled);
    // What a click runs; not owned, may be empty (the button then does nothing). Its owner may let
    // go of it while its clip runs: the click holds it until the clip is over.
    void OnClick(std::weak_ptr<IAction> handler);
    void OnButtonClick();

private:
    void OnEvent(DISPID id, DISPPARAMS* params) override;

    Win::ComPtr<IDispatch> m_button; // CommandBarButton
    std::weak_ptr<IAction> m_handler;
    EventConnection m_events;
};

class CButtonCreator {
public:
    // A new temporary button at the end of `bar`'s controls.
    std::shared_ptr<CButton> Create(IDispatch* bar);
};

class CTessarixButtonCreator {
public:
    CTessarixButtonCreator(std::shared_ptr<CLocalize> localize,
                           std::shared_ptr<CButtonCreator> buttonCreator);

    // A button with the Tessarix picture, starting a group.
    std::shared_ptr<CButton> GetTessarixButton(IDispatch* bar);
    // The single-item button: "add note" caption and tooltip.
    std::shared_ptr<CButton> ClipItemButton(IDispatch* bar);
    // The multi-item context-menu entry: its caption, no tooltip.
    std::shared_ptr<CButton> ClipItemsButton(IDispatch* bar);

private:
    std::shared_ptr<CLocalize> localize;
    std::shared_ptr<CButtonCreator> buttonCreator;
};

} // namespace Tessarix::Addin
