#pragma once
// Owners of the OLE automation values that cross COM calls: BSTR and VARIANT.
#include <windows.h>

#include <oleauto.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "core/Exceptions.h"

namespace Tessarix::Win {

// The automation ABI of the host's bitness, which Outlook's and Office's objects were built for: a
// different packing here would misread every argument and result.
constexpr std::size_t kPointerBytes = sizeof(void*);
static_assert(sizeof(VARIANT) == (kPointerBytes == 4 ? 16 : 24) && offsetof(VARIANT, lVal) == 8);
static_assert(sizeof(DISPPARAMS) == 2 * kPointerBytes + 8 &&
              offsetof(DISPPARAMS, cArgs) == 2 * kPointerBytes);

// Owns one BSTR. A null BSTR is the empty text, as automation treats it.
class Bstr {
public:
    Bstr() = default;
    // Copies the text; out of memory is thrown as E_OUTOFMEMORY.
    explicit Bstr(std::u16string_view text) {
        p_ = ::SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()),
                                 static_cast<UINT>(text.size()));
        if (!p_)
            throw kE_OUTOFMEMORY;
    }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    Bstr(Bstr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    Bstr& operator=(Bstr&& other) noexcept {
        if (this != &other) {
            Reset();
            p_ = std::exchange(other.p_, nullptr);
        }
        return *this;
    }
    ~Bstr() { Reset(); }

    static Bstr Attach(BSTR p) {
        Bstr b;
        b.p_ = p;
        return b;
    }
    [[nodiscard]] BSTR Detach() { return std::exchange(p_, nullptr); }
    void Reset() {
        if (BSTR p = std::exchange(p_, nullptr))
            ::SysFreeString(p);
    }
    BSTR* AddressOf() {
        Reset();
        return &p_;
    }

    BSTR Get() const { return p_; }
    std::size_t Length() const { return p_ ? ::SysStringLen(p_) : 0; }
    std::u16string_view View() const { return {reinterpret_cast<const char16_t*>(p_ ? p_ : L""), Length()}; }
    std::u16string Text() const { return std::u16string(View()); }

private:
    BSTR p_ = nullptr;
};

// Owns one VARIANT and clears it.
class Variant {
public:
    Variant() { ::VariantInit(&v_); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    ~Variant() { ::VariantClear(&v_); }

    VARIANT* Get() { return &v_; }
    const VARIANT* Get() const { return &v_; }
    VARIANT* operator->() { return &v_; }
    const VARIANT* operator->() const { return &v_; }
    // Clears the value and returns the slot for an out parameter.
    VARIANT* AddressOf() {
        ::VariantClear(&v_);
        return &v_;
    }

private:
    VARIANT v_;
};

} // namespace Tessarix::Win
