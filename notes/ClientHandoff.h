#pragma once
// The attempts, pauses and result codes of the hand-off, apart from the channel that reaches the
// desktop client: window messages on Windows, a Unix domain socket elsewhere.
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "core/UserInterface.h"

namespace Tessarix::Notes::Handoff {

// What COPYDATASTRUCT carries; each channel widens the flag the way its record needs.
struct CopyData {
    std::int32_t shift = 0; // 1 when SHIFT was held
    std::uint32_t length = 0;
    const char* bytes = nullptr;
};

enum class Reply {
    Accepted, // the client answered something other than 0
    Refused,  // the client answered 0
    Failed,   // no answer in time, or the client went away
};

struct Limits {
    std::chrono::milliseconds pause{500};        // before the second and third attempt
    std::chrono::milliseconds findTimeout{3000}; // per client asked with the ping
    std::chrono::milliseconds sendTimeout{3000}; // for the document
    std::chrono::milliseconds findTotal{5000};   // for one whole search, however many are asked
};

// Who runs a process: its user, compared byte for byte, and its integrity level where the system
// has them (none on Windows XP and on POSIX).
struct ProcessIdentity {
    std::string user;
    std::optional<std::uint32_t> integrity;
};

// Whether the user's clips may go to `peer`: the same user as `ours` and, when we have an
// integrity level, one not below it. Unknown identities never qualify.
bool MayReceiveClips(const std::optional<ProcessIdentity>& ours, const std::optional<ProcessIdentity>& peer);

// The time one search may still spend: each client asked gets `perClient`, cut to what remains
// of `total`; nothing once `total` is spent.
class SearchBudget {
public:
    SearchBudget(std::chrono::milliseconds perClient, std::chrono::milliseconds total);
    std::optional<std::chrono::milliseconds> Next() const;

private:
    std::chrono::milliseconds perClient_;
    std::chrono::steady_clock::time_point deadline_;
};

class IChannel {
public:
    virtual ~IChannel() = default;
    // Debugger output, never the log; the line ends with "\n".
    virtual void Trace(const char16_t* line) = 0;
    // Looks for the client: the first one of our user answering the ping with 64, each asked for
    // at most `perClient`, the whole search ending after `total`. Deliver sends to that one.
    virtual bool Find(std::chrono::milliseconds perClient, std::chrono::milliseconds total) = 0;
    virtual Reply Deliver(Ui::WindowHandle sender, const CopyData& record,
                          std::chrono::milliseconds timeout) = 0;
    virtual void Pause(std::chrono::milliseconds duration) = 0;
};

// Returns a SendResult. The product passes Limits{}; tests may shorten them.
int Send(IChannel& channel, const Limits& limits, Ui::WindowHandle sender, const char* bytes,
         std::uint32_t length, std::int32_t shift);

} // namespace Tessarix::Notes::Handoff
