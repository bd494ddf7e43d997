// The package's registry rows made from registry scripts: what each kind of key becomes, how values
// are kept literal, and what a package refuses.
#include <gtest/gtest.h>

#include "addin/PackageRegistry.h"
#include "core/Utf.h"

namespace Tessarix::Addin {
namespace {

PackageRows RowsOf(std::u16string_view script) {
    Replacements replacements = ModuleReplacements(std::u16string(1, kPackageModuleStandIn));
    PackageRows rows;
    AddScriptRows(RegistryScript::Parse(script, replacements), u"C", {{kPackageModuleStandIn, u"[#dll]"}},
                  rows);
    return rows;
}

TEST(PackageRegistryTest, KeysBecomeRowsByTheirFlags) {
    const PackageRows rows = RowsOf(u"HKCR { NoRemove CLSID { ForceRemove {X} = s 'Connect' { "
                                    u"InprocServer32 = s '%MODULE%' { val ThreadingModel = s 'Apartment' } "
                                    u"Empty } } } HKCU { Software { val N = d 3 val H = s '#x' } }");
    std::vector<std::string> registry, remove;
    for (const auto& row : rows.registry) {
        registry.push_back(std::to_string(row.root) + " " + ToUtf8(row.key) + "|" +
                           (row.name ? ToUtf8(*row.name) : "(default)") + "|" +
                           (row.value ? ToUtf8(*row.value) : "(key)"));
    }
    for (const auto& row : rows.remove)
        remove.push_back(ToUtf8(row.key) + "|" + ToUtf8(row.name));
    EXPECT_EQ(registry, (std::vector<std::string>{
                            "-1 Software\\Classes\\CLSID\\{X}|*|(key)",
                            "-1 Software\\Classes\\CLSID\\{X}|(default)|Connect",
                            "-1 Software\\Classes\\CLSID\\{X}\\InprocServer32|(default)|[#dll]",
                            "-1 Software\\Classes\\CLSID\\{X}\\InprocServer32|ThreadingModel|Apartment",
                            "-1 Software\\Classes\\CLSID\\{X}\\Empty|+|(key)", "-1 Software|N|#3",
                            "-1 Software|H|##x", // "#x" would be binary data
                        }));
    EXPECT_EQ(remove, std::vector<std::string>{"Software\\Classes\\CLSID\\{X}|-"});
    for (const auto& row : rows.registry)
        EXPECT_EQ(row.component, u"C");
}

TEST(PackageRegistryTest, FormattedTextIsLiteral) {
    EXPECT_EQ(PackageFormattedText(u"{1}[p]x"), u"[\\{]1[\\}][\\[]p[\\]]x");
    const PackageRows rows = RowsOf(u"HKCR { K = s '[%MODULE%]' }");
    EXPECT_EQ(rows.registry.at(0).value, u"[\\[][#dll][\\]]");
}

TEST(PackageRegistryTest, RefusesWhatAPackageCannotHold) {
    EXPECT_THROW(RowsOf(u"HKU { K = s 'x' }"), RegistryScriptError);
    EXPECT_THROW(RowsOf(u"HKCR { K = s '' }"), RegistryScriptError);
    EXPECT_THROW(RegistryIdt(RowsOf(u"HKCR { K = s 'caf\u00E9' }")), RegistryScriptError);
    const std::string idt = RegistryIdt(RowsOf(u"HKCR { K = s 'v' }"));
    EXPECT_NE(idt.find("C.1\t-1\tSoftware\\Classes\\K\t\tv\tC\r\n"), std::string::npos) << idt;
}

} // namespace
} // namespace Tessarix::Addin
