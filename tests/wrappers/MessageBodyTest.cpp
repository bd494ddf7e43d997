#include "wrappers/MessageBody.h"

#include <gtest/gtest.h>

#include "wrappers/WrapperTestSupport.h"

namespace Tessarix {
namespace {

using Testing::FakeAttachment;
using Testing::FakeItem;

constexpr char kPrefix[] = "file:///C:/Outlook/Attachments/";

std::string Img(const std::string& id) {
    return "<img src='" + std::string(kPrefix) + id + "' />";
}

TEST(NativeBody, HtmlAndPlainTextAreTakenAsTheyStand) {
    FakeItem html(Outlook::kIID_MailItem);
    html.SetNativeBody("<p>caf\xE9</p>", Mapi::kNativeBodyHtml, 1252);
    const MessageBody htmlBody = Body::ReadNativeBody(html.message.get(), nullptr);
    EXPECT_EQ(htmlBody.bytes.View(), "<p>caf\xE9</p>");
    EXPECT_EQ(htmlBody.codePage, 1252u);
    EXPECT_FALSE(htmlBody.plainText);
    EXPECT_EQ(html.message->wrappedCodePages, (std::vector<std::uint32_t>{1252}));
    EXPECT_EQ(html.message->openedStreams, (std::vector<Mapi::PropTag>{Mapi::kPR_RTF_COMPRESSED}));

    FakeItem text(Outlook::kIID_MailItem);
    text.SetNativeBody("a < b", Mapi::kNativeBodyPlainText, 65001);
    const MessageBody textBody = Body::ReadNativeBody(text.message.get(), nullptr);
    EXPECT_EQ(textBody.bytes.View(), "a < b");
    EXPECT_EQ(textBody.codePage, 65001u);
    EXPECT_TRUE(textBody.plainText);
}

// Each missing piece of the native path leads to PR_HTML.
TEST(NativeBody, FallsBackToTheHtmlPropertyWhenTheNativeBodyCannotBeHad) {
    struct Case {
        const char* what;
        void (*prepare)(FakeItem&);
    };
    const Case cases[] = {
        {"no RTF stream",
         [](FakeItem& item) {
             item.message->streams.erase(Mapi::kPR_RTF_COMPRESSED);
         }},
        {"no decompressor",
         [](FakeItem& item) {
             item.message->nativeBody.reset();
         }},
        {"RTF native body",
         [](FakeItem& item) {
             item.message->nativeBody->second = Mapi::kNativeBodyRtf;
         }},
    };
    for (const auto& c : cases) {
        FakeItem item(Outlook::kIID_MailItem);
        item.SetNativeBody("<p>native</p>", Mapi::kNativeBodyHtml, 1252)
            .SetHtmlProperty("<p>from PR_HTML</p>");
        c.prepare(item);
        const MessageBody body = Body::ReadNativeBody(item.message.get(), nullptr);
        EXPECT_EQ(body.bytes.View(), "<p>from PR_HTML</p>") << c.what;
        EXPECT_EQ(body.codePage, 1252u) << c.what;
        EXPECT_FALSE(body.plainText) << c.what;
    }

    // Without a code page the decompressor is not even tried, and PR_HTML cannot be decoded.
    FakeItem noCodePage(Outlook::kIID_MailItem);
    noCodePage.SetNativeBody("<p>native</p>", Mapi::kNativeBodyHtml).SetHtmlProperty("<p>x</p>");
    noCodePage.message->values.erase(Mapi::kPR_INTERNET_CPID);
    EXPECT_TRUE(Body::ReadNativeBody(noCodePage.message.get(), nullptr).Empty());
    EXPECT_TRUE(noCodePage.message->wrappedCodePages.empty());

    FakeItem nothing(Outlook::kIID_MailItem);
    EXPECT_TRUE(Body::ReadNativeBody(nothing.message.get(), nullptr).Empty());
    EXPECT_TRUE(Body::ReadNativeBody(nullptr, nullptr).Empty());
}

TEST(AttachmentMarks, ShortestMatchesInOrderWithABlankForMissingAttachments) {
    auto first = std::make_shared<FakeAttachment>();
    first->id = u"a.png";
    const AttachmentList list{first, nullptr};
    EXPECT_EQ(
        Body::ReplaceAttachmentMarks(u"x&lt;&lt;1&gt;&gt;&gt;&gt;y&lt;&lt;2&gt;&gt;z&lt;&lt;3&gt;&gt;", list),
        FromUtf8(std::string("x") + Img("a.png") + "&gt;&gt;y z "));
    EXPECT_EQ(Body::ReplaceAttachmentMarks(u"&lt;&lt;&lt;&lt;x&gt;&gt;", list), FromUtf8(Img("a.png")));
    EXPECT_EQ(Body::ReplaceAttachmentMarks(u"open &lt;&lt; only", list), u"open &lt;&lt; only");
    EXPECT_EQ(Body::ReplaceAttachmentMarks(u"<<raw>>", list), u"<<raw>>");
}

} // namespace
} // namespace Tessarix
