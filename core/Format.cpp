#include "core/Format.h"

namespace Tessarix {
namespace {

struct Conversion {
    bool left = false, zero = false, plus = false, space = false, alt = false;
    int width = -1;
    int precision = -1;
};

void Pad(std::u16string& out, std::u16string_view body, const Conversion& conversion,
         std::u16string_view prefix, bool zeroPadAllowed) {
    const std::size_t len = prefix.size() + body.size();
    const std::size_t width = conversion.width > 0 ? static_cast<std::size_t>(conversion.width) : 0;
    const std::size_t fill = width > len ? width - len : 0;
    if (conversion.left) {
        out.append(prefix).append(body).append(fill, u' ');
    } else if (conversion.zero && zeroPadAllowed) {
        out.append(prefix).append(fill, u'0').append(body);
    } else {
        out.append(fill, u' ').append(prefix).append(body);
    }
}

void AppendInteger(std::u16string& out, const FormatArg& arg, char16_t conv, const Conversion& conversion) {
    const bool isSigned = (conv == u'd' || conv == u'i');
    bool negative = false;
    std::uint64_t magnitude;
    if (isSigned) {
        const std::int64_t v = arg.asSigned();
        negative = v < 0;
        magnitude =
            negative ? std::uint64_t(0) - static_cast<std::uint64_t>(v) : static_cast<std::uint64_t>(v);
    } else {
        magnitude = arg.asUnsigned();
        // A negative value given to %u/%x is shown as the 32-bit pattern, as the C runtime does with int.
        if (arg.kind() == FormatArg::Kind::Signed && arg.asSigned() < 0 && arg.asSigned() >= INT32_MIN)
            magnitude &= 0xFFFFFFFFu;
    }
    const unsigned base = (conv == u'x' || conv == u'X') ? 16 : 10;
    const char* digits = conv == u'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    char16_t buf[32];
    int n = 0;
    while (magnitude != 0) {
        buf[n++] = static_cast<char16_t>(digits[magnitude % base]);
        magnitude /= base;
    }
    std::u16string body;
    const int minDigits = conversion.precision >= 0 ? conversion.precision : 1;
    for (int i = n; i < minDigits; ++i)
        body.push_back(u'0');
    for (int i = n - 1; i >= 0; --i)
        body.push_back(buf[i]);
    std::u16string prefix;
    if (negative)
        prefix = u"-";
    else if (isSigned && conversion.plus)
        prefix = u"+";
    else if (isSigned && conversion.space)
        prefix = u" ";
    if (conversion.alt && base == 16 && n > 0)
        prefix += conv == u'X' ? u"0X" : u"0x";
    Pad(out, body, conversion, prefix, conversion.precision < 0);
}

} // namespace

std::u16string FormatV(std::u16string_view format, std::span<const FormatArg> args) {
    std::u16string out;
    out.reserve(format.size() + 16);
    std::size_t next = 0;
    const std::size_t n = format.size();
    std::size_t i = 0;
    while (i < n) {
        const std::size_t pct = format.find(u'%', i);
        if (pct == std::u16string_view::npos) {
            out.append(format.substr(i));
            break;
        }
        out.append(format.substr(i, pct - i));
        i = pct + 1;
        if (i >= n) { // a lone trailing percent sign
            out.push_back(u'%');
            break;
        }
        if (format[i] == u'%') {
            out.push_back(u'%');
            ++i;
            continue;
        }
        Conversion conversion;
        for (; i < n; ++i) {
            const char16_t c = format[i];
            if (c == u'-')
                conversion.left = true;
            else if (c == u'0')
                conversion.zero = true;
            else if (c == u'+')
                conversion.plus = true;
            else if (c == u' ')
                conversion.space = true;
            else if (c == u'#')
                conversion.alt = true;
            else
                break;
        }
        auto readNumber = [&](int& target) {
            if (i < n && format[i] == u'*') { // width from the arguments
                ++i;
                target = next < args.size() ? static_cast<int>(args[next++].asSigned()) : -1;
                return;
            }
            int v = 0;
            bool any = false;
            while (i < n && format[i] >= u'0' && format[i] <= u'9') {
                if (v < 100000)
                    v = v * 10 + (format[i] - u'0');
                ++i;
                any = true;
            }
            if (any)
                target = v;
        };
        readNumber(conversion.width);
        if (i < n && format[i] == u'.') {
            ++i;
            conversion.precision = 0;
            readNumber(conversion.precision);
        }
        // length modifiers: every integer argument is already 64-bit
        while (i < n) {
            const char16_t c = format[i];
            if (c == u'h' || c == u'l' || c == u'L' || c == u'z' || c == u'j' || c == u't' || c == u'w') {
                ++i;
            } else if (c == u'I' && format.substr(i, 3) == u"I64") {
                i += 3;
            } else if (c == u'I' && format.substr(i, 3) == u"I32") {
                i += 3;
            } else {
                break;
            }
        }
        if (i >= n)
            break; // an unfinished conversion at the end expands to nothing
        const char16_t conv = format[i++];
        const FormatArg* arg = next < args.size() ? &args[next] : nullptr;
        switch (conv) {
        case u'd':
        case u'i':
        case u'u':
        case u'x':
        case u'X':
            ++next;
            if (arg && arg->kind() != FormatArg::Kind::Text)
                AppendInteger(out, *arg, conv, conversion);
            break;
        case u'c':
            ++next;
            if (arg && arg->kind() != FormatArg::Kind::Text) {
                const char16_t ch = static_cast<char16_t>(arg->asUnsigned());
                Pad(out, std::u16string_view(&ch, 1), conversion, {}, false);
            }
            break;
        case u's':
        case u'S':
            ++next;
            if (arg && arg->kind() == FormatArg::Kind::Text) {
                std::u16string_view s = arg->text();
                if (conversion.precision >= 0 && static_cast<std::size_t>(conversion.precision) < s.size())
                    s = s.substr(0, static_cast<std::size_t>(conversion.precision));
                Pad(out, s, conversion, {}, false);
            }
            break;
        default:
            // An unknown conversion consumes no argument and expands to nothing.
            break;
        }
    }
    return out;
}

} // namespace Tessarix
