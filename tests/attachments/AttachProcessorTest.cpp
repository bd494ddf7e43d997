#include "attachments/AttachProcessor.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/ItemFakes.h"
#include "support/ItemLog.h"

namespace Tessarix {
namespace {

using Testing::FakeAttachment;
using Testing::FakeMapiProp;
using Testing::FakeObject;
using Testing::FakeStream;
using Testing::ItemLog;

constexpr char16_t kBase[] = u"file:///C:/Outlook/Attachments/";

std::shared_ptr<FakeAttachment> MakeAttachment(std::u16string id, std::u16string fileName,
                                               std::string content,
                                               std::u16string mime = u"application/octet-stream") {
    auto attachment = std::make_shared<FakeAttachment>();
    attachment->id = std::move(id);
    attachment->fileName = std::move(fileName);
    attachment->content = std::move(content);
    attachment->mimeType = std::move(mime);
    return attachment;
}

struct Policy : testing::Test {
    // The log is opened in the test's own folder before a policy first writes to it.
    void SetUp() override { Testing::OpenItemLog(); }
    std::shared_ptr<Notes::CNote> note = std::make_shared<Notes::CNote>();
    const Notes::ResourceList& Resources() const { return note->GetResources(); }
};

TEST(MatchesUnresolved, ComparesWithEveryOccurrenceOfThePrefixRemoved) {
    const std::vector<std::u16string> list{u"cid:image001.png@01CB", u"http://x.org/a.gif"};
    EXPECT_TRUE(Attachments::MatchesUnresolved(list, u"http://x.org/a.gif", u""));
    EXPECT_FALSE(Attachments::MatchesUnresolved(list, u"image001.png@01CB", u""));
    EXPECT_FALSE(Attachments::MatchesUnresolved(list, u"HTTP://x.org/a.gif", u""));
    EXPECT_TRUE(Attachments::MatchesUnresolved(list, u"image001.png@01CB", u"cid:"));
    EXPECT_TRUE(Attachments::MatchesUnresolved(list, u"cid:image001.png@01CB", u"cid:"));
    EXPECT_TRUE(Attachments::MatchesUnresolved(list, u"imagecid:001.png@01CB", u"cid:"));
    EXPECT_FALSE(Attachments::MatchesUnresolved(list, u"image001.png", u"cid:"));
    EXPECT_FALSE(Attachments::MatchesUnresolved({}, u"", u""));
    EXPECT_TRUE(
        Attachments::MatchesUnresolved({std::u16string(kBase) + u"Scan 1.jpg"}, u"Scan 1.jpg", kBase));
}

TEST_F(Policy, EmbeddedNamesTakeTheFormOfTheContentsReference) {
    AttachAll policy(note, {u"a.png", u"cid:b@x", std::u16string(kBase) + u"c.png"});
    std::u16string name = u"stale";
    EXPECT_TRUE(policy.GetEmbeddedName(MakeAttachment(u"a.png", u"", ""), name));
    EXPECT_EQ(name, u"a.png");
    EXPECT_TRUE(policy.GetEmbeddedName(MakeAttachment(u"b@x", u"", ""), name));
    EXPECT_EQ(name, u"cid:b@x");
    EXPECT_TRUE(policy.GetEmbeddedName(MakeAttachment(u"c.png", u"", ""), name));
    EXPECT_EQ(name, std::u16string(kBase) + u"c.png");
    EXPECT_FALSE(policy.GetEmbeddedName(MakeAttachment(u"d.png", u"", ""), name));
    EXPECT_EQ(name, u"");
}

TEST_F(Policy, TheSizeLimitAllowsExactly25MiB) {
    AttachAll policy(note, {});
    auto atLimit = MakeAttachment(u"a.bin", u"a.bin", "A");
    atLimit->size = 26214400;
    auto over = MakeAttachment(u"b.bin", u"b.bin", "B");
    over->size = 26214401;
    auto after = MakeAttachment(u"c.bin", u"c.bin", "C");
    ItemLog log;

    try {
        Attachments::Process({atLimit, over, after}, policy);
        FAIL() << "no exception";
    } catch (const AttachmentSizeLimitExceededException& e) {
        EXPECT_EQ(e.GetMessage(),
                  u"Tessarix cannot create the note because the attachment \"b.bin\" is larger than 25 MB.");
    }
    ASSERT_EQ(Resources().size(), 1u) << "the attachment at the limit was added, none after the failure";
    EXPECT_EQ(Resources()[0].GetSourceUrl(), u"file:///C:/Outlook/Attachments/a.bin");
    // Sized now, read only when the export writes it.
    EXPECT_EQ(Resources()[0].Size(), 26214400u);
    EXPECT_EQ(atLimit->loads, 0);
    EXPECT_EQ(after->loads, 0);
    EXPECT_EQ(log.Messages(), (std::vector<std::string>{
                                  "Info:    0/3: a.bin (application/octet-stream)",
                                  "Info:   > Processed as normal attachment",
                                  "Error:    > Size Limit Exceeded",
                              }));
}

// An Outlook attachment over a by-value MAPI attachment.
Automation::ObjectPtr OutlookFile(const std::u16string& name, const std::string& content) {
    auto prop = std::make_shared<FakeMapiProp>();
    prop->Set(Mapi::kPR_ATTACH_METHOD, Mapi::kATTACH_BY_VALUE)
        .Set(Mapi::kPR_ATTACH_LONG_FILENAME, name)
        .Set(Mapi::kPR_ATTACH_MIME_TAG, std::u16string(u"text/plain"));
    prop->streams[Mapi::kPR_ATTACH_DATA_BIN] = std::make_shared<FakeStream>(content);
    auto object = std::make_shared<FakeObject>();
    object->mapiObject = prop;
    return object;
}

TEST_F(Policy, AddAllWalksTheCollectionFromOneAndLeavesOutWhatCannotBeWrapped) {
    auto broken = std::make_shared<FakeObject>();
    broken->mapiObjectResult = kE_FAIL;
    auto collection =
        Testing::MakeCollection({OutlookFile(u"a.txt", "aaa"), broken, OutlookFile(u"b.txt", "bb")});
    AttachAll policy(note, {});
    ItemLog log;

    Attachments::AddAll(collection.get(), policy);

    ASSERT_EQ(Resources().size(), 2u);
    EXPECT_EQ(Resources()[0].GetData().View(), "aaa");
    EXPECT_EQ(Resources()[1].GetSourceUrl(), u"file:///C:/Outlook/Attachments/b.txt");
    EXPECT_EQ(collection->calls, (std::vector<std::u16string>{u"Item", u"Item", u"Item"}));
    EXPECT_EQ(log.Messages(), (std::vector<std::string>{
                                  "Info:   Count of attachments: 3",
                                  "Error: get_MAPIOBJECT() failed in AttachmentUtils::Wrap()!",
                                  "Info:    0/2: a.txt (text/plain)",
                                  "Info:   > Processed as normal attachment",
                                  "Info:    1/2: b.txt (text/plain)",
                                  "Info:   > Processed as normal attachment",
                              }));

    Attachments::AddAll(nullptr, policy);
    policy.Attach(nullptr);
    EXPECT_EQ(Resources().size(), 2u);
}

TEST_F(Policy, AFailingCollectionIsRaised) {
    auto collection = Testing::MakeCollection({OutlookFile(u"a.txt", "a")});
    collection->failures[u"Count"] = kE_FAIL;
    AttachAll policy(note, {});
    EXPECT_THROW(Attachments::AddAll(collection.get(), policy), HResult);
}

} // namespace
} // namespace Tessarix
