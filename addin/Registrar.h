#pragma once
// Registration of the COM server: the module's registry script (resource "REGISTRY" 101) and its
// type library (resource "TYPELIB" 1), machine-wide under HKEY_CLASSES_ROOT or, per user, under
// HKEY_CURRENT_USER\Software\Classes.
#include <windows.h>

namespace Tessarix::Addin {

enum class RegistrationScope { Machine, CurrentUser };

// Runs the script with "%MODULE%" bound to this module's path, then registers the type library;
// the first failure is returned. Runs under the system's default thread locale.
HRESULT RegisterServer(RegistrationScope scope);
// Removes the script's keys, then unregisters the type library; the first failure is returned.
HRESULT UnregisterServer(RegistrationScope scope);

} // namespace Tessarix::Addin
