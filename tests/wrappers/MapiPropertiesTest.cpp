#include "itemaccess/MapiProperties.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/ItemFakes.h"
#include "support/ItemLog.h"

namespace Tessarix {
namespace {

using Testing::FakeMapiProp;
using Testing::ItemLog;

constexpr Mapi::PropTag kText = 0x3707001F;
constexpr Mapi::PropTag kLong = 0x37050003;
constexpr Mapi::PropTag kFlag = 0x7FFE000B;
constexpr Mapi::PropTag kTime = 0x00600040;

bool Contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(MapiProperties, ReadsEachTypeOfAPresentProperty) {
    FakeMapiProp prop;
    prop.Set(kText, std::u16string(u"report.pdf")).Set(kLong, std::uint32_t{6}).Set(kFlag, true);
    prop.Set(kTime, FileTime{0x12345678, 0x01CABDEF});

    EXPECT_EQ(Global::GetStringProperty(&prop, kText, u"x"), u"report.pdf");
    EXPECT_EQ(Global::GetLongProperty(&prop, kLong, 0xFFFFFFFF), 6u);
    EXPECT_TRUE(Global::GetBoolProperty(&prop, kFlag, false));
    EXPECT_EQ(Global::GetTimeProperty(&prop, kTime, FileTime{}), (FileTime{0x12345678, 0x01CABDEF}));
    EXPECT_EQ(prop.requested, (std::vector<Mapi::PropTag>{kText, kLong, kFlag, kTime}));
}

TEST(MapiProperties, AnAbsentPropertyGivesTheDefaultSilently) {
    FakeMapiProp prop;
    ItemLog log;

    EXPECT_EQ(Global::GetStringProperty(&prop, kText, u"fallback"), u"fallback");
    EXPECT_EQ(Global::GetLongProperty(&prop, kLong, 0xFFFFFFFF), 0xFFFFFFFFu);
    EXPECT_TRUE(Global::GetBoolProperty(&prop, kFlag, true));
    EXPECT_EQ(Global::GetTimeProperty(&prop, kTime, FileTime{7, 8}), (FileTime{7, 8}));

    EXPECT_TRUE(log.Messages().empty());
    const auto lines = log.Lines();
    EXPECT_TRUE(Contains(lines, "Debug: Global::GetStringProperty() call begin"));
    EXPECT_TRUE(Contains(lines, "Debug: Global::GetTimeProperty() call end"));
}

// A value of the wrong kind counts as a failed read.
TEST(MapiProperties, AnyOtherFailureGivesTheDefaultAndItsLine) {
    FakeMapiProp prop;
    for (const Mapi::PropTag tag : {kText, kLong, kFlag, kTime})
        prop.Fail(tag, kE_FAIL);
    FakeMapiProp wrongKind;
    wrongKind.Set(kLong, std::u16string(u"six"));
    ItemLog log;

    EXPECT_EQ(Global::GetStringProperty(&prop, kText, u"d"), u"d");
    EXPECT_EQ(Global::GetLongProperty(&prop, kLong, 5), 5u);
    EXPECT_FALSE(Global::GetBoolProperty(&prop, kFlag, false));
    EXPECT_EQ(Global::GetTimeProperty(&prop, kTime, FileTime{1, 2}), (FileTime{1, 2}));
    EXPECT_EQ(Global::GetLongProperty(&wrongKind, kLong, 0xFFFFFFFF), 0xFFFFFFFFu);

    EXPECT_EQ(log.Messages(), (std::vector<std::string>{
                                  "Error: HrGetOneProp() failed in GetStringProperty()!",
                                  "Error: HrGetOneProp() failed in GetLongProperty()!",
                                  "Error: HrGetOneProp() failed in GetBoolProperty()!",
                                  "Error: HrGetOneProp() failed in GetTimeProperty()!",
                                  "Error: HrGetOneProp() failed in GetLongProperty()!",
                              }));
}

TEST(MapiProperties, ANullObjectGivesTheDefaultWithoutAFailureLine) {
    ItemLog log;

    EXPECT_EQ(Global::GetStringProperty(nullptr, kText, u"d"), u"d");
    EXPECT_EQ(Global::GetLongProperty(nullptr, kLong, 0xFFFFFFFF), 0xFFFFFFFFu);
    EXPECT_TRUE(Global::GetBoolProperty(nullptr, kFlag, true));
    EXPECT_EQ(Global::GetTimeProperty(nullptr, kTime, FileTime{3, 4}), (FileTime{3, 4}));

    EXPECT_TRUE(log.Messages().empty());
    EXPECT_TRUE(Contains(log.Lines(), "Debug: Global::GetLongProperty() call begin"));
}

} // namespace
} // namespace Tessarix
