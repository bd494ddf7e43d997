// Pictures from the WinINet URL cache and from local files, through Wine's WinINet.
#include <windows.h>

#include <wininet.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/Utf.h"
#include "html/Cleanup.h"
#include "html/FakeDocument.h"
#include "html/PictureSources.h"

using namespace Tessarix;
namespace fs = std::filesystem;

namespace {

// An entry of the user's URL cache, removed again at the end.
class CacheEntry {
public:
    CacheEntry(std::u16string url, const std::string& bytes) : url_(std::move(url)) {
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

private:
    std::u16string url_;
    bool ok_ = false;
};

TEST(PictureSourcesWin, ReadsAPictureFromTheUrlCache) {
    CacheEntry entry(u"http://pictures.example.com/logo.png", "cached picture bytes");
    ASSERT_TRUE(entry.Ok());
    const auto bytes = Html::Pictures::FromCache(u"http://pictures.example.com/logo.png");
    ASSERT_TRUE(bytes.has_value());
    EXPECT_EQ(std::string(bytes->View()), "cached picture bytes");
    EXPECT_FALSE(Html::Pictures::FromCache(u"http://pictures.example.com/absent.png").has_value());
    EXPECT_FALSE(Html::Pictures::FromCache(u"").has_value());
}

TEST(PictureSourcesWin, CleanupTakesTheCacheFirstThenTheFile) {
    CacheEntry entry(u"http://pictures.example.com/a.png", "from the cache");
    ASSERT_TRUE(entry.Ok());
    const fs::path file = fs::temp_directory_path() / "tx-html-win-picture.png";
    std::ofstream(file, std::ios::binary) << "from the file";
    const std::u16string fileAddress = u"file:///" + file.generic_u16string();

    Testing::FakeDocument doc;
    doc.AddImage(u"http://pictures.example.com/a.png");
    doc.AddImage(fileAddress);
    doc.AddImage(u"http://pictures.example.com/not-cached.png");
    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved;
    Global::Cleanup(doc, resources, unresolved);
    fs::remove(file);

    ASSERT_EQ(resources.size(), 2u);
    EXPECT_EQ(std::string(resources[0].GetData().View()), "from the cache");
    EXPECT_EQ(resources[0].GetSourceUrl(), u"http://pictures.example.com/a.png");
    EXPECT_EQ(std::string(resources[1].GetData().View()), "from the file");
    EXPECT_EQ(unresolved, std::vector<std::u16string>{u"http://pictures.example.com/not-cached.png"});
}

TEST(PictureSourcesWin, ReadsFilesOthersHoldOpenForWritingButNotFolders) {
    const fs::path file = fs::temp_directory_path() / "tx-html-win-open.png";
    std::ofstream writer(file, std::ios::binary);
    writer << "being written" << std::flush;
    const auto bytes = Html::Pictures::FromLocalFile(u"file:///" + file.generic_u16string());
    ASSERT_TRUE(bytes.has_value());
    EXPECT_EQ(std::string(bytes->View()), "being written");
    writer.close();
    fs::remove(file);
    EXPECT_FALSE(Html::Pictures::FromLocalFile(u"file:///" + fs::temp_directory_path().generic_u16string())
                     .has_value());
}

} // namespace
