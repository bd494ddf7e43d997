#include "addin/OutlookVersion.h"

namespace Tessarix::Addin {

std::u16string MajorVersion(std::u16string_view version) {
    const auto dot = version.find(u'.');
    if (dot == std::u16string_view::npos)
        return {};
    return std::u16string(version.substr(0, dot));
}

OutlookVariant VariantForMajorVersion(std::u16string_view major) {
    if (major == u"11")
        return OutlookVariant::Outlook2003;
    if (major == u"12")
        return OutlookVariant::Outlook2007;
    if (major == u"14")
        return OutlookVariant::Outlook2010;
    return OutlookVariant::Unsupported;
}

} // namespace Tessarix::Addin
