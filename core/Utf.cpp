#include "core/Utf.h"

namespace Tessarix {

std::string ToUtf8(std::u16string_view text) {
    // The exact length first: one allocation, and no per-byte growth checks in the second pass.
    const std::size_t n = text.size();
    std::size_t length = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const char16_t c = text[i];
        if (c < 0x80) {
            ++length;
        } else if (c < 0x800) {
            length += 2;
        } else if (c >= 0xD800 && c <= 0xDBFF && i + 1 < n && text[i + 1] >= 0xDC00 &&
                   text[i + 1] <= 0xDFFF) {
            length += 4;
            ++i;
        } else {
            length += 3;
        }
    }
    std::string out(length, '\0');
    char* p = out.data();
    for (std::size_t i = 0; i < n; ++i) {
        char32_t c = text[i];
        if (c < 0x80) {
            *p++ = static_cast<char>(c);
            continue;
        }
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < n && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        if (c < 0x800) {
            *p++ = static_cast<char>(0xC0 | (c >> 6));
            *p++ = static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            *p++ = static_cast<char>(0xE0 | (c >> 12));
            *p++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            *p++ = static_cast<char>(0x80 | (c & 0x3F));
        } else {
            *p++ = static_cast<char>(0xF0 | (c >> 18));
            *p++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            *p++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            *p++ = static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

char16_t* FromUtf8(std::string_view bytes, char16_t* out) {
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t n = bytes.size();
    std::size_t i = 0;
    while (i < n) {
        const unsigned char b = s[i];
        if (b < 0x80) {
            *out++ = b;
            ++i;
            continue;
        }
        // Length and the valid range of the second byte (Unicode Table 3-7), so that overlong
        // forms and surrogates are rejected at the first byte that cannot belong to them.
        int len = 0;
        unsigned char lo = 0x80, hi = 0xBF;
        char32_t c = 0;
        if (b >= 0xC2 && b <= 0xDF) {
            len = 2;
            c = b & 0x1F;
        } else if (b >= 0xE0 && b <= 0xEF) {
            len = 3;
            c = b & 0x0F;
            if (b == 0xE0)
                lo = 0xA0;
            if (b == 0xED)
                hi = 0x9F;
        } else if (b >= 0xF0 && b <= 0xF4) {
            len = 4;
            c = b & 0x07;
            if (b == 0xF0)
                lo = 0x90;
            if (b == 0xF4)
                hi = 0x8F;
        } else {
            *out++ = 0xFFFD;
            ++i;
            continue;
        }
        std::size_t j = i + 1;
        bool ok = true;
        for (int k = 1; k < len; ++k, ++j) {
            const unsigned char lower = (k == 1) ? lo : 0x80;
            const unsigned char upper = (k == 1) ? hi : 0xBF;
            if (j >= n || s[j] < lower || s[j] > upper) {
                ok = false;
                break;
            }
            c = (c << 6) | (s[j] & 0x3F);
        }
        if (!ok) {
            *out++ = 0xFFFD;
            i = j;
            continue;
        }
        if (c >= 0x10000) {
            c -= 0x10000;
            *out++ = static_cast<char16_t>(0xD800 + (c >> 10));
            *out++ = static_cast<char16_t>(0xDC00 + (c & 0x3FF));
        } else {
            *out++ = static_cast<char16_t>(c);
        }
        i = j;
    }
    return out;
}

std::u16string FromUtf8(std::string_view bytes) {
    std::u16string out(bytes.size(), u'\0');
    out.resize(static_cast<std::size_t>(FromUtf8(bytes, out.data()) - out.data()));
    return out;
}

std::string TerminalSafe(std::string_view utf8) {
    std::u16string text = FromUtf8(utf8);
    for (char16_t& c : text)
        if ((c < 0x20 && c != u'\n' && c != u'\t') || (c >= 0x7F && c <= 0x9F))
            c = u' ';
    return ToUtf8(text);
}

} // namespace Tessarix
