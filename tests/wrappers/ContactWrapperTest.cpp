#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Utf.h"
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

enum class Shown { Text, MailLink, WebLink, Date };
struct Field {
    std::string label;
    std::u16string property;
    Shown shown = Shown::Text;
};
using Fields = std::vector<Field>;

// The card's labels in their order, each with the contact property of its meaning.
const Fields kNames = {{"Full Name", u"FullName"},
                       {"Company", u"CompanyName"},
                       {"Job Title", u"JobTitle"},
                       {"Email", u"Email1Address", Shown::MailLink},
                       {"Web Page", u"WebPage", Shown::WebLink},
                       {"IM Address", u"IMAddress"}};
const Fields kPhones = {
    {"Primary Phone", u"PrimaryTelephoneNumber"},   {"Company main Phone", u"CompanyMainTelephoneNumber"},
    {"Home Phone", u"HomeTelephoneNumber"},         {"Home Phone 2", u"Home2TelephoneNumber"},
    {"Mobile Phone", u"MobileTelephoneNumber"},     {"Assistant Phone", u"AssistantTelephoneNumber"},
    {"Business Phone", u"BusinessTelephoneNumber"}, {"Other Phone", u"OtherTelephoneNumber"},
    {"Radio Phone", u"RadioTelephoneNumber"},       {"Business Fax", u"BusinessFaxNumber"},
    {"Callback", u"CallbackTelephoneNumber"},       {"Car Phone", u"CarTelephoneNumber"}};
const Fields kAddresses = {
    {"Home Address", u"HomeAddress"},         {"Home Address PO Box", u"HomeAddressPostOfficeBox"},
    {"Business Address", u"BusinessAddress"}, {"Business Address PO Box", u"BusinessAddressPostOfficeBox"},
    {"Other Address", u"OtherAddress"},       {"Other Address PO Box", u"OtherAddressPostOfficeBox"}};
const Fields kOthers = {{"Business Home Page", u"BusinessHomePage", Shown::WebLink},
                        {"Birthday", u"Birthday", Shown::Date},
                        {"Anniversary", u"Anniversary", Shown::Date},
                        {"Categories", u"Categories"},
                        {"Department", u"Department"},
                        {"HomeFax", u"HomeFaxNumber"},
                        {"ISDN", u"ISDNNumber"},
                        {"Mailing Address", u"MailingAddress"},
                        {"Office Location", u"OfficeLocation"},
                        {"Other Fax", u"OtherFaxNumber"},
                        {"Pager", u"PagerNumber"},
                        {"Personal Home Page", u"PersonalHomePage", Shown::WebLink},
                        {"Telex", u"TelexNumber"},
                        {"TTY/TDD Phone", u"TTYTDDTelephoneNumber"},
                        {"Account", u"Account"},
                        {"Billing Information", u"BillingInformation"},
                        {"Computer Network Name", u"ComputerNetworkName"},
                        {"Children", u"Children"},
                        {"CustomerID", u"CustomerID"},
                        {"Government ID Number", u"GovernmentIDNumber"},
                        {"FTP Site", u"FTPSite"},
                        {"Hobbies", u"Hobbies"},
                        {"Internet Free/Busy Address", u"InternetFreeBusyAddress"},
                        {"Language", u"Language"},
                        {"Mileage", u"Mileage"},
                        {"Organizational ID Number", u"OrganizationalIDNumber"},
                        {"Referred By", u"ReferredBy"},
                        {"User Field1", u"User1"},
                        {"User Field2", u"User2"},
                        {"User Field3", u"User3"},
                        {"User Field4", u"User4"}};

// Every field of the card filled with a value of its own (dates: a day of their own), the picture
// marked among the attachments and shown twice in the body, in both cases.
TEST_F(ContactWrapperTest, EveryFieldStandsInItsRowUnderItsLabelBesideThePicture) {
    double day = 30000;
    const auto fill = [&](const Fields& fields) {
        std::string rows;
        for (const Field& field : fields) {
            const std::string own = "v:" + ToUtf8(field.property);
            std::string value = own;
            switch (field.shown) {
            case Shown::Text:
                contact.Set(field.property, FromUtf8(own));
                break;
            case Shown::MailLink:
                contact.Set(field.property, FromUtf8(own));
                value = "<a href=\"mailto:" + own + "\">" + own + "</a>";
                break;
            case Shown::WebLink:
                contact.Set(field.property, FromUtf8(own));
                value = "<a href=\"http://" + own + "\">" + own + "</a>";
                break;
            case Shown::Date:
                contact.Set(field.property, AutomationDate{++day});
                value = ToUtf8(FormatDateTime(AutomationDate{day}, kDateValueOnly));
                break;
            }
            rows += Row(field.label, value);
        }
        return Table(rows);
    };
    const std::string names = fill(kNames);
    const std::string phones = fill(kPhones);
    const std::string addresses = fill(kAddresses);
    const std::string others = fill(kOthers);
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

    const std::string card = Card("<td><img src=\"" + picture + "\" ></td>", names, phones, addresses);
    const std::string body = "[DOM]<p>Met at  the fair<img src=\"other.png\"></p>[/DOM]";
    EXPECT_EQ(View(*note),
              (NoteView{"v:FullName",
                        card + kRule + body + kRule + others,
                        {{"author", "v:FullName"}, {"source-url", "v:WebPage"}, {"source", "app.ms.outlook"}},
                        {{"text/x-vcard", kPrefix + "card.vcf", "", "VCF"},
                         {"image/jpeg", picture, "ContactPicture.jpg", "JPEG"}}}));
}

// The author is the first of full name, company and address that is set.
TEST_F(ContactWrapperTest, TheAuthorFallsBackToTheCompany) {
    contact.Set(u"CompanyName", u"Contoso").Set(u"Email1Address", u"x@y.z");
    EXPECT_EQ(Build()->GetTitle(), u"Contoso");
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
