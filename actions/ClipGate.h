#pragma once
// One clip at a time on the host's thread, and teardown that waits until the running clip has
// unwound. A clip lets the host run its message loop (the HTML load, the clipboard wait, the
// hand-off, the message box), so a second press, a new context menu, a closed window or the
// disconnection of the add-in can arrive in the middle of it. See docs/clip-driver.md.
#include <functional>
#include <memory>
#include <string_view>

namespace Tessarix::ClipGate {

// The right to run a clip, held for the whole press. Empty when a clip runs already on this thread.
class Pass {
public:
    Pass(Pass&& other) noexcept;
    Pass& operator=(Pass&&) = delete;
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;
    // Runs the teardown that arrived during the clip.
    ~Pass();
    explicit operator bool() const { return owner_; }

private:
    friend Pass Enter(std::u16string_view source);
    explicit Pass(bool owner) : owner_(owner) {}
    bool owner_;
};

// The pass for a press from `source`; empty, with an Info line, when a clip is running.
[[nodiscard]] Pass Enter(std::u16string_view source);
bool ClipRunning();
// Runs `teardown` now, or after the running clip has unwound (in the order of arrival).
void AfterClip(std::function<void()> teardown);

// Lets go of `object` now, or after the running clip has unwound.
template <typename Owner> void Release(Owner&& object) {
    if (!ClipRunning()) {
        Owner gone = std::move(object);
        return;
    }
    AfterClip([kept = std::make_shared<std::decay_t<Owner>>(std::move(object))]() mutable { kept.reset(); });
}

// Takes the owner of `item` out of `owners` (a container of owning pointers) and lets go of it now,
// or after the running clip has unwound.
template <typename Owners, typename Item> void ReleaseFrom(Owners& owners, const Item* item) {
    for (auto owner = owners.begin(); owner != owners.end(); ++owner) {
        if (owner->get() == item) {
            auto released = std::move(*owner);
            owners.erase(owner);
            Release(std::move(released));
            return;
        }
    }
}

} // namespace Tessarix::ClipGate
