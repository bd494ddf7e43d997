// The checked-in snapshots of the corpus are what the portable engine makes of each input now.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "html/posix/CorpusSnapshot.h"

using namespace Tessarix::Testing;

namespace {

std::string Read(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

TEST(Corpus, SnapshotsAreCurrent) {
    const auto inputs = Corpus::Inputs(TX_HTML_CORPUS_DIR);
    ASSERT_GE(inputs.size(), 5u);
    for (const auto& input : inputs) {
        const Corpus::Snapshot snapshot = Corpus::Take(Read(input));
        const char* hint = "stale: run html_corpus_update " TX_HTML_CORPUS_DIR;
        EXPECT_EQ(snapshot.dom, Read(Corpus::DomFile(input))) << input << " " << hint;
        EXPECT_EQ(snapshot.note, Read(Corpus::NoteFile(input))) << input << " " << hint;
    }
}

} // namespace
