#pragma once
// A desktop client for tests under Wine: a top-level window on its own thread that answers
// "TXCLIPPER_PING" (64 by default, after a chosen delay) and WM_COPYDATA with a chosen answer,
// keeping every document it was handed.
#include <windows.h>

#include <atomic>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Tessarix::Testing {

struct Delivery {
    WPARAM sender = 0;
    ULONG_PTR flag = 0;
    std::string bytes;
};

class ClientWindow {
public:
    // `copyDataAnswer`: non-zero takes the document, 0 refuses it, kHang stops pumping messages
    // inside WM_COPYDATA until the window is stopped.
    static constexpr LRESULT kHang = -1;
    explicit ClientWindow(LRESULT copyDataAnswer = 1, DWORD_PTR pingAnswer = 64, DWORD pingDelayMs = 0)
        : copyDataAnswer_(copyDataAnswer), pingAnswer_(pingAnswer), pingDelayMs_(pingDelayMs) {
        std::promise<HWND> created;
        auto window = created.get_future();
        thread_ = std::thread([this, &created] { Run(created); });
        window_ = window.get();
    }
    ~ClientWindow() {
        Stop();
        CloseHandle(release_);
    }
    ClientWindow(const ClientWindow&) = delete;
    ClientWindow& operator=(const ClientWindow&) = delete;

    bool Running() const { return window_ != nullptr; }
    HWND Window() const { return window_; }
    int Pings() const { return pings_; }
    // From now on the window takes (non-zero) or refuses (0) the documents.
    void SetAnswer(LRESULT copyDataAnswer) { copyDataAnswer_ = copyDataAnswer; }

    // What arrived so far; the window keeps running.
    std::vector<Delivery> Deliveries() {
        std::lock_guard guard(lock_);
        return deliveries_;
    }

    // Closes the window and returns everything that arrived.
    std::vector<Delivery> Stop() {
        if (thread_.joinable()) {
            SetEvent(release_);
            PostMessageW(window_, WM_CLOSE, 0, 0);
            thread_.join();
        }
        return Deliveries();
    }

private:
    static constexpr wchar_t kClass[] = L"TessarixTestDesktopClient";

    void Run(std::promise<HWND>& created) {
        ping_ = RegisterWindowMessageW(L"TXCLIPPER_PING");
        WNDCLASSW type{};
        type.lpfnWndProc = &ClientWindow::Procedure;
        type.hInstance = GetModuleHandleW(nullptr);
        type.lpszClassName = kClass;
        RegisterClassW(&type); // an earlier client may have registered it
        const HWND window = CreateWindowExW(0, kClass, L"client", WS_OVERLAPPED, 0, 0, 10, 10, nullptr,
                                            nullptr, type.hInstance, this);
        created.set_value(window);
        if (!window)
            return;
        MSG message;
        while (GetMessageW(&message, nullptr, 0, 0) > 0)
            DispatchMessageW(&message);
    }

    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_NCCREATE)
            SetWindowLongPtrW(
                window, GWLP_USERDATA,
                reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams));
        auto* self = reinterpret_cast<ClientWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self && self->ping_ != 0 && message == self->ping_) {
            ++self->pings_;
            Sleep(self->pingDelayMs_);
            return static_cast<LRESULT>(self->pingAnswer_);
        }
        if (self && message == WM_COPYDATA) {
            const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
            {
                std::lock_guard guard(self->lock_);
                self->deliveries_.push_back(
                    {wParam, data->dwData,
                     std::string(static_cast<const char*>(data->lpData), data->cbData)});
            }
            if (self->copyDataAnswer_ != kHang)
                return self->copyDataAnswer_;
            WaitForSingleObject(self->release_, INFINITE);
            return TRUE;
        }
        if (message == WM_DESTROY)
            PostQuitMessage(0);
        return DefWindowProcW(window, message, wParam, lParam);
    }

    std::atomic<LRESULT> copyDataAnswer_;
    DWORD_PTR pingAnswer_;
    DWORD pingDelayMs_;
    std::atomic<int> pings_ = 0;
    HANDLE release_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    UINT ping_ = 0;
    HWND window_ = nullptr;
    std::thread thread_;
    std::mutex lock_;
    std::vector<Delivery> deliveries_;
};

} // namespace Tessarix::Testing
