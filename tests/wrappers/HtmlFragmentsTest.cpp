#include "itemaccess/HtmlFragments.h"

#include <gtest/gtest.h>

#include <ctime>

#ifdef _WIN32
#include <windows.h>
#endif

#include "support/ItemFakes.h"

namespace Tessarix {
namespace {

using namespace Fragments;

TEST(HtmlFragments, HeaderLineIsLabelAndValueOrNothing) {
    std::u16string out = u"before";
    AppendHeaderLine(out, u"From", std::u16string(u"x"));
    EXPECT_EQ(out, u"before<b>From:</b> x<br/>");

    AppendHeaderLine(out, u"To", std::u16string());
    AppendHeaderLine(out, u"CC", static_cast<const char16_t*>(nullptr));
    AppendHeaderLine(out, u"BCC", u"");
    EXPECT_EQ(out, u"before<b>From:</b> x<br/>");

    AppendHeaderLine(out, u"Subject", u"a < b & c");
    EXPECT_EQ(out, u"before<b>From:</b> x<br/><b>Subject:</b> a < b & c<br/>");
}

TEST(HtmlFragments, TableRowsCarryTheirStyleOnlyWhenGiven) {
    EXPECT_EQ(TableRowHtml(u"Pager", u"123", u""), u"<tr><td>Pager:</td><td>123</td></tr>");
    EXPECT_EQ(TableRowHtml(u"Pager", u"123", u"color:red"),
              u"<tr><td style='color:red'>Pager:</td><td>123</td></tr>");
    EXPECT_EQ(TableRowHtml(u"Pager", u"", u"color:red"), u"");
    EXPECT_EQ(StyleAttribute(u""), u"");
}

TEST(HtmlFragments, TableWritesItsTagsAlwaysAndRowsWithoutStyle) {
    EXPECT_EQ(TableHtml(Table{{}, u"width:100%"}), u"<table style='width:100%'></table>");
    EXPECT_EQ(TableHtml(Table{}), u"<table></table>");

    const Table table{{{u"Full Name", u"Ann <Smith>"}, {u"Company", u""}, {u"Email", u"a&b@x.org"}},
                      u"border:0"};
    EXPECT_EQ(TableHtml(table), u"<table style='border:0'><tr><td>Full Name:</td><td>Ann <Smith></td></tr>"
                                u"<tr><td>Email:</td><td>a&b@x.org</td></tr></table>");
}

TEST(HtmlFragments, MailAndWebLinks) {
    EXPECT_EQ(MailLink(u"ann@x.org"), u"<a href=\"mailto:ann@x.org\">ann@x.org</a>");
    EXPECT_EQ(MailLink(u""), u"");

    EXPECT_EQ(WebLink(u"https://x.org/a?b&c"), u"<a href=\"https://x.org/a?b&c\">https://x.org/a?b&c</a>");
    EXPECT_EQ(WebLink(u"http://x.org"), u"<a href=\"http://x.org\">http://x.org</a>");
    EXPECT_EQ(WebLink(u"Https://x.org"), u"<a href=\"http://Https://x.org\">Https://x.org</a>");
    EXPECT_EQ(WebLink(u"www.x.org"), u"<a href=\"http://www.x.org\">www.x.org</a>");
    EXPECT_EQ(WebLink(u" http://x.org"), u"<a href=\"http:// http://x.org\"> http://x.org</a>");
    EXPECT_EQ(WebLink(u""), u"");
}

TEST(HtmlFragments, InlineImageRefersToTheAttachmentIdOrIsABlank) {
    auto picture = std::make_shared<Testing::FakeAttachment>();
    picture->id = u"image001.png@01CB";
    const std::vector<AttachmentPtr> list{picture, nullptr};

    EXPECT_EQ(InlineImage(list, 0), u"<img src='file:///C:/Outlook/Attachments/image001.png@01CB' />");
    EXPECT_EQ(InlineImage(list, 1), u" ");
    EXPECT_EQ(InlineImage(list, 2), u" ");
    EXPECT_EQ(InlineImage(list, -1), u" ");
    EXPECT_EQ(InlineImage({}, 0), u" ");
}

TEST(HtmlFragments, Vocabularies) {
    const auto check = [](auto text, std::initializer_list<const char16_t*> words) {
        int value = -1;
        EXPECT_EQ(text(value), u"");
        for (const char16_t* word : words)
            EXPECT_EQ(text(++value), word) << value;
        EXPECT_EQ(text(++value), u"") << value;
    };
    check(ImportanceText, {u"Low", u"Normal", u"High"});
    check(BusyStatusText, {u"Free", u"Tentative", u"Busy", u"OutOfOffice"});
    check(TaskStatusText,
          {u"Not Started", u"In Progress", u"Complete", u"Waiting on someone else", u"Deferred"});
}

TEST(HtmlFragments, DurationsKeepTheDoubleBlankAndPercentagesTheirSign) {
    EXPECT_EQ(DurationText(1), u"1 minute");
    EXPECT_EQ(DurationText(0), u"0  minutes");
    EXPECT_EQ(DurationText(30), u"30  minutes");
    EXPECT_EQ(DurationText(-1), u"-1  minutes");
    EXPECT_EQ(PercentText(50), u"50%");
    EXPECT_EQ(PercentText(0), u"0%");
}

TEST(HtmlFragments, ItemDatesLeaveOutTheEmptyDateMarker) {
    // 1 January 4501, the host's "no date", with and without a time of day.
    EXPECT_EQ(ItemDateText(AutomationDate{949998.0}, kDateAndTime), u"");
    EXPECT_EQ(ItemDateText(AutomationDate{949998.5}, kDateValueOnly), u"");
    EXPECT_EQ(ItemDateText(std::nullopt, kDateAndTime), u"");

    const AutomationDate date{40609.5}; // 7 March 2011, noon
    EXPECT_EQ(ItemDateText(date, kDateAndTime), FormatDateTime(date, kDateAndTime));
    EXPECT_EQ(ItemDateText(date, kDateValueOnly), FormatDateTime(date, kDateValueOnly));
    EXPECT_NE(ItemDateText(date, kDateAndTime), ItemDateText(date, kDateValueOnly));
}

// The file time of a local wall-clock time, by the platform's inverse conversion.
FileTime LocalFileTime(int year, int month, int day, int hour, int minute, int second) {
#ifdef _WIN32
    SYSTEMTIME st{};
    st.wYear = static_cast<WORD>(year);
    st.wMonth = static_cast<WORD>(month);
    st.wDay = static_cast<WORD>(day);
    st.wHour = static_cast<WORD>(hour);
    st.wMinute = static_cast<WORD>(minute);
    st.wSecond = static_cast<WORD>(second);
    FILETIME local{}, utc{};
    EXPECT_TRUE(SystemTimeToFileTime(&st, &local));
    EXPECT_TRUE(LocalFileTimeToFileTime(&local, &utc));
    return {utc.dwLowDateTime, utc.dwHighDateTime};
#else
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    tm.tm_isdst = -1;
    const std::time_t t = std::mktime(&tm);
    return FileTime::FromTicks((static_cast<std::uint64_t>(t) + 11644473600ull) * 10000000ull);
#endif
}

TEST(HtmlFragments, LocalDateTimeStyles) {
    const FileTime morning = LocalFileTime(2010, 3, 7, 9, 5, 0);
    EXPECT_EQ(FormatLocalDateTime(morning, 1), u"07/03/2010 09:05:00");
    EXPECT_EQ(FormatLocalDateTime(morning, 3), u"07/03/2010 09:05:00");
    EXPECT_EQ(FormatLocalDateTime(morning, 2), u"07.03.2010 09:05:00");
    EXPECT_EQ(FormatLocalDateTime(morning, 0), u"");
    EXPECT_EQ(FormatLocalDateTime(morning, 4), u"");
    EXPECT_EQ(FormatLocalDateTime(morning, -1), u"");

    EXPECT_EQ(FormatLocalDateTime(LocalFileTime(2011, 12, 24, 23, 59, 58), 1), u"24/12/2011 23:59:58");
    EXPECT_EQ(FormatLocalDateTime(LocalFileTime(2011, 10, 10, 10, 10, 10), 2), u"10.10.2011 10:10:10");
    // Beyond what the platform converts.
    EXPECT_EQ(FormatLocalDateTime(FileTime{0xFFFFFFFF, 0xFFFFFFFF}, 1), u"");
}

} // namespace
} // namespace Tessarix
