#include "core/Memory.h"

namespace Tessarix::Platform {

// Large pages on Windows need a privilege that Outlook's users do not hold: the heap's pages stay.
void AdviseLargeFill(void*, std::size_t) noexcept {}

} // namespace Tessarix::Platform
