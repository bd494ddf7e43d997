#include "core/Exceptions.h"

#include "core/LocalizedStrings.h"

namespace Tessarix {

namespace {
unsigned MessageIdFor(int resultCode) {
    switch (resultCode) {
    case 1:
        return StringId::kNothingToSend;
    case 2:
        return StringId::kClientNotRunning;
    case 3:
        return StringId::kClientRefused;
    default:
        return StringId::kHandoffFailed;
    }
}
} // namespace

SendTxceException::SendTxceException(int resultCode)
    : BaseException(LoadLocalizedString(MessageIdFor(resultCode))), resultCode_(resultCode) {}

} // namespace Tessarix
