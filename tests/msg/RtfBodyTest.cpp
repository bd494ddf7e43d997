#include <gtest/gtest.h>

#include <string>

#include "core/MapiProp.h"
#include "msg/RtfBody.h"

namespace Tessarix::Msg::Rtf {
namespace {

// HTML encapsulated the way the host does it: the document's code page 1251, markup in HTMLTAG
// destinations, RTF-only formatting between \htmlrtf and \htmlrtf0, shared text in between.
const std::string kHtmlRtf =
    "{\\rtf1\\ANSI\\ansicpg1251\\fromhtml1 \\deff0\r\n"
    "{\\fonttbl {\\f0\\fmodern Courier New;}{\\f1\\fswiss Arial;}{\\f2\\fswiss\\fcharset0 Arial;}}\r\n"
    "{\\colortbl\\red0\\green0\\blue0;\\red0\\green0\\blue255;}\r\n"
    "{\\*\\generator Writer 1.0;}\r\n"
    "{\\*\\htmltag64}\r\n"
    "\\uc1\\pard\\plain\\deftab360 \\f0\\fs24\r\n"
    "{\\*\\htmltag <HTML><head>\\par\r\n"
    "<style>\\par\r\n"
    " p.MsoNormal \\{font-family:Arial;\\}\\par\r\n"
    "</style>\\par\r\n"
    "\\tab <!-- a comment -->\\par\r\n"
    "</head>\\par\r\n"
    "<body>\\par\r\n"
    "<p\\par\r\n"
    "class=\"MsoNormal\">}\r\n"
    "{\\htmlrtf \\f1 \\htmlrtf0 Note the line break. {\\*\\htmltag <b>}{\\htmlrtf \\b \\htmlrtf0 Bold "
    "text{\\*\\htmltag </b>}} \\htmlrtf\\par\\htmlrtf0}\r\n"
    "\\htmlrtf \\par \\htmlrtf0\r\n"
    "{\\*\\htmltag </p>\\par\r\n"
    "<p class=\"MsoNormal\">\\par}\r\n"
    "{\\htmlrtf \\f1 \\htmlrtf0 References:\r\n"
    "{\\*\\htmltag &nbsp;}\\htmlrtf \\'a0\\htmlrtf0  {\\*\\htmltag &lt;}\\htmlrtf <\\htmlrtf0  "
    "{\\*\\htmltag &uml;}\\htmlrtf {\\f2\\'a8}\\htmlrtf0{\\*\\htmltag <br>\\par}\\htmlrtf\\line\\htmlrtf0\r\n"
    "RTF specials: \\{\\}\\\\{\\*\\htmltag <br>\\par}\\htmlrtf\\line\\htmlrtf0\\htmlrtf\\par\\htmlrtf0}\r\n"
    "{\\*\\htmltag </p>\\par\r\n"
    "<p title=\"\\u8364?\">}\\'e0\\'e1 {\\f2\\'e9}{\\*\\mhtmltag <img src=\"cid:x\">}{\\*\\htmltag "
    "</p>\\par\r\n"
    "</body>\\par\r\n"
    "</HTML>\\par\r\n"
    "}}";

const std::u16string kHtml = u"<HTML><head>\r\n"
                             u"<style>\r\n"
                             u" p.MsoNormal {font-family:Arial;}\r\n"
                             u"</style>\r\n"
                             u"\t<!-- a comment -->\r\n"
                             u"</head>\r\n"
                             u"<body>\r\n"
                             u"<p\r\n"
                             u"class=\"MsoNormal\">Note the line break. <b>Bold text</b> </p>\r\n"
                             u"<p class=\"MsoNormal\">\r\n"
                             u"References:&nbsp; &lt; &uml;<br>\r\n"
                             u"RTF specials: {}\\<br>\r\n"
                             u"</p>\r\n"
                             u"<p title=\"\u20AC\">\u0430\u0431 \u00E9</p>\r\n"
                             u"</body>\r\n"
                             u"</HTML>\r\n";

const std::string kTextRtf = "{\\rtf1\\ansi\\ansicpg1252\\fromtext \\fbidis \\deff0{\\fonttbl\r\n"
                             "{\\f0\\fswiss\\fcharset0 Arial;}\r\n"
                             "{\\f1\\fmodern Courier New;}\r\n"
                             "{\\f2\\fswiss\\fcharset128 MS UI Gothic;}}\r\n"
                             "{\\*\\generator Microsoft Exchange Server;}\r\n"
                             "{\\*\\formatConverter converted from text;}\r\n"
                             "\\viewkind5\\viewscale100\r\n"
                             "{\\*\\bkmkstart BM_BEGIN}\\pard\\plain\\f0\\fs20 Hello\\tab World\\par\r\n"
                             "Caf\\'e9 \\{braces\\} {\\f2\\'93\\'fa\\'96\\'7b}\\line\r\n"
                             "\\u26085?\\uc2\\u26412??end\\par\r\n"
                             "}";

TEST(RtfBody, RecognisesEncapsulationInTheHeaderOnly) {
    EXPECT_EQ(Detect(kHtmlRtf), Encapsulation::Html);
    EXPECT_EQ(Detect(kTextRtf), Encapsulation::Text);
    EXPECT_EQ(Detect("{\\rtf1\\ansi\\deff0 plain text\\par}"), Encapsulation::None);
    // Past the first ten group starts and control words the mark no longer counts.
    EXPECT_EQ(Detect("{\\rtf1\\ansi\\a\\b\\c\\d\\e\\f\\g\\h\\fromhtml1 x}"), Encapsulation::None);
    EXPECT_EQ(Detect("{\\rtf1\\ansi\\a\\b\\c\\d\\e\\f\\fromhtml1 x}"), Encapsulation::Html);
}

TEST(RtfBody, ExtractsEncapsulatedHtml) {
    EXPECT_EQ(DeEncapsulate(kHtmlRtf), kHtml);
}

TEST(RtfBody, ExtractsEncapsulatedText) {
    // Escapes follow each font's character set; \uN stands for one UTF-16 unit and skips \uc
    // fallback characters.
    EXPECT_EQ(DeEncapsulate(kTextRtf),
              u"Hello\tWorld\r\nCaf\u00E9 {braces} \u65E5\u672C\r\n\u65E5\u672Cend\r\n");
}

TEST(RtfBody, NativeBodyComesOutInTheRequestedCodePage) {
    const NativeBody html1252 = ExtractNativeBody(kHtmlRtf, 1252);
    EXPECT_EQ(html1252.type, Mapi::kNativeBodyHtml);
    // 1252 has the euro sign (0x80) but no Cyrillic: numeric character references stand in.
    EXPECT_NE(html1252.bytes.find("<p title=\"\x80\">&#1072;&#1073; \xE9</p>"), std::string::npos)
        << html1252.bytes;

    const NativeBody html1251 = ExtractNativeBody(kHtmlRtf, 1251);
    EXPECT_NE(html1251.bytes.find("<p title=\"\x88\">\xE0\xE1 &#233;</p>"), std::string::npos)
        << html1251.bytes;

    const NativeBody utf8 = ExtractNativeBody(kHtmlRtf, 65001);
    EXPECT_NE(utf8.bytes.find("<p title=\"\xE2\x82\xAC\">\xD0\xB0\xD0\xB1 \xC3\xA9</p>"), std::string::npos);

    const NativeBody text = ExtractNativeBody(kTextRtf, 1252);
    EXPECT_EQ(text.type, Mapi::kNativeBodyPlainText);
    EXPECT_EQ(text.bytes, "Hello\tWorld\r\nCaf\xE9 {braces} ??\r\n??end\r\n");
}

TEST(RtfBody, PlainRtfIsReportedAsRtf) {
    const std::string rtf = "{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0 Arial;}}\\pard Hello\\par}";
    const NativeBody body = ExtractNativeBody(rtf, 1252);
    EXPECT_EQ(body.type, Mapi::kNativeBodyRtf);
    EXPECT_EQ(body.bytes, rtf);
    // An unknown output code page gives no encapsulated body, but RTF stays RTF.
    EXPECT_EQ(ExtractNativeBody(kHtmlRtf, 4242424).type, 0u);
    EXPECT_EQ(ExtractNativeBody(rtf, 4242424).type, Mapi::kNativeBodyRtf);
}

TEST(RtfBody, MalformedRtfGivesWhatCanBeRead) {
    EXPECT_EQ(DeEncapsulate("{\\rtf1\\fromhtml1 {\\*\\htmltag <p>} text }}}} more"), u"<p> text  more");
    EXPECT_EQ(DeEncapsulate("{\\rtf1\\fromhtml1 {{{{\\*\\htmltag <b>x"), u"<b>x");
    EXPECT_EQ(DeEncapsulate("{\\rtf1\\fromtext broken \\'4"), u"broken ");
    EXPECT_EQ(DeEncapsulate("{\\rtf1\\fromtext \\u99999999999? \\"), u"\uFFFF ");
    EXPECT_EQ(DeEncapsulate(""), u"");
}

} // namespace
} // namespace Tessarix::Msg::Rtf
