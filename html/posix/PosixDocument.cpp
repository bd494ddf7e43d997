// The POSIX HTML engine: gumbo builds the tree (whole text nodes, comments, attributes in source
// order), litehtml's cascade decides each element's declarations, and the values are reported
// the way MSHTML's current style reports them.
#include <gumbo.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/Utf.h"
#include "html/Engine.h"
#include "html/Serializer.h"
#include "html/posix/BoundedMarkup.h"
#include "html/posix/Cascade.h"
#include "html/posix/StyleValues.h"

namespace Tessarix::Html {
namespace {

using Posix::Cascade;
using Posix::ComputedStyle;
using Posix::DeclaredStyle;
using Posix::EqualsNoCase;
using Posix::TrimAscii;

// Elements nested deeper than this are attached to their ancestor at this depth, as browsers'
// parsers do: every walk of the tree then has a bounded depth.
constexpr unsigned kMaxDepth = 512;

// gumbo's allocations for one parse: nothing is freed one by one, the whole arena goes at once.
// That is as small as gumbo's own peak and spares the recursive teardown of deep trees.
class GumboArena {
public:
    static void* Allocate(void* arena, std::size_t size) {
        return static_cast<GumboArena*>(arena)->Take(size);
    }
    static void Free(void*, void*) {}

private:
    static constexpr std::size_t kBlockSize = std::size_t{1} << 20;
    void* Take(std::size_t size) {
        size = (size + 15) & ~std::size_t{15};
        if (size > kBlockSize / 4)
            return blocks_.emplace_back(new std::byte[size]).get();
        if (size > left_) {
            next_ = blocks_.emplace_back(new std::byte[kBlockSize]).get();
            left_ = kBlockSize;
        }
        void* p = next_;
        next_ += size;
        left_ -= size;
        return p;
    }
    std::vector<std::unique_ptr<std::byte[]>> blocks_;
    std::byte* next_ = nullptr;
    std::size_t left_ = 0;
};

// UTF-16 text that lives as long as the document, in large blocks.
class TextPool {
public:
    std::u16string_view Add(std::u16string_view text) {
        if (text.empty())
            return u"";
        Reserve(text.size());
        char16_t* start = next_;
        std::copy(text.begin(), text.end(), start);
        next_ += text.size();
        left_ -= text.size();
        return {start, text.size()};
    }
    std::u16string_view AddUtf8(std::string_view text) {
        // UTF-16 never takes more units than UTF-8 takes bytes: decoded in place.
        if (text.empty())
            return u"";
        Reserve(text.size());
        char16_t* start = next_;
        next_ = FromUtf8(text, start);
        left_ -= static_cast<std::size_t>(next_ - start);
        return {start, static_cast<std::size_t>(next_ - start)};
    }

private:
    void Reserve(std::size_t units) {
        if (units <= left_)
            return;
        const std::size_t size = std::max(units, kBlockSize);
        next_ = blocks_.emplace_back(new char16_t[size]).get();
        left_ = size;
    }
    static constexpr std::size_t kBlockSize = std::size_t{1} << 18;
    std::vector<std::unique_ptr<char16_t[]>> blocks_;
    char16_t* next_ = nullptr;
    std::size_t left_ = 0;
};

struct NodeRecord {
    NodeType type = NodeType::Other;
    bool hasValue = false;
    std::uint32_t parent = 0;
    std::u16string_view name;
    std::u16string_view value;
    std::uint32_t firstChild = 0, childCount = 0;
    std::uint32_t firstAttribute = 0, attributeCount = 0;
    const ComputedStyle* style = nullptr;
};

struct AttributeRecord {
    std::u16string_view name;
    std::u16string_view value;
    bool specified = true;
};

class PosixDocument final : public Document {
public:
    Node Root() const override { return Node{1}; }
    NodeType TypeOf(Node node) const override { return At(node).type; }
    std::u16string_view NameOf(Node node) const override { return At(node).name; }
    std::optional<std::u16string_view> ValueOf(Node node) const override {
        const NodeRecord& r = At(node);
        if (!r.hasValue)
            return std::nullopt;
        return r.value;
    }
    std::size_t ChildCount(Node node) const override { return At(node).childCount; }
    Node ChildAt(Node node, std::size_t index) const override {
        const NodeRecord& r = At(node);
        if (index >= r.childCount)
            return Node{};
        return Node{children_[r.firstChild + index] + std::uintptr_t{1}};
    }
    std::size_t AttributeCount(Node element) const override { return At(element).attributeCount; }
    Attribute AttributeAt(Node element, std::size_t index) const override {
        const NodeRecord& r = At(element);
        if (index >= r.attributeCount)
            return Attribute{};
        const AttributeRecord& a = attributes_[r.firstAttribute + index];
        return Attribute{a.name, a.specified, a.value};
    }
    std::optional<Attribute> NamedAttribute(Node element, std::u16string_view name) const override {
        const NodeRecord& r = At(element);
        for (std::uint32_t i = 0; i < r.attributeCount; ++i) {
            const AttributeRecord& a = attributes_[r.firstAttribute + i];
            if (EqualsNoCase(a.name, name))
                return Attribute{a.name, a.specified, a.value};
        }
        return std::nullopt;
    }
    Style StyleOf(Node element) const override {
        const NodeRecord& r = At(element);
        return Style{reinterpret_cast<std::uintptr_t>(r.style)};
    }
    std::u16string_view StyleValue(Style style, CssProperty property) const override {
        if (!style)
            return {};
        return reinterpret_cast<const ComputedStyle*>(style.id)->values[static_cast<std::size_t>(property)];
    }
    // Elements whose declarations and parent style are the same share one computed style.
    bool SharesStyles() const override { return true; }
    std::size_t ImageCount() const override { return images_.size(); }
    std::optional<std::u16string_view> ImageSource(std::size_t index) const override {
        if (index >= images_.size())
            return std::nullopt;
        return images_[index];
    }

private:
    friend class TreeBuilder;

    const NodeRecord& At(Node node) const { return records_.at(node.id - 1); }
    static bool EqualsNoCase(std::u16string_view a, std::u16string_view b) {
        if (a.size() != b.size())
            return false;
        for (std::size_t i = 0; i < a.size(); ++i) {
            char16_t x = a[i], y = b[i];
            if (x >= u'A' && x <= u'Z')
                x = static_cast<char16_t>(x - u'A' + u'a');
            if (y >= u'A' && y <= u'Z')
                y = static_cast<char16_t>(y - u'A' + u'a');
            if (x != y)
                return false;
        }
        return true;
    }

    std::vector<NodeRecord> records_;
    std::vector<std::uint32_t> children_;
    std::vector<AttributeRecord> attributes_;
    std::vector<std::u16string_view> images_;
    TextPool text_;
    std::unordered_set<std::u16string> interned_;
    std::deque<ComputedStyle> styles_;
};

std::string_view Attr(const GumboElement& e, const char* name) {
    const GumboAttribute* a = gumbo_get_attribute(&e.attributes, name);
    return a ? std::string_view(a->value) : std::string_view();
}

bool HasAttr(const GumboElement& e, const char* name) {
    return gumbo_get_attribute(&e.attributes, name) != nullptr;
}

// The leading integer of an HTML attribute ("3", " +2", "10px"); false when there is none.
bool LeadingInt(std::string_view text, int& value, char& sign) {
    text = TrimAscii(text);
    sign = 0;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        sign = text[0];
        text.remove_prefix(1);
    }
    if (text.empty() || text[0] < '0' || text[0] > '9')
        return false;
    value = 0;
    for (std::size_t i = 0; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        value = std::min(value * 10 + (text[i] - '0'), 100000);
    return true;
}

// What the enclosing table lends to its cells.
struct TableContext {
    std::string cellPadding; // "Npx", empty when not given
    bool bordered = false;
};

class TreeBuilder {
public:
    TreeBuilder(PosixDocument& document, Cascade& cascade) : doc_(document), cascade_(cascade) {}

    void CollectStyleSheets(const GumboNode* root);
    // A document without a standards document type: tables start their text afresh.
    void SetQuirks(bool quirks) { quirks_ = quirks; }
    void Build(const GumboNode* documentNode);
    void ResolveStyles();

private:
    struct Frame {
        std::uint32_t record = 0;
        unsigned depth = 0;
        Cascade::Shadow shadow;
        TableContext table;
        std::vector<std::uint32_t> kids;
        std::vector<std::uint32_t> elementKids;
        std::vector<const GumboNode*> elementNodes;
        std::vector<Cascade::Shadow> shadowKids;
        std::vector<std::pair<const GumboVector*, unsigned>> cursors;
    };

    Frame& Push(std::uint32_t record, unsigned depth, const GumboVector* children);
    void AddChild(std::size_t frameIndex, const GumboNode* node);
    void Complete(Frame& frame);
    std::string_view TagOf(const GumboElement& element);
    std::u16string_view UpperName(std::string_view tag);
    std::uint32_t NewRecord(NodeType type, std::uint32_t parent);
    void Hints(std::string_view tag, const GumboElement& e, const TableContext& table,
               std::vector<std::pair<const char*, std::string>>& hints);

    PosixDocument& doc_;
    Cascade& cascade_;
    std::vector<Frame> frames_;
    std::size_t top_ = 0; // frames_[0, top_) are in use; the rest keep their capacity
    std::vector<const DeclaredStyle*> declared_;
    std::unordered_set<std::string> unknownTags_;
    std::unordered_map<std::string_view, std::u16string_view> upperNames_;
    std::vector<std::pair<std::string_view, std::string_view>> attributeScratch_;
    std::vector<std::pair<const char*, std::string>> hints_;
    bool quirks_ = false;
};

std::string_view TreeBuilder::TagOf(const GumboElement& element) {
    if (element.tag != GUMBO_TAG_UNKNOWN)
        return gumbo_normalized_tagname(element.tag);
    GumboStringPiece piece = element.original_tag;
    gumbo_tag_from_original_text(&piece);
    std::string name(piece.data ? piece.data : "", piece.data ? piece.length : 0);
    for (char& c : name)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return *unknownTags_.insert(std::move(name)).first;
}

std::u16string_view TreeBuilder::UpperName(std::string_view tag) {
    auto found = upperNames_.find(tag);
    if (found != upperNames_.end())
        return found->second;
    std::string upper(tag);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    const std::u16string_view name = *doc_.interned_.insert(FromUtf8(upper)).first;
    upperNames_.emplace(tag, name);
    return name;
}

std::uint32_t TreeBuilder::NewRecord(NodeType type, std::uint32_t parent) {
    const auto index = static_cast<std::uint32_t>(doc_.records_.size());
    NodeRecord& r = doc_.records_.emplace_back();
    r.type = type;
    r.parent = parent;
    declared_.push_back(nullptr);
    return index;
}

void TreeBuilder::CollectStyleSheets(const GumboNode* root) {
    std::vector<const GumboNode*> stack{root};
    while (!stack.empty()) {
        const GumboNode* node = stack.back();
        stack.pop_back();
        if (node->type != GUMBO_NODE_ELEMENT && node->type != GUMBO_NODE_TEMPLATE &&
            node->type != GUMBO_NODE_DOCUMENT)
            continue;
        const GumboVector& children =
            node->type == GUMBO_NODE_DOCUMENT ? node->v.document.children : node->v.element.children;
        if (node->type != GUMBO_NODE_DOCUMENT && node->v.element.tag == GUMBO_TAG_STYLE) {
            const std::string_view type = TrimAscii(Attr(node->v.element, "type"));
            if (!type.empty() && !EqualsNoCase(type, "text/css"))
                continue;
            std::string text;
            for (unsigned i = 0; i < children.length; ++i) {
                const auto* child = static_cast<const GumboNode*>(children.data[i]);
                if (child->type == GUMBO_NODE_TEXT || child->type == GUMBO_NODE_WHITESPACE ||
                    child->type == GUMBO_NODE_CDATA)
                    text += child->v.text.text;
            }
            cascade_.AddStyleSheet(std::move(text), TrimAscii(Attr(node->v.element, "media")));
            continue;
        }
        for (unsigned i = children.length; i-- > 0;)
            stack.push_back(static_cast<const GumboNode*>(children.data[i]));
    }
}

TreeBuilder::Frame& TreeBuilder::Push(std::uint32_t record, unsigned depth, const GumboVector* children) {
    if (top_ == frames_.size())
        frames_.emplace_back();
    Frame& f = frames_[top_++];
    f.record = record;
    f.depth = depth;
    f.shadow.reset();
    f.table = TableContext{};
    f.kids.clear();
    f.elementKids.clear();
    f.elementNodes.clear();
    f.shadowKids.clear();
    f.cursors.clear();
    f.cursors.emplace_back(children, 0u);
    return f;
}

void TreeBuilder::Build(const GumboNode* documentNode) {
    const std::uint32_t root = NewRecord(NodeType::Document, 0);
    doc_.records_[root].name = u"#document";
    Push(root, 0, &documentNode->v.document.children);
    while (top_ > 0) {
        const std::size_t current = top_ - 1;
        auto& cursors = frames_[current].cursors;
        if (cursors.empty()) {
            Complete(frames_[current]);
            --top_;
            continue;
        }
        auto& [vector, next] = cursors.back();
        if (next == vector->length) {
            cursors.pop_back();
            continue;
        }
        const auto* node = static_cast<const GumboNode*>(vector->data[next++]);
        AddChild(current, node);
    }
}

void TreeBuilder::AddChild(std::size_t frameIndex, const GumboNode* node) {
    const std::uint32_t parent = frames_[frameIndex].record;
    switch (node->type) {
    case GUMBO_NODE_TEXT:
    case GUMBO_NODE_WHITESPACE:
    case GUMBO_NODE_CDATA:
    case GUMBO_NODE_COMMENT: {
        const bool comment = node->type == GUMBO_NODE_COMMENT;
        const std::uint32_t r = NewRecord(comment ? NodeType::Comment : NodeType::Text, parent);
        NodeRecord& rec = doc_.records_[r];
        rec.name = comment ? u"#comment" : u"#text";
        rec.hasValue = true;
        rec.value = doc_.text_.AddUtf8(node->v.text.text);
        frames_[frameIndex].kids.push_back(r);
        return;
    }
    case GUMBO_NODE_ELEMENT:
    case GUMBO_NODE_TEMPLATE:
        break;
    default:
        return;
    }

    const GumboElement& e = node->v.element;
    const std::string_view tag = TagOf(e);
    const std::uint32_t r = NewRecord(NodeType::Element, parent);
    {
        NodeRecord& rec = doc_.records_[r];
        rec.name = UpperName(tag);
        rec.firstAttribute = static_cast<std::uint32_t>(doc_.attributes_.size());
        rec.attributeCount = e.attributes.length;
    }
    attributeScratch_.clear();
    for (unsigned i = 0; i < e.attributes.length; ++i) {
        const auto* a = static_cast<const GumboAttribute*>(e.attributes.data[i]);
        AttributeRecord& ar = doc_.attributes_.emplace_back();
        ar.name = doc_.text_.AddUtf8(a->name);
        ar.value = doc_.text_.AddUtf8(a->value);
        // The serializer writes its own style attribute from the computed style, which already
        // holds these declarations; a second one would make the start tag ill-formed.
        ar.specified = std::strcmp(a->name, "style") != 0;
        attributeScratch_.emplace_back(a->name, a->value);
    }
    if (e.tag == GUMBO_TAG_IMG) {
        const GumboAttribute* src = gumbo_get_attribute(&e.attributes, "src");
        doc_.images_.push_back(src ? doc_.text_.AddUtf8(TrimAscii(src->value)) : std::u16string_view(u""));
    }

    Frame& frame = frames_[frameIndex];
    Cascade::Shadow shadow = cascade_.CreateElement(frame.shadow, tag, attributeScratch_);
    frame.kids.push_back(r);
    frame.elementKids.push_back(r);
    frame.elementNodes.push_back(node);
    frame.shadowKids.push_back(shadow);

    if (frame.depth + 1 >= kMaxDepth) {
        // Too deep: the element's children become its siblings.
        frame.cursors.emplace_back(&e.children, 0u);
        return;
    }
    TableContext table = frame.table;
    const unsigned depth = frame.depth + 1;
    if (e.tag == GUMBO_TAG_TABLE) {
        table = TableContext{};
        int value = 0;
        char sign = 0;
        if (LeadingInt(Attr(e, "cellpadding"), value, sign) && sign != '-')
            table.cellPadding = std::to_string(value) + "px";
        table.bordered = HasAttr(e, "border") && (!LeadingInt(Attr(e, "border"), value, sign) || value > 0);
    }
    Frame& child = Push(r, depth, &e.children); // may move frames_: `frame` is stale from here
    child.shadow = std::move(shadow);
    child.table = std::move(table);
}

void TreeBuilder::Hints(std::string_view tag, const GumboElement& e, const TableContext& table,
                        std::vector<std::pair<const char*, std::string>>& hints) {
    hints.clear();
    auto attr = [&](const char* name, const char* property) {
        const GumboAttribute* a = gumbo_get_attribute(&e.attributes, name);
        if (a && !TrimAscii(a->value).empty())
            hints.emplace_back(property, std::string(TrimAscii(a->value)));
    };
    auto image = [&]() {
        const GumboAttribute* a = gumbo_get_attribute(&e.attributes, "background");
        if (a && !TrimAscii(a->value).empty())
            hints.emplace_back("background-image", "url(" + std::string(TrimAscii(a->value)) + ")");
    };
    const bool cell = tag == "td" || tag == "th";
    if (cell) {
        if (!table.cellPadding.empty())
            hints.emplace_back("padding", table.cellPadding);
        if (table.bordered) {
            hints.emplace_back("border-style", "inset");
            hints.emplace_back("border-width", "1px");
        }
    }
    if (tag == "font") {
        attr("color", "color");
        attr("face", "font-family");
        int value = 0;
        char sign = 0;
        // MSHTML reports the HTML font size itself, 1 to 7.
        if (LeadingInt(Attr(e, "size"), value, sign)) {
            if (sign == '+')
                value = 3 + value;
            if (sign == '-')
                value = 3 - value;
            hints.emplace_back("font-size", std::to_string(std::clamp(value, 1, 7)));
        }
    } else if (tag == "body") {
        attr("bgcolor", "background-color");
        attr("text", "color");
        image();
    } else if (tag == "table" || tag == "tr" || cell || tag == "tbody" || tag == "thead" || tag == "tfoot") {
        attr("bgcolor", "background-color");
        image();
        if (tag != "table") {
            attr("align", "text-align");
            attr("valign", "vertical-align");
        } else {
            if (quirks_) {
                // Browsers' quirks (MSHTML's behaviour, kept by the others): a table does not
                // inherit the font of the text around it. Below every author rule.
                hints.emplace_back("font-size", "medium");
                hints.emplace_back("font-weight", "normal");
                hints.emplace_back("font-style", "normal");
                hints.emplace_back("font-variant", "normal");
                hints.emplace_back("line-height", "normal");
            }
            int value = 0;
            char sign = 0;
            if (HasAttr(e, "border")) {
                const int width = LeadingInt(Attr(e, "border"), value, sign) ? value : 1;
                if (width > 0) {
                    hints.emplace_back("border-style", "outset");
                    hints.emplace_back("border-width", std::to_string(width) + "px");
                }
            }
        }
    } else if (tag == "p" || tag == "div" || tag == "caption" ||
               (tag.size() == 2 && tag[0] == 'h' && tag[1] >= '1' && tag[1] <= '6')) {
        attr("align", "text-align");
    } else if (tag == "img") {
        const std::string_view align = TrimAscii(Attr(e, "align"));
        if (EqualsNoCase(align, "left") || EqualsNoCase(align, "right"))
            hints.emplace_back("float", std::string(align));
    } else if (tag == "ul" || tag == "ol") {
        const std::string_view type = TrimAscii(Attr(e, "type"));
        static const std::pair<std::string_view, const char*> kTypes[] = {
            {"1", "decimal"},     {"a", "lower-alpha"}, {"A", "upper-alpha"}, {"i", "lower-roman"},
            {"I", "upper-roman"}, {"disc", "disc"},     {"circle", "circle"}, {"square", "square"},
        };
        for (const auto& [key, value] : kTypes)
            if (type == key)
                hints.emplace_back("list-style-type", value);
    }
}

void TreeBuilder::Complete(Frame& frame) {
    for (std::size_t i = 0; i < frame.elementKids.size(); ++i) {
        const GumboElement& e = frame.elementNodes[i]->v.element;
        const std::string_view tag = TagOf(e);
        Hints(tag, e, frame.table, hints_);
        declared_[frame.elementKids[i]] =
            cascade_.Declare(frame.shadowKids[i], tag, hints_, Attr(e, "style"));
        Cascade::DropChildren(frame.shadowKids[i]);
    }
    NodeRecord& rec = doc_.records_[frame.record];
    rec.firstChild = static_cast<std::uint32_t>(doc_.children_.size());
    rec.childCount = static_cast<std::uint32_t>(frame.kids.size());
    doc_.children_.insert(doc_.children_.end(), frame.kids.begin(), frame.kids.end());
    frame.shadow.reset();
    frame.shadowKids.clear();
}

struct PairHash {
    std::size_t operator()(const std::pair<const void*, const void*>& p) const {
        const auto a = reinterpret_cast<std::uintptr_t>(p.first);
        const auto b = reinterpret_cast<std::uintptr_t>(p.second);
        return std::hash<std::uintptr_t>()(a * 31 + b);
    }
};

struct ValueHash {
    std::size_t operator()(const std::pair<std::size_t, const std::string*>& p) const {
        return std::hash<const std::string*>()(p.second) * 61 + p.first;
    }
};

void TreeBuilder::ResolveStyles() {
    std::unordered_map<std::pair<const void*, const void*>, const ComputedStyle*, PairHash> memo;
    std::unordered_map<std::pair<std::size_t, const std::string*>, std::u16string_view, ValueHash> values;
    auto intern = [this](std::u16string value) -> std::u16string_view {
        return *doc_.interned_.insert(std::move(value)).first;
    };
    // Declared values are shared strings of the cascade: each is normalised once per property.
    auto declaredValue = [&](CssProperty p, const std::string* value) {
        auto [slot, fresh] = values.try_emplace({static_cast<std::size_t>(p), value});
        if (fresh)
            slot->second = intern(Posix::NormalizeValue(p, *value));
        return slot->second;
    };
    // Records are in document order, so every parent is resolved before its children.
    for (std::size_t i = 0; i < doc_.records_.size(); ++i) {
        NodeRecord& r = doc_.records_[i];
        if (r.type != NodeType::Element || !declared_[i])
            continue;
        const NodeRecord& parent = doc_.records_[r.parent];
        const ComputedStyle* parentStyle = parent.type == NodeType::Element ? parent.style : nullptr;
        auto [slot, fresh] = memo.try_emplace({declared_[i], parentStyle}, nullptr);
        if (fresh)
            slot->second = &doc_.styles_.emplace_back(
                Posix::ResolveStyle(*declared_[i], parentStyle, intern, declaredValue));
        r.style = slot->second;
    }
}

// The UTF-16 length of valid UTF-8 (gumbo's text always is).
std::size_t Utf16Length(std::string_view utf8) {
    std::size_t units = 0;
    for (const char c : utf8) {
        const auto b = static_cast<unsigned char>(c);
        units += (b & 0xC0) != 0x80;
        units += b >= 0xF0;
    }
    return units;
}

// A lower bound of the length of the note content the serializer writes for the document this
// tree becomes, counting only what it surely writes: the text and comments, and each element's
// tags, style attribute and written attributes, outside the elements whose content it drops.
// Elements of unknown name count nothing (their names and content are not worth the checks).
// Stops counting once past `limit`.
std::size_t ContentFloor(const GumboNode* documentNode, std::size_t limit) {
    std::size_t floor = 0;
    std::vector<const GumboNode*> stack{documentNode};
    std::u16string name, value;
    auto pushChildren = [&](const GumboVector& children) {
        for (unsigned i = children.length; i-- > 0;)
            stack.push_back(static_cast<const GumboNode*>(children.data[i]));
    };
    while (!stack.empty() && floor <= limit) {
        const GumboNode* node = stack.back();
        stack.pop_back();
        switch (node->type) {
        case GUMBO_NODE_DOCUMENT:
            pushChildren(node->v.document.children);
            continue;
        case GUMBO_NODE_COMMENT:
            floor += 7; // "<!--" "-->"
            [[fallthrough]];
        case GUMBO_NODE_TEXT:
        case GUMBO_NODE_WHITESPACE:
        case GUMBO_NODE_CDATA:
            floor += Utf16Length(node->v.text.text); // escaping only lengthens it
            continue;
        case GUMBO_NODE_ELEMENT:
        case GUMBO_NODE_TEMPLATE:
            break;
        default:
            continue;
        }
        const GumboElement& e = node->v.element;
        if (e.tag == GUMBO_TAG_UNKNOWN)
            continue;
        const std::string_view tag = gumbo_normalized_tagname(e.tag);
        name.assign(tag.begin(), tag.end());
        if (!Clipper::Serialization::Accepts(name))
            continue;
        if (e.tag == GUMBO_TAG_HTML) {
            pushChildren(e.children);
            continue;
        }
        floor += 1 + tag.size(); // "<NAME"
        if (e.tag == GUMBO_TAG_BR || e.tag == GUMBO_TAG_NOBR) {
            floor += 3; // " />"
            continue;
        }
        // Every element of this engine has a computed style, so a style attribute, if empty.
        floor += 9; // ` style=""`
        if (e.tag == GUMBO_TAG_FORM) {
            floor += 2 + 3 + tag.size(); // " >" "</NAME>"
            pushChildren(e.children);
            continue;
        }
        for (unsigned i = 0; i < e.attributes.length; ++i) {
            const auto* a = static_cast<const GumboAttribute*>(e.attributes.data[i]);
            if (std::strcmp(a->name, "style") == 0) // not specified: see TreeBuilder::AddChild
                continue;
            name = FromUtf8(a->name);
            value = FromUtf8(a->value);
            if (Clipper::Serialization::WritesAttribute(name, value, true))
                floor += 4 + name.size() + value.size(); // ` name="value"`, escaping only lengthens it
        }
        if (e.tag == GUMBO_TAG_IMG) {
            floor += 3; // " />"
            continue;
        }
        floor += 1 + 3 + tag.size(); // ">" "</NAME>"
        pushChildren(e.children);
    }
    return floor;
}

} // namespace

DocumentPtr LoadDocument(const StringUTF8& bytes, std::int32_t contentLimit) {
    auto document = std::make_shared<PosixDocument>();
    // gumbo's work is bounded through the markup it sees; its output points into that markup.
    std::string bounded;
    const std::string_view markup =
        Posix::BoundMarkup(std::string_view(bytes.Data() ? bytes.Data() : "", bytes.Length()),
                           Posix::MarkupUse::Document, bounded);
    {
        GumboArena arena;
        GumboOptions options = kGumboDefaultOptions;
        options.allocator = &GumboArena::Allocate;
        options.deallocator = &GumboArena::Free;
        options.userdata = &arena;
        // Recorded parse errors copy the open-element stack: quadratic in nesting depth.
        options.max_errors = 0;
        const GumboOutput* output = gumbo_parse_with_options(&options, markup.data(), markup.size());
        if (contentLimit >= 1 && ContentFloor(output->document, static_cast<std::size_t>(contentLimit)) >
                                     static_cast<std::size_t>(contentLimit))
            throw Clipper::SerializerOutputLimitException();
        Cascade cascade;
        TreeBuilder builder(*document, cascade);
        builder.CollectStyleSheets(output->document);
        builder.SetQuirks(output->document->v.document.doc_type_quirks_mode == GUMBO_DOCTYPE_QUIRKS);
        cascade.Prepare();
        builder.Build(output->document);
        builder.ResolveStyles();
    }
    return document;
}

} // namespace Tessarix::Html
