// The serializer's rules against an in-memory document, on both platforms.
#include "html/Serializer.h"

#include <gtest/gtest.h>

#include "core/Exceptions.h"
#include "core/Utf.h"
#include "html/FakeDocument.h"

using namespace Tessarix;
using Html::CssProperty;
using Html::NodeType;
using Testing::FakeDocument;

namespace {

std::string Serialize(const Html::Document& doc, std::int32_t limit = 0) {
    Clipper::NoteContentSerializer serializer(limit);
    serializer.Serialize(doc);
    return ToUtf8(serializer.Output());
}

TEST(Serializer, WritesElementsAnewWithStyleThenAttributesInOrder) {
    FakeDocument doc;
    const auto html = doc.Element(doc.Root(), u"HTML", {{u"lang", u"en"}});
    // Declarations come out in the list's order, whatever order the engine knows them in.
    const auto div = doc.Element(html, u"DIV", {{u"id", u"a"}, {u"title", u"t"}},
                                 FakeDocument::Styles{{CssProperty::ZIndex, u"3"},
                                                      {CssProperty::Color, u"red"},
                                                      {CssProperty::BackgroundImage, u"none"}});
    doc.Text(div, u"one");
    doc.Element(div, u"SPAN", {}, FakeDocument::Styles{});
    doc.Text(html, u"two");
    EXPECT_EQ(Serialize(doc),
              "<DIV style=\"background-image:none;color:red;z-index:3;\" id=\"a\" title=\"t\">one"
              "<SPAN style=\"\"></SPAN></DIV>two");
}

TEST(Serializer, DropsFilteredElementsWithEverythingInsideWhateverTheCaseOfTheirNames) {
    for (const char16_t* name : {u"link", u"OBJECT", u"Meta", u"head", u"SCRIPT", u"input", u"Select",
                                 u"BUTTON", u"style", u" Script\t", u"", u"  "}) {
        FakeDocument doc;
        const auto body = doc.Element(doc.Root(), u"BODY", {}, std::nullopt);
        doc.Text(body, u"a");
        const auto dropped =
            doc.Element(body, name, {{u"id", u"x"}}, FakeDocument::Styles{{CssProperty::Color, u"red"}});
        doc.Text(dropped, u"inside");
        doc.Element(dropped, u"P", {}, std::nullopt);
        doc.Text(body, u"b");
        EXPECT_EQ(Serialize(doc), "<BODY>ab</BODY>") << ToUtf8(name);
    }
    // Only whole names are dropped, and any node type is filtered by its name.
    FakeDocument doc;
    doc.Element(doc.Root(), u"SCRIPTS", {}, std::nullopt);
    doc.Other(doc.Root(), NodeType::Comment, u"style", u"gone");
    EXPECT_EQ(Serialize(doc), "<SCRIPTS></SCRIPTS>");
}

TEST(Serializer, BrAndNobrAreEmptyElementsWithoutStyleOrContent) {
    FakeDocument doc;
    const auto styled = FakeDocument::Styles{{CssProperty::Color, u"red"}};
    doc.Element(doc.Root(), u"BR", {{u"clear", u"all"}}, styled);
    const auto nobr = doc.Element(doc.Root(), u"nobr", {{u"id", u"n"}}, styled);
    doc.Text(nobr, u"kept together");
    EXPECT_EQ(Serialize(doc), "<BR /><nobr />");
}

TEST(Serializer, ImgClosesItselfAndFormTakesNoAttributes) {
    FakeDocument doc;
    const auto styled = FakeDocument::Styles{{CssProperty::Display, u"inline"}};
    const auto img = doc.Element(doc.Root(), u"IMG", {{u"src", u"a.png"}, {u"alt", u"A"}}, styled);
    doc.Text(img, u"never");
    const auto form = doc.Element(doc.Root(), u"FORM", {{u"action", u"/go"}}, styled);
    doc.Text(form, u"f");
    const auto bare = doc.Element(doc.Root(), u"Form", {{u"action", u"/go"}}, std::nullopt);
    doc.Text(bare, u"g");
    EXPECT_EQ(Serialize(doc), "<IMG style=\"display:inline;\" src=\"a.png\" alt=\"A\" />"
                              "<FORM style=\"display:inline;\" >f</FORM><Form >g</Form>");
}

TEST(Serializer, EscapesOnlyAngleBracketsInTextAndComments) {
    FakeDocument doc;
    doc.Text(doc.Root(), u"a < b && c > \"d\" 'e' &amp;");
    doc.Other(doc.Root(), NodeType::Comment, u"#comment", u" <x> & ");
    doc.Other(doc.Root(), NodeType::Text, u"#text", std::nullopt);
    EXPECT_EQ(Serialize(doc), "a &lt; b && c &gt; \"d\" 'e' &amp;<!-- &lt;x&gt; & -->");
}

TEST(Serializer, DocumentTypeIsWrittenWithoutAddedBlank) {
    FakeDocument doc;
    doc.Other(doc.Root(), NodeType::DocumentType, u"html", u" html");
    doc.Other(doc.Root(), NodeType::DocumentType, u"html", std::nullopt);
    doc.Other(doc.Root(), NodeType::Fragment, u"#document-fragment", u"ignored");
    EXPECT_EQ(Serialize(doc), "<!DOCTYPE html><!DOCTYPE>");
}

TEST(Serializer, LeavesOutEmptyAndAutoDeclarations) {
    FakeDocument doc;
    doc.Element(doc.Root(), u"P", {},
                FakeDocument::Styles{{CssProperty::Left, u"AUTO"},
                                     {CssProperty::ZIndex, u"auto"},
                                     {CssProperty::Cursor, u"Auto"},
                                     {CssProperty::Color, u""},
                                     {CssProperty::Margin, u"auto 0"},
                                     {CssProperty::Display, u"block"}});
    EXPECT_EQ(Serialize(doc), "<P style=\"display:block;margin:auto 0;\"></P>");
}

TEST(Serializer, WritesTheWholeListInOrderButNoBorderOrOverflowOnBody) {
    FakeDocument::Styles styles;
    for (std::size_t i = 0; i < Html::kCssPropertyCount; ++i)
        styles.emplace(static_cast<CssProperty>(i), std::u16string(1, u'v'));
    FakeDocument doc;
    doc.Element(doc.Root(), u"Body", {}, styles);
    doc.Element(doc.Root(), u"DIV", {}, styles);
    const std::string common1 = "background-image:v;background-attachment:v;background-color:v;"
                                "background-position-x:v;background-position-y:v;background-repeat:v;";
    const std::string borders = "border-bottom-color:v;border-bottom-style:v;border-bottom-width:v;"
                                "border-left-color:v;border-left-style:v;border-left-width:v;"
                                "border-right-color:v;border-right-style:v;border-right-width:v;"
                                "border-top-color:v;border-top-style:v;border-top-width:v;border-width:v;";
    const std::string common2 = "clear:v;color:v;cursor:v;display:v;font-family:v;font-size:v;font-style:v;"
                                "font-variant:v;font-weight:v;left:v;letter-spacing:v;line-height:v;"
                                "list-style-image:v;list-style-position:v;list-style-type:v;margin:v;"
                                "margin-bottom:v;margin-left:v;margin-right:v;margin-top:v;";
    const std::string overflow = "overflow:v;";
    const std::string common3 = "padding:v;padding-bottom:v;padding-left:v;padding-right:v;padding-top:v;"
                                "page-break-after:v;page-break-before:v;position:v;float:v;text-align:v;"
                                "text-decoration:v;text-indent:v;text-transform:v;visibility:v;"
                                "vertical-align:v;z-index:v;";
    EXPECT_EQ(Serialize(doc), "<Body style=\"" + common1 + common2 + common3 + "\"></Body>" +
                                  "<DIV style=\"" + common1 + borders + common2 + overflow + common3 +
                                  "\"></DIV>");
}

TEST(Serializer, AllDigitFontSizesBecomeKeywordsOfTheTable) {
    using Clipper::Serialization::FontSizeValue;
    const std::pair<const char16_t*, const char16_t*> cases[] = {
        {u"0", u"small"},   {u"1", u"xx-small"},      {u"2", u"small"},      {u"3", u"medium"},
        {u"4", u"large"},   {u"5", u"larger"},        {u"6", u"x-large"},    {u"7", u"xx-large"},
        {u"8", u"small"},   {u"9", u"small"},         {u"007", u"xx-large"}, {u"99999999999", u"small"},
        {u"12pt", u"12pt"}, {u"x-small", u"x-small"}, {u"-1", u"-1"},        {u"", u""},
    };
    for (const auto& [computed, written] : cases)
        EXPECT_EQ(ToUtf8(FontSizeValue(computed)), ToUtf8(written)) << ToUtf8(computed);

    FakeDocument doc;
    doc.Element(doc.Root(), u"P", {}, FakeDocument::Styles{{CssProperty::FontSize, u"5"}});
    doc.Element(doc.Root(), u"P", {}, FakeDocument::Styles{{CssProperty::FontSize, u"AUTO"}});
    EXPECT_EQ(Serialize(doc), "<P style=\"font-size:larger;\"></P><P style=\"\"></P>");
}

// MSHTML reports a relative size as declared, on the element and on what inherits it: each is
// written in the points it had, the relative value applied once.
TEST(Serializer, RelativeFontSizesAreWrittenAsThePointsTheyGave) {
    auto size = [](const char16_t* value) {
        return FakeDocument::Styles{{CssProperty::FontSize, value}};
    };
    FakeDocument doc;
    const auto body = doc.Element(doc.Root(), u"BODY", {}, size(u"11pt"));
    const auto div = doc.Element(body, u"DIV", {}, size(u"80%"));
    doc.Element(doc.Element(div, u"P", {}, size(u"80%")), u"B", {}, size(u"80%"));
    doc.Element(div, u"SPAN", {}, size(u"0.5em"));
    doc.Element(div, u"I", {}, size(u"smaller"));
    const auto font = doc.Element(body, u"FONT", {{u"size", u"5"}}, size(u"5"));
    doc.Element(doc.Element(font, u"U", {}, size(u"5")), u"S", {}, size(u"larger"));
    doc.Element(body, u"EM", {}, size(u"calc(1em)"));
    EXPECT_EQ(Serialize(doc),
              "<BODY style=\"font-size:11pt;\"><DIV style=\"font-size:8.8pt;\">"
              "<P style=\"font-size:8.8pt;\"><B style=\"font-size:8.8pt;\"></B></P>"
              "<SPAN style=\"font-size:4.4pt;\"></SPAN><I style=\"font-size:7.33pt;\"></I></DIV>"
              "<FONT style=\"\" size=\"5\"><U style=\"font-size:18pt;\">"
              "<S style=\"font-size:21.6pt;\"></S></U></FONT>"
              "<EM style=\"font-size:calc(1em);\"></EM></BODY>");
}

TEST(Serializer, FontWithSpecifiedSizeGetsNoFontSizeDeclaration) {
    const auto styles = FakeDocument::Styles{{CssProperty::Color, u"red"}, {CssProperty::FontSize, u"3"}};
    FakeDocument doc;
    doc.Element(doc.Root(), u"FONT", {{u"SIZE", u"3"}}, styles);
    doc.Element(doc.Root(), u"FONT", {{u"size", u"3", false}}, styles);
    doc.Element(doc.Root(), u"FONT", {{u"face", u"Arial"}}, styles);
    doc.Element(doc.Root(), u"SPAN", {{u"size", u"3"}}, styles);
    EXPECT_EQ(Serialize(doc), "<FONT style=\"color:red;\" SIZE=\"3\"></FONT>"
                              "<FONT style=\"color:red;font-size:medium;\"></FONT>"
                              "<FONT style=\"color:red;font-size:medium;\" face=\"Arial\"></FONT>"
                              "<SPAN style=\"color:red;font-size:medium;\" size=\"3\"></SPAN>");
}

TEST(Serializer, WritesOnlySpecifiedNonEmptyStringAttributesAlwaysDoubleQuotedAndEscaped) {
    FakeDocument doc;
    doc.Element(doc.Root(), u"TD",
                {{u"colSpan", u"1", false},
                 {u"nowrap", std::nullopt},
                 {u"title", u""},
                 {u"width", u"Auto"},
                 {u"alt", u"say \"hi\" & 'bye'"},
                 {u"data-x", u"<&>"}},
                std::nullopt);
    EXPECT_EQ(Serialize(doc), "<TD alt=\"say &quot;hi&quot; &amp; 'bye'\" data-x=\"&lt;&amp;>\"></TD>");
}

// Note content is shown by the desktop client and the note service: no value from a mail may
// become markup, a handler or a script address there.
TEST(Serializer, NoteContentCannotCarryScript) {
    struct Case {
        std::vector<FakeDocument::Attr> attributes;
        FakeDocument::Styles styles;
        const char* expected;
    };
    const Case cases[] = {
        {{{u"title", u"\"'><script>alert(1)</script>"}},
         {},
         "<P title=\"&quot;'>&lt;script>alert(1)&lt;/script>\"></P>"},
        {{{u"onclick", u"f()"}, {u"ONMOUSEOVER", u"f()"}, {u"onerror", u"f()"}, {u"srcdoc", u"<b>x</b>"}},
         {},
         "<P></P>"},
        {{{u"href", u"javascript:alert(1)"},
          {u"src", u" \tJaVa\nScRiPt:alert(1)"},
          {u"action", u"vbscript:msgbox(1)"},
          {u"data", u"data:text/html;base64,PHNjcmlwdD4="},
          {u"cite", u"https://example.com/?javascript:"}},
         {},
         "<P cite=\"https://example.com/?javascript:\"></P>"},
        // Names that would end the attribute or the tag are never written.
        {{{u"a\"b", u"1"}, {u"x=y", u"1"}, {u"c'd", u"1"}, {u"ok", u"1"}}, {}, "<P ok=\"1\"></P>"},
        // The computed style stands for the element's own; a style that runs script goes.
        {{{u"style", u"color:red"}},
         FakeDocument::Styles{{CssProperty::FontFamily, u"\"Calibri\",sans-serif"},
                              {CssProperty::BackgroundImage, u"url(\"java\\script:alert(1)\")"},
                              {CssProperty::ZIndex, u"expression(alert(1))"},
                              {CssProperty::Color, u"red"}},
         "<P style=\"color:red;font-family:&quot;Calibri&quot;,sans-serif;\"></P>"},
        {{{u"style", u"width:expression(alert(1))"}, {u"id", u"a"}}, {}, "<P id=\"a\"></P>"},
    };
    for (const Case& c : cases) {
        FakeDocument doc;
        doc.Element(doc.Root(), u"P", c.attributes,
                    c.styles.empty() ? std::nullopt : std::optional<FakeDocument::Styles>(c.styles));
        EXPECT_EQ(Serialize(doc), c.expected);
    }
}

TEST(Serializer, AcceptsOutputUpToTheLimitAndRefusesOneUnitMore) {
    FakeDocument doc;
    const auto p = doc.Element(doc.Root(), u"P", {}, std::nullopt);
    doc.Text(p, std::u16string(100, u'x'));
    const std::size_t length = std::string("<P>").size() + 100 + std::string("</P>").size();

    Clipper::NoteContentSerializer exact(static_cast<std::int32_t>(length));
    ASSERT_NO_THROW(exact.Serialize(doc));
    EXPECT_EQ(exact.Output().size(), length);

    Clipper::NoteContentSerializer under(static_cast<std::int32_t>(length - 1));
    EXPECT_THROW(under.Serialize(doc), Clipper::SerializerOutputLimitException);
    // The end tag was the write that passed it: the walk stopped there.
    EXPECT_EQ(under.Output().size(), length);

    for (const std::int32_t unbounded : {0, -1}) {
        Clipper::NoteContentSerializer serializer(unbounded);
        ASSERT_NO_THROW(serializer.Serialize(doc));
        EXPECT_EQ(serializer.Output().size(), length);
    }
}

TEST(Serializer, WalksVeryDeepTreesWithoutRecursion) {
    constexpr int kDepth = 200000;
    FakeDocument doc;
    Html::Node node = doc.Root();
    for (int i = 0; i < kDepth; ++i)
        node = doc.Element(node, u"DIV", {}, std::nullopt);
    doc.Text(node, u"x");
    const std::string out = Serialize(doc);
    std::string expected;
    for (int i = 0; i < kDepth; ++i)
        expected += "<DIV>";
    expected += "x";
    for (int i = 0; i < kDepth; ++i)
        expected += "</DIV>";
    EXPECT_EQ(out, expected);
}

} // namespace
