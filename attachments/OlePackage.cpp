#include "attachments/OlePackage.h"

#include <algorithm>
#include <string>

#include "core/CodePage.h"

namespace Tessarix::Attachments {

namespace {

// Reads through a stream from its start, knowing how much it has left.
class Cursor {
public:
    Cursor(Mapi::IPropStream& stream, std::uint64_t size) : stream_(stream), left_(size) {}
    std::uint64_t Left() const { return left_; }

    bool Bytes(std::size_t count, std::string& out) {
        if (count > left_)
            return false;
        out.resize(count);
        std::size_t done = 0;
        while (done < count) {
            std::uint32_t read = 0;
            const auto chunk = static_cast<std::uint32_t>(std::min<std::size_t>(count - done, 1 << 16));
            if (Failed(stream_.Read(out.data() + done, chunk, read)) || read == 0)
                return false;
            done += read;
        }
        left_ -= count;
        return true;
    }
    std::optional<std::uint32_t> U32() { return Number(4); }
    std::optional<std::uint32_t> U16() { return Number(2); }
    // A zero-terminated 8-bit string, at most `limit` bytes.
    std::optional<std::string> ZString(std::size_t limit = 4096) {
        std::string out, c;
        while (out.size() < limit) {
            if (!Bytes(1, c))
                return std::nullopt;
            if (c[0] == '\0')
                return out;
            out += c[0];
        }
        return std::nullopt;
    }

private:
    std::optional<std::uint32_t> Number(std::size_t width) {
        std::string bytes;
        if (!Bytes(width, bytes))
            return std::nullopt;
        std::uint32_t value = 0;
        for (std::size_t i = width; i-- > 0;)
            value = value << 8 | static_cast<unsigned char>(bytes[i]);
        return value;
    }

    Mapi::IPropStream& stream_;
    std::uint64_t left_;
};

// The packaged file's bytes: the rest of the native stream, cut to their stated size.
class PackagedFile final : public Mapi::IPropStream {
public:
    PackagedFile(std::shared_ptr<Mapi::IPropStream> native, std::uint32_t size)
        : native_(std::move(native)), left_(size), size_(size) {}
    HResult Size(std::uint64_t& size) override {
        size = size_;
        return kS_OK;
    }
    HResult Read(char* buffer, std::uint32_t count, std::uint32_t& read) override {
        read = 0;
        if (left_ == 0)
            return kS_OK;
        const HResult hr = native_->Read(buffer, std::min(count, left_), read);
        left_ -= std::min(read, left_);
        return hr;
    }

private:
    std::shared_ptr<Mapi::IPropStream> native_;
    std::uint32_t left_;
    std::uint32_t size_;
};

std::u16string LastPathPart(const std::u16string& path) {
    const auto slash = path.find_last_of(u"\\/");
    return slash == std::u16string::npos ? path : path.substr(slash + 1);
}

} // namespace

std::optional<OlePackage> ReadOlePackage(std::shared_ptr<Mapi::IPropStream> native, std::uint32_t codePage) {
    std::uint64_t size = 0;
    if (!native || Failed(native->Size(size)))
        return std::nullopt;
    Cursor in(*native, size);
    if (const auto total = in.U32(); !total || *total > in.Left())
        return std::nullopt;
    if (in.U16() != 2u) // the packager's signature
        return std::nullopt;
    const auto label = in.ZString();
    const auto source = in.ZString();
    const auto reserved = in.U16();
    const auto kind = in.U16(); // 3: an embedded file; 1 is a link to one
    if (!label || !source || !reserved || kind != 3u)
        return std::nullopt;
    const auto tempPathLength = in.U32();
    std::string tempPath;
    if (!tempPathLength || !in.Bytes(*tempPathLength, tempPath))
        return std::nullopt;
    const auto dataSize = in.U32();
    if (!dataSize || *dataSize > in.Left())
        return std::nullopt;
    OlePackage package;
    package.fileName = LastPathPart(CodePage::ToWide(*source, codePage));
    if (package.fileName.empty())
        package.fileName = LastPathPart(CodePage::ToWide(*label, codePage));
    package.content = std::make_shared<PackagedFile>(std::move(native), *dataSize);
    return package;
}

} // namespace Tessarix::Attachments
