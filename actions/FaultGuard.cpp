#include "actions/FaultGuard.h"

#include "core/ForeignCode.h"

namespace Tessarix {
namespace {

constexpr std::uint32_t kStackOverflow = 0xC00000FD; // EXCEPTION_STACK_OVERFLOW

} // namespace

bool IsOwnFault(std::uint32_t code) {
    // An overflowed stack has no room left to unwind, report and go on safely.
    if (code == kStackOverflow)
        return false;
    return !InForeignCode();
}

std::optional<std::uint32_t> RunFaultGuarded(GuardedFunction fn, void* context) {
    const OwnCodeScope own;
    return RunFaultGuarded(fn, context, &IsOwnFault);
}

} // namespace Tessarix
