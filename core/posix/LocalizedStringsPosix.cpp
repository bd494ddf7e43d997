// Without a satellite module the texts are the English ones, compiled in.
#include "core/EnglishTexts.h"
#include "core/LocalizedStrings.h"

namespace Tessarix {

std::u16string LoadLocalizedString(unsigned id) {
    switch (id) {
    case StringId::kAddNote:
        return u"" TX_TEXT_EN_101;
    case StringId::kAddNoteTip:
        return u"" TX_TEXT_EN_102;
    case StringId::kClientNotRunning:
        return u"" TX_TEXT_EN_107;
    case StringId::kClientRefused:
        return u"" TX_TEXT_EN_108;
    case StringId::kHandoffFailed:
        return u"" TX_TEXT_EN_110;
    case StringId::kNothingToSend:
        return u"" TX_TEXT_EN_111;
    default:
        return {};
    }
}

} // namespace Tessarix
