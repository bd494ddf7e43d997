#pragma once
// Compound files (the container of a .msg file) as an in-memory tree: what the writer builds and
// what a storage copied out of an open file holds. Written through libgsf.
#include <filesystem>
#include <map>
#include <string>

#include "core/Guid.h"

namespace Tessarix::Msg::Cfb {

struct Storage {
    Guid clsid;
    std::map<std::string, std::string> streams; // name (UTF-8) -> bytes
    std::map<std::string, Storage> storages;

    friend bool operator==(const Storage&, const Storage&) = default;
};

// The compound-file bytes of `root`. Throws MsgFileError when libgsf fails.
std::string ToBytes(const Storage& root);
// Writes `root` as a compound file at `path`. Throws MsgFileError naming the path on failure; a
// failed write leaves no file behind.
void WriteFile(const Storage& root, const std::filesystem::path& path);

} // namespace Tessarix::Msg::Cfb
