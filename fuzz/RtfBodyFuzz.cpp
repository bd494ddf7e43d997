// The RTF body extraction: any RTF gives a native body and a text without failing, the RTF
// itself when it encapsulates nothing, and the encapsulated content unchanged by its encoding.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/CodePage.h"
#include "core/MapiProp.h"
#include "fuzz/FuzzCheck.h"
#include "msg/RtfBody.h"
#include "msg/TextBody.h"

using namespace Tessarix;
using namespace Tessarix::Msg;

namespace {

// The code pages a body is asked for: UTF-8, the common ANSI ones, a double-byte one, none known.
constexpr std::uint32_t kCodePages[] = {65001, 1252, 1251, 932, 54321};

bool HasLoneSurrogate(std::u16string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF)
            ++i;
        else if (c >= 0xD800 && c <= 0xDFFF)
            return true;
    }
    return false;
}

void Check(std::string_view rtf, std::uint32_t codePage) {
    const Rtf::Encapsulation kind = Rtf::Detect(rtf);
    const std::u16string content = Rtf::DeEncapsulate(rtf);
    (void)Rtf::ToText(rtf);
    (void)RtfToText(rtf);
    const Rtf::NativeBody body = Rtf::ExtractNativeBody(rtf, codePage);
    if (kind == Rtf::Encapsulation::None) {
        Fuzz::Require(body.type == Mapi::kNativeBodyRtf && body.bytes == rtf,
                      "plain RTF is not given as it is");
        return;
    }
    if (!CodePage::IsSupported(codePage)) {
        Fuzz::Require(body.type == 0 && body.bytes.empty(), "a body in an unknown code page");
        return;
    }
    const auto expected =
        kind == Rtf::Encapsulation::Html ? Mapi::kNativeBodyHtml : Mapi::kNativeBodyPlainText;
    Fuzz::Require(body.type == expected, "the body's type is not the encapsulated one");
    // UTF-8 holds every character: the body's text is the encapsulated content.
    if (codePage == CodePage::kUtf8 && !HasLoneSurrogate(content))
        Fuzz::Require(CodePage::ToWide(body.bytes, codePage) == content,
                      "the body changed on its way to UTF-8");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::uint32_t codePage = kCodePages[data[0] % std::size(kCodePages)];
    const std::string_view rtf(reinterpret_cast<const char*>(data + 1), size - 1);
    try {
        Check(rtf, codePage);
    } catch (...) {
        Fuzz::Fail("reading an RTF body raised", Fuzz::Describe(std::current_exception()));
    }
    return 0;
}
