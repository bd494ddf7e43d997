// The clipboard-to-HTML rules of the selection capture and its test hook.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/Utf.h"
#include "html/SelectionCapture.h"
#include "tests/support/ItemLog.h"

namespace Tessarix::Html {
namespace {

ClipboardEntry Entry(std::uint32_t format, const std::string& bytes) {
    return {format, std::make_shared<const std::vector<char>>(bytes.begin(), bytes.end())};
}

// CF_UNICODETEXT bytes: UTF-16LE with the terminating zero the clipboard carries.
std::string UnicodeTextBytes(std::u16string_view text) {
    std::string bytes;
    for (char16_t c : text) {
        bytes.push_back(static_cast<char>(c & 0xFF));
        bytes.push_back(static_cast<char>(c >> 8));
    }
    bytes.append(2, '\0');
    return bytes;
}

// Clipboard "HTML Format" data as browsers and Office write it: header, then the document.
const std::string kHeader = "Version:0.9\r\nStartHTML:0000000105\r\nEndHTML:0000000199\r\n"
                            "StartFragment:0000000141\r\nEndFragment:0000000163\r\n";

TEST(ClipboardFormats, HandleBasedFormatsAreExcluded) {
    for (std::uint32_t format : {2u, 3u, 9u, 14u, 128u, 130u, 131u, 142u, 512u, 600u, 767u})
        EXPECT_TRUE(IsExcludedClipboardFormat(format)) << format;
    // Memory formats around them are kept: text, DIB, locale, the neighbours of the ranges, and
    // registered formats such as "HTML Format".
    for (std::uint32_t format : {0u, 1u, 7u, 8u, 13u, 15u, 16u, 17u, 129u, 141u, 143u, 511u, 768u, 0xC0FEu})
        EXPECT_FALSE(IsExcludedClipboardFormat(format)) << format;
}

// The decoded bytes up to the terminating zero, from the first "<html" to the first "</html>"
// (both case-sensitive); without both, the whole text.
TEST(HtmlFormatData, TheFirstHtmlElementBeforeTheZeroIsTaken) {
    const std::string fragment = "<html><body><!--StartFragment--><b>x</b><!--EndFragment--></body></html>";
    const std::string noClose = kHeader + "<html><body>selected", noOpen = kHeader + "<body>x</body></html>",
                      upper = kHeader + "<HTML><BODY>x</BODY></HTML>", cut = kHeader + "<html>a";
    const std::string zero(1, '\0');
    const struct {
        std::string data;
        std::u16string expected;
    } cases[] = {
        {kHeader + fragment + "\r\n<!-- trailer -->" + zero + "<html>garbage</html>", FromUtf8(fragment)},
        {noClose + zero, FromUtf8(noClose)},
        {noOpen, FromUtf8(noOpen)},
        {upper, FromUtf8(upper)},
        {cut + zero + "</html>", FromUtf8(cut)}, // a closing tag behind the zero is not seen
        {kHeader + "<html>one</html><html>two</html>", u"<html>one</html>"},
        {"x<html lang=en>a</html>y", u"<html lang=en>a</html>"},
        {"</html><html>", u""}, // a closing tag ahead of every opening one
        {"<html>\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80</html>", u"<html>\u00E9 \u20AC \U0001F600</html>"},
        {"", u""},
        {std::string(4, '\0'), u""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ToUtf8(HtmlFromHtmlFormat(c.data)), ToUtf8(c.expected)) << c.data;
}

// Escaped as EscapeHtml escapes (its rules are core's tests'), after a cut at the first zero.
TEST(PlainTextFallback, UnicodeTextBytesAreLittleEndianUtf16CutAtTheZero) {
    EXPECT_EQ(HtmlFromPlainText(std::u16string(u"kept <b>\0dropped", 16)), u"kept&nbsp;&lt;b&gt;");
    EXPECT_EQ(HtmlFromUnicodeTextFormat(UnicodeTextBytes(u"\u20AC 1<2")), u"\u20AC&nbsp;1&lt;2");
    // An odd trailing byte is not half a character.
    EXPECT_EQ(HtmlFromUnicodeTextFormat(std::string("a\0b\0c", 5)), u"ab");
    EXPECT_EQ(HtmlFromUnicodeTextFormat(""), u"");
}

TEST(CapturedClipboard, HtmlFormatIsPreferredThenTextThenNothing) {
    const ClipboardEntry html = Entry(0xC100, "<html>h</html>");
    const ClipboardEntry text = Entry(kUnicodeTextFormat, UnicodeTextBytes(u"t t"));
    EXPECT_EQ(HtmlFromCapturedEntries(&html, &text), u"<html>h</html>");
    EXPECT_EQ(HtmlFromCapturedEntries(nullptr, &text), u"t&nbsp;t");
    EXPECT_EQ(HtmlFromCapturedEntries(nullptr, nullptr), u"");
    // "HTML Format" data that decode to nothing do not fall back to the text.
    const ClipboardEntry emptyHtml = Entry(0xC100, "");
    EXPECT_EQ(HtmlFromCapturedEntries(&emptyHtml, &text), u"");
}

TEST(SelectionProviderHook, ReplacesThePlatformCaptureUntilCleared) {
    Testing::ItemLog log;
    int calls = 0;
    const SelectionProvider before = SetSelectionProvider([&calls] {
        ++calls;
        return std::u16string(u"<p>picked</p>");
    });
    EXPECT_FALSE(before);
    EXPECT_EQ(Global::GetSelectedTextHtml(), u"<p>picked</p>");
    EXPECT_EQ(calls, 1);
    const std::vector<std::string> lines = log.Lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Debug: Global::GetSelectedTextHtml() call begin"),
              lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Debug: Global::GetSelectedTextHtml() call end"),
              lines.end());

    const SelectionProvider replaced = SetSelectionProvider(nullptr);
    ASSERT_TRUE(replaced);
    EXPECT_EQ(replaced(), u"<p>picked</p>");
#ifndef _WIN32
    // Outside Windows there is no selection to capture.
    EXPECT_EQ(Global::GetSelectedTextHtml(), u"");
    EXPECT_EQ(calls, 2); // only the direct call above
#endif
}

} // namespace
} // namespace Tessarix::Html
