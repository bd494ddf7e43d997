#pragma once
// POSIX half of the hand-off: the desktop client listens on a Unix domain socket in the user's
// runtime folder; one connection per attempt carries the ping, then the document
// (docs/handoff-protocol.md).
#include <string>

#include "notes/ClientHandoff.h"

namespace Tessarix::Notes {

// Owns one file descriptor.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        Reset(other.Release());
        return *this;
    }
    ~UniqueFd() { Reset(); }

    int Get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int Release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void Reset(int fd = -1);

private:
    int fd_ = -1;
};

// "$XDG_RUNTIME_DIR/tessarix-txclipper.sock" when that variable holds an absolute path, else
// "/tmp/tessarix-<uid>/tessarix-txclipper.sock".
std::string ClientSocketPath();

class SocketChannel final : public Handoff::IChannel {
public:
    void Trace(const char16_t* line) override;
    bool Find(std::chrono::milliseconds perClient, std::chrono::milliseconds total) override;
    Handoff::Reply Deliver(Ui::WindowHandle sender, const Handoff::CopyData& record,
                           std::chrono::milliseconds timeout) override;
    void Pause(std::chrono::milliseconds duration) override;

private:
    UniqueFd connection_; // open from a successful Find until the following Deliver
};

} // namespace Tessarix::Notes
