#include "html/PictureSources.h"

#include <system_error>

#include "core/Format.h"
#include "core/Log.h"
#include "core/LogText.h"

namespace Tessarix::Html::Pictures {

namespace fs = std::filesystem;

namespace {

std::optional<std::vector<fs::path>>& Limit() {
    static std::optional<std::vector<fs::path>> folders;
    return folders;
}

// Compared part by part, so that "/srv/pictures-old" is not inside "/srv/pictures".
bool IsInside(const fs::path& file, const fs::path& folder) {
    auto part = file.begin();
    for (const fs::path& folderPart : folder) {
        if (folderPart.empty())
            continue;
        if (part == file.end() || *part != folderPart)
            return false;
        ++part;
    }
    return part != file.end();
}

} // namespace

void LimitLocalFolders(const std::vector<fs::path>& folders) {
    std::vector<fs::path> canonical;
    for (const fs::path& folder : folders)
        canonical.push_back(fs::canonical(folder));
    Limit() = std::move(canonical);
}

void RemoveLocalFolderLimit() {
    Limit().reset();
}

std::optional<fs::path> AllowedLocalFile(const fs::path& path) {
    const auto& folders = Limit();
    if (!folders)
        return path;
    std::error_code error;
    fs::path file = fs::canonical(path, error);
    // Missing or unreachable: unreadable, as without a limit.
    if (error)
        return std::nullopt;
    for (const fs::path& folder : *folders)
        if (IsInside(file, folder))
            return file;
    Log().Warning(Format(u"Picture not read: %s is outside the folders pictures may be read from",
                         LogLiteral(path.u16string())));
    return std::nullopt;
}

namespace {

char16_t Lower(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

bool StartsWithNoCase(std::u16string_view text, std::u16string_view prefix) {
    if (text.size() < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i)
        if (Lower(text[i]) != prefix[i])
            return false;
    return true;
}

bool IsSeparator(char16_t c, PathStyle style) {
    return c == u'/' || (style == PathStyle::Windows && c == u'\\');
}

bool IsLocalAbsolute(std::u16string_view path, PathStyle style) {
    if (style == PathStyle::Posix)
        return path.size() > 1 && path[0] == u'/' && path[1] != u'/';
    // "X:\" and nothing else: "\\host\share", "\\?\", "\\.\", "C:name" (relative to the
    // drive's current folder) and "\\name" (relative to the current drive) all fail here.
    const bool letter =
        path.size() > 2 && ((path[0] >= u'a' && path[0] <= u'z') || (path[0] >= u'A' && path[0] <= u'Z'));
    return letter && path[1] == u':' && IsSeparator(path[2], style);
}

} // namespace

Route RouteOf(std::u16string_view address, PathStyle style) {
    if (StartsWithNoCase(address, u"http://") || StartsWithNoCase(address, u"https://"))
        return {Route::Kind::Cache, {}};
    // Only the exact scheme is removed as text, so the prefix is checked as it is written.
    if (!address.starts_with(u"file:///"))
        return {};
    std::u16string path = ReplaceFileScheme(address, style == PathStyle::Posix ? u"/" : u"");
    if (!IsLocalAbsolute(path, style))
        return {};
    return {Route::Kind::File, std::move(path)};
}

const Readers& SystemReaders() {
    static const Readers readers{FromCache, IsOnLocalDrive, FromLocalFile};
    return readers;
}

std::optional<StringUTF8> Read(const std::u16string& address, const Readers& readers) {
    const Route route = RouteOf(address);
    switch (route.kind) {
    case Route::Kind::Cache:
        return readers.cache(address);
    case Route::Kind::Refused:
        Log().Info(Format(u"Picture not read: %s is neither a web address nor a file on this machine",
                          LogLiteral(address)));
        return std::nullopt;
    case Route::Kind::File:
        break;
    }
    if (!readers.onLocalDrive(route.path)) {
        Log().Info(Format(u"Picture not read: %s is not on a local drive", LogLiteral(address)));
        return std::nullopt;
    }
    const auto allowed = AllowedLocalFile(fs::path(route.path));
    if (!allowed)
        return std::nullopt;
    Readers::FileBytes file = readers.file(allowed->u16string(), kMaxAttachmentSize);
    switch (file.outcome) {
    case Readers::FileBytes::Outcome::Read:
        return std::move(file.bytes);
    case Readers::FileBytes::Outcome::TooLarge:
        Log().Info(
            Format(u"Picture not read: %s is larger than %u bytes", LogLiteral(address), kMaxAttachmentSize));
        return std::nullopt;
    case Readers::FileBytes::Outcome::Unreadable:
        break;
    }
    return std::nullopt;
}

std::u16string ReplaceFileScheme(std::u16string_view address, std::u16string_view root) {
    constexpr std::u16string_view scheme = u"file:///";
    std::u16string path;
    path.reserve(address.size());
    std::size_t start = 0;
    for (std::size_t at = address.find(scheme); at != std::u16string_view::npos;
         at = address.find(scheme, start)) {
        path.append(address.substr(start, at - start)).append(root);
        start = at + scheme.size();
    }
    path.append(address.substr(start));
    return path;
}

} // namespace Tessarix::Html::Pictures
