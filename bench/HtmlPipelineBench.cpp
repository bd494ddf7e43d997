// The HTML content pipeline on mail-like HTML of 100 KB, 1 MB and 5 MB: loading (parse and
// cascade), serializing, and the whole pipeline as the renderers call it; and loading hostile
// nesting 10k, 100k and 200k deep. Time should grow linearly with the size (bytes_per_second
// stays level); peak_heap_MB is counted by this program's own operator new, per iteration. Run
// one size per process to read max_rss_MB as that size's peak (--benchmark_filter='/5242880').
#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "MailHtmlGenerator.h"
#include "bench/PeakMemory.h"
#include "core/Exceptions.h"
#include "core/Utf.h"
#include "html/Cleanup.h"
#include "html/DomLoader.h"
#include "html/Engine.h"
#include "html/PictureSources.h"
#include "html/Serializer.h"

namespace {

using namespace Tessarix;
namespace fs = std::filesystem;

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

using Bench::PeakScope;
using Bench::ReportBytesAndPeak;

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
    ReportBytesAndPeak(state, c.html.size(), peak);
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
    ReportBytesAndPeak(state, c.html.size(), peak);
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
    ReportBytesAndPeak(state, c.html.size(), peak);
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
            if (auto bytes = Html::Pictures::Read(address))
                list.emplace_back(u"", u"", std::move(*bytes), address);
        }
        resources = list.size();
        benchmark::DoNotOptimize(serializer.Output().data());
        peak = std::max(peak, scope.MiB());
    }
    ReportBytesAndPeak(state, c.html.size(), peak);
    state.counters["resources"] = static_cast<double>(resources);
}

// Hostile nesting: depth times "<div>x" (second argument 0) or "<b>x" (1), never closed. Loading
// must stay linear in the depth: bytes_per_second level from 10k to 200k.
void BM_LoadDeeplyNested(benchmark::State& state) {
    const auto depth = static_cast<std::size_t>(state.range(0));
    const std::string_view open = state.range(1) == 0 ? "<div>x" : "<b>x";
    std::string html;
    html.reserve(depth * open.size());
    for (std::size_t i = 0; i < depth; ++i)
        html += open;
    const StringUTF8 bytes = StringUTF8::Copy(html);
    double peak = 0;
    for (auto _ : state) {
        PeakScope scope;
        auto document = Html::LoadDocument(bytes);
        benchmark::DoNotOptimize(document.get());
        document.reset();
        peak = std::max(peak, scope.MiB());
    }
    ReportBytesAndPeak(state, html.size(), peak);
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->Arg(100 * 1024)->Arg(1024 * 1024)->Arg(5 * 1024 * 1024)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Load)->Apply(Sizes);
BENCHMARK(BM_Serialize)->Apply(Sizes);
BENCHMARK(BM_MakeCleanContent)->Apply(Sizes);
BENCHMARK(BM_WholePipelineUnbounded)->Apply(Sizes);
BENCHMARK(BM_LoadDeeplyNested)
    ->ArgsProduct({{10000, 100000, 200000}, {0, 1}})
    ->ArgNames({"depth", "b"})
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
