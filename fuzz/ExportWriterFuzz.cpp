// The export writer's title and text cleaning: a note's title may hold anything and still gives a
// well-formed document that carries it, characters XML cannot hold as blanks. Content and metadata
// that hold such a character fail the export with the writer's HRESULT and give no document; clean
// ones come back from the parsed document as they were.
//
// The input is UTF-16LE: a flags byte, then title, content, author and file name separated by
// U+FFFF (itself one of the characters XML cannot hold; U+FFFE still reaches every field).
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Exceptions.h"
#include "core/Utf.h"
#include "fuzz/FuzzCheck.h"
#include "notes/ExportDocument.h"
#include "notes/Note.h"
#include "notes/XmlWriter.h"

using namespace Tessarix;
using namespace Tessarix::Notes;

namespace {

// A note as the writer may meet it from code that bypasses the model's cleaning.
class RawNote final : public INote {
public:
    std::u16string GetContent() const override { return content; }
    std::u16string GetTitle() const override { return title; }
    MetadataList& GetMetadata() override { return metadata; }
    const MetadataList& GetMetadata() const override { return metadata; }
    ResourceList& GetResources() override { return resources; }
    const ResourceList& GetResources() const override { return resources; }
    void SetContent(const std::u16string& text) override { content = text; }
    void SetTitle(const std::u16string& text) override { title = text; }

    std::u16string title, content;
    MetadataList metadata;
    ResourceList resources;
};

// XML parsers hand line ends over as LF.
std::string XmlLineEnds(std::u16string_view text) {
    std::u16string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'\r') {
            out.push_back(u'\n');
            if (i + 1 < text.size() && text[i + 1] == u'\n')
                ++i;
        } else {
            out.push_back(text[i]);
        }
    }
    return ToUtf8(out);
}

xmlNode* Child(xmlNode* parent, const char* name) {
    for (xmlNode* n = parent ? parent->children : nullptr; n; n = n->next)
        if (n->type == XML_ELEMENT_NODE && std::string_view(reinterpret_cast<const char*>(n->name)) == name)
            return n;
    return nullptr;
}

std::optional<std::string> TextOf(xmlNode* node) {
    if (!node)
        return std::nullopt;
    std::unique_ptr<xmlChar, decltype(xmlFree)> text(xmlNodeGetContent(node), xmlFree);
    return std::string(text ? reinterpret_cast<const char*>(text.get()) : "");
}

struct Fields {
    std::u16string title, content, author, fileName;
};

// Parses the document (no network, no DTD) and compares what it carries with what went in.
void CheckDocument(const std::string& bytes, const Fields& expected) {
    Fuzz::Require(bytes.starts_with("\xEF\xBB\xBF<?xml"), "the document does not start as it must");
    std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> doc(
        xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), "export.xml", nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
        &xmlFreeDoc);
    Fuzz::Require(doc != nullptr, "the export is not well-formed XML", bytes);
    xmlNode* root = xmlDocGetRootElement(doc.get());
    Fuzz::Require(root && std::string_view(reinterpret_cast<const char*>(root->name)) == "tx-clipper-export",
                  "the export's root is wrong");
    xmlNode* note = Child(root, "note");
    Fuzz::Require(TextOf(Child(note, "title")) == XmlLineEnds(expected.title), "the title is not carried");
    Fuzz::Require(TextOf(Child(note, "content")) == XmlLineEnds(expected.content),
                  "the content is not carried");
    Fuzz::Require(TextOf(Child(Child(note, "note-attributes"), "author")) == XmlLineEnds(expected.author),
                  "the author is not carried");
    xmlNode* attributes = Child(Child(note, "resource"), "resource-attributes");
    Fuzz::Require(TextOf(Child(attributes, "file-name")) == XmlLineEnds(expected.fileName),
                  "the file name is not carried");
}

std::vector<std::u16string> SplitFields(const std::uint8_t* data, std::size_t size) {
    std::vector<std::u16string> fields(1);
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        const auto unit = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
        if (unit == 0xFFFF && fields.size() < 4)
            fields.emplace_back();
        else
            fields.back().push_back(unit);
    }
    fields.resize(4);
    return fields;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const auto fields = SplitFields(data + 1, size - 1);
    const auto clean = [](const std::u16string& text) {
        return Xml::ReplaceNonXmlCharacters(text);
    };
    // Bit 0 of the flags: the content as it is; else cleaned as the note model cleans it. Title and
    // content bypass the model here; metadata and file names go through it.
    const bool dirty = (data[0] & 1) != 0 && clean(fields[1]) != fields[1];
    const std::u16string content = (data[0] & 1) != 0 ? fields[1] : clean(fields[1]);

    auto note = std::make_shared<RawNote>();
    note->title = fields[0];
    note->content = content;
    note->metadata.emplace_back(kMetaAuthor, fields[2]);
    note->resources.emplace_back(
        u"ref", u"application/octet-stream",
        StringUTF8::Copy(std::string_view(reinterpret_cast<const char*>(data), size)), u"");
    note->resources.back().SetFileName(fields[3]);

    std::string document;
    try {
        document = BuildExportDocument(NoteList{note});
    } catch (HResult hr) {
        Fuzz::Require(dirty, "a note that XML can carry failed the export");
        Fuzz::Require(hr == kWC_E_XMLCHARACTER || hr == Xml::kWR_E_INVALIDSURROGATEPAIR,
                      "the export failed with an unexpected HRESULT");
        return 0;
    } catch (...) {
        Fuzz::Fail("the export raised", Fuzz::Describe(std::current_exception()));
    }
    Fuzz::Require(!dirty, "a content that XML cannot carry was exported");
    CheckDocument(document, {clean(fields[0]), content, clean(fields[2]), clean(fields[3])});
    return 0;
}
