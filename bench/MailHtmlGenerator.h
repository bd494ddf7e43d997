#pragma once
// Mail-like HTML of a chosen size for the pipeline benchmark: a style sheet with classes in the
// head, then repeated blocks of paragraphs, tables with inline styles, quoted text, links, local
// pictures and comments, the way Office and web mailers write them; and the pictures themselves.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Tessarix::Bench {

// The four pictures a generated mail refers to ("pic0.png" to "pic3.png"): a logo, a small
// photo, a chart and a larger photo, as mails carry them.
struct PictureSize {
    unsigned width, height;
};
inline constexpr std::array<PictureSize, 4> kMailPictures = {{{48, 48}, {96, 96}, {160, 120}, {240, 160}}};

// A valid PNG (8-bit RGB) of a smooth picture with grain, `seed` varying it. The pixel data is
// deflate-stored rather than compressed: a real file that every reader decodes, of the size an
// uncompressed mail picture has (a 160x120 one is 57 KB).
inline std::string MakePng(unsigned width, unsigned height, unsigned seed) {
    static const std::array<std::uint32_t, 256> crcTable = [] {
        std::array<std::uint32_t, 256> table{};
        for (std::uint32_t n = 0; n < 256; ++n) {
            std::uint32_t c = n;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            table[n] = c;
        }
        return table;
    }();
    auto put32 = [](std::string& s, std::uint32_t v) {
        for (int shift = 24; shift >= 0; shift -= 8)
            s += static_cast<char>((v >> shift) & 0xFF);
    };
    std::string png("\x89PNG\r\n\x1a\n", 8);
    auto chunk = [&](const char* type, const std::string& data) {
        put32(png, static_cast<std::uint32_t>(data.size()));
        const std::string body = type + data;
        std::uint32_t crc = 0xFFFFFFFFu;
        for (const char c : body)
            crc = crcTable[(crc ^ static_cast<unsigned char>(c)) & 0xFF] ^ (crc >> 8);
        png += body;
        put32(png, crc ^ 0xFFFFFFFFu);
    };
    std::string header;
    put32(header, width);
    put32(header, height);
    header += std::string("\x08\x02\x00\x00\x00", 5); // 8 bits, RGB, deflate, filter 0, no interlace
    chunk("IHDR", header);

    std::string raw;
    raw.reserve(static_cast<std::size_t>(width * 3 + 1) * height);
    std::uint32_t noise = seed * 2654435761u + 1;
    for (unsigned y = 0; y < height; ++y) {
        raw += '\0'; // no filter
        for (unsigned x = 0; x < width; ++x) {
            noise = noise * 1664525u + 1013904223u;
            const unsigned grain = (noise >> 24) & 15;
            raw += static_cast<char>((x * 255 / width + grain + seed * 40) & 0xFF);
            raw += static_cast<char>((y * 255 / height + grain) & 0xFF);
            raw += static_cast<char>(((x + y) * 128 / (width + height) + 64 + grain) & 0xFF);
        }
    }
    std::string zlib("\x78\x01", 2);
    std::uint32_t a = 1, b = 0;
    for (const char c : raw) {
        a = (a + static_cast<unsigned char>(c)) % 65521;
        b = (b + a) % 65521;
    }
    for (std::size_t at = 0; at < raw.size() || at == 0; at += 65535) {
        const std::size_t n = std::min<std::size_t>(65535, raw.size() - at);
        zlib += static_cast<char>(at + n >= raw.size() ? 1 : 0); // BFINAL on the last stored block
        zlib += static_cast<char>(n & 0xFF);
        zlib += static_cast<char>(n >> 8);
        zlib += static_cast<char>(~n & 0xFF);
        zlib += static_cast<char>((~n >> 8) & 0xFF);
        zlib.append(raw, at, n);
    }
    put32(zlib, (b << 16) | a);
    chunk("IDAT", zlib);
    chunk("IEND", "");
    return png;
}

// `pictureBase` is put in front of the picture names ("file:///tmp/x/"); every fourth block has a
// picture, the four names in turn, at the size of its PNG.
inline std::string MakeMailHtml(std::size_t targetBytes, const std::string& pictureBase) {
    std::string html;
    html.reserve(targetBytes + 4096);
    html += "<html xmlns:o=\"urn:schemas-microsoft-com:office:office\">\n<head>\n"
            "<meta http-equiv=Content-Type content=\"text/html; charset=utf-8\">\n"
            "<style>\n"
            "p.MsoNormal, li.MsoNormal, div.MsoNormal {margin:0in; margin-bottom:.0001pt; "
            "font-size:11.0pt; font-family:\"Calibri\",\"sans-serif\";}\n"
            "a:link, span.MsoHyperlink {color:blue; text-decoration:underline;}\n"
            "h2 {font-size:14pt; color:#1F497D; margin:12pt 0 6pt 0;}\n"
            ".header {background-color:#EEEEEE; border-bottom:1px solid #CCCCCC; font-weight:bold;}\n"
            "table.data {border-collapse:collapse; width:100%;}\n"
            "table.data td {padding:4px 8px; border:1px solid #DDDDDD; vertical-align:top;}\n"
            "td.num {text-align:right; font-family:Consolas, monospace;}\n"
            ".quote {margin-left:20px; color:#555555; border-left:2px solid #999999; padding-left:8px;}\n"
            ".quote p {font-style:italic;}\n"
            "div.WordSection1 {page-break-after:always;}\n"
            "ul.list li {list-style-type:square; margin-bottom:2pt;}\n"
            "#footer {font-size:8pt; color:gray; text-align:center;}\n"
            "</style>\n<!--[if gte mso 9]><xml><o:shapedefaults v:ext=\"edit\" spidmax=\"1026\" "
            "/></xml><![endif]-->\n"
            "</head>\n<body lang=EN-US link=blue vlink=purple>\n<div class=WordSection1>\n";
    static const char* const kWords[] = {
        "quarterly", "report",   "figures",  "meeting",  "agenda", "budget", "review",  "shipment", "invoice",
        "customer",  "delivery", "schedule", "approval", "&amp;",  "draft",  "Tuesday", "<b>",      "update"};
    std::size_t block = 0;
    const std::string tail = "<p id=footer>Sent from the benchmark generator</p>\n</div>\n</body>\n</html>\n";
    while (html.size() + tail.size() < targetBytes) {
        const std::string n = std::to_string(block);
        auto words = [&](std::size_t count, std::size_t seed) {
            std::string s;
            for (std::size_t i = 0; i < count; ++i) {
                const char* w = kWords[(seed * 7 + i * 3) % (sizeof(kWords) / sizeof(kWords[0]))];
                if (w[0] == '<')
                    w = "&lt;b&gt;";
                s += w;
                s += ' ';
            }
            return s;
        };
        html += "<h2>Section " + n + "</h2>\n";
        html += "<p class=MsoNormal>Dear <b>colleague " + n + "</b>, " + words(24, block) +
                "<a href=\"http://example.com/item/" + n + "\">details</a>.<o:p></o:p></p>\n";
        html +=
            "<table class=data border=0 cellspacing=0 cellpadding=0 "
            "style='width:100.0%;border-collapse:collapse'>\n"
            "<tr><td class=header style=\"width:60%\">Item</td><td class=\"header num\">Amount</td></tr>\n";
        for (int row = 0; row < 3; ++row) {
            html += "<tr><td style=\"border-top:none;padding:0in 5.4pt 0in 5.4pt\">" + words(4, block + row) +
                    "</td><td class=num><span style='font-size:10.0pt;color:#1F497D'>" +
                    std::to_string(block * 3 + row) + ".50</span></td></tr>\n";
        }
        html += "</table>\n";
        html += "<div class=quote><p class=MsoNormal><span style=\"font-size:10.0pt;color:#1F497D\">" +
                words(30, block + 5) + "</span><o:p></o:p></p></div>\n";
        html += "<ul class=list><li>" + words(6, block + 1) + "</li><li><font size=2 color=red>" +
                words(5, block + 2) + "</font></li></ul>\n";
        html += "<p class=MsoNormal>";
        if (block % 4 == 0) {
            const std::size_t picture = block / 4 % kMailPictures.size();
            html += "<img width=" + std::to_string(kMailPictures[picture].width) +
                    " height=" + std::to_string(kMailPictures[picture].height) + " src=\"" + pictureBase +
                    "pic" + std::to_string(picture) + ".png\" alt=\"picture " + n + "\"><br>";
        }
        html += words(10, block + 3) + "</p>\n<!-- block " + n + " -->\n";
        ++block;
    }
    html += tail;
    return html;
}

} // namespace Tessarix::Bench
