// The gate of a press: one clip at a time, and teardown held back until the clip has unwound.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "ClipActionTestSupport.h"
#include "actions/ClipGate.h"

namespace Tessarix::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct Tracked {
    explicit Tracked(std::vector<std::string>& trace_) : trace(trace_) {}
    ~Tracked() { trace.push_back("freed"); }
    std::vector<std::string>& trace;
};

TEST(ClipGate, SecondPressIsRefusedAndTeardownWaitsForTheClipInOrder) {
    OpenItemLog();
    LogWatch log;
    std::vector<std::string> trace;
    auto closedWindow = std::make_unique<Tracked>(trace);
    {
        const ClipGate::Pass clip = ClipGate::Enter(u"first press");
        ASSERT_TRUE(clip);
        EXPECT_TRUE(ClipGate::ClipRunning());
        {
            const ClipGate::Pass second = ClipGate::Enter(u"second press");
            EXPECT_FALSE(second);
        }
        // A refused press ends nothing: the first clip still runs.
        EXPECT_TRUE(ClipGate::ClipRunning());
        ClipGate::Release(std::move(closedWindow));
        EXPECT_EQ(closedWindow, nullptr);
        ClipGate::AfterClip([&] { trace.push_back("disconnected"); });
        ClipGate::AfterClip([] { throw std::runtime_error("teardown"); });
        ClipGate::AfterClip([&] { trace.push_back("last"); });
        EXPECT_THAT(trace, IsEmpty());
    }
    EXPECT_THAT(trace, ElementsAre("freed", "disconnected", "last"));
    EXPECT_FALSE(ClipGate::ClipRunning());
    EXPECT_THAT(log.Lines("Info"), ElementsAre(HasSubstr("second press: a clip is running")));
    EXPECT_EQ(log.Lines("Error").size(), 1u);

    // Without a clip, teardown is at once, and the next press is let through.
    ClipGate::AfterClip([&] { trace.push_back("now"); });
    EXPECT_EQ(trace.back(), "now");
    EXPECT_TRUE(ClipGate::Enter(u"next press"));
}

} // namespace
} // namespace Tessarix::Testing
