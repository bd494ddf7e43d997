#pragma once
// The two clips a button can start: the item of an item window and the selection of a folder view.
#include <vector>

#include "actions/ClipAction.h"
#include "core/Automation.h"

namespace Tessarix {

// Clips the one item an inspector shows.
class ItemClipAction : public ClipAction {
public:
    explicit ItemClipAction(Automation::ObjectPtr item,
                            Notes::SendFunction send = &Notes::CTxClipperSDK::SendTXEC);
    ~ItemClipAction() override;
    ItemClipAction(const ItemClipAction&) = delete;
    ItemClipAction& operator=(const ItemClipAction&) = delete;

    // One note for the item; a null entry when its type has no wrapper.
    Notes::NoteList GetNotes() override;

private:
    Automation::ObjectPtr item_;
};

// Clips the items selected in an explorer, one note per item.
class SelectionClipAction : public ClipAction {
public:
    explicit SelectionClipAction(Automation::ObjectPtr selection,
                                 Notes::SendFunction send = &Notes::CTxClipperSDK::SendTXEC);
    ~SelectionClipAction() override;
    SelectionClipAction(const SelectionClipAction&) = delete;
    SelectionClipAction& operator=(const SelectionClipAction&) = delete;

    // Count 0: no notes. Count 1: that item's note (null when unsupported). More: the items in
    // order up to, not including, the first unsupported one.
    Notes::NoteList GetNotes() override;

    // Whether the selection button is enabled: one supported item, or two items or more.
    static bool CanBeExecuteOn(const Automation::ObjectPtr& selection);

private:
    Automation::ObjectPtr selection_;
};

} // namespace Tessarix
