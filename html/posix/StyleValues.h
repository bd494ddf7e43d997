#pragma once
// How the POSIX engine turns cascaded CSS declarations into the strings MSHTML's current style
// reports: declared values as written (keywords and colours in lower case), inheritance only for
// the properties that inherit, MSHTML's defaults where nothing was declared, and the shorthands
// MSHTML composes (margin, padding, border-width, background-position-x/-y).
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "html/Document.h"

namespace Tessarix::Html::Posix {

// The declared values of one element, as litehtml's cascade leaves them (UTF-8). One slot per
// property of the list, plus background-position, which MSHTML splits in two. Null: undeclared.
inline constexpr std::size_t kBackgroundPositionSlot = kCssPropertyCount;
inline constexpr std::size_t kDeclaredSlotCount = kCssPropertyCount + 1;

struct DeclaredStyle {
    std::array<const std::string*, kDeclaredSlotCount> values{};
};

// litehtml's property name for each slot; empty for the composed properties.
std::string_view SourcePropertyName(std::size_t slot);

struct ComputedStyle {
    std::array<std::u16string_view, kCssPropertyCount> values{};
};

// Resolves one element: `parent` is null for the root. `intern` keeps a string for the life of
// the document and returns a view of it; `declaredValue(property, value)` returns the view of
// NormalizeValue(property, *value), which the caller may remember per (property, value).
template <typename Intern, typename DeclaredValue>
ComputedStyle ResolveStyle(const DeclaredStyle& declared, const ComputedStyle* parent, Intern&& intern,
                           DeclaredValue&& declaredValue);

// ASCII text of CSS values and HTML attributes: its white space, trimmed, compared without case.
bool IsAsciiSpace(char c);
std::string_view TrimAscii(std::string_view s);
bool EqualsNoCase(std::string_view a, std::string_view b);
std::string LowerAscii(std::string_view s);

// --- details shared with the template ---
bool Inherits(CssProperty p);
std::u16string_view InitialValue(CssProperty p);
bool IsComposed(CssProperty p);
// Trims; lower-cases everything but addresses and font names; maps font weights to numbers.
std::u16string NormalizeValue(CssProperty p, std::string_view declared);
// "a" when all four are equal, else "a b c d" (top right bottom left).
std::u16string ComposeSides(std::u16string_view top, std::u16string_view right, std::u16string_view bottom,
                            std::u16string_view left);
// Splits a background-position into its horizontal and vertical parts.
void SplitBackgroundPosition(std::string_view value, std::u16string& x, std::u16string& y);
bool IsInheritKeyword(std::string_view value);
// The font size an element computes, given its reported value and its parent's computed one (the
// initial size at the root). A relative value (%, em, ex, smaller, larger) becomes points, so that
// the note does not apply it again on every nested element; an HTML font size number is a
// size of the element that carries it and reaches its descendants as points. Anything that cannot
// be resolved stays as it is.
std::u16string ComputedFontSize(std::u16string_view value, std::u16string_view parent, bool inherited);

template <typename Intern, typename DeclaredValue>
ComputedStyle ResolveStyle(const DeclaredStyle& declared, const ComputedStyle* parent, Intern&& intern,
                           DeclaredValue&& declaredValue) {
    ComputedStyle out;
    auto resolve = [&](CssProperty p) {
        const auto i = static_cast<std::size_t>(p);
        const std::string* d = declared.values[i];
        if (d && !d->empty() && !IsInheritKeyword(*d)) {
            out.values[i] = declaredValue(p, d);
        } else if ((d && IsInheritKeyword(*d)) || Inherits(p)) {
            out.values[i] = parent ? parent->values[i] : InitialValue(p);
        } else {
            out.values[i] = InitialValue(p);
        }
    };
    // Colour first: undeclared border colours take the element's colour.
    resolve(CssProperty::Color);
    for (std::size_t i = 0; i < kCssPropertyCount; ++i) {
        const auto p = static_cast<CssProperty>(i);
        if (p == CssProperty::Color || IsComposed(p))
            continue;
        resolve(p);
        if (out.values[i].empty() && !Inherits(p)) {
            switch (p) {
            case CssProperty::BorderBottomColor:
            case CssProperty::BorderLeftColor:
            case CssProperty::BorderRightColor:
            case CssProperty::BorderTopColor:
                out.values[i] = out.values[static_cast<std::size_t>(CssProperty::Color)];
                break;
            default:
                break;
            }
        }
    }
    {
        const auto i = static_cast<std::size_t>(CssProperty::FontSize);
        const std::u16string_view parentSize =
            parent ? parent->values[i] : InitialValue(CssProperty::FontSize);
        const std::string* d = declared.values[i];
        const bool inherited = !d || d->empty() || IsInheritKeyword(*d);
        const std::u16string size = ComputedFontSize(out.values[i], parentSize, inherited);
        if (size != out.values[i])
            out.values[i] = intern(size);
    }
    auto at = [&](CssProperty p) {
        return out.values[static_cast<std::size_t>(p)];
    };
    auto set = [&](CssProperty p, std::u16string v) {
        out.values[static_cast<std::size_t>(p)] = intern(std::move(v));
    };
    set(CssProperty::Margin, ComposeSides(at(CssProperty::MarginTop), at(CssProperty::MarginRight),
                                          at(CssProperty::MarginBottom), at(CssProperty::MarginLeft)));
    set(CssProperty::Padding, ComposeSides(at(CssProperty::PaddingTop), at(CssProperty::PaddingRight),
                                           at(CssProperty::PaddingBottom), at(CssProperty::PaddingLeft)));
    set(CssProperty::BorderWidth,
        ComposeSides(at(CssProperty::BorderTopWidth), at(CssProperty::BorderRightWidth),
                     at(CssProperty::BorderBottomWidth), at(CssProperty::BorderLeftWidth)));
    const std::string* position = declared.values[kBackgroundPositionSlot];
    if (position && IsInheritKeyword(*position) && parent) {
        out.values[static_cast<std::size_t>(CssProperty::BackgroundPositionX)] =
            parent->values[static_cast<std::size_t>(CssProperty::BackgroundPositionX)];
        out.values[static_cast<std::size_t>(CssProperty::BackgroundPositionY)] =
            parent->values[static_cast<std::size_t>(CssProperty::BackgroundPositionY)];
    } else if (position && !position->empty() && !IsInheritKeyword(*position)) {
        std::u16string x, y;
        SplitBackgroundPosition(*position, x, y);
        set(CssProperty::BackgroundPositionX, std::move(x));
        set(CssProperty::BackgroundPositionY, std::move(y));
    } else {
        out.values[static_cast<std::size_t>(CssProperty::BackgroundPositionX)] =
            InitialValue(CssProperty::BackgroundPositionX);
        out.values[static_cast<std::size_t>(CssProperty::BackgroundPositionY)] =
            InitialValue(CssProperty::BackgroundPositionY);
    }
    return out;
}

} // namespace Tessarix::Html::Posix
