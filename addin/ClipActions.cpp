// The product's clip actions. The item and selection clips are not part of the module yet, so
// every selection is refused (the explorer buttons stay disabled and no context-menu entry
// appears) and item windows get a button without an action.
#include "addin/ClipActions.h"

namespace Tessarix::Addin {
namespace {

class UnavailableClipActions final : public IClipActions {
public:
    bool CanClipSelection(IDispatch*) override { return false; }
    std::shared_ptr<IAction> ClipSelection(IDispatch*) override { return {}; }
    std::shared_ptr<IAction> ClipItemIfSupported(IDispatch*) override { return {}; }
    std::shared_ptr<IAction> ClipItem(IDispatch*) override { return {}; }
};

} // namespace

std::shared_ptr<IClipActions> MakeClipActions() {
    return std::make_shared<UnavailableClipActions>();
}

} // namespace Tessarix::Addin
