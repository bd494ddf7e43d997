// Pictures on Windows: the WinINet URL cache, then the file the address names.
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

std::optional<StringUTF8> FromLocalFile(const std::u16string& address) {
    if (address.empty())
        return std::nullopt;
    const auto path =
        AllowedLocalFile(std::filesystem::path(std::wstring(AsWide(ReplaceFileScheme(address, u"")))));
    if (!path)
        return std::nullopt;
    File file(::CreateFileW(path->c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file.Get() == INVALID_HANDLE_VALUE)
        return std::nullopt;
    const DWORD size = ::GetFileSize(file.Get(), nullptr);
    if (size == INVALID_FILE_SIZE)
        return std::nullopt;
    if (size == 0)
        return StringUTF8();
    std::shared_ptr<char[]> bytes(new char[size]);
    DWORD read = 0;
    if (!::ReadFile(file.Get(), bytes.get(), size, &read, nullptr))
        return std::nullopt;
    return StringUTF8(std::move(bytes), read);
}

} // namespace Tessarix::Html::Pictures
