#pragma once
// An item's attachment as the renderers and the attachment policy see it.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/ByteString.h"

namespace Tessarix {

class IAttachment {
public:
    virtual ~IAttachment() = default;
    // A picture that can be shown inline.
    virtual bool IsEmbededImage() = 0;
    virtual std::u16string GetFileName() = 0;
    // The MIME content id.
    virtual std::u16string GetCid() = 0;
    virtual std::u16string GetMimeType() = 0;
    // Bytes; 0 when there is no content.
    virtual std::uint32_t GetSize() = 0;
    virtual void LoadContentTo(StringUTF8& buffer) = 0;
    virtual bool IsHidden() = 0;
    // The name by which rendered HTML refers to the attachment.
    virtual std::u16string GetID() = 0;
    // -1 when unknown.
    virtual std::int32_t GetRenderPosition() = 0;
};

using AttachmentPtr = std::shared_ptr<IAttachment>;
using AttachmentList = std::vector<AttachmentPtr>;

} // namespace Tessarix
