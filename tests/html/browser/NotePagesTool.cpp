// Writes the page txclip --html would write for each corpus note: html_note_pages CORPUS OUT
// (OUT/NAME.html for CORPUS/NAME.note), for the browser check.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/NotePages.h"
#include "core/Utf.h"

int main(int argc, char** argv) {
    using namespace Tessarix;
    if (argc != 3) {
        std::fprintf(stderr, "usage: html_note_pages CORPUS-FOLDER OUT-FOLDER\n");
        return 2;
    }
    std::filesystem::create_directories(argv[2]);
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        if (entry.path().extension() != ".note")
            continue;
        std::ostringstream content;
        content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        Notes::CNote note;
        note.SetContent(FromUtf8(content.str()));
        note.SetTitle(FromUtf8(entry.path().stem().string()));
        std::ofstream page(std::filesystem::path(argv[2]) / (entry.path().stem().string() + ".html"),
                           std::ios::binary);
        page << Cli::NotePage(note, {});
        if (!page.flush()) {
            std::fprintf(stderr, "html_note_pages: cannot write %s\n", entry.path().stem().c_str());
            return 1;
        }
    }
    return 0;
}
