#pragma once
// A guard against processor faults (access violations and the like) around a call, for the one
// place that must keep its host alive whatever a clip does. See docs/clip-driver.md.
#include <cstdint>
#include <optional>

namespace Tessarix {

using GuardedFunction = void (*)(void* context);

// Runs fn(context). Returns nothing when it returned; the fault's code when a structured exception
// that nothing inside handled ended it (the stack is unwound to here; destructors of the abandoned
// C++ frames do not run). C++ exceptions pass through untouched.
// Windows: a frame-based structured-exception handler. POSIX: a plain call; a fault ends the process.
std::optional<std::uint32_t> RunFaultGuarded(GuardedFunction fn, void* context);

} // namespace Tessarix
