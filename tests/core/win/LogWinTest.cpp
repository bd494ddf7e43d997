// The process logger on Windows: the real per-user LocalLow folder and the bytes on disk.
#include <windows.h>

#include <objbase.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <regex>

#include "core/Log.h"
#include "core/Utf.h"
#include "core/win/FileSystemWin.h"

using namespace Tessarix;

namespace {

constexpr GUID kLocalLow = {0xA520A1A4, 0x1780, 0x4FF6, {0xBD, 0x18, 0x16, 0x73, 0x43, 0xC5, 0xAF, 0x16}};

std::u16string ForwardSlashes(std::u16string s) {
    for (auto& c : s)
        if (c == u'\\')
            c = u'/';
    return s;
}

// Both folders asked here independently of the code under test.
std::u16string LocalLowFolder() {
    PWSTR raw = nullptr;
    const HRESULT hr = ::SHGetKnownFolderPath(kLocalLow, 0, nullptr, &raw);
    std::unique_ptr<wchar_t, decltype(&::CoTaskMemFree)> owner(raw, &::CoTaskMemFree);
    return SUCCEEDED(hr) && raw ? FromWide(raw) : std::u16string();
}

std::u16string LocalAppDataFolder() {
    wchar_t buffer[MAX_PATH + 1] = {};
    return ::SHGetSpecialFolderPathW(nullptr, buffer, CSIDL_LOCAL_APPDATA, FALSE) ? FromWide(buffer)
                                                                                  : std::u16string();
}

// A stand-in for SHGetKnownFolderPath that records what it was asked for.
struct KnownFolderCall {
    GUID folder{};
    DWORD flags = 1;
    HANDLE token = INVALID_HANDLE_VALUE;
};
KnownFolderCall lastCall;

HRESULT WINAPI AnswerStandIn(const GUID& folder, DWORD flags, HANDLE token, PWSTR* path) {
    lastCall = {folder, flags, token};
    static const wchar_t answer[] = L"C:\\Stand\\In";
    *path = static_cast<PWSTR>(::CoTaskMemAlloc(sizeof answer));
    std::memcpy(*path, answer, sizeof answer);
    return S_OK;
}

HRESULT WINAPI Fail(const GUID&, DWORD, HANDLE, PWSTR* path) {
    *path = nullptr;
    return E_FAIL;
}

} // namespace

TEST(ProcessLogger, BaseFolderIsLocalLowElseLocalAppData) {
    const std::u16string localLow = LocalLowFolder(), localAppData = LocalAppDataFolder();
    ASSERT_FALSE(localLow.empty());
    ASSERT_FALSE(localAppData.empty());
    ASSERT_NE(localLow, localAppData);
    EXPECT_EQ(Platform::UserLogBaseFolder(), ForwardSlashes(localLow));

    EXPECT_EQ(Platform::UserLogBaseFolder(&AnswerStandIn), u"C:/Stand/In");
    EXPECT_TRUE(::IsEqualGUID(lastCall.folder, kLocalLow));
    EXPECT_EQ(lastCall.flags, 0u);
    EXPECT_EQ(lastCall.token, nullptr);
    // Without SHGetKnownFolderPath (Windows XP), or when it fails: the older lookup.
    EXPECT_EQ(Platform::UserLogBaseFolder(nullptr), ForwardSlashes(localAppData));
    EXPECT_EQ(Platform::UserLogBaseFolder(&Fail), ForwardSlashes(localAppData));
}

TEST(ProcessLogger, WritesCrCrLfUtf8LinesIntoTheUserLocalLowFolder) {
    const std::u16string localLow = LocalLowFolder();
    ASSERT_FALSE(localLow.empty());

    Logger& log = Logger::Instance();
    if (!log.HasFileNamePattern())
        log.SetFileNamePattern(LogFileNamePattern(u"OLClipper", u'_'));
    ASSERT_TRUE(log.IsOpen());
    EXPECT_EQ(log.Directory(), ForwardSlashes(localLow) + u"\\Tessarix\\Tessarix\\Logs\\");
    EXPECT_TRUE(std::regex_match(ToUtf8(log.CurrentFileName()),
                                 std::regex(R"(OLClipper_\d{4}-\d\d-\d\d(_\d+)?\.txt)")))
        << ToUtf8(log.CurrentFileName());

    // Read through an independent path: FOLDERID_LocalAppDataLow + the relative log folder.
    const std::u16string path = localLow + u"\\Tessarix\\Tessarix\\Logs\\" + log.CurrentFileName();
    const std::uint64_t before = Platform::FileSize(path);
    log.Info(u"caf\u00e9 \u65e5\u672c 100%% %d");
    log.Error(u"done");
    const std::string bytes = Platform::ReadFile(path).value_or("");
    ASSERT_GT(bytes.size(), before);
    // Every file in this folder was made by the logger: one byte-order mark, at the start.
    EXPECT_TRUE(bytes.starts_with("\xEF\xBB\xBF"));
    EXPECT_EQ(bytes.find("\xEF\xBB\xBF", 3), std::string::npos);
    const std::string added = bytes.substr(before);

    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    const std::string date = ToUtf8(Format(u"%.2d/%.2d/%.4d ", now.wMonth, now.wDay, now.wYear));
    const std::string stamp = R"(\d\d/\d\d/\d{4} \d\d:\d\d:\d\d:\d{4} )";
    EXPECT_TRUE(
        std::regex_match(added, std::regex(stamp + "Info: caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC 100% \r\r\n" +
                                           stamp + "Error: done\r\r\n")))
        << added;
    EXPECT_TRUE(added.starts_with(date) || now.wHour == 0) << added; // local date, month first
}

TEST(ProcessLogger, ExportDumpLandsBesideTheLog) {
    Logger& log = Logger::Instance();
    if (!log.HasFileNamePattern())
        log.SetFileNamePattern(LogFileNamePattern(u"OLClipper", u'_'));
    const std::string document = "<?xml version=\"1.0\"?>\n<tx-clipper-export/>";
    log.DumpExportDocument(document.data(), document.size());
    EXPECT_EQ(Platform::ReadFile(LocalLowFolder() + u"\\Tessarix\\Tessarix\\Logs\\TXCEData.xml"), document);
}
