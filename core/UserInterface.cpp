#include "core/UserInterface.h"

#include <atomic>

namespace Tessarix::Ui {
namespace {
std::atomic<IUserInterface*> installed{nullptr};
} // namespace

IUserInterface& Current() {
    IUserInterface* ui = installed.load();
    return ui ? *ui : PlatformUserInterface();
}

void Install(IUserInterface* ui) {
    installed.store(ui);
}

} // namespace Tessarix::Ui
