#pragma once
// Hands the clip export document to the Tessarix desktop client on the same desktop.
// Windows: the registered "TXCLIPPER_PING" message and WM_COPYDATA. POSIX: the same ping, flag,
// length and bytes over a Unix domain socket in the user's runtime folder (docs/handoff-protocol.md).
#include <cstdint>

#include "core/UserInterface.h"

namespace Tessarix::Notes {

enum SendResult : int {
    kSendDelivered = 0,
    kSendNothingToSend = 1,
    kSendNoClient = 2,
    kSendRefused = 3, // the client answered 0, or three attempts failed
};

class CTxClipperSDK {
public:
    // Three attempts with 500 ms pauses; see SendResult.
    static int SendTXEC(Ui::WindowHandle sender, const char* bytes, std::uint32_t length, std::int32_t shift);
};

// The send operation that BuildAndSendExport uses; tests may pass their own.
using SendFunction = int (*)(Ui::WindowHandle sender, const char* bytes, std::uint32_t length,
                             std::int32_t shift);

} // namespace Tessarix::Notes
