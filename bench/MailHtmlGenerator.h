#pragma once
// Mail-like HTML of a chosen size for the pipeline benchmark: a style sheet with classes in the
// head, then repeated blocks of paragraphs, tables with inline styles, quoted text, links, local
// pictures and comments, the way Office and web mailers write them.
#include <cstddef>
#include <string>

namespace Tessarix::Bench {

// `pictureBase` is put in front of the picture names ("file:///tmp/x/"); four names repeat.
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
        html += "<p class=MsoNormal><img width=32 height=32 src=\"" + pictureBase + "pic" +
                std::to_string(block % 4) + ".png\" alt=\"logo " + n + "\"><br>" + words(10, block + 3) +
                "</p>\n<!-- block " + n + " -->\n";
        ++block;
    }
    html += tail;
    return html;
}

} // namespace Tessarix::Bench
