// The window-message hand-off against real windows on another thread.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "notes/TxClipperSDK.h"
#include "notes/win/TxClipperSDKWin.h"
#include "support/ItemLog.h"

namespace Tessarix::Notes {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct Document {
    WPARAM sender = 0;
    ULONG_PTR flag = 0;
    DWORD length = 0;
    std::string bytes;
};

// A top-level window on its own thread that answers the ping and WM_COPYDATA as scripted.
class Receiver {
public:
    // Hang: stops pumping messages inside WM_COPYDATA until the receiver is stopped.
    enum class Action { Accept, Refuse, Hang };

    explicit Receiver(DWORD_PTR pingAnswer, std::vector<Action> script = {},
                      std::chrono::milliseconds pingDelay = std::chrono::milliseconds(0))
        : pingAnswer_(pingAnswer), script_(std::move(script)), pingDelay_(pingDelay),
          release_(CreateEventW(nullptr, TRUE, FALSE, nullptr), &CloseHandle) {
        auto window = created_.get_future();
        thread_ = std::thread([this] { Run(); });
        window_ = window.get();
    }
    ~Receiver() { Stop(); }

    HWND Window() const { return window_; }

    // Closes the window; what it saw may be read afterwards.
    void Stop() {
        if (thread_.joinable()) {
            SetEvent(release_.get());
            PostMessageW(window_, WM_CLOSE, 0, 0);
            thread_.join();
        }
    }
    const std::vector<Clock::time_point>& Pings() const { return pings_; }
    const std::vector<Document>& Documents() const { return documents_; }

private:
    static constexpr wchar_t kClass[] = L"TessarixHandoffTestReceiver";

    void Run() {
        pingMessage_ = RegisterWindowMessageW(L"TXCLIPPER_PING");
        WNDCLASSW type{};
        type.lpfnWndProc = &Receiver::Procedure;
        type.hInstance = GetModuleHandleW(nullptr);
        type.lpszClassName = kClass;
        RegisterClassW(&type); // fails harmlessly when an earlier receiver registered it
        const HWND window = CreateWindowExW(0, kClass, L"receiver", WS_OVERLAPPED, 0, 0, 10, 10, nullptr,
                                            nullptr, type.hInstance, this);
        created_.set_value(window);
        if (window == nullptr)
            return;
        MSG message;
        while (GetMessageW(&message, nullptr, 0, 0) > 0)
            DispatchMessageW(&message);
    }

    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_NCCREATE)
            SetWindowLongPtrW(
                window, GWLP_USERDATA,
                reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams));
        auto* self = reinterpret_cast<Receiver*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self != nullptr && message == self->pingMessage_ && message != 0) {
            self->pings_.push_back(Clock::now());
            Sleep(static_cast<DWORD>(self->pingDelay_.count()));
            return static_cast<LRESULT>(self->pingAnswer_);
        }
        if (self != nullptr && message == WM_COPYDATA)
            return self->Receive(wParam, *reinterpret_cast<const COPYDATASTRUCT*>(lParam));
        if (message == WM_DESTROY)
            PostQuitMessage(0);
        return DefWindowProcW(window, message, wParam, lParam);
    }

    LRESULT Receive(WPARAM sender, const COPYDATASTRUCT& data) {
        Document document;
        document.sender = sender;
        document.flag = data.dwData;
        document.length = data.cbData;
        document.bytes.assign(static_cast<const char*>(data.lpData), data.cbData);
        documents_.push_back(std::move(document));
        const std::size_t turn = documents_.size() - 1;
        switch (turn < script_.size() ? script_[turn] : Action::Accept) {
        case Action::Refuse:
            return 0;
        case Action::Hang:
            WaitForSingleObject(release_.get(), INFINITE);
            return TRUE;
        case Action::Accept:
            break;
        }
        return TRUE;
    }

    DWORD_PTR pingAnswer_;
    std::vector<Action> script_;
    std::chrono::milliseconds pingDelay_;
    UINT pingMessage_ = 0;
    std::promise<HWND> created_;
    std::vector<Clock::time_point> pings_;
    std::vector<Document> documents_;
    std::unique_ptr<void, decltype(&CloseHandle)> release_;
    HWND window_ = nullptr;
    std::thread thread_;
};

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
    Receiver decoy(63);
    ASSERT_NE(decoy.Window(), nullptr);
    EXPECT_EQ(FindTxclipper(), nullptr);
    EXPECT_EQ(Send(), kSendNoClient);
    decoy.Stop();
    EXPECT_EQ(decoy.Pings().size(), 2u); // one for FindTxclipper, one search for the send: no retry
    EXPECT_TRUE(decoy.Documents().empty());
}

TEST(WindowHandoff, TheClientBesideADecoyGetsSenderFlagLengthAndBytesIntact) {
    Receiver client(64);
    Receiver decoy(63);
    EXPECT_EQ(FindTxclipper(), client.Window());
    EXPECT_EQ(Send(1), kSendDelivered);
    EXPECT_EQ(Send(0), kSendDelivered);
    client.Stop();
    decoy.Stop();
    EXPECT_TRUE(decoy.Documents().empty());
    const auto& documents = client.Documents();
    ASSERT_EQ(documents.size(), 2u);
    for (const auto& document : documents) {
        EXPECT_EQ(document.sender, kSender);
        EXPECT_EQ(document.length, kDocument.size());
        EXPECT_EQ(document.bytes, kDocument);
    }
    EXPECT_EQ(documents[0].flag, 1u);
    EXPECT_EQ(documents[1].flag, 0u);
}

TEST(WindowHandoff, ARefusalEndsAfterOneAttempt) {
    Receiver client(64, {Receiver::Action::Refuse, Receiver::Action::Accept});
    EXPECT_EQ(Send(), kSendRefused);
    client.Stop();
    EXPECT_EQ(client.Pings().size(), 1u);
    EXPECT_EQ(client.Documents().size(), 1u);
}

TEST(WindowHandoff, NothingToSendSearchesNoWindow) {
    Receiver client(64);
    EXPECT_EQ(CTxClipperSDK::SendTXEC(kSender, kDocument.data(), 0, 1), kSendNothingToSend);
    EXPECT_EQ(CTxClipperSDK::SendTXEC(kSender, nullptr, 10, 1), kSendNothingToSend);
    client.Stop();
    EXPECT_TRUE(client.Pings().empty());
    EXPECT_TRUE(client.Documents().empty());
}

// A client that stops pumping messages inside WM_COPYDATA is hung, and both Windows and Wine give
// up on it: Windows once it counts as hung (nothing retrieved from its queue for 5 s; a client that
// is only slow is waited for without limit), Wine at the 3000 ms limit (it does not wait for a slow
// client either, so no test here relies on how a slow client is treated). The next search skips the
// hung window, so the send ends as "no client" after exactly one document, in bounded time.
TEST(WindowHandoff, AClientThatHangsInsideTheDocumentIsGivenUp) {
    Receiver client(64, {Receiver::Action::Hang});
    const auto start = Clock::now();
    EXPECT_EQ(Send(1), kSendNoClient);
    const auto elapsed = Clock::now() - start;
    EXPECT_GE(elapsed, 3s); // one full limit at least, then the 500 ms pause
    EXPECT_LT(elapsed, 20s);
    client.Stop();
    ASSERT_EQ(client.Documents().size(), 1u);
    EXPECT_EQ(client.Documents()[0].bytes, kDocument);
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
        Receiver client(64);
        FakeIdentities identities;
        identities.own = c.ours;
        identities.windows[client.Window()] = c.client;
        WindowMessageChannel channel(identities);
        EXPECT_EQ(Handoff::Send(channel, Handoff::Limits{}, kSender, kDocument.data(),
                                static_cast<std::uint32_t>(kDocument.size()), 0),
                  c.result)
            << c.what;
        client.Stop();
        EXPECT_EQ(client.Documents().size(), c.result == kSendDelivered ? 1u : 0u) << c.what;
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
    Receiver sandboxed(64);
    Receiver client(64);
    FakeIdentities identities;
    identities.own = Handoff::ProcessIdentity{"me", 0x2000};
    identities.windows[sandboxed.Window()] = Handoff::ProcessIdentity{"me", 0x1000};
    WindowMessageChannel channel(identities);
    EXPECT_EQ(Handoff::Send(channel, Handoff::Limits{}, kSender, kDocument.data(),
                            static_cast<std::uint32_t>(kDocument.size()), 0),
              kSendDelivered);
    client.Stop();
    sandboxed.Stop();
    EXPECT_EQ(client.Documents().size(), 1u);
    EXPECT_TRUE(sandboxed.Documents().empty());
}

// Windows that take their time over the ping (without being hung) hold up the search one after
// the other; the whole search ends when its total is spent.
TEST(WindowHandoff, SlowWindowsCannotProlongTheSearchBeyondItsTotal) {
    std::vector<std::unique_ptr<Receiver>> slow;
    for (int i = 0; i < 4; ++i)
        slow.push_back(std::make_unique<Receiver>(63, std::vector<Receiver::Action>{}, 1000ms));
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
