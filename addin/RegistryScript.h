#pragma once
// The registrar: registry scripts in the syntax of ATL's ".rgs" files, parsed once and then
// applied to or removed from a registry store. Free of any platform type, so that every rule is
// tested against an in-memory store; addin/Registrar.cpp binds it to the Win32 registry.
//
// Script syntax (tokens are separated by white space, as such scripts are written):
//   script := root*
//   root   := ("HKCR" | "HKCU" | "HKLM" | "HKU" | their HKEY_ names) "{" key* "}"
//   key    := ["ForceRemove" | "NoRemove"] name ["=" value] ["{" (key | "val" name "=" value)* "}"]
//   value  := ("s" text | "d" number | "b" hexbytes)
// Names and texts are bare words or quoted with single quotes ('' stands for one quote).
// "%name%" is replaced before parsing (names compared case-insensitively); "%%" is one "%".
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Exceptions.h"

namespace Tessarix::Addin {

// A malformed script or an unknown replacement name.
class RegistryScriptError : public BaseException {
public:
    using BaseException::BaseException;
};

enum class RegistryRoot { ClassesRoot, CurrentUser, LocalMachine, Users };

struct RegistryData {
    enum class Type { String, Dword, Binary };
    Type type = Type::String;
    std::u16string text;             // String
    std::uint32_t number = 0;        // Dword
    std::vector<std::uint8_t> bytes; // Binary

    friend bool operator==(const RegistryData&, const RegistryData&) = default;
};

enum class KeyFlag {
    None,        // removed on unregistration only when nothing is left under it
    ForceRemove, // replaced whole on registration, removed whole on unregistration
    NoRemove,    // never removed; only what the script lists under it is
};

struct RegistryKeyEntry {
    std::u16string name;
    KeyFlag flag = KeyFlag::None;
    std::optional<RegistryData> defaultValue;
    std::vector<std::pair<std::u16string, RegistryData>> values; // "val" lines, in script order
    std::vector<RegistryKeyEntry> subkeys;
};

struct RegistryRootEntry {
    RegistryRoot root = RegistryRoot::ClassesRoot;
    std::vector<RegistryKeyEntry> keys;
};

// What the script does to the registry. Paths are relative to the root, pieces joined by '\'.
// Every operation throws the failing HRESULT (as HResult) when the registry refuses it.
class IRegistryStore {
public:
    virtual ~IRegistryStore() = default;
    virtual void CreateKey(RegistryRoot root, const std::u16string& path) = 0;
    // `name` empty: the key's default value.
    virtual void SetValue(RegistryRoot root, const std::u16string& path, const std::u16string& name,
                          const RegistryData& data) = 0;
    // A missing value or key is not a failure.
    virtual void DeleteValue(RegistryRoot root, const std::u16string& path, const std::u16string& name) = 0;
    // The key with everything under it; a missing key is not a failure.
    virtual void DeleteTree(RegistryRoot root, const std::u16string& path) = 0;
    virtual bool KeyExists(RegistryRoot root, const std::u16string& path) = 0;
    virtual bool HasSubkeys(RegistryRoot root, const std::u16string& path) = 0;
};

using Replacements = std::map<std::u16string, std::u16string>;

// "Module" (single quotes doubled, for use inside quoted texts) and "Module_Raw", both the path.
Replacements ModuleReplacements(std::u16string_view modulePath);

// Replaces "%name%" by its value; throws RegistryScriptError for an unknown or unterminated name.
std::u16string ExpandReplacements(std::u16string_view text, const Replacements& replacements);

class RegistryScript {
public:
    // Expands the replacements, then parses; throws RegistryScriptError.
    static RegistryScript Parse(std::u16string_view text, const Replacements& replacements);

    // The same script for the current user only: every HKCR root becomes HKCU with the keys
    // "Software" and "Classes" (both NoRemove) around its body.
    RegistryScript ForCurrentUser() const;

    // Creates the keys and values; a ForceRemove key is deleted whole first.
    void Register(IRegistryStore& store) const;
    // Removes what the script created: ForceRemove keys whole, plain keys when nothing is left
    // under them, NoRemove keys never.
    void Unregister(IRegistryStore& store) const;

    const std::vector<RegistryRootEntry>& Roots() const { return roots_; }

private:
    std::vector<RegistryRootEntry> roots_;
};

} // namespace Tessarix::Addin
