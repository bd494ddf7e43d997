#include "cli/Progress.h"

#include <unistd.h>

#include <cstdio>

#include "core/Utf.h"

namespace Tessarix::Cli {

namespace {
// Carriage return, then "erase to end of line": the line is rewritten in place.
constexpr char kRewrite[] = "\r\x1b[K";
constexpr std::size_t kMaxNameLength = 60;
} // namespace

Progress::Progress(bool enabled, std::size_t total) : enabled_(enabled), total_(total) {}

Progress::~Progress() {
    Clear();
}

bool Progress::StandardErrorIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

void Progress::Item(const char* what, std::size_t index, const std::string& name) {
    if (!enabled_)
        return;
    std::string shown = name;
    if (shown.size() > kMaxNameLength) {
        // The end of a long path says most; cut where a UTF-8 character starts.
        std::size_t from = shown.size() - kMaxNameLength;
        while (from < shown.size() && (static_cast<unsigned char>(shown[from]) & 0xC0) == 0x80)
            ++from;
        shown = "..." + shown.substr(from);
    }
    Show(std::string("txclip: ") + what + " " + std::to_string(index) + "/" + std::to_string(total_) + " " +
         shown);
}

void Progress::Stage(const std::string& text) {
    if (enabled_)
        Show("txclip: " + text);
}

void Progress::Clear() {
    if (!shown_)
        return;
    std::fputs(kRewrite, stderr);
    std::fflush(stderr);
    shown_ = false;
}

void Progress::Show(const std::string& line) {
    std::fputs(kRewrite, stderr);
    std::fputs(TerminalSafe(line).c_str(), stderr); // a file name may carry an escape sequence
    std::fflush(stderr);
    shown_ = true;
}

} // namespace Tessarix::Cli
