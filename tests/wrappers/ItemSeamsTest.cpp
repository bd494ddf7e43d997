// The portable helpers of the item seams: whole-stream reads and typed automation values.
#include <gtest/gtest.h>

#include "core/Automation.h"
#include "core/MapiProp.h"
#include "support/ItemFakes.h"

namespace Tessarix {
namespace {

using Testing::FakeObject;
using Testing::FakeStream;

TEST(ReadWholeStream, GathersPiecesKeepsAnEarlyEndAndReportsFailures) {
    StringUTF8 out;
    FakeStream pieces("0123456789abcdef", 3);
    EXPECT_EQ(Mapi::ReadWholeStream(pieces, out), kS_OK);
    EXPECT_EQ(out.View(), "0123456789abcdef");
    FakeStream endsEarly("abc");
    endsEarly.reportedSize = 10;
    EXPECT_EQ(Mapi::ReadWholeStream(endsEarly, out), kS_OK);
    EXPECT_EQ(out.View(), "abc");

    FakeStream unreadable("abc");
    unreadable.readResult = kE_FAIL;
    EXPECT_EQ(Mapi::ReadWholeStream(unreadable, out), kE_FAIL);

    FakeStream unmeasurable("abc");
    unmeasurable.sizeResult = kE_FAIL;
    EXPECT_EQ(Mapi::ReadWholeStream(unmeasurable, out), kE_FAIL);

    FakeStream huge("abc");
    huge.reportedSize = std::uint64_t{1} << 32;
    EXPECT_EQ(Mapi::ReadWholeStream(huge, out), kE_OUTOFMEMORY);

    FakeStream empty("");
    EXPECT_EQ(Mapi::ReadWholeStream(empty, out), kS_OK);
    EXPECT_TRUE(out.Empty());
}

TEST(AutomationValues, TypedReadsAcceptTheirKindAndEmpty) {
    FakeObject item;
    auto child = std::make_shared<FakeObject>();
    item.Set(u"Subject", std::u16string(u"Hello")).Set(u"Importance", 2).Set(u"Sent", true);
    item.Set(u"SentOn", AutomationDate{40609.5}).Set(u"Parent", Automation::ObjectPtr(child));
    item.Set(u"Format", Automation::Int{9}).Set(u"CC", std::monostate{});

    EXPECT_EQ(Automation::GetString(item, u"Subject"), u"Hello");
    EXPECT_EQ(Automation::GetString(item, u"CC"), u"");
    EXPECT_EQ(Automation::GetInt(item, u"Importance"), 2);
    EXPECT_EQ(Automation::GetInt(item, u"Format"), 9);
    EXPECT_TRUE(Automation::GetBool(item, u"Sent"));
    EXPECT_DOUBLE_EQ(Automation::GetDate(item, u"SentOn")->value, 40609.5);
    EXPECT_FALSE(Automation::GetDate(item, u"CC").has_value());
    EXPECT_EQ(Automation::GetDispatch(item, u"Parent"), child);
    EXPECT_EQ(Automation::GetDispatch(item, u"CC"), nullptr);
}

TEST(AutomationValues, FailuresAndWrongKindsAreRaisedAsHResults) {
    FakeObject item;
    item.Set(u"Subject", std::u16string(u"Hello")).Set(u"Importance", 2);
    item.failures[u"Body"] = kE_FAIL;

    try {
        Automation::GetString(item, u"Body");
        ADD_FAILURE() << "no exception";
    } catch (HResult hr) {
        EXPECT_EQ(hr, kE_FAIL);
    }
    EXPECT_THROW(Automation::GetInt(item, u"Subject"), HResult);
    EXPECT_THROW(Automation::GetString(item, u"Importance"), HResult);
    EXPECT_THROW(Automation::GetBool(item, u"Importance"), HResult);
    EXPECT_THROW(Automation::GetString(item, u"Missing"), HResult);
    EXPECT_THROW(Automation::CallMethod(item, u"Missing", {1}), HResult);
}

} // namespace
} // namespace Tessarix
