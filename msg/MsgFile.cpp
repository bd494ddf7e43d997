#include "msg/MsgFile.h"

#include <algorithm>

#include "core/CodePage.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/Utf.h"
#include "msg/MsgReader.h"
#include "msg/StoreCodePage.h"

namespace Tessarix::Msg {

using detail::Entry;
using detail::FileContext;
using detail::PropStorage;

namespace {

std::optional<std::uint32_t> ParseHexSuffix(std::string_view name, std::string_view prefix) {
    if (name.size() != prefix.size() + 8 ||
        Compound::UpperAscii(name.substr(0, prefix.size())) != Compound::UpperAscii(prefix))
        return std::nullopt;
    std::uint32_t value = 0;
    for (const char c : name.substr(prefix.size())) {
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return std::nullopt;
        value = value * 16 + static_cast<std::uint32_t>(digit);
    }
    return value;
}

// The numbered child storages with `prefix`, by number.
std::vector<std::pair<std::uint32_t, std::string>> Numbered(const Compound::Dir& dir,
                                                            std::string_view prefix) {
    std::vector<std::pair<std::uint32_t, std::string>> found;
    for (const auto& name : dir.Names())
        if (const auto number = ParseHexSuffix(name, prefix))
            found.emplace_back(*number, name);
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end(),
                            [](const auto& a, const auto& b) { return a.first == b.first; }),
                found.end());
    return found;
}

std::shared_ptr<const NameMap> ReadNames(const Compound::Dir& root) {
    auto names = std::make_shared<NameMap>();
    Compound::Dir storage;
    if (root.OpenStorage(detail::kNameIdStorage, storage) != Compound::Dir::Status::Ok)
        return names; // without a map, named properties stay unnamed
    std::string guids, entries, strings;
    storage.ReadStream("__substg1.0_00020102", guids);
    storage.ReadStream("__substg1.0_00030102", entries);
    storage.ReadStream("__substg1.0_00040102", strings);
    for (std::size_t at = 0; at + 8 <= entries.size(); at += 8) {
        const std::uint32_t first = ReadLe32(entries.data() + at);
        const std::uint32_t indexKind = ReadLe32(entries.data() + at + 4);
        const bool isString = (indexKind & 1) != 0;
        const std::uint32_t guidIndex = (indexKind & 0xFFFF) >> 1;
        const std::uint32_t propIndex = indexKind >> 16;
        if (propIndex > 0x7FFE)
            continue;
        // An entry that points outside its streams names nothing; the others still count.
        Guid set;
        if (guidIndex == 1)
            set = kPS_MAPI;
        else if (guidIndex == 2)
            set = kPS_PUBLIC_STRINGS;
        else if (guidIndex >= 3 && (std::size_t{guidIndex} - 3) * 16 + 16 <= guids.size())
            set = GuidFromBytes(std::string_view(guids).substr((std::size_t{guidIndex} - 3) * 16, 16));
        else
            continue;
        NamedProperty name = NamedProperty::Number(set, first);
        if (isString) {
            if (std::size_t{first} + 4 > strings.size())
                continue;
            const std::uint32_t length = ReadLe32(strings.data() + first);
            if (length > strings.size() - first - 4)
                continue;
            name =
                NamedProperty::String(set, FromUtf16Le(std::string_view(strings).substr(first + 4, length)));
        }
        names->Add(static_cast<std::uint16_t>(0x8000 + propIndex), name);
    }
    return names;
}

std::optional<std::uint32_t> StoredLong(const std::map<PropTag, Entry>& entries, PropTag tag) {
    const auto found = entries.find(tag);
    if (found == entries.end())
        return std::nullopt;
    return ReadLe32(found->second.field.data());
}

// The code page of a message's 8-bit strings: its own PR_MESSAGE_CODEPAGE (0 means "the
// folder's", which a file does not have), else its locale's ANSI code page, else the message
// that holds it (same store), else the ANSI code page of its body's Internet code page, else 1252.
std::uint32_t ChooseCodePage(const std::map<PropTag, Entry>& entries, std::optional<std::uint32_t> parent) {
    const auto usable = [](std::optional<std::uint32_t> codePage) {
        return codePage && *codePage != 0 && CodePage::IsSupported(*codePage);
    };
    if (const auto own = StoredLong(entries, kPR_MESSAGE_CODEPAGE); usable(own))
        return *own;
    if (const auto locale = StoredLong(entries, kPR_MESSAGE_LOCALE_ID)) {
        if (const auto ansi = AnsiCodePageOfLocale(*locale); usable(ansi))
            return *ansi;
    }
    if (parent)
        return *parent;
    if (const auto internet = StoredLong(entries, Mapi::kPR_INTERNET_CPID)) {
        if (const auto ansi = AnsiCodePageOfInternetCodePage(*internet); usable(ansi))
            return *ansi;
    }
    return 1252;
}

} // namespace

struct MessageReader {
    static std::shared_ptr<PropStorage> ReadStorage(const std::shared_ptr<const FileContext>& file,
                                                    Compound::Dir dir, MsgProps::Kind kind,
                                                    std::u16string where) {
        const Compound::Container& container = *file->container;
        std::string bytes;
        switch (dir.ReadStream(detail::kPropertyStream, bytes)) {
        case Compound::Dir::Status::Ok:
            break;
        case Compound::Dir::Status::Missing:
        case Compound::Dir::Status::WrongKind:
            container.Fail(where + u": no property stream");
        case Compound::Dir::Status::Corrupt:
            container.Fail(where + u": the property stream is broken");
        }
        const std::size_t header = detail::HeaderSize(kind);
        if (bytes.size() < header)
            container.Fail(where + u": the property stream is shorter than its header");
        auto storage = std::make_shared<PropStorage>();
        storage->file = file;
        storage->dir = std::move(dir);
        storage->kind = kind;
        storage->where = std::move(where);
        // Whole 16-byte entries only: a cut-off last entry is left out.
        for (std::size_t at = header; at + 16 <= bytes.size(); at += 16) {
            const PropTag tag = ReadLe32(bytes.data() + at);
            Entry entry{ReadLe32(bytes.data() + at + 4), bytes.substr(at + 8, 8)};
            storage->entries.emplace(tag, std::move(entry)); // the first of a repeated tag stays
        }
        return storage;
    }

    // An attachment as a store shows it. One whose storage is broken costs that attachment only:
    // it is kept without properties (so it holds its place in the list), answers no data, and a
    // Warning names it.
    static std::shared_ptr<PropStorage> ReadAttachment(const std::shared_ptr<const FileContext>& file,
                                                       const Compound::Dir& parent, const std::string& name,
                                                       const std::u16string& where, std::uint32_t number) {
        std::shared_ptr<PropStorage> props;
        std::u16string damage;
        Compound::Dir sub;
        if (parent.OpenStorage(name, sub) != Compound::Dir::Status::Ok) {
            damage = u"its storage cannot be read";
        } else {
            try {
                props = ReadStorage(file, std::move(sub), MsgProps::Kind::Attachment, where);
                damage = ComputeAttachmentDefaults(*props);
            } catch (const MsgFileError& e) {
                damage = e.GetMessage().substr(file->container->Name().size() + 2);
            }
        }
        if (!damage.empty()) {
            Log().Warning(detail::LogLiteral(file->container->Name() + u": " + damage +
                                             u"; the attachment is left out"));
            props = std::make_shared<PropStorage>();
            props->file = file;
            props->kind = MsgProps::Kind::Attachment;
            props->where = where;
            props->computed = {{Mapi::kPR_ATTACH_METHOD, Mapi::kNO_ATTACHMENT}, {Mapi::kPR_ATTACH_SIZE, 0}};
        }
        props->computed.emplace(kPR_ATTACH_NUM, number);
        props->computed.emplace(Mapi::kPR_RENDERING_POSITION, 0xFFFFFFFFu);
        props->computed.emplace(kPR_ATTACH_FLAGS, 0);
        return props;
    }

    // The method and size that a store reports, from the data the attachment holds; the damage
    // found, or empty.
    static std::u16string ComputeAttachmentDefaults(PropStorage& props) {
        const auto stored = [&](PropTag tag) {
            return props.entries.count(tag) != 0;
        };
        const std::u16string& where = props.where;
        std::uint32_t method = Mapi::kNO_ATTACHMENT;
        std::uint64_t size = 0;
        const auto storedMethod =
            stored(Mapi::kPR_ATTACH_METHOD)
                ? std::optional(ReadLe32(props.entries.at(Mapi::kPR_ATTACH_METHOD).field.data()))
                : std::nullopt;
        if (storedMethod == Mapi::kATTACH_EMBEDDED_MSG && !stored(detail::kPR_ATTACH_DATA_OBJ))
            return where + u": the attached message is missing";
        if (stored(Mapi::kPR_ATTACH_DATA_BIN)) {
            method = Mapi::kATTACH_BY_VALUE;
            Compound::Stream data;
            const auto status =
                props.dir.OpenStream(detail::ValueStreamName(Mapi::kPR_ATTACH_DATA_BIN), data);
            if (status == Compound::Dir::Status::Corrupt)
                return where + u": its data stream is broken";
            size = data.Size();
        } else if (stored(detail::kPR_ATTACH_DATA_OBJ)) {
            Compound::Dir object;
            if (props.dir.OpenStorage(detail::ValueStreamName(detail::kPR_ATTACH_DATA_OBJ), object) !=
                Compound::Dir::Status::Ok)
                return where + u": its object storage cannot be read";
            // A message storage has a property stream; any other object is an OLE object.
            const bool message = object.Has(detail::kPropertyStream);
            method = message ? Mapi::kATTACH_EMBEDDED_MSG : Mapi::kATTACH_OLE;
            if (object.TotalSize(size) != Compound::Dir::Status::Ok)
                return where + u": its object storage is broken";
            if (storedMethod.value_or(method) == Mapi::kATTACH_EMBEDDED_MSG) {
                std::string header;
                if (object.ReadStream(detail::kPropertyStream, header) != Compound::Dir::Status::Ok ||
                    header.size() < detail::HeaderSize(MsgProps::Kind::EmbeddedMessage))
                    return where + u": the attached message cannot be read";
            }
        }
        props.computed.emplace(Mapi::kPR_ATTACH_METHOD, method);
        props.computed.emplace(Mapi::kPR_ATTACH_SIZE,
                               static_cast<std::uint32_t>(std::min<std::uint64_t>(size, 0xFFFFFFFFu)));
        return {};
    }

    static MessagePtr ReadMessage(const std::shared_ptr<const FileContext>& file, Compound::Dir dir,
                                  int depth, std::optional<std::uint32_t> parentCodePage,
                                  const std::u16string& where) {
        const auto kind = depth == 0 ? MsgProps::Kind::Message : MsgProps::Kind::EmbeddedMessage;
        auto storage = ReadStorage(file, dir, kind, where);
        storage->codePage = ChooseCodePage(storage->entries, parentCodePage);
        // A store knows the Internet code page of every body it holds; a file may not say it.
        std::optional<std::uint32_t> declared;
        if (Compound::Stream html; storage->dir.OpenStream(detail::ValueStreamName(Mapi::kPR_HTML), html) ==
                                   Compound::Dir::Status::Ok) {
            std::string head(1024, '\0');
            std::size_t read = 0;
            if (html.Read(head.data(), head.size(), read))
                declared = DeclaredCodePage(std::string_view(head).substr(0, read));
        }
        storage->computed.emplace(Mapi::kPR_INTERNET_CPID, declared.value_or(storage->codePage));
        const std::uint32_t codePage = storage->codePage;
        auto message = std::make_shared<MsgMessage>(file, std::make_shared<MsgProps>(storage), depth);
        const std::u16string prefix = depth == 0 ? std::u16string() : where + u", ";

        for (const auto& [number, name] : Numbered(dir, detail::kAttachPrefix)) {
            auto props = ReadAttachment(file, dir, name, prefix + Format(u"attachment %u", number), number);
            props->codePage = codePage;
            message->attachments_.push_back(
                std::make_shared<MsgAttachment>(file, std::make_shared<MsgProps>(props), number, depth));
        }
        for (const auto& [number, name] : Numbered(dir, detail::kRecipPrefix)) {
            const std::u16string here = prefix + Format(u"recipient %u", number);
            Compound::Dir sub;
            if (dir.OpenStorage(name, sub) != Compound::Dir::Status::Ok)
                file->container->Fail(here + u": its storage cannot be read");
            auto props = ReadStorage(file, std::move(sub), MsgProps::Kind::Recipient, here);
            props->codePage = codePage;
            message->recipients_.push_back(std::make_shared<MsgRecipient>(std::make_shared<MsgProps>(props)));
        }
        return message;
    }

    static MessagePtr ReadFile(std::shared_ptr<const Compound::Container> container) {
        auto file = std::make_shared<FileContext>();
        file->container = container;
        file->root = Compound::Dir(container);
        file->names = ReadNames(file->root);
        return ReadMessage(file, file->root, 0, std::nullopt, u"message");
    }
};

MsgMessage::MsgMessage(std::shared_ptr<const FileContext> file, std::shared_ptr<MsgProps> props, int depth)
    : file_(std::move(file)), props_(std::move(props)), depth_(depth) {}

MessagePtr MsgMessage::Open(const std::filesystem::path& path) {
    const std::u16string name = FromUtf8(path.string());
    return MessageReader::ReadFile(Compound::Container::OpenFile(path, name));
}

MessagePtr MsgMessage::OpenBytes(std::string bytes, const std::u16string& displayName) {
    return MessageReader::ReadFile(Compound::Container::OpenBytes(std::move(bytes), displayName));
}

const NameMap& MsgMessage::Names() const {
    return *file_->names;
}
const std::u16string& MsgMessage::FileName() const {
    return file_->container->Name();
}

Cfb::Storage MsgMessage::ToStorage() const {
    // The storage this message's properties were read from.
    Cfb::Storage tree = props_->Storage().dir.Copy();
    if (depth_ == 0)
        return tree;
    for (auto& [name, bytes] : tree.streams) {
        if (Compound::UpperAscii(name) != Compound::UpperAscii(detail::kPropertyStream))
            continue;
        // An attached message's header lacks the top level's last 8 reserved bytes.
        bytes.insert(detail::HeaderSize(MsgProps::Kind::EmbeddedMessage), 8, '\0');
    }
    Compound::Dir names;
    if (file_->root.OpenStorage(detail::kNameIdStorage, names) == Compound::Dir::Status::Ok) {
        tree.storages[detail::kNameIdStorage] = names.Copy();
    } else {
        auto& empty = tree.storages[detail::kNameIdStorage];
        for (const char* stream : {"__substg1.0_00020102", "__substg1.0_00030102", "__substg1.0_00040102"})
            empty.streams[stream];
    }
    if (tree.clsid == Guid{})
        tree.clsid = detail::kMessageClsid;
    return tree;
}

void MsgMessage::SaveAs(const std::filesystem::path& path) const {
    Cfb::WriteFile(ToStorage(), path);
}

MsgAttachment::MsgAttachment(std::shared_ptr<const FileContext> file, std::shared_ptr<MsgProps> props,
                             std::uint32_t number, int depth)
    : file_(std::move(file)), props_(std::move(props)), number_(number), depth_(depth) {}

std::uint32_t MsgAttachment::Method() const {
    return props_->Long(Mapi::kPR_ATTACH_METHOD).value_or(0xFFFFFFFFu);
}

MessagePtr MsgAttachment::EmbeddedMessage() const {
    if (embedded_)
        return embedded_;
    if (Method() != Mapi::kATTACH_EMBEDDED_MSG)
        return nullptr;
    const auto& storage = props_->Where();
    const Compound::Container& container = *file_->container;
    if (!props_->Has(detail::kPR_ATTACH_DATA_OBJ))
        container.Fail(storage + u": the attached message is missing");
    if (depth_ + 1 > kMaxEmbeddingDepth)
        container.Fail(storage + u": attached messages nest too deeply");
    // The attachment's own storage holds the message's storage.
    Compound::Dir dir;
    if (props_->Storage().dir.OpenStorage(detail::ValueStreamName(detail::kPR_ATTACH_DATA_OBJ), dir) !=
        Compound::Dir::Status::Ok)
        container.Fail(storage + u": the attached message cannot be read");
    embedded_ = MessageReader::ReadMessage(file_, std::move(dir), depth_ + 1, props_->CodePage(),
                                           storage + u", embedded message");
    return embedded_;
}

} // namespace Tessarix::Msg
