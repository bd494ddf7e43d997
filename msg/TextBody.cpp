#include "msg/TextBody.h"

#include <gumbo.h>

#include <algorithm>
#include <array>
#include <memory>
#include <unordered_map>
#include <vector>

#include "core/Utf.h"
#include "msg/RtfBody.h"

namespace Tessarix::Msg {
namespace {

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}
bool IsAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
std::string Lower(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return out;
}

// ---- Bounding what gumbo sees --------------------------------------------------------------
//
// gumbo's tree builder scans its stack of open elements for many tokens, so deep nesting makes
// it quadratic (100000 nested <div> take 20 s), and it re-opens formatting elements by itself.
// Before gumbo sees the markup, this pass drops what no text depends on: attributes, the
// formatting elements (a, b, font ...) and isindex. It also counts open elements and drops start
// tags beyond kMaxOpen, whose content then joins the enclosing element. An element counts as
// open until its end tag comes while it is the innermost one, a start tag closes it the way
// gumbo surely does then, or </table> closes its table. Closes that depend on more of gumbo's
// state are not followed: the count errs only high, and gumbo's stack stays within a small
// multiple of the limit (implied tbody and tr) whatever the input.

constexpr std::size_t kMaxOpen = 1024;

enum TagKind : unsigned {
    kVoid = 1,       // never open
    kDropped = 2,    // removed with its end tag
    kRoot = 4,       // html, head, body: gumbo makes them once
    kRawText = 8,    // content up to the matching end tag is text
    kClosesP = 16,   // gumbo closes an open p first
    kOwnContext = 32 // select, svg, math: raw-text elements inside are gumbo's elements
};

unsigned KindOf(const std::string& name) {
    static const std::unordered_map<std::string_view, unsigned> kKinds = [] {
        std::unordered_map<std::string_view, unsigned> kinds;
        for (const char* n :
             {"area", "base", "basefont", "bgsound", "br", "col", "embed", "frame", "image", "img", "input",
              "keygen", "link", "menuitem", "meta", "param", "source", "track", "wbr"})
            kinds[n] |= kVoid;
        for (const char* n : {"a", "b", "big", "code", "em", "font", "i", "nobr", "s", "small", "strike",
                              "strong", "tt", "u", "isindex"})
            kinds[n] |= kDropped;
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

class BoundedMarkup {
public:
    std::string Run(std::string_view in) {
        out_.reserve(in.size());
        std::size_t i = 0;
        while (i < in.size()) {
            const std::size_t lt = in.find('<', i);
            out_.append(in.substr(i, lt == std::string_view::npos ? lt : lt - i));
            if (lt == std::string_view::npos)
                break;
            i = Markup(in, lt);
        }
        return std::move(out_);
    }

private:
    // Reads the markup at in[at] == '<' and returns where the text after it starts.
    std::size_t Markup(std::string_view in, std::size_t at) {
        const std::string_view rest = in.substr(at);
        if (rest.starts_with("<!--")) {
            // Ends at the first "-->" or "--!>", "<!-->" and "<!--->" included: never later than
            // gumbo ends it, so no markup that gumbo reads passes as a comment here.
            const std::size_t a = in.find("-->", at + 2), b = in.find("--!>", at + 2);
            const std::size_t end = std::min(a == std::string_view::npos ? in.size() : a + 3,
                                             b == std::string_view::npos ? in.size() : b + 4);
            out_.append(in.substr(at, end - at));
            return end;
        }
        const bool endTag = rest.size() > 1 && rest[1] == '/';
        const std::size_t nameAt = at + (endTag ? 2 : 1);
        if (nameAt >= in.size() || !IsAsciiLetter(in[nameAt])) {
            if (rest.size() < 2 || (rest[1] != '!' && rest[1] != '?' && !endTag)) {
                out_ += '<'; // text
                return at + 1;
            }
            const std::size_t gt = in.find('>', at); // a doctype or bogus comment
            const std::size_t end = gt == std::string_view::npos ? in.size() : gt + 1;
            out_.append(in.substr(at, end - at));
            return end;
        }
        std::size_t nameEnd = nameAt;
        while (nameEnd < in.size() && !IsSpace(in[nameEnd]) && in[nameEnd] != '/' && in[nameEnd] != '>')
            ++nameEnd;
        bool selfClosing = false;
        const std::size_t end = TagEnd(in, nameEnd, selfClosing);
        if (end == std::string_view::npos)
            return in.size(); // the input ends inside the tag, which then is none
        const std::string_view name = in.substr(nameAt, nameEnd - nameAt);
        if (endTag) {
            EndTag(name);
            return end;
        }
        return StartTag(in, name, selfClosing, end);
    }

    // The position after the tag's '>', read as gumbo's tokenizer reads attributes (a quote only
    // opens a value after '='), or npos when the input ends inside the tag.
    static std::size_t TagEnd(std::string_view in, std::size_t p, bool& selfClosing) {
        const std::size_t n = in.size();
        while (p < n) {
            if (IsSpace(in[p])) {
                ++p;
                continue;
            }
            if (in[p] == '>')
                return p + 1;
            if (in[p] == '/') {
                if (++p < n && in[p] == '>') {
                    selfClosing = true;
                    return p + 1;
                }
                continue;
            }
            ++p; // an attribute name's first character may be anything, '=' included
            while (p < n && !IsSpace(in[p]) && in[p] != '/' && in[p] != '>' && in[p] != '=')
                ++p;
            while (p < n && IsSpace(in[p]))
                ++p;
            if (p >= n || in[p] != '=')
                continue;
            ++p;
            while (p < n && IsSpace(in[p]))
                ++p;
            if (p >= n)
                break;
            if (in[p] == '"' || in[p] == '\'') {
                const std::size_t close = in.find(in[p], p + 1);
                if (close == std::string_view::npos)
                    break;
                p = close + 1;
            } else {
                while (p < n && !IsSpace(in[p]) && in[p] != '>')
                    ++p;
            }
        }
        return std::string_view::npos;
    }

    std::size_t StartTag(std::string_view in, std::string_view original, bool selfClosing, std::size_t end) {
        const std::string name = Lower(original);
        const unsigned kind = KindOf(name);
        if (kind & kDropped)
            return end;
        if (name == "frameset")
            frameset_ = true; // gumbo then ignores start tags, raw-text ones too
        CloseImplied(name, kind);
        if (!(kind & (kVoid | kRoot))) {
            if (open_.size() >= kMaxOpen)
                return end; // its content joins the enclosing element
            Push(name);
        }
        out_ += '<';
        out_ += original;
        out_ += selfClosing ? "/>" : ">";
        if (!(kind & kRawText) || ownContexts_ > 0 || frameset_)
            return end;
        const std::size_t close = name == "plaintext" ? in.size() : RawTextEnd(in, end, name);
        out_.append(in.substr(end, close - end));
        return close;
    }

    // The start of the first "</name" followed by a delimiter, as gumbo ends raw text.
    static std::size_t RawTextEnd(std::string_view in, std::size_t from, const std::string& name) {
        for (std::size_t p = in.find("</", from); p != std::string_view::npos; p = in.find("</", p + 2)) {
            const std::size_t after = p + 2 + name.size();
            if (after < in.size() && (IsSpace(in[after]) || in[after] == '/' || in[after] == '>') &&
                std::equal(name.begin(), name.end(), in.begin() + p + 2,
                           [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b); }))
                return p;
        }
        return in.size();
    }

    void EndTag(std::string_view original) {
        const std::string name = Lower(original);
        if (KindOf(name) & kDropped)
            return;
        if (!open_.empty() && open_.back() == name)
            Pop();
        else if (name == "table") {
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
        out_ += "</";
        out_ += original;
        out_ += '>';
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

    std::string out_;
    std::vector<std::string> open_;
    int ownContexts_ = 0; // open select, svg and math elements
    bool frameset_ = false;
};

// ---- Rendering the tree as text ------------------------------------------------------------

// Collects the text in UTF-8: collapsed white space and line ends are owed and written only when
// text follows, so none leads or trails.
class TextWriter {
public:
    void Text(std::string_view text, bool preformatted) {
        std::size_t i = 0;
        while (i < text.size()) {
            if (preformatted ? text[i] == '\n' || text[i] == '\r' : IsSpace(text[i])) {
                if (!preformatted)
                    space_ = space_ || (lineHasAny_ && !afterSeparator_);
                else if (text[i] == '\n')
                    LineBreak(true);
                ++i;
                continue;
            }
            std::size_t run = i + 1;
            while (run < text.size() &&
                   !(preformatted ? text[run] == '\n' || text[run] == '\r' : IsSpace(text[run])))
                ++run;
            BeginText();
            out_.append(text.substr(i, run - i));
            i = run;
        }
    }

    // A block's edge: what follows starts a line, unless nothing but a cell separator precedes.
    void Break() {
        if (lineHasAny_ && !afterSeparator_)
            OweLine();
    }
    void EndRow() {
        ++rowsEnded_;
        if (lineHasAny_)
            OweLine();
    }
    // <br>, or a line end in preformatted text (which keeps all its empty lines).
    void LineBreak(bool preformatted) {
        ++owed_;
        literal_ = literal_ || preformatted;
        lineHasAny_ = afterSeparator_ = space_ = false;
    }
    // Between table cells. Line ends owed by the previous cell's blocks give way to it, not those
    // of the row before nor of a table nested in that cell.
    void CellSeparator(bool rowHasText, bool nestedRows) {
        if (rowHasText && !nestedRows)
            owed_ = 0, literal_ = false;
        else
            WriteOwed();
        out_ += '\t';
        lineHasAny_ = afterSeparator_ = true;
        space_ = false;
    }

    std::size_t Size() const { return out_.size(); }
    std::size_t RowsEnded() const { return rowsEnded_; }
    std::u16string Finish() const { return FromUtf8(out_); }

private:
    void OweLine() {
        owed_ = std::max(owed_, 1);
        lineHasAny_ = afterSeparator_ = space_ = false;
    }
    void WriteOwed() {
        if (!out_.empty())
            for (int n = literal_ ? owed_ : std::min(owed_, 2); n > 0; --n)
                out_ += "\r\n";
        owed_ = 0;
        literal_ = false;
    }
    void BeginText() {
        if (owed_ > 0)
            WriteOwed();
        else if (space_)
            out_ += ' ';
        space_ = afterSeparator_ = false;
        lineHasAny_ = true;
    }

    std::string out_;
    int owed_ = 0;            // line ends before the next text
    bool literal_ = false;    // ... some from preformatted text
    bool lineHasAny_ = false; // text or a cell separator on the current line
    bool afterSeparator_ = false;
    bool space_ = false; // collapsed white space before the next text on this line
    std::size_t rowsEnded_ = 0;
};

bool IsBlock(GumboTag tag) {
    static const auto kBlocks = [] {
        std::array<bool, GUMBO_TAG_LAST + 1> blocks{};
        for (const GumboTag t :
             {GUMBO_TAG_ADDRESS,  GUMBO_TAG_ARTICLE,    GUMBO_TAG_ASIDE,     GUMBO_TAG_BLOCKQUOTE,
              GUMBO_TAG_CAPTION,  GUMBO_TAG_CENTER,     GUMBO_TAG_DD,        GUMBO_TAG_DETAILS,
              GUMBO_TAG_DIR,      GUMBO_TAG_DIV,        GUMBO_TAG_DL,        GUMBO_TAG_DT,
              GUMBO_TAG_FIELDSET, GUMBO_TAG_FIGCAPTION, GUMBO_TAG_FIGURE,    GUMBO_TAG_FOOTER,
              GUMBO_TAG_FORM,     GUMBO_TAG_H1,         GUMBO_TAG_H2,        GUMBO_TAG_H3,
              GUMBO_TAG_H4,       GUMBO_TAG_H5,         GUMBO_TAG_H6,        GUMBO_TAG_HEADER,
              GUMBO_TAG_HGROUP,   GUMBO_TAG_HR,         GUMBO_TAG_LEGEND,    GUMBO_TAG_LI,
              GUMBO_TAG_LISTING,  GUMBO_TAG_MAIN,       GUMBO_TAG_MENU,      GUMBO_TAG_NAV,
              GUMBO_TAG_OL,       GUMBO_TAG_P,          GUMBO_TAG_PLAINTEXT, GUMBO_TAG_PRE,
              GUMBO_TAG_SECTION,  GUMBO_TAG_SUMMARY,    GUMBO_TAG_TABLE,     GUMBO_TAG_UL,
              GUMBO_TAG_XMP})
            blocks[t] = true;
        return blocks;
    }();
    return tag >= 0 && tag <= GUMBO_TAG_LAST && kBlocks[tag];
}

bool IsPreformatted(GumboTag tag) {
    return tag == GUMBO_TAG_PRE || tag == GUMBO_TAG_LISTING || tag == GUMBO_TAG_XMP ||
           tag == GUMBO_TAG_PLAINTEXT || tag == GUMBO_TAG_TEXTAREA;
}

// Not rendered, in any namespace.
bool IsHidden(GumboTag tag) {
    return tag == GUMBO_TAG_HEAD || tag == GUMBO_TAG_SCRIPT || tag == GUMBO_TAG_STYLE ||
           tag == GUMBO_TAG_TITLE || tag == GUMBO_TAG_TEMPLATE || tag == GUMBO_TAG_IFRAME ||
           tag == GUMBO_TAG_NOEMBED || tag == GUMBO_TAG_NOFRAMES;
}

class TreeText {
public:
    std::u16string Run(const GumboNode* document) {
        stack_.push_back({document});
        while (!stack_.empty()) {
            Frame& frame = stack_.back();
            const GumboVector& children = frame.node->type == GUMBO_NODE_DOCUMENT
                                              ? frame.node->v.document.children
                                              : frame.node->v.element.children;
            if (frame.next == children.length) {
                Close(frame.node);
                stack_.pop_back();
                continue;
            }
            const auto* child = static_cast<const GumboNode*>(children.data[frame.next++]);
            switch (child->type) {
            case GUMBO_NODE_TEXT:
            case GUMBO_NODE_CDATA:
            case GUMBO_NODE_WHITESPACE:
                writer_.Text(child->v.text.text, preformatted_ > 0);
                break;
            case GUMBO_NODE_ELEMENT:
                if (!IsHidden(child->v.element.tag))
                    Open(child); // may move stack_: `frame` is stale from here
                break;
            default: // comments, template contents
                break;
            }
        }
        return writer_.Finish();
    }

private:
    struct Frame {
        const GumboNode* node = nullptr;
        unsigned next = 0;          // the next child to read
        std::size_t rowStart = 0;   // tr: the text's size when the row began
        unsigned cells = 0;         // tr: cells opened so far
        std::size_t rowsAtCell = 0; // tr: rows ended anywhere when its last cell opened
    };

    void Open(const GumboNode* node) {
        const GumboElement& e = node->v.element;
        Frame& parent = stack_.back();
        if (e.tag_namespace == GUMBO_NAMESPACE_HTML) {
            if (e.tag == GUMBO_TAG_BR)
                writer_.LineBreak(false);
            else if (e.tag == GUMBO_TAG_TR)
                writer_.Break();
            else if (e.tag == GUMBO_TAG_TD || e.tag == GUMBO_TAG_TH) {
                if (parent.cells++ > 0)
                    writer_.CellSeparator(writer_.Size() > parent.rowStart,
                                          writer_.RowsEnded() > parent.rowsAtCell);
                parent.rowsAtCell = writer_.RowsEnded();
            } else if (IsBlock(e.tag))
                writer_.Break();
            if (IsPreformatted(e.tag))
                ++preformatted_;
        }
        stack_.push_back({node, 0, writer_.Size(), 0, 0});
    }

    void Close(const GumboNode* node) {
        if (node->type != GUMBO_NODE_ELEMENT || node->v.element.tag_namespace != GUMBO_NAMESPACE_HTML)
            return;
        const GumboTag tag = node->v.element.tag;
        if (tag == GUMBO_TAG_TR)
            writer_.EndRow();
        else if (IsBlock(tag))
            writer_.Break();
        if (IsPreformatted(tag))
            --preformatted_;
    }

    std::vector<Frame> stack_; // the open elements: nesting costs no recursion
    TextWriter writer_;
    int preformatted_ = 0;
};

struct GumboOutputDeleter {
    const GumboOptions* options;
    void operator()(GumboOutput* output) const { gumbo_destroy_output(options, output); }
};

} // namespace

std::u16string RtfToText(std::string_view rtf) {
    if (Rtf::Detect(rtf) == Rtf::Encapsulation::Html)
        return HtmlToText(Rtf::DeEncapsulate(rtf));
    return Rtf::ToText(rtf);
}

std::u16string HtmlToText(std::u16string_view html) {
    const std::string markup = BoundedMarkup().Run(ToUtf8(html));
    GumboOptions options = kGumboDefaultOptions;
    options.max_errors = 0; // each recorded error copies the stack of open elements
    const std::unique_ptr<GumboOutput, GumboOutputDeleter> output(
        gumbo_parse_with_options(&options, markup.data(), markup.size()), GumboOutputDeleter{&options});
    return TreeText().Run(output->document);
}

} // namespace Tessarix::Msg
