#include "html/posix/StyleValues.h"

#include <algorithm>
#include <vector>

#include "core/Utf.h"
#include "html/FontSize.h"

namespace Tessarix::Html::Posix {
namespace {

using P = CssProperty;

struct PropertyInfo {
    std::string_view source; // litehtml's name; empty when composed from others
    bool inherits;
    std::u16string_view initial; // as MSHTML reports it for an element that declares nothing
};

// Indexed by CssProperty.
constexpr PropertyInfo kInfo[kCssPropertyCount] = {
    {"background-image", false, u"none"},
    {"background-attachment", false, u"scroll"},
    {"background-color", false, u"transparent"},
    {"", false, u"0%"}, // background-position-x
    {"", false, u"0%"}, // background-position-y
    {"background-repeat", false, u"repeat"},
    {"border-bottom-color", false, u""}, // the element's colour
    {"border-bottom-style", false, u"none"},
    {"border-bottom-width", false, u"medium"},
    {"border-left-color", false, u""},
    {"border-left-style", false, u"none"},
    {"border-left-width", false, u"medium"},
    {"border-right-color", false, u""},
    {"border-right-style", false, u"none"},
    {"border-right-width", false, u"medium"},
    {"border-top-color", false, u""},
    {"border-top-style", false, u"none"},
    {"border-top-width", false, u"medium"},
    {"", false, u"medium"}, // border-width
    {"clear", false, u"none"},
    {"color", true, u"#000000"},
    {"cursor", true, u"auto"},
    {"display", false, u"inline"},
    {"font-family", true, u"Times New Roman"},
    {"font-size", true, u"12pt"},
    {"font-style", true, u"normal"},
    {"font-variant", true, u"normal"},
    {"font-weight", true, u"400"},
    {"left", false, u"auto"},
    {"letter-spacing", true, u"normal"},
    {"line-height", true, u"normal"},
    {"list-style-image", true, u"none"},
    {"list-style-position", true, u"outside"},
    {"list-style-type", true, u"disc"},
    {"", false, u"0px"}, // margin
    {"margin-bottom", false, u"0px"},
    {"margin-left", false, u"0px"},
    {"margin-right", false, u"0px"},
    {"margin-top", false, u"0px"},
    {"overflow", false, u"visible"},
    {"", false, u"0px"}, // padding
    {"padding-bottom", false, u"0px"},
    {"padding-left", false, u"0px"},
    {"padding-right", false, u"0px"},
    {"padding-top", false, u"0px"},
    {"page-break-after", false, u"auto"},
    {"page-break-before", false, u"auto"},
    {"position", false, u"static"},
    {"float", false, u"none"},
    {"text-align", true, u"left"},
    {"text-decoration", false, u"none"},
    {"text-indent", true, u"0pt"},
    {"text-transform", true, u"none"},
    // MSHTML reports "inherit" rather than the parent's visibility.
    {"visibility", false, u"inherit"},
    {"vertical-align", false, u"baseline"},
    {"z-index", false, u"auto"},
};

} // namespace

std::u16string ComputedFontSize(std::u16string_view value, std::u16string_view parent, bool inherited) {
    if (inherited) {
        // The parent's own HTML size number is a size in points for its descendants.
        if (!value.empty() &&
            std::all_of(value.begin(), value.end(), [](char16_t c) { return c >= u'0' && c <= u'9'; }))
            return PointsText(*FontSizePoints(value));
        return std::u16string(value);
    }
    return ResolveFontSize(value, parent).value_or(std::u16string(value));
}

std::string_view SourcePropertyName(std::size_t slot) {
    if (slot == kBackgroundPositionSlot)
        return "background-position";
    return kInfo[slot].source;
}

bool Inherits(CssProperty p) {
    return kInfo[static_cast<std::size_t>(p)].inherits;
}

std::u16string_view InitialValue(CssProperty p) {
    return kInfo[static_cast<std::size_t>(p)].initial;
}

bool IsComposed(CssProperty p) {
    return kInfo[static_cast<std::size_t>(p)].source.empty();
}

bool IsInheritKeyword(std::string_view value) {
    return EqualsNoCase(TrimAscii(value), "inherit");
}

std::u16string NormalizeValue(CssProperty p, std::string_view declared) {
    const std::string_view value = TrimAscii(declared);
    switch (p) {
    case P::BackgroundImage:
    case P::ListStyleImage:
    case P::FontFamily:
        return FromUtf8(value);
    case P::FontWeight:
        if (EqualsNoCase(value, "normal"))
            return u"400";
        if (EqualsNoCase(value, "bold"))
            return u"700";
        return FromUtf8(LowerAscii(value));
    default:
        return FromUtf8(LowerAscii(value));
    }
}

std::u16string ComposeSides(std::u16string_view top, std::u16string_view right, std::u16string_view bottom,
                            std::u16string_view left) {
    if (top == right && right == bottom && bottom == left)
        return std::u16string(top);
    std::u16string out;
    out.reserve(top.size() + right.size() + bottom.size() + left.size() + 3);
    out.append(top).append(u" ").append(right).append(u" ").append(bottom).append(u" ").append(left);
    return out;
}

void SplitBackgroundPosition(std::string_view value, std::u16string& x, std::u16string& y) {
    std::vector<std::string> parts;
    std::string_view rest = TrimAscii(value);
    while (!rest.empty()) {
        std::size_t end = 0;
        while (end < rest.size() && !IsAsciiSpace(rest[end]))
            ++end;
        parts.push_back(LowerAscii(rest.substr(0, end)));
        rest = TrimAscii(rest.substr(end));
    }
    auto vertical = [](const std::string& s) {
        return s == "top" || s == "bottom";
    };
    auto horizontal = [](const std::string& s) {
        return s == "left" || s == "right";
    };
    if (parts.empty()) {
        x = u"0%";
        y = u"0%";
        return;
    }
    if (parts.size() == 1)
        parts.push_back(vertical(parts[0]) ? parts[0] : "center");
    if (parts.size() == 2 && vertical(parts[0]) && parts[1] == parts[0])
        parts[0] = "center";
    if (vertical(parts[0]) || horizontal(parts[1]))
        std::swap(parts[0], parts[1]);
    x = FromUtf8(parts[0]);
    y = FromUtf8(parts[1]);
}

std::string LowerAscii(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return out;
}

bool IsAsciiSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

std::string_view TrimAscii(std::string_view s) {
    while (!s.empty() && IsAsciiSpace(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && IsAsciiSpace(s.back()))
        s.remove_suffix(1);
    return s;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z')
            x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z')
            y = static_cast<char>(y - 'A' + 'a');
        if (x != y)
            return false;
    }
    return true;
}

} // namespace Tessarix::Html::Posix
