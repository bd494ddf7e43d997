#include "msg/RtfBody.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <unordered_map>
#include <vector>

#include "core/CodePage.h"
#include "core/MapiProp.h"
#include "msg/MsgValue.h"

namespace Tessarix::Msg::Rtf {
namespace {

struct Token {
    enum class Kind { GroupStart, GroupEnd, Word, Symbol, Hex, Text, End };
    Kind kind = Kind::End;
    std::string_view word; // control word name
    bool hasParam = false;
    std::int32_t param = 0;
    char ch = 0; // symbol, text byte or hex byte
};

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
int HexValue(char c) {
    if (IsDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

class Tokenizer {
public:
    explicit Tokenizer(std::string_view rtf) : rtf_(rtf) {}

    Token Next() {
        Token token;
        while (pos_ < rtf_.size()) {
            const char c = rtf_[pos_++];
            if (c == '{') {
                token.kind = Token::Kind::GroupStart;
                return token;
            }
            if (c == '}') {
                token.kind = Token::Kind::GroupEnd;
                return token;
            }
            if (c == '\r' || c == '\n')
                continue; // line breaks of the RTF source are not content
            if (c != '\\') {
                token.kind = Token::Kind::Text;
                token.ch = c;
                return token;
            }
            if (pos_ >= rtf_.size())
                break;
            const char next = rtf_[pos_];
            if (IsLetter(next)) {
                const std::size_t start = pos_;
                while (pos_ < rtf_.size() && IsLetter(rtf_[pos_]))
                    ++pos_;
                token.kind = Token::Kind::Word;
                token.word = rtf_.substr(start, pos_ - start);
                ReadParameter(token);
                if (pos_ < rtf_.size() && rtf_[pos_] == ' ')
                    ++pos_;                                 // the delimiter
                if (token.word == "bin" && token.param > 0) // raw bytes, which may hold braces
                    pos_ += std::min<std::size_t>(static_cast<std::size_t>(token.param), rtf_.size() - pos_);
                return token;
            }
            ++pos_;
            if (next == '\'') {
                int value = 0, digits = 0;
                for (; digits < 2 && pos_ < rtf_.size() && HexValue(rtf_[pos_]) >= 0; ++digits)
                    value = value * 16 + HexValue(rtf_[pos_++]);
                if (digits < 2)
                    continue; // a broken escape is dropped with its digits
                token.kind = Token::Kind::Hex;
                token.ch = static_cast<char>(value);
                return token;
            }
            token.kind = Token::Kind::Symbol;
            token.ch = next;
            return token;
        }
        token.kind = Token::Kind::End;
        return token;
    }

private:
    void ReadParameter(Token& token) {
        std::size_t p = pos_;
        const bool negative = p < rtf_.size() && rtf_[p] == '-';
        if (negative)
            ++p;
        if (p >= rtf_.size() || !IsDigit(rtf_[p]))
            return;
        std::int64_t value = 0;
        while (p < rtf_.size() && IsDigit(rtf_[p])) {
            value = std::min<std::int64_t>(value * 10 + (rtf_[p] - '0'),
                                           std::numeric_limits<std::int32_t>::max());
            ++p;
        }
        pos_ = p;
        token.hasParam = true;
        token.param = static_cast<std::int32_t>(negative ? -value : value);
    }

    std::string_view rtf_;
    std::size_t pos_ = 0;
};

std::uint32_t CodePageOfCharset(std::int32_t charset, std::uint32_t documentDefault) {
    switch (charset) {
    case 0:
    case 2: // symbol fonts: their bytes are read as ANSI
        return 1252;
    case 77:
        return 10000;
    case 128:
        return 932;
    case 129:
        return 949;
    case 130:
        return 1361;
    case 134:
        return 936;
    case 136:
        return 950;
    case 161:
        return 1253;
    case 162:
        return 1254;
    case 163:
        return 1258;
    case 177:
        return 1255;
    case 178:
        return 1256;
    case 186:
        return 1257;
    case 204:
        return 1251;
    case 222:
        return 874;
    case 238:
        return 1250;
    case 255:
        return 437;
    default:
        return documentDefault;
    }
}

// Destinations whose text is not part of the body.
bool IsSkippedDestination(std::string_view word) {
    static constexpr std::string_view kSkipped[] = {
        "author",    "buptim",     "category",     "colorschememapping",
        "colortbl",  "comment",    "company",      "creatim",
        "datastore", "doccomm",    "docvar",       "filetbl",
        "fldinst",   "footer",     "footerf",      "footerl",
        "footerr",   "footnote",   "generator",    "header",
        "headerf",   "headerl",    "headerr",      "hlinkbase",
        "info",      "keywords",   "latentstyles", "listoverridetable",
        "listtable", "manager",    "object",       "operator",
        "pict",      "pntext",     "pntxta",       "pntxtb",
        "printim",   "private",    "revtbl",       "revtim",
        "rsidtbl",   "stylesheet", "subject",      "tc",
        "template",  "themedata",  "title",        "txe",
        "userprops", "xe",         "xmlnstbl"};
    return std::find(std::begin(kSkipped), std::end(kSkipped), word) != std::end(kSkipped);
}

std::u16string_view TextOfWord(std::string_view word) {
    static const std::map<std::string_view, std::u16string_view> kText = {
        {"par", u"\r\n"},       {"line", u"\r\n"},        {"tab", u"\t"},           {"lquote", u"\u2018"},
        {"rquote", u"\u2019"},  {"ldblquote", u"\u201C"}, {"rdblquote", u"\u201D"}, {"bullet", u"\u2022"},
        {"endash", u"\u2013"},  {"emdash", u"\u2014"},    {"emspace", u"\u2003"},   {"enspace", u"\u2002"},
        {"qmspace", u"\u2005"}, {"zwj", u"\u200D"},       {"zwnj", u"\u200C"},      {"ltrmark", u"\u200E"},
        {"rtlmark", u"\u200F"}};
    const auto found = kText.find(word);
    return found == kText.end() ? std::u16string_view() : found->second;
}

enum class Destination { Body, HtmlTag, FontTable, Skip };

struct GroupState {
    Destination destination = Destination::Body;
    bool htmlrtf = false;
    std::int32_t font = -1; // -1: the document's default font
    std::int32_t uc = 1;    // characters that stand in for each \uN
};

// Table and page structure, which only a document that is not encapsulated carries as text.
std::u16string_view TextOfDocumentWord(std::string_view word) {
    if (word == "cell" || word == "nestcell")
        return u"\t";
    if (word == "row" || word == "nestrow" || word == "page" || word == "sect")
        return u"\r\n";
    return {};
}

class DeEncapsulator {
public:
    explicit DeEncapsulator(bool document) : document_(document) {}

    std::u16string Run(std::string_view rtf) {
        Tokenizer tokens(rtf);
        bool groupStart = false; // the previous token opened a group
        bool starred = false;    // ... and was followed by \*
        for (Token token = tokens.Next(); token.kind != Token::Kind::End; token = tokens.Next()) {
            const bool atGroupStart = groupStart;
            const bool afterStar = starred;
            groupStart = starred = false;
            switch (token.kind) {
            case Token::Kind::GroupStart:
                Flush();
                stack_.push_back(stack_.empty() ? GroupState{} : stack_.back());
                skipChars_ = 0;
                groupStart = true;
                break;
            case Token::Kind::GroupEnd:
                Flush();
                if (!stack_.empty())
                    stack_.pop_back();
                skipChars_ = 0;
                break;
            case Token::Kind::Symbol:
                if (token.ch == '*' && atGroupStart) {
                    groupStart = starred = true;
                    break;
                }
                Symbol(token.ch);
                break;
            case Token::Kind::Word:
                if (atGroupStart && !stack_.empty() && OpensDestination(token.word, afterStar))
                    break;
                Word(token);
                break;
            case Token::Kind::Hex:
            case Token::Kind::Text:
                Byte(token.ch);
                break;
            case Token::Kind::End:
                break;
            }
        }
        Flush();
        return std::move(out_);
    }

private:
    GroupState& State() {
        if (stack_.empty())
            stack_.emplace_back(); // text outside any group is read in the document's state
        return stack_.back();
    }

    bool Emitting() {
        const GroupState& s = State();
        return (s.destination == Destination::Body || s.destination == Destination::HtmlTag) && !s.htmlrtf;
    }

    // The first control word of a group may name its destination.
    bool OpensDestination(std::string_view word, bool starred) {
        GroupState& s = stack_.back();
        if (s.destination == Destination::Skip)
            return false;
        if (word == "htmltag" && starred) {
            if (s.destination == Destination::Body)
                s.destination = Destination::HtmlTag;
            return false; // its parameter is read (and ignored) as a plain control word
        }
        if (word == "fonttbl") {
            s.destination = Destination::FontTable;
            return true;
        }
        if (starred || IsSkippedDestination(word)) {
            s.destination = Destination::Skip;
            return true;
        }
        return false;
    }

    std::uint32_t CurrentCodePage() {
        const GroupState& s = State();
        if (s.destination == Destination::HtmlTag)
            return defaultCodePage_;
        const std::int32_t font = s.font >= 0 ? s.font : defaultFont_;
        const auto found = fontCodePages_.find(font);
        return found == fontCodePages_.end() ? defaultCodePage_ : found->second;
    }

    void Word(const Token& token) {
        GroupState& s = State();
        const std::string_view w = token.word;
        if (s.destination == Destination::FontTable) {
            if (w == "f" && token.hasParam)
                definingFont_ = token.param;
            else if (w == "fcharset" && token.hasParam && !fontHasCpg_[definingFont_])
                fontCodePages_[definingFont_] = CodePageOfCharset(token.param, defaultCodePage_);
            else if (w == "cpg" && token.hasParam && token.param > 0) {
                fontCodePages_[definingFont_] = static_cast<std::uint32_t>(token.param);
                fontHasCpg_[definingFont_] = true;
            }
            return;
        }
        if (s.destination == Destination::Skip)
            return;
        // Document and state words act even inside \htmlrtf regions.
        if (w == "ansicpg" && token.hasParam && token.param > 0)
            defaultCodePage_ = static_cast<std::uint32_t>(token.param);
        else if (w == "ansi")
            defaultCodePage_ = 1252;
        else if (w == "mac")
            defaultCodePage_ = 10000;
        else if (w == "pc")
            defaultCodePage_ = 437;
        else if (w == "pca")
            defaultCodePage_ = 850;
        else if (w == "deff" && token.hasParam)
            defaultFont_ = token.param;
        else if (w == "f" && token.hasParam) {
            Flush();
            s.font = token.param;
        } else if (w == "htmlrtf") {
            Flush();
            s.htmlrtf = !token.hasParam || token.param != 0;
        } else if (w == "uc" && token.hasParam && token.param >= 0)
            s.uc = token.param;
        else if (w == "u" && token.hasParam) {
            if (Emitting()) {
                Flush();
                out_.push_back(static_cast<char16_t>(token.param < 0 ? token.param + 65536 : token.param));
            }
            skipChars_ = s.uc;
        } else if (const auto text = TextOfWord(w); !text.empty() && Emitting()) {
            Flush();
            out_.append(text);
        } else if (const auto structure = document_ ? TextOfDocumentWord(w) : std::u16string_view();
                   !structure.empty() && Emitting()) {
            Flush();
            // Every cell ends in \cell: the row's last one ends the line, not a column.
            const bool rowEnd = structure != u"\t";
            if (rowEnd && lastCellTab_ != std::u16string::npos && lastCellTab_ + 1 == out_.size())
                out_.pop_back();
            out_.append(structure);
            lastCellTab_ = rowEnd ? std::u16string::npos : out_.size() - 1;
        }
    }

    void Symbol(char c) {
        if (skipChars_ > 0) {
            --skipChars_;
            return;
        }
        if (!Emitting())
            return;
        switch (c) {
        case '\\':
        case '{':
        case '}':
            Byte(c);
            return;
        case '~':
            Flush();
            out_.push_back(u'\u00A0');
            return;
        case '_':
            Flush();
            out_.push_back(u'\u2011');
            return;
        case '\r':
        case '\n': // "\<newline>" is \par
            Flush();
            out_.append(u"\r\n");
            return;
        default:
            return; // \- and other symbols without text
        }
    }

    void Byte(char c) {
        if (skipChars_ > 0) {
            --skipChars_;
            return;
        }
        if (!Emitting())
            return;
        const std::uint32_t codePage = CurrentCodePage();
        if (!pending_.empty() && pendingCodePage_ != codePage)
            Flush();
        pendingCodePage_ = codePage;
        pending_.push_back(c);
    }

    // Bytes are decoded together, so that double-byte characters spread over escapes stay whole.
    void Flush() {
        if (pending_.empty())
            return;
        out_ += DecodeString8(pending_, pendingCodePage_);
        pending_.clear();
    }

    std::vector<GroupState> stack_;
    std::u16string out_;
    std::string pending_;
    std::uint32_t pendingCodePage_ = 1252;
    std::uint32_t defaultCodePage_ = 1252;
    std::int32_t defaultFont_ = 0;
    std::int32_t definingFont_ = 0;
    std::map<std::int32_t, std::uint32_t> fontCodePages_;
    std::map<std::int32_t, bool> fontHasCpg_;
    std::int32_t skipChars_ = 0;
    const bool document_;                            // plain RTF: table and page words are text
    std::size_t lastCellTab_ = std::u16string::npos; // where the last \cell's TAB went
};

// Text in `codePage`, with what it cannot hold as numeric character references (HTML) or '?'.
std::string Encode(std::u16string_view text, std::uint32_t codePage, bool html) {
    std::string whole = CodePage::FromWide(text, codePage);
    if (CodePage::ToWide(whole, codePage) == text)
        return whole;
    std::string out;
    std::unordered_map<char32_t, std::string> cache; // empty: not representable
    for (std::size_t i = 0; i < text.size();) {
        std::size_t units = 1;
        char32_t cp = text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            units = 2;
        }
        const std::u16string_view unit = text.substr(i, units);
        i += units;
        auto found = cache.find(cp);
        if (found == cache.end()) {
            std::string encoded = CodePage::FromWide(unit, codePage);
            if (CodePage::ToWide(encoded, codePage) != unit)
                encoded.clear();
            found = cache.emplace(cp, std::move(encoded)).first;
        }
        if (!found->second.empty())
            out += found->second;
        else if (html)
            out += "&#" + std::to_string(static_cast<std::uint32_t>(cp)) + ";";
        else
            out += CodePage::FromWide(u"?", codePage);
    }
    return out;
}

} // namespace

Encapsulation Detect(std::string_view rtf) {
    Tokenizer tokens(rtf);
    int seen = 0;
    for (Token token = tokens.Next(); token.kind != Token::Kind::End && seen < 10; token = tokens.Next()) {
        if (token.kind == Token::Kind::Word) {
            if (token.word == "fromhtml")
                return Encapsulation::Html;
            if (token.word == "fromtext")
                return Encapsulation::Text;
        }
        if (token.kind == Token::Kind::GroupStart || token.kind == Token::Kind::Word ||
            token.kind == Token::Kind::Symbol)
            ++seen;
    }
    return Encapsulation::None;
}

std::u16string DeEncapsulate(std::string_view rtf) {
    return DeEncapsulator(false).Run(rtf);
}

std::u16string ToText(std::string_view rtf) {
    return DeEncapsulator(true).Run(rtf);
}

NativeBody ExtractNativeBody(std::string_view rtf, std::uint32_t codePage) {
    const Encapsulation kind = Detect(rtf);
    if (kind == Encapsulation::None)
        return {Mapi::kNativeBodyRtf, std::string(rtf)};
    if (!CodePage::IsSupported(codePage))
        return {};
    const bool html = kind == Encapsulation::Html;
    return {html ? Mapi::kNativeBodyHtml : Mapi::kNativeBodyPlainText,
            Encode(DeEncapsulate(rtf), codePage, html)};
}

} // namespace Tessarix::Msg::Rtf
