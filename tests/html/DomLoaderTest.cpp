// The text repairs and decoding in front of the engine, and the loader's call traces.
#include "html/DomLoader.h"

#include <gtest/gtest.h>

#include "core/CodePage.h"
#include "core/Exceptions.h"
#include "core/Utf.h"
#include "support/ItemLog.h"

using namespace Tessarix;

namespace {

const std::string kDecl = "<meta http-equiv=Content-Type content=\"text/html; charset=utf-8\">";

std::string Repair(const std::string& text) {
    return Html::RepairText(text);
}

TEST(DomLoader, PutsTheCharsetDeclarationRightBehindTheFirstHead) {
    EXPECT_EQ(Repair("<html><head><title>t</title></head><body><head></body></html>"),
              "<html><head>" + kDecl + "<title>t</title></head><body><head></body></html>");
    EXPECT_EQ(Repair("<head>"), "<head>" + kDecl);
}

TEST(DomLoader, PutsTheDeclarationInFrontWhenNoExactHeadTagMatches) {
    for (const std::string text : {"<!DOCTYPE html><HTML><HEAD></HEAD></HTML>",
                                   "<html><head id=h></head></html>", "<p>no head at all</p>", ""})
        EXPECT_EQ(Repair(text), kDecl + text) << text;
}

TEST(DomLoader, LeavesTextThatHasTheDeclarationAnywhereAsItIs) {
    const std::string text = "<html><head></head><body>" + kDecl + "</body></html>";
    EXPECT_EQ(Repair(text), text);
    // A declaration that differs in anything (here the case of one letter) is not the same one.
    const std::string other = "<head><meta http-equiv=Content-Type content=\"text/html; charset=UTF-8\">";
    EXPECT_EQ(Repair(other), "<head>" + kDecl + other.substr(6));
}

TEST(DomLoader, TurnsVmlConditionsIntoIeConditionsTextually) {
    const std::string text = "<!--[if gte vml 1]><v:shape/><![endif]--><![if !vml]><img src=a.png><![endif]>"
                             "<p>if gte vml 1 and if !vml and IF !VML</p>" +
                             kDecl;
    EXPECT_EQ(Repair(text), "<!--[if !IE]><v:shape/><![endif]--><![if IE]><img src=a.png><![endif]>"
                            "<p>if !IE and if IE and IF !VML</p>" +
                                kDecl);
    // The second replacement runs over the result of the first.
    EXPECT_EQ(Repair("if gte vml 1if !vml" + kDecl), "if !IEif IE" + kDecl);
}

TEST(DomLoader, DecodesTextContentFromItsCodePage) {
    EXPECT_EQ(Html::DecodeText(TextContent()), u"");
    EXPECT_EQ(Html::DecodeText(TextContent(StringUTF8::Copy("caf\xE9 \x80"), 1252)), u"caf\u00E9 \u20AC");
    EXPECT_EQ(Html::DecodeText(TextContent(StringUTF8::Copy("\xE2\x82\xAC"), CodePage::kUtf8)), u"\u20AC");
    // A code page that nothing can decode leaves no text at all.
    EXPECT_EQ(Html::DecodeText(TextContent(StringUTF8::Copy("text"), 4711)), u"");
}

TEST(DomLoader, EachOverloadTracesItsOwnNameAndHandsOn) {
    Testing::ItemLog log;
    try {
        Global::CreateDOM(TextContent(StringUTF8::Copy("<p>x</p>"), 1252));
    } catch (HResult) {
        // Without an engine (MSHTML switched off under Wine) the load fails; the traces stay.
    }
    const std::vector<std::string> expected = {
        "Debug: Global::CreateDOM( TextContent ) call begin",
        "Debug: Global::CreateDOM( CStringW ) call begin",
        "Debug: Global::CreateDOM( StringUTF8 ) call begin",
        "Debug: Global::CreateDOM( StringUTF8 ) call end",
        "Debug: Global::CreateDOM( CStringW ) call end",
        "Debug: Global::CreateDOM( TextContent ) call end",
    };
    EXPECT_EQ(log.Lines(), expected);
}

} // namespace
