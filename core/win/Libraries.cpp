#include "core/win/Libraries.h"

#include <atomic>

namespace Tessarix::Win {
namespace {

// Not in every MinGW header: the flags of LoadLibraryExW from Windows Vista (and KB2533623) on.
constexpr DWORD kLoadLibrarySearchSystem32 = 0x00000800;
constexpr DWORD kLoadLibraryAsImageResource = 0x00000020;

std::atomic<LibraryLoadObserver> observer{nullptr};

HMODULE Load(const wchar_t* file, DWORD flags) {
    if (const LibraryLoadObserver observe = observer.load())
        observe(file, flags);
    return ::LoadLibraryExW(file, nullptr, flags);
}

// Windows documents AddDllDirectory's presence as the sign that the search flags are understood.
bool CanRestrictSearch() {
    static const bool can = [] {
        const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
        return kernel && ::GetProcAddress(kernel, "AddDllDirectory") != nullptr;
    }();
    return can;
}

// A path the loader takes as it is, without a search: a drive's or a share's.
bool IsFullPath(const std::wstring& path) {
    const bool drive = path.size() > 3 &&
                       ((path[0] >= L'A' && path[0] <= L'Z') || (path[0] >= L'a' && path[0] <= L'z')) &&
                       path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
    return drive || (path.size() > 2 && path[0] == L'\\' && path[1] == L'\\');
}

// A string value of the key, environment references expanded; empty when absent.
std::wstring RegistryPath(HKEY root, const wchar_t* subkey, const wchar_t* name) {
    HKEY key = nullptr;
    if (::RegOpenKeyExW(root, subkey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS)
        return {};
    DWORD type = 0;
    DWORD size = 0;
    std::wstring value;
    if (::RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) == ERROR_SUCCESS &&
        (type == REG_SZ || type == REG_EXPAND_SZ) && size >= sizeof(wchar_t) && size < 32768) {
        value.resize(size / sizeof(wchar_t));
        if (::RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(value.data()), &size) !=
            ERROR_SUCCESS)
            value.clear();
        value.resize(wcsnlen(value.c_str(), size / sizeof(wchar_t)));
    }
    ::RegCloseKey(key);
    if (type == REG_EXPAND_SZ && !value.empty()) {
        const DWORD needed = ::ExpandEnvironmentStringsW(value.c_str(), nullptr, 0);
        std::wstring expanded(needed, L'\0');
        if (needed == 0 || ::ExpandEnvironmentStringsW(value.c_str(), expanded.data(), needed) != needed)
            return {};
        expanded.resize(needed - 1);
        return expanded;
    }
    return value;
}

} // namespace

void ObserveLibraryLoads(LibraryLoadObserver observe) {
    observer.store(observe);
}

HMODULE LoadSystemLibrary(const wchar_t* name) {
    if (CanRestrictSearch())
        return Load(name, kLoadLibrarySearchSystem32);
    wchar_t folder[MAX_PATH];
    const UINT length = ::GetSystemDirectoryW(folder, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return nullptr;
    const std::wstring path = std::wstring(folder, length) + L'\\' + name;
    return Load(path.c_str(), 0);
}

HMODULE LoadOutlookMapi() {
    for (const wchar_t* loaded : {L"olmapi32.dll", L"msmapi32.dll"}) {
        HMODULE module = nullptr;
        if (::GetModuleHandleExW(0, loaded, &module))
            return module;
    }
    // Outlook's client registration, read in this process's own registry view, which is the view of
    // an Outlook of the same bitness.
    constexpr wchar_t kClient[] = L"Software\\Clients\\Mail\\Microsoft Outlook";
    for (const wchar_t* value : {L"DLLPathEx", L"DLLPath"}) {
        const std::wstring path = RegistryPath(HKEY_LOCAL_MACHINE, kClient, value);
        // Its own folder is searched for what it needs, as the MAPI stub loads it.
        if (IsFullPath(path))
            if (HMODULE module = Load(path.c_str(), LOAD_WITH_ALTERED_SEARCH_PATH))
                return module;
    }
    return nullptr;
}

HMODULE LoadResourceModule(const std::wstring& fullPath) {
    if (!IsFullPath(fullPath))
        return nullptr;
    // Windows XP does not know the image-resource flag and refuses the load; data alone serves.
    if (HMODULE module = Load(fullPath.c_str(), LOAD_LIBRARY_AS_DATAFILE | kLoadLibraryAsImageResource))
        return module;
    return Load(fullPath.c_str(), LOAD_LIBRARY_AS_DATAFILE);
}

} // namespace Tessarix::Win
