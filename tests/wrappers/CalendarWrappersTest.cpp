#include <gtest/gtest.h>

#include "core/Utils.h"
#include "itemaccess/HtmlFragments.h"
#include "wrappers/ItemWrappers.h"
#include "wrappers/WrapperTestSupport.h"

namespace Tessarix {
namespace {

using Testing::FakeItem;
using Testing::FakeMapiProp;
using Testing::FakeObject;
using Testing::FileAttachment;
using Testing::Line;
using Testing::NoteView;
using Testing::View;

constexpr AutomationDate kStart{40609.375}; // 7 March 2011 09:00
constexpr AutomationDate kEnd{40609.4375};
constexpr AutomationDate kNoDate{949998.5}; // 1 January 4501, the host's empty date

std::string DateTime(AutomationDate date) {
    return ToUtf8(FormatDateTime(date, kDateAndTime));
}

struct AppointmentTest : Testing::WrapperTest {
    FakeItem appointment{Outlook::kIID_AppointmentItem};

    AppointmentTest() {
        appointment.Set(u"Subject", u"Review")
            .Set(u"Location", u"")
            .Set(u"Start", kStart)
            .Set(u"End", kEnd)
            .Set(u"BusyStatus", std::int32_t{2})
            .Set(u"AllDayEvent", false)
            .Set(u"Importance", std::int32_t{1})
            .Set(u"Categories", u"")
            .Set(u"RequiredAttendees", u"")
            .Set(u"Body", u"")
            .SetAttachments({});
    }
    Notes::NotePtr Build() { return AppointmentWrapper(appointment.object, pipeline).BuildNote(); }
};

TEST_F(AppointmentTest, EveryFieldAndTheHostsPlaceholders) {
    appointment.Set(u"Location", u"Room 1")
        .Set(u"End", kNoDate)
        .Set(u"BusyStatus", std::int32_t{3})
        .Set(u"AllDayEvent", true)
        .Set(u"Importance", std::int32_t{2})
        .Set(u"Categories", u"Blue")
        .Set(u"RequiredAttendees", u"Unknown; Unknown")
        .Set(u"Body", u"a\nb");
    const auto note = Build();
    EXPECT_EQ(note->GetContent(),
              FromUtf8(Line("Subject", "Review") + Line("Location", "Room 1") +
                       Line("Start Date", DateTime(kStart)) + Line("Busy Status", "OutOfOffice") +
                       Line("All Day Event", "Yes") + Line("Importance", "High") +
                       Line("Categories", "Blue") + Line("Required", " ") + "a<br>b"));

    // Nothing but placeholders: no line. A flag that cannot be read: no line either.
    appointment.Set(u"RequiredAttendees", u"Unknown;Unknown").Set(u"BusyStatus", std::int32_t{7});
    appointment.object->failures[u"AllDayEvent"] = kE_FAIL;
    const std::u16string content = Build()->GetContent();
    EXPECT_EQ(content.find(u"Required"), std::u16string::npos);
    EXPECT_EQ(content.find(u"All Day Event"), std::u16string::npos);
    EXPECT_EQ(content.find(u"Busy Status"), std::u16string::npos);
}

TEST(Attendees, UnknownPlaceholdersAreRemoved) {
    EXPECT_EQ(AppointmentWrapper::RemoveUnknownAttendees(u"Ann; Unknown;Bob; Unknown"), u"Ann; Bob; ");
    EXPECT_EQ(AppointmentWrapper::RemoveUnknownAttendees(u"UnknownUnknown;"), u"");
}

// Meeting requests read their fields through MAPI under tags fixed per host version.
const FileTime kMeetingStart = FileTime::FromTicks(129439620000000000ull); // 7 March 2011 09:00 UTC
const FileTime kMeetingEnd = FileTime::FromTicks(129439656000000000ull);

struct MeetingTest : Testing::WrapperTest {
    FakeItem meeting{Outlook::kIID_MeetingItem};
    std::shared_ptr<FakeObject> application = std::make_shared<FakeObject>();

    MeetingTest() {
        meeting.Set(u"Application", Automation::ObjectPtr(application))
            .Set(u"Subject", u"Updated: Planning")
            .Set(u"Categories", u"Red")
            .Set(u"SenderName", u"Ann")
            .Set(u"SenderEmailAddress", u"ann@x.org")
            .Set(u"Companies", u"")
            .Set(u"Importance", std::int32_t{0})
            .Set(u"Body", u"")
            .SetAttachments({});
        FakeMapiProp& mapi = *meeting.message;
        mapi.Set(Mapi::kPR_DISPLAY_TO, u"Bob; Carol")
            .Set(Mapi::kPR_START_DATE, kMeetingStart)
            .Set(Mapi::kPR_END_DATE, kMeetingEnd)
            .Set(0x800F001F, u"Room 2003")
            .Set(0x8017001F, u"Room 2007")
            .Set(0x80120003, std::uint32_t{1})
            .Set(0x80000003, std::uint32_t{2});
    }
    Notes::NotePtr Build(const std::u16string& version) {
        application->Set(u"Version", version);
        return MeetingRequestWrapper(meeting.object, pipeline).BuildNote();
    }
    static std::string Dates(int selector) {
        return Line("Start Date", ToUtf8(Fragments::FormatLocalDateTime(kMeetingStart, selector))) +
               Line("End Date", ToUtf8(Fragments::FormatLocalDateTime(kMeetingEnd, selector)));
    }
};

TEST_F(MeetingTest, TheHostVersionChoosesTagsAndDateStyle) {
    const std::string head =
        Line("Categories", "Red") + Line("From", "Ann (ann@x.org)") + Line("Required", "Bob; Carol");
    const std::string tail = Line("Importance", "Low");

    EXPECT_EQ(ToUtf8(Build(u"11.0.0.8312")->GetContent()), Line("Subject", "Planning") + head +
                                                               Line("Location", "Room 2003") + Dates(1) +
                                                               Line("Busy Status", "Tentative") + tail);
    EXPECT_EQ(ToUtf8(Build(u"12.0.6562.5003")->GetContent()), Line("Subject", "Updated: Planning") + head +
                                                                  Line("Location", "Room 2007") + Dates(2) +
                                                                  Line("Busy Status", "Busy") + tail);
    EXPECT_EQ(ToUtf8(Build(u"14.0.7015.1000")->GetContent()),
              Line("Subject", "Updated: Planning") + head + Dates(3) + Line("Busy Status", "Busy") + tail);
    // The version is matched by its prefix: anything else is an unknown host.
    for (const std::u16string version : {u"15.0.4420.1017", u"", u"11", u"14.1", u" 11.0"}) {
        EXPECT_EQ(ToUtf8(Build(version)->GetContent()), Line("Subject", "Updated: Planning") + head + tail)
            << ToUtf8(version);
    }
}

TEST_F(MeetingTest, AnAllDayRequestShowsLowerCaseYesInsteadOfDates) {
    meeting.message->Set(0x8014000B, true).Set(0x801C000B, true).Set(0x802A000B, true);
    for (const std::u16string version : {u"11.0", u"12.0", u"14.0"}) {
        const std::string content = ToUtf8(Build(version)->GetContent());
        EXPECT_NE(content.find(Line("All Day Event", "yes")), std::string::npos) << content;
        EXPECT_EQ(content.find("Start Date"), std::string::npos) << content;
        EXPECT_EQ(content.find("End Date"), std::string::npos) << content;
    }
    meeting.message->Set(0x801C000B, false);
    const std::string content = ToUtf8(Build(u"12.0")->GetContent());
    EXPECT_EQ(content.find("All Day Event"), std::string::npos);
    EXPECT_NE(content.find(Dates(2)), std::string::npos);
}

// The 2010 location has no fixed tag: it comes from the request's calendar appointment.
TEST_F(MeetingTest, UnderTheLatestVersionTheLocationComesFromTheAppointment) {
    auto appointment = std::make_shared<FakeObject>();
    appointment->Set(u"Location", u"Room 2010");
    std::vector<Automation::Value> passed;
    meeting.object->methods[u"GetAssociatedAppointment"] = [&](std::span<const Automation::Value> args,
                                                               Automation::Value& result) {
        passed.assign(args.begin(), args.end());
        result = Automation::ObjectPtr(appointment);
        return kS_OK;
    };
    const std::string content = ToUtf8(Build(u"14.0")->GetContent());
    EXPECT_NE(content.find(Line("Location", "Room 2010") + Dates(3)), std::string::npos) << content;
    ASSERT_EQ(passed.size(), 1u);
    EXPECT_EQ(std::get<bool>(passed[0]), false) << "the appointment is not added to the calendar";
}

TEST_F(MeetingTest, WithoutMapiOnlyTheObjectModelFieldsRemain) {
    meeting.object->mapiObjectResult = kE_FAIL;
    EXPECT_EQ(ToUtf8(Build(u"12.0")->GetContent()),
              Line("Subject", "Updated: Planning") + Line("Categories", "Red") +
                  Line("From", "Ann (ann@x.org)") + Line("Importance", "Low"));
}

TEST_F(MeetingTest, TheHostsSummaryIsCutFromTheInvitation) {
    meeting.SetNativeBody("When: Monday 9:00\r\nWhere: Room 2\r\n\r\n*~*~*~*~*~*~*~*~*~*\r\n\r\nAgenda <1>",
                          Mapi::kNativeBodyPlainText);
    EXPECT_TRUE(Build(u"12.0")->GetContent().ends_with(u"Low<br/>\r<br>\r<br>Agenda&nbsp;&lt;1&gt;"));
    EXPECT_TRUE(pipeline->loads.empty());

    meeting.SetNativeBody("<p>When: Monday</p><p>*~*~*~*~*~*~*~*~*~*</p><p>Agenda</p>",
                          Mapi::kNativeBodyHtml);
    EXPECT_TRUE(Build(u"12.0")->GetContent().ends_with(u"[DOM]<p></p><p>Agenda</p>[/DOM]"));
    EXPECT_EQ(pipeline->codePages.back(), std::nullopt) << "the cleaned text is loaded as text";
}

TEST(Invitation, CleanUpRules) {
    const std::u16string sep = u"*~*~*~*~*~*~*~*~*~*";
    EXPECT_EQ(MeetingRequestWrapper::CleanInvitation(u"When: x\nWhere: y\nbody"), u"When: x\nWhere: y\nbody");
    EXPECT_EQ(MeetingRequestWrapper::CleanInvitation(u"Intro\nWhen: x\n" + sep + u"\nbody"),
              u"Intro\n\nbody");
    // A keyword after the separator stays, and so does a second separator.
    EXPECT_EQ(MeetingRequestWrapper::CleanInvitation(u"a " + sep + u" when " + sep), u"a  when " + sep);
    // "where" in lower case inside a word counts as well: the text is searched, not parsed.
    EXPECT_EQ(MeetingRequestWrapper::CleanInvitation(u"Somewhere When: x " + sep + u"!"), u"Some!");
}

} // namespace
} // namespace Tessarix
