#pragma once
// Item wrappers: one per Outlook item type, each rendering its item into one note, and the factory
// that picks the wrapper by the item's message class.
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "attachments/AttachProcessor.h"
#include "core/Automation.h"
#include "core/Exceptions.h"
#include "core/MapiProp.h"
#include "notes/Note.h"
#include "wrappers/ContentPipeline.h"
#include "wrappers/MessageBody.h"

namespace Tessarix {

class IWrapper {
public:
    virtual ~IWrapper() = default;
    // Renders the wrapped item into a new note.
    virtual Notes::NotePtr BuildNote() = 0;
};

using WrapperPtr = std::shared_ptr<IWrapper>;

// The item did not answer the Outlook interface of its message class: nothing of it can be read.
class ItemNotAccessibleException : public BaseException {
public:
    ItemNotAccessibleException();
};

inline constexpr char16_t kItemNotAccessibleMessage[] =
    u"Tessarix cannot create the note because Outlook does not give access to this item.";

// The note attribute "source" of the wrappers that write it.
inline constexpr char16_t kSourceOutlook[] = u"app.ms.outlook";

// What the concrete wrappers share: the item, the content pipeline, tolerant field reads, the body,
// the selection clip and the attachment step.
class BaseWrapper : public IWrapper {
public:
    ~BaseWrapper() override;
    BaseWrapper(const BaseWrapper&) = delete;
    BaseWrapper& operator=(const BaseWrapper&) = delete;

    // Hands every attachment of an Outlook Attachments collection to `processor` under the size
    // limit, logging the count and each attachment; nothing for a null collection.
    static void AddAttachments(Automation::IObject* attachments, AttachProcessor& processor);

protected:
    // `name` is the class name the log lines use; `item` may be null (the item lacked the
    // interface), in which case BuildNote throws ItemNotAccessibleException.
    BaseWrapper(std::u16string name, Automation::ObjectPtr item, ContentPipelinePtr pipeline);

    // The item; throws ItemNotAccessibleException when the wrapper holds none.
    Automation::IObject& Item();

    // When the user has selected text in the open item: a note of that selection only, its
    // referenced attachments embedded (none when `withAttachments` is false). Otherwise null.
    Notes::NotePtr BuildSelectionNote(bool withAttachments = true);

    // Field reads that never raise: a property that cannot be read (or is of another kind) gives
    // "" / none and a Warning line, so its header line is left out.
    std::u16string ReadString(std::u16string_view name);
    std::optional<std::int32_t> ReadInt(std::u16string_view name);
    std::optional<bool> ReadBool(std::u16string_view name);
    std::optional<AutomationDate> ReadDate(std::u16string_view name);
    Automation::ObjectPtr ReadObject(std::u16string_view name);

    // The item's MAPI message (IMessage); null, after an Error line with the system's text, when
    // MAPIOBJECT cannot be read.
    Mapi::PropPtr OpenMapiMessage();

    // The body as note content. A plain-text body is escaped and not loaded; an HTML body is loaded
    // through the pipeline, its pictures appended to `resources` and `unresolved`. `filter`, when
    // set, edits the body's text before either.
    using TextFilter = std::u16string (*)(std::u16string text);
    std::u16string LoadBody(const MessageBody& body, Notes::ResourceList& resources,
                            std::vector<std::u16string>& unresolved, TextFilter filter = nullptr);
    // The body of an item other than a mail: the native body, else its Body text escaped.
    std::u16string RenderItemBody(Mapi::IProp* message, Automation::IObject* attachments,
                                  Notes::ResourceList& resources, std::vector<std::u16string>& unresolved,
                                  TextFilter filter = nullptr);

    // The steps after the header of an item with a body and attachments, in this order: the body;
    // content = header + body; the title; then every attachment, the body's unresolved pictures
    // embedded. The first form reads the Attachments collection and the MAPI message itself.
    Notes::NotePtr CompleteItemNote(Notes::NotePtr note, const std::u16string& header,
                                    const std::u16string& title);
    Notes::NotePtr CompleteItemNote(Notes::NotePtr note, const std::u16string& header,
                                    const std::u16string& title, Automation::IObject* attachments,
                                    Mapi::IProp* message, TextFilter filter = nullptr);

    // Adds name/value to the note's attributes; an empty value adds nothing.
    static void AddAttribute(Notes::INote& note, const std::u16string& name, const std::u16string& value);

    const std::u16string& Name() const { return name_; }
    ContentPipeline& Pipeline() { return *pipeline_; }

private:
    std::u16string name_;
    Automation::ObjectPtr item_;
    ContentPipelinePtr pipeline_;
};

// Outlook item types by message class; 0 (and 8 or more) is unsupported.
using ItemType = std::int32_t;
namespace ItemTypes {
inline constexpr ItemType kUnsupported = 0;
inline constexpr ItemType kMail = 1;
inline constexpr ItemType kTask = 2;
inline constexpr ItemType kContact = 3;
inline constexpr ItemType kAppointment = 4;
inline constexpr ItemType kStickyNote = 5;
inline constexpr ItemType kJournal = 6;
inline constexpr ItemType kMeetingRequest = 7;
} // namespace ItemTypes

class WrapperFactory {
public:
    // Fills the message-class table on the first factory of the process.
    WrapperFactory();
    // The same, with the wrappers loading HTML through `pipeline`.
    explicit WrapperFactory(ContentPipelinePtr pipeline);
    ~WrapperFactory();
    WrapperFactory(const WrapperFactory&) = delete;
    WrapperFactory& operator=(const WrapperFactory&) = delete;

    // The wrapper for the item's message class; empty for an unsupported class. An item that lacks
    // the Outlook interface of its class gets a wrapper without an item.
    WrapperPtr CreateWrapper(const Automation::ObjectPtr& item);

private:
    ContentPipelinePtr pipeline_;
};

namespace Global {

using TypesMap = std::map<std::u16string, ItemType>;

// Fills the process-wide message-class table on its first call only.
void InitTypesMap();
// The table itself. Lookups index it, so each unknown class met adds an entry with 0.
TypesMap& GetTypesMap();
// The item's MessageClass; "" for a null item or when it cannot be read.
std::u16string GetMessageClass(Automation::IObject* item);

} // namespace Global

} // namespace Tessarix
