#pragma once
// What a clip button runs: the clip driver, from the wait cursor to the last log line, and the one
// place where a clip's failures stop.
#include "notes/Note.h"
#include "notes/TxClipperSDK.h"

namespace Tessarix {

class IAction {
public:
    virtual void Execute() = 0;
    virtual ~IAction() = default;
};

// The user-visible reports of a failed clip.
inline constexpr char16_t kPageNotLoadedText[] = u"Tessarix cannot create a note from this web page because "
                                                 u"it is not fully loaded.\nPlease wait until the "
                                                 u"page is loaded and try again.";
inline constexpr char16_t kPageNotLoadedCaption[] = u"Tessarix can not create note";
inline constexpr char16_t kErrorMessageCaption[] = u"Error message";
inline constexpr char16_t kUnexpectedErrorText[] = u"Unexpected error during note creation.";
inline constexpr char16_t kUnexpectedErrorCaption[] = u"Unexpected error";

class ClipAction : public IAction {
public:
    // Runs one clip and reports every failure, processor faults included, with one Critical log
    // line and one message box. Nothing escapes to the host.
    void Execute() noexcept override;
    ~ClipAction() override = default;
    // The clip's notes, in order.
    virtual Notes::NoteList GetNotes() = 0;

protected:
    // `send` hands the document to the desktop client; tests pass their own.
    explicit ClipAction(Notes::SendFunction send = &Notes::CTxClipperSDK::SendTXEC) : send_(send) {}
    ClipAction(const ClipAction&) = default;
    ClipAction& operator=(const ClipAction&) = default;

private:
    void DoExecute();
    void ExecuteAndReport();
    static void ReportFault();

    Notes::SendFunction send_;
};

} // namespace Tessarix
