#pragma once
// Shared by the clip driver's tests: a recording user interface, an action with scripted notes,
// a recording send operation and a reader of the process log.
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "actions/ClipAction.h"
#include "core/UserInterface.h"
#include "notes/Note.h"
#include "tests/support/ItemLog.h"

namespace Tessarix::Testing {

// Makes the localised texts English: on Windows by loading the satellite copied beside the test
// program and asking for US English; elsewhere they are English already.
void PrepareEnglishTexts();

class RecordingUi final : public Ui::IUserInterface {
public:
    static constexpr Ui::CursorHandle kArrow = 0x1234;
    static constexpr Ui::WindowHandle kFocus = 0x4321;

    struct Box {
        std::u16string text, caption;
        friend bool operator==(const Box&, const Box&) = default;
    };

    Ui::CursorHandle CurrentCursor() override { return kArrow; }
    void ShowWaitCursor() override { ++waitCursorShown; }
    void RestoreCursor(Ui::CursorHandle cursor) override { restored.push_back(cursor); }
    bool IsShiftDown() override {
        ++shiftSamples;
        return shift;
    }
    void ShowMessage(const std::u16string& text, const std::u16string& caption) override {
        boxes.push_back({text, caption});
        if (onMessage)
            onMessage();
    }
    Ui::WindowHandle FocusWindow() override { return kFocus; }

    bool shift = false;
    int shiftSamples = 0;
    int waitCursorShown = 0;
    std::vector<Ui::CursorHandle> restored;
    std::vector<Box> boxes;
    std::function<void()> onMessage; // runs after a box is recorded
};

// Installs a RecordingUi for the scope.
class InstalledUi {
public:
    InstalledUi() { Ui::Install(&ui); }
    ~InstalledUi() { Ui::Install(nullptr); }
    InstalledUi(const InstalledUi&) = delete;
    InstalledUi& operator=(const InstalledUi&) = delete;
    RecordingUi ui;
};

class ScriptedAction final : public ClipAction {
public:
    using Script = std::function<Notes::NoteList()>;
    explicit ScriptedAction(Script script) : script_(std::move(script)) {}
    ScriptedAction(Script script, Notes::SendFunction send) : ClipAction(send), script_(std::move(script)) {}
    Notes::NoteList GetNotes() override { return script_(); }

private:
    Script script_;
};

// A send operation that records what it was given and answers `result`.
struct RecordedSend {
    Ui::WindowHandle sender = 0;
    std::string bytes;
    std::int32_t shift = 0;
};
struct SendRecorder {
    static inline std::vector<RecordedSend> sent;
    static inline int result = 0;
    static inline std::function<void()> during; // runs inside the send
    static void Reset(int answer = 0) {
        sent.clear();
        result = answer;
        during = nullptr;
    }
    static int Send(Ui::WindowHandle sender, const char* bytes, std::uint32_t length, std::int32_t shift) {
        sent.push_back({sender, std::string(bytes, length), shift});
        if (during)
            during();
        return result;
    }
};

// Two notes with every field set, so that the document does not depend on the clock.
Notes::NoteList SampleNotes();
// A note whose content holds U+0001, which the export writer refuses.
Notes::NotePtr NoteTheWriterRefuses();

// The log lines written since construction, as "Level: message".
using LogWatch = ItemLog;

// The log folder's dump of the last export document; empty when there is none.
std::string ReadDump();
void RemoveDump();

} // namespace Tessarix::Testing
