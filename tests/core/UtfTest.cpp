#include "core/Utf.h"

#include <gtest/gtest.h>

using Tessarix::FromUtf8;
using Tessarix::ToUtf8;

TEST(Utf, RoundTripsEveryPlane) {
    const std::u16string text = u"a\u00e9\u4f60\U0001F600z";
    const std::string bytes = ToUtf8(text);
    EXPECT_EQ(bytes, "a\xC3\xA9\xE4\xBD\xA0\xF0\x9F\x98\x80z");
    EXPECT_EQ(FromUtf8(bytes), text);
}

TEST(Utf, LoneSurrogatesBecomeReplacementCharacters) {
    const std::u16string text{u'x', char16_t(0xD800), u'y', char16_t(0xDC00)};
    EXPECT_EQ(ToUtf8(text), "x\xEF\xBF\xBDy\xEF\xBF\xBD");
}

TEST(Utf, IllFormedInputIsReplacedPerMaximalSubpart) {
    // Unicode's recommended practice (also MultiByteToWideChar's since Vista).
    EXPECT_EQ(FromUtf8("\x80"), u"\uFFFD");
    EXPECT_EQ(FromUtf8("\xC0\xAF"), u"\uFFFD\uFFFD");           // overlong
    EXPECT_EQ(FromUtf8("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD"); // encoded surrogate
    EXPECT_EQ(FromUtf8("\xE4\xBD"), u"\uFFFD");                 // truncated at the end
    EXPECT_EQ(FromUtf8("\xF0\x9F\x98x"), u"\uFFFDx");
    EXPECT_EQ(FromUtf8("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD"); // above U+10FFFF
}

TEST(Utf, TerminalSafeBlanksControlCharactersButLineFeedAndTab) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"plain \xC3\xA9t\xC3\xA9", "plain \xC3\xA9t\xC3\xA9"},
        {"a\nb\tc", "a\nb\tc"},
        {"\x1B]0;title\x07", " ]0;title "},
        {std::string("nul\0cr\rdel\x7F", 11), "nul cr del "},
        {"c1 \xC2\x9B"
         "31m \xC2\x85",
         "c1  31m  "}, // U+009B (CSI) and U+0085 (NEL)
        {"lone \x9B"
         "31m",
         "lone \xEF\xBF\xBD"
         "31m"}, // not UTF-8: U+FFFD, never a raw C1 byte
    };
    for (const auto& c : cases)
        EXPECT_EQ(Tessarix::TerminalSafe(c.in), c.out) << c.in;
}
