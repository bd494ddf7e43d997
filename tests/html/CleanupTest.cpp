// Pictures become resources from real files, on both platforms; the serializer's refusal becomes
// the user-facing error.
#include "html/Cleanup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "core/Exceptions.h"
#include "core/Utf.h"
#include "html/FakeDocument.h"
#include "html/PictureSources.h"
#include "support/ItemLog.h"

using namespace Tessarix;
using Testing::FakeDocument;
namespace fs = std::filesystem;

namespace {

class CleanupPictures : public testing::Test {
protected:
    void SetUp() override {
        folder_ = fs::temp_directory_path() /
                  ("tx-html-" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(folder_);
        fs::create_directories(folder_);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }
    // Writes the file and returns its "file:///" address.
    std::u16string Picture(const std::string& name, const std::string& bytes) {
        std::ofstream(folder_ / name, std::ios::binary) << bytes;
        return Address(name);
    }
    std::u16string Address(const std::string& name) const {
        std::u16string path = (folder_ / name).generic_u16string();
        if (!path.empty() && path[0] == u'/')
            path.erase(0, 1);
        return u"file:///" + path;
    }

    fs::path folder_;
};

TEST_F(CleanupPictures, ReadsEachPictureIntoAResourceInDocumentOrderDuplicatesIncluded) {
    const std::u16string a = Picture("a.png", std::string("\x89PNG\r\n\x1a\nA", 9));
    const std::u16string b = Picture("b b.gif", "GIF89a-b");
    const std::u16string empty = Picture("empty.bin", "");
    const std::u16string missing = Address("missing.png");
    FakeDocument doc;
    doc.Text(doc.Root(), u"text");
    for (const auto& src : {a, missing, b, a, empty})
        doc.AddImage(src);
    doc.AddImage(std::nullopt); // a picture the engine can't report is skipped
    doc.AddImage(u"");

    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved{u"earlier"};
    EXPECT_EQ(ToUtf8(Global::Cleanup(doc, resources, unresolved)), "text");

    ASSERT_EQ(resources.size(), 4u);
    const std::pair<std::u16string, std::string> expected[] = {{a, std::string("\x89PNG\r\n\x1a\nA", 9)},
                                                               {b, "GIF89a-b"},
                                                               {a, std::string("\x89PNG\r\n\x1a\nA", 9)},
                                                               {empty, ""}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(ToUtf8(resources[i].GetSourceUrl()), ToUtf8(expected[i].first)) << i;
        EXPECT_EQ(std::string(resources[i].GetData().View()), expected[i].second) << i;
        EXPECT_EQ(resources[i].GetReference(), u"") << i;
    }
    EXPECT_EQ(unresolved, (std::vector<std::u16string>{u"earlier", missing, u""}));
}

TEST_F(CleanupPictures, TakesTheAddressTextuallyWithoutDecodingEscapes) {
    Picture("x%20y.png", "escaped name");
    FakeDocument doc;
    doc.AddImage(Address("x%20y.png"));
    doc.AddImage(Address("x y.png"));
    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved;
    Global::Cleanup(doc, resources, unresolved);
    ASSERT_EQ(resources.size(), 1u);
    EXPECT_EQ(std::string(resources[0].GetData().View()), "escaped name");
    EXPECT_EQ(unresolved, std::vector<std::u16string>{Address("x y.png")});
}

TEST_F(CleanupPictures, UnderALimitReadsOnlyFilesInsideTheAllowedFolders) {
    fs::create_directories(folder_ / "in");
    fs::create_directories(folder_ / "in-other");
    const std::u16string inside = Picture("in/a.png", "inside");
    const std::u16string outside[] = {Picture("out.png", "outside"), Address("in/../out.png"),
                                      Picture("in-other/b.png", "beside")};
    FakeDocument doc;
    for (const auto& src : outside)
        doc.AddImage(src);
    doc.AddImage(inside);
    doc.AddImage(Address("in/missing.png"));

    Html::Pictures::LimitLocalFolders({folder_ / "in" / "."});
    struct Unlimit {
        ~Unlimit() { Html::Pictures::RemoveLocalFolderLimit(); }
    } unlimit;
    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved;
    Testing::ItemLog log;
    Global::Cleanup(doc, resources, unresolved);

    ASSERT_EQ(resources.size(), 1u);
    EXPECT_EQ(std::string(resources[0].GetData().View()), "inside");
    EXPECT_EQ(unresolved,
              (std::vector<std::u16string>{outside[0], outside[1], outside[2], Address("in/missing.png")}));
    const auto lines = log.Lines();
    EXPECT_EQ(std::count_if(
                  lines.begin(), lines.end(),
                  [](const std::string& line) { return line.starts_with("Warning: Picture not read: "); }),
              3);
    EXPECT_THROW(Html::Pictures::LimitLocalFolders({folder_ / "none"}), fs::filesystem_error);
}

TEST(Cleanup, TurnsTheSerializerLimitIntoNoteContentSizeExceededWithoutResources) {
    FakeDocument doc;
    doc.Text(doc.Root(), std::u16string(0x500000, u'x'));
    doc.AddImage(u"anything.png");
    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved;
    EXPECT_EQ(Global::Cleanup(doc, resources, unresolved).size(), 0x500000u);
    EXPECT_EQ(unresolved.size(), 1u);

    doc.Text(doc.Root(), u"y");
    Testing::ItemLog log;
    unresolved.clear();
    try {
        Global::Cleanup(doc, resources, unresolved);
        ADD_FAILURE() << "one unit over the limit was accepted";
    } catch (const NoteContentSizeExceededException& e) {
        EXPECT_EQ(ToUtf8(e.GetMessage()), "Tessarix cannot create the note because it is too large. Please "
                                          "select a part of the content and try clipping again.");
    }
    EXPECT_TRUE(resources.empty());
    EXPECT_TRUE(unresolved.empty());
    EXPECT_EQ(log.Lines(), (std::vector<std::string>{"Debug: Global::Cleanup() call begin",
                                                     "Error: SerializerOutputLimitException is thrown.",
                                                     "Debug: Global::Cleanup() call end"}));
}

} // namespace
