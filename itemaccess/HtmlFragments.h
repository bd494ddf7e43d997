#pragma once
// The HTML pieces of a note's header block and the texts of item values.
//
// None of these escapes HTML: item values go in as they stand and the document loader parses
// whatever results. Every template is fixed to the character.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/FileTime.h"
#include "core/Utils.h"

namespace Tessarix {

class IAttachment;

// The pseudo-location under which HTML refers to an item's attachments: this prefix followed by
// the attachment's id. The attachment policy and the serializer resolve it to note resources.
inline constexpr char16_t kAttachmentUrlPrefix[] = u"file:///C:/Outlook/Attachments/";

namespace Fragments {

// "<b>" + label + ":</b> " + value + "<br/>", appended only when the value is not empty.
void AppendHeaderLine(std::u16string& out, std::u16string_view label, std::u16string_view value);
// The same for a value straight from an automation property: a nullable, zero-terminated string
// (a BSTR); null counts as empty.
void AppendHeaderLine(std::u16string& out, std::u16string_view label, const char16_t* value);

struct TableRow {
    std::u16string label;
    std::u16string value;
};

struct Table {
    std::vector<TableRow> rows;
    std::u16string style; // CSS text; empty for none
};

// " style='" + style + "'", or nothing for an empty style.
std::u16string StyleAttribute(std::u16string_view style);
// "<tr><td" + style attribute + ">" + label + ":</td><td>" + value + "</td></tr>"; "" for an
// empty value.
std::u16string TableRowHtml(std::u16string_view label, std::u16string_view value, std::u16string_view style);
// "<table" + style attribute + ">", the rows without a style, "</table>"; the tags even with no row.
std::u16string TableHtml(const Table& table);
// <a href="mailto:ADDRESS">ADDRESS</a>; "" for an empty address.
std::u16string MailLink(std::u16string_view address);
// <a href="TARGET">ADDRESS</a>, TARGET being the address when it starts with "http://" or
// "https://" (exactly, at its start) and "http://" + address otherwise; "" for an empty address.
std::u16string WebLink(std::u16string_view address);
// "<img src='" + kAttachmentUrlPrefix + id + "' />" for the attachment at `index`; a single blank
// when the index is outside the list or the entry is empty.
std::u16string InlineImage(const std::vector<std::shared_ptr<IAttachment>>& attachments, std::int64_t index);

// OlImportance: "Low", "Normal", "High"; "" for any other value.
std::u16string ImportanceText(std::int32_t importance);
// OlBusyStatus: "Free", "Tentative", "Busy", "OutOfOffice"; "" for any other value.
std::u16string BusyStatusText(std::int32_t status);
// OlTaskStatus: "Not Started", "In Progress", "Complete", "Waiting on someone else", "Deferred".
std::u16string TaskStatusText(std::int32_t status);
// "%d %s" with "minute" for exactly 1 and " minutes" otherwise (so two blanks before "minutes").
std::u16string DurationText(std::int32_t minutes);
// "%d%%": the number and a per-cent sign.
std::u16string PercentText(std::int32_t percent);

// An automation date for a header line: "" for no date and for the host's empty-date marker,
// otherwise FormatDateTime with `flags` (kDateAndTime or kDateValueOnly).
std::u16string ItemDateText(std::optional<AutomationDate> date, unsigned flags);

// A MAPI time in the user's time zone as "DD?MM?YYYY hh:mm:ss", ? being "/" for styles 1 and 3 and
// "." for style 2; "" for style 0, any other style, and a time the platform cannot convert.
std::u16string FormatLocalDateTime(FileTime time, int style);

} // namespace Fragments
} // namespace Tessarix
