#pragma once
// One Outlook item as a clip sees it: its wrapper (chosen by message class), its subject and its
// bytes as a saved message file.
#include <cstdint>
#include <string>

#include "core/Automation.h"
#include "core/Utils.h"
#include "notes/Note.h"

namespace Tessarix {

class IWrapper;
class WrapperFactory;

// OlSaveAsType olMSGUnicode: a Unicode message file.
inline constexpr std::int32_t kSaveAsUnicodeMessage = 9;

class OutlookItem : public Clipper::IDataStorage {
public:
    // Asks `factory` for the wrapper of the item's message class; a null item is unsupported.
    OutlookItem(Automation::ObjectPtr item, WrapperFactory& factory);
    ~OutlookItem() override;
    OutlookItem(const OutlookItem&) = delete;
    OutlookItem& operator=(const OutlookItem&) = delete;

    // SaveAs(path, olMSGUnicode as VT_INT); a failing HRESULT is raised.
    void SaveTo(const std::u16string& path) override;
    // The item's Subject; a failing HRESULT is raised.
    virtual std::u16string GetSubject();
    // Whether the item's message class has a wrapper.
    virtual bool isSupportedItem();
    // The note the wrapper builds; null for an unsupported item.
    virtual Notes::NotePtr CreateNote();

private:
    Automation::IObject& Item();

    Automation::ObjectPtr item_;
    std::shared_ptr<IWrapper> wrapper_;
};

} // namespace Tessarix
