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

// ---- Minimal but complete 1x1 images -----------------------------------------------------------

std::string BigEndian32(std::uint32_t v) {
    return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
}
std::string LittleEndian32(std::uint32_t v) {
    return {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
}
std::string LittleEndian16(std::uint16_t v) {
    return {char(v), char(v >> 8)};
}

std::uint32_t Crc32(std::string_view bytes) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (unsigned char b : bytes) {
        crc ^= b;
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

std::string PngChunk(std::string_view type, std::string_view data) {
    const std::string body = std::string(type) + std::string(data);
    return BigEndian32(static_cast<std::uint32_t>(data.size())) + body + BigEndian32(Crc32(body));
}

std::string Png() {
    const std::string header = BigEndian32(1) + BigEndian32(1) + "\x08\x06\x00\x00\x00"s; // 8-bit RGBA
    const std::string pixels = "\x78\x9c\x63\xf8\xcf\xc0\xf0\x1f\x00\x05\x00\x01\xff"s;   // deflated row
    return "\x89PNG\r\n\x1a\n"s + PngChunk("IHDR", header) + PngChunk("IDAT", pixels) + PngChunk("IEND", "");
}

std::string Jpeg() {
    std::string table(64, '\x01');
    return "\xFF\xD8"s                                                       // start of image
           + "\xFF\xE0\x00\x10JFIF\x00\x01\x01\x00\x00\x01\x00\x01\x00\x00"s // JFIF APP0
           + "\xFF\xDB\x00\x43\x00"s + table                                 // quantisation table
           + "\xFF\xD9"s;                                                    // end of image
}

std::string Gif() {
    return "GIF89a"s + LittleEndian16(1) + LittleEndian16(1) + "\x80\x00\x00"s // 2-colour table
           + "\x00\x00\x00\xFF\xFF\xFF"s                                       // black, white
           + "\x2C"s + LittleEndian16(0) + LittleEndian16(0) + LittleEndian16(1) + LittleEndian16(1) +
           "\x00"s + "\x02\x02\x44\x01\x00"s // LZW data
           + "\x3B"s;
}

std::string Bmp() {
    const std::string info = LittleEndian32(40) + LittleEndian32(1) + LittleEndian32(1) + LittleEndian16(1) +
                             LittleEndian16(24) + LittleEndian32(0) + LittleEndian32(4) +
                             LittleEndian32(2835) + LittleEndian32(2835) + LittleEndian32(0) +
                             LittleEndian32(0);
    const std::string pixel = "\x00\x00\xFF\x00"s; // one red pixel, padded to four bytes
    return "BM"s + LittleEndian32(14 + 40 + 4) + LittleEndian32(0) + LittleEndian32(14 + 40) + info + pixel;
}

CResource Sniffed(const std::string& bytes) {
    return CResource(u"ref", u"", StringUTF8::Copy(bytes), u"");
}

} // namespace

// ---- Resources ---------------------------------------------------------------------------------

TEST(CResource, KeepsAGivenTypeWithoutSniffing) {
    const StringUTF8 png = StringUTF8::Copy(Png());
    const CResource resource(u"cid:1", u"image/gif", png, u"http://example.com/a.png");
    EXPECT_EQ(resource.GetMime(), u"image/gif");
    EXPECT_EQ(resource.GetReference(), u"cid:1");
    EXPECT_EQ(resource.GetSourceUrl(), u"http://example.com/a.png");
    EXPECT_EQ(resource.GetFileName(), u"");
    EXPECT_TRUE(resource.GetData().SharesBufferWith(png));
    // A legacy name given by the creator is the creator's choice.
    EXPECT_EQ(CResource(u"", u"image/pjpeg", StringUTF8::Copy(Jpeg()), u"").GetMime(), u"image/pjpeg");
}

TEST(CResource, SniffsTheTypeOfCommonImages) {
    EXPECT_EQ(ToUtf8(Sniffed(Jpeg()).GetMime()), "image/jpeg");
    EXPECT_EQ(ToUtf8(Sniffed(Png()).GetMime()), "image/png");
    EXPECT_EQ(ToUtf8(Sniffed(Gif()).GetMime()), "image/gif");
    EXPECT_EQ(ToUtf8(Sniffed(Bmp()).GetMime()), "image/bmp");
    EXPECT_EQ(ToUtf8(Sniffed("Dear Sir,\r\nplain words only.\r\n").GetMime()), "text/plain");
}

TEST(CResource, NormalisesTheSniffersLegacyNames) {
#ifdef _WIN32
    // FindMimeFromData still answers with the names of the nineties.
    EXPECT_EQ(ToUtf8(SniffMime(Jpeg())), "image/pjpeg");
    EXPECT_EQ(ToUtf8(SniffMime(Png())), "image/x-png");
#endif
    EXPECT_EQ(ToUtf8(NormaliseMime(SniffMime(Jpeg()))), "image/jpeg");
    EXPECT_EQ(ToUtf8(NormaliseMime(SniffMime(Png()))), "image/png");
}

TEST(CResource, EmptyBytesGiveNoType) {
    EXPECT_EQ(SniffMime(""), u"");
    EXPECT_EQ(Sniffed("").GetMime(), u"");
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
    const std::string images[] = {Jpeg(), Png(), Gif(), Bmp()};
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

TEST(ResourceList, CopiesAreIndependentButShareTheBytes) {
    CNote note;
    note.GetResources().emplace_back(u"a", u"image/png", StringUTF8::Copy(Png()), u"");
    note.GetResources().back().SetFileName(u"first.png");
    note.GetResources().emplace_back(u"b", u"image/gif", StringUTF8::Copy(Gif()), u"");

    ResourceList copy = note.GetResources();
    copy[0].SetFileName(u"renamed.png");
    EXPECT_EQ(note.GetResources()[0].GetFileName(), u"first.png");
    EXPECT_EQ(copy[0].GetFileName(), u"renamed.png");
    EXPECT_EQ(copy[1].GetMime(), u"image/gif");
    for (std::size_t i = 0; i < copy.size(); ++i)
        EXPECT_TRUE(copy[i].GetData().SharesBufferWith(note.GetResources()[i].GetData())) << i;
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
}

TEST(Metadata, AMissingNameThrowsTheStandardError) {
    const MetadataList empty;
    EXPECT_FALSE(HasMetadata(empty, u"author"));
    try {
        GetMetadataByName(empty, u"author");
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Metadata with the name not found");
    }
    const MetadataList list{CMetadata(u"Author", u"x")};
    EXPECT_THROW(GetMetadataByName(list, u"author"), std::runtime_error);
}
