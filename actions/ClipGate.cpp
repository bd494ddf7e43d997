#include "actions/ClipGate.h"

#include <vector>

#include "core/Format.h"
#include "core/Log.h"

namespace Tessarix::ClipGate {
namespace {

// Per thread: the host's user-interface thread is the one that clips; other threads (tests) get
// their own gate.
struct State {
    bool running = false;
    std::vector<std::function<void()>> teardown;
};

State& ThisThread() {
    thread_local State state;
    return state;
}

} // namespace

Pass Enter(std::u16string_view source) {
    State& state = ThisThread();
    if (state.running) {
        Log().Info(Format(u"%s: a clip is running; this press starts no other", std::u16string(source)));
        return Pass(false);
    }
    state.running = true;
    return Pass(true);
}

Pass::Pass(Pass&& other) noexcept : owner_(other.owner_) {
    other.owner_ = false;
}

Pass::~Pass() {
    if (!owner_)
        return;
    State& state = ThisThread();
    // Over before the teardown runs: what that teardown lets go of goes at once.
    state.running = false;
    std::vector<std::function<void()>> teardown;
    teardown.swap(state.teardown);
    for (auto& step : teardown) {
        try {
            step();
        } catch (...) {
            Log().Error(u"ClipGate: a teardown held back during the clip failed");
        }
    }
}

bool ClipRunning() {
    return ThisThread().running;
}

void AfterClip(std::function<void()> teardown) {
    State& state = ThisThread();
    if (state.running)
        state.teardown.push_back(std::move(teardown));
    else
        teardown();
}

} // namespace Tessarix::ClipGate
