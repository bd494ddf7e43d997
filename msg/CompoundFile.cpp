#include "msg/CompoundFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "core/Utf.h"
#include "msg/MsgError.h"
#include "msg/MsgValue.h"

namespace Tessarix::Msg::Compound {
namespace {

constexpr std::uint32_t kMaxRegular = 0xFFFFFFFA; // larger sector numbers are markers
constexpr std::size_t kEntrySize = 128;
constexpr unsigned kMiniShift = 6;
// Compound files nest storages a few levels deep; a .msg nests one level per embedded message.
constexpr int kMaxDepth = 128;

[[noreturn]] void NotCompound() {
    throw std::runtime_error("not a compound file");
}

// The order of a storage's children in the file's red-black tree: shorter names first, then by
// the upper-cased UTF-16 units.
bool SortsBefore(const std::u16string& a, const std::u16string& b) {
    if (a.size() != b.size())
        return a.size() < b.size();
    return a < b;
}

std::u16string SortingKey(std::u16string name) {
    for (char16_t& c : name)
        if (c >= u'a' && c <= u'z')
            c = static_cast<char16_t>(c - u'a' + u'A');
    return name;
}

} // namespace

std::string UpperAscii(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return out;
}

Container::~Container() {
    if (fd_ >= 0)
        ::close(fd_);
}

std::shared_ptr<const Container> Container::OpenFile(const std::filesystem::path& path,
                                                     const std::u16string& displayName) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec))
        throw MsgFileError(displayName, u"no such file");
    auto container = std::make_shared<Container>();
    container->name_ = displayName;
    container->fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (container->fd_ < 0)
        throw MsgFileError(displayName, u"cannot be read (" + FromUtf8(std::strerror(errno)) + u")");
    const off_t size = ::lseek(container->fd_, 0, SEEK_END);
    container->size_ = size > 0 ? static_cast<std::uint64_t>(size) : 0;
    try {
        container->Parse();
    } catch (const std::exception&) {
        throw MsgFileError(displayName, u"not an Outlook item: no compound-file structure");
    }
    return container;
}

std::shared_ptr<const Container> Container::OpenBytes(std::string bytes, const std::u16string& displayName) {
    auto container = std::make_shared<Container>();
    container->name_ = displayName;
    container->size_ = bytes.size();
    container->bytes_ = std::move(bytes);
    try {
        container->Parse();
    } catch (const std::exception&) {
        throw MsgFileError(displayName, u"not an Outlook item: no compound-file structure");
    }
    return container;
}

void Container::Fail(std::u16string_view what) const {
    throw MsgFileError(name_, what);
}

bool Container::ReadRaw(std::uint64_t offset, char* out, std::size_t count) const {
    if (offset > size_ || count > size_ - offset)
        return false;
    if (fd_ < 0) {
        std::memcpy(out, bytes_.data() + offset, count);
        return true;
    }
    while (count > 0) {
        const ssize_t got = ::pread(fd_, out, count, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        out += got;
        offset += static_cast<std::uint64_t>(got);
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

// The first `needed` sectors of the chain from `start` in `table`. A chain cannot be longer than
// the table, so a loop ends as a broken chain.
bool Container::Chain(std::uint32_t start, std::size_t needed, const std::vector<std::uint32_t>& table,
                      std::vector<std::uint32_t>& sectors) const {
    sectors.clear();
    if (needed > table.size())
        return false;
    sectors.reserve(needed);
    std::uint32_t at = start;
    while (sectors.size() < needed) {
        if (at >= table.size())
            return false;
        sectors.push_back(at);
        at = table[at];
    }
    return true;
}

void Container::Parse() {
    char header[512];
    if (!ReadRaw(0, header, sizeof header) || std::memcmp(header, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) != 0)
        NotCompound();
    const std::uint16_t major = ReadLe16(header + 0x1A);
    sectorShift_ = ReadLe16(header + 0x1E);
    if ((sectorShift_ != 9 && sectorShift_ != 12) || ReadLe16(header + 0x20) != kMiniShift ||
        (major != 3 && major != 4))
        NotCompound();
    const std::uint64_t sectorSize = std::uint64_t{1} << sectorShift_;
    // Sectors follow the header, which fills the first sector.
    const std::uint64_t sectorsInFile =
        size_ > sectorSize ? (size_ - sectorSize + sectorSize - 1) / sectorSize : 0;
    const std::uint32_t fatSectors = ReadLe32(header + 0x2C);
    const std::uint32_t firstDir = ReadLe32(header + 0x30);
    cutoff_ = ReadLe32(header + 0x38);
    const std::uint32_t firstMiniFat = ReadLe32(header + 0x3C);
    const std::uint32_t miniFatSectors = ReadLe32(header + 0x40);
    std::uint32_t difat = ReadLe32(header + 0x44);
    const std::uint32_t difatSectors = ReadLe32(header + 0x48);
    if (fatSectors > sectorsInFile || miniFatSectors > sectorsInFile || difatSectors > sectorsInFile)
        NotCompound();

    // The FAT's own sectors: 109 in the header, the rest in the DIFAT chain.
    std::vector<std::uint32_t> fatAt;
    for (std::uint32_t i = 0; i < 109 && fatAt.size() < fatSectors; ++i)
        fatAt.push_back(ReadLe32(header + 0x4C + 4 * i));
    const std::size_t perDifat = sectorSize / 4 - 1;
    std::string block(sectorSize, '\0');
    for (std::uint32_t n = 0; fatAt.size() < fatSectors; ++n) {
        if (n >= difatSectors || difat > kMaxRegular ||
            !ReadRaw((std::uint64_t{difat} + 1) << sectorShift_, block.data(), sectorSize))
            NotCompound();
        for (std::size_t i = 0; i < perDifat && fatAt.size() < fatSectors; ++i)
            fatAt.push_back(ReadLe32(block.data() + 4 * i));
        difat = ReadLe32(block.data() + 4 * perDifat);
    }
    fat_.resize(static_cast<std::size_t>(fatSectors) * (sectorSize / 4));
    for (std::size_t i = 0; i < fatAt.size(); ++i) {
        if (fatAt[i] > kMaxRegular ||
            !ReadRaw((std::uint64_t{fatAt[i]} + 1) << sectorShift_, block.data(), sectorSize))
            NotCompound();
        for (std::size_t j = 0; j < sectorSize / 4; ++j)
            fat_[i * (sectorSize / 4) + j] = ReadLe32(block.data() + 4 * j);
    }

    // The directory: a chain of its own length, at most as many sectors as the file has.
    std::vector<std::uint32_t> sectors;
    std::string directory;
    for (std::uint32_t at = firstDir; at < fat_.size() && at <= kMaxRegular;) {
        if (directory.size() / sectorSize >= sectorsInFile)
            NotCompound(); // a loop
        directory.resize(directory.size() + sectorSize);
        if (!ReadRaw((std::uint64_t{at} + 1) << sectorShift_,
                     directory.data() + directory.size() - sectorSize, sectorSize))
            NotCompound();
        at = fat_[at];
    }
    if (directory.size() < kEntrySize)
        NotCompound();
    entries_.resize(directory.size() / kEntrySize);
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const char* raw = directory.data() + i * kEntrySize;
        Entry& entry = entries_[i];
        entry.type = static_cast<std::uint8_t>(raw[0x42]);
        std::uint16_t nameBytes = ReadLe16(raw + 0x40);
        if (nameBytes > 64) {
            entry.type = 0; // a broken entry: left out
            nameBytes = 0;
        }
        std::u16string name;
        for (std::size_t c = 0; c + 2 <= nameBytes; c += 2)
            name.push_back(static_cast<char16_t>(ReadLe16(raw + c)));
        while (!name.empty() && name.back() == u'\0')
            name.pop_back();
        entry.name = ToUtf8(name);
        entry.left = ReadLe32(raw + 0x44);
        entry.right = ReadLe32(raw + 0x48);
        entry.child = ReadLe32(raw + 0x4C);
        entry.clsid = GuidFromBytes(std::string_view(raw + 0x50, 16));
        entry.start = ReadLe32(raw + 0x74);
        entry.size = major == 3
                         ? ReadLe32(raw + 0x78)
                         : ReadLe32(raw + 0x78) | static_cast<std::uint64_t>(ReadLe32(raw + 0x7C)) << 32;
    }
    if (entries_[0].type != 5)
        NotCompound();

    // The mini FAT and the mini stream (the root's stream). When they cannot be read, the small
    // streams are broken, and the rest of the file still reads.
    const std::uint64_t miniBytes = std::uint64_t{miniFatSectors} << sectorShift_;
    if (Chain(firstMiniFat, miniFatSectors, fat_, sectors)) {
        miniFat_.resize(miniBytes / 4);
        bool ok = true;
        for (std::size_t i = 0; i < sectors.size() && ok; ++i) {
            ok = ReadRaw((std::uint64_t{sectors[i]} + 1) << sectorShift_, block.data(), sectorSize);
            for (std::size_t j = 0; ok && j < sectorSize / 4; ++j)
                miniFat_[i * (sectorSize / 4) + j] = ReadLe32(block.data() + 4 * j);
        }
        const Entry& root = entries_[0];
        std::vector<std::uint64_t> offsets;
        if (ok && root.size <= size_ && Locate(root, offsets)) {
            miniStream_.resize(root.size);
            miniStreamRead_ = ReadStreamAt(root, offsets, 0, miniStream_.data(), miniStream_.size());
        }
        if (!miniStreamRead_) {
            miniFat_.clear();
            miniStream_.clear();
        }
    }
    ReadTree();
}

// Every storage's children, from the red-black trees below it, walked depth first (left, right,
// child). An entry is taken where it is met first; met again (a cycle, or an entry shared by two
// trees) it is left out, and so is whatever hangs from the root's own sibling links, which a
// well-formed file leaves empty.
void Container::ReadTree() {
    std::vector<char> used(entries_.size(), 0);
    struct Pending {
        std::uint32_t storage; // kNone: belongs nowhere
        std::uint32_t node;
    };
    std::vector<Pending> stack{{kNone, 0}};
    while (!stack.empty()) {
        const Pending at = stack.back();
        stack.pop_back();
        if (at.node >= entries_.size() || used[at.node])
            continue;
        used[at.node] = 1;
        const Entry& entry = entries_[at.node];
        if (at.node != 0) {
            if (entry.type != 1 && entry.type != 2)
                continue; // not a storage or stream: it and what hangs below it are left out
            if (at.storage != kNone)
                entries_[at.storage].children.push_back(at.node);
        }
        if (entry.IsStorage())
            stack.push_back({at.node, entry.child});
        stack.push_back({at.storage, entry.right});
        stack.push_back({at.storage, entry.left});
    }
    for (Entry& storage : entries_) {
        if (storage.children.empty())
            continue;
        std::vector<std::pair<std::u16string, std::uint32_t>> sorted;
        for (const std::uint32_t child : storage.children)
            sorted.emplace_back(SortingKey(FromUtf8(entries_[child].name)), child);
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const auto& a, const auto& b) { return SortsBefore(a.first, b.first); });
        storage.children.clear();
        for (const auto& [key, child] : sorted) {
            storage.children.push_back(child);
            storage.byName.emplace(UpperAscii(entries_[child].name), child);
        }
    }
}

bool Container::Locate(const Entry& entry, std::vector<std::uint64_t>& offsets) const {
    offsets.clear();
    if (entry.size == 0)
        return true;
    const bool mini = entry.type == 2 && entry.size < cutoff_;
    const unsigned shift = mini ? kMiniShift : sectorShift_;
    const std::size_t needed =
        static_cast<std::size_t>((entry.size + (std::uint64_t{1} << shift) - 1) >> shift);
    std::vector<std::uint32_t> sectors;
    if (mini && !miniStreamRead_)
        return false;
    if (!Chain(entry.start, needed, mini ? miniFat_ : fat_, sectors))
        return false;
    offsets.reserve(sectors.size());
    for (const std::uint32_t sector : sectors) {
        // A mini sector's offset is into the mini stream, a sector's into the file.
        const std::uint64_t offset =
            mini ? std::uint64_t{sector} << kMiniShift : (std::uint64_t{sector} + 1) << shift;
        if (offset >= (mini ? miniStream_.size() : size_))
            return false;
        offsets.push_back(offset);
    }
    return true;
}

bool Container::ReadStreamAt(const Entry& entry, const std::vector<std::uint64_t>& offsets,
                             std::uint64_t offset, char* out, std::size_t count) const {
    if (offset > entry.size || count > entry.size - offset)
        return false;
    const bool mini = entry.type == 2 && entry.size < cutoff_;
    const unsigned shift = mini ? kMiniShift : sectorShift_;
    const std::uint64_t unit = std::uint64_t{1} << shift;
    while (count > 0) {
        // One read for the run of sectors that lie one after the other in the file.
        std::size_t index = static_cast<std::size_t>(offset >> shift);
        const std::uint64_t from = offsets[index] + (offset & (unit - 1));
        std::uint64_t run = unit - (offset & (unit - 1));
        while (run < count && index + 1 < offsets.size() && offsets[index + 1] == offsets[index] + unit) {
            ++index;
            run += unit;
        }
        const std::size_t take = static_cast<std::size_t>(std::min<std::uint64_t>(run, count));
        if (mini) {
            if (from > miniStream_.size() || take > miniStream_.size() - from)
                return false;
            std::memcpy(out, miniStream_.data() + from, take);
        } else if (!ReadRaw(from, out, take)) {
            return false;
        }
        out += take;
        offset += take;
        count -= take;
    }
    return true;
}

bool Stream::Read(char* buffer, std::size_t count, std::size_t& read) {
    read = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - position_));
    if (read == 0)
        return true;
    if (!container_->ReadStreamAt(container_->EntryAt(entry_), offsets_, position_, buffer, read)) {
        read = 0;
        return false;
    }
    position_ += read;
    return true;
}

std::vector<std::string> Dir::Names() const {
    std::vector<std::string> names;
    if (!container_)
        return names;
    for (const std::uint32_t child : Self().children)
        names.push_back(container_->EntryAt(child).name);
    return names;
}

int Dir::IndexOf(std::string_view name) const {
    if (!container_)
        return -1;
    const auto& byName = Self().byName;
    const auto found = byName.find(UpperAscii(name));
    return found == byName.end() ? -1 : static_cast<int>(found->second);
}

bool Dir::Has(std::string_view name) const {
    return IndexOf(name) >= 0;
}

Dir::Status Dir::OpenStorage(std::string_view name, Dir& storage) const {
    const int index = IndexOf(name);
    if (index < 0)
        return Status::Missing;
    if (!container_->EntryAt(static_cast<std::uint32_t>(index)).IsStorage())
        return Status::WrongKind;
    storage = Dir(container_, static_cast<std::uint32_t>(index));
    return Status::Ok;
}

Dir::Status Dir::ChildStream(std::string_view name, Stream& stream) const {
    const int index = IndexOf(name);
    if (index < 0)
        return Status::Missing;
    const Container::Entry& entry = container_->EntryAt(static_cast<std::uint32_t>(index));
    if (entry.IsStorage())
        return Status::WrongKind;
    if (entry.size > container_->Size())
        return Status::Corrupt;
    Stream opened;
    if (!container_->Locate(entry, opened.offsets_))
        return Status::Corrupt;
    opened.container_ = container_;
    opened.entry_ = static_cast<std::uint32_t>(index);
    opened.size_ = entry.size;
    stream = std::move(opened);
    return Status::Ok;
}

Dir::Status Dir::OpenStream(std::string_view name, Stream& stream) const {
    return ChildStream(name, stream);
}

Dir::Status Dir::ReadStream(std::string_view name, std::string& bytes) const {
    Stream stream;
    if (const Status status = ChildStream(name, stream); status != Status::Ok)
        return status;
    std::string out(static_cast<std::size_t>(stream.Size()), '\0');
    std::size_t read = 0;
    if (!stream.Read(out.data(), out.size(), read) || read != out.size())
        return Status::Corrupt;
    bytes = std::move(out);
    return Status::Ok;
}

Dir::Status Dir::TotalSize(std::uint64_t& size) const {
    size = 0;
    if (!container_)
        return Status::Ok;
    std::uint64_t budget = container_->Size();
    return AddSizes(size, budget, 0);
}

Dir::Status Dir::AddSizes(std::uint64_t& size, std::uint64_t& budget, int depth) const {
    if (depth > kMaxDepth)
        return Status::Corrupt;
    for (const std::uint32_t child : Self().children) {
        const Container::Entry& entry = container_->EntryAt(child);
        if (entry.IsStorage()) {
            if (const Status status = Dir(container_, child).AddSizes(size, budget, depth + 1);
                status != Status::Ok)
                return status;
            continue;
        }
        if (entry.size > budget)
            return Status::Corrupt;
        budget -= entry.size;
        size += entry.size;
    }
    return Status::Ok;
}

Cfb::Storage Dir::Copy() const {
    Cfb::Storage out;
    if (!container_)
        return out;
    std::uint64_t budget = container_->Size();
    CopyInto(out, budget, 0);
    return out;
}

void Dir::CopyInto(Cfb::Storage& out, std::uint64_t& budget, int depth) const {
    if (depth > kMaxDepth)
        container_->Fail(u"storages nested too deeply");
    out.clsid = Self().clsid;
    for (const std::uint32_t child : Self().children) {
        const Container::Entry& entry = container_->EntryAt(child);
        if (entry.IsStorage()) {
            Dir(container_, child).CopyInto(out.storages[entry.name], budget, depth + 1);
            continue;
        }
        const auto broken = [&] {
            container_->Fail(u"stream \"" + FromUtf8(entry.name) + u"\" is broken or larger than the file");
        };
        std::vector<std::uint64_t> offsets;
        if (entry.size > budget || !container_->Locate(entry, offsets))
            broken(); // before anything of that size is allocated
        std::string bytes(static_cast<std::size_t>(entry.size), '\0');
        if (!container_->ReadStreamAt(entry, offsets, 0, bytes.data(), bytes.size()))
            broken();
        budget -= bytes.size();
        out.streams[entry.name] = std::move(bytes);
    }
}

} // namespace Tessarix::Msg::Compound
