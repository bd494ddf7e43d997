#include <gtest/gtest.h>

#include "MsgFixtures.h"
#include "attachments/Attachment.h"
#include "itemaccess/MapiProperties.h"

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
    // A store knows the body's Internet code page: here, with no HTML, the strings' one.
    EXPECT_EQ(Global::GetLongProperty(props.get(), Mapi::kPR_INTERNET_CPID, 0xFFFFFFFF), 1252u);
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

// The contents of files and OLE objects through the attachment model are in every sample clipped by
// txclip (TxClipTest.EverySampleBecomesItsExpectedNote); here what the storage seam answers.
TEST(MsgProps, OleStoragesAndAttachedMessagesAsTheAttachmentModelSeesThem) {
    const MessagePtr message = Reopen(RichMail());
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

TEST(MsgProps, AttachmentsAnswerWhatAStoreWouldWhereTheFileIsSilent) {
    constexpr PropTag kNum = 0x0E210003, kFlags = 0x37140003;
    MessageData message = Mail(u"x");
    AttachmentData bare; // data only: no method, size, position
    bare.props.Set(Mapi::kPR_ATTACH_DATA_BIN, Value::Binary(std::string(4096, 'g')));
    message.attachments.push_back(bare);
    AttachmentData ole; // an OLE storage without a method
    ole.oleStorage = Cfb::Storage{};
    ole.oleStorage->streams["CONTENTS"] = "12345";
    ole.oleStorage->streams["\x01"
                            "CompObj"] = "123";
    message.attachments.push_back(ole);
    message.attachments.push_back(Attached(Mail(u"inner"), u"inner")); // no size
    AttachmentData stored = FileAttachment(u"s", "abc");               // what is stored wins
    stored.props.Set(Mapi::kPR_ATTACH_SIZE, Value::Long(7)).Set(Mapi::kPR_RENDERING_POSITION, Value::Long(3));
    message.attachments.push_back(stored);
    message.attachments.push_back(AttachmentData{}); // nothing at all
    const MessagePtr read = Reopen(message);
    const auto answer = [&](std::size_t index, PropTag tag) {
        Mapi::PropValue value;
        const auto props = read->Attachments().at(index)->Props();
        return Failed(props->GetProp(tag, value)) ? std::optional<std::uint32_t>()
                                                  : std::get<std::uint32_t>(value);
    };
    const std::uint64_t innerSize = [&] {
        const Cfb::Storage tree = MsgWriter::Build(message);
        std::uint64_t total = 0;
        for (const auto& [name, bytes] :
             tree.storages.at("__attach_version1.0_#00000002").storages.at("__substg1.0_3701000D").streams)
            total += bytes.size();
        return total;
    }();
    struct Row {
        std::size_t index;
        std::uint32_t method, size, position;
    };
    for (const Row& row : {Row{0, 1, 4096, 0xFFFFFFFF}, Row{1, 6, 8, 0xFFFFFFFF},
                           Row{2, 5, static_cast<std::uint32_t>(innerSize), 0xFFFFFFFF}, Row{3, 1, 7, 3},
                           Row{4, 0, 0, 0xFFFFFFFF}}) {
        EXPECT_EQ(answer(row.index, Mapi::kPR_ATTACH_METHOD), row.method) << row.index;
        EXPECT_EQ(answer(row.index, Mapi::kPR_ATTACH_SIZE), row.size) << row.index;
        EXPECT_EQ(answer(row.index, Mapi::kPR_RENDERING_POSITION), row.position) << row.index;
        EXPECT_EQ(answer(row.index, kNum), row.index) << row.index;
        EXPECT_EQ(answer(row.index, kFlags), 0u) << row.index;
    }
    EXPECT_NE(read->Attachments()[2]->EmbeddedMessage(), nullptr);
    // The attachment model now sees the bare attachment's bytes.
    Attachment model(read->Attachments()[0]->Props());
    EXPECT_EQ(model.GetSize(), 4096u);

    // The Internet code page of the body: its declaration, else the strings' code page.
    MessageData declared;
    declared.props.Set(kPR_MESSAGE_CODEPAGE, Value::Long(1250))
        .Set(Mapi::kPR_HTML, Value::Binary("<html><head><META http-equiv=Content-Type content='text/html; "
                                           "CHARSET = \"Windows-1251\"'></head></html>"));
    MessageData undeclared;
    undeclared.props.Set(kPR_MESSAGE_CODEPAGE, Value::Long(1250));
    for (const auto& [item, expected] : {std::pair{declared, 1251u}, {undeclared, 1250u}}) {
        Mapi::PropValue value;
        ASSERT_EQ(Reopen(item)->Props()->GetProp(Mapi::kPR_INTERNET_CPID, value), kS_OK);
        EXPECT_EQ(std::get<std::uint32_t>(value), expected);
    }
}

TEST(MsgProps, PackagedFilesAndNamesAsMailProgramsStoreThem) {
    const auto package = [](std::string header) {
        Cfb::Storage storage;
        storage.streams["\x01Ole10Native"] = std::move(header);
        AttachmentData attachment;
        attachment.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_OLE))
            .Set(kPR_DISPLAY_NAME_W, Value::Unicode(u"Package"));
        attachment.oleStorage = storage;
        return attachment;
    };
    const auto le = [](std::uint32_t v, int bytes) {
        std::string out;
        for (int i = 0; i < bytes; ++i)
            out += static_cast<char>(v >> (8 * i));
        return out;
    };
    const auto native = [&](const std::string& label, const std::string& path, std::uint16_t kind,
                            const std::string& data, std::uint32_t claimed) {
        const std::string body = le(2, 2) + label + '\0' + path + '\0' + le(0, 2) + le(kind, 2) + le(4, 4) +
                                 "tmp" + '\0' + le(claimed, 4) + data;
        return le(static_cast<std::uint32_t>(body.size()), 4) + body;
    };
    MessageData message = Mail(u"x");
    message.attachments.push_back(
        package(native("r\xE9sum\xE9.txt", "C:\\docs\\r\xE9sum\xE9.txt", 3, "text", 4)));
    message.attachments.push_back(package(native("link.txt", "C:\\link.txt", 1, "", 0))); // a link
    message.attachments.push_back(package(native("big", "C:\\big", 3, "abc", 99)));       // runs past its end
    message.attachments.push_back(package(native("label.bin", "", 3, "xy", 2)));          // no source path
    AttachmentData tagged = FileAttachment(u"pic.png", "png");
    tagged.props.Set(Mapi::kPR_ATTACH_MIME_TAG, Value::Unicode(u" Image/PNG ; name=\"pic.png\""))
        .Set(Mapi::kPR_ATTACH_CONTENT_ID, Value::Unicode(u"<pic@x>"));
    message.attachments.push_back(tagged);
    const MessagePtr read = Reopen(message);

    struct Row {
        std::u16string name;
        std::string bytes;
    };
    const Row rows[] = {
        {u"r\u00E9sum\u00E9.txt", "text"}, {u"Package", ""}, {u"Package", ""}, {u"label.bin", "xy"}};
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        Attachment model(read->Attachments()[i]->Props());
        EXPECT_EQ(model.GetFileName(), rows[i].name) << i;
        EXPECT_EQ(model.GetSize(), rows[i].bytes.size()) << i;
        StringUTF8 bytes;
        model.LoadContentTo(bytes);
        EXPECT_EQ(bytes.View(), rows[i].bytes) << i;
    }
    Attachment picture(read->Attachments()[4]->Props());
    EXPECT_EQ(picture.GetMimeType(), u"image/png");
    EXPECT_EQ(picture.GetCid(), u"pic@x");
    EXPECT_EQ(picture.GetID(), u"pic@x");
}

// The samples' bodies are all read in their own code page: here the caller's code page is kept.
TEST(MsgProps, NativeBodyComesFromTheCompressedRtfInTheAskedCodePage) {
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
}

} // namespace
} // namespace Tessarix::Msg
