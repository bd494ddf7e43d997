#include <gtest/gtest.h>

#include "MsgFixtures.h"
#include "core/Utf.h"
#include "itemaccess/MapiProperties.h"

namespace Tessarix::Msg {
namespace {

using namespace Testing;

// Opens and walks the bytes: a broken file may only end in MsgFileError.
void OpenAndWalk(std::string bytes) {
    try {
        Walk(MsgMessage::OpenBytes(std::move(bytes), u"broken.msg"));
    } catch (const MsgFileError& e) {
        EXPECT_EQ(e.File(), u"broken.msg");
        EXPECT_EQ(e.GetMessage().rfind(u"broken.msg: ", 0), 0u);
    }
}

TEST(MsgCorrupt, PropertyStreamsWithBadSizesAndTypes) {
    MessageData message = Mail(u"subject");
    message.props.Set(MakeTag(0x6601, kMV_FLAG | kPT_BINARY), Value::MultiBinary({"a", "b"}))
        .Set(MakeTag(0x6602, kPT_CLSID), Value::Clsid(kPS_MAPI))
        .Set(MakeTag(0x6603, kPT_UNICODE), Value::Unicode(u"gone"))
        .Set(MakeTag(0x6604, kPT_UNICODE), Value::Unicode(u"storage"))
        .Set(MakeTag(0x6605, kMV_FLAG | kPT_LONG), Value::MultiLong({1, 2}));
    Cfb::Storage tree = MsgWriter::Build(message);
    std::string& stream = tree.streams.at("__properties_version1.0");
    // Every entry claims an absurd size: the value streams' own sizes count.
    for (std::size_t at = 32; at + 16 <= stream.size(); at += 16)
        if (LayoutOf(PropType(ReadLe32(stream.data() + at))) != Layout::Fixed)
            for (int i = 8; i < 12; ++i)
                stream[at + i] = static_cast<char>(0xF0);
    stream += "cut-off entry"; // not a whole entry: left out
    // Eight values claimed, two there.
    tree.streams.at("__substg1.0_66011102") = std::string(64, '\1');
    tree.streams.at("__substg1.0_66020048") = "short";
    tree.streams.erase("__substg1.0_6603001F");
    tree.streams.erase("__substg1.0_6604001F");
    tree.storages["__substg1.0_6604001F"].streams["x"] = "y";
    tree.streams.at("__substg1.0_66051003") = std::string("\1\0\0\0\2\0\0", 7);

    const MessagePtr read = MsgMessage::OpenBytes(Cfb::ToBytes(tree), u"sizes.msg");
    const MsgProps& props = *read->Props();
    EXPECT_EQ(props.String(kPR_SUBJECT_W), u"subject");
    EXPECT_EQ(props.Tags().size(), 8u);
    Value value;
    EXPECT_EQ(props.GetValue(MakeTag(0x6601, kMV_FLAG | kPT_BINARY), value), kMAPI_E_CORRUPT_DATA);
    EXPECT_EQ(props.GetValue(MakeTag(0x6602, kPT_CLSID), value), kMAPI_E_CORRUPT_DATA);
    EXPECT_EQ(props.GetValue(MakeTag(0x6603, kPT_UNICODE), value), kMAPI_E_CORRUPT_DATA);
    EXPECT_EQ(props.GetValue(MakeTag(0x6604, kPT_UNICODE), value), kMAPI_E_CORRUPT_DATA);
    ASSERT_EQ(props.GetValue(MakeTag(0x6605, kMV_FLAG | kPT_LONG), value), kS_OK);
    EXPECT_EQ(value.AsLongs(), std::vector<std::uint32_t>{1}) << "a cut-off value is dropped";
    // The product's getter gives its default for a broken property.
    auto shared = read->Props();
    EXPECT_EQ(Global::GetStringProperty(shared.get(), MakeTag(0x6603, kPT_UNICODE), u"default"), u"default");
}

TEST(MsgCorrupt, ABrokenMessageFailsABrokenAttachmentIsLeftOut) {
    MessageData message = Mail(u"x");
    message.attachments.push_back(FileAttachment(u"a", "a"));
    message.attachments.push_back(Attached(Mail(u"inner"), u"inner"));

    // A broken attachment costs that attachment only: it keeps its place, without properties or data.
    const auto damaged = [](Cfb::Storage tree) {
        const MessagePtr read = MsgMessage::OpenBytes(Cfb::ToBytes(tree), u"broken.msg");
        EXPECT_EQ(read->Attachments().size(), 2u);
        return read;
    };
    Cfb::Storage noAttachmentProps = MsgWriter::Build(message);
    noAttachmentProps.storages.at("__attach_version1.0_#00000000").streams.erase("__properties_version1.0");
    Cfb::Storage noInner = MsgWriter::Build(message);
    noInner.storages.at("__attach_version1.0_#00000001").storages.erase("__substg1.0_3701000D");
    Cfb::Storage innerShort = MsgWriter::Build(message);
    innerShort.storages.at("__attach_version1.0_#00000001")
        .storages.at("__substg1.0_3701000D")
        .streams.at("__properties_version1.0")
        .resize(20);
    for (const auto& [tree, broken] : {std::pair{noAttachmentProps, 0}, {noInner, 1}, {innerShort, 1}}) {
        const MessagePtr read = damaged(tree);
        const auto& lost = *read->Attachments()[static_cast<std::size_t>(broken)];
        EXPECT_TRUE(lost.Props()->Tags().empty());
        EXPECT_EQ(lost.Method(), Mapi::kNO_ATTACHMENT);
        EXPECT_EQ(lost.Props()->Long(Mapi::kPR_ATTACH_SIZE), 0u);
        EXPECT_EQ(lost.EmbeddedMessage(), nullptr);
        EXPECT_FALSE(read->Attachments()[static_cast<std::size_t>(1 - broken)]->Props()->Tags().empty());
    }
}

TEST(MsgCorrupt, NameIdMapEntriesOutOfRangeNameNothing) {
    Cfb::Storage tree = MsgWriter::Build(Mail(u"x"));
    auto& nameid = tree.storages.at("__nameid_version1.0");
    const Guid custom{0x11111111, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    nameid.streams["__substg1.0_00020102"] = GuidToBytes(custom);
    std::string strings;
    AppendLe32(strings, 4);
    strings += ToUtf16Le(u"ok");
    AppendLe32(strings, 0x7FFFFFF0); // a length past the stream
    nameid.streams["__substg1.0_00040102"] = strings;
    std::string entries;
    const auto entry = [&entries](std::uint32_t first, std::uint32_t guidIndex, bool isString,
                                  std::uint32_t index) {
        AppendLe32(entries, first);
        AppendLe32(entries, (index << 16) | (guidIndex << 1) | (isString ? 1 : 0));
    };
    entry(0x8001, 1, false, 0);      // PS_MAPI, numeric: fine
    entry(0x8002, 4, false, 1);      // a GUID past the GUID stream
    entry(0x40, 3, true, 2);         // a string offset past the string stream
    entry(8, 3, true, 3);            // a string whose length runs past the stream
    entry(0x8003, 0, false, 4);      // GUID index 0 names no set
    entry(0, 3, true, 5);            // custom set, string "ok": fine
    entry(0x8004, 1, false, 0x7FFF); // an id past 0xFFFE
    entries += "odd";                // a cut-off entry
    nameid.streams["__substg1.0_00030102"] = entries;
    tree.streams["__substg1.0_8005001F"] = ToUtf16Le(u"named value");
    std::string& props = tree.streams.at("__properties_version1.0");
    AppendLe32(props, 0x8005001F);
    AppendLe32(props, 6);
    AppendLe32(props, 24);
    AppendLe32(props, 0);

    const MessagePtr read = MsgMessage::OpenBytes(Cfb::ToBytes(tree), u"names.msg");
    EXPECT_EQ(read->Names().Size(), 2u);
    EXPECT_EQ(read->Props()->NamedTag(NamedProperty::Number(kPS_MAPI, 0x8001), kPT_LONG),
              MakeTag(0x8000, kPT_LONG));
    const auto ok = NamedProperty::String(custom, u"ok");
    ASSERT_EQ(read->Props()->NamedTag(ok, kPT_UNICODE), 0x8005001Fu);
    EXPECT_EQ(read->Props()->String(0x8005001F), u"named value");
    EXPECT_EQ(read->Props()->NameOf(0x8001), nullptr);
}

TEST(MsgCorrupt, AttachedMessagesNestOnlySoDeep) {
    MessageData message = Mail(u"depth 40");
    for (int depth = 39; depth >= 0; --depth) {
        MessageData outer = Mail(u"depth " + std::u16string(1, static_cast<char16_t>(u'0' + depth % 10)));
        outer.attachments.push_back(Attached(std::move(message), u"inner"));
        message = std::move(outer);
    }
    MessagePtr current = Reopen(message);
    int depth = 0;
    try {
        while (!current->Attachments().empty()) {
            current = current->Attachments()[0]->EmbeddedMessage();
            ++depth;
        }
        FAIL() << "no depth limit";
    } catch (const MsgFileError& e) {
        EXPECT_NE(e.Utf8Message().find("attached messages nest too deeply"), std::string::npos);
    }
    EXPECT_EQ(depth, kMaxEmbeddingDepth);
}

// The offset of the compound-file directory entry with `name` (entries are 128-byte aligned).
std::size_t DirectoryEntry(const std::string& file, std::u16string_view name) {
    const std::string encoded = ToUtf16Le(name) + std::string(2, '\0');
    for (std::size_t at = 512; at + 128 <= file.size(); at += 128)
        if (file.compare(at, encoded.size(), encoded) == 0 &&
            ReadLe16(file.data() + at + 64) == encoded.size())
            return at;
    return std::string::npos;
}

TEST(MsgCorrupt, DirectoryCycleThroughAnAttachedMessage) {
    MessageData message = Mail(u"outer");
    message.attachments.push_back(Attached(Mail(u"inner"), u"inner"));
    std::string bytes = MsgWriter::ToBytes(message);
    const std::size_t root = DirectoryEntry(bytes, u"Root Entry");
    const std::size_t inner = DirectoryEntry(bytes, u"__substg1.0_3701000D");
    ASSERT_NE(root, std::string::npos);
    ASSERT_NE(inner, std::string::npos);
    // The attached message's storage now holds the file's top level, and so itself again.
    bytes.replace(inner + 0x4C, 4, bytes.substr(root + 0x4C, 4));
    OpenAndWalk(bytes);
}

// Damage to one field of a directory entry: each file either fails clearly or reads.
TEST(MsgCorrupt, DamagedDirectoryEntries) {
    // The data stream lies in an attached message, which the walk also copies out whole.
    MessageData inner = Mail(u"inner");
    inner.attachments.push_back(FileAttachment(u"a.bin", std::string(9000, 'a')));
    MessageData message = Mail(u"outer");
    message.attachments.push_back(Attached(inner, u"inner"));
    const std::string good = MsgWriter::ToBytes(message);
    const struct {
        const char16_t* entry;
        std::size_t field;
        std::string value;
    } damage[] = {
        {u"Root Entry", 0x40, "\xFF\xFF"},                   // a name longer than its field
        {u"__properties_version1.0", 0x40, "\x82\x00"},      // the same, just past it
        {u"__substg1.0_37010102", 0x74, "\xF0\xFF\xFF\x7F"}, // data past the end of the file
        {u"__substg1.0_37010102", 0x78, "\xFF\xFF\xFF\x0F"}, // larger than the file
        {u"__substg1.0_00020102", 0x78, "\xF0\xFF\xFF\xFF"}, // copied with the attached message
        {u"__substg1.0_37010102", 0x78, "\x10\x00\x00\x00"}, // now in the mini stream
        {u"Root Entry", 0x4C, "\x00\xFF\x00\x00"},           // a child out of range
        {u"Root Entry", 0x74, "\xFE\xFF\xFF\xFF"},           // no mini stream
    };
    for (const auto& d : damage) {
        std::string bytes = good;
        const std::size_t at = DirectoryEntry(bytes, d.entry);
        ASSERT_NE(at, std::string::npos);
        bytes.replace(at + d.field, d.value.size(), d.value);
        OpenAndWalk(bytes);
    }
}

} // namespace
} // namespace Tessarix::Msg
