#pragma once
// Runs txclip as the user would: a process of its own with a private state folder, runtime folder
// and time zone, its output and exit status collected.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "msg/MsgWriter.h"

namespace Tessarix::Testing {

struct RunResult {
    bool exited = false; // false: ended by a signal
    int status = -1;     // the exit status, or the signal
    std::string out, err;
};

struct RunOptions {
    std::vector<std::pair<std::string, std::string>> environment; // added to (or replacing) ours
    bool stderrIsTerminal = false;                                // a pseudo-terminal instead of a pipe
};

RunResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                     const RunOptions& options);

std::string ReadFileBytes(const std::filesystem::path& path);
void WriteFileBytes(const std::filesystem::path& path, const std::string& bytes);
// The names of the entries of `folder`, sorted.
std::vector<std::string> Entries(const std::filesystem::path& folder);

// A fresh folder for one test: items/ for the inputs, state/ as XDG_STATE_HOME (the log), run/
// as XDG_RUNTIME_DIR (where a desktop client would listen).
class TxClipTest : public ::testing::Test {
protected:
    TxClipTest();
    ~TxClipTest() override;

    // Writes the sample item of that file name into items/.
    std::string Sample(const std::string& fileName);
    std::string Item(const Msg::MessageData& message, const std::string& fileName);
    std::string CorruptSample(const std::string& fileName);

    RunResult Run(const std::vector<std::string>& arguments, RunOptions options = {});
    // Runs with "-o out/clip.xml" and expects success with nothing on standard error.
    std::string ClipToFile(const std::vector<std::string>& items);

    std::filesystem::path LogFolder() const { return root_ / "state/Tessarix/Tessarix/Logs"; }

    std::filesystem::path root_;
    std::filesystem::path items_;
    std::filesystem::path out_;
    std::filesystem::path run_;
};

// A sanitizer report or a crash is never an acceptable way to fail.
void ExpectCleanExit(const RunResult& result);

} // namespace Tessarix::Testing
