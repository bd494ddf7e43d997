#pragma once
// The system's own text for a failure code, for the log.
#include <string>

#include "core/Exceptions.h"

namespace Tessarix::Platform {

// FormatMessageW from the system's message table on Windows, without the trailing line break;
// "" where the platform has no text for the code.
std::u16string SystemMessageText(HResult code);

} // namespace Tessarix::Platform
