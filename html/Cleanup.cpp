#include "html/Cleanup.h"

#include <vector>

#include "core/Exceptions.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/LogText.h"
#include "html/DomLoader.h"
#include "html/PictureSources.h"
#include "html/Serializer.h"

namespace Tessarix::Global {
namespace {

bool EqualsNoCase(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const char16_t x = a[i] >= u'A' && a[i] <= u'Z' ? a[i] - u'A' + u'a' : a[i];
        const char16_t y = b[i] >= u'A' && b[i] <= u'Z' ? b[i] - u'A' + u'a' : b[i];
        if (x != y)
            return false;
    }
    return true;
}

std::optional<std::u16string_view> AttributeValue(const Html::Document& document, Html::Node element,
                                                  std::u16string_view name) {
    const auto attribute = document.NamedAttribute(element, name);
    if (!attribute || !attribute->value || attribute->value->empty())
        return std::nullopt;
    return attribute->value;
}

// The pictures the picture loop does not take, which only `images` feeds: an `input type=image`
// goes with its element, and no reader of the note draws a VML `imagedata` (Word writes an `img`
// fallback beside it, which is listed). Neither becomes a resource the note would not show; each
// is named in the log, so that none is lost unseen.
void LogPicturesLeftOut(const Html::Document& document) {
    std::vector<Html::Node> stack{document.Root()};
    while (!stack.empty()) {
        const Html::Node node = stack.back();
        stack.pop_back();
        if (!node)
            continue;
        if (document.TypeOf(node) == Html::NodeType::Element) {
            const std::u16string_view name = document.NameOf(node);
            std::optional<std::u16string_view> address;
            if (EqualsNoCase(name, u"input")) {
                const auto type = AttributeValue(document, node, u"type");
                if (type && EqualsNoCase(*type, u"image"))
                    address = AttributeValue(document, node, u"src");
            } else if (name.size() >= 9 && EqualsNoCase(name.substr(name.size() - 9), u"imagedata")) {
                address = AttributeValue(document, node, u"src");
                if (!address)
                    address = AttributeValue(document, node, u"o:href");
            }
            if (address)
                Log().Info(
                    Format(u"Picture left out of the note: %s (%s)", LogLiteral(*address), LogLiteral(name)));
        }
        for (std::size_t i = document.ChildCount(node); i > 0; --i)
            stack.push_back(document.ChildAt(node, i - 1));
    }
}

[[noreturn]] void RefuseTooLarge() {
    Log().Error(u"SerializerOutputLimitException is thrown.");
    throw NoteContentSizeExceededException();
}

// Loads under the note limit: a mail whose markup alone makes it too large is refused unstyled.
template <typename Text> Html::DocumentPtr LoadBounded(const Text& html) {
    try {
        return CreateDOM(html, Clipper::kNoteContentLimit);
    } catch (const Clipper::SerializerOutputLimitException&) {
        RefuseTooLarge();
    }
}

} // namespace

std::u16string Cleanup(const Html::Document& document, Notes::ResourceList& resources,
                       std::vector<std::u16string>& unresolved) {
    CallTracer trace(u"Global::Cleanup()");
    Clipper::NoteContentSerializer serializer(Clipper::kNoteContentLimit);
    try {
        serializer.Serialize(document);
    } catch (const Clipper::SerializerOutputLimitException&) {
        RefuseTooLarge();
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
    LogPicturesLeftOut(document);
    return serializer.TakeOutput();
}

std::u16string MakeCleanContent(const std::u16string& html, Notes::ResourceList& resources,
                                std::vector<std::u16string>& unresolved) {
    const Html::DocumentPtr document = LoadBounded(html);
    return Cleanup(*document, resources, unresolved);
}

std::u16string MakeCleanContent(const TextContent& html, Notes::ResourceList& resources,
                                std::vector<std::u16string>& unresolved) {
    const Html::DocumentPtr document = LoadBounded(html);
    return Cleanup(*document, resources, unresolved);
}

} // namespace Tessarix::Global
