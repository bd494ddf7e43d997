#pragma once
// Reading compound files through libgsf. Private to msg/: no libgsf type leaves this folder.
#include <gsf/gsf.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "msg/Cfb.h"

namespace Tessarix::Msg::Gsf {

// gsf_init once, and libgsf's own warnings about broken files routed to the log (the reader
// reports those files with its own clear error).
void Init();

struct Unref {
    void operator()(void* object) const {
        if (object)
            g_object_unref(object);
    }
};
template <typename T> using Owned = std::unique_ptr<T, Unref>;
// A storage handle that several reader objects keep.
using InfileRef = std::shared_ptr<GsfInfile>;
InfileRef Share(GsfInfile* adopted);

// One open compound file.
class Container {
public:
    // Throws MsgFileError naming `displayName` when the bytes are not a compound file.
    static std::shared_ptr<const Container> OpenFile(const std::filesystem::path& path,
                                                     const std::u16string& displayName);
    static std::shared_ptr<const Container> OpenBytes(std::string bytes, const std::u16string& displayName);

    const std::u16string& Name() const { return name_; }
    // The file's size: no stream of it can hold more.
    std::uint64_t Size() const { return size_; }
    const InfileRef& Root() const { return root_; }
    [[noreturn]] void Fail(std::u16string_view what) const;

private:
    std::u16string name_;
    std::uint64_t size_ = 0;
    std::shared_ptr<const std::string> bytes_; // the memory a memory input reads
    InfileRef root_;
};

// One stream of an open container, read in place: its size is known without reading it, and its
// bytes are read once, by whoever asks for them.
class Stream {
public:
    Stream() = default;
    Stream(std::shared_ptr<const Container> container, Owned<GsfInput> input);
    std::uint64_t Size() const { return size_; }
    // Up to `count` bytes from the current position; false when the stream is broken there.
    bool Read(char* buffer, std::size_t count, std::size_t& read);

private:
    std::shared_ptr<const Container> container_; // keeps the file open
    Owned<GsfInput> input_;
    std::uint64_t size_ = 0;
    std::uint64_t position_ = 0;
};

// A storage inside an open container.
class Dir {
public:
    enum class Status { Ok, Missing, WrongKind, Corrupt };

    Dir() = default;
    Dir(std::shared_ptr<const Container> container, InfileRef infile);

    const std::shared_ptr<const Container>& Owner() const { return container_; }
    // Child names as stored, in directory order.
    const std::vector<std::string>& Names() const { return names_; }
    // Names compare without regard to ASCII case, as compound files do.
    bool Has(std::string_view name) const;
    Status OpenStorage(std::string_view name, Dir& storage) const;
    // The whole stream; a stream larger than the file is Corrupt.
    Status ReadStream(std::string_view name, std::string& bytes) const;
    // The stream for reading in place; a stream larger than the file is Corrupt.
    Status OpenStream(std::string_view name, Stream& stream) const;
    // The bytes of every stream below this storage, as a store counts a stored object's size,
    // without reading them. Corrupt when an entry is broken or the tree nests like a cycle.
    Status TotalSize(std::uint64_t& size) const;
    // Copies this storage with everything below it. Throws MsgFileError when the copy would hold
    // more bytes than the file, or nests deeper than compound files ever do (a directory cycle).
    Cfb::Storage Copy() const;

private:
    int IndexOf(std::string_view name) const;
    Owned<GsfInput> Child(int index) const;
    // The child stream of that name: Missing, Corrupt, or WrongKind for a storage.
    Status ChildStream(std::string_view name, Owned<GsfInput>& child) const;
    void CopyInto(Cfb::Storage& out, std::uint64_t& budget, int depth) const;
    Status AddSizes(std::uint64_t& size, std::uint64_t& budget, int depth) const;

    std::shared_ptr<const Container> container_;
    InfileRef infile_;
    std::vector<std::string> names_;
    std::unordered_map<std::string, int> index_; // upper-cased name -> index
};

std::string UpperAscii(std::string_view text);

} // namespace Tessarix::Msg::Gsf
