#pragma once
// An in-memory document for what no real engine on the test machine produces on demand: node
// names in odd case, document-type nodes, elements without a computed style, attributes that
// are not specified or not strings. Style values that are not set read as empty.
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "html/Document.h"

namespace Tessarix::Testing {

class FakeDocument final : public Html::Document {
public:
    struct Attr {
        std::u16string name;
        std::optional<std::u16string> value;
        bool specified = true;
    };
    using Styles = std::map<Html::CssProperty, std::u16string>;

    FakeDocument() { nodes_.emplace_back(Html::NodeType::Document, u"#document"); }

    Html::Node Element(Html::Node parent, std::u16string name, std::vector<Attr> attributes = {},
                       std::optional<Styles> style = Styles{}) {
        Item item(Html::NodeType::Element, std::move(name));
        item.attributes = std::move(attributes);
        item.style = std::move(style);
        return Add(parent, std::move(item));
    }
    Html::Node Text(Html::Node parent, std::u16string text) {
        Item item(Html::NodeType::Text, u"#text");
        item.value = std::move(text);
        return Add(parent, std::move(item));
    }
    Html::Node Other(Html::Node parent, Html::NodeType type, std::u16string name,
                     std::optional<std::u16string> value) {
        Item item(type, std::move(name));
        item.value = std::move(value);
        return Add(parent, std::move(item));
    }
    void AddImage(std::optional<std::u16string> source) { images_.push_back(std::move(source)); }

    Html::Node Root() const override { return Html::Node{1}; }
    Html::NodeType TypeOf(Html::Node n) const override { return At(n).type; }
    std::u16string_view NameOf(Html::Node n) const override { return At(n).name; }
    std::optional<std::u16string_view> ValueOf(Html::Node n) const override {
        if (!At(n).value)
            return std::nullopt;
        return std::u16string_view(*At(n).value);
    }
    std::size_t ChildCount(Html::Node n) const override { return At(n).children.size(); }
    Html::Node ChildAt(Html::Node n, std::size_t i) const override {
        return Html::Node{At(n).children.at(i)};
    }
    std::size_t AttributeCount(Html::Node n) const override { return At(n).attributes.size(); }
    Html::Attribute AttributeAt(Html::Node n, std::size_t i) const override {
        return View(At(n).attributes.at(i));
    }
    std::optional<Html::Attribute> NamedAttribute(Html::Node n, std::u16string_view name) const override {
        for (const Attr& a : At(n).attributes)
            if (Lower(a.name) == Lower(std::u16string(name)))
                return View(a);
        return std::nullopt;
    }
    Html::Style StyleOf(Html::Node n) const override { return Html::Style{At(n).style ? n.id : 0}; }
    std::u16string_view StyleValue(Html::Style s, Html::CssProperty p) const override {
        const Styles& styles = *At(Html::Node{s.id}).style;
        const auto found = styles.find(p);
        return found == styles.end() ? std::u16string_view() : std::u16string_view(found->second);
    }
    std::size_t ImageCount() const override { return images_.size(); }
    std::optional<std::u16string_view> ImageSource(std::size_t i) const override {
        if (!images_.at(i))
            return std::nullopt;
        return std::u16string_view(*images_.at(i));
    }

private:
    struct Item {
        Item(Html::NodeType t, std::u16string n) : type(t), name(std::move(n)) {}
        Html::NodeType type;
        std::u16string name;
        std::optional<std::u16string> value;
        std::vector<std::uintptr_t> children;
        std::vector<Attr> attributes;
        std::optional<Styles> style;
    };
    const Item& At(Html::Node n) const { return nodes_.at(n.id - 1); }
    Html::Node Add(Html::Node parent, Item item) {
        nodes_.push_back(std::move(item));
        const Html::Node node{nodes_.size()};
        nodes_.at(parent.id - 1).children.push_back(node.id);
        return node;
    }
    static Html::Attribute View(const Attr& a) {
        Html::Attribute view{a.name, a.specified, std::nullopt};
        if (a.value)
            view.value = std::u16string_view(*a.value);
        return view;
    }
    static std::u16string Lower(std::u16string s) {
        for (char16_t& c : s)
            if (c >= u'A' && c <= u'Z')
                c = static_cast<char16_t>(c - u'A' + u'a');
        return s;
    }

    std::vector<Item> nodes_;
    std::vector<std::optional<std::u16string>> images_;
};

} // namespace Tessarix::Testing
