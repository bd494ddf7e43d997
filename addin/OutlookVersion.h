#pragma once
// Which add-in variant fits the running Outlook, from the text of _Application::Version.
#include <string>
#include <string_view>

namespace Tessarix::Addin {

enum class OutlookVariant { Unsupported, Outlook2003, Outlook2007, Outlook2010 };

// The text before the first "."; empty when the version holds no ".".
std::u16string MajorVersion(std::u16string_view version);

// "11", "12" and "14", compared whole and case-sensitively; anything else is unsupported.
OutlookVariant VariantForMajorVersion(std::u16string_view major);

} // namespace Tessarix::Addin
