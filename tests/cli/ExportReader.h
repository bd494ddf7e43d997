#pragma once
// Reads a clip export document back into notes through libxml2: any document that is not
// well-formed, lacks the writer's prolog or holds an element the format does not fails the test
// that reads it. The byte layout itself is the export writer's tests' to check.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tessarix::Testing {

struct ExportResource {
    std::string data; // decoded
    std::string mime, sourceUrl, fileName;
};

struct ExportNote {
    std::string title, content, created;
    std::vector<std::pair<std::string, std::string>> attributes; // in document order
    std::vector<ExportResource> resources;

    std::string Attribute(std::string_view name) const {
        for (const auto& [key, value] : attributes)
            if (key == name)
                return value;
        return {};
    }
    // The content without the style attributes that the serializer writes on every element.
    std::string Unstyled() const {
        std::string out;
        std::size_t from = 0;
        for (std::size_t at = content.find(" style=\""); at != std::string::npos;
             at = content.find(" style=\"", from)) {
            out.append(content, from, at - from);
            const std::size_t end = content.find('"', at + 8);
            from = end == std::string::npos ? content.size() : end + 1;
        }
        out.append(content, from);
        return out;
    }
};

inline std::string Base64Decode(std::string_view text) {
    constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned buffer = 0;
    int bits = 0;
    for (const char c : text.substr(0, text.find('='))) {
        const std::size_t value = kAlphabet.find(c);
        if (value == std::string_view::npos) {
            ADD_FAILURE() << "not base64: " << c;
            break;
        }
        buffer = (buffer << 6) | static_cast<unsigned>(value);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out += static_cast<char>((buffer >> bits) & 0xFF);
        }
    }
    return out;
}

namespace ExportXml {

// XML reads a carriage return as a line feed; the bytes sent keep it, and so does the reader,
// under a private-use character while libxml2 parses.
constexpr std::string_view kCarriageReturn = "\xEE\x80\x80";

// `text` with every `from` after `start` replaced by `to`.
inline std::string Replaced(std::string_view text, std::string_view from, std::string_view to,
                            std::size_t start = 0) {
    std::string out(text.substr(0, start));
    for (text.remove_prefix(start);;) {
        const std::size_t at = text.find(from);
        out.append(text.substr(0, at));
        if (at == std::string_view::npos)
            return out;
        out.append(to);
        text.remove_prefix(at + from.size());
    }
}

inline std::string Name(const xmlNode* node) {
    return reinterpret_cast<const char*>(node->name);
}

// The element's text, its CDATA sections joined.
inline std::string Text(const xmlNode* node) {
    xmlChar* text = xmlNodeGetContent(node);
    const std::string out = Replaced(text ? reinterpret_cast<const char*>(text) : "", kCarriageReturn, "\r");
    xmlFree(text);
    return out;
}

inline std::vector<const xmlNode*> Elements(const xmlNode* parent) {
    std::vector<const xmlNode*> elements;
    for (const xmlNode* node = parent->children; node; node = node->next)
        if (node->type == XML_ELEMENT_NODE)
            elements.push_back(node);
    return elements;
}

} // namespace ExportXml

inline std::vector<ExportNote> ReadExport(std::string_view document) {
    using namespace ExportXml;
    std::vector<ExportNote> notes;
    constexpr std::string_view kProlog =
        "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!DOCTYPE tx-clipper-export PUBLIC "
        "\"tx-clipper-export\" \"http://xml.tessarix.com/pub/tessarix-clipper-export.dtd\">\r\n";
    EXPECT_TRUE(document.starts_with(kProlog)) << document.substr(0, 120);
    const std::string marked =
        Replaced(document, "\r", kCarriageReturn, document.starts_with(kProlog) ? kProlog.size() : 0);
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> xml(
        xmlReadMemory(marked.data(), static_cast<int>(marked.size()), nullptr, nullptr, XML_PARSE_NONET),
        xmlFreeDoc);
    const xmlNode* root = xml ? xmlDocGetRootElement(xml.get()) : nullptr;
    if (!root || Name(root) != "tx-clipper-export") {
        ADD_FAILURE() << "not an export document: " << document.substr(0, 200);
        return notes;
    }
    for (const xmlNode* element : Elements(root)) {
        EXPECT_EQ(Name(element), "note");
        ExportNote& note = notes.emplace_back();
        for (const xmlNode* part : Elements(element)) {
            const std::string name = Name(part);
            if (name == "title")
                note.title = Text(part);
            else if (name == "content")
                note.content = Text(part);
            else if (name == "created")
                note.created = Text(part);
            else if (name == "note-attributes")
                for (const xmlNode* attribute : Elements(part))
                    note.attributes.emplace_back(Name(attribute), Text(attribute));
            else if (name == "resource") {
                ExportResource& resource = note.resources.emplace_back();
                for (const xmlNode* field : Elements(part)) {
                    if (Name(field) == "data")
                        resource.data = Base64Decode(Text(field));
                    else if (Name(field) == "mime")
                        resource.mime = Text(field);
                    else if (Name(field) == "resource-attributes" && Elements(field).size() == 2) {
                        resource.sourceUrl = Text(Elements(field)[0]);
                        resource.fileName = Text(Elements(field)[1]);
                    } else
                        ADD_FAILURE() << "unexpected in a resource: " << Name(field);
                }
            } else
                ADD_FAILURE() << "unexpected in a note: " << name;
        }
    }
    return notes;
}

} // namespace Tessarix::Testing
