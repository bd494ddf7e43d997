#include "notes/win/TxClipperSDKWin.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "core/ForeignCode.h"
#include "core/Format.h"
#include "core/Log.h"
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

struct HandleCloser {
    void operator()(HANDLE handle) const { ::CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

// One token information class, in memory aligned for the structure it holds; empty on failure,
// with the error left in GetLastError.
std::vector<std::uint64_t> TokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind) {
    DWORD size = 0;
    if (::GetTokenInformation(token, kind, nullptr, 0, &size) || size == 0)
        return {};
    std::vector<std::uint64_t> buffer((size + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t));
    if (!::GetTokenInformation(token, kind, buffer.data(), size, &size))
        return {};
    return buffer;
}

std::optional<Handoff::ProcessIdentity> IdentityOfProcess(HANDLE process) {
    HANDLE raw = nullptr;
    if (!::OpenProcessToken(process, TOKEN_QUERY, &raw))
        return std::nullopt;
    const UniqueHandle token(raw);
    const auto user = TokenInformation(token.get(), TokenUser);
    if (user.empty())
        return std::nullopt;
    const PSID userSid = reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid;
    if (!::IsValidSid(userSid))
        return std::nullopt;
    Handoff::ProcessIdentity identity;
    identity.user.assign(static_cast<const char*>(userSid), ::GetLengthSid(userSid));

    const auto label = TokenInformation(token.get(), TokenIntegrityLevel);
    if (label.empty()) {
        // Windows XP does not know the information class: no integrity levels there. Any other
        // failure leaves the identity unknown.
        if (::GetLastError() == ERROR_INVALID_PARAMETER)
            return identity;
        return std::nullopt;
    }
    const PSID labelSid = reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(label.data())->Label.Sid;
    if (!::IsValidSid(labelSid) || *::GetSidSubAuthorityCount(labelSid) == 0)
        return std::nullopt;
    identity.integrity = *::GetSidSubAuthority(labelSid, *::GetSidSubAuthorityCount(labelSid) - 1u);
    return identity;
}

class SystemIdentities final : public IProcessIdentities {
public:
    std::optional<Handoff::ProcessIdentity> Own() override {
        return IdentityOfProcess(::GetCurrentProcess());
    }

    std::optional<Handoff::ProcessIdentity> OfWindow(HWND window) override {
        DWORD processId = 0;
        ::GetWindowThreadProcessId(window, &processId);
        if (processId == 0)
            return std::nullopt;
        if (processId == ::GetCurrentProcessId())
            return Own();
        // The limited right is enough on Vista and later and reaches processes of any integrity
        // level; Windows XP knows only the full one.
        UniqueHandle process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
        if (!process)
            process.reset(::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, processId));
        if (!process)
            return std::nullopt;
        return IdentityOfProcess(process.get());
    }
};

// Any window's procedure may run: the receiver's own when it is on this thread, and messages sent
// to this thread while it waits.
bool SendForeign(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags, UINT timeout,
                 DWORD_PTR& reply) {
    const ForeignCodeScope foreign;
    return SendMessageTimeoutW(window, message, wParam, lParam, flags, timeout, &reply) != 0;
}

struct Search {
    UINT message;
    Handoff::SearchBudget budget;
    IProcessIdentities& identities;
    std::optional<Handoff::ProcessIdentity> own;
    HWND found;
};

BOOL CALLBACK AskWindow(HWND window, LPARAM context) {
    auto& search = *reinterpret_cast<Search*>(context);
    const auto wait = search.budget.Next();
    if (!wait)
        return FALSE; // the search has had its time; the windows not yet asked are not
    DWORD_PTR reply = 0;
    // A hung window is skipped at once instead of holding up the search.
    if (!SendForeign(window, search.message, 0, 0, SMTO_ABORTIFHUNG, Milliseconds(*wait), reply) ||
        reply != kPingAnswer)
        return TRUE;
    // Anyone can answer the ping: a sandboxed (low-integrity) process or another user's would
    // receive every clip.
    if (!Handoff::MayReceiveClips(search.own, search.identities.OfWindow(window))) {
        DWORD processId = 0;
        ::GetWindowThreadProcessId(window, &processId);
        Log().Info(Format(u"Skipped window %x of process %u: it answered TXCLIPPER_PING but does not run as "
                          u"this user at this integrity level or above",
                          reinterpret_cast<std::uintptr_t>(window), processId));
        return TRUE;
    }
    search.found = window;
    return FALSE;
}

HWND FindClientWindow(IProcessIdentities& identities, std::chrono::milliseconds perClient,
                      std::chrono::milliseconds total) {
    Search search{RegisterPingMessage(), Handoff::SearchBudget(perClient, total), identities,
                  identities.Own(), nullptr};
    if (search.message == 0)
        return nullptr;
    // EnumWindows reports stopping early as failure; the result is only what the callback found.
    EnumWindows(AskWindow, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

} // namespace

IProcessIdentities& SystemProcessIdentities() {
    static SystemIdentities identities;
    return identities;
}

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
    const Handoff::Limits limits;
    return FindClientWindow(SystemProcessIdentities(), limits.findTimeout, limits.findTotal);
}

void WindowMessageChannel::Trace(const char16_t* line) {
    OutputDebugStringW(reinterpret_cast<const wchar_t*>(line));
}

bool WindowMessageChannel::Find(std::chrono::milliseconds perClient, std::chrono::milliseconds total) {
    client_ = FindClientWindow(identities_, perClient, total);
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
    if (!SendForeign(client_, WM_COPYDATA, static_cast<WPARAM>(sender), reinterpret_cast<LPARAM>(&data),
                     SMTO_ABORTIFHUNG | SMTO_NOTIMEOUTIFNOTHUNG, Milliseconds(timeout), reply))
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
