#include "wrappers/Wrapper.h"

#include <gtest/gtest.h>

#include "wrappers/ItemWrappers.h"
#include "wrappers/WrapperTestSupport.h"

namespace Tessarix {
namespace {

using Testing::FakeObject;
using Testing::ItemLog;

std::shared_ptr<FakeObject> ItemOfClass(const std::u16string& messageClass,
                                        std::vector<Guid> interfaces = {}) {
    auto item = std::make_shared<FakeObject>();
    item->Set(u"MessageClass", messageClass);
    item->interfaces = std::move(interfaces);
    return item;
}

struct Supported {
    std::u16string messageClass;
    Guid iid;
    std::string wrapper; // the class the factory makes, named by its traces
    std::string logLine;
};

const std::vector<Supported>& SupportedClasses() {
    static const std::vector<Supported> classes = {
        {u"IPM.Note", Outlook::kIID_MailItem, "MailWrapper", "Mail"},
        {u"IPM.Task", Outlook::kIID_TaskItem, "TaskWrapper", "Task"},
        {u"IPM.Contact", Outlook::kIID_ContactItem, "ContactWrapper", "Contact"},
        {u"IPM.Appointment", Outlook::kIID_AppointmentItem, "AppointmentWrapper", "Appointment"},
        {u"IPM.StickyNote", Outlook::kIID_NoteItem, "NoteWrapper", "Note"},
        {u"IPM.Activity", Outlook::kIID_JournalItem, "JournalWrapper", "Journal"},
        {u"IPM.Schedule.Meeting.Request", Outlook::kIID_MeetingItem, "MeetingRequestWrapper",
         "Meeting Request"},
        {u"IPM.OLE.CLASS.{00061055-0000-0000-C000-000000000046}", Outlook::kIID_AppointmentItem,
         "AppointmentWrapper", "Appointment"},
    };
    return classes;
}

TEST(WrapperFactory, UnknownClassesAreUnsupportedAndEachAddsOneZeroEntry) {
    WrapperFactory factory;
    const auto& table = Global::GetTypesMap();
    for (const std::u16string unknown : {u"IPM.Note.SMIME", u"ipm.note", u"", u"IPM.Post"}) {
        const bool known = table.contains(unknown);
        const std::size_t before = table.size();
        ItemLog log;
        EXPECT_EQ(factory.CreateWrapper(ItemOfClass(unknown, {Outlook::kIID_MailItem})), nullptr);
        EXPECT_EQ(log.Messages(),
                  (std::vector<std::string>{"Info: WrapperFactory::CreateWrapper: Unsupported Item"}));
        EXPECT_EQ(table.size(), before + (known ? 0 : 1)) << ToUtf8(unknown);
        ASSERT_TRUE(table.contains(unknown));
        EXPECT_EQ(table.at(unknown), 0);

        // Met again, the class is found with 0 and adds nothing.
        EXPECT_EQ(factory.CreateWrapper(ItemOfClass(unknown)), nullptr);
        EXPECT_EQ(table.size(), before + (known ? 0 : 1));
    }
}

TEST(WrapperFactory, AnUnreadableClassOrNoItemIsUnsupported) {
    WrapperFactory factory;
    auto failing = ItemOfClass(u"IPM.Note", {Outlook::kIID_MailItem});
    failing->failures[u"MessageClass"] = kE_FAIL;
    EXPECT_EQ(Global::GetMessageClass(failing.get()), u"");
    EXPECT_EQ(factory.CreateWrapper(failing), nullptr);

    auto notText = std::make_shared<FakeObject>();
    notText->Set(u"MessageClass", std::int32_t{1});
    EXPECT_EQ(Global::GetMessageClass(notText.get()), u"");

    EXPECT_EQ(Global::GetMessageClass(nullptr), u"");
    EXPECT_EQ(factory.CreateWrapper(nullptr), nullptr);
}

// The wrapper of an item that lacks its class's interface holds no item: building refuses clearly
// and reads nothing.
TEST(WrapperFactory, AnItemWithoutTheInterfaceGivesAWrapperThatRefusesToBuild) {
    WrapperFactory factory(std::make_shared<Testing::FakePipeline>());
    Testing::SelectionScope noSelection;
    for (const auto& supported : SupportedClasses()) {
        auto item = ItemOfClass(
            supported.messageClass,
            {Outlook::kIID_NoteItem == supported.iid ? Outlook::kIID_MailItem : Outlook::kIID_NoteItem});
        ItemLog log;
        const WrapperPtr wrapper = factory.CreateWrapper(item);
        ASSERT_NE(wrapper, nullptr) << ToUtf8(supported.messageClass);
        try {
            wrapper->BuildNote();
            ADD_FAILURE() << "built a note without the item: " << ToUtf8(supported.messageClass);
        } catch (const ItemNotAccessibleException& e) {
            EXPECT_EQ(e.GetMessage(), kItemNotAccessibleMessage);
        }
        EXPECT_EQ(item->gets, (std::vector<std::u16string>{u"MessageClass"}));
        EXPECT_TRUE(item->mapiRequests.empty());
        EXPECT_TRUE(Testing::Contains(
            log.Messages(),
            "Error: WrapperFactory::CreateWrapper: the item does not answer the interface of its class"));
    }
}

// Each class gets its wrapper, named in the log line; the factory's and the wrapper's scopes come
// in the order a note of each type is made: sticky notes alone have no attachment step.
TEST(WrapperFactory, PicksTheWrapperByExactMessageClassAndTracesItsScopesInOrder) {
    using Testing::Scope;
    Testing::SelectionScope noSelection;
    for (const auto& supported : SupportedClasses()) {
        const std::string& wrapper = supported.wrapper;
        auto item = ItemOfClass(supported.messageClass, {supported.iid});
        ItemLog log;
        {
            WrapperFactory factory(std::make_shared<Testing::FakePipeline>());
            factory.CreateWrapper(item)->BuildNote();
        }
        const auto build = wrapper == "NoteWrapper"
                               ? Scope(wrapper + "::BuildNote()")
                               : Scope(wrapper + "::BuildNote()", {Scope("BaseWrapper::AddAttachments()")});
        EXPECT_EQ(log.Traces({"WrapperFactory::", "Global::GetMessageClass", "Global::InitTypesMap",
                              wrapper + "::", "BaseWrapper::"}),
                  Testing::Scopes({Scope("WrapperFactory::Ctor", {Scope("Global::InitTypesMap()")}),
                                   Scope("WrapperFactory::CreateWrapper()",
                                         {Scope("Global::GetMessageClass()"), Scope(wrapper + "::Ctor")}),
                                   build, Scope(wrapper + "::Dtor"), Scope("WrapperFactory::Dtor")}))
            << ToUtf8(supported.messageClass);
        EXPECT_TRUE(
            Testing::Contains(log.Messages(), "Info: WrapperFactory::CreateWrapper: " + supported.logLine))
            << ToUtf8(supported.messageClass);
    }
}

} // namespace
} // namespace Tessarix
