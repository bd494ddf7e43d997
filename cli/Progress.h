#pragma once
// Progress of a long clip on standard error, shown only when standard error is a terminal: one
// line, rewritten in place, cleared before anything else is written there.
#include <cstddef>
#include <string>

namespace Tessarix::Cli {

class Progress {
public:
    // `enabled`: usually StandardErrorIsTerminal().
    Progress(bool enabled, std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // "txclip: <what> <index>/<total> <name>"; index from 1.
    void Item(const char* what, std::size_t index, const std::string& name);
    void Stage(const std::string& text);
    void Clear();

    static bool StandardErrorIsTerminal();

private:
    void Show(const std::string& line);

    bool enabled_;
    std::size_t total_;
    bool shown_ = false;
};

} // namespace Tessarix::Cli
