#include "notes/XmlWriter.h"

namespace Tessarix::Xml {

namespace {

constexpr bool IsHighSurrogate(char16_t c) {
    return c >= 0xD800 && c <= 0xDBFF;
}
constexpr bool IsLowSurrogate(char16_t c) {
    return c >= 0xDC00 && c <= 0xDFFF;
}

// XML 1.0 (fifth edition) NameStartChar and NameChar on UTF-16 units; a surrogate pair stands for
// a character of #x10000-#xEFFFF and is checked by its high half.
bool IsNameStartUnit(char16_t c, bool allowColon) {
    if ((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_')
        return true;
    if (c == u':')
        return allowColon;
    if (c < 0xC0)
        return false;
    return (c <= 0xD6) || (c >= 0xD8 && c <= 0xF6) || (c >= 0xF8 && c <= 0x2FF) ||
           (c >= 0x370 && c <= 0x37D) || (c >= 0x37F && c <= 0x1FFF) || c == 0x200C || c == 0x200D ||
           (c >= 0x2070 && c <= 0x218F) || (c >= 0x2C00 && c <= 0x2FEF) || (c >= 0x3001 && c <= 0xD7FF) ||
           (c >= 0xD800 && c <= 0xDB7F) || (c >= 0xF900 && c <= 0xFDCF) || (c >= 0xFDF0 && c <= 0xFFFD);
}

bool IsNameUnit(char16_t c, bool allowColon) {
    if (IsNameStartUnit(c, allowColon))
        return true;
    return c == u'-' || c == u'.' || (c >= u'0' && c <= u'9') || c == 0xB7 || (c >= 0x300 && c <= 0x36F) ||
           c == 0x203F || c == 0x2040;
}

// Name (colons allowed) or NCName.
void CheckName(std::u16string_view name, bool allowColon) {
    if (name.empty())
        throw kE_INVALIDARG;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char16_t c = name[i];
        if (IsLowSurrogate(c)) {
            if (i == 0 || !IsHighSurrogate(name[i - 1]))
                throw kWC_E_NAMECHARACTER;
            continue;
        }
        if (IsHighSurrogate(c) && (i + 1 >= name.size() || !IsLowSurrogate(name[i + 1])))
            throw kWC_E_NAMECHARACTER;
        if (!(i == 0 ? IsNameStartUnit(c, allowColon) : IsNameUnit(c, allowColon)))
            throw kWC_E_NAMECHARACTER;
    }
}

bool IsPubidChar(char16_t c) {
    if ((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9'))
        return true;
    return std::u16string_view(u" \r\n-'()+,./:=?;!*#@$_%").find(c) != std::u16string_view::npos;
}

// How many units the character at `text[i]` takes (1 or 2), and the code XmlLite raises for it
// when XML cannot carry it or the surrogate pair is broken (kS_OK otherwise).
struct CharCheck {
    std::size_t units;
    HResult failure;
};

CharCheck CheckChar(std::u16string_view text, std::size_t i) {
    const char16_t c = text[i];
    if (c < 0x20)
        return {1, c == u'\t' || c == u'\n' || c == u'\r' ? kS_OK : kWC_E_XMLCHARACTER};
    if (c < 0xD800)
        return {1, kS_OK};
    if (IsHighSurrogate(c))
        return i + 1 < text.size() && IsLowSurrogate(text[i + 1]) ? CharCheck{2, kS_OK}
                                                                  : CharCheck{1, kWR_E_INVALIDSURROGATEPAIR};
    if (IsLowSurrogate(c))
        return {1, kWR_E_INVALIDSURROGATEPAIR};
    return {1, c == 0xFFFE || c == 0xFFFF ? kWC_E_XMLCHARACTER : kS_OK};
}

std::size_t CheckedCharLength(std::u16string_view text, std::size_t i) {
    const CharCheck check = CheckChar(text, i);
    if (check.failure != kS_OK)
        throw check.failure;
    return check.units;
}

void AppendUtf8(std::string& out, std::u16string_view text, std::size_t i, std::size_t units) {
    const char32_t c = units == 2
                           ? 0x10000 + ((char32_t(text[i]) - 0xD800) << 10) + (char32_t(text[i + 1]) - 0xDC00)
                           : char32_t(text[i]);
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        const char bytes[] = {static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
        out.append(bytes, 2);
    } else if (c < 0x10000) {
        const char bytes[] = {static_cast<char>(0xE0 | (c >> 12)),
                              static_cast<char>(0x80 | ((c >> 6) & 0x3F)),
                              static_cast<char>(0x80 | (c & 0x3F))};
        out.append(bytes, 3);
    } else {
        const char bytes[] = {
            static_cast<char>(0xF0 | (c >> 18)), static_cast<char>(0x80 | ((c >> 12) & 0x3F)),
            static_cast<char>(0x80 | ((c >> 6) & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
        out.append(bytes, 4);
    }
}

} // namespace

std::u16string ReplaceNonXmlCharacters(std::u16string text) {
    for (std::size_t i = 0; i < text.size();) {
        const CharCheck check = CheckChar(text, i);
        if (check.failure != kS_OK)
            text[i] = u' ';
        i += check.units;
    }
    return text;
}

XmlWriter::XmlWriter(XmlWriterSettings settings) : settings_(settings) {}

void XmlWriter::BeginOutput() {
    if (begun_)
        return;
    begun_ = true;
    if (settings_.byteOrderMark) {
        out_.append("\xEF\xBB\xBF");
        bomLength_ = 3;
    }
}

void XmlWriter::RequireNotClosed() const {
    if (closed_)
        throw kWR_E_INVALIDACTION;
}

void XmlWriter::RequireOpenElement() const {
    RequireNotClosed();
    if (open_.empty())
        throw kWR_E_INVALIDACTION;
}

void XmlWriter::CloseStartTag() {
    if (!startTagOpen_)
        return;
    out_.push_back('>');
    startTagOpen_ = false;
}

// A line break and two blanks per open element, unless character data was written just before
// (it is part of the content then) or nothing at all has been written yet.
void XmlWriter::Indent() {
    if (!settings_.indent)
        return;
    if (textNode_) {
        textNode_ = false;
        return;
    }
    if (WroteMarkup())
        out_.append("\r\n");
    out_.append(2 * open_.size(), ' ');
}

// Everything that starts a new node of markup: a start tag, an element string, the DOCTYPE.
void XmlWriter::BeforeMarkup() {
    RequireNotClosed();
    BeginOutput();
    CloseStartTag();
    Indent();
    if (!open_.empty())
        open_.back().hasMarkup = true;
}

void XmlWriter::AppendName(std::u16string_view name) {
    // Names are checked before they get here, so every unit is a character of a valid name.
    for (std::size_t i = 0; i < name.size();) {
        const std::size_t units = IsHighSurrogate(name[i]) ? 2 : 1;
        AppendUtf8(out_, name, i, units);
        i += units;
    }
}

void XmlWriter::AppendText(std::u16string_view text, bool attribute) {
    for (std::size_t i = 0; i < text.size();) {
        const char16_t c = text[i];
        if (c >= 0x20 && c < 0x80) {
            switch (c) {
            case u'<':
                out_.append("&lt;");
                break;
            case u'&':
                out_.append("&amp;");
                break;
            case u'>':
                out_.append("&gt;");
                break;
            case u'"':
                if (attribute) {
                    out_.append("&quot;");
                    break;
                }
                [[fallthrough]];
            default:
                out_.push_back(static_cast<char>(c));
            }
            ++i;
            continue;
        }
        const std::size_t units = CheckedCharLength(text, i);
        AppendUtf8(out_, text, i, units);
        i += units;
    }
}

void XmlWriter::AppendCDataRun(std::u16string_view text) {
    out_.append("<![CDATA[");
    for (std::size_t i = 0; i < text.size();) {
        const char16_t c = text[i];
        if (c >= 0x20 && c < 0x80) {
            out_.push_back(static_cast<char>(c));
            ++i;
            continue;
        }
        const std::size_t units = CheckedCharLength(text, i);
        AppendUtf8(out_, text, i, units);
        i += units;
    }
    out_.append("]]>");
}

void XmlWriter::WriteStartDocument() {
    RequireNotClosed();
    if (started_ || WroteMarkup())
        throw kWR_E_INVALIDACTION;
    BeginOutput();
    out_.append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    started_ = true;
}

void XmlWriter::WriteDocType(std::u16string_view name, std::optional<std::u16string_view> publicId,
                             std::optional<std::u16string_view> systemId) {
    RequireNotClosed();
    if (docTypeWritten_ || rootWritten_)
        throw kWR_E_INVALIDACTION;
    CheckName(name, true);
    if (publicId) {
        for (char16_t c : *publicId)
            if (!IsPubidChar(c))
                throw kWC_E_PUBLICID;
    }
    // The identifiers are written between double quotes.
    if (systemId && systemId->find(u'"') != std::u16string_view::npos)
        throw kWC_E_SYSTEMID;
    BeforeMarkup();
    out_.append("<!DOCTYPE ");
    AppendName(name);
    if (publicId) {
        out_.append(" PUBLIC \"");
        AppendText(*publicId, true);
        out_.append("\" \"");
        if (systemId)
            AppendText(*systemId, true);
        out_.push_back('"');
    } else if (systemId) {
        out_.append(" SYSTEM \"");
        AppendText(*systemId, true);
        out_.push_back('"');
    }
    out_.push_back('>');
    docTypeWritten_ = true;
}

void XmlWriter::BeginStartTag(std::u16string_view name) {
    CheckName(name, false);
    RequireNotClosed();
    if (open_.empty()) {
        if (rootWritten_)
            throw kWR_E_INVALIDACTION;
        rootWritten_ = true;
    }
    BeforeMarkup();
    out_.push_back('<');
    AppendName(name);
}

void XmlWriter::WriteStartElement(std::u16string_view name) {
    BeginStartTag(name);
    open_.push_back(Element{std::u16string(name)});
    startTagOpen_ = true;
}

void XmlWriter::WriteAttributeString(std::u16string_view name, std::u16string_view value) {
    RequireNotClosed();
    if (!startTagOpen_)
        throw kWR_E_INVALIDACTION;
    CheckName(name, false);
    out_.push_back(' ');
    AppendName(name);
    out_.append("=\"");
    AppendText(value, true);
    out_.push_back('"');
}

void XmlWriter::WriteElementString(std::u16string_view name, std::optional<std::u16string_view> value) {
    BeginStartTag(name);
    if (!value) {
        out_.append(" />");
        return;
    }
    out_.push_back('>');
    AppendText(*value, false);
    out_.append("</");
    AppendName(name);
    out_.push_back('>');
}

void XmlWriter::WriteString(std::u16string_view text) {
    RequireOpenElement();
    CloseStartTag();
    textNode_ = true;
    AppendText(text, false);
}

void XmlWriter::WriteChars(std::u16string_view chars) {
    if (chars.empty())
        return;
    WriteString(chars);
}

void XmlWriter::WriteCData(std::u16string_view text) {
    RequireOpenElement();
    CloseStartTag();
    // Not indented: white space before the section would become part of the element's text.
    textNode_ = true;
    for (;;) {
        const std::size_t marker = text.find(u"]]>");
        if (marker == std::u16string_view::npos)
            break;
        AppendCDataRun(text.substr(0, marker + 2));
        text.remove_prefix(marker + 2);
    }
    AppendCDataRun(text);
}

char* XmlWriter::WriteTrustedAscii(std::size_t count) {
    RequireOpenElement();
    CloseStartTag();
    textNode_ = true;
    const std::size_t at = out_.size();
    out_.resize(at + count);
    return out_.data() + at;
}

// On its own line after child elements; directly after text, or when there is no content.
void XmlWriter::WriteEndTag(const Element& element) {
    if (element.hasMarkup) {
        Indent();
    } else {
        textNode_ = false;
    }
    out_.append("</");
    AppendName(element.name);
    out_.push_back('>');
}

void XmlWriter::WriteEndElement() {
    RequireOpenElement();
    const Element element = std::move(open_.back());
    open_.pop_back();
    if (startTagOpen_) {
        out_.append(" />");
        startTagOpen_ = false;
        textNode_ = false;
        return;
    }
    WriteEndTag(element);
}

void XmlWriter::WriteFullEndElement() {
    RequireOpenElement();
    CloseStartTag();
    const Element element = std::move(open_.back());
    open_.pop_back();
    WriteEndTag(element);
}

void XmlWriter::WriteEndDocument() {
    RequireNotClosed();
    if (!WroteMarkup())
        throw kWR_E_INVALIDACTION;
    while (!open_.empty())
        WriteEndElement();
    closed_ = true;
}

} // namespace Tessarix::Xml
