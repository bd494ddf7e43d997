#include <magic.h>
#include <mutex>

#include "core/Utf.h"
#include "notes/MimeSniffer.h"

namespace Tessarix::Notes {
namespace {

// What libmagic looked at before 5.43.
constexpr std::size_t kBytesMax = 1024 * 1024;

// One libmagic cookie for the process, loaded once with the system's database. A cookie is not
// safe for concurrent use, so every query holds the lock.
class MagicCookie {
public:
    MagicCookie() : cookie_(magic_open(MAGIC_MIME_TYPE | MAGIC_ERROR)) {
        if (cookie_ && magic_load(cookie_, nullptr) != 0) {
            magic_close(cookie_);
            cookie_ = nullptr;
        }
        // libmagic 5.43 and later look at up to 7 MiB; the types a resource is told by sit in the
        // first bytes, and every byte looked at is one more read of a large attachment.
        const std::size_t bytesMax = kBytesMax;
        if (cookie_)
            magic_setparam(cookie_, MAGIC_PARAM_BYTES_MAX, &bytesMax);
    }
    ~MagicCookie() {
        if (cookie_)
            magic_close(cookie_);
    }
    MagicCookie(const MagicCookie&) = delete;
    MagicCookie& operator=(const MagicCookie&) = delete;

    std::size_t BytesMax() {
        std::size_t limit = 0;
        if (!cookie_ || magic_getparam(cookie_, MAGIC_PARAM_BYTES_MAX, &limit) != 0)
            return 0;
        return limit;
    }

    std::string Query(std::string_view bytes) {
        if (!cookie_)
            return {};
        const std::lock_guard<std::mutex> lock(mutex_);
        const char* type = magic_buffer(cookie_, bytes.data(), bytes.size());
        return type ? std::string(type) : std::string();
    }

private:
    magic_t cookie_;
    std::mutex mutex_;
};

MagicCookie& Cookie() {
    static MagicCookie cookie;
    return cookie;
}

} // namespace

std::size_t SniffLength() {
    // Without a database nothing is sniffed, however much is read.
    return Cookie().BytesMax();
}

std::u16string SniffMime(std::string_view bytes) {
    if (bytes.empty())
        return {}; // nothing to sniff fails, as it does with FindMimeFromData
    std::string type = Cookie().Query(bytes);
    // Older magic databases name BMP by its Microsoft alias.
    if (type == "image/x-ms-bmp")
        type = "image/bmp";
    return FromUtf8(type);
}

} // namespace Tessarix::Notes
