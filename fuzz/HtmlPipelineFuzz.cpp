// The portable HTML pipeline: bounding pass, load (gumbo), cascade (litehtml) and the note-content
// serializer, unbounded and under a limit, then the content pipeline's cleanup. Any HTML loads;
// the serialization under a limit is the unbounded one when that fits and fails when it does not,
// never giving output past the limit, and a load under a limit refuses only documents whose
// serialization does not fit; cleanup gives the same content, or no content and no
// resource when the note would be too large; a document within the bounding pass's bounds reaches
// gumbo unchanged. The text of an HTML body (a saved item's Body) comes out of any HTML too.
//
// The input is a flags byte, two bytes of limit and the HTML.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/ByteString.h"
#include "core/Exceptions.h"
#include "core/Utf.h"
#include "fuzz/FuzzCheck.h"
#include "html/Cleanup.h"
#include "html/DomLoader.h"
#include "html/Engine.h"
#include "html/PictureSources.h"
#include "html/Serializer.h"
#include "html/posix/BoundedMarkup.h"
#include "msg/TextBody.h"

using namespace Tessarix;

namespace {

// Code pages of mail bodies: UTF-8, Western, Japanese, Cyrillic; the first flag value loads the
// bytes as they are.
constexpr std::uint32_t kCodePages[] = {65001, 1252, 932, 1251};

void CheckBoundingPass(std::string_view html) {
    std::size_t tags = 0, equals = 0;
    for (const char c : html) {
        tags += c == '<';
        equals += c == '=';
    }
    for (const auto use : {Html::Posix::MarkupUse::Text, Html::Posix::MarkupUse::Document}) {
        std::string storage;
        const std::string_view bounded = Html::Posix::BoundMarkup(html, use, storage);
        Fuzz::Require(bounded.size() <= html.size(), "the bounding pass added markup");
        if (use == Html::Posix::MarkupUse::Document && tags < Html::Posix::kMaxOpenForDocument &&
            equals < Html::Posix::kMaxAttributesPerTag)
            Fuzz::Require(bounded.data() == html.data(), "a document within the bounds was changed");
    }
}

std::size_t PicturesWithAddress(const Html::Document& document) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < document.ImageCount(); ++i)
        count += document.ImageSource(i).has_value();
    return count;
}

void CheckPipeline(const Html::Document& document, const StringUTF8& bytes, std::int32_t limit) {
    Clipper::NoteContentSerializer whole(0);
    whole.Serialize(document);
    const std::u16string& full = whole.Output();

    // Refused while loading only when the content surely passes the limit.
    try {
        Fuzz::Require(Html::LoadDocument(bytes, limit) != nullptr, "no document");
    } catch (const Clipper::SerializerOutputLimitException&) {
        Fuzz::Require(full.size() > static_cast<std::size_t>(limit),
                      "a load refused content within the limit");
    }

    Clipper::NoteContentSerializer bounded(limit);
    try {
        bounded.Serialize(document);
        Fuzz::Require(full.size() <= static_cast<std::size_t>(limit), "output past the limit");
        Fuzz::Require(bounded.Output() == full, "the bounded serialization differs from the unbounded one");
    } catch (const Clipper::SerializerOutputLimitException&) {
        Fuzz::Require(full.size() > static_cast<std::size_t>(limit),
                      "a serialization within the limit failed");
    }

    Notes::ResourceList resources;
    std::vector<std::u16string> unresolved;
    try {
        const std::u16string content = Global::Cleanup(document, resources, unresolved);
        Fuzz::Require(full.size() <= static_cast<std::size_t>(Clipper::kNoteContentLimit),
                      "cleanup gave a note past the limit");
        Fuzz::Require(content == full, "cleanup's content differs from the serialization");
        // Pictures may come only from the empty folder: each one with an address stays unresolved.
        Fuzz::Require(resources.empty() && unresolved.size() == PicturesWithAddress(document),
                      "a picture was read or lost");
    } catch (const NoteContentSizeExceededException&) {
        Fuzz::Require(full.size() > static_cast<std::size_t>(Clipper::kNoteContentLimit) && resources.empty(),
                      "cleanup failed a note within the limit, or gave resources with the failure");
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Pictures are read only inside this folder, which holds nothing: no file of the machine is read.
    const auto folder =
        std::filesystem::temp_directory_path() / ("tx-fuzz-pictures-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    Html::Pictures::LimitLocalFolders({folder});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3)
        return 0;
    const std::uint8_t flags = data[0];
    const std::int32_t limit = 1 + (data[1] | (data[2] << 8));
    const std::string_view html(reinterpret_cast<const char*>(data + 3), size - 3);
    try {
        CheckBoundingPass(html);
        (void)Msg::HtmlToText(FromUtf8(html));
        const StringUTF8 bytes = StringUTF8::Copy(html);
        const std::uint32_t codePage = kCodePages[flags % std::size(kCodePages)];
        const Html::DocumentPtr document =
            (flags & 4) == 0 ? Global::CreateDOM(bytes) : Global::CreateDOM(TextContent(bytes, codePage));
        Fuzz::Require(document != nullptr, "no document");
        CheckPipeline(*document,
                      (flags & 4) == 0 ? bytes
                                       : Html::EngineInput(Html::DecodeText(TextContent(bytes, codePage))),
                      limit);
    } catch (...) {
        Fuzz::Fail("the HTML pipeline raised", Fuzz::Describe(std::current_exception()));
    }
    return 0;
}
