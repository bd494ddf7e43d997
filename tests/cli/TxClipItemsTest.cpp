// Every sample item clipped by txclip: the note the add-in makes from the same item, read back
// from the document txclip wrote.
#include <gtest/gtest.h>

#include "ExportReader.h"
#include "TxClipRunner.h"
#include "cli/Samples.h"
#include "msg/MsgFile.h"

namespace Tessarix::Testing {
namespace {

using Attributes = std::vector<std::pair<std::string, std::string>>;

class TxClipItems : public TxClipTest {
protected:
    ExportNote ClipOne(const std::string& sampleName) {
        const auto notes = ReadExport(ClipToFile({Sample(sampleName)}));
        if (notes.size() != 1) {
            ADD_FAILURE() << notes.size() << " notes";
            return {};
        }
        return notes.front();
    }
};

std::string After(const std::string& text, const std::string& start) {
    const std::size_t at = text.find(start);
    return at == std::string::npos ? std::string() : text.substr(at);
}

Attributes kMailFrom(const char* author) {
    return {{"author", author}, {"source", "app.ms.outlook"}};
}

TEST_F(TxClipItems, PlainTextMailGetsItsHeaderAndItsTextAsHtml) {
    const ExportNote note = ClipOne("01-mail-plain.msg");
    EXPECT_EQ(note.title, "Quarterly numbers");
    EXPECT_EQ(note.attributes, kMailFrom("Ann Archer"));
    EXPECT_TRUE(note.resources.empty());
    // Recipients by type, the sending time in the local zone (UTC here).
    EXPECT_TRUE(
        note.content.starts_with("<b>Subject:</b> Quarterly numbers<br/><b>From:</b> Ann Archer<br/>"
                                 "<b>To:</b> Bob Baker; Cy Young<br/><b>CC:</b> Dee Dunn<br/>"
                                 "<b>BCC:</b> Eve Early<br/><b>Date Sent:</b> 3/7/2011 1:05:09 PM<br/>"
                                 "<BODY"))
        << note.content;
    // The text body becomes HTML (HTMLBody) and goes through the document load.
    EXPECT_EQ(After(note.Unstyled(), "<BODY"),
              "<BODY>Hi Bob,<BR />\n<BR />\nthe numbers for Q1 are in: revenue &lt; costs & we need to "
              "talk.<BR />\n<BR />\nAnn<BR />\n</BODY>");
    EXPECT_TRUE(note.created.ends_with("Z")) << note.created;
}

TEST_F(TxClipItems, HtmlMailKeepsItsMarkupAndEmbedsTheHiddenPictureItShows) {
    const ExportNote note = ClipOne("02-mail-html.msg");
    EXPECT_EQ(note.title, "Agenda for Monday");
    // Not sent: no "Date Sent" line; To from PR_DISPLAY_TO.
    EXPECT_TRUE(note.content.starts_with(
        "<b>Subject:</b> Agenda for Monday<br/><b>From:</b> Carol Chen<br/><b>To:</b> Team<br/><BODY"));
    EXPECT_EQ(After(note.Unstyled(), "<BODY"),
              "<BODY><P class=\"lead\">Please find the <B>agenda</B> below.</P><P><IMG "
              "src=\"cid:logo.png@01D1A2B3\" "
              "alt=\"logo\" /></P><UL><LI>Budget</LI><LI>Hiring</LI></UL></BODY>");
    // The style sheet reached the computed style.
    EXPECT_NE(note.content.find("color:#336699"), std::string::npos);

    ASSERT_EQ(note.resources.size(), 2u);
    EXPECT_EQ(note.resources[0].sourceUrl, "cid:logo.png@01D1A2B3");
    EXPECT_EQ(note.resources[0].fileName, "logo.png@01D1A2B3");
    EXPECT_EQ(note.resources[0].mime, "image/png");
    EXPECT_EQ(note.resources[0].data, Cli::Samples::PngPixel());
    EXPECT_EQ(note.resources[1].sourceUrl, "file:///C:/Outlook/Attachments/agenda.txt");
    EXPECT_EQ(note.resources[1].fileName, "");
    EXPECT_EQ(note.resources[1].mime, "text/plain");
    EXPECT_EQ(note.resources[1].data, "1. Budget\n2. Hiring\n");
}

TEST_F(TxClipItems, HtmlEncapsulatedInRtfIsTheBodyInItsCodePage) {
    const ExportNote note = ClipOne("03-mail-html-in-rtf.msg");
    EXPECT_EQ(note.title, "Caf\xC3\xA9 menu");
    EXPECT_TRUE(
        note.content.starts_with("<b>Subject:</b> Caf\xC3\xA9 menu<br/><b>From:</b> Dee Dunn<br/>"
                                 "<b>To:</b> Bob Baker<br/><b>Date Sent:</b> 3/8/2011 7:45:00 AM<br/>"));
    EXPECT_EQ(After(note.Unstyled(), "<BODY"),
              "<BODY><P>Caf\xC3\xA9 au lait: 2,50 \xE2\x82\xAC, cr\xC3\xA8me br\xC3\xBBl\xC3\xA9"
              "e: 4,00 "
              "\xE2\x82\xAC</P></BODY>");
    EXPECT_EQ(note.content.find("TEXT BODY NOT USED"), std::string::npos);
}

TEST_F(TxClipItems, TextEncapsulatedInRtfIsEscapedNotLoaded) {
    const ExportNote note = ClipOne("04-mail-text-in-rtf.msg");
    EXPECT_EQ(note.content,
              "<b>Subject:</b> Plain words in RTF<br/><b>From:</b> Eve Early<br/>"
              "<b>To:</b> Ann Archer<br/>Line&nbsp;one\r<br>Line&nbsp;&nbsp;two&nbsp;&lt;b&gt;not&nbsp;"
              "bold&lt;/b&gt;\r<br>Gr\xC3\xBC\xC3\x9F"
              "e");
    EXPECT_EQ(note.attributes, kMailFrom("Eve Early"));
}

TEST_F(TxClipItems, PlainRtfFallsBackToPrHtmlWhoseMarksBecomeEmbeddedPictures) {
    const ExportNote note = ClipOne("05-mail-rtf-and-html.msg");
    EXPECT_EQ(After(note.Unstyled(), "<BODY"),
              "<BODY><P>Sales chart:</P><P><IMG src=\"file:///C:/Outlook/Attachments/chart.png\" /></P>"
              "<P>See you.</P></BODY>");
    ASSERT_EQ(note.resources.size(), 1u);
    EXPECT_EQ(note.resources[0].sourceUrl, "file:///C:/Outlook/Attachments/chart.png");
    EXPECT_EQ(note.resources[0].fileName, "chart.png");
    EXPECT_EQ(note.resources[0].mime, "image/png");
    EXPECT_EQ(note.resources[0].data, Cli::Samples::PngPixel());
}

TEST_F(TxClipItems, EightBitStringsAndBodiesAreDecodedInTheirCodePages) {
    const auto notes = ReadExport(ClipToFile(
        {Sample("06-mail-cp1251.msg"), Sample("07-mail-cjk-rtf.msg"), Sample("08-mail-cjk-gbk.msg")}));
    ASSERT_EQ(notes.size(), 3u);

    EXPECT_EQ(notes[0].title,
              "\xD0\x9E\xD1\x82\xD1\x87\xD1\x91\xD1\x82 \xD0\xB7\xD0\xB0 \xD0\xBC\xD0\xB0\xD1\x80\xD1\x82");
    EXPECT_EQ(notes[0].Attribute("author"),
              "\xD0\x98\xD0\xB2\xD0\xB0\xD0\xBD \xD0\x9F\xD0\xB5\xD1\x82\xD1\x80\xD0\xBE\xD0\xB2");
    EXPECT_NE(notes[0].content.find("<b>To:</b> \xD0\x9C\xD0\xB0\xD1\x80\xD0\xB8\xD1\x8F<br/>"),
              std::string::npos);
    EXPECT_EQ(After(notes[0].Unstyled(), "<BODY"),
              "<BODY><P>\xD0\x94\xD0\xBE\xD0\xB1\xD1\x80\xD1\x8B\xD0\xB9 \xD0\xB4\xD0\xB5\xD0\xBD\xD1\x8C! "
              "\xD0\x9E\xD1\x82\xD1\x87\xD1\x91\xD1\x82 \xD0\xB2\xD0\xBE "
              "\xD0\xB2\xD0\xBB\xD0\xBE\xD0\xB6\xD0\xB5\xD0\xBD\xD0\xB8\xD0\xB8.</P></BODY>");

    // Shift-JIS escapes in RTF, read in the font's code page.
    EXPECT_EQ(notes[1].title, "\xE4\xBC\x9A\xE8\xAD\xB0\xE3\x81\xAE\xE8\xAD\xB0\xE4\xBA\x8B\xE9\x8C\xB2");
    EXPECT_EQ(
        After(notes[1].Unstyled(), "<BODY"),
        "<BODY><P>\xE6\x9C\xAC\xE6\x97\xA5\xE3\x81\xAE\xE4\xBC\x9A\xE8\xAD\xB0\xE3\x81\xAE\xE8\xAD\xB0"
        "\xE4\xBA\x8B\xE9\x8C\xB2\xE3\x82\x92\xE9\x80\x81\xE3\x82\x8A\xE3\x81\xBE\xE3\x81\x99\xE3\x80\x82"
        "</P></BODY>");
    EXPECT_EQ(notes[1].Attribute("author"), "\xE5\xB1\xB1\xE7\x94\xB0\xE5\xA4\xAA\xE9\x83\x8E");

    // GBK strings and body; a Unicode attachment name in the resource address.
    EXPECT_EQ(notes[2].title, "\xE5\xAD\xA3\xE5\xBA\xA6\xE6\x8A\xA5\xE5\x91\x8A");
    EXPECT_NE(notes[2].content.find("\xE8\xAF\xB7\xE6\x9F\xA5\xE6\x94\xB6"), std::string::npos);
    ASSERT_EQ(notes[2].resources.size(), 1u);
    EXPECT_EQ(notes[2].resources[0].sourceUrl, "file:///C:/Outlook/Attachments/\xE6\x8A\xA5\xE5\x91\x8A.txt");
}

TEST_F(TxClipItems, AttachmentsOfEveryMethod) {
    const ExportNote note = ClipOne("09-mail-attachments.msg");
    EXPECT_EQ(After(note.Unstyled(), "<BODY"),
              "<BODY><P>All the files, and a pixel: <IMG src=\"cid:pixel@tx\" /></P></BODY>");
    // By value, attached message, OLE object, then the hidden picture the body shows. The three
    // by-reference attachments have no content here and the hidden unreferenced one is left out.
    ASSERT_EQ(note.resources.size(), 4u);
    EXPECT_EQ(note.resources[0].sourceUrl, "file:///C:/Outlook/Attachments/report.pdf");
    EXPECT_EQ(note.resources[0].mime, "application/pdf");
    EXPECT_TRUE(note.resources[0].data.starts_with("%PDF-1.4"));

    EXPECT_EQ(note.resources[1].sourceUrl, "file:///C:/Outlook/Attachments/Level 1.msg");
    EXPECT_EQ(note.resources[1].mime, "application/octet-stream");
    EXPECT_EQ(note.resources[2].sourceUrl, "file:///C:/Outlook/Attachments/drawing.ole");
    EXPECT_EQ(note.resources[2].data, "OLE object contents");
    EXPECT_EQ(note.resources[2].mime, "application/x-ole-object");

    EXPECT_EQ(note.resources[3].sourceUrl, "cid:pixel@tx");
    EXPECT_EQ(note.resources[3].fileName, "pixel@tx");
    EXPECT_EQ(note.resources[3].mime, "image/png"); // no MIME tag: sniffed
    for (const auto& resource : note.resources)
        EXPECT_EQ(resource.data.find("not shown"), std::string::npos);

    // The attached message is a file of its own, with the messages it carries, three deep.
    auto level = Msg::MsgMessage::OpenBytes(note.resources[1].data, u"Level 1.msg");
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
}

TEST_F(TxClipItems, ContactCardWithItsPicture) {
    const ExportNote note = ClipOne("10-contact.msg");
    EXPECT_EQ(note.title, "Dana Scully");
    EXPECT_EQ(note.attributes, (Attributes{{"author", "Dana Scully"},
                                           {"source", "app.ms.outlook"},
                                           {"source-url", "www.example.org/dana"}}));
    const std::string table = "<table style='border-collapse:collapse;vertical-align:top;font-size:10pt'>";
    EXPECT_TRUE(note.content.starts_with(
        "<table><tr><td><img src=\"file:///C:/Outlook/Attachments/ContactPicture.jpg\" ></td><td>" + table +
        "<tr><td>Full Name:</td><td>Dana Scully</td></tr><tr><td>Company:</td><td>FBI</td></tr>"
        "<tr><td>Job Title:</td><td>Special Agent</td></tr><tr><td>Email:</td><td>"
        "<a href=\"mailto:dana@example.org\">dana@example.org</a></td></tr><tr><td>Web Page:</td><td>"
        "<a href=\"http://www.example.org/dana\">www.example.org/dana</a></td></tr>"
        "<tr><td>IM Address:</td><td>dana.im@example.org</td></tr></table></td></tr>"
        "<tr><td colspan=\"2\">" +
        table +
        "<tr><td>Primary Phone:</td><td>+1 202 555 0100</td></tr><tr><td>Mobile Phone:</td><td>+1 202 555 "
        "0199</td></tr></table><br>" +
        table +
        "<tr><td>Business Address:</td><td>935 Pennsylvania Ave, "
        "Washington</td></tr></table></td></tr></table>"))
        << note.content;
    EXPECT_NE(note.content.find("<br><hr /><br><br>Met&nbsp;at&nbsp;Quantico.<br><hr /><br><br>"),
              std::string::npos);
    EXPECT_TRUE(note.content.ends_with(table + "<tr><td>Birthday:</td><td>2/23/1964</td></tr>"
                                               "<tr><td>Categories:</td><td>Work, X-Files</td></tr>"
                                               "<tr><td>Department:</td><td>Basement</td></tr>"
                                               "<tr><td>Children:</td><td>Emily, William</td></tr>"
                                               "<tr><td>User Field1:</td><td>Custom one</td></tr></table>"));
    // The hidden picture is embedded under the reference the card uses.
    ASSERT_EQ(note.resources.size(), 1u);
    EXPECT_EQ(note.resources[0].sourceUrl, "file:///C:/Outlook/Attachments/ContactPicture.jpg");
    EXPECT_EQ(note.resources[0].fileName, "ContactPicture.jpg");
    EXPECT_EQ(note.resources[0].mime, "image/jpeg");
    EXPECT_EQ(note.resources[0].data, Cli::Samples::JpegBytes());
}

TEST_F(TxClipItems, AppointmentsIncludingAnExceptionOfARecurringOne) {
    const auto notes =
        ReadExport(ClipToFile({Sample("11-appointment.msg"), Sample("12-appointment-exception.msg")}));
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0].title, "Budget review");
    EXPECT_EQ(
        notes[0].content,
        "<b>Subject:</b> Budget review<br/><b>Location:</b> Room 4.12<br/><b>Start Date:</b> 3/14/2011 "
        "9:30:00 "
        "AM<br/><b>End Date:</b> 3/14/2011 11:00:00 AM<br/><b>Busy Status:</b> Busy<br/><b>All Day "
        "Event:</b> "
        "No<br/><b>Importance:</b> High<br/><b>Categories:</b> Finance<br/><b>Required:</b> Ann Archer; Bob "
        "Baker<br/>Bring&nbsp;the&nbsp;Q1&nbsp;figures.");
    EXPECT_TRUE(notes[0].attributes.empty());
    EXPECT_TRUE(notes[0].resources.empty());

    EXPECT_EQ(notes[1].title, "Budget review (moved)");
    EXPECT_EQ(
        notes[1].content,
        "<b>Subject:</b> Budget review (moved)<br/><b>Location:</b> Room 2.01<br/><b>Start Date:</b> "
        "3/21/2011 "
        "2:00:00 PM<br/><b>End Date:</b> 3/21/2011 3:00:00 PM<br/><b>Busy Status:</b> Tentative<br/><b>All "
        "Day Event:</b> No<br/><b>Importance:</b> Normal<br/>Moved&nbsp;by&nbsp;one&nbsp;week.");
}

TEST_F(TxClipItems, MeetingRequestWithoutItsInvitationBlock) {
    const ExportNote note = ClipOne("13-meeting-request.msg");
    EXPECT_EQ(note.title, "Design review");
    // Rendered as under Outlook 2010: location through the associated appointment, dates in the
    // version's style, the organizer's busy status through the host's fixed tag.
    EXPECT_EQ(note.content,
              "<b>Subject:</b> Design review<br/><b>Categories:</b> Projects<br/><b>From:</b> Ann "
              "Archer (ann@example.com)<br/><b>Required:</b> Bob Baker; Cy Young<br/><b>Location:</b> Room "
              "1<br/><b>Start Date:</b> 14/03/2011 14:00:00<br/><b>End Date:</b> 14/03/2011 15:00:00<br/>"
              "<b>Busy Status:</b> Busy<br/><b>Companies:</b> Acme; Globex<br/><b>Importance:</b> "
              "Normal<br/>\r<br>\r<br>Let&nbsp;us&nbsp;go&nbsp;through&nbsp;the&nbsp;mock-ups.");
    EXPECT_TRUE(note.attributes.empty());
}

TEST_F(TxClipItems, TaskJournalEntryAndStickyNote) {
    const auto notes = ReadExport(
        ClipToFile({Sample("14-task.msg"), Sample("15-journal.msg"), Sample("16-sticky-note.msg")}));
    ASSERT_EQ(notes.size(), 3u);
    EXPECT_EQ(notes[0].title, "File expense report");
    EXPECT_EQ(notes[0].attributes, (Attributes{{"author", "Ann Archer"}}));
    EXPECT_EQ(
        notes[0].content,
        "<b>Subject:</b> File expense report<br/><b>Owner:</b> Ann Archer<br/><b>Categories:</b> Admin<br/>"
        "<b>Complete:</b> No<br/><b>Start Date:</b> 3/1/2011<br/><b>Due Date:</b> 3/15/2011<br/>"
        "<b>Importance:</b> Low<br/><b>Actual Work:</b> 30  minutes<br/><b>Total Work:</b> 1 minute<br/>"
        "<b>Contact Names:</b> Bob Baker; Cy Young<br/><b>Mileage:</b> 12 km<br/><b>Billing "
        "Information:</b> Project 7<br/><b>Complete:</b> 25%<br/>Receipts&nbsp;are&nbsp;in&nbsp;the&nbsp;"
        "blue&nbsp;folder.");

    EXPECT_EQ(notes[1].title, "Call with Globex");
    EXPECT_EQ(notes[1].content, "<b>Subject:</b> Call with Globex<br/><b>Categories:</b> Sales<br/><b>Start "
                                "Date:</b> 3/9/2011<br/><b>End Date:</b> 3/9/2011<br/><b>Duration:</b> 45  "
                                "minutes<br/><b>Companies:</b> Globex<br/>Discussed&nbsp;the&nbsp;renewal.");
    EXPECT_TRUE(notes[1].attributes.empty());

    EXPECT_EQ(notes[2].title, "Buy milk");
    EXPECT_EQ(notes[2].content,
              "<b>Categories:</b> Home<br/><b>Creation Time:</b> 3/8/2011 8:15:00 AM<br/><hr "
              "/><br>Buy&nbsp;milk\r<br>and&nbsp;&lt;fresh&gt;&nbsp;bread");
    EXPECT_TRUE(notes[2].attributes.empty());
    EXPECT_TRUE(notes[2].resources.empty());
}

TEST_F(TxClipItems, EverySampleInOneClipInTheOrderGiven) {
    std::vector<std::string> items;
    std::vector<std::string> titles;
    for (const auto& sample : Cli::Samples::Items())
        items.push_back(Sample(sample.fileName));
    const auto notes = ReadExport(ClipToFile(items));
    ASSERT_EQ(notes.size(), items.size());
    EXPECT_EQ(notes.front().title, "Quarterly numbers");
    EXPECT_EQ(notes[9].title, "Dana Scully");
    EXPECT_EQ(notes[15].title, "Buy milk");
    EXPECT_EQ(notes.back().title, "a b c [0md e f\tg");
    // Items without a creation time of their own are stamped with the time of the clip, in UTC.
    for (const auto& note : notes)
        EXPECT_TRUE(note.created.size() == 24 && note.created[10] == 'T' && note.created.ends_with("Z"))
            << note.created;
}

// Attachments as real files carry them: no sizes, no method, names and tags as mail programs
// store them, a packaged file, an attached message without its size.
TEST_F(TxClipItems, RealAttachmentsBecomeTheResourcesTheItemShows) {
    const ExportNote note = ClipOne("17-mail-real-attachments.msg");
    EXPECT_EQ(After(note.Unstyled(), "<BODY"),
              "<BODY><P>The view: <IMG src=\"cid:view.png@01D2\" /></P></BODY>");
    ASSERT_EQ(note.resources.size(), 5u);
    // The content id without its angle brackets, the type without its parameters.
    EXPECT_EQ(note.resources[0].sourceUrl, "cid:view.png@01D2");
    EXPECT_EQ(note.resources[0].mime, "image/png");
    EXPECT_EQ(note.resources[0].data, Cli::Samples::PngPixel());
    const std::pair<const char*, std::string> files[] = {
        {"itinerary for the trip.txt", "Day 1: Lisbon\n"},
        {"Boarding pass", "%PDF-1.4 boarding\n%%EOF\n"},
        {"budget.csv", "item;cost\nhotel;420\n"},
    };
    for (std::size_t i = 0; i < std::size(files); ++i) {
        EXPECT_EQ(note.resources[i + 1].sourceUrl,
                  std::string("file:///C:/Outlook/Attachments/") + files[i].first);
        EXPECT_EQ(note.resources[i + 1].data, files[i].second);
    }
    EXPECT_EQ(note.resources[4].sourceUrl, "file:///C:/Outlook/Attachments/Hotel booking");
    const auto booking = Msg::MsgMessage::OpenBytes(note.resources[4].data, u"Hotel booking");
    EXPECT_EQ(booking->Props()->String(0x0037001F), u"Hotel booking");
}

// 8-bit strings in the code page of the store that wrote them, found from the locale, or from the
// script of the body's Internet code page; the HTML body in its own.
TEST_F(TxClipItems, EightBitItemsWithoutACodePageReadInTheirWritersCodePage) {
    const auto notes =
        ReadExport(ClipToFile({Sample("18-mail-ansi-locale-ja.msg"), Sample("19-mail-ansi-koi8.msg"),
                               Sample("20-contact-ansi-pl.msg")}));
    ASSERT_EQ(notes.size(), 3u);
    EXPECT_EQ(notes[0].title, "\xE5\x87\xBA\xE5\xBC\xB5\xE3\x81\xAE\xE4\xBA\x88\xE5\xAE\x9A");
    EXPECT_EQ(notes[0].Attribute("author"), "\xE4\xBD\x90\xE8\x97\xA4\xE8\x8A\xB1\xE5\xAD\x90");
    EXPECT_NE(notes[0].content.find("<b>To:</b> \xE7\x94\xB0\xE4\xB8\xAD\xE4\xB8\x80\xE9\x83\x8E<br/>"),
              std::string::npos);
    EXPECT_EQ(After(notes[0].Unstyled(), "<BODY"),
              "<BODY><P>\xE6\x9D\xA5\xE9\x80\xB1\xE3\x81\xAF\xE5\xA4\xA7\xE9\x98\xAA\xE3\x81\xA7\xE3\x81\x99"
              "\xE3\x80\x82</P></BODY>");

    EXPECT_EQ(notes[1].title, "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82");
    EXPECT_EQ(notes[1].Attribute("author"), "\xD0\x9E\xD0\xBB\xD0\xB5\xD0\xB3");

    EXPECT_EQ(notes[2].title, "Wojciech \xC5\x81\xC4\x85\x63ki");
    EXPECT_NE(
        notes[2].content.find("<tr><td>Company:</td><td>\xC5\xBB\xC3\xB3\xC5\x82w Sp. z o.o.</td></tr>"),
        std::string::npos)
        << notes[2].content;
}

// Calendar days stored as the UTC instants of another zone's midnights show the writer's day
// wherever txclip runs.
TEST_F(TxClipItems, CalendarDaysAreTheWritersInEveryTimeZone) {
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
TEST_F(TxClipItems, ADamagedAttachmentIsLeftOutAndNamed) {
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

TEST_F(TxClipItems, ADamagedRtfBodyFallsBackToTheHtmlBody) {
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
