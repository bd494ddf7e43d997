#pragma once
// Items for the wrapper tests: Outlook items and attachments made of the in-memory fakes, a content
// pipeline that shows what it loaded, a set selection, and notes compared as a whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "core/CodePage.h"
#include "core/FileSystem.h"
#include "core/Utf.h"
#include "html/SelectionCapture.h"
#include "notes/Note.h"
#include "support/ItemFakes.h"
#include "support/ItemLog.h"
#include "wrappers/ContentPipeline.h"
#include "wrappers/Wrapper.h"

namespace Tessarix::Testing {

// Loads nothing: the content is the loaded text between "[DOM]" and "[/DOM]", so a test sees what
// went through the load and what did not. Every src="..." or src='...' is a picture: those listed
// in `localPictures` become resources (MIME type image/png), the others are unresolved.
class FakePipeline final : public ContentPipeline {
public:
    std::u16string MakeCleanContent(const std::u16string& html, Notes::ResourceList& resources,
                                    std::vector<std::u16string>& unresolved) override {
        codePages.push_back(std::nullopt);
        return Load(html, resources, unresolved);
    }
    std::u16string MakeCleanContent(const TextContent& html, Notes::ResourceList& resources,
                                    std::vector<std::u16string>& unresolved) override {
        codePages.push_back(html.CodePage());
        return Load(CodePage::ToWide(html.Bytes().View(), html.CodePage()), resources, unresolved);
    }

    std::map<std::u16string, std::string> localPictures;
    std::vector<std::u16string> loads;                   // the decoded texts, in order
    std::vector<std::optional<std::uint32_t>> codePages; // of each load; none for a text load

private:
    std::u16string Load(const std::u16string& html, Notes::ResourceList& resources,
                        std::vector<std::u16string>& unresolved) {
        loads.push_back(html);
        for (std::size_t at = html.find(u"src="); at != std::u16string::npos;
             at = html.find(u"src=", at + 1)) {
            const char16_t quote = at + 4 < html.size() ? html[at + 4] : u'\0';
            if (quote != u'"' && quote != u'\'')
                continue;
            const std::size_t end = html.find(quote, at + 5);
            if (end == std::u16string::npos)
                break;
            const std::u16string address = html.substr(at + 5, end - at - 5);
            if (const auto local = localPictures.find(address); local != localPictures.end()) {
                resources.emplace_back(u"", u"image/png", StringUTF8::Copy(local->second), address);
            } else {
                unresolved.push_back(address);
            }
        }
        return u"[DOM]" + html + u"[/DOM]";
    }
};

// The user's selection for as long as the scope lives ("" for none).
class SelectionScope {
public:
    explicit SelectionScope(std::u16string html = {})
        : previous_(Html::SetSelectionProvider([html = std::move(html)] { return html; })) {}
    ~SelectionScope() { Html::SetSelectionProvider(previous_); }
    SelectionScope(const SelectionScope&) = delete;
    SelectionScope& operator=(const SelectionScope&) = delete;

private:
    Html::SelectionProvider previous_;
};

// An Outlook item answering `iid`, with a MAPI message and no attachments yet.
struct FakeItem {
    std::shared_ptr<FakeObject> object = std::make_shared<FakeObject>();
    std::shared_ptr<FakeMapiProp> message = std::make_shared<FakeMapiProp>();

    explicit FakeItem(const Guid& iid) {
        object->interfaces.push_back(iid);
        object->mapiObject = message;
    }
    FakeItem& Set(const std::u16string& name, Automation::Value value) {
        object->Set(name, std::move(value));
        return *this;
    }
    FakeItem& SetAttachments(std::vector<Automation::ObjectPtr> attachments) {
        object->Set(u"Attachments", Automation::ObjectPtr(MakeCollection(std::move(attachments))));
        return *this;
    }
    // A native body behind a compressed RTF stream (type: 1 RTF, 2 HTML, 4 plain text).
    FakeItem& SetNativeBody(std::string bytes, std::uint32_t type, std::uint32_t codePage = 1252) {
        message->streams[Mapi::kPR_RTF_COMPRESSED] = std::make_shared<FakeStream>("compressed");
        message->Set(Mapi::kPR_INTERNET_CPID, codePage);
        message->nativeBody = std::make_pair(std::move(bytes), type);
        return *this;
    }
    FakeItem& SetHtmlProperty(std::string bytes) {
        message->streams[Mapi::kPR_HTML] = std::make_shared<FakeStream>(std::move(bytes));
        return *this;
    }
};

// An Outlook attachment stored by value.
struct FileAttachmentFields {
    std::u16string fileName{};
    std::string content{};
    std::u16string mime = u"application/octet-stream";
    std::u16string cid{};
    bool hidden = false;
    bool contactPhoto = false;
    std::optional<std::uint64_t> reportedSize{}; // a size other than the content's
};

inline Automation::ObjectPtr FileAttachment(const FileAttachmentFields& fields) {
    auto attach = std::make_shared<FakeMapiProp>();
    attach->Set(Mapi::kPR_ATTACH_METHOD, Mapi::kATTACH_BY_VALUE);
    attach->Set(Mapi::kPR_ATTACH_LONG_FILENAME, fields.fileName);
    attach->Set(Mapi::kPR_ATTACH_MIME_TAG, fields.mime);
    if (!fields.cid.empty())
        attach->Set(Mapi::kPR_ATTACH_CONTENT_ID, fields.cid);
    attach->Set(Mapi::kPR_ATTACHMENT_HIDDEN, fields.hidden);
    if (fields.contactPhoto)
        attach->Set(Mapi::kPR_ATTACHMENT_CONTACTPHOTO, true);
    auto stream = std::make_shared<FakeStream>(fields.content);
    stream->reportedSize = fields.reportedSize;
    attach->streams[Mapi::kPR_ATTACH_DATA_BIN] = stream;
    auto object = std::make_shared<FakeObject>();
    object->Set(u"FileName", fields.fileName);
    object->mapiObject = attach;
    return object;
}

// An attached Outlook item: its bytes are what SaveAsFile writes.
inline Automation::ObjectPtr MessageAttachment(const std::u16string& fileName, std::string content) {
    auto attach = std::make_shared<FakeMapiProp>();
    attach->Set(Mapi::kPR_ATTACH_METHOD, Mapi::kATTACH_EMBEDDED_MSG);
    attach->Set(Mapi::kPR_ATTACH_SIZE, static_cast<std::uint32_t>(content.size()));
    auto object = std::make_shared<FakeObject>();
    object->Set(u"FileName", fileName);
    object->mapiObject = attach;
    object->methods[u"SaveAsFile"] = [content](std::span<const Automation::Value> args, Automation::Value&) {
        return Platform::WriteFile(std::get<std::u16string>(args[0]), content) ? kS_OK : kE_FAIL;
    };
    return object;
}

// A note as plain values, compared and printed as a whole.
struct ResourceView {
    std::string mime;
    std::string sourceUrl;
    std::string fileName;
    std::string bytes;
    friend bool operator==(const ResourceView&, const ResourceView&) = default;
};

struct NoteView {
    std::string title;
    std::string content;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<ResourceView> resources;
    friend bool operator==(const NoteView&, const NoteView&) = default;
};

inline NoteView View(const Notes::INote& note) {
    NoteView view{ToUtf8(note.GetTitle()), ToUtf8(note.GetContent()), {}, {}};
    for (const auto& entry : note.GetMetadata())
        view.attributes.emplace_back(ToUtf8(entry.GetName()), ToUtf8(entry.GetValue()));
    for (const auto& resource : note.GetResources()) {
        view.resources.push_back({ToUtf8(resource.GetMime()), ToUtf8(resource.GetSourceUrl()),
                                  ToUtf8(resource.GetFileName()), std::string(resource.GetData().View())});
    }
    return view;
}

inline void PrintTo(const NoteView& note, std::ostream* out) {
    *out << "\n  title: \"" << note.title << "\"\n  content: \"" << note.content << "\"\n  attributes:";
    for (const auto& [name, value] : note.attributes)
        *out << " " << name << "=\"" << value << "\"";
    *out << "\n  resources:";
    for (const auto& resource : note.resources) {
        *out << "\n    " << resource.mime << " | " << resource.sourceUrl << " | " << resource.fileName
             << " | " << resource.bytes.size() << " bytes";
    }
    *out << "\n";
}

// "<b>label:</b> value<br/>"
inline std::string Line(const std::string& label, const std::string& value) {
    return "<b>" + label + ":</b> " + value + "<br/>";
}

inline bool WasRead(const FakeObject& object, const std::u16string& name) {
    return std::find(object.gets.begin(), object.gets.end(), name) != object.gets.end();
}

// Every wrapper test runs with a set selection (none unless the test sets one) and a fake
// pipeline, so the clipboard is never touched.
struct WrapperTest : testing::Test {
    std::shared_ptr<FakePipeline> pipeline = std::make_shared<FakePipeline>();
    std::optional<SelectionScope> selection{std::in_place};

    void Select(std::u16string html) {
        selection.reset();
        selection.emplace(std::move(html));
    }
};

} // namespace Tessarix::Testing
