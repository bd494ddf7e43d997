#include "actions/OutlookItem.h"

#include <utility>

#include "core/Exceptions.h"
#include "core/Log.h"
#include "wrappers/Wrapper.h"

namespace Tessarix {

OutlookItem::OutlookItem(Automation::ObjectPtr item, WrapperFactory& factory) : item_(std::move(item)) {
    CallTracer tracer(u"OutlookItem::Ctor");
    wrapper_ = factory.CreateWrapper(item_);
}

OutlookItem::~OutlookItem() {
    CallTracer tracer(u"OutlookItem::Dtor");
}

Automation::IObject& OutlookItem::Item() {
    if (!item_)
        throw kE_POINTER;
    return *item_;
}

void OutlookItem::SaveTo(const std::u16string& path) {
    CallTracer tracer(u"OutlookItem::SaveTo()");
    // VT_INT on purpose (Automation::Int): the format argument is not to become a VT_I4.
    Automation::CallMethod(Item(), u"SaveAs", {path, Automation::Int{kSaveAsUnicodeMessage}});
}

std::u16string OutlookItem::GetSubject() {
    CallTracer tracer(u"OutlookItem::GetSubject()");
    return Automation::GetString(Item(), u"Subject");
}

bool OutlookItem::isSupportedItem() {
    CallTracer tracer(u"OutlookItem::isSupportedItem()");
    return wrapper_ != nullptr;
}

Notes::NotePtr OutlookItem::CreateNote() {
    CallTracer tracer(u"OutlookItem::CreateNote()");
    return wrapper_ ? wrapper_->BuildNote() : nullptr;
}

} // namespace Tessarix
