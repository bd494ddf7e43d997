// Peak memory of clipping a large selection: 50 saved mails with a 20 MiB attachment each, clipped
// through the pipeline txclip runs (saved items behind the explorer's selection, the selection clip
// action, the export document, a stand-in for the desktop client). Not a timing: each benchmark
// runs once and reports the heap at its peak (this program's operator new) and the process's peak
// resident size (run one benchmark per process with --benchmark_filter for a clean figure).
#include <benchmark/benchmark.h>

#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "actions/ItemClipActions.h"
#include "bench/BenchSupport.h"
#include "bench/PeakMemory.h"
#include "cli/ItemSelection.h"
#include "core/Exceptions.h"
#include "core/MapiProp.h"
#include "msg/MsgItem.h"
#include "msg/MsgWriter.h"
#include "notes/ExportDocument.h"

namespace {

using namespace Tessarix;

constexpr std::size_t kMiB = 1024 * 1024;
constexpr int kMails = 50;
constexpr std::size_t kAttachmentSize = 20 * kMiB;

std::filesystem::path g_mail;

void WriteMail(const std::filesystem::path& path) {
    using Msg::Value;
    Msg::MessageData mail;
    mail.props.Set(0x001A001F, Value::Unicode(u"IPM.Note"))
        .Set(0x0037001F, Value::Unicode(u"Quarterly report"))
        .Set(0x1000001F, Value::Unicode(u"The report is attached."));
    Msg::AttachmentData attachment;
    const std::string bytes = Bench::RandomBytes(kAttachmentSize);
    attachment.props.Set(Mapi::kPR_ATTACH_METHOD, Value::Long(Mapi::kATTACH_BY_VALUE))
        .Set(Mapi::kPR_ATTACH_LONG_FILENAME, Value::Unicode(u"report.pdf"))
        .Set(Mapi::kPR_ATTACH_MIME_TAG, Value::Unicode(u"application/pdf"))
        .Set(Mapi::kPR_ATTACH_DATA_BIN, Value::Binary(bytes))
        .Set(Mapi::kPR_ATTACH_SIZE, Value::Long(static_cast<std::uint32_t>(bytes.size())));
    mail.attachments.push_back(std::move(attachment));
    Msg::MsgWriter::WriteFile(mail, path);
}

// The same saved mail opened 50 times: 50 items, as 50 files would give them.
Automation::ObjectPtr Selection() {
    std::vector<Automation::ObjectPtr> items;
    for (int i = 0; i < kMails; ++i)
        items.push_back(Msg::MsgItem::Open(g_mail));
    return std::make_shared<Cli::ItemSelection>(std::move(items));
}

std::size_t g_sentBytes = 0;
int CountSend(Ui::WindowHandle, const char*, std::uint32_t length, std::int32_t) {
    g_sentBytes = length;
    return Notes::kSendDelivered;
}

void Report(benchmark::State& state, const Bench::PeakScope& scope) {
    state.counters["attachments_MiB"] = static_cast<double>(kMails * kAttachmentSize) / kMiB;
    state.counters["sent_MiB"] = static_cast<double>(g_sentBytes) / kMiB;
    Bench::ReportBytesAndPeak(state, 0, scope.MiB());
}

// What a press of the selection button does: GetNotes, then the export within `budget`.
void ClipFiftyLargeMails(benchmark::State& state, std::size_t budget) {
    for (auto _ : state) {
        g_sentBytes = 0;
        bool refused = false;
        const Bench::PeakScope scope;
        {
            SelectionClipAction action(Selection(), &CountSend);
            Notes::NoteList notes = action.GetNotes();
            try {
                Notes::BuildAndSendExport(std::move(notes), false, &CountSend, budget);
            } catch (const NoteContentSizeExceededException&) {
                refused = true;
            }
        }
        state.counters["refused"] = refused;
        Report(state, scope);
    }
}

// The product's budget: this clip's document (1.3 GiB) is over it and refused before it is built.
void BM_ClipFiftyLargeMails(benchmark::State& state) {
    ClipFiftyLargeMails(state, Notes::kExportBudget);
}
BENCHMARK(BM_ClipFiftyLargeMails)->Unit(benchmark::kMillisecond)->Iterations(1);

// No budget: what holding one attachment at a time costs when the whole document is built.
void BM_ClipFiftyLargeMailsUnbudgeted(benchmark::State& state) {
    ClipFiftyLargeMails(state, std::numeric_limits<std::size_t>::max());
}
BENCHMARK(BM_ClipFiftyLargeMailsUnbudgeted)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv) {
    return Tessarix::Bench::RunInScratchFolder(argc, argv, "tx-bench-clip-memory", [](const auto& folder) {
        g_mail = folder / "mail.msg";
        WriteMail(g_mail);
    });
}
