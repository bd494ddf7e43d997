// String lookup over the resource-module list, reading the string table blocks directly so that
// an id that a module's block does not hold is told apart from an empty text.
#include "core/win/LocalizedStringsWin.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "core/FileSystem.h"
#include "core/LocalizedStrings.h"
#include "core/Utf.h"
#include "core/win/Libraries.h"

namespace Tessarix {
namespace {

struct ModuleList {
    std::mutex lock;
    std::vector<HMODULE> modules;
};

ModuleList& Modules() {
    static ModuleList list;
    return list;
}

constexpr unsigned kStringsPerBlock = 16;

} // namespace

std::vector<HMODULE> ResourceModuleList() {
    ModuleList& list = Modules();
    std::lock_guard guard(list.lock);
    return list.modules;
}

void AddResourceModule(HMODULE module) {
    if (!module)
        return;
    ModuleList& list = Modules();
    std::lock_guard guard(list.lock);
    if (std::find(list.modules.begin(), list.modules.end(), module) == list.modules.end())
        list.modules.push_back(module);
}

void RemoveResourceModule(HMODULE module) {
    ModuleList& list = Modules();
    std::lock_guard guard(list.lock);
    std::erase(list.modules, module);
}

std::optional<std::u16string> FindModuleString(HMODULE module, unsigned id, LANGID language) {
    // A string table block holds 16 counted strings; block n holds ids (n - 1) * 16 to n * 16 - 1.
    if (id > 0xFFFF)
        return std::nullopt; // string ids are 16-bit
    const auto block = MAKEINTRESOURCEW(id / kStringsPerBlock + 1);
    HRSRC resource = language == 0 ? ::FindResourceW(module, block, RT_STRING)
                                   : ::FindResourceExW(module, RT_STRING, block, language);
    if (!resource)
        return std::nullopt;
    const DWORD size = ::SizeofResource(module, resource);
    HGLOBAL loaded = ::LoadResource(module, resource); // not a real handle: nothing to free
    const auto* data = loaded ? static_cast<const WORD*>(::LockResource(loaded)) : nullptr;
    if (!data)
        return std::nullopt;

    const std::size_t units = size / sizeof(WORD);
    std::size_t at = 0;
    for (unsigned index = 0; index < id % kStringsPerBlock; ++index) {
        if (at >= units)
            return std::nullopt;
        at += 1 + data[at];
    }
    if (at >= units || data[at] == 0)
        return std::nullopt;
    const std::size_t length = data[at];
    if (length > units - at - 1)
        return std::nullopt; // a truncated block
    return std::u16string(reinterpret_cast<const char16_t*>(data + at + 1), length);
}

std::u16string LoadLocalizedString(unsigned id) {
    for (HMODULE module : ResourceModuleList()) {
        if (auto text = FindModuleString(module, id))
            return std::move(*text);
    }
    return {};
}

HMODULE LoadSatelliteModule(HMODULE addinModule) {
    wchar_t modulePath[MAX_PATH];
    const DWORD length = ::GetModuleFileNameW(addinModule, modulePath, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return nullptr;

    wchar_t fullPath[MAX_PATH];
    wchar_t* fileName = nullptr;
    const DWORD fullLength = ::GetFullPathNameW(modulePath, MAX_PATH, fullPath, &fileName);
    if (fullLength == 0 || fullLength >= MAX_PATH || !fileName)
        return nullptr;

    static constexpr wchar_t kSatellite[] = L"Resource.dll";
    const std::size_t folderLength = static_cast<std::size_t>(fileName - fullPath);
    if (folderLength + std::size(kSatellite) > MAX_PATH)
        return nullptr;
    std::copy(std::begin(kSatellite), std::end(kSatellite), fileName);

    // Kept for the life of the process: unloading it from the add-in's own detach would call the
    // loader from inside the loader.
    HMODULE satellite = Win::LoadResourceModule(fullPath);
    if (!satellite) {
        Platform::DebugTrace(u"Resource.dll could not be loaded; texts stay empty: " + FromWide(fullPath) +
                             u"\n");
        return nullptr;
    }
    AddResourceModule(satellite);
    return satellite;
}

} // namespace Tessarix
