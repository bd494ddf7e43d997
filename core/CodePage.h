#pragma once
// Conversion between UTF-16 and 8-bit text by Windows code page number, on both platforms
// (MultiByteToWideChar/WideCharToMultiByte on Windows, iconv on POSIX).
#include <cstdint>
#include <string>
#include <string_view>

namespace Tessarix::CodePage {

inline constexpr std::uint32_t kUtf8 = 65001;

// Flags 0 semantics: ill-formed input is replaced, not refused. An unknown code page gives the
// empty result (the API's "0 characters").
std::u16string ToWide(std::string_view bytes, std::uint32_t codePage);
// Characters that the code page cannot represent become '?'. Unknown code page: empty result.
std::string FromWide(std::u16string_view text, std::uint32_t codePage);
// Whether the code page is known on this platform.
bool IsSupported(std::uint32_t codePage);

} // namespace Tessarix::CodePage
