// The serializer's rules against an in-memory document, on both platforms.
#include "html/Serializer.h"

#include <gtest/gtest.h>

#include <functional>

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

// One small document per rule: what is built, and what comes out.
TEST(Serializer, WritesEachKindOfNodeByItsRule) {
    using Styles = FakeDocument::Styles;
    const Styles red{{CssProperty::Color, u"red"}}, shown{{CssProperty::Display, u"inline"}};
    const Styles sized{{CssProperty::Color, u"red"}, {CssProperty::FontSize, u"3"}};
    const struct {
        const char* rule;
        std::function<void(FakeDocument&, Html::Node)> build;
        const char* expected;
    } cases[] = {
        {"br and nobr are empty, without style or content",
         [&](FakeDocument& d, Html::Node root) {
             d.Element(root, u"BR", {{u"clear", u"all"}}, red);
             d.Text(d.Element(root, u"nobr", {{u"id", u"n"}}, red), u"kept together");
         },
         "<BR /><nobr />"},
        {"img closes itself, form takes no attributes",
         [&](FakeDocument& d, Html::Node root) {
             d.Text(d.Element(root, u"IMG", {{u"src", u"a.png"}, {u"alt", u"A"}}, shown), u"never");
             d.Text(d.Element(root, u"FORM", {{u"action", u"/go"}}, shown), u"f");
             d.Text(d.Element(root, u"Form", {{u"action", u"/go"}}, std::nullopt), u"g");
         },
         "<IMG style=\"display:inline;\" src=\"a.png\" alt=\"A\" /><FORM style=\"display:inline;\" >f</FORM>"
         "<Form >g</Form>"},
        {"only angle brackets are escaped in text and comments",
         [](FakeDocument& d, Html::Node root) {
             d.Text(root, u"a < b && c > \"d\" 'e' &amp;");
             d.Other(root, NodeType::Comment, u"#comment", u" <x> & ");
             d.Other(root, NodeType::Text, u"#text", std::nullopt);
         },
         "a &lt; b && c &gt; \"d\" 'e' &amp;<!-- &lt;x&gt; & -->"},
        {"a document type has no added blank",
         [](FakeDocument& d, Html::Node root) {
             d.Other(root, NodeType::DocumentType, u"html", u" html");
             d.Other(root, NodeType::DocumentType, u"html", std::nullopt);
             d.Other(root, NodeType::Fragment, u"#document-fragment", u"ignored");
         },
         "<!DOCTYPE html><!DOCTYPE>"},
        {"empty and auto declarations are left out",
         [](FakeDocument& d, Html::Node root) {
             d.Element(root, u"P", {},
                       Styles{{CssProperty::Left, u"AUTO"},
                              {CssProperty::ZIndex, u"auto"},
                              {CssProperty::Cursor, u"Auto"},
                              {CssProperty::Color, u""},
                              {CssProperty::Margin, u"auto 0"},
                              {CssProperty::Display, u"block"}});
         },
         "<P style=\"display:block;margin:auto 0;\"></P>"},
        {"a font with a specified size gets no font-size",
         [&](FakeDocument& d, Html::Node root) {
             d.Element(root, u"FONT", {{u"SIZE", u"3"}}, sized);
             d.Element(root, u"FONT", {{u"size", u"3", false}}, sized);
             d.Element(root, u"FONT", {{u"face", u"Arial"}}, sized);
             d.Element(root, u"SPAN", {{u"size", u"3"}}, sized);
         },
         "<FONT style=\"color:red;\" SIZE=\"3\"></FONT><FONT style=\"color:red;font-size:medium;\"></FONT>"
         "<FONT style=\"color:red;font-size:medium;\" face=\"Arial\"></FONT>"
         "<SPAN style=\"color:red;font-size:medium;\" size=\"3\"></SPAN>"},
        {"only specified, non-empty string attributes, double-quoted and escaped",
         [](FakeDocument& d, Html::Node root) {
             d.Element(root, u"TD",
                       {{u"colSpan", u"1", false},
                        {u"nowrap", std::nullopt},
                        {u"title", u""},
                        {u"width", u"Auto"},
                        {u"alt", u"say \"hi\" & 'bye'"},
                        {u"data-x", u"<&>"}},
                       std::nullopt);
         },
         "<TD alt=\"say &quot;hi&quot; &amp; 'bye'\" data-x=\"&lt;&amp;>\"></TD>"},
    };
    for (const auto& c : cases) {
        FakeDocument doc;
        c.build(doc, doc.Root());
        EXPECT_EQ(Serialize(doc), c.expected) << c.rule;
    }
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
