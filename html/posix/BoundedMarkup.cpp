#include "html/posix/BoundedMarkup.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "html/posix/StyleValues.h"

namespace Tessarix::Html::Posix {
namespace {

// The pass reads the markup as gumbo's tokenizer does (tags, attributes, comments, raw text) and
// counts open elements. An element counts as open until its end tag comes while it is the
// innermost one, a start tag closes it the way gumbo surely does then, or </table> closes its
// table. Closes that depend on more of gumbo's state are not followed: the count errs only high,
// and gumbo's stack (with the formatting elements it re-opens) stays within a small multiple of
// the limit (implied tbody and tr) whatever the input. Markup that leaves elements open, such as
// an unclosed <font> in a table cell, keeps adding to the count.

bool IsAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

enum TagKind : unsigned {
    kVoid = 1,       // never open
    kTextless = 2,   // removed with its end tag when only the text is read
    kRoot = 4,       // html, head, body: gumbo makes them once
    kRawText = 8,    // content up to the matching end tag is text
    kClosesP = 16,   // gumbo closes an open p first
    kOwnContext = 32 // select, svg, math: raw-text elements inside are gumbo's elements
};

unsigned KindOf(const std::string& name) {
    static const std::unordered_map<std::string_view, unsigned> kKinds = [] {
        std::unordered_map<std::string_view, unsigned> kinds;
        // isindex: gumbo makes a form of it, which opens nothing that stays open.
        for (const char* n : {"area",     "base",  "basefont", "bgsound", "br",      "col",    "embed",
                              "frame",    "image", "img",      "input",   "isindex", "keygen", "link",
                              "menuitem", "meta",  "param",    "source",  "track",   "wbr"})
            kinds[n] |= kVoid;
        for (const char* n : {"a", "b", "big", "code", "em", "font", "i", "nobr", "s", "small", "strike",
                              "strong", "tt", "u", "isindex"})
            kinds[n] |= kTextless;
        for (const char* n : {"html", "head", "body"})
            kinds[n] |= kRoot;
        for (const char* n :
             {"script", "style", "xmp", "iframe", "noembed", "noframes", "textarea", "title", "plaintext"})
            kinds[n] |= kRawText;
        // Not form (ignored while one is open) nor table (only outside quirks mode).
        for (const char* n :
             {"address", "article",   "aside",      "blockquote", "center",  "details", "dir",    "div",
              "dl",      "fieldset",  "figcaption", "figure",     "footer",  "header",  "hgroup", "menu",
              "nav",     "ol",        "p",          "section",    "summary", "ul",      "h1",     "h2",
              "h3",      "h4",        "h5",         "h6",         "pre",     "listing", "li",     "dd",
              "dt",      "plaintext", "xmp",        "hr"})
            kinds[n] |= kClosesP;
        for (const char* n : {"select", "svg", "math"})
            kinds[n] |= kOwnContext;
        return kinds;
    }();
    const auto found = kKinds.find(name);
    return found == kKinds.end() ? 0u : found->second;
}

bool IsTablePart(std::string_view name) {
    return name == "td" || name == "th" || name == "tr" || name == "tbody" || name == "thead" ||
           name == "tfoot" || name == "caption" || name == "colgroup";
}

bool IsHeading(std::string_view name) {
    return name.size() == 2 && name[0] == 'h' && name[1] >= '1' && name[1] <= '6';
}

constexpr std::size_t npos = std::string_view::npos;

struct TagScan {
    std::size_t end = npos; // after the tag's '>'; npos when the input ends inside the tag
    bool selfClosing = false;
    std::size_t capAt = npos; // where the first attribute past kMaxAttributesPerTag starts
};

class Bounder {
public:
    Bounder(std::string_view in, MarkupUse use, std::string& out)
        : in_(in), text_(use == MarkupUse::Text),
          maxOpen_(use == MarkupUse::Text ? kMaxOpenForText : kMaxOpenForDocument), out_(out) {}

    std::string_view Run() {
        std::size_t i = 0;
        while (i < in_.size()) {
            const std::size_t lt = in_.find('<', i);
            if (lt == npos)
                break;
            i = Markup(lt);
        }
        if (!changed_)
            return in_;
        out_.append(in_.substr(kept_));
        return out_;
    }

private:
    // in_[from, to) becomes `with`; what lies before it since the last replacement stays as it is.
    void Replace(std::size_t from, std::size_t to, std::string_view with) {
        if (!changed_) {
            changed_ = true;
            out_.clear();
            out_.reserve(in_.size());
        }
        out_.append(in_.substr(kept_, from - kept_));
        out_.append(with);
        kept_ = to;
    }

    // Reads the markup at in_[at] == '<' and returns where the text after it starts.
    std::size_t Markup(std::size_t at) {
        const std::string_view rest = in_.substr(at);
        if (rest.starts_with("<!--")) {
            // Ends at the first "-->" or "--!>", "<!-->" and "<!--->" included: never later than
            // gumbo ends it, so no markup that gumbo reads passes as a comment here.
            for (std::size_t p = in_.find("--", at + 2); p != npos; p = in_.find("--", p + 1)) {
                if (in_.substr(p + 2, 1) == ">")
                    return p + 3;
                if (in_.substr(p + 2, 2) == "!>")
                    return p + 4;
            }
            return in_.size();
        }
        const bool endTag = rest.size() > 1 && rest[1] == '/';
        const std::size_t nameAt = at + (endTag ? 2 : 1);
        if (nameAt >= in_.size() || !IsAsciiLetter(in_[nameAt])) {
            if (rest.size() < 2 || (rest[1] != '!' && rest[1] != '?' && !endTag))
                return at + 1;                        // text
            const std::size_t gt = in_.find('>', at); // a doctype or bogus comment
            return gt == npos ? in_.size() : gt + 1;
        }
        std::size_t nameEnd = nameAt;
        while (nameEnd < in_.size() && !IsAsciiSpace(in_[nameEnd]) && in_[nameEnd] != '/' &&
               in_[nameEnd] != '>')
            ++nameEnd;
        const TagScan tag = ScanTag(nameEnd);
        if (tag.end == npos) {
            // The input ends inside the tag, which then is none.
            if (text_)
                Replace(at, in_.size(), {});
            return in_.size();
        }
        const std::string_view name = in_.substr(nameAt, nameEnd - nameAt);
        if (!endTag)
            return StartTag(at, name, tag);
        EndTag(at, name, tag);
        return tag.end;
    }

    // Reads attributes as gumbo's tokenizer does: a quote only opens a value after '='.
    TagScan ScanTag(std::size_t p) const {
        TagScan tag;
        std::size_t attributes = 0;
        const std::size_t n = in_.size();
        while (p < n) {
            if (IsAsciiSpace(in_[p])) {
                ++p;
                continue;
            }
            if (in_[p] == '>') {
                tag.end = p + 1;
                return tag;
            }
            if (in_[p] == '/') {
                if (++p < n && in_[p] == '>') {
                    tag.selfClosing = true;
                    tag.end = p + 1;
                    return tag;
                }
                continue;
            }
            if (++attributes == kMaxAttributesPerTag + 1)
                tag.capAt = p;
            ++p; // an attribute name's first character may be anything, '=' included
            while (p < n && !IsAsciiSpace(in_[p]) && in_[p] != '/' && in_[p] != '>' && in_[p] != '=')
                ++p;
            while (p < n && IsAsciiSpace(in_[p]))
                ++p;
            if (p >= n || in_[p] != '=')
                continue;
            ++p;
            while (p < n && IsAsciiSpace(in_[p]))
                ++p;
            if (p >= n)
                break;
            if (in_[p] == '"' || in_[p] == '\'') {
                const std::size_t close = in_.find(in_[p], p + 1);
                if (close == npos)
                    break;
                p = close + 1;
            } else {
                while (p < n && !IsAsciiSpace(in_[p]) && in_[p] != '>')
                    ++p;
            }
        }
        return tag;
    }

    // Writes a tag that stays: without attributes when only the text is read, else as it is, cut
    // after the last attribute allowed.
    void KeepTag(std::size_t at, std::string_view name, const TagScan& tag, bool endTag) {
        if (text_) {
            std::string written(endTag ? "</" : "<");
            written += name;
            written += tag.selfClosing && !endTag ? "/>" : ">";
            Replace(at, tag.end, written);
        } else if (tag.capAt != npos) {
            Replace(at, tag.end,
                    std::string(in_.substr(at, tag.capAt - at)) + (tag.selfClosing ? " />" : " >"));
        }
    }

    // Returns where markup starts again: after the raw text of a raw-text element.
    std::size_t StartTag(std::size_t at, std::string_view original, const TagScan& tag) {
        const std::string name = LowerAscii(original);
        const unsigned kind = KindOf(name);
        if (text_ && (kind & kTextless)) {
            Replace(at, tag.end, {});
            return tag.end;
        }
        if (name == "frameset")
            frameset_ = true; // gumbo then ignores start tags, raw-text ones too
        CloseImplied(name, kind);
        if (!(kind & (kVoid | kRoot))) {
            if (open_.size() >= maxOpen_) {
                Replace(at, tag.end, {}); // its content joins the enclosing element
                ++dropped_[name];
                return tag.end;
            }
            Push(name);
        }
        KeepTag(at, original, tag, false);
        if (!(kind & kRawText) || ownContexts_ > 0 || frameset_)
            return tag.end;
        return name == "plaintext" ? in_.size() : RawTextEnd(tag.end, name);
    }

    // The start of the first "</name" followed by a delimiter, as gumbo ends raw text.
    std::size_t RawTextEnd(std::size_t from, const std::string& name) const {
        for (std::size_t p = in_.find("</", from); p != npos; p = in_.find("</", p + 2)) {
            const std::size_t after = p + 2 + name.size();
            if (after < in_.size() && (IsAsciiSpace(in_[after]) || in_[after] == '/' || in_[after] == '>') &&
                std::equal(name.begin(), name.end(), in_.begin() + p + 2,
                           [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b); }))
                return p;
        }
        return in_.size();
    }

    void EndTag(std::size_t at, std::string_view original, const TagScan& tag) {
        const std::string name = LowerAscii(original);
        if (text_ && (KindOf(name) & kTextless)) {
            Replace(at, tag.end, {});
            return;
        }
        if (!open_.empty() && open_.back() == name)
            Pop();
        else if (const auto dropped = dropped_.find(name); dropped != dropped_.end() && dropped->second > 0) {
            // Ends an element whose start tag was dropped: gumbo would close an outer one early,
            // or make an empty p of </p>.
            --dropped->second;
            Replace(at, tag.end, {});
            return;
        } else if (name == "table") {
            // gumbo closes the innermost table and all above it. What is counted above the table
            // found here can only be open as part of it or of an enclosing table: closed too.
            auto table = open_.rbegin();
            while (table != open_.rend() && IsTablePart(*table))
                ++table;
            if (table != open_.rend() && *table == "table")
                for (const auto keep = static_cast<std::size_t>(open_.rend() - table) - 1;
                     open_.size() > keep;)
                    Pop();
        }
        KeepTag(at, original, tag, true);
    }

    // Closes that gumbo makes whenever the element is its current node.
    void CloseImplied(const std::string& name, unsigned kind) {
        if (kind & kClosesP)
            PopIf("p");
        if (name == "li")
            PopIf("li");
        else if (name == "dd" || name == "dt") {
            if (!PopIf("dd"))
                PopIf("dt");
        } else if (IsHeading(name)) {
            if (!open_.empty() && IsHeading(open_.back()))
                Pop();
        } else if (name == "option" || name == "optgroup")
            PopIf("option");
        else if (const bool cell = name == "td" || name == "th", row = name == "tr";
                 cell || row || IsTablePart(name)) {
            PopIf("caption");
            PopIf("colgroup");
            if (!PopIf("td"))
                PopIf("th");
            if (!cell)
                PopIf("tr");
            if (!cell && !row && !PopIf("tbody") && !PopIf("thead"))
                PopIf("tfoot");
        } else if (name == "button" || name == "select" || name == "table")
            PopIf(name);
    }

    bool PopIf(std::string_view name) {
        if (open_.empty() || open_.back() != name)
            return false;
        Pop();
        return true;
    }
    void Push(const std::string& name) {
        if (KindOf(name) & kOwnContext)
            ++ownContexts_;
        open_.push_back(name);
    }
    void Pop() {
        if (KindOf(open_.back()) & kOwnContext)
            --ownContexts_;
        open_.pop_back();
    }

    const std::string_view in_;
    const bool text_;
    const std::size_t maxOpen_;
    std::string& out_;
    bool changed_ = false;
    std::size_t kept_ = 0; // in_[kept_, ...) is not yet written to out_
    std::vector<std::string> open_;
    std::unordered_map<std::string, std::size_t> dropped_; // start tags dropped by name, not yet ended
    int ownContexts_ = 0;                                  // open select, svg and math elements
    bool frameset_ = false;
};

} // namespace

std::string_view BoundMarkup(std::string_view html, MarkupUse use, std::string& storage) {
    return Bounder(html, use, storage).Run();
}

} // namespace Tessarix::Html::Posix
