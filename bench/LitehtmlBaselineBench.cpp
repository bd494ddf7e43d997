// The starting point the POSIX engine was measured against: litehtml's own document loading
// (gumbo parse, one litehtml element per word and blank, every style sheet rule re-parsed for
// every element it matches, styles parsed into layout values) followed by a plain walk that reads
// the inline-style properties of every element. Same mail HTML and default style sheet as
// bench_html_pipeline; compare with its BM_Load and BM_WholePipelineUnbounded.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <litehtml.h>
#include <string>
#include <vector>

#include "MailHtmlGenerator.h"
#include "bench/PeakMemory.h"
#include "html/Document.h"
#include "html/posix/DefaultStyleSheet.h"
#include "html/posix/ShadowContainer.h"

namespace {

std::size_t Walk(const litehtml::element::ptr& root) {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const auto name : Tessarix::Html::kCssPropertyNames)
            list.emplace_back(name.begin(), name.end());
        return list;
    }();
    std::size_t found = 0;
    std::vector<litehtml::element::ptr> stack{root};
    while (!stack.empty()) {
        const auto e = stack.back();
        stack.pop_back();
        for (const auto& name : names)
            found += e->get_style_property(name.c_str(), true, nullptr) != nullptr;
        for (std::size_t i = 0; i < e->get_children_count(); ++i)
            stack.push_back(e->get_child(static_cast<int>(i)));
    }
    return found;
}

void Run(benchmark::State& state, bool walk) {
    const std::string html =
        Tessarix::Bench::MakeMailHtml(static_cast<std::size_t>(state.range(0)), "file:///tmp/");
    Tessarix::Html::Posix::ShadowContainer container;
    litehtml::context context;
    context.load_master_stylesheet(Tessarix::Html::Posix::kDefaultStyleSheet);
    double peak = 0;
    for (auto _ : state) {
        const Tessarix::Bench::PeakScope scope;
        {
            auto document = litehtml::document::createFromUTF8(html.c_str(), &container, &context);
            if (walk)
                benchmark::DoNotOptimize(Walk(document->root()));
        }
        peak = std::max(peak, scope.MiB());
    }
    Tessarix::Bench::ReportBytesAndPeak(state, html.size(), peak);
}

void BM_LitehtmlDocument(benchmark::State& state) {
    Run(state, false);
}
void BM_LitehtmlDocumentAndWalk(benchmark::State& state) {
    Run(state, true);
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->Arg(100 * 1024)->Arg(1024 * 1024)->Arg(5 * 1024 * 1024)->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_LitehtmlDocument)->Apply(Sizes);
BENCHMARK(BM_LitehtmlDocumentAndWalk)->Apply(Sizes);

} // namespace

BENCHMARK_MAIN();
