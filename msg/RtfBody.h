#pragma once
// The native body inside an RTF body: HTML or plain text that the host encapsulated in RTF
// (\fromhtml1 / \fromtext), extracted as the host's WrapCompressedRTFStreamEx with
// MAPI_NATIVE_BODY gives it.
#include <cstdint>
#include <string>
#include <string_view>

namespace Tessarix::Msg::Rtf {

enum class Encapsulation { None, Html, Text };

// Looks for \fromhtml or \fromtext among the first ten group starts and control words.
Encapsulation Detect(std::string_view rtf);

// The encapsulated content as text: HTMLTAG destinations and the text outside \htmlrtf regions,
// escapes decoded with the document's code pages (\ansicpg, the font table's \fcharset/\cpg),
// \par and \line as CR LF, \tab as TAB, \uN as that UTF-16 unit. Malformed RTF never fails: what
// can be read is returned.
std::u16string DeEncapsulate(std::string_view rtf);

// The text of an RTF document that does not encapsulate HTML: as DeEncapsulate reads it, with
// table cells separated by TAB and rows, page and section breaks as CR LF.
std::u16string ToText(std::string_view rtf);

struct NativeBody {
    std::uint32_t type = 0; // Mapi::kNativeBody*: 1 RTF, 2 HTML, 4 plain text
    std::string bytes;      // HTML and text in the requested code page; RTF as it is
};

// HTML and text come out in `codePage`; characters that it cannot hold become numeric character
// references in HTML and '?' in text. An unknown `codePage` gives RTF-type output only when the
// body is RTF; otherwise the caller gets type 0 (no body).
NativeBody ExtractNativeBody(std::string_view rtf, std::uint32_t codePage);

} // namespace Tessarix::Msg::Rtf
