// txclip as a program: where the document goes, what the user sees, the selection rules, SHIFT,
// the desktop client and the log.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "ExportReader.h"
#include "TxClipRunner.h"
#include "cli/Samples.h"
#include "core/LocalizedStrings.h"
#include "core/UserInterface.h"
#include "core/Utf.h"
#include "msg/MsgFile.h"
#include "tests/notes/posix/ClientListener.h"

namespace Tessarix::Testing {
namespace {

Msg::MessageData Post(std::u16string subject, std::u16string messageClass = u"IPM.Post") {
    Msg::MessageData message;
    message.props.Set(0x001A001F, Msg::Value::Unicode(messageClass))
        .Set(0x0037001F, Msg::Value::Unicode(subject));
    return message;
}

TEST_F(TxClipTest, HelpVersionAndBadUsageFollowTheUsualConventions) {
    const RunResult help = Run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.out.starts_with("Usage: txclip [OPTION]... ITEM.msg...\n"));
    EXPECT_NE(help.out.find("--combined"), std::string::npos);
    EXPECT_NE(help.out.find("--pictures-from=FOLDER"), std::string::npos);
    EXPECT_EQ(help.err, "");

    const RunResult version = Run({"--version", "ignored.msg"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.out.starts_with("txclip (TessarixOL) ")) << version.out;
    EXPECT_EQ(version.err, "");

    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"--frobnicate", "a.msg"},
                                               {"a.msg", "-o"},
                                               {"a.msg", "--pictures-from", (root_ / "none").string()},
                                               {"a.msg", "--html="},
                                               {"a.msg", "--html", "a", "--html", "b"}}) {
        const RunResult bad = Run(arguments);
        ExpectCleanExit(bad);
        EXPECT_EQ(bad.status, 2);
        EXPECT_EQ(bad.out, "");
        EXPECT_TRUE(bad.err.starts_with("txclip: ")) << bad.err;
        EXPECT_TRUE(bad.err.ends_with("Try 'txclip --help' for more information.\n")) << bad.err;
    }
    // Nothing ran: no log was started.
    EXPECT_FALSE(std::filesystem::exists(LogFolder()));
}

TEST_F(TxClipTest, WithoutOutputFileTheDocumentGoesToStandardOutputAndIsDumpedAndLogged) {
    const RunResult result = Run({Sample("01-mail-plain.msg"), Sample("16-sticky-note.msg")});
    ExpectCleanExit(result);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const auto notes = ReadExport(result.out);
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[1].title, "Buy milk");

    // As the add-in does: the last document in TXCEData.xml, the clip in the "OLClipper" log.
    EXPECT_EQ(ReadFileBytes(LogFolder() / "TXCEData.xml"), result.out);
    std::vector<std::string> logs;
    for (const auto& name : Entries(LogFolder()))
        if (name.starts_with("OLClipper_"))
            logs.push_back(name);
    ASSERT_EQ(logs.size(), 1u);
    const std::string log = ReadFileBytes(LogFolder() / logs[0]);
    for (const char* line :
         {"Info: ClipAction::DoExecute get notes", "Debug: SelectionClipAction::GetNotes() count: 2",
          "Info: WrapperFactory::CreateWrapper: Mail", "Info: WrapperFactory::CreateWrapper: Note",
          "Info: Sending TXCE data, SHIFT not pressed.", "Info: ClipAction::DoExecute complete"})
        EXPECT_NE(log.find(line), std::string::npos) << line;
}

TEST_F(TxClipTest, TheOutputFileIsReplacedWholeWithTheUsersFileMode) {
    const auto output = out_ / "clip.xml";
    WriteFileBytes(output, "an older document");
    const mode_t previous = ::umask(027);
    const RunResult result = Run({Sample("14-task.msg"), "--output=" + output.string()});
    ::umask(previous);
    ExpectCleanExit(result);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(ReadExport(ReadFileBytes(output)).at(0).title, "File expense report");
    // No temporary file is left beside it.
    EXPECT_EQ(Entries(out_), std::vector<std::string>{"clip.xml"});
    struct stat status {};
    ASSERT_EQ(::stat(output.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST_F(TxClipTest, AFailedClipLeavesTheOutputFileAsItWas) {
    const auto output = out_ / "clip.xml";
    WriteFileBytes(output, "an older document");
    const std::string bad = CorruptSample("bad-text.msg");
    const RunResult result = Run({Sample("01-mail-plain.msg"), bad, "-o", output.string()});
    ExpectCleanExit(result);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(ReadFileBytes(output), "an older document");
    EXPECT_EQ(Entries(out_), std::vector<std::string>{"clip.xml"});
    // The message box's caption and text, then what txclip adds.
    EXPECT_TRUE(
        result.err.starts_with("Error message: " + bad +
                               ": not an Outlook item: no compound-file "
                               "structure\ntxclip: nothing was written; the failure came while reading " +
                               bad + " (details in the log "))
        << result.err;
    // The driver's report is in the log too; no document was dumped.
    EXPECT_FALSE(std::filesystem::exists(LogFolder() / "TXCEData.xml"));
}

TEST_F(TxClipTest, AnUnwritableOutputIsAFailureThatNamesIt) {
    const std::string output = (root_ / "missing" / "clip.xml").string();
    const RunResult result = Run({Sample("16-sticky-note.msg"), "-o", output});
    ExpectCleanExit(result);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.starts_with("Error message: Cannot write the export document to \"" + output +
                                       "\": No such file or directory\ntxclip: nothing was written"))
        << result.err;
    EXPECT_FALSE(std::filesystem::exists(root_ / "missing"));

    const RunResult folder = Run({Sample("16-sticky-note.msg"), "-o", out_.string()});
    EXPECT_EQ(folder.status, 1);
    EXPECT_NE(folder.err.find("Is a directory"), std::string::npos) << folder.err;
    EXPECT_TRUE(Entries(out_).empty());
}

TEST_F(TxClipTest, SendHandsTheDocumentToTheDesktopClientWithTheShiftFlag) {
    const std::string item = Sample("15-journal.msg");
    for (const bool shift : {false, true}) {
        Listener client((run_ / "tessarix-txclipper.sock").string(), {Turn{}});
        std::vector<std::string> arguments{item, "--send"};
        if (shift)
            arguments.push_back("--shift");
        const RunResult result = Run(arguments);
        ExpectCleanExit(result);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "");
        const auto& received = client.Stop();
        ASSERT_EQ(received.size(), 1u);
        ASSERT_TRUE(received[0].gotDocument);
        EXPECT_EQ(received[0].message, 74u);
        EXPECT_EQ(received[0].sender, 0u);
        EXPECT_EQ(received[0].flag, shift ? 1u : 0u);
        EXPECT_EQ(ReadExport(received[0].bytes).at(0).title, "Call with Globex");
        EXPECT_EQ(received[0].bytes, ReadFileBytes(LogFolder() / "TXCEData.xml"));
        std::filesystem::remove(run_ / "tessarix-txclipper.sock");
    }
}

TEST_F(TxClipTest, SendWithoutADesktopClientFailsAsTheAddinWould) {
    const RunResult result = Run({Sample("15-journal.msg"), "--send", "--shift"});
    ExpectCleanExit(result);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    const std::string text = ToUtf8(LoadLocalizedString(StringId::kClientNotRunning));
    ASSERT_FALSE(text.empty());
    EXPECT_TRUE(result.err.starts_with("Error message: " + text.substr(0, text.find('\n'))));
    EXPECT_NE(result.err.find("\ntxclip: the document was not delivered (details in the log "),
              std::string::npos)
        << result.err;
    // Built and dumped before the hand-off was tried, SHIFT as given.
    EXPECT_TRUE(std::filesystem::exists(LogFolder() / "TXCEData.xml"));
}

TEST_F(TxClipTest, CombinedMakesOneNoteThatCarriesTheItemsAsFiles) {
    const auto notes =
        ReadExport(ClipToFile({"--combined", Sample("01-mail-plain.msg"), Item(Post(u"A post"), "post.msg"),
                               Sample("16-sticky-note.msg")}));
    ASSERT_EQ(notes.size(), 1u);
    const ExportNote& note = notes[0];
    // Every item goes in, even one whose type has no note of its own.
    EXPECT_EQ(note.title, "3 Outlook items");
    EXPECT_EQ(note.content,
              "<ul><li>Quarterly numbers.msg</li><li>A post.msg</li><li>Buy milk.msg</li></ul>");
    EXPECT_EQ(note.attributes,
              (std::vector<std::pair<std::string, std::string>>{{"source", "app.ms.outlook"}}));
    ASSERT_EQ(note.resources.size(), 3u);
    const char16_t* subjects[] = {u"Quarterly numbers", u"A post", u"Buy milk"};
    for (std::size_t i = 0; i < 3; ++i) {
        const ExportResource& resource = note.resources[i];
        EXPECT_EQ(resource.fileName, ToUtf8(subjects[i]) + ".msg");
        EXPECT_EQ(resource.sourceUrl, "file:///C:/Outlook/Attachments/" + resource.fileName);
        EXPECT_EQ(resource.mime, "application/octet-stream");
        const auto saved = Msg::MsgMessage::OpenBytes(resource.data, u"saved.msg");
        EXPECT_EQ(saved->Props()->String(0x0037001F).value_or(u""), subjects[i]);
    }
}

TEST_F(TxClipTest, AnItemWithoutANoteTypeEndsTheClipAndIsNamed) {
    const std::string mail = Sample("01-mail-plain.msg");
    const std::string post = Item(Post(u"A post"), "post.msg");
    const std::string task = Sample("14-task.msg");
    const std::string output = (out_ / "clip.xml").string();
    const RunResult result = Run({mail, post, task, "-o", output});
    ExpectCleanExit(result);
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "txclip: not clipped: " + post + ": items of class \"IPM.Post\" have no note\n" +
                              "txclip: not clipped: " + task + ": it comes after " + post + "\n");
    const auto notes = ReadExport(ReadFileBytes(output));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].title, "Quarterly numbers");

    // First in the list: a document without notes, as the add-in would send. A class that would
    // retitle the terminal reaches it with blanks for its control characters.
    const std::string odd = Item(Post(u"Odd", u"IPM.Post.\x1B]0;owned\x07"), "odd.msg");
    const RunResult first = Run({odd, mail, "-o", output});
    EXPECT_EQ(first.status, 3);
    EXPECT_TRUE(
        first.err.starts_with("txclip: not clipped: " + odd + ": items of class \"IPM.Post. ]0;owned \""))
        << first.err;
    EXPECT_TRUE(ReadExport(ReadFileBytes(output)).empty());
}

// Item text and file names reach the terminal without their control characters; the only escape
// sequence left is the progress line's own rewrite.
TEST_F(TxClipTest, EscapeSequencesInAClassAndAFileNameNeverReachTheTerminal) {
    const std::string mail = Sample("01-mail-plain.msg");
    const std::string odd = Item(Post(u"Odd", u"IPM.Post.\x1B]0;owned\x07"), "odd\x1B[2J\xC2\x9B"
                                                                             "1m.msg");
    RunOptions terminal;
    terminal.stderrIsTerminal = true;
    const RunResult result = Run({mail, odd, "-o", (out_ / "clip.xml").string()}, terminal);
    EXPECT_EQ(result.status, 3) << result.err;
    std::string shown = result.err;
    for (std::size_t at; (at = shown.find("\r\x1b[K")) != std::string::npos;)
        shown.erase(at, 3);
    EXPECT_EQ(shown.find_first_of("\x1B\x07"), std::string::npos) << result.err;
    EXPECT_EQ(shown.find("\xC2\x9B"), std::string::npos) << result.err;
    const std::string blanked = (items_ / "odd [2J 1m.msg").string();
    EXPECT_NE(shown.find("txclip: reading 2/2 " + blanked), std::string::npos) << result.err;
    EXPECT_NE(shown.find("txclip: not clipped: " + blanked + ": items of class \"IPM.Post. ]0;owned \""),
              std::string::npos)
        << result.err;
}

// A failure's text (an attachment's name, say) is shown as "caption: text" lines, safely.
TEST(TxClipFailureText, ControlCharactersInAnAttachmentNameAreBlankedButLinesKept) {
    std::fflush(stderr);
    const int saved = ::dup(STDERR_FILENO);
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "tx-failure-text.txt";
    FILE* capture = std::fopen(file.c_str(), "w+");
    ASSERT_NE(capture, nullptr);
    ::dup2(::fileno(capture), STDERR_FILENO);
    Ui::PlatformUserInterface().ShowMessage(u"Attachment \"a\x1B[31m\x9B\tb.pdf\" is too large\nsecond line",
                                            u"Error message");
    std::fflush(stderr);
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
    std::fclose(capture);
    EXPECT_EQ(ReadFileBytes(file), "Error message: Attachment \"a [31m \tb.pdf\" is too large\n"
                                   "Error message: second line\n");
    std::filesystem::remove(file);
}

TEST_F(TxClipTest, ASingleItemWithoutANoteTypeFailsTheClip) {
    const std::string post = Item(Post(u"A post"), "post.msg");
    const RunResult result = Run({post, "-o", (out_ / "clip.xml").string()});
    ExpectCleanExit(result);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.starts_with("Unexpected error: Unexpected error during note creation.\n"
                                       "txclip: nothing was written"))
        << result.err;
    EXPECT_TRUE(result.err.ends_with("txclip: not clipped: " + post +
                                     ": items of class \"IPM.Post\" have no note\n"));
    EXPECT_TRUE(Entries(out_).empty());
}

TEST_F(TxClipTest, ProgressIsShownOnlyOnATerminal) {
    const std::vector<std::string> items{Sample("10-contact.msg"), Sample("11-appointment.msg")};
    RunOptions terminal;
    terminal.stderrIsTerminal = true;
    const RunResult shown = Run({items[0], items[1], "-o", (out_ / "clip.xml").string()}, terminal);
    ExpectCleanExit(shown);
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_NE(shown.err.find("\r\x1b[Ktxclip: reading 2/2 " + items[1]), std::string::npos) << shown.err;
    EXPECT_NE(shown.err.find("\r\x1b[Ktxclip: clipping 1/2 " + items[0]), std::string::npos) << shown.err;
    EXPECT_NE(shown.err.find("\r\x1b[Ktxclip: clipping 2/2 " + items[1]), std::string::npos) << shown.err;
    // The line is cleared at the end.
    EXPECT_TRUE(shown.err.ends_with("\r\x1b[K")) << shown.err;

    // A failure starts on a line of its own.
    const RunResult failed = Run({items[0], CorruptSample("bad-empty.msg")}, terminal);
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.err.find("\r\x1b[KError message: "), std::string::npos) << failed.err;

    const RunResult piped = Run({items[0], items[1], "-o", (out_ / "clip.xml").string()});
    EXPECT_EQ(piped.err, "");
}

// Each note as a page beside its resources, the pictures linked to their files: the page holds
// the note's content with only those addresses changed.
TEST_F(TxClipTest, HtmlWritesEachNoteAsAPageBesideItsResources) {
    const std::filesystem::path pages = out_ / "pages";
    const RunResult result = Run({Sample("02-mail-html.msg"), Sample("14-task.msg"), "--html", pages.string(),
                                  "-o", (out_ / "c.xml").string()});
    ExpectCleanExit(result);
    ASSERT_EQ(result.status, 0) << result.err;
    const auto notes = ReadExport(ReadFileBytes(out_ / "c.xml"));
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(Entries(pages), (std::vector<std::string>{"note-1-files", "note-1.html", "note-2.html"}));

    const ExportNote& mail = notes[0];
    ASSERT_EQ(mail.resources.size(), 2u);
    EXPECT_EQ(Entries(pages / "note-1-files"), (std::vector<std::string>{"1.png", "2.bin"}));
    EXPECT_EQ(ReadFileBytes(pages / "note-1-files/1.png"), mail.resources[0].data);
    EXPECT_EQ(ReadFileBytes(pages / "note-1-files/2.bin"), mail.resources[1].data);
    std::string content = mail.content;
    const std::string cid = " src=\"" + mail.resources[0].sourceUrl + "\"";
    ASSERT_NE(content.find(cid), std::string::npos);
    content.replace(content.find(cid), cid.size(), " src=\"note-1-files/1.png\"");
    const std::string page = ReadFileBytes(pages / "note-1.html");
    EXPECT_TRUE(page.starts_with("<!DOCTYPE html>\n")) << page;
    EXPECT_NE(page.find("<title>" + mail.title + "</title>"), std::string::npos);
    EXPECT_NE(page.find("<body>" + content + "</body>"), std::string::npos);
    EXPECT_NE(ReadFileBytes(pages / "note-2.html").find("<body>" + notes[1].content + "</body>"),
              std::string::npos);
}

} // namespace
} // namespace Tessarix::Testing
