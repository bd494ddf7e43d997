// No host to keep alive: a command-line tool that faults should stop and leave a core, not jump
// back into a half-finished clip.
#include "actions/FaultGuard.h"

namespace Tessarix {

std::optional<std::uint32_t> RunFaultGuarded(GuardedFunction fn, void* context, FaultFilter) {
    fn(context);
    return std::nullopt;
}

} // namespace Tessarix
