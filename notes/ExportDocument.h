#pragma once
// The clip export document: all notes of one clip in one "tx-clipper-export" XML document (UTF-8
// with a byte-order mark, indented as XmlLite indents), dumped to the log folder and handed to the
// desktop client. The layout, byte for byte, is described in docs/export-document.md.
#include <cstddef>
#include <cstdint>
#include <string>

#include "notes/Note.h"
#include "notes/TxClipperSDK.h"
#include "notes/XmlWriter.h"

namespace Tessarix::Notes {

inline constexpr char16_t kExportDocumentName[] = u"tx-clipper-export";
// The DTD's system identifier: the format's path on the service's XML host.
inline constexpr char16_t kExportDtdSystemId[] = u"http://xml.tessarix.com/pub/tessarix-clipper-export.dtd";

// Standard base64 ("A-Z a-z 0-9 + /", "=" padding), no line breaks.
constexpr std::size_t Base64Length(std::size_t length) {
    return (length + 2) / 3 * 4;
}
// Writes exactly Base64Length(length) characters at `out`.
void Base64EncodeTo(const unsigned char* bytes, std::size_t length, char* out);
std::string Base64Encode(const void* bytes, std::size_t length);

// The largest document a clip may build: it is one block of memory in Outlook's process, 32-bit
// for most users, and the desktop client takes a copy of it (docs/export-document.md).
inline constexpr std::size_t kExportBudget = std::size_t{256} * 1024 * 1024;

// The document's size at most, from the notes' texts and their resources' sizes, loading nothing.
std::uint64_t ExportSizeBound(const NoteList& notes);

// Writes one "note" element. Title characters that XML cannot carry become blanks; every other
// writer failure is raised as its HRESULT. An empty pointer raises std::invalid_argument.
void WriteNote(Xml::XmlWriter& writer, const NotePtr& note);

// The whole document for `notes`, exactly as it is sent. A document whose bound is over `budget`
// raises NoteContentSizeExceededException before anything is written or loaded. Each note is let
// go (its entry reset) once written, and a resource's bytes are loaded only while it is written,
// so the document and one resource are all that is held; a resource that loads more than it said
// cannot take the document past `budget` either.
std::string BuildExportDocument(NoteList notes, std::size_t budget = kExportBudget);

// Builds the document, dumps it to the log folder and hands it to the desktop client through
// `send`, both from the one buffer; a result other than delivered raises SendTxceException with
// that result.
void BuildAndSendExport(NoteList notes, bool shiftPressed, SendFunction send = &CTxClipperSDK::SendTXEC,
                        std::size_t budget = kExportBudget);

} // namespace Tessarix::Notes
