#pragma once
// Small shared operations: an object's saved bytes through a temporary file, plain text to HTML,
// and date formatting.
#include <optional>
#include <string>
#include <string_view>

#include "core/ByteString.h"
#include "core/FileSystem.h"

namespace Tessarix {

namespace Clipper {
// An object that can save its bytes to a file.
class IDataStorage {
public:
    virtual ~IDataStorage() = default;
    // Writes the object to the file at `path`; raises on failure.
    virtual void SaveTo(const std::u16string& path) = 0;
};
} // namespace Clipper

namespace Utils {
// Saves `storage` into a new temporary file named "TSX…", reads it back into `out` and deletes
// the file. When the file cannot be opened, logs and leaves `out` unchanged (and the file in place).
void LoadData(Clipper::IDataStorage& storage, StringUTF8& out);
} // namespace Utils

// "<" -> "&lt;", ">" -> "&gt;", LF -> "<br>", blank -> "&nbsp;"; nothing else. Linear time.
std::u16string EscapeHtml(std::u16string_view text);
// Text for markup: "&", "<", ">" and '"' as entity references; blanks and line ends as they are.
std::u16string EscapeMarkup(std::u16string_view text);
// 8-bit text in `codePage` to wide text, then EscapeHtml. Undecodable text gives "".
std::u16string TextToHtml(std::string_view text, std::uint32_t codePage);

// "%i-%02i-%02iT%02i:%02i:%02i.%03iZ"
std::u16string FormatIsoUtc(const Platform::SystemTime& t);

// Automation dates (OLE DATE): days since 30 December 1899, the fraction being the time of day.
struct AutomationDate {
    double value = 0;
};
// VarBstrFromDate flags.
inline constexpr unsigned kDateAndTime = 0;   // the date, and the time unless it is midnight
inline constexpr unsigned kDateValueOnly = 2; // VAR_DATEVALUEONLY
// Formats with the platform's variant date formatting (VarBstrFromDate with LOCALE_USER_DEFAULT on
// Windows; US-English Windows text on POSIX, e.g. "3/7/2011 2:05:09 PM"). No date gives "";
// a date outside the automation range gives "Invalid DateTime".
std::u16string FormatDateTime(std::optional<AutomationDate> date, unsigned flags = kDateAndTime);
// The host's empty-date marker: any time on 1 January 4501.
bool IsEmptyDateMarker(AutomationDate date);

} // namespace Tessarix
