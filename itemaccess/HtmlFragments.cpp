#include "itemaccess/HtmlFragments.h"

#include "core/Format.h"
#include "itemaccess/IAttachment.h"

namespace Tessarix::Fragments {

void AppendHeaderLine(std::u16string& out, std::u16string_view label, std::u16string_view value) {
    if (value.empty())
        return;
    out += u"<b>";
    out += label;
    out += u":</b> ";
    out += value;
    out += u"<br/>";
}

void AppendHeaderLine(std::u16string& out, std::u16string_view label, const char16_t* value) {
    AppendHeaderLine(out, label, value ? std::u16string_view(value) : std::u16string_view());
}

std::u16string StyleAttribute(std::u16string_view style) {
    if (style.empty())
        return {};
    std::u16string attribute = u" style='";
    attribute += style;
    attribute += u"'";
    return attribute;
}

std::u16string TableRowHtml(std::u16string_view label, std::u16string_view value, std::u16string_view style) {
    if (value.empty())
        return {};
    std::u16string row = u"<tr><td";
    row += StyleAttribute(style);
    row += u">";
    row += label;
    row += u":</td><td>";
    row += value;
    row += u"</td></tr>";
    return row;
}

std::u16string TableHtml(const Table& table) {
    std::u16string html = Format(u"<table%s>", StyleAttribute(table.style));
    for (const auto& row : table.rows)
        html += TableRowHtml(row.label, row.value, {});
    html += u"</table>";
    return html;
}

std::u16string MailLink(std::u16string_view address) {
    if (address.empty())
        return {};
    std::u16string link = u"<a href=\"mailto:";
    link += address;
    link += u"\">";
    link += address;
    link += u"</a>";
    return link;
}

std::u16string WebLink(std::u16string_view address) {
    if (address.empty())
        return {};
    std::u16string link = u"<a href=\"";
    if (!address.starts_with(u"http://") && !address.starts_with(u"https://"))
        link += u"http://";
    link += address;
    link += u"\">";
    link += address;
    link += u"</a>";
    return link;
}

std::u16string InlineImage(const std::vector<std::shared_ptr<IAttachment>>& attachments, std::int64_t index) {
    if (index < 0 || static_cast<std::uint64_t>(index) >= attachments.size())
        return u" ";
    const auto& attachment = attachments[static_cast<std::size_t>(index)];
    if (!attachment)
        return u" ";
    std::u16string image = u"<img src='";
    image += kAttachmentUrlPrefix;
    image += attachment->GetID();
    image += u"' />";
    return image;
}

std::u16string ImportanceText(std::int32_t importance) {
    switch (importance) {
    case 0:
        return u"Low";
    case 1:
        return u"Normal";
    case 2:
        return u"High";
    default:
        return {};
    }
}

std::u16string BusyStatusText(std::int32_t status) {
    switch (status) {
    case 0:
        return u"Free";
    case 1:
        return u"Tentative";
    case 2:
        return u"Busy";
    case 3:
        return u"OutOfOffice";
    default:
        return {};
    }
}

std::u16string TaskStatusText(std::int32_t status) {
    switch (status) {
    case 0:
        return u"Not Started";
    case 1:
        return u"In Progress";
    case 2:
        return u"Complete";
    case 3:
        return u"Waiting on someone else";
    case 4:
        return u"Deferred";
    default:
        return {};
    }
}

std::u16string DurationText(std::int32_t minutes) {
    return Format(u"%d %s", minutes, minutes == 1 ? u"minute" : u" minutes");
}

std::u16string PercentText(std::int32_t percent) {
    return Format(u"%d%%", percent);
}

std::u16string ItemDateText(std::optional<AutomationDate> date, unsigned flags) {
    if (!date || IsEmptyDateMarker(*date))
        return {};
    return FormatDateTime(date, flags);
}

std::u16string FormatLocalDateTime(FileTime time, int style) {
    char16_t separator = 0;
    switch (style) {
    case 1:
    case 3:
        separator = u'/';
        break;
    case 2:
        separator = u'.';
        break;
    default:
        return {};
    }
    const auto local = Platform::FileTimeToLocalTime(time);
    if (!local)
        return {};
    const auto zero = [](int field) {
        return field < 10 ? u"0" : u"";
    };
    return Format(u"%s%d%c%s%d%c%d %s%d:%s%d:%s%d", zero(local->day), local->day, separator,
                  zero(local->month), local->month, separator, local->year, zero(local->hour), local->hour,
                  zero(local->minute), local->minute, zero(local->second), local->second);
}

} // namespace Tessarix::Fragments
