#pragma once
// Where a picture's bytes come from: the local internet cache, then the local file system.
// Never the network, so that clipping never waits on it.
#include <optional>
#include <string>
#include <string_view>

#include "core/ByteString.h"

namespace Tessarix::Html::Pictures {

// The cached copy of the address (the WinINet URL cache on Windows; POSIX has no such cache).
std::optional<StringUTF8> FromCache(const std::u16string& address);
// The file the address names: every "file:///" is removed as text (percent escapes are not
// decoded) and the rest is the path; on POSIX a removed "file:///" leaves the root "/" behind.
// An empty address, a missing or unreadable file gives nothing.
std::optional<StringUTF8> FromLocalFile(const std::u16string& address);

// Every occurrence of "file:///" replaced by `root`.
std::u16string ReplaceFileScheme(std::u16string_view address, std::u16string_view root);

} // namespace Tessarix::Html::Pictures
