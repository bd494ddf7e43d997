#pragma once
// Byte strings shared by reference: UTF-8 text or raw resource bytes.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace Tessarix {

// A shared, reference-counted byte buffer with a 32-bit length and no stored terminator.
// Copies share the bytes.
class StringUTF8 {
public:
    StringUTF8() = default;
    StringUTF8(std::shared_ptr<const char[]> bytes, std::uint32_t length)
        : bytes_(std::move(bytes)), length_(bytes_ ? length : 0) {}
    // Copies the bytes once into a new shared buffer.
    static StringUTF8 Copy(std::string_view bytes) {
        if (bytes.empty())
            return {};
        std::shared_ptr<char[]> buf(new char[bytes.size()]);
        std::memcpy(buf.get(), bytes.data(), bytes.size());
        return StringUTF8(std::move(buf), static_cast<std::uint32_t>(bytes.size()));
    }
    // Takes over a std::string without copying its bytes.
    static StringUTF8 Adopt(std::string bytes) {
        if (bytes.empty())
            return {};
        auto holder = std::make_shared<std::string>(std::move(bytes));
        const auto length = static_cast<std::uint32_t>(holder->size());
        std::shared_ptr<const char[]> view(holder, holder->data());
        return StringUTF8(std::move(view), length);
    }

    const char* Data() const { return bytes_.get(); }
    std::uint32_t Length() const { return length_; }
    bool Empty() const { return length_ == 0; }
    std::string_view View() const {
        return bytes_ ? std::string_view(bytes_.get(), length_) : std::string_view();
    }
    bool SharesBufferWith(const StringUTF8& other) const { return bytes_ == other.bytes_; }

private:
    std::shared_ptr<const char[]> bytes_;
    std::uint32_t length_ = 0;
};

// Text held as bytes of a stated Windows code page. Length 0 stands for empty text.
class TextContent {
public:
    TextContent() = default;
    TextContent(StringUTF8 bytes, std::uint32_t codePage) : bytes_(std::move(bytes)), codePage_(codePage) {}

    const StringUTF8& Bytes() const { return bytes_; }
    std::uint32_t Length() const { return bytes_.Length(); }
    std::uint32_t CodePage() const { return codePage_; }

private:
    StringUTF8 bytes_;
    std::uint32_t codePage_ = 0;
};

} // namespace Tessarix
