#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/Exceptions.h"
#include "core/FileSystem.h"
#include "core/Log.h"
#include "core/UserInterface.h"
#include "core/Utils.h"
#include "notes/ExportDocument.h"
#include "support/ItemLog.h"
#include "support/RawNote.h"

namespace Tessarix::Notes {
namespace {

// The document's frame, byte for byte: the byte-order mark that the format requires, then the
// declaration and DOCTYPE as XmlLite writes them (Wine xmllite writer tests, test_WriteRaw and
// test_WriteDocType), each on its own line.
const std::string kProlog = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
                            "<!DOCTYPE tx-clipper-export PUBLIC \"tx-clipper-export\" "
                            "\"http://xml.tessarix.com/pub/tessarix-clipper-export.dtd\">\r\n";

std::shared_ptr<CNote> MakeNote(std::u16string title, std::u16string content, MetadataList metadata = {}) {
    auto note = std::make_shared<CNote>();
    note->SetTitle(title);
    note->SetContent(content);
    note->GetMetadata() = std::move(metadata);
    return note;
}

CResource MakeResource(std::string bytes, std::u16string mime, std::u16string url) {
    return CResource(u"ref", std::move(mime), StringUTF8::Copy(bytes), std::move(url));
}

// Resource bytes read on demand, telling what was alive at each load: the notes written before
// (each note holds its own content, so a content gone is its note gone) and earlier loads' bytes.
struct LoadWatch {
    int contentsGone = 0;
    int buffersAlive = 0;
    struct Load {
        int contentsGone, buffersAlive;
    };
    std::vector<Load> loads;
};

class WatchedContent final : public IResourceContent {
public:
    WatchedContent(LoadWatch& watch, std::uint32_t size, std::string bytes)
        : watch_(watch), size_(size), bytes_(std::move(bytes)) {}
    ~WatchedContent() override { ++watch_.contentsGone; }
    std::uint32_t Size() override { return size_; }
    StringUTF8 Load() override {
        watch_.loads.push_back({watch_.contentsGone, watch_.buffersAlive});
        ++watch_.buffersAlive;
        // Each load's bytes differ, so a second build would show.
        const std::string bytes = bytes_ + std::to_string(watch_.loads.size());
        std::shared_ptr<const char[]> buffer(new char[bytes.size()], [&watch = watch_](const char* p) {
            --watch.buffersAlive;
            delete[] p;
        });
        std::memcpy(const_cast<char*>(buffer.get()), bytes.data(), bytes.size());
        return StringUTF8(std::move(buffer), static_cast<std::uint32_t>(bytes.size()));
    }

private:
    LoadWatch& watch_;
    std::uint32_t size_;
    std::string bytes_;
};

NotePtr NoteWithContent(LoadWatch& watch, std::uint32_t size, std::string bytes = "abc") {
    auto note = MakeNote(u"t", u"c", {CMetadata(u"created", u"2011-03-07T13:05:09.042Z")});
    note->GetResources().emplace_back(u"", u"application/pdf",
                                      std::make_shared<WatchedContent>(watch, size, std::move(bytes)),
                                      u"file:///C:/Outlook/Attachments/a.pdf");
    return note;
}

// The text between <tag> and </tag> of the first such element.
std::string ElementText(const std::string& document, const std::string& tag) {
    const auto open = document.find("<" + tag + ">");
    const auto close = document.find("</" + tag + ">", open);
    if (open == std::string::npos || close == std::string::npos)
        return "<missing>";
    return document.substr(open + tag.size() + 2, close - open - tag.size() - 2);
}

// A bit-by-bit encoder to hold the table-driven one against.
std::string ReferenceBase64(const std::string& bytes) {
    static const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned bits = 0, count = 0;
    for (unsigned char c : bytes) {
        bits = (bits << 8) | c;
        count += 8;
        while (count >= 6)
            out.push_back(alphabet[(bits >> (count -= 6)) & 63]);
    }
    if (count > 0)
        out.push_back(alphabet[(bits << (6 - count)) & 63]);
    while (out.size() % 4)
        out.push_back('=');
    return out;
}

TEST(ExportDocumentTest, Base64) {
    // RFC 4648, section 10: the empty input and every tail length.
    const char* vectors[][2] = {{"", ""},
                                {"f", "Zg=="},
                                {"fo", "Zm8="},
                                {"foo", "Zm9v"},
                                {"foob", "Zm9vYg=="},
                                {"fooba", "Zm9vYmE="},
                                {"foobar", "Zm9vYmFy"}};
    for (const auto& v : vectors)
        EXPECT_EQ(Base64Encode(v[0], std::strlen(v[0])), v[1]) << v[0];

    // Every byte value, and lengths around the encoder's 12-byte steps.
    std::mt19937 random(7);
    std::string bytes;
    for (int i = 0; i < 256 * 3; ++i)
        bytes.push_back(static_cast<char>(i % 3 ? random() : i / 3));
    for (std::size_t length : {1u, 11u, 12u, 13u, 23u, 24u, 25u, 26u, 767u, 768u})
        EXPECT_EQ(Base64Encode(bytes.data(), length), ReferenceBase64(bytes.substr(0, length))) << length;
}

TEST(ExportDocumentTest, ZeroNotesGiveAnEmptyRoot) {
    EXPECT_EQ(BuildExportDocument({}), kProlog + "<tx-clipper-export></tx-clipper-export>");
}

// Layout from Wine's xmllite writer tests: indentation and full end tags (test_indentation,
// test_WriteString, test_WriteFullEndElement), escaping (test_WriteString); the CDATA section kept
// on its element's line is our choice (docs/export-document.md).
TEST(ExportDocumentTest, FullNote) {
    auto note = MakeNote(u"Lunch & <plans>", u"<p>Hi \u00E9</p>",
                         {CMetadata(u"source", u"mail"), CMetadata(u"created", u"2011-03-07T13:05:09.042Z"),
                          CMetadata(u"source-url", u"http://x/?a=1&b=2"), CMetadata(u"author", u"Ann"),
                          CMetadata(u"author", u"Bob")});
    note->GetResources().push_back(
        MakeResource("ABCD", u"image/png", u"file:///C:/Outlook/Attachments/a.png"));
    note->GetResources().back().SetFileName(u"a.png");
    note->GetResources().push_back(MakeResource(std::string("\x00\xFF\x10", 3), u"application/x-y", u""));

    EXPECT_EQ(BuildExportDocument({note}),
              kProlog + "<tx-clipper-export>\r\n"
                        "  <note>\r\n"
                        "    <title>Lunch &amp; &lt;plans&gt;</title>\r\n"
                        "    <content><![CDATA[<p>Hi \xC3\xA9</p>]]></content>\r\n"
                        "    <created>2011-03-07T13:05:09.042Z</created>\r\n"
                        "    <note-attributes>\r\n"
                        "      <author>Ann</author>\r\n"
                        "      <source>mail</source>\r\n"
                        "      <source-url>http://x/?a=1&amp;b=2</source-url>\r\n"
                        "    </note-attributes>\r\n"
                        "    <resource>\r\n"
                        "      <data encoding=\"base64\">QUJDRA==</data>\r\n"
                        "      <mime>image/png</mime>\r\n"
                        "      <resource-attributes>\r\n"
                        "        <source-url>file:///C:/Outlook/Attachments/a.png</source-url>\r\n"
                        "        <file-name>a.png</file-name>\r\n"
                        "      </resource-attributes>\r\n"
                        "    </resource>\r\n"
                        "    <resource>\r\n"
                        "      <data encoding=\"base64\">AP8Q</data>\r\n"
                        "      <mime>application/x-y</mime>\r\n"
                        "      <resource-attributes>\r\n"
                        "        <source-url></source-url>\r\n"
                        "        <file-name></file-name>\r\n"
                        "      </resource-attributes>\r\n"
                        "    </resource>\r\n"
                        "  </note>\r\n"
                        "</tx-clipper-export>");
}

TEST(ExportDocumentTest, NoteWithoutMetadataIsCreatedNow) {
    const std::string before = ToUtf8(FormatIsoUtc(Platform::UtcTime()));
    const std::string document = BuildExportDocument({MakeNote(u"", u""), MakeNote(u"t", u"c")});
    const std::string after = ToUtf8(FormatIsoUtc(Platform::UtcTime()));

    const std::string created = ElementText(document, "created");
    EXPECT_TRUE(std::regex_match(created, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)")))
        << created;
    EXPECT_LE(before, created);
    EXPECT_GE(after, created);
    const std::string first = "  <note>\r\n"
                              "    <title></title>\r\n"
                              "    <content><![CDATA[]]></content>\r\n"
                              "    <created>" +
                              created +
                              "</created>\r\n    <note-attributes></note-attributes>\r\n  </note>\r\n";
    EXPECT_NE(document.find(kProlog + "<tx-clipper-export>\r\n" + first + "  <note>\r\n    <title>t</title>"),
              std::string::npos)
        << document;
}

TEST(ExportDocumentTest, TitleCharactersAndContentMarkers) {
    // U+0001 and a lone surrogate become blanks; a pair outside the BMP stays one character, in
    // UTF-8 (test_WriteString). The content is split as in test_WriteCData.
    const auto note = std::make_shared<Testing::RawNote>(u"a\u0001b\xDC00"
                                                         u"c\U0001F600",
                                                         u"x]]>y\U0001D11E]]>");
    const std::string document = BuildExportDocument({note});
    EXPECT_EQ(ElementText(document, "title"), "a b c\xF0\x9F\x98\x80");
    EXPECT_EQ(ElementText(document, "content"),
              "<![CDATA[x]]]]><![CDATA[>y\xF0\x9D\x84\x9E]]]]><![CDATA[>]]>");
}

class BuildAndSendTest : public ::testing::Test, private Ui::IUserInterface {
protected:
    void SetUp() override {
        Testing::OpenItemLog();
        dumpFile_ = Logger::Instance().Directory() + u"TXCEData.xml";
        Platform::DeleteFile(dumpFile_);
        sends_.clear();
        result_ = kSendDelivered;
        Ui::Install(this);
    }
    void TearDown() override { Ui::Install(nullptr); }

    static int RecordSend(Ui::WindowHandle, const char* bytes, std::uint32_t length, std::int32_t) {
        sends_.emplace_back(bytes, length);
        return result_;
    }

    static inline std::vector<std::string> sends_;
    static inline int result_ = kSendDelivered;
    std::u16string dumpFile_;

private:
    Ui::CursorHandle CurrentCursor() override { return 0; }
    void ShowWaitCursor() override {}
    void RestoreCursor(Ui::CursorHandle) override {}
    bool IsShiftDown() override { return false; }
    void ShowMessage(const std::u16string&, const std::u16string&) override {}
    Ui::WindowHandle FocusWindow() override { return 0; }
};

TEST_F(BuildAndSendTest, NotesAreWrittenOneAtATimeAndLetGoOnceWritten) {
    LoadWatch watch;
    NoteList notes;
    for (int i = 0; i < 3; ++i)
        notes.push_back(NoteWithContent(watch, 4));
    BuildAndSendExport(std::move(notes), false, &RecordSend);

    ASSERT_EQ(watch.loads.size(), 3u) << "each resource is loaded once";
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(watch.loads[i].contentsGone, i) << "the notes before note " << i << " are gone";
        EXPECT_EQ(watch.loads[i].buffersAlive, 0) << "no earlier bytes are held at load " << i;
    }
    EXPECT_EQ(watch.contentsGone, 3);
    // Loads give different bytes each time: dump and hand-off come from the one build.
    ASSERT_EQ(sends_.size(), 1u);
    EXPECT_NE(sends_[0].find(Base64Encode("abc3", 4)), std::string::npos);
    EXPECT_EQ(Platform::ReadFile(dumpFile_).value_or("<no dump>"), sends_[0]);
}

// The bound (known before anything is written) against the budget: over it nothing is loaded,
// built, dumped or sent, and the user gets the "too large" message.
TEST_F(BuildAndSendTest, ADocumentOverTheBudgetIsRefusedBeforeAnythingIsLoaded) {
    LoadWatch watch;
    const auto bound = static_cast<std::size_t>(ExportSizeBound({NoteWithContent(watch, 3000)}));
    EXPECT_GE(bound, Base64Length(3000));
    const struct {
        const char* name;
        std::uint32_t size; // what the resource says it holds
        std::size_t loaded; // what it gives
        std::size_t budget;
        bool sent;
        std::size_t loads;
    } cases[] = {
        {"at the budget", 3000, 3000, bound, true, 1},
        {"one byte over", 3000, 3000, bound - 1, false, 0},
        {"4 GiB against the product's budget", 0xFFFFFFFF, 3, kExportBudget, false, 0},
        {"more loaded than said", 3000, 6000, bound, false, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        sends_.clear();
        Platform::DeleteFile(dumpFile_);
        LoadWatch loads;
        Testing::ItemLog log;
        NoteList notes{NoteWithContent(loads, c.size, std::string(c.loaded - 1, 'x'))};
        if (c.sent) {
            BuildAndSendExport(std::move(notes), false, &RecordSend, c.budget);
            EXPECT_EQ(sends_.size(), 1u);
        } else {
            EXPECT_THROW(BuildAndSendExport(std::move(notes), false, &RecordSend, c.budget),
                         NoteContentSizeExceededException);
            EXPECT_TRUE(sends_.empty());
            EXPECT_FALSE(Platform::ReadFile(dumpFile_).has_value());
            const auto lines = log.Lines();
            ASSERT_EQ(lines.size(), 2u);
            EXPECT_TRUE(lines[1].starts_with("Error: TXCE data of ")) << lines[1];
        }
        EXPECT_EQ(loads.loads.size(), c.loads);
    }
}

TEST_F(BuildAndSendTest, FailedHandOffRaisesItsResult) {
    for (int code : {kSendNothingToSend, kSendNoClient, kSendRefused}) {
        result_ = code;
        Testing::ItemLog log;
        try {
            BuildAndSendExport({}, false, &RecordSend);
            ADD_FAILURE() << "no exception for " << code;
        } catch (const SendTxceException& e) {
            EXPECT_EQ(e.ResultCode(), code);
        }
        const auto lines = log.Lines();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), "Info: Sending TXCE data, SHIFT not pressed.");
    }
    EXPECT_EQ(sends_.size(), 3u);
}

TEST_F(BuildAndSendTest, FailuresWhileBuildingSendAndDumpNothing) {
    // A character XML cannot carry that reaches the writer outside the title is its failure,
    // raised as its HRESULT.
    const NoteList badContent{std::make_shared<Testing::RawNote>(u"t", u"a\u0001")};
    Testing::ItemLog log;
    try {
        BuildAndSendExport(badContent, false, &RecordSend);
        ADD_FAILURE() << "no exception";
    } catch (HResult hr) {
        EXPECT_EQ(hr, HResultFrom(0xC00CEE2Bu));
    }
    // An empty note pointer, even after a good note.
    EXPECT_THROW(BuildAndSendExport({MakeNote(u"t", u"c"), nullptr}, false, &RecordSend),
                 std::invalid_argument);

    EXPECT_TRUE(sends_.empty());
    EXPECT_FALSE(Platform::ReadFile(dumpFile_).has_value());
    EXPECT_EQ(log.Lines(),
              (std::vector<std::string>{"Info: Start build TXCE data.", "Info: Start build TXCE data."}));
}

} // namespace
} // namespace Tessarix::Notes
