#pragma once
// The process-wide diagnostic log and the call-trace scope.
//
// One Logger owns an append-mode file in the per-user log folder, writes one line per call
// ("MM/DD/YYYY hh:mm:ss:mmmm Level: message", CR CR LF, UTF-8), flushes and measures after every
// line and rotates past maxFileSize, keeping the five first files. Logging never fails its caller.
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/FileSystem.h"
#include "core/Format.h"

namespace Tessarix {

class LogFileNamePattern {
public:
    LogFileNamePattern() = default; // no pattern set yet: empty prefix, separator 0
    // Throws std::invalid_argument unless the prefix is non-empty and free of the separator.
    LogFileNamePattern(std::u16string prefix, char16_t separator);

    const std::u16string& Prefix() const { return prefix_; }
    char16_t Separator() const { return separator_; }

private:
    std::u16string prefix_;
    char16_t separator_ = 0;
};

struct LogFileStamp {
    std::int32_t year = 0, month = 0, day = 0, index = 0;

    static LogFileStamp FromTime(const Platform::SystemTime& t) { return {t.year, t.month, t.day, 0}; }

    friend bool operator==(const LogFileStamp&, const LogFileStamp&) = default;
    friend bool operator<(const LogFileStamp& a, const LogFileStamp& b) {
        if (a.year != b.year)
            return a.year < b.year;
        if (a.month != b.month)
            return a.month < b.month;
        if (a.day != b.day)
            return a.day < b.day;
        return a.index < b.index;
    }
    friend bool operator>(const LogFileStamp& a, const LogFileStamp& b) { return b < a; }
};

// The file-name rules, free of any file system so that they are tested on their own.
namespace LogFiles {
// prefix + separator + "YYYY-MM-DD" + [separator + index] + ".txt"
std::u16string FileName(const LogFileNamePattern& pattern, const LogFileStamp& stamp);
std::optional<LogFileStamp> Parse(const LogFileNamePattern& pattern, const std::u16string& name);
// Newest first: parsed names before unparsed ones, parsed ones by stamp descending; stable.
void SortNewestFirst(const LogFileNamePattern& pattern, std::vector<std::u16string>& names);
// Whether the file's date is after `today`'s.
bool IsLaterThan(const LogFileStamp& stamp, const Platform::SystemTime& today);
// The name after a full file with stamp `last`, today being `today`; empty when the clock went back.
std::u16string NextName(const LogFileNamePattern& pattern, const LogFileStamp& last,
                        const Platform::SystemTime& today);
} // namespace LogFiles

class Logger {
public:
    static Logger& Instance();

    // Each writes one line; `message` is used as the format of the write (see core/Format.h).
    void Debug(std::u16string_view message);
    void Info(std::u16string_view message);
    void Warning(std::u16string_view message);
    void Error(std::u16string_view message);
    void Critical(std::u16string_view message);

    void SetFileNamePattern(const LogFileNamePattern& pattern);
    bool HasFileNamePattern() const;
    LogFileNamePattern FileNamePattern() const;

    bool IsOpen() const;
    void Close();
    std::uint64_t FileSize() const;

    // Replaces "TXCEData.xml" in the log folder with the given bytes.
    void DumpExportDocument(const char* bytes, std::size_t length);

    // The log folder with its trailing separator; empty when there is none.
    const std::u16string& Directory() const { return directory_; }
    // The name of the open file, empty when none is open.
    const std::u16string& CurrentFileName() const { return currentName_; }

    // Tests build their own loggers over a folder of their choice and a clock of their choice.
    using Clock = Platform::SystemTime (*)();
    Logger(std::u16string baseFolder, Clock clock);
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    static constexpr std::uint64_t kMaxFileSize = 102400;
    static constexpr std::uint64_t kMaxFileCount = 5;

private:
    void Write(std::u16string_view level, std::u16string_view message);
    void Open();
    void OpenFile(const std::u16string& name);
    void CloseFile();
    void PrepareDirectory();
    bool FolderIsPlain(const std::u16string& folder) const;
    std::u16string ChooseFileName();
    void Rotate();
    std::vector<std::u16string> SortedFiles();

    std::u16string baseFolder_;
    Clock clock_;
    std::u16string directory_;
    Platform::AppendFile file_;
    std::u16string currentName_;
    std::uint64_t maxFileSize_ = kMaxFileSize;
    std::uint64_t maxFileCount_ = kMaxFileCount;
    LogFileNamePattern pattern_;
    bool utf16_ = false;       // the reused file starts with a UTF-16LE byte-order mark
    mutable std::mutex mutex_; // serialises write, flush, measure and rotate across threads
};

// Writes "<name> call begin" on entry and "<name> call end" on exit, both at Debug.
class CallTracer {
public:
    explicit CallTracer(std::u16string name);
    ~CallTracer();
    CallTracer(const CallTracer&) = delete;
    CallTracer& operator=(const CallTracer&) = delete;

private:
    std::u16string name_;
};

// Formats first, then logs: Log().Debug(Format(u"count: %d", n)).
inline Logger& Log() {
    return Logger::Instance();
}

} // namespace Tessarix
