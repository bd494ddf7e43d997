#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

extern "C" {
#include <ytnef.h>
}

#include "msg/CompressedRtf.h"
#include "msg/MsgValue.h"

namespace Tessarix::Msg::Rtf {
namespace {

std::string Bytes(std::initializer_list<unsigned char> bytes) {
    return std::string(bytes.begin(), bytes.end());
}

// The two worked examples of the compressed-RTF format: a plain compressed stream, and one whose
// reference runs into the bytes it is writing.
const std::string kExample1 = Bytes(
    {0x2d, 0x00, 0x00, 0x00, 0x2b, 0x00, 0x00, 0x00, 0x4c, 0x5a, 0x46, 0x75, 0xf1, 0xc5, 0xc7, 0xa7, 0x03,
     0x00, 0x0a, 0x00, 0x72, 0x63, 0x70, 0x67, 0x31, 0x32, 0x35, 0x42, 0x32, 0x0a, 0xf3, 0x20, 0x68, 0x65,
     0x6c, 0x09, 0x00, 0x20, 0x62, 0x77, 0x05, 0xb0, 0x6c, 0x64, 0x7d, 0x0a, 0x80, 0x0f, 0xa0});
const std::string kExample1Rtf = "{\\rtf1\\ansi\\ansicpg1252\\pard hello world}\r\n";
const std::string kExample2 =
    Bytes({0x1a, 0x00, 0x00, 0x00, 0x1c, 0x00, 0x00, 0x00, 0x4c, 0x5a, 0x46, 0x75, 0xe2, 0xd4, 0x4b,
           0x51, 0x41, 0x00, 0x04, 0x20, 0x57, 0x58, 0x59, 0x5a, 0x0d, 0x6e, 0x7d, 0x01, 0x0e, 0xb0});
const std::string kExample2Rtf = "{\\rtf1 WXYZWXYZWXYZWXYZWXYZ}";

std::string LibytnefDecompress(const std::string& compressed) {
    std::string copy = compressed;
    variableLength in{reinterpret_cast<BYTE*>(copy.data()), static_cast<int>(copy.size())};
    int size = 0;
    BYTE* out = DecompressRTF(&in, &size);
    std::string result = out ? std::string(reinterpret_cast<char*>(out), static_cast<std::size_t>(size)) : "";
    std::free(out);
    return result;
}

TEST(CompressedRtf, DecompressesTheWorkedExamples) {
    EXPECT_EQ(Decompress(kExample1), kExample1Rtf);
    EXPECT_EQ(Decompress(kExample2), kExample2Rtf);
}

TEST(CompressedRtf, CrcIsTheFormatsOwn) {
    EXPECT_EQ(Crc32(kExample1.substr(16)), 0xA7C7C5F1u);
    EXPECT_EQ(Crc32(kExample2.substr(16)), 0x514BD4E2u);
    // The same CRC hashes named-property names: "x-mailer" in UTF-16LE.
    EXPECT_EQ(Crc32(ToUtf16Le(u"x-mailer")), 0xFF504E89u);
    EXPECT_EQ(Crc32(""), 0u);
}

TEST(CompressedRtf, CompressorWritesTheExamplesByteForByte) {
    EXPECT_EQ(Compress(kExample1Rtf), kExample1);
    EXPECT_EQ(Compress(kExample2Rtf), kExample2);
}

TEST(CompressedRtf, RejectsBrokenData) {
    std::string flipped = kExample1;
    flipped[30] ^= 0x01;
    EXPECT_THROW(Decompress(flipped), CompressedRtfError) << "CRC mismatch";

    EXPECT_THROW(Decompress(kExample1.substr(0, 15)), CompressedRtfError) << "shorter than the header";
    EXPECT_THROW(Decompress(kExample1.substr(0, kExample1.size() - 1)), CompressedRtfError) << "cut short";

    std::string unknownType = kExample1;
    unknownType[8] = 'X';
    EXPECT_THROW(Decompress(unknownType), CompressedRtfError);

    // A declared size far beyond what the data expands to is an error, not an allocation.
    std::string absurd = kExample1;
    absurd[4] = absurd[5] = absurd[6] = absurd[7] = static_cast<char>(0xFF);
    EXPECT_THROW(Decompress(absurd), CompressedRtfError);

    // The end marker missing and the data exhausted short of the declared size.
    std::string noEnd = kExample2;
    noEnd.resize(noEnd.size() - 4); // the end marker and the closing brace
    noEnd[0] = static_cast<char>(noEnd.size() - 4);
    const std::string content = noEnd.substr(16);
    const std::uint32_t crc = Crc32(content);
    for (int i = 0; i < 4; ++i)
        noEnd[12 + i] = static_cast<char>((crc >> (8 * i)) & 0xFF);
    EXPECT_THROW(Decompress(noEnd), CompressedRtfError);
}

TEST(CompressedRtf, UncompressedFormHasItsMarkerAndNoCrc) {
    const std::string rtf = "{\\rtf1\\ansi plain}";
    const std::string stored = StoreUncompressed(rtf);
    EXPECT_EQ(stored.substr(8, 4), "MELA");
    EXPECT_EQ(ReadLe32(stored.data()), rtf.size() + 12);
    EXPECT_EQ(ReadLe32(stored.data() + 4), rtf.size());
    EXPECT_EQ(ReadLe32(stored.data() + 12), 0u);
    EXPECT_EQ(Decompress(stored), rtf);
    EXPECT_THROW(Decompress(stored.substr(0, stored.size() - 1)), CompressedRtfError);
}

TEST(CompressedRtf, CompressorRoundTripsAndAnotherDecompressorAgrees) {
    std::mt19937 random(20240511);
    std::string noise(10000, '\0');
    for (char& c : noise)
        c = static_cast<char>(random() & 0xFF);
    std::string longRtf = "{\\rtf1\\ansi\\ansicpg1252\\fromhtml1 \\deff0{\\fonttbl{\\f0\\fswiss Arial;}}";
    for (int i = 0; i < 400; ++i)
        longRtf += "{\\*\\htmltag64 <p class=\"MsoNormal\">}line " + std::to_string(i) + "\\par\r\n";
    longRtf += "}";
    const std::string inputs[] = {
        "",
        "x",
        "{",
        "a\r\nb",
        std::string(5000, 'A'), // a match that runs into itself, and a wrapped dictionary
        noise,
        longRtf};
    for (const std::string& input : inputs) {
        const std::string compressed = Compress(input);
        EXPECT_EQ(Decompress(compressed), input) << input.size();
        // libytnef preloads LF CR where the format has CR LF, and rejects empty data: it checks
        // what does not refer to those two bytes.
        std::string withoutLineEnds = input;
        std::erase(withoutLineEnds, '\r');
        std::erase(withoutLineEnds, '\n');
        if (!withoutLineEnds.empty()) {
            EXPECT_EQ(LibytnefDecompress(Compress(withoutLineEnds)), withoutLineEnds) << input.size();
        }
    }
    EXPECT_LT(Compress(longRtf).size(), longRtf.size() / 4);
    EXPECT_LT(Compress(std::string(5000, 'A')).size(), 700u);
}

} // namespace
} // namespace Tessarix::Msg::Rtf
