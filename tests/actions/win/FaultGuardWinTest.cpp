// The structured-exception guard with real processor faults: the program goes on after each.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "../ClipActionTestSupport.h"
#include "actions/FaultGuard.h"
#include "core/Exceptions.h"
#include "notes/ExportDocument.h"

namespace Tessarix::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Read through volatiles so that the compiler emits the faulting instruction instead of a trap of
// its own.
int* volatile nowhere = nullptr;
volatile int dividend = 7;
volatile int zero = 0;

void WriteThroughNull(void*) {
    *nowhere = 42;
}
void DivideByZero(void*) {
    volatile int quotient = dividend / zero;
    (void)quotient;
}
void IllegalInstruction(void*) {
    asm volatile("ud2");
}

// The processor faults a clip may meet, each with the code the guard must return.
struct Fault {
    const char* name;
    GuardedFunction raise;
    DWORD code;
};
const Fault kFaults[] = {
    {"AccessViolation", &WriteThroughNull, EXCEPTION_ACCESS_VIOLATION},
    {"IntegerDivideByZero", &DivideByZero, EXCEPTION_INT_DIVIDE_BY_ZERO},
    {"IllegalInstruction", &IllegalInstruction, EXCEPTION_ILLEGAL_INSTRUCTION},
};
std::string FaultName(const ::testing::TestParamInfo<Fault>& info) {
    return info.param.name;
}

TEST(FaultGuard, ReturnsNothingWhenTheCallReturns) {
    int calls = 0;
    EXPECT_EQ(RunFaultGuarded([](void* c) { ++*static_cast<int*>(c); }, &calls), std::nullopt);
    EXPECT_EQ(calls, 1);
}

class GuardedFault : public ::testing::TestWithParam<Fault> {};

TEST_P(GuardedFault, IsCaughtWithItsCodeAgainAndAgain) {
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(RunFaultGuarded(GetParam().raise, nullptr), GetParam().code) << "round " << i;
}

// The guard is per thread (on x86 the handler chain hangs off each thread's own block): a fault on
// a second thread is caught by that thread's guard while the first thread's guard stays in place.
TEST_P(GuardedFault, OnASecondThreadIsCaughtThereWhileAnOuterGuardRuns) {
    struct Trace {
        GuardedFunction raise;
        std::optional<std::uint32_t> onThread;
    } trace{GetParam().raise, std::nullopt};
    const auto spawn = [](void* t) {
        auto* self = static_cast<Trace*>(t);
        std::thread([self] { self->onThread = RunFaultGuarded(self->raise, nullptr); }).join();
    };
    EXPECT_EQ(RunFaultGuarded(spawn, &trace), std::nullopt);
    EXPECT_EQ(trace.onThread, GetParam().code);
    // And this thread's chain is intact: a fault here is still caught here.
    EXPECT_EQ(RunFaultGuarded(GetParam().raise, nullptr), GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(Faults, GuardedFault, ::testing::ValuesIn(kFaults), &FaultName);

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

class ClipFaultKind : public ClipFault, public ::testing::WithParamInterface<Fault> {};

TEST_P(ClipFaultKind, InGetNotesIsReportedAndSwallowedAndTheNextClipRuns) {
    LogWatch log;
    const GuardedFunction raise = GetParam().raise;
    ScriptedAction faulting(
        [raise]() -> Notes::NoteList {
            raise(nullptr);
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

INSTANTIATE_TEST_SUITE_P(Faults, ClipFaultKind, ::testing::ValuesIn(kFaults), &FaultName);

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
