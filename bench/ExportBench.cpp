// The export document's costs: base64 throughput, and the heap that building (and sending) the
// document for a note with a 25 MiB resource needs at its peak, counted by this program's own
// operator new. The target is about three copies of the resource at once.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "bench/PeakMemory.h"
#include "notes/ExportDocument.h"

namespace {

using namespace Tessarix;
using namespace Tessarix::Notes;

constexpr std::size_t kMiB = 1024 * 1024;

void BM_Base64Encode(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::string input = Bench::RandomBytes(size);
    std::string output(Base64Length(size), '\0');
    for (auto _ : state) {
        Base64EncodeTo(reinterpret_cast<const unsigned char*>(input.data()), size, output.data());
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
    state.counters["GB/s"] =
        benchmark::Counter(static_cast<double>(size) / 1e9, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_Base64Encode)
    ->Arg(1 * kMiB)
    ->Arg(4 * kMiB)
    ->Arg(10 * kMiB)
    ->Arg(25 * kMiB)
    ->Unit(benchmark::kMillisecond);

NoteList NoteWithResource(std::size_t size) {
    auto note = std::make_shared<CNote>();
    note->SetTitle(u"Quarterly report");
    note->SetContent(u"<div>See the attachment.</div>");
    note->GetMetadata().push_back(CMetadata(u"author", u"Ann"));
    note->GetResources().push_back(CResource(u"ref", u"application/pdf",
                                             StringUTF8::Adopt(Bench::RandomBytes(size)),
                                             u"file:///C:/Outlook/Attachments/report.pdf"));
    note->GetResources().back().SetFileName(u"report.pdf");
    return {note};
}

// Heap at the peak, the resource included, in resource sizes.
void ReportPeak(benchmark::State& state, std::size_t resource, std::size_t growth, std::size_t document) {
    state.counters["resource_MiB"] = static_cast<double>(resource) / kMiB;
    if (document > 0)
        state.counters["document_MiB"] = static_cast<double>(document) / kMiB;
    state.counters["peak_MiB"] = static_cast<double>(growth + resource) / kMiB;
    state.counters["copies"] = static_cast<double>(growth + resource) / static_cast<double>(resource);
}

void BM_BuildExportDocumentPeak(benchmark::State& state) {
    const std::size_t resource = 25 * kMiB;
    const NoteList notes = NoteWithResource(resource);
    std::size_t growth = 0, document = 0;
    for (auto _ : state) {
        const Bench::PeakScope scope;
        const std::string bytes = BuildExportDocument(notes);
        benchmark::DoNotOptimize(bytes.data());
        growth = scope.Bytes();
        document = bytes.size();
    }
    ReportPeak(state, resource, growth, document);
}
BENCHMARK(BM_BuildExportDocumentPeak)->Unit(benchmark::kMillisecond)->Iterations(5);

int g_sent = 0;
int CountSend(Ui::WindowHandle, const char*, std::uint32_t length, std::int32_t) {
    g_sent += length > 0;
    return kSendDelivered;
}

// The whole export: build, dump into the log folder, hand over (to a counting stand-in).
void BM_BuildAndSendExportPeak(benchmark::State& state) {
    const std::size_t resource = 25 * kMiB;
    const NoteList notes = NoteWithResource(resource);
    std::size_t growth = 0;
    for (auto _ : state) {
        const Bench::PeakScope scope;
        BuildAndSendExport(notes, false, &CountSend);
        growth = scope.Bytes();
    }
    ReportPeak(state, resource, growth, 0);
    state.counters["sent"] = g_sent;
}
BENCHMARK(BM_BuildAndSendExportPeak)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

int main(int argc, char** argv) {
    return Tessarix::Bench::RunInScratchFolder(argc, argv, "tx-bench-export");
}
