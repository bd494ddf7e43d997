#pragma once
// printf-style formatting of UTF-16 text, the one formatter of the product.
//
// Conversions: d i u x X c s and %% with the flags - 0 + blank #, a width, a precision (".N") and
// the length modifiers h l ll I64 (ignored: every integer argument is 64-bit here).
// A conversion that has no argument left (or whose argument has the wrong kind) expands to nothing,
// so a message used as a format with no arguments never reads garbage: "100%%" gives "100%" and
// "count: %d" gives "count: ". A lone "%" at the end is kept as it is.
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace Tessarix {

class FormatArg {
public:
    enum class Kind { Signed, Unsigned, Text };

    template <typename T>
    requires(std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char16_t>)
        FormatArg(T v) // NOLINT(google-explicit-constructor): arguments convert implicitly, as in printf
        : kind_(std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned), i_(static_cast<std::int64_t>(v)),
          u_(static_cast<std::uint64_t>(v)) {}
    FormatArg(char16_t c) : kind_(Kind::Unsigned), i_(c), u_(c), text_(), ch_(c), isChar_(true) {}
    FormatArg(std::u16string_view s) : kind_(Kind::Text), text_(s) {}
    FormatArg(const std::u16string& s) : kind_(Kind::Text), text_(s) {}
    FormatArg(const char16_t* s)
        : kind_(Kind::Text), text_(s ? std::u16string_view(s) : std::u16string_view()) {}

    Kind kind() const { return kind_; }
    std::int64_t asSigned() const { return i_; }
    std::uint64_t asUnsigned() const { return u_; }
    std::u16string_view text() const { return text_; }
    bool isChar() const { return isChar_; }
    char16_t ch() const { return ch_; }

private:
    Kind kind_;
    std::int64_t i_ = 0;
    std::uint64_t u_ = 0;
    std::u16string_view text_;
    char16_t ch_ = 0;
    bool isChar_ = false;
};

std::u16string FormatV(std::u16string_view format, std::span<const FormatArg> args);

template <typename... Args> std::u16string Format(std::u16string_view format, const Args&... args) {
    if constexpr (sizeof...(Args) == 0) {
        return FormatV(format, {});
    } else {
        const FormatArg list[] = {FormatArg(args)...};
        return FormatV(format, list);
    }
}

} // namespace Tessarix
