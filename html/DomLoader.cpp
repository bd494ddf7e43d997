#include "html/DomLoader.h"

#include "core/CodePage.h"
#include "core/Log.h"
#include "core/Utf.h"
#include "html/Engine.h"
#include "notes/XmlWriter.h"

namespace Tessarix {
namespace {

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
    std::size_t pos = text.find(from);
    if (pos == std::string::npos)
        return;
    std::string result;
    result.reserve(text.size() + 16);
    std::size_t start = 0;
    for (; pos != std::string::npos; pos = text.find(from, start)) {
        result.append(text, start, pos - start);
        result.append(to);
        start = pos + from.size();
    }
    result.append(text, start, std::string::npos);
    text = std::move(result);
}

} // namespace

namespace Html {

std::u16string DecodeText(const TextContent& content) {
    if (content.Length() == 0)
        return {};
    return CodePage::ToWide(content.Bytes().View(), content.CodePage());
}

std::string RepairText(std::string text) {
    // MSHTML drops "if !IE" blocks and keeps "if IE" ones: VML shapes go, their pictures stay.
    ReplaceAll(text, "if gte vml 1", "if !IE");
    ReplaceAll(text, "if !vml", "if IE");
    if (text.find(kCharsetDeclaration) != std::string::npos)
        return text;
    constexpr std::string_view head = "<head>";
    const std::size_t at = text.find(head);
    text.insert(at == std::string::npos ? 0 : at + head.size(), kCharsetDeclaration);
    return text;
}

StringUTF8 EngineInput(const std::u16string& text) {
    // Item text that XML cannot carry becomes a blank before the engine sees it, as in the rest of
    // the note; engines differ (gumbo makes such characters U+FFFD, MSHTML keeps them).
    return StringUTF8::Adopt(RepairText(ToUtf8(Xml::ReplaceNonXmlCharacters(text))));
}

} // namespace Html

namespace Global {

Html::DocumentPtr CreateDOM(const TextContent& content, std::int32_t contentLimit) {
    CallTracer trace(u"Global::CreateDOM( TextContent )");
    return CreateDOM(Html::DecodeText(content), contentLimit);
}

Html::DocumentPtr CreateDOM(const std::u16string& text, std::int32_t contentLimit) {
    CallTracer trace(u"Global::CreateDOM( CStringW )");
    return CreateDOM(Html::EngineInput(text), contentLimit);
}

Html::DocumentPtr CreateDOM(const StringUTF8& bytes, std::int32_t contentLimit) {
    CallTracer trace(u"Global::CreateDOM( StringUTF8 )");
    return Html::LoadDocument(bytes, contentLimit);
}

} // namespace Global
} // namespace Tessarix
