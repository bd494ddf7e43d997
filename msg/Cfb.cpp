#include "msg/Cfb.h"

#include <gsf/gsf.h>

#include <memory>
#include <mutex>
#include <system_error>

#include "core/Log.h"
#include "core/Utf.h"
#include "msg/MsgError.h"
#include "msg/MsgReader.h"
#include "msg/MsgValue.h"

namespace Tessarix::Msg {

MsgFileError::MsgFileError(std::u16string_view file, std::u16string_view what)
    : BaseException(std::u16string(file) + u": " + std::u16string(what)), file_(file) {}

std::string MsgFileError::Utf8Message() const {
    return ToUtf8(GetMessage());
}

namespace Cfb {
namespace {

void LogGsfMessage(const gchar* domain, GLogLevelFlags, const gchar* message, gpointer) {
    Log().Debug(
        detail::LogLiteral(FromUtf8(domain ? domain : "libgsf") + u": " + FromUtf8(message ? message : "")));
}

// gsf_init once, and libgsf's own warnings routed to the log.
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

struct Unref {
    void operator()(void* object) const {
        if (object)
            g_object_unref(object);
    }
};
template <typename T> using Owned = std::unique_ptr<T, Unref>;

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
    Init();
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
    Init();
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
