// Hostile markup through the POSIX engine: the pass before gumbo bounds what the parser sees and
// loses no text (bench_html_pipeline shows the time staying linear).
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "core/ByteString.h"
#include "core/Utf.h"
#include "html/Engine.h"
#include "html/posix/BoundedMarkup.h"

using namespace Tessarix;
using Html::Node;
using Html::NodeType;
using Html::Posix::kMaxAttributesPerTag;
using Html::Posix::kMaxOpenForDocument;

namespace {

std::string Repeat(std::string_view piece, std::size_t times) {
    std::string out;
    out.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        out += piece;
    return out;
}

Html::DocumentPtr Load(const std::string& html) {
    return Html::LoadDocument(StringUTF8::Copy(html));
}

// The whole document walked: its text in document order, its elements by name, its depth.
struct Survey {
    std::string text;
    std::vector<std::string> texts;
    std::map<std::string, std::vector<Node>> elements;
    std::size_t depth = 0;
};

Survey Walk(const Html::Document& doc) {
    Survey s;
    std::vector<std::pair<Node, std::size_t>> stack{{doc.Root(), 0}};
    while (!stack.empty()) {
        const auto [node, depth] = stack.back();
        stack.pop_back();
        s.depth = std::max(s.depth, depth);
        if (doc.TypeOf(node) == NodeType::Text) {
            s.texts.push_back(ToUtf8(doc.ValueOf(node).value_or(u"")));
            s.text += s.texts.back();
        } else if (doc.TypeOf(node) == NodeType::Element)
            s.elements[ToUtf8(doc.NameOf(node))].push_back(node);
        for (std::size_t i = doc.ChildCount(node); i-- > 0;)
            stack.emplace_back(doc.ChildAt(node, i), depth + 1);
    }
    return s;
}

TEST(BoundedMarkup, DeepNestingLoadsBoundedAndKeepsItsText) {
    // Unbounded, gumbo takes half a minute for the divs; formatting elements count as open too.
    for (const auto& [open, name] : {std::pair{"<div>x", "DIV"}, std::pair{"<b>x", "B"}}) {
        const Survey s = Walk(*Load(Repeat(open, 100000)));
        EXPECT_EQ(s.text, Repeat("x", 100000)) << name;
        EXPECT_EQ(s.elements.at(name).size(), kMaxOpenForDocument) << name;
        EXPECT_LE(s.depth, 514u) << name;
    }
}

TEST(BoundedMarkup, AnAttributeFloodKeepsTheFirstAttributes) {
    std::string flood = "<p id=first";
    for (int i = 1; i < 50000; ++i)
        flood += " a" + std::to_string(i) + "='v>'";
    flood += " style=\"color:red\">wide</p>after";
    const auto doc = Load(flood);
    const Survey s = Walk(*doc);
    EXPECT_EQ(s.text, "wideafter");

    const Node p = s.elements.at("P").at(0);
    ASSERT_EQ(doc->AttributeCount(p), kMaxAttributesPerTag);
    EXPECT_EQ(ToUtf8(doc->AttributeAt(p, 0).value.value_or(u"")), "first");
    EXPECT_EQ(ToUtf8(doc->AttributeAt(p, kMaxAttributesPerTag - 1).name), "a255");
    EXPECT_EQ(ToUtf8(doc->AttributeAt(p, kMaxAttributesPerTag - 1).value.value_or(u"")), "v>");
    // The style came after the cut.
    EXPECT_EQ(ToUtf8(doc->StyleValue(doc->StyleOf(p), Html::CssProperty::Color)), "#000000");
}

TEST(BoundedMarkup, StartTagsPastTheLimitLeaveTheirContentToTheAncestor) {
    const std::string divs = Repeat("<div>", kMaxOpenForDocument),
                      ends = Repeat("</div>", kMaxOpenForDocument);
    const std::string html = divs + "<p class=over>inside<b>bold</b></p>after" + ends + "<p>outside</p>";
    std::string storage;
    EXPECT_EQ(Html::Posix::BoundMarkup(html, Html::Posix::MarkupUse::Document, storage),
              divs + "insidebold" + "after" + ends + "<p>outside</p>");

    // The end tags of dropped elements go too: nothing above the limit closes early and </p> makes
    // no empty paragraph.
    const auto doc = Load(html);
    const Survey s = Walk(*doc);
    EXPECT_EQ(s.texts, (std::vector<std::string>{"insideboldafter", "outside"}));
    ASSERT_EQ(s.elements.at("P").size(), 1u);
    EXPECT_EQ(s.elements.count("B"), 0u);
    const Node body = s.elements.at("BODY").at(0);
    ASSERT_EQ(doc->ChildCount(body), 2u);
    EXPECT_EQ(doc->ChildAt(body, 1), s.elements.at("P").at(0));
}

TEST(BoundedMarkup, MarkupWithinTheBoundsPassesUnchanged) {
    // Mail as generators write it, sloppy included: unclosed fonts in hundreds of cells, comments
    // and raw text that hold tags, a tag with exactly the most attributes kept, a tag cut off.
    std::string html = "<!DOCTYPE html><html><head><style><!-- p { margin: 0 } <div> --></style>"
                       "<!--[if gte mso 9]><xml><o:OfficeDocumentSettings/></xml><![endif]--></head>"
                       "<body bgcolor=white><p class=MsoNormal><b><span style='font-size:10pt'>Hi</span></b>"
                       "<script>if (a<b) document.write('<div>')</script><textarea><p></textarea>";
    html += Repeat("<table border=1><tr><td><font face=Arial>cell</td></tr></table>", 300);
    html += Repeat("<p><font color=red>para", 300);
    html += "<img";
    for (std::size_t i = 0; i < kMaxAttributesPerTag; ++i)
        html += " a" + std::to_string(i) + "=\"x\"";
    html += "/></body></html><span title='cut";
    std::string storage;
    const std::string_view bounded =
        Html::Posix::BoundMarkup(html, Html::Posix::MarkupUse::Document, storage);
    EXPECT_EQ(bounded.data(), html.data());
    EXPECT_EQ(bounded.size(), html.size());
}

} // namespace
