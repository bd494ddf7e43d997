// The user interface of the add-in on Outlook's thread: cursors, the SHIFT key, message boxes.
#include <windows.h>

#include "core/ForeignCode.h"
#include "core/UserInterface.h"
#include "core/Utf.h"

namespace Tessarix::Ui {
namespace {

class WindowsUserInterface final : public IUserInterface {
public:
    CursorHandle CurrentCursor() override { return reinterpret_cast<CursorHandle>(::GetCursor()); }
    void ShowWaitCursor() override { ::SetCursor(::LoadCursorW(nullptr, IDC_WAIT)); }
    void RestoreCursor(CursorHandle cursor) override { ::SetCursor(reinterpret_cast<HCURSOR>(cursor)); }
    // The high bit: the key is down now, not merely pressed since the last call.
    bool IsShiftDown() override { return (::GetAsyncKeyState(VK_SHIFT) & 0x8000) != 0; }
    void ShowMessage(const std::u16string& text, const std::u16string& caption) override {
        // The box's modal loop runs every window of the thread, Outlook's too.
        const ForeignCodeScope foreign;
        ::MessageBoxW(nullptr, AsWide(text), AsWide(caption), MB_OK);
    }
    WindowHandle FocusWindow() override { return reinterpret_cast<WindowHandle>(::GetFocus()); }
};

} // namespace

IUserInterface& PlatformUserInterface() {
    static WindowsUserInterface ui;
    return ui;
}

void SetShiftFromCommandLine(bool) {}

} // namespace Tessarix::Ui
