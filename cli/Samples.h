#pragma once
// Saved Outlook items made by the project: one of every kind txclip clips (mail in every body
// form and code page, contact, appointments, meeting request, task, journal entry, sticky note,
// attachments of every method and messages nested three deep), and files that are not readable
// items. txclip-samples writes them for the demonstration; the txclip tests clip them.
#include <filesystem>
#include <string>
#include <vector>

#include "core/FileTime.h"
#include "msg/MsgWriter.h"

namespace Tessarix::Cli::Samples {

struct Sample {
    std::string fileName;
    Msg::MessageData message;
};

struct CorruptSample {
    std::string fileName;
    std::string bytes;
};

// Every item here becomes a note; the names sort in the order the samples are listed.
std::vector<Sample> Items();
// Files that txclip must refuse with a message naming them.
std::vector<CorruptSample> CorruptItems();
// Items with a damaged attachment: each becomes a note without that attachment.
std::vector<CorruptSample> DamagedItems();

// Writes the items, the damaged items (and the corrupt files when `corrupt`) into `folder`, which
// is created when missing; returns the paths written, in order. Throws Msg::MsgFileError or
// std::filesystem::filesystem_error.
std::vector<std::filesystem::path> Write(const std::filesystem::path& folder, bool corrupt);

// Building blocks shared with the tests.
FileTime Utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
std::string PngPixel();  // a 1x1 PNG
std::string JpegBytes(); // a minimal JFIF header and end marker
// `text` in code page `codePage` as RTF text: bytes above 0x7F as \'hh escapes, { } \ escaped.
std::string RtfText(std::u16string_view text, std::uint32_t codePage);

} // namespace Tessarix::Cli::Samples
