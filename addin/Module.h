#pragma once
// The add-in module itself: its handle, kept from the process attach for resource lookups.
#include <windows.h>

namespace Tessarix::Addin {

// The add-in DLL's own module handle; null before the process attach.
HINSTANCE ModuleInstance();

} // namespace Tessarix::Addin
