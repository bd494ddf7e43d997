#pragma once
// A small forward-only XML writer whose output, for the operations below, is byte for byte what
// XmlLite's IXmlWriter writes to a UTF-8 stream (indentation, escaping, CDATA splitting, the
// failure codes), so that the export document is the same on every platform. The rules it follows
// where XmlLite's behaviour is not on record are in docs/export-document.md.
//
// Failures are raised as XmlLite's HRESULTs (thrown as HResult). Like XmlLite, a text write that
// meets a bad character has already written the characters before it.
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/Exceptions.h"

namespace Tessarix::Xml {

// XmlLite's codes beyond those in core/Exceptions.h.
inline constexpr HResult kWC_E_NAMECHARACTER = HResultFrom(0xC00CEE2Cu);
inline constexpr HResult kWC_E_PUBLICID = HResultFrom(0xC00CEE42u);
inline constexpr HResult kWC_E_SYSTEMID = HResultFrom(0xC00CEE4Bu);
inline constexpr HResult kWR_E_INVALIDACTION = HResultFrom(0xC00CEF0Bu);
inline constexpr HResult kWR_E_INVALIDSURROGATEPAIR = HResultFrom(0xC00CEF0Cu);

// `text` with one blank for each character that the writer refuses as one XML 1.0 cannot carry:
// C0 controls other than TAB, LF and CR, U+FFFE, U+FFFF and lone surrogates.
std::u16string ReplaceNonXmlCharacters(std::u16string text);

struct XmlWriterSettings {
    bool indent = false;       // XmlWriterProperty_Indent: CR LF and two blanks per level
    bool byteOrderMark = true; // EF BB BF before the first byte written
};

class XmlWriter {
public:
    explicit XmlWriter(XmlWriterSettings settings = {});

    // Capacity for the whole document, so that a large one is never copied while it grows.
    void Reserve(std::size_t bytes) { out_.reserve(bytes); }

    // <?xml version="1.0" encoding="UTF-8"?> (XmlStandalone_Omit).
    void WriteStartDocument();
    // <!DOCTYPE name PUBLIC "pubid" "sysid">, <!DOCTYPE name SYSTEM "sysid"> or <!DOCTYPE name>;
    // an absent identifier differs from an empty one, as in XmlLite. No internal subset.
    void WriteDocType(std::u16string_view name, std::optional<std::u16string_view> publicId,
                      std::optional<std::u16string_view> systemId);
    void WriteStartElement(std::u16string_view name);
    void WriteAttributeString(std::u16string_view name, std::u16string_view value);
    // <name>value</name>, or <name /> when there is no value.
    void WriteElementString(std::u16string_view name, std::optional<std::u16string_view> value);
    // Character data with "<", "&" and ">" escaped. An empty string still closes the start tag.
    void WriteString(std::u16string_view text);
    // The same for a counted run, except that an empty run writes nothing at all.
    void WriteChars(std::u16string_view chars);
    // One CDATA section, split after "]]" wherever the text holds "]]>".
    void WriteCData(std::u16string_view text);
    // Character data of `count` bytes that the caller stores at the returned address (valid until
    // the next call). Only for ASCII text that needs neither escaping nor checking, such as base64:
    // it is written straight into the output, with no intermediate copy.
    char* WriteTrustedAscii(std::size_t count);
    // Closes the current element: " />" while its start tag is still open, else an end tag.
    void WriteEndElement();
    // Closes the current element with an end tag, even when it is empty.
    void WriteFullEndElement();
    // Closes every open element.
    void WriteEndDocument();
    // The output is always complete; kept so that callers read like XmlLite's call sequence.
    void Flush() {}

    const std::string& Output() const { return out_; }
    std::string TakeOutput() { return std::move(out_); }

private:
    struct Element {
        std::u16string name;
        bool hasMarkup = false; // a child element (or element string) was written in it
    };

    void BeginOutput();
    void RequireNotClosed() const;
    bool WroteMarkup() const { return out_.size() > bomLength_; }
    void CloseStartTag();
    void RequireOpenElement() const;
    void Indent();
    void BeforeMarkup();
    // Checks, then writes "<name" of an element (the root only once).
    void BeginStartTag(std::u16string_view name);
    void WriteEndTag(const Element& element);
    void AppendName(std::u16string_view name);
    void AppendText(std::u16string_view text, bool attribute);
    void AppendCDataRun(std::u16string_view text);

    XmlWriterSettings settings_;
    std::string out_;
    std::vector<Element> open_;
    bool begun_ = false;        // the byte-order mark (if any) is out
    std::size_t bomLength_ = 0; // bytes of it
    bool startTagOpen_ = false; // "<name" written, ">" not yet
    bool textNode_ = false;     // the last thing written was character data
    bool started_ = false;      // the declaration is out
    bool docTypeWritten_ = false;
    bool rootWritten_ = false; // a top-level element has been started
    bool closed_ = false;      // WriteEndDocument was called
};

} // namespace Tessarix::Xml
