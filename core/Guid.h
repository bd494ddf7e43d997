#pragma once
// Interface identifiers in portable form (the fields of a Windows GUID).
#include <cstdint>

namespace Tessarix {

struct Guid {
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::uint8_t data4[8] = {};

    friend bool operator==(const Guid&, const Guid&) = default;
};

} // namespace Tessarix
