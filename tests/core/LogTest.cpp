#include "core/Log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <regex>
#include <thread>

#include "core/Utf.h"

#ifdef _WIN32
#include <windows.h>
#endif

using namespace Tessarix;
namespace fs = std::filesystem;

namespace {

const LogFileNamePattern kPattern(u"OLClipper", u'_');

Platform::SystemTime Day(int year, int month, int day) {
    Platform::SystemTime t;
    t.year = year;
    t.month = month;
    t.day = day;
    t.hour = 14;
    t.minute = 5;
    t.second = 9;
    t.milliseconds = 42;
    return t;
}

Platform::SystemTime g_now = Day(2012, 5, 10);
Platform::SystemTime TestClock() {
    return g_now;
}

std::u16string Name(int year, int month, int day, int index = 0) {
    return LogFiles::FileName(kPattern, {year, month, day, index});
}

// A fresh base folder per test; the logger makes Tessarix/Tessarix/Logs below it.
class LoggerTest : public testing::Test {
protected:
    void SetUp() override {
        g_now = Day(2012, 5, 10);
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        base_ = fs::temp_directory_path() /
                (std::string("tx-log-") + info->test_suite_name() + "-" + info->name());
        fs::remove_all(base_);
        fs::create_directories(base_);
        logs_ = Base() + Platform::kPathSeparator + u"Tessarix" + Platform::kPathSeparator + u"Tessarix" +
                Platform::kPathSeparator + u"Logs" + Platform::kPathSeparator;
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(base_, ignored);
    }

    std::u16string Base() const { return base_.u16string(); }

    std::unique_ptr<Logger> MakeLogger() {
        auto logger = std::make_unique<Logger>(Base(), &TestClock);
        logger->SetFileNamePattern(kPattern);
        return logger;
    }

    void Put(const std::u16string& name, std::size_t size) {
        fs::create_directories(fs::path(logs_));
        ASSERT_TRUE(Platform::WriteFile(logs_ + name, std::string(size, 'x')));
    }
    std::string Read(const std::u16string& name) const {
        return Platform::ReadFile(logs_ + name).value_or("<none>");
    }
    std::uint64_t Size(const std::u16string& name) const { return Platform::FileSize(logs_ + name); }
    std::vector<std::u16string> Files() const {
        auto names = Platform::ListFiles(logs_, u"");
        std::sort(names.begin(), names.end());
        return names;
    }

    // Fills the open file with Debug lines until the next line would take it past the limit.
    static void FillToJustBelowLimit(Logger& logger) {
        const std::u16string message(400, u'y');
        while (logger.FileSize() + 500 <= Logger::kMaxFileSize)
            logger.Debug(message);
    }

    fs::path base_;
    std::u16string logs_;
};

} // namespace

TEST(LogFileNames, FormatAndParse) {
    EXPECT_EQ(Name(2011, 3, 7), u"OLClipper_2011-03-07.txt");
    EXPECT_EQ(Name(2011, 3, 7, 2), u"OLClipper_2011-03-07_2.txt");
    EXPECT_EQ(Name(987, 12, 31, 0), u"OLClipper_0987-12-31.txt");

    const std::pair<const char16_t*, std::optional<LogFileStamp>> cases[] = {
        {u"OLClipper_2011-03-07.txt", LogFileStamp{2011, 3, 7, 0}},
        {u"OLClipper_2011-03-07_12.txt", LogFileStamp{2011, 3, 7, 12}},
        // Leading integers: "07.txt" reads 7, "1.log" reads 1, a missing index reads 0.
        {u"OLClipper_2011-3-07.anything", LogFileStamp{2011, 3, 7, 0}},
        {u"OLClipper_2011-03-07_1.log", LogFileStamp{2011, 3, 7, 1}},
        {u"OLClipper_2011-03-07_x.txt", LogFileStamp{2011, 3, 7, 0}},
        {u"OLClipper.log", std::nullopt},                // one piece
        {u"OLClipper_2011-03-07_1_2.txt", std::nullopt}, // four pieces
        {u"OLClipper_2011-03.txt", std::nullopt},        // two date pieces
        {u"OLClipper_2011-03-07-01.txt", std::nullopt},  // four date pieces
        {u"OLClipper__2011-03-07.txt", std::nullopt},    // an empty piece counts
        {u"olclipper_2011-03-07.txt", std::nullopt},     // the prefix is case-sensitive
        {u"OLClipperX_2011-03-07.txt", std::nullopt},    // the prefix must match whole
        {u"OLClipper_0000-03-07.txt", std::nullopt},     // zero year
        {u"OLClipper_2011-00-07.txt", std::nullopt},     // zero month
        {u"OLClipper_2011-03-.txt", std::nullopt},       // no day
        {u"OLClipper_year-03-07.txt", std::nullopt},     // no digits
    };
    for (const auto& [name, stamp] : cases)
        EXPECT_EQ(LogFiles::Parse(kPattern, name), stamp) << ToUtf8(name);
}

TEST(LogFileNames, PatternMustHaveAPrefixFreeOfTheSeparator) {
    EXPECT_THROW(LogFileNamePattern(u"", u'_'), std::invalid_argument);
    EXPECT_THROW(LogFileNamePattern(u"OL_Clipper", u'_'), std::invalid_argument);
    EXPECT_NO_THROW(LogFileNamePattern(u"OL-Clipper", u'_'));
    EXPECT_TRUE(LogFileNamePattern().Prefix().empty());
}

TEST(LogFileNames, SortsParsedNewestFirstThenUnparsedInTheirOrder) {
    std::vector<std::u16string> names = {u"OLClipper.log",  Name(2011, 3, 7),  Name(2011, 3, 7, 2),
                                         u"OLClipper.bak",  Name(2012, 1, 1),  Name(2011, 3, 7, 10),
                                         Name(2011, 12, 1), Name(2010, 12, 31)};
    LogFiles::SortNewestFirst(kPattern, names);
    EXPECT_EQ(names, (std::vector<std::u16string>{Name(2012, 1, 1), Name(2011, 12, 1), Name(2011, 3, 7, 10),
                                                  Name(2011, 3, 7, 2), Name(2011, 3, 7), Name(2010, 12, 31),
                                                  u"OLClipper.log", u"OLClipper.bak"}));
}

TEST(LogFileNames, NextNameAfterAFullFile) {
    const LogFileStamp last{2011, 5, 20, 3};
    EXPECT_EQ(LogFiles::NextName(kPattern, last, Day(2011, 5, 20)), Name(2011, 5, 20, 4));
    EXPECT_EQ(LogFiles::NextName(kPattern, last, Day(2011, 5, 21)), Name(2011, 5, 21));
    EXPECT_EQ(LogFiles::NextName(kPattern, last, Day(2012, 1, 2)), Name(2012, 1, 2));
    // The clock went back.
    EXPECT_EQ(LogFiles::NextName(kPattern, last, Day(2011, 5, 19)), u"");
    EXPECT_EQ(LogFiles::NextName(kPattern, last, Day(2011, 4, 30)), u"");
    EXPECT_EQ(LogFiles::NextName(kPattern, last, Day(2010, 12, 31)), u"");
    // The day test ignores the year: a later year in the same month but an earlier day also stops.
    EXPECT_EQ(LogFiles::NextName(kPattern, last, Day(2012, 5, 10)), u"");
    EXPECT_EQ(LogFiles::NextName(kPattern, last, Day(2012, 6, 10)), Name(2012, 6, 10));
}

TEST_F(LoggerTest, FirstFileIsTodaysAndLinesHaveTheirExactBytes) {
    auto logger = MakeLogger();
    ASSERT_TRUE(logger->IsOpen());
    EXPECT_EQ(logger->Directory(), logs_);
    EXPECT_EQ(logger->CurrentFileName(), u"OLClipper_2012-05-10.txt");
    EXPECT_EQ(Files(), std::vector<std::u16string>{u"OLClipper_2012-05-10.txt"});

    logger->Debug(u"CAddin2003::OnConnection() call begin");
    logger->Info(u"h\u00e9llo \u65e5\u672c \U0001F600");
    logger->Warning(u"count: %d, 100%%, %s.");
    logger->Error(u"two\nlines");
    g_now.milliseconds = 999;
    logger->Critical(u"");

    EXPECT_EQ(Read(u"OLClipper_2012-05-10.txt"),
              "\xEF\xBB\xBF"
              "05/10/2012 14:05:09:0042 Debug: CAddin2003::OnConnection() call begin\r\r\n"
              "05/10/2012 14:05:09:0042 Info: h\xC3\xA9llo \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80\r\r\n"
              "05/10/2012 14:05:09:0042 Warning: count: , 100%, .\r\r\n"
              "05/10/2012 14:05:09:0042 Error: two\r\nlines\r\r\n"
              "05/10/2012 14:05:09:0999 Critical: \r\r\n");
    EXPECT_EQ(logger->FileSize(), Size(u"OLClipper_2012-05-10.txt"));

    // Reopening the same (non-empty) file adds no second byte-order mark.
    logger.reset();
    logger = MakeLogger();
    logger->Info(u"again");
    const std::string bytes = Read(u"OLClipper_2012-05-10.txt");
    EXPECT_EQ(bytes.find("\xEF\xBB\xBF", 3), std::string::npos);
    EXPECT_TRUE(bytes.ends_with("Critical: \r\r\n05/10/2012 14:05:09:0999 Info: again\r\r\n"));
}

TEST_F(LoggerTest, PatternSettingAndClose) {
    Logger logger(Base(), &TestClock);
    EXPECT_FALSE(logger.HasFileNamePattern());
    EXPECT_FALSE(logger.IsOpen());
    EXPECT_EQ(logger.Directory(), logs_); // the folder is made before any pattern is set
    EXPECT_TRUE(Platform::IsDirectory(logs_));
    EXPECT_TRUE(Files().empty());
    logger.Info(u"nowhere");

    logger.SetFileNamePattern(LogFileNamePattern()); // ignored
    EXPECT_FALSE(logger.HasFileNamePattern());
    logger.SetFileNamePattern(kPattern);
    EXPECT_TRUE(logger.HasFileNamePattern());
    EXPECT_EQ(logger.FileNamePattern().Prefix(), u"OLClipper");
    EXPECT_TRUE(logger.IsOpen());

    logger.Close();
    EXPECT_FALSE(logger.IsOpen());
    EXPECT_EQ(logger.FileSize(), 0u);
    logger.Info(u"after close");
    EXPECT_EQ(Read(u"OLClipper_2012-05-10.txt"), "\xEF\xBB\xBF");
}

TEST_F(LoggerTest, NewestSmallFileIsReusedEvenFromAnEarlierDay) {
    Put(Name(2012, 5, 7), 50 * 1024);
    Put(Name(2012, 5, 6), 10);
    auto logger = MakeLogger();
    EXPECT_EQ(logger->CurrentFileName(), Name(2012, 5, 7));
    logger->Info(u"today");
    EXPECT_EQ(Files().size(), 2u);
    const std::string bytes = Read(Name(2012, 5, 7));
    EXPECT_EQ(bytes.size(), 50 * 1024 + std::string("05/10/2012 14:05:09:0042 Info: today\r\r\n").size());
    EXPECT_TRUE(bytes.ends_with(std::string(10, 'x') + "05/10/2012 14:05:09:0042 Info: today\r\r\n"));
}

TEST_F(LoggerTest, ReusedUtf16FileKeepsItsEncoding) {
    fs::create_directories(fs::path(logs_));
    ASSERT_TRUE(Platform::WriteFile(logs_ + Name(2012, 5, 9), std::string("\xFF\xFE", 2)));
    auto logger = MakeLogger();
    logger->Info(u"\u00e9");
    const std::string expected = "05/10/2012 14:05:09:0042 Info: \xE9\r\r\n";
    std::string utf16 = "\xFF\xFE";
    for (char c : expected) {
        utf16 += c;
        utf16 += '\0';
    }
    EXPECT_EQ(Read(Name(2012, 5, 9)), utf16);
}

TEST_F(LoggerTest, LineCrossingTheLimitStaysAndTheNextGoesToTheNextFile) {
    struct Case {
        Platform::SystemTime fileDay;
        int fileIndex;
        std::u16string next;
    };
    for (const Case& c :
         {Case{Day(2012, 5, 10), 0, Name(2012, 5, 10, 1)}, Case{Day(2012, 5, 10), 4, Name(2012, 5, 10, 5)},
          Case{Day(2012, 5, 7), 2, Name(2012, 5, 10)}}) {
        SetUp();
        const std::u16string full = Name(c.fileDay.year, c.fileDay.month, c.fileDay.day, c.fileIndex);
        Put(full, 100 * 1024 - 400);
        auto logger = MakeLogger();
        ASSERT_EQ(logger->CurrentFileName(), full);
        FillToJustBelowLimit(*logger);
        ASSERT_LE(Size(full), Logger::kMaxFileSize);

        logger->Info(std::u16string(500, u'z') + u"|crossing");
        EXPECT_GT(Size(full), Logger::kMaxFileSize);
        EXPECT_TRUE(Read(full).ends_with("|crossing\r\r\n"));
        EXPECT_EQ(logger->CurrentFileName(), c.next);

        logger->Info(u"next");
        EXPECT_EQ(Read(c.next), "\xEF\xBB\xBF"
                                "05/10/2012 14:05:09:0042 Info: next\r\r\n");
        EXPECT_TRUE(Read(full).ends_with("|crossing\r\r\n"));
    }
}

TEST_F(LoggerTest, RotationKeepsTheFiveNewestAndDropsStrayNamesFirst) {
    // Three older full files, a stray name and today's file (made full by logging): the rotation
    // makes a sixth, and the stray name, sorting last, is the one deleted.
    Put(Name(2012, 5, 1), Logger::kMaxFileSize);
    Put(Name(2012, 5, 2), Logger::kMaxFileSize);
    Put(Name(2012, 5, 3, 1), Logger::kMaxFileSize);
    Put(u"OLClipper.log", 10);
    Put(u"Other.txt", 10);
    auto logger = MakeLogger();
    ASSERT_EQ(logger->CurrentFileName(), Name(2012, 5, 10));
    FillToJustBelowLimit(*logger);
    logger->Info(std::u16string(600, u'z'));
    EXPECT_EQ(logger->CurrentFileName(), Name(2012, 5, 10, 1));
    EXPECT_EQ(Files(), (std::vector<std::u16string>{Name(2012, 5, 1), Name(2012, 5, 2), Name(2012, 5, 3, 1),
                                                    Name(2012, 5, 10), Name(2012, 5, 10, 1), u"Other.txt"}));

    // The next rotation drops the oldest dated file.
    FillToJustBelowLimit(*logger);
    logger->Info(std::u16string(600, u'z'));
    EXPECT_EQ(logger->CurrentFileName(), Name(2012, 5, 10, 2));
    EXPECT_EQ(Files(),
              (std::vector<std::u16string>{Name(2012, 5, 2), Name(2012, 5, 3, 1), Name(2012, 5, 10),
                                           Name(2012, 5, 10, 1), Name(2012, 5, 10, 2), u"Other.txt"}));
}

TEST_F(LoggerTest, StrayNameIsTheLogWhenItIsTheOnlySmallMatch) {
    Put(u"OLClipper.log", 100);
    auto logger = MakeLogger();
    EXPECT_EQ(logger->CurrentFileName(), u"OLClipper.log");
    logger->Info(u"x");
    EXPECT_TRUE(Read(u"OLClipper.log").ends_with("Info: x\r\r\n"));

    // Once full, an unparsed newest file gives way to today's name.
    FillToJustBelowLimit(*logger);
    logger->Info(std::u16string(600, u'z'));
    EXPECT_EQ(logger->CurrentFileName(), Name(2012, 5, 10));
}

TEST_F(LoggerTest, LoggingStopsWhenTheClockWentBack) {
    Put(Name(2011, 5, 20), Logger::kMaxFileSize);
    g_now = Day(2012, 5, 10);
    auto logger = MakeLogger();
    EXPECT_TRUE(logger->HasFileNamePattern());
    EXPECT_FALSE(logger->IsOpen());
    logger->Critical(u"lost");
    EXPECT_EQ(Files(), std::vector<std::u16string>{Name(2011, 5, 20)});
    EXPECT_EQ(Size(Name(2011, 5, 20)), Logger::kMaxFileSize);

    // A month later the next file is today's.
    g_now = Day(2012, 6, 10);
    logger->SetFileNamePattern(kPattern);
    EXPECT_EQ(logger->CurrentFileName(), Name(2012, 6, 10));
}

TEST_F(LoggerTest, UnusableFolderNeverFailsTheCaller) {
    // The base "folder" is a file, so no log folder can be made below it.
    const std::u16string file = Base() + Platform::kPathSeparator + u"file";
    ASSERT_TRUE(Platform::WriteFile(file, "x"));
    Logger logger(file, &TestClock);
    logger.SetFileNamePattern(kPattern);
    EXPECT_FALSE(logger.IsOpen());
    EXPECT_NO_THROW(logger.Error(u"nothing"));
    EXPECT_NO_THROW(logger.DumpExportDocument("<x/>", 4));
    EXPECT_EQ(logger.FileSize(), 0u);

    Logger none(u"", &TestClock);
    none.SetFileNamePattern(kPattern);
    EXPECT_TRUE(none.Directory().empty());
    EXPECT_FALSE(none.IsOpen());
    EXPECT_NO_THROW(none.DumpExportDocument("<x/>", 4));
}

TEST_F(LoggerTest, ExportDocumentDumpReplacesTheLastAndIsLogged) {
    auto logger = MakeLogger();
    const std::string first("<a>\n\0</a>", 9);
    logger->DumpExportDocument(first.data(), first.size());
    EXPECT_EQ(Read(u"TXCEData.xml"), first); // untranslated bytes
    logger->DumpExportDocument("<b/>", 4);
    EXPECT_EQ(Read(u"TXCEData.xml"), "<b/>");
    logger->DumpExportDocument(nullptr, 4);
    logger->DumpExportDocument("<c/>", 0);
    EXPECT_EQ(Read(u"TXCEData.xml"), "<b/>");

    std::string log = Read(Name(2012, 5, 10));
    std::size_t count = 0;
    for (std::size_t at = 0; (at = log.find("Info: Created TXCE data dump.\r\r\n", at)) != std::string::npos;
         ++at)
        ++count;
    EXPECT_EQ(count, 2u);
}

// A file dated after today is not one the log wrote: a planted one would receive every line
// (small) or stop the log (full).
TEST_F(LoggerTest, AFileDatedAfterTodayIsNeverContinued) {
    for (const std::uint64_t size : {std::uint64_t{10}, Logger::kMaxFileSize}) {
        TearDown();
        SetUp();
        Put(Name(2012, 5, 9), 20);
        Put(Name(2012, 5, 11), static_cast<std::size_t>(size));
        auto logger = MakeLogger();
        logger->Info(u"today");
        EXPECT_EQ(logger->CurrentFileName(), Name(2012, 5, 9)) << size;
        EXPECT_EQ(Size(Name(2012, 5, 11)), size);
    }
    // Only future files: today's file is begun, and the future ones are the first to be deleted.
    TearDown();
    SetUp();
    for (int day = 11; day < 16; ++day)
        Put(Name(2012, 5, day), 10);
    auto logger = MakeLogger();
    EXPECT_EQ(logger->CurrentFileName(), Name(2012, 5, 10));
    FillToJustBelowLimit(*logger);
    logger->Info(std::u16string(600, u'z'));
    EXPECT_EQ(logger->CurrentFileName(), Name(2012, 5, 10, 1));
    const auto files = Files();
    EXPECT_EQ(files.size(), 5u);
    EXPECT_EQ(std::count(files.begin(), files.end(), Name(2012, 5, 15)), 1) << "the rest go first";
    EXPECT_EQ(std::count(files.begin(), files.end(), Name(2012, 5, 10)), 1);
}

namespace {

#ifdef _WIN32
// Runs a Unix command from inside Wine; false outside Wine. Wine starts a Unix program on its
// own, so the end of the command is awaited by its effect.
bool RunUnix(std::wstring command, const std::function<bool()>& done) {
    using UnixName = char*(CDECL*)(const wchar_t*);
    const auto unixName = reinterpret_cast<UnixName>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    if (!unixName)
        return false;
    const std::wstring program = L"Z:\\bin\\" + command.substr(0, command.find(L' '));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                          &startup, &process))
        return false;
    ::CloseHandle(process.hProcess);
    ::CloseHandle(process.hThread);
    for (int i = 0; i < 500 && !done(); ++i)
        ::Sleep(10);
    return done();
}

std::wstring UnixPath(const fs::path& path) {
    using UnixName = char*(CDECL*)(const wchar_t*);
    const auto unixName = reinterpret_cast<UnixName>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    char* name = unixName ? unixName(path.c_str()) : nullptr;
    std::wstring wide = name ? std::wstring(AsWide(FromUtf8(name))) : std::wstring();
    ::HeapFree(::GetProcessHeap(), 0, name);
    return wide;
}

bool IsReparsePoint(const fs::path& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}
#endif

// A link at `link` to the folder `target`, removed with the scope. Wine 8 can make neither a
// junction (FSCTL_SET_REPARSE_POINT is not supported) nor a symbolic link (CreateSymbolicLinkW
// does nothing) through the Windows API, but it shows a Unix symbolic link to a folder as a
// reparse point, as it shows junctions: there the link is made with the Unix ln.
class FolderLink {
public:
    FolderLink(const fs::path& link, const fs::path& target) : link_(link) {
#ifdef _WIN32
        const std::wstring unixLink = UnixPath(link.parent_path()) + L"/" + link.filename().wstring();
        if (RunUnix(L"ln -s " + UnixPath(target) + L" " + unixLink, [&] { return IsReparsePoint(link); })) {
            unixLink_ = unixLink;
            return;
        }
        std::error_code error;
        fs::create_directory_symlink(target, link, error); // Windows itself
        made_ = !error && IsReparsePoint(link);
#else
        std::error_code error;
        fs::create_directory_symlink(target, link, error);
        made_ = !error;
#endif
    }
    ~FolderLink() {
#ifdef _WIN32
        // Wine does not remove the link it shows as a reparse point.
        if (!unixLink_.empty()) {
            RunUnix(L"rm " + unixLink_,
                    [&] { return ::GetFileAttributesW(link_.c_str()) == INVALID_FILE_ATTRIBUTES; });
            return;
        }
#endif
        std::error_code ignored;
        fs::remove(link_, ignored);
    }
    FolderLink(const FolderLink&) = delete;
    FolderLink& operator=(const FolderLink&) = delete;
    bool Made() const {
        return made_ || !unixLink_.empty();
    }

private:
    fs::path link_;
    std::wstring unixLink_;
    bool made_ = false;
};

} // namespace

// The folder may be made a link (a junction on Windows) by a process that can write its parent.
TEST_F(LoggerTest, ALogFolderThatIsALinkIsUnusable) {
    const fs::path elsewhere = base_ / "elsewhere";
    fs::create_directories(elsewhere);
    fs::create_directories(base_ / "Tessarix" / "Tessarix");
    const FolderLink link(base_ / "Tessarix" / "Tessarix" / "Logs", elsewhere);
    ASSERT_TRUE(link.Made());
    auto logger = MakeLogger();
    EXPECT_FALSE(logger->IsOpen());
    EXPECT_TRUE(logger->Directory().empty());
    logger->Info(u"lost");
    logger->DumpExportDocument("<x/>", 4);
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

// A file of the user's linked under a name the log writes is neither appended to nor replaced.
TEST_F(LoggerTest, ALinkedFileIsNeitherAppendedToNorReplaced) {
    const fs::path victim = base_ / "victim.txt";
    struct Kind {
        const char* what;
        void (*make)(const fs::path& target, const fs::path& link);
    };
    std::vector<Kind> kinds = {{"hard link", [](const fs::path& t, const fs::path& l) {
                                    fs::create_hard_link(t, l);
                                }}};
#ifndef _WIN32 // Wine 8 cannot make a symbolic link to a file, nor show one as a link
    kinds.push_back({"symbolic link", [](const fs::path& t, const fs::path& l) {
                         fs::create_symlink(t, l);
                     }});
#endif
    for (const Kind& kind : kinds) {
        TearDown();
        SetUp();
        ASSERT_TRUE(Platform::WriteFile(victim.u16string(), "precious"));
        fs::create_directories(fs::path(logs_));
        kind.make(victim, fs::path(logs_ + Name(2012, 5, 10)));
        kind.make(victim, fs::path(logs_ + u"TXCEData.xml"));
        auto logger = MakeLogger();
        EXPECT_FALSE(logger->IsOpen()) << kind.what;
        logger->Info(u"line");
        logger->DumpExportDocument("<x/>", 4);
        EXPECT_EQ(Platform::ReadFile(victim.u16string()), "precious") << kind.what;
    }
}

TEST_F(LoggerTest, LinesFromManyThreadsStayWholeAcrossRotations) {
    auto logger = MakeLogger();
    constexpr int kThreads = 4, kLines = 800;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&logger, t] {
            for (int i = 0; i < kLines; ++i)
                logger->Debug(Format(u"thread %d line %d ", t, i) +
                              std::u16string(40, static_cast<char16_t>(u'a' + t)));
        });
    for (auto& thread : threads)
        thread.join();

    const std::regex line(R"(05/10/2012 14:05:09:0042 Debug: thread (\d) line \d+ [a-d]{40}\r\r)");
    std::size_t total = 0;
    for (const auto& name : Files()) {
        std::string bytes = Read(name);
        ASSERT_TRUE(bytes.starts_with("\xEF\xBB\xBF")) << ToUtf8(name);
        bytes.erase(0, 3);
        std::size_t start = 0, end;
        while ((end = bytes.find('\n', start)) != std::string::npos) {
            EXPECT_TRUE(std::regex_match(bytes.substr(start, end - start), line))
                << bytes.substr(start, end - start);
            ++total;
            start = end + 1;
        }
        EXPECT_EQ(start, bytes.size());
    }
    EXPECT_EQ(total, std::size_t{kThreads * kLines});
    EXPECT_GE(Files().size(), 3u);
}
