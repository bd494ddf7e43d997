#pragma once
// The notes, resources and metadata that a clip produces.
//
// Item text enters a note only through these classes, and what XML 1.0 cannot carry (a form feed
// pasted from a terminal, a lone surrogate) becomes one blank on the way in, so that no item fails
// the export over a character: title, content, metadata values, a resource's MIME type, source URL
// and file name. The export writer itself stays strict.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/ByteString.h"

namespace Tessarix {
// The largest resource an item's data may give: 25 MiB per attachment or picture file; there is
// no total limit.
inline constexpr std::uint32_t kMaxAttachmentSize = 26214400;
} // namespace Tessarix

namespace Tessarix::Notes {

class IMetadata {
public:
    virtual std::u16string GetName() const = 0;
    virtual std::u16string GetValue() const = 0;
    virtual void SetValue(const std::u16string& value) = 0;
    virtual void SetName(const std::u16string& name) = 0;

protected:
    // No virtual destructor: metadata live by value in a note's list and die as CMetadata.
    ~IMetadata() = default;
};

class CMetadata final : public IMetadata {
public:
    CMetadata(std::u16string name, std::u16string value);
    CMetadata(const CMetadata&) = default;
    CMetadata& operator=(const CMetadata&) = default;
    ~CMetadata() = default;

    std::u16string GetName() const override { return name_; }
    std::u16string GetValue() const override { return value_; }
    void SetValue(const std::u16string& value) override;
    void SetName(const std::u16string& name) override { name_ = name; }

private:
    std::u16string name_;
    std::u16string value_;
};

class IResource {
public:
    virtual std::u16string GetMime() const = 0;
    virtual StringUTF8 GetData() const = 0;
    virtual std::u16string GetSourceUrl() const = 0;
    virtual std::u16string GetReference() const = 0;
    virtual ~IResource() = default;
    virtual std::u16string GetFileName() const = 0;
    virtual void SetFileName(const std::u16string& fileName) = 0;
};

// Receives bytes in order, a piece at a time.
using ByteSink = std::function<void(std::string_view)>;

// Bytes that a resource reads only when the export writes them, so that a clip holds one
// attachment's bytes at a time and knows every size before anything is loaded.
class IResourceContent {
public:
    virtual ~IResourceContent() = default;
    // What Load gives, measured rather than declared.
    virtual std::uint32_t Size() = 0;
    // Read anew on every call; nothing is kept.
    virtual StringUTF8 Load() = 0;
    // The first `limit` bytes of what Load gives, to `sink` in pieces, read anew: the export
    // encodes a large content as it comes and a sniffer reads only the head. This default loads
    // the whole content first.
    virtual void Read(const ByteSink& sink, std::uint32_t limit);
};
using ResourceContentPtr = std::shared_ptr<IResourceContent>;

class CResource final : public IResource {
public:
    // An empty `mime` is detected from the bytes (MimeSniffer), with the two legacy names normalised.
    CResource(std::u16string reference, std::u16string mime, StringUTF8 data, std::u16string sourceUrl);
    // Bytes loaded on each GetData (an empty `mime` is sniffed from one load made here).
    CResource(std::u16string reference, std::u16string mime, ResourceContentPtr content,
              std::u16string sourceUrl);
    CResource(const CResource&) = default;
    CResource& operator=(const CResource&) = default;

    std::u16string GetMime() const override { return mime_; }
    StringUTF8 GetData() const override { return content_ ? content_->Load() : data_; }
    // What GetData gives, to `sink` in pieces, never held whole when the bytes are read on demand.
    void ReadData(const ByteSink& sink) const;
    // The byte count GetData gives, without loading.
    std::uint32_t Size() const { return content_ ? content_->Size() : data_.Length(); }
    std::u16string GetSourceUrl() const override { return sourceUrl_; }
    std::u16string GetReference() const override { return reference_; }
    std::u16string GetFileName() const override { return fileName_; }
    void SetFileName(const std::u16string& fileName) override;

private:
    std::u16string mime_;
    std::u16string reference_;
    std::u16string sourceUrl_;
    std::u16string fileName_;
    StringUTF8 data_;
    ResourceContentPtr content_;
};

using MetadataList = std::vector<CMetadata>;
using ResourceList = std::vector<CResource>;

class INote {
public:
    virtual std::u16string GetContent() const = 0;
    virtual std::u16string GetTitle() const = 0;
    virtual MetadataList& GetMetadata() = 0;
    virtual const MetadataList& GetMetadata() const = 0;
    virtual ResourceList& GetResources() = 0;
    virtual const ResourceList& GetResources() const = 0;
    virtual ~INote() = default;
    virtual void SetContent(const std::u16string& content) = 0;
    virtual void SetTitle(const std::u16string& title) = 0;
};

class CNote final : public INote {
public:
    CNote() = default;

    std::u16string GetContent() const override { return content_; }
    std::u16string GetTitle() const override { return title_; }
    MetadataList& GetMetadata() override { return metadata_; }
    const MetadataList& GetMetadata() const override { return metadata_; }
    ResourceList& GetResources() override { return resources_; }
    const ResourceList& GetResources() const override { return resources_; }
    void SetContent(const std::u16string& content) override;
    void SetTitle(const std::u16string& title) override;

private:
    std::u16string content_;
    std::u16string title_;
    ResourceList resources_;
    MetadataList metadata_;
};

using NotePtr = std::shared_ptr<INote>;
using NoteList = std::vector<NotePtr>;

// Metadata names read by the export writer.
inline constexpr char16_t kMetaCreated[] = u"created";
inline constexpr char16_t kMetaAuthor[] = u"author";
inline constexpr char16_t kMetaSource[] = u"source";
inline constexpr char16_t kMetaSourceUrl[] = u"source-url";

bool HasMetadata(const MetadataList& list, const std::u16string& name);
// The first entry with exactly that name; throws std::runtime_error("Metadata with the name not found").
const CMetadata& GetMetadataByName(const MetadataList& list, const std::u16string& name);

} // namespace Tessarix::Notes
