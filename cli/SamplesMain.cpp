// txclip-samples: writes the project's sample Outlook items into a folder, for the demonstration
// and for trying txclip by hand.
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "cli/Samples.h"
#include "msg/MsgError.h"

namespace {

constexpr char kUsage[] = "Usage: txclip-samples [--corrupt] FOLDER\n"
                          "Writes sample Outlook items (.msg) into FOLDER, which is created when missing.\n"
                          "  --corrupt   also write files that are not readable items (bad-*.msg)\n"
                          "  -h, --help  show this help and exit\n";

int Usage(const char* problem) {
    std::fprintf(stderr, "txclip-samples: %s\n%s", problem, kUsage);
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    bool corrupt = false;
    std::string folder;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "-h" || argument == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (argument == "--corrupt")
            corrupt = true;
        else if (argument.starts_with("-") && argument != "-")
            return Usage("unknown option");
        else if (!folder.empty())
            return Usage("only one folder may be given");
        else
            folder = argument;
    }
    if (folder.empty())
        return Usage("no folder given");
    try {
        const auto written = Tessarix::Cli::Samples::Write(folder, corrupt);
        std::printf("txclip-samples: %zu items written to %s\n", written.size(), folder.c_str());
        return 0;
    } catch (const Tessarix::Msg::MsgFileError& e) {
        std::fprintf(stderr, "txclip-samples: %s\n", e.Utf8Message().c_str());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "txclip-samples: %s\n", e.what());
    }
    return 1;
}
