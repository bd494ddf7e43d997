#pragma once
// Outlook's ribbon identifiers and the custom-UI documents (resources of type "XML") that answer them.
#include <array>
#include <string_view>

namespace Tessarix::Addin {

struct RibbonEntry {
    std::u16string_view ribbonId;
    unsigned resourceId;
};

// The Outlook 2010 explorer ribbon, then the inspector ribbons. The distribution-list document
// (kDistributionListRibbonResource) is in the module but deliberately has no entry: distribution
// lists get no button.
inline constexpr std::array<RibbonEntry, 7> kRibbonTable{{
    {u"Microsoft.Outlook.Explorer", 201},
    {u"Microsoft.Outlook.Mail.Read", 203},
    {u"Microsoft.Outlook.Task", 207},
    {u"Microsoft.Outlook.Appointment", 208},
    {u"Microsoft.Outlook.Contact", 209},
    {u"Microsoft.Outlook.Journal", 211},
    {u"Microsoft.Outlook.MeetingRequest.Read", 212},
}};

inline constexpr unsigned kDistributionListRibbonResource = 210;

} // namespace Tessarix::Addin
