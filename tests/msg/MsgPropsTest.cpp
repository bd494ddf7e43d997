#include <gtest/gtest.h>

#include "MsgFixtures.h"
#include "attachments/Attachment.h"
#include "wrappers/MapiProperties.h"

namespace Tessarix::Msg {
namespace {

using namespace Testing;

std::string ReadAll(Mapi::IPropStream& stream) {
    StringUTF8 bytes;
    EXPECT_EQ(Mapi::ReadWholeStream(stream, bytes), kS_OK);
    return std::string(bytes.View());
}

TEST(MsgProps, ReadsAnswerAsTheHostDoes) {
    MessageData message;
    message.props.Set(kPR_SUBJECT_A, Value::String8("caf\xE9"))
        .Set(kPR_DISPLAY_NAME_W, Value::Unicode(u"Wide"))
        .Set(kPR_IMPORTANCE, Value::Long(2))
        .Set(Mapi::kPR_ATTACHMENT_HIDDEN, Value::Bool(true))
        .Set(kPR_CLIENT_SUBMIT_TIME, Value::Time(FileTime{5, 6}))
        .Set(0x30080002, Value::I2(3));
    const auto props = Reopen(message)->Props();
    Mapi::PropValue value;

    EXPECT_EQ(props->GetProp(0x0E1D001F, value), kMAPI_E_NOT_FOUND) << "absent";
    // A string reads as either string type, 8-bit text decoded.
    ASSERT_EQ(props->GetProp(kPR_SUBJECT_W, value), kS_OK);
    EXPECT_EQ(std::get<std::u16string>(value), u"caf\u00E9");
    ASSERT_EQ(props->GetProp(MakeTag(0x3001, kPT_STRING8), value), kS_OK);
    EXPECT_EQ(std::get<std::u16string>(value), u"Wide");
    ASSERT_EQ(props->GetProp(kPR_IMPORTANCE, value), kS_OK);
    EXPECT_EQ(std::get<std::uint32_t>(value), 2u);
    ASSERT_EQ(props->GetProp(Mapi::kPR_ATTACHMENT_HIDDEN, value), kS_OK);
    EXPECT_TRUE(std::get<bool>(value));
    ASSERT_EQ(props->GetProp(kPR_CLIENT_SUBMIT_TIME, value), kS_OK);
    EXPECT_EQ(std::get<FileTime>(value), (FileTime{5, 6}));
    // Another type than the stored one is absent; a type the seam cannot carry says so.
    EXPECT_EQ(props->GetProp(MakeTag(0x0017, kPT_BOOLEAN), value), kMAPI_E_NOT_FOUND);
    EXPECT_EQ(props->GetProp(MakeTag(0x0037, kPT_LONG), value), kMAPI_E_NOT_FOUND);
    EXPECT_EQ(props->GetProp(0x30080002, value), kMAPI_E_TYPE_NO_SUPPORT);

    // Through the product's getters: defaults where the host gives them.
    EXPECT_EQ(Global::GetStringProperty(props.get(), kPR_SUBJECT_W), u"caf\u00E9");
    EXPECT_EQ(Global::GetLongProperty(props.get(), Mapi::kPR_INTERNET_CPID, 0xFFFFFFFF), 0xFFFFFFFFu);
    EXPECT_EQ(Global::GetLongProperty(props.get(), kPR_IMPORTANCE, 0), 2u);
    EXPECT_TRUE(Global::GetBoolProperty(props.get(), Mapi::kPR_ATTACHMENT_HIDDEN, false));
}

TEST(MsgProps, StreamsOpenOnStreamProperties) {
    MessageData message;
    message.props.Set(Mapi::kPR_HTML, Value::Binary("<p>binary</p>"))
        .Set(kPR_BODY_W, Value::Unicode(u"body"))
        .Set(kPR_IMPORTANCE, Value::Long(1));
    const auto props = Reopen(message)->Props();
    std::shared_ptr<Mapi::IPropStream> stream;
    ASSERT_EQ(props->OpenStream(Mapi::kPR_HTML, stream), kS_OK);
    EXPECT_EQ(ReadAll(*stream), "<p>binary</p>");
    ASSERT_EQ(props->OpenStream(kPR_BODY_W, stream), kS_OK);
    EXPECT_EQ(ReadAll(*stream), std::string("b\0o\0d\0y\0", 8));
    EXPECT_EQ(props->OpenStream(kPR_IMPORTANCE, stream), kE_NOINTERFACE);
    EXPECT_EQ(props->OpenStream(Mapi::kPR_RTF_COMPRESSED, stream), kMAPI_E_NOT_FOUND);
    std::shared_ptr<Mapi::IPropStorage> storage;
    EXPECT_EQ(props->OpenStorage(Mapi::kPR_HTML, storage), kE_NOINTERFACE);
    EXPECT_EQ(props->OpenStorage(kPR_ATTACH_DATA_OBJ, storage), kMAPI_E_NOT_FOUND);

    // PR_HTML kept as text opens as its bytes in the message's code page.
    MessageData text;
    text.props.Set(Mapi::kPR_INTERNET_CPID, Value::Long(1252))
        .Set(MakeTag(0x1013, kPT_UNICODE), Value::Unicode(u"<p>caf\u00E9</p>"));
    ASSERT_EQ(Reopen(text)->Props()->OpenStream(Mapi::kPR_HTML, stream), kS_OK);
    EXPECT_EQ(ReadAll(*stream), "<p>caf\xE9</p>");
    MessageData eight;
    eight.props.Set(MakeTag(0x1013, kPT_STRING8), Value::String8("<p>8</p>"));
    ASSERT_EQ(Reopen(eight)->Props()->OpenStream(Mapi::kPR_HTML, stream), kS_OK);
    EXPECT_EQ(ReadAll(*stream), "<p>8</p>");
}

TEST(MsgProps, AttachmentsReadThroughTheAttachmentModel) {
    const MessagePtr message = Reopen(RichMail());
    Attachment file(message->Attachments()[0]->Props());
    EXPECT_EQ(file.GetFileName(), u"a.txt");
    EXPECT_EQ(file.GetSize(), 10u);
    StringUTF8 bytes;
    file.LoadContentTo(bytes);
    EXPECT_EQ(bytes.View(), "file bytes");

    // An OLE attachment's content is the CONTENTS stream of its storage.
    Attachment ole(message->Attachments()[1]->Props());
    EXPECT_EQ(ole.GetFileName(), u"object");
    ole.LoadContentTo(bytes);
    EXPECT_EQ(bytes.View(), "ole contents");
    std::shared_ptr<Mapi::IPropStorage> storage;
    ASSERT_EQ(message->Attachments()[1]->Props()->OpenStorage(kPR_ATTACH_DATA_OBJ, storage), kS_OK);
    std::shared_ptr<Mapi::IPropStream> stream;
    EXPECT_EQ(storage->OpenStream(u"\u0001CompObj", stream), kS_OK);
    EXPECT_EQ(storage->OpenStream(u"missing", stream), kSTG_E_FILENOTFOUND);
    storage.reset();
    ASSERT_EQ(message->Attachments()[1]->Props()->OpenStorage(kPR_ATTACH_DATA_OBJ, storage), kS_OK);
    ASSERT_EQ(storage->OpenStream(u"CONTENTS", stream), kS_OK);
    storage.reset();
    EXPECT_EQ(ReadAll(*stream), "ole contents") << "a stream outlives its storage";

    // An attached message has no content stream through this model.
    Attachment embedded(message->Attachments()[2]->Props());
    EXPECT_EQ(embedded.GetSize(), 0u);
    EXPECT_TRUE(Global::IsEmbededMessage(message->Attachments()[2]->Props().get()));
}

TEST(MsgProps, NativeBodyComesFromTheCompressedRtf) {
    const std::string html =
        "{\\rtf1\\ansi\\ansicpg1252\\fromhtml1 {\\*\\htmltag <p>}caf\\'e9{\\*\\htmltag </p>}}";
    for (const std::string& stored : {Rtf::Compress(html), Rtf::StoreUncompressed(html)}) {
        MessageData message;
        message.props.Set(Mapi::kPR_RTF_COMPRESSED, Value::Binary(stored));
        const auto props = Reopen(message)->Props();
        std::shared_ptr<Mapi::IPropStream> compressed;
        ASSERT_EQ(props->OpenStream(Mapi::kPR_RTF_COMPRESSED, compressed), kS_OK);
        Mapi::NativeBody body;
        ASSERT_EQ(props->WrapCompressedRtf(*compressed, 65001, body), kS_OK);
        EXPECT_EQ(body.type, Mapi::kNativeBodyHtml);
        EXPECT_EQ(ReadAll(*body.stream), "<p>caf\xC3\xA9</p>");
    }

    MessageData plain;
    const std::string rtf = "{\\rtf1\\ansi just rtf}";
    plain.props.Set(Mapi::kPR_RTF_COMPRESSED, Value::Binary(Rtf::Compress(rtf)));
    const auto props = Reopen(plain)->Props();
    std::shared_ptr<Mapi::IPropStream> compressed;
    ASSERT_EQ(props->OpenStream(Mapi::kPR_RTF_COMPRESSED, compressed), kS_OK);
    Mapi::NativeBody body;
    ASSERT_EQ(props->WrapCompressedRtf(*compressed, 1252, body), kS_OK);
    EXPECT_EQ(body.type, Mapi::kNativeBodyRtf);
    EXPECT_EQ(ReadAll(*body.stream), rtf);

    // A CRC mismatch fails the call, so that the caller takes its fallback.
    std::string broken = Rtf::Compress(html);
    broken[20] ^= 0x40;
    plain.props = PropertyBag();
    plain.props.Set(Mapi::kPR_RTF_COMPRESSED, Value::Binary(broken));
    const auto brokenProps = Reopen(plain)->Props();
    ASSERT_EQ(brokenProps->OpenStream(Mapi::kPR_RTF_COMPRESSED, compressed), kS_OK);
    EXPECT_EQ(brokenProps->WrapCompressedRtf(*compressed, 1252, body), kMAPI_E_CORRUPT_DATA);
}

} // namespace
} // namespace Tessarix::Msg
