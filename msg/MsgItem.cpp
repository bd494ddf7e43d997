#include "msg/MsgItem.h"

#include <cmath>
#include <fstream>
#include <functional>
#include <map>

#include "core/CodePage.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/Utf.h"
#include "core/Utils.h"
#include "msg/CompressedRtf.h"
#include "msg/MsgReader.h"
#include "msg/TextBody.h"

namespace Tessarix::Msg {
namespace {

using Automation::Value;
using Getter = std::function<HResult(const MsgMessage&, Value&)>;

// Property sets of the named properties the object model reads.
constexpr Guid kPSETID_Appointment{0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Task{0x00062003, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Address{0x00062004, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Common{0x00062008, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Log{0x0006200A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

constexpr std::uint32_t kMSGFLAG_UNSENT = 0x8;
constexpr HResult kDISP_E_BADPARAMCOUNT = HResultFrom(0x8002000Eu);
constexpr HResult kSTG_E_WRITEFAULT = HResultFrom(0x8003001Du);

std::int64_t DaysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe);
}

const std::int64_t kOleEpoch = DaysFromCivil(1899, 12, 30);

AutomationDate EmptyDate() {
    return {static_cast<double>(DaysFromCivil(4501, 1, 1) - kOleEpoch)};
}

std::u16string Join(const std::vector<std::u16string>& items, std::u16string_view separator) {
    std::u16string out;
    for (const auto& item : items) {
        if (!out.empty())
            out += separator;
        out += item;
    }
    return out;
}

// Where a name's value comes from: a tag, or a named property of a set.
struct Source {
    PropTag tag = 0;
    const Guid* set = nullptr;
    std::uint32_t lid = 0;
    std::u16string_view name; // a string-named property

    std::optional<PropTag> Resolve(const MsgProps& props, std::uint16_t type) const {
        if (!set)
            return MakeTag(PropId(tag), type);
        return props.NamedTag(name.empty() ? NamedProperty::Number(*set, lid)
                                           : NamedProperty::String(*set, std::u16string(name)),
                              type);
    }
};
Source Tag(PropTag tag) {
    return {tag, nullptr, 0, {}};
}
Source Named(const Guid& set, std::uint32_t lid) {
    return {0, &set, lid, {}};
}
Source Named(const Guid& set, std::u16string_view name) {
    return {0, &set, 0, name};
}

std::optional<Msg::Value> Read(const MsgProps& props, const Source& source, std::uint16_t type) {
    const auto tag = source.Resolve(props, type);
    Msg::Value value;
    if (!tag || Failed(props.GetValue(*tag, value)))
        return std::nullopt;
    return value;
}

std::u16string ReadText(const MsgProps& props, const Source& source) {
    for (const std::uint16_t type : {kPT_UNICODE, kPT_STRING8})
        if (const auto value = Read(props, source, type))
            return value->AsString(props.CodePage()).value_or(u"");
    return {};
}

Getter Text(Source source) {
    return [source](const MsgMessage& m, Value& out) {
        out = ReadText(*m.Props(), source);
        return kS_OK;
    };
}

Getter Texts(Source source, std::u16string separator) {
    return [source, separator](const MsgMessage& m, Value& out) {
        const MsgProps& props = *m.Props();
        std::vector<std::u16string> items;
        for (const std::uint16_t type : {kMV_FLAG | kPT_UNICODE, kMV_FLAG | kPT_STRING8})
            if (const auto value = Read(props, source, static_cast<std::uint16_t>(type))) {
                items = value->AsStrings(props.CodePage()).value_or(items);
                break;
            }
        out = Join(items, separator);
        return kS_OK;
    };
}

Getter Long(Source source, std::int32_t absent = 0) {
    return [source, absent](const MsgMessage& m, Value& out) {
        const auto value = Read(*m.Props(), source, kPT_LONG);
        out = value ? static_cast<std::int32_t>(value->AsLong().value_or(0)) : absent;
        return kS_OK;
    };
}

Getter Flag(Source source) {
    return [source](const MsgMessage& m, Value& out) {
        const auto value = Read(*m.Props(), source, kPT_BOOLEAN);
        out = value && value->AsBool().value_or(false);
        return kS_OK;
    };
}

// How a stored date becomes the date the host shows.
enum class Stored {
    Instant,  // a UTC instant, shown in the local time zone
    Local,    // local time stored as it is (task dates, a contact's local birthday)
    LocalDay, // the UTC instant of a local midnight in the item writer's zone: a calendar day
};

struct DateSource {
    Source source;
    Stored stored = Stored::Instant;
};

std::optional<AutomationDate> Convert(FileTime time, Stored stored, std::optional<std::int32_t> writerBias) {
    switch (stored) {
    case Stored::Local:
        return LocalFileTimeToAutomationDate(time);
    case Stored::LocalDay:
        return WritersDay(time, writerBias);
    default:
        return ToAutomationDate(time);
    }
}

// The UTC bias in minutes (UTC = local + bias) of the zone an appointment was written in.
std::optional<std::int32_t> WriterBias(const MsgProps& props) {
    const auto zone = Read(props, Named(kPSETID_Appointment, 0x8233), kPT_BINARY); // PidLidTimeZoneStruct
    const auto bytes = zone ? zone->AsBinary() : std::nullopt;
    if (!bytes || bytes->size() < 4)
        return std::nullopt;
    return static_cast<std::int32_t>(ReadLe32(bytes->data()));
}

// The first of `sources` that the item stores, as the host shows it; the empty date when none.
AutomationDate FirstDate(const MsgProps& props, const std::vector<DateSource>& sources,
                         std::optional<std::int32_t> writerBias) {
    for (const auto& [source, stored] : sources)
        if (const auto value = Read(props, source, kPT_SYSTIME))
            return Convert(value->AsTime().value_or(FileTime{}), stored, writerBias).value_or(EmptyDate());
    return EmptyDate();
}

Getter Date(std::vector<DateSource> sources) {
    return [sources](const MsgMessage& m, Value& out) {
        out = FirstDate(*m.Props(), sources, std::nullopt);
        return kS_OK;
    };
}

// An appointment's start or end: an instant, or for an all-day event the writer's calendar day.
Getter EventTime(std::vector<Source> sources) {
    return [sources](const MsgMessage& m, Value& out) {
        const MsgProps& props = *m.Props();
        const auto allDay = Read(props, Named(kPSETID_Appointment, 0x8215), kPT_BOOLEAN);
        const Stored stored = allDay && allDay->AsBool().value_or(false) ? Stored::LocalDay : Stored::Instant;
        std::vector<DateSource> dated;
        for (const auto& source : sources)
            dated.push_back({source, stored});
        out = FirstDate(props, dated, WriterBias(props));
        return kS_OK;
    };
}

// PR_DISPLAY_TO and its kin, else the recipients of that type by display name.
Getter Recipients(PropTag display, std::uint32_t type) {
    return [display, type](const MsgMessage& m, Value& out) {
        if (m.Props()->Has(display) || m.Props()->Has(MakeTag(PropId(display), kPT_STRING8))) {
            out = ReadText(*m.Props(), Tag(display));
            return kS_OK;
        }
        std::vector<std::u16string> names;
        for (const auto& recipient : m.Recipients())
            if (recipient->Props()->Long(0x0C150003).value_or(0) == type)
                names.push_back(ReadText(*recipient->Props(), Tag(0x3001001F)));
        out = Join(names, u"; ");
        return kS_OK;
    };
}

// Text as the host turns it into HTML: markup escaped, each line end a <br>.
std::u16string TextAsHtml(std::u16string_view text) {
    std::u16string out;
    for (std::size_t start = 0; start <= text.size();) {
        std::size_t end = text.find(u'\n', start);
        const bool last = end == std::u16string_view::npos;
        if (last)
            end = text.size();
        std::u16string_view line = text.substr(start, end - start);
        while (!line.empty() && line.back() == u'\r')
            line.remove_suffix(1);
        out += EscapeMarkup(line);
        if (last)
            break;
        out += u"<br>\r\n";
        start = end + 1;
    }
    return out;
}

// The HTML body as stored: PR_HTML in the body's code page, else PR_BODY_HTML as text.
std::optional<std::u16string> StoredHtml(const MsgMessage& m) {
    const MsgProps& props = *m.Props();
    if (const auto html = props.Binary(Mapi::kPR_HTML)) {
        const std::uint32_t cpid = props.Long(Mapi::kPR_INTERNET_CPID).value_or(m.CodePage());
        return DecodeString8(*html, CodePage::IsSupported(cpid) ? cpid : m.CodePage());
    }
    return props.String(MakeTag(0x1013, kPT_UNICODE));
}

HResult HtmlBody(const MsgMessage& m, Value& out) {
    if (auto html = StoredHtml(m)) {
        out = std::move(*html);
        return kS_OK;
    }
    // Without an HTML body the host converts the text body.
    out = u"<html><body>" + TextAsHtml(ReadText(*m.Props(), Tag(0x1000001F))) + u"</body></html>";
    return kS_OK;
}

// PR_BODY, else the text the host derives from the HTML body, else from the RTF body.
HResult TextBody(const MsgMessage& m, Value& out) {
    const MsgProps& props = *m.Props();
    if (const auto text = props.String(0x1000001F)) {
        out = *text;
        return kS_OK;
    }
    out = std::u16string();
    if (const auto html = StoredHtml(m)) {
        out = HtmlToText(*html);
    } else if (const auto compressed = props.Binary(Mapi::kPR_RTF_COMPRESSED)) {
        try {
            out = RtfToText(Rtf::Decompress(*compressed));
        } catch (const Rtf::CompressedRtfError& e) {
            Log().Warning(detail::LogLiteral(props.FileName() + u": no text body, its RTF body is broken (" +
                                             FromUtf8(e.what()) + u")"));
        }
    }
    return kS_OK;
}

HResult Sent(const MsgMessage& m, Value& out) {
    if (const auto flags = m.Props()->Long(0x0E070003))
        out = (*flags & kMSGFLAG_UNSENT) == 0;
    else
        out = m.Props()->Has(0x00390040); // no flags: sent when it has a submit time
    return kS_OK;
}

HResult PercentComplete(const MsgMessage& m, Value& out) {
    const auto value = Read(*m.Props(), Named(kPSETID_Task, 0x8102), kPT_DOUBLE);
    const double fraction = value ? value->AsDouble().value_or(0) : 0;
    out = static_cast<std::int32_t>(std::lround(fraction * 100));
    return kS_OK;
}

// The host that a saved item is rendered as coming from: Outlook 2010, the newest version whose
// store numbering the meeting-request renderer knows.
constexpr std::u16string_view kHostVersion = u"14.0.0.0";

class Application final : public Automation::IObject {
public:
    HResult Get(std::u16string_view name, Value& result) override {
        if (name != u"Version")
            return Automation::kDISP_E_UNKNOWNNAME;
        result = std::u16string(kHostVersion);
        return kS_OK;
    }
    HResult Call(std::u16string_view, std::span<const Value>, Value&) override {
        return Automation::kDISP_E_UNKNOWNNAME;
    }
    bool Implements(const Guid&) override { return false; }
    HResult GetMapiObject(const Guid&, std::shared_ptr<Mapi::IProp>& object) override {
        object.reset();
        return Automation::kDISP_E_UNKNOWNNAME;
    }
};

// The named properties behind the tags a host's store gives a meeting request's fields. A saved
// item numbers its named properties in its own name-id map, so these tags are resolved by name.
struct HostTag {
    PropTag tag;
    std::uint32_t lids[2]; // in PSETID_Appointment, the first one present answers; 0: none
};
// A request's own busy status is the tentative placeholder until it is answered; the status the
// organizer gave the meeting is what a reader of the note wants.
constexpr std::uint32_t kBusyStatusLids[2] = {0x8224, 0x8205}; // intended, else its own
constexpr HostTag kHostTags[] = {
    {Mapi::kMeetingLocation11, {0x8208, 0}},
    {Mapi::kMeetingLocation12, {0x8208, 0}},
    {Mapi::kMeetingAllDay11, {0x8215, 0}},
    {Mapi::kMeetingAllDay12, {0x8215, 0}},
    {Mapi::kMeetingAllDay14, {0x8215, 0}},
    {Mapi::kMeetingBusyStatus11, {kBusyStatusLids[0], kBusyStatusLids[1]}},
    {Mapi::kMeetingBusyStatus12And14, {kBusyStatusLids[0], kBusyStatusLids[1]}},
};

// The message's MAPI object as the host hands it out: its own properties, with the host's fixed
// named-property tags answering the properties they stand for there.
class HostMessageProps final : public Mapi::IProp {
public:
    explicit HostMessageProps(std::shared_ptr<MsgProps> props) : props_(std::move(props)) {}

    HResult GetProp(PropTag tag, Mapi::PropValue& value) override {
        for (const HostTag& host : kHostTags) {
            if (host.tag != tag)
                continue;
            value = std::monostate{};
            for (const std::uint32_t lid : host.lids) {
                const auto own = lid ? props_->NamedTag(NamedProperty::Number(kPSETID_Appointment, lid),
                                                        Mapi::PropType(tag))
                                     : std::nullopt;
                if (own && props_->Has(*own))
                    return props_->GetProp(*own, value);
            }
            return kMAPI_E_NOT_FOUND;
        }
        return props_->GetProp(tag, value);
    }
    HResult OpenStream(PropTag tag, std::shared_ptr<Mapi::IPropStream>& stream) override {
        return props_->OpenStream(tag, stream);
    }
    HResult OpenStorage(PropTag tag, std::shared_ptr<Mapi::IPropStorage>& storage) override {
        return props_->OpenStorage(tag, storage);
    }
    HResult WrapCompressedRtf(Mapi::IPropStream& compressed, std::uint32_t codePage,
                              Mapi::NativeBody& body) override {
        return props_->WrapCompressedRtf(compressed, codePage, body);
    }

private:
    std::shared_ptr<MsgProps> props_;
};

class AttachmentObject final : public Automation::IObject {
public:
    AttachmentObject(std::shared_ptr<MsgAttachment> attachment, std::int32_t index)
        : attachment_(std::move(attachment)), index_(index) {}

    HResult Get(std::u16string_view name, Value& result) override {
        const MsgProps& props = *attachment_->Props();
        if (name == u"FileName") {
            result = FileName();
        } else if (name == u"DisplayName") {
            const std::u16string display = ReadText(props, Tag(0x3001001F));
            result = display.empty() ? FileName() : display;
        } else if (name == u"Index") {
            result = index_;
        } else if (name == u"Position") {
            result = static_cast<std::int32_t>(props.Long(Mapi::kPR_RENDERING_POSITION).value_or(0xFFFFFFFF));
        } else if (name == u"Size") {
            result = static_cast<std::int32_t>(props.Long(Mapi::kPR_ATTACH_SIZE).value_or(0));
        } else if (name == u"Type") {
            result = static_cast<std::int32_t>(attachment_->Method());
        } else {
            return Automation::kDISP_E_UNKNOWNNAME;
        }
        return kS_OK;
    }

    HResult Call(std::u16string_view name, std::span<const Value> args, Value& result) override {
        if (name != u"SaveAsFile")
            return Automation::kDISP_E_UNKNOWNNAME;
        if (args.size() != 1)
            return kDISP_E_BADPARAMCOUNT;
        const auto* path = std::get_if<std::u16string>(&args[0]);
        if (!path)
            return Automation::kDISP_E_TYPEMISMATCH;
        result = std::monostate{};
        return SaveAsFile(std::filesystem::path(ToUtf8(*path)));
    }

    bool Implements(const Guid&) override { return false; }

    HResult GetMapiObject(const Guid& iid, std::shared_ptr<Mapi::IProp>& object) override {
        object.reset();
        if (iid == Mapi::kIID_IAttachment || iid == Mapi::kIID_IMAPIProp)
            object = attachment_->Props();
        return kS_OK;
    }

private:
    std::u16string FileName() {
        const MsgProps& props = *attachment_->Props();
        for (const PropTag tag :
             {Mapi::kPR_ATTACH_LONG_FILENAME, Mapi::kPR_ATTACH_FILENAME, PropTag{0x3001001F}})
            if (auto text = ReadText(props, Tag(tag)); !text.empty())
                return text;
        return {};
    }

    HResult SaveAsFile(const std::filesystem::path& path) {
        try {
            if (attachment_->Method() == Mapi::kATTACH_EMBEDDED_MSG) {
                if (const auto message = attachment_->EmbeddedMessage()) {
                    message->SaveAs(path);
                    return kS_OK;
                }
            }
            std::shared_ptr<Mapi::IPropStream> stream;
            HResult hr = kMAPI_E_NOT_FOUND;
            if (attachment_->Method() == Mapi::kATTACH_OLE) {
                std::shared_ptr<Mapi::IPropStorage> storage;
                hr = attachment_->Props()->OpenStorage(Mapi::kPR_ATTACH_DATA_OBJ, storage);
                if (!Failed(hr))
                    hr = storage->OpenStream(u"CONTENTS", stream);
            } else {
                hr = attachment_->Props()->OpenStream(Mapi::kPR_ATTACH_DATA_BIN, stream);
            }
            if (Failed(hr))
                return hr;
            StringUTF8 bytes;
            if (const HResult read = Mapi::ReadWholeStream(*stream, bytes); Failed(read))
                return read;
            std::ofstream file(path, std::ios::binary | std::ios::trunc);
            file.write(bytes.Data(), bytes.Length());
            return file.good() ? kS_OK : kSTG_E_WRITEFAULT;
        } catch (const MsgFileError& e) {
            Log().Error(u"Attachment.SaveAsFile: " + detail::LogLiteral(e.GetMessage()));
            return kE_FAIL;
        }
    }

    std::shared_ptr<MsgAttachment> attachment_;
    std::int32_t index_;
};

class AttachmentsObject final : public Automation::IObject {
public:
    explicit AttachmentsObject(MessagePtr message) : message_(std::move(message)) {}

    HResult Get(std::u16string_view name, Value& result) override {
        if (name != u"Count")
            return Automation::kDISP_E_UNKNOWNNAME;
        result = static_cast<std::int32_t>(message_->Attachments().size());
        return kS_OK;
    }
    HResult Call(std::u16string_view name, std::span<const Value> args, Value& result) override {
        if (name != u"Item")
            return Automation::kDISP_E_UNKNOWNNAME;
        if (args.size() != 1)
            return kDISP_E_BADPARAMCOUNT;
        const auto index = Automation::TryAsInt(args[0]);
        if (!index)
            return Automation::kDISP_E_TYPEMISMATCH;
        const auto& attachments = message_->Attachments();
        if (*index < 1 || static_cast<std::size_t>(*index) > attachments.size())
            return kE_INVALIDARG;
        result =
            std::make_shared<AttachmentObject>(attachments[static_cast<std::size_t>(*index - 1)], *index);
        return kS_OK;
    }
    bool Implements(const Guid&) override { return false; }
    HResult GetMapiObject(const Guid&, std::shared_ptr<Mapi::IProp>& object) override {
        object.reset();
        return Automation::kDISP_E_UNKNOWNNAME;
    }

private:
    MessagePtr message_;
};

const std::map<std::u16string_view, Getter>& Names() {
    static const std::map<std::u16string_view, Getter> names = [] {
        std::map<std::u16string_view, Getter> n;
        const auto& A = kPSETID_Address;
        const auto& C = kPSETID_Common;
        const auto& T = kPSETID_Task;
        // Every item.
        n[u"MessageClass"] = Text(Tag(0x001A001F));
        n[u"Subject"] = Text(Tag(0x0037001F));
        n[u"Body"] = TextBody;
        n[u"HTMLBody"] = HtmlBody;
        n[u"Importance"] = Long(Tag(0x00170003), 1);
        n[u"Categories"] = Texts(Named(kPS_PUBLIC_STRINGS, u"Keywords"), u", ");
        n[u"CreationTime"] = Date({{Tag(0x30070040)}});
        n[u"Companies"] = Texts(Named(C, 0x8539), u"; ");
        n[u"Mileage"] = Text(Named(C, 0x8534));
        n[u"BillingInformation"] = Text(Named(C, 0x8535));
        // Mail and meeting request.
        n[u"SenderName"] = Text(Tag(0x0C1A001F));
        n[u"SenderEmailAddress"] = Text(Tag(0x0C1F001F));
        n[u"To"] = Recipients(0x0E04001F, 1);
        n[u"CC"] = Recipients(0x0E03001F, 2);
        n[u"BCC"] = Recipients(0x0E02001F, 3);
        n[u"Sent"] = Sent;
        n[u"SentOn"] = Date({{Tag(0x00390040)}});
        // Appointment.
        n[u"Location"] = Text(Named(kPSETID_Appointment, 0x8208));
        n[u"Start"] =
            EventTime({Named(kPSETID_Appointment, 0x820D), Named(kPSETID_Log, 0x8706), Tag(0x00600040)});
        n[u"End"] =
            EventTime({Named(kPSETID_Appointment, 0x820E), Named(kPSETID_Log, 0x8708), Tag(0x00610040)});
        n[u"BusyStatus"] = Long(Named(kPSETID_Appointment, 0x8205));
        n[u"AllDayEvent"] = Flag(Named(kPSETID_Appointment, 0x8215));
        n[u"RequiredAttendees"] = Recipients(0x0E04001F, 1);
        // Task.
        n[u"Owner"] = Text(Named(T, 0x811F));
        n[u"Complete"] = Flag(Named(T, 0x811C));
        n[u"StartDate"] = Date({{Named(T, 0x8104), Stored::Local}});
        n[u"DueDate"] = Date({{Named(T, 0x8105), Stored::Local}});
        n[u"DateCompleted"] = Date({{Named(T, 0x810F), Stored::LocalDay}});
        n[u"ActualWork"] = Long(Named(T, 0x8110));
        n[u"TotalWork"] = Long(Named(T, 0x8111));
        n[u"ContactNames"] = Texts(Named(C, 0x853A), u"; ");
        n[u"PercentComplete"] = PercentComplete;
        n[u"Status"] = Long(Named(T, 0x8101));
        // Journal.
        n[u"Duration"] = Long(Named(kPSETID_Log, 0x8707));
        // Contact.
        n[u"FullName"] = Text(Tag(0x3001001F));
        n[u"CompanyName"] = Text(Tag(0x3A16001F));
        n[u"JobTitle"] = Text(Tag(0x3A17001F));
        n[u"Email1Address"] = Text(Named(A, 0x8083));
        n[u"WebPage"] = Text(Named(A, 0x802B));
        n[u"IMAddress"] = Text(Named(A, 0x8062));
        n[u"PrimaryTelephoneNumber"] = Text(Tag(0x3A1A001F));
        n[u"CompanyMainTelephoneNumber"] = Text(Tag(0x3A57001F));
        n[u"HomeTelephoneNumber"] = Text(Tag(0x3A09001F));
        n[u"Home2TelephoneNumber"] = Text(Tag(0x3A2F001F));
        n[u"MobileTelephoneNumber"] = Text(Tag(0x3A1C001F));
        n[u"AssistantTelephoneNumber"] = Text(Tag(0x3A2E001F));
        n[u"BusinessTelephoneNumber"] = Text(Tag(0x3A08001F));
        n[u"OtherTelephoneNumber"] = Text(Tag(0x3A1F001F));
        n[u"RadioTelephoneNumber"] = Text(Tag(0x3A1D001F));
        n[u"BusinessFaxNumber"] = Text(Tag(0x3A24001F));
        n[u"CallbackTelephoneNumber"] = Text(Tag(0x3A02001F));
        n[u"CarTelephoneNumber"] = Text(Tag(0x3A1E001F));
        n[u"HomeAddress"] = Text(Named(A, 0x801A));
        n[u"HomeAddressPostOfficeBox"] = Text(Tag(0x3A5E001F));
        n[u"BusinessAddress"] = Text(Named(A, 0x801B));
        n[u"BusinessAddressPostOfficeBox"] = Text(Named(A, 0x804A));
        n[u"OtherAddress"] = Text(Named(A, 0x801C));
        n[u"OtherAddressPostOfficeBox"] = Text(Tag(0x3A64001F));
        n[u"BusinessHomePage"] = Text(Tag(0x3A51001F));
        // PidLidBirthdayLocal and PidLidWeddingAnniversaryLocal hold the day as the writer saw it.
        n[u"Birthday"] = Date({{Named(A, 0x80DE), Stored::Local}, {Tag(0x3A420040), Stored::LocalDay}});
        n[u"Anniversary"] = Date({{Named(A, 0x80DF), Stored::Local}, {Tag(0x3A410040), Stored::LocalDay}});
        n[u"Department"] = Text(Tag(0x3A18001F));
        n[u"HomeFaxNumber"] = Text(Tag(0x3A25001F));
        n[u"ISDNNumber"] = Text(Tag(0x3A2D001F));
        n[u"MailingAddress"] = Text(Tag(0x3A15001F));
        n[u"OfficeLocation"] = Text(Tag(0x3A19001F));
        n[u"OtherFaxNumber"] = Text(Tag(0x3A23001F));
        n[u"PagerNumber"] = Text(Tag(0x3A21001F));
        n[u"PersonalHomePage"] = Text(Tag(0x3A50001F));
        n[u"TelexNumber"] = Text(Tag(0x3A2C001F));
        n[u"TTYTDDTelephoneNumber"] = Text(Tag(0x3A4B001F));
        n[u"Account"] = Text(Tag(0x3A00001F));
        n[u"ComputerNetworkName"] = Text(Tag(0x3A49001F));
        n[u"Children"] = Texts(Tag(0x3A58101F), u", ");
        n[u"CustomerID"] = Text(Tag(0x3A4A001F));
        n[u"GovernmentIDNumber"] = Text(Tag(0x3A07001F));
        n[u"FTPSite"] = Text(Tag(0x3A4C001F));
        n[u"Hobbies"] = Text(Tag(0x3A43001F));
        n[u"InternetFreeBusyAddress"] = Text(Named(A, 0x80D8));
        n[u"Language"] = Text(Tag(0x3A0C001F));
        n[u"OrganizationalIDNumber"] = Text(Tag(0x3A10001F));
        n[u"ReferredBy"] = Text(Tag(0x3A47001F));
        n[u"User1"] = Text(Named(A, 0x804F));
        n[u"User2"] = Text(Named(A, 0x8050));
        n[u"User3"] = Text(Named(A, 0x8051));
        n[u"User4"] = Text(Named(A, 0x8052));
        return n;
    }();
    return names;
}

bool ClassIs(std::u16string_view messageClass, std::u16string_view base) {
    const auto lower = [](std::u16string_view text) {
        std::u16string out(text);
        for (char16_t& c : out)
            if (c >= u'A' && c <= u'Z')
                c = static_cast<char16_t>(c - u'A' + u'a');
        return out;
    };
    const std::u16string cls = lower(messageClass), b = lower(base);
    return cls == b || (cls.size() > b.size() && cls.starts_with(b) && cls[b.size()] == u'.');
}

} // namespace

std::optional<AutomationDate> ToAutomationDate(FileTime utc) {
    const auto local = Platform::FileTimeToLocalTime(utc);
    if (!local)
        return std::nullopt;
    const double days = static_cast<double>(
        DaysFromCivil(local->year, static_cast<unsigned>(local->month), static_cast<unsigned>(local->day)) -
        kOleEpoch);
    const double seconds =
        local->hour * 3600.0 + local->minute * 60.0 + local->second + local->milliseconds / 1000.0;
    return AutomationDate{days + seconds / 86400.0};
}

std::optional<AutomationDate> WritersDay(FileTime utc, std::optional<std::int32_t> writerBias) {
    constexpr std::uint64_t kTicksPerDay = 864000000000;
    constexpr std::uint64_t kTicksPerHour = 36000000000;
    const std::uint64_t ticks = utc.Ticks();
    if (ticks >= (std::uint64_t{1} << 63))
        return std::nullopt;
    // Local midnights lie between UTC-12 and UTC+14: at a UTC time of day up to 12:00 west of
    // Greenwich (the same UTC day), from 10:00 east of it (the next day).
    const std::uint64_t timeOfDay = ticks % kTicksPerDay;
    const bool west = timeOfDay <= 12 * kTicksPerHour;
    const bool east = timeOfDay >= 10 * kTicksPerHour;
    bool next = east && !west;
    if (east && west) {
        if (writerBias) {
            next = *writerBias < 0;
        } else if (const auto local = Platform::FileTimeToLocalTime(utc)) {
            // Unknown writer: take the reader's side of the date line, as the host would.
            const std::int64_t localDays = DaysFromCivil(local->year, static_cast<unsigned>(local->month),
                                                         static_cast<unsigned>(local->day));
            const std::int64_t utcDays =
                static_cast<std::int64_t>(ticks / kTicksPerDay) + DaysFromCivil(1601, 1, 1);
            next = localDays > utcDays || (localDays == utcDays && local->hour * kTicksPerHour > timeOfDay);
        }
    }
    const std::int64_t days = static_cast<std::int64_t>(ticks / kTicksPerDay) + (next ? 1 : 0);
    return AutomationDate{static_cast<double>(days - (kOleEpoch - DaysFromCivil(1601, 1, 1)))};
}

AutomationDate LocalFileTimeToAutomationDate(FileTime local) {
    // File times count 100-ns ticks from 1 January 1601.
    const double days = static_cast<double>(local.Ticks()) / 864000000000.0;
    return {days - static_cast<double>(kOleEpoch - DaysFromCivil(1601, 1, 1))};
}

MsgItem::MsgItem(MessagePtr message) : message_(std::move(message)) {}

std::shared_ptr<MsgItem> MsgItem::Open(const std::filesystem::path& path) {
    return std::make_shared<MsgItem>(MsgMessage::Open(path));
}

HResult MsgItem::Get(std::u16string_view name, Automation::Value& result) {
    if (name == u"Attachments") {
        result = std::make_shared<AttachmentsObject>(message_);
        return kS_OK;
    }
    if (name == u"Application") {
        result = std::make_shared<Application>();
        return kS_OK;
    }
    const auto& names = Names();
    const auto found = names.find(name);
    if (found == names.end())
        return Automation::kDISP_E_UNKNOWNNAME;
    return found->second(*message_, result);
}

HResult MsgItem::Call(std::u16string_view name, std::span<const Automation::Value> args,
                      Automation::Value& result) {
    if (name == u"GetAssociatedAppointment") {
        result = Automation::ObjectPtr(shared_from_this());
        return kS_OK;
    }
    if (name != u"SaveAs")
        return Automation::kDISP_E_UNKNOWNNAME;
    if (args.empty() || args.size() > 2)
        return kDISP_E_BADPARAMCOUNT;
    const auto* path = std::get_if<std::u16string>(&args[0]);
    if (!path)
        return Automation::kDISP_E_TYPEMISMATCH;
    if (args.size() == 2) {
        const std::int32_t format = Automation::TryAsInt(args[1]).value_or(-1);
        if (format != 3 && format != 9) // olMSG, olMSGUnicode
            return kE_NOTIMPL;
    }
    try {
        message_->SaveAs(std::filesystem::path(ToUtf8(*path)));
    } catch (const MsgFileError& e) {
        Log().Error(u"MailItem.SaveAs: " + detail::LogLiteral(e.GetMessage()));
        return kSTG_E_WRITEFAULT;
    }
    result = std::monostate{};
    return kS_OK;
}

bool MsgItem::Implements(const Guid& iid) {
    const std::u16string cls = ReadText(*message_->Props(), Tag(0x001A001F));
    const std::pair<const Guid*, std::u16string_view> kinds[] = {
        {&Outlook::kIID_MailItem, u"IPM.Note"},
        {&Outlook::kIID_ContactItem, u"IPM.Contact"},
        {&Outlook::kIID_AppointmentItem, u"IPM.Appointment"},
        // An exception of a recurring appointment, saved from inside its series.
        {&Outlook::kIID_AppointmentItem, u"IPM.OLE.CLASS.{00061055-0000-0000-C000-000000000046}"},
        {&Outlook::kIID_MeetingItem, u"IPM.Schedule.Meeting"},
        {&Outlook::kIID_TaskItem, u"IPM.Task"},
        {&Outlook::kIID_JournalItem, u"IPM.Activity"},
        {&Outlook::kIID_NoteItem, u"IPM.StickyNote"},
    };
    for (const auto& [kind, base] : kinds)
        if (*kind == iid && ClassIs(cls, base))
            return true;
    return false;
}

HResult MsgItem::GetMapiObject(const Guid& iid, std::shared_ptr<Mapi::IProp>& object) {
    object.reset();
    if (iid == Mapi::kIID_IMessage || iid == Mapi::kIID_IMAPIProp)
        object = std::make_shared<HostMessageProps>(message_->Props());
    return kS_OK;
}

} // namespace Tessarix::Msg
