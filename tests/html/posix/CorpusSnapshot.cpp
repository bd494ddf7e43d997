#include "html/posix/CorpusSnapshot.h"

#include <algorithm>

#include "core/Utf.h"
#include "html/Cleanup.h"
#include "html/CorpusFormat.h"
#include "html/DomLoader.h"
#include "html/Engine.h"

namespace Tessarix::Testing::Corpus {
namespace {

std::string Text(std::u16string_view text) {
    return ToUtf8(std::u16string(text));
}

std::optional<std::string> Text(std::optional<std::u16string_view> text) {
    if (!text)
        return std::nullopt;
    return Text(*text);
}

void Write(const Html::Document& document, Html::Node node, std::size_t depth, std::string& out) {
    const std::string indent(2 * depth, ' ');
    out += indent + "node " + std::to_string(static_cast<int>(document.TypeOf(node))) + " " +
           Escape(Text(document.NameOf(node))) + " " + Value(Text(document.ValueOf(node))) + "\n";
    if (document.TypeOf(node) == Html::NodeType::Element) {
        for (std::size_t i = 0; i < document.AttributeCount(node); ++i) {
            const Html::Attribute a = document.AttributeAt(node, i);
            out += indent + "attr " + Escape(Text(a.name)) + (a.specified ? " 1 " : " 0 ") +
                   Value(Text(a.value)) + "\n";
        }
        if (const Html::Style style = document.StyleOf(node)) {
            out += indent + "style";
            for (std::size_t p = 0; p < Html::kCssPropertyCount; ++p) {
                const auto property = static_cast<Html::CssProperty>(p);
                // Appended piece by piece: GCC 12 at -O3 warns (-Wrestrict) on a literal
                // prepended to a string.
                out += ' ';
                out += Text(Html::CssPropertyName(property));
                out += '=';
                out += Escape(Text(document.StyleValue(style, property)));
            }
            out += "\n";
        }
    }
    for (std::size_t i = 0; i < document.ChildCount(node); ++i)
        Write(document, document.ChildAt(node, i), depth + 1, out);
}

} // namespace

Snapshot Take(const std::string& html) {
    const StringUTF8 bytes = Html::EngineInput(FromUtf8(html));
    const Html::DocumentPtr document = Html::LoadDocument(bytes);

    Snapshot result;
    result.dom = std::string(kHeader) + "\ninput " + ToHex(Fnv1a(bytes.View())) + " " +
                 std::to_string(bytes.Length()) + "\n";
    Write(*document, document->Root(), 0, result.dom);
    for (std::size_t i = 0; i < document->ImageCount(); ++i)
        result.dom += "image " + Value(Text(document->ImageSource(i))) + "\n";

    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved;
    result.note = ToUtf8(Global::Cleanup(*document, resources, unresolved));
    return result;
}

std::vector<std::filesystem::path> Inputs(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> inputs;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".html")
            inputs.push_back(entry.path());
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

} // namespace Tessarix::Testing::Corpus
