#pragma once
// Windows file times (100-nanosecond ticks since 1 January 1601 UTC), as MAPI stores dates.
#include <cstdint>
#include <optional>

#include "core/FileSystem.h"

namespace Tessarix {

struct FileTime {
    std::uint32_t lowDateTime = 0;
    std::uint32_t highDateTime = 0;

    std::uint64_t Ticks() const { return (std::uint64_t{highDateTime} << 32) | lowDateTime; }
    static FileTime FromTicks(std::uint64_t ticks) {
        return {static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32)};
    }
    friend bool operator==(const FileTime&, const FileTime&) = default;
};

namespace Platform {
// The time in the user's time zone (FileTimeToLocalFileTime + FileTimeToSystemTime on Windows,
// localtime_r on POSIX); none when the platform cannot represent it (ticks of 2^63 and above).
std::optional<SystemTime> FileTimeToLocalTime(FileTime time);
} // namespace Platform

} // namespace Tessarix
