#pragma once
// litehtml's CSS cascade without its layout: the default style sheet and the document's <style>
// sheets are parsed, sorted and matched by litehtml against a shadow tree of litehtml elements,
// and the winning declarations of each element are read back from a litehtml style.
//
// The shadow tree holds only what matching can look at: the element's ancestors and siblings.
// Its owner builds it top-down and, once an element's children are all there, asks for their
// declarations and drops the grandchildren, so that it never holds much more than one path.
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "html/posix/StyleValues.h"

namespace litehtml {
class css;
class document;
class element;
class style;
} // namespace litehtml

namespace Tessarix::Html::Posix {

class ShadowContainer;

class Cascade {
public:
    Cascade();
    ~Cascade();
    Cascade(const Cascade&) = delete;
    Cascade& operator=(const Cascade&) = delete;

    // A <style> sheet of the document, in document order; `media` is its media attribute.
    void AddStyleSheet(std::string text, std::string_view media);
    // Call once after the last sheet and before the first element.
    void Prepare();

    using Shadow = std::shared_ptr<litehtml::element>;
    // A shadow element with its (lower-case) tag and attributes, appended to `parent` if any.
    Shadow CreateElement(const Shadow& parent, std::string_view tag,
                         const std::vector<std::pair<std::string_view, std::string_view>>& attributes);
    // Drops the children of `element` once they are no longer needed for matching.
    static void DropChildren(const Shadow& element);

    // The declarations that win for `element`, given its presentational attributes (CSS property,
    // value; below every author rule) and its inline style. The result lives as long as the cascade.
    // `hints` names are C strings of static storage.
    const DeclaredStyle* Declare(const Shadow& element, std::string_view tag,
                                 const std::vector<std::pair<const char*, std::string>>& hints,
                                 std::string_view inlineStyle);

private:
    const litehtml::style& RuleStyle(std::size_t index);
    // Whether a selector can test an attribute of this name.
    bool Selectable(std::string_view attribute);
    const litehtml::element* VarScope();
    void Match(litehtml::element& element, std::string_view tag, std::vector<std::uint32_t>& out);

    std::unique_ptr<ShadowContainer> container_;
    std::shared_ptr<litehtml::document> document_;
    std::shared_ptr<litehtml::css> documentSheet_;
    std::shared_ptr<litehtml::element> varScope_;
    struct Rule;
    std::vector<Rule> rules_; // default sheet first, then the document's, each in cascade order
    std::size_t defaultRuleCount_ = 0;
    // Rules by what their rightmost part needs most: "#id", ".class" or the tag; the rest apply
    // to any element. Only the rules of an element's own buckets are tried on it.
    std::unordered_map<std::string, std::vector<std::uint32_t>> byKey_;
    std::vector<std::uint32_t> anyElement_;
    std::vector<std::uint32_t> candidates_;
    std::string bucket_;
    std::vector<std::pair<std::string, std::string>> sheets_;
    // The words of every sheet (lower case); an attribute no selector names is not given to the
    // shadow element, which copies and indexes each one it gets. A backslash (an escape could
    // spell any name) keeps them all.
    std::unordered_set<std::string> sheetWords_;
    bool keepAllAttributes_ = false;
    std::string word_;
    std::unordered_map<std::string, std::unique_ptr<litehtml::style>> parsedStyles_;
    std::unordered_map<std::string, const DeclaredStyle*> memo_;
    std::deque<DeclaredStyle> declared_;
    std::unordered_set<std::string> values_;
    std::vector<std::uint32_t> matched_;
    std::string key_;
};

} // namespace Tessarix::Html::Posix
