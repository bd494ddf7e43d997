#pragma once
// A linear pass over untrusted HTML before gumbo parses it. gumbo's tree builder scans its stack of
// open elements for many tokens and checks each attribute against those before it, so deep nesting
// and attribute floods make it quadratic (100000 nested <div> take half a minute). The pass bounds
// both by dropping markup, so gumbo's work stays linear in the input.
#include <cstddef>
#include <string>
#include <string_view>

namespace Tessarix::Html::Posix {

enum class MarkupUse {
    // Only the text is read: attributes, the formatting elements (a, b, font ...) and isindex go
    // too, none of which changes the text.
    Text,
    // The engine's tree: everything stays; formatting elements count as open like any other.
    Document,
};

// Start tags are dropped once this many elements are counted open; the content of such an element
// joins the enclosing one. The engine's limit lies well above its tree depth limit.
constexpr std::size_t kMaxOpenForText = 1024;
constexpr std::size_t kMaxOpenForDocument = 4096;
// Attributes of one tag past this many are dropped (MarkupUse::Document).
constexpr std::size_t kMaxAttributesPerTag = 256;

// The markup as gumbo should see it: `html` itself when the pass changes nothing (always so for a
// document within the bounds), else `storage`, which then holds the bounded markup.
std::string_view BoundMarkup(std::string_view html, MarkupUse use, std::string& storage);

} // namespace Tessarix::Html::Posix
