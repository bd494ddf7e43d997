#include "msg/MsgValue.h"

#include <bit>
#include <cstring>

#include "core/CodePage.h"

namespace Tessarix::Msg {

Layout LayoutOf(std::uint16_t type) {
    switch (type) {
    case kPT_I2:
    case kPT_LONG:
    case kPT_R4:
    case kPT_DOUBLE:
    case kPT_CURRENCY:
    case kPT_APPTIME:
    case kPT_ERROR:
    case kPT_BOOLEAN:
    case kPT_I8:
    case kPT_SYSTIME:
        return Layout::Fixed;
    case kPT_STRING8:
    case kPT_UNICODE:
    case kPT_BINARY:
    case kPT_CLSID:
    case kPT_OBJECT:
        return Layout::Stream;
    case kMV_FLAG | kPT_STRING8:
    case kMV_FLAG | kPT_UNICODE:
    case kMV_FLAG | kPT_BINARY:
        return Layout::MultiStream;
    default:
        return ElementSize(type) != 0 && (type & kMV_FLAG) != 0 ? Layout::MultiFixed : Layout::Unknown;
    }
}

std::size_t ElementSize(std::uint16_t type) {
    switch (type & ~kMV_FLAG) {
    case kPT_I2:
        return 2;
    case kPT_LONG:
    case kPT_R4:
        return 4;
    case kPT_DOUBLE:
    case kPT_CURRENCY:
    case kPT_APPTIME:
    case kPT_I8:
    case kPT_SYSTIME:
        return 8;
    case kPT_CLSID:
        return 16;
    default:
        return 0;
    }
}

std::uint16_t ReadLe16(const char* p) {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(p[0]) |
                                      (static_cast<unsigned char>(p[1]) << 8));
}
std::uint32_t ReadLe32(const char* p) {
    return ReadLe16(p) | (std::uint32_t{ReadLe16(p + 2)} << 16);
}
std::uint64_t ReadLe64(const char* p) {
    return ReadLe32(p) | (std::uint64_t{ReadLe32(p + 4)} << 32);
}
void AppendLe16(std::string& out, std::uint16_t v) {
    out.push_back(static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>(v >> 8));
}
void AppendLe32(std::string& out, std::uint32_t v) {
    AppendLe16(out, static_cast<std::uint16_t>(v));
    AppendLe16(out, static_cast<std::uint16_t>(v >> 16));
}
void AppendLe64(std::string& out, std::uint64_t v) {
    AppendLe32(out, static_cast<std::uint32_t>(v));
    AppendLe32(out, static_cast<std::uint32_t>(v >> 32));
}

std::string ToUtf16Le(std::u16string_view text) {
    std::string out;
    out.reserve(text.size() * 2);
    for (const char16_t c : text)
        AppendLe16(out, c);
    return out;
}

std::u16string FromUtf16Le(std::string_view bytes) {
    std::u16string out(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < out.size(); ++i)
        out[i] = static_cast<char16_t>(ReadLe16(bytes.data() + 2 * i));
    return out;
}

std::string GuidToBytes(const Guid& guid) {
    std::string out;
    AppendLe32(out, guid.data1);
    AppendLe16(out, guid.data2);
    AppendLe16(out, guid.data3);
    out.append(reinterpret_cast<const char*>(guid.data4), 8);
    return out;
}

Guid GuidFromBytes(std::string_view sixteen) {
    Guid guid;
    if (sixteen.size() < 16)
        return guid;
    guid.data1 = ReadLe32(sixteen.data());
    guid.data2 = ReadLe16(sixteen.data() + 4);
    guid.data3 = ReadLe16(sixteen.data() + 6);
    std::memcpy(guid.data4, sixteen.data() + 8, 8);
    return guid;
}

std::u16string DecodeString8(std::string_view bytes, std::uint32_t codePage) {
    if (bytes.empty())
        return {};
    if (!CodePage::IsSupported(codePage))
        codePage = 1252;
    return CodePage::ToWide(bytes, codePage);
}

namespace {

Value Fixed(std::uint16_t type, std::uint64_t bits) {
    std::string field;
    AppendLe64(field, bits);
    return Value::Raw(type, std::move(field));
}

} // namespace

Value Value::I2(std::int16_t v) {
    return Fixed(kPT_I2, static_cast<std::uint16_t>(v));
}
Value Value::Long(std::uint32_t v) {
    return Fixed(kPT_LONG, v);
}
Value Value::Float(float v) {
    return Fixed(kPT_R4, std::bit_cast<std::uint32_t>(v));
}
Value Value::Double(double v) {
    return Fixed(kPT_DOUBLE, std::bit_cast<std::uint64_t>(v));
}
Value Value::Currency(std::int64_t v) {
    return Fixed(kPT_CURRENCY, static_cast<std::uint64_t>(v));
}
Value Value::AppTime(double v) {
    return Fixed(kPT_APPTIME, std::bit_cast<std::uint64_t>(v));
}
Value Value::Error(std::uint32_t v) {
    return Fixed(kPT_ERROR, v);
}
Value Value::Bool(bool v) {
    return Fixed(kPT_BOOLEAN, v ? 1 : 0);
}
Value Value::I8(std::int64_t v) {
    return Fixed(kPT_I8, static_cast<std::uint64_t>(v));
}
Value Value::Time(FileTime v) {
    return Fixed(kPT_SYSTIME, v.Ticks());
}
Value Value::Unicode(std::u16string_view text) {
    return Raw(kPT_UNICODE, ToUtf16Le(text));
}
Value Value::String8(std::string_view bytes) {
    return Raw(kPT_STRING8, std::string(bytes));
}
Value Value::Binary(std::string_view bytes) {
    return Raw(kPT_BINARY, std::string(bytes));
}
Value Value::Clsid(const Guid& guid) {
    return Raw(kPT_CLSID, GuidToBytes(guid));
}
Value Value::Object() {
    return Raw(kPT_OBJECT, {});
}

Value Value::MultiFixed(std::uint16_t type, std::string packed) {
    return Raw(type, std::move(packed));
}

Value Value::MultiLong(const std::vector<std::uint32_t>& values) {
    std::string packed;
    for (const auto v : values)
        AppendLe32(packed, v);
    return Raw(kMV_FLAG | kPT_LONG, std::move(packed));
}

Value Value::MultiUnicode(const std::vector<std::u16string>& values) {
    std::vector<std::string> items;
    items.reserve(values.size());
    for (const auto& v : values)
        items.push_back(ToUtf16Le(v));
    return Raw(kMV_FLAG | kPT_UNICODE, {}, std::move(items));
}

Value Value::MultiString8(std::vector<std::string> values) {
    return Raw(kMV_FLAG | kPT_STRING8, {}, std::move(values));
}

Value Value::MultiBinary(std::vector<std::string> values) {
    return Raw(kMV_FLAG | kPT_BINARY, {}, std::move(values));
}

Value Value::Raw(std::uint16_t type, std::string bytes, std::vector<std::string> items) {
    Value v;
    v.type_ = type;
    v.bytes_ = std::move(bytes);
    v.items_ = std::move(items);
    return v;
}

std::optional<std::int16_t> Value::AsI2() const {
    if (type_ != kPT_I2 || bytes_.size() < 2)
        return std::nullopt;
    return static_cast<std::int16_t>(ReadLe16(bytes_.data()));
}

std::optional<std::uint32_t> Value::AsLong() const {
    if (type_ != kPT_LONG || bytes_.size() < 4)
        return std::nullopt;
    return ReadLe32(bytes_.data());
}

std::optional<bool> Value::AsBool() const {
    // Writers differ in how wide they store the flag; any set bit of the first two bytes is true.
    if (type_ != kPT_BOOLEAN || bytes_.size() < 2)
        return std::nullopt;
    return ReadLe16(bytes_.data()) != 0;
}

std::optional<double> Value::AsDouble() const {
    if ((type_ == kPT_DOUBLE || type_ == kPT_APPTIME) && bytes_.size() >= 8)
        return std::bit_cast<double>(ReadLe64(bytes_.data()));
    if (type_ == kPT_R4 && bytes_.size() >= 4)
        return static_cast<double>(std::bit_cast<float>(ReadLe32(bytes_.data())));
    return std::nullopt;
}

std::optional<std::int64_t> Value::AsI8() const {
    if ((type_ != kPT_I8 && type_ != kPT_CURRENCY) || bytes_.size() < 8)
        return std::nullopt;
    return static_cast<std::int64_t>(ReadLe64(bytes_.data()));
}

std::optional<FileTime> Value::AsTime() const {
    if (type_ != kPT_SYSTIME || bytes_.size() < 8)
        return std::nullopt;
    return FileTime::FromTicks(ReadLe64(bytes_.data()));
}

std::optional<std::u16string> Value::AsString(std::uint32_t codePage) const {
    if (type_ == kPT_UNICODE)
        return FromUtf16Le(bytes_);
    if (type_ == kPT_STRING8)
        return DecodeString8(bytes_, codePage);
    return std::nullopt;
}

std::optional<std::string> Value::AsBinary() const {
    if (type_ != kPT_BINARY)
        return std::nullopt;
    return bytes_;
}

std::optional<Guid> Value::AsGuid() const {
    if (type_ != kPT_CLSID || bytes_.size() < 16)
        return std::nullopt;
    return GuidFromBytes(bytes_);
}

std::optional<std::vector<std::u16string>> Value::AsStrings(std::uint32_t codePage) const {
    if (type_ != (kMV_FLAG | kPT_UNICODE) && type_ != (kMV_FLAG | kPT_STRING8))
        return std::nullopt;
    std::vector<std::u16string> out;
    out.reserve(items_.size());
    for (const auto& item : items_)
        out.push_back(type_ == (kMV_FLAG | kPT_UNICODE) ? FromUtf16Le(item) : DecodeString8(item, codePage));
    return out;
}

std::optional<std::vector<std::uint32_t>> Value::AsLongs() const {
    if (type_ != (kMV_FLAG | kPT_LONG))
        return std::nullopt;
    std::vector<std::uint32_t> out;
    for (std::size_t i = 0; i + 4 <= bytes_.size(); i += 4)
        out.push_back(ReadLe32(bytes_.data() + i));
    return out;
}

} // namespace Tessarix::Msg
