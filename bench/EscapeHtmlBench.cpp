// EscapeHtml over plain mail text of 1 to 8 MiB: the bytes per second stay level when the time
// grows linearly with the text.
#include <benchmark/benchmark.h>

#include <string>

#include "core/Utils.h"

namespace {

// A plain-text mail body: header lines with addresses in angle brackets, quoted replies, CR LF
// line ends, ampersands, and non-ASCII names.
std::u16string MailText(std::size_t units) {
    static const std::u16string block =
        u"From: Ann Example <ann@example.com>\r\n"
        u"To: Bob Builder <bob@example.org>; Jos\u00E9 M\u00FCller <jose@example.net>\r\n"
        u"Subject: Re: figures for Q3 & the <draft> plan\r\n"
        u"\r\n"
        u"Hi Bob,\r\n"
        u"\r\n"
        u"thanks for the numbers. If revenue > 1.2M and costs < 800k we are fine; see the\r\n"
        u"attached sheet for the details (tab \"Summary\").\r\n"
        u"\r\n"
        u"> On Monday, Bob wrote:\r\n"
        u">> Can you check the totals before Friday?\r\n"
        u"\r\n"
        u"Regards,\r\n"
        u"Ann \u2014 \u65E5\u672C\u8A9E\u306E\u30C6\u30B9\u30C8\r\n";
    std::u16string text;
    text.reserve(units + block.size());
    while (text.size() < units)
        text += block;
    text.resize(units);
    return text;
}

void EscapeMailText(benchmark::State& state) {
    const std::size_t bytes = static_cast<std::size_t>(state.range(0)) << 20;
    const std::u16string text = MailText(bytes / sizeof(char16_t));
    for (auto _ : state) {
        std::u16string html = Tessarix::EscapeHtml(text);
        benchmark::DoNotOptimize(html.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(bytes));
    state.SetLabel(std::to_string(state.range(0)) + " MiB of UTF-16 text");
}

} // namespace

BENCHMARK(EscapeMailText)->Arg(1)->Arg(2)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
