#include "notes/Note.h"

#include <algorithm>
#include <stdexcept>

#include "notes/MimeSniffer.h"

namespace Tessarix::Notes {

CResource::CResource(std::u16string reference, std::u16string mime, StringUTF8 data, std::u16string sourceUrl)
    : mime_(mime.empty() ? NormaliseMime(SniffMime(data.View())) : std::move(mime)),
      reference_(std::move(reference)), sourceUrl_(std::move(sourceUrl)), data_(std::move(data)) {}

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
