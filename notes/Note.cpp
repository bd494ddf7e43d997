#include "notes/Note.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "notes/MimeSniffer.h"
#include "notes/XmlWriter.h"

namespace Tessarix::Notes {

using Xml::ReplaceNonXmlCharacters;

CMetadata::CMetadata(std::u16string name, std::u16string value)
    : name_(std::move(name)), value_(ReplaceNonXmlCharacters(std::move(value))) {}

void CMetadata::SetValue(const std::u16string& value) {
    value_ = ReplaceNonXmlCharacters(value);
}

namespace {

std::u16string SniffHead(IResourceContent& content) {
    std::string head;
    const std::size_t length =
        std::min<std::size_t>(SniffLength(), std::numeric_limits<std::uint32_t>::max());
    content.Read([&head](std::string_view piece) { head.append(piece); }, static_cast<std::uint32_t>(length));
    return NormaliseMime(SniffMime(head));
}

} // namespace

void IResourceContent::Read(const ByteSink& sink, std::uint32_t limit) {
    const StringUTF8 bytes = Load();
    if (!bytes.Empty() && limit > 0)
        sink(bytes.View().substr(0, limit));
}

CResource::CResource(std::u16string reference, std::u16string mime, StringUTF8 data, std::u16string sourceUrl)
    : mime_(ReplaceNonXmlCharacters(mime.empty() ? NormaliseMime(SniffMime(data.View())) : std::move(mime))),
      reference_(std::move(reference)), sourceUrl_(ReplaceNonXmlCharacters(std::move(sourceUrl))),
      data_(std::move(data)) {}

CResource::CResource(std::u16string reference, std::u16string mime, ResourceContentPtr content,
                     std::u16string sourceUrl)
    : mime_(ReplaceNonXmlCharacters(mime.empty() && content ? SniffHead(*content) : std::move(mime))),
      reference_(std::move(reference)), sourceUrl_(ReplaceNonXmlCharacters(std::move(sourceUrl))),
      content_(std::move(content)) {}

void CResource::ReadData(const ByteSink& sink) const {
    if (content_)
        content_->Read(sink, std::numeric_limits<std::uint32_t>::max());
    else if (!data_.Empty())
        sink(data_.View());
}

void CResource::SetFileName(const std::u16string& fileName) {
    fileName_ = ReplaceNonXmlCharacters(fileName);
}

void CNote::SetContent(const std::u16string& content) {
    content_ = ReplaceNonXmlCharacters(content);
}

void CNote::SetTitle(const std::u16string& title) {
    title_ = ReplaceNonXmlCharacters(title);
}

namespace {

MetadataList::const_iterator FindByName(const MetadataList& list, const std::u16string& name) {
    return std::find_if(list.begin(), list.end(),
                        [&name](const CMetadata& m) { return m.GetName() == name; });
}

} // namespace

bool HasMetadata(const MetadataList& list, const std::u16string& name) {
    return FindByName(list, name) != list.end();
}

const CMetadata& GetMetadataByName(const MetadataList& list, const std::u16string& name) {
    const auto it = FindByName(list, name);
    if (it == list.end())
        throw std::runtime_error("Metadata with the name not found");
    return *it;
}

} // namespace Tessarix::Notes
