// The builders' edge cases and tables; their ordinary output is in every whole note of the
// wrapper tests.
#include "itemaccess/HtmlFragments.h"

#include <gtest/gtest.h>

#include <ctime>

#ifdef _WIN32
#include <windows.h>
#endif

namespace Tessarix {
namespace {

using namespace Fragments;

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
