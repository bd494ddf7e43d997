// Pictures from the WinINet URL cache and from local files, through Wine's WinINet.
#include <windows.h>

#include <wininet.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/Utf.h"
#include "html/Cleanup.h"
#include "html/FakeDocument.h"
#include "html/PictureSources.h"

using namespace Tessarix;
namespace fs = std::filesystem;

namespace {

// An entry of the user's URL cache, removed again at the end. Its address is new in every run: an
// entry that an earlier run left locked (one that crashed, or a build that never unlocked) stays
// so in the prefix, and Wine then refuses to commit that address again.
class CacheEntry {
public:
    CacheEntry(std::u16string_view name, const std::string& bytes)
        : url_(u"http://pictures.example.com/" + std::u16string(name) + u"?run=" +
               FromUtf8(std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(::GetTickCount64()))) {
        wchar_t file[MAX_PATH] = {};
        ok_ =
            ::CreateUrlCacheEntryW(AsWide(url_), static_cast<DWORD>(bytes.size()), L"png", file, 0) != FALSE;
        if (!ok_)
            return;
        std::ofstream(fs::path(file), std::ios::binary) << bytes;
        FILETIME never = {};
        ok_ = ::CommitUrlCacheEntryW(AsWide(url_), file, never, never, NORMAL_CACHE_ENTRY, nullptr, 0,
                                     nullptr, nullptr) != FALSE;
    }
    ~CacheEntry() { ::DeleteUrlCacheEntryW(AsWide(url_)); }
    CacheEntry(const CacheEntry&) = delete;
    CacheEntry& operator=(const CacheEntry&) = delete;
    bool Ok() const { return ok_; }
    const std::u16string& Url() const { return url_; }
    // How many readers hold the entry locked (a stream not unlocked keeps it).
    DWORD UseCount() const {
        DWORD size = 0;
        ::GetUrlCacheEntryInfoW(AsWide(url_), nullptr, &size);
        std::vector<std::uint64_t> record((size + 7) / 8 + 1);
        auto* info = reinterpret_cast<INTERNET_CACHE_ENTRY_INFOW*>(record.data());
        return ::GetUrlCacheEntryInfoW(AsWide(url_), info, &size) ? info->dwUseCount : ~DWORD{0};
    }

private:
    std::u16string url_;
    bool ok_ = false;
};

TEST(PictureSourcesWin, ReadsAPictureFromTheUrlCache) {
    CacheEntry entry(u"logo.png", "cached picture bytes");
    ASSERT_TRUE(entry.Ok());
    const auto bytes = Html::Pictures::FromCache(entry.Url());
    ASSERT_TRUE(bytes.has_value());
    EXPECT_EQ(std::string(bytes->View()), "cached picture bytes");
    EXPECT_EQ(entry.UseCount(), 0u) << "the stream is unlocked again";
    EXPECT_FALSE(Html::Pictures::FromCache(u"http://pictures.example.com/absent.png").has_value());
    EXPECT_FALSE(Html::Pictures::FromCache(u"").has_value());
}

TEST(PictureSourcesWin, CleanupTakesTheCacheFirstThenTheFile) {
    CacheEntry entry(u"a.png", "from the cache");
    ASSERT_TRUE(entry.Ok());
    const fs::path file = fs::temp_directory_path() / "tx-html-win-picture.png";
    std::ofstream(file, std::ios::binary) << "from the file";
    const std::u16string fileAddress = u"file:///" + file.generic_u16string();

    Testing::FakeDocument doc;
    doc.AddImage(entry.Url());
    doc.AddImage(fileAddress);
    doc.AddImage(u"http://pictures.example.com/not-cached.png");
    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved;
    Global::Cleanup(doc, resources, unresolved);
    fs::remove(file);

    ASSERT_EQ(resources.size(), 2u);
    EXPECT_EQ(std::string(resources[0].GetData().View()), "from the cache");
    EXPECT_EQ(resources[0].GetSourceUrl(), entry.Url());
    EXPECT_EQ(std::string(resources[1].GetData().View()), "from the file");
    EXPECT_EQ(unresolved, std::vector<std::u16string>{u"http://pictures.example.com/not-cached.png"});
}

TEST(PictureSourcesWin, ReadsDiskFilesOnLocalDrivesUpToTheLimitEvenWhileOthersWriteThem) {
    using Outcome = Html::Pictures::Readers::FileBytes::Outcome;
    const fs::path file = fs::temp_directory_path() / "tx-html-win-open.png";
    std::ofstream writer(file, std::ios::binary);
    writer << "being written" << std::flush;
    const std::u16string path = file.generic_u16string();
    const auto read = Html::Pictures::FromLocalFile(path, 13);
    EXPECT_EQ(read.outcome, Outcome::Read);
    EXPECT_EQ(std::string(read.bytes.View()), "being written");
    EXPECT_EQ(Html::Pictures::FromLocalFile(path, 12).outcome, Outcome::TooLarge);
    writer.close();
    fs::remove(file);
    EXPECT_EQ(Html::Pictures::FromLocalFile(fs::temp_directory_path().generic_u16string(), 100).outcome,
              Outcome::Unreadable);
    // A device name in a folder opens the device, not a file.
    EXPECT_EQ(Html::Pictures::FromLocalFile(path.substr(0, 3) + u"NUL", 100).outcome, Outcome::Unreadable);

    EXPECT_TRUE(Html::Pictures::IsOnLocalDrive(path));
    wchar_t unused = L'Z';
    for (const DWORD drives = ::GetLogicalDrives(); unused > L'C' && (drives & (1u << (unused - L'A')));)
        --unused;
    ASSERT_GT(unused, L'C') << "every drive letter is taken";
    EXPECT_FALSE(Html::Pictures::IsOnLocalDrive(std::u16string{static_cast<char16_t>(unused), u':', u'/'}));
}

} // namespace
