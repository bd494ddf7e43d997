#pragma once
// Reads a clip export document back into notes. The writer's layout is fixed (one element per
// line, CDATA content, base64 data), so a reader of exactly that layout is enough here; anything
// else in the document fails the test that reads it.
#include <gtest/gtest.h>

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

inline std::string XmlText(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '&') {
            out += text[i];
            continue;
        }
        const std::size_t end = text.find(';', i);
        const std::string_view entity = text.substr(i + 1, end - i - 1);
        if (entity == "lt")
            out += '<';
        else if (entity == "gt")
            out += '>';
        else if (entity == "amp")
            out += '&';
        else if (entity == "quot")
            out += '"';
        else
            ADD_FAILURE() << "unknown entity " << entity;
        i = end;
    }
    return out;
}

inline std::string Base64Decode(std::string_view text) {
    std::string out;
    unsigned buffer = 0;
    int bits = 0;
    for (const char c : text) {
        int value;
        if (c >= 'A' && c <= 'Z')
            value = c - 'A';
        else if (c >= 'a' && c <= 'z')
            value = c - 'a' + 26;
        else if (c >= '0' && c <= '9')
            value = c - '0' + 52;
        else if (c == '+')
            value = 62;
        else if (c == '/')
            value = 63;
        else if (c == '=')
            break;
        else {
            ADD_FAILURE() << "not base64: " << c;
            return out;
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

class ExportCursor {
public:
    explicit ExportCursor(std::string_view document) : text_(document) {}

    // The text of the element `name` that starts at the cursor (after blanks and line ends).
    std::string Element(std::string_view name) {
        SkipSpace();
        const std::string open = std::string("<").append(name).append(">");
        const std::string close = std::string("</").append(name).append(">");
        if (!Consume(open)) {
            ADD_FAILURE() << "expected " << open << " at: " << text_.substr(at_, 80);
            at_ = text_.size();
            return {};
        }
        const std::size_t end = text_.find(close, at_);
        if (end == std::string_view::npos) {
            ADD_FAILURE() << "no " << close;
            at_ = text_.size();
            return {};
        }
        std::string value(text_.substr(at_, end - at_));
        at_ = end + close.size();
        return value;
    }

    bool Consume(std::string_view token) {
        SkipSpace();
        if (text_.substr(at_, token.size()) != token)
            return false;
        at_ += token.size();
        return true;
    }

    bool Peek(std::string_view token) {
        SkipSpace();
        return text_.substr(at_, token.size()) == token;
    }

    bool AtEnd() const { return at_ >= text_.size(); }
    std::string_view Rest() const { return text_.substr(at_); }

private:
    void SkipSpace() {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\r' || text_[at_] == '\n'))
            ++at_;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

// CDATA sections as the writer splits them: "]]>" in the text is cut after "]]".
inline std::string CDataText(std::string_view raw) {
    std::string out;
    constexpr std::string_view kOpen = "<![CDATA[", kClose = "]]>";
    while (!raw.empty()) {
        if (!raw.starts_with(kOpen)) {
            ADD_FAILURE() << "content is not CDATA: " << raw.substr(0, 40);
            return out;
        }
        raw.remove_prefix(kOpen.size());
        const std::size_t end = raw.find(kClose);
        out.append(raw.substr(0, end));
        raw.remove_prefix(end == std::string_view::npos ? raw.size() : end + kClose.size());
    }
    return out;
}

inline std::vector<ExportNote> ReadExport(std::string_view document) {
    std::vector<ExportNote> notes;
    constexpr std::string_view kProlog =
        "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!DOCTYPE tx-clipper-export PUBLIC "
        "\"tx-clipper-export\" \"http://xml.tessarix.com/pub/tessarix-clipper-export.dtd\">\r\n";
    if (!document.starts_with(kProlog)) {
        ADD_FAILURE() << "not an export document: " << document.substr(0, 120);
        return notes;
    }
    ExportCursor cursor(document.substr(kProlog.size()));
    if (cursor.Consume("<tx-clipper-export></tx-clipper-export>"))
        return notes;
    EXPECT_TRUE(cursor.Consume("<tx-clipper-export>"));
    while (cursor.Consume("<note>")) {
        ExportNote note;
        note.title = XmlText(cursor.Element("title"));
        note.content = CDataText(cursor.Element("content"));
        note.created = cursor.Element("created");
        if (!cursor.Consume("<note-attributes></note-attributes>")) {
            EXPECT_TRUE(cursor.Consume("<note-attributes>"));
            for (const char* name : {"author", "source", "source-url"})
                if (cursor.Peek(std::string("<") + name + ">"))
                    note.attributes.emplace_back(name, XmlText(cursor.Element(name)));
            EXPECT_TRUE(cursor.Consume("</note-attributes>")) << cursor.Rest().substr(0, 80);
        }
        while (cursor.Consume("<resource>")) {
            ExportResource resource;
            EXPECT_TRUE(cursor.Consume("<data encoding=\"base64\">"));
            const std::string_view rest = cursor.Rest();
            const std::size_t end = rest.find("</data>");
            resource.data = Base64Decode(rest.substr(0, end));
            EXPECT_TRUE(cursor.Consume(rest.substr(0, end + 7)));
            resource.mime = XmlText(cursor.Element("mime"));
            EXPECT_TRUE(cursor.Consume("<resource-attributes>"));
            resource.sourceUrl = XmlText(cursor.Element("source-url"));
            resource.fileName = XmlText(cursor.Element("file-name"));
            EXPECT_TRUE(cursor.Consume("</resource-attributes>"));
            EXPECT_TRUE(cursor.Consume("</resource>"));
            note.resources.push_back(std::move(resource));
        }
        EXPECT_TRUE(cursor.Consume("</note>")) << cursor.Rest().substr(0, 80);
        notes.push_back(std::move(note));
    }
    EXPECT_TRUE(cursor.Consume("</tx-clipper-export>")) << cursor.Rest().substr(0, 80);
    EXPECT_TRUE(cursor.AtEnd());
    return notes;
}

} // namespace Tessarix::Testing
