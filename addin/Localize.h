#pragma once
// The three button texts, from the satellite resource module.
#include <string>

namespace Tessarix::Addin {

class CLocalize {
public:
    CLocalize();
    ~CLocalize();
    CLocalize(const CLocalize&) = delete;
    CLocalize& operator=(const CLocalize&) = delete;

    // Each is "" when no resource module holds the text.
    std::u16string AddNote();
    // The same text as AddNote: the multi-item entry deliberately shows the single-item caption.
    std::u16string AddNoteAttachItems();
    std::u16string AddNoteTip();
};

} // namespace Tessarix::Addin
