#include "core/Memory.h"

#include <cstdint>

#include <sys/mman.h>

namespace Tessarix::Platform {

void AdviseLargeFill(void* data, std::size_t bytes) noexcept {
#ifdef MADV_HUGEPAGE
    // madvise wants whole pages: the part of the buffer that covers them.
    constexpr std::uintptr_t kPage = 4096;
    const auto begin = (reinterpret_cast<std::uintptr_t>(data) + kPage - 1) & ~(kPage - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(data) + bytes) & ~(kPage - 1);
    if (end > begin)
        // Refused where transparent huge pages are off: then the buffer fills as before.
        static_cast<void>(madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE));
#else
    static_cast<void>(data);
    static_cast<void>(bytes);
#endif
}

} // namespace Tessarix::Platform
