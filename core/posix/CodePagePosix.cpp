#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <iconv.h>
#include <mutex>
#include <new>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/CodePage.h"
#include "core/Utf.h"

namespace Tessarix::CodePage {
namespace {

// How MultiByteToWideChar (flags 0) decodes what a code page leaves undefined.
enum class Kind {
    SingleByte, // 0x80-0x9F holes give the C1 control of the same value, other holes U+FFFD
    SevenBit,   // 20127: the byte without its high bit
    DoubleByte, // a lead byte takes the next byte with it; the pair gives the default character
    Other,      // U+FFFD per byte
};

struct Charset {
    std::uint32_t codePage;
    const char* name; // glibc iconv name
    Kind kind;
    char16_t defaultChar = u'?'; // DoubleByte only
    unsigned char leadLow = 0x81, leadHigh = 0xFE, leadLow2 = 0, leadHigh2 = 0;
};

// Windows code pages and the glibc charsets with the same tables. CP932 is glibc's Microsoft
// variant (NEC and IBM extensions; 0x5C stays a backslash); EUC-JP-MS likewise.
constexpr auto S = Kind::SingleByte;
constexpr auto D = Kind::DoubleByte;
constexpr Charset kCharsets[] = {
    {437, "CP437", S},
    {850, "CP850", S},
    {866, "CP866", S},
    {874, "WINDOWS-874", S},
    {932, "CP932", D, u'\x30FB', 0x81, 0x9F, 0xE0, 0xFC},
    {936, "CP936", D},
    {949, "CP949", D},
    {950, "CP950", D},
    {1250, "CP1250", S},
    {1251, "CP1251", S},
    {1252, "CP1252", S},
    {1253, "CP1253", S},
    {1254, "CP1254", S},
    {1255, "CP1255", S},
    {1256, "CP1256", S},
    {1257, "CP1257", S},
    {1258, "CP1258", S},
    {20127, "ASCII", Kind::SevenBit},
    {20866, "KOI8-R", S},
    {21866, "KOI8-U", S},
    {28591, "ISO-8859-1", S},
    {28592, "ISO-8859-2", S},
    {28593, "ISO-8859-3", S},
    {28594, "ISO-8859-4", S},
    {28595, "ISO-8859-5", S},
    {28596, "ISO-8859-6", S},
    {28597, "ISO-8859-7", S},
    {28598, "ISO-8859-8", S},
    {28599, "ISO-8859-9", S},
    {28603, "ISO-8859-13", S},
    {28605, "ISO-8859-15", S},
    {50220, "ISO-2022-JP", Kind::Other},
    {51932, "EUC-JP-MS", Kind::Other},
    {51949, "EUC-KR", Kind::Other},
    {54936, "GB18030", Kind::Other},
};

const Charset* Find(std::uint32_t codePage) {
    const auto it = std::find_if(std::begin(kCharsets), std::end(kCharsets),
                                 [codePage](const Charset& c) { return c.codePage == codePage; });
    return it == std::end(kCharsets) ? nullptr : it;
}

constexpr const char* kUtf16 = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";
constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

// Opening a converter costs glibc a module lookup each time, which a text of many short runs pays
// per run: the converters opened are kept, per charset and direction, and lent out one at a time
// (an iconv_t holds conversion state, so two threads never share one).
class ConverterPool {
public:
    ConverterPool() = default;
    ConverterPool(const ConverterPool&) = delete;
    ConverterPool& operator=(const ConverterPool&) = delete;
    ~ConverterPool() {
        for (auto& [key, idle] : idle_)
            for (const iconv_t cd : idle)
                iconv_close(cd);
    }

    // A converter from `from` to `to`, or (iconv_t)-1 when glibc has no such conversion.
    iconv_t Take(const char* to, const char* from) {
        const Key key{to, from};
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (unavailable_.count(key))
                return kClosed;
            auto& idle = idle_[key];
            if (!idle.empty()) {
                const iconv_t cd = idle.back();
                idle.pop_back();
                return cd;
            }
        }
        const iconv_t cd = iconv_open(to, from);
        if (cd == kClosed) {
            const std::lock_guard<std::mutex> lock(mutex_);
            unavailable_.insert(key);
        }
        return cd;
    }

    // Takes back a converter of Take, in its initial state again.
    void Give(const char* to, const char* from, iconv_t cd) noexcept {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        const std::lock_guard<std::mutex> lock(mutex_);
        try {
            idle_[Key{to, from}].push_back(cd);
        } catch (const std::bad_alloc&) {
            iconv_close(cd); // not kept: the next conversion opens another
        }
    }

    static ConverterPool& Instance() {
        static ConverterPool pool;
        return pool;
    }

    static inline const iconv_t kClosed = reinterpret_cast<iconv_t>(-1);

private:
    // The charset names are the literals of kCharsets and kUtf16: compared by address.
    using Key = std::pair<const char*, const char*>;
    struct KeyHash {
        std::size_t operator()(const Key& k) const {
            return std::hash<const char*>()(k.first) * 31 + std::hash<const char*>()(k.second);
        }
    };

    std::mutex mutex_;
    std::unordered_map<Key, std::vector<iconv_t>, KeyHash> idle_;
    std::unordered_set<Key, KeyHash> unavailable_;
};

// A converter lent by the pool for one conversion.
class Converter {
public:
    Converter(const char* to, const char* from)
        : to_(to), from_(from), cd_(ConverterPool::Instance().Take(to, from)) {}
    ~Converter() {
        if (IsOpen())
            ConverterPool::Instance().Give(to_, from_, cd_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool IsOpen() const { return cd_ != ConverterPool::kClosed; }
    iconv_t Get() const { return cd_; }

    // Back to the initial state, writing what that takes (a shift sequence, a held character).
    // False when `out` has no room for it.
    bool Reset(char*& out, std::size_t& outLeft) {
        return iconv(cd_, nullptr, nullptr, &out, &outLeft) != kFailed || errno != E2BIG;
    }

private:
    const char* to_;
    const char* from_;
    iconv_t cd_;
};

// Grows `out` so that at least `count` elements are free behind `used`.
template <typename String> void MakeRoom(String& out, std::size_t used, std::size_t count) {
    if (out.size() - used < count)
        out.resize(std::max(out.size() * 2, used + count));
}

using ByteTable = std::array<char16_t, 256>;

char16_t UndefinedSingleByte(Kind kind, unsigned char b) {
    if (kind == Kind::SevenBit)
        return char16_t(b & 0x7F);
    return (b >= 0x80 && b <= 0x9F) ? char16_t(b) : u'\xFFFD';
}

// Each byte decoded on its own. Windows decodes single-byte pages byte by byte, where glibc's
// CP1255 and CP1258 would compose a base letter with the combining mark after it.
ByteTable BuildTable(const Charset& charset) {
    ByteTable table{};
    Converter converter(kUtf16, charset.name);
    for (unsigned b = 0; b < 256; ++b) {
        char byte = static_cast<char>(b);
        char* in = &byte;
        std::size_t inLeft = 1;
        char16_t units[4] = {};
        auto* out = reinterpret_cast<char*>(units);
        std::size_t outLeft = sizeof units;
        bool decoded = false;
        if (converter.IsOpen()) {
            iconv(converter.Get(), nullptr, nullptr, nullptr, nullptr); // a fresh state for every byte
            decoded = iconv(converter.Get(), &in, &inLeft, &out, &outLeft) != kFailed &&
                      converter.Reset(out, outLeft);
        }
        const std::size_t count = (sizeof units - outLeft) / sizeof(char16_t);
        table[b] = decoded && count == 1 ? units[0]
                                         : UndefinedSingleByte(charset.kind, static_cast<unsigned char>(b));
    }
    return table;
}

const ByteTable& TableFor(const Charset& charset) {
    static std::mutex mutex;
    static std::unordered_map<std::uint32_t, ByteTable> tables; // elements never move once inserted
    const std::lock_guard<std::mutex> lock(mutex);
    auto it = tables.find(charset.codePage);
    if (it == tables.end())
        it = tables.emplace(charset.codePage, BuildTable(charset)).first;
    return it->second;
}

bool IsLeadByte(const Charset& c, unsigned char b) {
    return (b >= c.leadLow && b <= c.leadHigh) || (c.leadHigh2 != 0 && b >= c.leadLow2 && b <= c.leadHigh2);
}

// What stands for the undefined or ill-formed sequence at `in` of a multi-byte page, and how many
// bytes it takes.
std::pair<char16_t, std::size_t> DecodeUndefined(const Charset& c, const char* in, std::size_t inLeft) {
    const auto b = static_cast<unsigned char>(*in);
    if (c.kind != Kind::DoubleByte)
        return {u'\xFFFD', 1};
    if (IsLeadByte(c, b))
        return {c.defaultChar, inLeft >= 2 ? 2 : 1};
    if (c.codePage == 932) { // the single bytes that Windows's table gives a character
        if (b == 0x80)
            return {u'\x0080', 1};
        if (b == 0xA0)
            return {u'\xF8F0', 1};
        if (b >= 0xFD)
            return {char16_t(0xF8F1 + (b - 0xFD)), 1};
    }
    return {c.defaultChar, 1};
}

std::u16string DecodeSingleByte(std::string_view bytes, const Charset& charset) {
    const ByteTable& table = TableFor(charset);
    std::u16string out(bytes.size(), u'\0');
    std::transform(bytes.begin(), bytes.end(), out.begin(),
                   [&table](char b) { return table[static_cast<unsigned char>(b)]; });
    return out;
}

std::u16string DecodeMultiByte(std::string_view bytes, const Charset& charset) {
    Converter converter(kUtf16, charset.name);
    if (!converter.IsOpen())
        return {};
    std::u16string out(bytes.size() + 8, u'\0');
    std::size_t used = 0;
    char* in = const_cast<char*>(bytes.data()); // iconv's signature; the input is not written
    std::size_t inLeft = bytes.size();
    for (;;) {
        auto* outStart = reinterpret_cast<char*>(out.data());
        char* outPtr = outStart + used * sizeof(char16_t);
        std::size_t outLeft = (out.size() - used) * sizeof(char16_t);
        const bool done = inLeft == 0;
        const std::size_t result = done ? (converter.Reset(outPtr, outLeft) ? 0 : kFailed)
                                        : iconv(converter.Get(), &in, &inLeft, &outPtr, &outLeft);
        const int error = errno;
        used = static_cast<std::size_t>(outPtr - outStart) / sizeof(char16_t);
        if (result != kFailed) {
            if (done)
                break;
            continue;
        }
        if (done || error == E2BIG) {
            MakeRoom(out, used, out.size());
            continue;
        }
        // Undefined, ill-formed or cut short (EILSEQ, EINVAL): replaced, and decoding goes on
        // behind it, as MultiByteToWideChar does without MB_ERR_INVALID_CHARS.
        const auto [replacement, length] = DecodeUndefined(charset, in, inLeft);
        MakeRoom(out, used, 1);
        out[used++] = replacement;
        in += length;
        inLeft -= length;
    }
    out.resize(used);
    return out;
}

} // namespace

bool IsSupported(std::uint32_t codePage) {
    if (codePage == kUtf8)
        return true;
    const Charset* charset = Find(codePage);
    return charset && Converter(kUtf16, charset->name).IsOpen() && Converter(charset->name, kUtf16).IsOpen();
}

std::u16string ToWide(std::string_view bytes, std::uint32_t codePage) {
    if (bytes.empty())
        return {};
    if (codePage == kUtf8)
        return FromUtf8(bytes);
    const Charset* charset = Find(codePage);
    if (!charset)
        return {};
    if (charset->kind == Kind::SingleByte || charset->kind == Kind::SevenBit) {
        if (!Converter(kUtf16, charset->name).IsOpen())
            return {};
        return DecodeSingleByte(bytes, *charset);
    }
    return DecodeMultiByte(bytes, *charset);
}

std::string FromWide(std::u16string_view text, std::uint32_t codePage) {
    if (text.empty())
        return {};
    if (codePage == kUtf8)
        return ToUtf8(text);
    const Charset* charset = Find(codePage);
    if (!charset)
        return {};
    Converter converter(charset->name, kUtf16);
    if (!converter.IsOpen())
        return {};

    std::string out(text.size() * 2 + 8, '\0');
    std::size_t used = 0;
    auto* in = reinterpret_cast<char*>(const_cast<char16_t*>(text.data()));
    std::size_t inLeft = text.size() * sizeof(char16_t);
    for (;;) {
        char* outPtr = out.data() + used;
        std::size_t outLeft = out.size() - used;
        const bool done = inLeft == 0; // then back to the initial shift state (ISO-2022-JP)
        const std::size_t result = done ? (converter.Reset(outPtr, outLeft) ? 0 : kFailed)
                                        : iconv(converter.Get(), &in, &inLeft, &outPtr, &outLeft);
        const int error = errno;
        used = static_cast<std::size_t>(outPtr - out.data());
        if (result != kFailed) {
            if (done)
                break;
            continue;
        }
        if (done || error == E2BIG) {
            MakeRoom(out, used, out.size());
            continue;
        }
        // An unrepresentable character or a lone surrogate: leave any shift state first so that
        // the '?' reads as ASCII. Like WideCharToMultiByte, each UTF-16 unit of it gives one '?'.
        for (;;) {
            outPtr = out.data() + used;
            outLeft = out.size() - used;
            if (converter.Reset(outPtr, outLeft))
                break;
            MakeRoom(out, used, out.size());
        }
        used = static_cast<std::size_t>(outPtr - out.data());
        MakeRoom(out, used, 1);
        out[used++] = '?';
        in += sizeof(char16_t);
        inLeft -= sizeof(char16_t);
    }
    out.resize(used);
    return out;
}

} // namespace Tessarix::CodePage
