#pragma once
// Reads everything a saved item holds: every value, stream and storage of the item, its
// recipients and attachments, and of each attached message. Broken parts may raise MsgFileError
// (attached messages) or answer failing HRESULTs. Free of any test framework, so that the reader's
// fuzz target walks items exactly as the tests do.
#include <memory>

#include "core/ByteString.h"
#include "core/MapiProp.h"
#include "msg/MsgFile.h"

namespace Tessarix::Msg::Testing {

inline void WalkProps(MsgProps& props) {
    for (const PropTag tag : props.Tags()) {
        Value value;
        (void)props.GetValue(tag, value);
        Mapi::PropValue seam;
        (void)props.GetProp(tag, seam);
        std::shared_ptr<Mapi::IPropStream> stream;
        if (!Failed(props.OpenStream(tag, stream))) {
            StringUTF8 bytes;
            (void)Mapi::ReadWholeStream(*stream, bytes);
        }
        std::shared_ptr<Mapi::IPropStorage> storage;
        if (!Failed(props.OpenStorage(tag, storage)) && storage->OpenStream(u"CONTENTS", stream) == kS_OK) {
            StringUTF8 bytes;
            (void)Mapi::ReadWholeStream(*stream, bytes);
        }
    }
    std::shared_ptr<Mapi::IPropStream> rtf;
    if (!Failed(props.OpenStream(Mapi::kPR_RTF_COMPRESSED, rtf))) {
        Mapi::NativeBody body;
        (void)props.WrapCompressedRtf(*rtf, 1252, body);
    }
}

// `visit(message, holder)` sees each message once its own properties and recipients are read:
// the item with no holder, then each attached message with the message that holds it.
template <typename Visit>
void Walk(const MessagePtr& message, const Visit& visit, const MsgMessage* holder = nullptr) {
    WalkProps(*message->Props());
    for (const auto& recipient : message->Recipients())
        WalkProps(*recipient->Props());
    visit(message, holder);
    for (const auto& attachment : message->Attachments()) {
        WalkProps(*attachment->Props());
        if (const auto embedded = attachment->EmbeddedMessage()) {
            Walk(embedded, visit, message.get());
            (void)embedded->ToStorage();
        }
    }
}

inline void Walk(const MessagePtr& message) {
    Walk(message, [](const MessagePtr&, const MsgMessage*) {});
}

} // namespace Tessarix::Msg::Testing
