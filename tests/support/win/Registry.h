#pragma once
// The registry read back, other programs run to their end and build paths as Wine sees them, for
// the tests that check what a registration or an installation left.
#include <windows.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "core/Utf.h"

namespace Tessarix::Testing {

// A path of the build (a Unix path) in the form Wine maps the Unix root to (drive Z:).
inline std::wstring WindowsPath(const char* unixPath) {
    std::wstring path = reinterpret_cast<const wchar_t*>(FromUtf8(unixPath).c_str());
    if (!path.empty() && path[0] == L'/')
        path = L"Z:" + path;
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
}

// `view`: 0 for the process's own registry view, or KEY_WOW64_32KEY / KEY_WOW64_64KEY.
inline bool KeyExists(HKEY root, const std::wstring& path, REGSAM view = 0) {
    HKEY key = nullptr;
    if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | view, &key) != ERROR_SUCCESS)
        return false;
    ::RegCloseKey(key);
    return true;
}

// A REG_SZ value, the key's default one when `name` is null.
inline std::optional<std::wstring> ReadText(HKEY root, const std::wstring& path,
                                            const wchar_t* name = nullptr, REGSAM view = 0) {
    wchar_t buffer[1024];
    DWORD size = sizeof buffer;
    HKEY key = nullptr;
    if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | view, &key) != ERROR_SUCCESS)
        return std::nullopt;
    const LSTATUS status = ::RegGetValueW(key, nullptr, name, RRF_RT_REG_SZ, nullptr, buffer, &size);
    ::RegCloseKey(key);
    if (status != ERROR_SUCCESS)
        return std::nullopt;
    return std::wstring(buffer, wcsnlen(buffer, size / sizeof(wchar_t)));
}

inline std::optional<DWORD> ReadNumber(HKEY root, const std::wstring& path, const wchar_t* name) {
    DWORD value = 0, size = sizeof value;
    if (::RegGetValueW(root, path.c_str(), name, RRF_RT_REG_DWORD, nullptr, &value, &size) != ERROR_SUCCESS)
        return std::nullopt;
    return value;
}

// Runs a command line to its end, with `environment` ("NAME=value" entries, each ended by a NUL)
// added to this process's: its exit code, or 0xFFFFFFFF when it did not run or end in time.
inline DWORD RunProgram(std::wstring commandLine, const std::wstring& environment = {},
                        DWORD timeout = INFINITE) {
    std::vector<wchar_t> block;
    if (!environment.empty()) {
        for (const wchar_t* entry = ::GetEnvironmentStringsW(); *entry; entry += wcslen(entry) + 1)
            block.insert(block.end(), entry, entry + wcslen(entry) + 1);
        block.insert(block.end(), environment.begin(), environment.end());
        block.push_back(0);
        block.push_back(0);
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_UNICODE_ENVIRONMENT,
                          block.empty() ? nullptr : block.data(), nullptr, &startup, &process))
        return 0xFFFFFFFF;
    DWORD code = 0xFFFFFFFF;
    if (::WaitForSingleObject(process.hProcess, timeout) != WAIT_OBJECT_0 ||
        !::GetExitCodeProcess(process.hProcess, &code))
        code = 0xFFFFFFFF;
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return code;
}

} // namespace Tessarix::Testing
