// A mail through the real content pipeline (litehtml over gumbo): the wiring of the default
// pipeline, and a picture the engine cannot read locally ending as the attachment it names.
#include <gtest/gtest.h>

#include "wrappers/ItemWrappers.h"
#include "wrappers/WrapperTestSupport.h"

namespace Tessarix {
namespace {

using Testing::FakeItem;
using Testing::FileAttachment;

TEST(RealPipeline, AMailBodyIsSerializedAndItsInlinePictureEmbedded) {
    Testing::SelectionScope noSelection;
    FakeItem mail(Outlook::kIID_MailItem);
    mail.Set(u"Subject", u"Hello").Set(u"SenderName", u"Ann").Set(u"Sent", false);
    mail.SetNativeBody("<html><body><p>Hi <img src=\"cid:logo@x\"></p></body></html>", Mapi::kNativeBodyHtml,
                       65001);
    mail.SetAttachments({FileAttachment({.fileName = u"logo.png",
                                         .content = "LOGO",
                                         .mime = u"image/png",
                                         .cid = u"logo@x",
                                         .hidden = true})});

    const auto note = MailWrapper(mail.object).BuildNote();
    const std::u16string content = note->GetContent();
    EXPECT_TRUE(content.starts_with(u"<b>Subject:</b> Hello<br/><b>From:</b> Ann<br/><BODY"))
        << ToUtf8(content);
    EXPECT_NE(content.find(u">Hi <IMG"), std::u16string::npos) << ToUtf8(content);
    EXPECT_NE(content.find(u"src=\"cid:logo@x\""), std::u16string::npos) << ToUtf8(content);
    ASSERT_EQ(note->GetResources().size(), 1u);
    EXPECT_EQ(note->GetResources()[0].GetSourceUrl(), u"cid:logo@x");
    EXPECT_EQ(note->GetResources()[0].GetData().View(), "LOGO");
}

} // namespace
} // namespace Tessarix
