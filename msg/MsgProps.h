#pragma once
// The MAPI-property seam over one property storage of a saved Outlook item: the message, an
// attachment, a recipient or an embedded message. Reads answer as the host's would: an absent
// property (or one stored with another type) is MAPI_E_NOT_FOUND, a broken one
// MAPI_E_CORRUPT_DATA; nothing throws.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/MapiProp.h"
#include "msg/MsgValue.h"
#include "msg/NamedProperties.h"

namespace Tessarix::Msg {

inline constexpr HResult kMAPI_E_NO_SUPPORT = HResultFrom(0x80040102u);
inline constexpr HResult kMAPI_E_CORRUPT_DATA = HResultFrom(0x8004011Bu);
inline constexpr HResult kMAPI_E_TYPE_NO_SUPPORT = HResultFrom(0x80040303u);
inline constexpr HResult kE_NOINTERFACE = HResultFrom(0x80004002u);
inline constexpr HResult kSTG_E_FILENOTFOUND = HResultFrom(0x80030002u);
inline constexpr HResult kSTG_E_DOCFILECORRUPT = HResultFrom(0x80030109u);

inline constexpr PropTag kPR_MESSAGE_CODEPAGE = 0x3FFD0003;
inline constexpr PropTag kPR_MESSAGE_LOCALE_ID = 0x3FF10003;
inline constexpr PropTag kPR_ATTACH_NUM = 0x0E210003;
inline constexpr PropTag kPR_ATTACH_FLAGS = 0x37140003;

namespace detail {
struct PropStorage; // the parsed storage (msg/MsgReader.h)
}

class MsgProps final : public Mapi::IProp {
public:
    enum class Kind { Message, EmbeddedMessage, Attachment, Recipient };

    explicit MsgProps(std::shared_ptr<const detail::PropStorage> storage);

    // PT_UNICODE and PT_STRING8 tags read either string type (8-bit text decoded with CodePage());
    // PT_LONG, PT_BOOLEAN, PT_SYSTIME and PT_BINARY read their own type. Other types the seam
    // cannot carry answer MAPI_E_TYPE_NO_SUPPORT (use GetValue).
    HResult GetProp(PropTag tag, Mapi::PropValue& value) override;
    // PT_BINARY, PT_STRING8, PT_UNICODE and PT_CLSID values as stored. A PT_BINARY tag also opens a
    // string property of the same id (PR_HTML kept as text): 8-bit bytes as they are, Unicode
    // text encoded in CodePage().
    HResult OpenStream(PropTag tag, std::shared_ptr<Mapi::IPropStream>& stream) override;
    // PT_OBJECT properties: an OLE attachment's storage, an embedded message's storage.
    HResult OpenStorage(PropTag tag, std::shared_ptr<Mapi::IPropStorage>& storage) override;
    // Decompresses (CRC checked) and extracts the native body: HTML (2) or plain text (4) in
    // `codePage`, or the RTF itself (1). A broken stream is MAPI_E_CORRUPT_DATA (logged), an
    // unknown code page E_INVALIDARG.
    HResult WrapCompressedRtf(Mapi::IPropStream& compressed, std::uint32_t codePage,
                              Mapi::NativeBody& body) override;

    // The value of exactly `tag`, typed as stored; where an attachment stores none of its method,
    // size, number, rendering position or flags, what a store would answer.
    HResult GetValue(PropTag tag, Value& value) const;
    bool Has(PropTag tag) const;
    // Every stored tag, in ascending order.
    std::vector<PropTag> Tags() const;
    // The property-stream flags of a stored tag (readable 2, writable 4, mandatory 1).
    std::optional<std::uint32_t> Flags(PropTag tag) const;
    // The tag of a named property (with `type`), when the file's name-id map names it.
    std::optional<PropTag> NamedTag(const NamedProperty& name, std::uint16_t type) const;
    // The name of a stored property id of 0x8000 and above.
    const NamedProperty* NameOf(std::uint16_t id) const;
    // The code page of 8-bit strings (docs/msg-format.md): PR_MESSAGE_CODEPAGE, else the message
    // locale's ANSI code page, else the enclosing message's, else the one that writes the script
    // of PR_INTERNET_CPID, else 1252. Recipients and attachments use their message's.
    std::uint32_t CodePage() const;
    Kind ObjectKind() const;
    // The file and the object's place in it, as error messages name them.
    const std::u16string& FileName() const;
    const std::u16string& Where() const;

    // Typed conveniences over GetValue: none when absent, broken or of another type.
    std::optional<std::u16string> String(PropTag tag) const; // either string type
    std::optional<std::uint32_t> Long(PropTag tag) const;
    std::optional<bool> Bool(PropTag tag) const;
    std::optional<FileTime> Time(PropTag tag) const;
    std::optional<std::string> Binary(PropTag tag) const;

    // Internal: the parsed storage, for the reader.
    const detail::PropStorage& Storage() const { return *storage_; }

private:
    std::shared_ptr<const detail::PropStorage> storage_;
};

} // namespace Tessarix::Msg
