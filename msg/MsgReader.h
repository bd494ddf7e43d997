#pragma once
// The reader's internals, shared by msg/ sources only.
#include <map>
#include <memory>
#include <string>

#include "msg/CompoundFile.h"
#include "msg/MsgProps.h"

namespace Tessarix::Msg::detail {

inline constexpr char kPropertyStream[] = "__properties_version1.0";
inline constexpr char kNameIdStorage[] = "__nameid_version1.0";
inline constexpr char kAttachPrefix[] = "__attach_version1.0_#";
inline constexpr char kRecipPrefix[] = "__recip_version1.0_#";
inline constexpr PropTag kPR_ATTACH_DATA_OBJ = 0x3701000D;
// Outlook's class id of a message storage.
inline constexpr Guid kMessageClsid{0x00020D0B, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// "__substg1.0_TTTTPPPP" (and the "-NNNNNNNN" suffix of one value of a multi-valued property).
std::string ValueStreamName(PropTag tag);
std::string ValueStreamName(PropTag tag, std::uint32_t index);
// Header bytes of the property stream of each kind of object.
std::size_t HeaderSize(MsgProps::Kind kind);

// A log message is a format: text from a file keeps its per-cent signs doubled.
inline std::u16string LogLiteral(std::u16string_view text) {
    std::u16string out;
    for (const char16_t c : text) {
        out.push_back(c);
        if (c == u'%')
            out.push_back(u'%');
    }
    return out;
}

struct FileContext {
    std::shared_ptr<const Compound::Container> container;
    Compound::Dir root;
    std::shared_ptr<const NameMap> names;
};

struct Entry {
    std::uint32_t flags = 0;
    std::string field; // the 8-byte value field
};

struct PropStorage {
    std::shared_ptr<const FileContext> file;
    Compound::Dir dir;
    MsgProps::Kind kind = MsgProps::Kind::Message;
    std::u16string where; // "message", "attachment 1", "attachment 1, embedded message", ...
    std::map<PropTag, Entry> entries;
    // What a store answers for properties that a saved file may lack (an attachment's size,
    // method, number, ...): read where nothing is stored.
    std::map<PropTag, std::uint32_t> computed;
    std::uint32_t codePage = 1252;
};

} // namespace Tessarix::Msg::detail
