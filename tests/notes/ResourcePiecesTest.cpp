// Resource bytes read in pieces: the export encodes them as they come, the sniffer reads the head.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/Exceptions.h"
#include "notes/ExportDocument.h"
#include "notes/MimeSniffer.h"

namespace Tessarix::Notes {
namespace {

// Hands its bytes out in the given piece sizes (the last repeated), and counts what it handed.
class PiecedContent final : public IResourceContent {
public:
    PiecedContent(std::string bytes, std::vector<std::size_t> pieces, std::uint32_t declared)
        : bytes_(std::move(bytes)), pieces_(std::move(pieces)), declared_(declared) {}
    std::uint32_t Size() override { return declared_; }
    StringUTF8 Load() override { return StringUTF8::Copy(bytes_); }
    void Read(const ByteSink& sink, std::uint32_t limit) override {
        const std::size_t end = std::min<std::size_t>(bytes_.size(), limit);
        for (std::size_t at = 0, i = 0; at < end; ++i) {
            const std::size_t length = std::min(pieces_[std::min(i, pieces_.size() - 1)], end - at);
            sink(std::string_view(bytes_).substr(at, length));
            handed += length;
            at += length;
        }
    }
    std::size_t handed = 0;

private:
    std::string bytes_;
    std::vector<std::size_t> pieces_;
    std::uint32_t declared_;
};

std::string DataOf(const std::string& document) {
    const std::string open = "<data encoding=\"base64\">";
    const auto from = document.find(open);
    const auto to = document.find("</data>", from);
    return from == std::string::npos || to == std::string::npos
               ? "<missing>"
               : document.substr(from + open.size(), to - from - open.size());
}

NoteList NoteWith(CResource resource) {
    auto note = std::make_shared<CNote>();
    note->SetTitle(u"t");
    note->GetResources().push_back(std::move(resource));
    return {note};
}

TEST(ResourcePieces, EncodedAcrossPieceEdgesAsTheWholeBytesAre) {
    const std::vector<std::vector<std::size_t>> splits = {{1}, {2}, {1, 1, 4}, {5}, {4, 2}, {1 << 20}};
    for (const std::size_t length : {0, 1, 2, 3, 4, 5, 7, 8, 1000}) {
        std::string bytes;
        for (std::size_t i = 0; i < length; ++i)
            bytes += static_cast<char>(i * 37 + 11);
        for (const auto& split : splits) {
            SCOPED_TRACE(testing::Message() << length << " bytes, first piece " << split.front());
            auto content = std::make_shared<PiecedContent>(bytes, split, static_cast<std::uint32_t>(length));
            const std::string document =
                BuildExportDocument(NoteWith(CResource(u"", u"application/pdf", content, u"file:///a.pdf")));
            EXPECT_EQ(DataOf(document), Base64Encode(bytes.data(), bytes.size()));
            EXPECT_EQ(content->handed, length);
        }
    }
}

TEST(ResourcePieces, ContentGrownPastItsSizeIsRefusedWhileRead) {
    // The size said 3 bytes, so the bound fits the budget; the bytes read do not.
    auto content =
        std::make_shared<PiecedContent>(std::string(30000, 'x'), std::vector<std::size_t>{4096}, 3);
    const NoteList notes = NoteWith(CResource(u"", u"application/pdf", content, u"file:///a.pdf"));
    const auto budget = static_cast<std::size_t>(ExportSizeBound(notes)) + 100;
    EXPECT_THROW(BuildExportDocument(notes, budget), NoteContentSizeExceededException);
    EXPECT_LT(content->handed, 30000u);
}

TEST(ResourcePieces, SniffingReadsOnlyTheHead) {
    static const unsigned char kPngHead[] = {
        0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44, 0x52, 0x00,
        0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x06, 0x00, 0x00, 0x00, 0x1F, 0x15, 0xC4, 0x89};
    const std::size_t head = SniffLength();
    ASSERT_GT(head, sizeof kPngHead);
    std::string bytes(reinterpret_cast<const char*>(kPngHead), sizeof kPngHead);
    bytes.resize(head * 3, '\0');
    auto content = std::make_shared<PiecedContent>(bytes, std::vector<std::size_t>{4096},
                                                   static_cast<std::uint32_t>(bytes.size()));
    const CResource resource(u"", u"", content, u"file:///picture");
    EXPECT_EQ(resource.GetMime(), u"image/png");
    EXPECT_EQ(content->handed, head);
}

} // namespace
} // namespace Tessarix::Notes
