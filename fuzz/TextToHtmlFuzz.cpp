// The text-to-HTML conversion of plain-text bodies: any bytes in any code page give HTML whose only
// markup is <br>, so that no text of a mail can become markup of its note, with every character of
// the decoded text kept.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/ByteString.h"
#include "core/CodePage.h"
#include "core/Utils.h"
#include "fuzz/FuzzCheck.h"
#include "html/DomLoader.h"

using namespace Tessarix;

namespace {

constexpr std::uint32_t kCodePages[] = {65001, 1252, 932, 936, 1251, 20127, 54321};

// Only the document's own frame, the charset declaration and line breaks are elements.
void CheckMarkup(const Html::Document& document, Html::Node node) {
    if (document.TypeOf(node) == Html::NodeType::Element) {
        const std::u16string_view name = document.NameOf(node);
        Fuzz::Require(name == u"HTML" || name == u"HEAD" || name == u"BODY" || name == u"META" ||
                          name == u"BR",
                      "text became markup", ToUtf8(name));
    }
    Fuzz::Require(document.TypeOf(node) != Html::NodeType::Comment, "text became a comment");
    for (std::size_t i = 0; i < document.ChildCount(node); ++i)
        CheckMarkup(document, document.ChildAt(node, i));
}

// What the conversion turns back into: the text with its line breaks and blanks.
std::u16string Unescape(std::u16string_view html) {
    static constexpr std::pair<std::u16string_view, char16_t> kEscapes[] = {
        {u"<br>", u'\n'}, {u"&lt;", u'<'}, {u"&gt;", u'>'}, {u"&nbsp;", u' '}};
    std::u16string out;
    for (std::size_t i = 0; i < html.size();) {
        bool escaped = false;
        for (const auto& [escape, c] : kEscapes) {
            if (html.substr(i, escape.size()) == escape) {
                out.push_back(c);
                i += escape.size();
                escaped = true;
                break;
            }
        }
        if (!escaped)
            out.push_back(html[i++]);
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::uint32_t codePage = kCodePages[data[0] % std::size(kCodePages)];
    std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    try {
        const std::u16string html = TextToHtml(text, codePage);
        const std::u16string decoded = CodePage::ToWide(text.substr(0, text.find('\0')), codePage);
        // '&' is kept as it is, so the text's own "&lt;" reads back as '<': compare only without it.
        if (decoded.find(u'&') == std::u16string::npos)
            Fuzz::Require(Unescape(html) == decoded, "the HTML does not hold the text");
        if (html.empty())
            return 0;
        const Html::DocumentPtr document = Global::CreateDOM(html);
        CheckMarkup(*document, document->Root());
    } catch (...) {
        Fuzz::Fail("the text-to-HTML conversion raised", Fuzz::Describe(std::current_exception()));
    }
    return 0;
}
