#include "addin/Registrar.h"

#include <oleauto.h>

#include <string>
#include <type_traits>

#include "addin/ComModule.h"
#include "addin/RegistryScript.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/Utf.h"
#include "core/win/ComPtr.h"

namespace Tessarix::Addin {
namespace {

constexpr WORD kRegistryScriptResource = 101;

[[noreturn]] void ThrowWin32(LSTATUS status) {
    throw HResultFrom(HRESULT_FROM_WIN32(static_cast<DWORD>(status)));
}

void ThrowIfHrFailed(HRESULT hr) {
    if (FAILED(hr))
        throw HResultFrom(static_cast<std::uint32_t>(hr));
}

class RegistryKey {
public:
    RegistryKey() = default;
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;
    ~RegistryKey() {
        if (key_)
            ::RegCloseKey(key_);
    }
    HKEY Get() const { return key_; }
    HKEY* AddressOf() { return &key_; }

private:
    HKEY key_ = nullptr;
};

// The Win32 registry behind the script.
class Win32RegistryStore final : public IRegistryStore {
public:
    void CreateKey(RegistryRoot root, const std::u16string& path) override {
        RegistryKey key;
        const LSTATUS status =
            ::RegCreateKeyExW(RootKey(root), AsWide(path), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_READ | KEY_WRITE, nullptr, key.AddressOf(), nullptr);
        if (status != ERROR_SUCCESS)
            ThrowWin32(status);
    }

    void SetValue(RegistryRoot root, const std::u16string& path, const std::u16string& name,
                  const RegistryData& data) override {
        RegistryKey key;
        LSTATUS status = ::RegOpenKeyExW(RootKey(root), AsWide(path), 0, KEY_SET_VALUE, key.AddressOf());
        if (status != ERROR_SUCCESS)
            ThrowWin32(status);
        const wchar_t* valueName = name.empty() ? nullptr : AsWide(name);
        switch (data.type) {
        case RegistryData::Type::String:
            status = ::RegSetValueExW(key.Get(), valueName, 0, REG_SZ,
                                      reinterpret_cast<const BYTE*>(data.text.c_str()),
                                      static_cast<DWORD>((data.text.size() + 1) * sizeof(char16_t)));
            break;
        case RegistryData::Type::Dword: {
            const DWORD number = data.number;
            status = ::RegSetValueExW(key.Get(), valueName, 0, REG_DWORD,
                                      reinterpret_cast<const BYTE*>(&number), sizeof(number));
            break;
        }
        case RegistryData::Type::Binary:
            status = ::RegSetValueExW(key.Get(), valueName, 0, REG_BINARY, data.bytes.data(),
                                      static_cast<DWORD>(data.bytes.size()));
            break;
        }
        if (status != ERROR_SUCCESS)
            ThrowWin32(status);
    }

    void DeleteValue(RegistryRoot root, const std::u16string& path, const std::u16string& name) override {
        RegistryKey key;
        LSTATUS status = ::RegOpenKeyExW(RootKey(root), AsWide(path), 0, KEY_SET_VALUE, key.AddressOf());
        if (status == ERROR_FILE_NOT_FOUND)
            return;
        if (status != ERROR_SUCCESS)
            ThrowWin32(status);
        status = ::RegDeleteValueW(key.Get(), name.empty() ? nullptr : AsWide(name));
        if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
            ThrowWin32(status);
    }

    void DeleteTree(RegistryRoot root, const std::u16string& path) override {
        LSTATUS status = ::RegDeleteTreeW(RootKey(root), AsWide(path));
        if (status == ERROR_FILE_NOT_FOUND)
            return;
        if (status != ERROR_SUCCESS)
            ThrowWin32(status);
        // RegDeleteTreeW empties the key; the key itself goes with RegDeleteKeyW.
        status = ::RegDeleteKeyW(RootKey(root), AsWide(path));
        if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
            ThrowWin32(status);
    }

    bool KeyExists(RegistryRoot root, const std::u16string& path) override {
        RegistryKey key;
        const LSTATUS status = ::RegOpenKeyExW(RootKey(root), AsWide(path), 0, KEY_READ, key.AddressOf());
        if (status == ERROR_FILE_NOT_FOUND)
            return false;
        if (status != ERROR_SUCCESS)
            ThrowWin32(status);
        return true;
    }

    bool HasSubkeys(RegistryRoot root, const std::u16string& path) override {
        RegistryKey key;
        LSTATUS status = ::RegOpenKeyExW(RootKey(root), AsWide(path), 0, KEY_READ, key.AddressOf());
        if (status == ERROR_FILE_NOT_FOUND)
            return false;
        if (status != ERROR_SUCCESS)
            ThrowWin32(status);
        DWORD subkeys = 0;
        status = ::RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS)
            ThrowWin32(status);
        return subkeys != 0;
    }

private:
    static HKEY RootKey(RegistryRoot root) {
        switch (root) {
        case RegistryRoot::ClassesRoot:
            return HKEY_CLASSES_ROOT;
        case RegistryRoot::CurrentUser:
            return HKEY_CURRENT_USER;
        case RegistryRoot::LocalMachine:
            return HKEY_LOCAL_MACHINE;
        case RegistryRoot::Users:
            return HKEY_USERS;
        }
        return HKEY_CLASSES_ROOT;
    }
};

// Type libraries register in the thread's locale; the system default keeps them language-neutral.
class SystemThreadLocale {
public:
    SystemThreadLocale() : previous_(::GetThreadLocale()) { ::SetThreadLocale(::GetSystemDefaultLCID()); }
    ~SystemThreadLocale() { ::SetThreadLocale(previous_); }
    SystemThreadLocale(const SystemThreadLocale&) = delete;
    SystemThreadLocale& operator=(const SystemThreadLocale&) = delete;

private:
    LCID previous_;
};

RegistryScript LoadScript(RegistrationScope scope, const std::u16string& modulePath) {
    const HMODULE module = ThisModule();
    HRSRC resource = ::FindResourceW(module, MAKEINTRESOURCEW(kRegistryScriptResource), L"REGISTRY");
    if (!resource)
        throw HResultFrom(HRESULT_FROM_WIN32(::GetLastError()));
    const DWORD size = ::SizeofResource(module, resource);
    HGLOBAL loaded = ::LoadResource(module, resource);
    const void* bytes = loaded ? ::LockResource(loaded) : nullptr;
    if (!bytes)
        throw HResultFrom(HRESULT_FROM_WIN32(::GetLastError()));
    // The script is ASCII text (UTF-8 would do as well).
    const std::u16string text = FromUtf8(std::string_view(static_cast<const char*>(bytes), size));
    RegistryScript script = RegistryScript::Parse(text, ModuleReplacements(modulePath));
    return scope == RegistrationScope::CurrentUser ? script.ForCurrentUser() : script;
}

using RegisterTypeLibFunction = HRESULT(WINAPI*)(ITypeLib*, OLECHAR*, OLECHAR*);
using UnRegisterTypeLibFunction = HRESULT(WINAPI*)(REFGUID, WORD, WORD, LCID, SYSKIND);
// The per-user functions are called like the machine-wide ones (a wrong convention corrupts the
// stack on x86 alone).
static_assert(std::is_same_v<RegisterTypeLibFunction, decltype(&::RegisterTypeLib)>);
static_assert(std::is_same_v<UnRegisterTypeLibFunction, decltype(&::UnRegisterTypeLib)>);

// The per-user entry points exist from Windows Vista on; they are looked up so that an older
// OLEAUT32.DLL falls back to the machine-wide ones.
template <typename Function> Function PerUserEntryPoint(const char* name) {
    HMODULE oleaut = ::GetModuleHandleW(L"OLEAUT32.DLL");
    if (!oleaut)
        return nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(oleaut, name)));
}

Win::ComPtr<ITypeLib> LoadOwnTypeLib(const std::u16string& modulePath) {
    Win::ComPtr<ITypeLib> typeLib;
    ThrowIfHrFailed(::LoadTypeLibEx(AsWide(modulePath), REGKIND_NONE, typeLib.AddressOf()));
    return typeLib;
}

void RegisterTypeLibrary(RegistrationScope scope, const std::u16string& modulePath) {
    const Win::ComPtr<ITypeLib> typeLib = LoadOwnTypeLib(modulePath);
    std::u16string path = modulePath;
    auto* pathArg = reinterpret_cast<OLECHAR*>(path.data());
    RegisterTypeLibFunction registerFunction = ::RegisterTypeLib;
    if (scope == RegistrationScope::CurrentUser) {
        if (auto perUser = PerUserEntryPoint<RegisterTypeLibFunction>("RegisterTypeLibForUser")) {
            registerFunction = perUser;
        }
    }
    ThrowIfHrFailed(registerFunction(typeLib.Get(), pathArg, nullptr));
}

void UnregisterTypeLibrary(RegistrationScope scope, const std::u16string& modulePath) {
    const Win::ComPtr<ITypeLib> typeLib = LoadOwnTypeLib(modulePath);
    TLIBATTR* attributes = nullptr;
    ThrowIfHrFailed(typeLib->GetLibAttr(&attributes));
    const TLIBATTR copy = *attributes;
    typeLib->ReleaseTLibAttr(attributes);
    // A library that is not registered is already in the state asked for (UnRegisterTypeLib
    // would fail, and with a different code on each platform).
    BSTR registeredPath = nullptr;
    if (FAILED(::QueryPathOfRegTypeLib(copy.guid, copy.wMajorVerNum, copy.wMinorVerNum, copy.lcid,
                                       &registeredPath))) {
        return;
    }
    ::SysFreeString(registeredPath);
    UnRegisterTypeLibFunction unregisterFunction = ::UnRegisterTypeLib;
    if (scope == RegistrationScope::CurrentUser) {
        if (auto perUser = PerUserEntryPoint<UnRegisterTypeLibFunction>("UnRegisterTypeLibForUser")) {
            unregisterFunction = perUser;
        }
    }
    ThrowIfHrFailed(
        unregisterFunction(copy.guid, copy.wMajorVerNum, copy.wMinorVerNum, copy.lcid, copy.syskind));
}

template <typename Body> HRESULT Guarded(const char16_t* what, Body&& body) {
    try {
        body();
        return S_OK;
    } catch (HResult hr) {
        Log().Error(Format(u"%s failed with code: 0x%08X", what, static_cast<std::uint32_t>(hr)));
        return hr;
    } catch (const RegistryScriptError& e) {
        Log().Error(e.GetMessage());
        return E_FAIL;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace

HRESULT RegisterServer(RegistrationScope scope) {
    SystemThreadLocale locale;
    return Guarded(u"DllRegisterServer", [scope] {
        const std::u16string modulePath = ThisModulePath();
        Win32RegistryStore store;
        LoadScript(scope, modulePath).Register(store);
        RegisterTypeLibrary(scope, modulePath);
    });
}

HRESULT UnregisterServer(RegistrationScope scope) {
    SystemThreadLocale locale;
    HRESULT first = Guarded(u"DllUnregisterServer", [scope] {
        Win32RegistryStore store;
        LoadScript(scope, ThisModulePath()).Unregister(store);
    });
    const HRESULT typeLib =
        Guarded(u"UnRegisterTypeLib", [scope] { UnregisterTypeLibrary(scope, ThisModulePath()); });
    return FAILED(first) ? first : typeLib;
}

} // namespace Tessarix::Addin
