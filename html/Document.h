#pragma once
// The loaded HTML document as the content pipeline sees it: nodes, attributes, the computed value
// of each CSS property the note keeps, and the picture list. MSHTML implements it on Windows and
// litehtml over gumbo elsewhere; nothing of either engine shows through.
//
// Handles and texts stay valid for as long as the document lives.
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace Tessarix::Html {

// DOM node types, numbered as the DOM numbers them.
enum class NodeType : std::uint8_t {
    Other = 0,
    Element = 1,
    Text = 3,
    Comment = 8,
    Document = 9,
    DocumentType = 10,
    Fragment = 11,
};

// The CSS properties whose computed values become a note's inline styles, in the order written.
enum class CssProperty : std::uint8_t {
    BackgroundImage,
    BackgroundAttachment,
    BackgroundColor,
    BackgroundPositionX,
    BackgroundPositionY,
    BackgroundRepeat,
    BorderBottomColor,
    BorderBottomStyle,
    BorderBottomWidth,
    BorderLeftColor,
    BorderLeftStyle,
    BorderLeftWidth,
    BorderRightColor,
    BorderRightStyle,
    BorderRightWidth,
    BorderTopColor,
    BorderTopStyle,
    BorderTopWidth,
    BorderWidth,
    Clear,
    Color,
    Cursor,
    Display,
    FontFamily,
    FontSize,
    FontStyle,
    FontVariant,
    FontWeight,
    Left,
    LetterSpacing,
    LineHeight,
    ListStyleImage,
    ListStylePosition,
    ListStyleType,
    Margin,
    MarginBottom,
    MarginLeft,
    MarginRight,
    MarginTop,
    Overflow,
    Padding,
    PaddingBottom,
    PaddingLeft,
    PaddingRight,
    PaddingTop,
    PageBreakAfter,
    PageBreakBefore,
    Position,
    Float,
    TextAlign,
    TextDecoration,
    TextIndent,
    TextTransform,
    Visibility,
    VerticalAlign,
    ZIndex,
};

inline constexpr std::size_t kCssPropertyCount = 56;

// The CSS name of each property ("float" for Float), indexed by the enumeration.
inline constexpr std::array<std::u16string_view, kCssPropertyCount> kCssPropertyNames = {
    u"background-image",
    u"background-attachment",
    u"background-color",
    u"background-position-x",
    u"background-position-y",
    u"background-repeat",
    u"border-bottom-color",
    u"border-bottom-style",
    u"border-bottom-width",
    u"border-left-color",
    u"border-left-style",
    u"border-left-width",
    u"border-right-color",
    u"border-right-style",
    u"border-right-width",
    u"border-top-color",
    u"border-top-style",
    u"border-top-width",
    u"border-width",
    u"clear",
    u"color",
    u"cursor",
    u"display",
    u"font-family",
    u"font-size",
    u"font-style",
    u"font-variant",
    u"font-weight",
    u"left",
    u"letter-spacing",
    u"line-height",
    u"list-style-image",
    u"list-style-position",
    u"list-style-type",
    u"margin",
    u"margin-bottom",
    u"margin-left",
    u"margin-right",
    u"margin-top",
    u"overflow",
    u"padding",
    u"padding-bottom",
    u"padding-left",
    u"padding-right",
    u"padding-top",
    u"page-break-after",
    u"page-break-before",
    u"position",
    u"float",
    u"text-align",
    u"text-decoration",
    u"text-indent",
    u"text-transform",
    u"visibility",
    u"vertical-align",
    u"z-index",
};

constexpr std::u16string_view CssPropertyName(CssProperty p) {
    return kCssPropertyNames[static_cast<std::size_t>(p)];
}

// A node of one document; the empty handle is no node.
struct Node {
    std::uintptr_t id = 0;
    explicit operator bool() const { return id != 0; }
    friend bool operator==(Node, Node) = default;
};

// An element's computed style; the empty handle means the engine has none for it.
struct Style {
    std::uintptr_t id = 0;
    explicit operator bool() const { return id != 0; }
};

struct Attribute {
    std::u16string_view name;
    bool specified = false;
    // Absent when the value is not a string.
    std::optional<std::u16string_view> value;
};

class Document {
public:
    virtual ~Document() = default;
    Document() = default;
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    // The document node, where every walk starts.
    virtual Node Root() const = 0;

    virtual NodeType TypeOf(Node node) const = 0;
    // Element names in upper case, "#text", "#comment", "#document", ...
    virtual std::u16string_view NameOf(Node node) const = 0;
    // The node value; absent when the node has none (elements, the document).
    virtual std::optional<std::u16string_view> ValueOf(Node node) const = 0;

    virtual std::size_t ChildCount(Node node) const = 0;
    virtual Node ChildAt(Node node, std::size_t index) const = 0;

    // The element's attribute collection, in the engine's order.
    virtual std::size_t AttributeCount(Node element) const = 0;
    virtual Attribute AttributeAt(Node element, std::size_t index) const = 0;
    // Lookup by name without regard to case; absent when the collection has no such item.
    virtual std::optional<Attribute> NamedAttribute(Node element, std::u16string_view name) const = 0;

    virtual Style StyleOf(Node element) const = 0;
    virtual std::u16string_view StyleValue(Style style, CssProperty property) const = 0;
    // Whether elements that style alike share one style handle, so that a reader may keep what it
    // made of a handle's values for the next element with that handle. A handle's values never
    // change and no handle is reused for other values, whatever this answers.
    virtual bool SharesStyles() const { return false; }

    // The document's pictures in document order, each with its address as the engine resolved it.
    virtual std::size_t ImageCount() const = 0;
    // Absent when the engine cannot report that picture.
    virtual std::optional<std::u16string_view> ImageSource(std::size_t index) const = 0;
};

// A loaded document; the last holder's release destroys it.
using DocumentPtr = std::shared_ptr<Document>;

} // namespace Tessarix::Html
