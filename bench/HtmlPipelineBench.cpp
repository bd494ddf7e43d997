// The HTML content pipeline on mail-like HTML of 100 KB, 1 MB and 5 MB: loading (parse and
// cascade), serializing, and the whole pipeline as the renderers call it. Time should grow
// linearly with the size (bytes_per_second stays level); peak_heap_MB is counted by this
// program's own operator new, per iteration. Run one size per process to read max_rss_MB as
// that size's peak (--benchmark_filter='/5242880').
#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <string>

#include "MailHtmlGenerator.h"
#include "core/Exceptions.h"
#include "core/Utf.h"
#include "html/Cleanup.h"
#include "html/DomLoader.h"
#include "html/PictureSources.h"
#include "html/Serializer.h"

namespace {

std::atomic<std::size_t> g_inUse{0};
std::atomic<std::size_t> g_peak{0};
constexpr std::size_t kHeader = 16; // keeps the allocation's alignment

void* CountedAlloc(std::size_t size) {
    void* block = std::malloc(size + kHeader);
    if (!block)
        throw std::bad_alloc();
    *static_cast<std::size_t*>(block) = size;
    const std::size_t now = g_inUse.fetch_add(size) + size;
    std::size_t peak = g_peak.load();
    while (now > peak && !g_peak.compare_exchange_weak(peak, now)) {
    }
    return static_cast<char*>(block) + kHeader;
}

void CountedFree(void* pointer) noexcept {
    if (!pointer)
        return;
    void* block = static_cast<char*>(pointer) - kHeader;
    g_inUse.fetch_sub(*static_cast<std::size_t*>(block));
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) {
    return CountedAlloc(size);
}
void* operator new[](std::size_t size) {
    return CountedAlloc(size);
}
void operator delete(void* pointer) noexcept {
    CountedFree(pointer);
}
void operator delete[](void* pointer) noexcept {
    CountedFree(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    CountedFree(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept {
    CountedFree(pointer);
}

namespace {

using namespace Tessarix;
namespace fs = std::filesystem;

constexpr double kMiB = 1024.0 * 1024.0;

// The mail of one size, with its four pictures on disk.
struct Corpus {
    std::string html;
    std::u16string text;
};

const fs::path& PictureFolder() {
    static const fs::path folder = [] {
        const fs::path f = fs::temp_directory_path() / "tx-html-bench";
        fs::create_directories(f);
        for (int i = 0; i < 4; ++i)
            std::ofstream(f / ("pic" + std::to_string(i) + ".png"), std::ios::binary)
                << std::string("\x89PNG\r\n\x1a\n", 8) << std::string(2048, static_cast<char>('a' + i));
        return f;
    }();
    return folder;
}

const Corpus& CorpusOf(std::size_t size) {
    static std::map<std::size_t, Corpus> corpora;
    auto& c = corpora[size];
    if (c.html.empty()) {
        c.html = Bench::MakeMailHtml(size, "file://" + PictureFolder().string() + "/");
        c.text = FromUtf8(c.html);
    }
    return c;
}

struct PeakScope {
    PeakScope() : base(g_inUse.load()) { g_peak.store(base); }
    double MiB() const { return static_cast<double>(g_peak.load() - base) / kMiB; }
    std::size_t base;
};

void Report(benchmark::State& state, std::size_t bytes, double peakMiB) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
    state.counters["peak_heap_MB"] = peakMiB;
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    state.counters["max_rss_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// Parse and cascade: UTF-8 bytes to a finished document.
void BM_Load(benchmark::State& state) {
    const Corpus& c = CorpusOf(static_cast<std::size_t>(state.range(0)));
    const StringUTF8 bytes = StringUTF8::Copy(c.html);
    double peak = 0;
    for (auto _ : state) {
        PeakScope scope;
        auto document = Global::CreateDOM(bytes);
        benchmark::DoNotOptimize(document.get());
        document.reset();
        peak = std::max(peak, scope.MiB());
    }
    Report(state, c.html.size(), peak);
}

// The serializer alone, unbounded, over a loaded document.
void BM_Serialize(benchmark::State& state) {
    const Corpus& c = CorpusOf(static_cast<std::size_t>(state.range(0)));
    const auto document = Global::CreateDOM(StringUTF8::Copy(c.html));
    double peak = 0;
    std::size_t units = 0;
    for (auto _ : state) {
        PeakScope scope;
        Clipper::NoteContentSerializer serializer(0);
        serializer.Serialize(*document);
        units = serializer.Output().size();
        peak = std::max(peak, scope.MiB());
    }
    Report(state, c.html.size(), peak);
    state.counters["output_Munits"] = static_cast<double>(units) / 1e6;
}

// What a renderer calls: decode, repair, load, serialize under the note limit, read pictures.
// Mail of a few MB serializes past the limit and is refused (refused = 1).
void BM_MakeCleanContent(benchmark::State& state) {
    const Corpus& c = CorpusOf(static_cast<std::size_t>(state.range(0)));
    double peak = 0;
    bool refused = false;
    std::size_t resources = 0;
    for (auto _ : state) {
        PeakScope scope;
        Notes::ResourceList list;
        std::vector<std::u16string> unresolved;
        try {
            auto content = Global::MakeCleanContent(c.text, list, unresolved);
            benchmark::DoNotOptimize(content.data());
        } catch (const NoteContentSizeExceededException&) {
            refused = true;
        }
        resources = list.size();
        peak = std::max(peak, scope.MiB());
    }
    Report(state, c.html.size(), peak);
    state.counters["refused"] = refused ? 1 : 0;
    state.counters["resources"] = static_cast<double>(resources);
}

// The same work without the limit, so that every size goes all the way: load, serialize the
// whole document, read every picture.
void BM_WholePipelineUnbounded(benchmark::State& state) {
    const Corpus& c = CorpusOf(static_cast<std::size_t>(state.range(0)));
    double peak = 0;
    std::size_t resources = 0;
    for (auto _ : state) {
        PeakScope scope;
        const auto document = Global::CreateDOM(c.text);
        Clipper::NoteContentSerializer serializer(0);
        serializer.Serialize(*document);
        Notes::ResourceList list;
        for (std::size_t i = 0; i < document->ImageCount(); ++i) {
            const std::u16string address(document->ImageSource(i).value_or(u""));
            if (auto bytes = Html::Pictures::FromLocalFile(address))
                list.emplace_back(u"", u"", std::move(*bytes), address);
        }
        resources = list.size();
        benchmark::DoNotOptimize(serializer.Output().data());
        peak = std::max(peak, scope.MiB());
    }
    Report(state, c.html.size(), peak);
    state.counters["resources"] = static_cast<double>(resources);
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->Arg(100 * 1024)->Arg(1024 * 1024)->Arg(5 * 1024 * 1024)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Load)->Apply(Sizes);
BENCHMARK(BM_Serialize)->Apply(Sizes);
BENCHMARK(BM_MakeCleanContent)->Apply(Sizes);
BENCHMARK(BM_WholePipelineUnbounded)->Apply(Sizes);

} // namespace

BENCHMARK_MAIN();
