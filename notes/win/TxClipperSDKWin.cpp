#include "notes/win/TxClipperSDKWin.h"

#include <atomic>
#include <cstddef>

#include "notes/TxClipperSDK.h"

namespace Tessarix::Notes {
namespace {

constexpr DWORD_PTR kPingAnswer = 64;

// The record the client reads: the flag is pointer-sized, the length follows it.
static_assert(sizeof(COPYDATASTRUCT) == 3 * sizeof(void*) && sizeof(COPYDATASTRUCT::dwData) == sizeof(void*));
static_assert(offsetof(COPYDATASTRUCT, cbData) == sizeof(void*) &&
              offsetof(COPYDATASTRUCT, lpData) == 2 * sizeof(void*));

// Process attach and the user-interface thread both get here; the number is the same for both.
std::atomic<UINT> g_pingMessage{0};

UINT Milliseconds(std::chrono::milliseconds duration) {
    return duration.count() <= 0 ? 0u : static_cast<UINT>(duration.count());
}

struct Search {
    UINT message;
    UINT timeout;
    HWND found;
};

BOOL CALLBACK AskWindow(HWND window, LPARAM context) {
    auto& search = *reinterpret_cast<Search*>(context);
    DWORD_PTR reply = 0;
    // A hung window is skipped at once instead of holding up the search.
    if (SendMessageTimeoutW(window, search.message, 0, 0, SMTO_ABORTIFHUNG, search.timeout, &reply) != 0 &&
        reply == kPingAnswer) {
        search.found = window;
        return FALSE;
    }
    return TRUE;
}

HWND FindClientWindow(std::chrono::milliseconds timeout) {
    Search search{RegisterPingMessage(), Milliseconds(timeout), nullptr};
    if (search.message == 0)
        return nullptr;
    // EnumWindows reports stopping early as failure; the result is only what the callback found.
    EnumWindows(AskWindow, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

} // namespace

UINT RegisterPingMessage() {
    UINT message = g_pingMessage.load(std::memory_order_acquire);
    if (message == 0) {
        message = RegisterWindowMessageW(L"TXCLIPPER_PING");
        g_pingMessage.store(message, std::memory_order_release);
    }
    return message;
}

HWND FindTxclipper() {
    OutputDebugStringW(L"CTxClipperSDK::FindTxclipper\n");
    return FindClientWindow(Handoff::Limits{}.findTimeout);
}

void WindowMessageChannel::Trace(const char16_t* line) {
    OutputDebugStringW(reinterpret_cast<const wchar_t*>(line));
}

bool WindowMessageChannel::Find(std::chrono::milliseconds timeout) {
    client_ = FindClientWindow(timeout);
    return client_ != nullptr;
}

Handoff::Reply WindowMessageChannel::Deliver(Ui::WindowHandle sender, const Handoff::CopyData& record,
                                             std::chrono::milliseconds timeout) {
    COPYDATASTRUCT data{};
    data.dwData = static_cast<ULONG_PTR>(record.shift);
    data.cbData = record.length;
    data.lpData = const_cast<char*>(record.bytes); // the receiver gets a copy; ours is never written
    // Preset so that a call failing without touching it cannot read as a refusal.
    DWORD_PTR reply = 1;
    // A client that is busy but still pumping messages is waited for; a hung one is not.
    if (SendMessageTimeoutW(client_, WM_COPYDATA, static_cast<WPARAM>(sender),
                            reinterpret_cast<LPARAM>(&data), SMTO_ABORTIFHUNG | SMTO_NOTIMEOUTIFNOTHUNG,
                            Milliseconds(timeout), &reply) == 0)
        return Handoff::Reply::Failed;
    return reply == 0 ? Handoff::Reply::Refused : Handoff::Reply::Accepted;
}

void WindowMessageChannel::Pause(std::chrono::milliseconds duration) {
    Sleep(Milliseconds(duration));
}

int CTxClipperSDK::SendTXEC(Ui::WindowHandle sender, const char* bytes, std::uint32_t length,
                            std::int32_t shift) {
    WindowMessageChannel channel;
    return Handoff::Send(channel, Handoff::Limits{}, sender, bytes, length, shift);
}

} // namespace Tessarix::Notes
