// txclip end to end, as a user runs it: the program started on saved items and writing its export
// document to a file. Per run: the wall time, the process's peak resident size (wait4) and the
// bytes it read (/proc/<pid>/io, rchar, read before the process is reaped). Two inputs: one mail
// with a 25 MiB attachment, and a batch of generated items of every kind.
//
// `bench_txclip --write-inputs FOLDER [COUNT]` only writes the inputs (FOLDER/large.msg and the batch
// in FOLDER/batch), for bench/txclip-vs-msgreader and for profiling.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "cli/Samples.h"
#include "core/MapiProp.h"
#include "msg/CompressedRtf.h"
#include "msg/MsgError.h"
#include "msg/MsgWriter.h"

extern char** environ;

namespace {

using namespace Tessarix;
using Msg::Value;

constexpr std::size_t kMiB = 1024 * 1024;
constexpr std::size_t kLargeAttachment = 25 * kMiB;
constexpr int kBatchItems = 300;
constexpr Msg::PropTag kMessageClass = 0x001A001F;
constexpr Msg::PropTag kSubject = 0x0037001F;
constexpr Msg::PropTag kBody = 0x1000001F;

std::filesystem::path g_folder;
std::filesystem::path g_large;
std::vector<std::filesystem::path> g_batch;

// ---- inputs ----

std::string Chunk(const char type[4], const std::string& data) {
    std::string chunk;
    for (const int shift : {24, 16, 8, 0})
        chunk += static_cast<char>((data.size() >> shift) & 0xFF);
    chunk.append(type, 4).append(data);
    const uLong crc =
        crc32(0, reinterpret_cast<const Bytef*>(chunk.data() + 4), static_cast<uInt>(4 + data.size()));
    for (const int shift : {24, 16, 8, 0})
        chunk += static_cast<char>((crc >> shift) & 0xFF);
    return chunk;
}

// A photograph-like picture (smooth colour with grain), deflated: about 40 KB, the size of a
// picture pasted into a mail.
std::string PhotoPng(std::uint32_t width, std::uint32_t height, std::uint32_t seed) {
    std::string raw;
    std::uint32_t x = seed | 1;
    for (std::uint32_t row = 0; row < height; ++row) {
        raw += '\0'; // no filter
        for (std::uint32_t column = 0; column < width; ++column) {
            x ^= x << 13, x ^= x >> 17, x ^= x << 5;
            const int grain = static_cast<int>(x & 7);
            raw += static_cast<char>((column * 255 / width + grain) & 0xFF);
            raw += static_cast<char>((row * 255 / height + grain) & 0xFF);
            raw += static_cast<char>((128 + (column ^ row) / 4 + grain) & 0xFF);
        }
    }
    uLongf size = compressBound(static_cast<uLong>(raw.size()));
    std::string deflated(size, '\0');
    if (compress2(reinterpret_cast<Bytef*>(deflated.data()), &size,
                  reinterpret_cast<const Bytef*>(raw.data()), static_cast<uLong>(raw.size()), 6) != Z_OK)
        throw std::runtime_error("compress2 failed");
    deflated.resize(size);
    std::string header;
    for (const std::uint32_t value : {width, height})
        for (const int shift : {24, 16, 8, 0})
            header += static_cast<char>((value >> shift) & 0xFF);
    header += std::string("\x08\x02\x00\x00\x00", 5); // 8 bits, RGB
    return std::string("\x89PNG\r\n\x1A\n", 8) + Chunk("IHDR", header) + Chunk("IDAT", deflated) +
           Chunk("IEND", "");
}

// A letter as Word writes it into a mail's RTF: font and colour tables, paragraphs with bold and
// coloured runs, an accented word as a \'hh escape.
std::string RtfLetter(int paragraphs, int seed) {
    std::string rtf =
        "{\\rtf1\\ansi\\ansicpg1252\\deff0\\deflang1033{\\fonttbl{\\f0\\fswiss\\fcharset0 "
        "Calibri;}{\\f1\\fmodern\\fcharset0 Consolas;}}\r\n{\\colortbl ;\\red31\\green73\\blue125;}"
        "\r\n\\viewkind4\\uc1\\pard\\sa200\\sl276\\slmult1\\f0\\fs22 Dear colleague,\\par\r\n";
    static const char* const kWords[] = {"quarterly", "figures", "the", "meeting",  "caf\\'e9", "budget",
                                         "review",    "and",     "our", "delivery", "schedule", "approval"};
    for (int p = 0; p < paragraphs; ++p) {
        for (int w = 0; w < 60; ++w) {
            const int pick = (seed * 7 + p * 13 + w * 5) % 12;
            if (w % 17 == 3)
                rtf += std::string("\\b ") + kWords[pick] + "\\b0  ";
            else if (w % 23 == 9)
                rtf += std::string("\\cf1 ") + kWords[pick] + "\\cf0  ";
            else
                rtf += std::string(kWords[pick]) + ' ';
        }
        rtf += "\\par\r\n";
    }
    return rtf + "Regards,\\par\r\n\\f1 Ann\\f0\\par\r\n}\r\n";
}

Msg::AttachmentData FileAttachment(std::u16string name, std::u16string mime, std::string bytes) {
    Msg::AttachmentData attachment;
    attachment.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_BY_VALUE))
        .Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(name))
        .Set(Mapi::kPR_ATTACH_SIZE, Value::Long(static_cast<std::uint32_t>(bytes.size())))
        .Set(Mapi::kPR_ATTACH_DATA_BIN, Value::Binary(std::move(bytes)));
    if (!mime.empty())
        attachment.props.Set(Mapi::kPR_ATTACH_MIME_TAG, Value::Unicode(mime));
    return attachment;
}

void WriteLarge(const std::filesystem::path& path) {
    Msg::MessageData mail;
    mail.props.Set(kMessageClass, Value::Unicode(u"IPM.Note"))
        .Set(kSubject, Value::Unicode(u"Quarterly report"))
        .Set(Mapi::kPR_RTF_COMPRESSED, Value::Binary(Msg::Rtf::Compress(RtfLetter(3, 1))))
        .Set(kBody, Value::Unicode(u"The report is attached."));
    // Without a MIME tag, as a file attached in Outlook is saved: its bytes say what it is.
    mail.attachments.push_back(FileAttachment(u"report.pdf", {}, Bench::RandomBytes(kLargeAttachment)));
    Msg::MsgWriter::WriteFile(mail, path);
}

bool IsMail(const Msg::MessageData& message) {
    for (const auto& item : message.props.Items())
        if (item.tag == kMessageClass)
            return item.value == Value::Unicode(u"IPM.Note");
    return false;
}

// The project's sample items of every kind, over and over; the mails among them carry what real
// mail carries in turn: a letter in RTF where they have no other body, a picture, a document.
std::vector<std::filesystem::path> WriteBatch(const std::filesystem::path& folder, int count) {
    std::filesystem::create_directories(folder);
    const std::vector<Cli::Samples::Sample> samples = Cli::Samples::Items();
    std::vector<std::filesystem::path> written;
    for (int i = 0; i < count; ++i) {
        Msg::MessageData message = samples[static_cast<std::size_t>(i) % samples.size()].message;
        if (IsMail(message)) {
            if (!message.props.Has(Mapi::kPR_HTML) && !message.props.Has(Mapi::kPR_RTF_COMPRESSED))
                message.props.Set(Mapi::kPR_RTF_COMPRESSED,
                                  Value::Binary(Msg::Rtf::Compress(RtfLetter(6, i))));
            if (i % 3 == 0)
                message.attachments.push_back(FileAttachment(
                    u"photo.png", u"image/png", PhotoPng(220, 160, static_cast<std::uint32_t>(i))));
            if (i % 4 == 1)
                message.attachments.push_back(FileAttachment(
                    u"minutes.pdf", u"application/pdf",
                    Bench::RandomBytes(40 * 1024 + static_cast<std::size_t>(i % 7) * 30 * 1024)));
        }
        char name[32];
        std::snprintf(name, sizeof name, "item-%03d.msg", i);
        written.push_back(folder / name);
        Msg::MsgWriter::WriteFile(message, written.back());
    }
    return written;
}

// ---- one run of txclip ----

struct Run {
    double seconds = 0;
    double residentMiB = 0;
    double cpuSeconds = 0; // user and system
    std::uint64_t readBytes = 0;
    int status = -1;
};

std::uint64_t ReadChars(pid_t pid) {
    std::ifstream io("/proc/" + std::to_string(pid) + "/io");
    std::string key;
    std::uint64_t value = 0;
    while (io >> key >> value)
        if (key == "rchar:")
            return value;
    throw std::runtime_error("no rchar in /proc/<pid>/io");
}

Run RunProgram(std::vector<std::string> arguments) {
    std::vector<char*> argv;
    for (auto& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        throw std::runtime_error("cannot start " + arguments[0] + ": " + std::strerror(spawned));
    // Ended but not reaped: its counters can still be read.
    siginfo_t info{};
    if (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0)
        throw std::runtime_error("waitid failed");
    Run run;
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    run.readBytes = ReadChars(pid);
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.residentMiB = static_cast<double>(usage.ru_maxrss) / 1024.0;
    run.cpuSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                     static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    return run;
}

Run RunTxClip(const std::vector<std::filesystem::path>& items) {
    // TX_TXCLIP names another build's txclip to measure against the same inputs.
    const char* other = std::getenv("TX_TXCLIP");
    std::vector<std::string> arguments{other ? other : TX_TXCLIP_PATH, "-o",
                                       (g_folder / "clip.xml").string()};
    for (const auto& item : items)
        arguments.push_back(item.string());
    Run run = RunProgram(std::move(arguments));
    if (run.status != 0)
        throw std::runtime_error("txclip failed");
    return run;
}

void Report(benchmark::State& state, const std::vector<Run>& runs, std::uint64_t inputBytes) {
    double resident = 0, cpu = 0;
    std::uint64_t read = 0;
    for (const Run& run : runs)
        resident = std::max(resident, run.residentMiB), read = std::max(read, run.readBytes),
        cpu += run.cpuSeconds;
    state.counters["peak_resident_MiB"] = resident;
    // The time on a processor, apart from waits for the disk and for other programs.
    state.counters["cpu_ms"] = 1000 * cpu / static_cast<double>(runs.size());
    state.counters["read_MB"] = static_cast<double>(read) / 1e6;
    state.counters["input_MB"] = static_cast<double>(inputBytes) / 1e6;
    // Reads of the input beyond the one pass, in input sizes (the program's own files add a little).
    state.counters["read_per_input"] = static_cast<double>(read) / static_cast<double>(inputBytes);
}

std::uint64_t SizeOf(const std::vector<std::filesystem::path>& files) {
    std::uint64_t size = 0;
    for (const auto& file : files)
        size += std::filesystem::file_size(file);
    return size;
}

void Measure(benchmark::State& state, const std::vector<std::filesystem::path>& items) {
    std::vector<Run> runs;
    for (auto _ : state) {
        runs.push_back(RunTxClip(items));
        state.SetIterationTime(runs.back().seconds);
    }
    Report(state, runs, SizeOf(items));
}

// One mail with a 25 MiB attachment: time, memory against the attachment, reads of the file.
void BM_TxClipLargeAttachment(benchmark::State& state) {
    Measure(state, {g_large});
    state.counters["peak_per_attachment"] = state.counters["peak_resident_MiB"] / (kLargeAttachment / kMiB);
}
BENCHMARK(BM_TxClipLargeAttachment)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(10);

// The batch in one process: the figure bench/txclip-vs-msgreader sets beside the peer's.
void BM_TxClipBatch(benchmark::State& state) {
    Measure(state, g_batch);
    state.counters["items"] = static_cast<double>(g_batch.size());
}
BENCHMARK(BM_TxClipBatch)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(10);

} // namespace

int main(int argc, char** argv) {
    if (argc >= 3 && std::string(argv[1]) == "--write-inputs") {
        try {
            const std::filesystem::path folder = argv[2];
            const int count = argc >= 4 ? std::stoi(argv[3]) : kBatchItems;
            std::filesystem::create_directories(folder);
            WriteLarge(folder / "large.msg");
            const auto batch = WriteBatch(folder / "batch", count);
            std::printf("%s and %zu items in %s written\n", (folder / "large.msg").c_str(), batch.size(),
                        (folder / "batch").c_str());
            return 0;
        } catch (const Msg::MsgFileError& e) {
            std::fprintf(stderr, "bench_txclip: %s\n", e.Utf8Message().c_str());
        } catch (const std::exception& e) {
            std::fprintf(stderr, "bench_txclip: %s\n", e.what());
        }
        return 1;
    }
    return Bench::RunInScratchFolder(argc, argv, "tx-bench-txclip", [](const auto& folder) {
        g_folder = folder;
        // Written by a process of its own: the inputs' memory would otherwise count in txclip's
        // peak resident size, which the kernel starts from this process's at the spawn.
        std::vector<std::string> arguments{"/proc/self/exe", "--write-inputs", folder.string()};
        if (RunProgram(arguments).status != 0)
            throw std::runtime_error("the inputs could not be written");
        g_large = folder / "large.msg";
        for (const auto& entry : std::filesystem::directory_iterator(folder / "batch"))
            g_batch.push_back(entry.path());
        std::sort(g_batch.begin(), g_batch.end());
    });
}
