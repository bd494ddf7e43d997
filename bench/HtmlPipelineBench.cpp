// The HTML content pipeline on mail-like HTML with real PNG pictures: loading (parse and cascade),
// serializing and the whole pipeline unbounded on 250 KiB, 1 MiB and 5 MiB; the pipeline as the
// renderers call it (bounded) on 250 KiB (accepted, just under the note limit), 1, 5 and 20 MiB
// (refused); a check that the bounded pipeline accepts exactly the mails whose unbounded
// serialization fits, with the same output; and loading hostile nesting 10k, 100k and 200k deep.
// peak_heap_MB is counted by this program's own operator new, per iteration. Run one size per
// process to read max_rss_MB as that size's peak (--benchmark_filter='MakeCleanContent/5242880').
#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

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
        for (unsigned i = 0; i < Bench::kMailPictures.size(); ++i)
            std::ofstream(f / ("pic" + std::to_string(i) + ".png"), std::ios::binary)
                << Bench::MakePng(Bench::kMailPictures[i].width, Bench::kMailPictures[i].height, i);
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

// The size of this mail whose serialization is just under the note limit.
constexpr std::size_t kJustUnderLimit = 250 * 1024;

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
// 250 KiB of this mail serializes just under the limit and must be accepted; a few MB serialize
// past it and are refused (refused = 1).
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
    if (refused == (c.html.size() < kJustUnderLimit + 1024))
        state.SkipWithError(refused ? "a mail under the limit was refused"
                                    : "a mail over the limit was accepted");
    ReportBytesAndPeak(state, c.html.size(), peak);
    state.counters["refused"] = refused ? 1 : 0;
    state.counters["resources"] = static_cast<double>(resources);
}

// Whether the bounded pipeline is the unbounded one cut at the limit: for mails from well under
// to well over it, in steps of a few hundred bytes around it, a mail is accepted exactly when its
// unbounded serialization fits, and then with that serialization. Fails (an error, not a figure)
// on the first mail where they part.
void BM_BoundedIsExact(benchmark::State& state) {
    std::size_t accepted = 0, refused = 0;
    for (auto _ : state) {
        accepted = refused = 0;
        std::vector<std::size_t> sizes;
        for (std::size_t size = kJustUnderLimit - 4096; size < kJustUnderLimit + 8192; size += 331)
            sizes.push_back(size);
        sizes.insert(sizes.end(), {std::size_t{64} << 10, std::size_t{1} << 20, std::size_t{3} << 20});
        for (const std::size_t size : sizes) {
            const std::u16string text = FromUtf8(Bench::MakeMailHtml(size, "file:///nowhere/"));
            Clipper::NoteContentSerializer whole(0);
            whole.Serialize(*Global::CreateDOM(text));
            const bool fits = whole.Output().size() <= static_cast<std::size_t>(Clipper::kNoteContentLimit);
            Notes::ResourceList list;
            std::vector<std::u16string> unresolved;
            std::optional<std::u16string> bounded;
            try {
                bounded = Global::MakeCleanContent(text, list, unresolved);
            } catch (const NoteContentSizeExceededException&) {
            }
            if (fits != bounded.has_value() || (bounded && *bounded != whole.Output())) {
                state.SkipWithError(
                    ("the bounded pipeline differs at " + std::to_string(size) + " bytes").c_str());
                return;
            }
            ++(fits ? accepted : refused);
        }
    }
    state.counters["accepted"] = static_cast<double>(accepted);
    state.counters["refused"] = static_cast<double>(refused);
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
    b->Arg(kJustUnderLimit)->Arg(1024 * 1024)->Arg(5 * 1024 * 1024)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Load)->Apply(Sizes);
BENCHMARK(BM_Serialize)->Apply(Sizes);
BENCHMARK(BM_MakeCleanContent)->Apply(Sizes)->Arg(20 * 1024 * 1024);
BENCHMARK(BM_WholePipelineUnbounded)->Apply(Sizes);
BENCHMARK(BM_BoundedIsExact)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_LoadDeeplyNested)
    ->ArgsProduct({{10000, 100000, 200000}, {0, 1}})
    ->ArgNames({"depth", "b"})
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
