#pragma once
// The user's text selection in the focused window, as HTML.
//
// On Windows the focused control is made to copy its selection to the clipboard, which is saved
// before and written back after; elsewhere there is no selection. The rules that turn clipboard
// data into HTML are portable and live here.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Tessarix {

namespace Html {

// The name of the clipboard format that carries HTML with its offset header.
inline constexpr std::u16string_view kHtmlClipboardFormat = u"HTML Format";
inline constexpr std::uint32_t kUnicodeTextFormat = 13; // CF_UNICODETEXT

// One copied clipboard format; copies share the bytes.
struct ClipboardEntry {
    std::uint32_t format = 0;
    std::shared_ptr<const std::vector<char>> bytes;

    std::string_view View() const {
        return bytes ? std::string_view(bytes->data(), bytes->size()) : std::string_view();
    }
};

// Formats whose data are handles rather than memory (bitmaps, metafiles, palettes, owner display,
// the private and GDI-object ranges 512-767); they are neither saved nor restored.
bool IsExcludedClipboardFormat(std::uint32_t format);

// "HTML Format" bytes to HTML: decoded as UTF-8, cut at the first zero, then from the first "<html"
// through the first "</html>"; the whole decoded text when either tag is missing.
std::u16string HtmlFromHtmlFormat(std::string_view bytes);
// Plain text to HTML: cut at the first zero, then escaped as Tessarix::EscapeHtml does.
std::u16string HtmlFromPlainText(std::u16string_view text);
// CF_UNICODETEXT bytes (UTF-16LE, an odd trailing byte ignored) to HTML, as HtmlFromPlainText.
std::u16string HtmlFromUnicodeTextFormat(std::string_view bytes);

// The HTML of a captured clipboard from its "HTML Format" entry when there is one, else from its
// CF_UNICODETEXT entry, else "". Either may be null.
std::u16string HtmlFromCapturedEntries(const ClipboardEntry* htmlFormat, const ClipboardEntry* unicodeText);

// Test hook. A provider set here answers Global::GetSelectedTextHtml in place of the platform
// capture (the clipboard on Windows); an empty function restores the platform capture. Returns
// the provider that was set before. Not thread-safe: set it before the code under test runs.
using SelectionProvider = std::function<std::u16string()>;
SelectionProvider SetSelectionProvider(SelectionProvider provider);

// The platform capture itself, whatever provider is set: the clipboard on Windows, "" elsewhere.
std::u16string CaptureSelectedTextHtml();

} // namespace Html

namespace Global {

// The selection of the window with the keyboard focus as HTML; "" when nothing could be captured.
std::u16string GetSelectedTextHtml();

} // namespace Global

} // namespace Tessarix
