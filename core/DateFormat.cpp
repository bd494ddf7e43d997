#include "core/DateFormat.h"

#include <cmath>

#include "core/Format.h"

namespace Tessarix::DateText {
namespace {

struct Civil {
    std::int64_t year;
    unsigned month, day;
};

// The inverse of DaysFromCivil (H. Hinnant's civil_from_days).
constexpr Civil CivilFromDays(std::int64_t z) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned d = doy - (153 * mp + 2) / 5 + 1;
    const unsigned m = mp < 10 ? mp + 3 : mp - 9;
    return {static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2), m, d};
}

constexpr double kFirstDay = static_cast<double>(SerialFromCivil(100, 1, 1));   // -657434
constexpr double kLastDay = static_cast<double>(SerialFromCivil(9999, 12, 31)); // 2958465

} // namespace

bool InRange(double date) {
    // A negative date's fraction counts forward, so the whole of 1 January 100 lies above -657435.
    return date > kFirstDay - 1.0 && date < kLastDay + 1.0; // false for NaN
}

std::optional<std::u16string> FormatUsEnglish(double date, unsigned flags) {
    if (!InRange(date))
        return std::nullopt;

    const double whole = date < 0 ? std::ceil(date) : std::floor(date);
    // oleaut32 truncates hours, minutes and seconds after a tiny bias against binary fractions that
    // fall just short (0.25 days must be 6:00:00), then rounds the rest of the second half up.
    const double fraction = std::fabs(date - whole);
    double t = fraction + 1e-11;
    if (t >= 1.0)
        t -= 1e-11;
    t *= 24.0;
    int hour = static_cast<int>(t);
    t = (t - hour) * 60.0;
    int minute = static_cast<int>(t);
    t = (t - minute) * 60.0;
    int second = static_cast<int>(t);
    t -= second;
    int carry = 0;
    if (t > 0.5 && ++second == 60) {
        second = 0;
        if (++minute == 60) {
            minute = 0;
            if (++hour == 24) {
                hour = 0;
                carry = 1; // the next calendar day, also for negative dates
            }
        }
    }

    // The last second of 31 December 9999 may round into the year 10000; oleaut32 prints that too.
    const Civil civil = CivilFromDays(DaysFromCivil(1899, 12, 30) + static_cast<std::int64_t>(whole) + carry);

    const bool dateOnly = (flags & kDateValueOnly) != 0;
    const bool timeOnly = !dateOnly && ((flags & kTimeValueOnly) != 0 || whole == 0.0);
    // Midnight is a fraction of zero, not one that rounds to 0:00:00 (that shows "12:00:00 AM").
    const bool midnight = fraction < 1e-12;

    std::u16string text;
    if (!timeOnly)
        text = Format(u"%u/%u/%lld", civil.month, civil.day, civil.year);
    if (!dateOnly && (timeOnly || !midnight)) {
        if (!text.empty())
            text += u' ';
        const int hour12 = hour % 12 == 0 ? 12 : hour % 12;
        text += Format(u"%d:%02d:%02d %s", hour12, minute, second, hour < 12 ? u"AM" : u"PM");
    }
    return text;
}

} // namespace Tessarix::DateText
