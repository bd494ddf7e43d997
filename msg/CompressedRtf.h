#pragma once
// Compressed RTF (PR_RTF_COMPRESSED): the LZFu format and its uncompressed "MELA" form, with the
// CRC-32 that also hashes named-property names.
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Tessarix::Msg::Rtf {

// Data that is not compressed RTF, is cut short or fails its CRC.
class CompressedRtfError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The format's CRC-32 (reflected polynomial 0xEDB88320, no initial or final inversion), continued
// from `crc`.
std::uint32_t Crc32(std::string_view bytes, std::uint32_t crc = 0);

// The RTF held by a PR_RTF_COMPRESSED value. Never allocates more than the input can expand to.
std::string Decompress(std::string_view data);

// LZFu-compressed form of `rtf`, as a host writes it.
std::string Compress(std::string_view rtf);
// The uncompressed ("MELA") form.
std::string StoreUncompressed(std::string_view rtf);

} // namespace Tessarix::Msg::Rtf
