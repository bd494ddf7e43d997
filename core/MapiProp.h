#pragma once
// The MAPI property seam: one MAPI object (message, attachment) whose properties are read by tag.
//
// Windows: IMAPIProp through HrGetOneProp/OpenProperty (core/win/MapiPropWin.h). A saved-item
// reader implements it over the item's property streams; tests use in-memory fakes.
// Every operation reports an HRESULT; nothing here throws.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "core/ByteString.h"
#include "core/Exceptions.h"
#include "core/FileTime.h"
#include "core/Guid.h"

namespace Tessarix::Mapi {

using PropTag = std::uint32_t;

constexpr std::uint16_t PropType(PropTag tag) {
    return static_cast<std::uint16_t>(tag & 0xFFFFu);
}

inline constexpr std::uint16_t kPT_LONG = 0x0003;
inline constexpr std::uint16_t kPT_BOOLEAN = 0x000B;
inline constexpr std::uint16_t kPT_OBJECT = 0x000D;
inline constexpr std::uint16_t kPT_UNICODE = 0x001F;
inline constexpr std::uint16_t kPT_SYSTIME = 0x0040;
inline constexpr std::uint16_t kPT_BINARY = 0x0102;

// Tags the product reads.
inline constexpr PropTag kPR_ATTACH_SIZE = 0x0E200003;
inline constexpr PropTag kPR_DISPLAY_TO = 0x0E04001F;
inline constexpr PropTag kPR_START_DATE = 0x00600040;
inline constexpr PropTag kPR_END_DATE = 0x00610040;
inline constexpr PropTag kPR_RTF_COMPRESSED = 0x10090102;
inline constexpr PropTag kPR_HTML = 0x10130102;
inline constexpr PropTag kPR_INTERNET_CPID = 0x3FDE0003;
inline constexpr PropTag kPR_ATTACH_DATA_BIN = 0x37010102;
inline constexpr PropTag kPR_ATTACH_DATA_OBJ = 0x3701000D;
inline constexpr PropTag kPR_ATTACH_FILENAME = 0x3704001F;
inline constexpr PropTag kPR_ATTACH_METHOD = 0x37050003;
inline constexpr PropTag kPR_ATTACH_LONG_FILENAME = 0x3707001F;
inline constexpr PropTag kPR_RENDERING_POSITION = 0x370B0003;
inline constexpr PropTag kPR_ATTACH_MIME_TAG = 0x370E001F;
inline constexpr PropTag kPR_ATTACH_CONTENT_ID = 0x3712001F;
inline constexpr PropTag kPR_ATTACH_CONTENT_LOCATION = 0x3713001F;
inline constexpr PropTag kPR_ATTACHMENT_HIDDEN = 0x7FFE000B;
inline constexpr PropTag kPR_ATTACHMENT_CONTACTPHOTO = 0x7FFF000B;

// A meeting request's named properties as the host versions' stores number them; the renderer
// reads these tags as they are, without resolving names (11: Outlook 2003, 12: 2007, 14: 2010).
inline constexpr PropTag kMeetingLocation11 = 0x800F001F;
inline constexpr PropTag kMeetingLocation12 = 0x8017001F;
inline constexpr PropTag kMeetingAllDay11 = 0x8014000B;
inline constexpr PropTag kMeetingAllDay12 = 0x801C000B;
inline constexpr PropTag kMeetingAllDay14 = 0x802A000B;
inline constexpr PropTag kMeetingBusyStatus11 = 0x80120003;
inline constexpr PropTag kMeetingBusyStatus12And14 = 0x80000003;

// PR_ATTACH_METHOD values.
inline constexpr std::uint32_t kNO_ATTACHMENT = 0;
inline constexpr std::uint32_t kATTACH_BY_VALUE = 1;
inline constexpr std::uint32_t kATTACH_EMBEDDED_MSG = 5;
inline constexpr std::uint32_t kATTACH_OLE = 6;

// The interfaces a MAPIOBJECT is asked for.
inline constexpr Guid kIID_IMAPIProp{0x00020303, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kIID_IMessage{0x00020307, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kIID_IAttachment{0x00020308, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// RTF_WCSRETINFO::ulStreamFlags: the format of a native body.
inline constexpr std::uint32_t kNativeBodyRtf = 1;
inline constexpr std::uint32_t kNativeBodyHtml = 2;
inline constexpr std::uint32_t kNativeBodyPlainText = 4;

// The HRESULT of a platform function that is not there (msmapi32.dll or its export missing).
inline constexpr HResult kE_MOD_NOT_FOUND = HResultFrom(0x8007007Eu);
inline constexpr HResult kE_PROC_NOT_FOUND = HResultFrom(0x8007007Fu);

struct Binary {
    std::string bytes;
    friend bool operator==(const Binary&, const Binary&) = default;
};

// One property value. Its alternative follows the tag's type: PT_UNICODE text, PT_LONG
// (unsigned, as MAPI's ULONG), PT_BOOLEAN, PT_SYSTIME, PT_BINARY.
using PropValue = std::variant<std::monostate, std::u16string, std::uint32_t, bool, FileTime, Binary>;

// A property opened as a stream (IStream).
class IPropStream {
public:
    virtual ~IPropStream() = default;
    // IStream::Stat's size.
    virtual HResult Size(std::uint64_t& size) = 0;
    // IStream::Read: up to `count` bytes; `read` is 0 at the end.
    virtual HResult Read(char* buffer, std::uint32_t count, std::uint32_t& read) = 0;
};

// A property opened as a storage (IStorage).
class IPropStorage {
public:
    virtual ~IPropStorage() = default;
    // IStorage::OpenStream with STGM_SHARE_EXCLUSIVE | STGM_READ. The stream stays readable when the
    // storage object is dropped before it.
    virtual HResult OpenStream(std::u16string_view name, std::shared_ptr<IPropStream>& stream) = 0;
};

struct NativeBody {
    std::shared_ptr<IPropStream> stream; // uncompressed, in the native body's format
    std::uint32_t type = 0;              // kNativeBody*
};

class IProp {
public:
    virtual ~IProp() = default;
    // HrGetOneProp: kMAPI_E_NOT_FOUND when the object has no such property.
    virtual HResult GetProp(PropTag tag, PropValue& value) = 0;
    // IMAPIProp::OpenProperty(tag, IID_IStream, 0, 0).
    virtual HResult OpenStream(PropTag tag, std::shared_ptr<IPropStream>& stream) = 0;
    // IMAPIProp::OpenProperty(tag, IID_IStorage, 0, 0).
    virtual HResult OpenStorage(PropTag tag, std::shared_ptr<IPropStorage>& storage) = 0;
    // WrapCompressedRTFStreamEx with MAPI_NATIVE_BODY and `codePage` as the in-code-page, over a
    // stream this object opened (PR_RTF_COMPRESSED). kE_MOD_NOT_FOUND / kE_PROC_NOT_FOUND when the
    // platform has no decompressor.
    virtual HResult WrapCompressedRtf(IPropStream& compressed, std::uint32_t codePage, NativeBody& body) = 0;
};

using PropPtr = std::shared_ptr<IProp>;

// Reads the whole stream: its size first, then its bytes (fewer when the stream ends early).
// A stream of 4 GiB or more fails with kE_OUTOFMEMORY, as a byte string cannot hold it.
HResult ReadWholeStream(IPropStream& stream, StringUTF8& out);

} // namespace Tessarix::Mapi
