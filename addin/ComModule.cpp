#include "addin/ComModule.h"

#include <vector>

#include "core/Exceptions.h"
#include "core/Utf.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace Tessarix::Addin {
namespace {

std::atomic<long> g_lockCount{0};

} // namespace

HMODULE ThisModule() {
    return reinterpret_cast<HMODULE>(&__ImageBase);
}

std::u16string ThisModulePath() {
    std::vector<wchar_t> buffer(MAX_PATH);
    while (true) {
        const DWORD length =
            ::GetModuleFileNameW(ThisModule(), buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0)
            throw HResultFrom(HRESULT_FROM_WIN32(::GetLastError()));
        if (length < buffer.size())
            return FromWide(buffer.data(), length);
        buffer.resize(buffer.size() * 2);
    }
}

void LockModule() {
    ++g_lockCount;
}

void UnlockModule() {
    --g_lockCount;
}

long ModuleLockCount() {
    return g_lockCount;
}

CriticalSection& ModuleCriticalSection() {
    static CriticalSection cs;
    return cs;
}

HRESULT STDMETHODCALLTYPE ClassFactory::QueryInterface(REFIID iid, void** out) {
    return QueryInterfaceFor<IUnknown, IClassFactory>(this, iid, out);
}

ULONG STDMETHODCALLTYPE ClassFactory::AddRef() {
    const ULONG count = ++refs_;
    if (count == 2)
        LockModule();
    return count;
}

ULONG STDMETHODCALLTYPE ClassFactory::Release() {
    const ULONG count = --refs_;
    if (count == 1)
        UnlockModule();
    if (count == 0)
        delete this;
    return count;
}

HRESULT STDMETHODCALLTYPE ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (outer)
        return CLASS_E_NOAGGREGATION;
    return create_(iid, out);
}

HRESULT STDMETHODCALLTYPE ClassFactory::LockServer(BOOL lock) {
    if (lock) {
        LockModule();
    } else {
        UnlockModule();
    }
    return S_OK;
}

} // namespace Tessarix::Addin
