#pragma once
// What the user sees of a clip: wait cursor, SHIFT, message boxes, the focus window.
// Windows: cursors, GetAsyncKeyState, MessageBoxW, GetFocus. POSIX: a line on standard error,
// SHIFT from the command line. Tests install a recording double.
#include <cstdint>
#include <string>

namespace Tessarix::Ui {

using WindowHandle = std::uintptr_t; // HWND on Windows, 0 elsewhere
using CursorHandle = std::uintptr_t; // HCURSOR on Windows, 0 elsewhere

class IUserInterface {
public:
    virtual ~IUserInterface() = default;
    virtual CursorHandle CurrentCursor() = 0;            // GetCursor
    virtual void ShowWaitCursor() = 0;                   // SetCursor(LoadCursorW(IDC_WAIT))
    virtual void RestoreCursor(CursorHandle cursor) = 0; // SetCursor
    virtual bool IsShiftDown() = 0;                      // GetAsyncKeyState(VK_SHIFT) high bit
    // A box with no owner and the plain OK style.
    virtual void ShowMessage(const std::u16string& text, const std::u16string& caption) = 0;
    virtual WindowHandle FocusWindow() = 0; // GetFocus
};

// The platform's user interface, unless a test has installed another one.
IUserInterface& Current();
// Installs `ui` (not owned) until Install(nullptr) restores the platform's own.
void Install(IUserInterface* ui);

// The platform's own user interface (core/win, core/posix).
IUserInterface& PlatformUserInterface();

// POSIX has no keyboard state to sample: a command-line tool sets what SHIFT means for its clips.
// On Windows the key itself is read and this has no effect.
void SetShiftFromCommandLine(bool pressed);

} // namespace Tessarix::Ui
