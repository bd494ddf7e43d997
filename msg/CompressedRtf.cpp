#include "msg/CompressedRtf.h"

#include <algorithm>
#include <array>

#include "msg/MsgValue.h"

namespace Tessarix::Msg::Rtf {
namespace {

constexpr std::uint32_t kCompressed = 0x75465A4C;   // "LZFu"
constexpr std::uint32_t kUncompressed = 0x414C454D; // "MELA"
constexpr std::size_t kHeaderSize = 16;
constexpr std::size_t kDictionarySize = 4096;
constexpr std::size_t kMaxMatch = 17;

// The dictionary's initial content; writing starts right after it.
constexpr std::string_view kPreload =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss \\fmodern \\fscript "
    "\\fdecor MS Sans SerifSymbolArialTimes New RomanCourier{\\colortbl\\red0\\green0\\blue0\r\n\\par "
    "\\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";
static_assert(kPreload.size() == 207);

constexpr std::array<std::uint32_t, 256> MakeCrcTable() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t c = i;
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? (c >> 1) ^ 0xEDB88320u : c >> 1;
        table[i] = c;
    }
    return table;
}
constexpr auto kCrcTable = MakeCrcTable();

struct Dictionary {
    std::array<char, kDictionarySize> bytes{};
    std::size_t write = kPreload.size();
    std::size_t filled = kPreload.size(); // positions written so far, up to the whole dictionary

    Dictionary() { std::copy(kPreload.begin(), kPreload.end(), bytes.begin()); }
    void Put(char c) {
        bytes[write] = c;
        write = (write + 1) % kDictionarySize;
        filled = std::min(filled + 1, kDictionarySize);
    }
};

std::string Header(std::size_t contentSize, std::size_t rawSize, std::uint32_t type, std::uint32_t crc) {
    std::string out;
    AppendLe32(out, static_cast<std::uint32_t>(contentSize + 12));
    AppendLe32(out, static_cast<std::uint32_t>(rawSize));
    AppendLe32(out, type);
    AppendLe32(out, crc);
    return out;
}

} // namespace

std::uint32_t Crc32(std::string_view bytes, std::uint32_t crc) {
    for (const char c : bytes)
        crc = kCrcTable[(crc ^ static_cast<unsigned char>(c)) & 0xFF] ^ (crc >> 8);
    return crc;
}

std::string Decompress(std::string_view data) {
    if (data.size() < kHeaderSize)
        throw CompressedRtfError("compressed RTF: shorter than its header");
    const std::uint32_t compSize = ReadLe32(data.data());
    const std::uint32_t rawSize = ReadLe32(data.data() + 4);
    const std::uint32_t type = ReadLe32(data.data() + 8);
    const std::uint32_t crc = ReadLe32(data.data() + 12);
    if (compSize < 12 || compSize - 12 > data.size() - kHeaderSize)
        throw CompressedRtfError("compressed RTF: the data is shorter than its header says");
    const std::string_view content = data.substr(kHeaderSize, compSize - 12);

    if (type == kUncompressed) {
        if (rawSize > content.size())
            throw CompressedRtfError("compressed RTF: uncompressed data shorter than its header says");
        return std::string(content.substr(0, rawSize));
    }
    if (type != kCompressed)
        throw CompressedRtfError("compressed RTF: unknown compression type");
    if (Crc32(content) != crc)
        throw CompressedRtfError("compressed RTF: CRC mismatch");

    Dictionary dictionary;
    std::string out;
    // Each control byte and its 16 bytes of references give at most 8 * 17 bytes: never trust the
    // declared size for the allocation.
    out.reserve(std::min<std::size_t>(rawSize, content.size() * 9));
    std::size_t in = 0;
    bool ended = false;
    while (!ended && in < content.size() && out.size() < rawSize) {
        const auto control = static_cast<unsigned char>(content[in++]);
        for (int bit = 0; bit < 8 && !ended; ++bit) {
            if (in >= content.size()) {
                ended = true;
                break;
            }
            if ((control & (1u << bit)) == 0) {
                out.push_back(content[in]);
                dictionary.Put(content[in]);
                ++in;
                continue;
            }
            if (in + 2 > content.size())
                throw CompressedRtfError("compressed RTF: a reference is cut short");
            const unsigned word =
                (static_cast<unsigned char>(content[in]) << 8) | static_cast<unsigned char>(content[in + 1]);
            in += 2;
            std::size_t offset = word >> 4;
            const std::size_t length = (word & 0xF) + 2;
            if (offset == dictionary.write) {
                ended = true;
                break;
            }
            for (std::size_t k = 0; k < length; ++k) {
                const char c = dictionary.bytes[offset];
                offset = (offset + 1) % kDictionarySize;
                out.push_back(c);
                dictionary.Put(c);
            }
        }
    }
    if (out.size() < rawSize)
        throw CompressedRtfError("compressed RTF: the data ends before the declared size");
    out.resize(rawSize);
    return out;
}

std::string Compress(std::string_view rtf) {
    Dictionary dictionary;
    std::string content;
    std::size_t pos = 0;
    bool ended = false;
    while (!ended) {
        const std::size_t controlAt = content.size();
        content.push_back('\0');
        unsigned control = 0;
        for (int bit = 0; bit < 8; ++bit) {
            if (pos >= rtf.size()) {
                // The end: a reference to the write position.
                control |= 1u << bit;
                const auto word = static_cast<unsigned>(dictionary.write << 4);
                content.push_back(static_cast<char>(word >> 8));
                content.push_back(static_cast<char>(word & 0xFF));
                ended = true;
                break;
            }
            // The longest match; a match may run into the bytes it writes itself.
            std::size_t bestOffset = 0, bestLength = 0;
            const bool wrapped = dictionary.filled == kDictionarySize;
            for (std::size_t o = 0; o < kDictionarySize; ++o) {
                if (o == dictionary.write || (!wrapped && o >= dictionary.write) ||
                    dictionary.bytes[o] != rtf[pos])
                    continue;
                const std::size_t distance = (dictionary.write + kDictionarySize - o) % kDictionarySize;
                std::size_t length = 0;
                while (length < kMaxMatch && pos + length < rtf.size()) {
                    const char c = length < distance ? dictionary.bytes[(o + length) % kDictionarySize]
                                                     : rtf[pos + length - distance];
                    if (c != rtf[pos + length])
                        break;
                    ++length;
                }
                if (length > bestLength) {
                    bestLength = length;
                    bestOffset = o;
                    if (length == kMaxMatch)
                        break;
                }
            }
            if (bestLength >= 2) {
                control |= 1u << bit;
                const auto word = static_cast<unsigned>((bestOffset << 4) | (bestLength - 2));
                content.push_back(static_cast<char>(word >> 8));
                content.push_back(static_cast<char>(word & 0xFF));
            } else {
                bestLength = 1;
                content.push_back(rtf[pos]);
            }
            for (std::size_t k = 0; k < bestLength; ++k)
                dictionary.Put(rtf[pos + k]);
            pos += bestLength;
        }
        content[controlAt] = static_cast<char>(control);
    }
    return Header(content.size(), rtf.size(), kCompressed, Crc32(content)) + content;
}

std::string StoreUncompressed(std::string_view rtf) {
    return Header(rtf.size(), rtf.size(), kUncompressed, 0) + std::string(rtf);
}

} // namespace Tessarix::Msg::Rtf
