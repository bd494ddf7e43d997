#pragma once
// The COM server's plumbing: the module lock count behind DllCanUnloadNow, reference counting for
// the add-in's COM objects, and a class factory for any of them. In the manner of ATL's module,
// CComObject and CComClassFactory, without ATL.
#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <new>
#include <string>

// COM objects are destroyed by their own Release, never through an interface pointer, and COM
// interfaces have no destructors by design.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace Tessarix::Addin {

// The add-in module itself (not the process's executable).
HMODULE ThisModule();
// Its full path; throws the HRESULT of the failure.
std::u16string ThisModulePath();

// Objects alive plus IClassFactory::LockServer locks.
void LockModule();
void UnlockModule();
long ModuleLockCount();

class ModuleLock {
public:
    ModuleLock() { LockModule(); }
    ~ModuleLock() { UnlockModule(); }
    ModuleLock(const ModuleLock&) = delete;
    ModuleLock& operator=(const ModuleLock&) = delete;
};

// The module's critical section, owned for its lifetime.
class CriticalSection {
public:
    CriticalSection() { ::InitializeCriticalSection(&cs_); }
    ~CriticalSection() { ::DeleteCriticalSection(&cs_); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    class Guard {
    public:
        explicit Guard(CriticalSection& cs) : cs_(cs) { ::EnterCriticalSection(&cs_.cs_); }
        ~Guard() { ::LeaveCriticalSection(&cs_.cs_); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        CriticalSection& cs_;
    };

private:
    CRITICAL_SECTION cs_;
};

CriticalSection& ModuleCriticalSection();

// Reference counting for an object that implements `Interfaces`; it starts with the creator's
// reference and keeps the module locked while it lives. The most derived class answers
// QueryInterface (QueryInterfaceFor below helps).
template <typename... Interfaces> class ComObject : public Interfaces... {
public:
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --refs_;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    ComObject() = default;
    virtual ~ComObject() = default;
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

private:
    std::atomic<ULONG> refs_{1};
    ModuleLock lock_;
};

// Answers `iid` with the first of `Interfaces` whose declared IID it is; E_NOINTERFACE otherwise.
template <typename... Interfaces, typename Object>
HRESULT QueryInterfaceFor(Object* object, REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    const bool found =
        ((IsEqualIID(iid, __uuidof(Interfaces)) ? (*out = static_cast<Interfaces*>(object), true) : false) ||
         ...);
    if (!found)
        return E_NOINTERFACE;
    static_cast<IUnknown*>(*out)->AddRef();
    return S_OK;
}

// Creates a T (default-constructed) and asks it for `iid`; the creator's reference is dropped, so
// a failed query destroys the object again.
template <typename T> HRESULT CreateComObject(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    T* object = nullptr;
    try {
        object = new T();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
    const HRESULT hr = object->QueryInterface(iid, out);
    object->Release();
    return hr;
}

using CreateInstanceFunction = HRESULT (*)(REFIID iid, void** out);

// The class factory of one class. The module caches one per class: the cache's own reference does
// not lock the module, every further reference does (as ATL's cached factories behave), so a
// factory that a client still holds keeps the module loaded and the cached one alone does not.
class ClassFactory final : public IClassFactory {
public:
    explicit ClassFactory(CreateInstanceFunction create) : create_(create) {}
    ClassFactory(const ClassFactory&) = delete;
    ClassFactory& operator=(const ClassFactory&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

private:
    virtual ~ClassFactory() = default;

    std::atomic<ULONG> refs_{1};
    CreateInstanceFunction create_;
};

} // namespace Tessarix::Addin

#pragma GCC diagnostic pop
