#pragma once
// The resource-module search list behind LoadLocalizedString on Windows, in the manner of ATL's
// resource instances: string lookups walk the list in the order the modules were added.
#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace Tessarix {

// Appends `module` to the list; a module already listed stays where it is.
void AddResourceModule(HMODULE module);
void RemoveResourceModule(HMODULE module);
// The list, in search order.
std::vector<HMODULE> ResourceModuleList();

// Loads "Resource.dll" from the folder of `addinModule` and appends it to the list. Returns the
// satellite, mapped as data (no code of it runs), or null when it cannot be found or loaded (every
// text is then empty). The satellite stays mapped for the life of the process.
HMODULE LoadSatelliteModule(HMODULE addinModule);

// The string `id` of `module` in `language` (0: the calling thread's language and the system's
// fallbacks, as FindResourceW chooses); nothing when the module's string block does not hold it.
std::optional<std::u16string> FindModuleString(HMODULE module, unsigned id, LANGID language = 0);

} // namespace Tessarix
