// A clip end to end natively with the platform's own report on standard error; delivery and the
// client's absence through txclip are TxClipTest's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../ClipActionTestSupport.h"
#include "core/Exceptions.h"
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
