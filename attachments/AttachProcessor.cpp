#include "attachments/AttachProcessor.h"

#include "attachments/Attachment.h"
#include "core/Exceptions.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/LogText.h"
#include "itemaccess/HtmlFragments.h"

namespace Tessarix {

namespace {

constexpr std::u16string_view kPrefixes[] = {u"", u"cid:", kAttachmentUrlPrefix};

// Every occurrence, left to right, without looking again at what a removal joins.
std::u16string RemoveAll(std::u16string_view text, std::u16string_view part) {
    std::u16string result;
    result.reserve(text.size());
    std::size_t from = 0;
    for (std::size_t at = text.find(part); at != std::u16string_view::npos; at = text.find(part, from)) {
        result.append(text.substr(from, at - from));
        from = at + part.size();
    }
    result.append(text.substr(from));
    return result;
}

// An attachment's bytes, read when the export writes them rather than when the note is made, so
// that a clip of many large items holds one attachment at a time.
class AttachmentContent final : public Notes::IResourceContent {
public:
    explicit AttachmentContent(AttachmentPtr attachment)
        : attachment_(std::move(attachment)), size_(attachment_->GetSize()) {}

    std::uint32_t Size() override { return size_; }
    StringUTF8 Load() override {
        StringUTF8 bytes;
        attachment_->LoadContentTo(bytes);
        return bytes;
    }
    void Read(const Notes::ByteSink& sink, std::uint32_t limit) override {
        attachment_->ReadContent(sink, limit);
    }

private:
    AttachmentPtr attachment_;
    std::uint32_t size_;
};

} // namespace

// ---- AttachProcessor ----

AttachProcessor::AttachProcessor(std::shared_ptr<Notes::INote> note, std::vector<std::u16string> unresolved)
    : note_(std::move(note)), unresolved_(std::move(unresolved)) {
    CallTracer tracer(u"AttachProcessor::Ctor");
}

AttachProcessor::~AttachProcessor() {
    CallTracer tracer(u"AttachProcessor::Dtor");
}

bool AttachProcessor::IsHidden(const AttachmentPtr& attachment) {
    CallTracer tracer(u"AttachProcessor::IsHidden");
    if (!attachment)
        return false;
    const std::u16string id = attachment->GetID();
    for (const auto prefix : kPrefixes) {
        if (Attachments::MatchesUnresolved(unresolved_, id, prefix))
            return false;
    }
    return attachment->IsHidden();
}

bool AttachProcessor::GetEmbeddedName(const AttachmentPtr& attachment, std::u16string& name) {
    CallTracer tracer(u"AttachProcessor::GetEmbeddedName");
    const std::u16string id = attachment->GetID();
    name.clear();
    for (const auto prefix : kPrefixes) {
        if (name.empty() && Attachments::MatchesUnresolved(unresolved_, id, prefix)) {
            name = prefix;
            name += id;
        }
    }
    return !name.empty();
}

void AttachProcessor::AttachAsEmbedded(const AttachmentPtr& attachment, const std::u16string& name) {
    CallTracer tracer(u"AttachProcessor::AttachAsEmbedded");
    Log().Info(u"  > Processed as embedded");
    // The address is the content's own reference, so the serializer finds the resource by it.
    Notes::CResource resource(u"", attachment->GetMimeType(), std::make_shared<AttachmentContent>(attachment),
                              name);
    resource.SetFileName(attachment->GetID());
    note_->GetResources().push_back(std::move(resource));
}

void AttachProcessor::AttachAsStandaloneAttachment(const AttachmentPtr& attachment) {
    CallTracer tracer(u"AttachProcessor::AttachAsStandaloneAttachment");
    Log().Info(u"  > Processed as normal attachment");
    std::u16string address = kAttachmentUrlPrefix;
    address += attachment->GetFileName();
    note_->GetResources().emplace_back(u"", attachment->GetMimeType(),
                                       std::make_shared<AttachmentContent>(attachment), address);
}

// ---- AttachAll ----

AttachAll::AttachAll(std::shared_ptr<Notes::INote> note, std::vector<std::u16string> unresolved)
    : AttachProcessor(std::move(note), std::move(unresolved)) {
    CallTracer tracer(u"AttachAll::Ctor");
}

AttachAll::~AttachAll() {
    CallTracer tracer(u"AttachAll::Dtor");
}

void AttachAll::Attach(const AttachmentPtr& attachment) {
    CallTracer tracer(u"AttachAll::Attach");
    if (!attachment || IsHidden(attachment))
        return;
    std::u16string name;
    if (GetEmbeddedName(attachment, name)) {
        AttachAsEmbedded(attachment, name);
    } else {
        AttachAsStandaloneAttachment(attachment);
    }
}

// ---- AttachOnlyEmbedded ----

AttachOnlyEmbedded::AttachOnlyEmbedded(std::shared_ptr<Notes::INote> note,
                                       std::vector<std::u16string> unresolved)
    : AttachProcessor(std::move(note), std::move(unresolved)) {
    CallTracer tracer(u"AttachOnlyEmbedded::Ctor");
}

AttachOnlyEmbedded::~AttachOnlyEmbedded() {
    CallTracer tracer(u"AttachOnlyEmbedded::Dtor");
}

void AttachOnlyEmbedded::Attach(const AttachmentPtr& attachment) {
    CallTracer tracer(u"AttachOnlyEmbedded::Attach");
    if (!attachment)
        return;
    std::u16string name;
    if (GetEmbeddedName(attachment, name)) {
        AttachAsEmbedded(attachment, name);
    } else {
        Log().Info(u"  > Ignored");
    }
}

// ---- the attachment loop ----

namespace Attachments {

bool MatchesUnresolved(const std::vector<std::u16string>& unresolved, const std::u16string& id,
                       std::u16string_view prefix) {
    if (prefix.empty()) {
        for (const auto& entry : unresolved) {
            if (entry == id)
                return true;
        }
        return false;
    }
    const std::u16string bareId = RemoveAll(id, prefix);
    for (const auto& entry : unresolved) {
        if (RemoveAll(entry, prefix) == bareId)
            return true;
    }
    return false;
}

void RefuseTooLarge(const std::u16string& fileName) {
    Log().Error(u"   > Size Limit Exceeded");
    throw AttachmentSizeLimitExceededException(Format(
        u"Tessarix cannot create the note because the attachment \"%s\" is larger than 25 MB.", fileName));
}

namespace {

// Items 1 to `count` of an Outlook collection, wrapped; those that cannot be are left out.
AttachmentList CollectItems(Automation::IObject& attachments, std::int32_t count) {
    AttachmentList list;
    AttachmentUtils utils;
    for (std::int32_t i = 1; i <= count; ++i) {
        const auto item = Automation::AsObject(Automation::CallMethod(attachments, u"Item", {i}));
        if (auto wrapped = utils.Wrap(item))
            list.push_back(std::move(wrapped));
    }
    return list;
}

} // namespace

AttachmentList Collect(Automation::IObject* attachments) {
    if (!attachments)
        return {};
    return CollectItems(*attachments, Automation::GetInt(*attachments, u"Count"));
}

void Process(const AttachmentList& attachments, AttachProcessor& processor) {
    const std::size_t count = attachments.size();
    for (std::size_t i = 0; i < count; ++i) {
        const auto& attachment = attachments[i];
        const std::uint32_t size = attachment->GetSize();
        if (size == 0)
            continue;
        if (size > kMaxAttachmentSize)
            RefuseTooLarge(attachment->GetFileName());
        Log().Info(Format(u"   %d/%d: %s (%s)", i, count, LogLiteral(attachment->GetFileName()),
                          LogLiteral(attachment->GetMimeType())));
        processor.Attach(attachment);
    }
}

void AddAll(Automation::IObject* attachments, AttachProcessor& processor) {
    if (!attachments)
        return;
    // Logged here, not in Collect: the body's attachment marks collect the same list once more.
    const std::int32_t count = Automation::GetInt(*attachments, u"Count");
    Log().Info(Format(u"  Count of attachments: %d", count));
    Process(CollectItems(*attachments, count), processor);
}

} // namespace Attachments

} // namespace Tessarix
