// The structured-exception guard with real processor faults: the program goes on after each. The
// faults it takes are the add-in's own; those raised while control is in someone else's code pass
// on to a handler standing in for Outlook's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <oaidl.h>

#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "../ClipActionTestSupport.h"
#include "actions/FaultGuard.h"
#include "core/Exceptions.h"
#include "core/win/AutomationWin.h"
#include "html/win/ClipboardSnapshot.h"
#include "notes/ExportDocument.h"
#include "support/win/FakeOutlook.h"
#include "support/win/ForeignFault.h"

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
void RaiseOwnCode(void*) {
    RaiseException(0xE0001234, 0, 0, nullptr);
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
    {"RaisedException", &RaiseOwnCode, 0xE0001234},
};
std::string FaultName(const ::testing::TestParamInfo<Fault>& info) {
    return info.param.name;
}

class GuardedFault : public ::testing::TestWithParam<Fault> {};

// The guard is per thread (on x86 the handler chain hangs off each thread's own block): a fault on
// a second thread is caught by that thread's guard while the first thread's guard stays in place,
// and this thread's chain stays intact, round after round.
TEST_P(GuardedFault, IsCaughtWithItsCodeOnEachThreadAgainAndAgain) {
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
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(RunFaultGuarded(GetParam().raise, nullptr), GetParam().code) << "round " << i;
}

INSTANTIATE_TEST_SUITE_P(Faults, GuardedFault, ::testing::ValuesIn(kFaults), &FaultName);

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

// ---------------------------------------------------------------------------------------------
// Whose fault: the add-in's guard takes its own; Outlook's handler gets the rest.

// Another program's window holding the clipboard open, on a thread of its own, until the end.
class ClipboardHeldElsewhere {
public:
    ClipboardHeldElsewhere() {
        std::promise<void> held;
        thread_ = std::thread([this, &held] {
            HWND owner =
                CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
            OpenClipboard(owner);
            held.set_value();
            released_.get_future().wait_for(std::chrono::seconds(30));
            CloseClipboard();
            DestroyWindow(owner);
        });
        held.get_future().wait();
    }
    ~ClipboardHeldElsewhere() {
        released_.set_value();
        thread_.join();
    }
    ClipboardHeldElsewhere(const ClipboardHeldElsewhere&) = delete;
    ClipboardHeldElsewhere& operator=(const ClipboardHeldElsewhere&) = delete;

private:
    std::promise<void> released_;
    std::thread thread_;
};

// An Outlook item whose Subject runs `member` when read.
void ReadSubject(const std::function<void()>& member) {
    Addin::Testing::FakeObject item;
    item.Define(L"Subject", [&](WORD, const std::vector<Addin::Testing::VariantValue>&, VARIANT* result) {
        member();
        V_VT(result) = VT_I4;
        V_I4(result) = 7;
        return S_OK;
    });
    Automation::Value subject;
    (void)Win::WrapDispatch(&item)->Get(u"Subject", subject);
}

// Where a clip meets a fault, and whether the fault is the add-in's.
enum class Setting {
    None,
    AMessageWaiting, // for one of Outlook's windows, which faults on it
    ClipboardHeldAndAMessageWaiting,
};

struct Origin {
    const char* name;
    std::function<void()> duringGetNotes;
    bool ours;
    Setting setting = Setting::None;
};

void PrintTo(const Origin& origin, std::ostream* out) {
    *out << origin.name;
}
std::string OriginName(const ::testing::TestParamInfo<Origin>& origin) {
    return origin.param.name;
}

const Origin kOrigins[] = {
    {"OurCodeAfterACallIntoOutlookReturned",
     [] {
         ReadSubject([] {});
         WriteThroughNull(nullptr);
     },
     true},
    {"OurCodeThatOutlookCallsBackUnderItsOwnGuard",
     [] {
         std::optional<std::uint32_t> inner;
         ReadSubject([&] { inner = RunFaultGuarded(&WriteThroughNull, nullptr); });
         if (inner == EXCEPTION_ACCESS_VIOLATION)
             DivideByZero(nullptr); // and the clip's guard still takes the next fault of ours
     },
     true},
    {"OutlooksObjectModel", [] { ReadSubject([] { WriteThroughNull(nullptr); }); }, false},
    {"AWindowThatTheClipboardWaitDispatchesTo",
     [] {
         int attempts = 0;
         if (Html::Win::OpenClipboardRetrying(nullptr, attempts))
             CloseClipboard();
     },
     false, Setting::ClipboardHeldAndAMessageWaiting},
    {"AWindowThatTheMessageBoxDispatchesTo",
     [] { Ui::PlatformUserInterface().ShowMessage(u"Waiting", u"Box"); }, false, Setting::AMessageWaiting},
};

BOOL CALLBACK CloseDialog(HWND window, LPARAM) {
    wchar_t type[16] = {};
    GetClassNameW(window, type, 16);
    if (std::wstring(type) == L"#32770")
        DestroyWindow(window);
    return TRUE;
}

class WhoseFault : public ClipFault, public ::testing::WithParamInterface<Origin> {};

TEST_P(WhoseFault, OursIsReportedAndSwallowedOthersReachOutlooksHandler) {
    const Origin& origin = GetParam();
    LogWatch log;
    std::optional<std::uint32_t> outlooks;
    {
        std::optional<ClipboardHeldElsewhere> held;
        if (origin.setting == Setting::ClipboardHeldAndAMessageWaiting)
            held.emplace();
        const FaultingWindow window;
        if (origin.setting != Setting::None)
            window.PostFault();
        ScriptedAction action(
            [&]() -> Notes::NoteList {
                origin.duringGetNotes();
                return SampleNotes();
            },
            &SendRecorder::Send);
        outlooks = UnderOutlooksHandler([&] { action.Execute(); });
        // Outlook's handler abandoned whatever the fault interrupted; a box is closed here.
        EnumThreadWindows(GetCurrentThreadId(), &CloseDialog, 0);
    }
    if (origin.ours) {
        EXPECT_EQ(outlooks, std::nullopt);
        EXPECT_THAT(log.Lines("Critical"), ElementsAre("Critical: SEH error occurs."));
        EXPECT_THAT(
            installed_.ui.boxes,
            ElementsAre(RecordingUi::Box{u"Unexpected error during note creation.", u"Unexpected error"}));
    } else {
        EXPECT_EQ(outlooks, EXCEPTION_ACCESS_VIOLATION);
        EXPECT_THAT(log.Lines("Critical"), IsEmpty());
        EXPECT_THAT(installed_.ui.boxes, IsEmpty());
    }
    EXPECT_THAT(SendRecorder::sent, IsEmpty());

    // Outlook goes on, and so do clips.
    ScriptedAction working([] { return SampleNotes(); }, &SendRecorder::Send);
    working.Execute();
    EXPECT_EQ(SendRecorder::sent.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Origins, WhoseFault, ::testing::ValuesIn(kOrigins), &OriginName);

// An overflowed stack is never continued from: Outlook's handler gets it. (Wine cannot dispatch a
// real overflow with the little stack that is left, it ends the thread, so the code is raised.)
TEST_F(ClipFault, StackOverflowIsLeftToOutlook) {
    LogWatch log;
    ScriptedAction overflowing(
        []() -> Notes::NoteList {
            RaiseException(EXCEPTION_STACK_OVERFLOW, 0, 0, nullptr);
            return {};
        },
        &SendRecorder::Send);
    EXPECT_EQ(UnderOutlooksHandler([&] { overflowing.Execute(); }), EXCEPTION_STACK_OVERFLOW);
    EXPECT_THAT(log.Lines("Critical"), IsEmpty());
    EXPECT_THAT(installed_.ui.boxes, IsEmpty());
}

} // namespace
} // namespace Tessarix::Testing
