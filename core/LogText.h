#pragma once
// Log messages are formats themselves: text from an item, a file name or the system keeps its
// per-cent signs only when they are doubled.
#include <string>
#include <string_view>

namespace Tessarix {

inline std::u16string LogLiteral(std::u16string_view text) {
    std::u16string result;
    result.reserve(text.size());
    for (const char16_t c : text) {
        result += c;
        if (c == u'%')
            result += u'%';
    }
    return result;
}

} // namespace Tessarix
