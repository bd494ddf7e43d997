#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>

#include "core/DateFormat.h"
#include "core/Exceptions.h"
#include "core/Log.h"
#include "core/Utf.h"
#include "core/Utils.h"
#include "support/ItemLog.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <cstdlib>
#endif

using namespace Tessarix;

// ---- EscapeHtml, TextToHtml ---------------------------------------------------------------------

// The four replacements in turn ("<", ">", line feed, space); ampersands, quotes, tabs, carriage
// returns and other blanks stay as they are.
TEST(EscapeHtml, ReplacesAngleBracketsLineFeedsAndBlanks) {
    EXPECT_EQ(EscapeHtml(u"a < b\r\nc"), u"a&nbsp;&lt;&nbsp;b\r<br>c");
    EXPECT_EQ(EscapeHtml(u"<>&\"'\t\u00A0\u65E5\n\n  "), u"&lt;&gt;&\"'\t\u00A0\u65E5<br><br>&nbsp;&nbsp;");
}

TEST(EscapeMarkup, EscapesAmpersandFirstAndLeavesLayoutAlone) {
    // "&" must not be escaped again after the others: "&lt;" in the input stays visible text.
    EXPECT_EQ(EscapeMarkup(u"a&lt;b <\"c\"> \r\n\t"), u"a&amp;lt;b &lt;&quot;c&quot;&gt; \r\n\t");
    EXPECT_EQ(EscapeMarkup(u"\u65E5\u00A0'"), u"\u65E5\u00A0'");
}

TEST(TextToHtml, DecodesTheCodePageThenEscapes) {
    EXPECT_EQ(TextToHtml("caf\xE9 <b>\n\x80", 1252), u"caf\u00E9&nbsp;&lt;b&gt;<br>\u20AC");
    EXPECT_EQ(TextToHtml("\x93\xFA\x96\x7B 1", 932), u"\u65E5\u672C&nbsp;1");
    EXPECT_EQ(TextToHtml("caf\xC3\xA9 x", 65001), u"caf\u00E9&nbsp;x");
}

TEST(TextToHtml, StopsAtTheFirstNulAndGivesEmptyTextForUnknownPages) {
    EXPECT_EQ(TextToHtml(std::string_view("a b\0c d", 7), 1252), u"a&nbsp;b");
    EXPECT_EQ(TextToHtml("text", 12345), u"");
    EXPECT_EQ(TextToHtml("", 1252), u"");
}

// ---- FormatIsoUtc ------------------------------------------------------------------------------

TEST(FormatIsoUtc, PadsEveryFieldButTheYear) {
    Platform::SystemTime t;
    t.year = 2011, t.month = 3, t.day = 7, t.hour = 4, t.minute = 5, t.second = 9, t.milliseconds = 7;
    EXPECT_EQ(FormatIsoUtc(t), u"2011-03-07T04:05:09.007Z");
    t.year = 999, t.month = 12, t.day = 31, t.hour = 23, t.minute = 59, t.second = 59, t.milliseconds = 999;
    EXPECT_EQ(FormatIsoUtc(t), u"999-12-31T23:59:59.999Z");
}

// ---- Dates -------------------------------------------------------------------------------------

namespace {

constexpr double kMarch7th2011 = 40609; // a Monday
constexpr double kSecond = 1.0 / 86400;

double At(double day, int hour, int minute, double second) {
    return day + (hour * 3600 + minute * 60 + second) * kSecond;
}

struct DateCase {
    double date;
    unsigned flags;
    const char16_t* text;
};

// What a US-English Windows shows (cross-checked with Wine's oleaut32).
const DateCase kUsEnglish[] = {
    {At(kMarch7th2011, 14, 5, 9), kDateAndTime, u"3/7/2011 2:05:09 PM"},
    {kMarch7th2011, kDateAndTime, u"3/7/2011"},                           // midnight: the date alone
    {At(kMarch7th2011, 12, 0, 0), kDateAndTime, u"3/7/2011 12:00:00 PM"}, // noon
    {At(kMarch7th2011, 0, 0, 1), kDateAndTime, u"3/7/2011 12:00:01 AM"},
    {At(kMarch7th2011, 11, 59, 59), kDateAndTime, u"3/7/2011 11:59:59 AM"},
    {At(kMarch7th2011, 12, 59, 59), kDateAndTime, u"3/7/2011 12:59:59 PM"},
    {At(kMarch7th2011, 13, 0, 0), kDateAndTime, u"3/7/2011 1:00:00 PM"},
    {kMarch7th2011 + 0.99999, kDateAndTime, u"3/7/2011 11:59:59 PM"},         // 86399.136 s
    {At(kMarch7th2011, 23, 59, 59.6), kDateAndTime, u"3/8/2011 12:00:00 AM"}, // rounds into the next day
    {kMarch7th2011 + 0.000001, kDateAndTime, u"3/7/2011 12:00:00 AM"}, // not midnight, though it rounds to it
    {At(kMarch7th2011, 10, 20, 30.4), kDateAndTime, u"3/7/2011 10:20:30 AM"},
    {At(kMarch7th2011, 10, 20, 30.6), kDateAndTime, u"3/7/2011 10:20:31 AM"},
    {36585.75, kDateAndTime, u"2/29/2000 6:00:00 PM"},
    {61, kDateAndTime, u"3/1/1900"}, // unlike a spreadsheet, no 29 February 1900
    {1, kDateAndTime, u"12/31/1899"},
    {0, kDateAndTime, u"12:00:00 AM"}, // 30 December 1899: the time alone
    {0.5, kDateAndTime, u"12:00:00 PM"},
    {-0.25, kDateAndTime, u"6:00:00 AM"},
    {-1, kDateAndTime, u"12/29/1899"},
    {-1.5, kDateAndTime, u"12/29/1899 12:00:00 PM"}, // the fraction counts forward from the day
    {-49192.24, kDateAndTime, u"4/24/1765 5:45:36 AM"},
    {-657434, kDateAndTime, u"1/1/100"},
    {-657434.99, kDateAndTime, u"1/1/100 11:45:36 PM"},
    {2958465, kDateAndTime, u"12/31/9999"},
    {2958465.999, kDateAndTime, u"12/31/9999 11:58:34 PM"},
    {949998, kDateAndTime, u"1/1/4501"},
    {At(kMarch7th2011, 14, 5, 9), kDateValueOnly, u"3/7/2011"},
    {-1.5, kDateValueOnly, u"12/29/1899"},
    {At(kMarch7th2011, 14, 5, 9), DateText::kTimeValueOnly, u"2:05:09 PM"},
};

} // namespace

TEST(DateText, FormatsAsUsEnglishWindowsDoes) {
    for (const DateCase& c : kUsEnglish) {
        const auto text = DateText::FormatUsEnglish(c.date, c.flags);
        ASSERT_TRUE(text.has_value()) << c.date;
        EXPECT_EQ(ToUtf8(*text), ToUtf8(c.text)) << "date " << c.date << " flags " << c.flags;
    }
    // A date-only request on 30 December 1899 still names the day.
    EXPECT_EQ(DateText::FormatUsEnglish(0.5, kDateValueOnly), u"12/30/1899");
}

TEST(DateText, RejectsDatesOutsideTheAutomationRange) {
    const double outside[] = {-657435,
                              -657435.5,
                              2958466,
                              2958466.5,
                              1e300,
                              -1e300,
                              std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::quiet_NaN()};
    for (double date : outside) {
        EXPECT_FALSE(DateText::InRange(date)) << date;
        EXPECT_FALSE(DateText::FormatUsEnglish(date, kDateAndTime).has_value()) << date;
        EXPECT_EQ(FormatDateTime(AutomationDate{date}), u"Invalid DateTime") << date;
    }
    EXPECT_TRUE(DateText::InRange(-657434.99999));
    EXPECT_TRUE(DateText::InRange(2958465.99999));
    // No date at all is empty text.
    EXPECT_EQ(FormatDateTime(std::nullopt), u"");
    EXPECT_EQ(FormatDateTime(std::nullopt, kDateValueOnly), u"");
}

TEST(FormatDateTime, UsesThePlatformFormattingForTheUser) {
#ifdef _WIN32
    // VarBstrFromDate with the user's locale: the US text only where the user is US-English.
    if (GetUserDefaultLCID() != 0x409)
        GTEST_SKIP() << "the user locale is not en-US";
#endif
    for (const DateCase& c : kUsEnglish) {
        EXPECT_EQ(ToUtf8(FormatDateTime(AutomationDate{c.date}, c.flags)), ToUtf8(c.text))
            << "date " << c.date << " flags " << c.flags;
    }
}

TEST(IsEmptyDateMarker, IsAnyTimeOnTheFirstOfJanuary4501) {
    EXPECT_TRUE(IsEmptyDateMarker({949998.0}));
    EXPECT_TRUE(IsEmptyDateMarker({949998.5}));
    EXPECT_TRUE(IsEmptyDateMarker({949998.99999}));
    EXPECT_FALSE(IsEmptyDateMarker({949997.99999}));
    EXPECT_FALSE(IsEmptyDateMarker({949999.0}));
    EXPECT_FALSE(IsEmptyDateMarker({kMarch7th2011}));
    EXPECT_FALSE(IsEmptyDateMarker({std::numeric_limits<double>::quiet_NaN()}));
}

// ---- LoadData ----------------------------------------------------------------------------------

namespace {

// Saves whatever the test asks and remembers where it was asked to save.
class FakeStorage : public Clipper::IDataStorage {
public:
    enum class Action { Write, WriteNothing, Remove, Fail };
    FakeStorage(Action action, std::string bytes = {}) : action_(action), bytes_(std::move(bytes)) {}

    void SaveTo(const std::u16string& path) override {
        path_ = path;
        switch (action_) {
        case Action::Write:
            ASSERT_TRUE(Platform::WriteFile(path, bytes_));
            break;
        case Action::WriteNothing:
            break;
        case Action::Remove:
            ASSERT_TRUE(Platform::DeleteFile(path));
            break;
        case Action::Fail:
            throw kE_OUTOFMEMORY;
        }
    }
    const std::u16string& Path() const { return path_; }

private:
    Action action_;
    std::string bytes_;
    std::u16string path_;
};

std::u16string FileName(const std::u16string& path) {
    return path.substr(path.find_last_of(u"/\\") + 1);
}

} // namespace

// Whatever the storage does, the temporary file is gone afterwards; a file it removed is logged
// and leaves the output as it was; a failing save propagates.
TEST(LoadData, ReadsTheSavedBytesThroughATemporaryFileItDeletes) {
    Testing::OpenItemLog();
    const std::u16string logPath = Testing::CurrentLogFile();
    const std::string bytes("MSG\0\xD0\xCF\x11\xE0 body\r\n", 15);
    const struct {
        FakeStorage::Action action;
        std::string out;
        bool logged;
    } cases[] = {{FakeStorage::Action::Write, bytes, false},
                 {FakeStorage::Action::WriteNothing, "", false},
                 {FakeStorage::Action::Remove, "previous", true},
                 {FakeStorage::Action::Fail, "previous", false}};
    for (const auto& c : cases) {
        const std::size_t before = Testing::ReadLogFile(logPath).size();
        FakeStorage storage(c.action, bytes);
        StringUTF8 out = StringUTF8::Copy("previous");
        try {
            Utils::LoadData(storage, out);
            EXPECT_NE(c.action, FakeStorage::Action::Fail) << "no exception";
        } catch (HResult hr) {
            EXPECT_EQ(hr, kE_OUTOFMEMORY);
        }
        EXPECT_EQ(out.View(), c.out);
        EXPECT_TRUE(FileName(storage.Path()).starts_with(u"TSX")) << ToUtf8(storage.Path());
        EXPECT_FALSE(Platform::ReadFile(storage.Path()).has_value());
        const std::string added = Testing::ReadLogFile(logPath).substr(before);
        EXPECT_EQ(added.find(" Info: Utils::LoadData: Fail to open file: " + ToUtf8(storage.Path()) +
                             "\r\r\n") != std::string::npos,
                  c.logged)
            << added;
    }
}
