// Items as they come from anywhere: text that XML cannot carry, failures that must name the item,
// picture addresses that point into the machine running txclip.
#include <gtest/gtest.h>

#include <algorithm>

#include "ExportReader.h"
#include "TxClipRunner.h"
#include "cli/Samples.h"
#include "core/CodePage.h"
#include "core/MapiProp.h"
#include "tests/msg/MsgFixtures.h"

namespace Tessarix::Testing {
namespace {

using namespace std::string_literals;
using Msg::MessageData;
using Msg::RecipientData;
using Msg::Value;

using namespace Msg::Testing;

MessageData NewItem(std::u16string_view messageClass, std::u16string_view subject) {
    MessageData message;
    message.props.Set(kPR_MESSAGE_CLASS_W, Value::Unicode(messageClass))
        .Set(kPR_SUBJECT_W, Value::Unicode(subject));
    return message;
}

MessageData Mail(std::u16string_view subject, std::u16string_view sender, std::u16string_view recipient) {
    MessageData mail = NewItem(u"IPM.Note", subject);
    mail.props.Set(kPR_SENDER_NAME_W, Value::Unicode(sender))
        .Set(kPR_SENDER_EMAIL_ADDRESS_W, Value::Unicode(u"ann@example.com"));
    RecipientData to;
    to.props.Set(kPR_DISPLAY_NAME_W, Value::Unicode(recipient))
        .Set(kPR_EMAIL_ADDRESS_W, Value::Unicode(u"bob@example.com"))
        .Set(kPR_RECIPIENT_TYPE, Value::Long(1));
    mail.recipients.push_back(std::move(to));
    return mail;
}

// ---- a failing item is named ----

TEST_F(TxClipTest, AFailureNamesTheItemByFileAndSubject) {
    MessageData good = Mail(u"Fine", u"Ann", u"Bob");
    good.props.Set(kPR_BODY_W, Value::Unicode(u"Short."));
    // Past the note-content limit once every line break is serialized; the subject would clear
    // the user's screen if it reached the terminal as it is.
    MessageData large = Mail(u"Big\x1B[2Jreport", u"Ann", u"Bob");
    std::u16string lines;
    for (int i = 0; i < 800000; ++i)
        lines += u"\r\n";
    large.props.Set(kPR_BODY_W, Value::Unicode(lines));
    const std::string failing = Item(large, "large.msg");

    const RunResult result = Run({Item(good, "good.msg"), failing, "-o", (out_ / "clip.xml").string()});
    ExpectCleanExit(result);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(
        result.err.starts_with("Error message: Tessarix cannot create the note because it is too large."))
        << result.err;
    EXPECT_NE(result.err.find("\ntxclip: nothing was written; the failure came while clipping " + failing +
                              " (\"Big [2Jreport\") (details in the log "),
              std::string::npos)
        << result.err;
    EXPECT_TRUE(Entries(out_).empty());
}

// ---- pictures named by local paths ----

class TxClipLocalPictures : public TxClipTest {
protected:
    TxClipLocalPictures() {
        namespace fs = std::filesystem;
        for (const char* folder : {"secret", "pictures", "pictures-old"})
            fs::create_directory(root_ / folder);
        WriteFileBytes(root_ / "secret/key", kSecret);
        WriteFileBytes(root_ / "pictures-old/key.png", kSecret);
        WriteFileBytes(root_ / "pictures/chart.png", Cli::Samples::PngPixel());
        fs::create_symlink(root_ / "secret/key", root_ / "pictures/link.png");
    }

    // An HTML mail whose pictures name the files above in every way a path can reach them.
    std::string ItemNamingLocalFiles() {
        const std::string root = root_.string();
        const std::string addresses[] = {
            "file://" + root + "/secret/key",             // outside every folder
            root + "/secret/key",                         // a bare path
            "file://" + root + "/pictures/../secret/key", // out through ".."
            "file://" + root + "/pictures/link.png",      // out through a symbolic link
            "file://" + root + "/pictures-old/key.png",   // a folder whose name only begins alike
            "file://" + root + "/pictures/chart.png",     // the one picture inside
        };
        std::string html = "<html><body><p>Pictures:";
        for (const std::string& address : addresses)
            html += "<img src=\"" + address + "\">";
        html += "</p></body></html>";
        MessageData mail = Mail(u"Pictures", u"Ann", u"Bob");
        mail.props.Set(Mapi::kPR_INTERNET_CPID, Value::Long(CodePage::kUtf8))
            .Set(Mapi::kPR_HTML, Value::Binary(html));
        return Item(mail, "pictures.msg");
    }

    std::size_t RefusalsLogged() const {
        std::size_t count = 0;
        for (const std::string& name : Entries(LogFolder())) {
            const std::string log = ReadFileBytes(LogFolder() / name);
            for (std::size_t at = log.find(": Picture not read: "); at != std::string::npos;
                 at = log.find(": Picture not read: ", at + 1))
                ++count;
        }
        return count;
    }

    static constexpr char kSecret[] = "ssh-ed25519 the user's own key";
};

TEST_F(TxClipLocalPictures, ByDefaultNoLocalFileIsRead) {
    const auto notes = ReadExport(ClipToFile({ItemNamingLocalFiles()}));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_TRUE(notes[0].resources.empty());
    EXPECT_EQ(RefusalsLogged(), 6u);
}

TEST_F(TxClipLocalPictures, OnlyFilesInsideTheNamedFoldersAreRead) {
    const auto notes =
        ReadExport(ClipToFile({ItemNamingLocalFiles(), "--pictures-from", (root_ / "pictures").string(),
                               "--pictures-from=" + out_.string()}));
    ASSERT_EQ(notes.size(), 1u);
    ASSERT_EQ(notes[0].resources.size(), 1u);
    EXPECT_EQ(notes[0].resources[0].sourceUrl, "file://" + (root_ / "pictures/chart.png").string());
    EXPECT_EQ(notes[0].resources[0].mime, "image/png");
    EXPECT_EQ(notes[0].resources[0].data, Cli::Samples::PngPixel());
    EXPECT_EQ(RefusalsLogged(), 5u);
}

} // namespace
} // namespace Tessarix::Testing
