#include <gtest/gtest.h>

#include "core/Utils.h"
#include "wrappers/ItemWrappers.h"
#include "wrappers/WrapperTestSupport.h"

namespace Tessarix {
namespace {

using Testing::FakeItem;
using Testing::FileAttachment;
using Testing::ItemLog;
using Testing::Line;
using Testing::NoteView;
using Testing::View;

constexpr AutomationDate kMonday{40609.0};
constexpr AutomationDate kFriday{40613.0};
constexpr AutomationDate kNoDate{949998.0};

std::string DateOnly(AutomationDate date) {
    return ToUtf8(FormatDateTime(date, kDateValueOnly));
}

struct TaskTest : Testing::WrapperTest {
    FakeItem task{Outlook::kIID_TaskItem};

    TaskTest() {
        task.Set(u"Subject", u"Write report")
            .Set(u"Owner", u"Ann")
            .Set(u"Categories", u"")
            .Set(u"Complete", false)
            .Set(u"StartDate", kMonday)
            .Set(u"DueDate", kFriday)
            .Set(u"DateCompleted", kNoDate)
            .Set(u"Importance", std::int32_t{2})
            .Set(u"ActualWork", std::int32_t{1})
            .Set(u"TotalWork", std::int32_t{90})
            .Set(u"ContactNames", u"Bob")
            .Set(u"Mileage", u"")
            .Set(u"BillingInformation", u"")
            .Set(u"PercentComplete", std::int32_t{50})
            .Set(u"Status", std::int32_t{1})
            .Set(u"Body", u"")
            .SetAttachments({});
    }
};

TEST_F(TaskTest, ADoneTaskWithoutOwner) {
    task.Set(u"Complete", true)
        .Set(u"Owner", u"")
        .Set(u"DateCompleted", kFriday)
        .Set(u"ActualWork", std::int32_t{0})
        .Set(u"PercentComplete", std::int32_t{100})
        .Set(u"Mileage", u"12 km")
        .Set(u"BillingInformation", u"ACME");
    task.object->failures[u"TotalWork"] = kE_FAIL;
    ItemLog log;
    const auto note = TaskWrapper(task.object, pipeline).BuildNote();
    EXPECT_EQ(ToUtf8(note->GetContent()),
              Line("Subject", "Write report") + Line("Complete", "Yes") +
                  Line("Start Date", DateOnly(kMonday)) + Line("Due Date", DateOnly(kFriday)) +
                  Line("Date Completed", DateOnly(kFriday)) + Line("Importance", "High") +
                  Line("Actual Work", "0  minutes") + Line("Contact Names", "Bob") +
                  Line("Mileage", "12 km") + Line("Billing Information", "ACME") + Line("Complete", "100%"));
    EXPECT_TRUE(note->GetMetadata().empty());
    EXPECT_TRUE(Testing::Contains(log.Messages(), "Debug:   Task status: In Progress"));
}

struct StickyNoteTest : Testing::WrapperTest {
    FakeItem sticky{Outlook::kIID_NoteItem};

    StickyNoteTest() {
        sticky.Set(u"Subject", u"Buy milk")
            .Set(u"Body", u"Buy milk\r\n2 <b>litres</b> & eggs")
            .Set(u"Categories", u"")
            .Set(u"CreationTime", AutomationDate{40609.5});
    }
};

TEST_F(StickyNoteTest, TheTextIsConvertedWithoutLoadingOrAttachments) {
    ItemLog log;
    const auto note = NoteWrapper(sticky.object, pipeline).BuildNote();
    EXPECT_EQ(View(*note),
              (NoteView{"Buy milk",
                        Line("Creation Time", ToUtf8(FormatDateTime(AutomationDate{40609.5}, kDateAndTime))) +
                            "<hr /><br>Buy&nbsp;milk\r<br>2&nbsp;&lt;b&gt;litres&lt;/b&gt;&nbsp;&&nbsp;eggs",
                        {},
                        {}}));
    EXPECT_TRUE(pipeline->loads.empty());
    EXPECT_TRUE(sticky.object->mapiRequests.empty());
    EXPECT_FALSE(Testing::WasRead(*sticky.object, u"Attachments"));
    EXPECT_FALSE(Testing::Contains(log.Messages(), "Info:   Count of attachments: 0"));
}

TEST_F(StickyNoteTest, ASelectionIsLoadedAndNothingElseIsRead) {
    Select(u"milk");
    const auto note = NoteWrapper(sticky.object, pipeline).BuildNote();
    EXPECT_EQ(View(*note), (NoteView{"", "[DOM]milk[/DOM]", {}, {}}));
    EXPECT_TRUE(sticky.object->gets.empty());
}

TEST_F(TaskTest, ASelectionInATaskEmbedsOnlyWhatItShows) {
    Select(u"<img src='file:///C:/Outlook/Attachments/plan.png'>");
    task.SetAttachments(
        {FileAttachment({.fileName = u"plan.png", .content = "PNG", .mime = u"image/png"}),
         FileAttachment({.fileName = u"other.png", .content = "PNG2", .mime = u"image/png"})});
    const auto note = TaskWrapper(task.object, pipeline).BuildNote();
    EXPECT_EQ(View(*note),
              (NoteView{"",
                        "[DOM]<img src='file:///C:/Outlook/Attachments/plan.png'>[/DOM]",
                        {},
                        {{"image/png", "file:///C:/Outlook/Attachments/plan.png", "plan.png", "PNG"}}}));
}

} // namespace
} // namespace Tessarix
