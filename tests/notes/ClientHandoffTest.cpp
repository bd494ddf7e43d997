// The attempts, pauses and result codes of the hand-off, over a scripted channel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "notes/ClientHandoff.h"
#include "notes/TxClipperSDK.h"

namespace Tessarix::Notes {
namespace {

using ::testing::ElementsAre;

// Plays a script of clients found and replies, and writes down every call in order.
class ScriptedChannel final : public Handoff::IChannel {
public:
    std::deque<bool> found;
    std::deque<Handoff::Reply> replies;
    std::vector<std::string> calls;
    std::vector<Handoff::CopyData> delivered;
    std::vector<Ui::WindowHandle> senders;

    void Trace(const char16_t* line) override {
        std::string narrow;
        for (const char16_t* c = line; *c != 0; ++c)
            narrow += static_cast<char>(*c);
        calls.push_back("trace " + narrow);
    }
    bool Find(std::chrono::milliseconds perClient, std::chrono::milliseconds total) override {
        calls.push_back("find " + std::to_string(perClient.count()) + "/" + std::to_string(total.count()));
        const bool result = !found.empty() && found.front();
        if (!found.empty())
            found.pop_front();
        return result;
    }
    Handoff::Reply Deliver(Ui::WindowHandle sender, const Handoff::CopyData& record,
                           std::chrono::milliseconds timeout) override {
        calls.push_back("deliver " + std::to_string(timeout.count()));
        delivered.push_back(record);
        senders.push_back(sender);
        EXPECT_FALSE(replies.empty()) << "delivered more often than scripted";
        if (replies.empty())
            return Handoff::Reply::Failed;
        const Handoff::Reply reply = replies.front();
        replies.pop_front();
        return reply;
    }
    void Pause(std::chrono::milliseconds duration) override {
        calls.push_back("pause " + std::to_string(duration.count()));
    }
};

constexpr char kDocument[] = "\xEF\xBB\xBF<tx-clipper-export/>";
constexpr std::uint32_t kLength = sizeof kDocument - 1;

int SendWith(ScriptedChannel& channel, std::int32_t shift = 0) {
    return Handoff::Send(channel, Handoff::Limits{}, 0x1234, kDocument, kLength, shift);
}

TEST(ClientHandoff, NothingToSendIsReportedWithoutSearching) {
    ScriptedChannel empty;
    EXPECT_EQ(Handoff::Send(empty, Handoff::Limits{}, 1, kDocument, 0, 0), kSendNothingToSend);
    EXPECT_THAT(empty.calls, ElementsAre("trace CTxClipperSDK::SendTXEC\n"));

    ScriptedChannel missing;
    EXPECT_EQ(Handoff::Send(missing, Handoff::Limits{}, 1, nullptr, kLength, 0), kSendNothingToSend);
    EXPECT_THAT(missing.calls, ElementsAre("trace CTxClipperSDK::SendTXEC\n"));
}

TEST(ClientHandoff, FailedAttemptsAreRetriedAfterPausesUpToThree) {
    using enum Handoff::Reply;
    const std::string send = "trace CTxClipperSDK::SendTXEC\n", find = "trace CTxClipperSDK::FindTxclipper\n",
                      search = "find 3000/5000", deliver = "deliver 3000", pause = "pause 500";
    const struct {
        const char* what;
        std::deque<bool> found;
        std::deque<Handoff::Reply> replies;
        int result;
        std::vector<std::string> calls;
    } cases[] = {
        {"no client: one search, no pause", {false}, {}, kSendNoClient, {send, find, search}},
        {"accepted at the third attempt",
         {true, true, true},
         {Failed, Failed, Accepted},
         kSendDelivered,
         {send, find, search, deliver, pause, find, search, deliver, pause, find, search, deliver}},
        {"three failures are a refusal",
         {true, true, true, true},
         {Failed, Failed, Failed, Accepted},
         kSendRefused,
         {send, find, search, deliver, pause, find, search, deliver, pause, find, search, deliver}},
        {"the client gone on a retry",
         {true, false},
         {Failed},
         kSendNoClient,
         {send, find, search, deliver, pause, find, search}},
    };
    for (const auto& c : cases) {
        ScriptedChannel channel;
        channel.found = c.found;
        channel.replies = c.replies;
        EXPECT_EQ(SendWith(channel, 1), c.result) << c.what;
        EXPECT_EQ(channel.calls, c.calls) << c.what;
        // Every attempt carries the same record and sender.
        for (std::size_t i = 0; i < channel.delivered.size(); ++i) {
            EXPECT_EQ(channel.delivered[i].bytes, kDocument);
            EXPECT_EQ(channel.delivered[i].length, kLength);
            EXPECT_EQ(channel.delivered[i].shift, 1);
            EXPECT_EQ(channel.senders[i], 0x1234u);
        }
    }
}

TEST(ClientHandoff, OnlyProcessesOfOurUserAtOurIntegrityOrAboveMayReceiveClips) {
    using Identity = std::optional<Handoff::ProcessIdentity>;
    constexpr std::uint32_t kLow = 0x1000, kMedium = 0x2000, kHigh = 0x3000;
    const Identity medium = Handoff::ProcessIdentity{"me", kMedium};
    const Identity xp = Handoff::ProcessIdentity{"me", std::nullopt};
    const struct {
        const char* what;
        Identity ours, peer;
        bool may;
    } cases[] = {
        {"same user, same level", medium, Handoff::ProcessIdentity{"me", kMedium}, true},
        {"same user, higher level", medium, Handoff::ProcessIdentity{"me", kHigh}, true},
        {"same user, lower level", medium, Handoff::ProcessIdentity{"me", kLow}, false},
        {"same user, level unknown", medium, Handoff::ProcessIdentity{"me", std::nullopt}, false},
        {"another user, same level", medium, Handoff::ProcessIdentity{"you", kMedium}, false},
        {"peer unknown", medium, std::nullopt, false},
        {"our own identity unknown", std::nullopt, medium, false},
        {"no levels (XP), same user", xp, Handoff::ProcessIdentity{"me", std::nullopt}, true},
        {"no levels (XP), another user", xp, Handoff::ProcessIdentity{"you", std::nullopt}, false},
        {"empty users", Handoff::ProcessIdentity{"", kMedium}, Handoff::ProcessIdentity{"", kMedium}, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Handoff::MayReceiveClips(c.ours, c.peer), c.may) << c.what;
}

TEST(ClientHandoff, ASearchBudgetCutsEachWaitToWhatRemains) {
    using std::chrono::milliseconds;
    EXPECT_EQ(Handoff::SearchBudget(milliseconds(3000), milliseconds(60000)).Next(), milliseconds(3000));
    const auto cut = Handoff::SearchBudget(milliseconds(3000), milliseconds(1000)).Next();
    ASSERT_TRUE(cut.has_value());
    EXPECT_LE(*cut, milliseconds(1000));
    EXPECT_GT(*cut, milliseconds(500));
    EXPECT_FALSE(Handoff::SearchBudget(milliseconds(3000), milliseconds(0)).Next().has_value());
}

} // namespace
} // namespace Tessarix::Notes
