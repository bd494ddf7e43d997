#include "addin/PackageRegistry.h"

#include <cstddef>

#include "core/Format.h"
#include "core/Utf.h"

namespace Tessarix::Addin {
namespace {

class RowWriter {
public:
    RowWriter(std::u16string_view component, const std::vector<PackageReference>& references,
              PackageRows& rows)
        : component_(component), references_(references), rows_(rows) {}

    void Root(const RegistryRootEntry& root) {
        std::u16string prefix;
        switch (root.root) {
        case RegistryRoot::ClassesRoot:
            prefix = u"Software\\Classes";
            break;
        case RegistryRoot::CurrentUser:
        case RegistryRoot::LocalMachine:
            break;
        case RegistryRoot::Users:
            throw RegistryScriptError(u"Registry script: a package cannot write under HKEY_USERS");
        }
        for (const auto& key : root.keys)
            Key(prefix, key);
    }

private:
    void Key(const std::u16string& parent, const RegistryKeyEntry& key) {
        const std::u16string path = parent.empty() ? key.name : parent + u"\\" + key.name;
        if (key.flag == KeyFlag::ForceRemove) {
            AddKeyRow(path, u"*");
            rows_.remove.push_back({NextId(), -1, path, u"-", std::u16string(component_)});
        } else if (key.flag == KeyFlag::None && !key.defaultValue && key.values.empty() &&
                   key.subkeys.empty()) {
            AddKeyRow(path, u"+");
        }
        if (key.defaultValue)
            AddValueRow(path, std::nullopt, *key.defaultValue);
        for (const auto& [name, data] : key.values)
            AddValueRow(path, name, data);
        for (const auto& subkey : key.subkeys)
            Key(path, subkey);
    }

    void AddKeyRow(const std::u16string& path, std::u16string_view name) {
        rows_.registry.push_back(
            {NextId(), -1, path, std::u16string(name), std::nullopt, std::u16string(component_)});
    }

    void AddValueRow(const std::u16string& path, std::optional<std::u16string> name,
                     const RegistryData& data) {
        rows_.registry.push_back(
            {NextId(), -1, path, std::move(name), Value(data), std::u16string(component_)});
    }

    // Registry values are Formatted text: "#" starts a number or binary data, "##" a text that
    // begins with "#".
    std::u16string Value(const RegistryData& data) const {
        switch (data.type) {
        case RegistryData::Type::Dword:
            return u"#" + FromUtf8(std::to_string(data.number));
        case RegistryData::Type::Binary: {
            static constexpr char16_t kHex[] = u"0123456789ABCDEF";
            std::u16string text = u"#x";
            for (const std::uint8_t byte : data.bytes) {
                text += kHex[byte >> 4];
                text += kHex[byte & 0xF];
            }
            return text;
        }
        case RegistryData::Type::String:
            break;
        }
        // An empty Formatted value would be a missing one, which Windows Installer reads otherwise.
        if (data.text.empty())
            throw RegistryScriptError(u"Registry script: a package cannot write an empty text value");
        std::u16string text = data.text.starts_with(u'#') ? u"#" : u"";
        std::size_t start = 0;
        while (start <= data.text.size()) {
            std::size_t next = data.text.size();
            const PackageReference* reference = nullptr;
            for (const auto& candidate : references_) {
                const std::size_t at = data.text.find(candidate.standIn, start);
                if (at < next) {
                    next = at;
                    reference = &candidate;
                }
            }
            text += PackageFormattedText(std::u16string_view(data.text).substr(start, next - start));
            if (!reference)
                break;
            text += reference->formatted;
            start = next + 1;
        }
        return text;
    }

    std::u16string NextId() { return Format(u"%s.%d", component_, ++count_); }

    std::u16string_view component_;
    const std::vector<PackageReference>& references_;
    PackageRows& rows_;
    int count_ = static_cast<int>(rows_.registry.size() + rows_.remove.size());
};

// One ".idt" field: printable ASCII only; a missing value is an empty field.
void Field(std::string& out, const std::optional<std::u16string>& text) {
    if (text) {
        for (const char16_t c : *text) {
            if (c < 0x20 || c > 0x7E)
                throw RegistryScriptError(u"Registry script: the package holds printable ASCII text only");
            out += static_cast<char>(c);
        }
    }
}

void Row(std::string& out, std::initializer_list<std::optional<std::u16string>> fields) {
    bool first = true;
    for (const auto& field : fields) {
        if (!first)
            out += '\t';
        first = false;
        Field(out, field);
    }
    out += "\r\n";
}

std::u16string Number(int value) {
    return FromUtf8(std::to_string(value));
}

} // namespace

std::u16string PackageFormattedText(std::u16string_view text) {
    std::u16string out;
    for (const char16_t c : text) {
        if (c == u'[' || c == u']' || c == u'{' || c == u'}') {
            out += u"[\\";
            out += c;
            out += u']';
        } else {
            out += c;
        }
    }
    return out;
}

void AddScriptRows(const RegistryScript& script, std::u16string_view component,
                   const std::vector<PackageReference>& references, PackageRows& rows) {
    RowWriter writer(component, references, rows);
    for (const auto& root : script.Roots())
        writer.Root(root);
}

std::string RegistryIdt(const PackageRows& rows) {
    std::string out = "Registry\tRoot\tKey\tName\tValue\tComponent_\r\ns72\ti2\tl255\tL255\tL0\ts72\r\n"
                      "Registry\tRegistry\r\n";
    for (const auto& row : rows.registry)
        Row(out, {row.id, Number(row.root), row.key, row.name, row.value, row.component});
    return out;
}

std::string RemoveRegistryIdt(const PackageRows& rows) {
    std::string out = "RemoveRegistry\tRoot\tKey\tName\tComponent_\r\ns72\ti2\tl255\tL255\ts72\r\n"
                      "RemoveRegistry\tRemoveRegistry\r\n";
    for (const auto& row : rows.remove)
        Row(out, {row.id, Number(row.root), row.key, row.name, row.component});
    return out;
}

} // namespace Tessarix::Addin
