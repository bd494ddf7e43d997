#include "actions/MultiItemsNote.h"

#include <string>

#include "actions/OutlookItem.h"
#include "core/ByteString.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/Utils.h"
#include "itemaccess/HtmlFragments.h"
#include "wrappers/Wrapper.h"

namespace Tessarix::Global {

namespace {

constexpr char16_t kEmptySubject[] = u"empty subject";

} // namespace

Notes::NotePtr CreateMultiItemsNote(const std::vector<Automation::ObjectPtr>& items) {
    CallTracer tracer(u"Global::CreateMultiItemsNote()");
    auto note = std::make_shared<Notes::CNote>();
    WrapperFactory factory;
    std::u16string list;
    std::u16string onlySubject;
    for (const Automation::ObjectPtr& object : items) {
        OutlookItem item(object, factory);
        StringUTF8 bytes;
        Utils::LoadData(item, bytes);

        std::u16string subject = item.GetSubject();
        if (subject.empty())
            subject = kEmptySubject;
        const std::u16string name = subject + u".msg";
        Notes::CResource resource(u"", u"application/octet-stream", bytes, kAttachmentUrlPrefix + name);
        resource.SetFileName(name);
        note->GetResources().push_back(std::move(resource));

        list += u"<li>" + EscapeMarkup(name) + u"</li>";
        onlySubject = std::move(subject);
    }
    note->GetMetadata().emplace_back(Notes::kMetaSource, kSourceOutlook);
    note->SetTitle(items.size() == 1 ? onlySubject
                                     : Format(u"%d Outlook items", static_cast<std::int32_t>(items.size())));
    note->SetContent(u"<ul>" + list + u"</ul>");
    return note;
}

} // namespace Tessarix::Global
