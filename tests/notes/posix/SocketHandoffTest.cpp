// The socket hand-off against a real listener that speaks the documented protocol.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "notes/ClientHandoff.h"
#include "notes/TxClipperSDK.h"
#include "notes/posix/TxClipperSDKPosix.h"
#include "tests/notes/posix/ClientListener.h"

namespace Tessarix::Notes {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Testing::Listener;
using Testing::Turn;

class SocketHandoff : public ::testing::Test {
protected:
    std::string SocketPath() const { return runtime_.SocketPath(); }

private:
    Testing::RuntimeFolder runtime_;
};

constexpr char kRawDocument[] = "\xEF\xBB\xBF<tx-clipper-export>\0\x01\xFF</tx-clipper-export>";
const std::string kDocument(kRawDocument, sizeof kRawDocument - 1);

int Send(std::int32_t shift = 0, Ui::WindowHandle sender = 0) {
    return CTxClipperSDK::SendTXEC(sender, kDocument.data(), static_cast<std::uint32_t>(kDocument.size()),
                                   shift);
}

int SendQuickly(const std::string& document) {
    SocketChannel channel;
    return Handoff::Send(channel, Handoff::Limits{50ms, 300ms, 300ms}, 0, document.data(),
                         static_cast<std::uint32_t>(document.size()), 0);
}

TEST_F(SocketHandoff, NoListenerMeansNoClient) {
    EXPECT_EQ(Send(), kSendNoClient); // no socket file at all

    { Listener gone(SocketPath(), {}); } // leaves a socket file that nobody listens on
    EXPECT_EQ(Send(), kSendNoClient);
}

TEST_F(SocketHandoff, APingAnswerOtherThan64IsNoClient) {
    Listener listener(SocketPath(), {Turn{Turn::Ping::Answer, 63}, Turn{}});
    EXPECT_EQ(Send(), kSendNoClient);
    const auto& connections = listener.Stop();
    ASSERT_EQ(connections.size(), 1u); // one search, no retry
    EXPECT_EQ(connections[0].ping, "TXCLIPPER_PING");
    EXPECT_FALSE(connections[0].gotDocument);
}

TEST_F(SocketHandoff, DeliversFlagLengthAndBytesIntact) {
    Listener listener(SocketPath(), {Turn{}, Turn{}, Turn{}});
    EXPECT_EQ(Send(1, 0x1234), kSendDelivered);
    EXPECT_EQ(Send(0), kSendDelivered);
    EXPECT_EQ(Send(-1), kSendDelivered);
    const auto& connections = listener.Stop();
    ASSERT_EQ(connections.size(), 3u);
    for (const auto& seen : connections) {
        EXPECT_EQ(seen.ping, "TXCLIPPER_PING");
        ASSERT_TRUE(seen.gotDocument);
        EXPECT_EQ(seen.message, 74u);
        EXPECT_EQ(seen.length, kDocument.size());
        EXPECT_EQ(seen.bytes, kDocument);
    }
    EXPECT_EQ(connections[0].sender, 0x1234u);
    EXPECT_EQ(connections[0].flag, 1u);
    EXPECT_EQ(connections[1].flag, 0u);
    EXPECT_EQ(connections[2].flag, 0xFFFFFFFFFFFFFFFFu);
}

TEST_F(SocketHandoff, ARefusalEndsAfterOneAttempt) {
    Listener listener(SocketPath(), {Turn{.documentAnswer = 0}, Turn{}});
    EXPECT_EQ(Send(), kSendRefused);
    EXPECT_EQ(listener.Stop().size(), 1u);
}

TEST_F(SocketHandoff, DroppedAttemptsAreRetriedAfterPauses) {
    Listener listener(SocketPath(), {Turn{.document = Turn::Document::Drop},
                                     Turn{.document = Turn::Document::Drop}, Turn{}});
    EXPECT_EQ(Send(1), kSendDelivered);
    const auto& connections = listener.Stop();
    ASSERT_EQ(connections.size(), 3u);
    for (std::size_t i = 0; i + 1 < connections.size(); ++i) {
        ASSERT_TRUE(connections[i].gotDocument);
        const auto gap = connections[i + 1].accepted - connections[i].documentEnd;
        EXPECT_GE(gap, 495ms) << "attempt " << i + 2 << " came without the pause";
        EXPECT_LT(gap, 2500ms) << "a dropped connection was waited for";
    }
    EXPECT_EQ(connections[2].bytes, kDocument);
}

TEST_F(SocketHandoff, AClientSilentAfterTheDocumentFailsEveryAttempt) {
    const Turn silent{.document = Turn::Document::Silent};
    Listener listener(SocketPath(), {silent, silent, silent, Turn{}});
    const auto start = Clock::now();
    EXPECT_EQ(SendQuickly(kDocument), kSendRefused);
    EXPECT_LT(Clock::now() - start, 3s);
    const auto& connections = listener.Stop();
    ASSERT_EQ(connections.size(), 3u);
    for (const auto& seen : connections)
        EXPECT_TRUE(seen.gotDocument);
}

TEST_F(SocketHandoff, AClientThatStopsReadingALargeDocumentFailsEveryAttempt) {
    const std::string large(8 * 1024 * 1024, 'x'); // far beyond what the socket buffers hold
    const Turn unread{.document = Turn::Document::Unread};
    Listener listener(SocketPath(), {unread, unread, unread});
    const auto start = Clock::now();
    EXPECT_EQ(SendQuickly(large), kSendRefused);
    EXPECT_LT(Clock::now() - start, 3s);
    EXPECT_EQ(listener.Stop().size(), 3u);
}

TEST_F(SocketHandoff, AClientReadingSteadilyIsNotCutOff) {
    // About 1.3 s of reading in all, far beyond the 300 ms allowed for silence.
    std::string large(2 * 1024 * 1024, '\0');
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<char>(i * 7);
    Listener listener(SocketPath(), {Turn{.document = Turn::Document::ReadSlowly}});
    EXPECT_EQ(SendQuickly(large), kSendDelivered);
    const auto& connections = listener.Stop();
    ASSERT_EQ(connections.size(), 1u);
    EXPECT_TRUE(connections[0].bytes == large);
}

TEST_F(SocketHandoff, AClientSilentAtThePingIsGivenUpAfterTheLimit) {
    Listener listener(SocketPath(), {Turn{.ping = Turn::Ping::Silent}, Turn{}});
    const auto start = Clock::now();
    EXPECT_EQ(Send(), kSendNoClient);
    const auto elapsed = Clock::now() - start;
    EXPECT_GE(elapsed, 2900ms);
    EXPECT_LT(elapsed, 6s);
    EXPECT_EQ(listener.Stop().size(), 1u);
}

} // namespace
} // namespace Tessarix::Notes
