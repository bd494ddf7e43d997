// Corpus inputs through the POSIX engine and cleanup, for the log lines the snapshots do not hold.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "core/Utf.h"
#include "html/Cleanup.h"
#include "support/ItemLog.h"

using namespace Tessarix;

namespace {

// Pictures outside `images` are no resources and are named in the log (corpus inputs).
TEST(Pipeline, PicturesOfButtonsAndVmlAreLeftOutAndNamed) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"outlook-vml-picture",
         {"Info: Picture left out of the note: cid:image002.png@01D8AB12.3C4D5E60 (V:IMAGEDATA)"}},
        {"forms-and-controls",
         {"Info: Picture left out of the note: http://survey.example.com/submit-button.png (INPUT)"}},
        {"pictures", {"Info: Picture left out of the note: http://www.example.com/images/go.png (INPUT)"}},
        {"outlook-reply", {}},
    };
    for (const auto& [name, expected] : cases) {
        std::ostringstream html;
        html << std::ifstream(std::string(TX_HTML_CORPUS_DIR "/") + name + ".html", std::ios::binary).rdbuf();
        Notes::ResourceList resources;
        std::vector<std::u16string> unresolved;
        Testing::ItemLog log;
        Global::MakeCleanContent(FromUtf8(html.str()), resources, unresolved);
        std::vector<std::string> lines;
        for (const auto& line : log.Lines())
            if (line.find("left out") != std::string::npos)
                lines.push_back(line);
        EXPECT_EQ(lines, expected) << name;
        EXPECT_TRUE(resources.empty()) << name;
    }
}

} // namespace
