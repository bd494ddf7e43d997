#pragma once
// What the portable engine makes of each corpus input: the loaded document in the corpus text
// form (tests/html/CorpusFormat.h), which the Windows tests' stand-in engine serves, and the note
// content, which the MSHTML adapter over that stand-in must reproduce.
#include <filesystem>
#include <string>
#include <vector>

namespace Tessarix::Testing::Corpus {

struct Snapshot {
    std::string dom;
    std::string note;
};

// `html` is the input file's UTF-8 text, loaded as renderers load their HTML.
Snapshot Take(const std::string& html);

// The corpus inputs (*.html) of a folder, by name.
std::vector<std::filesystem::path> Inputs(const std::filesystem::path& folder);

inline std::filesystem::path DomFile(std::filesystem::path input) {
    return input.replace_extension(".dom");
}
inline std::filesystem::path NoteFile(std::filesystem::path input) {
    return input.replace_extension(".note");
}

} // namespace Tessarix::Testing::Corpus
