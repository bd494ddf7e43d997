#pragma once
// Windows for tests under Wine: a window owned by a scope, and another thread that holds the
// clipboard open.
#include <windows.h>

#include <chrono>
#include <thread>

namespace Tessarix::Testing {

// A window owned by the test, destroyed with the scope.
class Window {
public:
    Window(const wchar_t* className, DWORD style, HWND parent = nullptr, const wchar_t* text = L"")
        : hwnd_(::CreateWindowExW(0, className, text, style, 0, 0, 300, 200, parent, nullptr,
                                  ::GetModuleHandleW(nullptr), nullptr)) {}
    ~Window() {
        if (hwnd_)
            ::DestroyWindow(hwnd_);
    }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;
    HWND Get() const { return hwnd_; }

private:
    HWND hwnd_;
};

// Another thread's window holds the clipboard open until released or for `holdFor`.
class ClipboardHolder {
public:
    explicit ClipboardHolder(std::chrono::milliseconds holdFor = std::chrono::minutes(1))
        : release_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          ready_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        thread_ = std::thread([this, holdFor] {
            Window window(L"STATIC", WS_POPUP);
            opened_ = ::OpenClipboard(window.Get()) != FALSE;
            ::SetEvent(ready_);
            ::WaitForSingleObject(release_, static_cast<DWORD>(holdFor.count()));
            if (opened_)
                ::CloseClipboard();
        });
        ::WaitForSingleObject(ready_, INFINITE);
    }
    ~ClipboardHolder() {
        Release();
        ::CloseHandle(release_);
        ::CloseHandle(ready_);
    }
    ClipboardHolder(const ClipboardHolder&) = delete;
    ClipboardHolder& operator=(const ClipboardHolder&) = delete;
    bool Opened() const { return opened_; }
    void Release() {
        ::SetEvent(release_);
        if (thread_.joinable())
            thread_.join();
    }

private:
    HANDLE release_;
    HANDLE ready_;
    bool opened_ = false;
    std::thread thread_;
};

} // namespace Tessarix::Testing
