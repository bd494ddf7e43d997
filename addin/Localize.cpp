#include "addin/Localize.h"

#include "core/LocalizedStrings.h"
#include "core/Log.h"

namespace Tessarix::Addin {

CLocalize::CLocalize() {
    CallTracer trace(u"CLocalize::Ctor");
}

CLocalize::~CLocalize() {
    CallTracer trace(u"CLocalize::Dtor");
}

std::u16string CLocalize::AddNote() {
    CallTracer trace(u"CLocalize::AddNote()");
    return LoadLocalizedString(StringId::kAddNote);
}

std::u16string CLocalize::AddNoteAttachItems() {
    CallTracer trace(u"CLocalize::AddNoteAttachItems()");
    return LoadLocalizedString(StringId::kAddNote);
}

std::u16string CLocalize::AddNoteTip() {
    CallTracer trace(u"CLocalize::AddNoteTip()");
    return LoadLocalizedString(StringId::kAddNoteTip);
}

} // namespace Tessarix::Addin
