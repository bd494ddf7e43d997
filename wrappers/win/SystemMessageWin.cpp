#include "wrappers/SystemMessage.h"

#include <windows.h>

#include <memory>

#include "core/Utf.h"

namespace Tessarix::Platform {

namespace {
struct LocalFreeDeleter {
    void operator()(wchar_t* text) const { ::LocalFree(text); }
};
} // namespace

std::u16string SystemMessageText(HResult code) {
    wchar_t* raw = nullptr;
    const DWORD length = ::FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(code), 0x400, reinterpret_cast<wchar_t*>(&raw), 0, nullptr);
    const std::unique_ptr<wchar_t, LocalFreeDeleter> text(raw);
    if (length == 0 || !text)
        return {};
    std::u16string result = FromWide(text.get(), length);
    while (!result.empty() && (result.back() == u'\n' || result.back() == u'\r' || result.back() == u' '))
        result.pop_back();
    return result;
}

} // namespace Tessarix::Platform
