// The structured-exception guard with real processor faults: the program goes on after each.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <stdexcept>

#include "../ClipActionTestSupport.h"
#include "actions/FaultGuard.h"
#include "core/Exceptions.h"
#include "notes/ExportDocument.h"

namespace Tessarix::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Read through a volatile so that the compiler emits the access instead of a trap of its own.
int* volatile nowhere = nullptr;

void WriteThroughNull(void*) {
    *nowhere = 42;
}

TEST(FaultGuard, ReturnsNothingWhenTheCallReturns) {
    int calls = 0;
    EXPECT_EQ(RunFaultGuarded([](void* c) { ++*static_cast<int*>(c); }, &calls), std::nullopt);
    EXPECT_EQ(calls, 1);
}

TEST(FaultGuard, CatchesAccessViolationsAgainAndAgain) {
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(RunFaultGuarded(&WriteThroughNull, nullptr), EXCEPTION_ACCESS_VIOLATION) << "round " << i;
}

TEST(FaultGuard, CatchesRaisedExceptionsWithTheirCode) {
    const auto raise = [](void*) {
        RaiseException(0xE0001234, 0, 0, nullptr);
    };
    EXPECT_EQ(RunFaultGuarded(raise, nullptr), 0xE0001234u);
}

TEST(FaultGuard, LetsCppExceptionsThrough) {
    const auto thrower = [](void*) {
        throw std::runtime_error("passes");
    };
    EXPECT_THROW(RunFaultGuarded(thrower, nullptr), std::runtime_error);
    // And C++ handling inside the guarded call is untouched.
    const auto catcher = [](void* caught) {
        try {
            throw 7;
        } catch (int) {
            *static_cast<bool*>(caught) = true;
        }
    };
    bool caught = false;
    EXPECT_EQ(RunFaultGuarded(catcher, &caught), std::nullopt);
    EXPECT_TRUE(caught);
}

TEST(FaultGuard, InnermostGuardTakesTheFaultAndTheOuterCallGoesOn) {
    struct Trace {
        std::optional<std::uint32_t> inner;
        bool after = false;
    } trace;
    const auto outer = [](void* t) {
        auto* self = static_cast<Trace*>(t);
        self->inner = RunFaultGuarded(&WriteThroughNull, nullptr);
        self->after = true;
    };
    EXPECT_EQ(RunFaultGuarded(outer, &trace), std::nullopt);
    EXPECT_EQ(trace.inner, EXCEPTION_ACCESS_VIOLATION);
    EXPECT_TRUE(trace.after);
}

class ClipFault : public ::testing::Test {
protected:
    void SetUp() override {
        OpenItemLog();
        PrepareEnglishTexts();
        SendRecorder::Reset();
    }
    InstalledUi installed_;
};

TEST_F(ClipFault, NullDereferenceInGetNotesIsReportedAndSwallowed) {
    LogWatch log;
    ScriptedAction faulting(
        []() -> Notes::NoteList {
            WriteThroughNull(nullptr);
            return {};
        },
        &SendRecorder::Send);
    faulting.Execute();

    EXPECT_THAT(log.Lines("Critical"), ElementsAre("Critical: SEH error occurs."));
    EXPECT_THAT(installed_.ui.boxes, ElementsAre(RecordingUi::Box{u"Unexpected error during note creation.",
                                                                  u"Unexpected error"}));
    EXPECT_THAT(SendRecorder::sent, IsEmpty());
    EXPECT_THAT(installed_.ui.restored, IsEmpty());

    // The host goes on: the next clip runs normally.
    ScriptedAction working([] { return SampleNotes(); }, &SendRecorder::Send);
    working.Execute();
    EXPECT_EQ(SendRecorder::sent.size(), 1u);
    EXPECT_EQ(installed_.ui.boxes.size(), 1u);
}

TEST_F(ClipFault, FaultWhileReportingIsCaughtToo) {
    LogWatch log;
    int shown = 0;
    installed_.ui.onMessage = [&] {
        if (++shown == 1)
            WriteThroughNull(nullptr);
    };
    ScriptedAction action([]() -> Notes::NoteList { throw AttachmentSizeLimitExceededException(u"big"); },
                          &SendRecorder::Send);
    action.Execute();
    EXPECT_THAT(log.Lines("Critical"),
                ElementsAre("Critical: BaseException(unknown type) is thrown, msg - big.",
                            "Critical: SEH error occurs."));
    EXPECT_EQ(installed_.ui.boxes.size(), 2u);
    EXPECT_EQ(installed_.ui.boxes.back(),
              (RecordingUi::Box{u"Unexpected error during note creation.", u"Unexpected error"}));
}

} // namespace
} // namespace Tessarix::Testing
