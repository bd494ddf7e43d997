#pragma once
// What the trackers, views and ribbon need of the clip actions: the explorer button's enable rule
// and the clips of a selection and of an item window's item. A seam, so that the window plumbing
// is tested with recorded actions.
#include <windows.h>

#include <oaidl.h>

#include <memory>

namespace Tessarix {
class IAction;
}

namespace Tessarix::Addin {

class IClipActions {
public:
    virtual ~IClipActions() = default;
    // The explorer button's enable rule: more than one item selected, or exactly one item of a
    // clippable type.
    virtual bool CanClipSelection(IDispatch* selection) = 0;
    // A clip of the selection's items.
    virtual std::shared_ptr<IAction> ClipSelection(IDispatch* selection) = 0;
    // A clip of an item window's item; empty when the item's type cannot be clipped.
    virtual std::shared_ptr<IAction> ClipItemIfSupported(IDispatch* item) = 0;
    // A clip of an item window's item whatever its type (the ribbon button's).
    virtual std::shared_ptr<IAction> ClipItem(IDispatch* item) = 0;
};

// The product's: SelectionClipAction::CanBeExecuteOn, SelectionClipAction and ItemClipAction over
// the Outlook objects, reached through the automation seam.
std::shared_ptr<IClipActions> MakeClipActions();

} // namespace Tessarix::Addin
