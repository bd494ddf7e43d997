#include "wrappers/Wrapper.h"

#include "core/CodePage.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/LogText.h"
#include "html/SelectionCapture.h"
#include "wrappers/ItemWrappers.h"
#include "wrappers/SystemMessage.h"

namespace Tessarix {

namespace {

std::u16string Hex(HResult hr) {
    return Format(u"0x%08X", static_cast<std::uint32_t>(hr));
}

} // namespace

ItemNotAccessibleException::ItemNotAccessibleException() : BaseException(kItemNotAccessibleMessage) {}

// ---- BaseWrapper ----

BaseWrapper::BaseWrapper(std::u16string name, Automation::ObjectPtr item, ContentPipelinePtr pipeline)
    : name_(std::move(name)), item_(std::move(item)), pipeline_(std::move(pipeline)) {
    if (!pipeline_)
        pipeline_ = DefaultContentPipeline();
}

BaseWrapper::~BaseWrapper() = default;

void BaseWrapper::AddAttachments(Automation::IObject* attachments, AttachProcessor& processor) {
    CallTracer tracer(u"BaseWrapper::AddAttachments()");
    Attachments::AddAll(attachments, processor);
}

Automation::IObject& BaseWrapper::Item() {
    if (!item_) {
        Log().Error(Format(u"%s::BuildNote(): the item does not answer its Outlook interface", name_));
        throw ItemNotAccessibleException();
    }
    return *item_;
}

Notes::NotePtr BaseWrapper::BuildSelectionNote(bool withAttachments) {
    const std::u16string selection = Global::GetSelectedTextHtml();
    if (selection.empty())
        return nullptr;
    Log().Info(Format(u"%s::BuildNote(): clipping the selection", name_));
    auto note = std::make_shared<Notes::CNote>();
    std::vector<std::u16string> unresolved;
    note->SetContent(pipeline_->MakeCleanContent(selection, note->GetResources(), unresolved));
    if (withAttachments) {
        const auto attachments = ReadObject(u"Attachments");
        AttachOnlyEmbedded policy(note, std::move(unresolved));
        AddAttachments(attachments.get(), policy);
    }
    return note;
}

namespace {

// Distinguishes "could not be read" (none) from any value, including an empty one.
std::optional<Automation::Value> ReadValue(Automation::IObject& item, const std::u16string& owner,
                                           std::u16string_view name) {
    Automation::Value value;
    if (const HResult hr = item.Get(name, value); Failed(hr)) {
        Log().Warning(Format(u"%s: property %s not read (%s)", owner, name, Hex(hr)));
        return std::nullopt;
    }
    return value;
}

void WarnKind(const std::u16string& owner, std::u16string_view name) {
    Log().Warning(Format(u"%s: property %s has an unexpected type", owner, name));
}

} // namespace

std::u16string BaseWrapper::ReadString(std::u16string_view name) {
    const auto value = ReadValue(Item(), name_, name);
    if (!value || std::holds_alternative<std::monostate>(*value))
        return {};
    if (const auto* text = std::get_if<std::u16string>(&*value))
        return *text;
    WarnKind(name_, name);
    return {};
}

std::optional<std::int32_t> BaseWrapper::ReadInt(std::u16string_view name) {
    const auto value = ReadValue(Item(), name_, name);
    if (!value || std::holds_alternative<std::monostate>(*value))
        return std::nullopt;
    if (const auto* number = std::get_if<std::int32_t>(&*value))
        return *number;
    if (const auto* machine = std::get_if<Automation::Int>(&*value))
        return machine->value;
    WarnKind(name_, name);
    return std::nullopt;
}

std::optional<bool> BaseWrapper::ReadBool(std::u16string_view name) {
    const auto value = ReadValue(Item(), name_, name);
    if (!value || std::holds_alternative<std::monostate>(*value))
        return std::nullopt;
    if (const auto* flag = std::get_if<bool>(&*value))
        return *flag;
    WarnKind(name_, name);
    return std::nullopt;
}

std::optional<AutomationDate> BaseWrapper::ReadDate(std::u16string_view name) {
    const auto value = ReadValue(Item(), name_, name);
    if (!value || std::holds_alternative<std::monostate>(*value))
        return std::nullopt;
    if (const auto* date = std::get_if<AutomationDate>(&*value))
        return *date;
    WarnKind(name_, name);
    return std::nullopt;
}

Automation::ObjectPtr BaseWrapper::ReadObject(std::u16string_view name) {
    const auto value = ReadValue(Item(), name_, name);
    if (!value || std::holds_alternative<std::monostate>(*value))
        return nullptr;
    if (const auto* object = std::get_if<Automation::ObjectPtr>(&*value))
        return *object;
    WarnKind(name_, name);
    return nullptr;
}

Mapi::PropPtr BaseWrapper::OpenMapiMessage() {
    Mapi::PropPtr message;
    if (const HResult hr = Item().GetMapiObject(Mapi::kIID_IMessage, message); Failed(hr)) {
        Log().Error(Format(u"get_MAPIOBJECT() failed in %s::BuildNote(): %s %s", name_, Hex(hr),
                           LogLiteral(Platform::SystemMessageText(hr))));
        return nullptr;
    }
    if (!message)
        Log().Error(Format(u"%s::BuildNote(): the MAPI object is not a message", name_));
    return message;
}

std::u16string BaseWrapper::LoadBody(const MessageBody& body, Notes::ResourceList& resources,
                                     std::vector<std::u16string>& unresolved, TextFilter filter) {
    if (body.Empty())
        return {};
    if (!filter) {
        if (body.plainText)
            return TextToHtml(body.bytes.View(), body.codePage);
        return pipeline_->MakeCleanContent(TextContent(body.bytes, body.codePage), resources, unresolved);
    }
    const std::u16string text = filter(CodePage::ToWide(body.bytes.View(), body.codePage));
    if (body.plainText)
        return EscapeHtml(text);
    return pipeline_->MakeCleanContent(text, resources, unresolved);
}

std::u16string BaseWrapper::RenderItemBody(Mapi::IProp* message, Automation::IObject* attachments,
                                           Notes::ResourceList& resources,
                                           std::vector<std::u16string>& unresolved, TextFilter filter) {
    const MessageBody body = Body::ReadNativeBody(message, attachments);
    if (!body.Empty())
        return LoadBody(body, resources, unresolved, filter);
    std::u16string text = ReadString(u"Body");
    if (filter)
        text = filter(std::move(text));
    return EscapeHtml(text);
}

Notes::NotePtr BaseWrapper::CompleteItemNote(Notes::NotePtr note, const std::u16string& header,
                                             const std::u16string& title) {
    const auto attachments = ReadObject(u"Attachments");
    const auto message = OpenMapiMessage();
    return CompleteItemNote(std::move(note), header, title, attachments.get(), message.get());
}

Notes::NotePtr BaseWrapper::CompleteItemNote(Notes::NotePtr note, const std::u16string& header,
                                             const std::u16string& title, Automation::IObject* attachments,
                                             Mapi::IProp* message, TextFilter filter) {
    std::vector<std::u16string> unresolved;
    const std::u16string body =
        RenderItemBody(message, attachments, note->GetResources(), unresolved, filter);
    note->SetContent(header + body);
    note->SetTitle(title);
    AttachAll policy(note, std::move(unresolved));
    AddAttachments(attachments, policy);
    return note;
}

void BaseWrapper::AddAttribute(Notes::INote& note, const std::u16string& name, const std::u16string& value) {
    if (!value.empty())
        note.GetMetadata().emplace_back(name, value);
}

// ---- the message-class table ----

namespace Global {

TypesMap& GetTypesMap() {
    static TypesMap map;
    return map;
}

void InitTypesMap() {
    CallTracer tracer(u"Global::InitTypesMap()");
    static bool filled = false;
    if (filled)
        return;
    filled = true;
    TypesMap& map = GetTypesMap();
    map[u"IPM.Note"] = ItemTypes::kMail;
    map[u"IPM.Task"] = ItemTypes::kTask;
    map[u"IPM.Contact"] = ItemTypes::kContact;
    map[u"IPM.Appointment"] = ItemTypes::kAppointment;
    map[u"IPM.StickyNote"] = ItemTypes::kStickyNote;
    map[u"IPM.Activity"] = ItemTypes::kJournal;
    map[u"IPM.Schedule.Meeting.Request"] = ItemTypes::kMeetingRequest;
    // An exception to a recurring appointment is rendered as an appointment.
    map[u"IPM.OLE.CLASS.{00061055-0000-0000-C000-000000000046}"] = ItemTypes::kAppointment;
}

std::u16string GetMessageClass(Automation::IObject* item) {
    CallTracer tracer(u"Global::GetMessageClass()");
    if (!item)
        return {};
    Automation::Value value;
    if (Failed(item->Get(u"MessageClass", value)))
        return {};
    if (const auto* text = std::get_if<std::u16string>(&value))
        return *text;
    return {};
}

} // namespace Global

// ---- WrapperFactory ----

WrapperFactory::WrapperFactory() : WrapperFactory(DefaultContentPipeline()) {}

WrapperFactory::WrapperFactory(ContentPipelinePtr pipeline) : pipeline_(std::move(pipeline)) {
    CallTracer tracer(u"WrapperFactory::Ctor");
    Global::InitTypesMap();
}

WrapperFactory::~WrapperFactory() {
    CallTracer tracer(u"WrapperFactory::Dtor");
}

WrapperPtr WrapperFactory::CreateWrapper(const Automation::ObjectPtr& item) {
    CallTracer tracer(u"WrapperFactory::CreateWrapper()");
    const ItemType type = Global::GetTypesMap()[Global::GetMessageClass(item.get())];

    struct Kind {
        const char16_t* line;
        Guid iid;
    };
    static constexpr Kind kKinds[] = {
        {u"WrapperFactory::CreateWrapper: Mail", Outlook::kIID_MailItem},
        {u"WrapperFactory::CreateWrapper: Task", Outlook::kIID_TaskItem},
        {u"WrapperFactory::CreateWrapper: Contact", Outlook::kIID_ContactItem},
        {u"WrapperFactory::CreateWrapper: Appointment", Outlook::kIID_AppointmentItem},
        {u"WrapperFactory::CreateWrapper: Note", Outlook::kIID_NoteItem},
        {u"WrapperFactory::CreateWrapper: Journal", Outlook::kIID_JournalItem},
        {u"WrapperFactory::CreateWrapper: Meeting Request", Outlook::kIID_MeetingItem},
    };
    if (type < ItemTypes::kMail || type > ItemTypes::kMeetingRequest) {
        Log().Info(u"WrapperFactory::CreateWrapper: Unsupported Item");
        return nullptr;
    }
    const Kind& kind = kKinds[type - 1];
    Log().Info(kind.line);

    // The wrapper holds the item only as the interface of its class; without it, none.
    Automation::ObjectPtr typed = item && item->Implements(kind.iid) ? item : nullptr;
    if (item && !typed)
        Log().Error(u"WrapperFactory::CreateWrapper: the item does not answer the interface of its class");
    switch (type) {
    case ItemTypes::kMail:
        return std::make_shared<MailWrapper>(std::move(typed), pipeline_);
    case ItemTypes::kTask:
        return std::make_shared<TaskWrapper>(std::move(typed), pipeline_);
    case ItemTypes::kContact:
        return std::make_shared<ContactWrapper>(std::move(typed), pipeline_);
    case ItemTypes::kAppointment:
        return std::make_shared<AppointmentWrapper>(std::move(typed), pipeline_);
    case ItemTypes::kStickyNote:
        return std::make_shared<NoteWrapper>(std::move(typed), pipeline_);
    case ItemTypes::kJournal:
        return std::make_shared<JournalWrapper>(std::move(typed), pipeline_);
    default:
        return std::make_shared<MeetingRequestWrapper>(std::move(typed), pipeline_);
    }
}

} // namespace Tessarix
