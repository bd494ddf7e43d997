#pragma once
// A copy of the clipboard's memory-based formats, so that a capture can borrow the user's
// clipboard and give it back, and the hooks the capture's tests use.
#include <windows.h>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "html/SelectionCapture.h"

namespace Tessarix::Html::Win {

inline constexpr int kOpenClipboardAttempts = 5;
inline constexpr DWORD kOpenClipboardWaitMs = 500;
// A format larger than this is neither saved nor captured (docs/selection-capture.md).
inline constexpr std::size_t kMaxClipboardFormatBytes = 16u << 20;

// Opens the clipboard for `owner`, retrying while another window holds it (see the .cpp).
// `attempts` receives the number of OpenClipboard calls made. On success the caller closes it.
bool OpenClipboardRetrying(HWND owner, int& attempts);

// The clipboard, open until the scope ends.
class OpenClipboardScope {
public:
    explicit OpenClipboardScope(HWND owner);
    ~OpenClipboardScope();
    OpenClipboardScope(const OpenClipboardScope&) = delete;
    OpenClipboardScope& operator=(const OpenClipboardScope&) = delete;

    explicit operator bool() const { return open_; }

private:
    bool open_ = false;
};

// Every call works on a clipboard that the caller holds open.
class ClipboardSnapshot {
public:
    // Every listed format that is not excluded, in the clipboard's order, except those over
    // kMaxClipboardFormatBytes. False when a format that should be kept cannot be read: then the
    // clipboard cannot be saved.
    bool Save();
    // Only the `formats` that are there and within kMaxClipboardFormatBytes.
    void Capture(std::initializer_list<UINT> formats);
    // Adds the entries to the emptied clipboard; false when one of them could not be placed.
    bool Put() const;

    // The first entry of the registered format `name`; null when there is none.
    const ClipboardEntry* FindByFormatName(std::u16string_view name) const;
    // The first entry of `format`; null when there is none.
    const ClipboardEntry* Find(UINT format) const;
    const std::vector<ClipboardEntry>& Entries() const { return entries_; }

private:
    std::vector<ClipboardEntry> entries_;
};

// How the focused window is asked to copy its selection: the key and WM_COPY messages. Tests may
// replace it (an empty function restores the messages); returns the one set before.
using CopyRequest = std::function<void(HWND focus)>;
CopyRequest SetCopyRequest(CopyRequest request);

} // namespace Tessarix::Html::Win
