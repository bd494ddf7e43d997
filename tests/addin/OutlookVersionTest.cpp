// Which variant a version text selects: only the text before the first dot counts, compared whole.
#include <gtest/gtest.h>

#include "addin/OutlookVersion.h"
#include "core/Utf.h"

namespace Tessarix::Addin {
namespace {

TEST(OutlookVersionTest, MajorVersionIsTheTextBeforeTheFirstDot) {
    EXPECT_EQ(MajorVersion(u"11.0.0.8312"), u"11");
    EXPECT_EQ(MajorVersion(u"14.0"), u"14");
    EXPECT_EQ(MajorVersion(u"15."), u"15");
    EXPECT_EQ(MajorVersion(u".5"), u"");
    // Without any dot there is no major version at all, not the whole text.
    EXPECT_EQ(MajorVersion(u"12"), u"");
    EXPECT_EQ(MajorVersion(u""), u"");
}

TEST(OutlookVersionTest, OnlyElevenTwelveAndFourteenAreSupported) {
    EXPECT_EQ(VariantForMajorVersion(u"11"), OutlookVariant::Outlook2003);
    EXPECT_EQ(VariantForMajorVersion(u"12"), OutlookVariant::Outlook2007);
    EXPECT_EQ(VariantForMajorVersion(u"14"), OutlookVariant::Outlook2010);
    for (const char16_t* major : {u"", u"1", u"110", u"011", u" 11", u"11 ", u"13", u"15", u"16", u"XI"}) {
        EXPECT_EQ(VariantForMajorVersion(major), OutlookVariant::Unsupported) << ToUtf8(major);
    }
    EXPECT_EQ(VariantForMajorVersion(MajorVersion(u"15.0.4569.1506")), OutlookVariant::Unsupported);
    EXPECT_EQ(VariantForMajorVersion(MajorVersion(u"12")), OutlookVariant::Unsupported);
}

} // namespace
} // namespace Tessarix::Addin
