#include "notes/ExportDocument.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "core/Exceptions.h"
#include "core/FileSystem.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/UserInterface.h"
#include "core/Utils.h"

namespace Tessarix::Notes {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Two output characters for every 12 input bits: one lookup per half of a 3-byte group.
using CharPair = std::array<char, 2>;
constexpr std::array<CharPair, 4096> kPairs = [] {
    std::array<CharPair, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
    return pairs;
}();

inline void PutGroup(std::uint32_t group, char* out) {
    std::memcpy(out, kPairs[group >> 12].data(), 2);
    std::memcpy(out + 2, kPairs[group & 0xFFF].data(), 2);
}

constexpr bool IsHighSurrogate(char16_t c) {
    return c >= 0xD800 && c <= 0xDBFF;
}
constexpr bool IsLowSurrogate(char16_t c) {
    return c >= 0xDC00 && c <= 0xDFFF;
}

// Upper bounds of what the writer produces, so that the document's buffer is allocated once.
// Escaped text takes at most five bytes per UTF-16 unit ("&amp;").
constexpr std::size_t kEscapedPerUnit = 5;
constexpr std::size_t kDocumentFrame = 512; // BOM, declaration, DOCTYPE, root tags
constexpr std::size_t kNoteFrame = 512;     // the note's own tags and indentation
constexpr std::size_t kResourceFrame = 256;

std::size_t CDataLength(std::u16string_view text) {
    std::size_t bytes = 0;
    for (char16_t c : text)
        bytes += c < 0x80 ? 1 : c < 0x800 ? 2 : (IsHighSurrogate(c) || IsLowSurrogate(c)) ? 2 : 3;
    // Every "]]>" closes one section and opens another: "]]><![CDATA[".
    for (std::size_t at = text.find(u"]]>"); at != std::u16string_view::npos; at = text.find(u"]]>", at + 2))
        bytes += 12;
    return bytes + 12;
}

// Counted in 64 bits: on i686 a few resources of 4 GiB would wrap a size_t round to a small bound.
constexpr std::uint64_t Base64Length64(std::uint64_t length) {
    return (length + 2) / 3 * 4;
}

std::uint64_t EstimateNote(const INote& note) {
    std::uint64_t bytes =
        kNoteFrame + kEscapedPerUnit * note.GetTitle().size() + CDataLength(note.GetContent());
    for (const CMetadata& entry : note.GetMetadata())
        bytes += 64 + kEscapedPerUnit * entry.GetValue().size();
    for (const CResource& resource : note.GetResources()) {
        bytes += kResourceFrame + Base64Length64(resource.Size());
        bytes += kEscapedPerUnit *
                 (resource.GetMime().size() + resource.GetSourceUrl().size() + resource.GetFileName().size());
    }
    return bytes;
}

void WriteTitle(Xml::XmlWriter& writer, const std::u16string& title) {
    writer.WriteStartElement(u"title");
    const std::u16string_view text(title);
    for (std::size_t i = 0; i < text.size();) {
        // A surrogate pair is one character and is written (or replaced) as one.
        const std::size_t units =
            IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1]) ? 2 : 1;
        try {
            writer.WriteChars(text.substr(i, units));
        } catch (HResult hr) {
            // A title never fails the export: what XML cannot carry becomes a blank.
            if (hr != kWC_E_XMLCHARACTER && hr != Xml::kWR_E_INVALIDSURROGATEPAIR)
                throw;
            writer.WriteChars(u" ");
        }
        i += units;
    }
    writer.WriteFullEndElement();
}

void WriteMetadataElement(Xml::XmlWriter& writer, const MetadataList& metadata, const char16_t* name) {
    if (HasMetadata(metadata, name))
        writer.WriteElementString(name, GetMetadataByName(metadata, name).GetValue());
}

[[noreturn]] void RefuseSize(std::uint64_t bytes, std::size_t budget) {
    Log().Error(Format(u"TXCE data of %u bytes exceeds the limit of %u bytes.", bytes, budget));
    throw NoteContentSizeExceededException();
}

void WriteResource(Xml::XmlWriter& writer, const CResource& resource, std::size_t budget) {
    writer.WriteStartElement(u"resource");

    writer.WriteStartElement(u"data");
    writer.WriteAttributeString(u"encoding", u"base64");
    // Base64 is ASCII and so already UTF-8: it goes straight into the document's buffer, encoded
    // piece by piece as the content is read, so that no whole copy of a large content is held.
    // Groups of three bytes that straddle two pieces wait in `carry`.
    writer.WriteTrustedAscii(0);
    unsigned char carry[3];
    std::size_t carried = 0;
    resource.ReadData([&](std::string_view piece) {
        // Measured sizes can still change under us (a file rewritten meanwhile).
        if (const std::uint64_t grown = writer.Output().size() + Base64Length64(carried + piece.size());
            grown > budget)
            RefuseSize(grown, budget);
        auto in = reinterpret_cast<const unsigned char*>(piece.data());
        std::size_t length = piece.size();
        while (carried > 0 && carried < 3 && length > 0)
            carry[carried++] = *in++, --length;
        if (carried == 3) {
            Base64EncodeTo(carry, 3, writer.WriteTrustedAscii(4));
            carried = 0;
        }
        const std::size_t whole = length / 3 * 3;
        if (whole > 0)
            Base64EncodeTo(in, whole, writer.WriteTrustedAscii(Base64Length(whole)));
        for (std::size_t i = whole; i < length; ++i)
            carry[carried++] = in[i];
    });
    if (carried > 0)
        Base64EncodeTo(carry, carried, writer.WriteTrustedAscii(4));
    writer.WriteFullEndElement();

    writer.WriteElementString(u"mime", resource.GetMime());
    writer.WriteStartElement(u"resource-attributes");
    writer.WriteElementString(u"source-url", resource.GetSourceUrl());
    writer.WriteElementString(u"file-name", resource.GetFileName());
    writer.WriteFullEndElement();

    writer.WriteFullEndElement();
}

} // namespace

void Base64EncodeTo(const unsigned char* bytes, std::size_t length, char* out) {
    std::size_t i = 0;
    // Four groups per step keep the loads and stores independent of one another.
    for (; i + 12 <= length; i += 12, out += 16) {
        const unsigned char* in = bytes + i;
        PutGroup((std::uint32_t(in[0]) << 16) | (std::uint32_t(in[1]) << 8) | in[2], out);
        PutGroup((std::uint32_t(in[3]) << 16) | (std::uint32_t(in[4]) << 8) | in[5], out + 4);
        PutGroup((std::uint32_t(in[6]) << 16) | (std::uint32_t(in[7]) << 8) | in[8], out + 8);
        PutGroup((std::uint32_t(in[9]) << 16) | (std::uint32_t(in[10]) << 8) | in[11], out + 12);
    }
    for (; i + 3 <= length; i += 3, out += 4)
        PutGroup((std::uint32_t(bytes[i]) << 16) | (std::uint32_t(bytes[i + 1]) << 8) | bytes[i + 2], out);

    const std::size_t rest = length - i;
    if (rest == 0)
        return;
    const std::uint32_t group =
        (std::uint32_t(bytes[i]) << 16) | (rest == 2 ? std::uint32_t(bytes[i + 1]) << 8 : 0);
    out[0] = kAlphabet[group >> 18];
    out[1] = kAlphabet[(group >> 12) & 63];
    out[2] = rest == 2 ? kAlphabet[(group >> 6) & 63] : '=';
    out[3] = '=';
}

std::string Base64Encode(const void* bytes, std::size_t length) {
    std::string text(Base64Length(length), '\0');
    Base64EncodeTo(static_cast<const unsigned char*>(bytes), length, text.data());
    return text;
}

namespace {

void WriteNoteWithin(Xml::XmlWriter& writer, const NotePtr& note, std::size_t budget) {
    if (!note)
        throw std::invalid_argument("");

    writer.WriteStartElement(u"note");
    WriteTitle(writer, note->GetTitle());

    writer.WriteStartElement(u"content");
    writer.WriteCData(note->GetContent());
    writer.WriteFullEndElement();

    const MetadataList& metadata = note->GetMetadata();
    if (HasMetadata(metadata, kMetaCreated))
        writer.WriteElementString(u"created", GetMetadataByName(metadata, kMetaCreated).GetValue());
    else
        writer.WriteElementString(u"created", FormatIsoUtc(Platform::UtcTime()));

    writer.WriteStartElement(u"note-attributes");
    WriteMetadataElement(writer, metadata, kMetaAuthor);
    WriteMetadataElement(writer, metadata, kMetaSource);
    WriteMetadataElement(writer, metadata, kMetaSourceUrl);
    writer.WriteFullEndElement();

    for (const CResource& resource : note->GetResources())
        WriteResource(writer, resource, budget);

    writer.WriteFullEndElement();
}

} // namespace

void WriteNote(Xml::XmlWriter& writer, const NotePtr& note) {
    WriteNoteWithin(writer, note, std::numeric_limits<std::size_t>::max());
}

std::uint64_t ExportSizeBound(const NoteList& notes) {
    std::uint64_t bytes = kDocumentFrame;
    for (const NotePtr& note : notes)
        if (note)
            bytes += EstimateNote(*note);
    return bytes;
}

std::string BuildExportDocument(NoteList notes, std::size_t budget) {
    const std::uint64_t bound = ExportSizeBound(notes);
    if (bound > budget)
        RefuseSize(bound, budget);

    Xml::XmlWriter writer(Xml::XmlWriterSettings{.indent = true, .byteOrderMark = true});
    writer.Reserve(static_cast<std::size_t>(bound)); // within the budget, so it fits
    writer.WriteStartDocument();
    writer.WriteDocType(kExportDocumentName, kExportDocumentName, kExportDtdSystemId);
    writer.WriteStartElement(kExportDocumentName);
    for (NotePtr& note : notes) {
        WriteNoteWithin(writer, note, budget);
        // Written: what it holds (attachments, their host objects) need not wait for the others.
        note.reset();
    }
    writer.WriteFullEndElement();
    writer.WriteEndDocument();
    writer.Flush();
    return writer.TakeOutput();
}

void BuildAndSendExport(NoteList notes, bool shiftPressed, SendFunction send, std::size_t budget) {
    Logger& log = Logger::Instance();
    log.Info(u"Start build TXCE data.");
    const std::string document = BuildExportDocument(std::move(notes), budget);
    log.Info(u"TXCE data created.");

    // The hand-off carries a 32-bit length.
    if (document.size() > std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("The export document is larger than 4 GB");
    const auto length = static_cast<std::uint32_t>(document.size());

    const Ui::WindowHandle sender = Ui::Current().FocusWindow();
    log.DumpExportDocument(document.data(), length);
    log.Info(shiftPressed ? u"Sending TXCE data, SHIFT pressed." : u"Sending TXCE data, SHIFT not pressed.");
    const int result = send(sender, document.data(), length, shiftPressed ? 1 : 0);
    if (result != kSendDelivered)
        throw SendTxceException(result);
    log.Info(u"Txce data sent.");
}

} // namespace Tessarix::Notes
