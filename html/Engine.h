#pragma once
// The platform's HTML engine: UTF-8 bytes in, a finished document out. Windows loads them into
// MSHTML, POSIX parses them with gumbo and cascades styles with litehtml.
#include <cstdint>

#include "core/ByteString.h"
#include "core/Exceptions.h"
#include "html/Document.h"

namespace Tessarix::Html {

// A failed load raises an HRESULT (core/Exceptions.h): the engine's own failure code when it
// refuses to create, initialise or load the document, or one of these two when the wait for the
// finished document ends without it.
inline constexpr HResult kLoadTimedOut = HResultFrom(0x800705B4u);  // HRESULT_FROM_WIN32(ERROR_TIMEOUT)
inline constexpr HResult kLoadCancelled = HResultFrom(0x800704C7u); // HRESULT_FROM_WIN32(ERROR_CANCELLED)

// How long the load may take before kLoadTimedOut, in milliseconds.
inline constexpr unsigned kLoadTimeoutMs = 60000;

// Never returns a null document. With a `contentLimit` of 1 or more, an engine that can tell
// from the markup alone that the note content serialized from the document would be longer
// than that (in UTF-16 units) may throw Clipper::SerializerOutputLimitException instead of
// loading it; it never refuses a document whose content would fit.
DocumentPtr LoadDocument(const StringUTF8& bytes, std::int32_t contentLimit = 0);

} // namespace Tessarix::Html
