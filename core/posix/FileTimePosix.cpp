#include "core/FileTime.h"

#include <ctime>

namespace Tessarix::Platform {

std::optional<SystemTime> FileTimeToLocalTime(FileTime time) {
    constexpr std::uint64_t kTicksPerSecond = 10000000;
    constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600;
    const std::uint64_t ticks = time.Ticks();
    // FileTimeToSystemTime refuses the upper half of the range; so does this.
    if (ticks >= (std::uint64_t{1} << 63))
        return std::nullopt;
    const std::time_t seconds =
        static_cast<std::time_t>(static_cast<std::int64_t>(ticks / kTicksPerSecond) - kSecondsFrom1601To1970);
    std::tm local{};
    if (!localtime_r(&seconds, &local))
        return std::nullopt;
    SystemTime result;
    result.year = local.tm_year + 1900;
    result.month = local.tm_mon + 1;
    result.dayOfWeek = local.tm_wday;
    result.day = local.tm_mday;
    result.hour = local.tm_hour;
    result.minute = local.tm_min;
    result.second = local.tm_sec;
    result.milliseconds = static_cast<int>(ticks % kTicksPerSecond / 10000);
    return result;
}

} // namespace Tessarix::Platform
