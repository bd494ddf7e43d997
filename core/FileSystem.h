#pragma once
// The file-system and clock seam of the portable core. Paths are UTF-16; on POSIX they are
// converted to UTF-8 at the boundary. Nothing here throws: failures are reported by the results.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// <windows.h> turns CreateDirectory and DeleteFile into macros; the names below are kept as
// declared, and the forwarders at the end serve code that includes <windows.h> first.
#pragma push_macro("CreateDirectory")
#pragma push_macro("DeleteFile")
#undef CreateDirectory
#undef DeleteFile

namespace Tessarix::Platform {

// The separator the core puts between path pieces it builds itself: '\\' on Windows, '/' on POSIX.
#ifdef _WIN32
inline constexpr char16_t kPathSeparator = u'\\';
#else
inline constexpr char16_t kPathSeparator = u'/';
#endif

// Broken-down time, the fields of a SYSTEMTIME.
struct SystemTime {
    int year = 0, month = 0, dayOfWeek = 0, day = 0, hour = 0, minute = 0, second = 0, milliseconds = 0;
    friend bool operator==(const SystemTime&, const SystemTime&) = default;
};

SystemTime LocalTime(); // GetLocalTime / localtime_r
SystemTime UtcTime();   // GetSystemTime / gmtime_r

// The per-user folder under which the log folder is made, without a trailing separator; empty
// when there is none. Windows: FOLDERID_LocalAppDataLow (SHGetKnownFolderPath looked up at run
// time), else CSIDL_LOCAL_APPDATA, backslashes turned into forward slashes. POSIX:
// $XDG_STATE_HOME, else $HOME/.local/state.
std::u16string UserLogBaseFolder();

bool IsDirectory(const std::u16string& path);
// A directory that is not itself a link: no symbolic link, junction or other reparse point.
bool IsPlainDirectory(const std::u16string& path);
bool CreateDirectory(const std::u16string& path); // one level; false when it fails
// Names (not paths) of the regular files in `folder` whose name starts with `prefix`
// (FindFirstFileExW with prefix + "*.*" on Windows, so matching is case-insensitive there).
// `folder` may end with a separator or not.
std::vector<std::u16string> ListFiles(const std::u16string& folder, const std::u16string& prefix);
std::uint64_t FileSize(const std::u16string& path); // 0 when it cannot be read
bool DeleteFile(const std::u16string& path);

// Creates a new, empty, uniquely named file in the user's temporary folder whose name starts
// with `prefix` (GetTempPathW/GetTempFileNameW on Windows, mkstemp on POSIX); empty on failure.
std::u16string CreateTempFile(const std::u16string& prefix);
// The whole file, or nothing when it cannot be opened or read.
std::optional<std::string> ReadFile(const std::u16string& path);
// Replaces the file with `bytes` (binary, truncating); false on failure. Like AppendFile, it
// writes only to a plain file: never through a link, never into a hard-linked file.
bool WriteFile(const std::u16string& path, std::string_view bytes);

// An append-only binary file, opened shared for reading and writing. Move-only. The file is
// created or opened without following a link in its last component, and refused (not open)
// unless it is a regular file with a single name: a symbolic link, a reparse point, a hard-linked
// file, a device or a FIFO put in its place could otherwise send what is written anywhere.
class AppendFile {
public:
    AppendFile() = default;
    explicit AppendFile(const std::u16string& path); // check IsOpen()
    ~AppendFile();
    AppendFile(AppendFile&& other) noexcept;
    AppendFile& operator=(AppendFile&& other) noexcept;
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    bool IsOpen() const { return handle_ != nullptr; }
    bool Write(const char* bytes, std::size_t length); // writes and flushes
    // The file's size: read once at opening, then counted as this object appends, so that a write
    // costs one system call. Another process appending to the same file is not counted.
    std::uint64_t Size() const { return size_; }
    void Close();

private:
    void* handle_ = nullptr; // FILE*
    std::uint64_t size_ = 0;
};

// Debugger output (OutputDebugStringW on Windows; nothing on POSIX).
void DebugTrace(const std::u16string& text);

#ifdef _WIN32
// Where <windows.h>'s macros rewrite a call to Platform::DeleteFile, it lands here.
inline bool CreateDirectoryW(const std::u16string& path) {
    return CreateDirectory(path);
}
inline bool DeleteFileW(const std::u16string& path) {
    return DeleteFile(path);
}
#endif

} // namespace Tessarix::Platform

#pragma pop_macro("DeleteFile")
#pragma pop_macro("CreateDirectory")
