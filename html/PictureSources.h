#pragma once
// Where a picture's bytes come from: the local internet cache, then the local file system.
// Never the network, so that clipping never waits on it.
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ByteString.h"

namespace Tessarix::Html::Pictures {

// The cached copy of the address (the WinINet URL cache on Windows; POSIX has no such cache).
std::optional<StringUTF8> FromCache(const std::u16string& address);
// The file the address names: every "file:///" is removed as text (percent escapes are not
// decoded) and the rest is the path; on POSIX a removed "file:///" leaves the root "/" behind.
// An empty address, a missing or unreadable file gives nothing.
std::optional<StringUTF8> FromLocalFile(const std::u16string& address);

// Where a local file named by an item may be read from. Without a limit (the add-in) a picture is
// read wherever its address points, as the pictures Outlook stores for an item are. With one
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

} // namespace Tessarix::Html::Pictures
