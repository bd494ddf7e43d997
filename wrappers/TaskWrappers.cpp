#include "wrappers/ItemWrappers.h"

#include "core/Format.h"
#include "core/Log.h"
#include "itemaccess/HtmlFragments.h"

namespace Tessarix {

namespace {

std::u16string DurationLine(std::optional<std::int32_t> minutes) {
    return minutes ? Fragments::DurationText(*minutes) : std::u16string();
}

} // namespace

// ---- TaskWrapper ----

TaskWrapper::TaskWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline)
    : BaseWrapper(u"TaskWrapper", std::move(item), std::move(pipeline)) {
    CallTracer tracer(u"TaskWrapper::Ctor");
}

TaskWrapper::~TaskWrapper() {
    CallTracer tracer(u"TaskWrapper::Dtor");
}

Notes::NotePtr TaskWrapper::BuildNote() {
    CallTracer tracer(u"TaskWrapper::BuildNote()");
    Item();
    if (auto selection = BuildSelectionNote())
        return selection;

    auto note = std::make_shared<Notes::CNote>();
    const std::u16string subject = ReadString(u"Subject");
    const std::u16string owner = ReadString(u"Owner");
    std::u16string header;
    Fragments::AppendHeaderLine(header, u"Subject", subject);
    Fragments::AppendHeaderLine(header, u"Owner", owner);
    Fragments::AppendHeaderLine(header, u"Categories", ReadString(u"Categories"));
    if (const auto complete = ReadBool(u"Complete"))
        Fragments::AppendHeaderLine(header, u"Complete", *complete ? u"Yes" : u"No");
    Fragments::AppendHeaderLine(header, u"Start Date",
                                Fragments::ItemDateText(ReadDate(u"StartDate"), kDateValueOnly));
    Fragments::AppendHeaderLine(header, u"Due Date",
                                Fragments::ItemDateText(ReadDate(u"DueDate"), kDateValueOnly));
    Fragments::AppendHeaderLine(header, u"Date Completed",
                                Fragments::ItemDateText(ReadDate(u"DateCompleted"), kDateValueOnly));
    Fragments::AppendHeaderLine(header, u"Importance",
                                Fragments::ImportanceText(ReadInt(u"Importance").value_or(-1)));
    Fragments::AppendHeaderLine(header, u"Actual Work", DurationLine(ReadInt(u"ActualWork")));
    Fragments::AppendHeaderLine(header, u"Total Work", DurationLine(ReadInt(u"TotalWork")));
    Fragments::AppendHeaderLine(header, u"Contact Names", ReadString(u"ContactNames"));
    Fragments::AppendHeaderLine(header, u"Mileage", ReadString(u"Mileage"));
    Fragments::AppendHeaderLine(header, u"Billing Information", ReadString(u"BillingInformation"));
    if (const auto percent = ReadInt(u"PercentComplete"))
        Fragments::AppendHeaderLine(header, u"Complete", Fragments::PercentText(*percent));
    // The status has no line of its own: "Complete" stands for it.
    if (const auto status = ReadInt(u"Status"))
        Log().Debug(Format(u"  Task status: %s", Fragments::TaskStatusText(*status)));

    AddAttribute(*note, Notes::kMetaAuthor, owner);
    return CompleteItemNote(note, header, subject);
}

// ---- JournalWrapper ----

JournalWrapper::JournalWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline)
    : BaseWrapper(u"JournalWrapper", std::move(item), std::move(pipeline)) {
    CallTracer tracer(u"JournalWrapper::Ctor");
}

JournalWrapper::~JournalWrapper() {
    CallTracer tracer(u"JournalWrapper::Dtor");
}

Notes::NotePtr JournalWrapper::BuildNote() {
    CallTracer tracer(u"JournalWrapper::BuildNote()");
    Item();
    if (auto selection = BuildSelectionNote())
        return selection;

    auto note = std::make_shared<Notes::CNote>();
    const std::u16string subject = ReadString(u"Subject");
    std::u16string header;
    Fragments::AppendHeaderLine(header, u"Subject", subject);
    Fragments::AppendHeaderLine(header, u"Categories", ReadString(u"Categories"));
    Fragments::AppendHeaderLine(header, u"Start Date",
                                Fragments::ItemDateText(ReadDate(u"Start"), kDateValueOnly));
    Fragments::AppendHeaderLine(header, u"End Date",
                                Fragments::ItemDateText(ReadDate(u"End"), kDateValueOnly));
    Fragments::AppendHeaderLine(header, u"Duration", DurationLine(ReadInt(u"Duration")));
    Fragments::AppendHeaderLine(header, u"Companies", ReadString(u"Companies"));

    return CompleteItemNote(note, header, subject);
}

// ---- NoteWrapper ----

NoteWrapper::NoteWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline)
    : BaseWrapper(u"NoteWrapper", std::move(item), std::move(pipeline)) {
    CallTracer tracer(u"NoteWrapper::Ctor");
}

NoteWrapper::~NoteWrapper() {
    CallTracer tracer(u"NoteWrapper::Dtor");
}

Notes::NotePtr NoteWrapper::BuildNote() {
    CallTracer tracer(u"NoteWrapper::BuildNote()");
    Item();
    // A sticky note has no attachments to embed, not even for a selection.
    if (auto selection = BuildSelectionNote(false))
        return selection;

    auto note = std::make_shared<Notes::CNote>();
    const std::u16string text = EscapeHtml(ReadString(u"Body"));
    std::u16string header;
    Fragments::AppendHeaderLine(header, u"Categories", ReadString(u"Categories"));
    Fragments::AppendHeaderLine(header, u"Creation Time",
                                Fragments::ItemDateText(ReadDate(u"CreationTime"), kDateAndTime));
    header += u"<hr /><br>";

    note->SetContent(header + text);
    note->SetTitle(ReadString(u"Subject"));
    return note;
}

} // namespace Tessarix
