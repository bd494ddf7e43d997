#include <gtest/gtest.h>

#include "cli/CommandLine.h"

namespace Tessarix::Cli {
namespace {

TEST(TxClipCommandLine, OptionsAndItemsInAnyOrder) {
    const Options options = ParseCommandLine({"a.msg", "--shift", "b.msg", "-o", "out.xml", "--combined",
                                              "--pictures-from", "pics", "c.msg", "--pictures-from=../p"});
    EXPECT_EQ(options.items, (std::vector<std::string>{"a.msg", "b.msg", "c.msg"}));
    EXPECT_EQ(options.pictureFolders, (std::vector<std::string>{"pics", "../p"}));
    EXPECT_EQ(options.destination, Destination::File);
    EXPECT_EQ(options.outputPath, "out.xml");
    EXPECT_TRUE(options.shift);
    EXPECT_TRUE(options.combined);
    EXPECT_FALSE(options.help);
}

TEST(TxClipCommandLine, EveryFormOfTheOutputOption) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{{"-o", "x.xml", "a.msg"},
                                                                       {"-ox.xml", "a.msg"},
                                                                       {"--output", "x.xml", "a.msg"},
                                                                       {"--output=x.xml", "a.msg"}}) {
        const Options options = ParseCommandLine(arguments);
        EXPECT_EQ(options.destination, Destination::File);
        EXPECT_EQ(options.outputPath, "x.xml");
        EXPECT_EQ(options.items, std::vector<std::string>{"a.msg"});
    }
    EXPECT_EQ(ParseCommandLine({"a.msg"}).destination, Destination::StandardOutput);
    EXPECT_EQ(ParseCommandLine({"-o", "-", "a.msg"}).destination, Destination::StandardOutput);
    EXPECT_EQ(ParseCommandLine({"--send", "a.msg"}).destination, Destination::DesktopClient);
}

TEST(TxClipCommandLine, DoubleDashEndsTheOptions) {
    const Options options = ParseCommandLine({"--", "--shift", "-o", "-"});
    EXPECT_EQ(options.items, (std::vector<std::string>{"--shift", "-o", "-"}));
    EXPECT_FALSE(options.shift);
    EXPECT_EQ(options.destination, Destination::StandardOutput);
}

TEST(TxClipCommandLine, HelpAndVersionNeedNoItem) {
    EXPECT_TRUE(ParseCommandLine({"--help"}).help);
    EXPECT_TRUE(ParseCommandLine({"-h"}).help);
    EXPECT_TRUE(ParseCommandLine({"-V"}).version);
    EXPECT_TRUE(ParseCommandLine({"--version"}).version);
    EXPECT_TRUE(UsageText().starts_with("Usage: txclip [OPTION]... ITEM.msg...\n"));
    EXPECT_TRUE(VersionText().starts_with("txclip (TessarixOL) "));
}

TEST(TxClipCommandLine, WhatCannotRunIsAUsageError) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{}, "no item given"},
        {{"--shift"}, "no item given"},
        {{"--frobnicate", "a.msg"}, "unknown option '--frobnicate'"},
        {{"-x", "a.msg"}, "unknown option '-x'"},
        {{"a.msg", "-o"}, "option '-o' needs a file name"},
        {{"a.msg", "--output"}, "option '--output' needs a file name"},
        {{"a.msg", "--output="}, "the output file name is empty"},
        {{"a.msg", "-o", "x", "-o", "y"}, "only one -o/--output may be given"},
        {{"a.msg", "-o", "x", "--send"}, "--send and -o/--output exclude each other"},
        {{"a.msg", "--send", "-o", "x"}, "--send and -o/--output exclude each other"},
        {{"a.msg", "--shift=yes"}, "option '--shift' takes no value"},
        {{"a.msg", "--pictures-from"}, "option '--pictures-from' needs a folder"},
        {{"a.msg", "--pictures-from="}, "the picture folder name is empty"},
    };
    for (const auto& [arguments, message] : cases) {
        try {
            ParseCommandLine(arguments);
            ADD_FAILURE() << "accepted: " << message;
        } catch (const UsageError& e) {
            EXPECT_EQ(e.what(), message);
        }
    }
}

} // namespace
} // namespace Tessarix::Cli
