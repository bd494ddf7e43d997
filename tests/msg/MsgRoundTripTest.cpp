#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "MsgFixtures.h"
#include "msg/MsgValue.h"

namespace Tessarix::Msg {
namespace {

using namespace Testing;

std::string Packed(std::initializer_list<std::uint64_t> values, std::size_t width) {
    std::string out;
    for (const auto v : values)
        for (std::size_t i = 0; i < width; ++i)
            out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
    return out;
}

std::vector<std::pair<PropTag, Value>> EveryType() {
    const Guid guid{0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
    std::vector<Value> values = {
        Value::I2(-2),
        Value::Long(0xFFFFFFFEu),
        Value::Float(1.5f),
        Value::Double(-2.25),
        Value::Currency(-123456789012),
        Value::AppTime(40000.5),
        Value::Error(0x8004010Fu),
        Value::Bool(true),
        Value::I8(0x0102030405060708),
        Value::Time(FileTime{0x89ABCDEF, 0x01D00000}),
        Value::String8("8-bit \xE9"),
        Value::Unicode(u"Unicode \u20AC \U0001F600"),
        Value::Binary(std::string("\0\1\2\xFF", 4)),
        Value::Binary(""),
        Value::Clsid(guid),
        Value::MultiFixed(kMV_FLAG | kPT_I2, Packed({1, 0xFFFF}, 2)),
        Value::MultiLong({1, 2, 0xFFFFFFFF}),
        Value::MultiFixed(kMV_FLAG | kPT_R4, Packed({0x3FC00000}, 4)),
        Value::MultiFixed(kMV_FLAG | kPT_DOUBLE, Packed({0x4000000000000000, 0}, 8)),
        Value::MultiFixed(kMV_FLAG | kPT_CURRENCY, Packed({7}, 8)),
        Value::MultiFixed(kMV_FLAG | kPT_APPTIME, Packed({0x40E3880000000000}, 8)),
        Value::MultiFixed(kMV_FLAG | kPT_I8, Packed({1, 2, 3}, 8)),
        Value::MultiFixed(kMV_FLAG | kPT_SYSTIME, Packed({0x01D0000089ABCDEF}, 8)),
        Value::MultiFixed(kMV_FLAG | kPT_CLSID, GuidToBytes(guid) + GuidToBytes(kPS_MAPI)),
        Value::MultiString8({"one", "", "three"}),
        Value::MultiUnicode({u"eins", u"zwei \u00FC"}),
        Value::MultiBinary({std::string("\0\0", 2), "", "xyz"}),
        Value::MultiUnicode({}),
    };
    std::vector<std::pair<PropTag, Value>> out;
    std::uint16_t id = 0x6600;
    for (auto& value : values)
        out.emplace_back(MakeTag(id++, value.Type()), std::move(value));
    return out;
}

TEST(MsgRoundTrip, EveryPropertyTypeReadsBackAsWritten) {
    MessageData message;
    for (const auto& [tag, value] : EveryType())
        message.props.Set(tag, value);
    const MessagePtr read = Reopen(message);
    std::set<PropTag> expectedTags;
    for (const auto& [tag, value] : EveryType()) {
        expectedTags.insert(tag);
        Value back;
        ASSERT_EQ(read->Props()->GetValue(tag, back), kS_OK) << std::hex << tag;
        EXPECT_EQ(back, value) << std::hex << tag;
    }
    const auto tags = read->Props()->Tags();
    EXPECT_EQ(std::set<PropTag>(tags.begin(), tags.end()), expectedTags);
    EXPECT_EQ(read->Props()->Flags(MakeTag(0x6601, kPT_LONG)), kPropReadable | kPropWritable);
}

TEST(MsgRoundTrip, WriterLaysOutTheFormat) {
    MessageData message = Mail(u"Hi");
    message.props.Set(kPR_SUBJECT_A, Value::String8("Hi"));
    message.recipients.resize(2);
    message.attachments.push_back(Attached(Mail(u"inner"), u"inner"));
    const Cfb::Storage tree = MsgWriter::Build(message);

    // Top level: a 32-byte header with the recipient and attachment numbers, then 16-byte entries.
    const std::string& top = tree.streams.at("__properties_version1.0");
    ASSERT_GE(top.size(), 32u);
    EXPECT_EQ((top.size() - 32) % 16, 0u);
    EXPECT_EQ(ReadLe32(top.data() + 8), 2u);  // next recipient id
    EXPECT_EQ(ReadLe32(top.data() + 12), 1u); // next attachment id
    EXPECT_EQ(ReadLe32(top.data() + 16), 2u);
    EXPECT_EQ(ReadLe32(top.data() + 20), 1u);
    // The subject entry: Unicode sizes count the terminator the stream leaves out.
    bool sawUnicode = false, sawString8 = false;
    for (std::size_t at = 32; at < top.size(); at += 16) {
        if (ReadLe32(top.data() + at) == kPR_SUBJECT_W) {
            sawUnicode = true;
            EXPECT_EQ(ReadLe32(top.data() + at + 8), 2u * 2 + 2);
        }
        if (ReadLe32(top.data() + at) == kPR_SUBJECT_A) {
            sawString8 = true;
            EXPECT_EQ(ReadLe32(top.data() + at + 8), 2u + 1);
        }
    }
    EXPECT_TRUE(sawUnicode && sawString8);
    EXPECT_EQ(tree.streams.at("__substg1.0_0037001F"), std::string("H\0i\0", 4));

    const auto& attach = tree.storages.at("__attach_version1.0_#00000000");
    EXPECT_EQ(attach.streams.at("__properties_version1.0").size() % 16, 8u);
    const auto& embedded = attach.storages.at("__substg1.0_3701000D");
    EXPECT_EQ((embedded.streams.at("__properties_version1.0").size() - 24) % 16, 0u);
    EXPECT_TRUE(tree.storages.count("__recip_version1.0_#00000001"));
    EXPECT_TRUE(tree.storages.count("__nameid_version1.0"));
}

TEST(MsgRoundTrip, NamedPropertiesMapToTheirNames) {
    const Guid custom{0xAABBCCDD, 1, 2, {9, 8, 7, 6, 5, 4, 3, 2}};
    const auto numeric = NamedProperty::Number(kPS_MAPI, 0x8001);
    const auto publicString = NamedProperty::String(kPS_PUBLIC_STRINGS, u"x-mailer");
    const auto customNumber = NamedProperty::Number(kPSETID_Appointment, 0x8205);
    const auto customString = NamedProperty::String(custom, u"Custom name");
    MessageData message;
    message.props.SetNamed(numeric, Value::Long(7))
        .SetNamed(publicString, Value::Unicode(u"Mailer 1.0"))
        .SetNamed(customNumber, Value::Long(2))
        .SetNamed(customString, Value::String8("s"));
    const Cfb::Storage tree = MsgWriter::Build(message);

    // "x-mailer" hashes by the CRC-32 of its UTF-16 name, XOR its set's index 2 and string kind:
    // bucket (0xFF504E89 ^ 5) % 31 = 0x0D, entry: the CRC, then index and kind.
    const auto& nameid = tree.storages.at("__nameid_version1.0");
    ASSERT_TRUE(nameid.streams.count("__substg1.0_100D0102"));
    const std::string& bucket = nameid.streams.at("__substg1.0_100D0102");
    ASSERT_EQ(bucket.size(), 8u);
    EXPECT_EQ(ReadLe32(bucket.data()), 0xFF504E89u);
    EXPECT_EQ(ReadLe32(bucket.data() + 4), (1u << 16) | (2u << 1) | 1u);
    // Two custom sets in the GUID stream; the public ones go by index.
    EXPECT_EQ(nameid.streams.at("__substg1.0_00020102"),
              GuidToBytes(kPSETID_Appointment) + GuidToBytes(custom));

    const MessagePtr read = MsgMessage::OpenBytes(Cfb::ToBytes(tree), u"named.msg");
    EXPECT_EQ(read->Names().Size(), 4u);
    const MsgProps& props = *read->Props();
    ASSERT_TRUE(props.NamedTag(numeric, kPT_LONG));
    EXPECT_EQ(props.Long(*props.NamedTag(numeric, kPT_LONG)), 7u);
    EXPECT_EQ(props.String(*props.NamedTag(publicString, kPT_UNICODE)), u"Mailer 1.0");
    EXPECT_EQ(props.Long(*props.NamedTag(customNumber, kPT_LONG)), 2u);
    EXPECT_EQ(props.String(*props.NamedTag(customString, kPT_STRING8)), u"s");
    EXPECT_FALSE(props.NamedTag(NamedProperty::Number(kPS_MAPI, 0x9999), kPT_LONG));
    ASSERT_NE(props.NameOf(PropId(*props.NamedTag(customString, kPT_STRING8))), nullptr);
    EXPECT_EQ(*props.NameOf(PropId(*props.NamedTag(customString, kPT_STRING8))), customString);
}

TEST(MsgRoundTrip, EightBitStringsFollowTheMessageCodePage) {
    // No code page property: 1252.
    MessageData plain;
    plain.props.Set(kPR_SUBJECT_A, Value::String8("caf\xE9"));
    EXPECT_EQ(Reopen(plain)->Props()->String(kPR_SUBJECT_W), u"caf\u00E9");

    // PR_MESSAGE_CODEPAGE wins over PR_INTERNET_CPID; recipients and attachments read in it too.
    MessageData japanese;
    japanese.props.Set(kPR_MESSAGE_CODEPAGE, Value::Long(932))
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(1252))
        .Set(kPR_SUBJECT_A, Value::String8("\x93\xFA\x96\x7B\x8C\xEA"))
        .Set(MakeTag(0x6700, kMV_FLAG | kPT_STRING8), Value::MultiString8({"\x93\xFA", "x"}));
    RecipientData recipient;
    recipient.props.Set(MakeTag(0x3001, kPT_STRING8), Value::String8("\x8C\xEA"));
    japanese.recipients.push_back(recipient);
    const MessagePtr read = Reopen(japanese);
    EXPECT_EQ(read->CodePage(), 932u);
    EXPECT_EQ(read->Props()->String(kPR_SUBJECT_W), u"\u65E5\u672C\u8A9E");
    Value multi;
    ASSERT_EQ(read->Props()->GetValue(MakeTag(0x6700, kMV_FLAG | kPT_STRING8), multi), kS_OK);
    EXPECT_EQ(multi.AsStrings(read->CodePage()), (std::vector<std::u16string>{u"\u65E5", u"x"}));
    EXPECT_EQ(read->Recipients().at(0)->Props()->String(kPR_DISPLAY_NAME_W), u"\u8A9E");

    // Without PR_MESSAGE_CODEPAGE (or with 0, "the folder's"): the locale's ANSI code page, then
    // the enclosing message's, then the ANSI code page of the body's Internet code page, then 1252.
    struct Case {
        std::optional<std::uint32_t> codePage, locale, internet;
        const char* bytes;
        std::u16string expected;
    };
    const Case cases[] = {
        {std::nullopt, 0x0411, 50220, "\x93\xFA", u"\u65E5"},        // Japanese locale, ISO-2022-JP body
        {0, 0x0419, 1252, "\xE0", u"\u0430"},                        // 0 is no code page; Russian locale
        {std::nullopt, 0x0C1A, std::nullopt, "\xE0", u"\u0430"},     // Serbian Cyrillic
        {std::nullopt, 0x041A, std::nullopt, "\xE8", u"\u010D"},     // Croatian: 1250
        {std::nullopt, 0x0404, std::nullopt, "\xA4\x40", u"\u4E00"}, // Chinese (Taiwan): 950
        {std::nullopt, 0x0439, 1251, "\xE0", u"\u0430"},             // Hindi has no ANSI code page
        {std::nullopt, std::nullopt, 20866, "\xE0", u"\u0430"},      // KOI8-R body: Cyrillic strings
        {std::nullopt, std::nullopt, 51949, "\xC7\xD1", u"\uD55C"},  // EUC-KR body: 949
        {std::nullopt, std::nullopt, 65001, "\xE9", u"\u00E9"},      // a Unicode body says nothing
        {4242, std::nullopt, std::nullopt, "\xE9", u"\u00E9"},       // an unknown code page
    };
    for (const Case& c : cases) {
        MessageData m;
        m.props.Set(kPR_SUBJECT_A, Value::String8(c.bytes));
        if (c.codePage)
            m.props.Set(kPR_MESSAGE_CODEPAGE, Value::Long(*c.codePage));
        if (c.locale)
            m.props.Set(kPR_MESSAGE_LOCALE_ID, Value::Long(*c.locale));
        if (c.internet)
            m.props.Set(Mapi::kPR_INTERNET_CPID, Value::Long(*c.internet));
        EXPECT_EQ(Reopen(m)->Props()->String(kPR_SUBJECT_W), c.expected) << c.bytes;
    }

    // An attached message from the same store reads in its holder's code page, over the hint of
    // its own body's Internet code page.
    MessageData inner;
    inner.props.Set(Mapi::kPR_INTERNET_CPID, Value::Long(1252)).Set(kPR_SUBJECT_A, Value::String8("\xE0"));
    MessageData outer;
    outer.props.Set(kPR_MESSAGE_LOCALE_ID, Value::Long(0x0419));
    outer.attachments.push_back(Attached(inner, u"inner"));
    EXPECT_EQ(Reopen(outer)->Attachments()[0]->EmbeddedMessage()->Props()->String(kPR_SUBJECT_W), u"\u0430");
}

TEST(MsgRoundTrip, RecipientsAndAttachmentsKeepTheirOrder) {
    MessageData message = Mail(u"many");
    for (std::uint32_t i = 0; i < 18; ++i) {
        message.attachments.push_back(FileAttachment(u"f", std::string(i, 'x')));
        message.attachments.back().props.Set(Mapi::kPR_RENDERING_POSITION, Value::Long(i));
    }
    for (const auto* name : {u"Ann", u"Bob", u"Cy"}) {
        RecipientData recipient;
        recipient.props.Set(kPR_DISPLAY_NAME_W, Value::Unicode(name));
        message.recipients.push_back(recipient);
    }
    const MessagePtr read = Reopen(message);
    ASSERT_EQ(read->Attachments().size(), 18u);
    for (std::uint32_t i = 0; i < 18; ++i) {
        EXPECT_EQ(read->Attachments()[i]->Number(), i);
        EXPECT_EQ(read->Attachments()[i]->Props()->Long(Mapi::kPR_RENDERING_POSITION), i);
    }
    ASSERT_EQ(read->Recipients().size(), 3u);
    EXPECT_EQ(read->Recipients()[2]->Props()->String(kPR_DISPLAY_NAME_W), u"Cy");
}

TEST(MsgRoundTrip, AttachedMessagesAreMessagesThreeDeep) {
    const MessagePtr top = Reopen(RichMail(), u"rich.msg");
    ASSERT_EQ(top->Attachments().size(), 3u);
    EXPECT_EQ(top->Attachments()[0]->EmbeddedMessage(), nullptr);
    EXPECT_EQ(top->Attachments()[1]->Method(), Mapi::kATTACH_OLE);
    EXPECT_EQ(top->Attachments()[1]->EmbeddedMessage(), nullptr);

    const MessagePtr level1 = top->Attachments()[2]->EmbeddedMessage();
    ASSERT_NE(level1, nullptr);
    EXPECT_EQ(top->Attachments()[2]->EmbeddedMessage(), level1) << "read once";
    const MessagePtr level2 = level1->Attachments().at(0)->EmbeddedMessage();
    ASSERT_NE(level2, nullptr);
    const MessagePtr level3 = level2->Attachments().at(0)->EmbeddedMessage();
    ASSERT_NE(level3, nullptr);
    EXPECT_EQ(level1->Depth(), 1);
    EXPECT_EQ(level3->Depth(), 3);
    EXPECT_EQ(level1->Props()->String(kPR_SUBJECT_W), u"Level 1");
    EXPECT_EQ(level3->Props()->String(kPR_SUBJECT_W), u"Level 3");
    EXPECT_EQ(level3->Props()->ObjectKind(), MsgProps::Kind::EmbeddedMessage);
    EXPECT_EQ(level3->Props()->Where(), u"attachment 2, embedded message, attachment 0, embedded message, "
                                        u"attachment 0, embedded message");
    // The file's one name-id map serves every level.
    const auto when = NamedProperty::Number(kPSETID_Appointment, 0x820D);
    ASSERT_TRUE(level3->Props()->NamedTag(when, kPT_SYSTIME));
    EXPECT_EQ(level3->Props()->Time(*level3->Props()->NamedTag(when, kPT_SYSTIME)), (FileTime{1, 2}));
    EXPECT_EQ(level3->Attachments().at(0)->Props()->Binary(Mapi::kPR_ATTACH_DATA_BIN), "deepest");
}

TEST(MsgRoundTrip, AttachedMessageSavedAsAFileOpensOnItsOwn) {
    const auto dir = std::filesystem::temp_directory_path() / "msg_tests_saveas";
    std::filesystem::create_directories(dir);
    const MessagePtr top = Reopen(RichMail(), u"rich.msg");
    const MessagePtr level1 = top->Attachments()[2]->EmbeddedMessage();
    const auto path = dir / "level1.msg";
    level1->SaveAs(path);

    const MessagePtr saved = MsgMessage::Open(path);
    EXPECT_EQ(saved->Depth(), 0);
    EXPECT_EQ(saved->Props()->ObjectKind(), MsgProps::Kind::Message);
    EXPECT_EQ(saved->Props()->String(kPR_SUBJECT_W), u"Level 1");
    EXPECT_EQ(saved->Props()->Tags(), level1->Props()->Tags()) << "the widened header shifts no entry";
    const auto mailer = NamedProperty::String(kPS_PUBLIC_STRINGS, u"x-mailer");
    ASSERT_TRUE(saved->Props()->NamedTag(mailer, kPT_UNICODE)) << "the name-id map came along";
    EXPECT_EQ(saved->Props()->String(*saved->Props()->NamedTag(mailer, kPT_UNICODE)), u"Tests");
    const MessagePtr level3 =
        saved->Attachments().at(0)->EmbeddedMessage()->Attachments().at(0)->EmbeddedMessage();
    ASSERT_NE(level3, nullptr);
    EXPECT_EQ(level3->Props()->String(kPR_SUBJECT_W), u"Level 3");

    // Saving the saved file again changes nothing.
    EXPECT_EQ(saved->ToStorage(), MsgMessage::OpenBytes(Cfb::ToBytes(saved->ToStorage()), u"x")->ToStorage());
    std::filesystem::remove_all(dir);
}

// Past 7 MiB the allocation table no longer fits the header's list of its sectors.
TEST(MsgRoundTrip, AttachmentOfManyMegabytesReadsBackWhole) {
    std::string data(9 * 1024 * 1024 + 7, '\0');
    std::uint32_t x = 1;
    for (char& c : data)
        c = static_cast<char>((x = x * 1103515245 + 12345) >> 24);
    MessageData message = Mail(u"large");
    message.attachments.push_back(FileAttachment(u"big.bin", data));
    const MessagePtr read = Reopen(message);
    EXPECT_TRUE(read->Attachments().at(0)->Props()->Binary(Mapi::kPR_ATTACH_DATA_BIN) == data);
}

TEST(MsgRoundTrip, SavingIntoAnUnwritablePlaceIsAClearError) {
    const MessagePtr top = Reopen(Mail(u"x"));
    try {
        top->SaveAs("/nonexistent-dir/x.msg");
        FAIL() << "no error";
    } catch (const MsgFileError& e) {
        EXPECT_NE(e.Utf8Message().find("/nonexistent-dir/x.msg"), std::string::npos) << e.Utf8Message();
    }
}

} // namespace
} // namespace Tessarix::Msg
