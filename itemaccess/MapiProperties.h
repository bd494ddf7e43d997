#pragma once
// Typed reads of one MAPI property with a caller's default: a property that cannot be read never
// raises. An absent property (MAPI_E_NOT_FOUND) is silent; any other failure is logged.
#include <cstdint>
#include <string>

#include "core/FileTime.h"
#include "core/MapiProp.h"

namespace Tessarix::Global {

std::u16string GetStringProperty(Mapi::IProp* object, Mapi::PropTag tag,
                                 const std::u16string& defaultValue = {});
// Callers that must tell an absent property from 0 pass the default 0xFFFFFFFF.
std::uint32_t GetLongProperty(Mapi::IProp* object, Mapi::PropTag tag, std::uint32_t defaultValue);
bool GetBoolProperty(Mapi::IProp* object, Mapi::PropTag tag, bool defaultValue);
FileTime GetTimeProperty(Mapi::IProp* object, Mapi::PropTag tag, FileTime defaultValue);

} // namespace Tessarix::Global
