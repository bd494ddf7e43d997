#pragma once
// The alternative to one note per item: one note that carries the items as attached message files.
#include <vector>

#include "core/Automation.h"
#include "notes/Note.h"

namespace Tessarix::Global {

// Each item is saved as a Unicode message file and becomes a resource named after its subject
// ("empty subject" when it has none) with ".msg". The note is titled after its only item, or
// "N Outlook items", and lists the file names. Failing automation calls are raised.
Notes::NotePtr CreateMultiItemsNote(const std::vector<Automation::ObjectPtr>& items);

} // namespace Tessarix::Global
