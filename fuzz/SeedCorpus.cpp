// tx-fuzz-seeds OUT HTML_CORPUS: writes each fuzz target's seed corpus into OUT/<target>/, made from
// the project's own fixtures: the sample items (and the damaged and corrupt ones), their compressed
// and plain RTF, HTML and text bodies, titles and attachment names, and the HTML test corpus. Run
// at build time, so that no binary seed is kept in the repository.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>

#include "cli/Samples.h"
#include "core/CodePage.h"
#include "core/MapiProp.h"
#include "core/Utf.h"
#include "msg/CompressedRtf.h"
#include "msg/MsgFile.h"

using namespace Tessarix;
namespace fs = std::filesystem;

namespace {

constexpr Mapi::PropTag kSubject = 0x0037001F;
constexpr Mapi::PropTag kBody = 0x1000001F;
constexpr Mapi::PropTag kSenderName = 0x0C1A001F;

class SeedWriter {
public:
    explicit SeedWriter(fs::path root) : root_(std::move(root)) {}

    // Identical seeds are written once.
    void Add(const std::string& target, const std::string& bytes) {
        if (!seen_.insert(target + '\0' + bytes).second)
            return;
        const fs::path folder = root_ / target;
        fs::create_directories(folder);
        const fs::path file = folder / ("seed-" + std::to_string(++count_));
        std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    int Count() const { return count_; }

private:
    fs::path root_;
    std::set<std::string> seen_;
    int count_ = 0;
};

std::string Utf16Le(std::u16string_view text) {
    std::string out;
    for (const char16_t c : text) {
        out.push_back(static_cast<char>(c & 0xFF));
        out.push_back(static_cast<char>(c >> 8));
    }
    return out;
}

// Each HTML under a limit that it passes and under ones that it may not.
void AddHtml(SeedWriter& seeds, const std::string& html) {
    for (const char* limit : {"\xFF\xFF", "\xFF\x0F", "\xFF\x00"})
        seeds.Add("html_pipeline", std::string(1, '\0') + limit + html);
}

// The bodies, titles and names of one message and of the messages attached to it.
void AddMessage(SeedWriter& seeds, const Msg::MessagePtr& message) {
    const auto& props = *message->Props();
    if (const auto compressed = props.Binary(Mapi::kPR_RTF_COMPRESSED)) {
        seeds.Add("compressed_rtf", *compressed);
        try {
            const std::string rtf = Msg::Rtf::Decompress(*compressed);
            // The first byte picks the code page: UTF-8, then Western.
            seeds.Add("rtf_body", '\0' + rtf);
            seeds.Add("rtf_body", '\1' + rtf);
        } catch (const Msg::Rtf::CompressedRtfError&) {
        }
    }
    if (const auto html = props.Binary(Mapi::kPR_HTML))
        AddHtml(seeds, *html);
    const std::u16string body = props.String(kBody).value_or(u"");
    if (!body.empty()) {
        seeds.Add("text_to_html", '\0' + ToUtf8(body));
        seeds.Add("text_to_html", '\1' + CodePage::FromWide(body, 1252));
    }
    std::u16string attachmentName;
    for (const auto& attachment : message->Attachments()) {
        attachmentName = attachment->Props()->String(Mapi::kPR_ATTACH_LONG_FILENAME).value_or(attachmentName);
        try {
            if (const auto embedded = attachment->EmbeddedMessage())
                AddMessage(seeds, embedded);
        } catch (const Msg::MsgFileError&) {
        }
    }
    const std::u16string separator(1, u'\xFFFF');
    const std::u16string note = props.String(kSubject).value_or(u"") + separator + body + separator +
                                props.String(kSenderName).value_or(u"") + separator + attachmentName;
    seeds.Add("export_writer", '\0' + Utf16Le(note));
}

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("Usage: tx-fuzz-seeds OUT HTML_CORPUS\n", stderr);
        return 2;
    }
    try {
        const fs::path out = argv[1];
        fs::remove_all(out);
        SeedWriter seeds(out);
        const fs::path items = out / "items";
        for (const auto& path : Cli::Samples::Write(items, true)) {
            const std::string bytes = ReadFile(path);
            seeds.Add("msg_reader", bytes);
            try {
                AddMessage(seeds, Msg::MsgMessage::OpenBytes(bytes, FromUtf8(path.filename().string())));
            } catch (const Msg::MsgFileError&) {
                // The corrupt samples seed the reader only.
            }
        }
        fs::remove_all(items);
        for (const auto& entry : fs::directory_iterator(argv[2]))
            if (entry.path().extension() == ".html")
                AddHtml(seeds, ReadFile(entry.path()));
        std::printf("tx-fuzz-seeds: %d seeds written to %s\n", seeds.Count(), out.c_str());
        return 0;
    } catch (const Msg::MsgFileError& e) {
        std::fprintf(stderr, "tx-fuzz-seeds: %s\n", e.Utf8Message().c_str());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "tx-fuzz-seeds: %s\n", e.what());
    }
    return 1;
}
