#include "attachments/Attachment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "attachments/AttachProcessor.h"
#include "core/FileSystem.h"
#include "support/ItemFakes.h"
#include "support/ItemLog.h"

namespace Tessarix {
namespace {

using Testing::Contains;
using Testing::FakeMapiProp;
using Testing::FakeObject;
using Testing::FakeStorage;
using Testing::FakeStream;
using Testing::ItemLog;

const std::string
    kPng("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x01\0\0\0\x01\x08\x06\0\0\0\x1f\x15\xc4\x89"
         "\0\0\0\nIDATx\x9c\x63\0\x01\0\0\x05\0\x01\x0d\x0a\x2d\xb4\0\0\0\0IEND\xae\x42\x60\x82",
         67);

// A by-value attachment over `content`.
std::shared_ptr<FakeMapiProp> ByValue(const std::string& content) {
    auto prop = std::make_shared<FakeMapiProp>();
    prop->Set(Mapi::kPR_ATTACH_METHOD, Mapi::kATTACH_BY_VALUE);
    prop->streams[Mapi::kPR_ATTACH_DATA_BIN] = std::make_shared<FakeStream>(content, 7);
    return prop;
}

TEST(Attachment, IdIsTheContentIdThenTheFileNameThenTheRenderingPosition) {
    auto prop = std::make_shared<FakeMapiProp>();
    Attachment attachment(prop);

    EXPECT_EQ(attachment.GetID(), u"cid:-1");
    prop->Set(Mapi::kPR_RENDERING_POSITION, std::uint32_t{3});
    EXPECT_EQ(attachment.GetID(), u"cid:3");
    prop->Set(Mapi::kPR_ATTACH_FILENAME, std::u16string(u"untitled attachment"));
    EXPECT_EQ(attachment.GetID(), u"cid:3");
    prop->Set(Mapi::kPR_ATTACH_FILENAME, std::u16string(u"Untitled attachment"));
    EXPECT_EQ(attachment.GetID(), u"Untitled attachment");
    prop->Set(Mapi::kPR_ATTACH_CONTENT_ID, std::u16string(u"image001.png@01CB"));
    EXPECT_EQ(attachment.GetID(), u"image001.png@01CB");
}

// The file name prefers the long name; the location has no other reader in the tests.
TEST(Attachment, FileNameAndLocation) {
    auto prop = std::make_shared<FakeMapiProp>();
    Attachment attachment(prop);
    EXPECT_EQ(attachment.GetFileName(), u"");
    prop->Set(Mapi::kPR_ATTACH_FILENAME, std::u16string(u"QUARTE~1.PDF"));
    EXPECT_EQ(attachment.GetFileName(), u"QUARTE~1.PDF");
    prop->Set(Mapi::kPR_ATTACH_LONG_FILENAME, std::u16string(u"Quarterly report.pdf"));
    EXPECT_EQ(attachment.GetFileName(), u"Quarterly report.pdf");
    EXPECT_EQ(attachment.GetLocation(), u"");
    prop->Set(Mapi::kPR_ATTACH_CONTENT_LOCATION, std::u16string(u"http://x.org/a.gif"));
    EXPECT_EQ(attachment.GetLocation(), u"http://x.org/a.gif");
}

TEST(Attachment, OleContentIsTheContentsStreamOfItsStorage) {
    auto prop = std::make_shared<FakeMapiProp>();
    prop->Set(Mapi::kPR_ATTACH_METHOD, Mapi::kATTACH_OLE);
    auto storage = std::make_shared<FakeStorage>();
    storage->streams[u"\x01Ole"] = "header";
    storage->streams[u"CONTENTS"] = "ole bytes";
    prop->storages[Mapi::kPR_ATTACH_DATA_OBJ] = storage;
    Attachment attachment(prop);

    EXPECT_EQ(attachment.GetSize(), 9u);
    StringUTF8 bytes;
    attachment.LoadContentTo(bytes);
    EXPECT_EQ(bytes.View(), "ole bytes");

    storage->streams.erase(u"CONTENTS");
    EXPECT_EQ(attachment.GetSize(), 0u);
}

TEST(Attachment, OtherMethodsHaveNoContent) {
    for (const std::uint32_t method : {2u /* by reference */, 5u /* embedded message */, 7u, 0xFFFFFFFFu}) {
        auto prop = ByValue("bytes that are not reached");
        prop->Set(Mapi::kPR_ATTACH_METHOD, method);
        Attachment attachment(prop);
        EXPECT_EQ(attachment.GetSize(), 0u) << method;
        StringUTF8 bytes = StringUTF8::Copy("stale");
        attachment.LoadContentTo(bytes);
        EXPECT_TRUE(bytes.Empty()) << method;
        EXPECT_TRUE(prop->openedStreams.empty()) << method;
    }

    auto unopenable = std::make_shared<FakeMapiProp>();
    unopenable->Set(Mapi::kPR_ATTACH_METHOD, Mapi::kATTACH_BY_VALUE);
    EXPECT_EQ(Attachment(unopenable).GetSize(), 0u);
}

TEST(Attachment, HugeContentIsClampedAndAFailedReadRaised) {
    auto prop = ByValue("abc");
    auto stream = std::make_shared<FakeStream>("abc");
    stream->reportedSize = (std::uint64_t{1} << 32) + 5;
    prop->streams[Mapi::kPR_ATTACH_DATA_BIN] = stream;
    EXPECT_EQ(Attachment(prop).GetSize(), 0xFFFFFFFFu);

    auto broken = std::make_shared<FakeStream>("abc");
    broken->readResult = kE_FAIL;
    prop->streams[Mapi::kPR_ATTACH_DATA_BIN] = broken;
    Attachment attachment(prop);
    StringUTF8 bytes;
    EXPECT_THROW(attachment.LoadContentTo(bytes), HResult);
}

TEST(Attachment, PicturesAreKnownByTheirTagOrTheirBytes) {
    EXPECT_TRUE(Attachment(ByValue(kPng)).IsEmbededImage()); // no tag: sniffed

    auto tagged = ByValue("not really a picture");
    tagged->Set(Mapi::kPR_ATTACH_MIME_TAG, std::u16string(u"image/x-png"));
    EXPECT_TRUE(Attachment(tagged).IsEmbededImage());

    auto pdf = ByValue(kPng);
    pdf->Set(Mapi::kPR_ATTACH_MIME_TAG, std::u16string(u"application/pdf"));
    EXPECT_FALSE(Attachment(pdf).IsEmbededImage());

    EXPECT_FALSE(Attachment(ByValue("Dear Ann,\nthe numbers are up.\n")).IsEmbededImage());
    EXPECT_FALSE(Attachment(std::make_shared<FakeMapiProp>()).IsEmbededImage());
}

// An Outlook attachment object whose MAPI object is `prop`.
std::shared_ptr<FakeObject> OutlookAttachment(std::shared_ptr<FakeMapiProp> prop, std::u16string fileName) {
    auto object = std::make_shared<FakeObject>();
    object->Set(u"FileName", std::move(fileName));
    object->mapiObject = std::move(prop);
    return object;
}

// An attached message whose SaveAsFile writes `size` bytes, declaring `declared` as PR_ATTACH_SIZE.
std::shared_ptr<FakeObject> SavedMessage(std::size_t size, std::optional<std::uint32_t> declared,
                                         int& saves) {
    auto prop = std::make_shared<FakeMapiProp>();
    prop->Set(Mapi::kPR_ATTACH_METHOD, Mapi::kATTACH_EMBEDDED_MSG);
    if (declared)
        prop->Set(Mapi::kPR_ATTACH_SIZE, *declared);
    auto object = OutlookAttachment(prop, u"Re: numbers.msg");
    object->methods[u"SaveAsFile"] = [size, &saves](std::span<const Automation::Value> args,
                                                    Automation::Value&) {
        ++saves;
        return Platform::WriteFile(std::get<std::u16string>(args[0]), std::string(size, 'm')) ? kS_OK
                                                                                              : kE_FAIL;
    };
    return object;
}

// Its hidden flag is the MAPI object's; a failure to get that object reads as not hidden.
TEST(EmbededMessage, HiddenIsReadThroughTheMapiObject) {
    int saves = 0;
    auto object = SavedMessage(0, std::nullopt, saves);
    EmbededMessage message(object);
    EXPECT_FALSE(message.IsHidden());
    std::static_pointer_cast<FakeMapiProp>(object->mapiObject)->Set(Mapi::kPR_ATTACHMENT_HIDDEN, true);
    EXPECT_TRUE(message.IsHidden());

    object->mapiObjectResult = kE_FAIL;
    ItemLog log;
    EXPECT_FALSE(message.IsHidden());
    EXPECT_EQ(log.Messages(),
              (std::vector<std::string>{"Error: get_MAPIOBJECT() failed in EmbededMessage::IsHidden()!"}));
}

// The limit goes by the bytes SaveAsFile writes, whatever PR_ATTACH_SIZE declares.
TEST(EmbededMessage, TheLimitTakesTheRealSizeNotTheDeclaredOne) {
    const struct {
        const char* name;
        std::optional<std::uint32_t> declared;
        std::size_t real;
        bool refused;
    } cases[] = {
        {"small declared, big real", 4096, kMaxAttachmentSize + 1, true},
        {"big declared, small real", 0xFFFFFFFF, 1000, false},
        {"nothing declared, exactly the limit", std::nullopt, kMaxAttachmentSize, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        int saves = 0;
        auto message = std::make_shared<EmbededMessage>(SavedMessage(c.real, c.declared, saves));
        EXPECT_EQ(message->GetSize(), c.real);

        auto note = std::make_shared<Notes::CNote>();
        AttachAll policy(note, {});
        if (c.refused) {
            EXPECT_THROW(Attachments::Process({message}, policy), AttachmentSizeLimitExceededException);
            EXPECT_TRUE(note->GetResources().empty());
            StringUTF8 bytes;
            EXPECT_THROW(message->LoadContentTo(bytes), AttachmentSizeLimitExceededException);
            EXPECT_TRUE(bytes.Empty()) << "refused before it is read";
        } else {
            Attachments::Process({message}, policy);
            ASSERT_EQ(note->GetResources().size(), 1u);
            EXPECT_EQ(note->GetResources().front().GetData().Length(), c.real);
        }
        EXPECT_EQ(saves, 1) << "measured and loaded from one saved copy";
    }
}

TEST(EmbededMessage, ContentIsWhatSaveAsFileWritesAndTheCopyGoesWithTheObject) {
    auto object = OutlookAttachment(std::make_shared<FakeMapiProp>(), u"a.msg");
    std::u16string savedTo;
    object->methods[u"SaveAsFile"] = [&](std::span<const Automation::Value> args, Automation::Value&) {
        savedTo = std::get<std::u16string>(args[0]);
        return Platform::WriteFile(savedTo, std::string("\xD0\xCF\x11\xE0 message", 12)) ? kS_OK : kE_FAIL;
    };
    auto message = std::make_unique<EmbededMessage>(object);
    ItemLog log;

    StringUTF8 bytes;
    message->LoadContentTo(bytes);
    EXPECT_EQ(bytes.View(), std::string_view("\xD0\xCF\x11\xE0 message", 12));
    ASSERT_FALSE(savedTo.empty());
    message.reset();
    EXPECT_FALSE(Platform::ReadFile(savedTo).has_value()) << "the temporary file is removed";

    const auto lines = log.Lines();
    EXPECT_TRUE(Contains(lines, "Debug: DataStorageAdapter::Ctor call begin"));
    EXPECT_TRUE(Contains(lines, "Debug: DataStorageAdapter::SaveTo() call end"));
    EXPECT_TRUE(Contains(lines, "Debug: DataStorageAdapter::Dtor) call end"));
}

TEST(DataStorageAdapter, AFailedSaveRaisesItsHResult) {
    auto object = std::make_shared<FakeObject>();
    const HResult denied = HResultFrom(0x80070005u);
    object->methods[u"SaveAsFile"] = [&](std::span<const Automation::Value>, Automation::Value&) {
        return denied;
    };
    DataStorageAdapter adapter(object);
    try {
        adapter.SaveTo(u"/nowhere/x.msg");
        FAIL() << "no exception";
    } catch (HResult hr) {
        EXPECT_EQ(hr, denied);
    }
    EXPECT_EQ(object->calls, (std::vector<std::u16string>{u"SaveAsFile"}));
}

TEST(AttachmentUtils, AnAttachmentWithoutAMapiObjectIsLeftOutWithALine) {
    AttachmentUtils utils;
    auto unreadable = OutlookAttachment(ByValue("abc"), u"a.txt");
    unreadable->mapiObjectResult = kE_FAIL;
    auto notAnAttachment = OutlookAttachment(ByValue("abc"), u"b.txt");
    notAnAttachment->mapiInterfaces = {Mapi::kIID_IMAPIProp};
    ItemLog log;

    EXPECT_EQ(utils.Wrap(unreadable), nullptr);
    EXPECT_EQ(utils.Wrap(notAnAttachment), nullptr);
    EXPECT_EQ(utils.Wrap(nullptr), nullptr);
    EXPECT_EQ(unreadable->mapiRequests, std::vector<Guid>{Mapi::kIID_IAttachment});
    EXPECT_FALSE(Global::IsEmbededMessage(nullptr));
    EXPECT_EQ(log.Messages(), (std::vector<std::string>{
                                  "Error: get_MAPIOBJECT() failed in AttachmentUtils::Wrap()!",
                                  "Error: get_MAPIOBJECT() failed in AttachmentUtils::Wrap()!",
                              }));
}

} // namespace
} // namespace Tessarix
