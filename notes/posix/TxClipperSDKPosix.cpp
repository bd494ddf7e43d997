#include "notes/posix/TxClipperSDKPosix.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "notes/TxClipperSDK.h"

namespace Tessarix::Notes {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kSocketName[] = "tessarix-txclipper.sock";
constexpr char kPing[] = {'T', 'X', 'C', 'L', 'I', 'P', 'P', 'E', 'R', '_', 'P', 'I', 'N', 'G'};
constexpr std::uint32_t kPingAnswer = 64;
constexpr std::uint32_t kCopyDataMessage = 74; // WM_COPYDATA's number, so that the frame says what it is
constexpr std::size_t kHeaderSize = 24;

#ifdef MSG_NOSIGNAL
constexpr int kSendFlags = MSG_NOSIGNAL;
#else
constexpr int kSendFlags = 0; // SO_NOSIGPIPE is set on the socket instead
#endif

// How long the client may take. The ping has one limit for the whole exchange. The document's
// limit starts again whenever the client takes bytes, so that a client reading a large document is
// not cut off while a silent one is.
class Limit {
public:
    Limit(std::chrono::milliseconds span, bool renewOnProgress)
        : span_(span), renew_(renewOnProgress), until_(Clock::now() + span) {}

    void Progress() {
        if (renew_)
            until_ = Clock::now() + span_;
    }
    Clock::time_point Until() const { return until_; }

private:
    std::chrono::milliseconds span_;
    bool renew_;
    Clock::time_point until_;
};

// False on time-out, error or hang-up.
bool Await(int fd, short events, const Limit& limit) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit.Until() - Clock::now()).count();
        if (left <= 0)
            return false;
        pollfd entry{fd, events, 0};
        const int ready = poll(&entry, 1, static_cast<int>(std::min<decltype(left)>(left, INT_MAX)));
        if (ready < 0 && errno == EINTR)
            continue;
        return ready > 0 && (entry.revents & events) != 0;
    }
}

bool Retryable(int error) {
    return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

bool WriteAll(int fd, const char* data, std::size_t size, Limit& limit) {
    while (size > 0) {
        if (!Await(fd, POLLOUT, limit))
            return false;
        const ssize_t written = send(fd, data, size, kSendFlags);
        if (written < 0) {
            if (Retryable(errno))
                continue;
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
        limit.Progress();
    }
    return true;
}

bool ReadAll(int fd, char* data, std::size_t size, Limit& limit) {
    while (size > 0) {
        if (!Await(fd, POLLIN, limit))
            return false;
        const ssize_t got = recv(fd, data, size, 0);
        if (got == 0)
            return false; // the client closed the connection
        if (got < 0) {
            if (Retryable(errno))
                continue;
            return false;
        }
        data += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

void PutLittleEndian(char* out, std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i)
        out[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

std::uint32_t GetLittleEndian32(const char* in) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = (value << 8) | static_cast<unsigned char>(in[i]);
    return value;
}

// Only a listener of our own user may receive the user's notes.
bool ListenerIsSameUser(int fd) {
#if defined(__linux__)
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
#else
    uid_t uid = 0;
    gid_t gid = 0;
    return getpeereid(fd, &uid, &gid) == 0 && uid == geteuid();
#endif
}

// A missing socket, a refused connection or a full accept queue all mean no client listening.
UniqueFd Connect(const std::string& path, const Limit& limit) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return {};
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

    UniqueFd fd(socket(AF_UNIX, SOCK_STREAM, 0));
    if (!fd)
        return {};
    const int flags = fcntl(fd.Get(), F_GETFL);
    if (flags < 0 || fcntl(fd.Get(), F_SETFL, flags | O_NONBLOCK) != 0 ||
        fcntl(fd.Get(), F_SETFD, FD_CLOEXEC) != 0)
        return {};
#ifdef SO_NOSIGPIPE
    const int on = 1;
    if (setsockopt(fd.Get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on) != 0)
        return {};
#endif
    if (connect(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (errno != EINPROGRESS && errno != EINTR)
            return {};
        int error = 0;
        socklen_t size = sizeof error;
        if (!Await(fd.Get(), POLLOUT, limit) ||
            getsockopt(fd.Get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0)
            return {};
    }
    return fd;
}

} // namespace

void UniqueFd::Reset(int fd) {
    if (fd_ >= 0)
        close(fd_);
    fd_ = fd;
}

std::string ClientSocketPath() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/')
        return std::string(runtime) + "/" + kSocketName;
    return "/tmp/tessarix-" + std::to_string(geteuid()) + "/" + kSocketName;
}

// POSIX has no debugger output channel; the lines are dropped.
void SocketChannel::Trace(const char16_t*) {}

bool SocketChannel::Find(std::chrono::milliseconds perClient, std::chrono::milliseconds total) {
    connection_.Reset();
    // One listener is asked, so the search is that one exchange.
    Limit limit(std::min(perClient, total), false);
    UniqueFd fd = Connect(ClientSocketPath(), limit);
    if (!fd || !ListenerIsSameUser(fd.Get()))
        return false;
    char answer[4];
    if (!WriteAll(fd.Get(), kPing, sizeof kPing, limit) || !ReadAll(fd.Get(), answer, sizeof answer, limit) ||
        GetLittleEndian32(answer) != kPingAnswer)
        return false;
    connection_ = std::move(fd);
    return true;
}

Handoff::Reply SocketChannel::Deliver(Ui::WindowHandle sender, const Handoff::CopyData& record,
                                      std::chrono::milliseconds timeout) {
    const UniqueFd fd = std::move(connection_); // one document per connection
    if (!fd)
        return Handoff::Reply::Failed;
    char header[kHeaderSize];
    PutLittleEndian(header, kCopyDataMessage, 4);
    PutLittleEndian(header + 4, sender, 8);
    // Sign-extended, as a 32-bit value widens into a 64-bit COPYDATASTRUCT::dwData.
    PutLittleEndian(header + 12, static_cast<std::uint64_t>(static_cast<std::int64_t>(record.shift)), 8);
    PutLittleEndian(header + 20, record.length, 4);

    Limit limit(timeout, true);
    char answer[4];
    if (!WriteAll(fd.Get(), header, sizeof header, limit) ||
        !WriteAll(fd.Get(), record.bytes, record.length, limit) ||
        !ReadAll(fd.Get(), answer, sizeof answer, limit))
        return Handoff::Reply::Failed;
    return GetLittleEndian32(answer) == 0 ? Handoff::Reply::Refused : Handoff::Reply::Accepted;
}

void SocketChannel::Pause(std::chrono::milliseconds duration) {
    std::this_thread::sleep_for(duration);
}

int CTxClipperSDK::SendTXEC(Ui::WindowHandle sender, const char* bytes, std::uint32_t length,
                            std::int32_t shift) {
    SocketChannel channel;
    return Handoff::Send(channel, Handoff::Limits{}, sender, bytes, length, shift);
}

} // namespace Tessarix::Notes
