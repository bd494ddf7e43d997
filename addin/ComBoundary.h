#pragma once
// Where Outlook calls into the add-in: a C++ exception must not unwind into the caller's frames,
// so each COM method runs its body here and turns a failure into its HRESULT, logged at Error.
#include <windows.h>

#include <exception>
#include <new>

#include "core/Exceptions.h"
#include "core/Format.h"
#include "core/Log.h"

namespace Tessarix::Addin {

template <typename Body> HRESULT ComBoundary(const char16_t* where, Body&& body) noexcept {
    try {
        return body();
    } catch (HResult hr) {
        Log().Error(Format(u"%s failed with code: 0x%08X", where, static_cast<std::uint32_t>(hr)));
        return hr;
    } catch (const BaseException& e) {
        Log().Error(Format(u"%s failed: ", where) + e.GetMessage());
        return E_FAIL;
    } catch (const std::bad_alloc&) {
        Log().Error(Format(u"%s failed: out of memory", where));
        return E_OUTOFMEMORY;
    } catch (...) {
        Log().Error(Format(u"%s failed", where));
        return E_FAIL;
    }
}

} // namespace Tessarix::Addin
