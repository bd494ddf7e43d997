#include "actions/ItemClipActions.h"

#include <memory>
#include <utility>

#include "actions/OutlookItem.h"
#include "core/Exceptions.h"
#include "core/Format.h"
#include "core/Log.h"
#include "wrappers/Wrapper.h"

namespace Tessarix {

namespace {

// The selection's item at a 1-based position, passed as a 32-bit integer.
Automation::ObjectPtr SelectedItem(Automation::IObject& selection, std::int32_t index) {
    return Automation::AsObject(Automation::CallMethod(selection, u"Item", {index}));
}

Automation::IObject& Require(const Automation::ObjectPtr& object) {
    if (!object)
        throw kE_POINTER;
    return *object;
}

} // namespace

ItemClipAction::ItemClipAction(Automation::ObjectPtr item, Notes::SendFunction send)
    : ClipAction(send), item_(std::move(item)) {
    CallTracer tracer(u"ItemClipAction::Ctor");
}

ItemClipAction::~ItemClipAction() {
    CallTracer tracer(u"ItemClipAction::Dtor");
}

Notes::NoteList ItemClipAction::GetNotes() {
    CallTracer tracer(u"ItemClipAction::GetNotes()");
    WrapperFactory factory;
    OutlookItem item(item_, factory);
    return {item.CreateNote()};
}

SelectionClipAction::SelectionClipAction(Automation::ObjectPtr selection, Notes::SendFunction send)
    : ClipAction(send), selection_(std::move(selection)) {
    CallTracer tracer(u"SelectionClipAction::Ctor()");
}

SelectionClipAction::~SelectionClipAction() {
    CallTracer tracer(u"SelectionClipAction::Dtor()");
}

Notes::NoteList SelectionClipAction::GetNotes() {
    CallTracer tracer(u"SelectionClipAction::GetNotes()");
    Automation::IObject& selection = Require(selection_);
    const std::int32_t count = Automation::GetInt(selection, u"Count");
    Log().Debug(Format(u"SelectionClipAction::GetNotes() count: %d", count));

    Notes::NoteList notes;
    if (count <= 0)
        return notes;
    WrapperFactory factory;
    if (count == 1) {
        // An unsupported single item still gives its (null) entry; the buttons keep this case out.
        OutlookItem item(SelectedItem(selection, 1), factory);
        notes.push_back(item.CreateNote());
        return notes;
    }
    // The wrappers stay alive until every note is built.
    std::vector<std::unique_ptr<OutlookItem>> items;
    for (std::int32_t index = 1; index <= count; ++index) {
        auto& item =
            *items.emplace_back(std::make_unique<OutlookItem>(SelectedItem(selection, index), factory));
        // The first unsupported item ends the clip's list; later items are not clipped.
        if (!item.isSupportedItem())
            break;
        notes.push_back(item.CreateNote());
    }
    return notes;
}

bool SelectionClipAction::CanBeExecuteOn(const Automation::ObjectPtr& selection) {
    CallTracer tracer(u"SelectionClipAction::CanBeExecuteOn()");
    if (!selection)
        return false;
    const std::int32_t count = Automation::GetInt(*selection, u"Count");
    Log().Debug(Format(u"CContextMenu::OnCommandBarsUpdated() selection count: %d", count));
    if (count == 1) {
        WrapperFactory factory;
        OutlookItem item(SelectedItem(*selection, 1), factory);
        return item.isSupportedItem();
    }
    return count >= 2;
}

} // namespace Tessarix
