#pragma once
// Reads back what the process log received during a test: the lines after the stamp, e.g.
// "Error: HrGetOneProp() failed in GetLongProperty()!".
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/FileSystem.h"
#include "core/Log.h"
#include "core/Utf.h"

namespace Tessarix::Testing {

// Opens the process log on "OLClipper" files; natively in a temporary state folder that is set
// before the logger is first used and removed at exit.
inline void OpenItemLog() {
    static const bool opened = [] {
#ifndef _WIN32
        namespace fs = std::filesystem;
        std::string pattern = (fs::temp_directory_path() / "tx-log-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            return false;
        static const std::string folder = pattern;
        // Registered before the logger exists, so it runs after the logger has closed its file.
        std::atexit([] {
            std::error_code ignored;
            fs::remove_all(folder, ignored);
        });
        ::setenv("XDG_STATE_HOME", folder.c_str(), 1);
#endif
        Logger& log = Logger::Instance();
        if (!log.HasFileNamePattern())
            log.SetFileNamePattern(LogFileNamePattern(u"OLClipper", u'_'));
        return log.IsOpen();
    }();
    ASSERT_TRUE(opened) << "the process log could not be opened";
}

inline std::u16string CurrentLogFile() {
    const Logger& log = Logger::Instance();
    return log.CurrentFileName().empty() ? std::u16string() : log.Directory() + log.CurrentFileName();
}

inline std::string ReadLogFile(const std::u16string& path) {
    return Platform::ReadFile(path).value_or(std::string());
}

// "Level: message" for every line written to `file` from `offset` on, and to the file that
// followed it if the log rotated meanwhile. A line without the stamp is passed over, or fails the
// test when `strict`.
inline std::vector<std::string> LogLinesSince(const std::u16string& file, std::size_t offset, bool strict) {
    // A byte-order mark starts a file only, and a file the logger has just rotated to may hold
    // nothing else yet.
    const auto withoutMark = [](std::string text) {
        if (text.starts_with("\xEF\xBB\xBF"))
            text.erase(0, 3);
        return text;
    };
    std::string text = ReadLogFile(file);
    text.erase(0, std::min(offset, text.size()));
    text = withoutMark(std::move(text));
    if (const auto now = CurrentLogFile(); now != file)
        text += withoutMark(ReadLogFile(now));
    std::vector<std::string> lines;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t end = text.find('\n', at);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(at, end - at);
        at = end + 1;
        while (!line.empty() && line.back() == '\r')
            line.pop_back();
        constexpr std::size_t kStamp = 25; // "MM/DD/YYYY hh:mm:ss:mmmm "
        const bool stamped = line.size() >= kStamp &&
                             (!strict || (line[2] == '/' && line[5] == '/' && line[kStamp - 1] == ' '));
        if (stamped)
            lines.push_back(line.substr(kStamp));
        else if (strict)
            ADD_FAILURE() << "not a log line: " << line;
    }
    return lines;
}

inline bool Contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// The traces of one scope around those of the scopes it opens, for comparing with ItemLog::Traces.
inline std::vector<std::string> Scope(const std::string& name,
                                      std::initializer_list<std::vector<std::string>> inner = {}) {
    std::vector<std::string> traces{name + " begin"};
    for (const auto& scope : inner)
        traces.insert(traces.end(), scope.begin(), scope.end());
    traces.push_back(name + " end");
    return traces;
}
inline std::vector<std::string> Scopes(std::initializer_list<std::vector<std::string>> scopes) {
    std::vector<std::string> traces;
    for (const auto& scope : scopes)
        traces.insert(traces.end(), scope.begin(), scope.end());
    return traces;
}

class ItemLog {
public:
    ItemLog() {
        OpenItemLog();
        file_ = CurrentLogFile();
        offset_ = ReadLogFile(file_).size();
    }

    // "Level: message" for every line since construction.
    std::vector<std::string> Lines() const { return LogLinesSince(file_, offset_, false); }

    // Those of one level: "Critical", "Info", ...
    std::vector<std::string> Lines(const std::string& level) const {
        std::vector<std::string> matching;
        for (auto& line : Lines()) {
            if (line.starts_with(level + ": "))
                matching.push_back(std::move(line));
        }
        return matching;
    }

    // The lines that are not call traces.
    std::vector<std::string> Messages() const {
        std::vector<std::string> result;
        for (auto& line : Lines()) {
            const bool trace = line.ends_with(" call begin") || line.ends_with(" call end");
            if (!trace)
                result.push_back(std::move(line));
        }
        return result;
    }

    // The call traces ("Name begin", "Name end") of the scopes whose names start with one of `owners`.
    std::vector<std::string> Traces(const std::vector<std::string>& owners) const {
        std::vector<std::string> result;
        for (const auto& line : Lines()) {
            constexpr std::string_view kDebug = "Debug: ";
            for (const std::string_view suffix : {" call begin", " call end"}) {
                if (!line.starts_with(kDebug) || !line.ends_with(suffix))
                    continue;
                const std::string name =
                    line.substr(kDebug.size(), line.size() - kDebug.size() - suffix.size());
                if (std::any_of(owners.begin(), owners.end(),
                                [&](const auto& o) { return name.starts_with(o); }))
                    result.push_back(name + (suffix == " call end" ? " end" : " begin"));
            }
        }
        return result;
    }

private:
    std::u16string file_;
    std::size_t offset_ = 0;
};

} // namespace Tessarix::Testing
