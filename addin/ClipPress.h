#pragma once
// A press that runs a clip. A clip lets Outlook run its message loop (the HTML load, the clipboard
// wait, the hand-off, the message box), and in the meantime the user may press again, open a
// context menu or close a window, and Outlook may disconnect the add-in. The press holds the gate
// (one clip at a time), the module and the connection object until the clip and the teardown held
// back during it are over. See docs/clip-driver.md.
#include <windows.h>

#include <string_view>

#include "actions/ClipGate.h"
#include "addin/ComModule.h"
#include "core/win/ComPtr.h"

namespace Tessarix::Addin {

class ClipPress {
public:
    // `source` names the press in the Info line of a press refused while a clip runs.
    explicit ClipPress(std::u16string_view source);
    ClipPress(const ClipPress&) = delete;
    ClipPress& operator=(const ClipPress&) = delete;
    // False when a clip runs already: the press starts nothing.
    explicit operator bool() const { return static_cast<bool>(pass_); }

private:
    // Released in reverse: the held-back teardown first, then the connection, then the module.
    ModuleLock module_;
    Win::ComPtr<IUnknown> connection_;
    ClipGate::Pass pass_;
};

// The connection object that Outlook connected last, while it lives; set by CConnect.
void SetCurrentConnection(IUnknown* connection);
void ForgetConnection(IUnknown* connection);

} // namespace Tessarix::Addin
