#pragma once
// A copy of the clipboard's memory-based formats, so that a capture can borrow the user's
// clipboard and give it back.
#include <windows.h>

#include <string_view>
#include <vector>

#include "html/SelectionCapture.h"

namespace Tessarix::Html::Win {

inline constexpr int kOpenClipboardAttempts = 5;
inline constexpr DWORD kOpenClipboardWaitMs = 500;

// Opens the clipboard for `owner`, retrying while another window holds it (see the .cpp).
// `attempts` receives the number of OpenClipboard calls made. On success the caller closes it.
bool OpenClipboardRetrying(HWND owner, int& attempts);

class ClipboardSnapshot {
public:
    // Stores the owner and reads the clipboard; it stays empty when the clipboard cannot be opened.
    explicit ClipboardSnapshot(HWND owner);

    // Every listed format that is not excluded and has data, in the clipboard's order.
    void Read();
    // Drops the entries, then empties the clipboard if it can be opened.
    void ClearAndEmpty();
    // Drops the entries and reads again.
    void ClearAndReRead();
    // Replaces the clipboard's contents with `saved`'s entries; an entry whose memory cannot be
    // allocated is skipped.
    void WriteBack(const ClipboardSnapshot& saved) const;
    // The first entry of the registered format `name`; null when there is none.
    const ClipboardEntry* FindByFormatName(std::u16string_view name) const;
    // The first entry of `format`; null when there is none.
    const ClipboardEntry* Find(UINT format) const;

    HWND Owner() const { return owner_; }
    const std::vector<ClipboardEntry>& Entries() const { return entries_; }

private:
    HWND owner_;
    std::vector<ClipboardEntry> entries_;
};

} // namespace Tessarix::Html::Win
