#pragma once
// An item's attachment as the renderers and the attachment policy see it.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
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
    // The first `limit` bytes of what LoadContentTo gives, to `sink` in pieces, so that a large
    // content need not be held whole. Fails as LoadContentTo does. This default loads it whole.
    virtual void ReadContent(const std::function<void(std::string_view)>& sink, std::uint32_t limit) {
        StringUTF8 bytes;
        LoadContentTo(bytes);
        if (!bytes.Empty() && limit > 0)
            sink(bytes.View().substr(0, limit));
    }
    virtual bool IsHidden() = 0;
    // The name by which rendered HTML refers to the attachment.
    virtual std::u16string GetID() = 0;
    // -1 when unknown.
    virtual std::int32_t GetRenderPosition() = 0;
};

using AttachmentPtr = std::shared_ptr<IAttachment>;
using AttachmentList = std::vector<AttachmentPtr>;

} // namespace Tessarix
