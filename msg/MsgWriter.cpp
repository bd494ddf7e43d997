#include "msg/MsgWriter.h"

#include <cstdio>
#include <stdexcept>

#include "core/MapiProp.h"
#include "msg/CompressedRtf.h"
#include "msg/MsgReader.h"

namespace Tessarix::Msg {

PropertyBag& PropertyBag::Set(PropTag tag, Value value, std::uint32_t flags) {
    if (PropType(tag) != value.Type())
        throw std::invalid_argument("PropertyBag::Set: the tag's type differs from the value's");
    items_.push_back({tag, std::move(value), flags, std::nullopt});
    return *this;
}

PropertyBag& PropertyBag::SetNamed(const NamedProperty& name, Value value, std::uint32_t flags) {
    const std::uint16_t type = value.Type();
    items_.push_back({MakeTag(0, type), std::move(value), flags, name});
    return *this;
}

bool PropertyBag::Has(PropTag tag) const {
    for (const auto& item : items_)
        if (!item.name && item.tag == tag)
            return true;
    return false;
}

namespace {

// Named properties get ids from 0x8000 in the order they are first met.
class NameAssigner {
public:
    std::uint16_t IdOf(const NamedProperty& name) {
        for (std::size_t i = 0; i < names_.size(); ++i)
            if (names_[i] == name)
                return static_cast<std::uint16_t>(0x8000 + i);
        if (names_.size() > 0x7FFE)
            throw std::length_error("MsgWriter: more named properties than ids");
        names_.push_back(name);
        return static_cast<std::uint16_t>(0x8000 + names_.size() - 1);
    }

    Cfb::Storage Storage() const {
        Cfb::Storage storage;
        std::string guids, entries, strings;
        std::vector<Guid> sets;
        std::map<std::string, std::string> buckets;
        for (std::size_t i = 0; i < names_.size(); ++i) {
            const NamedProperty& name = names_[i];
            std::uint32_t guidIndex;
            if (name.set == kPS_MAPI) {
                guidIndex = 1;
            } else if (name.set == kPS_PUBLIC_STRINGS) {
                guidIndex = 2;
            } else {
                std::size_t at = 0;
                while (at < sets.size() && !(sets[at] == name.set))
                    ++at;
                if (at == sets.size()) {
                    sets.push_back(name.set);
                    guids += GuidToBytes(name.set);
                }
                guidIndex = static_cast<std::uint32_t>(3 + at);
            }
            std::uint32_t first = name.number;
            std::uint32_t hashed = name.number;
            if (name.isString) {
                const std::string text = ToUtf16Le(name.name);
                first = static_cast<std::uint32_t>(strings.size());
                hashed = Rtf::Crc32(text);
                AppendLe32(strings, static_cast<std::uint32_t>(text.size()));
                strings += text;
                strings.append((4 - strings.size() % 4) % 4, '\0');
            }
            const std::uint32_t kind = name.isString ? 1 : 0;
            const std::uint32_t indexKind = (static_cast<std::uint32_t>(i) << 16) | (guidIndex << 1) | kind;
            AppendLe32(entries, first);
            AppendLe32(entries, indexKind);
            // The hash buckets that map names back to ids.
            const std::uint32_t bucket = (hashed ^ ((guidIndex << 1) | kind)) % 0x1F;
            char bucketName[32];
            std::snprintf(bucketName, sizeof bucketName, "__substg1.0_%04X0102",
                          static_cast<unsigned>(0x1000 + bucket));
            AppendLe32(buckets[bucketName], hashed);
            AppendLe32(buckets[bucketName], indexKind);
        }
        storage.streams["__substg1.0_00020102"] = guids;
        storage.streams["__substg1.0_00030102"] = entries;
        storage.streams["__substg1.0_00040102"] = strings;
        for (auto& [name, bytes] : buckets)
            storage.streams[name] = std::move(bytes);
        return storage;
    }

private:
    std::vector<NamedProperty> names_;
};

std::string Field(const std::string& bytes) {
    std::string field = bytes.substr(0, 8);
    field.resize(8, '\0');
    return field;
}

void WriteEntry(std::string& stream, PropTag tag, std::uint32_t flags, const std::string& field) {
    AppendLe32(stream, tag);
    AppendLe32(stream, flags);
    stream += field;
}

std::string SizeField(std::uint32_t size) {
    std::string field;
    AppendLe32(field, size);
    AppendLe32(field, 0);
    return field;
}

// Writes the property stream and the value streams of `bag` into `storage`.
void WriteProperties(Cfb::Storage& storage, const PropertyBag& bag, std::string header, NameAssigner& names) {
    std::string stream = std::move(header);
    for (const auto& item : bag.Items()) {
        const std::uint16_t type = item.value.Type();
        const PropTag tag = item.name ? MakeTag(names.IdOf(*item.name), type) : item.tag;
        const Value& value = item.value;
        switch (LayoutOf(type)) {
        case Layout::Fixed:
        case Layout::Unknown:
            WriteEntry(stream, tag, item.flags, Field(value.Bytes()));
            break;
        case Layout::Stream: {
            if (type == kPT_OBJECT) {
                WriteEntry(stream, tag, item.flags, SizeField(0xFFFFFFFFu));
                break;
            }
            const std::size_t terminator = type == kPT_UNICODE ? 2 : type == kPT_STRING8 ? 1 : 0;
            WriteEntry(stream, tag, item.flags,
                       SizeField(static_cast<std::uint32_t>(value.Bytes().size() + terminator)));
            storage.streams[detail::ValueStreamName(tag)] = value.Bytes();
            break;
        }
        case Layout::MultiFixed:
            WriteEntry(stream, tag, item.flags, SizeField(static_cast<std::uint32_t>(value.Bytes().size())));
            storage.streams[detail::ValueStreamName(tag)] = value.Bytes();
            break;
        case Layout::MultiStream: {
            const std::uint16_t single = type & ~kMV_FLAG;
            const std::size_t terminator = single == kPT_UNICODE ? 2 : single == kPT_STRING8 ? 1 : 0;
            std::string lengths;
            for (std::size_t i = 0; i < value.Items().size(); ++i) {
                std::string bytes = value.Items()[i] + std::string(terminator, '\0');
                AppendLe32(lengths, static_cast<std::uint32_t>(bytes.size()));
                if (single == kPT_BINARY)
                    AppendLe32(lengths, 0);
                storage.streams[detail::ValueStreamName(tag, static_cast<std::uint32_t>(i))] =
                    std::move(bytes);
            }
            WriteEntry(stream, tag, item.flags, SizeField(static_cast<std::uint32_t>(lengths.size())));
            storage.streams[detail::ValueStreamName(tag)] = std::move(lengths);
            break;
        }
        }
    }
    storage.streams[detail::kPropertyStream] = std::move(stream);
}

std::string MessageHeader(const MessageData& message, bool topLevel) {
    std::string header(8, '\0');
    const auto recipients = static_cast<std::uint32_t>(message.recipients.size());
    const auto attachments = static_cast<std::uint32_t>(message.attachments.size());
    AppendLe32(header, recipients);
    AppendLe32(header, attachments);
    AppendLe32(header, recipients);
    AppendLe32(header, attachments);
    if (topLevel)
        header.append(8, '\0');
    return header;
}

std::string StorageName(const char* prefix, std::size_t number) {
    char name[40];
    std::snprintf(name, sizeof name, "%s%08X", prefix, static_cast<unsigned>(number));
    return name;
}

Cfb::Storage WriteMessage(const MessageData& message, bool topLevel, NameAssigner& names) {
    Cfb::Storage storage;
    storage.clsid = detail::kMessageClsid;
    WriteProperties(storage, message.props, MessageHeader(message, topLevel), names);
    for (std::size_t i = 0; i < message.recipients.size(); ++i) {
        auto& sub = storage.storages[StorageName(detail::kRecipPrefix, i)];
        WriteProperties(sub, message.recipients[i].props, std::string(8, '\0'), names);
    }
    for (std::size_t i = 0; i < message.attachments.size(); ++i) {
        const AttachmentData& attachment = message.attachments[i];
        auto& sub = storage.storages[StorageName(detail::kAttachPrefix, i)];
        PropertyBag props = attachment.props;
        const bool hasObject = attachment.embedded || attachment.oleStorage;
        if (hasObject && !props.Has(Mapi::kPR_ATTACH_METHOD))
            props.Set(Mapi::kPR_ATTACH_METHOD,
                      Value::Long(attachment.embedded ? Mapi::kATTACH_EMBEDDED_MSG : Mapi::kATTACH_OLE));
        if (hasObject && !props.Has(detail::kPR_ATTACH_DATA_OBJ))
            props.Set(detail::kPR_ATTACH_DATA_OBJ, Value::Object());
        WriteProperties(sub, props, std::string(8, '\0'), names);
        const std::string object = detail::ValueStreamName(detail::kPR_ATTACH_DATA_OBJ);
        if (attachment.embedded)
            sub.storages[object] = WriteMessage(*attachment.embedded, false, names);
        else if (attachment.oleStorage)
            sub.storages[object] = *attachment.oleStorage;
    }
    return storage;
}

} // namespace

Cfb::Storage MsgWriter::Build(const MessageData& message) {
    NameAssigner names;
    Cfb::Storage root = WriteMessage(message, true, names);
    root.storages[detail::kNameIdStorage] = names.Storage();
    return root;
}

std::string MsgWriter::ToBytes(const MessageData& message) {
    return Cfb::ToBytes(Build(message));
}

void MsgWriter::WriteFile(const MessageData& message, const std::filesystem::path& path) {
    Cfb::WriteFile(Build(message), path);
}

} // namespace Tessarix::Msg
