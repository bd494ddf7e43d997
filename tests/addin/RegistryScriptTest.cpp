// The registrar against an in-memory registry: the product's own script, re-registration,
// unregistration, per-user mode and the script syntax.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "addin/RegistryScript.h"
#include "core/FileSystem.h"
#include "core/Utf.h"

namespace Tessarix::Addin {
namespace {

constexpr char16_t kClassKey[] = u"CLSID\\{8B0F3933-6796-44E5-A1DB-8FC1AC46E311}";

// A registry as Windows keeps it: keys compared case-insensitively, creating a key creates its
// parents, values live on existing keys only.
class MemoryRegistry final : public IRegistryStore {
public:
    void CreateKey(RegistryRoot root, const std::u16string& path) override {
        std::u16string prefix;
        std::size_t start = 0;
        while (true) {
            const std::size_t end = path.find(u'\\', start);
            prefix = path.substr(0, end);
            keys_.try_emplace(Id(root, prefix));
            if (end == std::u16string::npos)
                break;
            start = end + 1;
        }
    }
    void SetValue(RegistryRoot root, const std::u16string& path, const std::u16string& name,
                  const RegistryData& data) override {
        if (failOnSet_ && path == *failOnSet_)
            throw HResultFrom(0x80070005u);
        const auto key = keys_.find(Id(root, path));
        if (key == keys_.end())
            throw HResultFrom(0x80070002u);
        key->second[Fold(name)] = data;
    }
    void DeleteValue(RegistryRoot root, const std::u16string& path, const std::u16string& name) override {
        const auto key = keys_.find(Id(root, path));
        if (key != keys_.end())
            key->second.erase(Fold(name));
    }
    void DeleteTree(RegistryRoot root, const std::u16string& path) override {
        const auto id = Id(root, path);
        std::erase_if(keys_,
                      [&](const auto& entry) { return entry.first == id || IsBelow(entry.first, id); });
    }
    bool KeyExists(RegistryRoot root, const std::u16string& path) override {
        return keys_.contains(Id(root, path));
    }
    bool HasSubkeys(RegistryRoot root, const std::u16string& path) override {
        const auto id = Id(root, path);
        for (const auto& entry : keys_) {
            if (IsBelow(entry.first, id))
                return true;
        }
        return false;
    }

    // "ROOT\path" for every key, and "ROOT\path = name: data" for every value.
    std::set<std::string> Dump() const {
        std::set<std::string> lines;
        for (const auto& [id, values] : keys_) {
            const std::string key = std::to_string(static_cast<int>(id.first)) + "\\" + ToUtf8(id.second);
            lines.insert(key);
            for (const auto& [name, data] : values) {
                std::string text;
                if (data.type == RegistryData::Type::String)
                    text = "s " + ToUtf8(data.text);
                if (data.type == RegistryData::Type::Dword)
                    text = "d " + std::to_string(data.number);
                if (data.type == RegistryData::Type::Binary)
                    text = "b " + std::to_string(data.bytes.size());
                lines.insert(key + " = " + ToUtf8(name) + ": " + text);
            }
        }
        return lines;
    }

    const RegistryData* Value(RegistryRoot root, const std::u16string& path,
                              const std::u16string& name) const {
        const auto key = keys_.find(Id(root, path));
        if (key == keys_.end())
            return nullptr;
        const auto value = key->second.find(Fold(name));
        return value == key->second.end() ? nullptr : &value->second;
    }

    std::optional<std::u16string> failOnSet_;

private:
    using KeyId = std::pair<RegistryRoot, std::u16string>;

    static std::u16string Fold(std::u16string text) {
        for (auto& c : text) {
            if (c >= u'A' && c <= u'Z')
                c = static_cast<char16_t>(c - u'A' + u'a');
        }
        return text;
    }
    static KeyId Id(RegistryRoot root, const std::u16string& path) { return {root, Fold(path)}; }
    static bool IsBelow(const KeyId& key, const KeyId& parent) {
        return key.first == parent.first && key.second.size() > parent.second.size() &&
               key.second.starts_with(parent.second) && key.second[parent.second.size()] == u'\\';
    }

    std::map<KeyId, std::map<std::u16string, RegistryData>> keys_;
};

std::u16string ProductScript() {
    const auto bytes = Platform::ReadFile(FromUtf8(TX_ADDIN_RESOURCES_DIR "/TessarixOL.rgs"));
    EXPECT_TRUE(bytes.has_value());
    return FromUtf8(bytes.value_or(std::string()));
}

const std::u16string kModule = u"C:\\Program Files\\Tessarix\\TessarixOL.dll";

RegistryScript ProductRegistration() {
    return RegistryScript::Parse(ProductScript(), ModuleReplacements(kModule));
}

std::string S(const std::u16string& text) {
    return ToUtf8(text);
}

TEST(RegistryScriptTest, ProductScriptWritesTheClassAndProgIdKeys) {
    MemoryRegistry registry;
    ProductRegistration().Register(registry);
    const std::string cls = "0\\" + S(kClassKey);
    const std::set<std::string> expected = {
        "0\\TessarixOL.Connect.1",
        "0\\TessarixOL.Connect.1 = : s Connect Class",
        "0\\TessarixOL.Connect.1\\CLSID",
        "0\\TessarixOL.Connect.1\\CLSID = : s {8B0F3933-6796-44E5-A1DB-8FC1AC46E311}",
        "0\\TessarixOL.Connect",
        "0\\TessarixOL.Connect = : s Connect Class",
        "0\\TessarixOL.Connect\\CLSID",
        "0\\TessarixOL.Connect\\CLSID = : s {8B0F3933-6796-44E5-A1DB-8FC1AC46E311}",
        "0\\TessarixOL.Connect\\CurVer",
        "0\\TessarixOL.Connect\\CurVer = : s TessarixOL.Connect.1",
        "0\\CLSID",
        cls,
        cls + " = : s Connect Class",
        cls + "\\ProgID",
        cls + "\\ProgID = : s TessarixOL.Connect.1",
        cls + "\\VersionIndependentProgID",
        cls + "\\VersionIndependentProgID = : s TessarixOL.Connect",
        cls + "\\Programmable",
        cls + "\\InprocServer32",
        cls + "\\InprocServer32 = : s " + S(kModule),
        cls + "\\InprocServer32 = threadingmodel: s Apartment",
        cls + "\\TypeLib",
        cls + "\\TypeLib = : s {C31DCD1D-085F-4616-9B0B-D8168D8BA3B8}",
    };
    // Key names are folded by the in-memory registry; compare folded.
    std::set<std::string> folded;
    for (std::string line : expected) {
        const auto cut = line.find(" = ");
        for (std::size_t i = 0; i < std::min(cut, line.size()); ++i)
            line[i] = static_cast<char>(std::tolower(line[i]));
        folded.insert(line);
    }
    EXPECT_EQ(registry.Dump(), folded);
}

TEST(RegistryScriptTest, RegisteringAgainReplacesTheClassKeyWhole) {
    MemoryRegistry once;
    ProductRegistration().Register(once);

    MemoryRegistry twice;
    ProductRegistration().Register(twice);
    // Leftovers of an older registration under the class key, and a changed value elsewhere.
    twice.CreateKey(RegistryRoot::ClassesRoot, std::u16string(kClassKey) + u"\\LocalServer32");
    twice.SetValue(RegistryRoot::ClassesRoot, std::u16string(kClassKey) + u"\\InprocServer32", u"Stale",
                   RegistryData{RegistryData::Type::String, u"x", 0, {}});
    twice.SetValue(RegistryRoot::ClassesRoot, u"TessarixOL.Connect\\CurVer", {},
                   RegistryData{RegistryData::Type::String, u"TessarixOL.Connect.0", 0, {}});
    ProductRegistration().Register(twice);

    EXPECT_EQ(twice.Dump(), once.Dump());
}

TEST(RegistryScriptTest, UnregisteringRemovesTheScriptsKeysAndKeepsForeignOnes) {
    MemoryRegistry registry;
    registry.CreateKey(RegistryRoot::ClassesRoot, u"CLSID\\{00000000-1111-2222-3333-444444444444}");
    registry.CreateKey(RegistryRoot::ClassesRoot, u"TessarixOL.Connect\\Extra"); // someone else's subkey
    ProductRegistration().Register(registry);

    ProductRegistration().Unregister(registry);

    EXPECT_TRUE(registry.KeyExists(RegistryRoot::ClassesRoot, u"CLSID"));
    EXPECT_TRUE(
        registry.KeyExists(RegistryRoot::ClassesRoot, u"CLSID\\{00000000-1111-2222-3333-444444444444}"));
    EXPECT_FALSE(registry.KeyExists(RegistryRoot::ClassesRoot, kClassKey));
    EXPECT_FALSE(registry.KeyExists(RegistryRoot::ClassesRoot, u"TessarixOL.Connect.1"));
    // A plain key with something foreign left under it stays, emptied of what the script wrote.
    EXPECT_TRUE(registry.KeyExists(RegistryRoot::ClassesRoot, u"TessarixOL.Connect\\Extra"));
    EXPECT_FALSE(registry.KeyExists(RegistryRoot::ClassesRoot, u"TessarixOL.Connect\\CLSID"));
    EXPECT_FALSE(registry.KeyExists(RegistryRoot::ClassesRoot, u"TessarixOL.Connect\\CurVer"));

    // Unregistering what is not registered changes nothing and does not fail.
    const auto before = registry.Dump();
    ProductRegistration().Unregister(registry);
    EXPECT_EQ(registry.Dump(), before);
}

TEST(RegistryScriptTest, PerUserRegistrationLandsUnderSoftwareClassesAndLeavesThemOnRemoval) {
    MemoryRegistry registry;
    const RegistryScript perUser = ProductRegistration().ForCurrentUser();
    perUser.Register(registry);

    const std::u16string classes = u"Software\\Classes\\";
    EXPECT_TRUE(registry.KeyExists(RegistryRoot::CurrentUser, classes + kClassKey + u"\\InprocServer32"));
    EXPECT_TRUE(registry.KeyExists(RegistryRoot::CurrentUser, classes + u"TessarixOL.Connect\\CurVer"));
    EXPECT_FALSE(registry.KeyExists(RegistryRoot::ClassesRoot, u"CLSID"));

    perUser.Unregister(registry);
    EXPECT_FALSE(registry.KeyExists(RegistryRoot::CurrentUser, classes + kClassKey));
    EXPECT_FALSE(registry.KeyExists(RegistryRoot::CurrentUser, classes + u"TessarixOL.Connect"));
    EXPECT_TRUE(registry.KeyExists(RegistryRoot::CurrentUser, u"Software\\Classes\\CLSID"));
    EXPECT_TRUE(registry.KeyExists(RegistryRoot::CurrentUser, u"Software"));
}

TEST(RegistryScriptTest, ModulePathIsReplacedVerbatimEvenWithQuotesAndPercents) {
    const std::u16string path = u"C:\\Users\\O'Neil\\100%\\TessarixOL.dll";
    MemoryRegistry registry;
    RegistryScript::Parse(u"HKCR { A = s '%MODULE%' B = s '50%%' }", ModuleReplacements(path))
        .Register(registry);
    ASSERT_NE(registry.Value(RegistryRoot::ClassesRoot, u"A", {}), nullptr);
    EXPECT_EQ(registry.Value(RegistryRoot::ClassesRoot, u"A", {})->text, path);
    EXPECT_EQ(registry.Value(RegistryRoot::ClassesRoot, u"B", {})->text, u"50%");
}

TEST(RegistryScriptTest, RawModulePathAndUnknownReplacements) {
    const Replacements r = ModuleReplacements(u"C:\\It's\\x.dll");
    EXPECT_EQ(ExpandReplacements(u"%module_raw%|%MODULE%", r), u"C:\\It's\\x.dll|C:\\It''s\\x.dll");
    EXPECT_THROW(ExpandReplacements(u"%APPID%", r), RegistryScriptError);
    EXPECT_THROW(ExpandReplacements(u"100% sure", r), RegistryScriptError);
}

TEST(RegistryScriptTest, ValueTypesNamedValuesAndQuotedNames) {
    MemoryRegistry registry;
    RegistryScript::Parse(u"HKLM { NoRemove 'Key With Spaces {x}' { val Count = d 0x10 val Plain = d 42\n"
                          u"val Blob = b 'DEADBEEF' 'val' = s 'it''s' }}",
                          {})
        .Register(registry);
    const std::u16string key = u"Key With Spaces {x}";
    EXPECT_EQ(registry.Value(RegistryRoot::LocalMachine, key, u"Count")->number, 16u);
    EXPECT_EQ(registry.Value(RegistryRoot::LocalMachine, key, u"Plain")->number, 42u);
    EXPECT_EQ(registry.Value(RegistryRoot::LocalMachine, key, u"Blob")->bytes,
              (std::vector<std::uint8_t>{0xDE, 0xAD, 0xBE, 0xEF}));
    // A quoted "val" is a key name, not the keyword.
    EXPECT_EQ(registry.Value(RegistryRoot::LocalMachine, key + u"\\val", {})->text, u"it's");
}

TEST(RegistryScriptTest, MalformedScriptsAreRejected) {
    for (const char16_t* script : {
             u"HKCR { A = s 'x' ",          // missing "}"
             u"HKCR { A = s }",             // missing data
             u"HKCR { A = q 'x' }",         // unknown type
             u"HKCR { A = s 'x }",          // unterminated quote
             u"HKXX { A }",                 // unknown root
             u"HKCR { A = d 0x1FFFFFFFF }", // out of range
             u"HKCR { A = b 'ABC' }",       // odd hex digits
             u"HKCR { 'A\\B' }",            // a name is one key
             u"HKCR { A { val = s 'y' } }", // a value needs a name
         }) {
        EXPECT_THROW(RegistryScript::Parse(script, {}), RegistryScriptError) << ToUtf8(script);
    }
}

TEST(RegistryScriptTest, RegistryFailureStopsRegistrationWithItsCode) {
    MemoryRegistry registry;
    registry.failOnSet_ = u"TessarixOL.Connect\\CurVer";
    try {
        ProductRegistration().Register(registry);
        FAIL() << "no failure";
    } catch (HResult hr) {
        EXPECT_EQ(hr, HResultFrom(0x80070005u));
    }
    // Nothing after the failing step was written.
    EXPECT_FALSE(registry.KeyExists(RegistryRoot::ClassesRoot, u"CLSID"));
}

} // namespace
} // namespace Tessarix::Addin
