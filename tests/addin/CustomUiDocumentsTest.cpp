// The committed custom-UI documents: their encoding as Office reads them, the callbacks they name
// (which must exist on IRibbonCallback) and that each ribbon type of the table gets its own tab.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <string>
#include <vector>

#include "addin/RibbonTable.h"
#include "core/FileSystem.h"
#include "core/Utf.h"

namespace Tessarix::Addin {
namespace {

constexpr unsigned kAllDocuments[] = {201, 203, 207, 208, 209, 210, 211, 212};

std::string ReadBytes(unsigned id) {
    const auto bytes = Platform::ReadFile(
        FromUtf8(std::string(TX_ADDIN_RESOURCES_DIR) + "/Ribbon" + std::to_string(id) + ".xml"));
    EXPECT_TRUE(bytes.has_value()) << id;
    return bytes.value_or(std::string());
}

// UTF-16 LE without the byte-order mark, as UTF-8 for matching.
std::string Text(const std::string& bytes) {
    std::u16string units;
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
        units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                       (static_cast<unsigned char>(bytes[i + 1]) << 8));
    }
    return ToUtf8(units);
}

std::vector<std::map<std::string, std::string>> Elements(const std::string& text, const std::string& name) {
    std::vector<std::map<std::string, std::string>> found;
    const std::regex element("<" + name + "\\s([^>]*)>");
    const std::regex attribute("([A-Za-z]+)=\"([^\"]*)\"");
    for (auto e = std::sregex_iterator(text.begin(), text.end(), element); e != std::sregex_iterator(); ++e) {
        std::map<std::string, std::string> attributes;
        const std::string body = (*e)[1];
        for (auto a = std::sregex_iterator(body.begin(), body.end(), attribute); a != std::sregex_iterator();
             ++a) {
            attributes[(*a)[1]] = (*a)[2];
        }
        found.push_back(attributes);
    }
    return found;
}

TEST(CustomUiDocumentsTest, EveryDocumentIsUtf16WithBomAndNoTerminator) {
    for (unsigned id : kAllDocuments) {
        const std::string bytes = ReadBytes(id);
        ASSERT_GE(bytes.size(), 4u) << id;
        EXPECT_EQ(bytes.size() % 2, 0u) << id;
        EXPECT_EQ(bytes.substr(0, 2), std::string("\xFF\xFE")) << id;
        EXPECT_FALSE(bytes[bytes.size() - 2] == 0 && bytes[bytes.size() - 1] == 0) << id;
        const std::string text = Text(bytes);
        EXPECT_TRUE(text.starts_with("<?xml version=\"1.0\" encoding=\"utf-16\"?>")) << id;
        const std::string ns = id == 201 ? "http://schemas.microsoft.com/office/2009/07/customui"
                                         : "http://schemas.microsoft.com/office/2006/01/customui";
        const auto customUi = Elements(text, "customUI");
        ASSERT_EQ(customUi.size(), 1u) << id;
        EXPECT_EQ(customUi[0].at("xmlns"), ns) << id;
        EXPECT_EQ(customUi[0].at("onLoad"), "OnLoad") << id;
    }
}

TEST(CustomUiDocumentsTest, ButtonsNameOnlyTheCallbacksOfTheRibbonInterface) {
    for (unsigned id : kAllDocuments) {
        const std::string text = Text(ReadBytes(id));
        const auto tabs = Elements(text, "tab");
        const auto groups = Elements(text, "group");
        const auto buttons = Elements(text, "button");
        ASSERT_EQ(tabs.size(), id == 201 ? 6u : 1u) << id;
        ASSERT_EQ(groups.size(), tabs.size()) << id;
        ASSERT_EQ(buttons.size(), tabs.size()) << id;
        for (std::size_t i = 0; i < buttons.size(); ++i) {
            EXPECT_EQ(groups[i].at("label"), "Tessarix") << id;
            EXPECT_TRUE(groups[i].at("id").starts_with("Tessarix_")) << id;
            const auto& button = buttons[i];
            EXPECT_EQ(button.at("size"), "large") << id;
            EXPECT_EQ(button.at("getLabel"), "GetLabel") << id;
            EXPECT_EQ(button.at("onAction"), "OnClick") << id;
            // Bound by name without regard to case, so both spellings reach GetImage.
            EXPECT_TRUE(button.at("getImage") == "GetImage" || button.at("getImage") == "getImage") << id;
            // Only the explorer and the read-mail buttons follow the enable rule.
            if (id == 201 || id == 203) {
                EXPECT_EQ(button.at("getEnabled"), "GetEnabled") << id;
            } else {
                EXPECT_EQ(button.count("getEnabled"), 0u) << id;
            }
        }
    }
}

TEST(CustomUiDocumentsTest, EachRibbonTypeGetsTheTabOfItsWindow) {
    const std::map<std::u16string_view, std::vector<std::string>> expectedTabs = {
        {u"Microsoft.Outlook.Explorer",
         {"TabMail", "TabTasks", "TabCalendar", "TabContacts", "TabJournals", "TabNotes"}},
        {u"Microsoft.Outlook.Mail.Read", {"TabReadMessage"}},
        {u"Microsoft.Outlook.Task", {"TabTask"}},
        {u"Microsoft.Outlook.Appointment", {"TabAppointment"}},
        {u"Microsoft.Outlook.Contact", {"TabContact"}},
        {u"Microsoft.Outlook.Journal", {"TabJournal"}},
        {u"Microsoft.Outlook.MeetingRequest.Read", {"TabReadMessage"}},
    };
    ASSERT_EQ(kRibbonTable.size(), expectedTabs.size());
    for (const auto& entry : kRibbonTable) {
        std::vector<std::string> tabs;
        for (const auto& tab : Elements(Text(ReadBytes(entry.resourceId)), "tab"))
            tabs.push_back(tab.at("idMso"));
        EXPECT_EQ(tabs, expectedTabs.at(entry.ribbonId)) << entry.resourceId;
    }
    // The distribution-list document exists but no ribbon type leads to it.
    EXPECT_EQ(Elements(Text(ReadBytes(kDistributionListRibbonResource)), "tab")[0].at("idMso"),
              "TabDistributionList");
    for (const auto& entry : kRibbonTable)
        EXPECT_NE(entry.resourceId, kDistributionListRibbonResource);
}

} // namespace
} // namespace Tessarix::Addin
