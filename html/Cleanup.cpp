#include "html/Cleanup.h"

#include "core/Exceptions.h"
#include "core/Log.h"
#include "html/DomLoader.h"
#include "html/PictureSources.h"
#include "html/Serializer.h"

namespace Tessarix::Global {

std::u16string Cleanup(const Html::Document& document, Notes::ResourceList& resources,
                       std::vector<std::u16string>& unresolved) {
    CallTracer trace(u"Global::Cleanup()");
    Clipper::NoteContentSerializer serializer(Clipper::kNoteContentLimit);
    try {
        serializer.Serialize(document);
    } catch (const Clipper::SerializerOutputLimitException&) {
        Log().Error(u"SerializerOutputLimitException is thrown.");
        throw NoteContentSizeExceededException();
    }

    const std::size_t count = document.ImageCount();
    for (std::size_t i = 0; i < count; ++i) {
        const auto source = document.ImageSource(i);
        if (!source)
            continue;
        const std::u16string address(*source);
        auto bytes = Html::Pictures::Read(address);
        if (!bytes) {
            unresolved.push_back(address);
            continue;
        }
        resources.emplace_back(u"", u"", std::move(*bytes), address);
    }
    return serializer.TakeOutput();
}

std::u16string MakeCleanContent(const std::u16string& html, Notes::ResourceList& resources,
                                std::vector<std::u16string>& unresolved) {
    const Html::DocumentPtr document = CreateDOM(html);
    return Cleanup(*document, resources, unresolved);
}

std::u16string MakeCleanContent(const TextContent& html, Notes::ResourceList& resources,
                                std::vector<std::u16string>& unresolved) {
    const Html::DocumentPtr document = CreateDOM(html);
    return Cleanup(*document, resources, unresolved);
}

} // namespace Tessarix::Global
