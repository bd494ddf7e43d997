#include "wrappers/ItemWrappers.h"

#include "core/Format.h"
#include "core/Log.h"
#include "itemaccess/HtmlFragments.h"
#include "itemaccess/MapiProperties.h"

namespace Tessarix {

namespace {

void RemoveAll(std::u16string& text, std::u16string_view part) {
    for (std::size_t at = text.find(part); at != std::u16string::npos; at = text.find(part, at))
        text.erase(at, part.size());
}

constexpr std::u16string_view kInvitationSeparator = u"*~*~*~*~*~*~*~*~*~*";
constexpr std::u16string_view kUpdatedPrefix = u"Updated: ";

// Named properties of a meeting request by the host's version (selector 1, 2, 3), used as fixed
// tags without resolving their names; 0: not known for that version.
constexpr Mapi::PropTag kLocationTags[] = {0, Mapi::kMeetingLocation11, Mapi::kMeetingLocation12, 0};
constexpr Mapi::PropTag kAllDayTags[] = {0, Mapi::kMeetingAllDay11, Mapi::kMeetingAllDay12,
                                         Mapi::kMeetingAllDay14};
constexpr Mapi::PropTag kBusyStatusTags[] = {0, Mapi::kMeetingBusyStatus11, Mapi::kMeetingBusyStatus12And14,
                                             Mapi::kMeetingBusyStatus12And14};

constexpr std::uint32_t kNoLong = 0xFFFFFFFF;

// A MAPI date for a header line; an absent date has no line.
std::u16string MeetingDateText(Mapi::IProp* message, Mapi::PropTag tag, int selector) {
    const FileTime time = Global::GetTimeProperty(message, tag, FileTime{});
    if (time == FileTime{})
        return {};
    return Fragments::FormatLocalDateTime(time, selector);
}

} // namespace

// ---- AppointmentWrapper ----

AppointmentWrapper::AppointmentWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline)
    : BaseWrapper(u"AppointmentWrapper", std::move(item), std::move(pipeline)) {
    CallTracer tracer(u"AppointmentWrapper::Ctor");
}

AppointmentWrapper::~AppointmentWrapper() {
    CallTracer tracer(u"AppointmentWrapper::Dtor");
}

std::u16string AppointmentWrapper::RemoveUnknownAttendees(std::u16string attendees) {
    RemoveAll(attendees, u"Unknown;");
    RemoveAll(attendees, u"Unknown");
    return attendees;
}

Notes::NotePtr AppointmentWrapper::BuildNote() {
    CallTracer tracer(u"AppointmentWrapper::BuildNote()");
    Item();
    if (auto selection = BuildSelectionNote())
        return selection;

    auto note = std::make_shared<Notes::CNote>();
    const std::u16string subject = ReadString(u"Subject");
    std::u16string header;
    Fragments::AppendHeaderLine(header, u"Subject", subject);
    Fragments::AppendHeaderLine(header, u"Location", ReadString(u"Location"));
    Fragments::AppendHeaderLine(header, u"Start Date",
                                Fragments::ItemDateText(ReadDate(u"Start"), kDateAndTime));
    Fragments::AppendHeaderLine(header, u"End Date", Fragments::ItemDateText(ReadDate(u"End"), kDateAndTime));
    Fragments::AppendHeaderLine(header, u"Busy Status",
                                Fragments::BusyStatusText(ReadInt(u"BusyStatus").value_or(-1)));
    if (const auto allDay = ReadBool(u"AllDayEvent"))
        Fragments::AppendHeaderLine(header, u"All Day Event", *allDay ? u"Yes" : u"No");
    Fragments::AppendHeaderLine(header, u"Importance",
                                Fragments::ImportanceText(ReadInt(u"Importance").value_or(-1)));
    Fragments::AppendHeaderLine(header, u"Categories", ReadString(u"Categories"));
    Fragments::AppendHeaderLine(header, u"Required",
                                RemoveUnknownAttendees(ReadString(u"RequiredAttendees")));

    return CompleteItemNote(note, header, subject);
}

// ---- MeetingRequestWrapper ----

MeetingRequestWrapper::MeetingRequestWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline)
    : BaseWrapper(u"MeetingRequestWrapper", std::move(item), std::move(pipeline)) {
    CallTracer tracer(u"MeetingRequestWrapper::Ctor");
}

MeetingRequestWrapper::~MeetingRequestWrapper() {
    CallTracer tracer(u"MeetingRequestWrapper::Dtor");
}

int MeetingRequestWrapper::VersionSelector(std::u16string_view version) {
    if (version.starts_with(u"11.0"))
        return 1;
    if (version.starts_with(u"12.0"))
        return 2;
    if (version.starts_with(u"14.0"))
        return 3;
    return 0;
}

std::u16string MeetingRequestWrapper::CleanInvitation(std::u16string text) {
    if (text.find(kInvitationSeparator) == std::u16string::npos)
        return text;
    for (const std::u16string_view keyword : {u"where", u"Where", u"when", u"When"}) {
        const std::size_t separator = text.find(kInvitationSeparator);
        const std::size_t at = text.find(keyword);
        if (at != std::u16string::npos && at <= separator)
            text.erase(at, separator - at);
    }
    text.erase(text.find(kInvitationSeparator), kInvitationSeparator.size());
    return text;
}

Notes::NotePtr MeetingRequestWrapper::BuildNote() {
    CallTracer tracer(u"MeetingRequestWrapper::BuildNote()");
    Item();
    if (auto selection = BuildSelectionNote())
        return selection;

    auto note = std::make_shared<Notes::CNote>();
    int selector = 0;
    if (const auto application = ReadObject(u"Application")) {
        Automation::Value version;
        if (!Failed(application->Get(u"Version", version))) {
            if (const auto* text = std::get_if<std::u16string>(&version))
                selector = VersionSelector(*text);
        }
    }
    Log().Debug(Format(u"  Host version selector: %d", selector));

    const auto attachments = ReadObject(u"Attachments");
    const auto message = OpenMapiMessage();
    Mapi::IProp* const mapi = message.get();

    std::u16string subject = ReadString(u"Subject");
    if (selector == 1 && subject.starts_with(kUpdatedPrefix))
        subject.erase(0, kUpdatedPrefix.size());

    std::u16string header;
    Fragments::AppendHeaderLine(header, u"Subject", subject);
    Fragments::AppendHeaderLine(header, u"Categories", ReadString(u"Categories"));
    Fragments::AppendHeaderLine(header, u"From",
                                ReadString(u"SenderName") + u" (" + ReadString(u"SenderEmailAddress") + u")");
    Fragments::AppendHeaderLine(header, u"Required", Global::GetStringProperty(mapi, Mapi::kPR_DISPLAY_TO));
    if (selector != 0) {
        std::u16string location;
        if (kLocationTags[selector] != 0) {
            location = Global::GetStringProperty(mapi, kLocationTags[selector]);
        } else if (const auto appointment = AssociatedAppointment()) {
            Automation::Value value;
            if (!Failed(appointment->Get(u"Location", value)) &&
                std::holds_alternative<std::u16string>(value))
                location = std::get<std::u16string>(value);
        }
        Fragments::AppendHeaderLine(header, u"Location", location);
        if (Global::GetBoolProperty(mapi, kAllDayTags[selector], false)) {
            Fragments::AppendHeaderLine(header, u"All Day Event", u"yes");
        } else {
            Fragments::AppendHeaderLine(header, u"Start Date",
                                        MeetingDateText(mapi, Mapi::kPR_START_DATE, selector));
            Fragments::AppendHeaderLine(header, u"End Date",
                                        MeetingDateText(mapi, Mapi::kPR_END_DATE, selector));
        }
        const auto busy =
            static_cast<std::int32_t>(Global::GetLongProperty(mapi, kBusyStatusTags[selector], kNoLong));
        Fragments::AppendHeaderLine(header, u"Busy Status", Fragments::BusyStatusText(busy));
    }
    Fragments::AppendHeaderLine(header, u"Companies", ReadString(u"Companies"));
    Fragments::AppendHeaderLine(header, u"Importance",
                                Fragments::ImportanceText(ReadInt(u"Importance").value_or(-1)));

    return CompleteItemNote(note, header, subject, attachments.get(), mapi,
                            &MeetingRequestWrapper::CleanInvitation);
}

Automation::ObjectPtr MeetingRequestWrapper::AssociatedAppointment() {
    Automation::Value result;
    const Automation::Value addToCalendar[] = {false};
    if (const HResult hr = Item().Call(u"GetAssociatedAppointment", addToCalendar, result); Failed(hr)) {
        Log().Warning(Format(u"MeetingRequestWrapper: GetAssociatedAppointment failed (0x%08X)",
                             static_cast<std::uint32_t>(hr)));
        return nullptr;
    }
    const auto* object = std::get_if<Automation::ObjectPtr>(&result);
    return object ? *object : nullptr;
}

} // namespace Tessarix
