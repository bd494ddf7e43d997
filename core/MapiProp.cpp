#include "core/MapiProp.h"

#include <limits>

namespace Tessarix::Mapi {

HResult ReadWholeStream(IPropStream& stream, StringUTF8& out) {
    std::uint64_t size = 0;
    if (const HResult hr = stream.Size(size); Failed(hr))
        return hr;
    if (size > std::numeric_limits<std::uint32_t>::max())
        return kE_OUTOFMEMORY;
    if (size == 0) {
        out = StringUTF8();
        return kS_OK;
    }
    const auto length = static_cast<std::uint32_t>(size);
    std::shared_ptr<char[]> bytes(new char[length]);
    std::uint32_t filled = 0;
    while (filled < length) {
        std::uint32_t read = 0;
        if (const HResult hr = stream.Read(bytes.get() + filled, length - filled, read); Failed(hr))
            return hr;
        if (read == 0)
            break;
        filled += read;
    }
    out = StringUTF8(std::move(bytes), filled);
    return kS_OK;
}

} // namespace Tessarix::Mapi
