#include "html/DomLoader.h"

#include "core/CodePage.h"
#include "core/Log.h"
#include "core/Utf.h"
#include "html/Engine.h"
#include "notes/XmlWriter.h"

namespace Tessarix {
namespace {

void ReplaceAll(std::u16string& text, std::u16string_view from, std::u16string_view to) {
    std::size_t pos = text.find(from);
    if (pos == std::u16string::npos)
        return;
    std::u16string result;
    result.reserve(text.size() + 16);
    std::size_t start = 0;
    for (; pos != std::u16string::npos; pos = text.find(from, start)) {
        result.append(text, start, pos - start);
        result.append(to);
        start = pos + from.size();
    }
    result.append(text, start, std::u16string::npos);
    text = std::move(result);
}

} // namespace

namespace Html {

std::u16string DecodeText(const TextContent& content) {
    if (content.Length() == 0)
        return {};
    return CodePage::ToWide(content.Bytes().View(), content.CodePage());
}

std::u16string RepairText(std::u16string text) {
    // MSHTML drops "if !IE" blocks and keeps "if IE" ones: VML shapes go, their pictures stay.
    ReplaceAll(text, u"if gte vml 1", u"if !IE");
    ReplaceAll(text, u"if !vml", u"if IE");
    if (text.find(kCharsetDeclaration) != std::u16string::npos)
        return text;
    constexpr std::u16string_view head = u"<head>";
    const std::size_t at = text.find(head);
    text.insert(at == std::u16string::npos ? 0 : at + head.size(), kCharsetDeclaration);
    return text;
}

StringUTF8 EngineInput(const std::u16string& text) {
    // Item text that XML cannot carry becomes a blank before the engine sees it, as in the rest of
    // the note; engines differ (gumbo makes such characters U+FFFD, MSHTML keeps them).
    return StringUTF8::Adopt(ToUtf8(RepairText(Xml::ReplaceNonXmlCharacters(text))));
}

} // namespace Html

namespace Global {

Html::DocumentPtr CreateDOM(const TextContent& content) {
    CallTracer trace(u"Global::CreateDOM( TextContent )");
    return CreateDOM(Html::DecodeText(content));
}

Html::DocumentPtr CreateDOM(const std::u16string& text) {
    CallTracer trace(u"Global::CreateDOM( CStringW )");
    return CreateDOM(Html::EngineInput(text));
}

Html::DocumentPtr CreateDOM(const StringUTF8& bytes) {
    CallTracer trace(u"Global::CreateDOM( StringUTF8 )");
    return Html::LoadDocument(bytes);
}

} // namespace Global
} // namespace Tessarix
