#pragma once
// A note that keeps its text as given, where CNote blanks what XML cannot carry: the way to show
// what the export writer itself does with such text.
#include <string>

#include "notes/Note.h"

namespace Tessarix::Testing {

class RawNote final : public Notes::INote {
public:
    RawNote(std::u16string title, std::u16string content)
        : title_(std::move(title)), content_(std::move(content)) {}

    std::u16string GetContent() const override { return content_; }
    std::u16string GetTitle() const override { return title_; }
    Notes::MetadataList& GetMetadata() override { return metadata_; }
    const Notes::MetadataList& GetMetadata() const override { return metadata_; }
    Notes::ResourceList& GetResources() override { return resources_; }
    const Notes::ResourceList& GetResources() const override { return resources_; }
    void SetContent(const std::u16string& content) override { content_ = content; }
    void SetTitle(const std::u16string& title) override { title_ = title; }

private:
    std::u16string title_, content_;
    Notes::MetadataList metadata_;
    Notes::ResourceList resources_;
};

} // namespace Tessarix::Testing
