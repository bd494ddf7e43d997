#pragma once
// The add-in module itself: its handle, noted at the process attach, and the set-up that the
// module needs before its first object, done on first use rather than under the loader lock.
#include <windows.h>

namespace Tessarix::Addin {

// The add-in DLL's own module handle; null before the process attach.
HINSTANCE ModuleInstance();

// Loads the satellite texts, points the log at its "OLClipper" files and registers the hand-off's
// ping message: once per process, on whichever thread comes first (the others wait for it), at
// the first class-factory request or registration call. S_OK once done; E_OUTOFMEMORY or E_FAIL
// when it could not be (it is tried again on the next call).
HRESULT StartModule() noexcept;

} // namespace Tessarix::Addin
