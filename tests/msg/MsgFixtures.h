#pragma once
// Items built with the writer, and the walk that reads everything an item holds.
#include <memory>
#include <string>

#include "msg/CompressedRtf.h"
#include "msg/MsgFile.h"
#include "msg/MsgWriter.h"
#include "tests/msg/MsgWalk.h"

namespace Tessarix::Msg::Testing {

inline constexpr PropTag kPR_MESSAGE_CLASS_W = 0x001A001F;
inline constexpr PropTag kPR_SUBJECT_W = 0x0037001F;
inline constexpr PropTag kPR_SUBJECT_A = 0x0037001E;
inline constexpr PropTag kPR_SENDER_NAME_W = 0x0C1A001F;
inline constexpr PropTag kPR_SENDER_EMAIL_ADDRESS_W = 0x0C1F001F;
inline constexpr PropTag kPR_DISPLAY_NAME_W = 0x3001001F;
inline constexpr PropTag kPR_EMAIL_ADDRESS_W = 0x3003001F;
inline constexpr PropTag kPR_RECIPIENT_TYPE = 0x0C150003;
inline constexpr PropTag kPR_IMPORTANCE = 0x00170003;
inline constexpr PropTag kPR_CLIENT_SUBMIT_TIME = 0x00390040;
inline constexpr PropTag kPR_BODY_W = 0x1000001F;
inline constexpr PropTag kPR_ATTACH_DATA_OBJ = 0x3701000D;

// PSETID_Common, PSETID_Appointment.
inline constexpr Guid kPSETID_Common{0x00062008, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kPSETID_Appointment{0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

inline MessageData Mail(std::u16string subject) {
    MessageData message;
    message.props.Set(kPR_MESSAGE_CLASS_W, Value::Unicode(u"IPM.Note"))
        .Set(kPR_SUBJECT_W, Value::Unicode(subject))
        .Set(Mapi::kPR_INTERNET_CPID, Value::Long(1252));
    return message;
}

inline AttachmentData FileAttachment(std::u16string name, std::string bytes) {
    AttachmentData attachment;
    attachment.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_BY_VALUE))
        .Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(name))
        .Set(Mapi::kPR_ATTACH_DATA_BIN, Value::Binary(bytes));
    return attachment;
}

inline AttachmentData Attached(MessageData message, std::u16string name) {
    AttachmentData attachment;
    attachment.props.Set(Mapi::kPR_ATTACH_FILENAME, Value::Unicode(name));
    attachment.embedded = std::make_shared<MessageData>(std::move(message));
    return attachment;
}

// A mail with recipients, a file, an OLE object, named properties, a compressed RTF body and
// messages attached three deep, each level with an attachment of its own.
inline MessageData RichMail() {
    MessageData message = Mail(u"Top");
    message.props.SetNamed(NamedProperty::Number(kPSETID_Common, 0x8514), Value::Bool(true))
        .SetNamed(NamedProperty::String(kPS_PUBLIC_STRINGS, u"Keywords"), Value::MultiUnicode({u"a", u"b"}))
        .Set(Mapi::kPR_RTF_COMPRESSED,
             Value::Binary(
                 Rtf::Compress("{\\rtf1\\ansi\\ansicpg1252\\fromhtml1 {\\*\\htmltag <p>}Hi{\\*\\htmltag "
                               "</p>}}")));
    for (const auto* name : {u"Ann", u"Bob"}) {
        RecipientData recipient;
        recipient.props.Set(kPR_DISPLAY_NAME_W, Value::Unicode(name)).Set(kPR_RECIPIENT_TYPE, Value::Long(1));
        message.recipients.push_back(recipient);
    }
    message.attachments.push_back(FileAttachment(u"a.txt", "file bytes"));
    AttachmentData ole;
    ole.props.Set(Mapi::kPR_ATTACH_FILENAME, Value::Unicode(u"object"));
    Cfb::Storage storage;
    storage.streams["CONTENTS"] = "ole contents";
    storage.streams["\x01"
                    "CompObj"] = "compobj";
    ole.oleStorage = storage;
    message.attachments.push_back(ole);

    MessageData level3 = Mail(u"Level 3");
    level3.props.SetNamed(NamedProperty::Number(kPSETID_Appointment, 0x820D), Value::Time(FileTime{1, 2}));
    level3.attachments.push_back(FileAttachment(u"deep.bin", "deepest"));
    MessageData level2 = Mail(u"Level 2");
    level2.attachments.push_back(Attached(level3, u"Level 3.msg"));
    MessageData level1 = Mail(u"Level 1");
    level1.props.SetNamed(NamedProperty::String(kPS_PUBLIC_STRINGS, u"x-mailer"), Value::Unicode(u"Tests"));
    level1.attachments.push_back(Attached(level2, u"Level 2.msg"));
    message.attachments.push_back(Attached(level1, u"Level 1.msg"));
    return message;
}

inline MessagePtr Reopen(const MessageData& message, std::u16string name = u"test.msg") {
    return MsgMessage::OpenBytes(MsgWriter::ToBytes(message), name);
}

} // namespace Tessarix::Msg::Testing
