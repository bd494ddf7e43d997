// The POSIX engine through the document interface, where the corpus (Corpus.SnapshotsAreCurrent)
// has no case: the rule index, presentational sizes out of range, relative sizes in every unit,
// background positions, depth and broken input.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Utf.h"
#include "html/DomLoader.h"
#include "html/Engine.h"

using namespace Tessarix;
using Html::CssProperty;
using Html::Node;
using Html::NodeType;

namespace {

Html::DocumentPtr Load(const std::string& html) {
    return Global::CreateDOM(FromUtf8(html));
}

// Every node in document order.
std::vector<Node> Walk(const Html::Document& doc) {
    std::vector<Node> out;
    std::vector<Node> stack{doc.Root()};
    while (!stack.empty()) {
        const Node n = stack.back();
        stack.pop_back();
        out.push_back(n);
        for (std::size_t i = doc.ChildCount(n); i-- > 0;)
            stack.push_back(doc.ChildAt(n, i));
    }
    return out;
}

std::vector<Node> Elements(const Html::Document& doc, std::u16string_view name) {
    std::vector<Node> out;
    for (const Node n : Walk(doc))
        if (doc.TypeOf(n) == NodeType::Element && doc.NameOf(n) == name)
            out.push_back(n);
    return out;
}

Node First(const Html::Document& doc, std::u16string_view name) {
    const auto all = Elements(doc, name);
    return all.empty() ? Node{} : all.front();
}

std::string Css(const Html::Document& doc, Node element, CssProperty p) {
    return ToUtf8(doc.StyleValue(doc.StyleOf(element), p));
}

std::string Value(const Html::Document& doc, Node node) {
    const auto v = doc.ValueOf(node);
    return v ? ToUtf8(*v) : "<none>";
}

TEST(LitehtmlDocument, MatchesRulesByIdClassesTagAttributesAndStructure) {
    const auto doc =
        Load("<style>#f { color: red } .a.b { font-style: italic } .b { font-weight: bold }"
             "*.c { text-align: right } [title] { cursor: help } li:first-child { clear: both }"
             "li + li { float: left } .a .b { text-indent: 5px }</style>"
             "<ul><li id=f class='a  b' title=t>1</li><li class='b c'>2<span class=b>s</span></li></ul>");
    const auto lis = Elements(*doc, u"LI");
    ASSERT_EQ(lis.size(), 2u);
    EXPECT_EQ(Css(*doc, lis[0], CssProperty::Color), "red");
    EXPECT_EQ(Css(*doc, lis[0], CssProperty::FontStyle), "italic");
    EXPECT_EQ(Css(*doc, lis[0], CssProperty::FontWeight), "700");
    EXPECT_EQ(Css(*doc, lis[0], CssProperty::Cursor), "help");
    EXPECT_EQ(Css(*doc, lis[0], CssProperty::Clear), "both");
    EXPECT_EQ(Css(*doc, lis[0], CssProperty::Float), "none");
    EXPECT_EQ(Css(*doc, lis[1], CssProperty::Color), "#000000");
    EXPECT_EQ(Css(*doc, lis[1], CssProperty::FontStyle), "normal");
    EXPECT_EQ(Css(*doc, lis[1], CssProperty::TextAlign), "right");
    EXPECT_EQ(Css(*doc, lis[1], CssProperty::Clear), "none");
    EXPECT_EQ(Css(*doc, lis[1], CssProperty::Float), "left");
    EXPECT_EQ(Css(*doc, lis[1], CssProperty::TextIndent), "0pt");
    EXPECT_EQ(Css(*doc, First(*doc, u"SPAN"), CssProperty::TextIndent), "0pt");
}

// A relative size applies once, where it is declared; what inherits it has the points it gave.
TEST(LitehtmlDocument, ResolvesRelativeFontSizesOnceWhereDeclared) {
    const auto doc = Load("<style>.s{font-size:80%}</style><body style='font-size:10pt'>"
                          "<div class=s><p><b>a</b></p><div class=s><i>b</i></div></div>"
                          "<span style='font-size:1.5em'><u style='font-size:smaller'>c</u></span>"
                          "<font size=2><em style='font-size:2ex'>d</em></font>"
                          "<tt style='font-size:13px'><s style='font-size:larger'>e</s></tt>"
                          "<q style='font-size:x-small'><kbd>f</kbd><code style='font-size:150%'>g</code></q>"
                          "<small style='font-size:calc(1em + 2px)'>h</small></body>");
    const std::pair<const char16_t*, const char*> sizes[] = {
        {u"DIV", "8pt"},
        {u"P", "8pt"},
        {u"B", "8pt"},
        {u"I", "6.4pt"},
        {u"SPAN", "15pt"},
        {u"U", "12.5pt"},
        {u"EM", "9.75pt"},
        {u"S", "11.7pt"},
        {u"KBD", "x-small"},
        {u"CODE", "11.25pt"},
        {u"SMALL", "calc(1em + 2px)"},
    };
    for (const auto& [name, size] : sizes)
        EXPECT_EQ(Css(*doc, First(*doc, name), CssProperty::FontSize), size) << ToUtf8(name);
}

// A font's size attribute is the HTML number 1 to 7, clamped; what the font holds has it in points.
TEST(LitehtmlDocument, FontSizesAreClampedAndBackgroundPositionsSplit) {
    const auto doc =
        Load("<body><font size=+2><i>b</i></font><font size=-5>c</font><font size=12>d</font>"
             "<div style='background: #EEE url(Pic.PNG) no-repeat right top'>x</div>"
             "<p style='background-position: top'>y</p><p style='background-position: 10px 20%'>z</p>"
             "<p style='background-position: Top RIGHT'>w</p><p style='background-position: LEFT'>v</p>"
             "</body>");
    const auto fonts = Elements(*doc, u"FONT");
    ASSERT_EQ(fonts.size(), 3u);
    EXPECT_EQ(Css(*doc, fonts[0], CssProperty::FontSize), "5");
    EXPECT_EQ(Css(*doc, First(*doc, u"I"), CssProperty::FontSize), "18pt");
    EXPECT_EQ(Css(*doc, fonts[1], CssProperty::FontSize), "1");
    EXPECT_EQ(Css(*doc, fonts[2], CssProperty::FontSize), "7");

    const auto ps = Elements(*doc, u"P");
    const std::pair<Node, const char*> positions[] = {{First(*doc, u"DIV"), "right top"},
                                                      {ps[0], "center top"},
                                                      {ps[1], "10px 20%"},
                                                      {ps[2], "right top"},
                                                      {ps[3], "left center"},
                                                      {First(*doc, u"BODY"), "0% 0%"}};
    for (const auto& [node, xy] : positions)
        EXPECT_EQ(Css(*doc, node, CssProperty::BackgroundPositionX) + " " +
                      Css(*doc, node, CssProperty::BackgroundPositionY),
                  xy);
}

TEST(LitehtmlDocument, KeepsVeryDeepDocumentsBoundedInDepth) {
    std::string html;
    for (int i = 0; i < 3000; ++i)
        html += "<span class=s>";
    html = "<style>.s .s { color: red }</style>" + html + "deep";
    const auto doc = Load(html);
    std::size_t depth = 0, maxDepth = 0;
    Node node = doc->Root();
    std::string text;
    for (;;) {
        const std::size_t count = doc->ChildCount(node);
        if (count == 0)
            break;
        node = doc->ChildAt(node, count - 1);
        maxDepth = std::max(maxDepth, ++depth);
        if (doc->TypeOf(node) == NodeType::Text)
            text = Value(*doc, node);
    }
    EXPECT_LE(maxDepth, 514u);
    EXPECT_EQ(text, "deep");
    EXPECT_EQ(Elements(*doc, u"SPAN").size(), 3000u);
    EXPECT_EQ(Css(*doc, Elements(*doc, u"SPAN").back(), CssProperty::Color), "red");
}

TEST(LitehtmlDocument, LoadsEmptyAndBrokenInputAsADocument) {
    const auto empty = Global::CreateDOM(TextContent());
    const Node head = First(*empty, u"HEAD");
    ASSERT_TRUE(head);
    ASSERT_EQ(empty->ChildCount(head), 1u);
    const Node meta = empty->ChildAt(head, 0);
    EXPECT_EQ(ToUtf8(empty->NameOf(meta)), "META");
    EXPECT_EQ(ToUtf8(empty->AttributeAt(meta, 1).value.value_or(u"")), "text/html; charset=utf-8");
    EXPECT_EQ(empty->ChildCount(First(*empty, u"BODY")), 0u);

    const auto undecodable = Global::CreateDOM(TextContent(StringUTF8::Copy("<p>x</p>"), 4711));
    EXPECT_FALSE(First(*undecodable, u"P"));
    EXPECT_TRUE(First(*undecodable, u"META"));

    // Ill-formed UTF-8, a NUL and stray tags: the parser repairs what it can.
    const auto broken = Html::LoadDocument(StringUTF8::Copy(std::string("<p>\xff\0x</td></table><<>", 23)));
    const Node p = First(*broken, u"P");
    ASSERT_TRUE(p);
    EXPECT_EQ(Value(*broken, broken->ChildAt(p, 0)), "\xEF\xBF\xBDx<<>");
}

} // namespace
