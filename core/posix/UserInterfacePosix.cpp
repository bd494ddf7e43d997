// A command-line tool's user interface: failures go to standard error, one "caption: text" line
// per line of text; there are no cursors and no windows.
#include <atomic>
#include <cstdio>
#include <string_view>

#include "core/UserInterface.h"
#include "core/Utf.h"

namespace Tessarix::Ui {
namespace {

std::atomic<bool> shiftFromCommandLine{false};

class PosixUserInterface final : public IUserInterface {
public:
    CursorHandle CurrentCursor() override { return 0; }
    void ShowWaitCursor() override {}
    void RestoreCursor(CursorHandle) override {}
    bool IsShiftDown() override { return shiftFromCommandLine.load(); }
    void ShowMessage(const std::u16string& text, const std::u16string& caption) override {
        const std::string prefix = ToUtf8(caption) + ": ";
        std::string out;
        std::u16string_view rest = text;
        for (;;) {
            const std::size_t end = rest.find(u'\n');
            out += prefix;
            out += ToUtf8(rest.substr(0, end));
            out += '\n';
            if (end == std::u16string_view::npos)
                break;
            rest.remove_prefix(end + 1);
        }
        // A failure's text may name an attachment or a stream of the item.
        std::fputs(TerminalSafe(out).c_str(), stderr);
        std::fflush(stderr);
    }
    WindowHandle FocusWindow() override { return 0; }
};

} // namespace

IUserInterface& PlatformUserInterface() {
    static PosixUserInterface ui;
    return ui;
}

void SetShiftFromCommandLine(bool pressed) {
    shiftFromCommandLine.store(pressed);
}

} // namespace Tessarix::Ui
