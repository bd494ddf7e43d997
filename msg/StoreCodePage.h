#pragma once
// Which Windows code page the 8-bit strings of a saved item are in. A store writes PT_STRING8
// values in its own ANSI code page, which the message names in PR_MESSAGE_CODEPAGE; files that
// lack it still carry the locale they were written under, and at worst the Internet code page
// of their body, whose script says which ANSI code page the writer must have used.
#include <cstdint>
#include <optional>
#include <string_view>

namespace Tessarix::Msg {

// The ANSI code page of a Windows locale id (LOCALE_IDEFAULTANSICODEPAGE); none for locales
// that have only Unicode, and for ids it does not know.
std::optional<std::uint32_t> AnsiCodePageOfLocale(std::uint32_t lcid);
// The Windows ANSI code page that writes the script of an Internet code page (ISO-2022-JP and
// EUC-JP: 932; KOI8-R: 1251; ISO-8859-1: 1252; ...); none for Unicode and unknown code pages.
std::optional<std::uint32_t> AnsiCodePageOfInternetCodePage(std::uint32_t codePage);

// The code page that HTML bytes declare for themselves (a meta element's charset, looked for in
// the first 1024 bytes as a browser's pre-scan does); none when they declare none that is known.
std::optional<std::uint32_t> DeclaredCodePage(std::string_view html);

} // namespace Tessarix::Msg
