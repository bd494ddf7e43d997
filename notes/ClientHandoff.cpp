#include "notes/ClientHandoff.h"

#include "notes/TxClipperSDK.h"

namespace Tessarix::Notes::Handoff {

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
        if (!channel.Find(limits.findTimeout))
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
