#pragma once
// The body of an item as its MAPI message stores it: the native body behind the compressed RTF
// stream (HTML or plain text), or, when that is RTF or cannot be had, the HTML body property with
// the marks the host leaves where attachments stood in the RTF replaced by pictures.
#include <cstdint>
#include <string>
#include <string_view>

#include "core/Automation.h"
#include "core/ByteString.h"
#include "core/MapiProp.h"
#include "itemaccess/IAttachment.h"

namespace Tessarix {

// Bytes in a code page; empty when no body was obtained.
struct MessageBody {
    std::uint32_t codePage = 0; // PR_INTERNET_CPID
    StringUTF8 bytes;
    bool plainText = false; // the bytes are plain text rather than HTML

    bool Empty() const { return bytes.Empty(); }
};

namespace Body {

// PR_INTERNET_CPID's default: the property is absent.
inline constexpr std::uint32_t kNoCodePage = 0xFFFFFFFF;

// The native body of `message`; falls back to ReadHtmlBody when the compressed RTF stream, the code
// page or the decompressor is missing, or the native body is RTF. `attachments` is the item's
// Attachments collection (may be null), needed by the fallback only.
MessageBody ReadNativeBody(Mapi::IProp* message, Automation::IObject* attachments);

// PR_HTML in the message's code page, its attachment marks replaced (ReplaceAttachmentMarks) with
// the attachments of `attachments` in collection order. Empty when PR_HTML cannot be opened or read,
// or the code page is absent or unknown.
MessageBody ReadHtmlBody(Mapi::IProp* message, Automation::IObject* attachments);

// Replaces every "&lt;&lt;...&gt;&gt;" (shortest match, left to right) by the inline picture of the
// attachment at the same position: the first mark takes the first attachment; a mark without an
// attachment becomes one blank.
std::u16string ReplaceAttachmentMarks(std::u16string_view html, const AttachmentList& attachments);

} // namespace Body

} // namespace Tessarix
