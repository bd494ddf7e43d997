#pragma once
// A guard against processor faults (access violations and the like) around a call, for the one
// place that must keep its host alive whatever a clip does. See docs/clip-driver.md.
#include <cstdint>
#include <optional>

namespace Tessarix {

using GuardedFunction = void (*)(void* context);

// Whether a guard takes a structured exception that nothing inside handled (like a __except filter
// answering 1), or leaves it to whoever is outside (0, continue the search).
using FaultFilter = bool (*)(std::uint32_t code);

// The add-in's rule: a fault raised in its own code or in a library it calls, not one raised while
// control is in someone else's code (core/ForeignCode.h), and never a stack overflow.
bool IsOwnFault(std::uint32_t code);

// Runs fn(context) with control in the add-in's own code, guarded by IsOwnFault. Returns nothing when
// it returned; the fault's code when a fault it takes ended it (the stack is unwound to here;
// destructors of the abandoned C++ frames do not run). C++ exceptions pass through untouched, and
// so do the faults it does not take.
// Windows: a frame-based structured-exception handler. POSIX: a plain call; a fault ends the process.
std::optional<std::uint32_t> RunFaultGuarded(GuardedFunction fn, void* context);

// The same frame guard with a filter of the caller's choice (the tests' stand-in for the host's own
// handler). A filter that takes a stack overflow leaves the thread without its guard page.
std::optional<std::uint32_t> RunFaultGuarded(GuardedFunction fn, void* context, FaultFilter takes);

} // namespace Tessarix
