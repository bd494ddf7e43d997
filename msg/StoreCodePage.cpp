#include "msg/StoreCodePage.h"

#include <cctype>
#include <string>

namespace Tessarix::Msg {

std::optional<std::uint32_t> AnsiCodePageOfLocale(std::uint32_t lcid) {
    const std::uint32_t language = lcid & 0x3FF;
    const std::uint32_t sublanguage = (lcid >> 10) & 0x3F;
    switch (language) {
    case 0x00: // neutral and the user's default: unknown
        return std::nullopt;
    case 0x11: // Japanese
        return 932;
    case 0x04: // Chinese: Traditional in Taiwan, Hong Kong and Macao, Simplified elsewhere
        return sublanguage == 0x01 || sublanguage == 0x03 || sublanguage == 0x05 ? 950u : 936u;
    case 0x12: // Korean
        return 949;
    case 0x1E: // Thai
        return 874;
    case 0x2A: // Vietnamese
        return 1258;
    case 0x02:
    case 0x19:
    case 0x22:
    case 0x23:
    case 0x28:
    case 0x2F:
    case 0x3F:
    case 0x40:
    case 0x44:
    case 0x50:
    case 0x6D:
    case 0x85: // Bulgarian, Russian, Ukrainian, Belarusian, Tajik,
        // Macedonian, Kazakh, Kyrgyz, Tatar, Mongolian, Bashkir, Yakut
        return 1251;
    case 0x1A: // Croatian, Serbian, Bosnian: the Cyrillic variants use 1251
        switch (sublanguage) {
        case 0x03:
        case 0x07:
        case 0x08:
        case 0x0A:
        case 0x0C:
            return 1251;
        default:
            return 1250;
        }
    case 0x2C: // Azeri
    case 0x43: // Uzbek: Latin 1254, Cyrillic 1251
        return sublanguage == 0x02 ? 1251u : 1254u;
    case 0x05:
    case 0x0E:
    case 0x15:
    case 0x18:
    case 0x1B:
    case 0x1C:
    case 0x24:
    case 0x2E:
    case 0x92:
        // Czech, Hungarian, Polish, Romanian, Slovak, Albanian, Slovenian, Upper Sorbian, Central Kurdish
        return 1250;
    case 0x08: // Greek
        return 1253;
    case 0x1F:
    case 0x42: // Turkish, Turkmen
        return 1254;
    case 0x0D: // Hebrew
        return 1255;
    case 0x01:
    case 0x20:
    case 0x29:
    case 0x8C:
    case 0x80: // Arabic, Urdu, Persian, Dari, Uyghur
        return 1256;
    case 0x25:
    case 0x26:
    case 0x27: // Estonian, Latvian, Lithuanian
        return 1257;
    case 0x39:
    case 0x45:
    case 0x46:
    case 0x47:
    case 0x48:
    case 0x49:
    case 0x4A:
    case 0x4B:
    case 0x4C:
    case 0x4D:
    case 0x4E:
    case 0x4F:
    case 0x57:
    case 0x37:
    case 0x2B:
    case 0x5A:
    case 0x65:
    case 0x5B:
    case 0x53:
    case 0x54:
    case 0x61:
    case 0x51:
    case 0x63:
    case 0x5E:
        // Indic, Georgian, Armenian, Syriac, Divehi, Sinhala, Khmer, Lao, Nepali, Tibetan,
        // Pashto, Amharic: Unicode only
        return std::nullopt;
    default: // Western European and the other Latin-script languages
        return 1252;
    }
}

std::optional<std::uint32_t> AnsiCodePageOfInternetCodePage(std::uint32_t codePage) {
    switch (codePage) {
    case 874:
    case 932:
    case 936:
    case 949:
    case 950:
    case 1250:
    case 1251:
    case 1252:
    case 1253:
    case 1254:
    case 1255:
    case 1256:
    case 1257:
    case 1258:
        return codePage;
    case 50220:
    case 50221:
    case 50222:
    case 51932:
    case 20932: // ISO-2022-JP, EUC-JP
        return 932;
    case 20936:
    case 52936:
    case 54936:
    case 51936: // GB2312, HZ, GB18030, EUC-CN
        return 936;
    case 50225:
    case 51949: // ISO-2022-KR, EUC-KR
        return 949;
    case 20000:
    case 51950: // CNS, EUC-TW
        return 950;
    case 28591:
    case 28605:
    case 20127:
    case 10000:
    case 850:
    case 437: // Latin-1, Latin-9, ASCII, Mac Roman, DOS
        return 1252;
    case 28592:
    case 852: // Latin-2
        return 1250;
    case 28595:
    case 20866:
    case 21866:
    case 866:
    case 10007: // ISO Cyrillic, KOI8-R, KOI8-U, DOS, Mac
        return 1251;
    case 28597: // Greek
        return 1253;
    case 28599:
    case 857: // Turkish
        return 1254;
    case 28598:
    case 38598:
    case 862: // Hebrew
        return 1255;
    case 28596:
    case 708:
    case 720: // Arabic
        return 1256;
    case 28594:
    case 28603:
    case 775: // Baltic
        return 1257;
    case 28601: // Thai
        return 874;
    default: // Unicode, and code pages that name no script
        return std::nullopt;
    }
}

namespace {

std::optional<std::uint32_t> CodePageOfLabel(const std::string& label) {
    static const struct {
        const char* label;
        std::uint32_t codePage;
    } kLabels[] = {
        {"utf-8", 65001},       {"utf8", 65001},        {"us-ascii", 20127},    {"iso-8859-1", 28591},
        {"latin1", 28591},      {"iso-8859-2", 28592},  {"iso-8859-4", 28594},  {"iso-8859-5", 28595},
        {"iso-8859-6", 28596},  {"iso-8859-7", 28597},  {"iso-8859-8", 28598},  {"iso-8859-9", 28599},
        {"iso-8859-13", 28603}, {"iso-8859-15", 28605}, {"windows-874", 874},   {"tis-620", 874},
        {"windows-1250", 1250}, {"windows-1251", 1251}, {"windows-1252", 1252}, {"windows-1253", 1253},
        {"windows-1254", 1254}, {"windows-1255", 1255}, {"windows-1256", 1256}, {"windows-1257", 1257},
        {"windows-1258", 1258}, {"koi8-r", 20866},      {"koi8-u", 21866},      {"shift_jis", 932},
        {"shift-jis", 932},     {"sjis", 932},          {"x-sjis", 932},        {"windows-31j", 932},
        {"iso-2022-jp", 50220}, {"euc-jp", 51932},      {"gb2312", 936},        {"gbk", 936},
        {"gb18030", 54936},     {"big5", 950},          {"euc-kr", 949},        {"ks_c_5601-1987", 949},
        {"iso-2022-kr", 50225},
    };
    for (const auto& entry : kLabels)
        if (label == entry.label)
            return entry.codePage;
    return std::nullopt;
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

std::optional<std::uint32_t> DeclaredCodePage(std::string_view html) {
    std::string head(html.substr(0, 1024));
    for (char& c : head)
        c = Lower(c);
    for (std::size_t at = head.find("charset"); at != std::string::npos; at = head.find("charset", at + 1)) {
        std::size_t i = at + 7;
        while (i < head.size() && (head[i] == ' ' || head[i] == '\t'))
            ++i;
        if (i >= head.size() || head[i] != '=')
            continue;
        ++i;
        while (i < head.size() && (head[i] == ' ' || head[i] == '\t' || head[i] == '"' || head[i] == '\''))
            ++i;
        std::string label;
        while (i < head.size() && (std::isalnum(static_cast<unsigned char>(head[i])) || head[i] == '-' ||
                                   head[i] == '_' || head[i] == ':' || head[i] == '.'))
            label += head[i++];
        if (const auto codePage = CodePageOfLabel(label))
            return codePage;
    }
    return std::nullopt;
}

} // namespace Tessarix::Msg
