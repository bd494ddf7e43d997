#include "ClipActionTestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#ifdef _WIN32
#include <windows.h>

#include "core/win/LocalizedStringsWin.h"
#endif

#include "core/FileSystem.h"
#include "core/Log.h"
#include "core/Utf.h"

namespace Tessarix::Testing {

void PrepareProcessLog() {
    static const bool prepared = [] {
#ifndef _WIN32
        namespace fs = std::filesystem;
        std::string pattern = (fs::temp_directory_path() / "tx-actions-XXXXXX").string();
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
    ASSERT_TRUE(prepared) << "the process log could not be opened";
}

void PrepareEnglishTexts() {
#ifdef _WIN32
    static const bool loaded = [] {
        ::SetThreadUILanguage(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
        return LoadSatelliteModule(::GetModuleHandleW(nullptr)) != nullptr;
    }();
    ASSERT_TRUE(loaded) << "Resource.dll is not beside the test program";
#endif
}

Notes::NoteList SampleNotes() {
    auto first = std::make_shared<Notes::CNote>();
    first->SetTitle(u"Quarterly report");
    first->SetContent(u"<div>Numbers <b>up</b> \u00e9t\u00e9</div>");
    first->GetMetadata().emplace_back(Notes::kMetaCreated, u"2011-03-07T13:05:09.042Z");
    first->GetMetadata().emplace_back(Notes::kMetaAuthor, u"Ann Smith");
    first->GetResources().emplace_back(u"file:///C:/Outlook/Attachments/a.txt", u"text/plain",
                                       StringUTF8::Copy("ABCD"), u"file:///C:/Outlook/Attachments/a.txt");
    auto second = std::make_shared<Notes::CNote>();
    second->SetTitle(u"Second");
    second->SetContent(u"<p>two</p>");
    second->GetMetadata().emplace_back(Notes::kMetaCreated, u"2011-03-08T08:00:00.000Z");
    return {first, second};
}

Notes::NotePtr NoteWithAuthor(const std::u16string& author) {
    auto note = std::make_shared<Notes::CNote>();
    note->SetTitle(u"title");
    note->SetContent(u"content");
    note->GetMetadata().emplace_back(Notes::kMetaCreated, u"2011-03-07T13:05:09.042Z");
    note->GetMetadata().emplace_back(Notes::kMetaAuthor, author);
    return note;
}

namespace {

std::u16string CurrentLogFile() {
    const Logger& log = Logger::Instance();
    if (log.CurrentFileName().empty())
        return {};
    return log.Directory() + log.CurrentFileName();
}

std::string ReadAll(const std::u16string& path) {
    return Platform::ReadFile(path).value_or(std::string());
}

} // namespace

LogWatch::LogWatch() : file_(CurrentLogFile()) {
    EXPECT_FALSE(file_.empty()) << "no log file is open";
    offset_ = ReadAll(file_).size();
}

std::vector<std::string> LogWatch::Lines() const {
    // A rotation in between leaves the start of the run in the previous file.
    std::string text = ReadAll(file_);
    text.erase(0, std::min(offset_, text.size()));
    const std::u16string now = CurrentLogFile();
    if (now != file_)
        text += ReadAll(now);

    std::vector<std::string> lines;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t end = text.find('\n', at);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(at, end - at);
        at = end + 1;
        if (line.rfind("\xEF\xBB\xBF", 0) == 0)
            line.erase(0, 3);
        while (!line.empty() && line.back() == '\r')
            line.pop_back();
        // "MM/DD/YYYY hh:mm:ss:mmmm " comes first.
        constexpr std::size_t kStamp = 25;
        if (line.size() < kStamp || line[2] != '/' || line[5] != '/' || line[kStamp - 1] != ' ') {
            ADD_FAILURE() << "not a log line: " << line;
            continue;
        }
        lines.push_back(line.substr(kStamp));
    }
    return lines;
}

std::vector<std::string> LogWatch::Lines(const std::string& level) const {
    std::vector<std::string> matching;
    const std::string prefix = level + ": ";
    for (std::string& line : Lines()) {
        if (line.rfind(prefix, 0) == 0)
            matching.push_back(std::move(line));
    }
    return matching;
}

std::string ReadDump() {
    return ReadAll(Logger::Instance().Directory() + u"TXCEData.xml");
}

void RemoveDump() {
    Platform::DeleteFile(Logger::Instance().Directory() + u"TXCEData.xml");
}

} // namespace Tessarix::Testing
