// The window-message hand-off against real windows on another thread.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "notes/TxClipperSDK.h"
#include "notes/win/TxClipperSDKWin.h"
#include "support/ItemLog.h"
#include "support/win/ClientWindow.h"

namespace Tessarix::Notes {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

using Receiver = Testing::ClientWindow;

constexpr char kRawDocument[] = "\xEF\xBB\xBF<tx-clipper-export>\0\x01\xFF</tx-clipper-export>";
const std::string kDocument(kRawDocument, sizeof kRawDocument - 1);
constexpr Ui::WindowHandle kSender = 0x1234;

int Send(std::int32_t shift = 0) {
    return CTxClipperSDK::SendTXEC(kSender, kDocument.data(), static_cast<std::uint32_t>(kDocument.size()),
                                   shift);
}

TEST(WindowHandoff, AWindowAnswering63IsNoClient) {
    const UINT ping = RegisterPingMessage();
    EXPECT_EQ(RegisterPingMessage(), ping);
    EXPECT_EQ(ping, RegisterWindowMessageW(L"TXCLIPPER_PING"));
    Receiver decoy(1, 63);
    ASSERT_NE(decoy.Window(), nullptr);
    EXPECT_EQ(FindTxclipper(), nullptr);
    EXPECT_EQ(Send(), kSendNoClient);
    EXPECT_TRUE(decoy.Stop().empty());
    EXPECT_EQ(decoy.Pings(), 2); // one for FindTxclipper, one search for the send: no retry
}

TEST(WindowHandoff, TheClientBesideADecoyGetsSenderFlagLengthAndBytesIntact) {
    Receiver client;
    Receiver decoy(1, 63);
    EXPECT_EQ(FindTxclipper(), client.Window());
    EXPECT_EQ(Send(1), kSendDelivered);
    EXPECT_EQ(Send(0), kSendDelivered);
    EXPECT_TRUE(decoy.Stop().empty());
    const auto documents = client.Stop();
    ASSERT_EQ(documents.size(), 2u);
    for (const auto& document : documents) {
        EXPECT_EQ(document.sender, kSender);
        EXPECT_EQ(document.bytes, kDocument);
    }
    EXPECT_EQ(documents[0].flag, 1u);
    EXPECT_EQ(documents[1].flag, 0u);
}

TEST(WindowHandoff, ARefusalEndsAfterOneAttempt) {
    Receiver client(0);
    EXPECT_EQ(Send(), kSendRefused);
    EXPECT_EQ(client.Stop().size(), 1u);
    EXPECT_EQ(client.Pings(), 1);
}

// A client that stops pumping messages inside WM_COPYDATA is hung, and both Windows and Wine give
// up on it: Windows once it counts as hung (nothing retrieved from its queue for 5 s; a client that
// is only slow is waited for without limit), Wine at the 3000 ms limit (it does not wait for a slow
// client either, so no test here relies on how a slow client is treated). The next search skips the
// hung window, so the send ends as "no client" after exactly one document, in bounded time.
TEST(WindowHandoff, AClientThatHangsInsideTheDocumentIsGivenUp) {
    Receiver client(Receiver::kHang);
    const auto start = Clock::now();
    EXPECT_EQ(Send(1), kSendNoClient);
    const auto elapsed = Clock::now() - start;
    EXPECT_GE(elapsed, 3s); // one full limit at least, then the 500 ms pause
    EXPECT_LT(elapsed, 20s);
    const auto documents = client.Stop();
    ASSERT_EQ(documents.size(), 1u);
    EXPECT_EQ(documents[0].bytes, kDocument);
}

// Stands in for the tokens: every window belongs to this process, so the identities are told.
class FakeIdentities final : public IProcessIdentities {
public:
    std::optional<Handoff::ProcessIdentity> own;
    std::map<HWND, std::optional<Handoff::ProcessIdentity>> windows;

    std::optional<Handoff::ProcessIdentity> Own() override { return own; }
    std::optional<Handoff::ProcessIdentity> OfWindow(HWND window) override {
        const auto found = windows.find(window);
        return found != windows.end() ? found->second : own;
    }
};

// The rule itself is tabled natively (ClientHandoff); here a real window on each side of it.
TEST(WindowHandoff, OnlyAWindowOfOurUserAtOurIntegrityOrAboveGetsTheDocument) {
    using Identity = std::optional<Handoff::ProcessIdentity>;
    const Identity medium = Handoff::ProcessIdentity{"me", 0x2000};
    const struct {
        const char* what;
        Identity ours, client;
        int result;
    } cases[] = {
        {"sandboxed (low integrity)", medium, Handoff::ProcessIdentity{"me", 0x1000}, kSendNoClient},
        {"elevated", medium, Handoff::ProcessIdentity{"me", 0x3000}, kSendDelivered},
    };
    for (const auto& c : cases) {
        Testing::ItemLog log;
        Receiver client;
        FakeIdentities identities;
        identities.own = c.ours;
        identities.windows[client.Window()] = c.client;
        WindowMessageChannel channel(identities);
        EXPECT_EQ(Handoff::Send(channel, Handoff::Limits{}, kSender, kDocument.data(),
                                static_cast<std::uint32_t>(kDocument.size()), 0),
                  c.result)
            << c.what;
        EXPECT_EQ(client.Stop().size(), c.result == kSendDelivered ? 1u : 0u) << c.what;
        char skipped[200];
        std::snprintf(
            skipped, sizeof skipped,
            "Info: Skipped window %llx of process %lu: it answered TXCLIPPER_PING but does not run as "
            "this user at this integrity level or above",
            static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(client.Window())),
            static_cast<unsigned long>(GetCurrentProcessId()));
        const auto lines = log.Messages();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), std::string(skipped)),
                  c.result == kSendDelivered ? 0 : 1)
            << c.what << ": " << testing::PrintToString(lines);
    }
}

TEST(WindowHandoff, TheClientIsFoundBesideASandboxedWindow) {
    Receiver sandboxed;
    Receiver client;
    FakeIdentities identities;
    identities.own = Handoff::ProcessIdentity{"me", 0x2000};
    identities.windows[sandboxed.Window()] = Handoff::ProcessIdentity{"me", 0x1000};
    WindowMessageChannel channel(identities);
    EXPECT_EQ(Handoff::Send(channel, Handoff::Limits{}, kSender, kDocument.data(),
                            static_cast<std::uint32_t>(kDocument.size()), 0),
              kSendDelivered);
    EXPECT_EQ(client.Stop().size(), 1u);
    EXPECT_TRUE(sandboxed.Stop().empty());
}

// Windows that take their time over the ping (without being hung) hold up the search one after
// the other; the whole search ends when its total is spent.
TEST(WindowHandoff, SlowWindowsCannotProlongTheSearchBeyondItsTotal) {
    std::vector<std::unique_ptr<Receiver>> slow;
    for (int i = 0; i < 4; ++i)
        slow.push_back(std::make_unique<Receiver>(1, 63, 1000));
    WindowMessageChannel channel;
    const auto start = Clock::now();
    EXPECT_FALSE(channel.Find(3000ms, 1500ms));
    const auto elapsed = Clock::now() - start;
    EXPECT_GE(elapsed, 1000ms); // a slow window was waited for
    EXPECT_LT(elapsed, 2500ms); // but not all four, one after the other
    for (auto& receiver : slow)
        receiver->Stop();
}

} // namespace
} // namespace Tessarix::Notes
