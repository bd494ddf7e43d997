#include "html/SelectionCapture.h"

#include <utility>

#include "core/Log.h"
#include "core/Utf.h"
#include "core/Utils.h"

namespace Tessarix {

namespace Html {

namespace {

SelectionProvider& Provider() {
    static SelectionProvider provider;
    return provider;
}

std::u16string_view UpToFirstZero(std::u16string_view text) {
    return text.substr(0, text.find(u'\0'));
}

} // namespace

bool IsExcludedClipboardFormat(std::uint32_t format) {
    switch (format) {
    case 2:   // CF_BITMAP
    case 3:   // CF_METAFILEPICT
    case 9:   // CF_PALETTE
    case 14:  // CF_ENHMETAFILE
    case 128: // CF_OWNERDISPLAY
    case 130: // CF_DSPBITMAP
    case 131: // CF_DSPMETAFILEPICT
    case 142: // CF_DSPENHMETAFILE
        return true;
    default:
        return format >= 512 && format <= 767; // CF_PRIVATEFIRST..CF_GDIOBJLAST
    }
}

std::u16string HtmlFromHtmlFormat(std::string_view bytes) {
    const std::u16string decoded = FromUtf8(bytes);
    const std::u16string_view text = UpToFirstZero(decoded);
    // The header's StartHTML/EndHTML offsets are not trusted: the tags are searched for.
    static constexpr std::u16string_view kOpen = u"<html";
    static constexpr std::u16string_view kClose = u"</html>";
    const std::size_t start = text.find(kOpen);
    const std::size_t end = text.find(kClose);
    if (start == std::u16string_view::npos || end == std::u16string_view::npos)
        return std::u16string(text);
    // A "</html>" in front of the first "<html" leaves nothing between them.
    const std::size_t stop = end + kClose.size();
    return stop > start ? std::u16string(text.substr(start, stop - start)) : std::u16string();
}

std::u16string HtmlFromPlainText(std::u16string_view text) {
    return EscapeHtml(UpToFirstZero(text));
}

std::u16string HtmlFromUnicodeTextFormat(std::string_view bytes) {
    std::u16string text(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto low = static_cast<unsigned char>(bytes[2 * i]);
        const auto high = static_cast<unsigned char>(bytes[2 * i + 1]);
        text[i] = static_cast<char16_t>(low | (high << 8));
    }
    return HtmlFromPlainText(text);
}

std::u16string HtmlFromCapturedEntries(const ClipboardEntry* htmlFormat, const ClipboardEntry* unicodeText) {
    if (htmlFormat)
        return HtmlFromHtmlFormat(htmlFormat->View());
    if (unicodeText)
        return HtmlFromUnicodeTextFormat(unicodeText->View());
    return {};
}

SelectionProvider SetSelectionProvider(SelectionProvider provider) {
    return std::exchange(Provider(), std::move(provider));
}

} // namespace Html

namespace Global {

std::u16string GetSelectedTextHtml() {
    CallTracer trace(u"Global::GetSelectedTextHtml()");
    if (const Html::SelectionProvider& provider = Html::Provider())
        return provider();
    return Html::CaptureSelectedTextHtml();
}

} // namespace Global

} // namespace Tessarix
