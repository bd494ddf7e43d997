// A clip end to end natively: the real hand-off over the socket to a listener that speaks the
// documented protocol, and the real report on standard error.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../ClipActionTestSupport.h"
#include "core/EnglishTexts.h"
#include "core/Exceptions.h"
#include "notes/ExportDocument.h"
#include "tests/notes/posix/ClientListener.h"

namespace Tessarix::Testing {
namespace {

class ClipOverSocket : public ::testing::Test {
protected:
    void SetUp() override {
        OpenItemLog();
        Ui::SetShiftFromCommandLine(false);
    }
    void TearDown() override { Ui::SetShiftFromCommandLine(false); }
    std::string SocketPath() const { return runtime_.SocketPath(); }

    // Runs the clip with the platform's own user interface; returns what it wrote to standard error.
    static std::string Clip(ScriptedAction::Script notes) {
        ScriptedAction action(std::move(notes));
        ::testing::internal::CaptureStderr();
        action.Execute();
        return ::testing::internal::GetCapturedStderr();
    }

private:
    RuntimeFolder runtime_;
};

TEST_F(ClipOverSocket, DeliversTheDocumentWithTheCommandLineShift) {
    Listener client(SocketPath(), {Turn{}});
    Ui::SetShiftFromCommandLine(true);
    const Notes::NoteList notes = SampleNotes();

    EXPECT_EQ(Clip([&] { return notes; }), "");

    const auto& received = client.Stop();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].ping, "TXCLIPPER_PING");
    EXPECT_EQ(received[0].message, 74u);
    EXPECT_EQ(received[0].flag, 1u);
    EXPECT_EQ(received[0].bytes, Notes::BuildExportDocument(notes));
    EXPECT_EQ(received[0].bytes, ReadDump());
}

// The log lines of these failures are ClipFailure's; here the real socket and standard error.
TEST_F(ClipOverSocket, ClientMissingIsReportedOnStandardError) {
    EXPECT_EQ(Clip([] { return SampleNotes(); }), "Error message: " TX_TEXT_EN_107 "\n");
}

TEST_F(ClipOverSocket, ClientRefusingIsReportedOnStandardError) {
    Listener client(SocketPath(), {Turn{.documentAnswer = 0}, Turn{}});
    EXPECT_EQ(Clip([] { return SampleNotes(); }), "Error message: " TX_TEXT_EN_108 "\n");
    EXPECT_EQ(client.Stop().size(), 1u) << "a refusal is not retried";
}

TEST_F(ClipOverSocket, MultiLineTextsGiveOneCaptionedLineEach) {
    Listener client(SocketPath(), {Turn{}});
    EXPECT_EQ(
        Clip([]() -> Notes::NoteList { throw CanNotCreateNoteException(u"loading"); }),
        "Tessarix can not create note: Tessarix cannot create a note from this web page because it is not "
        "fully loaded.\n"
        "Tessarix can not create note: Please wait until the page is loaded and try again.\n");
    EXPECT_THAT(client.Stop(), ::testing::IsEmpty());
}

} // namespace
} // namespace Tessarix::Testing
