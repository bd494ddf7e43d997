#include "msg/MsgProps.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/CodePage.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/Utf.h"
#include "msg/CompressedRtf.h"
#include "msg/MsgReader.h"
#include "msg/RtfBody.h"

namespace Tessarix::Msg {

void NameMap::Add(std::uint16_t id, const NamedProperty& name) {
    if (byId_.count(id) == 0 && !IdOf(name))
        byId_.emplace(id, name);
}

const NamedProperty* NameMap::Find(std::uint16_t id) const {
    const auto found = byId_.find(id);
    return found == byId_.end() ? nullptr : &found->second;
}

std::optional<std::uint16_t> NameMap::IdOf(const NamedProperty& name) const {
    for (const auto& [id, entry] : byId_)
        if (entry == name)
            return id;
    return std::nullopt;
}

namespace detail {

std::string ValueStreamName(PropTag tag) {
    char name[32];
    std::snprintf(name, sizeof name, "__substg1.0_%08X", static_cast<unsigned>(tag));
    return name;
}

std::string ValueStreamName(PropTag tag, std::uint32_t index) {
    char name[40];
    std::snprintf(name, sizeof name, "__substg1.0_%08X-%08X", static_cast<unsigned>(tag),
                  static_cast<unsigned>(index));
    return name;
}

std::size_t HeaderSize(MsgProps::Kind kind) {
    switch (kind) {
    case MsgProps::Kind::Message:
        return 32;
    case MsgProps::Kind::EmbeddedMessage:
        return 24;
    default:
        return 8;
    }
}

} // namespace detail

namespace {

class MemoryStream final : public Mapi::IPropStream {
public:
    explicit MemoryStream(std::string bytes) : bytes_(std::move(bytes)) {}
    HResult Size(std::uint64_t& size) override {
        size = bytes_.size();
        return kS_OK;
    }
    HResult Read(char* buffer, std::uint32_t count, std::uint32_t& read) override {
        const std::size_t n = std::min<std::size_t>(count, bytes_.size() - position_);
        if (n != 0)
            std::memcpy(buffer, bytes_.data() + position_, n);
        position_ += n;
        read = static_cast<std::uint32_t>(n);
        return kS_OK;
    }

private:
    std::string bytes_;
    std::size_t position_ = 0;
};

// A stream read in place: asking its size reads nothing, and its bytes are read once.
class FileStream final : public Mapi::IPropStream {
public:
    FileStream(Compound::Stream stream, std::u16string where)
        : stream_(std::move(stream)), where_(std::move(where)) {}
    HResult Size(std::uint64_t& size) override {
        size = stream_.Size();
        return kS_OK;
    }
    HResult Read(char* buffer, std::uint32_t count, std::uint32_t& read) override {
        std::size_t done = 0;
        const bool ok = stream_.Read(buffer, count, done);
        read = static_cast<std::uint32_t>(done);
        if (ok)
            return kS_OK;
        Log().Warning(detail::LogLiteral(where_ + u": a stream is broken"));
        return kMAPI_E_CORRUPT_DATA;
    }

private:
    Compound::Stream stream_;
    std::u16string where_;
};

class StorageAdapter final : public Mapi::IPropStorage {
public:
    StorageAdapter(Compound::Dir dir, std::u16string where)
        : dir_(std::move(dir)), where_(std::move(where)) {}
    HResult OpenStream(std::u16string_view name, std::shared_ptr<Mapi::IPropStream>& stream) override {
        Compound::Stream opened;
        switch (dir_.OpenStream(ToUtf8(name), opened)) {
        case Compound::Dir::Status::Ok:
            stream = std::make_shared<FileStream>(std::move(opened), where_);
            return kS_OK;
        case Compound::Dir::Status::Corrupt:
            return kSTG_E_DOCFILECORRUPT;
        default:
            return kSTG_E_FILENOTFOUND; // absent, or a storage
        }
    }

private:
    Compound::Dir dir_;
    std::u16string where_;
};

HResult StatusToResult(Compound::Dir::Status status) {
    // A property whose entry is there but whose value is not is a broken item, not an absent one.
    return status == Compound::Dir::Status::Ok ? kS_OK : kMAPI_E_CORRUPT_DATA;
}

void TrimTerminators(std::string& bytes, std::size_t unit) {
    // Shrinking by erase, not resize: resize may grow, a path GCC 12 then warns about.
    bytes.erase(bytes.size() - bytes.size() % unit);
    while (bytes.size() >= unit && std::all_of(bytes.end() - static_cast<std::ptrdiff_t>(unit), bytes.end(),
                                               [](char c) { return c == '\0'; }))
        bytes.erase(bytes.size() - unit);
}

} // namespace

MsgProps::MsgProps(std::shared_ptr<const detail::PropStorage> storage) : storage_(std::move(storage)) {}

bool MsgProps::Has(PropTag tag) const {
    return storage_->entries.count(tag) != 0;
}

std::vector<PropTag> MsgProps::Tags() const {
    std::vector<PropTag> tags;
    tags.reserve(storage_->entries.size());
    for (const auto& [tag, entry] : storage_->entries)
        tags.push_back(tag);
    return tags;
}

std::optional<std::uint32_t> MsgProps::Flags(PropTag tag) const {
    const auto found = storage_->entries.find(tag);
    if (found == storage_->entries.end())
        return std::nullopt;
    return found->second.flags;
}

std::uint32_t MsgProps::CodePage() const {
    return storage_->codePage;
}
MsgProps::Kind MsgProps::ObjectKind() const {
    return storage_->kind;
}
const std::u16string& MsgProps::FileName() const {
    return storage_->file->container->Name();
}
const std::u16string& MsgProps::Where() const {
    return storage_->where;
}

std::optional<PropTag> MsgProps::NamedTag(const NamedProperty& name, std::uint16_t type) const {
    const auto id = storage_->file->names->IdOf(name);
    if (!id)
        return std::nullopt;
    return MakeTag(*id, type);
}

const NamedProperty* MsgProps::NameOf(std::uint16_t id) const {
    return storage_->file->names->Find(id);
}

HResult MsgProps::GetValue(PropTag tag, Value& value) const {
    const auto found = storage_->entries.find(tag);
    if (found == storage_->entries.end()) {
        const auto computed = storage_->computed.find(tag);
        if (computed == storage_->computed.end())
            return kMAPI_E_NOT_FOUND;
        value = Value::Long(computed->second);
        return kS_OK;
    }
    const std::uint16_t type = PropType(tag);
    const Compound::Dir& dir = storage_->dir;
    switch (LayoutOf(type)) {
    case Layout::Fixed:
    case Layout::Unknown:
        value = Value::Raw(type, found->second.field);
        return kS_OK;
    case Layout::Stream: {
        if (type == kPT_OBJECT) {
            value = Value::Object();
            return kS_OK;
        }
        std::string bytes;
        if (const HResult hr = StatusToResult(dir.ReadStream(detail::ValueStreamName(tag), bytes));
            Failed(hr))
            return hr;
        if (type == kPT_UNICODE)
            TrimTerminators(bytes, 2);
        else if (type == kPT_STRING8)
            TrimTerminators(bytes, 1);
        else if (type == kPT_CLSID && bytes.size() != 16)
            return kMAPI_E_CORRUPT_DATA;
        value = Value::Raw(type, std::move(bytes));
        return kS_OK;
    }
    case Layout::MultiFixed: {
        std::string bytes;
        if (const HResult hr = StatusToResult(dir.ReadStream(detail::ValueStreamName(tag), bytes));
            Failed(hr))
            return hr;
        bytes.resize(bytes.size() - bytes.size() % ElementSize(type)); // a cut-off last value is dropped
        value = Value::Raw(type, std::move(bytes));
        return kS_OK;
    }
    case Layout::MultiStream: {
        std::string lengths;
        if (const HResult hr = StatusToResult(dir.ReadStream(detail::ValueStreamName(tag), lengths));
            Failed(hr))
            return hr;
        const std::size_t stride = (type & ~kMV_FLAG) == kPT_BINARY ? 8 : 4;
        const std::size_t count = lengths.size() / stride;
        // Each value has a stream of its own: the storage bounds how many there can be.
        if (count > dir.Names().size())
            return kMAPI_E_CORRUPT_DATA;
        std::vector<std::string> items(count);
        for (std::size_t i = 0; i < count; ++i) {
            const std::string name = detail::ValueStreamName(tag, static_cast<std::uint32_t>(i));
            if (const HResult hr = StatusToResult(dir.ReadStream(name, items[i])); Failed(hr))
                return hr;
            if (stride == 4)
                TrimTerminators(items[i], (type & ~kMV_FLAG) == kPT_UNICODE ? 2 : 1);
        }
        value = Value::Raw(type, {}, std::move(items));
        return kS_OK;
    }
    }
    return kMAPI_E_NOT_FOUND;
}

HResult MsgProps::GetProp(PropTag tag, Mapi::PropValue& value) {
    const std::uint16_t type = PropType(tag);
    const bool text = type == kPT_UNICODE || type == kPT_STRING8;
    PropTag stored = tag;
    if (!Has(stored) && text)
        stored = MakeTag(PropId(tag), type == kPT_UNICODE ? kPT_STRING8 : kPT_UNICODE);
    Value v;
    if (const HResult hr = GetValue(stored, v); Failed(hr))
        return hr;
    switch (type) {
    case kPT_UNICODE:
    case kPT_STRING8:
        value = v.AsString(CodePage()).value_or(std::u16string());
        return kS_OK;
    case kPT_LONG:
        value = v.AsLong().value_or(0);
        return kS_OK;
    case kPT_BOOLEAN:
        value = v.AsBool().value_or(false);
        return kS_OK;
    case kPT_SYSTIME:
        value = v.AsTime().value_or(FileTime{});
        return kS_OK;
    case kPT_BINARY:
        value = Mapi::Binary{v.Bytes()};
        return kS_OK;
    default:
        return kMAPI_E_TYPE_NO_SUPPORT;
    }
}

HResult MsgProps::OpenStream(PropTag tag, std::shared_ptr<Mapi::IPropStream>& stream) {
    const std::uint16_t type = PropType(tag);
    PropTag stored = tag;
    if (!Has(stored) && type == kPT_BINARY) {
        for (const std::uint16_t textType : {kPT_STRING8, kPT_UNICODE})
            if (Has(MakeTag(PropId(tag), textType)))
                stored = MakeTag(PropId(tag), textType);
    }
    if (!Has(stored))
        return kMAPI_E_NOT_FOUND;
    const std::uint16_t storedType = PropType(stored);
    if (LayoutOf(storedType) != Layout::Stream || storedType == kPT_OBJECT)
        return kE_NOINTERFACE;
    if (stored != tag && storedType == kPT_UNICODE) {
        std::string bytes;
        if (const HResult hr =
                StatusToResult(storage_->dir.ReadStream(detail::ValueStreamName(stored), bytes));
            Failed(hr))
            return hr;
        TrimTerminators(bytes, 2);
        stream = std::make_shared<MemoryStream>(CodePage::FromWide(FromUtf16Le(bytes), CodePage()));
        return kS_OK;
    }
    Compound::Stream opened;
    if (const HResult hr = StatusToResult(storage_->dir.OpenStream(detail::ValueStreamName(stored), opened));
        Failed(hr)) {
        Log().Warning(detail::LogLiteral(FileName() + u" (" + Where() + u"): a property stream is broken"));
        return hr;
    }
    stream = std::make_shared<FileStream>(std::move(opened), FileName() + u" (" + Where() + u")");
    return kS_OK;
}

HResult MsgProps::OpenStorage(PropTag tag, std::shared_ptr<Mapi::IPropStorage>& storage) {
    if (!Has(tag))
        return kMAPI_E_NOT_FOUND;
    if (PropType(tag) != kPT_OBJECT)
        return kE_NOINTERFACE;
    Compound::Dir dir;
    switch (storage_->dir.OpenStorage(detail::ValueStreamName(tag), dir)) {
    case Compound::Dir::Status::Ok:
        storage = std::make_shared<StorageAdapter>(std::move(dir), FileName() + u" (" + Where() + u")");
        return kS_OK;
    case Compound::Dir::Status::Missing:
        return kMAPI_E_NOT_FOUND;
    case Compound::Dir::Status::WrongKind:
        return kE_NOINTERFACE;
    case Compound::Dir::Status::Corrupt:
        break;
    }
    return kMAPI_E_CORRUPT_DATA;
}

HResult MsgProps::WrapCompressedRtf(Mapi::IPropStream& compressed, std::uint32_t codePage,
                                    Mapi::NativeBody& body) {
    StringUTF8 data;
    if (const HResult hr = Mapi::ReadWholeStream(compressed, data); Failed(hr))
        return hr;
    std::string rtf;
    try {
        rtf = Rtf::Decompress(data.View());
    } catch (const Rtf::CompressedRtfError& e) {
        Log().Warning(detail::LogLiteral(FileName() + u" (" + Where() + u"): " + FromUtf8(e.what())));
        return kMAPI_E_CORRUPT_DATA;
    }
    Rtf::NativeBody native = Rtf::ExtractNativeBody(rtf, codePage);
    if (native.type == 0)
        return kE_INVALIDARG;
    body.stream = std::make_shared<MemoryStream>(std::move(native.bytes));
    body.type = native.type;
    return kS_OK;
}

std::optional<std::u16string> MsgProps::String(PropTag tag) const {
    Value v;
    for (const std::uint16_t type : {kPT_UNICODE, kPT_STRING8})
        if (!Failed(GetValue(MakeTag(PropId(tag), type), v)))
            return v.AsString(CodePage());
    return std::nullopt;
}

std::optional<std::uint32_t> MsgProps::Long(PropTag tag) const {
    Value v;
    return Failed(GetValue(tag, v)) ? std::nullopt : v.AsLong();
}

std::optional<bool> MsgProps::Bool(PropTag tag) const {
    Value v;
    return Failed(GetValue(tag, v)) ? std::nullopt : v.AsBool();
}

std::optional<FileTime> MsgProps::Time(PropTag tag) const {
    Value v;
    return Failed(GetValue(tag, v)) ? std::nullopt : v.AsTime();
}

std::optional<std::string> MsgProps::Binary(PropTag tag) const {
    Value v;
    return Failed(GetValue(tag, v)) ? std::nullopt : v.AsBinary();
}

} // namespace Tessarix::Msg
