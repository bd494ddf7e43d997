#pragma once
// UTF-8 <-> UTF-16 conversion. Text is UTF-16 everywhere in the product; UTF-8 appears only in
// byte strings, file contents and POSIX file names.
#include <string>
#include <string_view>

namespace Tessarix {

// Ill-formed UTF-16 (a lone surrogate) becomes U+FFFD, as WideCharToMultiByte does for CP_UTF8.
std::string ToUtf8(std::u16string_view text);
// Ill-formed UTF-8 becomes U+FFFD per maximal ill-formed subsequence, as MultiByteToWideChar does.
std::u16string FromUtf8(std::string_view bytes);
// The same into `out`, which has room for bytes.size() units (never more are written); returns
// the end of what was written.
char16_t* FromUtf8(std::string_view bytes, char16_t* out);

// UTF-8 text made safe for a terminal: every C0 control character but line feed and tab, DEL and
// every C1 control character becomes a blank, and ill-formed UTF-8 becomes U+FFFD, so that text
// from an item cannot send the terminal an escape sequence.
std::string TerminalSafe(std::string_view utf8);

// Windows API boundary: wchar_t is a UTF-16 unit on Windows.
#ifdef _WIN32
inline const wchar_t* AsWide(const std::u16string& s) {
    return reinterpret_cast<const wchar_t*>(s.c_str());
}
inline std::u16string FromWide(const wchar_t* s) {
    return s ? std::u16string(reinterpret_cast<const char16_t*>(s)) : std::u16string();
}
inline std::u16string FromWide(const wchar_t* s, std::size_t n) {
    return std::u16string(reinterpret_cast<const char16_t*>(s), n);
}
#endif

} // namespace Tessarix
