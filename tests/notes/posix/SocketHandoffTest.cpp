// The socket hand-off against a real listener that speaks the documented protocol.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "notes/ClientHandoff.h"
#include "notes/TxClipperSDK.h"
#include "notes/posix/TxClipperSDKPosix.h"

namespace Tessarix::Notes {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// What the listener does on one connection.
struct Turn {
    enum class Ping { Answer, Silent };
    enum class Document { Answer, Silent, Unread, Drop, ReadSlowly };
    Ping ping = Ping::Answer;
    std::uint32_t pingAnswer = 64;
    Document document = Document::Answer;
    std::uint32_t documentAnswer = 1;
};

struct Connection {
    std::string ping;
    bool gotDocument = false;
    std::uint32_t message = 0;
    std::uint64_t sender = 0;
    std::uint64_t flag = 0;
    std::uint32_t length = 0;
    std::string bytes;
    Clock::time_point accepted;
    Clock::time_point documentEnd;
};

std::uint64_t Little(const unsigned char* p, int size) {
    std::uint64_t value = 0;
    for (int i = size - 1; i >= 0; --i)
        value = (value << 8) | p[i];
    return value;
}

// Blocking reads, bounded so that a faulty sender cannot hang the test.
bool ReadExactly(int fd, void* out, std::size_t size) {
    auto* p = static_cast<char*>(out);
    while (size > 0) {
        const ssize_t got = recv(fd, p, size, 0);
        if (got <= 0)
            return false;
        p += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

void Answer(int fd, std::uint32_t value) {
    const unsigned char bytes[4] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                                    static_cast<unsigned char>(value >> 16),
                                    static_cast<unsigned char>(value >> 24)};
    ASSERT_EQ(send(fd, bytes, 4, MSG_NOSIGNAL), 4);
}

// A desktop client listening where the runtime folder says, serving one scripted turn per connection.
class Listener {
public:
    Listener(const std::string& path, std::vector<Turn> script) : script_(std::move(script)) {
        fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0)
            << std::strerror(errno);
        EXPECT_EQ(listen(fd_, 4), 0);
        thread_ = std::thread([this] { Serve(); });
    }
    ~Listener() { Stop(); }

    const std::vector<Connection>& Stop() {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
        if (fd_ >= 0)
            close(fd_);
        fd_ = -1;
        return connections_;
    }

private:
    void Serve() {
        while (!stop_) {
            pollfd entry{fd_, POLLIN, 0};
            if (poll(&entry, 1, 20) <= 0)
                continue;
            const int connection = accept(fd_, nullptr, nullptr);
            if (connection < 0)
                continue;
            const timeval limit{5, 0};
            setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
            connections_.emplace_back();
            connections_.back().accepted = Clock::now();
            const std::size_t index = connections_.size() - 1;
            if (index < script_.size())
                Handle(connection, script_[index], connections_.back());
            close(connection);
        }
    }

    void Handle(int fd, const Turn& turn, Connection& seen) {
        char ping[14];
        if (!ReadExactly(fd, ping, sizeof ping))
            return;
        seen.ping.assign(ping, sizeof ping);
        if (turn.ping == Turn::Ping::Silent)
            return WaitForHangUp(fd, false);
        Answer(fd, turn.pingAnswer);
        if (turn.document == Turn::Document::Unread)
            return WaitForHangUp(fd, true);

        unsigned char header[24];
        if (!ReadExactly(fd, header, sizeof header))
            return;
        seen.message = static_cast<std::uint32_t>(Little(header, 4));
        seen.sender = Little(header + 4, 8);
        seen.flag = Little(header + 12, 8);
        seen.length = static_cast<std::uint32_t>(Little(header + 20, 4));
        seen.bytes.resize(seen.length);
        if (turn.document == Turn::Document::ReadSlowly) {
            for (std::size_t at = 0; at < seen.length; at += 64 * 1024) {
                std::this_thread::sleep_for(40ms);
                if (!ReadExactly(fd, seen.bytes.data() + at,
                                 std::min<std::size_t>(64 * 1024, seen.length - at)))
                    return;
            }
        } else if (!ReadExactly(fd, seen.bytes.data(), seen.length)) {
            return;
        }
        seen.gotDocument = true;
        seen.documentEnd = Clock::now();
        switch (turn.document) {
        case Turn::Document::Answer:
        case Turn::Document::ReadSlowly:
            return Answer(fd, turn.documentAnswer);
        case Turn::Document::Silent:
            return WaitForHangUp(fd, false);
        default:
            return; // Drop: closed without an answer
        }
    }

    // Holds the connection without a word until the sender gives up (or the test ends).
    void WaitForHangUp(int fd, bool unread) {
        while (!stop_) {
            pollfd entry{fd, static_cast<short>(unread ? 0 : POLLIN), 0};
            if (poll(&entry, 1, 20) <= 0)
                continue;
            if (entry.revents & (POLLHUP | POLLERR))
                return;
            char discard[4096];
            if (recv(fd, discard, sizeof discard, 0) <= 0)
                return;
        }
    }

    std::vector<Turn> script_;
    std::vector<Connection> connections_;
    std::atomic<bool> stop_{false};
    int fd_ = -1;
    std::thread thread_;
};

class SocketHandoff : public ::testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/txhandoff-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        folder_ = folder;
        const char* previous = std::getenv("XDG_RUNTIME_DIR");
        previous_ = previous ? std::optional<std::string>(previous) : std::nullopt;
        setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
    }
    void TearDown() override {
        unlink(SocketPath().c_str());
        rmdir(folder_.c_str());
        if (previous_)
            setenv("XDG_RUNTIME_DIR", previous_->c_str(), 1);
        else
            unsetenv("XDG_RUNTIME_DIR");
    }
    // Where the protocol document puts the desktop client's socket.
    std::string SocketPath() const { return folder_ + "/tessarix-txclipper.sock"; }

    std::string folder_;
    std::optional<std::string> previous_;
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

TEST_F(SocketHandoff, NothingToSendConnectsToNobody) {
    Listener listener(SocketPath(), {Turn{}});
    EXPECT_EQ(CTxClipperSDK::SendTXEC(0, kDocument.data(), 0, 1), kSendNothingToSend);
    EXPECT_EQ(CTxClipperSDK::SendTXEC(0, nullptr, 10, 1), kSendNothingToSend);
    EXPECT_TRUE(listener.Stop().empty());
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
