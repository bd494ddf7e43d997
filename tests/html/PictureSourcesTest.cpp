// Which picture addresses reach the cache or the disk, on both platforms: a picture address is
// written by the mail's sender, so every refusal is proven not to reach a reader at all.
#include "html/PictureSources.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/Utf.h"
#include "support/ItemLog.h"

using namespace Tessarix;
using Html::Pictures::PathStyle;
using Html::Pictures::Readers;
using Kind = Html::Pictures::Route::Kind;

namespace {

struct Case {
    std::u16string_view address;
    PathStyle style;
    Kind kind;
    std::u16string_view path; // for Kind::File
};

constexpr PathStyle W = PathStyle::Windows;
constexpr PathStyle P = PathStyle::Posix;

const Case kCases[] = {
    {u"http://pictures.example.com/a.png", W, Kind::Cache, u""},
    {u"HTTPS://pictures.example.com/a.png", P, Kind::Cache, u""},
    {u"file:///C:/Pictures/a.png", W, Kind::File, u"C:/Pictures/a.png"},
    {u"file:///d:\\Pictures\\a b.png", W, Kind::File, u"d:\\Pictures\\a b.png"},
    {u"file:///C:/x/file:///y.png", W, Kind::File, u"C:/x/y.png"}, // every "file:///" goes, as text
    {u"file:///home/a.png", P, Kind::File, u"/home/a.png"},
    // Another machine: Windows would connect to it and offer the user's credentials.
    {u"file://///host/share/a.png", W, Kind::Refused, u""},
    {u"file:///\\\\host\\share\\a.png", W, Kind::Refused, u""},
    {u"file:///\\\\?\\UNC\\host\\share\\a.png", W, Kind::Refused, u""},
    {u"file://host/share/a.png", W, Kind::Refused, u""},
    {u"file:////host/share/a.png", P, Kind::Refused, u""},
    // Devices and extended paths.
    {u"file:///\\\\?\\C:\\a.png", W, Kind::Refused, u""},
    {u"file:///\\\\.\\PhysicalDrive0", W, Kind::Refused, u""},
    // Relative: to whatever folder Outlook happens to be in.
    {u"file:///a.png", W, Kind::Refused, u""},
    {u"file:///C:a.png", W, Kind::Refused, u""},
    {u"file:///\\a.png", W, Kind::Refused, u""},
    {u"file:///", P, Kind::Refused, u""},
    {u"image001.png", W, Kind::Refused, u""},
    {u"Pictures/a.png", P, Kind::Refused, u""},
    {u"C:/Pictures/a.png", W, Kind::Refused, u""},
    // Other schemes: the cache is asked for web addresses only.
    {u"cid:image001.png@01D5A2B3.C4D5E6F0", W, Kind::Refused, u""},
    {u"ftp://pictures.example.com/a.png", W, Kind::Refused, u""},
    {u"data:image/png;base64,iVBORw0KGgo=", P, Kind::Refused, u""},
    {u"res://ieframe.dll/a.png", W, Kind::Refused, u""},
    {u"mhtml:file:///C:/x.mht!a.png", W, Kind::Refused, u""},
    {u"FILE:///C:/a.png", W, Kind::Refused, u""},
    {u"", W, Kind::Refused, u""},
};

// Readers that record every call and answer as told.
struct Recorder {
    std::vector<std::u16string> calls;
    bool localDrive = true;
    Readers::FileBytes::Outcome fileOutcome = Readers::FileBytes::Outcome::Read;
    std::uint32_t limitSeen = 0;

    Readers Make() {
        return Readers{[this](const std::u16string& address) -> std::optional<StringUTF8> {
                           calls.push_back(u"cache " + address);
                           return StringUTF8::Copy("cached");
                       },
                       [this](const std::u16string& path) {
                           calls.push_back(u"drive " + path);
                           return localDrive;
                       },
                       [this](const std::u16string& path, std::uint32_t limit) {
                           calls.push_back(u"file " + path);
                           limitSeen = limit;
                           return Readers::FileBytes{fileOutcome, StringUTF8::Copy("from disk")};
                       }};
    }
};

TEST(PictureSources, RoutesEachKindOfAddress) {
    for (const Case& c : kCases) {
        const auto route = Html::Pictures::RouteOf(c.address, c.style);
        EXPECT_EQ(route.kind, c.kind) << ToUtf8(c.address);
        EXPECT_EQ(ToUtf8(route.path), ToUtf8(c.path)) << ToUtf8(c.address);
    }
}

TEST(PictureSources, ARefusedAddressReachesNoReaderAndIsLogged) {
    for (const Case& c : kCases) {
        if (c.style != Html::Pictures::kSystemPathStyle)
            continue;
        Recorder recorder;
        Testing::ItemLog log;
        const std::u16string address(c.address);
        const auto bytes = Html::Pictures::Read(address, recorder.Make());
        std::vector<std::u16string> expected;
        if (c.kind == Kind::Cache)
            expected = {u"cache " + address};
        if (c.kind == Kind::File)
            expected = {u"drive " + std::u16string(c.path), u"file " + std::u16string(c.path)};
        EXPECT_EQ(recorder.calls, expected) << ToUtf8(address);
        EXPECT_EQ(bytes.has_value(), c.kind != Kind::Refused) << ToUtf8(address);
        const auto lines = log.Lines();
        EXPECT_EQ(std::count(lines.begin(), lines.end(),
                             "Info: Picture not read: " + ToUtf8(address) +
                                 " is neither a web address nor a file on this machine"),
                  c.kind == Kind::Refused ? 1 : 0)
            << ToUtf8(address);
    }
}

TEST(PictureSources, ReadsFromDiskOnlyOnALocalDriveAndUpToTheAttachmentLimit) {
#ifdef _WIN32
    const std::u16string address = u"file:///C:/Pictures/a.png", path = u"C:/Pictures/a.png";
#else
    const std::u16string address = u"file:///srv/a.png", path = u"/srv/a.png";
#endif
    Recorder remote;
    remote.localDrive = false;
    Testing::ItemLog log;
    EXPECT_FALSE(Html::Pictures::Read(address, remote.Make()).has_value());
    EXPECT_EQ(remote.calls, std::vector<std::u16string>{u"drive " + path});

    Recorder large;
    large.fileOutcome = Readers::FileBytes::Outcome::TooLarge;
    EXPECT_FALSE(Html::Pictures::Read(address, large.Make()).has_value());
    EXPECT_EQ(large.limitSeen, 26214400u);

    Recorder fine;
    const auto bytes = Html::Pictures::Read(address, fine.Make());
    ASSERT_TRUE(bytes.has_value());
    EXPECT_EQ(std::string(bytes->View()), "from disk");

    const auto lines = log.Lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        "Info: Picture not read: " + ToUtf8(address) + " is not on a local drive"),
              lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        "Info: Picture not read: " + ToUtf8(address) + " is larger than 26214400 bytes"),
              lines.end());
}

} // namespace
