#pragma once
// The content pipeline's entry points: HTML in, note content and picture resources out.
#include <string>
#include <vector>

#include "core/ByteString.h"
#include "html/Document.h"
#include "notes/Note.h"

namespace Tessarix::Global {

// Serializes the document under the note-content limit and turns its pictures into resources,
// in document order (a picture shown twice gives two resources). Pictures found neither in the
// internet cache nor on disk are appended to `unresolved` by address. Content past the limit
// throws NoteContentSizeExceededException, with no resource added.
std::u16string Cleanup(const Html::Document& document, Notes::ResourceList& resources,
                       std::vector<std::u16string>& unresolved);

// CreateDOM, then Cleanup; the document goes when the call ends, also when Cleanup throws.
std::u16string MakeCleanContent(const std::u16string& html, Notes::ResourceList& resources,
                                std::vector<std::u16string>& unresolved);
std::u16string MakeCleanContent(const TextContent& html, Notes::ResourceList& resources,
                                std::vector<std::u16string>& unresolved);

} // namespace Tessarix::Global
