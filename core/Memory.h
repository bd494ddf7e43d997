#pragma once
// Hints to the system about memory the program is about to fill.
#include <cstddef>

namespace Tessarix::Platform {

// Asks for a large buffer that is filled front to back to be backed by large pages, so filling it
// costs one page fault per 2 MiB rather than per 4 KiB. Only a hint: where the system has no such
// pages, or declines, nothing changes and nothing is reported.
void AdviseLargeFill(void* data, std::size_t bytes) noexcept;

} // namespace Tessarix::Platform
