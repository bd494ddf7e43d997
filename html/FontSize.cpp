#include "html/FontSize.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "core/Utf.h"

namespace Tessarix::Html {
namespace {

bool AllDigits(std::u16string_view s) {
    return !s.empty() && std::all_of(s.begin(), s.end(), [](char16_t c) { return c >= u'0' && c <= u'9'; });
}

// A number followed by its unit ("8.5pt" gives 8.5 and "pt").
std::optional<std::pair<double, std::string>> SplitNumber(std::u16string_view value) {
    const std::string text = ToUtf8(std::u16string(value));
    std::size_t end = 0;
    while (end < text.size() && ((text[end] >= '0' && text[end] <= '9') || text[end] == '.'))
        ++end;
    double number = 0;
    if (end == 0 || std::sscanf(text.substr(0, end).c_str(), "%lf", &number) != 1)
        return std::nullopt;
    return std::make_pair(number, text.substr(end));
}

} // namespace

std::optional<double> FontSizePoints(std::u16string_view value) {
    static const std::pair<std::u16string_view, double> kKeywords[] = {
        {u"xx-small", 6.75}, {u"x-small", 7.5}, {u"small", 9.75},  {u"medium", 12},
        {u"large", 13.5},    {u"x-large", 18},  {u"xx-large", 24}, {u"xxx-large", 36},
    };
    for (const auto& [keyword, points] : kKeywords)
        if (value == keyword)
            return points;
    if (AllDigits(value)) {
        // size=1 is x-small ... size=7 xxx-large.
        static const double kNumbers[] = {7.5, 7.5, 9.75, 12, 13.5, 18, 24, 36};
        const int n = value.size() > 1 ? 7 : value[0] - u'0';
        return kNumbers[std::min(n, 7)];
    }
    const auto split = SplitNumber(value);
    if (!split)
        return std::nullopt;
    const auto& [number, unit] = *split;
    static const std::pair<std::string_view, double> kUnits[] = {
        {"pt", 1}, {"px", 0.75}, {"in", 72}, {"cm", 72 / 2.54}, {"mm", 72 / 25.4}, {"pc", 12},
    };
    for (const auto& [name, factor] : kUnits)
        if (unit == name)
            return number * factor;
    return std::nullopt;
}

bool IsRelativeFontSize(std::u16string_view value) {
    if (value == u"smaller" || value == u"larger")
        return true;
    const auto split = SplitNumber(value);
    return split && (split->second == "%" || split->second == "em" || split->second == "ex");
}

std::optional<std::u16string> ResolveFontSize(std::u16string_view value, std::u16string_view parent) {
    const auto base = FontSizePoints(parent);
    if (!base || !IsRelativeFontSize(value))
        return std::nullopt;
    if (value == u"smaller")
        return PointsText(*base / 1.2);
    if (value == u"larger")
        return PointsText(*base * 1.2);
    const auto split = SplitNumber(value);
    if (!split)
        return std::nullopt;
    const double number = split->first;
    const std::string& unit = split->second;
    const double factor = unit == "%" ? number / 100 : unit == "em" ? number : number / 2;
    return PointsText(*base * factor);
}

std::u16string PointsText(double points) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", points);
    std::string s(text);
    while (s.back() == '0')
        s.pop_back();
    if (s.back() == '.')
        s.pop_back();
    return FromUtf8(s + "pt");
}

} // namespace Tessarix::Html
