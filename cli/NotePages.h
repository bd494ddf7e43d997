#pragma once
// txclip --html: each note as an HTML page beside its resources, so that a user sees what the note
// will show before it is sent.
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "notes/Note.h"

namespace Tessarix::Cli {

// A resource's source address and the file that holds it, relative to the page.
using PageLinks = std::vector<std::pair<std::u16string, std::string>>;

// The page of one note: its content in a page of its own, each picture address that names a
// resource linked to that resource's file. Nothing on the page may run or load from elsewhere.
std::string NotePage(const Notes::INote& note, const PageLinks& links);

// Writes "note-N.html" for the N-th note (from 1; notes that are absent have none) into `folder`,
// made if it is missing, and the note's resources into "note-N-files/". Returns the pages written.
// A page or resource that cannot be written is a BaseException.
std::vector<std::filesystem::path> WriteNotePages(const Notes::NoteList& notes,
                                                  const std::filesystem::path& folder);

} // namespace Tessarix::Cli
