#include "core/FileTime.h"

#include <windows.h>

namespace Tessarix::Platform {

std::optional<SystemTime> FileTimeToLocalTime(FileTime time) {
    const FILETIME utc{time.lowDateTime, time.highDateTime};
    FILETIME local{};
    SYSTEMTIME st{};
    if (!FileTimeToLocalFileTime(&utc, &local) || !FileTimeToSystemTime(&local, &st))
        return std::nullopt;
    SystemTime result;
    result.year = st.wYear;
    result.month = st.wMonth;
    result.dayOfWeek = st.wDayOfWeek;
    result.day = st.wDay;
    result.hour = st.wHour;
    result.minute = st.wMinute;
    result.second = st.wSecond;
    result.milliseconds = st.wMilliseconds;
    return result;
}

} // namespace Tessarix::Platform
