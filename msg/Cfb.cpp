#include "msg/Cfb.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <system_error>

#include "core/Log.h"
#include "core/Utf.h"
#include "msg/GsfAccess.h"
#include "msg/MsgError.h"
#include "msg/MsgReader.h"
#include "msg/MsgValue.h"

namespace Tessarix::Msg {

MsgFileError::MsgFileError(std::u16string_view file, std::u16string_view what)
    : BaseException(std::u16string(file) + u": " + std::u16string(what)), file_(file) {}

std::string MsgFileError::Utf8Message() const {
    return ToUtf8(GetMessage());
}

namespace Gsf {
namespace {

// Compound files nest storages a few levels deep; a .msg nests one level per embedded message.
constexpr int kMaxDepth = 128;

void LogGsfMessage(const gchar* domain, GLogLevelFlags, const gchar* message, gpointer) {
    Log().Debug(
        detail::LogLiteral(FromUtf8(domain ? domain : "libgsf") + u": " + FromUtf8(message ? message : "")));
}

std::u16string ErrorText(const GError* error, std::u16string_view fallback) {
    return error && error->message ? FromUtf8(error->message) : std::u16string(fallback);
}

} // namespace

void Init() {
    static std::once_flag once;
    std::call_once(once, [] {
        gsf_init();
        // libgsf logs under its own domains and, in places, under none.
        for (const char* domain :
             {static_cast<const char*>(nullptr), "libgsf", "libgsf:msole", "libgsf:utils"})
            g_log_set_handler(
                domain,
                static_cast<GLogLevelFlags>(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE),
                LogGsfMessage, nullptr);
    });
}

InfileRef Share(GsfInfile* adopted) {
    return InfileRef(adopted, Unref{});
}

std::string UpperAscii(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return out;
}

std::shared_ptr<const Container> Container::OpenFile(const std::filesystem::path& path,
                                                     const std::u16string& displayName) {
    Init();
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec))
        throw MsgFileError(displayName, u"no such file");
    GError* error = nullptr;
    Owned<GsfInput> input(gsf_input_stdio_new(path.c_str(), &error));
    if (!input) {
        const std::u16string what = u"cannot be read (" + ErrorText(error, u"unknown error") + u")";
        g_clear_error(&error);
        throw MsgFileError(displayName, what);
    }
    auto container = std::make_shared<Container>();
    container->name_ = displayName;
    const gsf_off_t size = gsf_input_size(input.get());
    container->size_ = size > 0 ? static_cast<std::uint64_t>(size) : 0;
    GsfInfile* root = gsf_infile_msole_new(input.get(), &error);
    if (!root) {
        g_clear_error(&error);
        throw MsgFileError(displayName, u"not an Outlook item: no compound-file structure");
    }
    container->root_ = Share(root);
    return container;
}

std::shared_ptr<const Container> Container::OpenBytes(std::string bytes, const std::u16string& displayName) {
    Init();
    auto container = std::make_shared<Container>();
    container->name_ = displayName;
    container->size_ = bytes.size();
    container->bytes_ = std::make_shared<const std::string>(std::move(bytes));
    Owned<GsfInput> input(gsf_input_memory_new(reinterpret_cast<const guint8*>(container->bytes_->data()),
                                               static_cast<gsf_off_t>(container->bytes_->size()), FALSE));
    GError* error = nullptr;
    GsfInfile* root = input ? gsf_infile_msole_new(input.get(), &error) : nullptr;
    if (!root) {
        g_clear_error(&error);
        throw MsgFileError(displayName, u"not an Outlook item: no compound-file structure");
    }
    container->root_ = Share(root);
    return container;
}

void Container::Fail(std::u16string_view what) const {
    throw MsgFileError(name_, what);
}

Dir::Dir(std::shared_ptr<const Container> container, InfileRef infile)
    : container_(std::move(container)), infile_(std::move(infile)) {
    const int count = infile_ ? gsf_infile_num_children(infile_.get()) : -1;
    for (int i = 0; i < count; ++i) {
        const char* name = gsf_infile_name_by_index(infile_.get(), i);
        names_.emplace_back(name ? name : "");
        index_.emplace(UpperAscii(names_.back()), i); // the first of equal names wins
    }
}

int Dir::IndexOf(std::string_view name) const {
    const auto found = index_.find(UpperAscii(name));
    return found == index_.end() ? -1 : found->second;
}

bool Dir::Has(std::string_view name) const {
    return IndexOf(name) >= 0;
}

Owned<GsfInput> Dir::Child(int index) const {
    return Owned<GsfInput>(gsf_infile_child_by_index(infile_.get(), index));
}

namespace {

bool IsStorage(GsfInput* input) {
    return GSF_IS_INFILE(input) && gsf_infile_num_children(GSF_INFILE(input)) >= 0;
}

Dir::Status ReadAll(GsfInput* input, std::uint64_t limit, std::string& bytes) {
    const gsf_off_t size = gsf_input_size(input);
    if (size < 0 || static_cast<std::uint64_t>(size) > limit)
        return Dir::Status::Corrupt;
    std::string out(static_cast<std::size_t>(size), '\0');
    if (!gsf_input_seek(input, 0, G_SEEK_SET) && size > 0) {
        std::size_t done = 0;
        while (done < out.size()) {
            const std::size_t chunk = std::min<std::size_t>(out.size() - done, 1 << 16);
            if (!gsf_input_read(input, chunk, reinterpret_cast<guint8*>(out.data() + done)))
                return Dir::Status::Corrupt;
            done += chunk;
        }
    } else if (size > 0) {
        return Dir::Status::Corrupt;
    }
    bytes = std::move(out);
    return Dir::Status::Ok;
}

} // namespace

Dir::Status Dir::OpenStorage(std::string_view name, Dir& storage) const {
    const int index = IndexOf(name);
    if (index < 0)
        return Status::Missing;
    Owned<GsfInput> child = Child(index);
    if (!child)
        return Status::Corrupt;
    if (!IsStorage(child.get()))
        return Status::WrongKind;
    storage = Dir(container_, Share(GSF_INFILE(child.release())));
    return Status::Ok;
}

Stream::Stream(std::shared_ptr<const Container> container, Owned<GsfInput> input)
    : container_(std::move(container)), input_(std::move(input)) {
    const gsf_off_t size = gsf_input_size(input_.get());
    size_ = size > 0 ? static_cast<std::uint64_t>(size) : 0;
}

bool Stream::Read(char* buffer, std::size_t count, std::size_t& read) {
    read = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - position_));
    if (read == 0)
        return true;
    if (gsf_input_seek(input_.get(), static_cast<gsf_off_t>(position_), G_SEEK_SET) ||
        !gsf_input_read(input_.get(), read, reinterpret_cast<guint8*>(buffer))) {
        read = 0;
        return false;
    }
    position_ += read;
    return true;
}

Dir::Status Dir::ChildStream(std::string_view name, Owned<GsfInput>& child) const {
    const int index = IndexOf(name);
    if (index < 0)
        return Status::Missing;
    child = Child(index);
    if (!child)
        return Status::Corrupt;
    return IsStorage(child.get()) ? Status::WrongKind : Status::Ok;
}

Dir::Status Dir::OpenStream(std::string_view name, Stream& stream) const {
    Owned<GsfInput> child;
    if (const Status status = ChildStream(name, child); status != Status::Ok)
        return status;
    const gsf_off_t size = gsf_input_size(child.get());
    if (size < 0 || static_cast<std::uint64_t>(size) > container_->Size())
        return Status::Corrupt;
    stream = Stream(container_, std::move(child));
    return Status::Ok;
}

Dir::Status Dir::TotalSize(std::uint64_t& size) const {
    size = 0;
    std::uint64_t budget = container_->Size();
    return AddSizes(size, budget, 0);
}

Dir::Status Dir::AddSizes(std::uint64_t& size, std::uint64_t& budget, int depth) const {
    if (depth > kMaxDepth)
        return Status::Corrupt;
    for (std::size_t i = 0; i < names_.size(); ++i) {
        Owned<GsfInput> child = Child(static_cast<int>(i));
        if (!child)
            return Status::Corrupt;
        if (IsStorage(child.get())) {
            // Every storage costs at least its directory entry: a cycle runs out of budget.
            if (budget < 128)
                return Status::Corrupt;
            budget -= 128;
            if (const Status status =
                    Dir(container_, Share(GSF_INFILE(child.release()))).AddSizes(size, budget, depth + 1);
                status != Status::Ok)
                return status;
            continue;
        }
        const gsf_off_t bytes = gsf_input_size(child.get());
        if (bytes < 0 || static_cast<std::uint64_t>(bytes) > budget)
            return Status::Corrupt;
        budget -= static_cast<std::uint64_t>(bytes);
        size += static_cast<std::uint64_t>(bytes);
    }
    return Status::Ok;
}

Dir::Status Dir::ReadStream(std::string_view name, std::string& bytes) const {
    Owned<GsfInput> child;
    if (const Status status = ChildStream(name, child); status != Status::Ok)
        return status;
    return ReadAll(child.get(), container_->Size(), bytes);
}

Cfb::Storage Dir::Copy() const {
    Cfb::Storage out;
    std::uint64_t budget = container_->Size();
    CopyInto(out, budget, 0);
    return out;
}

void Dir::CopyInto(Cfb::Storage& out, std::uint64_t& budget, int depth) const {
    if (depth > kMaxDepth)
        container_->Fail(u"storages nested too deeply (a directory cycle)");
    guint8 clsid[16] = {};
    if (GSF_IS_INFILE_MSOLE(infile_.get()) &&
        gsf_infile_msole_get_class_id(GSF_INFILE_MSOLE(infile_.get()), clsid))
        out.clsid = Msg::GuidFromBytes(std::string_view(reinterpret_cast<const char*>(clsid), 16));
    for (std::size_t i = 0; i < names_.size(); ++i) {
        Owned<GsfInput> child = Child(static_cast<int>(i));
        if (!child)
            container_->Fail(u"a broken entry in storage \"" + FromUtf8(names_[i]) + u"\"");
        if (IsStorage(child.get())) {
            // Every storage costs at least its directory entry: a cycle runs out of budget.
            if (budget < 128)
                container_->Fail(u"more storage entries than the file holds (a directory cycle)");
            budget -= 128;
            Dir sub(container_, Share(GSF_INFILE(child.release())));
            sub.CopyInto(out.storages[names_[i]], budget, depth + 1);
            continue;
        }
        std::string bytes;
        if (ReadAll(child.get(), budget, bytes) != Status::Ok)
            container_->Fail(u"stream \"" + FromUtf8(names_[i]) + u"\" is broken or larger than the file");
        budget -= bytes.size();
        out.streams[names_[i]] = std::move(bytes);
    }
}

} // namespace Gsf

namespace Cfb {
namespace {

using Gsf::Owned;

bool WriteStorage(GsfOutfile* outfile, const Storage& storage) {
    if (GSF_IS_OUTFILE_MSOLE(outfile)) {
        const std::string clsid = Msg::GuidToBytes(storage.clsid);
        gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(outfile),
                                       reinterpret_cast<const guint8*>(clsid.data()));
    }
    for (const auto& [name, bytes] : storage.streams) {
        Owned<GsfOutput> stream(gsf_outfile_new_child(outfile, name.c_str(), FALSE));
        if (!stream)
            return false;
        const bool written = bytes.empty() || gsf_output_write(stream.get(), bytes.size(),
                                                               reinterpret_cast<const guint8*>(bytes.data()));
        if (!gsf_output_close(stream.get()) || !written)
            return false;
    }
    for (const auto& [name, child] : storage.storages) {
        Owned<GsfOutput> sub(gsf_outfile_new_child(outfile, name.c_str(), TRUE));
        if (!sub)
            return false;
        const bool written = WriteStorage(GSF_OUTFILE(sub.get()), child);
        if (!gsf_output_close(sub.get()) || !written)
            return false;
    }
    return true;
}

// Writes the tree into `sink`; the sink is closed.
bool WriteTo(GsfOutput* sink, const Storage& root) {
    Owned<GsfOutfile> outfile(gsf_outfile_msole_new(sink));
    if (!outfile)
        return false;
    const bool written = WriteStorage(outfile.get(), root);
    const bool closed = gsf_output_close(GSF_OUTPUT(outfile.get()));
    return written && closed;
}

} // namespace

std::string ToBytes(const Storage& root) {
    Gsf::Init();
    Owned<GsfOutput> memory(gsf_output_memory_new());
    if (!memory || !WriteTo(memory.get(), root))
        throw MsgFileError(u"(memory)", u"the compound file cannot be written");
    const gsf_off_t size = gsf_output_size(memory.get());
    const guint8* bytes = gsf_output_memory_get_bytes(GSF_OUTPUT_MEMORY(memory.get()));
    return bytes && size > 0
               ? std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size))
               : std::string();
}

void WriteFile(const Storage& root, const std::filesystem::path& path) {
    Gsf::Init();
    const std::u16string name = FromUtf8(path.string());
    GError* error = nullptr;
    Owned<GsfOutput> sink(gsf_output_stdio_new(path.c_str(), &error));
    if (!sink) {
        const std::u16string what = u"cannot be written (" +
                                    (error && error->message ? FromUtf8(error->message) : u"unknown error") +
                                    u")";
        g_clear_error(&error);
        throw MsgFileError(name, what);
    }
    if (!WriteTo(sink.get(), root)) {
        sink.reset();
        std::error_code ec;
        std::filesystem::remove(path, ec);
        throw MsgFileError(name, u"cannot be written");
    }
}

} // namespace Cfb
} // namespace Tessarix::Msg
