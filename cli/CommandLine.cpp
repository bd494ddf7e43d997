#include "cli/CommandLine.h"

#include <optional>
#include <string_view>

#ifndef TX_VERSION
#define TX_VERSION "0"
#endif

namespace Tessarix::Cli {

namespace {

struct Parser {
    Options options;
    bool sawOutput = false;

    void SetOutput(const std::string& path) {
        if (sawOutput)
            throw UsageError("only one -o/--output may be given");
        if (options.destination == Destination::DesktopClient)
            throw UsageError("--send and -o/--output exclude each other");
        if (path.empty())
            throw UsageError("the output file name is empty");
        sawOutput = true;
        if (path == "-") {
            options.destination = Destination::StandardOutput;
        } else {
            options.destination = Destination::File;
            options.outputPath = path;
        }
    }

    void SetHtmlFolder(const std::string& folder) {
        if (!options.htmlFolder.empty())
            throw UsageError("only one --html may be given");
        if (folder.empty())
            throw UsageError("the page folder name is empty");
        options.htmlFolder = folder;
    }

    void SetSend() {
        if (sawOutput)
            throw UsageError("--send and -o/--output exclude each other");
        options.destination = Destination::DesktopClient;
    }

    // A long option without its leading "--"; `inlineValue` is what followed "=".
    void LongOption(std::string_view name, std::optional<std::string> inlineValue,
                    const std::vector<std::string>& arguments, std::size_t& next) {
        if (name == "output" || name == "pictures-from" || name == "html") {
            if (!inlineValue) {
                if (next >= arguments.size())
                    throw UsageError("option '--" + std::string(name) + "' needs " +
                                     (name == "output" ? "a file name" : "a folder"));
                inlineValue = arguments[next++];
            }
            if (name == "output")
                SetOutput(*inlineValue);
            else if (name == "html")
                SetHtmlFolder(*inlineValue);
            else if (inlineValue->empty())
                throw UsageError("the picture folder name is empty");
            else
                options.pictureFolders.push_back(*inlineValue);
            return;
        }
        if (inlineValue)
            throw UsageError("option '--" + std::string(name) + "' takes no value");
        if (name == "send")
            SetSend();
        else if (name == "shift")
            options.shift = true;
        else if (name == "combined")
            options.combined = true;
        else if (name == "help")
            options.help = true;
        else if (name == "version")
            options.version = true;
        else
            throw UsageError("unknown option '--" + std::string(name) + "'");
    }

    void ShortOptions(std::string_view letters, const std::vector<std::string>& arguments,
                      std::size_t& next) {
        for (std::size_t i = 0; i < letters.size(); ++i) {
            switch (letters[i]) {
            case 'o':
                if (i + 1 < letters.size()) {
                    SetOutput(std::string(letters.substr(i + 1)));
                } else {
                    if (next >= arguments.size())
                        throw UsageError("option '-o' needs a file name");
                    SetOutput(arguments[next++]);
                }
                return;
            case 'h':
                options.help = true;
                break;
            case 'V':
                options.version = true;
                break;
            default:
                throw UsageError(std::string("unknown option '-") + letters[i] + "'");
            }
        }
    }
};

} // namespace

Options ParseCommandLine(const std::vector<std::string>& arguments) {
    Parser parser;
    bool optionsEnded = false;
    for (std::size_t next = 0; next < arguments.size();) {
        const std::string& argument = arguments[next++];
        if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
            // "-" alone names a file called "-" as an item; reading an item from standard input
            // is not offered (the reader needs a seekable file).
            parser.options.items.push_back(argument);
        } else if (argument == "--") {
            optionsEnded = true;
        } else if (argument[1] == '-') {
            const std::string_view body = std::string_view(argument).substr(2);
            const std::size_t equals = body.find('=');
            if (equals == std::string_view::npos)
                parser.LongOption(body, std::nullopt, arguments, next);
            else
                parser.LongOption(body.substr(0, equals), std::string(body.substr(equals + 1)), arguments,
                                  next);
        } else {
            parser.ShortOptions(std::string_view(argument).substr(1), arguments, next);
        }
    }
    Options& options = parser.options;
    if (!options.help && !options.version && options.items.empty())
        throw UsageError("no item given");
    return options;
}

std::string UsageText() {
    return "Usage: txclip [OPTION]... ITEM.msg...\n"
           "Clips saved Outlook items (.msg files) into Tessarix notes, one note per item, and\n"
           "writes them as one clip export document.\n"
           "\n"
           "  -o, --output=FILE  write the document to FILE; the file is replaced whole or not at\n"
           "                     all. Without -o, or with \"-o -\": standard output\n"
           "      --send         hand the document to the Tessarix desktop client instead\n"
           "      --shift        clip as if SHIFT was held when the button was pressed\n"
           "      --combined     make one note that carries the items as attached .msg files\n"
           "      --pictures-from=FOLDER\n"
           "                     read pictures that an item names by a local path (file:///...)\n"
           "                     from FOLDER and the folders below it; may be given more than\n"
           "                     once. Without it, no local file is read: an item cannot pull\n"
           "                     the user's files into its note\n"
           "      --html=FOLDER  also write each note as an HTML page, note-N.html, with its\n"
           "                     pictures in note-N-files/, into FOLDER: what the note will show\n"
           "  -h, --help         show this help and exit\n"
           "  -V, --version      show the version and exit\n"
           "\n"
           "The items are clipped as a selection in Outlook is: an item of a type that has no note\n"
           "(a post, a report, ...) ends the clip there; it and the items after it are named on\n"
           "standard error. A failure is shown as the add-in's message box would show it.\n"
           "\n"
           "Exit status: 0 the document was written; 1 the clip failed and nothing was written;\n"
           "2 bad usage; 3 the document was written but some items were not clipped.\n"
           "The log and a copy of the last document (TXCEData.xml) are kept in\n"
           "$XDG_STATE_HOME/Tessarix/Tessarix/Logs (~/.local/state/... when it is not set).\n";
}

std::string VersionText() {
    return "txclip (TessarixOL) " TX_VERSION "\n";
}

} // namespace Tessarix::Cli
