#pragma once
// Property values of a saved Outlook item (.msg), for every MAPI property type, in the form the
// file stores them. Shared by the reader and the writer.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/FileTime.h"
#include "core/Guid.h"
#include "core/MapiProp.h"

namespace Tessarix::Msg {

using Mapi::PropTag;
using Mapi::PropType;

inline constexpr std::uint16_t kPT_UNSPECIFIED = 0x0000;
inline constexpr std::uint16_t kPT_I2 = 0x0002;
inline constexpr std::uint16_t kPT_LONG = 0x0003;
inline constexpr std::uint16_t kPT_R4 = 0x0004;
inline constexpr std::uint16_t kPT_DOUBLE = 0x0005;
inline constexpr std::uint16_t kPT_CURRENCY = 0x0006;
inline constexpr std::uint16_t kPT_APPTIME = 0x0007;
inline constexpr std::uint16_t kPT_ERROR = 0x000A;
inline constexpr std::uint16_t kPT_BOOLEAN = 0x000B;
inline constexpr std::uint16_t kPT_OBJECT = 0x000D;
inline constexpr std::uint16_t kPT_I8 = 0x0014;
inline constexpr std::uint16_t kPT_STRING8 = 0x001E;
inline constexpr std::uint16_t kPT_UNICODE = 0x001F;
inline constexpr std::uint16_t kPT_SYSTIME = 0x0040;
inline constexpr std::uint16_t kPT_CLSID = 0x0048;
inline constexpr std::uint16_t kPT_BINARY = 0x0102;
inline constexpr std::uint16_t kMV_FLAG = 0x1000;

constexpr PropTag MakeTag(std::uint16_t id, std::uint16_t type) {
    return (PropTag{id} << 16) | type;
}
constexpr std::uint16_t PropId(PropTag tag) {
    return static_cast<std::uint16_t>(tag >> 16);
}

// How a property type is kept in a .msg file: its value inside the property-stream entry
// (Fixed), in a stream of its own (Stream), all values packed in one stream (MultiFixed), or one
// stream per value plus a stream of lengths (MultiStream).
enum class Layout { Fixed, Stream, MultiFixed, MultiStream, Unknown };
Layout LayoutOf(std::uint16_t type);
// Bytes of one value of a multi-valued fixed-size type (with or without the multi-value flag);
// 0 for any other type.
std::size_t ElementSize(std::uint16_t type);

// One property value. Bytes() is the entry's 8-byte value field for Fixed types, the stream's
// content for Stream types (strings without a terminator, UTF-16LE for PT_UNICODE) and the packed
// values for MultiFixed types; Items() are the values of MultiStream types, in the same forms.
class Value {
public:
    Value() = default;

    static Value I2(std::int16_t v);
    static Value Long(std::uint32_t v);
    static Value Float(float v);
    static Value Double(double v);
    static Value Currency(std::int64_t v);
    static Value AppTime(double v);
    static Value Error(std::uint32_t v);
    static Value Bool(bool v);
    static Value I8(std::int64_t v);
    static Value Time(FileTime v);
    static Value Unicode(std::u16string_view text);
    static Value String8(std::string_view bytes);
    static Value Binary(std::string_view bytes);
    static Value Clsid(const Guid& guid);
    static Value Object(); // an embedded message or OLE storage
    // `type` is a multi-valued fixed-size type; `packed` holds ElementSize(type) bytes per value.
    static Value MultiFixed(std::uint16_t type, std::string packed);
    static Value MultiLong(const std::vector<std::uint32_t>& values);
    static Value MultiUnicode(const std::vector<std::u16string>& values);
    static Value MultiString8(std::vector<std::string> values);
    static Value MultiBinary(std::vector<std::string> values);
    // Any type in its stored form (for unknown types and crafted test data).
    static Value Raw(std::uint16_t type, std::string bytes, std::vector<std::string> items = {});

    bool Empty() const { return type_ == kPT_UNSPECIFIED; }
    std::uint16_t Type() const { return type_; }
    const std::string& Bytes() const { return bytes_; }
    const std::vector<std::string>& Items() const { return items_; }

    // Typed reads: none when the value is of another type.
    std::optional<std::int16_t> AsI2() const;
    std::optional<std::uint32_t> AsLong() const;
    std::optional<bool> AsBool() const;
    std::optional<double> AsDouble() const;   // PT_DOUBLE, PT_APPTIME, PT_R4
    std::optional<std::int64_t> AsI8() const; // PT_I8, PT_CURRENCY
    std::optional<FileTime> AsTime() const;
    // PT_UNICODE, or PT_STRING8 decoded with `codePage` (1252 when that is unknown).
    std::optional<std::u16string> AsString(std::uint32_t codePage) const;
    std::optional<std::string> AsBinary() const;
    std::optional<Guid> AsGuid() const;
    std::optional<std::vector<std::u16string>> AsStrings(std::uint32_t codePage) const;
    std::optional<std::vector<std::uint32_t>> AsLongs() const;

    friend bool operator==(const Value&, const Value&) = default;

private:
    std::uint16_t type_ = kPT_UNSPECIFIED;
    std::string bytes_;
    std::vector<std::string> items_;
};

// Little-endian helpers shared by the reader and the writer.
std::uint16_t ReadLe16(const char* p);
std::uint32_t ReadLe32(const char* p);
std::uint64_t ReadLe64(const char* p);
void AppendLe16(std::string& out, std::uint16_t v);
void AppendLe32(std::string& out, std::uint32_t v);
void AppendLe64(std::string& out, std::uint64_t v);

std::string ToUtf16Le(std::u16string_view text);
// An odd trailing byte is dropped.
std::u16string FromUtf16Le(std::string_view bytes);
std::string GuidToBytes(const Guid& guid);
Guid GuidFromBytes(std::string_view sixteen);
// 8-bit text in a Windows code page; 1252 when the code page is unknown here.
std::u16string DecodeString8(std::string_view bytes, std::uint32_t codePage);

} // namespace Tessarix::Msg
