#include "wrappers/SystemMessage.h"

namespace Tessarix::Platform {

// HRESULTs are Windows codes; there is no system table for them here.
std::u16string SystemMessageText(HResult) {
    return {};
}

} // namespace Tessarix::Platform
