// The selection of the focused control, borrowed through the clipboard: save the user's clipboard,
// make the control copy, read what it copied, give the user's clipboard back.
#include <windows.h>

#include <mmsystem.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "core/ForeignCode.h"
#include "core/Log.h"
#include "core/Utf.h"
#include "html/SelectionCapture.h"
#include "html/win/ClipboardSnapshot.h"

namespace Tessarix::Html {

namespace Win {

namespace {

constexpr DWORD kPollSliceMs = 10;

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
        // Every window of the thread runs from here, Outlook's and other add-ins' too.
        const ForeignCodeScope foreign;
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

// The clipboard's owner renders a format it only promised (WM_RENDERFORMAT), and is told when it
// is emptied (WM_DESTROYCLIPBOARD): its window procedure runs inside these calls.
HANDLE ForeignClipboardData(UINT format) {
    const ForeignCodeScope foreign;
    return ::GetClipboardData(format);
}
bool EmptyForeignClipboard() {
    const ForeignCodeScope foreign;
    return ::EmptyClipboard() != FALSE;
}

// A copy of the format's data; null when it cannot be read or is over the cap (`tooLarge` set).
std::shared_ptr<const std::vector<char>> CopyFormatData(UINT format, bool& tooLarge) {
    tooLarge = false;
    const HANDLE data = ForeignClipboardData(format);
    if (!data)
        return nullptr;
    const SIZE_T size = ::GlobalSize(data);
    if (size > kMaxClipboardFormatBytes) {
        tooLarge = true;
        return nullptr;
    }
    const GlobalLockScope lock(data);
    if (!lock.Data())
        return nullptr;
    const auto* bytes = static_cast<const char*>(lock.Data());
    return std::make_shared<const std::vector<char>>(bytes, bytes + size);
}

CopyRequest& CurrentCopyRequest() {
    static CopyRequest request;
    return request;
}

// Ctrl+C as key messages (0x63 sent as it stands), then the WM_COPY that edit controls act on.
void SendCopyMessages(HWND focus) {
    ::SendMessageW(focus, WM_KEYDOWN, VK_CONTROL, 0);
    ::SendMessageW(focus, WM_KEYDOWN, 0x63, 0);
    ::SendMessageW(focus, WM_KEYUP, 0x63, 0);
    ::SendMessageW(focus, WM_KEYUP, VK_CONTROL, 0);
    ::SendMessageW(focus, WM_COPY, 0, 0);
}

DWORD ProcessOf(HWND window) {
    DWORD processId = 0;
    ::GetWindowThreadProcessId(window, &processId);
    return processId;
}

// Whether what the clipboard holds now was put there by the copy we asked `focus` for: it changed
// since we emptied it, and the window that last emptied it is `focus` or one of its process
// (a control may copy through another window of its own). The clipboard is open.
bool ChangedByTheCopy(HWND focus, DWORD emptiedSequence) {
    if (::GetClipboardSequenceNumber() == emptiedSequence)
        return false;
    const HWND owner = ::GetClipboardOwner();
    return owner != nullptr && (owner == focus || ProcessOf(owner) == ProcessOf(focus));
}

// Gives the user's saved clipboard back when the capture ends, however it ends.
class RestoreUserClipboard {
public:
    RestoreUserClipboard(HWND owner, const ClipboardSnapshot& saved) : owner_(owner), saved_(saved) {}
    ~RestoreUserClipboard() {
        try {
            Restore();
        } catch (...) {
            Log().Error(u"Global::GetSelectedTextHtml(): the user's clipboard could not be written back");
        }
    }
    RestoreUserClipboard(const RestoreUserClipboard&) = delete;
    RestoreUserClipboard& operator=(const RestoreUserClipboard&) = delete;

    void Restore() {
        if (done_)
            return;
        done_ = true;
        const OpenClipboardScope clipboard(owner_);
        if (!clipboard || !EmptyForeignClipboard() || !saved_.Put())
            Log().Error(
                u"Global::GetSelectedTextHtml(): the user's clipboard could not be written back whole");
    }

private:
    HWND owner_;
    const ClipboardSnapshot& saved_;
    bool done_ = false;
};

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

OpenClipboardScope::OpenClipboardScope(HWND owner) {
    int attempts = 0;
    open_ = OpenClipboardRetrying(owner, attempts);
}

OpenClipboardScope::~OpenClipboardScope() {
    if (open_)
        ::CloseClipboard();
}

bool ClipboardSnapshot::Save() {
    entries_.clear();
    for (UINT format = ::EnumClipboardFormats(0); format != 0; format = ::EnumClipboardFormats(format)) {
        if (IsExcludedClipboardFormat(format) || !::IsClipboardFormatAvailable(format))
            continue;
        bool tooLarge = false;
        auto bytes = CopyFormatData(format, tooLarge);
        if (tooLarge)
            continue; // given up on purpose, as the handle-based formats are
        if (!bytes)
            return false;
        entries_.push_back({format, std::move(bytes)});
    }
    return true;
}

void ClipboardSnapshot::Capture(std::initializer_list<UINT> formats) {
    entries_.clear();
    for (const UINT format : formats) {
        if (format == 0 || !::IsClipboardFormatAvailable(format))
            continue;
        bool tooLarge = false;
        if (auto bytes = CopyFormatData(format, tooLarge))
            entries_.push_back({format, std::move(bytes)});
    }
}

bool ClipboardSnapshot::Put() const {
    bool whole = true;
    for (const ClipboardEntry& entry : entries_) {
        const std::string_view bytes = entry.View();
        GlobalMemory memory(GMEM_MOVEABLE, bytes.size());
        const GlobalLockScope lock(memory.Get());
        if (!lock.Data()) {
            whole = false;
            continue;
        }
        if (!bytes.empty())
            std::memcpy(lock.Data(), bytes.data(), bytes.size());
        // The clipboard owns the block once it is accepted.
        if (::SetClipboardData(entry.format, memory.Get()))
            (void)memory.Release();
        else
            whole = false;
    }
    return whole;
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

Win::CopyRequest Win::SetCopyRequest(CopyRequest request) {
    return std::exchange(CurrentCopyRequest(), std::move(request));
}

std::u16string CaptureSelectedTextHtml() {
    const HWND focus = ::GetFocus();
    // Nobody to copy from. Borrowing the clipboard anyway would also lose it: opened without a
    // window, EmptyClipboard leaves no owner and SetClipboardData then fails for the write-back.
    if (!focus)
        return {};

    // Nothing is emptied that is not saved first: a clipboard that another program holds open,
    // or that cannot be read whole, is left alone and the item is clipped whole.
    Win::ClipboardSnapshot saved;
    {
        const Win::OpenClipboardScope clipboard(focus);
        if (!clipboard) {
            Log().Info(u"No selection captured: the clipboard could not be opened");
            return {};
        }
        if (!saved.Save()) {
            Log().Info(u"No selection captured: the user's clipboard could not be saved");
            return {};
        }
        if (!Win::EmptyForeignClipboard()) {
            Log().Info(u"No selection captured: the clipboard could not be emptied");
            return {};
        }
    }
    const DWORD emptied = ::GetClipboardSequenceNumber();
    Win::RestoreUserClipboard restore(focus, saved);

    {
        // The focused control, Outlook's, copies.
        const ForeignCodeScope foreign;
        if (const Win::CopyRequest& request = Win::CurrentCopyRequest())
            request(focus);
        else
            Win::SendCopyMessages(focus);
    }

    // Only what the copy put there is taken: a clipboard left unchanged holds nothing of the
    // selection, and data from any other window may be anything.
    Win::ClipboardSnapshot captured;
    {
        const Win::OpenClipboardScope clipboard(focus);
        if (clipboard && Win::ChangedByTheCopy(focus, emptied))
            captured.Capture({::RegisterClipboardFormatW(AsWide(std::u16string(kHtmlClipboardFormat))),
                              kUnicodeTextFormat});
        else
            Log().Info(u"No selection captured: the clipboard was not changed by the copy");
    }
    restore.Restore();

    return HtmlFromCapturedEntries(captured.FindByFormatName(kHtmlClipboardFormat),
                                   captured.Find(kUnicodeTextFormat));
}

} // namespace Tessarix::Html
