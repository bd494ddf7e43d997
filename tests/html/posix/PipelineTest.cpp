// Real documents through the POSIX engine and the serializer, compared character by character.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>

#include "core/Exceptions.h"
#include "core/Utf.h"
#include "html/Cleanup.h"
#include "html/DomLoader.h"
#include "html/Serializer.h"
#include "support/ItemLog.h"

using namespace Tessarix;

namespace {

// What the engine reports for elements that declare nothing themselves.
const std::string kBody =
    "background-image:none;background-attachment:scroll;background-color:transparent;background-position-x:0%"
    ";"
    "background-position-y:0%;background-repeat:repeat;clear:none;color:#000000;display:block;"
    "font-family:Times New Roman;font-size:12pt;font-style:normal;font-variant:normal;font-weight:400;"
    "letter-spacing:normal;line-height:normal;list-style-image:none;list-style-position:outside;"
    "list-style-type:disc;margin:15px 10px 15px 10px;margin-bottom:15px;margin-left:10px;margin-right:10px;"
    "margin-top:15px;padding:0px;padding-bottom:0px;padding-left:0px;padding-right:0px;padding-top:0px;"
    "position:static;float:none;text-align:left;text-decoration:none;text-indent:0pt;text-transform:none;"
    "visibility:inherit;vertical-align:baseline;";
const std::string kSpan =
    "background-image:none;background-attachment:scroll;background-color:transparent;background-position-x:0%"
    ";"
    "background-position-y:0%;background-repeat:repeat;border-bottom-color:#000000;border-bottom-style:none;"
    "border-bottom-width:medium;border-left-color:#000000;border-left-style:none;border-left-width:medium;"
    "border-right-color:#000000;border-right-style:none;border-right-width:medium;border-top-color:#000000;"
    "border-top-style:none;border-top-width:medium;border-width:medium;clear:none;color:#000000;display:"
    "inline;"
    "font-family:Times New Roman;font-size:12pt;font-style:normal;font-variant:normal;font-weight:400;"
    "letter-spacing:normal;line-height:normal;list-style-image:none;list-style-position:outside;"
    "list-style-type:disc;margin:0px;margin-bottom:0px;margin-left:0px;margin-right:0px;margin-top:0px;"
    "overflow:visible;padding:0px;padding-bottom:0px;padding-left:0px;padding-right:0px;padding-top:0px;"
    "position:static;float:none;text-align:left;text-decoration:none;text-indent:0pt;text-transform:none;"
    "visibility:inherit;vertical-align:baseline;";

// `base` with some declarations changed; an empty value removes the declaration.
std::string With(std::string base, std::initializer_list<std::pair<std::string, std::string>> changes) {
    for (const auto& [name, value] : changes) {
        const std::size_t at = base.find(name + ":") == 0 ? 0 : base.find(";" + name + ":") + 1;
        EXPECT_NE(at, std::string::npos + 1) << name;
        const std::size_t end = base.find(';', at) + 1;
        base.replace(at, end - at, value.empty() ? "" : name + ":" + value + ";");
    }
    return base;
}

const std::string kP = With(
    kSpan,
    {{"display", "block"}, {"margin", "1em 0px 1em 0px"}, {"margin-bottom", "1em"}, {"margin-top", "1em"}});

std::string Serialize(const std::string& html) {
    const auto doc = Global::CreateDOM(FromUtf8(html));
    Clipper::NoteContentSerializer serializer(0);
    serializer.Serialize(*doc);
    return ToUtf8(serializer.Output());
}

std::string Body(const std::string& content) {
    return "<BODY style=\"" + kBody + "\">" + content + "</BODY>";
}

TEST(Pipeline, DropsFilteredElementsAndEscapesText) {
    EXPECT_EQ(
        Serialize("<html><HEAD><Title>T</Title><META name=a content=b><LINK rel=stylesheet href=s.css>"
                  "<STYLE>p { color: red }</STYLE></HEAD><BODY><p>1 &lt; 2 &amp;&amp; 3 &gt; 2 \"q\" 'r'"
                  "<SCRIPT>alert(1)</SCRIPT><Style>b{}</Style><select><option>o</option></select>"
                  "<BUTTON>b</BUTTON><input value=i><Object><param name=p>alt</Object>.</p>"
                  "<!-- a<b&c --></BODY></html>"),
        Body("<P style=\"" +
             With(kP, {{"color", "red"},
                       {"border-bottom-color", "red"},
                       {"border-left-color", "red"},
                       {"border-right-color", "red"},
                       {"border-top-color", "red"}}) +
             "\">1 &lt; 2 && 3 &gt; 2 \"q\" 'r'.</P><!-- a&lt;b&c -->"));
}

TEST(Pipeline, WritesBreaksPicturesAndFormsByTheirRules) {
    const std::string img = With(kSpan, {{"border-bottom-width", "0"},
                                         {"border-left-width", "0"},
                                         {"border-right-width", "0"},
                                         {"border-top-width", "0"},
                                         {"border-width", "0"}});
    const std::string form =
        With(kSpan, {{"display", "block"}, {"margin", "0px 0px 1em 0px"}, {"margin-bottom", "1em"}});
    EXPECT_EQ(
        Serialize("<body><p>x<BR clear=all>y<nobr>kept together</nobr>"
                  "<img src=\"pic.png\" alt='say \"hi\"' width=10 height=AUTO title=\"\" style=\"border:0\">"
                  "</p><form action=\"/go\" method=post>f<BR></form></body>"),
        Body("<P style=\"" + kP + "\">x<BR />y<NOBR /><IMG style=\"" + img +
             "\" src=\"pic.png\" alt=\"say &quot;hi&quot;\" width=\"10\" /></P><FORM style=\"" + form +
             "\" >f<BR /></FORM>"));
}

// Read back as a browser would, the note holds no script element, handler or script address, and
// a quoted font family does not cut the style attribute short.
TEST(Pipeline, AMailsMarkupStaysInertWhenTheNoteIsReadBack) {
    const std::string note = Serialize(
        "<body><p title=\"&quot;'><script>alert(1)</script>\" onclick=\"x()\">"
        "<a href=\" javascript:alert(1)\" title='\"><img src=x onerror=alert(1)>'>l</a>"
        "<span "
        "style='font-family:\"Calibri\",sans-serif;font-size:7.5pt;margin-left:3px'>s</span></p></body>");
    const auto doc = Global::CreateDOM(FromUtf8(note));
    std::vector<std::string> names, attributes;
    std::vector<Html::Node> pending{doc->Root()};
    while (!pending.empty()) {
        const Html::Node node = pending.back();
        pending.pop_back();
        names.push_back(ToUtf8(doc->NameOf(node)));
        // The loader's own charset declaration.
        const std::size_t count = names.back() == "META" ? 0 : doc->AttributeCount(node);
        for (std::size_t i = 0; i < count; ++i) {
            const auto a = doc->AttributeAt(node, i);
            if (!a.specified)
                continue;
            attributes.push_back(ToUtf8(a.name) + "=" + ToUtf8(a.value.value_or(u"")));
        }
        for (std::size_t i = 0; i < doc->ChildCount(node); ++i)
            pending.push_back(doc->ChildAt(node, i));
    }
    for (const auto& name : names)
        EXPECT_TRUE(name != "SCRIPT" && name != "IMG") << name;
    for (const auto& attribute : attributes) {
        EXPECT_FALSE(attribute.starts_with("on")) << attribute;
        EXPECT_EQ(attribute.find("javascript:"), std::string::npos) << attribute;
    }
    EXPECT_NE(std::find(attributes.begin(), attributes.end(), "title=\"'><script>alert(1)</script>"),
              attributes.end());
    // A cut style attribute would leave the rest of the declarations behind as attributes.
    for (const auto& attribute : attributes)
        EXPECT_TRUE(attribute.starts_with("title=") || attribute.starts_with("style=")) << attribute;
    EXPECT_NE(note.find("font-family:&quot;Calibri&quot;,sans-serif;font-size:7.5pt;"), std::string::npos);
}

// The table's relative "larger" (size 5) stays on the font alone: what it holds gets its points.
TEST(Pipeline, FontSizesGoThroughTheTable) {
    const std::string html =
        "<body><font size=3>a</font><font size=5><span>b</span></font>"
        "<span style='font-size:9'>c</span><span style='font-size:8'>d</span>"
        "<span style='font-size:10pt'>e</span><span style='font-size:x-small'>f</span></body>";
    const std::string font = With(kSpan, {{"font-size", ""}});
    auto span = [](const std::string& size) {
        return "<SPAN style=\"" + With(kSpan, {{"font-size", size}}) + "\">";
    };
    EXPECT_EQ(Serialize(html),
              Body("<FONT style=\"" + font + "\" size=\"3\">a</FONT>" + "<FONT style=\"" + font +
                   "\" size=\"5\">" + span("18pt") + "b</SPAN></FONT>" + span("small") + "c</SPAN>" +
                   span("small") + "d</SPAN>" + span("10pt") + "e</SPAN>" + span("x-small") + "f</SPAN>"));
}

// Pictures outside `images` are no resources and are named in the log (corpus inputs).
TEST(Pipeline, PicturesOfButtonsAndVmlAreLeftOutAndNamed) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"outlook-vml-picture",
         {"Info: Picture left out of the note: cid:image002.png@01D8AB12.3C4D5E60 (V:IMAGEDATA)"}},
        {"forms-and-controls",
         {"Info: Picture left out of the note: http://survey.example.com/submit-button.png (INPUT)"}},
        {"pictures", {"Info: Picture left out of the note: http://www.example.com/images/go.png (INPUT)"}},
        {"outlook-reply", {}},
    };
    for (const auto& [name, expected] : cases) {
        std::ostringstream html;
        html << std::ifstream(std::string(TX_HTML_CORPUS_DIR "/") + name + ".html", std::ios::binary).rdbuf();
        Notes::ResourceList resources;
        std::vector<std::u16string> unresolved;
        Testing::ItemLog log;
        Global::MakeCleanContent(FromUtf8(html.str()), resources, unresolved);
        std::vector<std::string> lines;
        for (const auto& line : log.Lines())
            if (line.find("left out") != std::string::npos)
                lines.push_back(line);
        EXPECT_EQ(lines, expected) << name;
        EXPECT_TRUE(resources.empty()) << name;
    }
}

class PipelineLimit : public testing::Test {
protected:
    void SetUp() override {
        // One file per process: CTest runs the cases of this fixture side by side.
        picture_ =
            std::filesystem::temp_directory_path() / ("tx-html-limit-" + std::to_string(::getpid()) + ".png");
        std::ofstream(picture_, std::ios::binary) << "\x89PNG\r\n\x1a\n";
    }
    void TearDown() override { std::filesystem::remove(picture_); }

    // A picture that exists, then a paragraph of `n` letters.
    std::string Document(std::size_t n) const {
        return "<body><img src=\"file://" + picture_.string() + "\"><p>" + std::string(n, 'x') +
               "</p></body>";
    }

    std::filesystem::path picture_;
};

TEST_F(PipelineLimit, PicturesOfARealDocumentBecomeResourcesInDocumentOrder) {
    const std::string address = "file://" + picture_.string();
    const std::string html = "<body><p><img src='" + address + "'><img src='" + address +
                             "#x'></p>"
                             "<table><tr><td><img src=\"" +
                             address +
                             "\" width=2></td></tr></table>"
                             "<img src='cid:image001.png@01D2'></body>";
    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved;
    // The TextContent way in, as renderers of 8-bit bodies take it.
    Global::MakeCleanContent(TextContent(StringUTF8::Copy(html), 1252), resources, unresolved);
    ASSERT_EQ(resources.size(), 2u);
    for (const auto& resource : resources) {
        EXPECT_EQ(ToUtf8(resource.GetSourceUrl()), address);
        EXPECT_EQ(std::string(resource.GetData().View()), "\x89PNG\r\n\x1a\n");
    }
    EXPECT_EQ(unresolved, (std::vector<std::u16string>{FromUtf8(address + "#x"), u"cid:image001.png@01D2"}));
}

TEST_F(PipelineLimit, CleanupAcceptsExactlyTheLimitAndRefusesOneUnitMore) {
    ASSERT_EQ(Clipper::kNoteContentLimit, 5242880);
    const std::size_t letters = 5242880 - (Serialize(Document(1)).size() - 1);

    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved;
    const auto fits = Global::CreateDOM(FromUtf8(Document(letters)));
    EXPECT_EQ(Global::Cleanup(*fits, resources, unresolved).size(), 5242880u);
    EXPECT_EQ(resources.size(), 1u);

    Testing::ItemLog log;
    resources.clear();
    try {
        Global::MakeCleanContent(FromUtf8(Document(letters + 1)), resources, unresolved);
        ADD_FAILURE() << "one unit over the limit was accepted";
    } catch (const NoteContentSizeExceededException& e) {
        EXPECT_EQ(ToUtf8(e.GetMessage()), "Tessarix cannot create the note because it is too large. Please "
                                          "select a part of the content and try clipping again.");
    }
    EXPECT_TRUE(resources.empty());
    EXPECT_TRUE(unresolved.empty());
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"Error: SerializerOutputLimitException is thrown."});
}

} // namespace
