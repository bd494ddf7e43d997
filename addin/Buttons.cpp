#include "addin/Buttons.h"

#include "actions/ClipAction.h"
#include "addin/ClipPress.h"
#include "addin/Dispatch.h"
#include "addin/Localize.h"
#include "addin/OfficeInterfaces.h"
#include "addin/ResourceUtil.h"
#include "core/Format.h"
#include "core/Log.h"

namespace Tessarix::Addin {
namespace {

using Office::kIID_CommandBarButtonEvents;
constexpr DISPID kClick = 1;                      // _CommandBarButtonEvents
constexpr std::int32_t kControlButton = 1;        // msoControlButton
constexpr std::int32_t kButtonIconAndCaption = 3; // msoButtonIconAndCaption

Win::ComPtr<IPictureDisp> AsPictureDisp(const Win::ComPtr<IPicture>& picture) {
    Win::ComPtr<IPictureDisp> result;
    const HRESULT hr = picture.As(result);
    if (FAILED(hr))
        throw HResultFrom(static_cast<std::uint32_t>(hr));
    return result;
}

} // namespace

CButton::CButton(IDispatch* button) : m_button(button), m_events(kIID_CommandBarButtonEvents, *this) {
    CallTracer trace(u"CButton::Ctor");
    m_events.Connect(m_button.Get());
}

CButton::~CButton() {
    CallTracer trace(u"CButton::Dtor");
    m_events.Disconnect();
    try {
        Win::Variant ignored;
        Dispatch::Call(m_button.Get(), L"Delete", {}, ignored);
    } catch (HResult hr) {
        // The bar may already be gone with its window.
        Log().Debug(Format(u"CButton::Dtor: Delete failed with code: %d", hr));
    }
}

void CButton::SetCaption(const std::u16string& text) {
    CallTracer trace(u"CButton::SetCaption()");
    Dispatch::PutProperty(m_button.Get(), L"Caption", Dispatch::Arg::Text(text));
}

void CButton::SetTooltip(const std::u16string& text) {
    CallTracer trace(u"CButton::SetTooltip()");
    Dispatch::PutProperty(m_button.Get(), L"TooltipText", Dispatch::Arg::Text(text));
}

void CButton::SetBeginGroup(bool beginGroup) {
    CallTracer trace(u"CButton::SetBeginGroup()");
    Dispatch::PutProperty(m_button.Get(), L"BeginGroup", Dispatch::Arg::Bool(beginGroup));
}

void CButton::SetPicture(IPictureDisp* picture, IPictureDisp* mask) {
    CallTracer trace(u"CButton::SetPicture()");
    Dispatch::PutProperty(m_button.Get(), L"Style", Dispatch::Arg::Int(kButtonIconAndCaption));
    Dispatch::PutProperty(m_button.Get(), L"Picture", Dispatch::Arg::Object(picture));
    Dispatch::PutProperty(m_button.Get(), L"Mask", Dispatch::Arg::Object(mask));
}

void CButton::SetEnabled(bool enabled) {
    CallTracer trace(u"CButton::SetEnabled()");
    Dispatch::PutProperty(m_button.Get(), L"Enabled", Dispatch::Arg::Bool(enabled));
}

void CButton::OnClick(std::weak_ptr<IAction> handler) {
    CallTracer trace(u"CButton::OnClick()");
    m_handler = std::move(handler);
}

void CButton::OnButtonClick() {
    CallTracer trace(u"CButton::OnButtonClick()");
    const std::shared_ptr<IAction> action = m_handler.lock();
    if (!action)
        return;
    const std::shared_ptr<CButton> self = shared_from_this();
    const ClipPress press(u"CButton::OnButtonClick()");
    if (press)
        action->Execute();
}

void CButton::OnEvent(DISPID id, DISPPARAMS*) {
    if (id == kClick)
        OnButtonClick();
}

std::shared_ptr<CButton> CButtonCreator::Create(IDispatch* bar) {
    CallTracer trace(u"CButtonCreator::Create()");
    const Win::ComPtr<IDispatch> controls = Dispatch::GetDispatch(bar, L"Controls");
    using Dispatch::Arg;
    const Win::ComPtr<IDispatch> button = Dispatch::CallForObject(
        controls.Get(), L"Add",
        {Arg::Int(kControlButton), Arg::Missing(), Arg::Missing(), Arg::Missing(), Arg::Bool(true)});
    if (!button)
        throw kE_FAIL;
    return std::make_shared<CButton>(button.Get());
}

CTessarixButtonCreator::CTessarixButtonCreator(std::shared_ptr<CLocalize> localize_,
                                               std::shared_ptr<CButtonCreator> buttonCreator_)
    : localize(std::move(localize_)), buttonCreator(std::move(buttonCreator_)) {}

std::shared_ptr<CButton> CTessarixButtonCreator::GetTessarixButton(IDispatch* bar) {
    CallTracer trace(u"CTessarixButtonCreator::GetTessarixButton()");
    std::shared_ptr<CButton> button = buttonCreator->Create(bar);
    button->SetBeginGroup(true);
    Log().Debug(u"CTessarixButtonCreator::GetTessarixButton prepare images");
    const auto picture = AsPictureDisp(ResourceUtil::LoadBitmap(ResourceId::kButtonPicture));
    const auto mask = AsPictureDisp(ResourceUtil::LoadBitmap(ResourceId::kButtonMask));
    Log().Debug(u"CTessarixButtonCreator::GetTessarixButton set images");
    button->SetPicture(picture.Get(), mask.Get());
    Log().Debug(u"CTessarixButtonCreator::GetTessarixButton OK");
    return button;
}

std::shared_ptr<CButton> CTessarixButtonCreator::ClipItemButton(IDispatch* bar) {
    CallTracer trace(u"CTessarixButtonCreator::ClipItemButton()");
    std::shared_ptr<CButton> button = GetTessarixButton(bar);
    button->SetCaption(localize->AddNote());
    button->SetTooltip(localize->AddNoteTip());
    return button;
}

std::shared_ptr<CButton> CTessarixButtonCreator::ClipItemsButton(IDispatch* bar) {
    CallTracer trace(u"CTessarixButtonCreator::ClipItemsButton()");
    std::shared_ptr<CButton> button = GetTessarixButton(bar);
    button->SetCaption(localize->AddNoteAttachItems());
    return button;
}

} // namespace Tessarix::Addin
