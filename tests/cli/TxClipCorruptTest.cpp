// Files that are not readable items: a clear message naming the file, a failing status, nothing
// written, and no crash (these tests also run with txclip built under the sanitizers).
#include <gtest/gtest.h>

#include <cctype>
#include <map>

#include "TxClipRunner.h"
#include "cli/Samples.h"

namespace Tessarix::Testing {
namespace {

class TxClipCorrupt : public TxClipTest, public ::testing::WithParamInterface<std::string> {};

// The reader's words where the file plainly is not an item; the others name only the file.
const std::map<std::string, std::string> kReasons = {
    {"bad-empty.msg", "not an Outlook item: no compound-file structure"},
    {"bad-text.msg", "not an Outlook item: no compound-file structure"},
    {"bad-not-a-message.msg", "message: no property stream"},
    {"bad-property-stream.msg", "message: the property stream is shorter than its header"},
};

TEST_P(TxClipCorrupt, FailsNamingTheFileAndWritesNothing) {
    const std::string good = Sample("02-mail-html.msg");
    const std::string bad = CorruptSample(GetParam());
    for (const bool toFile : {true, false}) {
        std::vector<std::string> arguments{good, bad};
        if (toFile)
            arguments.insert(arguments.end(), {"-o", (out_ / "clip.xml").string()});
        const RunResult result = Run(arguments);
        ExpectCleanExit(result);
        EXPECT_EQ(result.status, 1) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(Entries(out_).empty());
        EXPECT_NE(result.err.find("\ntxclip: nothing was written; the failure came while "),
                  std::string::npos)
            << result.err;
        EXPECT_TRUE(result.err.starts_with("Error message: " + bad + ": ")) << result.err;
        if (const auto reason = kReasons.find(GetParam()); reason != kReasons.end()) {
            EXPECT_EQ(result.err.substr(0, result.err.find('\n')),
                      "Error message: " + bad + ": " + reason->second);
        }
        EXPECT_NE(result.err.find("while reading " + bad), std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, TxClipCorrupt, ::testing::ValuesIn([] {
                             std::vector<std::string> names;
                             for (const auto& sample : Cli::Samples::CorruptItems())
                                 names.push_back(sample.fileName);
                             return names;
                         }()),
                         [](const ::testing::TestParamInfo<std::string>& parameter) {
                             std::string name;
                             for (const char c : parameter.param)
                                 if (std::isalnum(static_cast<unsigned char>(c)))
                                     name += c;
                             return name;
                         });

TEST_F(TxClipTest, MissingAndUnreadableFilesAreNamed) {
    const std::string missing = (items_ / "missing.msg").string();
    const RunResult result = Run({missing});
    ExpectCleanExit(result);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.starts_with("Error message: " + missing + ": no such file\n")) << result.err;

    const RunResult folder = Run({items_.string()});
    ExpectCleanExit(folder);
    EXPECT_EQ(folder.status, 1);
    EXPECT_TRUE(folder.err.starts_with("Error message: " + items_.string() + ": ")) << folder.err;
}

} // namespace
} // namespace Tessarix::Testing
