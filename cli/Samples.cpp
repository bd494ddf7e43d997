#include "cli/Samples.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <system_error>

#include "core/CodePage.h"
#include "core/MapiProp.h"
#include "msg/CompressedRtf.h"
#include "msg/MsgFile.h"

namespace Tessarix::Cli::Samples {

namespace {

using Msg::AttachmentData;
using Msg::MakeTag;
using Msg::MessageData;
using Msg::NamedProperty;
using Msg::PropTag;
using Msg::RecipientData;
using Msg::Value;

constexpr PropTag kMessageClass = 0x001A001F;
constexpr PropTag kSubject = 0x0037001F;
constexpr PropTag kSubjectA = 0x0037001E;
constexpr PropTag kSenderName = 0x0C1A001F;
constexpr PropTag kSenderNameA = 0x0C1A001E;
constexpr PropTag kSenderEmail = 0x0C1F001F;
constexpr PropTag kDisplayTo = 0x0E04001F;
constexpr PropTag kDisplayToA = 0x0E04001E;
constexpr PropTag kMessageFlags = 0x0E070003;
constexpr PropTag kClientSubmitTime = 0x00390040;
constexpr PropTag kImportance = 0x00170003;
constexpr PropTag kBody = 0x1000001F;
constexpr PropTag kMessageCodePage = 0x3FFD0003;
constexpr PropTag kCreationTime = 0x30070040;
constexpr PropTag kDisplayName = 0x3001001F;
constexpr PropTag kRecipientType = 0x0C150003;
constexpr PropTag kEmailAddress = 0x3003001F;
constexpr PropTag kAttachPathName = 0x3708001F;
constexpr PropTag kCompanyName = 0x3A16001F;
constexpr PropTag kJobTitle = 0x3A17001F;
constexpr PropTag kDepartment = 0x3A18001F;
constexpr PropTag kPrimaryPhone = 0x3A1A001F;
constexpr PropTag kMobilePhone = 0x3A1C001F;
constexpr PropTag kBirthday = 0x3A420040;
constexpr PropTag kChildren = 0x3A58101F;

constexpr std::uint32_t kMsgFlagRead = 0x1;
constexpr std::uint32_t kMsgFlagUnsent = 0x8;

constexpr Guid kPSETID_Appointment{0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Task{0x00062003, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Address{0x00062004, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Common{0x00062008, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kPSETID_Log{0x0006200A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

NamedProperty Named(const Guid& set, std::uint32_t id) {
    return NamedProperty::Number(set, id);
}

NamedProperty Keywords() {
    return NamedProperty::String(Msg::kPS_PUBLIC_STRINGS, u"Keywords");
}

std::string Encode(std::u16string_view text, std::uint32_t codePage) {
    return CodePage::FromWide(text, codePage);
}

std::string Utf8(std::u16string_view text) {
    return Encode(text, CodePage::kUtf8);
}

MessageData Item(std::u16string_view messageClass, std::u16string_view subject) {
    MessageData message;
    message.props.Set(kMessageClass, Value::Unicode(messageClass));
    if (!subject.empty())
        message.props.Set(kSubject, Value::Unicode(subject));
    return message;
}

RecipientData Recipient(std::u16string_view name, std::u16string_view address, std::uint32_t type) {
    RecipientData recipient;
    recipient.props.Set(kDisplayName, Value::Unicode(name))
        .Set(kEmailAddress, Value::Unicode(address))
        .Set(kRecipientType, Value::Long(type));
    return recipient;
}

AttachmentData FileAttachment(std::u16string_view name, std::string bytes, std::u16string_view mime = {}) {
    AttachmentData attachment;
    attachment.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_BY_VALUE))
        .Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(name))
        .Set(Mapi::kPR_ATTACH_DATA_BIN, Value::Binary(bytes))
        .Set(Mapi::kPR_ATTACH_SIZE, Value::Long(static_cast<std::uint32_t>(bytes.size())));
    if (!mime.empty())
        attachment.props.Set(Mapi::kPR_ATTACH_MIME_TAG, Value::Unicode(mime));
    return attachment;
}

// A picture that the body shows through "cid:" and that the host keeps out of the attachment list.
AttachmentData InlinePicture(std::u16string_view name, std::u16string_view contentId, std::string bytes,
                             std::u16string_view mime) {
    AttachmentData attachment = FileAttachment(name, std::move(bytes), mime);
    attachment.props.Set(Mapi::kPR_ATTACH_CONTENT_ID, Value::Unicode(contentId))
        .Set(Mapi::kPR_ATTACHMENT_HIDDEN, Value::Bool(true));
    return attachment;
}

AttachmentData AttachedMessage(MessageData message, std::u16string_view name) {
    AttachmentData attachment;
    attachment.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_EMBEDDED_MSG))
        .Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(name))
        .Set(kDisplayName, Value::Unicode(name))
        .Set(Mapi::kPR_ATTACH_SIZE, Value::Long(4096));
    attachment.embedded = std::make_shared<MessageData>(std::move(message));
    return attachment;
}

std::string EncapsulatedHtml(std::u16string_view before, std::u16string_view text, std::u16string_view after,
                             std::uint32_t codePage, int charset) {
    // The HTML markup in \htmltag groups, the text in the RTF itself, as Outlook writes it.
    return "{\\rtf1\\ansi\\ansicpg" + std::to_string(codePage) +
           "\\fromhtml1 \\deff0{\\fonttbl{\\f0\\fswiss\\fcharset" + std::to_string(charset) +
           " Arial;}}\r\n{\\*\\htmltag19 " + RtfText(before, codePage) + "}\\htmlrtf {\\htmlrtf0 \\f0 " +
           RtfText(text, codePage) + "}\\htmlrtf0 {\\*\\htmltag27 " + RtfText(after, codePage) + "}}";
}

void Sender(MessageData& message, std::u16string_view name, std::u16string_view address) {
    message.props.Set(kSenderName, Value::Unicode(name)).Set(kSenderEmail, Value::Unicode(address));
}

void SentOn(MessageData& message, FileTime time) {
    message.props.Set(kMessageFlags, Value::Long(kMsgFlagRead)).Set(kClientSubmitTime, Value::Time(time));
}

// ---- mail ----

Sample PlainMail() {
    MessageData m = Item(u"IPM.Note", u"Quarterly numbers");
    Sender(m, u"Ann Archer", u"ann@example.com");
    SentOn(m, Utc(2011, 3, 7, 13, 5, 9));
    m.props.Set(kImportance, Value::Long(1))
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(1252))
        .Set(kBody, Value::Unicode(u"Hi Bob,\r\n\r\nthe numbers for Q1 are in: revenue < costs & we need to "
                                   u"talk.\r\n\r\nAnn\r\n"));
    m.recipients.push_back(Recipient(u"Bob Baker", u"bob@example.com", 1));
    m.recipients.push_back(Recipient(u"Cy Young", u"cy@example.com", 1));
    m.recipients.push_back(Recipient(u"Dee Dunn", u"dee@example.com", 2));
    m.recipients.push_back(Recipient(u"Eve Early", u"eve@example.com", 3));
    return {"01-mail-plain.msg", std::move(m)};
}

Sample HtmlMail() {
    MessageData m = Item(u"IPM.Note", u"Agenda for Monday");
    Sender(m, u"Carol Chen", u"carol@example.com");
    m.props.Set(kMessageFlags, Value::Long(kMsgFlagUnsent))
        .Set(kDisplayTo, Value::Unicode(u"Team"))
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(CodePage::kUtf8))
        .Set(Mapi::kPR_HTML,
             Value::Binary(Utf8(u"<html><head><style>p.lead { color: #336699 }</style></head><body>"
                                u"<p class=\"lead\">Please find the <b>agenda</b> below.</p>"
                                u"<p><img src=\"cid:logo.png@01D1A2B3\" alt=\"logo\"></p>"
                                u"<ul><li>Budget</li><li>Hiring</li></ul></body></html>")))
        .Set(kBody, Value::Unicode(u"Please find the agenda below."));
    m.attachments.push_back(InlinePicture(u"logo.png", u"logo.png@01D1A2B3", PngPixel(), u"image/png"));
    m.attachments.push_back(FileAttachment(u"agenda.txt", "1. Budget\n2. Hiring\n", u"text/plain"));
    return {"02-mail-html.msg", std::move(m)};
}

Sample HtmlInRtfMail() {
    MessageData m = Item(u"IPM.Note", u"Caf\u00e9 menu");
    Sender(m, u"Dee Dunn", u"dee@example.com");
    SentOn(m, Utc(2011, 3, 8, 7, 45, 0));
    m.props.Set(Mapi::kPR_INTERNET_CPID, Value::Long(1252))
        .Set(Mapi::kPR_RTF_COMPRESSED,
             Value::Binary(Msg::Rtf::Compress(EncapsulatedHtml(u"<html><body><p>",
                                                               u"Caf\u00e9 au lait: 2,50 \u20ac, cr\u00e8me "
                                                               u"br\u00fbl\u00e9e: 4,00 \u20ac",
                                                               u"</p></body></html>", 1252, 0))))
        // Outlook keeps a text body beside the RTF; the native body must win over it.
        .Set(kBody, Value::Unicode(u"TEXT BODY NOT USED"));
    m.recipients.push_back(Recipient(u"Bob Baker", u"bob@example.com", 1));
    return {"03-mail-html-in-rtf.msg", std::move(m)};
}

Sample TextInRtfMail() {
    MessageData m = Item(u"IPM.Note", u"Plain words in RTF");
    Sender(m, u"Eve Early", u"eve@example.com");
    m.props.Set(Mapi::kPR_INTERNET_CPID, Value::Long(1252))
        .Set(Mapi::kPR_RTF_COMPRESSED,
             Value::Binary(Msg::Rtf::Compress(
                 "{\\rtf1\\ansi\\ansicpg1252\\fromtext \\deff0{\\fonttbl{\\f0\\fmodern "
                 "Courier New;}}\r\n\\f0 Line one\\par\r\nLine  two <b>not bold</b>\\par\r\n"
                 "Gr\\'fc\\'dfe}")));
    m.recipients.push_back(Recipient(u"Ann Archer", u"ann@example.com", 1));
    return {"04-mail-text-in-rtf.msg", std::move(m)};
}

Sample RtfWithHtmlMail() {
    MessageData m = Item(u"IPM.Note", u"Sales chart");
    Sender(m, u"Bob Baker", u"bob@example.com");
    m.props
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(1252))
        // RTF that encapsulates nothing: the body comes from PR_HTML, whose attachment marks
        // become the pictures they stand for.
        .Set(Mapi::kPR_RTF_COMPRESSED,
             Value::Binary(
                 Msg::Rtf::Compress("{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0 Arial;}}\\f0 Sales "
                                    "chart:\\par {\\pict\\pngblip 00}\\par See you.\\par}")))
        .Set(Mapi::kPR_HTML,
             Value::Binary(Encode(u"<html><body><p>Sales chart:</p><p>&lt;&lt;chart.png&gt;&gt;"
                                  u"</p><p>See you.</p></body></html>",
                                  1252)));
    AttachmentData chart = FileAttachment(u"chart.png", PngPixel(), u"image/png");
    chart.props.Set(Mapi::kPR_RENDERING_POSITION, Value::Long(14));
    m.attachments.push_back(std::move(chart));
    return {"05-mail-rtf-and-html.msg", std::move(m)};
}

Sample CyrillicMail() {
    // A mail from a client that wrote 8-bit strings: every text in code page 1251.
    MessageData m;
    m.props.Set(kMessageClass, Value::Unicode(u"IPM.Note"))
        .Set(kMessageCodePage, Value::Long(1251))
        .Set(kSubjectA, Value::String8(Encode(
                            u"\u041e\u0442\u0447\u0451\u0442 \u0437\u0430 \u043c\u0430\u0440\u0442", 1251)))
        .Set(kSenderNameA,
             Value::String8(Encode(u"\u0418\u0432\u0430\u043d \u041f\u0435\u0442\u0440\u043e\u0432", 1251)))
        .Set(kDisplayToA, Value::String8(Encode(u"\u041c\u0430\u0440\u0438\u044f", 1251)))
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(1251))
        .Set(Mapi::kPR_HTML,
             Value::Binary(
                 Encode(u"<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; "
                        u"charset=windows-1251\"></head><body><p>\u0414\u043e\u0431\u0440\u044b\u0439 "
                        u"\u0434\u0435\u043d\u044c! \u041e\u0442\u0447\u0451\u0442 \u0432\u043e "
                        u"\u0432\u043b\u043e\u0436\u0435\u043d\u0438\u0438.</p></body></html>",
                        1251)));
    return {"06-mail-cp1251.msg", std::move(m)};
}

Sample JapaneseRtfMail() {
    MessageData m = Item(u"IPM.Note", u"\u4f1a\u8b70\u306e\u8b70\u4e8b\u9332");
    Sender(m, u"\u5c71\u7530\u592a\u90ce", u"yamada@example.jp");
    m.props.Set(Mapi::kPR_INTERNET_CPID, Value::Long(932))
        .Set(
            Mapi::kPR_RTF_COMPRESSED,
            Value::Binary(Msg::Rtf::Compress(EncapsulatedHtml(
                u"<html><body><p>",
                u"\u672c\u65e5\u306e\u4f1a\u8b70\u306e\u8b70\u4e8b\u9332\u3092\u9001\u308a\u307e\u3059\u3002",
                u"</p></body></html>", 932, 128))));
    m.recipients.push_back(Recipient(u"\u9234\u6728\u82b1\u5b50", u"suzuki@example.jp", 1));
    return {"07-mail-cjk-rtf.msg", std::move(m)};
}

Sample ChineseMail() {
    MessageData m;
    m.props.Set(kMessageClass, Value::Unicode(u"IPM.Note"))
        .Set(kMessageCodePage, Value::Long(936))
        .Set(kSubjectA, Value::String8(Encode(u"\u5b63\u5ea6\u62a5\u544a", 936)))
        .Set(kSenderNameA, Value::String8(Encode(u"\u738b\u4f1f", 936)))
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(936))
        .Set(Mapi::kPR_HTML,
             Value::Binary(Encode(u"<html><body><p>\u8bf7\u67e5\u6536\u9644\u4ef6\u4e2d\u7684\u5b63\u5ea6"
                                  u"\u62a5\u544a\u3002</p></body></html>",
                                  936)));
    m.attachments.push_back(FileAttachment(u"\u62a5\u544a.txt", Utf8(u"\u6536\u5165 42\n"), u"text/plain"));
    return {"08-mail-cjk-gbk.msg", std::move(m)};
}

MessageData NestedMessage(int level) {
    MessageData m = Item(u"IPM.Note", u"Level " + std::u16string(1, static_cast<char16_t>(u'0' + level)));
    Sender(m, u"Nested Sender", u"nested@example.com");
    m.props.Set(
        kBody, Value::Unicode(u"Message at level " + std::u16string(1, static_cast<char16_t>(u'0' + level))));
    if (level < 3)
        m.attachments.push_back(
            AttachedMessage(NestedMessage(level + 1),
                            u"Level " + std::u16string(1, static_cast<char16_t>(u'1' + level)) + u".msg"));
    else
        m.attachments.push_back(FileAttachment(u"deep.txt", "deepest", u"text/plain"));
    return m;
}

AttachmentData ByReference(std::uint32_t method, std::u16string_view name) {
    AttachmentData attachment;
    attachment.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(method))
        .Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(name))
        .Set(kAttachPathName, Value::Unicode(u"\\\\server\\share\\" + std::u16string(name)));
    return attachment;
}

Sample AttachmentsMail() {
    MessageData m = Item(u"IPM.Note", u"Everything attached");
    Sender(m, u"Fay Fox", u"fay@example.com");
    SentOn(m, Utc(2011, 3, 10, 16, 0, 0));
    m.props.Set(Mapi::kPR_INTERNET_CPID, Value::Long(CodePage::kUtf8))
        .Set(Mapi::kPR_HTML, Value::Binary(Utf8(u"<html><body><p>All the files, and a pixel: "
                                                u"<img src=\"cid:pixel@tx\"></p></body></html>")));
    m.recipients.push_back(Recipient(u"Gus Grant", u"gus@example.com", 1));

    m.attachments.push_back(
        FileAttachment(u"report.pdf", "%PDF-1.4\n1 0 obj << >> endobj\n%%EOF\n", u"application/pdf"));
    m.attachments.push_back(ByReference(2, u"by-reference.doc"));
    m.attachments.push_back(ByReference(3, u"by-reference-resolve.doc"));
    m.attachments.push_back(ByReference(4, u"by-reference-only.doc"));
    m.attachments.push_back(AttachedMessage(NestedMessage(1), u"Level 1.msg"));

    AttachmentData ole;
    ole.props.Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(u"drawing.ole"))
        .Set(Mapi::kPR_ATTACH_MIME_TAG, Value::Unicode(u"application/x-ole-object"))
        .Set(Mapi::kPR_RENDERING_POSITION, Value::Long(0xFFFFFFFF));
    Msg::Cfb::Storage storage;
    storage.streams["CONTENTS"] = "OLE object contents";
    storage.streams["\x01"
                    "CompObj"] = std::string("\x01\xFE\x00\x00", 4);
    ole.oleStorage = storage;
    m.attachments.push_back(std::move(ole));

    // Hidden and referenced: an embedded picture. No MIME tag: the bytes say what it is.
    AttachmentData pixel;
    pixel.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_BY_VALUE))
        .Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(u"pixel.png"))
        .Set(Mapi::kPR_ATTACH_CONTENT_ID, Value::Unicode(u"pixel@tx"))
        .Set(Mapi::kPR_ATTACHMENT_HIDDEN, Value::Bool(true))
        .Set(Mapi::kPR_ATTACH_DATA_BIN, Value::Binary(PngPixel()));
    m.attachments.push_back(std::move(pixel));
    // Hidden and referenced by nothing: left out.
    AttachmentData hidden = FileAttachment(u"hidden.dat", "not shown", u"application/octet-stream");
    hidden.props.Set(Mapi::kPR_ATTACHMENT_HIDDEN, Value::Bool(true));
    m.attachments.push_back(std::move(hidden));
    return {"09-mail-attachments.msg", std::move(m)};
}

// ---- the other item types ----

Sample Contact() {
    MessageData m = Item(u"IPM.Contact", u"Dana Scully");
    m.props.Set(kDisplayName, Value::Unicode(u"Dana Scully"))
        .Set(kCompanyName, Value::Unicode(u"FBI"))
        .Set(kJobTitle, Value::Unicode(u"Special Agent"))
        .Set(kDepartment, Value::Unicode(u"Basement"))
        .Set(kPrimaryPhone, Value::Unicode(u"+1 202 555 0100"))
        .Set(kMobilePhone, Value::Unicode(u"+1 202 555 0199"))
        .Set(kBirthday, Value::Time(Utc(1964, 2, 23, 12)))
        .Set(kChildren, Value::MultiUnicode({u"Emily", u"William"}))
        .Set(kBody, Value::Unicode(u"Met at Quantico."))
        .SetNamed(Named(kPSETID_Address, 0x8083), Value::Unicode(u"dana@example.org"))
        .SetNamed(Named(kPSETID_Address, 0x802B), Value::Unicode(u"www.example.org/dana"))
        .SetNamed(Named(kPSETID_Address, 0x8062), Value::Unicode(u"dana.im@example.org"))
        .SetNamed(Named(kPSETID_Address, 0x801B), Value::Unicode(u"935 Pennsylvania Ave, Washington"))
        .SetNamed(Named(kPSETID_Address, 0x804F), Value::Unicode(u"Custom one"))
        .SetNamed(Keywords(), Value::MultiUnicode({u"Work", u"X-Files"}));
    AttachmentData picture = FileAttachment(u"ContactPicture.jpg", JpegBytes(), u"image/jpeg");
    picture.props.Set(Mapi::kPR_ATTACHMENT_CONTACTPHOTO, Value::Bool(true))
        .Set(Mapi::kPR_ATTACHMENT_HIDDEN, Value::Bool(true));
    m.attachments.push_back(std::move(picture));
    return {"10-contact.msg", std::move(m)};
}

MessageData Appointment(std::u16string_view messageClass, std::u16string_view subject,
                        std::u16string_view location, FileTime start, FileTime end, std::uint32_t busy,
                        bool allDay = false) {
    MessageData m = Item(messageClass, subject);
    m.props.SetNamed(Named(kPSETID_Appointment, 0x8208), Value::Unicode(location))
        .SetNamed(Named(kPSETID_Appointment, 0x820D), Value::Time(start))
        .SetNamed(Named(kPSETID_Appointment, 0x820E), Value::Time(end))
        .SetNamed(Named(kPSETID_Appointment, 0x8205), Value::Long(busy))
        .SetNamed(Named(kPSETID_Appointment, 0x8215), Value::Bool(allDay))
        .Set(Mapi::kPR_START_DATE, Value::Time(start))
        .Set(Mapi::kPR_END_DATE, Value::Time(end));
    return m;
}

Sample AppointmentItem() {
    MessageData m = Appointment(u"IPM.Appointment", u"Budget review", u"Room 4.12", Utc(2011, 3, 14, 9, 30),
                                Utc(2011, 3, 14, 11), 2);
    m.props.Set(kImportance, Value::Long(2))
        .SetNamed(Keywords(), Value::MultiUnicode({u"Finance"}))
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(1252))
        .Set(Mapi::kPR_RTF_COMPRESSED,
             Value::Binary(Msg::Rtf::Compress("{\\rtf1\\ansi\\ansicpg1252\\fromtext \\deff0{\\fonttbl{\\f0 "
                                              "Arial;}}\\f0 Bring the Q1 figures.}")));
    m.recipients.push_back(Recipient(u"Ann Archer", u"ann@example.com", 1));
    m.recipients.push_back(Recipient(u"Bob Baker", u"bob@example.com", 1));
    return {"11-appointment.msg", std::move(m)};
}

Sample RecurrenceException() {
    // One changed occurrence of a recurring meeting, as it is stored inside the series.
    MessageData m =
        Appointment(u"IPM.OLE.CLASS.{00061055-0000-0000-C000-000000000046}", u"Budget review (moved)",
                    u"Room 2.01", Utc(2011, 3, 21, 14), Utc(2011, 3, 21, 15), 1);
    m.props.Set(kBody, Value::Unicode(u"Moved by one week."));
    return {"12-appointment-exception.msg", std::move(m)};
}

Sample MeetingRequest() {
    MessageData m = Item(u"IPM.Schedule.Meeting.Request", u"Design review");
    Sender(m, u"Ann Archer", u"ann@example.com");
    m.props.Set(kDisplayTo, Value::Unicode(u"Bob Baker; Cy Young"))
        .Set(kImportance, Value::Long(1))
        .SetNamed(Keywords(), Value::MultiUnicode({u"Projects"}))
        .SetNamed(Named(kPSETID_Common, 0x8539), Value::MultiUnicode({u"Acme", u"Globex"}))
        .SetNamed(Named(kPSETID_Appointment, 0x8208), Value::Unicode(u"Room 1"))
        .SetNamed(Named(kPSETID_Appointment, 0x8215), Value::Bool(false))
        .SetNamed(Named(kPSETID_Appointment, 0x8205), Value::Long(1)) // tentative until answered
        .SetNamed(Named(kPSETID_Appointment, 0x8224), Value::Long(2)) // the organizer's: busy
        .Set(Mapi::kPR_START_DATE, Value::Time(Utc(2011, 3, 14, 14)))
        .Set(Mapi::kPR_END_DATE, Value::Time(Utc(2011, 3, 14, 15)))
        .Set(kBody, Value::Unicode(u"When: Monday, March 14, 2011 2:00 PM-3:00 PM.\r\nWhere: Room 1\r\n\r\n"
                                   u"*~*~*~*~*~*~*~*~*~*\r\n\r\nLet us go through the mock-ups."));
    m.recipients.push_back(Recipient(u"Bob Baker", u"bob@example.com", 1));
    m.recipients.push_back(Recipient(u"Cy Young", u"cy@example.com", 1));
    return {"13-meeting-request.msg", std::move(m)};
}

Sample Task() {
    MessageData m = Item(u"IPM.Task", u"File expense report");
    m.props.SetNamed(Named(kPSETID_Task, 0x811F), Value::Unicode(u"Ann Archer"))
        .SetNamed(Keywords(), Value::MultiUnicode({u"Admin"}))
        .SetNamed(Named(kPSETID_Task, 0x811C), Value::Bool(false))
        // Task dates hold local midnight.
        .SetNamed(Named(kPSETID_Task, 0x8104), Value::Time(Utc(2011, 3, 1)))
        .SetNamed(Named(kPSETID_Task, 0x8105), Value::Time(Utc(2011, 3, 15)))
        .Set(kImportance, Value::Long(0))
        .SetNamed(Named(kPSETID_Task, 0x8110), Value::Long(30))
        .SetNamed(Named(kPSETID_Task, 0x8111), Value::Long(1))
        .SetNamed(Named(kPSETID_Common, 0x853A), Value::MultiUnicode({u"Bob Baker", u"Cy Young"}))
        .SetNamed(Named(kPSETID_Common, 0x8534), Value::Unicode(u"12 km"))
        .SetNamed(Named(kPSETID_Common, 0x8535), Value::Unicode(u"Project 7"))
        .SetNamed(Named(kPSETID_Task, 0x8102), Value::Double(0.25))
        .SetNamed(Named(kPSETID_Task, 0x8101), Value::Long(1))
        .Set(kBody, Value::Unicode(u"Receipts are in the blue folder."));
    return {"14-task.msg", std::move(m)};
}

Sample Journal() {
    MessageData m = Item(u"IPM.Activity", u"Call with Globex");
    m.props.SetNamed(Keywords(), Value::MultiUnicode({u"Sales"}))
        .SetNamed(Named(kPSETID_Log, 0x8706), Value::Time(Utc(2011, 3, 9, 15)))
        .SetNamed(Named(kPSETID_Log, 0x8708), Value::Time(Utc(2011, 3, 9, 15, 45)))
        .SetNamed(Named(kPSETID_Log, 0x8707), Value::Long(45))
        .SetNamed(Named(kPSETID_Common, 0x8539), Value::MultiUnicode({u"Globex"}))
        .Set(kBody, Value::Unicode(u"Discussed the renewal."));
    return {"15-journal.msg", std::move(m)};
}

Sample StickyNote() {
    MessageData m = Item(u"IPM.StickyNote", u"Buy milk");
    m.props.Set(kBody, Value::Unicode(u"Buy milk\r\nand <fresh> bread"))
        .SetNamed(Keywords(), Value::MultiUnicode({u"Home"}))
        .Set(kCreationTime, Value::Time(Utc(2011, 3, 8, 8, 15)));
    return {"16-sticky-note.msg", std::move(m)};
}

// ---- items as real installations write them ----
// What real files lack or add where the project's own writer would not: no PR_ATTACH_SIZE, no
// PR_ATTACH_METHOD, 8-bit strings with only a locale or only an Internet code page, dates that
// are local midnights of another zone, OLE packages, names and tags as mail programs store them.

constexpr PropTag kMessageLocaleId = 0x3FF10003;
constexpr PropTag kMessageClassA = 0x001A001E;
constexpr PropTag kAttachFileNameShort = 0x3704001F;
constexpr PropTag kDisplayNameA = 0x3001001E;
constexpr PropTag kCompanyNameA = 0x3A16001E;
constexpr PropTag kWeddingAnniversary = 0x3A410040;

// An "\x01Ole10Native" stream packaging `bytes` as the file at `sourcePath`.
std::string OlePackageStream(const std::string& label, const std::string& sourcePath,
                             const std::string& bytes) {
    const auto u16 = [](std::uint16_t v) {
        return std::string{static_cast<char>(v & 0xFF), static_cast<char>(v >> 8)};
    };
    const auto u32 = [&](std::uint32_t v) {
        return u16(static_cast<std::uint16_t>(v)) + u16(static_cast<std::uint16_t>(v >> 16));
    };
    const std::string tempPath = "C:\\Users\\ann\\AppData\\Local\\Temp\\" + label + std::string(1, '\0');
    std::string body = u16(2) + label + std::string(1, '\0') + sourcePath + std::string(1, '\0') + u16(0) +
                       u16(3) + u32(static_cast<std::uint32_t>(tempPath.size())) + tempPath +
                       u32(static_cast<std::uint32_t>(bytes.size())) + bytes;
    return u32(static_cast<std::uint32_t>(body.size())) + body;
}

Sample RealAttachmentsMail() {
    MessageData m = Item(u"IPM.Note", u"Photos from the trip");
    Sender(m, u"Gus Grant", u"gus@example.com");
    m.props.Set(Mapi::kPR_INTERNET_CPID, Value::Long(CodePage::kUtf8))
        .Set(Mapi::kPR_HTML,
             Value::Binary(Utf8(u"<html><body><p>The view: <img src=\"cid:view.png@01D2\"></p>"
                                u"</body></html>")));
    // No size anywhere, and the picture has no method either: a store still knows both.
    AttachmentData picture;
    picture.props.Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(u"view.png"))
        .Set(Mapi::kPR_ATTACH_CONTENT_ID, Value::Unicode(u"<view.png@01D2>"))
        .Set(Mapi::kPR_ATTACH_MIME_TAG, Value::Unicode(u"Image/PNG; name=\"view.png\""))
        .Set(Mapi::kPR_ATTACHMENT_HIDDEN, Value::Bool(true))
        .Set(Mapi::kPR_ATTACH_DATA_BIN, Value::Binary(PngPixel()));
    m.attachments.push_back(std::move(picture));
    // A long name and the 8.3 name beside it.
    AttachmentData longName;
    longName.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_BY_VALUE))
        .Set(kAttachFileNameShort, Value::Unicode(u"ITINER~1.TXT"))
        .Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(u"itinerary for the trip.txt"))
        .Set(Mapi::kPR_ATTACH_DATA_BIN, Value::Binary("Day 1: Lisbon\n"));
    m.attachments.push_back(std::move(longName));
    // Only a display name.
    AttachmentData displayOnly;
    displayOnly.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_BY_VALUE))
        .Set(kDisplayName, Value::Unicode(u"Boarding pass"))
        .Set(Mapi::kPR_ATTACH_DATA_BIN, Value::Binary("%PDF-1.4 boarding\n%%EOF\n"));
    m.attachments.push_back(std::move(displayOnly));
    // A file dragged into an RTF mail: an OLE package, no file name of its own.
    AttachmentData package;
    package.props.Set(kDisplayName, Value::Unicode(u"Package"))
        .Set(Mapi::kPR_RENDERING_POSITION, Value::Long(0xFFFFFFFF));
    Msg::Cfb::Storage packageStorage;
    packageStorage.streams["\x01Ole10Native"] =
        OlePackageStream("budget.csv", "C:\\Users\\ann\\Documents\\budget.csv", "item;cost\nhotel;420\n");
    packageStorage.streams["\x01"
                           "CompObj"] = std::string("\x01\xFE\x00\x00", 4);
    package.oleStorage = packageStorage;
    package.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_OLE));
    m.attachments.push_back(std::move(package));
    // An attached message as most real files carry one: no size.
    AttachmentData forwarded;
    forwarded.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_EMBEDDED_MSG))
        .Set(kDisplayName, Value::Unicode(u"Hotel booking"));
    MessageData booking = Item(u"IPM.Note", u"Hotel booking");
    booking.props.Set(kBody, Value::Unicode(u"Two nights."));
    forwarded.embedded = std::make_shared<MessageData>(std::move(booking));
    m.attachments.push_back(std::move(forwarded));
    return {"17-mail-real-attachments.msg", std::move(m)};
}

// A Japanese installation saving without Unicode: 8-bit strings in code page 932, the locale,
// and the Internet code page of the body (ISO-2022-JP), but no PR_MESSAGE_CODEPAGE.
Sample JapaneseAnsiMail() {
    MessageData m;
    m.props.Set(kMessageClassA, Value::String8("IPM.Note"))
        .Set(kMessageLocaleId, Value::Long(0x0411))
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(50220))
        .Set(kSubjectA, Value::String8(Encode(u"\u51fa\u5f35\u306e\u4e88\u5b9a", 932)))
        .Set(kSenderNameA, Value::String8(Encode(u"\u4f50\u85e4\u82b1\u5b50", 932)))
        .Set(kDisplayToA, Value::String8(Encode(u"\u7530\u4e2d\u4e00\u90ce", 932)))
        .Set(Mapi::kPR_HTML,
             Value::Binary(Encode(u"<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; "
                                  u"charset=iso-2022-jp\"></head><body><p>\u6765\u9031\u306f\u5927\u962a"
                                  u"\u3067\u3059\u3002</p></body></html>",
                                  50220)));
    return {"18-mail-ansi-locale-ja.msg", std::move(m)};
}

// A Russian mail saved without Unicode by a client that wrote neither code page nor locale: only
// the body's Internet code page (KOI8-R) says which script the strings are in.
Sample CyrillicInternetOnlyMail() {
    MessageData m;
    m.props.Set(kMessageClassA, Value::String8("IPM.Note"))
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(20866))
        .Set(kSubjectA, Value::String8(Encode(u"\u041f\u0440\u0438\u0432\u0435\u0442", 1251)))
        .Set(kSenderNameA, Value::String8(Encode(u"\u041e\u043b\u0435\u0433", 1251)))
        .Set(kBody, Value::Unicode(u"\u0414\u043e \u0432\u0441\u0442\u0440\u0435\u0447\u0438"));
    return {"19-mail-ansi-koi8.msg", std::move(m)};
}

// A contact from a Polish installation (8-bit strings in 1250 by its locale alone), written in
// Warsaw in summer: the birthday is the UTC instant of a Warsaw midnight, the anniversary also
// has the local form that newer hosts add.
Sample PolishContact() {
    MessageData m;
    m.props.Set(kMessageClassA, Value::String8("IPM.Contact"))
        .Set(kMessageLocaleId, Value::Long(0x0415))
        .Set(kSubjectA, Value::String8(Encode(u"Wojciech \u0141\u0105cki", 1250)))
        .Set(kDisplayNameA, Value::String8(Encode(u"Wojciech \u0141\u0105cki", 1250)))
        .Set(kCompanyNameA, Value::String8(Encode(u"\u017b\u00f3\u0142w Sp. z o.o.", 1250)))
        .Set(kBirthday, Value::Time(Utc(1980, 7, 14, 22)))
        .Set(kWeddingAnniversary, Value::Time(Utc(2005, 6, 17, 22)))
        .SetNamed(Named(kPSETID_Address, 0x80DF), Value::Time(Utc(2005, 6, 18)));
    return {"20-contact-ansi-pl.msg", std::move(m)};
}

// An all-day appointment written in Auckland in summer (UTC+13): its start and end are the UTC
// instants of Auckland midnights, and its time zone says which side of the date line it is on.
Sample AucklandAllDay() {
    MessageData m = Appointment(u"IPM.Appointment", u"Waitangi Day", u"Paihia", Utc(2011, 2, 5, 11),
                                Utc(2011, 2, 6, 11), 0, true);
    // PidLidTimeZoneStruct: bias -720 minutes (UTC = local - 12 h), then the standard and daylight
    // parts, which the day does not need.
    std::string zone(48, '\0');
    const std::uint32_t bias = static_cast<std::uint32_t>(-720);
    for (int i = 0; i < 4; ++i)
        zone[static_cast<std::size_t>(i)] = static_cast<char>(bias >> (8 * i));
    m.props.SetNamed(Named(kPSETID_Appointment, 0x8233), Value::Binary(zone));
    return {"21-appointment-all-day-auckland.msg", std::move(m)};
}

// Text pasted from terminals and old systems into every field: form feed, vertical tab, an escape
// sequence, NUL, a lone surrogate; TAB is text like any other.
std::u16string Pasted() {
    return std::u16string(u"a\fb\vc\x1B[0md") + u'\0' + u"e\xD800" + u"f\tg";
}

Sample ControlCharactersMail() {
    MessageData m = Item(u"IPM.Note", u"Re: " + Pasted());
    Sender(m, u"Ann " + Pasted(), u"ann@example.com");
    m.props.Set(kBody, Value::Unicode(u"Body " + Pasted() + u"\x01\x1F\uFFFF."));
    m.recipients.push_back(Recipient(u"Bob " + Pasted(), u"bob@example.com", 1));
    return {"22-mail-control-characters.msg", std::move(m)};
}

Sample ControlCharactersNote() {
    MessageData m = Item(u"IPM.StickyNote", Pasted());
    m.props.Set(kBody, Value::Unicode(Pasted() + u"\r\n" + Pasted()));
    return {"23-sticky-note-control-characters.msg", std::move(m)};
}

// ---- files that are not readable items ----

Msg::Cfb::Storage& AttachmentStorage(Msg::Cfb::Storage& message, int number) {
    char name[32];
    std::snprintf(name, sizeof name, "__attach_version1.0_#%08X", static_cast<unsigned>(number));
    return message.storages.at(name);
}

} // namespace

FileTime Utc(int year, int month, int day, int hour, int minute, int second) {
    // Days since 1970-01-01 of a proleptic Gregorian date.
    const int y = year - (month <= 2 ? 1 : 0);
    const int era = (y >= 0 ? y : y - 399) / 400;
    const int yearOfEra = y - era * 400;
    const int dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    const std::int64_t days = std::int64_t{era} * 146097 + dayOfEra - 719468;
    const std::int64_t seconds = days * 86400 + hour * 3600 + minute * 60 + second;
    constexpr std::int64_t kEpochDifference = 11644473600; // 1601-01-01 to 1970-01-01
    return FileTime::FromTicks(static_cast<std::uint64_t>((seconds + kEpochDifference) * 10000000));
}

std::string PngPixel() {
    static const unsigned char kPng[] = {
        0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44, 0x52, 0x00,
        0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x06, 0x00, 0x00, 0x00, 0x1F, 0x15, 0xC4, 0x89, 0x00,
        0x00, 0x00, 0x0A, 0x49, 0x44, 0x41, 0x54, 0x78, 0x9C, 0x63, 0x00, 0x01, 0x00, 0x00, 0x05, 0x00, 0x01,
        0x0D, 0x0A, 0x2D, 0xB4, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};
    return std::string(reinterpret_cast<const char*>(kPng), sizeof kPng);
}

std::string JpegBytes() {
    static const unsigned char kJpeg[] = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 0x4A, 0x46, 0x49, 0x46, 0x00,
                                          0x01, 0x01, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00, 0xFF, 0xD9};
    return std::string(reinterpret_cast<const char*>(kJpeg), sizeof kJpeg);
}

std::string RtfText(std::u16string_view text, std::uint32_t codePage) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    for (const char c : CodePage::FromWide(text, codePage)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80) {
            out += "\\'";
            out += kHex[byte >> 4];
            out += kHex[byte & 0xF];
        } else {
            if (c == '{' || c == '}' || c == '\\')
                out += '\\';
            out += c;
        }
    }
    return out;
}

std::vector<Sample> Items() {
    std::vector<Sample> items;
    items.push_back(PlainMail());
    items.push_back(HtmlMail());
    items.push_back(HtmlInRtfMail());
    items.push_back(TextInRtfMail());
    items.push_back(RtfWithHtmlMail());
    items.push_back(CyrillicMail());
    items.push_back(JapaneseRtfMail());
    items.push_back(ChineseMail());
    items.push_back(AttachmentsMail());
    items.push_back(Contact());
    items.push_back(AppointmentItem());
    items.push_back(RecurrenceException());
    items.push_back(MeetingRequest());
    items.push_back(Task());
    items.push_back(Journal());
    items.push_back(StickyNote());
    items.push_back(RealAttachmentsMail());
    items.push_back(JapaneseAnsiMail());
    items.push_back(CyrillicInternetOnlyMail());
    items.push_back(PolishContact());
    items.push_back(AucklandAllDay());
    items.push_back(ControlCharactersMail());
    items.push_back(ControlCharactersNote());
    return items;
}

std::vector<CorruptSample> CorruptItems() {
    std::vector<CorruptSample> items;
    items.push_back({"bad-empty.msg", ""});
    items.push_back({"bad-text.msg", "This is a text file that was given the name of an Outlook item.\n"});

    const std::string whole = Msg::MsgWriter::ToBytes(AttachmentsMail().message);
    items.push_back({"bad-truncated.msg", whole.substr(0, whole.size() / 2)});

    Msg::Cfb::Storage document;
    document.streams["WordDocument"] = std::string(512, 'w');
    items.push_back({"bad-not-a-message.msg", Msg::Cfb::ToBytes(document)});

    Msg::Cfb::Storage shortHeader = Msg::MsgWriter::Build(PlainMail().message);
    shortHeader.streams.at("__properties_version1.0").resize(12);
    items.push_back({"bad-property-stream.msg", Msg::Cfb::ToBytes(shortHeader)});

    // The root entry's sibling pointer leads back into the tree: the reader drops the entries it meets
    // twice, and what is left has no message.
    std::string cycle = Msg::MsgWriter::ToBytes(PlainMail().message);
    const auto le32 = [&](std::size_t at) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(cycle[at])) |
               static_cast<std::uint32_t>(static_cast<unsigned char>(cycle[at + 1])) << 8 |
               static_cast<std::uint32_t>(static_cast<unsigned char>(cycle[at + 2])) << 16 |
               static_cast<std::uint32_t>(static_cast<unsigned char>(cycle[at + 3])) << 24;
    };
    const std::size_t sectorSize = std::size_t{1} << (le32(0x1E) & 0xFFFF);
    const std::size_t rootEntry = 512 + le32(0x30) * sectorSize;
    cycle.replace(rootEntry + 0x48, 4, std::string("\x01\x00\x00\x00", 4));
    items.push_back({"bad-directory.msg", std::move(cycle)});
    return items;
}

std::vector<CorruptSample> DamagedItems() {
    std::vector<CorruptSample> items;
    // The second attachment's property stream is gone.
    Msg::Cfb::Storage attachment = Msg::MsgWriter::Build(HtmlMail().message);
    AttachmentStorage(attachment, 1).streams.erase("__properties_version1.0");
    items.push_back({"damaged-attachment.msg", Msg::Cfb::ToBytes(attachment)});

    // The attached message (the fifth attachment) has lost its property stream.
    Msg::Cfb::Storage embedded = Msg::MsgWriter::Build(AttachmentsMail().message);
    AttachmentStorage(embedded, 4)
        .storages.at("__substg1.0_3701000D")
        .streams.erase("__properties_version1.0");
    items.push_back({"damaged-embedded-message.msg", Msg::Cfb::ToBytes(embedded)});
    return items;
}

std::vector<std::filesystem::path> Write(const std::filesystem::path& folder, bool corrupt) {
    std::filesystem::create_directories(folder);
    std::vector<std::filesystem::path> written;
    for (const Sample& sample : Items()) {
        written.push_back(folder / sample.fileName);
        Msg::MsgWriter::WriteFile(sample.message, written.back());
    }
    std::vector<CorruptSample> files = DamagedItems();
    if (corrupt)
        for (auto& sample : CorruptItems())
            files.push_back(std::move(sample));
    {
        for (const CorruptSample& sample : files) {
            written.push_back(folder / sample.fileName);
            std::ofstream file(written.back(), std::ios::binary | std::ios::trunc);
            file.write(sample.bytes.data(), static_cast<std::streamsize>(sample.bytes.size()));
            file.close();
            if (!file)
                throw std::filesystem::filesystem_error("cannot write", written.back(),
                                                        std::make_error_code(std::errc::io_error));
        }
    }
    return written;
}

} // namespace Tessarix::Cli::Samples
