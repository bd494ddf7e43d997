// The clip driver with a recording user interface and a recording send: the order of a clip, the
// SHIFT sample, the cursor, and the one log line and one box of every kind of failure.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "ClipActionTestSupport.h"
#include "core/EnglishTexts.h"
#include "core/Exceptions.h"
#include "core/LocalizedStrings.h"
#include "core/Utf.h"
#include "notes/ExportDocument.h"

namespace Tessarix::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char16_t kNotLoadedText[] =
    u"Tessarix cannot create a note from this web page because it is not fully "
    u"loaded.\nPlease wait until the page is loaded and try again.";

class ClipDriver : public ::testing::Test {
protected:
    void SetUp() override {
        OpenItemLog();
        PrepareEnglishTexts();
        SendRecorder::Reset();
        RemoveDump();
    }
    RecordingUi& Ui() { return installed_.ui; }

private:
    InstalledUi installed_;
};

TEST_F(ClipDriver, DeliversTheNotesInOrderWithShiftSampledOnceAtTheStart) {
    const Notes::NoteList notes = SampleNotes();
    Ui().shift = true;
    LogWatch log;
    std::vector<std::string> linesAtGetNotes;
    std::size_t restoredAtSend = 99;
    SendRecorder::during = [&] {
        restoredAtSend = Ui().restored.size();
    };
    ScriptedAction action(
        [&] {
            linesAtGetNotes = log.Lines("Info");
            Ui().shift = false; // released while the clip runs
            return notes;
        },
        &SendRecorder::Send);

    action.Execute();

    ASSERT_EQ(SendRecorder::sent.size(), 1u);
    EXPECT_EQ(SendRecorder::sent[0].shift, 1);
    EXPECT_EQ(SendRecorder::sent[0].sender, RecordingUi::kFocus);
    EXPECT_EQ(SendRecorder::sent[0].bytes, Notes::BuildExportDocument(notes));
    EXPECT_EQ(ReadDump(), SendRecorder::sent[0].bytes);
    EXPECT_EQ(Ui().shiftSamples, 1);

    EXPECT_EQ(Ui().waitCursorShown, 1);
    EXPECT_EQ(restoredAtSend, 0u) << "the wait cursor must stay up while the document is sent";
    EXPECT_THAT(Ui().restored, ElementsAre(RecordingUi::kArrow));
    EXPECT_THAT(Ui().boxes, IsEmpty());

    EXPECT_THAT(linesAtGetNotes, ElementsAre("Info: ClipAction::DoExecute get notes"));
    // Nothing is logged after the clip ends.
    EXPECT_THAT(log.Lines("Info"),
                ElementsAre("Info: ClipAction::DoExecute get notes",
                            "Info: ClipAction::DoExecute add to tessarix", "Info: Start build TXCE data.",
                            "Info: TXCE data created.", "Info: Created TXCE data dump.",
                            "Info: Sending TXCE data, SHIFT pressed.", "Info: Txce data sent.",
                            "Info: ClipAction::DoExecute complete"));
    EXPECT_THAT(log.Lines("Critical"), IsEmpty());
}

TEST_F(ClipDriver, ShiftUpAtTheStartSendsZeroEvenIfPressedLater) {
    Ui().shift = false;
    ScriptedAction action(
        [&] {
            Ui().shift = true;
            return SampleNotes();
        },
        &SendRecorder::Send);
    action.Execute();
    ASSERT_EQ(SendRecorder::sent.size(), 1u);
    EXPECT_EQ(SendRecorder::sent[0].shift, 0);
}

// One failure: where it comes from and what the user and the log must show.
struct Failure {
    const char* name;
    std::function<Notes::NoteList()> notes;
    int sendResult = 0;
    std::string criticalLine;
    std::u16string boxText;
    std::u16string boxCaption;
    bool sent = false; // whether a document reached the send operation
};

void PrintTo(const Failure& failure, std::ostream* out) {
    *out << failure.name;
}

// A 4 GiB attachment that is never to be read.
Notes::NotePtr NoteOverTheExportBudget() {
    struct Huge final : Notes::IResourceContent {
        std::uint32_t Size() override { return 0xFFFFFFFF; }
        StringUTF8 Load() override { throw std::logic_error("loaded"); }
    };
    auto note = std::make_shared<Notes::CNote>();
    note->GetResources().emplace_back(u"", u"application/pdf", std::make_shared<Huge>(), u"");
    return note;
}

std::vector<Failure> Failures() {
    const std::u16string tooLarge = kNoteTooLargeMessage;
    return {
        {"PageNotLoaded", []() -> Notes::NoteList { throw CanNotCreateNoteException(u"page still loading"); },
         0, "Critical: CanNotCreateNoteException is thrown, msg - page still loading.", kNotLoadedText,
         u"Tessarix can not create note"},
        // A selection whose document would pass the budget: refused before anything is built.
        {"OverTheExportBudget", [] { return Notes::NoteList{NoteOverTheExportBudget()}; }, 0,
         "Critical: BaseException(unknown type) is thrown, msg - Tessarix cannot create the note because it "
         "is too "
         "large. Please select a part of the content and try clipping again..",
         tooLarge, u"Error message"},
        {"AttachmentsTooLarge",
         []() -> Notes::NoteList { throw AttachmentSizeLimitExceededException(u"Attachments too large"); }, 0,
         "Critical: BaseException(unknown type) is thrown, msg - Attachments too large.",
         u"Attachments too large", u"Error message"},
        {"ClientNotRunning", [] { return SampleNotes(); }, 2,
         "Critical: BaseException(unknown type) is thrown, msg - " + std::string(TX_TEXT_EN_107) + ".",
         u"" TX_TEXT_EN_107, u"Error message", true},
        {"ClientRefused", [] { return SampleNotes(); }, 3,
         "Critical: BaseException(unknown type) is thrown, msg - " + std::string(TX_TEXT_EN_108) + ".",
         u"" TX_TEXT_EN_108, u"Error message", true},
        {"HResultFromGetNotes", []() -> Notes::NoteList { throw kE_FAIL; }, 0,
         "Critical: Unexpected error occurs.", u"Unexpected error during note creation.",
         u"Unexpected error"},
        {"HResultFromTheWriter", [] { return Notes::NoteList{NoteTheWriterRefuses()}; }, 0,
         "Critical: Unexpected error occurs.", u"Unexpected error during note creation.",
         u"Unexpected error"},
        {"EmptyNotePointer", [] { return Notes::NoteList{nullptr}; }, 0, "Critical: Unexpected error occurs.",
         u"Unexpected error during note creation.", u"Unexpected error"},
        {"LockFailureText", []() -> Notes::NoteList { throw std::u16string(u"Cannot lock stream memory"); },
         0, "Critical: Unexpected error occurs.", u"Unexpected error during note creation.",
         u"Unexpected error"},
        {"StandardException", []() -> Notes::NoteList { throw std::bad_alloc(); }, 0,
         "Critical: Unexpected error occurs.", u"Unexpected error during note creation.",
         u"Unexpected error"},
    };
}

class ClipFailure : public ClipDriver, public ::testing::WithParamInterface<Failure> {};

TEST_P(ClipFailure, IsLoggedOnceShownOnceAndLeavesTheWaitCursor) {
    const Failure& failure = GetParam();
    SendRecorder::Reset(failure.sendResult);
    LogWatch log;
    ScriptedAction action(failure.notes, &SendRecorder::Send);

    action.Execute(); // returns: nothing reaches the host

    EXPECT_THAT(log.Lines("Critical"), ElementsAre(failure.criticalLine));
    EXPECT_THAT(Ui().boxes, ElementsAre(RecordingUi::Box{failure.boxText, failure.boxCaption}));
    EXPECT_EQ(Ui().waitCursorShown, 1);
    EXPECT_THAT(Ui().restored, IsEmpty()) << "the cursor is restored only after a clip that succeeded";
    ASSERT_EQ(SendRecorder::sent.size(), failure.sent ? 1u : 0u);
    // A document that reached the send operation was dumped first, even when it was refused.
    EXPECT_EQ(ReadDump(), failure.sent ? SendRecorder::sent[0].bytes : "");
    const auto info = log.Lines("Info");
    EXPECT_EQ(std::count(info.begin(), info.end(), "Info: ClipAction::DoExecute complete"), 0);
}

INSTANTIATE_TEST_SUITE_P(EveryKind, ClipFailure, ::testing::ValuesIn(Failures()),
                         [](const auto& param) { return std::string(param.param.name); });

TEST_F(ClipDriver, PageNotLoadedBuildsNoExport) {
    LogWatch log;
    ScriptedAction action([]() -> Notes::NoteList { throw CanNotCreateNoteException(u"busy"); },
                          &SendRecorder::Send);
    action.Execute();
    EXPECT_THAT(log.Lines("Info"), ElementsAre("Info: ClipAction::DoExecute get notes"));
}

TEST_F(ClipDriver, FailedReportDoesNotEscapeToTheHost) {
    LogWatch log;
    int shown = 0;
    Ui().onMessage = [&] {
        if (++shown == 1)
            throw std::bad_alloc();
    };
    ScriptedAction action([]() -> Notes::NoteList { throw kE_FAIL; }, &SendRecorder::Send);
    action.Execute();
    EXPECT_THAT(log.Lines("Critical"),
                ElementsAre("Critical: Unexpected error occurs.", "Critical: SEH error occurs."));
    EXPECT_EQ(Ui().boxes.size(), 2u);
    EXPECT_EQ(Ui().boxes.back(),
              (RecordingUi::Box{u"Unexpected error during note creation.", u"Unexpected error"}));
}

TEST(SendTxceException, TakesItsMessageFromTheResultCode) {
    PrepareEnglishTexts();
    const std::pair<int, std::u16string> expected[] = {
        {1, u"" TX_TEXT_EN_111}, {2, u"" TX_TEXT_EN_107}, {3, u"" TX_TEXT_EN_108},
        {0, u"" TX_TEXT_EN_110}, {4, u"" TX_TEXT_EN_110}, {-1, u"" TX_TEXT_EN_110},
    };
    for (const auto& [code, text] : expected) {
        const SendTxceException e(code);
        EXPECT_EQ(e.GetMessage(), text) << "code " << code;
        EXPECT_EQ(e.ResultCode(), code);
    }
}

} // namespace
} // namespace Tessarix::Testing
