#pragma once
// Reading compound files (the container of a .msg file). Private to msg/.
//
// The file's allocation tables and directory are read once at opening; a stream's bytes are read
// when asked for, with one read per run of adjacent sectors. The mini stream, where every stream
// under the cutoff (4096 bytes) lives, is read whole at opening: a .msg keeps its property streams
// there, and all of them are read at opening anyway.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "msg/Cfb.h"

namespace Tessarix::Msg::Compound {

// One open compound file.
class Container {
public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;
    struct Entry {
        std::string name; // UTF-8
        std::uint8_t type = 0;
        std::uint32_t left = kNone, right = kNone, child = kNone; // the red-black tree's links
        Guid clsid;
        std::uint32_t start = 0;
        std::uint64_t size = 0;
        // A storage's children in the file's sort order (length, then upper case), and an index
        // of their upper-cased names; the first of equal names wins.
        std::vector<std::uint32_t> children;
        std::unordered_map<std::string, std::uint32_t> byName;
        bool IsStorage() const { return type == 1 || type == 5; }
    };

    // Throws MsgFileError naming `displayName` when the bytes are not a compound file.
    static std::shared_ptr<const Container> OpenFile(const std::filesystem::path& path,
                                                     const std::u16string& displayName);
    static std::shared_ptr<const Container> OpenBytes(std::string bytes, const std::u16string& displayName);
    ~Container();
    Container(const Container&) = delete;
    Container& operator=(const Container&) = delete;

    const std::u16string& Name() const { return name_; }
    // The file's size: no stream of it can hold more.
    std::uint64_t Size() const { return size_; }
    [[noreturn]] void Fail(std::u16string_view what) const;

    const Entry& EntryAt(std::uint32_t index) const { return entries_[index]; }
    // Where the bytes of stream `entry` lie: the file offsets of its sectors (or mini sectors), as
    // many as its size needs. False when its chain is broken or leaves the file.
    bool Locate(const Entry& entry, std::vector<std::uint64_t>& offsets) const;
    // `count` bytes at `offset` of the stream whose sectors `offsets` locates.
    bool ReadStreamAt(const Entry& entry, const std::vector<std::uint64_t>& offsets, std::uint64_t offset,
                      char* out, std::size_t count) const;

    Container() = default; // built by the Open functions

private:
    void Parse(); // throws std::runtime_error on anything that is not a compound file
    bool ReadRaw(std::uint64_t offset, char* out, std::size_t count) const;
    bool Chain(std::uint32_t start, std::size_t needed, const std::vector<std::uint32_t>& table,
               std::vector<std::uint32_t>& sectors) const;
    void ReadTree();

    std::u16string name_;
    std::uint64_t size_ = 0;
    int fd_ = -1;       // a file's descriptor, or
    std::string bytes_; // the bytes themselves
    unsigned sectorShift_ = 9;
    std::uint32_t cutoff_ = 4096;
    std::vector<std::uint32_t> fat_;
    std::vector<std::uint32_t> miniFat_;
    std::string miniStream_;
    bool miniStreamRead_ = false;
    std::vector<Entry> entries_;
};

// One stream of an open container, read in place: its size is known without reading it, and its
// bytes are read once, by whoever asks for them.
class Stream {
public:
    Stream() = default;
    std::uint64_t Size() const { return size_; }
    // Up to `count` bytes from the current position; false when the stream is broken there.
    bool Read(char* buffer, std::size_t count, std::size_t& read);

private:
    friend class Dir;
    std::shared_ptr<const Container> container_; // keeps the file open
    std::uint32_t entry_ = 0;
    std::vector<std::uint64_t> offsets_;
    std::uint64_t size_ = 0;
    std::uint64_t position_ = 0;
};

// A storage inside an open container.
class Dir {
public:
    enum class Status { Ok, Missing, WrongKind, Corrupt };

    Dir() = default;
    // The container's root storage.
    explicit Dir(std::shared_ptr<const Container> container) : Dir(std::move(container), 0) {}

    const std::shared_ptr<const Container>& Owner() const { return container_; }
    // Child names as stored, in the file's order.
    std::vector<std::string> Names() const;
    // Names compare without regard to ASCII case, as compound files do.
    bool Has(std::string_view name) const;
    Status OpenStorage(std::string_view name, Dir& storage) const;
    // The whole stream; a stream larger than the file is Corrupt.
    Status ReadStream(std::string_view name, std::string& bytes) const;
    // The stream for reading in place; a stream larger than the file is Corrupt.
    Status OpenStream(std::string_view name, Stream& stream) const;
    // The bytes of every stream below this storage, as a store counts a stored object's size,
    // without reading them. Corrupt when an entry is broken.
    Status TotalSize(std::uint64_t& size) const;
    // Copies this storage with everything below it. Throws MsgFileError when a stream of it is
    // broken or the copy would hold more bytes than the file.
    Cfb::Storage Copy() const;

private:
    Dir(std::shared_ptr<const Container> container, std::uint32_t entry)
        : container_(std::move(container)), entry_(entry) {}
    const Container::Entry& Self() const { return container_->EntryAt(entry_); }
    int IndexOf(std::string_view name) const;
    Status ChildStream(std::string_view name, Stream& stream) const;
    void CopyInto(Cfb::Storage& out, std::uint64_t& budget, int depth) const;
    Status AddSizes(std::uint64_t& size, std::uint64_t& budget, int depth) const;

    std::shared_ptr<const Container> container_;
    std::uint32_t entry_ = 0;
};

std::string UpperAscii(std::string_view text);

} // namespace Tessarix::Msg::Compound
