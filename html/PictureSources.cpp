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
