#include <gtest/gtest.h>

#include "cli/ItemSelection.h"
#include "cli/Samples.h"
#include "msg/MsgItem.h"

namespace Tessarix::Cli {
namespace {

Automation::ObjectPtr SampleItem(std::size_t index) {
    const auto samples = Samples::Items();
    return std::make_shared<Msg::MsgItem>(
        Msg::MsgMessage::OpenBytes(Msg::MsgWriter::ToBytes(samples.at(index).message), u"sample.msg"));
}

TEST(TxClipSelection, CountAndItemsFromOneAsOutlooksSelection) {
    const auto first = SampleItem(0), second = SampleItem(13);
    ItemSelection selection({first, second});
    EXPECT_EQ(Automation::GetInt(selection, u"Count"), 2);
    EXPECT_EQ(Automation::AsObject(Automation::CallMethod(selection, u"Item", {std::int32_t{1}})), first);
    EXPECT_EQ(Automation::AsObject(Automation::CallMethod(selection, u"Item", {Automation::Int{2}})), second);

    Automation::Value result;
    const Automation::Value outside[] = {std::int32_t{3}}, zero[] = {std::int32_t{0}}, text[] = {u"1"};
    EXPECT_EQ(selection.Call(u"Item", outside, result), kE_INVALIDARG);
    EXPECT_EQ(selection.Call(u"Item", zero, result), kE_INVALIDARG);
    EXPECT_EQ(selection.Call(u"Item", text, result), Automation::kDISP_E_TYPEMISMATCH);
    EXPECT_EQ(selection.Call(u"Item", {}, result), HResultFrom(0x8002000Eu)); // DISP_E_BADPARAMCOUNT
    EXPECT_EQ(selection.Get(u"Parent", result), Automation::kDISP_E_UNKNOWNNAME);
    ItemSelection empty({});
    EXPECT_EQ(Automation::GetInt(empty, u"Count"), 0);
}

TEST(TxClipSelection, AnObservedItemAnswersAsItsItemAndReportsEveryUse) {
    const auto item = SampleItem(13); // the task
    std::vector<std::size_t> uses;
    ObservedItem observed(item, 7, [&](std::size_t index) { uses.push_back(index); });
    EXPECT_EQ(Automation::GetString(observed, u"Subject"), u"File expense report");
    EXPECT_TRUE(observed.Implements(Outlook::kIID_TaskItem));
    EXPECT_FALSE(observed.Implements(Outlook::kIID_MailItem));
    std::shared_ptr<Mapi::IProp> mapi;
    EXPECT_EQ(observed.GetMapiObject(Mapi::kIID_IMessage, mapi), kS_OK);
    EXPECT_TRUE(mapi);
    Automation::Value result;
    EXPECT_EQ(observed.Call(u"NoSuchMethod", {}, result), Automation::kDISP_E_UNKNOWNNAME);
    EXPECT_EQ(uses, (std::vector<std::size_t>(5, 7)));
}

} // namespace
} // namespace Tessarix::Cli
