#pragma once
// Font sizes as text: what a size is in points, and the size a relative value gives against its
// parent's. Shared by the POSIX engine (which computes them) and the serializer (which resolves
// what MSHTML's current style reports in the declared unit).
#include <optional>
#include <string>
#include <string_view>

namespace Tessarix::Html {

// Points of an absolute size: a length in pt, px, in, cm, mm or pc, a keyword (xx-small ...
// xxx-large) or an HTML font size number (1-7), sized as browsers size them. Absent otherwise.
std::optional<double> FontSizePoints(std::u16string_view value);

// "%", "em", "ex", "smaller" and "larger" sizes.
bool IsRelativeFontSize(std::u16string_view value);

// The size in points ("8.8pt", two decimals at most) that a relative value gives against a parent
// of `parent`; absent when either cannot be resolved.
std::optional<std::u16string> ResolveFontSize(std::u16string_view value, std::u16string_view parent);

std::u16string PointsText(double points);

} // namespace Tessarix::Html
