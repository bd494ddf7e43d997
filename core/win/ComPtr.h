#pragma once
// The one owner of COM references, in the manner of WIL's com_ptr: it releases what it holds, and
// every way in (Attach, AddressOf, QueryFrom) states whether a reference is taken or adopted.
#include <windows.h>

#include <objbase.h>

#include <cstddef>
#include <utility>

namespace Tessarix::Win {

template <typename T> class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    // Takes a new reference on `p`.
    explicit ComPtr(T* p) : p_(p) {
        if (p_)
            p_->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.p_) {}
    ComPtr(ComPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    ~ComPtr() { Reset(); }

    ComPtr& operator=(const ComPtr& other) {
        ComPtr(other).Swap(*this);
        return *this;
    }
    ComPtr& operator=(ComPtr&& other) noexcept {
        ComPtr(std::move(other)).Swap(*this);
        return *this;
    }
    ComPtr& operator=(std::nullptr_t) {
        Reset();
        return *this;
    }

    // Adopts a reference the caller already owns.
    static ComPtr Attach(T* p) {
        ComPtr result;
        result.p_ = p;
        return result;
    }
    // Hands the reference to the caller.
    [[nodiscard]] T* Detach() { return std::exchange(p_, nullptr); }

    void Reset() {
        if (T* p = std::exchange(p_, nullptr))
            p->Release();
    }
    // Releases what is held and returns the slot for an out parameter.
    T** AddressOf() {
        Reset();
        return &p_;
    }

    T* Get() const { return p_; }
    T* operator->() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }

    // QueryInterface for U by its declared IID.
    template <typename U> HRESULT As(ComPtr<U>& out) const {
        if (!p_) {
            out.Reset();
            return E_POINTER;
        }
        return p_->QueryInterface(__uuidof(U), reinterpret_cast<void**>(out.AddressOf()));
    }
    // QueryInterface for an interface known only by its IID (Outlook interfaces used late-bound).
    template <typename U> HRESULT As(REFIID iid, ComPtr<U>& out) const {
        if (!p_) {
            out.Reset();
            return E_POINTER;
        }
        return p_->QueryInterface(iid, reinterpret_cast<void**>(out.AddressOf()));
    }

    // Hands a new reference to an out parameter; E_POINTER when there is none.
    HRESULT CopyTo(T** out) const {
        if (!out)
            return E_POINTER;
        *out = p_;
        if (p_)
            p_->AddRef();
        return S_OK;
    }

    void Swap(ComPtr& other) noexcept { std::swap(p_, other.p_); }

    friend bool operator==(const ComPtr& a, const ComPtr& b) { return a.p_ == b.p_; }
    friend bool operator==(const ComPtr& a, std::nullptr_t) { return a.p_ == nullptr; }

private:
    T* p_ = nullptr;
};

} // namespace Tessarix::Win
