#pragma once
// For tests of whose fault a fault is (docs/clip-driver.md, "Whose fault"): a handler standing in
// for Outlook's own, outside the add-in, and a window of the test's thread, as Outlook's windows
// are, whose procedure faults on one message.
#include <windows.h>

#include <cstdint>
#include <functional>
#include <optional>

#include "actions/FaultGuard.h"

namespace Tessarix::Testing {

// Runs `body` as Outlook calls the add-in: under a handler of Outlook's own that takes whatever
// reaches it. Returns the code it took.
inline std::optional<std::uint32_t> UnderOutlooksHandler(const std::function<void()>& body) {
    return RunFaultGuarded([](void* f) { (*static_cast<const std::function<void()>*>(f))(); },
                           const_cast<std::function<void()>*>(&body), [](std::uint32_t) { return true; });
}

class FaultingWindow {
public:
    static constexpr UINT kFaultMessage = WM_APP + 21;

    // Writes through a null pointer when it receives `faultOn`.
    explicit FaultingWindow(UINT faultOn = kFaultMessage) {
        static const ATOM windowClass = [] {
            WNDCLASSW type{};
            type.lpfnWndProc = &Procedure;
            type.hInstance = GetModuleHandleW(nullptr);
            type.lpszClassName = L"TessarixTestFaultingWindow";
            return RegisterClassW(&type);
        }();
        window_ = CreateWindowExW(0, MAKEINTATOM(windowClass), L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                  GetModuleHandleW(nullptr), nullptr);
        SetWindowLongPtrW(window_, GWLP_USERDATA, faultOn);
    }
    ~FaultingWindow() { DestroyWindow(window_); }
    FaultingWindow(const FaultingWindow&) = delete;
    FaultingWindow& operator=(const FaultingWindow&) = delete;

    HWND Get() const { return window_; }
    void PostFault() const { PostMessageW(window_, kFaultMessage, 0, 0); }

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == static_cast<UINT>(GetWindowLongPtrW(window, GWLP_USERDATA)))
            *nowhere_ = 42;
        return DefWindowProcW(window, message, wParam, lParam);
    }
    static inline int* volatile nowhere_ = nullptr;
    HWND window_;
};

} // namespace Tessarix::Testing
