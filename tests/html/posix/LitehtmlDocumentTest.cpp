// The POSIX engine through the document interface: real documents parsed by gumbo and cascaded
// by litehtml.
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

TEST(LitehtmlDocument, ReportsTheTreeWithUpperCaseNamesWholeTextAndComments) {
    const auto doc = Load("<html><body><p>Hello,   big <b>wide</b> world &amp; more</p><!-- a note -->"
                          "<o:p>office</o:p></body></html>");
    const Node root = doc->Root();
    EXPECT_EQ(doc->TypeOf(root), NodeType::Document);
    EXPECT_EQ(ToUtf8(doc->NameOf(root)), "#document");
    EXPECT_FALSE(doc->ValueOf(root).has_value());

    const Node html = doc->ChildAt(root, 0);
    EXPECT_EQ(ToUtf8(doc->NameOf(html)), "HTML");
    ASSERT_EQ(doc->ChildCount(html), 2u);
    EXPECT_EQ(ToUtf8(doc->NameOf(doc->ChildAt(html, 0))), "HEAD");
    const Node body = doc->ChildAt(html, 1);
    ASSERT_EQ(doc->ChildCount(body), 3u);

    const Node p = doc->ChildAt(body, 0);
    EXPECT_EQ(doc->TypeOf(p), NodeType::Element);
    EXPECT_FALSE(doc->ValueOf(p).has_value());
    ASSERT_EQ(doc->ChildCount(p), 3u);
    // Text nodes stay whole, blanks and entities as the parser leaves them.
    EXPECT_EQ(ToUtf8(doc->NameOf(doc->ChildAt(p, 0))), "#text");
    EXPECT_EQ(Value(*doc, doc->ChildAt(p, 0)), "Hello,   big ");
    EXPECT_EQ(Value(*doc, doc->ChildAt(doc->ChildAt(p, 1), 0)), "wide");
    EXPECT_EQ(Value(*doc, doc->ChildAt(p, 2)), " world & more");

    const Node comment = doc->ChildAt(body, 1);
    EXPECT_EQ(doc->TypeOf(comment), NodeType::Comment);
    EXPECT_EQ(ToUtf8(doc->NameOf(comment)), "#comment");
    EXPECT_EQ(Value(*doc, comment), " a note ");
    EXPECT_EQ(ToUtf8(doc->NameOf(doc->ChildAt(body, 2))), "O:P");
    EXPECT_FALSE(doc->ChildAt(body, 3));
}

TEST(LitehtmlDocument, ReportsAttributesInSourceOrderWithTheStyleAttributeUnspecified) {
    const auto doc = Load("<body><font SIZE=\"+1\" color=red style=\"color:blue\" face=''>x</font></body>");
    const Node font = First(*doc, u"FONT");
    ASSERT_EQ(doc->AttributeCount(font), 4u);
    const char* names[] = {"size", "color", "style", "face"};
    const char* values[] = {"+1", "red", "color:blue", ""};
    for (std::size_t i = 0; i < 4; ++i) {
        const Html::Attribute a = doc->AttributeAt(font, i);
        EXPECT_EQ(ToUtf8(a.name), names[i]);
        ASSERT_TRUE(a.value.has_value());
        EXPECT_EQ(ToUtf8(*a.value), values[i]);
        EXPECT_EQ(a.specified, i != 2) << names[i];
    }
    const auto size = doc->NamedAttribute(font, u"Size");
    ASSERT_TRUE(size.has_value());
    EXPECT_TRUE(size->specified);
    EXPECT_FALSE(doc->NamedAttribute(font, u"width").has_value());
    EXPECT_EQ(doc->AttributeCount(First(*doc, u"BODY")), 0u);
}

TEST(LitehtmlDocument, CascadesStyleSheetsInlineStylesAndInheritance) {
    const auto doc =
        Load("<html><head><style>\n"
             ".note { color: #FF0000; font-family: Arial }\n"
             "#main .note { font-style: italic }\n"
             "p { color: green; margin-top: 3px; border-top: 2px dotted }\n"
             "</style></head><body>"
             "<div id=main><p class=note style=\"padding-left:4px; color: Purple; text-align: right\">"
             "a<span>b</span></p>"
             "<p class=\"note weak\">c<em>d</em></p></div></body></html>");
    const auto ps = Elements(*doc, u"P");
    ASSERT_EQ(ps.size(), 2u);
    const Node first = ps[0], second = ps[1];
    EXPECT_EQ(Css(*doc, first, CssProperty::Color), "purple");   // inline beats every rule
    EXPECT_EQ(Css(*doc, second, CssProperty::Color), "#ff0000"); // a class beats a later rule for the tag
    EXPECT_EQ(Css(*doc, first, CssProperty::FontFamily), "Arial");
    EXPECT_EQ(Css(*doc, first, CssProperty::FontStyle), "italic"); // id and class with a descendant
    EXPECT_EQ(Css(*doc, first, CssProperty::PaddingLeft), "4px");
    EXPECT_EQ(Css(*doc, first, CssProperty::Padding), "0px 0px 0px 4px");
    EXPECT_EQ(Css(*doc, first, CssProperty::MarginTop), "3px");
    EXPECT_EQ(Css(*doc, first, CssProperty::BorderTopStyle), "dotted");
    EXPECT_EQ(Css(*doc, first, CssProperty::BorderTopWidth), "2px");
    // An undeclared border colour is the element's colour.
    EXPECT_EQ(Css(*doc, first, CssProperty::BorderTopColor), "purple");
    EXPECT_EQ(Css(*doc, first, CssProperty::BorderLeftStyle), "none");

    // Inherited properties come from the parent; the others fall back to their defaults.
    const Node span = First(*doc, u"SPAN");
    EXPECT_EQ(Css(*doc, span, CssProperty::Color), "purple");
    EXPECT_EQ(Css(*doc, span, CssProperty::FontFamily), "Arial");
    EXPECT_EQ(Css(*doc, span, CssProperty::FontStyle), "italic");
    EXPECT_EQ(Css(*doc, span, CssProperty::TextAlign), "right");
    EXPECT_EQ(Css(*doc, span, CssProperty::MarginTop), "0px");
    EXPECT_EQ(Css(*doc, span, CssProperty::PaddingLeft), "0px");
    EXPECT_EQ(Css(*doc, span, CssProperty::BorderTopStyle), "none");
    EXPECT_EQ(Css(*doc, span, CssProperty::Display), "inline");
    const Node em = First(*doc, u"EM");
    EXPECT_EQ(Css(*doc, em, CssProperty::Color), "#ff0000");
    EXPECT_EQ(Css(*doc, em, CssProperty::FontStyle), "italic"); // from the default sheet
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

TEST(LitehtmlDocument, HonoursImportantMediaAndCommentMarkers) {
    const auto doc = Load(
        "<style><!--\np.a { color: red !important; text-align: right }\n--></style>"
        "<style media=print>p { text-align: center }</style>"
        "<style>@media print { p { font-weight: bold } } @media screen { p { font-variant: small-caps } }"
        "</style><style type=text/x-other>p { cursor: move }</style>"
        "<p class=a style='color: blue'>x</p>");
    const Node p = First(*doc, u"P");
    EXPECT_EQ(Css(*doc, p, CssProperty::Color), "red");
    EXPECT_EQ(Css(*doc, p, CssProperty::TextAlign), "right");
    EXPECT_EQ(Css(*doc, p, CssProperty::FontWeight), "400");
    EXPECT_EQ(Css(*doc, p, CssProperty::FontVariant), "small-caps");
    EXPECT_EQ(Css(*doc, p, CssProperty::Cursor), "auto");
}

TEST(LitehtmlDocument, TakesDefaultsFromTheDefaultStyleSheet) {
    const auto doc =
        Load("<body><div><ul><li><table><tr><td><b>x</b><a href=h>l</a><a>n</a></td></tr></table>"
             "</li></ul></div><h1>h</h1></body>");
    const std::pair<const char16_t*, const char*> displays[] = {
        {u"HTML", "block"},
        {u"BODY", "block"},
        {u"DIV", "block"},
        {u"UL", "block"},
        {u"LI", "list-item"},
        {u"TABLE", "table"},
        {u"TBODY", "table-row-group"},
        {u"TR", "table-row"},
        {u"TD", "table-cell"},
        {u"B", "inline"},
        {u"HEAD", "none"},
    };
    for (const auto& [name, display] : displays)
        EXPECT_EQ(Css(*doc, First(*doc, name), CssProperty::Display), display) << ToUtf8(name);
    EXPECT_EQ(Css(*doc, First(*doc, u"BODY"), CssProperty::Margin), "15px 10px 15px 10px");
    EXPECT_EQ(Css(*doc, First(*doc, u"B"), CssProperty::FontWeight), "700");
    EXPECT_EQ(Css(*doc, First(*doc, u"H1"), CssProperty::FontSize), "24pt");
    EXPECT_EQ(Css(*doc, First(*doc, u"TD"), CssProperty::Padding), "1px");
    const auto anchors = Elements(*doc, u"A");
    ASSERT_EQ(anchors.size(), 2u);
    EXPECT_EQ(Css(*doc, anchors[0], CssProperty::Color), "#0000ff"); // a link
    EXPECT_EQ(Css(*doc, anchors[1], CssProperty::Color), "#000000"); // no href: no link
    EXPECT_EQ(Css(*doc, anchors[0], CssProperty::TextDecoration), "underline");
}

TEST(LitehtmlDocument, ReportsPresentationalAttributesAsMshtmlDoes) {
    const auto doc =
        Load("<body bgcolor=White text=navy><font size=5 color=Red face=Verdana><span>a</span></font>"
             "<font size=+2><i>b</i></font><font size=-5>c</font><font size=12>d</font>"
             "<table cellpadding=0 border=2><tr valign=top><td bgcolor=#EEEEEE align=right>e</td></tr>"
             "</table><p align=center>f</p><img src=x.png align=left></body>");
    const Node body = First(*doc, u"BODY");
    EXPECT_EQ(Css(*doc, body, CssProperty::BackgroundColor), "white");
    EXPECT_EQ(Css(*doc, body, CssProperty::Color), "navy");
    const auto fonts = Elements(*doc, u"FONT");
    ASSERT_EQ(fonts.size(), 4u);
    EXPECT_EQ(Css(*doc, fonts[0], CssProperty::FontSize), "5");
    EXPECT_EQ(Css(*doc, fonts[0], CssProperty::Color), "red");
    EXPECT_EQ(Css(*doc, fonts[0], CssProperty::FontFamily), "Verdana");
    // What the font holds has the size in points, not the number again.
    EXPECT_EQ(Css(*doc, First(*doc, u"SPAN"), CssProperty::FontSize), "18pt");
    EXPECT_EQ(Css(*doc, fonts[2], CssProperty::FontSize), "1");
    EXPECT_EQ(Css(*doc, fonts[3], CssProperty::FontSize), "7");
    const Node table = First(*doc, u"TABLE");
    EXPECT_EQ(Css(*doc, table, CssProperty::BorderWidth), "2px");
    EXPECT_EQ(Css(*doc, table, CssProperty::BorderTopStyle), "outset");
    const Node td = First(*doc, u"TD");
    EXPECT_EQ(Css(*doc, td, CssProperty::Padding), "0px");
    EXPECT_EQ(Css(*doc, td, CssProperty::BorderLeftStyle), "inset");
    EXPECT_EQ(Css(*doc, td, CssProperty::BackgroundColor), "#eeeeee");
    EXPECT_EQ(Css(*doc, td, CssProperty::TextAlign), "right");
    EXPECT_EQ(Css(*doc, First(*doc, u"TR"), CssProperty::VerticalAlign), "top");
    EXPECT_EQ(Css(*doc, First(*doc, u"P"), CssProperty::TextAlign), "center");
    EXPECT_EQ(Css(*doc, First(*doc, u"IMG"), CssProperty::Float), "left");
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

TEST(LitehtmlDocument, ComposesShorthandsAndSplitsBackgroundPosition) {
    const auto doc =
        Load("<div style='margin: 1px 2px; padding: 5px; border-width: 1px 3px; "
             "background: #EEE url(Pic.PNG) no-repeat right top'>x</div>"
             "<p style='background-position: top'>y</p><p style='background-position: 10px 20%'>z</p>");
    const Node div = First(*doc, u"DIV");
    EXPECT_EQ(Css(*doc, div, CssProperty::Margin), "1px 2px 1px 2px");
    EXPECT_EQ(Css(*doc, div, CssProperty::Padding), "5px");
    EXPECT_EQ(Css(*doc, div, CssProperty::BorderWidth), "1px 3px 1px 3px");
    EXPECT_EQ(Css(*doc, div, CssProperty::BackgroundColor), "#eee");
    EXPECT_EQ(Css(*doc, div, CssProperty::BackgroundImage), "url(Pic.PNG)");
    EXPECT_EQ(Css(*doc, div, CssProperty::BackgroundRepeat), "no-repeat");
    EXPECT_EQ(Css(*doc, div, CssProperty::BackgroundPositionX), "right");
    EXPECT_EQ(Css(*doc, div, CssProperty::BackgroundPositionY), "top");
    const auto ps = Elements(*doc, u"P");
    EXPECT_EQ(Css(*doc, ps[0], CssProperty::BackgroundPositionX), "center");
    EXPECT_EQ(Css(*doc, ps[0], CssProperty::BackgroundPositionY), "top");
    EXPECT_EQ(Css(*doc, ps[1], CssProperty::BackgroundPositionX), "10px");
    EXPECT_EQ(Css(*doc, ps[1], CssProperty::BackgroundPositionY), "20%");
    EXPECT_EQ(Css(*doc, First(*doc, u"BODY"), CssProperty::BackgroundPositionX), "0%");
}

TEST(LitehtmlDocument, ListsPicturesInDocumentOrderWithTheirAddresses) {
    const auto doc = Load("<p><img src=' file:///C:/a.png '><object><img src=b.gif></object></p>"
                          "<img><image src=c.jpg><input type=image src=d.png><img src=b.gif>");
    ASSERT_EQ(doc->ImageCount(), 5u);
    const char* expected[] = {"file:///C:/a.png", "b.gif", "", "c.jpg", "b.gif"};
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(ToUtf8(doc->ImageSource(i).value_or(u"<none>")), expected[i]) << i;
    EXPECT_FALSE(doc->ImageSource(5).has_value());
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
