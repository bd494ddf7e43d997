#include <span>

#include "attachments/Attachment.h"
#include "core/Format.h"
#include "core/Log.h"
#include "core/LogText.h"
#include "itemaccess/HtmlFragments.h"
#include "itemaccess/MapiProperties.h"
#include "wrappers/ItemWrappers.h"

namespace Tessarix {

namespace {

enum class Shown { Text, MailLink, WebLink, Date };

// A row label and the _ContactItem property behind it.
struct Field {
    const char16_t* label;
    const char16_t* property;
    Shown shown = Shown::Text;
};

constexpr Field kNames[] = {
    {u"Full Name", u"FullName"},
    {u"Company", u"CompanyName"},
    {u"Job Title", u"JobTitle"},
    {u"Email", u"Email1Address", Shown::MailLink},
    {u"Web Page", u"WebPage", Shown::WebLink},
    {u"IM Address", u"IMAddress"},
};

constexpr Field kPhones[] = {
    {u"Primary Phone", u"PrimaryTelephoneNumber"},   {u"Company main Phone", u"CompanyMainTelephoneNumber"},
    {u"Home Phone", u"HomeTelephoneNumber"},         {u"Home Phone 2", u"Home2TelephoneNumber"},
    {u"Mobile Phone", u"MobileTelephoneNumber"},     {u"Assistant Phone", u"AssistantTelephoneNumber"},
    {u"Business Phone", u"BusinessTelephoneNumber"}, {u"Other Phone", u"OtherTelephoneNumber"},
    {u"Radio Phone", u"RadioTelephoneNumber"},       {u"Business Fax", u"BusinessFaxNumber"},
    {u"Callback", u"CallbackTelephoneNumber"},       {u"Car Phone", u"CarTelephoneNumber"},
};

constexpr Field kAddresses[] = {
    {u"Home Address", u"HomeAddress"},         {u"Home Address PO Box", u"HomeAddressPostOfficeBox"},
    {u"Business Address", u"BusinessAddress"}, {u"Business Address PO Box", u"BusinessAddressPostOfficeBox"},
    {u"Other Address", u"OtherAddress"},       {u"Other Address PO Box", u"OtherAddressPostOfficeBox"},
};

constexpr Field kOthers[] = {
    {u"Business Home Page", u"BusinessHomePage", Shown::WebLink},
    {u"Birthday", u"Birthday", Shown::Date},
    {u"Anniversary", u"Anniversary", Shown::Date},
    {u"Categories", u"Categories"},
    {u"Department", u"Department"},
    {u"HomeFax", u"HomeFaxNumber"},
    {u"ISDN", u"ISDNNumber"},
    {u"Mailing Address", u"MailingAddress"},
    {u"Office Location", u"OfficeLocation"},
    {u"Other Fax", u"OtherFaxNumber"},
    {u"Pager", u"PagerNumber"},
    {u"Personal Home Page", u"PersonalHomePage", Shown::WebLink},
    {u"Telex", u"TelexNumber"},
    {u"TTY/TDD Phone", u"TTYTDDTelephoneNumber"},
    {u"Account", u"Account"},
    {u"Billing Information", u"BillingInformation"},
    {u"Computer Network Name", u"ComputerNetworkName"},
    {u"Children", u"Children"},
    {u"CustomerID", u"CustomerID"},
    {u"Government ID Number", u"GovernmentIDNumber"},
    {u"FTP Site", u"FTPSite"},
    {u"Hobbies", u"Hobbies"},
    {u"Internet Free/Busy Address", u"InternetFreeBusyAddress"},
    {u"Language", u"Language"},
    {u"Mileage", u"Mileage"},
    {u"Organizational ID Number", u"OrganizationalIDNumber"},
    {u"Referred By", u"ReferredBy"},
    {u"User Field1", u"User1"},
    {u"User Field2", u"User2"},
    {u"User Field3", u"User3"},
    {u"User Field4", u"User4"},
};

constexpr char16_t kCardFormat[] =
    u"<table><tr>%s<td>%s</td></tr><tr><td colspan=\"2\">%s</td></tr></table>%s";
constexpr char16_t kPictureCellFormat[] = u"<td><img src=\"%s\" ></td>";
constexpr char16_t kRule[] = u"<br><hr /><br><br>";

// The reference under which the card shows the attachment marked as the contact picture; "" when
// there is none.
std::u16string FindPictureReference(Automation::IObject* attachments) {
    if (!attachments)
        return {};
    const std::int32_t count = Automation::GetInt(*attachments, u"Count");
    for (std::int32_t i = 1; i <= count; ++i) {
        const auto item = Automation::AsObject(Automation::CallMethod(*attachments, u"Item", {i}));
        if (!item)
            continue;
        Mapi::PropPtr attach;
        if (Failed(item->GetMapiObject(Mapi::kIID_IAttachment, attach)) || !attach)
            continue;
        if (!Global::GetBoolProperty(attach.get(), Mapi::kPR_ATTACHMENT_CONTACTPHOTO, false))
            continue;
        AttachmentUtils utils;
        const auto picture = utils.Wrap(item);
        if (!picture)
            continue;
        std::u16string reference = kAttachmentUrlPrefix;
        reference += picture->GetID();
        return reference;
    }
    return {};
}

} // namespace

ContactWrapper::ContactWrapper(Automation::ObjectPtr item, ContentPipelinePtr pipeline)
    : BaseWrapper(u"ContactWrapper", std::move(item), std::move(pipeline)) {
    CallTracer tracer(u"ContactWrapper::Ctor");
}

ContactWrapper::~ContactWrapper() {
    CallTracer tracer(u"ContactWrapper::Dtor");
}

std::u16string ContactWrapper::RemovePictureTags(std::u16string html, std::u16string_view reference) {
    if (reference.empty())
        return html;
    for (const std::u16string_view open : {std::u16string_view(u"<img"), std::u16string_view(u"<IMG")}) {
        std::size_t at = html.find(open);
        while (at != std::u16string::npos) {
            const std::size_t end = html.find(u'>', at);
            if (end == std::u16string::npos)
                break;
            if (std::u16string_view(html).substr(at, end - at + 1).find(reference) !=
                std::u16string_view::npos) {
                html.erase(at, end - at + 1);
                at = html.find(open, at);
            } else {
                at = html.find(open, end + 1);
            }
        }
    }
    return html;
}

Notes::NotePtr ContactWrapper::BuildNote() {
    CallTracer tracer(u"ContactWrapper::BuildNote()");
    Item();
    if (auto selection = BuildSelectionNote())
        return selection;

    auto note = std::make_shared<Notes::CNote>();
    const auto attachments = ReadObject(u"Attachments");
    const auto message = OpenMapiMessage();
    std::vector<std::u16string> unresolved;
    std::u16string body = RenderItemBody(message.get(), attachments.get(), note->GetResources(), unresolved);

    // The card shows the picture; the body must not show it a second time.
    const std::u16string picture = FindPictureReference(attachments.get());
    if (!picture.empty()) {
        Log().Info(Format(u"  Contact picture: %s", LogLiteral(picture)));
        body = RemovePictureTags(std::move(body), picture);
    }

    const auto table = [this](std::span<const Field> fields) {
        Fragments::Table result;
        result.style = kTableStyle;
        for (const Field& field : fields) {
            std::u16string value;
            switch (field.shown) {
            case Shown::Text:
                value = ReadString(field.property);
                break;
            case Shown::MailLink:
                value = Fragments::MailLink(ReadString(field.property));
                break;
            case Shown::WebLink:
                value = Fragments::WebLink(ReadString(field.property));
                break;
            case Shown::Date:
                value = Fragments::ItemDateText(ReadDate(field.property), kDateValueOnly);
                break;
            }
            result.rows.push_back({field.label, std::move(value)});
        }
        return Fragments::TableHtml(result);
    };

    const std::u16string pictureCell =
        picture.empty() ? std::u16string() : Format(kPictureCellFormat, picture);
    const std::u16string card =
        Format(kCardFormat, pictureCell, table(kNames), table(kPhones) + u"<br>" + table(kAddresses), u"");
    const std::u16string others = table(kOthers);
    note->SetContent(card + kRule + body + kRule + others);

    std::u16string author;
    for (const char16_t* property : {u"FullName", u"CompanyName", u"Email1Address"}) {
        author = ReadString(property);
        if (!author.empty())
            break;
    }
    note->SetTitle(author);
    AddAttribute(*note, Notes::kMetaAuthor, author);
    AddAttribute(*note, Notes::kMetaSourceUrl, ReadString(u"WebPage"));
    AddAttribute(*note, Notes::kMetaSource, kSourceOutlook);

    // The card's picture is a reference of the content that no local source supplies, like the
    // pictures the DOM load could not read: the policy embeds the attachment under it.
    if (!picture.empty())
        unresolved.push_back(picture);
    AttachAll policy(note, std::move(unresolved));
    AddAttachments(attachments.get(), policy);
    return note;
}

} // namespace Tessarix
