#pragma once
// A saved Outlook item (.msg file) opened for reading: the message's properties, its recipients and
// attachments, and attached messages as messages in their own right.
//
// A file that is not a readable item fails with MsgFileError (msg/MsgError.h), whose message names
// the file and what is wrong. Opening reads the compound-file directory and the property streams
// of the message, its recipients and attachments; property values and embedded messages are read
// when asked for.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "msg/Cfb.h"
#include "msg/MsgError.h"
#include "msg/MsgProps.h"

namespace Tessarix::Msg {

namespace detail {
struct FileContext;
}

class MsgMessage;
class MsgAttachment;
class MsgRecipient;
using MessagePtr = std::shared_ptr<MsgMessage>;

// Attached messages nest at most this deep below the file's message.
inline constexpr int kMaxEmbeddingDepth = 32;

class MsgMessage {
public:
    // The display name in errors is the path as given.
    static MessagePtr Open(const std::filesystem::path& path);
    static MessagePtr OpenBytes(std::string bytes, const std::u16string& displayName);

    const std::shared_ptr<MsgProps>& Props() const { return props_; }
    // In storage-number order; the header's counts are not trusted.
    const std::vector<std::shared_ptr<MsgAttachment>>& Attachments() const { return attachments_; }
    const std::vector<std::shared_ptr<MsgRecipient>>& Recipients() const { return recipients_; }
    const NameMap& Names() const;
    std::uint32_t CodePage() const { return props_->CodePage(); }
    // 0 for the file's message, 1 for a message attached to it, ...
    int Depth() const { return depth_; }
    const std::u16string& FileName() const;

    // The message as a standalone .msg tree: an attached message gets the top-level property
    // header and the file's name-id map. Throws MsgFileError when a stream of it is broken.
    Cfb::Storage ToStorage() const;
    void SaveAs(const std::filesystem::path& path) const;

    // Internal: built by the reader.
    MsgMessage(std::shared_ptr<const detail::FileContext> file, std::shared_ptr<MsgProps> props, int depth);

private:
    friend struct MessageReader;
    std::shared_ptr<const detail::FileContext> file_;
    std::shared_ptr<MsgProps> props_;
    std::vector<std::shared_ptr<MsgAttachment>> attachments_;
    std::vector<std::shared_ptr<MsgRecipient>> recipients_;
    int depth_ = 0;
};

class MsgAttachment {
public:
    const std::shared_ptr<MsgProps>& Props() const { return props_; }
    // The number of its storage ("__attach_version1.0_#N").
    std::uint32_t Number() const { return number_; }
    // PR_ATTACH_METHOD, 0xFFFFFFFF when absent.
    std::uint32_t Method() const;
    // The attached message of an ATTACH_EMBEDDED_MSG attachment, read on first use; none for other
    // attachments. Throws MsgFileError when its storage is missing or broken, or when messages nest
    // deeper than kMaxEmbeddingDepth.
    MessagePtr EmbeddedMessage() const;

    MsgAttachment(std::shared_ptr<const detail::FileContext> file, std::shared_ptr<MsgProps> props,
                  std::uint32_t number, int depth);

private:
    std::shared_ptr<const detail::FileContext> file_;
    std::shared_ptr<MsgProps> props_;
    std::uint32_t number_;
    int depth_; // of the message that holds it
    mutable MessagePtr embedded_;
};

class MsgRecipient {
public:
    explicit MsgRecipient(std::shared_ptr<MsgProps> props) : props_(std::move(props)) {}
    const std::shared_ptr<MsgProps>& Props() const { return props_; }

private:
    std::shared_ptr<MsgProps> props_;
};

} // namespace Tessarix::Msg
