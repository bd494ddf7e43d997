#include "actions/ClipAction.h"

#include <utility>

#include "actions/FaultGuard.h"
#include "core/Exceptions.h"
#include "core/Log.h"
#include "core/UserInterface.h"
#include "notes/ExportDocument.h"

namespace Tessarix {

void ClipAction::Execute() noexcept {
    const auto fault =
        RunFaultGuarded([](void* self) { static_cast<ClipAction*>(self)->ExecuteAndReport(); }, this);
    if (fault)
        ReportFault();
}

void ClipAction::ExecuteAndReport() {
    try {
        try {
            DoExecute();
        } catch (const CanNotCreateNoteException& e) {
            Log().Critical(Format(u"CanNotCreateNoteException is thrown, msg - %s.", e.GetMessage()));
            Ui::Current().ShowMessage(kPageNotLoadedText, kPageNotLoadedCaption);
        } catch (const BaseException& e) {
            Log().Critical(Format(u"BaseException(unknown type) is thrown, msg - %s.", e.GetMessage()));
            Ui::Current().ShowMessage(e.GetMessage(), kErrorMessageCaption);
        } catch (...) {
            Log().Critical(u"Unexpected error occurs.");
            Ui::Current().ShowMessage(kUnexpectedErrorText, kUnexpectedErrorCaption);
        }
    } catch (...) {
        // A report that failed itself (memory exhausted) ends where a fault would.
        ReportFault();
    }
}

void ClipAction::ReportFault() {
    try {
        Log().Critical(u"SEH error occurs.");
        Ui::Current().ShowMessage(kUnexpectedErrorText, kUnexpectedErrorCaption);
    } catch (...) {
        // Nothing is left to tell the user with; the host must go on.
    }
}

void ClipAction::DoExecute() {
    Ui::IUserInterface& ui = Ui::Current();
    const Ui::CursorHandle previousCursor = ui.CurrentCursor();
    ui.ShowWaitCursor();
    // Sampled once: a SHIFT released while the clip runs still counts.
    const bool shift = ui.IsShiftDown();

    Log().Info(u"ClipAction::DoExecute get notes");
    Notes::NoteList notes = GetNotes();
    Log().Info(u"ClipAction::DoExecute add to tessarix");
    // Handed over, not shared: the export lets each note go once it is written.
    Notes::BuildAndSendExport(std::move(notes), shift, send_);

    // Only on success: after a failure the system replaces the wait cursor at the next mouse move.
    ui.RestoreCursor(previousCursor);
    Log().Info(u"ClipAction::DoExecute complete");
}

} // namespace Tessarix
