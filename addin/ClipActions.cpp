// The product's clip actions: Outlook's objects reach the item and selection clips through the
// automation seam, late-bound as everything else here.
#include "addin/ClipActions.h"

#include "actions/ItemClipActions.h"
#include "actions/OutlookItem.h"
#include "core/win/AutomationWin.h"
#include "wrappers/Wrapper.h"

namespace Tessarix::Addin {
namespace {

class OutlookClipActions final : public IClipActions {
public:
    bool CanClipSelection(IDispatch* selection) override {
        return SelectionClipAction::CanBeExecuteOn(Win::WrapDispatch(selection));
    }

    std::shared_ptr<IAction> ClipSelection(IDispatch* selection) override {
        return std::make_shared<SelectionClipAction>(Win::WrapDispatch(selection));
    }

    std::shared_ptr<IAction> ClipItemIfSupported(IDispatch* item) override {
        Automation::ObjectPtr object = Win::WrapDispatch(item);
        WrapperFactory factory;
        if (!OutlookItem(object, factory).isSupportedItem())
            return nullptr;
        return std::make_shared<ItemClipAction>(std::move(object));
    }

    std::shared_ptr<IAction> ClipItem(IDispatch* item) override {
        return std::make_shared<ItemClipAction>(Win::WrapDispatch(item));
    }
};

} // namespace

std::shared_ptr<IClipActions> MakeClipActions() {
    return std::make_shared<OutlookClipActions>();
}

} // namespace Tessarix::Addin
