#pragma once
// The real TessarixOL.dll as the tests under Wine load it and the log lines it writes.
#include <windows.h>

#include <objbase.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "support/win/Registry.h"

namespace Tessarix::Addin::Testing {

// ---------------------------------------------------------------------------------------------
// The module under test

struct AddinModule {
    HMODULE module = nullptr;
    HRESULT(STDAPICALLTYPE* getClassObject)(REFCLSID, REFIID, void**) = nullptr;
    HRESULT(STDAPICALLTYPE* canUnloadNow)() = nullptr;
    HRESULT(STDAPICALLTYPE* registerServer)() = nullptr;
    HRESULT(STDAPICALLTYPE* unregisterServer)() = nullptr;
    HRESULT(STDAPICALLTYPE* install)(BOOL, LPCWSTR) = nullptr;
    std::wstring path;
};

template <typename F> inline void Bind(HMODULE module, const char* name, F& function) {
    function = reinterpret_cast<F>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

// The build's path of the DLL.
inline std::wstring DllPath() {
    return Tessarix::Testing::WindowsPath(TX_ADDIN_DLL);
}

inline AddinModule& Dll() {
    static AddinModule dll = [] {
        AddinModule d;
        d.module = ::LoadLibraryW(DllPath().c_str());
        if (!d.module)
            return d;
        Bind(d.module, "DllGetClassObject", d.getClassObject);
        Bind(d.module, "DllCanUnloadNow", d.canUnloadNow);
        Bind(d.module, "DllRegisterServer", d.registerServer);
        Bind(d.module, "DllUnregisterServer", d.unregisterServer);
        Bind(d.module, "DllInstall", d.install);
        wchar_t buffer[MAX_PATH];
        d.path.assign(buffer, ::GetModuleFileNameW(d.module, buffer, MAX_PATH));
        return d;
    }();
    return dll;
}

// The log lines the DLL writes from now on (across a rotation, too).
class LogCapture {
public:
    LogCapture() : sizes_(Sizes()) {}

    std::string Text() const {
        std::string text;
        for (const auto& [key, size] : Sizes()) {
            const auto before = sizes_.find(key);
            text += Read(key.second, before == sizes_.end() ? 0 : before->second);
        }
        return text;
    }

private:
    // Keyed in write order within a day: the date, then the index ("_1", "_2", ... ".txt").
    using SizeMap = std::map<std::pair<std::size_t, std::wstring>, std::uintmax_t>;

    static std::wstring Folder() {
        PWSTR base = nullptr;
        if (FAILED(::SHGetKnownFolderPath(FOLDERID_LocalAppDataLow, 0, nullptr, &base)))
            return {};
        std::wstring folder = std::wstring(base) + L"\\Tessarix\\Tessarix\\Logs\\";
        ::CoTaskMemFree(base);
        return folder;
    }

    static SizeMap Sizes() {
        SizeMap sizes;
        WIN32_FIND_DATAW data;
        HANDLE find = ::FindFirstFileW((Folder() + L"OLClipper_*.txt").c_str(), &data);
        if (find == INVALID_HANDLE_VALUE)
            return sizes;
        do {
            const std::wstring name = data.cFileName;
            sizes[{name.size(), name}] = (std::uintmax_t(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
        } while (::FindNextFileW(find, &data));
        ::FindClose(find);
        return sizes;
    }

    static std::string Read(const std::wstring& name, std::uintmax_t from) {
        HANDLE file = ::CreateFileW((Folder() + name).c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return {};
        LARGE_INTEGER offset;
        offset.QuadPart = static_cast<LONGLONG>(from);
        ::SetFilePointerEx(file, offset, nullptr, FILE_BEGIN);
        std::string bytes;
        char buffer[65536];
        DWORD read = 0;
        while (::ReadFile(file, buffer, sizeof(buffer), &read, nullptr) && read > 0)
            bytes.append(buffer, read);
        ::CloseHandle(file);
        return bytes;
    }

    SizeMap sizes_;
};

} // namespace Tessarix::Addin::Testing
