#include "html/posix/Cascade.h"

#include <litehtml.h>

#include <algorithm>

#include "html/posix/DefaultStyleSheet.h"
#include "html/posix/ShadowContainer.h"

namespace Tessarix::Html::Posix {

struct Cascade::Rule {
    const litehtml::css_selector* selector;
    const litehtml::style* style = nullptr; // parsed on first use
};

namespace {

// The default sheet is parsed once per process and only read afterwards.
litehtml::context& DefaultContext() {
    static litehtml::context* context = [] {
        auto* c = new litehtml::context();
        c->load_master_stylesheet(kDefaultStyleSheet);
        return c;
    }();
    return *context;
}

// CSS ignores the "<!--" and "-->" that mail writers wrap their sheets in; litehtml would read
// them as part of the first selector and lose that rule.
std::string StripHtmlCommentMarkers(std::string text) {
    char quote = 0;
    bool comment = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (comment) {
            if (c == '*' && i + 1 < text.size() && text[i + 1] == '/') {
                comment = false;
                ++i;
            }
        } else if (quote) {
            if (c == '\\')
                ++i;
            else if (c == quote)
                quote = 0;
        } else if (c == '/' && i + 1 < text.size() && text[i + 1] == '*') {
            comment = true;
            ++i;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (text.compare(i, 4, "<!--") == 0) {
            text.replace(i, 4, 4, ' ');
            i += 3;
        } else if (text.compare(i, 3, "-->") == 0) {
            text.replace(i, 3, 3, ' ');
            i += 2;
        }
    }
    return text;
}

bool IsWordByte(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

// Adds the words of `text` (runs of name characters, lower-cased); false when it has a backslash.
bool AddWords(std::string_view text, std::unordered_set<std::string>& words) {
    std::string word;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] == '\\')
            return false;
        if (i < text.size() && IsWordByte(text[i])) {
            word += text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] - 'A' + 'a') : text[i];
            continue;
        }
        if (!word.empty())
            words.insert(std::move(word));
        word.clear();
    }
    return true;
}

} // namespace

bool Cascade::Selectable(std::string_view attribute) {
    if (keepAllAttributes_ || attribute == "id" || attribute == "class" || attribute == "href")
        return true;
    // Any word of the name: a namespaced name is selected as "ns|name".
    for (std::size_t i = 0; i <= attribute.size(); ++i) {
        if (i < attribute.size() && IsWordByte(attribute[i])) {
            word_ += attribute[i] >= 'A' && attribute[i] <= 'Z' ? static_cast<char>(attribute[i] - 'A' + 'a')
                                                                : attribute[i];
            continue;
        }
        const bool named = !word_.empty() && sheetWords_.count(word_) > 0;
        word_.clear();
        if (named)
            return true;
    }
    return false;
}

Cascade::Cascade() : container_(std::make_unique<ShadowContainer>()) {
    document_ = std::make_shared<litehtml::document>(container_.get(), &DefaultContext());
}

Cascade::~Cascade() = default;

void Cascade::AddStyleSheet(std::string text, std::string_view media) {
    sheets_.emplace_back(StripHtmlCommentMarkers(std::move(text)), std::string(media));
}

void Cascade::Prepare() {
    keepAllAttributes_ = !AddWords(kDefaultStyleSheet, sheetWords_);
    for (const auto& [text, media] : sheets_)
        keepAllAttributes_ = !AddWords(text, sheetWords_) || keepAllAttributes_;
    // The document's rules, kept alive by the selectors' owner below.
    auto sheet = std::make_shared<litehtml::css>();
    for (const auto& [text, media] : sheets_) {
        litehtml::media_query_list::ptr list;
        if (!media.empty())
            list = litehtml::media_query_list::create_from_string(media, document_);
        sheet->parse_stylesheet(text.c_str(), "", document_, list);
    }
    sheet->sort_selectors();
    sheets_.clear();
    // Media lists are evaluated here rather than by the document, which would restyle its (absent) tree.
    litehtml::media_features features;
    container_->get_media_features(features);
    for (const auto& selector : sheet->selectors())
        if (selector->m_media_query)
            selector->m_media_query->apply_media_features(features);

    auto add = [this](const litehtml::css_selector::ptr& selector) {
        if (!selector->is_media_valid())
            return;
        const auto index = static_cast<std::uint32_t>(rules_.size());
        rules_.push_back(Rule{selector.get()});
        std::string key;
        for (const auto& attribute : selector->m_right.m_attrs) {
            if (attribute.condition != litehtml::select_equal || attribute.val.empty())
                continue;
            if (attribute.attribute == "id") {
                key = "#" + attribute.val;
                break;
            }
            if (attribute.attribute == "class" && key.empty())
                key = "." + attribute.val;
        }
        const std::string& tag = selector->m_right.m_tag;
        if (key.empty() && !tag.empty() && tag != "*")
            key = tag;
        if (key.empty())
            anyElement_.push_back(index);
        else
            byKey_[key].push_back(index);
    };
    for (const auto& selector : DefaultContext().master_css().selectors())
        add(selector);
    defaultRuleCount_ = rules_.size();
    for (const auto& selector : sheet->selectors())
        add(selector);
    documentSheet_ = std::move(sheet);
}

Cascade::Shadow
Cascade::CreateElement(const Shadow& parent, std::string_view tag,
                       const std::vector<std::pair<std::string_view, std::string_view>>& attributes) {
    auto element = std::make_shared<litehtml::html_tag>(document_);
    element->set_tagName(std::string(tag).c_str());
    std::string name, value;
    bool link = false;
    for (const auto& [n, v] : attributes) {
        if (!Selectable(n))
            continue;
        name.assign(n);
        value.assign(v);
        element->set_attr(name.c_str(), value.c_str());
        link = link || n == "href";
    }
    if (link && tag == "a")
        element->set_pseudo_class("link", true);
    if (parent)
        parent->appendChild(element);
    return element;
}

void Cascade::DropChildren(const Shadow& element) {
    element->clearRecursive();
}

const litehtml::style& Cascade::RuleStyle(std::size_t index) {
    Rule& rule = rules_[index];
    if (!rule.style) {
        auto& parsed = parsedStyles_[rule.selector->m_style];
        if (!parsed) {
            parsed = std::make_unique<litehtml::style>();
            parsed->add(rule.selector->m_style.c_str(), "", VarScope());
        }
        rule.style = parsed.get();
    }
    return *rule.style;
}

const litehtml::element* Cascade::VarScope() {
    // litehtml resolves var() against an element; this one declares nothing, so var() is empty.
    if (!varScope_)
        varScope_ = std::make_shared<litehtml::html_tag>(document_);
    return varScope_.get();
}

void Cascade::Match(litehtml::element& element, std::string_view tag, std::vector<std::uint32_t>& out) {
    candidates_.assign(anyElement_.begin(), anyElement_.end());
    auto gather = [this](std::string_view key) {
        bucket_.assign(key);
        const auto found = byKey_.find(bucket_);
        if (found != byKey_.end())
            candidates_.insert(candidates_.end(), found->second.begin(), found->second.end());
    };
    gather(tag);
    if (const char* id = element.get_attr("id"))
        gather(std::string("#") + id);
    if (const char* classes = element.get_attr("class")) {
        std::string_view rest(classes);
        while (!rest.empty()) {
            const std::size_t start = rest.find_first_not_of(" \t\n\r\f");
            if (start == std::string_view::npos)
                break;
            rest.remove_prefix(start);
            const std::size_t end = std::min(rest.find_first_of(" \t\n\r\f"), rest.size());
            gather(std::string(".").append(rest.substr(0, end)));
            rest.remove_prefix(end);
        }
    }
    // Cascade order; a rule reached through two of the element's classes counts once.
    std::sort(candidates_.begin(), candidates_.end());
    candidates_.erase(std::unique(candidates_.begin(), candidates_.end()), candidates_.end());
    for (const std::uint32_t index : candidates_) {
        const int result = element.select(*rules_[index].selector, true);
        // Pseudo-elements (::before, ::after) generate content the note never shows.
        if ((result & litehtml::select_match) &&
            !(result & (litehtml::select_match_with_before | litehtml::select_match_with_after)))
            out.push_back(index);
    }
}

const DeclaredStyle* Cascade::Declare(const Shadow& element, std::string_view tag,
                                      const std::vector<std::pair<const char*, std::string>>& hints,
                                      std::string_view inlineStyle) {
    matched_.clear();
    Match(*element, tag, matched_);

    key_.assign(reinterpret_cast<const char*>(matched_.data()), matched_.size() * sizeof(std::uint32_t));
    key_ += '\0';
    for (const auto& [name, value] : hints) {
        key_ += name;
        key_ += '\x1f';
        key_ += value;
        key_ += '\x1e';
    }
    key_ += '\0';
    key_ += inlineStyle;
    if (const auto found = memo_.find(key_); found != memo_.end())
        return found->second;

    // Default sheet, then presentational attributes, then the document's rules, then the inline
    // style: litehtml's own override and !important rules decide between them.
    litehtml::style style;
    for (const std::uint32_t index : matched_)
        if (index < defaultRuleCount_)
            style.combine(RuleStyle(index));
    for (const auto& [name, value] : hints)
        style.add_property(name, value.c_str(), "", false, VarScope());
    for (const std::uint32_t index : matched_)
        if (index >= defaultRuleCount_)
            style.combine(RuleStyle(index));
    if (!inlineStyle.empty())
        style.add(std::string(inlineStyle).c_str(), "", VarScope());

    DeclaredStyle& declared = declared_.emplace_back();
    for (std::size_t slot = 0; slot < kDeclaredSlotCount; ++slot) {
        const std::string_view name = SourcePropertyName(slot); // a literal: terminated
        if (name.empty())
            continue;
        if (const char* value = style.get_property(name.data()))
            declared.values[slot] = &*values_.emplace(value).first;
    }
    memo_.emplace(key_, &declared);
    return &declared;
}

} // namespace Tessarix::Html::Posix
