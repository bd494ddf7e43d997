#pragma once
// The plain text the host answers for `Body` when an item has no PR_BODY: derived from its RTF body
// (PR_RTF_COMPRESSED, decompressed) or its HTML body (PR_HTML, decoded). Lines end in CR LF.
#include <string>
#include <string_view>

namespace Tessarix::Msg {

// Plain RTF and RTF that encapsulates text give their text (Rtf::ToText); RTF that encapsulates
// HTML gives the text of that HTML.
std::u16string RtfToText(std::string_view rtf);

// The text of an HTML body as a plain-text alternative shows it: the rendered text without head,
// script, style and comments, white space collapsed outside <pre>, <br> and block edges as line
// ends with at most one empty line in a row, table cells separated by TAB, &nbsp; as U+00A0.
// Any input gives a result in time linear in its length.
std::u16string HtmlToText(std::u16string_view html);

} // namespace Tessarix::Msg
