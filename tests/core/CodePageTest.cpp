#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "core/CodePage.h"
#include "core/Utf.h"

using namespace Tessarix;
using namespace std::literals;

namespace {

struct Sample {
    std::uint32_t codePage;
    const char16_t* text;
    const char* bytesOfFirstCharacters; // what the text's start must encode to
    bool everyWindowsHasIt;             // Wine lacks the mlang-based pages
};

std::string Printable(std::string_view bytes) {
    std::string s;
    for (unsigned char c : bytes) {
        static const char hex[] = "0123456789abcdef";
        s += hex[c >> 4];
        s += hex[c & 15];
        s += ' ';
    }
    return s;
}

class CodePageRoundTrip : public testing::TestWithParam<Sample> {};

} // namespace

TEST_P(CodePageRoundTrip, EncodesWithTheWindowsTableAndDecodesBack) {
    const Sample& s = GetParam();
    if (!CodePage::IsSupported(s.codePage)) {
#ifdef _WIN32
        if (!s.everyWindowsHasIt)
            GTEST_SKIP() << "code page " << s.codePage << " is not installed here";
#endif
        FAIL() << "code page " << s.codePage << " is not supported";
    }
    const std::string bytes = CodePage::FromWide(s.text, s.codePage);
    EXPECT_TRUE(bytes.starts_with(s.bytesOfFirstCharacters)) << Printable(bytes);
    EXPECT_EQ(bytes.find('?'), std::string::npos) << Printable(bytes);
    EXPECT_EQ(CodePage::ToWide(bytes, s.codePage), s.text);
}

INSTANTIATE_TEST_SUITE_P(
    RealText, CodePageRoundTrip,
    testing::Values(
        Sample{932, u"\u65E5\u672C\u8A9E\u306E\u30C6\u30AD\u30B9\u30C8\u3001\uFF76\uFF85 \\ ~ \u2460",
               "\x93\xfa\x96\x7b", true},
        Sample{936, u"\u4E2D\u6587\u7B80\u4F53\u6587\u672C \u20AC", "\xd6\xd0\xce\xc4", true},
        Sample{949, u"\uD55C\uAD6D\uC5B4 \uD14D\uC2A4\uD2B8 \uAC02", "\xc7\xd1\xb1\xb9", true},
        Sample{950, u"\u7E41\u9AD4\u4E2D\u6587 \u6E2C\u8A66", "\xc1\x63\xc5\xe9", true},
        Sample{874, u"\u0E20\u0E32\u0E29\u0E32\u0E44\u0E17\u0E22 \u20AC", "\xc0\xd2\xc9\xd2", true},
        Sample{1250, u"P\u0159\u00EDli\u0161 \u017Elu\u0165ou\u010Dk\u00FD k\u016F\u0148", "P\xf8\xedli\x9a",
               true},
        Sample{1251, u"\u0421\u044A\u0435\u0448\u044C \u0436\u0435 \u0435\u0449\u0451",
               "\xd1\xfa\xe5\xf8\xfc", true},
        Sample{1252, u"caf\u00E9 d\u00E9j\u00E0 vu \u2013 \u201Cquoted\u201D \u20AC", "caf\xe9 d\xe9j\xe0",
               true},
        Sample{1253, u"\u0395\u03BB\u03BB\u03B7\u03BD\u03B9\u03BA\u03AC", "\xc5\xeb\xeb\xe7", true},
        Sample{1254, u"T\u00FCrk\u00E7e \u011F\u00FC\u015F\u0131\u00F6\u00E7", "T\xfcrk\xe7", true},
        Sample{1255, u"\u05E2\u05D1\u05E8\u05D9\u05EA", "\xf2\xe1\xf8\xe9\xfa", true},
        Sample{1256, u"\u0627\u0644\u0639\u0631\u0628\u064A\u0629", "\xc7\xe1\xda\xd1", true},
        Sample{1257, u"Lietuvi\u0173 \u0105\u010D\u0119\u0117\u012F\u0161\u0173\u016B\u017E", "Lietuvi\xf8",
               true},
        Sample{1258, u"\u0103\u00E2\u00EA\u00F4\u01A1\u01B0\u0111", "\xe3\xe2\xea\xf4", true},
        Sample{20127, u"plain ASCII text", "plain", true},
        Sample{28591, u"caf\u00E9 \u00FF", "caf\xe9", true},
        Sample{28592, u"Za\u017C\u00F3\u0142\u0107", "Za\xbf\xf3\xb3\xe6", true},
        Sample{28593, u"\u0124\u0125\u011C", "\xa6\xb6\xd8", true},
        Sample{28594, u"\u0100\u0101", "\xc0\xe0", true},
        Sample{28595, u"\u041A\u0438\u0440\u0438\u043B\u043B\u0438\u0446\u0430", "\xba\xd8\xe0", true},
        Sample{28596, u"\u0627\u0644", "\xc7\xe4", true},
        Sample{28597, u"\u0395\u03BB\u03BB\u03B7\u03BD\u03B9\u03BA\u03AC", "\xc5\xeb\xeb\xe7", true},
        Sample{28598, u"\u05E2\u05D1\u05E8\u05D9\u05EA", "\xf2\xe1\xf8\xe9", true},
        Sample{28599, u"\u011E\u0130\u015E", "\xd0\xdd\xde", true},
        Sample{28603, u"\u0104\u010C", "\xc0\xc8", true}, Sample{28605, u"\u20AC\u0160", "\xa4\xa6", true},
        Sample{20866, u"\u041F\u0440\u0438\u0432\u0435\u0442", "\xf0\xd2\xc9\xd7", true},
        Sample{21866, u"\u041F\u0440\u0438\u0432\u0456\u0442", "\xf0\xd2\xc9\xd7\xa6", true},
        Sample{866, u"\u041F\u0440\u0438\u0432\u0435\u0442", "\x8f\xe0\xa8\xa2", true},
        Sample{437, u"\u00C7a \u00BD \u2591",
               "\x80"
               "a \xab \xb0",
               true},
        Sample{850, u"\u00C7a \u00FF",
               "\x80"
               "a \x98",
               true},
        Sample{65001, u"mixed \u65E5\u672C \U0001F600", "mixed \xe6\x97\xa5", true},
        Sample{50220, u"\u65E5\u672C\u8A9E\u30C6\u30AD\u30B9\u30C8", "\x1b$BF|K\\", false},
        Sample{51932, u"\u65E5\u672C\u8A9E", "\xc6\xfc\xcb\xdc", false},
        Sample{51949, u"\uD55C\uAD6D\uC5B4", "\xc7\xd1\xb1\xb9", false},
        Sample{54936, u"\u4E2D\u6587 \U0001F600", "\xd6\xd0\xce\xc4 \x94\x39\xfc\x36", false}),
    [](const testing::TestParamInfo<Sample>& p) { return "cp" + std::to_string(p.param.codePage); });

TEST(CodePage, IllFormedBytesAreReplacedAndDecodingGoesOn) {
    // UTF-8: one U+FFFD for the bad byte, one for the cut-short sequence at the end.
    EXPECT_EQ(CodePage::ToWide("a\xFF"
                               "b\xE2\x82",
                               65001),
              u"a\uFFFDb\uFFFD");
    // Shift-JIS: a lead byte takes the next byte with it, and the pair gives the code page's
    // default character, the katakana middle dot; so does a lead byte with nothing after it.
    EXPECT_EQ(CodePage::ToWide("a\x81 b", 932), u"a\u30FBb");
    EXPECT_EQ(CodePage::ToWide("\x85\x40z", 932), u"\u30FBz");
    EXPECT_EQ(CodePage::ToWide("ab\x82", 932), u"ab\u30FB");
    EXPECT_EQ(CodePage::ToWide("\x81\x30!", 936), u"?!");
    EXPECT_EQ(CodePage::ToWide("x\x81", 950), u"x?");
}

TEST(CodePage, SingleByteHolesAndSevenBitAsciiDecodeAsWindowsDoes) {
    EXPECT_EQ(CodePage::ToWide("\x80\x81\x8D\x8F\x90\x9D\xE9", 1252),
              u"\u20AC\u0081\u008D\u008F\u0090\u009D\u00E9");
    EXPECT_EQ(CodePage::ToWide("a\xE9", 20127), u"ai");
    // Windows decodes a single-byte page byte by byte: a base letter and the combining mark after
    // it stay two characters.
    EXPECT_EQ(CodePage::ToWide("a\xCC", 1258), u"a\u0300");
    EXPECT_EQ(CodePage::ToWide("\xE0\xCC", 1255), u"\u05D0\u05BC");
}

TEST(CodePage, UnrepresentableCharactersBecomeQuestionMarks) {
    EXPECT_EQ(CodePage::FromWide(u"a\u65E5b", 1252), "a?b");
    EXPECT_EQ(CodePage::FromWide(u"\u0416\u4E2D", 1251), "\xc6?");
    // A character outside the BMP is two UTF-16 units, and each gives a '?'.
    EXPECT_EQ(CodePage::FromWide(u"\U0001F600", 932), "??");
    EXPECT_EQ(CodePage::FromWide(u"x\xD800y", 1252), "x?y");
}

TEST(CodePage, UnknownCodePagesGiveEmptyResults) {
    for (std::uint32_t unknown : {12345u, 1200u, 1201u}) {
        EXPECT_FALSE(CodePage::IsSupported(unknown)) << unknown;
        EXPECT_EQ(CodePage::ToWide("text", unknown), u"") << unknown;
        EXPECT_EQ(CodePage::FromWide(u"text", unknown), "") << unknown;
    }
    EXPECT_TRUE(CodePage::IsSupported(65001));
    EXPECT_EQ(CodePage::ToWide("", 1252), u"");
    EXPECT_EQ(CodePage::FromWide(u"", 932), "");
}

TEST(CodePage, LongTextSurvivesBufferGrowth) {
    // Embedded NULs are text like any other byte.
    std::u16string text;
    for (int i = 0; i < 20000; ++i)
        text += u"a\u3042\u4E2D\0"sv;
    for (std::uint32_t codePage : {932u, 50220u, 54936u}) {
        if (!CodePage::IsSupported(codePage))
            continue; // checked by the round trips above
        const std::string bytes = CodePage::FromWide(text, codePage);
        ASSERT_FALSE(bytes.empty()) << codePage;
        EXPECT_EQ(CodePage::ToWide(bytes, codePage), text) << codePage;
    }
}

TEST(CodePage, ConvertsOnManyThreadsAtOnce) {
    // Stateful pages among them: a converter lent to two threads at once, or lent again still
    // shifted (the ISO-2022-JP bytes end inside a shift), garbles the text.
    std::u16string text;
    for (int i = 0; i < 200; ++i)
        text += u"a\u3042\u4E2D b";
    const std::string shifted = "\x1b$BF|"; // JIS X 0208 without the return to ASCII
    std::vector<std::uint32_t> codePages;
    for (const std::uint32_t codePage : {932u, 50220u, 54936u})
        if (CodePage::IsSupported(codePage)) // Wine lacks the last two, checked above where it has them
            codePages.push_back(codePage);
    const bool iso2022 = CodePage::IsSupported(50220);
    std::vector<std::thread> threads;
    std::vector<int> failures(4, 0);
    for (std::size_t t = 0; t < failures.size(); ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i)
                for (const std::uint32_t codePage : codePages) {
                    failures[t] += CodePage::ToWide(CodePage::FromWide(text, codePage), codePage) != text;
                    if (iso2022)
                        failures[t] += CodePage::ToWide(shifted, 50220) != u"\u65E5" ||
                                       CodePage::ToWide("ab", 50220) != u"ab";
                }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures, std::vector<int>(failures.size(), 0));
}
