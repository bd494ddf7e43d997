#include "wrappers/ContentPipeline.h"

#include "html/Cleanup.h"

namespace Tessarix {

namespace {

class HtmlPipeline final : public ContentPipeline {
public:
    std::u16string MakeCleanContent(const std::u16string& html, Notes::ResourceList& resources,
                                    std::vector<std::u16string>& unresolved) override {
        return Global::MakeCleanContent(html, resources, unresolved);
    }
    std::u16string MakeCleanContent(const TextContent& html, Notes::ResourceList& resources,
                                    std::vector<std::u16string>& unresolved) override {
        return Global::MakeCleanContent(html, resources, unresolved);
    }
};

} // namespace

ContentPipelinePtr DefaultContentPipeline() {
    static const ContentPipelinePtr pipeline = std::make_shared<HtmlPipeline>();
    return pipeline;
}

} // namespace Tessarix
