#pragma once
// Text to document: the three steps that bring any HTML a renderer produces to the engine by the
// same path (code-page bytes -> UTF-16 -> repaired UTF-8 -> document).
#include <string>
#include <string_view>

#include <cstdint>

#include "core/ByteString.h"
#include "html/Document.h"

namespace Tessarix {

namespace Html {

// The bytes handed to the engine are always UTF-8; this tells the engine so.
inline constexpr std::string_view kCharsetDeclaration =
    "<meta http-equiv=Content-Type content=\"text/html; charset=utf-8\">";

// The text of a TextContent; empty when it is empty or cannot be decoded.
std::u16string DecodeText(const TextContent& content);
// Turns VML blocks of Office mail into their picture fallbacks and adds the charset declaration
// behind the first "<head>" (or in front of everything) unless the text already has it. Works on
// the UTF-8 bytes: every pattern is ASCII, and no ASCII byte is part of a longer sequence there.
std::string RepairText(std::string text);
// The bytes that CreateDOM( CStringW ) hands to the engine for this text.
StringUTF8 EngineInput(const std::u16string& text);

} // namespace Html

namespace Global {

// `contentLimit`: as Html::LoadDocument's; the content pipeline passes the note limit, so that a
// mail certain to be too large is refused before it is styled.
Html::DocumentPtr CreateDOM(const TextContent& content, std::int32_t contentLimit = 0);
Html::DocumentPtr CreateDOM(const std::u16string& text, std::int32_t contentLimit = 0);
Html::DocumentPtr CreateDOM(const StringUTF8& bytes, std::int32_t contentLimit = 0);

} // namespace Global

} // namespace Tessarix
