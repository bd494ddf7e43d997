#include "core/Format.h"

#include <gtest/gtest.h>

using Tessarix::Format;

TEST(Format, IntegersWithWidthPrecisionAndFlags) {
    EXPECT_EQ(Format(u"%.2d/%.2d/%.4d %.2d:%.2d:%.2d:%.4d ", 3, 7, 2011, 14, 5, 9, 42),
              u"03/07/2011 14:05:09:0042 ");
    EXPECT_EQ(Format(u"%i-%02i-%02iT%02i:%02i:%02i.%03iZ", 2011, 3, 7, 13, 5, 9, 42),
              u"2011-03-07T13:05:09.042Z");
    EXPECT_EQ(Format(u"%d|%5d|%-5d|%05d|%+d", -12, 42, 42, -42, 7), u"-12|   42|42   |-0042|+7");
    EXPECT_EQ(Format(u"%u %x %X %#x", 4294967295u, 255, 255, 255), u"4294967295 ff FF 0xff");
    EXPECT_EQ(Format(u"%d", INT64_MIN), u"-9223372036854775808");
}

TEST(Format, NegativeHResultAsSignedAndUnsigned) {
    const std::int32_t hr = static_cast<std::int32_t>(0x80004005u);
    EXPECT_EQ(Format(u"%d", hr), u"-2147467259");
    EXPECT_EQ(Format(u"%x", hr), u"80004005");
}

TEST(Format, TextAndCharacters) {
    std::u16string s = u"wörld";
    EXPECT_EQ(Format(u"hello %s!", s), u"hello wörld!");
    EXPECT_EQ(Format(u"[%c%c]", u'a', u'/'), u"[a/]");
    EXPECT_EQ(Format(u"%.3s|%6s|%-6s|", u"abcdef", u"ab", u"ab"), u"abc|    ab|ab    |");
    EXPECT_EQ(Format(u"%s", static_cast<const char16_t*>(nullptr)), u"");
}

TEST(Format, ConversionsWithoutArgumentsExpandToNothing) {
    EXPECT_EQ(Format(u"100%%"), u"100%");
    EXPECT_EQ(Format(u"count: %d items"), u"count:  items");
    EXPECT_EQ(Format(u"%s and %5d and %.2s"), u" and  and ");
    EXPECT_EQ(Format(u"%d %d", 1), u"1 ");
    EXPECT_EQ(Format(u"trailing %"), u"trailing %");
    EXPECT_EQ(Format(u"unfinished %5"), u"unfinished ");
    EXPECT_EQ(Format(u"%q|%d", 5), u"|5");
}

TEST(Format, MismatchedArgumentKindExpandsToNothing) {
    EXPECT_EQ(Format(u"[%d][%s]", u"text", 5), u"[][]");
}
