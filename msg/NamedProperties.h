#pragma once
// Named properties: a property set and a number or a name, mapped to a property id from 0x8000 by
// the file's name-id map.
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "core/Guid.h"

namespace Tessarix::Msg {

struct NamedProperty {
    Guid set;
    bool isString = false;
    std::uint32_t number = 0; // the LID of a numeric name
    std::u16string name;      // a string name

    static NamedProperty Number(const Guid& set, std::uint32_t number) { return {set, false, number, {}}; }
    static NamedProperty String(const Guid& set, std::u16string name) {
        return {set, true, 0, std::move(name)};
    }
    friend bool operator==(const NamedProperty&, const NamedProperty&) = default;
};

// The property sets the name-id map refers to by index rather than by GUID.
inline constexpr Guid kPS_MAPI{0x00020328, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kPS_PUBLIC_STRINGS{0x00020329, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Property id <-> name, for one file (its embedded messages share it).
class NameMap {
public:
    // The first mapping of an id or of a name stays.
    void Add(std::uint16_t id, const NamedProperty& name);
    const NamedProperty* Find(std::uint16_t id) const;
    std::optional<std::uint16_t> IdOf(const NamedProperty& name) const;
    std::size_t Size() const { return byId_.size(); }
    const std::map<std::uint16_t, NamedProperty>& Entries() const { return byId_; }

private:
    std::map<std::uint16_t, NamedProperty> byId_;
};

} // namespace Tessarix::Msg
