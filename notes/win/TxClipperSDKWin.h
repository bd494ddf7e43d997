#pragma once
// Windows half of the hand-off: the registered ping message, the search for the client's window
// and the window-message channel (exposed so that tests can shorten its limits).
#include <windows.h>

#include "notes/ClientHandoff.h"

namespace Tessarix::Notes {

// Registers "TXCLIPPER_PING" and keeps the number for the process; the module's process attach
// calls it, and every search makes sure of it. 0 when the registration failed.
UINT RegisterPingMessage();

// The desktop client's window: the first top-level window that answers the ping with 64, else null.
HWND FindTxclipper();

class WindowMessageChannel final : public Handoff::IChannel {
public:
    void Trace(const char16_t* line) override;
    bool Find(std::chrono::milliseconds timeout) override;
    Handoff::Reply Deliver(Ui::WindowHandle sender, const Handoff::CopyData& record,
                           std::chrono::milliseconds timeout) override;
    void Pause(std::chrono::milliseconds duration) override;

private:
    HWND client_ = nullptr;
};

} // namespace Tessarix::Notes
