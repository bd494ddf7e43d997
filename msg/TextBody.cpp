#include "msg/TextBody.h"

#include <gumbo.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "core/Utf.h"
#include "html/posix/BoundedMarkup.h"
#include "html/posix/StyleValues.h"
#include "msg/RtfBody.h"

namespace Tessarix::Msg {
namespace {

using Html::Posix::IsAsciiSpace;

// Collects the text in UTF-8: collapsed white space and line ends are owed and written only when
// text follows, so none leads or trails.
class TextWriter {
public:
    void Text(std::string_view text, bool preformatted) {
        std::size_t i = 0;
        while (i < text.size()) {
            if (preformatted ? text[i] == '\n' || text[i] == '\r' : IsAsciiSpace(text[i])) {
                if (!preformatted)
                    space_ = space_ || (lineHasAny_ && !afterSeparator_);
                else if (text[i] == '\n')
                    LineBreak(true);
                ++i;
                continue;
            }
            std::size_t run = i + 1;
            while (run < text.size() &&
                   !(preformatted ? text[run] == '\n' || text[run] == '\r' : IsAsciiSpace(text[run])))
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
    // gumbo's tree builder is quadratic in nesting depth: it reads the markup bounded first.
    const std::string utf8 = ToUtf8(html);
    std::string bounded;
    const std::string_view markup = Html::Posix::BoundMarkup(utf8, Html::Posix::MarkupUse::Text, bounded);
    GumboOptions options = kGumboDefaultOptions;
    options.max_errors = 0; // each recorded error copies the stack of open elements
    const std::unique_ptr<GumboOutput, GumboOutputDeleter> output(
        gumbo_parse_with_options(&options, markup.data(), markup.size()), GumboOutputDeleter{&options});
    return TreeText().Run(output->document);
}

} // namespace Tessarix::Msg
