#include <climits>
#include <stdexcept>
#include <windows.h>

#include "core/CodePage.h"

namespace Tessarix::CodePage {
namespace {

int ApiLength(std::size_t length) {
    if (length > static_cast<std::size_t>(INT_MAX))
        throw std::length_error("text too long for a code-page conversion");
    return static_cast<int>(length);
}

} // namespace

bool IsSupported(std::uint32_t codePage) {
    return IsValidCodePage(codePage) != FALSE;
}

// Flags 0 throughout: ill-formed input is replaced and unmappable characters take the code
// page's best fit or its default character, as the add-in has always converted text.
std::u16string ToWide(std::string_view bytes, std::uint32_t codePage) {
    if (bytes.empty())
        return {};
    const int length = ApiLength(bytes.size());
    const int needed = MultiByteToWideChar(codePage, 0, bytes.data(), length, nullptr, 0);
    if (needed <= 0)
        return {};
    std::u16string out(static_cast<std::size_t>(needed), u'\0');
    const int written = MultiByteToWideChar(codePage, 0, bytes.data(), length,
                                            reinterpret_cast<wchar_t*>(out.data()), needed);
    out.resize(written > 0 ? static_cast<std::size_t>(written) : 0);
    return out;
}

std::string FromWide(std::u16string_view text, std::uint32_t codePage) {
    if (text.empty())
        return {};
    const int length = ApiLength(text.size());
    const auto* wide = reinterpret_cast<const wchar_t*>(text.data());
    const int needed = WideCharToMultiByte(codePage, 0, wide, length, nullptr, 0, nullptr, nullptr);
    if (needed <= 0)
        return {};
    std::string out(static_cast<std::size_t>(needed), '\0');
    const int written = WideCharToMultiByte(codePage, 0, wide, length, out.data(), needed, nullptr, nullptr);
    out.resize(written > 0 ? static_cast<std::size_t>(written) : 0);
    return out;
}

} // namespace Tessarix::CodePage
