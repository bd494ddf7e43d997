#include "cli/NotePages.h"

#include <fstream>
#include <system_error>

#include "core/Exceptions.h"
#include "core/Utf.h"

namespace Tessarix::Cli {
namespace {

class PageError : public BaseException {
public:
    using BaseException::BaseException;
};

[[noreturn]] void ThrowPageError(const std::filesystem::path& path, const std::string& what) {
    throw PageError(FromUtf8("Cannot write the note page file \"" + path.string() + "\": " + what));
}

// As the note content quotes attribute values, so that an address is found as the note holds it.
std::u16string Quoted(std::u16string_view value) {
    std::u16string out;
    for (const char16_t c : value) {
        if (c == u'&')
            out += u"&amp;";
        else if (c == u'<')
            out += u"&lt;";
        else if (c == u'"')
            out += u"&quot;";
        else
            out += c;
    }
    return out;
}

std::string TextOf(std::u16string_view text) {
    std::string out;
    for (const char c : ToUtf8(std::u16string(text))) {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else
            out += c;
    }
    return out;
}

std::string Extension(const Notes::IResource& resource) {
    static const std::pair<std::u16string_view, const char*> kTypes[] = {
        {u"image/png", ".png"}, {u"image/jpeg", ".jpg"}, {u"image/gif", ".gif"},
        {u"image/bmp", ".bmp"}, {u"image/tiff", ".tif"}, {u"image/x-icon", ".ico"},
    };
    for (const auto& [mime, extension] : kTypes)
        if (resource.GetMime() == mime)
            return extension;
    // Only letters and digits: the name comes from the item.
    const std::string name = ToUtf8(resource.GetFileName());
    const std::size_t dot = name.rfind('.');
    std::string extension = ".bin";
    if (dot != std::string::npos && name.size() - dot <= 6) {
        extension = ".";
        for (const char c : name.substr(dot + 1))
            if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
                extension += c;
    }
    return extension.size() > 1 ? extension : ".bin";
}

void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out)
        ThrowPageError(path, "the file cannot be written");
}

} // namespace

std::string NotePage(const Notes::INote& note, const PageLinks& links) {
    std::u16string content = note.GetContent();
    for (const auto& [address, file] : links) {
        if (address.empty())
            continue;
        const std::u16string from = u" src=\"" + Quoted(address) + u"\"";
        const std::u16string to = u" src=\"" + Quoted(FromUtf8(file)) + u"\"";
        for (std::size_t at = content.find(from); at != std::u16string::npos;
             at = content.find(from, at + to.size()))
            content.replace(at, from.size(), to);
    }
    // The note's own BODY element lends its attributes to the page's body.
    return "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\">"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src file: data:; "
           "style-src 'unsafe-inline'\"><title>" +
           TextOf(note.GetTitle()) + "</title></head><body>" + ToUtf8(content) + "</body></html>\n";
}

std::vector<std::filesystem::path> WriteNotePages(const Notes::NoteList& notes,
                                                  const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        ThrowPageError(folder, error.message());
    std::vector<std::filesystem::path> pages;
    for (std::size_t n = 0; n < notes.size(); ++n) {
        if (!notes[n])
            continue;
        const std::string name = "note-" + std::to_string(n + 1);
        PageLinks links;
        const auto& resources = notes[n]->GetResources();
        if (!resources.empty()) {
            const std::filesystem::path files = folder / (name + "-files");
            std::filesystem::create_directories(files, error);
            if (error)
                ThrowPageError(files, error.message());
            for (std::size_t r = 0; r < resources.size(); ++r) {
                const std::string file = std::to_string(r + 1) + Extension(resources[r]);
                WriteFile(files / file, resources[r].GetData().View());
                links.emplace_back(resources[r].GetSourceUrl(), name + "-files/" + file);
            }
        }
        const std::filesystem::path page = folder / (name + ".html");
        WriteFile(page, NotePage(*notes[n], links));
        pages.push_back(page);
    }
    return pages;
}

} // namespace Tessarix::Cli
