#include "core/DateFormat.h"

namespace Tessarix::DateText {

// There is no user locale to honour here; the text is what a US-English Windows shows.
std::optional<std::u16string> FormatForUser(double date, unsigned flags) {
    return FormatUsEnglish(date, flags);
}

} // namespace Tessarix::DateText
