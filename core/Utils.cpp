#include "core/Utils.h"

#include <cstring>

#include "core/CodePage.h"
#include "core/DateFormat.h"
#include "core/Exceptions.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/LogText.h"

namespace Tessarix {

namespace {

constexpr char16_t kInvalidDateTime[] = u"Invalid DateTime";
constexpr double kEmptyDateMarker = static_cast<double>(DateText::SerialFromCivil(4501, 1, 1));

} // namespace

namespace Utils {

void LoadData(Clipper::IDataStorage& storage, StringUTF8& out) {
    const std::u16string path = Platform::CreateTempFile(u"TSX");
    if (path.empty()) {
        Log().Error(u"Utils::LoadData: Fail to create a temporary file");
        ThrowIfFailed(kE_FAIL);
    }
    try {
        storage.SaveTo(path);
    } catch (...) {
        Platform::DeleteFile(path); // the failure is the storage's; the empty file is ours
        throw;
    }
    std::optional<std::string> bytes = Platform::ReadFile(path);
    if (!bytes) {
        Log().Info(u"Utils::LoadData: Fail to open file: " + LogLiteral(path));
        return;
    }
    out = StringUTF8::Adopt(std::move(*bytes));
    Platform::DeleteFile(path);
}

} // namespace Utils

// One pass over the text. No replacement produces a character that a later one replaces ("<br>"
// comes after the angle brackets are done, and no replacement contains a blank), so mapping each
// character once gives the same text as the four replacements done one after the other.
std::u16string EscapeHtml(std::u16string_view text) {
    static constexpr char16_t kLt[] = u"&lt;";
    static constexpr char16_t kGt[] = u"&gt;";
    static constexpr char16_t kBr[] = u"<br>";
    static constexpr char16_t kNbsp[] = u"&nbsp;";

    std::size_t length = text.size();
    for (char16_t c : text) {
        switch (c) {
        case u'<':
        case u'>':
        case u'\n':
            length += 3;
            break;
        case u' ':
            length += 5;
            break;
        default:
            break;
        }
    }
    if (length == text.size())
        return std::u16string(text);

    std::u16string out(length, u'\0');
    char16_t* p = out.data();
    const auto put = [&p](const char16_t* s, std::size_t n) {
        std::memcpy(p, s, n * sizeof(char16_t));
        p += n;
    };
    for (char16_t c : text) {
        switch (c) {
        case u'<':
            put(kLt, 4);
            break;
        case u'>':
            put(kGt, 4);
            break;
        case u'\n':
            put(kBr, 4);
            break;
        case u' ':
            put(kNbsp, 6);
            break;
        default:
            *p++ = c;
            break;
        }
    }
    return out;
}

std::u16string TextToHtml(std::string_view text, std::uint32_t codePage) {
    // The text is converted as a zero-terminated string: it ends at its first NUL.
    const std::size_t end = text.find('\0');
    if (end != std::string_view::npos)
        text = text.substr(0, end);
    const std::u16string wide = CodePage::ToWide(text, codePage);
    if (wide.empty())
        return {};
    return EscapeHtml(wide);
}

std::u16string EscapeMarkup(std::u16string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (const char16_t c : text) {
        switch (c) {
        case u'&':
            out += u"&amp;";
            break;
        case u'<':
            out += u"&lt;";
            break;
        case u'>':
            out += u"&gt;";
            break;
        case u'"':
            out += u"&quot;";
            break;
        default:
            out.push_back(c);
        }
    }
    return out;
}

std::u16string FormatIsoUtc(const Platform::SystemTime& t) {
    return Format(u"%i-%02i-%02iT%02i:%02i:%02i.%03iZ", t.year, t.month, t.day, t.hour, t.minute, t.second,
                  t.milliseconds);
}

std::u16string FormatDateTime(std::optional<AutomationDate> date, unsigned flags) {
    if (!date)
        return {};
    if (!DateText::InRange(date->value))
        return kInvalidDateTime;
    std::optional<std::u16string> text = DateText::FormatForUser(date->value, flags);
    return text ? std::move(*text) : std::u16string(kInvalidDateTime);
}

bool IsEmptyDateMarker(AutomationDate date) {
    return date.value >= kEmptyDateMarker && date.value < kEmptyDateMarker + 1.0;
}

} // namespace Tessarix
