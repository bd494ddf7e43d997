#pragma once
// The automation-object seam over a saved Outlook item: the object-model names the wrappers read
// (Subject, SenderName, Attachments, ...) answered from the item's MAPI properties, as the host
// would answer them. The names and their properties are listed in docs/msg-items.md.
#include <filesystem>
#include <memory>
#include <optional>
#include <span>

#include "core/Automation.h"
#include "msg/MsgFile.h"

namespace Tessarix::Msg {

class MsgItem final : public Automation::IObject, public std::enable_shared_from_this<MsgItem> {
public:
    explicit MsgItem(MessagePtr message);
    // Throws MsgFileError as MsgMessage::Open does.
    static std::shared_ptr<MsgItem> Open(const std::filesystem::path& path);

    // Absent text reads as "", absent flags as false, absent numbers as 0 (Importance: 1,
    // normal), absent dates as the host's empty date (1 January 4501). Unknown names answer
    // DISP_E_UNKNOWNNAME.
    HResult Get(std::u16string_view name, Automation::Value& result) override;
    // SaveAs(path[, format]) writes the item as a .msg file (formats 3 and 9, the .msg formats;
    // others E_NOTIMPL); GetAssociatedAppointment(add) answers the item itself, a meeting request
    // carrying its appointment's properties.
    HResult Call(std::u16string_view name, std::span<const Automation::Value> args,
                 Automation::Value& result) override;
    // The Outlook item interface of the message class (IPM.Note and its subclasses: MailItem, ...).
    bool Implements(const Guid& iid) override;
    // IMessage and IMAPIProp: the message's properties; any other interface leaves `object` empty.
    HResult GetMapiObject(const Guid& iid, std::shared_ptr<Mapi::IProp>& object) override;

    const MessagePtr& Message() const { return message_; }

private:
    MessagePtr message_;
};

// Local time of a UTC file time as an automation date (none when the platform cannot convert it).
std::optional<AutomationDate> ToAutomationDate(FileTime utc);
// The same for a file time that already holds local time.
AutomationDate LocalFileTimeToAutomationDate(FileTime local);
// The calendar day whose local midnight, in the zone the item was written in, is `utc` (birthdays,
// all-day events, completion dates). `writerBias` (UTC = local + bias, minutes) settles the
// hours that a zone on either side of the date line could have written; without it the local
// zone decides.
std::optional<AutomationDate> WritersDay(FileTime utc, std::optional<std::int32_t> writerBias);

} // namespace Tessarix::Msg
