#pragma once
// The DOM load as the item wrappers use it: rendered HTML in, note content out, with the pictures
// the content shows turned into resources and the addresses no local source supplied listed for
// the attachment policy.
//
// The real pipeline needs the platform's HTML engine (MSHTML on Windows); wrappers take it as an
// object so that rendering can be checked where that engine is missing.
#include <memory>
#include <string>
#include <vector>

#include "core/ByteString.h"
#include "notes/Note.h"

namespace Tessarix {

class ContentPipeline {
public:
    virtual ~ContentPipeline() = default;
    // Loads `html`, appends a resource for each picture read from a local source and the address
    // of each other picture to `unresolved`, and returns the note content.
    virtual std::u16string MakeCleanContent(const std::u16string& html, Notes::ResourceList& resources,
                                            std::vector<std::u16string>& unresolved) = 0;
    virtual std::u16string MakeCleanContent(const TextContent& html, Notes::ResourceList& resources,
                                            std::vector<std::u16string>& unresolved) = 0;
};

using ContentPipelinePtr = std::shared_ptr<ContentPipeline>;

// Global::MakeCleanContent of the HTML pipeline.
ContentPipelinePtr DefaultContentPipeline();

} // namespace Tessarix
