// Real documents through the POSIX engine, the serializer and cleanup; whole mails, character by
// character, are the corpus's (CorpusTest).
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "core/Exceptions.h"
#include "core/Utf.h"
#include "html/Cleanup.h"
#include "html/DomLoader.h"
#include "html/Serializer.h"
#include "support/ItemLog.h"

using namespace Tessarix;

namespace {

std::string Serialize(const std::string& html) {
    const auto doc = Global::CreateDOM(FromUtf8(html));
    Clipper::NoteContentSerializer serializer(0);
    serializer.Serialize(*doc);
    return ToUtf8(serializer.Output());
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
