#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "MsgFixtures.h"
#include "attachments/Attachment.h"
#include "core/Utf.h"
#include "msg/CompressedRtf.h"
#include "msg/MsgItem.h"

namespace Tessarix::Msg {
namespace {

using namespace Testing;
using Automation::AsDate;
using Automation::GetBool;
using Automation::GetInt;
using Automation::GetString;

constexpr Guid kPSETID_Task{0x00062003, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Address{0x00062004, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// 7 March 2011 14:05:09 UTC.
constexpr FileTime kMarch7{0xAAF9D880, 0x01CBDCD0};
constexpr double kMarch7Date = 40609.586909722224;

std::shared_ptr<MsgItem> Item(const MessageData& message) {
    return std::make_shared<MsgItem>(Reopen(message));
}

class UtcZone : public ::testing::Test {
protected:
    virtual const char* Zone() const { return "UTC0"; }
    void SetUp() override {
        const char* tz = std::getenv("TZ");
        saved_ = tz ? std::optional<std::string>(tz) : std::nullopt;
        setenv("TZ", Zone(), 1);
        tzset();
    }
    void TearDown() override {
        if (saved_)
            setenv("TZ", saved_->c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    std::optional<std::string> saved_;
};

using MsgItemMail = UtcZone;

// Five hours behind UTC, no daylight saving: shows which dates are converted.
class MsgItemWest : public UtcZone {
protected:
    const char* Zone() const override { return "EST5"; }
};

// Where a row's property lives: a tag, or a named property of a set by number or by name.
struct Where {
    PropTag tag = 0;
    const Guid* set = nullptr;
    std::uint32_t lid = 0;
    const char16_t* name = nullptr;
};
Where At(PropTag tag) {
    return {tag};
}
Where In(const Guid& set, std::uint32_t lid) {
    return {0, &set, lid};
}

constexpr Guid kPSETID_Appt{0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Log{0x0006200A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// Read five hours west of UTC: 7 March 14:05:09 UTC as an instant, as the local time it is stored
// as, and 23:00 UTC on the 6th (a Paris midnight) as the writer's day.
constexpr double kInstant = kMarch7Date - 5.0 / 24;
const FileTime kParisMidnight =
    FileTime::FromTicks(kMarch7.Ticks() - kMarch7.Ticks() % 864000000000 - 36000000000);

struct NameRow {
    const char16_t* name;
    Where where;
    Value stored;               // none: the name itself as Unicode text
    Automation::Value expected; // none: the name itself
};

// The object-model names and the properties they read, one item per row holding only that
// property: a wrong tag, property set, type or date basis in the reader fails its row.
std::vector<NameRow> NameTable() {
    const auto& A = kPSETID_Address;
    const auto& C = kPSETID_Common;
    const auto& T = kPSETID_Task;
    const Value march7 = Value::Time(kMarch7);
    const Automation::Value instant = AutomationDate{kInstant};
    const Automation::Value local = AutomationDate{kMarch7Date};
    const Automation::Value writersDay = AutomationDate{40609.0};
    const std::pair<const char16_t*, PropTag> texts[] = {
        {u"MessageClass", 0x001A001F},
        {u"Subject", 0x0037001F},
        {u"Body", 0x1000001F},
        {u"SenderName", 0x0C1A001F},
        {u"SenderEmailAddress", 0x0C1F001F},
        {u"To", 0x0E04001F},
        {u"CC", 0x0E03001F},
        {u"BCC", 0x0E02001F},
        {u"RequiredAttendees", 0x0E04001F},
        {u"FullName", 0x3001001F},
        {u"CompanyName", 0x3A16001F},
        {u"JobTitle", 0x3A17001F},
        {u"Department", 0x3A18001F},
        {u"PrimaryTelephoneNumber", 0x3A1A001F},
        {u"CompanyMainTelephoneNumber", 0x3A57001F},
        {u"HomeTelephoneNumber", 0x3A09001F},
        {u"Home2TelephoneNumber", 0x3A2F001F},
        {u"MobileTelephoneNumber", 0x3A1C001F},
        {u"AssistantTelephoneNumber", 0x3A2E001F},
        {u"BusinessTelephoneNumber", 0x3A08001F},
        {u"OtherTelephoneNumber", 0x3A1F001F},
        {u"RadioTelephoneNumber", 0x3A1D001F},
        {u"BusinessFaxNumber", 0x3A24001F},
        {u"HomeFaxNumber", 0x3A25001F},
        {u"OtherFaxNumber", 0x3A23001F},
        {u"CallbackTelephoneNumber", 0x3A02001F},
        {u"CarTelephoneNumber", 0x3A1E001F},
        {u"ISDNNumber", 0x3A2D001F},
        {u"PagerNumber", 0x3A21001F},
        {u"TelexNumber", 0x3A2C001F},
        {u"TTYTDDTelephoneNumber", 0x3A4B001F},
        {u"HomeAddressPostOfficeBox", 0x3A5E001F},
        {u"OtherAddressPostOfficeBox", 0x3A64001F},
        {u"MailingAddress", 0x3A15001F},
        {u"OfficeLocation", 0x3A19001F},
        {u"BusinessHomePage", 0x3A51001F},
        {u"PersonalHomePage", 0x3A50001F},
        {u"Account", 0x3A00001F},
        {u"ComputerNetworkName", 0x3A49001F},
        {u"CustomerID", 0x3A4A001F},
        {u"GovernmentIDNumber", 0x3A07001F},
        {u"FTPSite", 0x3A4C001F},
        {u"Hobbies", 0x3A43001F},
        {u"Language", 0x3A0C001F},
        {u"OrganizationalIDNumber", 0x3A10001F},
        {u"ReferredBy", 0x3A47001F},
    };
    const std::tuple<const char16_t*, const Guid*, std::uint32_t> namedTexts[] = {
        {u"Mileage", &C, 0x8534},
        {u"BillingInformation", &C, 0x8535},
        {u"Location", &kPSETID_Appt, 0x8208},
        {u"Owner", &T, 0x811F},
        {u"Email1Address", &A, 0x8083},
        {u"WebPage", &A, 0x802B},
        {u"IMAddress", &A, 0x8062},
        {u"HomeAddress", &A, 0x801A},
        {u"BusinessAddress", &A, 0x801B},
        {u"OtherAddress", &A, 0x801C},
        {u"BusinessAddressPostOfficeBox", &A, 0x804A},
        {u"InternetFreeBusyAddress", &A, 0x80D8},
        {u"User1", &A, 0x804F},
        {u"User2", &A, 0x8050},
        {u"User3", &A, 0x8051},
        {u"User4", &A, 0x8052},
    };
    std::vector<NameRow> rows;
    for (const auto& [name, tag] : texts)
        rows.push_back({name, At(tag), {}, {}});
    for (const auto& [name, set, lid] : namedTexts)
        rows.push_back({name, In(*set, lid), {}, {}});
    const std::vector<NameRow> others = {
        {u"CompanyName", At(0x3A16001E), Value::String8("8-bit"), std::u16string(u"8-bit")},
        {u"HTMLBody", At(0x1013001F), {}, {}},
        {u"HTMLBody", At(Mapi::kPR_HTML), Value::Binary("<p>bytes</p>"), std::u16string(u"<p>bytes</p>")},
        {u"Importance", At(0x00170003), Value::Long(2), std::int32_t{2}},
        {u"Categories",
         {0, &kPS_PUBLIC_STRINGS, 0, u"Keywords"},
         Value::MultiUnicode({u"a", u"b"}),
         std::u16string(u"a, b")},
        {u"Companies", In(C, 0x8539), Value::MultiUnicode({u"a", u"b"}), std::u16string(u"a; b")},
        {u"ContactNames", In(C, 0x853A), Value::MultiUnicode({u"a", u"b"}), std::u16string(u"a; b")},
        {u"Children", At(0x3A58101F), Value::MultiUnicode({u"a", u"b"}), std::u16string(u"a, b")},
        {u"Sent", At(0x0E070003), Value::Long(1), true},
        {u"Sent", At(0x0E070003), Value::Long(9), false},
        {u"Sent", At(0x00390040), march7, true},
        {u"CreationTime", At(0x30070040), march7, instant},
        {u"SentOn", At(0x00390040), march7, instant},
        {u"Start", In(kPSETID_Appt, 0x820D), march7, instant},
        {u"Start", In(kPSETID_Log, 0x8706), march7, instant},
        {u"Start", At(0x00600040), march7, instant},
        {u"End", In(kPSETID_Appt, 0x820E), march7, instant},
        {u"End", In(kPSETID_Log, 0x8708), march7, instant},
        {u"End", At(0x00610040), march7, instant},
        {u"BusyStatus", In(kPSETID_Appt, 0x8205), Value::Long(2), std::int32_t{2}},
        {u"AllDayEvent", In(kPSETID_Appt, 0x8215), Value::Bool(true), true},
        {u"Complete", In(T, 0x811C), Value::Bool(true), true},
        {u"StartDate", In(T, 0x8104), march7, local},
        {u"DueDate", In(T, 0x8105), march7, local},
        {u"DateCompleted", In(T, 0x810F), Value::Time(kParisMidnight), writersDay},
        {u"ActualWork", In(T, 0x8110), Value::Long(30), std::int32_t{30}},
        {u"TotalWork", In(T, 0x8111), Value::Long(90), std::int32_t{90}},
        {u"PercentComplete", In(T, 0x8102), Value::Double(0.25), std::int32_t{25}},
        {u"Status", In(T, 0x8101), Value::Long(3), std::int32_t{3}},
        {u"Duration", In(kPSETID_Log, 0x8707), Value::Long(45), std::int32_t{45}},
        {u"Birthday", In(A, 0x80DE), march7, local},
        {u"Birthday", At(0x3A420040), Value::Time(kParisMidnight), writersDay},
        {u"Anniversary", In(A, 0x80DF), march7, local},
        {u"Anniversary", At(0x3A410040), Value::Time(kParisMidnight), writersDay},
    };
    rows.insert(rows.end(), others.begin(), others.end());
    return rows;
}

std::string Show(const Automation::Value& value) {
    return std::visit(
        [](const auto& v) -> std::string {
            using V = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<V, std::u16string>)
                return '"' + ToUtf8(v) + '"';
            else if constexpr (std::is_same_v<V, AutomationDate>)
                return "date " + std::to_string(std::round(v.value * 86400)); // to the second
            else if constexpr (std::is_same_v<V, bool>)
                return v ? "true" : "false";
            else if constexpr (std::is_same_v<V, std::int32_t>)
                return std::to_string(v);
            else
                return "variant #" + std::to_string(Automation::Value(v).index());
        },
        value);
}

TEST_F(MsgItemWest, EveryNameReadsItsProperty) {
    for (const NameRow& row : NameTable()) {
        MessageData message;
        const Value stored = row.stored.Type() ? row.stored : Value::Unicode(row.name);
        if (!row.where.set)
            message.props.Set(row.where.tag, stored);
        else if (row.where.name)
            message.props.SetNamed(NamedProperty::String(*row.where.set, row.where.name), stored);
        else
            message.props.SetNamed(NamedProperty::Number(*row.where.set, row.where.lid), stored);
        const Automation::Value expected =
            row.expected.index() ? row.expected : Automation::Value(std::u16string(row.name));
        Automation::Value read;
        ASSERT_EQ(Item(message)->Get(row.name, read), kS_OK) << ToUtf8(row.name);
        EXPECT_EQ(Show(read), Show(expected)) << ToUtf8(row.name);
    }
}

// The table above covers every name the documentation lists (Attachments and Application, which
// are objects, have tests of their own).
TEST(MsgItem, TheNameTableCoversTheDocumentedNames) {
    std::ifstream docs(TX_DOCS_DIR "/msg-items.md");
    ASSERT_TRUE(docs);
    std::set<std::u16string> tested;
    for (const NameRow& row : NameTable())
        tested.insert(row.name);
    bool inTable = false;
    std::size_t documented = 0;
    for (std::string line; std::getline(docs, line);) {
        if (line.starts_with("## "))
            inTable = line == "## Names and properties";
        if (!inTable || !line.starts_with("| `"))
            continue;
        const std::string cell = line.substr(1, line.find('|', 1) - 1);
        static const std::regex name("`(\\w+)`");
        for (std::sregex_iterator it(cell.begin(), cell.end(), name), end; it != end; ++it) {
            const std::u16string documentedName = FromUtf8((*it)[1].str());
            ++documented;
            if (documentedName != u"Attachments" && documentedName != u"Application") {
                EXPECT_TRUE(tested.contains(documentedName)) << (*it)[1].str();
            }
        }
    }
    EXPECT_GE(documented, 86u);
}

// What the table does not show: absent properties, the recipients standing in for the display
// lists, the body as HTML, unknown names, interfaces and the MAPI object.
TEST_F(MsgItemMail, DefaultsRecipientsAndTheMapiObject) {
    MessageData message = Mail(u"Quarterly");
    message.props.Set(kPR_BODY_W, Value::Unicode(u"a < b\r\nnext"));
    RecipientData cc;
    cc.props.Set(kPR_DISPLAY_NAME_W, Value::Unicode(u"Dee")).Set(kPR_RECIPIENT_TYPE, Value::Long(2));
    message.recipients.push_back(cc);
    const auto item = Item(message);

    EXPECT_EQ(GetString(*item, u"CC"), u"Dee") << "from the recipients when the display list is absent";
    EXPECT_EQ(GetString(*item, u"BCC"), u"");
    EXPECT_EQ(GetInt(*item, u"Importance"), 1) << "normal when absent";
    EXPECT_FALSE(GetBool(*item, u"Sent"));
    EXPECT_EQ(GetString(*item, u"HTMLBody"), u"<html><body>a &lt; b<br>\r\nnext</body></html>");
    EXPECT_DOUBLE_EQ(Automation::GetDate(*item, u"CreationTime")->value, 949998.0);
    Automation::Value unknown;
    EXPECT_EQ(item->Get(u"NoSuchName", unknown), Automation::kDISP_E_UNKNOWNNAME);

    Mapi::PropPtr props;
    ASSERT_EQ(item->GetMapiObject(Mapi::kIID_IMessage, props), kS_OK);
    ASSERT_NE(props, nullptr);
    Mapi::PropValue subject;
    ASSERT_EQ(props->GetProp(0x0037001F, subject), kS_OK);
    EXPECT_EQ(subject, Mapi::PropValue(std::u16string(u"Quarterly")));
    ASSERT_EQ(item->GetMapiObject(Mapi::kIID_IAttachment, props), kS_OK);
    EXPECT_EQ(props, nullptr);
}

TEST(MsgItem, HtmlBodyIsDecodedInTheInternetCodePage) {
    MessageData message = Mail(u"Draft");
    message.props.Set(Mapi::kPR_HTML, Value::Binary("<p>caf\xE9</p>"));
    EXPECT_EQ(GetString(*Item(message), u"HTMLBody"), u"<p>caf\u00E9</p>") << "in PR_INTERNET_CPID 1252";
}

TEST(MsgItem, BodyWithoutPrBodyIsDerivedFromTheHtmlElseTheRtf) {
    const auto body = [](std::optional<std::u16string> text, std::optional<std::string> html,
                         std::optional<std::string> rtf) {
        MessageData message = Mail(u"Body");
        if (text)
            message.props.Set(0x1000001F, Value::Unicode(*text));
        if (html)
            message.props.Set(Mapi::kPR_HTML, Value::Binary(*html));
        if (rtf)
            message.props.Set(Mapi::kPR_RTF_COMPRESSED, Value::Binary(*rtf));
        return GetString(*Item(message), u"Body");
    };
    const std::string rtf = Rtf::Compress("{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 one\\par two}");
    EXPECT_EQ(body(std::nullopt, "<p>from <b>html</b></p>", rtf), u"from html");
    EXPECT_EQ(body(std::nullopt, std::nullopt, rtf), u"one\r\ntwo");
    EXPECT_EQ(body(u"stored", "<p>html</p>", rtf), u"stored");
    // A broken RTF body gives no text (and a warning), never a failure.
    EXPECT_EQ(body(std::nullopt, std::nullopt, "not compressed RTF at all"), u"");
}

TEST(MsgItem, ClassesPickTheirInterfaces) {
    const std::pair<const char16_t*, Guid> cases[] = {
        {u"IPM.Note.SMIME", Outlook::kIID_MailItem},
        {u"IPM.Contact", Outlook::kIID_ContactItem},
        {u"ipm.appointment", Outlook::kIID_AppointmentItem},
        {u"IPM.Schedule.Meeting.Request", Outlook::kIID_MeetingItem},
        {u"IPM.Task", Outlook::kIID_TaskItem},
        {u"IPM.Activity", Outlook::kIID_JournalItem},
        {u"IPM.StickyNote", Outlook::kIID_NoteItem},
    };
    for (const auto& [cls, iid] : cases) {
        MessageData message;
        message.props.Set(kPR_MESSAGE_CLASS_W, Value::Unicode(cls));
        const auto item = Item(message);
        for (const auto& [other, otherIid] : cases)
            EXPECT_EQ(item->Implements(otherIid), iid == otherIid) << ToUtf8(cls) << " / " << ToUtf8(other);
    }
    MessageData notes;
    notes.props.Set(kPR_MESSAGE_CLASS_W, Value::Unicode(u"IPM.Notes"));
    EXPECT_FALSE(Item(notes)->Implements(Outlook::kIID_MailItem)) << "a class, not a prefix";
}

TEST(MsgItem, MeetingRequestAnswersTheHostsFixedTags) {
    constexpr Guid kPSETID_Appointment{0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    MessageData request;
    // The file's own numbering puts unrelated names first, so its ids differ from the host's.
    request.props.Set(kPR_MESSAGE_CLASS_W, Value::Unicode(u"IPM.Schedule.Meeting.Request"))
        .SetNamed(NamedProperty::Number(kPSETID_Task, 0x8101), Value::Long(7))
        .SetNamed(NamedProperty::Number(kPSETID_Address, 0x8083), Value::Unicode(u"x@example.com"))
        .SetNamed(NamedProperty::Number(kPSETID_Appointment, 0x8208), Value::Unicode(u"Room 1"))
        .SetNamed(NamedProperty::Number(kPSETID_Appointment, 0x8215), Value::Bool(true))
        .SetNamed(NamedProperty::Number(kPSETID_Appointment, 0x8205), Value::Long(2));
    const auto item = Item(request);
    const auto application = Automation::GetDispatch(*item, u"Application");
    ASSERT_NE(application, nullptr);
    EXPECT_EQ(GetString(*application, u"Version").substr(0, 4), u"14.0");

    Mapi::PropPtr props;
    ASSERT_EQ(item->GetMapiObject(Mapi::kIID_IMessage, props), kS_OK);
    ASSERT_NE(props, nullptr);
    const auto read = [&](Mapi::PropTag tag) {
        Mapi::PropValue value;
        const HResult hr = props->GetProp(tag, value);
        return Failed(hr) ? Mapi::PropValue{} : value;
    };
    EXPECT_EQ(read(Mapi::kMeetingLocation12), Mapi::PropValue(std::u16string(u"Room 1")));
    EXPECT_EQ(read(Mapi::kMeetingAllDay14), Mapi::PropValue(true));
    EXPECT_EQ(read(Mapi::kMeetingBusyStatus12And14), Mapi::PropValue(std::uint32_t{2}));
    // The file's own 0x8000 (the task status here) is shadowed by the host's meaning of the tag.
    EXPECT_EQ(read(0x80000003), Mapi::PropValue(std::uint32_t{2}));
    // The request is its own appointment.
    EXPECT_EQ(Automation::AsObject(Automation::CallMethod(*item, u"GetAssociatedAppointment", {false})),
              item);

    // A request whose file does not name them has none of them.
    MessageData bare;
    bare.props.Set(kPR_MESSAGE_CLASS_W, Value::Unicode(u"IPM.Schedule.Meeting.Request"))
        .SetNamed(NamedProperty::Number(kPSETID_Task, 0x8101), Value::Long(7));
    ASSERT_EQ(Item(bare)->GetMapiObject(Mapi::kIID_IMessage, props), kS_OK);
    Mapi::PropValue value;
    EXPECT_EQ(props->GetProp(Mapi::kMeetingBusyStatus12And14, value), kMAPI_E_NOT_FOUND);
    EXPECT_EQ(props->GetProp(Mapi::kMeetingAllDay14, value), kMAPI_E_NOT_FOUND);
}

TEST(MsgItem, AttachmentsCollectionAndSaveAsFile) {
    const auto dir = std::filesystem::temp_directory_path() / "msg_tests_item";
    std::filesystem::create_directories(dir);
    const auto item = std::make_shared<MsgItem>(Reopen(RichMail()));
    const auto attachments = Automation::GetDispatch(*item, u"Attachments");
    ASSERT_NE(attachments, nullptr);
    ASSERT_EQ(GetInt(*attachments, u"Count"), 3);
    Automation::Value result;
    const Automation::Value zero[] = {std::int32_t{0}};
    EXPECT_EQ(attachments->Call(u"Item", zero, result), kE_INVALIDARG);

    const auto file = Automation::AsObject(Automation::CallMethod(*attachments, u"Item", {std::int32_t{1}}));
    EXPECT_EQ(GetString(*file, u"FileName"), u"a.txt");
    EXPECT_EQ(GetInt(*file, u"Type"), 1);
    const auto slurp = [](const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        std::stringstream bytes;
        bytes << in.rdbuf();
        return bytes.str();
    };
    Automation::CallMethod(*file, u"SaveAsFile", {FromUtf8((dir / "a.txt").string())});
    EXPECT_EQ(slurp(dir / "a.txt"), "file bytes");
    const auto ole =
        Automation::AsObject(Automation::CallMethod(*attachments, u"Item", {Automation::Int{2}}));
    Automation::CallMethod(*ole, u"SaveAsFile", {FromUtf8((dir / "ole.bin").string())});
    EXPECT_EQ(slurp(dir / "ole.bin"), "ole contents");
    Mapi::PropPtr props;
    ASSERT_EQ(ole->GetMapiObject(Mapi::kIID_IAttachment, props), kS_OK);
    EXPECT_EQ(props, item->Message()->Attachments()[1]->Props());

    // The attached message through the product's own attachment model: saved as a file of its own
    // and read back, it is a message again.
    const auto embedded =
        Automation::AsObject(Automation::CallMethod(*attachments, u"Item", {std::int32_t{3}}));
    EXPECT_EQ(GetString(*embedded, u"FileName"), u"Level 1.msg");
    EmbededMessage model(embedded);
    StringUTF8 bytes;
    model.LoadContentTo(bytes);
    const MessagePtr reopened = MsgMessage::OpenBytes(std::string(bytes.View()), u"saved.msg");
    EXPECT_EQ(reopened->Props()->String(kPR_SUBJECT_W), u"Level 1");
    EXPECT_EQ(reopened->Attachments().size(), 1u);

    // The item saves itself; a failing save answers a failure.
    Automation::CallMethod(*item, u"SaveAs", {FromUtf8((dir / "item.msg").string()), Automation::Int{3}});
    EXPECT_EQ(MsgMessage::Open(dir / "item.msg")->Props()->String(kPR_SUBJECT_W), u"Top");
    const Automation::Value html[] = {FromUtf8((dir / "item.html").string()), Automation::Int{5}};
    EXPECT_EQ(item->Call(u"SaveAs", html, result), kE_NOTIMPL);
    const Automation::Value nowhere[] = {std::u16string(u"/nonexistent-dir/x.msg")};
    EXPECT_TRUE(Failed(item->Call(u"SaveAs", nowhere, result)));
    std::filesystem::remove_all(dir);
}

// A local midnight stored as UTC is the writer's calendar day, whatever the reader's zone; only
// the hours that both sides of the date line could have written ask for the writer's zone, else
// the reader's.
class WritersDayTest : public UtcZone, public ::testing::WithParamInterface<const char*> {
protected:
    const char* Zone() const override { return GetParam(); }
};

TEST_P(WritersDayTest, IsTheDayWhoseMidnightWasStored) {
    constexpr double kMarch7Day = 40609.0;
    const FileTime midnight = FileTime::FromTicks(kMarch7.Ticks() - kMarch7.Ticks() % 864000000000);
    const auto at = [&](int hours) {
        return FileTime::FromTicks(midnight.Ticks() + static_cast<std::uint64_t>(hours) * 36000000000);
    };
    const bool readerEast = std::string(GetParam()).starts_with("NZ");
    struct Row {
        int hour;                         // UTC hour on 7 March
        std::optional<std::int32_t> bias; // the writer's, minutes
        double expected;
    };
    for (const Row& row : {Row{0, std::nullopt, kMarch7Day},      // London
                           Row{5, std::nullopt, kMarch7Day},      // New York
                           Row{14, std::nullopt, kMarch7Day + 1}, // Sydney
                           Row{23, std::nullopt, kMarch7Day + 1}, // Paris
                           Row{11, -780, kMarch7Day + 1},         // Auckland in summer
                           Row{10, 600, kMarch7Day},              // Honolulu
                           Row{11, std::nullopt, readerEast ? kMarch7Day + 1 : kMarch7Day}}) {
        const auto day = WritersDay(at(row.hour), row.bias);
        ASSERT_TRUE(day) << row.hour;
        EXPECT_DOUBLE_EQ(day->value, row.expected) << row.hour;
    }
}

INSTANTIATE_TEST_SUITE_P(Zones, WritersDayTest, ::testing::Values("UTC0", "EST5", "NZST-12NZDT"));

} // namespace
} // namespace Tessarix::Msg
