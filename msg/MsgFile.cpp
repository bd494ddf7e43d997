#include "msg/MsgFile.h"

#include <algorithm>

#include "core/CodePage.h"
#include "core/Format.h"
#include "core/Utf.h"
#include "msg/MsgReader.h"

namespace Tessarix::Msg {

using detail::Entry;
using detail::FileContext;
using detail::PropStorage;

namespace {

std::optional<std::uint32_t> ParseHexSuffix(std::string_view name, std::string_view prefix) {
    if (name.size() != prefix.size() + 8 ||
        Gsf::UpperAscii(name.substr(0, prefix.size())) != Gsf::UpperAscii(prefix))
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
std::vector<std::pair<std::uint32_t, std::string>> Numbered(const Gsf::Dir& dir, std::string_view prefix) {
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

std::shared_ptr<const NameMap> ReadNames(const Gsf::Dir& root) {
    auto names = std::make_shared<NameMap>();
    Gsf::Dir storage;
    if (root.OpenStorage(detail::kNameIdStorage, storage) != Gsf::Dir::Status::Ok)
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

std::uint32_t ChooseCodePage(const std::map<PropTag, Entry>& entries, std::uint32_t fallback) {
    for (const PropTag tag : {kPR_MESSAGE_CODEPAGE, Mapi::kPR_INTERNET_CPID}) {
        const auto found = entries.find(tag);
        if (found == entries.end())
            continue;
        const std::uint32_t codePage = ReadLe32(found->second.field.data());
        if (CodePage::IsSupported(codePage))
            return codePage;
    }
    return fallback;
}

} // namespace

struct MessageReader {
    static std::shared_ptr<PropStorage> ReadStorage(const std::shared_ptr<const FileContext>& file,
                                                    Gsf::Dir dir, MsgProps::Kind kind, std::u16string where) {
        const Gsf::Container& container = *file->container;
        std::string bytes;
        switch (dir.ReadStream(detail::kPropertyStream, bytes)) {
        case Gsf::Dir::Status::Ok:
            break;
        case Gsf::Dir::Status::Missing:
        case Gsf::Dir::Status::WrongKind:
            container.Fail(where + u": no property stream");
        case Gsf::Dir::Status::Corrupt:
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

    static MessagePtr ReadMessage(const std::shared_ptr<const FileContext>& file, Gsf::Dir dir, int depth,
                                  std::uint32_t parentCodePage, const std::u16string& where) {
        const auto kind = depth == 0 ? MsgProps::Kind::Message : MsgProps::Kind::EmbeddedMessage;
        auto storage = ReadStorage(file, dir, kind, where);
        storage->codePage = ChooseCodePage(storage->entries, parentCodePage);
        const std::uint32_t codePage = storage->codePage;
        auto message = std::make_shared<MsgMessage>(file, std::make_shared<MsgProps>(storage), depth);
        const std::u16string prefix = depth == 0 ? std::u16string() : where + u", ";

        for (const auto& [number, name] : Numbered(dir, detail::kAttachPrefix)) {
            const std::u16string here = prefix + Format(u"attachment %u", number);
            Gsf::Dir sub;
            if (dir.OpenStorage(name, sub) != Gsf::Dir::Status::Ok)
                file->container->Fail(here + u": its storage cannot be read");
            auto props = ReadStorage(file, std::move(sub), MsgProps::Kind::Attachment, here);
            props->codePage = codePage;
            message->attachments_.push_back(
                std::make_shared<MsgAttachment>(file, std::make_shared<MsgProps>(props), number, depth));
        }
        for (const auto& [number, name] : Numbered(dir, detail::kRecipPrefix)) {
            const std::u16string here = prefix + Format(u"recipient %u", number);
            Gsf::Dir sub;
            if (dir.OpenStorage(name, sub) != Gsf::Dir::Status::Ok)
                file->container->Fail(here + u": its storage cannot be read");
            auto props = ReadStorage(file, std::move(sub), MsgProps::Kind::Recipient, here);
            props->codePage = codePage;
            message->recipients_.push_back(std::make_shared<MsgRecipient>(std::make_shared<MsgProps>(props)));
        }
        return message;
    }

    static MessagePtr ReadFile(std::shared_ptr<const Gsf::Container> container) {
        auto file = std::make_shared<FileContext>();
        file->container = container;
        file->root = Gsf::Dir(container, container->Root());
        file->names = ReadNames(file->root);
        return ReadMessage(file, file->root, 0, 1252, u"message");
    }
};

MsgMessage::MsgMessage(std::shared_ptr<const FileContext> file, std::shared_ptr<MsgProps> props, int depth)
    : file_(std::move(file)), props_(std::move(props)), depth_(depth) {}

MessagePtr MsgMessage::Open(const std::filesystem::path& path) {
    const std::u16string name = FromUtf8(path.string());
    return MessageReader::ReadFile(Gsf::Container::OpenFile(path, name));
}

MessagePtr MsgMessage::OpenBytes(std::string bytes, const std::u16string& displayName) {
    return MessageReader::ReadFile(Gsf::Container::OpenBytes(std::move(bytes), displayName));
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
        if (Gsf::UpperAscii(name) != Gsf::UpperAscii(detail::kPropertyStream))
            continue;
        // An attached message's header lacks the top level's last 8 reserved bytes.
        bytes.insert(detail::HeaderSize(MsgProps::Kind::EmbeddedMessage), 8, '\0');
    }
    Gsf::Dir names;
    if (file_->root.OpenStorage(detail::kNameIdStorage, names) == Gsf::Dir::Status::Ok) {
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
    const Gsf::Container& container = *file_->container;
    if (!props_->Has(detail::kPR_ATTACH_DATA_OBJ))
        container.Fail(storage + u": the attached message is missing");
    if (depth_ + 1 > kMaxEmbeddingDepth)
        container.Fail(storage + u": attached messages nest too deeply");
    // The attachment's own storage holds the message's storage.
    Gsf::Dir dir;
    if (props_->Storage().dir.OpenStorage(detail::ValueStreamName(detail::kPR_ATTACH_DATA_OBJ), dir) !=
        Gsf::Dir::Status::Ok)
        container.Fail(storage + u": the attached message cannot be read");
    embedded_ = MessageReader::ReadMessage(file_, std::move(dir), depth_ + 1, props_->CodePage(),
                                           storage + u", embedded message");
    return embedded_;
}

} // namespace Tessarix::Msg
