#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "msg/TextBody.h"

namespace Tessarix::Msg {
namespace {

std::u16string Repeat(std::u16string_view piece, int times) {
    std::u16string out;
    for (int i = 0; i < times; ++i)
        out += piece;
    return out;
}

// A document as a word processor writes it: tables of fonts, styles and document information
// before the body, a two-row table whose rows end in an empty cell, page and section breaks.
const std::string kDocument =
    "{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0\\froman\\fcharset0 Times New Roman;}"
    "{\\f1\\fnil\\fcharset128 MS Mincho;}}\r\n"
    "{\\colortbl;\\red0\\green0\\blue0;}{\\stylesheet{\\s0 Normal;}{\\s1 heading 1;}}\r\n"
    "{\\info{\\title Secret title}{\\author Someone}}\\pard\\plain\\f0 First paragraph\\par\r\n"
    "Name:\\tab value\\line next line\\par\r\n"
    "\\trowd\\cellx2000\\cellx4000\\pard\\intbl A1\\cell A2\\cell\\row\r\n"
    "\\trowd\\cellx2000\\cellx4000\\pard\\intbl B1\\cell \\cell\\row\r\n"
    "\\pard After\\page Page two\\sect Section two\\par}";

TEST(TextBody, PlainRtfKeepsParagraphsTabsAndTableCells) {
    EXPECT_EQ(RtfToText(kDocument), u"First paragraph\r\n"
                                    u"Name:\tvalue\r\nnext line\r\n"
                                    u"A1\tA2\r\n"
                                    u"B1\t\r\n"
                                    u"After\r\nPage two\r\nSection two\r\n");
}

TEST(TextBody, RtfEscapesFollowTheFontsCodePage) {
    // \uN with its fallback characters (\uc), negative N as a UTF-16 unit, Shift-JIS bytes in a
    // \fcharset128 font, and binary data whose bytes would otherwise close the group early.
    const std::string rtf = "{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0 Arial;}{\\f1\\fcharset128 MS Mincho;}}"
                            "caf\\u233?\\uc2\\u8364\\'80\\'80!\\uc1\\u-3913? "
                            "{\\f1\\'83\\'65\\'83\\'58\\'83\\'67}{\\pict\\bin1 }hidden}.\\par}";
    EXPECT_EQ(RtfToText(rtf), u"caf\u00E9\u20AC!\uF0B7 \u30C6\u30B9\u30C8.\r\n");
}

TEST(TextBody, EncapsulatedBodiesGiveTheirText) {
    EXPECT_EQ(RtfToText("{\\rtf1\\ansi\\fromtext \\deff0{\\fonttbl{\\f0 Arial;}}line one\\par line two}"),
              u"line one\r\nline two");
    EXPECT_EQ(RtfToText("{\\rtf1\\ansi\\fromhtml1 \\deff0{\\fonttbl{\\f0 Arial;}}"
                        "{\\*\\htmltag <p>}Hello{\\*\\htmltag <br>}\\htmlrtf\\line\\htmlrtf0 there"
                        "{\\*\\htmltag </p><p>}next{\\*\\htmltag </p>}}"),
              u"Hello\r\nthere\r\nnext");
    EXPECT_EQ(RtfToText("{\\rtf1 \\row x\\cell"), u"\r\nx\t");
}

TEST(TextBody, HtmlBlocksAndBreaksMakeLines) {
    const std::u16string html =
        u"<html><head><title>T</title><style>p {color: red}</style></head><body>"
        u"<script>document.write('x')</script><h1>Head</h1><p>One\n   two</p>"
        u"<div>Three<br>Four<br><br><br><br>Five<br></div><!-- note --><ul><li>a</li><li>b</li></ul>"
        u"<p>See <a href=\"http://example.com\">the site</a><img src=\"x.png\" alt=\"logo\">.</p>"
        u"<blockquote><div><p>quoted</p></div></blockquote><hr>end<br><br></body></html>";
    EXPECT_EQ(HtmlToText(html), u"Head\r\nOne two\r\nThree\r\nFour\r\n\r\nFive\r\na\r\nb\r\n"
                                u"See the site.\r\nquoted\r\nend");
}

TEST(TextBody, HtmlWhiteSpaceCollapsesExceptInPre) {
    EXPECT_EQ(HtmlToText(u"  a \t <span> b </span>\r\n c  "), u"a b c");
    EXPECT_EQ(HtmlToText(u"<p>x</p><pre>\n  indented  text\n\n\n\tend\n</pre><p> y </p>"),
              u"x\r\n  indented  text\r\n\r\n\r\n\tend\r\ny");
    EXPECT_EQ(HtmlToText(u"a&nbsp;&nbsp;b &amp; &lt;c&gt; &eacute;&#8364;&#x1F600;"),
              u"a\u00A0\u00A0b & <c> \u00E9\u20AC\U0001F600");
}

TEST(TextBody, HtmlTableCellsAreSeparatedByTabs) {
    EXPECT_EQ(HtmlToText(u"before<table><tr><td>a</td><td><p>b</p></td></tr>"
                         u"<tr><td></td><td>d</td></tr><tr><th>e</th><td></td></tr></table>after"),
              u"before\r\na\tb\r\n\td\r\ne\t\r\nafter");
    // A table nested in a cell keeps its rows; the next cell starts after them.
    EXPECT_EQ(HtmlToText(u"<table><tr><td>a<table><tr><td>x</td><td>y</td></tr></table></td><td>b</td></tr>"
                         u"</table>"),
              u"a\r\nx\ty\r\n\tb");
}

TEST(TextBody, MalformedHtmlGivesWhatCanBeRead) {
    EXPECT_EQ(HtmlToText(u"<p>a<p>b<li>c<li>d</ul></div></b>e"), u"a\r\nb\r\nc\r\nde");
    EXPECT_EQ(HtmlToText(u"<b>x<i>y</b>z</i> 1 < 2 <3"), u"xyz 1 < 2 <3");
    EXPECT_EQ(HtmlToText(u"<textarea><b>raw</b></textarea><script>if (a<b) {}</script>z"), u"<b>raw</b>z");
    EXPECT_EQ(HtmlToText(u"<!-->x<!DOCTYPE html><? pi ?>y<div title='a>b' class=c>z</div>w<p class=\"q"),
              u"xy\r\nz\r\nw");
    EXPECT_EQ(HtmlToText(u""), u"");
}

TEST(TextBody, HtmlStructureHoldsOverManyUnclosedElements) {
    // Elements that the parser closes itself must not count as open: paragraphs and rows far past
    // any nesting limit keep their lines and cells.
    std::u16string html, expected;
    for (int i = 0; i < 2000; ++i) {
        const std::u16string n(1, static_cast<char16_t>(u'A' + i % 26));
        html += u"<p>" + n + u"<li>" + n + u"<table><tr><td>" + n + u"<td>" + n + u"</table>";
        expected += (i ? u"\r\n" : u"") + n + u"\r\n" + n + u"\r\n" + n + u"\t" + n;
    }
    const std::u16string text = HtmlToText(html);
    EXPECT_TRUE(text == expected)
        << "differs from character "
        << std::mismatch(text.begin(), text.end(), expected.begin(), expected.end()).first - text.begin();
}

TEST(TextBody, DeepOrWideHtmlIsReadWithoutRecursion) {
    // Nesting like this would overflow a recursive reader and take the parser minutes; the text
    // stays whole, and so does that of a tag with attributes by the thousand.
    EXPECT_EQ(HtmlToText(Repeat(u"<div>", 100000) + u"deep" + Repeat(u"</div>", 100000) + u"<p>after"),
              u"deep\r\nafter");
    EXPECT_EQ(HtmlToText(Repeat(u"<ul><li><span><b>", 30000) + u"x"), u"x");
    EXPECT_EQ(HtmlToText(u"<div " + Repeat(u"a ", 50000) + u">wide</div>"), u"wide");
}

} // namespace
} // namespace Tessarix::Msg
