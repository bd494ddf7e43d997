#include "addin/RegistryScript.h"

#include <cstddef>

#include "core/Format.h"

namespace Tessarix::Addin {
namespace {

char16_t FoldAscii(char16_t c) {
    return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

bool EqualsNoCase(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (FoldAscii(a[i]) != FoldAscii(b[i]))
            return false;
    }
    return true;
}

bool IsSpace(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n' || c == u'\f' || c == u'\v' || c == 0xFEFF;
}

struct Token {
    enum class Kind { Word, Quoted, Open, Close, Equals, End };
    Kind kind = Kind::End;
    std::u16string text;
};

class Tokenizer {
public:
    explicit Tokenizer(std::u16string_view text) : text_(text) {}

    Token Next() {
        if (pendingCloses_ > 0) {
            --pendingCloses_;
            return {Token::Kind::Close, u"}"};
        }
        while (pos_ < text_.size() && IsSpace(text_[pos_]))
            ++pos_;
        if (pos_ >= text_.size())
            return {Token::Kind::End, {}};
        if (text_[pos_] == u'\'')
            return Quoted();
        const std::size_t start = pos_;
        while (pos_ < text_.size() && !IsSpace(text_[pos_]))
            ++pos_;
        const std::u16string_view word = text_.substr(start, pos_ - start);
        if (word == u"{")
            return {Token::Kind::Open, u"{"};
        if (word == u"=")
            return {Token::Kind::Equals, u"="};
        if (word.find_first_not_of(u'}') == std::u16string_view::npos) {
            pendingCloses_ = word.size() - 1; // "}}" closes two blocks
            return {Token::Kind::Close, u"}"};
        }
        return {Token::Kind::Word, std::u16string(word)};
    }

private:
    Token Quoted() {
        std::u16string value;
        ++pos_;
        while (true) {
            if (pos_ >= text_.size())
                throw RegistryScriptError(u"Unterminated quoted text in registry script");
            const char16_t c = text_[pos_++];
            if (c != u'\'') {
                value += c;
            } else if (pos_ < text_.size() && text_[pos_] == u'\'') {
                value += u'\'';
                ++pos_;
            } else {
                return {Token::Kind::Quoted, std::move(value)};
            }
        }
    }

    std::u16string_view text_;
    std::size_t pos_ = 0;
    std::size_t pendingCloses_ = 0;
};

[[noreturn]] void Fail(std::u16string_view what, const Token& token) {
    throw RegistryScriptError(Format(u"Registry script: %s near \"%s\"", what, token.text));
}

class Parser {
public:
    explicit Parser(std::u16string_view text) : tokens_(text) { Advance(); }

    std::vector<RegistryRootEntry> Script() {
        std::vector<RegistryRootEntry> roots;
        while (current_.kind != Token::Kind::End) {
            if (current_.kind != Token::Kind::Word)
                Fail(u"expected a root key", current_);
            RegistryRootEntry root;
            root.root = RootFor(current_);
            Advance();
            Expect(Token::Kind::Open, u"expected \"{\" after the root key");
            while (current_.kind != Token::Kind::Close)
                root.keys.push_back(Key());
            Advance();
            roots.push_back(std::move(root));
        }
        return roots;
    }

private:
    void Advance() { current_ = tokens_.Next(); }

    void Expect(Token::Kind kind, std::u16string_view what) {
        if (current_.kind != kind)
            Fail(what, current_);
        Advance();
    }

    bool IsKeyword(std::u16string_view keyword) const {
        return current_.kind == Token::Kind::Word && EqualsNoCase(current_.text, keyword);
    }

    static RegistryRoot RootFor(const Token& token) {
        const std::u16string& t = token.text;
        if (EqualsNoCase(t, u"HKCR") || EqualsNoCase(t, u"HKEY_CLASSES_ROOT"))
            return RegistryRoot::ClassesRoot;
        if (EqualsNoCase(t, u"HKCU") || EqualsNoCase(t, u"HKEY_CURRENT_USER"))
            return RegistryRoot::CurrentUser;
        if (EqualsNoCase(t, u"HKLM") || EqualsNoCase(t, u"HKEY_LOCAL_MACHINE"))
            return RegistryRoot::LocalMachine;
        if (EqualsNoCase(t, u"HKU") || EqualsNoCase(t, u"HKEY_USERS"))
            return RegistryRoot::Users;
        Fail(u"unknown root key", token);
    }

    std::u16string Name(std::u16string_view what) {
        if (current_.kind != Token::Kind::Word && current_.kind != Token::Kind::Quoted)
            Fail(what, current_);
        std::u16string name = std::move(current_.text);
        if (name.empty() || name.find(u'\\') != std::u16string::npos)
            Fail(u"invalid key or value name", current_);
        Advance();
        return name;
    }

    RegistryData Value() {
        if (current_.kind != Token::Kind::Word)
            Fail(u"expected a value type (s, d or b)", current_);
        const std::u16string type = current_.text;
        Advance();
        if (current_.kind != Token::Kind::Word && current_.kind != Token::Kind::Quoted) {
            Fail(u"expected value data", current_);
        }
        const Token data = current_;
        Advance();
        RegistryData value;
        if (EqualsNoCase(type, u"s")) {
            value.type = RegistryData::Type::String;
            value.text = data.text;
        } else if (EqualsNoCase(type, u"d")) {
            value.type = RegistryData::Type::Dword;
            value.number = Number(data);
        } else if (EqualsNoCase(type, u"b")) {
            value.type = RegistryData::Type::Binary;
            value.bytes = Bytes(data);
        } else {
            Fail(u"unknown value type", Token{Token::Kind::Word, type});
        }
        return value;
    }

    static int Digit(char16_t c, int base) {
        int d = -1;
        if (c >= u'0' && c <= u'9')
            d = c - u'0';
        else if (c >= u'a' && c <= u'f')
            d = c - u'a' + 10;
        else if (c >= u'A' && c <= u'F')
            d = c - u'A' + 10;
        return d < base ? d : -1;
    }

    static std::uint32_t Number(const Token& token) {
        std::u16string_view t = token.text;
        int base = 10;
        if (t.size() > 2 && t[0] == u'0' && (t[1] == u'x' || t[1] == u'X')) {
            base = 16;
            t.remove_prefix(2);
        }
        if (t.empty())
            Fail(u"invalid number", token);
        std::uint64_t n = 0;
        for (char16_t c : t) {
            const int d = Digit(c, base);
            if (d < 0)
                Fail(u"invalid number", token);
            n = n * static_cast<unsigned>(base) + static_cast<unsigned>(d);
            if (n > 0xFFFFFFFFu)
                Fail(u"number out of range", token);
        }
        return static_cast<std::uint32_t>(n);
    }

    static std::vector<std::uint8_t> Bytes(const Token& token) {
        const std::u16string& t = token.text;
        if (t.size() % 2 != 0)
            Fail(u"binary data needs two hex digits per byte", token);
        std::vector<std::uint8_t> bytes;
        for (std::size_t i = 0; i < t.size(); i += 2) {
            const int hi = Digit(t[i], 16), lo = Digit(t[i + 1], 16);
            if (hi < 0 || lo < 0)
                Fail(u"invalid binary data", token);
            bytes.push_back(static_cast<std::uint8_t>(hi * 16 + lo));
        }
        return bytes;
    }

    RegistryKeyEntry Key() {
        RegistryKeyEntry key;
        if (IsKeyword(u"ForceRemove")) {
            key.flag = KeyFlag::ForceRemove;
            Advance();
        } else if (IsKeyword(u"NoRemove")) {
            key.flag = KeyFlag::NoRemove;
            Advance();
        }
        key.name = Name(u"expected a key name");
        if (current_.kind == Token::Kind::Equals) {
            Advance();
            key.defaultValue = Value();
        }
        if (current_.kind == Token::Kind::Open) {
            Advance();
            while (current_.kind != Token::Kind::Close) {
                if (current_.kind == Token::Kind::End)
                    Fail(u"missing \"}\"", current_);
                if (IsKeyword(u"val")) {
                    Advance();
                    std::u16string name = Name(u"expected a value name");
                    Expect(Token::Kind::Equals, u"expected \"=\" after the value name");
                    key.values.emplace_back(std::move(name), Value());
                } else {
                    key.subkeys.push_back(Key());
                }
            }
            Advance();
        }
        return key;
    }

    Tokenizer tokens_;
    Token current_;
};

std::u16string Join(const std::u16string& parent, const std::u16string& name) {
    return parent.empty() ? name : parent + u'\\' + name;
}

void RegisterKey(IRegistryStore& store, RegistryRoot root, const std::u16string& parent,
                 const RegistryKeyEntry& key) {
    const std::u16string path = Join(parent, key.name);
    if (key.flag == KeyFlag::ForceRemove)
        store.DeleteTree(root, path);
    store.CreateKey(root, path);
    if (key.defaultValue)
        store.SetValue(root, path, {}, *key.defaultValue);
    for (const auto& [name, data] : key.values)
        store.SetValue(root, path, name, data);
    for (const auto& subkey : key.subkeys)
        RegisterKey(store, root, path, subkey);
}

void UnregisterKey(IRegistryStore& store, RegistryRoot root, const std::u16string& parent,
                   const RegistryKeyEntry& key) {
    const std::u16string path = Join(parent, key.name);
    if (key.flag == KeyFlag::ForceRemove) {
        store.DeleteTree(root, path);
        return;
    }
    if (!store.KeyExists(root, path))
        return;
    for (const auto& subkey : key.subkeys)
        UnregisterKey(store, root, path, subkey);
    if (key.flag == KeyFlag::NoRemove)
        return;
    for (const auto& value : key.values)
        store.DeleteValue(root, path, value.first);
    if (!store.HasSubkeys(root, path))
        store.DeleteTree(root, path);
}

} // namespace

Replacements ModuleReplacements(std::u16string_view modulePath) {
    std::u16string quoted;
    for (char16_t c : modulePath) {
        quoted += c;
        if (c == u'\'')
            quoted += u'\'';
    }
    return {{u"Module", quoted}, {u"Module_Raw", std::u16string(modulePath)}};
}

std::u16string ExpandReplacements(std::u16string_view text, const Replacements& replacements) {
    std::u16string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t percent = text.find(u'%', pos);
        if (percent == std::u16string_view::npos) {
            out.append(text.substr(pos));
            break;
        }
        out.append(text.substr(pos, percent - pos));
        const std::size_t close = text.find(u'%', percent + 1);
        if (close == std::u16string_view::npos) {
            throw RegistryScriptError(u"Registry script: unterminated replacement name");
        }
        const std::u16string_view name = text.substr(percent + 1, close - percent - 1);
        if (name.empty()) {
            out += u'%';
        } else {
            bool found = false;
            for (const auto& [key, value] : replacements) {
                if (EqualsNoCase(key, name)) {
                    out += value;
                    found = true;
                    break;
                }
            }
            if (!found)
                throw RegistryScriptError(Format(u"Registry script: unknown replacement %%%s%%", name));
        }
        pos = close + 1;
    }
    return out;
}

RegistryScript RegistryScript::Parse(std::u16string_view text, const Replacements& replacements) {
    const std::u16string expanded = ExpandReplacements(text, replacements);
    RegistryScript script;
    script.roots_ = Parser(expanded).Script();
    return script;
}

RegistryScript RegistryScript::ForCurrentUser() const {
    RegistryScript result;
    for (const auto& root : roots_) {
        if (root.root != RegistryRoot::ClassesRoot) {
            result.roots_.push_back(root);
            continue;
        }
        RegistryKeyEntry classes{u"Classes", KeyFlag::NoRemove, std::nullopt, {}, root.keys};
        RegistryKeyEntry software{u"Software", KeyFlag::NoRemove, std::nullopt, {}, {std::move(classes)}};
        result.roots_.push_back(RegistryRootEntry{RegistryRoot::CurrentUser, {std::move(software)}});
    }
    return result;
}

void RegistryScript::Register(IRegistryStore& store) const {
    for (const auto& root : roots_) {
        for (const auto& key : root.keys)
            RegisterKey(store, root.root, {}, key);
    }
}

void RegistryScript::Unregister(IRegistryStore& store) const {
    for (const auto& root : roots_) {
        for (const auto& key : root.keys)
            UnregisterKey(store, root.root, {}, key);
    }
}

} // namespace Tessarix::Addin
