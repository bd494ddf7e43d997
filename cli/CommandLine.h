#pragma once
// txclip's command line: what to clip and where the export document goes.
#include <stdexcept>
#include <string>
#include <vector>

namespace Tessarix::Cli {

enum class Destination { StandardOutput, File, DesktopClient };

struct Options {
    std::vector<std::string> items; // the .msg files, in the order given
    Destination destination = Destination::StandardOutput;
    std::string outputPath; // for Destination::File
    bool shift = false;
    bool combined = false;
    std::vector<std::string> pictureFolders; // --pictures-from, in the order given
    std::string htmlFolder;                  // --html: where the note pages go; empty: none
    bool help = false;
    bool version = false;
};

// A command line that cannot be run; the message is one line without the program name.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// GNU style: options and items in any order, "--" ends the options, "-o FILE", "-oFILE",
// "--output FILE" and "--output=FILE" (--pictures-from and --html likewise); "-o -" is standard output.
// --help and
// --version need no item. Throws UsageError.
Options ParseCommandLine(const std::vector<std::string>& arguments);

std::string UsageText();
std::string VersionText();

} // namespace Tessarix::Cli
