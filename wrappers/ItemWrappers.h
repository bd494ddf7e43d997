#pragma once
// The seven item wrappers. Each holds the item (its Outlook interface) and renders it into one
// note: the user's selection alone when there is one, otherwise a header block of the item's
// fields followed by its body, with its attachments as resources.
#include <string>
#include <string_view>

#include "wrappers/Wrapper.h"

namespace Tessarix {

// _MailItem: "IPM.Note".
class MailWrapper final : public BaseWrapper {
public:
    explicit MailWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline = DefaultContentPipeline());
    ~MailWrapper() override;
    Notes::NotePtr BuildNote() override;
};

// _ContactItem: "IPM.Contact", rendered as a card with the contact picture.
class ContactWrapper final : public BaseWrapper {
public:
    explicit ContactWrapper(Automation::ObjectPtr item,
                            ContentPipelinePtr pipeline = DefaultContentPipeline());
    ~ContactWrapper() override;
    Notes::NotePtr BuildNote() override;

    // The CSS of the card's and the other fields' tables.
    static constexpr char16_t kTableStyle[] = u"border-collapse:collapse;vertical-align:top;font-size:10pt";

    // Removes every "<img"/"<IMG" tag, through its ">", whose text contains `reference`.
    static std::u16string RemovePictureTags(std::u16string html, std::u16string_view reference);
};

// _AppointmentItem: "IPM.Appointment" and the class of an exception to a recurring appointment.
class AppointmentWrapper final : public BaseWrapper {
public:
    explicit AppointmentWrapper(Automation::ObjectPtr item,
                                ContentPipelinePtr pipeline = DefaultContentPipeline());
    ~AppointmentWrapper() override;
    Notes::NotePtr BuildNote() override;

    // Every "Unknown;", then every "Unknown" removed: the host's unresolved attendees.
    static std::u16string RemoveUnknownAttendees(std::u16string attendees);
};

// _MeetingItem: "IPM.Schedule.Meeting.Request".
class MeetingRequestWrapper final : public BaseWrapper {
public:
    explicit MeetingRequestWrapper(Automation::ObjectPtr item,
                                   ContentPipelinePtr pipeline = DefaultContentPipeline());
    ~MeetingRequestWrapper() override;
    Notes::NotePtr BuildNote() override;

    // The host's Version by prefix: "11.0" 1, "12.0" 2, "14.0" 3, anything else 0.
    static int VersionSelector(std::u16string_view version);
    // Removes the host's when/where summary before "*~*~*~*~*~*~*~*~*~*" and the separator itself.
    static std::u16string CleanInvitation(std::u16string text);

private:
    // The calendar's appointment of the request, not added to the calendar; none on failure.
    Automation::ObjectPtr AssociatedAppointment();
};

// _TaskItem: "IPM.Task".
class TaskWrapper final : public BaseWrapper {
public:
    explicit TaskWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline = DefaultContentPipeline());
    ~TaskWrapper() override;
    Notes::NotePtr BuildNote() override;
};

// _JournalItem: "IPM.Activity".
class JournalWrapper final : public BaseWrapper {
public:
    explicit JournalWrapper(Automation::ObjectPtr item,
                            ContentPipelinePtr pipeline = DefaultContentPipeline());
    ~JournalWrapper() override;
    Notes::NotePtr BuildNote() override;
};

// _NoteItem: "IPM.StickyNote". Plain text, no MAPI body, no attachments.
class NoteWrapper final : public BaseWrapper {
public:
    explicit NoteWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline = DefaultContentPipeline());
    ~NoteWrapper() override;
    Notes::NotePtr BuildNote() override;
};

} // namespace Tessarix
