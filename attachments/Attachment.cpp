#include "attachments/Attachment.h"

#include <algorithm>
#include <limits>

#include "attachments/AttachProcessor.h"
#include "attachments/OlePackage.h"
#include "core/FileSystem.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/LogText.h"
#include "itemaccess/MapiProperties.h"
#include "notes/MimeSniffer.h"

namespace Tessarix {

namespace {
constexpr std::uint32_t kAbsent = 0xFFFFFFFF;
constexpr char16_t kUntitledAttachment[] = u"untitled attachment";
constexpr char16_t kOctetStream[] = u"application/octet-stream";
constexpr Mapi::PropTag kPR_DISPLAY_NAME = 0x3001001F;
// The packager writes names in the ANSI code page of the machine that made the package, which the
// item does not record.
constexpr std::uint32_t kPackageNameCodePage = 1252;

bool IsBlank(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n';
}

std::u16string Trim(std::u16string_view text) {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return std::u16string(text);
}
} // namespace

// ---- Attachment ----

Attachment::Attachment(Mapi::PropPtr attach) : attach_(std::move(attach)) {
    CallTracer tracer(u"Attachment::Ctor");
}

Attachment::~Attachment() {
    CallTracer tracer(u"Attachment::Dtor");
}

bool Attachment::IsEmbededImage() {
    CallTracer tracer(u"Attachment::IsEmbededImage()");
    std::u16string mime = GetMimeType();
    if (mime.empty()) {
        // The sniffer looks at the head only: the rest is not read.
        std::string head;
        const std::size_t length =
            std::min<std::size_t>(Notes::SniffLength(), std::numeric_limits<std::uint32_t>::max());
        ReadContent([&head](std::string_view piece) { head.append(piece); },
                    static_cast<std::uint32_t>(length));
        // Nothing to sniff in no bytes.
        if (!head.empty())
            mime = Notes::SniffMime(head);
    }
    mime = Notes::NormaliseMime(std::move(mime));
    return mime.find(u"image") != std::u16string::npos;
}

std::int32_t Attachment::GetRenderPosition() {
    CallTracer tracer(u"Attachment::GetRenderPosition()");
    return static_cast<std::int32_t>(
        Global::GetLongProperty(attach_.get(), Mapi::kPR_RENDERING_POSITION, kAbsent));
}

bool Attachment::IsHidden() {
    CallTracer tracer(u"Attachment::IsHidden()");
    return Global::GetBoolProperty(attach_.get(), Mapi::kPR_ATTACHMENT_HIDDEN, false);
}

std::u16string Attachment::GetLocation() {
    CallTracer tracer(u"Attachment::GetLocation()");
    return Global::GetStringProperty(attach_.get(), Mapi::kPR_ATTACH_CONTENT_LOCATION);
}

std::u16string Attachment::GetCid() {
    CallTracer tracer(u"Attachment::GetCid()");
    // Mail programs store the Content-ID header as written, often in its angle brackets; "cid:"
    // references name it without them.
    std::u16string cid = Trim(Global::GetStringProperty(attach_.get(), Mapi::kPR_ATTACH_CONTENT_ID));
    if (cid.size() >= 2 && cid.front() == u'<' && cid.back() == u'>')
        cid = cid.substr(1, cid.size() - 2);
    return cid;
}

std::u16string Attachment::GetFileName() {
    CallTracer tracer(u"Attachment::GetFileName()");
    std::u16string name = Global::GetStringProperty(attach_.get(), Mapi::kPR_ATTACH_LONG_FILENAME);
    if (name.empty())
        name = Global::GetStringProperty(attach_.get(), Mapi::kPR_ATTACH_FILENAME);
    if (name.empty())
        if (const auto package = OpenPackage())
            name = package->fileName;
    // What the host lists for an attachment that has no file name.
    if (name.empty())
        name = Global::GetStringProperty(attach_.get(), kPR_DISPLAY_NAME);
    return name;
}

std::u16string Attachment::GetMimeType() {
    CallTracer tracer(u"Attachment::GetMimeType()");
    // The type alone: a tag copied from a Content-Type header keeps its parameters.
    std::u16string mime = Global::GetStringProperty(attach_.get(), Mapi::kPR_ATTACH_MIME_TAG);
    if (const auto semicolon = mime.find(u';'); semicolon != std::u16string::npos)
        mime.resize(semicolon);
    mime = Trim(mime);
    for (char16_t& c : mime)
        if (c >= u'A' && c <= u'Z')
            c = static_cast<char16_t>(c - u'A' + u'a');
    return mime;
}

std::optional<Attachments::OlePackage> Attachment::OpenPackage() {
    if (Global::GetLongProperty(attach_.get(), Mapi::kPR_ATTACH_METHOD, kAbsent) != Mapi::kATTACH_OLE)
        return std::nullopt;
    std::shared_ptr<Mapi::IPropStorage> storage;
    std::shared_ptr<Mapi::IPropStream> native;
    if (Failed(attach_->OpenStorage(Mapi::kPR_ATTACH_DATA_OBJ, storage)) || !storage ||
        Failed(storage->OpenStream(Attachments::kOle10NativeStream, native)))
        return std::nullopt;
    return Attachments::ReadOlePackage(std::move(native), kPackageNameCodePage);
}

std::shared_ptr<Mapi::IPropStream> Attachment::OpenAsStream() {
    CallTracer tracer(u"Attachment::OpenAsStream()");
    const std::uint32_t method = Global::GetLongProperty(attach_.get(), Mapi::kPR_ATTACH_METHOD, kAbsent);
    if (method == kAbsent)
        return nullptr;
    std::shared_ptr<Mapi::IPropStream> stream;
    if (method == Mapi::kATTACH_BY_VALUE) {
        if (Failed(attach_->OpenStream(Mapi::kPR_ATTACH_DATA_BIN, stream)))
            return nullptr;
        return stream;
    }
    if (method == Mapi::kATTACH_OLE) {
        std::shared_ptr<Mapi::IPropStorage> storage;
        if (Failed(attach_->OpenStorage(Mapi::kPR_ATTACH_DATA_OBJ, storage)) || !storage)
            return nullptr;
        if (!Failed(storage->OpenStream(u"CONTENTS", stream)))
            return stream;
        // A packaged file is the file itself, not the object around it.
        if (const auto package = OpenPackage())
            return package->content;
        return nullptr;
    }
    return nullptr;
}

std::u16string Attachment::GetID() {
    CallTracer tracer(u"Attachment::GetID()");
    if (std::u16string cid = GetCid(); !cid.empty())
        return cid;
    if (std::u16string name = GetFileName(); !name.empty() && name != kUntitledAttachment)
        return name;
    return Format(u"cid:%d", GetRenderPosition());
}

std::uint32_t Attachment::GetSize() {
    CallTracer tracer(u"Attachment::GetSize()");
    const auto stream = OpenAsStream();
    if (!stream)
        return 0;
    std::uint64_t size = 0;
    if (Failed(stream->Size(size)))
        return 0;
    // Clamped, not truncated, so that a huge content still fails the size limit.
    return size > std::numeric_limits<std::uint32_t>::max() ? std::numeric_limits<std::uint32_t>::max()
                                                            : static_cast<std::uint32_t>(size);
}

void Attachment::LoadContentTo(StringUTF8& buffer) {
    CallTracer tracer(u"Attachment::LoadContentTo()");
    buffer = StringUTF8();
    const auto stream = OpenAsStream();
    if (!stream)
        return;
    ThrowIfFailed(Mapi::ReadWholeStream(*stream, buffer));
}

void Attachment::ReadContent(const std::function<void(std::string_view)>& sink, std::uint32_t limit) {
    CallTracer tracer(u"Attachment::ReadContent()");
    const auto stream = OpenAsStream();
    if (!stream)
        return;
    std::uint64_t size = 0;
    ThrowIfFailed(stream->Size(size));
    if (size > std::numeric_limits<std::uint32_t>::max())
        ThrowIfFailed(kE_OUTOFMEMORY);
    // As LoadContentTo: no more than the size measured first, and a stream that ends early gives
    // what it had.
    std::uint64_t left = std::min<std::uint64_t>(size, limit);
    constexpr std::uint32_t kPiece = 1 << 20;
    std::unique_ptr<char[]> buffer;
    while (left > 0) {
        const auto want = static_cast<std::uint32_t>(std::min<std::uint64_t>(left, kPiece));
        if (!buffer)
            buffer.reset(new char[want]);
        std::uint32_t read = 0;
        ThrowIfFailed(stream->Read(buffer.get(), want, read));
        if (read == 0)
            break;
        sink(std::string_view(buffer.get(), read));
        left -= read;
    }
}

// ---- EmbededMessage ----

EmbededMessage::EmbededMessage(Automation::ObjectPtr attachment) : attachment_(std::move(attachment)) {
    CallTracer tracer(u"EmbededMessage::Ctor");
}

EmbededMessage::~EmbededMessage() {
    CallTracer tracer(u"EmbededMessage::Dtor");
    if (!saved_.empty())
        Platform::DeleteFile(saved_);
}

const std::u16string& EmbededMessage::SavedCopy() {
    if (!saved_.empty())
        return saved_;
    const std::u16string path = Platform::CreateTempFile(u"TSX");
    if (path.empty()) {
        Log().Error(u"EmbededMessage: Fail to create a temporary file");
        ThrowIfFailed(kE_FAIL);
    }
    try {
        DataStorageAdapter(attachment_).SaveTo(path);
    } catch (...) {
        Platform::DeleteFile(path);
        throw;
    }
    saved_ = path;
    return saved_;
}

bool EmbededMessage::IsHidden() {
    CallTracer tracer(u"EmbededMessage::IsHidden()");
    Mapi::PropPtr prop;
    if (Failed(attachment_->GetMapiObject(Mapi::kIID_IMAPIProp, prop))) {
        Log().Error(u"get_MAPIOBJECT() failed in EmbededMessage::IsHidden()!");
        return false;
    }
    return Global::GetBoolProperty(prop.get(), Mapi::kPR_ATTACHMENT_HIDDEN, false);
}

bool EmbededMessage::IsEmbededImage() {
    CallTracer tracer(u"EmbededMessage::IsEmbededImage()");
    return false;
}

std::u16string EmbededMessage::GetFileName() {
    CallTracer tracer(u"EmbededMessage::GetFileName()");
    return Automation::GetString(*attachment_, u"FileName");
}

std::u16string EmbededMessage::GetCid() {
    CallTracer tracer(u"EmbededMessage::GetCid()");
    return {};
}

std::u16string EmbededMessage::GetMimeType() {
    CallTracer tracer(u"EmbededMessage::GetMimeType()");
    return kOctetStream;
}

std::u16string EmbededMessage::GetID() {
    CallTracer tracer(u"EmbededMessage::GetID()");
    return {};
}

std::int32_t EmbededMessage::GetRenderPosition() {
    return -1;
}

std::uint32_t EmbededMessage::GetSize() {
    CallTracer tracer(u"EmbededMessage::GetSize()");
    // Measured on the very bytes LoadContentTo reads: a declared size may be anything.
    const std::uint64_t size = Platform::FileSize(SavedCopy());
    return size > std::numeric_limits<std::uint32_t>::max() ? std::numeric_limits<std::uint32_t>::max()
                                                            : static_cast<std::uint32_t>(size);
}

void EmbededMessage::LoadContentTo(StringUTF8& buffer) {
    CallTracer tracer(u"EmbededMessage::LoadContentTo()");
    const std::u16string& path = SavedCopy();
    if (Platform::FileSize(path) > kMaxAttachmentSize)
        Attachments::RefuseTooLarge(GetFileName());
    std::optional<std::string> bytes = Platform::ReadFile(path);
    if (!bytes) {
        Log().Error(u"EmbededMessage: Fail to open file: " + LogLiteral(path));
        ThrowIfFailed(kE_FAIL);
    }
    buffer = StringUTF8::Adopt(std::move(*bytes));
}

// ---- DataStorageAdapter ----

DataStorageAdapter::DataStorageAdapter(Automation::ObjectPtr attachment)
    : attachment_(std::move(attachment)) {
    CallTracer tracer(u"DataStorageAdapter::Ctor");
}

DataStorageAdapter::~DataStorageAdapter() {
    CallTracer tracer(u"DataStorageAdapter::Dtor)");
}

void DataStorageAdapter::SaveTo(const std::u16string& path) {
    CallTracer tracer(u"DataStorageAdapter::SaveTo()");
    if (!attachment_)
        throw kE_POINTER;
    Automation::CallMethod(*attachment_, u"SaveAsFile", {Automation::Value(path)});
}

// ---- AttachmentUtils ----

AttachmentUtils::AttachmentUtils() {
    CallTracer tracer(u"AttachmentUtils::Ctor");
}

AttachmentUtils::~AttachmentUtils() {
    CallTracer tracer(u"AttachmentUtils::Dtor");
}

AttachmentPtr AttachmentUtils::Wrap(const Automation::ObjectPtr& outlookAttachment) {
    CallTracer tracer(u"AttachmentUtils::Wrap()");
    if (!outlookAttachment)
        return nullptr;
    Mapi::PropPtr attach;
    if (Failed(outlookAttachment->GetMapiObject(Mapi::kIID_IAttachment, attach)) || !attach) {
        Log().Error(u"get_MAPIOBJECT() failed in AttachmentUtils::Wrap()!");
        return nullptr;
    }
    if (Global::IsEmbededMessage(attach.get()))
        return std::make_shared<EmbededMessage>(outlookAttachment);
    return std::make_shared<Attachment>(std::move(attach));
}

bool Global::IsEmbededMessage(Mapi::IProp* attach) {
    CallTracer tracer(u"Global::IsEmbededMessage()");
    return Global::GetLongProperty(attach, Mapi::kPR_ATTACH_METHOD, kAbsent) == Mapi::kATTACH_EMBEDDED_MSG;
}

} // namespace Tessarix
