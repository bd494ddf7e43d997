// Pictures on Windows: the WinINet URL cache, and files on the machine's own drives.
#include <windows.h>

#include <wininet.h>

#include <cstdint>
#include <memory>

#include "core/Utf.h"
#include "html/PictureSources.h"

namespace Tessarix::Html::Pictures {
namespace {

class CacheStream {
public:
    explicit CacheStream(HANDLE handle) : handle_(handle) {}
    ~CacheStream() {
        if (handle_)
            ::UnlockUrlCacheEntryStream(handle_, 0);
    }
    CacheStream(const CacheStream&) = delete;
    CacheStream& operator=(const CacheStream&) = delete;
    HANDLE Get() const { return handle_; }

private:
    HANDLE handle_;
};

class File {
public:
    explicit File(HANDLE handle) : handle_(handle) {}
    ~File() {
        if (handle_ != INVALID_HANDLE_VALUE)
            ::CloseHandle(handle_);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    HANDLE Get() const { return handle_; }

private:
    HANDLE handle_;
};

} // namespace

std::optional<StringUTF8> FromCache(const std::u16string& address) {
    const wchar_t* url = AsWide(address);
    DWORD size = 0;
    ::RetrieveUrlCacheEntryStreamW(url, nullptr, &size, FALSE, 0);
    if (size == 0)
        return std::nullopt;
    // The entry record, aligned for the structure at its head.
    std::unique_ptr<std::uint64_t[]> record(
        new std::uint64_t[(size + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t)]);
    auto* info = reinterpret_cast<INTERNET_CACHE_ENTRY_INFOW*>(record.get());
    CacheStream stream(::RetrieveUrlCacheEntryStreamW(url, info, &size, FALSE, 0));
    if (!stream.Get())
        return std::nullopt;
    DWORD length = info->dwSizeLow;
    if (length == 0)
        return StringUTF8();
    std::shared_ptr<char[]> bytes(new char[length]);
    if (!::ReadUrlCacheEntryStream(stream.Get(), 0, bytes.get(), &length, 0))
        return std::nullopt;
    return StringUTF8(std::move(bytes), length);
}

bool IsOnLocalDrive(const std::u16string& path) {
    // The path starts "X:" and a separator (see RouteOf); its root names the drive.
    if (path.size() < 3)
        return false;
    const wchar_t root[] = {static_cast<wchar_t>(path[0]), L':', L'\\', 0};
    switch (::GetDriveTypeW(root)) {
    case DRIVE_REMOTE:
    case DRIVE_UNKNOWN:
    case DRIVE_NO_ROOT_DIR:
        return false;
    default:
        return true;
    }
}

Readers::FileBytes FromLocalFile(const std::u16string& path, std::uint32_t limit) {
    using Outcome = Readers::FileBytes::Outcome;
    File file(::CreateFileW(AsWide(path), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    // A device (a "COM1" or "CON" at the end of a path) could block the read: disk files only.
    if (file.Get() == INVALID_HANDLE_VALUE || ::GetFileType(file.Get()) != FILE_TYPE_DISK)
        return {};
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(file.Get(), &size) || size.QuadPart < 0)
        return {};
    if (static_cast<std::uint64_t>(size.QuadPart) > limit)
        return {Outcome::TooLarge, {}};
    const auto length = static_cast<DWORD>(size.QuadPart);
    if (length == 0)
        return {Outcome::Read, StringUTF8()};
    std::shared_ptr<char[]> bytes(new char[length]);
    DWORD read = 0;
    if (!::ReadFile(file.Get(), bytes.get(), length, &read, nullptr))
        return {};
    return {Outcome::Read, StringUTF8(std::move(bytes), read)};
}

} // namespace Tessarix::Html::Pictures
