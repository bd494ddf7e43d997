#include "core/Log.h"

#include <algorithm>
#include <climits>
#include <stdexcept>
#include <utility>

#include "core/Utf.h"

namespace Tessarix {
namespace {

constexpr char16_t kSep = Platform::kPathSeparator;

std::vector<std::u16string_view> Split(std::u16string_view text, char16_t separator) {
    std::vector<std::u16string_view> pieces;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = text.find(separator, start);
        if (end == std::u16string_view::npos) {
            pieces.push_back(text.substr(start));
            return pieces;
        }
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

// The leading decimal integer as the C runtime reads it: blanks, a sign, digits; 0 when there
// are none, clamped to the 32-bit range.
std::int32_t LeadingInt(std::u16string_view text) {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == u' ' || (text[i] >= u'\t' && text[i] <= u'\r')))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-'))
        negative = text[i++] == u'-';
    std::int64_t value = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i)
        value = std::min<std::int64_t>(value * 10 + (text[i] - u'0'), std::int64_t{INT32_MAX} + 1);
    if (negative)
        value = -value;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
}

// `value` as "%.Nd" writes it (at least `width` digits), then `after`, into `out` at `at`.
void PutPadded(char16_t* out, std::size_t& at, int value, int width, char16_t after) {
    if (value < 0) {
        for (const char16_t c : width == 2 ? Format(u"%.2d", value) : Format(u"%.4d", value))
            out[at++] = c;
    } else {
        char16_t digits[16];
        int count = 0;
        for (unsigned rest = static_cast<unsigned>(value); rest > 0 || count < width; rest /= 10)
            digits[count++] = static_cast<char16_t>(u'0' + rest % 10);
        while (count > 0)
            out[at++] = digits[--count];
    }
    out[at++] = after;
}

// `text` as the C runtime's text mode writes it: every line feed as CR LF, then its "ccs=" mode
// encodes. ASCII, which nearly every line is, is copied straight.
void AppendEncoded(std::string& bytes, std::u16string_view text, bool utf16) {
    if (utf16) {
        for (const char16_t c : text) {
            if (c == u'\n')
                bytes.append("\r\0", 2);
            bytes += static_cast<char>(c & 0xFF);
            bytes += static_cast<char>(c >> 8);
        }
        return;
    }
    // The leading run without line feeds, one byte per unit, in one go.
    const std::size_t at = bytes.size();
    bytes.resize(at + text.size());
    char* out = bytes.data() + at;
    std::size_t i = 0;
    for (; i < text.size() && text[i] < 0x80 && text[i] != u'\n'; ++i)
        out[i] = static_cast<char>(text[i]);
    bytes.resize(at + i);
    for (; i < text.size(); ++i) {
        const char16_t c = text[i];
        if (c >= 0x80) {
            std::u16string rest;
            rest.reserve(text.size() - i + 4);
            for (const char16_t d : text.substr(i)) {
                if (d == u'\n')
                    rest += u'\r';
                rest += d;
            }
            bytes += ToUtf8(rest);
            return;
        }
        if (c == u'\n')
            bytes += '\r';
        bytes += static_cast<char>(c);
    }
}

// What FormatV(text, {}) gives, encoded: text without a percent sign is itself.
void AppendAsFormat(std::string& bytes, std::u16string_view text, bool utf16) {
    if (!utf16) {
        // ASCII without a percent sign or a line feed, nearly every message, in one pass.
        const std::size_t at = bytes.size();
        bytes.resize(at + text.size());
        char* out = bytes.data() + at;
        std::size_t i = 0;
        for (; i < text.size() && text[i] < 0x80 && text[i] != u'%' && text[i] != u'\n'; ++i)
            out[i] = static_cast<char>(text[i]);
        if (i == text.size())
            return;
        bytes.resize(at);
    }
    if (text.find(u'%') == std::u16string_view::npos)
        AppendEncoded(bytes, text, utf16);
    else
        AppendEncoded(bytes, FormatV(text, {}), utf16);
}

void CreateChain(const std::u16string& path) {
    if (Platform::IsDirectory(path))
        return;
    std::u16string accumulated;
    std::size_t start = 0;
    while (start < path.size() && path[start] == kSep) // keep a POSIX root
        accumulated += path[start++];
    for (std::u16string_view piece : Split(std::u16string_view(path).substr(start), kSep)) {
        if (piece.empty())
            continue;
        accumulated.append(piece);
        accumulated += kSep;
        if (!Platform::IsDirectory(accumulated))
            Platform::CreateDirectory(accumulated);
    }
}

} // namespace

LogFileNamePattern::LogFileNamePattern(std::u16string prefix, char16_t separator)
    : prefix_(std::move(prefix)), separator_(separator) {
    if (prefix_.empty() || prefix_.find(separator_) != std::u16string::npos)
        throw std::invalid_argument("log file name pattern: empty prefix or prefix containing the separator");
}

namespace LogFiles {

std::u16string FileName(const LogFileNamePattern& pattern, const LogFileStamp& stamp) {
    std::u16string name = pattern.Prefix();
    name += pattern.Separator();
    name += Format(u"%.4d-%.2d-%.2d", stamp.year, stamp.month, stamp.day);
    if (stamp.index > 0) {
        name += pattern.Separator();
        name += Format(u"%d", stamp.index);
    }
    name += u".txt";
    return name;
}

std::optional<LogFileStamp> Parse(const LogFileNamePattern& pattern, const std::u16string& name) {
    const auto pieces = Split(name, pattern.Separator());
    if (pieces.size() != 2 && pieces.size() != 3)
        return std::nullopt;
    if (pieces[0] != pattern.Prefix())
        return std::nullopt;
    const auto date = Split(pieces[1], u'-');
    if (date.size() != 3)
        return std::nullopt;
    LogFileStamp stamp{LeadingInt(date[0]), LeadingInt(date[1]), LeadingInt(date[2]), 0};
    if (stamp.year == 0 || stamp.month == 0 || stamp.day == 0)
        return std::nullopt;
    if (pieces.size() == 3)
        stamp.index = LeadingInt(pieces[2]);
    return stamp;
}

void SortNewestFirst(const LogFileNamePattern& pattern, std::vector<std::u16string>& names) {
    std::vector<std::pair<std::optional<LogFileStamp>, std::u16string>> keyed;
    keyed.reserve(names.size());
    for (auto& name : names)
        keyed.emplace_back(Parse(pattern, name), std::move(name));
    std::stable_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) {
        if (a.first && b.first)
            return *a.first > *b.first;
        return a.first.has_value() && !b.first.has_value();
    });
    for (std::size_t i = 0; i < names.size(); ++i)
        names[i] = std::move(keyed[i].second);
}

bool IsLaterThan(const LogFileStamp& stamp, const Platform::SystemTime& today) {
    if (stamp.year != today.year)
        return stamp.year > today.year;
    if (stamp.month != today.month)
        return stamp.month > today.month;
    return stamp.day > today.day;
}

std::u16string NextName(const LogFileNamePattern& pattern, const LogFileStamp& last,
                        const Platform::SystemTime& today) {
    // The day test leaves the year out: a full file from 20 May stops the log on 10 May of any
    // later year. Kept as the product has always behaved.
    if (today.year < last.year || (today.year == last.year && today.month < last.month) ||
        (today.month == last.month && today.day < last.day))
        return {};
    if (today.year == last.year && today.month == last.month && today.day == last.day) {
        if (last.index == INT32_MAX)
            return {};
        return FileName(pattern, {last.year, last.month, last.day, last.index + 1});
    }
    return FileName(pattern, LogFileStamp::FromTime(today));
}

} // namespace LogFiles

Logger& Logger::Instance() {
    static Logger instance(Platform::UserLogBaseFolder(), &Platform::LocalTime);
    return instance;
}

Logger::Logger(std::u16string baseFolder, Clock clock)
    : baseFolder_(std::move(baseFolder)), clock_(clock ? clock : &Platform::LocalTime) {
    std::lock_guard lock(mutex_);
    try {
        Open();
    } catch (...) {
        CloseFile(); // logging stays off; the caller never sees the failure
    }
}

Logger::~Logger() {
    CloseFile();
}

void Logger::Debug(std::u16string_view message) {
    Write(u"Debug: ", message);
}
void Logger::Info(std::u16string_view message) {
    Write(u"Info: ", message);
}
void Logger::Warning(std::u16string_view message) {
    Write(u"Warning: ", message);
}
void Logger::Error(std::u16string_view message) {
    Write(u"Error: ", message);
}
void Logger::Critical(std::u16string_view message) {
    Write(u"Critical: ", message);
}

void Logger::Write(std::u16string_view level, std::u16string_view message) {
    std::lock_guard lock(mutex_);
    if (!file_.IsOpen())
        return;
    try {
        const Platform::SystemTime t = clock_();
        // Most lines share their millisecond with the line before: its stamp is kept, per thread
        // (loggers of their own, as in tests, share it), with what it was made from. Plain data:
        // a thread-local with a destructor would outlive an unloaded module on MinGW.
        thread_local Platform::SystemTime stampTime;
        thread_local bool stampUtf16 = false;
        thread_local char stampBytes[2 * 96];
        thread_local std::size_t stampSize = 0;
        if (stampSize == 0 || stampUtf16 != utf16_ || !(t == stampTime)) {
            // "%.2d/%.2d/%.4d %.2d:%.2d:%.2d:%.4d ", by hand: this runs for every line.
            char16_t stamp[96];
            std::size_t length = 0;
            PutPadded(stamp, length, t.month, 2, u'/');
            PutPadded(stamp, length, t.day, 2, u'/');
            PutPadded(stamp, length, t.year, 4, u' ');
            PutPadded(stamp, length, t.hour, 2, u':');
            PutPadded(stamp, length, t.minute, 2, u':');
            PutPadded(stamp, length, t.second, 2, u':');
            PutPadded(stamp, length, t.milliseconds, 4, u' ');
            std::string encoded; // digits and separators: one byte a unit, two in UTF-16
            AppendEncoded(encoded, std::u16string_view(stamp, length), utf16_);
            stampSize = std::min(encoded.size(), sizeof stampBytes);
            std::copy_n(encoded.data(), stampSize, stampBytes);
            stampTime = t;
            stampUtf16 = utf16_;
        }
        std::string bytes;
        bytes.reserve(stampSize + 2 * (level.size() + message.size() + 8));
        bytes.assign(stampBytes, stampSize);
        // The message is the format of its own write, so "100%%" is written as "100%".
        AppendAsFormat(bytes, level, utf16_);
        AppendAsFormat(bytes, message, utf16_);
        AppendEncoded(bytes, u"\r\n", utf16_); // text mode adds its own CR: lines end CR CR LF on disk
        file_.Write(bytes.data(), bytes.size());
        if (file_.Size() > maxFileSize_)
            Rotate();
    } catch (...) {
        // A log line that cannot be built (out of memory) is dropped.
    }
}

void Logger::SetFileNamePattern(const LogFileNamePattern& pattern) {
    std::lock_guard lock(mutex_);
    if (pattern.Prefix().empty())
        return;
    try {
        pattern_ = pattern;
        CloseFile();
        Open();
    } catch (...) {
        CloseFile();
    }
}

bool Logger::HasFileNamePattern() const {
    std::lock_guard lock(mutex_);
    return !pattern_.Prefix().empty();
}

LogFileNamePattern Logger::FileNamePattern() const {
    std::lock_guard lock(mutex_);
    return pattern_;
}

bool Logger::IsOpen() const {
    std::lock_guard lock(mutex_);
    return file_.IsOpen();
}

void Logger::Close() {
    std::lock_guard lock(mutex_);
    CloseFile();
}

std::uint64_t Logger::FileSize() const {
    std::lock_guard lock(mutex_);
    return file_.Size();
}

void Logger::DumpExportDocument(const char* bytes, std::size_t length) {
    try {
        std::u16string folder;
        {
            std::lock_guard lock(mutex_);
            folder = directory_;
        }
        if (!bytes || length == 0 || folder.empty() || !FolderIsPlain(folder))
            return;
        if (!Platform::WriteFile(folder + u"TXCEData.xml", std::string_view(bytes, length)))
            return;
    } catch (...) {
        return;
    }
    Info(u"Created TXCE data dump.");
}

// The open step: the folder, then the file when a pattern is set. Runs under the lock.
void Logger::Open() {
    PrepareDirectory();
    if (directory_.empty())
        return;
    const std::u16string name = ChooseFileName();
    if (!name.empty())
        OpenFile(name);
}

void Logger::PrepareDirectory() {
    directory_.clear();
    if (baseFolder_.empty())
        return;
    std::u16string path = baseFolder_;
    path += kSep;
    path += u"Tessarix";
    path += kSep;
    path += u"Tessarix";
    path += kSep;
    path += u"Logs";
    CreateChain(path);
    if (!FolderIsPlain(path + kSep))
        return; // a folder that is a link is as unusable as one that cannot be made
    directory_ = path + kSep;
}

// Processes of lower rights may write where the log lives (LocalLow): none of the folders the log
// makes may be a link that sends the log elsewhere. Checked again before every file is opened.
bool Logger::FolderIsPlain(const std::u16string& folder) const {
    if (folder.size() <= baseFolder_.size())
        return false;
    for (std::size_t at = folder.find(kSep, baseFolder_.size() + 1); at != std::u16string::npos;
         at = folder.find(kSep, at + 1))
        if (!Platform::IsPlainDirectory(folder.substr(0, at)))
            return false;
    return true;
}

void Logger::OpenFile(const std::u16string& name) {
    if (!FolderIsPlain(directory_))
        return;
    const std::u16string path = directory_ + name;
    Platform::AppendFile file(path);
    if (!file.IsOpen())
        return;
    // The C runtime's "ccs=UTF-8" append: a new (empty) file gets a UTF-8 byte-order mark; an
    // existing one keeps the encoding its own mark names, UTF-8 without one.
    bool utf16 = false;
    if (file.Size() == 0) {
        if (!file.Write("\xEF\xBB\xBF", 3))
            return;
    } else if (const auto bytes = Platform::ReadFile(path)) {
        utf16 = bytes->size() >= 2 && static_cast<unsigned char>((*bytes)[0]) == 0xFF &&
                static_cast<unsigned char>((*bytes)[1]) == 0xFE;
    }
    file_ = std::move(file);
    utf16_ = utf16;
    currentName_ = name;
}

void Logger::CloseFile() {
    file_.Close();
    currentName_.clear();
    utf16_ = false;
}

// A file dated after today was not written by this log (or the clock went back): it sorts after
// every other, so it is never continued and is the first to go when files are deleted.
std::vector<std::u16string> Logger::SortedFiles() {
    std::vector<std::u16string> names = Platform::ListFiles(directory_, pattern_.Prefix());
    LogFiles::SortNewestFirst(pattern_, names);
    const Platform::SystemTime today = clock_();
    std::stable_partition(names.begin(), names.end(), [&](const std::u16string& name) {
        const auto stamp = LogFiles::Parse(pattern_, name);
        return !stamp || !LogFiles::IsLaterThan(*stamp, today);
    });
    return names;
}

std::u16string Logger::ChooseFileName() {
    if (pattern_.Prefix().empty())
        return {};
    std::vector<std::u16string> files = SortedFiles();
    const Platform::SystemTime today = clock_();
    if (!files.empty()) {
        if (const auto stamp = LogFiles::Parse(pattern_, files.front());
            stamp && LogFiles::IsLaterThan(*stamp, today))
            files.clear(); // only files from the future: none of them is the log's
    }
    if (!files.empty()) {
        // The newest file is continued while it has room, whatever day it is from.
        if (Platform::FileSize(directory_ + files.front()) < maxFileSize_)
            return files.front();
        if (const auto stamp = LogFiles::Parse(pattern_, files.front()))
            return LogFiles::NextName(pattern_, *stamp, clock_());
    }
    return LogFiles::FileName(pattern_, LogFileStamp::FromTime(clock_()));
}

void Logger::Rotate() {
    CloseFile();
    const std::u16string name = ChooseFileName();
    if (!name.empty())
        OpenFile(name);
    const std::vector<std::u16string> files = SortedFiles();
    for (std::size_t i = static_cast<std::size_t>(maxFileCount_); i < files.size(); ++i)
        Platform::DeleteFile(directory_ + files[i]);
}

CallTracer::CallTracer(std::u16string name) : name_(std::move(name)) {
    try {
        Log().Debug(name_ + u" call begin");
    } catch (...) {
    }
}

CallTracer::~CallTracer() {
    try {
        Log().Debug(name_ + u" call end");
    } catch (...) {
    }
}

} // namespace Tessarix
