#pragma once
// The two kinds of attachment and the choice between them.
//
// Attachment: a file or OLE attachment, read through its MAPI object. EmbededMessage: an attached
// Outlook item, read through the object model and saved to a file when its bytes are needed.
#include <memory>
#include <optional>
#include <string>

#include "attachments/OlePackage.h"
#include "core/Automation.h"
#include "core/MapiProp.h"
#include "core/Utils.h"
#include "itemaccess/IAttachment.h"

namespace Tessarix {

class Attachment final : public IAttachment {
public:
    explicit Attachment(Mapi::PropPtr attach);
    ~Attachment() override;
    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;

    // Sniffs the content when the attachment has no MIME tag.
    bool IsEmbededImage() override;
    // PR_ATTACH_LONG_FILENAME, else PR_ATTACH_FILENAME, else a packaged file's own name, else
    // PR_DISPLAY_NAME.
    std::u16string GetFileName() override;
    // Without the angle brackets of a Content-ID header.
    std::u16string GetCid() override;
    // The type alone, lower case, without parameters.
    std::u16string GetMimeType() override;
    // The content stream's size; 0 without one, 0xFFFFFFFF for 4 GiB and more.
    std::uint32_t GetSize() override;
    // An empty buffer without a content stream; a failing read is raised as its HRESULT.
    void LoadContentTo(StringUTF8& buffer) override;
    // Read from the content stream in pieces of at most 1 MiB.
    void ReadContent(const std::function<void(std::string_view)>& sink, std::uint32_t limit) override;
    bool IsHidden() override;
    // The content id, else the file name unless it is "untitled attachment", else "cid:" and the
    // rendering position.
    std::u16string GetID() override;
    std::int32_t GetRenderPosition() override;

    std::u16string GetLocation();
    // The content: PR_ATTACH_DATA_BIN of a by-value attachment, the "CONTENTS" stream of an OLE
    // attachment's PR_ATTACH_DATA_OBJ, or the file that an OLE package holds; none for any other
    // method or on failure.
    std::shared_ptr<Mapi::IPropStream> OpenAsStream();

private:
    std::optional<Attachments::OlePackage> OpenPackage();

    Mapi::PropPtr attach_;
};

class EmbededMessage final : public IAttachment {
public:
    // `attachment` is the object model's Attachment.
    explicit EmbededMessage(Automation::ObjectPtr attachment);
    ~EmbededMessage() override;
    EmbededMessage(const EmbededMessage&) = delete;
    EmbededMessage& operator=(const EmbededMessage&) = delete;

    bool IsEmbededImage() override;        // false
    std::u16string GetFileName() override; // FileName
    std::u16string GetCid() override;      // ""
    std::u16string GetMimeType() override; // "application/octet-stream"
    // The size of the message saved as a file (SaveAsFile into a temporary file, kept until the
    // object goes), not PR_ATTACH_SIZE: that is only declared. 0xFFFFFFFF for 4 GiB and more.
    std::uint32_t GetSize() override;
    // Reads that saved file, refusing one over kMaxAttachmentSize before reading it.
    void LoadContentTo(StringUTF8& buffer) override;
    bool IsHidden() override;                  // PR_ATTACHMENT_HIDDEN
    std::u16string GetID() override;           // "": never referenced by rendered HTML
    std::int32_t GetRenderPosition() override; // -1

private:
    const std::u16string& SavedCopy();

    Automation::ObjectPtr attachment_;
    std::u16string saved_;
};

// Saves an attached message through the object model's SaveAsFile.
class DataStorageAdapter final : public Clipper::IDataStorage {
public:
    explicit DataStorageAdapter(Automation::ObjectPtr attachment);
    ~DataStorageAdapter() override;
    DataStorageAdapter(const DataStorageAdapter&) = delete;
    DataStorageAdapter& operator=(const DataStorageAdapter&) = delete;

    // A failing SaveAsFile is raised as its HRESULT.
    void SaveTo(const std::u16string& path) override;

private:
    Automation::ObjectPtr attachment_;
};

class AttachmentUtils {
public:
    AttachmentUtils();
    ~AttachmentUtils();
    AttachmentUtils(const AttachmentUtils&) = delete;
    AttachmentUtils& operator=(const AttachmentUtils&) = delete;

    // An EmbededMessage for an attached item, an Attachment for anything else; none (after an
    // Error line) when the attachment's MAPI object cannot be had.
    AttachmentPtr Wrap(const Automation::ObjectPtr& outlookAttachment);
};

namespace Global {
// PR_ATTACH_METHOD is ATTACH_EMBEDDED_MSG.
bool IsEmbededMessage(Mapi::IProp* attach);
} // namespace Global

} // namespace Tessarix
