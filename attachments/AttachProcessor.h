#pragma once
// Which attachments of an item become note resources, and under which address.
//
// An attachment whose id the note content refers to (a picture the document could not read
// itself: the unresolved list) becomes a resource under that very reference; other visible
// attachments become standalone resources under the attachment base address (AttachAll) or are
// left out (AttachOnlyEmbedded). No attachment may exceed kMaxAttachmentSize.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/Automation.h"
#include "itemaccess/IAttachment.h"
#include "notes/Note.h"

namespace Tessarix {

class AttachProcessor {
public:
    // `unresolved`: the picture addresses of the content that no local source supplied.
    AttachProcessor(std::shared_ptr<Notes::INote> note, std::vector<std::u16string> unresolved);
    virtual ~AttachProcessor();
    AttachProcessor(const AttachProcessor&) = delete;
    AttachProcessor& operator=(const AttachProcessor&) = delete;

    virtual void Attach(const AttachmentPtr& attachment) = 0;

    // Not hidden when the content refers to it, else the attachment's own flag.
    bool IsHidden(const AttachmentPtr& attachment);
    // The reference under which the content shows the attachment: its id as it stands, or with
    // "cid:" or the attachment base address in front.
    bool GetEmbeddedName(const AttachmentPtr& attachment, std::u16string& name);
    void AttachAsEmbedded(const AttachmentPtr& attachment, const std::u16string& name);
    void AttachAsStandaloneAttachment(const AttachmentPtr& attachment);

protected:
    std::shared_ptr<Notes::INote> note_;
    std::vector<std::u16string> unresolved_;
};

// Every attachment that is not hidden.
class AttachAll final : public AttachProcessor {
public:
    AttachAll(std::shared_ptr<Notes::INote> note, std::vector<std::u16string> unresolved);
    ~AttachAll() override;
    void Attach(const AttachmentPtr& attachment) override;
};

// Only attachments that the content refers to (a clip of a selection).
class AttachOnlyEmbedded final : public AttachProcessor {
public:
    AttachOnlyEmbedded(std::shared_ptr<Notes::INote> note, std::vector<std::u16string> unresolved);
    ~AttachOnlyEmbedded() override;
    void Attach(const AttachmentPtr& attachment) override;
};

namespace Attachments {

// Whether some entry of `unresolved` equals `id` once every occurrence of `prefix` is removed from
// both (compared as they stand for an empty prefix). First match wins.
bool MatchesUnresolved(const std::vector<std::u16string>& unresolved, const std::u16string& id,
                       std::u16string_view prefix);

// Logs "   > Size Limit Exceeded" and throws AttachmentSizeLimitExceededException naming the file.
[[noreturn]] void RefuseTooLarge(const std::u16string& fileName);

// The wrapped attachments of an Outlook Attachments collection (items 1 to Count; those that
// cannot be wrapped are left out). Failing automation calls are raised.
AttachmentList Collect(Automation::IObject* attachments);

// Hands each attachment to `processor` in order: a size of 0 skips it silently, a size above
// kMaxAttachmentSize throws AttachmentSizeLimitExceededException, any other is logged with its
// position, file name and MIME type and attached.
void Process(const AttachmentList& attachments, AttachProcessor& processor);

// Logs the collection's count, then Collect and Process: nothing for a null collection.
void AddAll(Automation::IObject* attachments, AttachProcessor& processor);

} // namespace Attachments

} // namespace Tessarix
