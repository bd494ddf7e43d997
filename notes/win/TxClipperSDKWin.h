#pragma once
// Windows half of the hand-off: the registered ping message, the search for the client's window
// and the window-message channel (exposed so that tests can shorten its limits and stand in for
// the identity of the processes behind the windows).
#include <windows.h>

#include <optional>

#include "notes/ClientHandoff.h"

namespace Tessarix::Notes {

// Registers "TXCLIPPER_PING" and keeps the number for the process; the module's start-up calls
// it, and every search makes sure of it. 0 when the registration failed.
UINT RegisterPingMessage();

// The user and integrity level of our process and of the process behind a window.
class IProcessIdentities {
public:
    virtual ~IProcessIdentities() = default;
    virtual std::optional<Handoff::ProcessIdentity> Own() = 0;
    virtual std::optional<Handoff::ProcessIdentity> OfWindow(HWND window) = 0;
};

// From the processes' access tokens (TokenUser, TokenIntegrityLevel).
IProcessIdentities& SystemProcessIdentities();

// The desktop client's window: the first top-level window of our user, at an integrity level not
// below ours, that answers the ping with 64; else null.
HWND FindTxclipper();

class WindowMessageChannel final : public Handoff::IChannel {
public:
    explicit WindowMessageChannel(IProcessIdentities& identities = SystemProcessIdentities())
        : identities_(identities) {}

    void Trace(const char16_t* line) override;
    bool Find(std::chrono::milliseconds perClient, std::chrono::milliseconds total) override;
    Handoff::Reply Deliver(Ui::WindowHandle sender, const Handoff::CopyData& record,
                           std::chrono::milliseconds timeout) override;
    void Pause(std::chrono::milliseconds duration) override;

private:
    IProcessIdentities& identities_;
    HWND client_ = nullptr;
};

} // namespace Tessarix::Notes
