// Writes the package's Registry and RemoveRegistry tables (".idt") from the module's registry
// script, its type library's identity and the Outlook add-in key. Runs on the build machine.
//
//   tx-package-registry OUT_DIR SCRIPT.rgs LIBID LIBVERSION LIBFLAGS LIBHELP IID INTERFACE
//                       PROGID FRIENDLY_NAME DESCRIPTION (COMPONENT FILE_ID FOLDER_ID BITS)...
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "addin/PackageRegistry.h"
#include "core/Utf.h"

using namespace Tessarix;
using namespace Tessarix::Addin;

namespace {

std::u16string Arg(char** argv, int index) {
    return FromUtf8(argv[index]);
}

// Quoted for a registry script: single quotes, a quote doubled.
std::u16string Quoted(const std::u16string& text) {
    std::u16string out = u"'";
    for (const char16_t c : text) {
        out += c;
        if (c == u'\'')
            out += u'\'';
    }
    return out + u"'";
}

// The type library as RegisterTypeLib writes it, in the registry script syntax.
std::u16string TypeLibScript(char** argv, const std::u16string& platform) {
    const std::u16string libid = u"{" + Arg(argv, 3) + u"}", version = Quoted(Arg(argv, 4));
    const std::u16string proxy = u"'{00020424-0000-0000-C000-000000000046}'"; // the type library marshaler
    return u"HKCR { NoRemove TypeLib { ForceRemove " + libid + u" { " + version + u" = s " +
           Quoted(Arg(argv, 6)) + u" { FLAGS = s " + Quoted(Arg(argv, 5)) +
           u" HELPDIR = s '%Folder%' '0' { " + platform +
           u" = s '%Module%' } } } } NoRemove Interface { ForceRemove {" + Arg(argv, 7) + u"} = s " +
           Quoted(Arg(argv, 8)) + u" { ProxyStubClsid = s " + proxy + u" ProxyStubClsid32 = s " + proxy +
           u" TypeLib = s '" + libid + u"' { val Version = s " + version + u" } } } }";
}

// The key that makes Outlook load the add-in at start-up (LoadBehavior 3: load, and connected).
std::u16string AddinScript(char** argv) {
    return u"HKCU { NoRemove Software { NoRemove Microsoft { NoRemove Office { NoRemove Outlook { NoRemove "
           u"Addins "
           u"{ ForceRemove " +
           Quoted(Arg(argv, 9)) + u" { val FriendlyName = s " + Quoted(Arg(argv, 10)) +
           u" val Description = s " + Quoted(Arg(argv, 11)) + u" val LoadBehavior = d 3 } } } } } } }";
}

// A Formatted reference: "[#file]" for a file's path, "[FOLDER]" for a folder's.
std::u16string Bracketed(std::u16string_view kind, const std::u16string& name) {
    std::u16string text = u"[";
    text.append(kind).append(name);
    text += u']';
    return text;
}

void Write(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    if (!out.flush())
        throw std::runtime_error("cannot write " + path);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 16 || (argc - 12) % 4 != 0) {
        std::cerr
            << "usage: tx-package-registry OUT_DIR SCRIPT LIBID LIBVERSION LIBFLAGS LIBHELP IID INTERFACE "
               "PROGID FRIENDLY_NAME DESCRIPTION (COMPONENT FILE_ID FOLDER_ID 32|64)...\n";
        return 2;
    }
    try {
        std::ifstream in(argv[2], std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        if (!in)
            throw std::runtime_error(std::string("cannot read ") + argv[2]);
        Replacements replacements = ModuleReplacements(std::u16string(1, kPackageModuleStandIn));
        replacements[u"Folder"] = std::u16string(1, kPackageFolderStandIn);
        const std::u16string script = FromUtf8(text.str());

        PackageRows rows;
        for (int i = 12; i < argc; i += 4) {
            const std::u16string component = Arg(argv, i);
            const std::vector<PackageReference> references{
                {kPackageModuleStandIn, Bracketed(u"#", Arg(argv, i + 1))},
                {kPackageFolderStandIn, Bracketed(u"", Arg(argv, i + 2))}};
            const std::u16string platform = Arg(argv, i + 3) == u"64" ? u"win64" : u"win32";
            for (const auto& source : {script, TypeLibScript(argv, platform), AddinScript(argv)})
                AddScriptRows(RegistryScript::Parse(source, replacements), component, references, rows);
        }
        const std::string folder = argv[1];
        Write(folder + "/Registry.idt", RegistryIdt(rows));
        Write(folder + "/RemoveRegistry.idt", RemoveRegistryIdt(rows));
        return 0;
    } catch (const BaseException& e) {
        std::cerr << "tx-package-registry: " << ToUtf8(e.GetMessage()) << "\n";
    } catch (const std::exception& e) {
        std::cerr << "tx-package-registry: " << e.what() << "\n";
    }
    return 1;
}
