#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <thread>
#include <vector>

#include "core/Utf.h"
#include "notes/MimeSniffer.h"
#include "notes/Note.h"

using namespace Tessarix;
using namespace Tessarix::Notes;
using namespace std::literals;

namespace {

// Minimal but complete 1x1 images: an 8-bit RGBA PNG, a JFIF JPEG with one quantisation table, a
// GIF with a two-colour table, a 24-bit BMP of one red pixel.
const std::string kPng = "\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x01\0\0\0\x01\x08\x06\0\0\0\x1f\x15\xc4\x89"
                         "\0\0\0\rIDATx\x9c\x63\xf8\xcf\xc0\xf0\x1f\0\x05\0\x01\xff\x89\x99=\x1d"
                         "\0\0\0\0IEND\xae\x42\x60\x82"s;
const std::string kJpeg = "\xFF\xD8\xFF\xE0\0\x10JFIF\0\x01\x01\0\0\x01\0\x01\0\0\xFF\xDB\0\x43\0"s +
                          std::string(64, '\x01') + "\xFF\xD9"s;
const std::string kGif =
    "GIF89a\x01\0\x01\0\x80\0\0\0\0\0\xFF\xFF\xFF,\0\0\0\0\x01\0\x01\0\0\x02\x02\x44\x01\0;"s;
const std::string kBmp =
    "BM\x3A\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\x01\0\0\0\x01\0\0\0\x01\0\x18\0\0\0\0\0\x04\0\0\0"
    "\x13\x0B\0\0\x13\x0B\0\0\0\0\0\0\0\0\0\0\0\0\xFF\0"s;

CResource Sniffed(const std::string& bytes) {
    return CResource(u"ref", u"", StringUTF8::Copy(bytes), u"");
}

} // namespace

// ---- Resources ---------------------------------------------------------------------------------

TEST(CResource, KeepsAGivenTypeWithoutSniffing) {
    const StringUTF8 png = StringUTF8::Copy(kPng);
    const CResource resource(u"cid:1", u"image/gif", png, u"http://example.com/a.png");
    EXPECT_EQ(resource.GetMime(), u"image/gif");
    EXPECT_TRUE(resource.GetData().SharesBufferWith(png));
    // A legacy name given by the creator is the creator's choice.
    EXPECT_EQ(CResource(u"", u"image/pjpeg", StringUTF8::Copy(kJpeg), u"").GetMime(), u"image/pjpeg");
}

TEST(CResource, SniffsTheTypeOfCommonImages) {
    EXPECT_EQ(ToUtf8(Sniffed(kJpeg).GetMime()), "image/jpeg");
    EXPECT_EQ(ToUtf8(Sniffed(kPng).GetMime()), "image/png");
    EXPECT_EQ(ToUtf8(Sniffed(kGif).GetMime()), "image/gif");
    EXPECT_EQ(ToUtf8(Sniffed(kBmp).GetMime()), "image/bmp");
    EXPECT_EQ(ToUtf8(Sniffed("Dear Sir,\r\nplain words only.\r\n").GetMime()), "text/plain");
    EXPECT_EQ(Sniffed("").GetMime(), u"") << "empty bytes give no type";
}

// Bytes read on demand: sized without a load, sniffed from one, loaded again for each GetData.
TEST(CResource, ContentReadOnDemand) {
    struct Content final : IResourceContent {
        int loads = 0;
        std::uint32_t Size() override { return static_cast<std::uint32_t>(kPng.size()); }
        StringUTF8 Load() override {
            ++loads;
            return StringUTF8::Copy(kPng);
        }
    };
    for (const char16_t* mime : {u"application/x-y", u""}) {
        auto content = std::make_shared<Content>();
        const CResource resource(u"", mime, content, u"");
        EXPECT_EQ(resource.GetMime(), *mime ? mime : u"image/png");
        const int sniffed = *mime ? 0 : 1;
        EXPECT_EQ(content->loads, sniffed);
        EXPECT_EQ(resource.Size(), kPng.size());
        EXPECT_EQ(resource.GetData().View(), kPng);
        EXPECT_EQ(content->loads, sniffed + 1);
    }
}

TEST(NormaliseMime, RewritesOnlyTheTwoExactLegacyNames) {
    EXPECT_EQ(NormaliseMime(u"image/pjpeg"), u"image/jpeg");
    EXPECT_EQ(NormaliseMime(u"image/x-png"), u"image/png");
    EXPECT_EQ(NormaliseMime(u"IMAGE/PJPEG"), u"IMAGE/PJPEG");
    EXPECT_EQ(NormaliseMime(u"image/pjpeg "), u"image/pjpeg ");
    EXPECT_EQ(NormaliseMime(u"image/x-png2"), u"image/x-png2");
    EXPECT_EQ(NormaliseMime(u"image/gif"), u"image/gif");
    EXPECT_EQ(NormaliseMime(u""), u"");
}

TEST(MimeSniffer, AnswersFromSeveralThreadsAtOnce) {
    const std::string images[] = {kJpeg, kPng, kGif, kBmp};
    const char16_t* expected[] = {u"image/jpeg", u"image/png", u"image/gif", u"image/bmp"};
    std::vector<int> wrong(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 100; ++i) {
                const int k = (t + i) % 4;
                if (NormaliseMime(SniffMime(images[k])) != expected[k])
                    ++wrong[t];
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

// ---- Metadata ------------------------------------------------------------------------

TEST(Metadata, LookupIsExactAndTakesTheFirstMatch) {
    MetadataList list;
    list.emplace_back(kMetaSource, u"first");
    list.emplace_back(kMetaCreated, u"20110307T140509Z");
    list.emplace_back(kMetaSource, u"second");

    EXPECT_TRUE(HasMetadata(list, u"source"));
    EXPECT_FALSE(HasMetadata(list, u"Source"));
    EXPECT_FALSE(HasMetadata(list, u"sourc"));
    EXPECT_EQ(GetMetadataByName(list, u"source").GetValue(), u"first");
    EXPECT_EQ(GetMetadataByName(list, u"created").GetValue(), u"20110307T140509Z");

    // A missing name throws the standard error.
    const MetadataList empty;
    EXPECT_FALSE(HasMetadata(empty, u"author"));
    try {
        GetMetadataByName(empty, u"author");
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Metadata with the name not found");
    }
    EXPECT_THROW(GetMetadataByName(list, u"Source"), std::runtime_error);
}

// ---- What XML cannot carry ------------------------------------------------------------------

TEST(NoteText, EveryTextFieldReplacesWhatXmlCannotCarryByOneBlank) {
    struct Case {
        std::u16string in, out;
    };
    const Case cases[] = {
        {u"form\ffeed\vtab\x1B[0mesc", u"form feed tab [0mesc"},
        {std::u16string(u"nul\0end", 7), u"nul end"},
        {u"\x01\x1F\x7F", u"  \x7F"},                                   // DEL is a character XML allows
        {u"lone\xD800 high, lone\xDC00 low", u"lone  high, lone  low"}, // each a blank of its own
        {u"\xDC00\xD800", u"  "},                                       // a pair in the wrong order
        {u"\xD83D\xDE00 \uFFFD \uFFFE\uFFFF", u"\xD83D\xDE00 \uFFFD   "},
        {u"kept:\t\r\n", u"kept:\t\r\n"},
        {u"\xD800", u" "}, // a high surrogate at the very end
    };
    for (const Case& c : cases) {
        CNote note;
        note.SetTitle(c.in);
        note.SetContent(c.in);
        CMetadata metadata(kMetaAuthor, c.in);
        CResource resource(u"", c.in, StringUTF8(), c.in);
        resource.SetFileName(c.in);
        const std::u16string seen[] = {note.GetTitle(),    note.GetContent(),       metadata.GetValue(),
                                       resource.GetMime(), resource.GetSourceUrl(), resource.GetFileName()};
        for (const std::u16string& value : seen)
            EXPECT_EQ(value, c.out) << ToUtf8(c.in);
        metadata.SetValue(c.in);
        EXPECT_EQ(metadata.GetValue(), c.out);
    }
}
