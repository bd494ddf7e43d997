#include <gtest/gtest.h>

#include "core/Utils.h"
#include "wrappers/ItemWrappers.h"
#include "wrappers/WrapperTestSupport.h"

namespace Tessarix {
namespace {

using Testing::FakeItem;
using Testing::FileAttachment;
using Testing::NoteView;
using Testing::View;

const std::string kPrefix = "file:///C:/Outlook/Attachments/";
const std::string kStyle = " style='border-collapse:collapse;vertical-align:top;font-size:10pt'";
const std::string kRule = "<br><hr /><br><br>";

std::string Row(const std::string& label, const std::string& value) {
    return "<tr><td>" + label + ":</td><td>" + value + "</td></tr>";
}
std::string Table(const std::string& rows = "") {
    return "<table" + kStyle + ">" + rows + "</table>";
}
std::string Card(const std::string& pictureCell, const std::string& names, const std::string& phones,
                 const std::string& addresses) {
    return "<table><tr>" + pictureCell + "<td>" + names + "</td></tr><tr><td colspan=\"2\">" + phones +
           "<br>" + addresses + "</td></tr></table>";
}

struct ContactWrapperTest : Testing::WrapperTest {
    FakeItem contact{Outlook::kIID_ContactItem};

    ContactWrapperTest() {
        // Fields not set are missing: read as empty, so their rows are left out.
        contact.Set(u"Birthday", AutomationDate{949998.0}).Set(u"Anniversary", std::monostate{});
        contact.SetAttachments({});
        contact.message->streams.clear();
    }
    Notes::NotePtr Build() { return ContactWrapper(contact.object, pipeline).BuildNote(); }
};

TEST_F(ContactWrapperTest, ANameAndAMobileNumberMakeAMinimalCard) {
    contact.Set(u"FullName", u"Ann Smith").Set(u"MobileTelephoneNumber", u"+1 555 0100");
    const auto note = Build();
    const std::string card =
        Card("", Table(Row("Full Name", "Ann Smith")), Table(Row("Mobile Phone", "+1 555 0100")), Table());
    EXPECT_EQ(View(*note), (NoteView{"Ann Smith",
                                     card + kRule + "" + kRule + Table(),
                                     {{"author", "Ann Smith"}, {"source", "app.ms.outlook"}},
                                     {}}));
}

TEST_F(ContactWrapperTest, ThePictureMovesFromTheBodyIntoTheCardAndBecomesAResource) {
    contact.Set(u"CompanyName", u"Contoso")
        .Set(u"Email1Address", u"ann@contoso.com")
        .Set(u"WebPage", u"www.contoso.com")
        .Set(u"JobTitle", u"CEO")
        .Set(u"HomeAddress", u"1 Main St")
        .Set(u"BusinessHomePage", u"https://contoso.com")
        .Set(u"PersonalHomePage", u"ann.example")
        .Set(u"User4", u"four")
        .Set(u"Birthday", AutomationDate{29000.0});
    const std::string picture = kPrefix + "ContactPicture.jpg";
    contact.SetNativeBody("<p>Met at <IMG SRC=\"" + picture + "\"> the fair<img src='" + picture +
                              "' alt=x><img src=\"other.png\"></p>",
                          Mapi::kNativeBodyHtml);
    contact.SetAttachments({
        FileAttachment({.fileName = u"card.vcf", .content = "VCF", .mime = u"text/x-vcard"}),
        FileAttachment({.fileName = u"ContactPicture.jpg",
                        .content = "JPEG",
                        .mime = u"image/jpeg",
                        .hidden = true,
                        .contactPhoto = true}),
    });
    const auto note = Build();

    const std::string names =
        Table(Row("Company", "Contoso") + Row("Job Title", "CEO") +
              Row("Email", "<a href=\"mailto:ann@contoso.com\">ann@contoso.com</a>") +
              Row("Web Page", "<a href=\"http://www.contoso.com\">www.contoso.com</a>"));
    const std::string card = Card("<td><img src=\"" + picture + "\" ></td>", names, Table(),
                                  Table(Row("Home Address", "1 Main St")));
    const std::string body = "[DOM]<p>Met at  the fair<img src=\"other.png\"></p>[/DOM]";
    const std::string others =
        Table(Row("Business Home Page", "<a href=\"https://contoso.com\">https://contoso.com</a>") +
              Row("Birthday", ToUtf8(FormatDateTime(AutomationDate{29000.0}, kDateValueOnly))) +
              Row("Personal Home Page", "<a href=\"http://ann.example\">ann.example</a>") +
              Row("User Field4", "four"));
    EXPECT_EQ(
        View(*note),
        (NoteView{"Contoso",
                  card + kRule + body + kRule + others,
                  {{"author", "Contoso"}, {"source-url", "www.contoso.com"}, {"source", "app.ms.outlook"}},
                  {{"text/x-vcard", kPrefix + "card.vcf", "", "VCF"},
                   {"image/jpeg", picture, "ContactPicture.jpg", "JPEG"}}}));
}

// The empty-date marker: a birthday on 1 January 4501 is no birthday.
TEST_F(ContactWrapperTest, TheAuthorFallsBackToTheAddressAndTheEmptyBirthdayIsLeftOut) {
    contact.Set(u"Email1Address", u"x@y.z").Set(u"Body", u"line 1\nline <2>");
    const auto note = Build();
    EXPECT_EQ(note->GetTitle(), u"x@y.z");
    EXPECT_TRUE(note->GetContent().ends_with(
        FromUtf8(kRule + "line&nbsp;1<br>line&nbsp;&lt;2&gt;" + kRule + Table())));
    EXPECT_EQ(View(*note).attributes, (std::vector<std::pair<std::string, std::string>>{
                                          {"author", "x@y.z"}, {"source", "app.ms.outlook"}}));
}

// Only the card shows the picture here: the hidden attachment is still its resource.
TEST_F(ContactWrapperTest, APictureTheBodyDoesNotShowIsEmbeddedForTheCard) {
    contact.Set(u"FullName", u"Ann").Set(u"Body", u"notes");
    contact.SetAttachments({FileAttachment({.fileName = u"ContactPicture.jpg",
                                            .content = "JPEG",
                                            .mime = u"image/jpeg",
                                            .hidden = true,
                                            .contactPhoto = true})});
    const std::string picture = kPrefix + "ContactPicture.jpg";
    const auto note = Build();
    EXPECT_EQ(View(*note), (NoteView{"Ann",
                                     Card("<td><img src=\"" + picture + "\" ></td>",
                                          Table(Row("Full Name", "Ann")), Table(), Table()) +
                                         kRule + "notes" + kRule + Table(),
                                     {{"author", "Ann"}, {"source", "app.ms.outlook"}},
                                     {{"image/jpeg", picture, "ContactPicture.jpg", "JPEG"}}}));
    EXPECT_TRUE(pipeline->loads.empty());
}

TEST(ContactPictureTags, OnlyTagsNamingThePictureGo) {
    const std::u16string ref = u"file:///C:/Outlook/Attachments/p.jpg";
    EXPECT_EQ(
        ContactWrapper::RemovePictureTags(u"a<img src='" + ref + u"'>b<IMG\nSRC=\"" + ref + u"\" />c", ref),
        u"abc");
    EXPECT_EQ(ContactWrapper::RemovePictureTags(u"<img src='q.jpg'><Img src='" + ref + u"'>", ref),
              u"<img src='q.jpg'><Img src='" + ref + u"'>");
    EXPECT_EQ(ContactWrapper::RemovePictureTags(u"x<img src='" + ref, ref), u"x<img src='" + ref);
    EXPECT_EQ(ContactWrapper::RemovePictureTags(u"<img src='a'>", u""), u"<img src='a'>");
}

} // namespace
} // namespace Tessarix
