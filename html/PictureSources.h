#pragma once
// Where a picture's bytes come from: the local internet cache for web addresses, the disk for a
// file on one of this machine's own drives. Never the network, and never another machine: a
// picture address is written by whoever sent the mail.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ByteString.h"
#include "notes/Note.h"

namespace Tessarix::Html::Pictures {

enum class PathStyle { Windows, Posix };
#ifdef _WIN32
inline constexpr PathStyle kSystemPathStyle = PathStyle::Windows;
#else
inline constexpr PathStyle kSystemPathStyle = PathStyle::Posix;
#endif

// How an address may be read. http and https addresses only from the cache. A "file:///" address
// from disk when, with every "file:///" removed as text (percent escapes are not decoded; on
// POSIX a removed "file:///" leaves the root "/"), it is an absolute local path: a drive letter, a
// colon and a separator on Windows, a single leading "/" on POSIX. Network, device and extended
// paths, relative paths and every other scheme are refused.
struct Route {
    enum class Kind { Cache, File, Refused };
    Kind kind = Kind::Refused;
    std::u16string path; // the file to open, for Kind::File
};
Route RouteOf(std::u16string_view address, PathStyle style = kSystemPathStyle);

// What reading a picture reaches the system through; tests replace it to see what was opened.
struct Readers {
    struct FileBytes {
        enum class Outcome { Read, Unreadable, TooLarge };
        Outcome outcome = Outcome::Unreadable;
        StringUTF8 bytes;
    };
    std::function<std::optional<StringUTF8>(const std::u16string& address)> cache;
    // Whether the path's drive is one of this machine's own (on Windows not remote nor unknown).
    std::function<bool(const std::u16string& path)> onLocalDrive;
    // A regular file of at most `limit` bytes.
    std::function<FileBytes(const std::u16string& path, std::uint32_t limit)> file;
};
const Readers& SystemReaders();

// The picture's bytes, or nothing when its address is refused or unreadable; each refusal is
// logged with the address.
std::optional<StringUTF8> Read(const std::u16string& address, const Readers& readers = SystemReaders());

// Where a local file named by an item may be read from. Without a limit (the add-in) any file
// that Read routes to disk is read, as the pictures Outlook stores for an item are. With one
// (txclip, which clips items from anyone), only a file whose canonical path lies inside one of
// `folders` is read, so neither "..", nor a symbolic link, nor an absolute path in an item reaches
// the rest of the user's files; any other existing file is refused with a log line and its address
// stays unresolved. The folders are resolved here: one that does not exist throws
// std::filesystem::filesystem_error. Process-wide: one clip runs at a time.
void LimitLocalFolders(const std::vector<std::filesystem::path>& folders);
void RemoveLocalFolderLimit();
// The file to open for `path` under the limit: `path` itself without a limit; its canonical form
// when that lies inside an allowed folder; otherwise nothing.
std::optional<std::filesystem::path> AllowedLocalFile(const std::filesystem::path& path);

// Every occurrence of "file:///" replaced by `root`.
std::u16string ReplaceFileScheme(std::u16string_view address, std::u16string_view root);

// The platform's readers (WinINet's URL cache and CreateFileW on Windows; no cache on POSIX).
std::optional<StringUTF8> FromCache(const std::u16string& address);
bool IsOnLocalDrive(const std::u16string& path);
Readers::FileBytes FromLocalFile(const std::u16string& path, std::uint32_t limit);

} // namespace Tessarix::Html::Pictures
