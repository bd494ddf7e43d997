#pragma once
// txclip: the add-in's clip of a selection, run on saved Outlook items (.msg files). The items
// are opened, clipped through the clip driver with the selection rules of the explorer's button,
// and the one export document goes to a file, standard output or the desktop client.
#include <string>
#include <vector>

namespace Tessarix::Cli {

inline constexpr int kExitWritten = 0;
inline constexpr int kExitFailed = 1;  // the clip failed; nothing was written
inline constexpr int kExitUsage = 2;   // bad command line
inline constexpr int kExitPartial = 3; // written, but some items were not clipped

// The whole program: parses `arguments` (without the program name), writes to standard output
// and standard error, and returns the exit status. Sets up the process log, the user interface
// and SHIFT, so it runs once per process.
int RunTxClip(const std::vector<std::string>& arguments);

} // namespace Tessarix::Cli
