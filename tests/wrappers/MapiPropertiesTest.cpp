#include "itemaccess/MapiProperties.h"

#include <gtest/gtest.h>

#include <tuple>

#include "support/ItemFakes.h"
#include "support/ItemLog.h"

namespace Tessarix {
namespace {

using Testing::FakeMapiProp;

constexpr Mapi::PropTag kText = 0x3707001F;
constexpr Mapi::PropTag kLong = 0x37050003;
constexpr Mapi::PropTag kFlag = 0x7FFE000B;
constexpr Mapi::PropTag kTime = 0x00600040;

// Each getter on a present, an absent, a failing and a null property object: the value or the
// default, a failure line only for a failure other than absence, and a value of the wrong kind
// counting as a failure.
TEST(MapiProperties, EachGetterGivesTheValueOrTheDefaultAndLogsOnlyRealFailures) {
    FakeMapiProp present;
    present.Set(kText, std::u16string(u"report.pdf")).Set(kLong, std::uint32_t{6}).Set(kFlag, true);
    present.Set(kTime, FileTime{0x12345678, 0x01CABDEF});
    FakeMapiProp absent;
    FakeMapiProp failing;
    for (const Mapi::PropTag tag : {kText, kLong, kFlag, kTime})
        failing.Fail(tag, kE_FAIL);
    FakeMapiProp wrongKind;
    for (const Mapi::PropTag tag : {kText, kLong, kFlag, kTime})
        wrongKind.Set(tag, tag == kText ? Mapi::PropValue(std::uint32_t{6})
                                        : Mapi::PropValue(std::u16string(u"six")));

    // One getter after the other, in this order.
    const auto read = [](FakeMapiProp* prop) {
        std::tuple<std::u16string, std::uint32_t, bool, FileTime> values;
        std::get<0>(values) = Global::GetStringProperty(prop, kText, u"d");
        std::get<1>(values) = Global::GetLongProperty(prop, kLong, 0xFFFFFFFF);
        std::get<2>(values) = Global::GetBoolProperty(prop, kFlag, true);
        std::get<3>(values) = Global::GetTimeProperty(prop, kTime, FileTime{7, 8});
        return values;
    };
    const auto defaults = std::make_tuple(std::u16string(u"d"), 0xFFFFFFFFu, true, FileTime{7, 8});
    const std::vector<std::string> failureLines = {"Error: HrGetOneProp() failed in GetStringProperty()!",
                                                   "Error: HrGetOneProp() failed in GetLongProperty()!",
                                                   "Error: HrGetOneProp() failed in GetBoolProperty()!",
                                                   "Error: HrGetOneProp() failed in GetTimeProperty()!"};
    const std::vector<std::string> traces = {
        "Global::GetStringProperty() begin", "Global::GetStringProperty() end",
        "Global::GetLongProperty() begin",   "Global::GetLongProperty() end",
        "Global::GetBoolProperty() begin",   "Global::GetBoolProperty() end",
        "Global::GetTimeProperty() begin",   "Global::GetTimeProperty() end"};
    const struct {
        const char* name;
        FakeMapiProp* prop;
        std::tuple<std::u16string, std::uint32_t, bool, FileTime> values;
        std::vector<std::string> lines;
    } cases[] = {
        {"present", &present, {u"report.pdf", 6u, true, FileTime{0x12345678, 0x01CABDEF}}, {}},
        {"absent", &absent, defaults, {}},
        {"failing", &failing, defaults, failureLines},
        {"wrong kind", &wrongKind, defaults, failureLines},
        {"null", nullptr, defaults, {}},
    };
    for (const auto& c : cases) {
        Testing::ItemLog log;
        EXPECT_EQ(read(c.prop), c.values) << c.name;
        EXPECT_EQ(log.Messages(), c.lines) << c.name;
        EXPECT_EQ(log.Traces({"Global::Get"}), traces) << c.name;
    }
    EXPECT_EQ(present.requested, (std::vector<Mapi::PropTag>{kText, kLong, kFlag, kTime}));
}

} // namespace
} // namespace Tessarix
