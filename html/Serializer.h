#pragma once
// Turns a loaded document into note content: every element written anew with an inline style
// built from its computed style (a fixed list of properties), only the attributes that were
// really specified, whole families of elements dropped, and the output bounded.
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "html/Document.h"

namespace Tessarix::Clipper {

// The bound the content pipeline serializes under, in UTF-16 code units.
inline constexpr std::int32_t kNoteContentLimit = 0x500000;

class NoteContentSerializer {
public:
    // A limit below 1 leaves the output unbounded.
    explicit NoteContentSerializer(std::int32_t limit) : limit_(limit) {}

    // Appends the document's serialization to the output. Throws SerializerOutputLimitException
    // from the write that takes the output past the limit.
    void Serialize(const Html::Document& document);

    const std::u16string& Output() const { return output_; }
    std::u16string TakeOutput() { return std::move(output_); }

private:
    void Write(std::u16string_view text);
    void Reserve(std::size_t needed);
    // A document's elements share few styles: each style's declarations are made once.
    struct StyleText {
        std::u16string beforeFontSize; // the declarations that precede font-size in the list
        std::u16string afterFontSize;
    };
    const StyleText& StyleTextOf(Html::Style style, bool notBody);
    bool Open(Html::Node node);
    void Close(Html::Node node);
    void WriteText(Html::Node node);
    // Escapes what would end a double-quoted attribute value or start markup inside it.
    void WriteQuoted(std::u16string_view value);
    // Whether a style attribute was written.
    bool WriteStyle(Html::Node element, std::u16string_view name);
    void WriteAttributes(Html::Node element, bool styled);
    // The font size to write for an element that reports `reported`; remembers it for its children.
    std::u16string_view FontSizeToWrite(std::u16string_view reported);

    // MSHTML reports a relative font size in the unit it was declared in, on the element that
    // declared it and on everything that inherits it: each open element's reported and resolved
    // size, so that the note gives every element the size it had in the mail.
    struct FontSize {
        std::u16string reported;
        std::u16string resolved;
    };
    std::vector<FontSize> fontSizes_;
    FontSize elementSize_;
    bool elementSized_ = false;
    std::u16string fontSizeText_;
    // The resolved size and the text written, by reported size and parent's reported and resolved
    // size: few combinations repeat over the whole document.
    std::unordered_map<std::u16string, std::pair<std::u16string, std::u16string>> fontSizeMemo_;
    std::u16string fontSizeKey_;

    struct StyleKeyHash {
        std::size_t operator()(const std::pair<std::uintptr_t, bool>& key) const {
            return std::hash<std::uintptr_t>()(key.first * 2 + key.second);
        }
    };
    std::unordered_map<std::pair<std::uintptr_t, bool>, StyleText, StyleKeyHash> styleTexts_;
    StyleText styleText_;

    const Html::Document* document_ = nullptr;
    std::u16string output_;
    std::int32_t limit_;
    std::int32_t openCount_ = 0;
    std::u16string scratch_;
};

namespace Serialization {
// Whether the element filter keeps a node of this name.
bool Accepts(std::u16string_view nodeName);
// Whether a specified attribute with this name and string value is written on an element that
// `styled` (got a style attribute of its own).
bool WritesAttribute(std::u16string_view name, std::u16string_view value, bool styled);
// The value written for a computed font size: an all-digit value is an HTML font size and
// becomes its keyword; anything else is kept.
std::u16string_view FontSizeValue(std::u16string_view computed);
} // namespace Serialization

} // namespace Tessarix::Clipper
