#include <magic.h>
#include <mutex>

#include "core/Utf.h"
#include "notes/MimeSniffer.h"

namespace Tessarix::Notes {
namespace {

// One libmagic cookie for the process, loaded once with the system's database. A cookie is not
// safe for concurrent use, so every query holds the lock.
class MagicCookie {
public:
    MagicCookie() : cookie_(magic_open(MAGIC_MIME_TYPE | MAGIC_ERROR)) {
        if (cookie_ && magic_load(cookie_, nullptr) != 0) {
            magic_close(cookie_);
            cookie_ = nullptr;
        }
    }
    ~MagicCookie() {
        if (cookie_)
            magic_close(cookie_);
    }
    MagicCookie(const MagicCookie&) = delete;
    MagicCookie& operator=(const MagicCookie&) = delete;

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

} // namespace

std::u16string SniffMime(std::string_view bytes) {
    if (bytes.empty())
        return {}; // nothing to sniff fails, as it does with FindMimeFromData
    static MagicCookie cookie;
    std::string type = cookie.Query(bytes);
    // Older magic databases name BMP by its Microsoft alias.
    if (type == "image/x-ms-bmp")
        type = "image/bmp";
    return FromUtf8(type);
}

} // namespace Tessarix::Notes
