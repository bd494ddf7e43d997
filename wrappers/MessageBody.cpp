#include "wrappers/MessageBody.h"

#include "attachments/AttachProcessor.h"
#include "core/CodePage.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/LogText.h"
#include "itemaccess/HtmlFragments.h"
#include "itemaccess/MapiProperties.h"
#include "wrappers/SystemMessage.h"

namespace Tessarix::Body {

namespace {

constexpr std::u16string_view kMarkOpen = u"&lt;&lt;";
constexpr std::u16string_view kMarkClose = u"&gt;&gt;";

std::u16string FailureText(HResult hr) {
    return Format(u"0x%08X %s", static_cast<std::uint32_t>(hr), LogLiteral(Platform::SystemMessageText(hr)));
}

} // namespace

MessageBody ReadNativeBody(Mapi::IProp* message, Automation::IObject* attachments) {
    CallTracer tracer(u"Global::ReadNativeBody()");
    if (!message)
        return {};

    std::shared_ptr<Mapi::IPropStream> compressed;
    if (Failed(message->OpenStream(Mapi::kPR_RTF_COMPRESSED, compressed)) || !compressed) {
        Log().Debug(u"  No compressed RTF body");
        return ReadHtmlBody(message, attachments);
    }
    const std::uint32_t codePage = Global::GetLongProperty(message, Mapi::kPR_INTERNET_CPID, kNoCodePage);
    if (codePage == kNoCodePage) {
        Log().Debug(u"  No body code page");
        return ReadHtmlBody(message, attachments);
    }
    Mapi::NativeBody native;
    if (const HResult hr = message->WrapCompressedRtf(*compressed, codePage, native);
        Failed(hr) || !native.stream) {
        Log().Debug(Format(u"  WrapCompressedRTFStreamEx unavailable or failed: 0x%08X",
                           static_cast<std::uint32_t>(hr)));
        return ReadHtmlBody(message, attachments);
    }
    StringUTF8 bytes;
    if (const HResult hr = Mapi::ReadWholeStream(*native.stream, bytes); Failed(hr)) {
        Log().Debug(Format(u"  Native body not read: 0x%08X", static_cast<std::uint32_t>(hr)));
        return ReadHtmlBody(message, attachments);
    }
    Log().Debug(Format(u"  Native body type: %u", native.type));
    if (native.type == Mapi::kNativeBodyRtf)
        return ReadHtmlBody(message, attachments);

    MessageBody body;
    body.codePage = codePage;
    body.bytes = std::move(bytes);
    body.plainText = native.type == Mapi::kNativeBodyPlainText;
    return body;
}

MessageBody ReadHtmlBody(Mapi::IProp* message, Automation::IObject* attachments) {
    CallTracer tracer(u"Global::ReadHtmlBody()");
    if (!message)
        return {};
    std::shared_ptr<Mapi::IPropStream> stream;
    if (const HResult hr = message->OpenStream(Mapi::kPR_HTML, stream); Failed(hr) || !stream) {
        Log().Debug(u"  PR_HTML not opened: " + FailureText(Failed(hr) ? hr : kE_FAIL));
        return {};
    }
    const std::uint32_t codePage = Global::GetLongProperty(message, Mapi::kPR_INTERNET_CPID, kNoCodePage);
    StringUTF8 bytes;
    if (const HResult hr = Mapi::ReadWholeStream(*stream, bytes); Failed(hr)) {
        Log().Debug(u"  PR_HTML not read: " + FailureText(hr));
        return {};
    }
    const std::u16string html = CodePage::ToWide(bytes.View(), codePage);
    if (html.empty())
        return {};

    MessageBody body;
    body.codePage = codePage;
    if (html.find(kMarkOpen) == std::u16string::npos) {
        body.bytes = std::move(bytes);
    } else {
        const std::u16string replaced = ReplaceAttachmentMarks(html, Attachments::Collect(attachments));
        body.bytes = StringUTF8::Adopt(CodePage::FromWide(replaced, codePage));
    }
    return body;
}

std::u16string ReplaceAttachmentMarks(std::u16string_view html, const AttachmentList& attachments) {
    std::u16string result;
    result.reserve(html.size());
    std::int64_t index = 0;
    std::size_t from = 0;
    for (;;) {
        const std::size_t open = html.find(kMarkOpen, from);
        if (open == std::u16string_view::npos)
            break;
        const std::size_t close = html.find(kMarkClose, open + kMarkOpen.size());
        if (close == std::u16string_view::npos)
            break;
        result.append(html.substr(from, open - from));
        result += Fragments::InlineImage(attachments, index++);
        from = close + kMarkClose.size();
    }
    result.append(html.substr(from));
    return result;
}

} // namespace Tessarix::Body
