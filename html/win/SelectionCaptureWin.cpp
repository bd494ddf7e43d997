// The selection of the focused control, borrowed through the clipboard: save the user's clipboard,
// make the control copy, read what it copied, give the user's clipboard back.
#include <windows.h>

#include <mmsystem.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "html/SelectionCapture.h"
#include "html/win/ClipboardSnapshot.h"

namespace Tessarix::Html {

namespace Win {

namespace {

constexpr DWORD kPollSliceMs = 10;

// The clipboard, open until the scope ends.
class OpenClipboardScope {
public:
    explicit OpenClipboardScope(HWND owner) {
        int attempts = 0;
        open_ = OpenClipboardRetrying(owner, attempts);
    }
    ~OpenClipboardScope() {
        if (open_)
            ::CloseClipboard();
    }
    OpenClipboardScope(const OpenClipboardScope&) = delete;
    OpenClipboardScope& operator=(const OpenClipboardScope&) = delete;

    explicit operator bool() const { return open_; }

private:
    bool open_ = false;
};

// A locked global memory block, unlocked when the scope ends.
class GlobalLockScope {
public:
    explicit GlobalLockScope(HGLOBAL memory)
        : memory_(memory), data_(memory ? ::GlobalLock(memory) : nullptr) {}
    ~GlobalLockScope() {
        if (data_)
            ::GlobalUnlock(memory_);
    }
    GlobalLockScope(const GlobalLockScope&) = delete;
    GlobalLockScope& operator=(const GlobalLockScope&) = delete;

    void* Data() const { return data_; }

private:
    HGLOBAL memory_;
    void* data_;
};

// A global memory block owned until it is handed to the clipboard.
class GlobalMemory {
public:
    GlobalMemory(UINT flags, SIZE_T size) : memory_(::GlobalAlloc(flags, size)) {}
    ~GlobalMemory() {
        if (memory_)
            ::GlobalFree(memory_);
    }
    GlobalMemory(const GlobalMemory&) = delete;
    GlobalMemory& operator=(const GlobalMemory&) = delete;

    HGLOBAL Get() const { return memory_; }
    [[nodiscard]] HGLOBAL Release() { return std::exchange(memory_, nullptr); }

private:
    HGLOBAL memory_;
};

// Waits while another window holds the clipboard open, at most kOpenClipboardWaitMs, pumping this
// thread's messages meanwhile (the holder may be waiting for one of our windows to answer).
// The difference is taken in both directions so that a wrap of the millisecond counter ends the
// wait instead of prolonging it. Messages are pumped only when one is there: a blocking
// GetMessageW on a quiet thread would never return.
void WaitWhileClipboardHeld() {
    const DWORD start = ::timeGetTime();
    while (::GetOpenClipboardWindow() != nullptr) {
        const DWORD now = ::timeGetTime();
        const DWORD elapsed = now >= start ? now - start : start - now;
        if (elapsed > kOpenClipboardWaitMs)
            return;
        // Short slices, so that a holder letting go is noticed without a message arriving.
        const DWORD wait = std::min<DWORD>(kPollSliceMs, kOpenClipboardWaitMs - elapsed + 1);
        if (::MsgWaitForMultipleObjectsEx(0, nullptr, wait, QS_ALLINPUT, MWMO_INPUTAVAILABLE) !=
            WAIT_OBJECT_0)
            continue;
        MSG message;
        if (!::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            continue;
        if (message.message == WM_QUIT) {
            // Not ours to consume: leave it for the thread's own loop.
            ::PostQuitMessage(static_cast<int>(message.wParam));
            return;
        }
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

std::shared_ptr<const std::vector<char>> CopyFormatData(UINT format) {
    const HANDLE data = ::GetClipboardData(format);
    if (!data)
        return nullptr;
    const GlobalLockScope lock(data);
    if (!lock.Data())
        return nullptr;
    const SIZE_T size = ::GlobalSize(data);
    const auto* bytes = static_cast<const char*>(lock.Data());
    return std::make_shared<const std::vector<char>>(bytes, bytes + size);
}

} // namespace

bool OpenClipboardRetrying(HWND owner, int& attempts) {
    attempts = 0;
    while (attempts < kOpenClipboardAttempts) {
        ++attempts;
        if (::OpenClipboard(owner))
            return true;
        if (attempts < kOpenClipboardAttempts)
            WaitWhileClipboardHeld();
    }
    return false;
}

ClipboardSnapshot::ClipboardSnapshot(HWND owner) : owner_(owner) {
    Read();
}

void ClipboardSnapshot::Read() {
    const OpenClipboardScope clipboard(owner_);
    if (!clipboard)
        return;
    for (UINT format = ::EnumClipboardFormats(0); format != 0; format = ::EnumClipboardFormats(format)) {
        if (IsExcludedClipboardFormat(format) || !::IsClipboardFormatAvailable(format))
            continue;
        if (auto bytes = CopyFormatData(format))
            entries_.push_back({format, std::move(bytes)});
    }
}

void ClipboardSnapshot::ClearAndEmpty() {
    entries_.clear();
    const OpenClipboardScope clipboard(owner_);
    if (clipboard)
        ::EmptyClipboard();
}

void ClipboardSnapshot::ClearAndReRead() {
    entries_.clear();
    Read();
}

void ClipboardSnapshot::WriteBack(const ClipboardSnapshot& saved) const {
    const OpenClipboardScope clipboard(owner_);
    if (!clipboard)
        return;
    ::EmptyClipboard();
    for (const ClipboardEntry& entry : saved.entries_) {
        const std::string_view bytes = entry.View();
        GlobalMemory memory(GMEM_MOVEABLE, bytes.size());
        if (!memory.Get())
            continue;
        {
            const GlobalLockScope lock(memory.Get());
            if (!lock.Data())
                continue;
            if (!bytes.empty())
                std::memcpy(lock.Data(), bytes.data(), bytes.size());
        }
        // The clipboard owns the block once it is accepted.
        if (::SetClipboardData(entry.format, memory.Get()))
            (void)memory.Release();
    }
}

const ClipboardEntry* ClipboardSnapshot::FindByFormatName(std::u16string_view name) const {
    const std::wstring wide(name.begin(), name.end());
    const UINT format = ::RegisterClipboardFormatW(wide.c_str());
    return format != 0 ? Find(format) : nullptr;
}

const ClipboardEntry* ClipboardSnapshot::Find(UINT format) const {
    for (const ClipboardEntry& entry : entries_)
        if (entry.format == format)
            return &entry;
    return nullptr;
}

} // namespace Win

std::u16string CaptureSelectedTextHtml() {
    const HWND focus = ::GetFocus();
    // Nobody to copy from. Borrowing the clipboard anyway would also lose it: opened without a
    // window, EmptyClipboard leaves no owner and SetClipboardData then fails for the write-back.
    if (!focus)
        return {};
    Win::ClipboardSnapshot snapshot(focus);
    const Win::ClipboardSnapshot saved = snapshot;
    snapshot.ClearAndEmpty();

    // Ctrl+C as key messages (0x63 sent as it stands), then the WM_COPY that edit controls act on.
    ::SendMessageW(focus, WM_KEYDOWN, VK_CONTROL, 0);
    ::SendMessageW(focus, WM_KEYDOWN, 0x63, 0);
    ::SendMessageW(focus, WM_KEYUP, 0x63, 0);
    ::SendMessageW(focus, WM_KEYUP, VK_CONTROL, 0);
    ::SendMessageW(focus, WM_COPY, 0, 0);

    snapshot.ClearAndReRead();
    const Win::ClipboardSnapshot captured = snapshot;
    snapshot.WriteBack(saved);

    return HtmlFromCapturedEntries(captured.FindByFormatName(kHtmlClipboardFormat),
                                   captured.Find(kUnicodeTextFormat));
}

} // namespace Tessarix::Html
