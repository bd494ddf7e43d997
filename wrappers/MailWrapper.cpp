#include "core/Log.h"
#include "itemaccess/HtmlFragments.h"
#include "wrappers/ItemWrappers.h"

namespace Tessarix {

MailWrapper::MailWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline)
    : BaseWrapper(u"MailWrapper", std::move(item), std::move(pipeline)) {
    CallTracer tracer(u"MailWrapper::Ctor");
}

MailWrapper::~MailWrapper() {
    CallTracer tracer(u"MailWrapper::Dtor");
}

Notes::NotePtr MailWrapper::BuildNote() {
    CallTracer tracer(u"MailWrapper::BuildNote()");
    Item();
    if (auto selection = BuildSelectionNote())
        return selection;

    auto note = std::make_shared<Notes::CNote>();
    const auto attachments = ReadObject(u"Attachments");
    const auto message = OpenMapiMessage();
    std::vector<std::u16string> unresolved;
    const MessageBody body = Body::ReadNativeBody(message.get(), attachments.get());
    const std::u16string content =
        body.Empty() ? Pipeline().MakeCleanContent(ReadString(u"HTMLBody"), note->GetResources(), unresolved)
                     : LoadBody(body, note->GetResources(), unresolved);

    const std::u16string subject = ReadString(u"Subject");
    const std::u16string sender = ReadString(u"SenderName");
    std::u16string header;
    Fragments::AppendHeaderLine(header, u"Subject", subject);
    Fragments::AppendHeaderLine(header, u"From", sender);
    Fragments::AppendHeaderLine(header, u"To", ReadString(u"To"));
    Fragments::AppendHeaderLine(header, u"CC", ReadString(u"CC"));
    Fragments::AppendHeaderLine(header, u"BCC", ReadString(u"BCC"));
    if (ReadBool(u"Sent").value_or(false))
        Fragments::AppendHeaderLine(header, u"Date Sent",
                                    Fragments::ItemDateText(ReadDate(u"SentOn"), kDateAndTime));

    note->SetContent(header + content);
    note->SetTitle(subject);
    AddAttribute(*note, Notes::kMetaAuthor, sender);
    AddAttribute(*note, Notes::kMetaSource, kSourceOutlook);

    AttachAll policy(note, std::move(unresolved));
    AddAttachments(attachments.get(), policy);
    return note;
}

} // namespace Tessarix
