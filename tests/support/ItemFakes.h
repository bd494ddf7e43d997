#pragma once
// In-memory stand-ins for the item seams: automation objects, MAPI property objects with their
// streams and storages, and attachments. They record what was asked of them.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/Automation.h"
#include "core/MapiProp.h"
#include "itemaccess/IAttachment.h"

namespace Tessarix::Testing {

inline constexpr HResult kSTG_E_FILENOTFOUND = HResultFrom(0x80030002u);

class FakeStream final : public Mapi::IPropStream {
public:
    // `chunk` bounds each read (0: no bound), as real streams hand out data in pieces.
    explicit FakeStream(std::string bytes, std::uint32_t chunk = 0)
        : bytes_(std::move(bytes)), chunk_(chunk) {}

    HResult Size(std::uint64_t& size) override {
        if (Failed(sizeResult))
            return sizeResult;
        size = reportedSize.value_or(bytes_.size());
        return kS_OK;
    }
    HResult Read(char* buffer, std::uint32_t count, std::uint32_t& read) override {
        if (Failed(readResult))
            return readResult;
        std::size_t n = std::min<std::size_t>(count, bytes_.size() - position_);
        if (chunk_ != 0)
            n = std::min<std::size_t>(n, chunk_);
        std::copy_n(bytes_.data() + position_, n, buffer);
        position_ += n;
        read = static_cast<std::uint32_t>(n);
        return n < count ? kS_FALSE : kS_OK;
    }

    HResult sizeResult = kS_OK;
    HResult readResult = kS_OK;
    std::optional<std::uint64_t> reportedSize; // a size other than the bytes'

private:
    std::string bytes_;
    std::uint32_t chunk_;
    std::size_t position_ = 0;
};

class FakeStorage final : public Mapi::IPropStorage {
public:
    HResult OpenStream(std::u16string_view name, std::shared_ptr<Mapi::IPropStream>& stream) override {
        const auto found = streams.find(std::u16string(name));
        if (found == streams.end())
            return kSTG_E_FILENOTFOUND;
        stream = std::make_shared<FakeStream>(found->second);
        return kS_OK;
    }

    std::map<std::u16string, std::string> streams;
};

class FakeMapiProp final : public Mapi::IProp {
public:
    FakeMapiProp& Set(Mapi::PropTag tag, Mapi::PropValue value) {
        values[tag] = std::move(value);
        return *this;
    }
    FakeMapiProp& Fail(Mapi::PropTag tag, HResult result) {
        failures[tag] = result;
        return *this;
    }

    HResult GetProp(Mapi::PropTag tag, Mapi::PropValue& value) override {
        requested.push_back(tag);
        if (const auto failure = failures.find(tag); failure != failures.end())
            return failure->second;
        const auto found = values.find(tag);
        if (found == values.end())
            return kMAPI_E_NOT_FOUND;
        value = found->second;
        return kS_OK;
    }
    HResult OpenStream(Mapi::PropTag tag, std::shared_ptr<Mapi::IPropStream>& stream) override {
        openedStreams.push_back(tag);
        const auto found = streams.find(tag);
        if (found == streams.end())
            return kMAPI_E_NOT_FOUND;
        stream = found->second;
        return kS_OK;
    }
    HResult OpenStorage(Mapi::PropTag tag, std::shared_ptr<Mapi::IPropStorage>& storage) override {
        const auto found = storages.find(tag);
        if (found == storages.end())
            return kMAPI_E_NOT_FOUND;
        storage = found->second;
        return kS_OK;
    }
    HResult WrapCompressedRtf(Mapi::IPropStream&, std::uint32_t codePage, Mapi::NativeBody& body) override {
        wrappedCodePages.push_back(codePage);
        if (!nativeBody)
            return Mapi::kE_MOD_NOT_FOUND;
        body.stream = std::make_shared<FakeStream>(nativeBody->first);
        body.type = nativeBody->second;
        return kS_OK;
    }

    std::map<Mapi::PropTag, Mapi::PropValue> values;
    std::map<Mapi::PropTag, HResult> failures;
    std::map<Mapi::PropTag, std::shared_ptr<Mapi::IPropStream>> streams;
    std::map<Mapi::PropTag, std::shared_ptr<Mapi::IPropStorage>> storages;
    std::optional<std::pair<std::string, std::uint32_t>> nativeBody; // bytes and native body type
    std::vector<Mapi::PropTag> requested;
    std::vector<Mapi::PropTag> openedStreams;
    std::vector<std::uint32_t> wrappedCodePages;
};

class FakeObject final : public Automation::IObject {
public:
    using Method = std::function<HResult(std::span<const Automation::Value>, Automation::Value&)>;

    FakeObject& Set(const std::u16string& name, Automation::Value value) {
        properties[name] = std::move(value);
        return *this;
    }

    HResult Get(std::u16string_view name, Automation::Value& result) override {
        const std::u16string key(name);
        gets.push_back(key);
        if (const auto failure = failures.find(key); failure != failures.end())
            return failure->second;
        const auto found = properties.find(key);
        if (found == properties.end())
            return Automation::kDISP_E_UNKNOWNNAME;
        result = found->second;
        return kS_OK;
    }
    HResult Call(std::u16string_view name, std::span<const Automation::Value> args,
                 Automation::Value& result) override {
        const std::u16string key(name);
        calls.push_back(key);
        const auto found = methods.find(key);
        if (found == methods.end())
            return Automation::kDISP_E_UNKNOWNNAME;
        return found->second(args, result);
    }
    bool Implements(const Guid& iid) override {
        return std::find(interfaces.begin(), interfaces.end(), iid) != interfaces.end();
    }
    HResult GetMapiObject(const Guid& iid, Mapi::PropPtr& object) override {
        mapiRequests.push_back(iid);
        object.reset();
        if (Failed(mapiObjectResult))
            return mapiObjectResult;
        const bool answers = mapiInterfaces.empty() || std::find(mapiInterfaces.begin(), mapiInterfaces.end(),
                                                                 iid) != mapiInterfaces.end();
        if (answers)
            object = mapiObject;
        return kS_OK;
    }

    std::map<std::u16string, Automation::Value> properties;
    std::map<std::u16string, HResult> failures;
    std::map<std::u16string, Method> methods;
    std::vector<Guid> interfaces;
    Mapi::PropPtr mapiObject;
    HResult mapiObjectResult = kS_OK;
    std::vector<Guid> mapiInterfaces; // the IIDs the MAPI object answers; empty: all
    std::vector<std::u16string> gets;
    std::vector<std::u16string> calls;
    std::vector<Guid> mapiRequests;
};

// An Outlook collection: Count and the 1-based method Item.
inline std::shared_ptr<FakeObject> MakeCollection(std::vector<Automation::ObjectPtr> items) {
    auto collection = std::make_shared<FakeObject>();
    collection->Set(u"Count", static_cast<std::int32_t>(items.size()));
    collection->methods[u"Item"] = [items](std::span<const Automation::Value> args,
                                           Automation::Value& result) {
        if (args.size() != 1 || !std::holds_alternative<std::int32_t>(args[0]))
            return Automation::kDISP_E_TYPEMISMATCH;
        const std::int32_t index = std::get<std::int32_t>(args[0]);
        if (index < 1 || index > static_cast<std::int32_t>(items.size()))
            return kE_INVALIDARG;
        result = items[static_cast<std::size_t>(index - 1)];
        return kS_OK;
    };
    return collection;
}

// An attachment with set answers.
class FakeAttachment final : public IAttachment {
public:
    bool IsEmbededImage() override { return embededImage; }
    std::u16string GetFileName() override { return fileName; }
    std::u16string GetCid() override { return cid; }
    std::u16string GetMimeType() override { return mimeType; }
    std::uint32_t GetSize() override { return size.value_or(static_cast<std::uint32_t>(content.size())); }
    void LoadContentTo(StringUTF8& buffer) override {
        ++loads;
        buffer = StringUTF8::Copy(content);
    }
    bool IsHidden() override { return hidden; }
    std::u16string GetID() override { return id; }
    std::int32_t GetRenderPosition() override { return renderPosition; }

    bool embededImage = false;
    std::u16string fileName;
    std::u16string cid;
    std::u16string mimeType;
    std::string content;
    std::optional<std::uint32_t> size; // a size other than the content's
    bool hidden = false;
    std::u16string id;
    std::int32_t renderPosition = -1;
    int loads = 0;
};

} // namespace Tessarix::Testing
