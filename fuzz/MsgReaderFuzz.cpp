// The saved-item reader from the compound file up: any bytes either fail with a MsgFileError that
// names the file, or open as an item whose every property, stream, storage, recipient, attachment
// and attached message reads without failing, as do the object-model names that the item seam
// derives from several properties (bodies, recipients, dates, lists).
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/Automation.h"
#include "fuzz/FuzzCheck.h"
#include "msg/MsgFile.h"
#include "msg/MsgItem.h"
#include "tests/msg/MsgWalk.h"

using namespace Tessarix;
using namespace Tessarix::Msg;

namespace {

constexpr char16_t kFileName[] = u"fuzz.msg";

// The names whose answers are more than one stored value.
constexpr std::u16string_view kDerivedNames[] = {
    u"Body",         u"HTMLBody",
    u"To",           u"CC",
    u"BCC",          u"Sent",
    u"SentOn",       u"Start",
    u"End",          u"Birthday",
    u"Anniversary",  u"Categories",
    u"Children",     u"Companies",
    u"ContactNames", u"DateCompleted",
    u"DueDate",      u"PercentComplete",
    u"Importance",   u"MessageClass",
    u"Subject",      u"SenderName",
};

void ReadItem(const MessagePtr& message) {
    auto item = std::make_shared<MsgItem>(message);
    Automation::Value value;
    for (const auto name : kDerivedNames)
        (void)item->Get(name, value);
    if (Failed(item->Get(u"Attachments", value)))
        return;
    const auto attachments = Automation::AsObject(value);
    Fuzz::Require(attachments != nullptr, "no attachment collection");
    const std::int32_t count = Automation::GetInt(*attachments, u"Count");
    Fuzz::Require(count >= 0 && static_cast<std::size_t>(count) == message->Attachments().size(),
                  "the attachment collection miscounts");
    for (std::int32_t i = 1; i <= count; ++i) {
        const Automation::Value index[] = {i};
        Automation::Value attachment;
        Fuzz::Require(!Failed(attachments->Call(u"Item", index, attachment)),
                      "an attachment cannot be reached");
        const auto object = Automation::AsObject(attachment);
        for (const auto name : {u"FileName", u"DisplayName", u"Position", u"Size", u"Type"})
            (void)object->Get(name, value);
    }
}

// Each message the walk reaches is also read as the item seam reads it, at its right depth.
void Visit(const MessagePtr& message, const MsgMessage* holder) {
    if (holder)
        Fuzz::Require(message->Depth() == holder->Depth() + 1 && message->Depth() <= kMaxEmbeddingDepth,
                      "an attached message at the wrong depth");
    ReadItem(message);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        Testing::Walk(
            MsgMessage::OpenBytes(std::string(reinterpret_cast<const char*>(data), size), kFileName), Visit);
    } catch (const MsgFileError& e) {
        Fuzz::Require(e.File() == kFileName && e.GetMessage().starts_with(u"fuzz.msg: "),
                      "the error does not name the file", e.Utf8Message());
    } catch (...) {
        Fuzz::Fail("reading an item raised something other than MsgFileError",
                   Fuzz::Describe(std::current_exception()));
    }
    return 0;
}
