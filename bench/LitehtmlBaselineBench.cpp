// The starting point the POSIX engine was measured against: litehtml's own document loading
// (gumbo parse, one litehtml element per word and blank, every style sheet rule re-parsed for
// every element it matches, styles parsed into layout values) followed by a plain walk that reads
// the inline-style properties of every element. Same mail HTML and default style sheet as
// bench_html_pipeline; compare with its BM_Load and BM_WholePipelineUnbounded.
#include <benchmark/benchmark.h>

#include <litehtml.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "MailHtmlGenerator.h"
#include "html/Document.h"
#include "html/posix/DefaultStyleSheet.h"

namespace {

std::atomic<std::size_t> g_inUse{0};
std::atomic<std::size_t> g_peak{0};
constexpr std::size_t kHeader = 16;

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

class Container final : public litehtml::document_container {
public:
    virtual ~Container() = default;
    litehtml::uint_ptr create_font(const litehtml::tchar_t*, int size, int, litehtml::font_style,
                                   unsigned int, litehtml::font_metrics* fm) override {
        if (fm) {
            fm->ascent = size;
            fm->descent = size / 4;
            fm->height = size + size / 4;
            fm->x_height = size / 2;
            fm->draw_spaces = true;
        }
        return 1;
    }
    void delete_font(litehtml::uint_ptr) override {}
    int text_width(const litehtml::tchar_t* text, litehtml::uint_ptr) override {
        return static_cast<int>(std::strlen(text)) * 8;
    }
    void draw_text(litehtml::uint_ptr, const litehtml::tchar_t*, litehtml::uint_ptr, litehtml::web_color,
                   const litehtml::position&) override {}
    int pt_to_px(int pt) const override { return pt * 96 / 72; }
    int get_default_font_size() const override { return 16; }
    const litehtml::tchar_t* get_default_font_name() const override { return "Times New Roman"; }
    void draw_list_marker(litehtml::uint_ptr, const litehtml::list_marker&) override {}
    void load_image(const litehtml::tchar_t*, const litehtml::tchar_t*, bool) override {}
    void get_image_size(const litehtml::tchar_t*, const litehtml::tchar_t*, litehtml::size& sz) override {
        sz.width = sz.height = 0;
    }
    void draw_background(litehtml::uint_ptr, const litehtml::background_paint&) override {}
    void draw_borders(litehtml::uint_ptr, const litehtml::borders&, const litehtml::position&,
                      bool) override {}
    void set_caption(const litehtml::tchar_t*) override {}
    void set_base_url(const litehtml::tchar_t*) override {}
    void link(const std::shared_ptr<litehtml::document>&, const litehtml::element::ptr&) override {}
    void on_anchor_click(const litehtml::tchar_t*, const litehtml::element::ptr&) override {}
    void set_cursor(const litehtml::tchar_t*) override {}
    void transform_text(litehtml::tstring&, litehtml::text_transform) override {}
    void import_css(litehtml::tstring&, const litehtml::tstring&, litehtml::tstring&) override {}
    void set_clip(const litehtml::position&, const litehtml::border_radiuses&, bool, bool) override {}
    void del_clip() override {}
    void get_client_rect(litehtml::position& client) const override {
        client = litehtml::position(0, 0, 1024, 768);
    }
    std::shared_ptr<litehtml::element> create_element(const litehtml::tchar_t*, const litehtml::string_map&,
                                                      const std::shared_ptr<litehtml::document>&) override {
        return nullptr;
    }
    void get_media_features(litehtml::media_features& media) const override {
        media.type = litehtml::media_type_screen;
        media.width = media.device_width = 1024;
        media.height = media.device_height = 768;
        media.color = 8;
        media.monochrome = 0;
        media.color_index = 256;
        media.resolution = 96;
    }
    void get_language(litehtml::tstring& language, litehtml::tstring& culture) const override {
        language = "en";
        culture.clear();
    }
};

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
    Container container;
    litehtml::context context;
    context.load_master_stylesheet(Tessarix::Html::Posix::kDefaultStyleSheet);
    double peak = 0;
    for (auto _ : state) {
        const std::size_t base = g_inUse.load();
        g_peak.store(base);
        {
            auto document = litehtml::document::createFromUTF8(html.c_str(), &container, &context);
            if (walk)
                benchmark::DoNotOptimize(Walk(document->root()));
        }
        peak = std::max(peak, static_cast<double>(g_peak.load() - base) / (1024.0 * 1024.0));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * html.size()));
    state.counters["peak_heap_MB"] = peak;
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    state.counters["max_rss_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
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
