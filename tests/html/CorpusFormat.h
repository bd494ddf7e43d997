#pragma once
// The text form of a loaded document that the native build writes for each corpus input and the
// stand-in engine of the Windows tests serves. One line per item, indented two blanks per tree
// level; texts are UTF-8 with '%', blanks and control bytes written as %XX.
//
//   tessarix-dom 1
//   input <FNV-1a 64 of the bytes handed to the engine, hex> <their length>
//   node <nodeType> <name> <value>          a node; its children follow one level deeper
//   attr <name> <specified 0|1> <value>     an attribute of the node above, in collection order
//   style <property>=<value> ...            its computed style, all listed properties in order
//   image <address>                         the picture list, in document order
//
// A <value> is "'" and the text, or "-" when there is none.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Tessarix::Testing::Corpus {

inline constexpr std::string_view kHeader = "tessarix-dom 1";

inline std::uint64_t Fnv1a(std::string_view bytes) {
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (const char c : bytes) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 0x100000001b3u;
    }
    return hash;
}

inline std::string ToHex(std::uint64_t value) {
    std::string out(16, '0');
    for (std::size_t i = 16; i-- > 0; value >>= 4)
        out[i] = "0123456789abcdef"[value & 15];
    return out;
}

inline std::string Escape(std::string_view text) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= 0x20 || byte == 0x7F || c == '%') {
            out += '%';
            out += kHex[byte >> 4];
            out += kHex[byte & 15];
        } else {
            out += c;
        }
    }
    return out;
}

inline std::string Unescape(std::string_view text) {
    auto digit = [](char c) {
        return c <= '9' ? c - '0' : c - 'A' + 10;
    };
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            out += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

inline std::string Value(const std::optional<std::string>& value) {
    if (!value)
        return "-";
    // Appended, not prepended: GCC 12 at -O3 warns (-Wrestrict) on a literal before a string.
    std::string result(1, '\'');
    result += Escape(*value);
    return result;
}

inline std::optional<std::string> ParseValue(std::string_view token) {
    if (token == "-")
        return std::nullopt;
    return Unescape(token.substr(1));
}

} // namespace Tessarix::Testing::Corpus
