// No platform selection outside Windows: saved items are clipped whole.
#include "html/SelectionCapture.h"

namespace Tessarix::Html {

std::u16string CaptureSelectedTextHtml() {
    return {};
}

} // namespace Tessarix::Html
