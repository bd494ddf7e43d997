#pragma once
// Text of automation dates (OLE DATE: days since 30 December 1899; the fraction is the time of day,
// counted forward from the day even when the day is negative).
//
// The US-English rules are portable so that both builds test them; the text for the current user is
// the platform's: VarBstrFromDate with LOCALE_USER_DEFAULT on Windows, the US-English rules on POSIX.
#include <cstdint>
#include <optional>
#include <string>

namespace Tessarix::DateText {

inline constexpr unsigned kTimeValueOnly = 1; // VAR_TIMEVALUEONLY
inline constexpr unsigned kDateValueOnly = 2; // VAR_DATEVALUEONLY

// Days from 1970-01-01 to the given proleptic Gregorian date (H. Hinnant's days_from_civil).
constexpr std::int64_t DaysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

// The automation date of midnight on the given day.
constexpr std::int64_t SerialFromCivil(std::int64_t y, unsigned m, unsigned d) {
    return DaysFromCivil(y, m, d) - DaysFromCivil(1899, 12, 30);
}

// 1 January 100 to 31 December 9999, any time of those days.
bool InRange(double date);

// What VarBstrFromDate gives on US-English Windows: "M/D/YYYY h:mm:ss AM", the date alone when the
// fraction is zero (or with kDateValueOnly), the time alone when the whole part is zero, that is on
// 30 December 1899 (or with kTimeValueOnly); seconds rounded as oleaut32 rounds them. nullopt
// outside the range.
std::optional<std::u16string> FormatUsEnglish(double date, unsigned flags);

// The platform's text for the current user; nullopt when the platform refuses the date.
std::optional<std::u16string> FormatForUser(double date, unsigned flags);

} // namespace Tessarix::DateText
