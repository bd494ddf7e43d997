#include <windows.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <urlmon.h>

#include "core/Utf.h"
#include "notes/MimeSniffer.h"

namespace Tessarix::Notes {
namespace {

struct CoTaskMemDeleter {
    void operator()(wchar_t* p) const { CoTaskMemFree(p); }
};
using UniqueCoTaskString = std::unique_ptr<wchar_t, CoTaskMemDeleter>;

} // namespace

std::size_t SniffLength() {
    return 256;
}

std::u16string SniffMime(std::string_view bytes) {
    // Only the first 256 bytes are examined by the sniffer, so a huge buffer is never a problem.
    const auto size =
        static_cast<DWORD>(std::min<std::size_t>(bytes.size(), std::numeric_limits<DWORD>::max()));
    LPWSTR raw = nullptr;
    const HRESULT hr =
        FindMimeFromData(nullptr, nullptr, const_cast<char*>(bytes.data()), size, nullptr, 0, &raw, 0);
    const UniqueCoTaskString mime(raw);
    if (FAILED(hr) || !mime)
        return {};
    return FromWide(mime.get());
}

} // namespace Tessarix::Notes
