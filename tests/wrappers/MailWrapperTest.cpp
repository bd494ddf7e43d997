#include <gtest/gtest.h>

#include "core/Utils.h"
#include "wrappers/ItemWrappers.h"
#include "wrappers/WrapperTestSupport.h"

namespace Tessarix {
namespace {

using Testing::FakeItem;
using Testing::FileAttachment;
using Testing::ItemLog;
using Testing::Line;
using Testing::MessageAttachment;
using Testing::NoteView;
using Testing::View;

constexpr AutomationDate kSentOn{40609.5625}; // 7 March 2011 13:30
const std::string kPrefix = "file:///C:/Outlook/Attachments/";

struct MailWrapperTest : Testing::WrapperTest {
    FakeItem mail{Outlook::kIID_MailItem};

    MailWrapperTest() {
        mail.Set(u"Subject", u"Quarterly <figures>")
            .Set(u"SenderName", u"Ann Smith")
            .Set(u"To", u"Bob; Carol")
            .Set(u"CC", u"")
            .Set(u"BCC", std::monostate{})
            .Set(u"Sent", true)
            .Set(u"SentOn", kSentOn)
            .Set(u"HTMLBody", u"<p>object model</p>")
            .SetAttachments({});
    }
    Notes::NotePtr Build() { return MailWrapper(mail.object, pipeline).BuildNote(); }
};

TEST_F(MailWrapperTest, UnsentPlainTextMailIsEscapedWithoutLoading) {
    mail.Set(u"Sent", false).Set(u"SenderName", u"").Set(u"CC", u"Dan").Set(u"BCC", u"Eve");
    mail.SetNativeBody("1 < 2\nsee  you", Mapi::kNativeBodyPlainText);
    const auto note = Build();
    EXPECT_EQ(View(*note), (NoteView{"Quarterly <figures>",
                                     Line("Subject", "Quarterly <figures>") + Line("To", "Bob; Carol") +
                                         Line("CC", "Dan") + Line("BCC", "Eve") +
                                         "1&nbsp;&lt;&nbsp;2<br>see&nbsp;&nbsp;you",
                                     {{"source", "app.ms.outlook"}},
                                     {}}));
    EXPECT_TRUE(pipeline->loads.empty());
}

TEST_F(MailWrapperTest, WithoutAMapiObjectTheHtmlBodyPropertyIsLoaded) {
    mail.object->mapiObjectResult = kE_FAIL;
    ItemLog log;
    const auto note = Build();
    EXPECT_TRUE(note->GetContent().ends_with(u"[DOM]<p>object model</p>[/DOM]"));
    EXPECT_EQ(pipeline->codePages, (std::vector<std::optional<std::uint32_t>>{std::nullopt}));
    const std::string failure = "Error: get_MAPIOBJECT() failed in MailWrapper::BuildNote(): 0x80004005 ";
    const auto messages = log.Messages();
    const auto line = std::find_if(messages.begin(), messages.end(),
                                   [&](const std::string& message) { return message.starts_with(failure); });
    ASSERT_NE(line, messages.end());
#ifdef _WIN32
    EXPECT_GT(line->size(), failure.size()) << "the system's text for the code follows it";
#else
    EXPECT_EQ(*line, failure);
#endif
}

TEST_F(MailWrapperTest, AnRtfBodyComesFromPrHtmlWithItsAttachmentsAsPictures) {
    mail.Set(u"Sent", false).SetNativeBody("{\\rtf1}", Mapi::kNativeBodyRtf, 1252);
    mail.SetHtmlProperty("<p>See &lt;&lt;chart.png&gt;&gt; and &lt;&lt;extra&gt;&gt;</p>");
    mail.SetAttachments(
        {FileAttachment({.fileName = u"chart.png", .content = "PNG", .mime = u"image/png", .hidden = true})});
    ItemLog log;
    const auto note = Build();
    // The marks collect the attachments once more; the count is still the attachment step's alone.
    std::vector<std::string> written;
    for (const std::string& line : log.Messages()) {
        if (!line.starts_with("Debug:"))
            written.push_back(line);
    }
    EXPECT_EQ(written, (std::vector<std::string>{"Info:   Count of attachments: 1",
                                                 "Info:    0/1: chart.png (image/png)",
                                                 "Info:   > Processed as embedded"}));
    const std::string body = "<p>See <img src='" + kPrefix + "chart.png' /> and  </p>";
    EXPECT_EQ(View(*note), (NoteView{"Quarterly <figures>",
                                     Line("Subject", "Quarterly <figures>") + Line("From", "Ann Smith") +
                                         Line("To", "Bob; Carol") + "[DOM]" + body + "[/DOM]",
                                     {{"author", "Ann Smith"}, {"source", "app.ms.outlook"}},
                                     {{"image/png", kPrefix + "chart.png", "chart.png", "PNG"}}}));
}

// Referenced pictures are embedded under the content's reference even when hidden; other hidden
// attachments and empty ones are left out; visible files and attached items stand alone.
TEST_F(MailWrapperTest, AttachmentsAreEmbeddedStandaloneOrLeftOut) {
    mail.SetNativeBody(R"(<p><img src="cid:logo@x"><img src="http://cached/p.png"></p>)",
                       Mapi::kNativeBodyHtml);
    pipeline->localPictures[u"http://cached/p.png"] = "CACHED";
    mail.SetAttachments({
        FileAttachment({.fileName = u"logo.png",
                        .content = "LOGO",
                        .mime = u"image/png",
                        .cid = u"logo@x",
                        .hidden = true}),
        FileAttachment(
            {.fileName = u"signature.gif", .content = "GIF", .mime = u"image/gif", .hidden = true}),
        FileAttachment({.fileName = u"empty.txt", .content = ""}),
        FileAttachment({.fileName = u"report 100%.pdf", .content = "PDF", .mime = u"application/pdf"}),
        MessageAttachment(u"Fwd.msg", "MSG"),
    });
    ItemLog log;
    const auto note = Build();
    const NoteView view = View(*note);
    EXPECT_EQ(view.resources, (std::vector<Testing::ResourceView>{
                                  {"image/png", "http://cached/p.png", "", "CACHED"},
                                  {"image/png", "cid:logo@x", "logo@x", "LOGO"},
                                  {"application/pdf", kPrefix + "report 100%.pdf", "", "PDF"},
                                  {"application/octet-stream", kPrefix + "Fwd.msg", "", "MSG"},
                              }));
    const auto messages = log.Messages();
    const std::vector<std::string> attachmentLines(
        std::find(messages.begin(), messages.end(), "Info:   Count of attachments: 5"), messages.end());
    EXPECT_EQ(attachmentLines, (std::vector<std::string>{
                                   "Info:   Count of attachments: 5",
                                   "Info:    0/5: logo.png (image/png)",
                                   "Info:   > Processed as embedded",
                                   "Info:    1/5: signature.gif (image/gif)",
                                   "Info:    3/5: report 100%.pdf (application/pdf)",
                                   "Info:   > Processed as normal attachment",
                                   "Info:    4/5: Fwd.msg (application/octet-stream)",
                                   "Info:   > Processed as normal attachment",
                               }));
}

// The limit's boundary and log lines are the attachment policy's; the wrapper lets the failure through.
TEST_F(MailWrapperTest, AnAttachmentAboveTwentyFiveMebibytesAbortsTheNote) {
    mail.SetNativeBody("<p>x</p>", Mapi::kNativeBodyHtml);
    mail.SetAttachments({FileAttachment({.fileName = u"big.bin", .content = "B", .reportedSize = 26214401})});
    EXPECT_THROW(Build(), AttachmentSizeLimitExceededException);
}

TEST_F(MailWrapperTest, ASelectionIsClippedAloneWithOnlyTheAttachmentsItShows) {
    Select(u"<p>chosen <img src=\"cid:logo@x\"></p>");
    mail.SetNativeBody("<p>whole mail</p>", Mapi::kNativeBodyHtml);
    mail.SetAttachments({
        FileAttachment({.fileName = u"logo.png",
                        .content = "LOGO",
                        .mime = u"image/png",
                        .cid = u"logo@x",
                        .hidden = true}),
        FileAttachment({.fileName = u"report.pdf", .content = "PDF", .mime = u"application/pdf"}),
    });
    ItemLog log;
    const auto note = Build();
    EXPECT_EQ(View(*note), (NoteView{"",
                                     "[DOM]<p>chosen <img src=\"cid:logo@x\"></p>[/DOM]",
                                     {},
                                     {{"image/png", "cid:logo@x", "logo@x", "LOGO"}}}));
    EXPECT_TRUE(Testing::Contains(log.Messages(), "Info:   > Ignored"));
    EXPECT_FALSE(Testing::WasRead(*mail.object, u"Subject"));
    EXPECT_TRUE(mail.object->mapiRequests.empty());
}

} // namespace
} // namespace Tessarix
