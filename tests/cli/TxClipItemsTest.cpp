// Every sample item clipped by txclip: the note the add-in makes from the same item, read back
// from the document txclip wrote and compared whole with the expected note in data/.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "ExportReader.h"
#include "TxClipRunner.h"
#include "cli/Samples.h"
#include "msg/MsgFile.h"

namespace Tessarix::Testing {
namespace {

const std::filesystem::path kExpected = TX_CLI_DATA_DIR;

std::string After(const std::string& text, const std::string& start) {
    const std::size_t at = text.find(start);
    return at == std::string::npos ? std::string() : text.substr(at);
}

// Control characters (but line ends) and the backslash as C escapes; other bytes as they are.
std::string Escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\\')
            out += "\\\\";
        else if (c == '\r')
            out += "\\r";
        else if ((byte < 0x20 && c != '\n') || byte == 0x7F) {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02X", byte);
            out += hex;
        } else
            out += c;
    }
    return out;
}

std::string Shown(const std::string& data) {
    if (data == Cli::Samples::PngPixel())
        return "<the 1x1 PNG>";
    if (data == Cli::Samples::JpegBytes())
        return "<the JPEG>";
    if (data.starts_with("\xD0\xCF\x11\xE0"))
        return "<a saved item>"; // reopened by the tests below
    return Escaped(data);
}

// The note as the expected files hold it: everything but the creation time, which is the clip's
// own for most items, and the style attributes that the serializer writes on every element.
std::string Shown(const ExportNote& note) {
    std::string out = "title: " + Escaped(note.title) + "\n";
    for (const auto& [name, value] : note.attributes)
        out += name + ": " + Escaped(value) + "\n";
    for (const auto& resource : note.resources)
        out += "resource: " + Escaped(resource.sourceUrl) + " | " + Escaped(resource.fileName) + " | " +
               resource.mime + " | " + Shown(resource.data) + "\n";
    return out + "content:\n" + Escaped(note.Unstyled()) + "\n";
}

// All samples in one clip, in the order given; TX_UPDATE_EXPECTED=1 rewrites the expected files.
TEST_F(TxClipTest, EverySampleBecomesItsExpectedNote) {
    std::vector<std::string> items;
    for (const auto& sample : Cli::Samples::Items())
        items.push_back(Sample(sample.fileName));
    const auto notes = ReadExport(ClipToFile(items));
    ASSERT_EQ(notes.size(), items.size());
    const bool update = std::getenv("TX_UPDATE_EXPECTED") != nullptr;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const std::filesystem::path file =
            kExpected / std::filesystem::path(items[i]).filename().replace_extension(".note");
        if (update)
            WriteFileBytes(file, Shown(notes[i]));
        EXPECT_EQ(Shown(notes[i]), ReadFileBytes(file)) << file;
        // Items without a creation time of their own are stamped with the time of the clip, in UTC.
        EXPECT_TRUE(notes[i].created.size() == 24 && notes[i].created[10] == 'T' &&
                    notes[i].created.ends_with("Z"))
            << notes[i].created;
    }

    // The style sheet reached the computed style.
    EXPECT_NE(notes[1].content.find("color:#336699"), std::string::npos);

    const auto resource = [&](const std::string& sample, std::size_t index) {
        const auto at =
            std::find_if(items.begin(), items.end(), [&](const auto& i) { return i.ends_with(sample); });
        const auto& resources = notes.at(static_cast<std::size_t>(at - items.begin())).resources;
        return index < resources.size() ? resources[index].data : std::string();
    };
    // Attached messages are files of their own, with the messages they carry, three deep.
    auto level = Msg::MsgMessage::OpenBytes(resource("09-mail-attachments.msg", 1), u"Level 1.msg");
    for (const char16_t* subject : {u"Level 1", u"Level 2", u"Level 3"}) {
        EXPECT_EQ(level->Props()->String(0x0037001F).value_or(u""), subject);
        ASSERT_EQ(level->Attachments().size(), 1u);
        const auto next = level->Attachments()[0]->EmbeddedMessage();
        if (!next) {
            EXPECT_EQ(std::u16string(subject), u"Level 3");
            EXPECT_EQ(level->Attachments()[0]->Props()->Binary(Mapi::kPR_ATTACH_DATA_BIN).value_or(""),
                      "deepest");
            break;
        }
        level = next;
    }
    const auto booking =
        Msg::MsgMessage::OpenBytes(resource("17-mail-real-attachments.msg", 4), u"Hotel booking");
    EXPECT_EQ(booking->Props()->String(0x0037001F), u"Hotel booking");
}

// Calendar days stored as the UTC instants of another zone's midnights show the writer's day
// wherever txclip runs.
TEST_F(TxClipTest, CalendarDaysAreTheWritersInEveryTimeZone) {
    for (const char* zone : {"UTC", "Pacific/Auckland", "America/Los_Angeles", "Asia/Kolkata"}) {
        SCOPED_TRACE(zone);
        const std::string output = (out_ / "clip.xml").string();
        const RunResult result = Run(
            {Sample("20-contact-ansi-pl.msg"), Sample("21-appointment-all-day-auckland.msg"), "-o", output},
            {{{"TZ", zone}}});
        ExpectCleanExit(result);
        ASSERT_EQ(result.status, 0) << result.err;
        const auto notes = ReadExport(ReadFileBytes(output));
        ASSERT_EQ(notes.size(), 2u);
        EXPECT_NE(notes[0].content.find("<tr><td>Birthday:</td><td>7/15/1980</td></tr>"), std::string::npos)
            << notes[0].content;
        EXPECT_NE(notes[0].content.find("<tr><td>Anniversary:</td><td>6/18/2005</td></tr>"),
                  std::string::npos);
        EXPECT_NE(notes[1].content.find("<b>Start Date:</b> 2/6/2011<br/><b>End Date:</b> 2/7/2011<br/>"),
                  std::string::npos)
            << notes[1].content;
    }
}

// A damaged attachment costs that attachment, named in the log; the rest of the item is clipped.
TEST_F(TxClipTest, ADamagedAttachmentIsLeftOutAndNamed) {
    const auto notes = ReadExport(
        ClipToFile({CorruptSample("damaged-attachment.msg"), CorruptSample("damaged-embedded-message.msg")}));
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0].title, "Agenda for Monday");
    ASSERT_EQ(notes[0].resources.size(), 1u);
    EXPECT_EQ(notes[0].resources[0].sourceUrl, "cid:logo.png@01D1A2B3");
    std::vector<std::string> urls;
    for (const auto& resource : notes[1].resources)
        urls.push_back(resource.sourceUrl);
    EXPECT_EQ(urls, (std::vector<std::string>{"file:///C:/Outlook/Attachments/report.pdf",
                                              "file:///C:/Outlook/Attachments/drawing.ole", "cid:pixel@tx"}));
    std::string log;
    for (const auto& name : Entries(LogFolder()))
        if (name.starts_with("OLClipper"))
            log += ReadFileBytes(LogFolder() / name);
    for (const char* line :
         {"damaged-attachment.msg: attachment 1: no property stream; the attachment is left out",
          "damaged-embedded-message.msg: attachment 4: the attached message cannot be read; "
          "the attachment is left out"})
        EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
}

TEST_F(TxClipTest, ADamagedRtfBodyFallsBackToTheHtmlBody) {
    // The HTML-in-RTF mail with a PR_HTML of its own, and a compressed RTF whose CRC is wrong.
    const Msg::MessageData sample = Cli::Samples::Items()[2].message;
    Msg::MessageData damaged;
    for (const auto& item : sample.props.Items()) {
        if (item.tag == Mapi::kPR_RTF_COMPRESSED) {
            std::string bytes = item.value.Bytes();
            bytes[12] = static_cast<char>(bytes[12] ^ 0x5A);
            damaged.props.Set(item.tag, Msg::Value::Binary(bytes));
        } else {
            damaged.props.Set(item.tag, item.value);
        }
    }
    damaged.props.Set(Mapi::kPR_HTML, Msg::Value::Binary("<html><body><p>From PR_HTML</p></body></html>"));
    const auto notes = ReadExport(ClipToFile({Item(damaged, "damaged-rtf.msg")}));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(After(notes[0].Unstyled(), "<BODY"), "<BODY><P>From PR_HTML</P></BODY>");
}

} // namespace
} // namespace Tessarix::Testing
