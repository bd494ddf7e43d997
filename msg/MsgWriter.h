#pragma once
// Writes saved Outlook items (.msg files): tests build their fixtures with it, and an attached
// message is saved as a file of its own through the same tree format (msg/Cfb.h).
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "msg/Cfb.h"
#include "msg/MsgValue.h"
#include "msg/NamedProperties.h"

namespace Tessarix::Msg {

inline constexpr std::uint32_t kPropReadable = 2;
inline constexpr std::uint32_t kPropWritable = 4;

// Properties in the order they are written.
class PropertyBag {
public:
    struct Item {
        PropTag tag = 0; // the id is assigned from the name-id map for named properties
        Value value;
        std::uint32_t flags = kPropReadable | kPropWritable;
        std::optional<NamedProperty> name;
    };

    // The tag's type must be the value's (std::invalid_argument otherwise).
    PropertyBag& Set(PropTag tag, Value value, std::uint32_t flags = kPropReadable | kPropWritable);
    PropertyBag& SetNamed(const NamedProperty& name, Value value,
                          std::uint32_t flags = kPropReadable | kPropWritable);
    const std::vector<Item>& Items() const { return items_; }
    bool Has(PropTag tag) const;

private:
    std::vector<Item> items_;
};

struct MessageData;

struct RecipientData {
    PropertyBag props;
};

struct AttachmentData {
    PropertyBag props;
    // An attached message (PR_ATTACH_METHOD 5 is added when the bag has no method).
    std::shared_ptr<MessageData> embedded;
    // An OLE attachment's storage (method 6 likewise).
    std::optional<Cfb::Storage> oleStorage;
};

struct MessageData {
    PropertyBag props;
    std::vector<RecipientData> recipients;
    std::vector<AttachmentData> attachments;
};

class MsgWriter {
public:
    // The compound-file tree of the item: property streams, value streams, recipient and
    // attachment storages, attached messages, and the name-id map of every named property used.
    static Cfb::Storage Build(const MessageData& message);
    static std::string ToBytes(const MessageData& message);
    static void WriteFile(const MessageData& message, const std::filesystem::path& path);
};

} // namespace Tessarix::Msg
