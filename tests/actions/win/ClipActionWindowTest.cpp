// A clip end to end under Wine: the real hand-off to a real receiving window on another thread,
// and every failure path with its log line and box.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "../ClipActionTestSupport.h"
#include "core/EnglishTexts.h"
#include "core/Exceptions.h"
#include "notes/ExportDocument.h"
#include "support/win/ClientWindow.h"

namespace Tessarix::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The desktop client.
using Receiver = ClientWindow;

class ClipToWindow : public ::testing::Test {
protected:
    void SetUp() override {
        OpenItemLog();
        PrepareEnglishTexts();
        RemoveDump();
    }
    RecordingUi& Ui() { return installed_.ui; }

private:
    InstalledUi installed_;
};

TEST_F(ClipToWindow, DeliversTheExactDocumentToTheClient) {
    Receiver client(1);
    ASSERT_TRUE(client.Running());
    const Notes::NoteList notes = SampleNotes();
    Ui().shift = true;
    LogWatch log;
    ScriptedAction action([&] {
        Ui().shift = false;
        return notes;
    });
    action.Execute();

    const auto deliveries = client.Stop();
    ASSERT_EQ(deliveries.size(), 1u);
    EXPECT_EQ(deliveries[0].bytes, Notes::BuildExportDocument(notes));
    EXPECT_EQ(deliveries[0].bytes, ReadDump());
    EXPECT_EQ(deliveries[0].bytes.rfind("\xEF\xBB\xBF<?xml", 0), 0u);
    EXPECT_EQ(deliveries[0].flag, 1u);
    EXPECT_EQ(deliveries[0].sender, RecordingUi::kFocus);
    EXPECT_THAT(Ui().boxes, IsEmpty());
    EXPECT_THAT(Ui().restored, ElementsAre(RecordingUi::kArrow));
    EXPECT_THAT(log.Lines("Critical"), IsEmpty());
    EXPECT_THAT(log.Lines("Info"), ::testing::Contains("Info: ClipAction::DoExecute complete"));
}

struct Path {
    const char* name;
    std::function<Notes::NoteList()> notes;
    bool clientRunning = true;
    LRESULT copyDataAnswer = 1;
    std::string criticalLine;
    std::u16string boxText;
    std::u16string boxCaption;
    std::size_t delivered = 0;
};

void PrintTo(const Path& path, std::ostream* out) {
    *out << path.name;
}

std::vector<Path> FailurePaths() {
    const std::u16string unexpected = u"Unexpected error during note creation.";
    return {
        {"ClientMissing", [] { return SampleNotes(); }, false, 1,
         "Critical: BaseException(unknown type) is thrown, msg - " TX_TEXT_EN_107 ".", u"" TX_TEXT_EN_107,
         u"Error message"},
        {"ClientRefusing", [] { return SampleNotes(); }, true, 0,
         "Critical: BaseException(unknown type) is thrown, msg - " TX_TEXT_EN_108 ".", u"" TX_TEXT_EN_108,
         u"Error message", 1},
        {"WriterHResult", [] { return Notes::NoteList{NoteTheWriterRefuses()}; }, true, 1,
         "Critical: Unexpected error occurs.", unexpected, u"Unexpected error"},
        {"BaseException", []() -> Notes::NoteList { throw NoteContentSizeExceededException(); }, true, 1,
         "Critical: BaseException(unknown type) is thrown, msg - Tessarix cannot create the note because it "
         "is too "
         "large. Please select a part of the content and try clipping again..",
         kNoteTooLargeMessage, u"Error message"},
        {"PageNotLoaded", []() -> Notes::NoteList { throw CanNotCreateNoteException(u"loading"); }, true, 1,
         "Critical: CanNotCreateNoteException is thrown, msg - loading.",
         u"Tessarix cannot create a note from this web page because it is not fully loaded.\nPlease wait "
         u"until the "
         u"page is loaded and try again.",
         u"Tessarix can not create note"},
    };
}

class ClipToWindowFails : public ClipToWindow, public ::testing::WithParamInterface<Path> {};

TEST_P(ClipToWindowFails, WithItsLogLineAndBox) {
    const Path& path = GetParam();
    std::optional<Receiver> client;
    if (path.clientRunning) {
        client.emplace(path.copyDataAnswer);
        ASSERT_TRUE(client->Running());
    }
    LogWatch log;
    ScriptedAction action(path.notes);
    action.Execute();

    EXPECT_THAT(log.Lines("Critical"), ElementsAre(path.criticalLine));
    EXPECT_THAT(Ui().boxes, ElementsAre(RecordingUi::Box{path.boxText, path.boxCaption}));
    EXPECT_THAT(Ui().restored, IsEmpty());
    if (client) {
        EXPECT_EQ(client->Stop().size(), path.delivered);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryPath, ClipToWindowFails, ::testing::ValuesIn(FailurePaths()),
                         [](const auto& param) { return std::string(param.param.name); });

// The platform's own wait cursor. (Its SHIFT state is read end to end: EndToEndTest clips with SHIFT
// held and without; its box would wait for a click that never comes.)
TEST(WindowsUserInterface, WaitCursor) {
    Ui::IUserInterface& ui = Ui::PlatformUserInterface();
    const HCURSOR arrow = LoadCursorW(nullptr, IDC_ARROW);
    SetCursor(arrow);
    const Ui::CursorHandle before = ui.CurrentCursor();
    EXPECT_EQ(before, reinterpret_cast<Ui::CursorHandle>(arrow));
    ui.ShowWaitCursor();
    EXPECT_EQ(GetCursor(), LoadCursorW(nullptr, IDC_WAIT));
    ui.RestoreCursor(before);
    EXPECT_EQ(GetCursor(), arrow);
}

} // namespace
} // namespace Tessarix::Testing
