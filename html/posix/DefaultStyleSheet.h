#pragma once
// The engine's default style sheet, loaded as litehtml's master style sheet: the element defaults
// (display above all) that MSHTML builds in, written with the values MSHTML's current style
// reports for them (font weights as numbers, IE's body margins, "Courier New" for monospace).

namespace Tessarix::Html::Posix {

inline constexpr const char* kDefaultStyleSheet = R"css(
html, address, article, aside, blockquote, body, center, dd, details, dir, div, dl, dt, fieldset,
figcaption, figure, footer, form, frame, frameset, h1, h2, h3, h4, h5, h6, header, hgroup, hr,
listing, main, menu, nav, noframes, ol, p, plaintext, pre, section, summary, ul, xmp {
    display: block;
}
area, base, basefont, datalist, head, link, meta, noembed, noscript, param, rp, script, style,
template, title {
    display: none;
}
li { display: list-item; }
table { display: table; }
caption { display: table-caption; text-align: center; }
thead { display: table-header-group; vertical-align: middle; }
tbody { display: table-row-group; vertical-align: middle; }
tfoot { display: table-footer-group; vertical-align: middle; }
colgroup { display: table-column-group; }
col { display: table-column; }
tr { display: table-row; }
td, th { display: table-cell; padding: 1px; }
th { font-weight: 700; text-align: center; }

body { margin: 15px 10px; }
p { margin-top: 1em; margin-bottom: 1em; }
blockquote { margin: 1em 40px; }
dl { margin: 1em 0; }
dd { margin-left: 40px; }
ul, ol, dir, menu { margin: 1em 0; padding-left: 40px; }
ul, dir, menu { list-style-type: disc; }
ol { list-style-type: decimal; }
ul ul, ol ul, ul dir, ul menu { list-style-type: circle; }
ul ul ul, ol ul ul, ul ol ul, ol ol ul { list-style-type: square; }
ul ul, ul ol, ol ul, ol ol { margin-top: 0; margin-bottom: 0; }
pre, xmp, plaintext, listing { margin: 1em 0; }
hr { margin: 0.5em auto; border-style: inset; border-width: 1px; }
form { margin-bottom: 1em; }
center { text-align: center; }

h1 { font-size: 2em; margin: 0.67em 0; font-weight: 700; }
h2 { font-size: 1.5em; margin: 0.83em 0; font-weight: 700; }
h3 { font-size: 1.17em; margin: 1em 0; font-weight: 700; }
h4 { margin: 1.33em 0; font-weight: 700; }
h5 { font-size: 0.83em; margin: 1.67em 0; font-weight: 700; }
h6 { font-size: 0.67em; margin: 2.33em 0; font-weight: 700; }

b, strong { font-weight: 700; }
i, em, cite, var, dfn, address { font-style: italic; }
u, ins { text-decoration: underline; }
s, strike, del { text-decoration: line-through; }
pre, xmp, plaintext, listing, tt, code, kbd, samp { font-family: Courier New; }
big { font-size: larger; }
small { font-size: smaller; }
sub { vertical-align: sub; font-size: smaller; }
sup { vertical-align: super; font-size: smaller; }
a:link { color: #0000ff; text-decoration: underline; }
)css";

} // namespace Tessarix::Html::Posix
