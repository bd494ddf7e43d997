#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>

#include "core/Utf.h"
#include "html/PictureSources.h"

namespace Tessarix::Html::Pictures {
namespace {

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int Get() const { return fd_; }

private:
    int fd_;
};

} // namespace

std::optional<StringUTF8> FromCache(const std::u16string&) {
    return std::nullopt;
}

// Every mount is as local as the file system makes it.
bool IsOnLocalDrive(const std::u16string&) {
    return true;
}

Readers::FileBytes FromLocalFile(const std::u16string& path, std::uint32_t limit) {
    using Outcome = Readers::FileBytes::Outcome;
    // Non-blocking, so that a FIFO named by an item cannot hold the clip; it is refused below.
    FileDescriptor file(::open(ToUtf8(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.Get() < 0)
        return {};
    struct stat info {};
    if (::fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size < 0)
        return {};
    if (static_cast<std::uint64_t>(info.st_size) > limit)
        return {Outcome::TooLarge, {}};
    const auto size = static_cast<std::size_t>(info.st_size);
    if (size == 0)
        return {Outcome::Read, StringUTF8()};
    std::shared_ptr<char[]> bytes(new char[size]);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::read(file.Get(), bytes.get() + done, size - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return {};
        if (n == 0)
            break;
        done += static_cast<std::size_t>(n);
    }
    return {Outcome::Read, StringUTF8(std::move(bytes), static_cast<std::uint32_t>(done))};
}

} // namespace Tessarix::Html::Pictures
