#pragma once
// The Windows Installer package's registry rows, made from the module's own registry script so that
// the package and the module's self-registration cannot drift apart. The rows go into the package's
// Registry and RemoveRegistry tables (".idt" text, imported into the database after wixl built it).
//
// Every HKCR key of the script lands under Software\Classes of root -1, which Windows Installer
// resolves to HKEY_CURRENT_USER for a per-user install and to HKEY_LOCAL_MACHINE for a per-machine
// one; the component's bitness chooses the registry view.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "addin/RegistryScript.h"

namespace Tessarix::Addin {

struct PackageRegistryRow {
    std::u16string id;
    int root = -1;
    std::u16string key;
    std::optional<std::u16string> name;  // none: the default value; "*", "+": key rows
    std::optional<std::u16string> value; // none: a key row
    std::u16string component;
};

struct PackageRemoveRow {
    std::u16string id;
    int root = -1;
    std::u16string key;
    std::u16string name; // "-": the key whole
    std::u16string component;
};

struct PackageRows {
    std::vector<PackageRegistryRow> registry;
    std::vector<PackageRemoveRow> remove;
};

// Stand-ins for install-time paths in a script parsed for the package (bind them as replacements,
// e.g. "Module"); each becomes a Formatted reference such as "[#fileId]" or "[DIRECTORY]".
struct PackageReference {
    char16_t standIn;
    std::u16string formatted;
};
inline constexpr char16_t kPackageModuleStandIn = u'\uE000';
inline constexpr char16_t kPackageFolderStandIn = u'\uE001';

// Text as Windows Installer's Formatted type keeps it literally.
std::u16string PackageFormattedText(std::u16string_view text);

// Adds the rows of `script` for `component`. Every root follows the install's scope (root -1):
// HKCR keys go under Software\Classes, HKCU and HKLM keys stay as they are; HKU is refused.
//  - a ForceRemove key: created on install and removed whole on uninstall ("*"), and removed whole
//    before it is written again ("-" in RemoveRegistry), so it is replaced as on registration;
//  - a NoRemove key: no row of its own (a shared key stays);
//  - a plain key: its values (Windows Installer removes a key that its removal leaves empty),
//    or a "+" row when it has neither values nor subkeys.
// Throws RegistryScriptError for what a package cannot express.
void AddScriptRows(const RegistryScript& script, std::u16string_view component,
                   const std::vector<PackageReference>& references, PackageRows& rows);

// The tables as ".idt" files; throws RegistryScriptError for text other than printable ASCII,
// which keeps the files free of code pages.
std::string RegistryIdt(const PackageRows& rows);
std::string RemoveRegistryIdt(const PackageRows& rows);

} // namespace Tessarix::Addin
