#pragma once
// A desktop client for the socket hand-off's tests: it listens where the runtime folder says and
// speaks the documented protocol, one scripted turn per connection.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Tessarix::Testing {

// A fresh runtime folder, XDG_RUNTIME_DIR for as long as it lives.
class RuntimeFolder {
public:
    RuntimeFolder() {
        char folder[] = "/tmp/txhandoff-XXXXXX";
        EXPECT_NE(mkdtemp(folder), nullptr);
        folder_ = folder;
        if (const char* previous = std::getenv("XDG_RUNTIME_DIR"))
            previous_ = previous;
        setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
    }
    ~RuntimeFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
        if (previous_)
            setenv("XDG_RUNTIME_DIR", previous_->c_str(), 1);
        else
            unsetenv("XDG_RUNTIME_DIR");
    }
    RuntimeFolder(const RuntimeFolder&) = delete;
    RuntimeFolder& operator=(const RuntimeFolder&) = delete;

    // Where the protocol document puts the desktop client's socket.
    std::string SocketPath() const { return folder_ + "/tessarix-txclipper.sock"; }

private:
    std::string folder_;
    std::optional<std::string> previous_;
};

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
    using Clock = std::chrono::steady_clock;
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

class Listener {
public:
    Listener(const std::string& path, std::vector<Turn> script) : script_(std::move(script)) {
        fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); // not inherited by a program under test
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0)
            << std::strerror(errno);
        EXPECT_EQ(listen(fd_, 4), 0);
        thread_ = std::thread([this] { Serve(); });
    }
    ~Listener() { Stop(); }

    // Every connection accepted, also those beyond the script (accepted and closed at once).
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
    static std::uint64_t Little(const unsigned char* p, int size) {
        std::uint64_t value = 0;
        for (int i = size - 1; i >= 0; --i)
            value = (value << 8) | p[i];
        return value;
    }

    // Blocking reads, bounded so that a faulty sender cannot hang the test.
    static bool ReadExactly(int fd, void* out, std::size_t size) {
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

    static void Answer(int fd, std::uint32_t value) {
        const unsigned char bytes[4] = {
            static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
            static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
        ASSERT_EQ(send(fd, bytes, 4, MSG_NOSIGNAL), 4);
    }

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
            connections_.back().accepted = Connection::Clock::now();
            const std::size_t index = connections_.size() - 1;
            if (index < script_.size())
                Handle(connection, script_[index], connections_.back());
            close(connection);
        }
    }

    void Handle(int fd, const Turn& turn, Connection& seen) {
        using namespace std::chrono_literals;
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
        seen.documentEnd = Connection::Clock::now();
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

} // namespace Tessarix::Testing
