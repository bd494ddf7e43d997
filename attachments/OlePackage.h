#pragma once
// Files packaged as OLE objects: what Outlook stores when a file is dragged into an RTF mail. The
// object's storage holds an "\x01Ole10Native" stream: the size of what follows, then the
// packager's header (label, source path, temporary path as 8-bit text) and the file's bytes.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/MapiProp.h"

namespace Tessarix::Attachments {

inline constexpr char16_t kOle10NativeStream[] = u"\x01Ole10Native";

struct OlePackage {
    // The packaged file's own name: the last part of its source path, else its label.
    std::u16string fileName;
    // The file's bytes, positioned at their start; Size() is theirs alone.
    std::shared_ptr<Mapi::IPropStream> content;
};

// Reads the header from `native` (an "\x01Ole10Native" stream at its start). None when the stream
// is not an embedded-file package (a link, another object, a header that runs past its data);
// 8-bit names are read in `codePage`.
std::optional<OlePackage> ReadOlePackage(std::shared_ptr<Mapi::IPropStream> native, std::uint32_t codePage);

} // namespace Tessarix::Attachments
