#include "cli/TxClip.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include "actions/ClipAction.h"
#include "actions/ItemClipActions.h"
#include "actions/MultiItemsNote.h"
#include "cli/CommandLine.h"
#include "cli/ItemSelection.h"
#include "cli/NotePages.h"
#include "cli/Progress.h"
#include "core/Exceptions.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/UserInterface.h"
#include "core/Utf.h"
#include "html/PictureSources.h"
#include "msg/MsgItem.h"
#include "notes/TxClipperSDK.h"

namespace Tessarix::Cli {

namespace {

// A document that could not be written: shown by the clip driver like any product failure.
class OutputError : public BaseException {
public:
    using BaseException::BaseException;
};

[[noreturn]] void ThrowWriteError(const std::string& path, int error) {
    throw OutputError(FromUtf8("Cannot write the export document to \"" + path +
                               "\": " + std::generic_category().message(error)));
}

// 0, or the errno of the failed write.
int WriteAll(int fd, const char* bytes, std::size_t length) {
    while (length > 0) {
        const ssize_t written = ::write(fd, bytes, length);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        bytes += written;
        length -= static_cast<std::size_t>(written);
    }
    return 0;
}

mode_t CurrentUmask() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
}

// The document goes into a temporary file beside `path`, which then replaces `path` in one
// rename: a reader never sees half a document, and a failure leaves the old file as it was.
void ReplaceFile(const std::string& path, const char* bytes, std::size_t length) {
    const std::filesystem::path target(path);
    const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
    std::string temporary =
        (folder / std::string(".").append(target.filename().string()).append(".XXXXXX")).string();
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0)
        ThrowWriteError(path, errno);
    int error = WriteAll(fd, bytes, length);
    // mkstemp makes the file private; the document gets the mode any new file of the user gets.
    if (error == 0 && ::fchmod(fd, 0666 & ~CurrentUmask()) != 0)
        error = errno;
    if (error == 0 && ::fsync(fd) != 0)
        error = errno;
    if (::close(fd) != 0 && error == 0)
        error = errno;
    if (error == 0 && ::rename(temporary.c_str(), path.c_str()) != 0)
        error = errno;
    if (error != 0) {
        ::unlink(temporary.c_str());
        ThrowWriteError(path, error);
    }
}

// The driver's send operation is a plain function; what it sends to is this run's choice.
struct OutputTarget {
    Destination destination = Destination::StandardOutput;
    std::string path;
    Progress* progress = nullptr;
    bool delivered = false;
};

OutputTarget* currentTarget = nullptr;

int SendToTarget(Ui::WindowHandle sender, const char* bytes, std::uint32_t length, std::int32_t shift) {
    OutputTarget& target = *currentTarget;
    switch (target.destination) {
    case Destination::DesktopClient: {
        target.progress->Stage("handing the document to the desktop client");
        const int result = Notes::CTxClipperSDK::SendTXEC(sender, bytes, length, shift);
        target.delivered = result == Notes::kSendDelivered;
        return result;
    }
    case Destination::File:
        target.progress->Stage("writing " + target.path);
        ReplaceFile(target.path, bytes, length);
        break;
    case Destination::StandardOutput:
        if (const int error = WriteAll(STDOUT_FILENO, bytes, length); error != 0)
            ThrowWriteError("standard output", error);
        break;
    }
    target.delivered = true;
    return Notes::kSendDelivered;
}

// The platform's user interface (failures as "caption: text" lines on standard error), counting
// the failures it shows and keeping them apart from the progress line.
class ReportingUserInterface final : public Ui::IUserInterface {
public:
    explicit ReportingUserInterface(Progress& progress)
        : platform_(Ui::PlatformUserInterface()), progress_(progress) {
        Ui::Install(this);
    }
    ~ReportingUserInterface() override { Ui::Install(nullptr); }
    ReportingUserInterface(const ReportingUserInterface&) = delete;
    ReportingUserInterface& operator=(const ReportingUserInterface&) = delete;

    Ui::CursorHandle CurrentCursor() override { return platform_.CurrentCursor(); }
    void ShowWaitCursor() override { platform_.ShowWaitCursor(); }
    void RestoreCursor(Ui::CursorHandle cursor) override { platform_.RestoreCursor(cursor); }
    bool IsShiftDown() override { return platform_.IsShiftDown(); }
    void ShowMessage(const std::u16string& text, const std::u16string& caption) override {
        progress_.Clear();
        ++messages_;
        platform_.ShowMessage(text, caption);
    }
    Ui::WindowHandle FocusWindow() override { return platform_.FocusWindow(); }

    int MessagesShown() const { return messages_; }

private:
    Ui::IUserInterface& platform_;
    Progress& progress_;
    int messages_ = 0;
};

enum class Phase { Starting, Reading, Clipping, Writing };

// The clip of the items given on the command line: opening them is part of the clip, so that an
// unreadable file is reported by the driver like any other failure of a clip.
class TxClipAction final : public ClipAction {
public:
    TxClipAction(const Options& options, Progress& progress, Notes::SendFunction send)
        : ClipAction(send), options_(options), progress_(progress), send_(send) {}

    Notes::NoteList GetNotes() override {
        phase_ = Phase::Reading;
        for (std::size_t i = 0; i < options_.items.size(); ++i) {
            current_ = i;
            progress_.Item("reading", i + 1, options_.items[i]);
            auto item = Msg::MsgItem::Open(std::filesystem::path(options_.items[i]));
            opened_.push_back(item);
            observed_.push_back(
                std::make_shared<ObservedItem>(item, i, [this](std::size_t index) { Touch(index); }));
        }
        phase_ = Phase::Clipping;
        current_.reset();

        Notes::NoteList notes;
        if (options_.combined) {
            notes.push_back(Global::CreateMultiItemsNote(observed_));
            clipped_ = opened_.size();
        } else {
            SelectionClipAction selection(std::make_shared<ItemSelection>(observed_), send_);
            notes = selection.GetNotes();
            while (clipped_ < notes.size() && notes[clipped_])
                ++clipped_;
            unsupportedSingle_ = notes.size() == 1 && !notes.front();
        }
        phase_ = Phase::Writing;
        if (!options_.htmlFolder.empty()) {
            progress_.Stage("writing the note pages");
            WriteNotePages(notes, options_.htmlFolder);
        }
        progress_.Stage("writing the document");
        return notes;
    }

    Phase FailedPhase() const { return phase_; }
    const std::optional<std::size_t>& CurrentItem() const { return current_; }
    std::size_t Clipped() const { return clipped_; }
    bool UnsupportedSingleItem() const { return unsupportedSingle_; }
    std::u16string MessageClassOf(std::size_t index) const { return StringOf(index, u"MessageClass"); }
    std::u16string SubjectOf(std::size_t index) const { return StringOf(index, u"Subject"); }

private:
    // For the lines that name an item: what cannot be read there is left out, not a second failure.
    std::u16string StringOf(std::size_t index, std::u16string_view name) const {
        try {
            return Automation::GetString(*opened_.at(index), name);
        } catch (...) {
            return {};
        }
    }

    void Touch(std::size_t index) {
        if (current_ == index)
            return;
        current_ = index;
        progress_.Item("clipping", index + 1, options_.items[index]);
    }

    const Options& options_;
    Progress& progress_;
    Notes::SendFunction send_;
    Phase phase_ = Phase::Starting;
    std::optional<std::size_t> current_;
    std::vector<std::shared_ptr<Msg::MsgItem>> opened_;
    std::vector<Automation::ObjectPtr> observed_;
    std::size_t clipped_ = 0;
    bool unsupportedSingle_ = false;
};

void PrintError(const std::string& line) {
    // File names, class names and failure texts all come from outside.
    std::fputs(("txclip: " + TerminalSafe(line) + "\n").c_str(), stderr);
    std::fflush(stderr);
}

// Item text on the user's terminal: a control character (an escape sequence in a subject) would
// be obeyed by the terminal, so each becomes a blank.
std::string TerminalText(std::u16string text) {
    for (char16_t& c : text)
        if (c < 0x20 || (c >= 0x7F && c <= 0x9F))
            c = u' ';
    return ToUtf8(text);
}

std::string LogFilePath() {
    const Logger& log = Logger::Instance();
    if (log.Directory().empty() || log.CurrentFileName().empty())
        return {};
    return ToUtf8(log.Directory() + log.CurrentFileName());
}

void ReportFailure(const TxClipAction& action, const Options& options, bool delivered) {
    std::string line;
    if (delivered)
        line = "the clip failed after the document was delivered";
    else if (options.destination == Destination::DesktopClient)
        line = "the document was not delivered";
    else
        line = "nothing was written";
    const auto& item = action.CurrentItem();
    if (item && action.FailedPhase() == Phase::Reading)
        line += "; the failure came while reading " + options.items[*item];
    else if (item && action.FailedPhase() == Phase::Clipping) {
        line += "; the failure came while clipping " + options.items[*item];
        if (const std::u16string subject = action.SubjectOf(*item); !subject.empty())
            line += " (\"" + TerminalText(subject) + "\")";
    }
    if (const std::string log = LogFilePath(); !log.empty())
        line += " (details in the log " + log + ")";
    PrintError(line);
    if (action.UnsupportedSingleItem())
        PrintError("not clipped: " + options.items.front() + ": items of class \"" +
                   TerminalText(action.MessageClassOf(0)) + "\" have no note");
}

void ReportNotClipped(const TxClipAction& action, const Options& options) {
    const std::size_t first = action.Clipped();
    for (std::size_t i = first; i < options.items.size(); ++i) {
        if (i == first)
            PrintError("not clipped: " + options.items[i] + ": items of class \"" +
                       TerminalText(action.MessageClassOf(i)) + "\" have no note");
        else
            PrintError("not clipped: " + options.items[i] + ": it comes after " + options.items[first]);
    }
}

int Clip(const Options& options) {
    Logger& log = Logger::Instance();
    if (!log.HasFileNamePattern())
        log.SetFileNamePattern(LogFileNamePattern(u"OLClipper", u'_'));
    log.Info(Format(u"txclip: %d item(s), %s", static_cast<std::int32_t>(options.items.size()),
                    options.combined ? u"one combined note" : u"one note per item"));
    Ui::SetShiftFromCommandLine(options.shift);
    // An item is anyone's: it reads local pictures only from the folders the user named.
    Html::Pictures::LimitLocalFolders({options.pictureFolders.begin(), options.pictureFolders.end()});

    Progress progress(Progress::StandardErrorIsTerminal(), options.items.size());
    ReportingUserInterface ui(progress);
    OutputTarget target{options.destination, options.outputPath, &progress};
    currentTarget = &target;
    TxClipAction action(options, progress, &SendToTarget);
    action.Execute();
    currentTarget = nullptr;
    progress.Clear();

    if (ui.MessagesShown() > 0 || !target.delivered) {
        ReportFailure(action, options, target.delivered);
        return kExitFailed;
    }
    if (action.Clipped() < options.items.size()) {
        ReportNotClipped(action, options);
        return kExitPartial;
    }
    return kExitWritten;
}

int BadUsage(const std::string& what) {
    PrintError(what);
    std::fputs("Try 'txclip --help' for more information.\n", stderr);
    return kExitUsage;
}

} // namespace

int RunTxClip(const std::vector<std::string>& arguments) {
    Options options;
    try {
        options = ParseCommandLine(arguments);
    } catch (const UsageError& e) {
        return BadUsage(e.what());
    }
    if (options.help) {
        std::fputs(UsageText().c_str(), stdout);
        return std::fflush(stdout) == 0 ? kExitWritten : kExitFailed;
    }
    if (options.version) {
        std::fputs(VersionText().c_str(), stdout);
        return std::fflush(stdout) == 0 ? kExitWritten : kExitFailed;
    }
    for (const std::string& folder : options.pictureFolders) {
        std::error_code error;
        if (!std::filesystem::is_directory(folder, error))
            return BadUsage("--pictures-from: \"" + folder + "\" is not a folder");
    }
    try {
        return Clip(options);
    } catch (const std::exception& e) {
        // Only this program's own steps get here; the clip's failures stop in the driver.
        PrintError(e.what());
    } catch (...) {
        PrintError("unexpected failure");
    }
    return kExitFailed;
}

} // namespace Tessarix::Cli
