#pragma once
// Localised texts by resource number. Windows: the string tables of the modules in the resource
// search list (the satellite "Resource.dll" beside the add-in). POSIX: the English texts compiled in.
#include <string>

namespace Tessarix {

namespace StringId {
inline constexpr unsigned kAddNote = 101;
inline constexpr unsigned kAddNoteTip = 102;
inline constexpr unsigned kClientNotRunning = 107;
inline constexpr unsigned kClientRefused = 108;
inline constexpr unsigned kHandoffFailed = 110;
inline constexpr unsigned kNothingToSend = 111;
} // namespace StringId

// The text, or "" when no module holds it.
std::u16string LoadLocalizedString(unsigned id);

} // namespace Tessarix
