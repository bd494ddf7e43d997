#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
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

TEST_F(MsgItemMail, AnswersTheMailNames) {
    MessageData message = Mail(u"Quarterly");
    message.props.Set(kPR_SENDER_NAME_W, Value::Unicode(u"Ann Sender"))
        .Set(0x0E04001F, Value::Unicode(u"Bob; Cy"))
        .Set(0x0E070003, Value::Long(1)) // read, not unsent
        .Set(kPR_CLIENT_SUBMIT_TIME, Value::Time(kMarch7))
        .Set(kPR_BODY_W, Value::Unicode(u"a < b\r\nnext"))
        .SetNamed(NamedProperty::String(kPS_PUBLIC_STRINGS, u"Keywords"),
                  Value::MultiUnicode({u"Red", u"Blue"}));
    RecipientData cc;
    cc.props.Set(kPR_DISPLAY_NAME_W, Value::Unicode(u"Dee")).Set(kPR_RECIPIENT_TYPE, Value::Long(2));
    message.recipients.push_back(cc);
    const auto item = Item(message);

    EXPECT_EQ(GetString(*item, u"MessageClass"), u"IPM.Note");
    EXPECT_EQ(GetString(*item, u"Subject"), u"Quarterly");
    EXPECT_EQ(GetString(*item, u"SenderName"), u"Ann Sender");
    EXPECT_EQ(GetString(*item, u"To"), u"Bob; Cy");
    EXPECT_EQ(GetString(*item, u"CC"), u"Dee") << "from the recipients when the display list is absent";
    EXPECT_EQ(GetString(*item, u"BCC"), u"");
    EXPECT_TRUE(GetBool(*item, u"Sent"));
    ASSERT_TRUE(AsDate(Automation::GetProperty(*item, u"SentOn")));
    EXPECT_NEAR(Automation::GetDate(*item, u"SentOn")->value, kMarch7Date, 1e-6);
    EXPECT_EQ(GetString(*item, u"Categories"), u"Red, Blue");
    EXPECT_EQ(GetInt(*item, u"Importance"), 1) << "normal when absent";
    EXPECT_EQ(GetString(*item, u"Body"), u"a < b\r\nnext");
    EXPECT_EQ(GetString(*item, u"HTMLBody"), u"<html><body>a &lt; b<br>\r\nnext</body></html>");
    // Absent dates are the host's empty date.
    EXPECT_DOUBLE_EQ(Automation::GetDate(*item, u"CreationTime")->value, 949998.0);
    Automation::Value unknown;
    EXPECT_EQ(item->Get(u"NoSuchName", unknown), Automation::kDISP_E_UNKNOWNNAME);

    EXPECT_TRUE(item->Implements(Outlook::kIID_MailItem));
    EXPECT_FALSE(item->Implements(Outlook::kIID_TaskItem));
    Mapi::PropPtr props;
    ASSERT_EQ(item->GetMapiObject(Mapi::kIID_IMessage, props), kS_OK);
    ASSERT_NE(props, nullptr);
    Mapi::PropValue subject;
    ASSERT_EQ(props->GetProp(0x0037001F, subject), kS_OK);
    EXPECT_EQ(subject, Mapi::PropValue(std::u16string(u"Quarterly")));
    ASSERT_EQ(item->GetMapiObject(Mapi::kIID_IAttachment, props), kS_OK);
    EXPECT_EQ(props, nullptr);
}

TEST(MsgItem, UnsentMailAndHtmlBody) {
    MessageData message = Mail(u"Draft");
    message.props.Set(0x0E070003, Value::Long(8)).Set(Mapi::kPR_HTML, Value::Binary("<p>caf\xE9</p>"));
    const auto item = Item(message);
    EXPECT_FALSE(GetBool(*item, u"Sent"));
    EXPECT_EQ(GetString(*item, u"HTMLBody"), u"<p>caf\u00E9</p>") << "in PR_INTERNET_CPID 1252";
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

TEST_F(MsgItemWest, NamedPropertiesOfTasksAndContacts) {
    MessageData task;
    task.props.Set(kPR_MESSAGE_CLASS_W, Value::Unicode(u"IPM.Task"))
        .SetNamed(NamedProperty::Number(kPSETID_Task, 0x811F), Value::Unicode(u"Owner Name"))
        .SetNamed(NamedProperty::Number(kPSETID_Task, 0x811C), Value::Bool(true))
        .SetNamed(NamedProperty::Number(kPSETID_Task, 0x8102), Value::Double(0.25))
        .SetNamed(NamedProperty::Number(kPSETID_Task, 0x8111), Value::Long(90))
        .SetNamed(NamedProperty::Number(kPSETID_Task, 0x8105), Value::Time(kMarch7))
        // Completed on 7 March in Paris: 23:00 UTC on the 6th.
        .SetNamed(
            NamedProperty::Number(kPSETID_Task, 0x810F),
            Value::Time(FileTime::FromTicks(kMarch7.Ticks() - kMarch7.Ticks() % 864000000000 - 36000000000)));
    const auto taskItem = Item(task);
    EXPECT_EQ(GetString(*taskItem, u"Owner"), u"Owner Name");
    EXPECT_TRUE(GetBool(*taskItem, u"Complete"));
    EXPECT_EQ(GetInt(*taskItem, u"PercentComplete"), 25);
    EXPECT_EQ(GetInt(*taskItem, u"TotalWork"), 90);
    EXPECT_EQ(GetInt(*taskItem, u"ActualWork"), 0);
    // Task dates hold local time already: no time-zone shift.
    EXPECT_NEAR(Automation::GetDate(*taskItem, u"DueDate")->value, kMarch7Date, 1e-6);
    // The completion date is the writer's day, wherever it is read (here five hours west of UTC).
    EXPECT_DOUBLE_EQ(Automation::GetDate(*taskItem, u"DateCompleted")->value, 40609.0);

    MessageData contact;
    contact.props.Set(kPR_MESSAGE_CLASS_W, Value::Unicode(u"IPM.Contact"))
        .Set(kPR_DISPLAY_NAME_W, Value::Unicode(u"Full Name"))
        .Set(0x3A16001E, Value::String8("Firm"))
        .Set(0x3A58101F, Value::MultiUnicode({u"Ann", u"Bo"}))
        .SetNamed(NamedProperty::Number(kPSETID_Address, 0x8083), Value::Unicode(u"a@example.com"));
    const auto contactItem = Item(contact);
    EXPECT_EQ(GetString(*contactItem, u"FullName"), u"Full Name");
    EXPECT_EQ(GetString(*contactItem, u"CompanyName"), u"Firm") << "8-bit strings too";
    EXPECT_EQ(GetString(*contactItem, u"Email1Address"), u"a@example.com");
    EXPECT_EQ(GetString(*contactItem, u"Children"), u"Ann, Bo");
    EXPECT_EQ(GetString(*contactItem, u"User1"), u"");
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

TEST(MsgItem, AutomationDates) {
    EXPECT_NEAR(LocalFileTimeToAutomationDate(kMarch7).value, kMarch7Date, 1e-6);
    EXPECT_DOUBLE_EQ(LocalFileTimeToAutomationDate(FileTime{}).value, -109205.0) << "1 January 1601";
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
