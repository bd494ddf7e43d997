// The compressed-RTF decompressor (PR_RTF_COMPRESSED of a saved item): any bytes either decompress
// to exactly the declared size, never more than the data can expand to, or fail with
// CompressedRtfError. Whatever the compressor and the uncompressed form store comes back unchanged.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/FuzzCheck.h"
#include "msg/CompressedRtf.h"
#include "msg/MsgValue.h"

using namespace Tessarix;
using namespace Tessarix::Msg;

namespace {

void CheckDecompress(std::string_view data) {
    std::string rtf;
    try {
        rtf = Rtf::Decompress(data);
    } catch (const Rtf::CompressedRtfError&) {
        return;
    } catch (...) {
        Fuzz::Fail("Decompress raised something other than CompressedRtfError",
                   Fuzz::Describe(std::current_exception()));
    }
    // It succeeded, so the header is there and its sizes held.
    const std::uint32_t rawSize = ReadLe32(data.data() + 4);
    const std::size_t content = ReadLe32(data.data()) - 12;
    Fuzz::Require(rtf.size() == rawSize, "the RTF is not of the declared size");
    // A literal gives one byte, a two-byte reference at most 17.
    Fuzz::Require(rtf.size() <= content * 9, "more RTF than the data can expand to");
}

void CheckRoundTrip(std::string_view rtf) {
    try {
        Fuzz::Require(Rtf::Decompress(Rtf::Compress(rtf)) == rtf, "compressed RTF does not come back");
        Fuzz::Require(Rtf::Decompress(Rtf::StoreUncompressed(rtf)) == rtf,
                      "uncompressed RTF does not come back");
    } catch (const Rtf::CompressedRtfError& e) {
        Fuzz::Fail("what Compress wrote does not decompress", e.what());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    CheckDecompress(bytes);
    // The compressor searches its whole dictionary for every byte: a prefix keeps the run fast.
    CheckRoundTrip(bytes.substr(0, std::min<std::size_t>(bytes.size(), 128)));
    return 0;
}
