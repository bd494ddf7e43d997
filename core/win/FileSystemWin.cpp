// The file-system and clock seam on Windows: known folders, Find*/GetFileAttributesExW, the CRT's
// shared-mode streams, GetLocalTime.
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <objbase.h>
#include <share.h>
#include <shlobj.h>

#include <cstdio>
#include <memory>
#include <new>
#include <type_traits>

#include "core/FileSystem.h"
#include "core/Utf.h"
#include "core/win/FileSystemWin.h"
#include "core/win/Libraries.h"

// This file defines the seam's own CreateDirectory and DeleteFile.
#undef CreateDirectory
#undef DeleteFile

namespace Tessarix::Platform {
namespace {

// Small owners in the manner of WIL's unique_* types.
struct CoTaskMemFreer {
    void operator()(void* p) const { ::CoTaskMemFree(p); }
};
using UniqueCoTaskString = std::unique_ptr<wchar_t, CoTaskMemFreer>;

struct FindCloser {
    void operator()(HANDLE h) const { ::FindClose(h); }
};
using UniqueFind = std::unique_ptr<void, FindCloser>;

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

std::FILE* AsFile(void* handle) {
    return static_cast<std::FILE*>(handle);
}

SystemTime FromSystemTime(const SYSTEMTIME& st) {
    SystemTime t;
    t.year = st.wYear;
    t.month = st.wMonth;
    t.dayOfWeek = st.wDayOfWeek;
    t.day = st.wDay;
    t.hour = st.wHour;
    t.minute = st.wMinute;
    t.second = st.wSecond;
    t.milliseconds = st.wMilliseconds;
    return t;
}

std::u16string ForwardSlashes(std::u16string path) {
    for (char16_t& c : path)
        if (c == u'\\')
            c = u'/';
    return path;
}

// FOLDERID_LocalAppDataLow.
constexpr GUID kLocalAppDataLow = {
    0xA520A1A4, 0x1780, 0x4FF6, {0xBD, 0x18, 0x16, 0x73, 0x43, 0xC5, 0xAF, 0x16}};
static_assert(std::is_same_v<KnownFolderPathFunction, decltype(&::SHGetKnownFolderPath)>);

std::u16string KnownFolderLocalLow(KnownFolderPathFunction get) {
    if (!get)
        return {};
    PWSTR raw = nullptr;
    const HRESULT hr = get(kLocalAppDataLow, 0, nullptr, &raw);
    UniqueCoTaskString path(raw);
    if (FAILED(hr) || !path)
        return {};
    return ForwardSlashes(FromWide(path.get()));
}

std::u16string SpecialFolderLocalAppData() {
    wchar_t buffer[MAX_PATH + 1] = {};
    if (!::SHGetSpecialFolderPathW(nullptr, buffer, CSIDL_LOCAL_APPDATA, TRUE))
        return {};
    return ForwardSlashes(FromWide(buffer));
}

// Opens or creates `path` for writing, shared for reading and writing, without following a
// reparse point in its last component (FILE_FLAG_OPEN_REPARSE_POINT), and only when it is a
// plain file with one name; a C runtime descriptor, -1 on failure or refusal.
int OpenPlainFile(const std::u16string& path, int flags) {
    if (path.empty())
        return -1;
    HANDLE handle =
        ::CreateFileW(AsWide(path), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                      OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return -1;
    BY_HANDLE_FILE_INFORMATION info{};
    constexpr DWORD kNotPlain =
        FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE;
    if (!::GetFileInformationByHandle(handle, &info) || (info.dwFileAttributes & kNotPlain) != 0 ||
        info.nNumberOfLinks != 1 || ::GetFileType(handle) != FILE_TYPE_DISK) {
        ::CloseHandle(handle);
        return -1;
    }
    // The descriptor owns the handle from here.
    const int fd = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), flags | _O_BINARY);
    if (fd < 0)
        ::CloseHandle(handle);
    return fd;
}

} // namespace

SystemTime LocalTime() {
    SYSTEMTIME st{};
    ::GetLocalTime(&st);
    return FromSystemTime(st);
}

SystemTime UtcTime() {
    SYSTEMTIME st{};
    ::GetSystemTime(&st);
    return FromSystemTime(st);
}

std::u16string UserLogBaseFolder() {
    // Looked up at run time: Windows XP (and so Outlook 2003's oldest host) does not have it.
    Win::UniqueModule shell(Win::LoadSystemLibrary(L"shell32.dll"));
    const auto get = shell ? reinterpret_cast<KnownFolderPathFunction>(reinterpret_cast<void*>(
                                 ::GetProcAddress(shell.get(), "SHGetKnownFolderPath")))
                           : nullptr;
    return UserLogBaseFolder(get);
}

std::u16string UserLogBaseFolder(KnownFolderPathFunction knownFolderPath) {
    try {
        std::u16string folder = KnownFolderLocalLow(knownFolderPath);
        if (folder.empty())
            folder = SpecialFolderLocalAppData();
        return folder;
    } catch (const std::bad_alloc&) {
        return {};
    }
}

bool IsDirectory(const std::u16string& path) {
    const DWORD attributes = ::GetFileAttributesW(AsWide(path));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsPlainDirectory(const std::u16string& path) {
    const DWORD attributes = ::GetFileAttributesW(AsWide(path));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
           (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

bool CreateDirectory(const std::u16string& path) {
    return ::CreateDirectoryW(AsWide(path), nullptr) != FALSE;
}

std::vector<std::u16string> ListFiles(const std::u16string& folder, const std::u16string& prefix) {
    std::vector<std::u16string> names;
    try {
        std::u16string pattern = folder;
        if (!pattern.empty() && pattern.back() != u'\\' && pattern.back() != u'/')
            pattern += u'\\';
        pattern += prefix + u"*.*";
        WIN32_FIND_DATAW data{};
        UniqueFind find(::FindFirstFileExW(AsWide(pattern), FindExInfoStandard, &data, FindExSearchNameMatch,
                                           nullptr, 0));
        if (find.get() == INVALID_HANDLE_VALUE) {
            find.release();
            return names;
        }
        do {
            if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
                names.push_back(FromWide(data.cFileName));
        } while (::FindNextFileW(find.get(), &data));
    } catch (const std::bad_alloc&) {
        names.clear();
    }
    return names;
}

std::uint64_t FileSize(const std::u16string& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!::GetFileAttributesExW(AsWide(path), GetFileExInfoStandard, &data))
        return 0;
    return (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

bool DeleteFile(const std::u16string& path) {
    return ::DeleteFileW(AsWide(path)) != FALSE;
}

std::u16string CreateTempFile(const std::u16string& prefix) {
    wchar_t folder[261] = {};
    const DWORD length = ::GetTempPathW(261, folder);
    if (length == 0 || length > 260)
        return {};
    wchar_t name[MAX_PATH + 1] = {};
    if (::GetTempFileNameW(folder, AsWide(prefix), 0, name) == 0)
        return {};
    return FromWide(name);
}

std::optional<std::string> ReadFile(const std::u16string& path) {
    try {
        UniqueFile file(::_wfsopen(AsWide(path), L"rb", _SH_DENYNO));
        if (!file)
            return std::nullopt;
        std::string bytes;
        char buffer[65536];
        std::size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, file.get())) > 0)
            bytes.append(buffer, n);
        if (std::ferror(file.get()))
            return std::nullopt;
        return bytes;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

bool WriteFile(const std::u16string& path, std::string_view bytes) {
    const int fd = OpenPlainFile(path, _O_WRONLY);
    if (fd < 0)
        return false;
    UniqueFile file(::_fdopen(fd, "wb"));
    if (!file) {
        ::_close(fd);
        return false;
    }
    bool written = ::_chsize_s(fd, 0) == 0;
    written = written && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
    return std::fclose(file.release()) == 0 && written;
}

AppendFile::AppendFile(const std::u16string& path) {
    const int fd = OpenPlainFile(path, _O_WRONLY | _O_APPEND);
    if (fd < 0)
        return;
    const __int64 length = ::_filelengthi64(fd);
    if (length < 0) {
        ::_close(fd);
        return;
    }
    handle_ = ::_fdopen(fd, "ab");
    if (!handle_) {
        ::_close(fd);
        return;
    }
    size_ = static_cast<std::uint64_t>(length);
}

AppendFile::~AppendFile() {
    Close();
}

AppendFile::AppendFile(AppendFile&& other) noexcept : handle_(other.handle_), size_(other.size_) {
    other.handle_ = nullptr;
}

AppendFile& AppendFile::operator=(AppendFile&& other) noexcept {
    if (this != &other) {
        Close();
        handle_ = other.handle_;
        size_ = other.size_;
        other.handle_ = nullptr;
    }
    return *this;
}

bool AppendFile::Write(const char* bytes, std::size_t length) {
    if (!handle_)
        return false;
    const bool written = std::fwrite(bytes, 1, length, AsFile(handle_)) == length;
    const bool flushed = std::fflush(AsFile(handle_)) == 0;
    // Counted as written: a short write is rare and only makes the rotation come a line late.
    size_ += length;
    return flushed && written;
}

void AppendFile::Close() {
    if (handle_) {
        std::fclose(AsFile(handle_));
        handle_ = nullptr;
    }
    size_ = 0;
}

void DebugTrace(const std::u16string& text) {
    ::OutputDebugStringW(AsWide(text));
}

} // namespace Tessarix::Platform
