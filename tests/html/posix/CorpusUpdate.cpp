// Rewrites the portable engine's snapshot of every corpus input: html_corpus_update FOLDER.
#include <cstdio>
#include <exception>
#include <fstream>
#include <sstream>

#include "html/posix/CorpusSnapshot.h"

int main(int argc, char** argv) {
    using namespace Tessarix::Testing::Corpus;
    if (argc != 2) {
        std::fprintf(stderr, "usage: html_corpus_update CORPUS-FOLDER\n");
        return 2;
    }
    try {
        for (const auto& input : Inputs(argv[1])) {
            std::ostringstream html;
            html << std::ifstream(input, std::ios::binary).rdbuf();
            const Snapshot snapshot = Take(html.str());
            std::ofstream(DomFile(input), std::ios::binary) << snapshot.dom;
            std::ofstream(NoteFile(input), std::ios::binary) << snapshot.note;
            std::printf("%s\n", input.filename().c_str());
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "html_corpus_update: %s\n", e.what());
        return 1;
    } catch (...) {
        std::fprintf(stderr, "html_corpus_update: the engine failed\n");
        return 1;
    }
    return 0;
}
