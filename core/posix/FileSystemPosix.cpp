// The file-system and clock seam on POSIX: UTF-8 paths, XDG state folder, local time.
#include "core/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>
#include <string>

#include "core/Utf.h"

namespace Tessarix::Platform {
namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

struct DirCloser {
    void operator()(DIR* d) const { closedir(d); }
};
using UniqueDir = std::unique_ptr<DIR, DirCloser>;

std::string Native(const std::u16string& path) {
    return ToUtf8(path);
}

std::FILE* AsFile(void* handle) {
    return static_cast<std::FILE*>(handle);
}

SystemTime FromTm(const std::tm& tm, long nanoseconds) {
    SystemTime t;
    t.year = tm.tm_year + 1900;
    t.month = tm.tm_mon + 1;
    t.dayOfWeek = tm.tm_wday;
    t.day = tm.tm_mday;
    t.hour = tm.tm_hour;
    t.minute = tm.tm_min;
    t.second = tm.tm_sec > 59 ? 59 : tm.tm_sec; // a leap second is not a SYSTEMTIME value
    t.milliseconds = static_cast<int>(nanoseconds / 1000000);
    return t;
}

template <typename Convert> SystemTime Now(Convert convert) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm tm{};
    if (!convert(&now.tv_sec, &tm))
        return {};
    return FromTm(tm, now.tv_nsec);
}

// Opens or creates `path` for writing without following a link in its last component, and only
// when it is a regular file with one name. O_NONBLOCK keeps a FIFO without a reader from hanging
// the open. -1 on failure or refusal.
int OpenPlainFile(const std::u16string& path, int access) {
    if (path.empty())
        return -1;
    const int fd = open(Native(path).c_str(), access | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
    if (fd < 0)
        return -1;
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_nlink != 1) {
        close(fd);
        return -1;
    }
    return fd;
}

std::string Getenv(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::string(value) : std::string();
}

} // namespace

SystemTime LocalTime() {
    // The log asks for every line; the broken-down time changes only with the second (or with
    // the zone, which tzset() changes along with these globals).
    struct Cache {
        time_t second = -1;
        long zone = 0;
        int daylight = 0;
        std::string names;
        std::tm tm{};
    };
    thread_local Cache cache;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto names = [] {
        return std::string(tzname[0] ? tzname[0] : "") + '/' + (tzname[1] ? tzname[1] : "");
    };
    if (now.tv_sec != cache.second || timezone != cache.zone || daylight != cache.daylight ||
        names() != cache.names) {
        std::tm tm{};
        if (!localtime_r(&now.tv_sec, &tm))
            return {};
        // localtime_r sets the zone up on its first use: the globals are read after it.
        cache = {now.tv_sec, timezone, daylight, names(), tm};
    }
    return FromTm(cache.tm, now.tv_nsec);
}
SystemTime UtcTime() {
    return Now(gmtime_r);
}

std::u16string UserLogBaseFolder() {
    try {
        std::string base = Getenv("XDG_STATE_HOME");
        // The XDG rules ignore a relative value.
        if (base.empty() || base.front() != '/') {
            const std::string home = Getenv("HOME");
            if (home.empty())
                return {};
            base = home + "/.local/state";
        }
        while (base.size() > 1 && base.back() == '/')
            base.pop_back();
        return FromUtf8(base);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

bool IsDirectory(const std::u16string& path) {
    struct stat st {};
    return !path.empty() && stat(Native(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsPlainDirectory(const std::u16string& path) {
    struct stat st {};
    return !path.empty() && lstat(Native(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool CreateDirectory(const std::u16string& path) {
    // Per-user data: private to the user, as the XDG rules ask for the folders they name.
    return !path.empty() && mkdir(Native(path).c_str(), 0700) == 0;
}

std::vector<std::u16string> ListFiles(const std::u16string& folder, const std::u16string& prefix) {
    std::vector<std::u16string> names;
    try {
        std::string dir = folder.empty() ? std::string(".") : Native(folder);
        if (dir.back() != '/')
            dir += '/';
        const std::string start = Native(prefix);
        UniqueDir handle(opendir(dir.c_str()));
        if (!handle)
            return names;
        while (const dirent* entry = readdir(handle.get())) {
            const std::string name = entry->d_name;
            if (name.compare(0, start.size(), start) != 0)
                continue;
            struct stat st {};
            if (stat((dir + name).c_str(), &st) != 0 || !S_ISREG(st.st_mode))
                continue;
            names.push_back(FromUtf8(name));
        }
    } catch (const std::bad_alloc&) {
        names.clear();
    }
    return names;
}

std::uint64_t FileSize(const std::u16string& path) {
    struct stat st {};
    if (path.empty() || stat(Native(path).c_str(), &st) != 0)
        return 0;
    return static_cast<std::uint64_t>(st.st_size);
}

bool DeleteFile(const std::u16string& path) {
    return !path.empty() && unlink(Native(path).c_str()) == 0;
}

std::u16string CreateTempFile(const std::u16string& prefix) {
    try {
        std::string folder = Getenv("TMPDIR");
        if (folder.empty())
            folder = "/tmp";
        if (folder.back() != '/')
            folder += '/';
        std::string name = folder + Native(prefix) + "XXXXXX";
        const int fd = mkstemp(name.data());
        if (fd < 0)
            return {};
        close(fd);
        return FromUtf8(name);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

std::optional<std::string> ReadFile(const std::u16string& path) {
    try {
        UniqueFile file(std::fopen(Native(path).c_str(), "rb"));
        if (!file)
            return std::nullopt;
        std::string bytes;
        char buffer[65536];
        std::size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, file.get())) > 0)
            bytes.append(buffer, n);
        if (std::ferror(file.get()))
            return std::nullopt;
        return bytes;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

bool WriteFile(const std::u16string& path, std::string_view bytes) {
    const int fd = OpenPlainFile(path, O_WRONLY);
    if (fd < 0)
        return false;
    // Written over the old bytes, then cut to length: truncating first would release the old
    // file's blocks and pages only to take as many again (tens of ms for a document of 35 MB).
    bool written = true;
    for (std::size_t done = 0; written && done < bytes.size();) {
        const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        written = n > 0;
        if (written)
            done += static_cast<std::size_t>(n);
    }
    written = written && ftruncate(fd, static_cast<off_t>(bytes.size())) == 0;
    return close(fd) == 0 && written;
}

AppendFile::AppendFile(const std::u16string& path) {
    const int fd = OpenPlainFile(path, O_WRONLY | O_APPEND);
    if (fd < 0)
        return;
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        close(fd);
        return;
    }
    handle_ = fdopen(fd, "ab");
    if (!handle_) {
        close(fd);
        return;
    }
    size_ = static_cast<std::uint64_t>(status.st_size);
}

AppendFile::~AppendFile() {
    Close();
}

AppendFile::AppendFile(AppendFile&& other) noexcept : handle_(other.handle_), size_(other.size_) {
    other.handle_ = nullptr;
}

AppendFile& AppendFile::operator=(AppendFile&& other) noexcept {
    if (this != &other) {
        Close();
        handle_ = other.handle_;
        size_ = other.size_;
        other.handle_ = nullptr;
    }
    return *this;
}

bool AppendFile::Write(const char* bytes, std::size_t length) {
    if (!handle_)
        return false;
    const bool written = std::fwrite(bytes, 1, length, AsFile(handle_)) == length;
    const bool flushed = std::fflush(AsFile(handle_)) == 0;
    // Counted as written: a short write is rare and only makes the rotation come a line late.
    size_ += length;
    return flushed && written;
}

void AppendFile::Close() {
    if (handle_) {
        std::fclose(AsFile(handle_));
        handle_ = nullptr;
    }
    size_ = 0;
}

void DebugTrace(const std::u16string&) {}

} // namespace Tessarix::Platform
