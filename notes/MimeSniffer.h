#pragma once
// Content sniffing for resources (FindMimeFromData on Windows, libmagic on POSIX).
#include <cstddef>
#include <string>
#include <string_view>

namespace Tessarix::Notes {

// The platform's answer for the bytes, as standard MIME type names for at least JPEG, PNG, GIF
// and BMP; empty when the sniffer fails. Not normalised.
std::u16string SniffMime(std::string_view bytes);
// How many leading bytes the sniffer looks at: a longer buffer gives the same answer, so a large
// content need only be read that far to be sniffed.
std::size_t SniffLength();
// "image/pjpeg" -> "image/jpeg", "image/x-png" -> "image/png"; whole-string comparisons.
std::u16string NormaliseMime(std::u16string mime);

} // namespace Tessarix::Notes
