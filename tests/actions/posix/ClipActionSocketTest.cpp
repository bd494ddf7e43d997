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
    LogWatch log;

    EXPECT_EQ(Clip([&] { return notes; }), "");

    const auto& received = client.Stop();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].ping, "TXCLIPPER_PING");
    EXPECT_EQ(received[0].message, 74u);
    EXPECT_EQ(received[0].flag, 1u);
    EXPECT_EQ(received[0].bytes, Notes::BuildExportDocument(notes));
    EXPECT_EQ(received[0].bytes, ReadDump());
    EXPECT_THAT(log.Lines("Info"), ::testing::Contains("Info: ClipAction::DoExecute complete"));
    EXPECT_THAT(log.Lines("Critical"), ::testing::IsEmpty());
}

TEST_F(ClipOverSocket, ClientMissingIsReportedOnStandardError) {
    LogWatch log;
    EXPECT_EQ(Clip([] { return SampleNotes(); }), "Error message: " TX_TEXT_EN_107 "\n");
    EXPECT_THAT(
        log.Lines("Critical"),
        ::testing::ElementsAre("Critical: BaseException(unknown type) is thrown, msg - " TX_TEXT_EN_107 "."));
}

TEST_F(ClipOverSocket, ClientRefusingIsReportedOnStandardError) {
    Listener client(SocketPath(), {Turn{.documentAnswer = 0}, Turn{}});
    LogWatch log;
    EXPECT_EQ(Clip([] { return SampleNotes(); }), "Error message: " TX_TEXT_EN_108 "\n");
    EXPECT_EQ(client.Stop().size(), 1u) << "a refusal is not retried";
    EXPECT_THAT(
        log.Lines("Critical"),
        ::testing::ElementsAre("Critical: BaseException(unknown type) is thrown, msg - " TX_TEXT_EN_108 "."));
}

TEST_F(ClipOverSocket, WriterFailureSendsNothing) {
    Listener client(SocketPath(), {Turn{}});
    LogWatch log;
    EXPECT_EQ(Clip([] { return Notes::NoteList{NoteTheWriterRefuses()}; }),
              "Unexpected error: Unexpected error during note creation.\n");
    EXPECT_THAT(client.Stop(), ::testing::IsEmpty());
    EXPECT_THAT(log.Lines("Critical"), ::testing::ElementsAre("Critical: Unexpected error occurs."));
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
