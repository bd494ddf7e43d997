#pragma once
// The Windows file-system seam's base-folder lookup, with Shell32's SHGetKnownFolderPath as a
// parameter so that tests can stand in for a Shell32 without it (Windows XP) or one that fails.
#include <windows.h>

#include <string>

namespace Tessarix::Platform {

using KnownFolderPathFunction = HRESULT(WINAPI*)(const GUID&, DWORD, HANDLE, PWSTR*);

// FOLDERID_LocalAppDataLow through `knownFolderPath` (null: the function is missing), else
// CSIDL_LOCAL_APPDATA; backslashes turned into forward slashes; empty when both fail.
std::u16string UserLogBaseFolder(KnownFolderPathFunction knownFolderPath);

} // namespace Tessarix::Platform
