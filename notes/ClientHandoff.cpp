#include "notes/ClientHandoff.h"

#include <algorithm>

#include "notes/TxClipperSDK.h"

namespace Tessarix::Notes::Handoff {

bool MayReceiveClips(const std::optional<ProcessIdentity>& ours, const std::optional<ProcessIdentity>& peer) {
    if (!ours || !peer || ours->user.empty() || peer->user != ours->user)
        return false;
    // Without integrity levels of our own (Windows XP) the user is all there is to check.
    if (!ours->integrity)
        return true;
    return peer->integrity && *peer->integrity >= *ours->integrity;
}

SearchBudget::SearchBudget(std::chrono::milliseconds perClient, std::chrono::milliseconds total)
    : perClient_(perClient), deadline_(std::chrono::steady_clock::now() + total) {}

std::optional<std::chrono::milliseconds> SearchBudget::Next() const {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
    if (left.count() <= 0)
        return std::nullopt;
    return std::min(perClient_, left);
}

int Send(IChannel& channel, const Limits& limits, Ui::WindowHandle sender, const char* bytes,
         std::uint32_t length, std::int32_t shift) {
    channel.Trace(u"CTxClipperSDK::SendTXEC\n");
    if (bytes == nullptr || length == 0)
        return kSendNothingToSend;

    const CopyData record{shift, length, bytes};
    constexpr int kAttempts = 3;
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        if (attempt > 1)
            channel.Pause(limits.pause);
        // Searched afresh every time: a client that restarted in between is found again.
        channel.Trace(u"CTxClipperSDK::FindTxclipper\n");
        if (!channel.Find(limits.findTimeout, limits.findTotal))
            return kSendNoClient;
        switch (channel.Deliver(sender, record, limits.sendTimeout)) {
        case Reply::Accepted:
            return kSendDelivered;
        case Reply::Refused:
            return kSendRefused;
        case Reply::Failed:
            break;
        }
    }
    return kSendRefused;
}

} // namespace Tessarix::Notes::Handoff
