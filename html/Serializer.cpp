#include "html/Serializer.h"

#include <algorithm>
#include <array>
#include <exception>
#include <vector>

#include "core/Exceptions.h"
#include "core/Memory.h"
#include "html/FontSize.h"

namespace Tessarix::Clipper {
namespace {

using Html::CssProperty;
using Html::Node;
using Html::NodeType;

bool IsSpace(char16_t c) {
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

char16_t Lower(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

bool EqualsNoCase(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (Lower(a[i]) != Lower(b[i]))
            return false;
    return true;
}

bool IsAuto(std::u16string_view value) {
    return EqualsNoCase(value, u"auto");
}

// Elements that the note can't use; each goes with everything inside it.
constexpr std::array<std::u16string_view, 9> kDropped = {u"link",  u"object", u"meta",   u"head", u"script",
                                                         u"input", u"select", u"button", u"style"};

// Index n is HTML font size n; 0 and 8 (the range admits 8) take "small".
constexpr std::array<std::u16string_view, 8> kFontSizes = {u"small", u"xx-small", u"small",   u"medium",
                                                           u"large", u"larger",   u"x-large", u"xx-large"};

bool StartsWith(std::u16string_view text, std::u16string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

// The text lower-cased without the characters a browser skips or that CSS lets an author slip
// into a word: blanks, controls and backslashes.
std::u16string Squeezed(std::u16string_view value, std::size_t keep) {
    std::u16string result;
    for (const char16_t c : value) {
        if (c <= u' ' || c == u'\\' || c == 0x7F)
            continue;
        result += Lower(c);
        if (result.size() == keep)
            break;
    }
    return result;
}

// An address that runs script when the note's reader follows or loads it.
bool IsScriptAddress(std::u16string_view value) {
    if (value.find(u':') == std::u16string_view::npos)
        return false;
    const std::u16string start = Squeezed(value, 14);
    return StartsWith(start, u"javascript:") || StartsWith(start, u"vbscript:") ||
           StartsWith(start, u"data:text/html");
}

// A declaration that runs script in the browsers that still honour it.
bool IsScriptStyle(std::u16string_view value) {
    // Most computed values ("12pt", "none") can't match; they skip the copy.
    if (value.find_first_of(u":(") == std::u16string_view::npos)
        return false;
    const std::u16string text = Squeezed(value, std::u16string::npos);
    return text.find(u"expression(") != std::u16string::npos ||
           text.find(u"javascript:") != std::u16string::npos ||
           text.find(u"vbscript:") != std::u16string::npos;
}

// Names an attribute cannot have in HTML, which would end the attribute or the tag early.
bool IsWritableName(std::u16string_view name) {
    if (name.empty())
        return false;
    for (const char16_t c : name)
        if (c <= u' ' || c == 0x7F || c == u'"' || c == u'\'' || c == u'<' || c == u'>' || c == u'/' ||
            c == u'=' || c == u'`')
            return false;
    return true;
}

// Attributes whose value is script or markup of its own.
bool IsScriptAttribute(std::u16string_view name) {
    return (name.size() > 2 && Lower(name[0]) == u'o' && Lower(name[1]) == u'n') ||
           EqualsNoCase(name, u"srcdoc");
}

// Escapes what would end a double-quoted attribute value or start markup inside it.
void AppendQuoted(std::u16string& out, std::u16string_view value) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char16_t c = value[i];
        if (c != u'&' && c != u'<' && c != u'"')
            continue;
        out.append(value.substr(start, i - start));
        out.append(c == u'&' ? u"&amp;" : c == u'<' ? u"&lt;" : u"&quot;");
        start = i + 1;
    }
    out.append(value.substr(start));
}

bool IsBorderProperty(CssProperty p) {
    return static_cast<int>(p) >= static_cast<int>(CssProperty::BorderBottomColor) &&
           static_cast<int>(p) <= static_cast<int>(CssProperty::BorderWidth);
}

} // namespace

namespace Serialization {

bool Accepts(std::u16string_view name) {
    while (!name.empty() && IsSpace(name.front()))
        name.remove_prefix(1);
    while (!name.empty() && IsSpace(name.back()))
        name.remove_suffix(1);
    if (name.empty())
        return false;
    for (const auto dropped : kDropped)
        if (EqualsNoCase(name, dropped))
            return false;
    return true;
}

bool WritesAttribute(std::u16string_view name, std::u16string_view value, bool styled) {
    if (value.empty() || IsAuto(value))
        return false;
    if (!IsWritableName(name) || IsScriptAttribute(name) || IsScriptAddress(value))
        return false;
    // The computed style stands for the element's own; without one, the own is held to the same rule.
    return !(EqualsNoCase(name, u"style") && (styled || IsScriptStyle(value)));
}

std::u16string_view FontSizeValue(std::u16string_view computed) {
    if (computed.empty())
        return computed;
    int n = 0;
    for (const char16_t c : computed) {
        if (c < u'0' || c > u'9')
            return computed;
        n = n > 8 ? n : n * 10 + (c - u'0');
    }
    if (n >= static_cast<int>(kFontSizes.size()))
        n = 0;
    return kFontSizes[static_cast<std::size_t>(n)];
}

} // namespace Serialization

void NoteContentSerializer::Write(std::u16string_view text) {
    if (output_.capacity() - output_.size() < text.size())
        Reserve(output_.size() + text.size());
    output_.append(text);
    if (limit_ >= 1 && output_.size() > static_cast<std::size_t>(limit_))
        throw SerializerOutputLimitException();
}

// The output runs to many times its document, and every byte that a doubling string copies lands on
// fresh pages that the kernel must fault in and clear. Reserving ahead costs only address space
// until written: the output grows sixteenfold, to its limit at most, and a large one asks for
// large pages.
void NoteContentSerializer::Reserve(std::size_t needed) {
    constexpr std::size_t kFirst = std::size_t{1} << 16;
    constexpr std::size_t kLarge = std::size_t{1} << 20;
    const std::size_t most = output_.max_size();
    std::size_t capacity = output_.capacity() <= most / 16 ? output_.capacity() * 16 : most;
    capacity = std::max({needed, kFirst, capacity});
    if (limit_ >= 1)
        capacity = std::max(needed, std::min(capacity, static_cast<std::size_t>(limit_) + 1));
    try {
        output_.reserve(capacity);
    } catch (const std::exception&) {
        // bad_alloc or length_error: no address space for the head start (a 32-bit process).
        // Grow as the string would, which throws if even that cannot be had.
        output_.reserve(std::max(needed, output_.capacity() * 2));
    }
    if (output_.capacity() >= kLarge)
        Platform::AdviseLargeFill(output_.data(), output_.capacity() * sizeof(char16_t));
}

void NoteContentSerializer::Serialize(const Html::Document& document) {
    document_ = &document;
    styleTexts_.clear(); // handles are the document's
    struct Frame {
        Node node;
        std::size_t next;
        std::size_t count;
        bool element;
    };
    std::vector<Frame> stack;
    fontSizes_.clear();
    auto enter = [&](Node node) {
        elementSized_ = false;
        if (!node || !Open(node))
            return;
        const bool element = document.TypeOf(node) == NodeType::Element;
        if (element)
            fontSizes_.push_back(elementSized_        ? elementSize_
                                 : fontSizes_.empty() ? FontSize{u"", u"12pt"}
                                                      : fontSizes_.back());
        stack.push_back(Frame{node, 0, document.ChildCount(node), element});
    };
    enter(document.Root());
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.next < top.count) {
            const Node child = document.ChildAt(top.node, top.next++);
            enter(child); // may move `top`
            continue;
        }
        const Node done = top.node;
        if (top.element)
            fontSizes_.pop_back();
        stack.pop_back();
        Close(done);
    }
}

bool NoteContentSerializer::Open(Node node) {
    const std::u16string_view name = document_->NameOf(node);
    if (!Serialization::Accepts(name))
        return false;
    switch (document_->TypeOf(node)) {
    case NodeType::Element: {
        if (EqualsNoCase(name, u"html"))
            return true;
        Write(u"<");
        Write(name);
        if (EqualsNoCase(name, u"br") || EqualsNoCase(name, u"nobr")) {
            Write(u" />");
            return false;
        }
        const bool styled = WriteStyle(node, name);
        if (EqualsNoCase(name, u"form")) {
            Write(u" >");
            return true;
        }
        WriteAttributes(node, styled);
        if (EqualsNoCase(name, u"img")) {
            Write(u" />");
            return false;
        }
        Write(u">");
        ++openCount_;
        return true;
    }
    case NodeType::Text:
        WriteText(node);
        return true;
    case NodeType::Comment:
        Write(u"<!--");
        WriteText(node);
        Write(u"-->");
        return true;
    case NodeType::DocumentType:
        Write(u"<!DOCTYPE");
        WriteText(node);
        Write(u">");
        return true;
    default:
        return true;
    }
}

void NoteContentSerializer::Close(Node node) {
    if (document_->TypeOf(node) != NodeType::Element)
        return;
    const std::u16string_view name = document_->NameOf(node);
    if (!Serialization::Accepts(name) || EqualsNoCase(name, u"html"))
        return;
    Write(u"</");
    Write(name);
    Write(u">");
    --openCount_;
}

void NoteContentSerializer::WriteText(Node node) {
    const auto value = document_->ValueOf(node);
    if (!value)
        return;
    // Only the angle brackets: ampersands and quotes go out as they are.
    scratch_.clear();
    std::size_t start = 0;
    const std::u16string_view text = *value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != u'<' && text[i] != u'>')
            continue;
        scratch_.append(text.substr(start, i - start));
        scratch_.append(text[i] == u'<' ? u"&lt;" : u"&gt;");
        start = i + 1;
    }
    if (start == 0) {
        Write(text);
        return;
    }
    scratch_.append(text.substr(start));
    Write(scratch_);
}

void NoteContentSerializer::WriteQuoted(std::u16string_view value) {
    scratch_.clear();
    AppendQuoted(scratch_, value);
    Write(scratch_);
}

bool NoteContentSerializer::WriteStyle(Node element, std::u16string_view name) {
    const Html::Style style = document_->StyleOf(element);
    if (!style)
        return false;
    const bool notBody = !EqualsNoCase(name, u"body");
    bool withFontSize = true;
    if (EqualsNoCase(name, u"font")) {
        const auto size = document_->NamedAttribute(element, u"size");
        withFontSize = !(size && size->specified);
    }
    const std::u16string_view fontSize = FontSizeToWrite(document_->StyleValue(style, CssProperty::FontSize));
    const StyleText& text = StyleTextOf(style, notBody);
    Write(u" style=\"");
    Write(text.beforeFontSize);
    if (withFontSize && !fontSize.empty() && !IsAuto(fontSize) && !IsScriptStyle(fontSize)) {
        Write(Html::CssPropertyName(CssProperty::FontSize));
        Write(u":");
        WriteQuoted(fontSize);
        Write(u";");
    }
    Write(text.afterFontSize);
    Write(u"\"");
    return true;
}

const NoteContentSerializer::StyleText& NoteContentSerializer::StyleTextOf(Html::Style style, bool notBody) {
    StyleText* text = &styleText_;
    if (document_->SharesStyles()) {
        auto [slot, fresh] = styleTexts_.try_emplace({style.id, notBody});
        if (!fresh)
            return slot->second;
        text = &slot->second;
    }
    text->beforeFontSize.clear();
    text->afterFontSize.clear();
    for (std::size_t i = 0; i < Html::kCssPropertyCount; ++i) {
        const auto property = static_cast<CssProperty>(i);
        if (property == CssProperty::FontSize)
            continue;
        if (!notBody && (IsBorderProperty(property) || property == CssProperty::Overflow))
            continue;
        const std::u16string_view value = document_->StyleValue(style, property);
        if (value.empty() || IsAuto(value) || IsScriptStyle(value))
            continue;
        std::u16string& out =
            i < static_cast<std::size_t>(CssProperty::FontSize) ? text->beforeFontSize : text->afterFontSize;
        out.append(Html::CssPropertyName(property));
        out += u':';
        AppendQuoted(out, value);
        out += u';';
    }
    return *text;
}

std::u16string_view NoteContentSerializer::FontSizeToWrite(std::u16string_view reported) {
    static const FontSize kRoot{u"", u"12pt"};
    const FontSize& parent = fontSizes_.empty() ? kRoot : fontSizes_.back();
    elementSized_ = true;
    elementSize_.reported.assign(reported);
    // Lengths first, so that no two triples make one key.
    fontSizeKey_.clear();
    for (const std::size_t n : {reported.size(), parent.reported.size()}) {
        fontSizeKey_ += static_cast<char16_t>(n & 0xFFFF);
        fontSizeKey_ += static_cast<char16_t>(n >> 16);
    }
    fontSizeKey_.append(reported).append(parent.reported).append(parent.resolved);
    if (const auto known = fontSizeMemo_.find(fontSizeKey_); known != fontSizeMemo_.end()) {
        elementSize_.resolved = known->second.first;
        fontSizeText_ = known->second.second;
        return fontSizeText_;
    }
    const bool number = !reported.empty() && Serialization::FontSizeValue(reported) != reported;
    if ((number || Html::IsRelativeFontSize(reported)) && reported == parent.reported) {
        // Inherited: the size the parent had, not the relative value applied once more.
        elementSize_.resolved = parent.resolved;
        fontSizeText_ = parent.resolved;
    } else if (const auto resolved = Html::ResolveFontSize(reported, parent.resolved)) {
        elementSize_.resolved = *resolved;
        fontSizeText_ = *resolved;
    } else {
        const auto points = number ? Html::FontSizePoints(reported) : std::nullopt;
        elementSize_.resolved = points ? Html::PointsText(*points) : std::u16string(reported);
        fontSizeText_.assign(Serialization::FontSizeValue(reported));
    }
    // Bounded: a document of ever new sizes does not keep them all.
    if (fontSizeMemo_.size() >= 4096)
        fontSizeMemo_.clear();
    fontSizeMemo_.emplace(fontSizeKey_, std::make_pair(elementSize_.resolved, fontSizeText_));
    return fontSizeText_;
}

void NoteContentSerializer::WriteAttributes(Node element, bool styled) {
    const std::size_t count = document_->AttributeCount(element);
    for (std::size_t i = 0; i < count; ++i) {
        const Html::Attribute a = document_->AttributeAt(element, i);
        if (!a.specified || !a.value)
            continue;
        const std::u16string_view value = *a.value;
        if (!Serialization::WritesAttribute(a.name, value, styled))
            continue;
        Write(u" ");
        Write(a.name);
        Write(u"=\"");
        WriteQuoted(value);
        Write(u"\"");
    }
}

} // namespace Tessarix::Clipper
