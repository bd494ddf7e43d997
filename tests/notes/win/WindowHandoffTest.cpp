// The window-message hand-off against real windows on another thread.
#include <gtest/gtest.h>

#include <windows.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "notes/TxClipperSDK.h"
#include "notes/win/TxClipperSDKWin.h"

namespace Tessarix::Notes {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct Document {
    WPARAM sender = 0;
    ULONG_PTR flag = 0;
    DWORD length = 0;
    std::string bytes;
    Clock::time_point arrived;
};

// A top-level window on its own thread that answers the ping and WM_COPYDATA as scripted.
class Receiver {
public:
    enum class Action { Accept, Refuse, Stall };

    explicit Receiver(DWORD_PTR pingAnswer, std::vector<Action> script = {})
        : pingAnswer_(pingAnswer), script_(std::move(script)) {
        auto window = created_.get_future();
        thread_ = std::thread([this] { Run(); });
        window_ = window.get();
    }
    ~Receiver() { Stop(); }

    HWND Window() const { return window_; }

    // Closes the window; what it saw may be read afterwards.
    void Stop() {
        if (thread_.joinable()) {
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
        document.arrived = Clock::now();
        documents_.push_back(std::move(document));
        const std::size_t turn = documents_.size() - 1;
        switch (turn < script_.size() ? script_[turn] : Action::Accept) {
        case Action::Refuse:
            return 0;
        case Action::Stall:
            Sleep(3300); // past the sender's 3000 ms
            return TRUE;
        case Action::Accept:
            break;
        }
        return TRUE;
    }

    DWORD_PTR pingAnswer_;
    std::vector<Action> script_;
    UINT pingMessage_ = 0;
    std::promise<HWND> created_;
    std::vector<Clock::time_point> pings_;
    std::vector<Document> documents_;
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
    Receiver decoy(63);
    ASSERT_NE(decoy.Window(), nullptr);
    EXPECT_EQ(FindTxclipper(), nullptr);
    EXPECT_EQ(Send(), kSendNoClient);
    decoy.Stop();
    EXPECT_EQ(decoy.Pings().size(), 2u); // one for FindTxclipper, one search for the send: no retry
    EXPECT_TRUE(decoy.Documents().empty());
}

TEST(WindowHandoff, TheClientIsFoundBesideADecoy) {
    Receiver client(64);
    Receiver decoy(63);
    EXPECT_EQ(FindTxclipper(), client.Window());
    EXPECT_EQ(Send(), kSendDelivered);
    client.Stop();
    decoy.Stop();
    EXPECT_EQ(client.Documents().size(), 1u);
    EXPECT_TRUE(decoy.Documents().empty());
}

TEST(WindowHandoff, DeliversSenderFlagLengthAndBytesIntact) {
    Receiver client(64);
    EXPECT_EQ(Send(1), kSendDelivered);
    EXPECT_EQ(Send(0), kSendDelivered);
    client.Stop();
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

// The receiver sleeps in its handler without pumping messages, so the sender's limit ends each of
// the first two sends.
TEST(WindowHandoff, TwoTimedOutSendsAreRetriedAfterPauses) {
    Receiver client(64, {Receiver::Action::Stall, Receiver::Action::Stall, Receiver::Action::Accept});
    EXPECT_EQ(Send(1), kSendDelivered);
    client.Stop();
    const auto& pings = client.Pings();
    const auto& documents = client.Documents();
    ASSERT_EQ(pings.size(), 3u);
    ASSERT_EQ(documents.size(), 3u);
    for (std::size_t i = 0; i < 2; ++i) {
        // The sender gave up after 3000 ms, paused 500 ms, then searched again.
        const auto gap = pings[i + 1] - documents[i].arrived;
        EXPECT_GE(gap, 3400ms) << "attempt " << i + 2;
        EXPECT_LT(gap, 8s) << "attempt " << i + 2;
    }
    EXPECT_EQ(documents[2].bytes, kDocument);
}

TEST(WindowHandoff, ThePingMessageIsRegisteredOnce) {
    const UINT message = RegisterPingMessage();
    EXPECT_NE(message, 0u);
    EXPECT_EQ(RegisterPingMessage(), message);
    EXPECT_EQ(message, RegisterWindowMessageW(L"TXCLIPPER_PING"));
}

} // namespace
} // namespace Tessarix::Notes
