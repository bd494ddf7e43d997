// The item and selection clips over in-memory Outlook items: which items become notes, the
// selection button's rule, the item's subject and saved bytes, the combined note, and whole clips
// through the driver with a recording send.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "ClipActionTestSupport.h"
#include "actions/ItemClipActions.h"
#include "actions/MultiItemsNote.h"
#include "actions/OutlookItem.h"
#include "core/FileSystem.h"
#include "core/Utf.h"
#include "html/SelectionCapture.h"
#include "support/ItemLog.h"
#include "tests/support/ItemFakes.h"
#include "wrappers/Wrapper.h"

namespace Tessarix::Testing {
namespace {

using Automation::Value;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using Item = std::shared_ptr<FakeObject>;

// A sticky note: the simplest item with a wrapper.
Item StickyNote(const std::u16string& subject, const std::u16string& body = std::u16string(u"text")) {
    auto item = std::make_shared<FakeObject>();
    item->Set(u"MessageClass", std::u16string(u"IPM.StickyNote")).Set(u"Subject", subject).Set(u"Body", body);
    item->interfaces.push_back(Outlook::kIID_NoteItem);
    return item;
}

// An item whose message class has no wrapper.
Item Unsupported(const std::u16string& subject = std::u16string(u"post")) {
    auto item = std::make_shared<FakeObject>();
    item->Set(u"MessageClass", std::u16string(u"IPM.Post")).Set(u"Subject", subject);
    return item;
}

// SaveAs writes `bytes` to the path it is given and records its arguments.
struct SaveAsRecord {
    std::vector<std::vector<Value>> calls;
};
void AnswerSaveAs(FakeObject& item, const std::string& bytes, std::shared_ptr<SaveAsRecord> record,
                  HResult result = kS_OK) {
    item.methods[u"SaveAs"] = [bytes, record, result](std::span<const Value> args, Value&) {
        record->calls.emplace_back(args.begin(), args.end());
        if (Failed(result))
            return result;
        if (args.empty() || !std::holds_alternative<std::u16string>(args[0]))
            return Automation::kDISP_E_TYPEMISMATCH;
        return Platform::WriteFile(std::get<std::u16string>(args[0]), bytes) ? kS_OK : kE_FAIL;
    };
}

Automation::ObjectPtr Selection(std::vector<Automation::ObjectPtr> items) {
    return MakeCollection(std::move(items));
}

bool WasWrapped(const FakeObject& item) {
    return std::find(item.gets.begin(), item.gets.end(), u"MessageClass") != item.gets.end();
}

class ItemClips : public ::testing::Test {
protected:
    void SetUp() override {
        OpenItemLog();
        SendRecorder::Reset();
    }
    RecordingUi& Ui() { return installed_.ui; }

private:
    InstalledUi installed_;
};

// One note per item up to the first unsupported one; a single unsupported item still gives its
// entry, an empty one.
TEST_F(ItemClips, SelectionGivesOneNotePerItemUpToTheFirstUnsupportedOne) {
    const Item third = StickyNote(u"third");
    const struct {
        std::vector<Automation::ObjectPtr> items;
        std::vector<std::u16string> titles;
    } cases[] = {
        {{StickyNote(u"a"), StickyNote(u"b"), StickyNote(u"c")}, {u"a", u"b", u"c"}},
        {{StickyNote(u"first"), Unsupported(), third}, {u"first"}},
        {{Unsupported(), StickyNote(u"b")}, {}},
        {{StickyNote(u"only")}, {u"only"}},
        {{Unsupported()}, {u"<null>"}},
        {{}, {}},
    };
    LogWatch log;
    for (const auto& c : cases) {
        auto selection = MakeCollection(c.items);
        std::vector<std::u16string> titles;
        for (const auto& note : SelectionClipAction(selection).GetNotes())
            titles.push_back(note ? note->GetTitle() : u"<null>");
        EXPECT_EQ(titles, c.titles) << c.items.size() << " items";
        if (c.items.empty()) {
            EXPECT_THAT(selection->calls, IsEmpty()) << "no item is asked for";
        }
    }
    EXPECT_FALSE(WasWrapped(*third)) << "items after the first unsupported one are not looked at";
    EXPECT_TRUE(Contains(log.Lines("Debug"), "Debug: SelectionClipAction::GetNotes() count: 3"));
}

TEST_F(ItemClips, FailingSelectionCallsAreRaised) {
    auto selection = MakeCollection({StickyNote(u"a")});
    selection->failures[u"Count"] = kE_FAIL;
    SelectionClipAction action(selection);
    EXPECT_THROW(action.GetNotes(), HResult);
    EXPECT_THROW(SelectionClipAction::CanBeExecuteOn(selection), HResult);
}

TEST_F(ItemClips, SelectionButtonRule) {
    LogWatch log;
    EXPECT_FALSE(SelectionClipAction::CanBeExecuteOn(nullptr));
    EXPECT_THAT(log.Lines("Debug"), Not(::testing::Contains(HasSubstr("selection count"))));

    EXPECT_FALSE(SelectionClipAction::CanBeExecuteOn(MakeCollection({})));
    EXPECT_TRUE(SelectionClipAction::CanBeExecuteOn(Selection({StickyNote(u"a")})));
    EXPECT_FALSE(SelectionClipAction::CanBeExecuteOn(Selection({Unsupported()})));

    // Two items enable the button without being looked at, even when neither is supported.
    auto two = MakeCollection({Unsupported(), Unsupported()});
    EXPECT_TRUE(SelectionClipAction::CanBeExecuteOn(two));
    EXPECT_THAT(two->calls, IsEmpty());

    const auto counts = log.Lines("Debug");
    for (const char* line : {"Debug: CContextMenu::OnCommandBarsUpdated() selection count: 0",
                             "Debug: CContextMenu::OnCommandBarsUpdated() selection count: 1",
                             "Debug: CContextMenu::OnCommandBarsUpdated() selection count: 2"})
        EXPECT_TRUE(Contains(counts, line)) << line;
}

TEST_F(ItemClips, OutlookItemSavesAsUnicodeMessageWithAMachineInteger) {
    const Item item = Unsupported();
    auto record = std::make_shared<SaveAsRecord>();
    AnswerSaveAs(*item, "MSG", record);
    WrapperFactory factory;
    OutlookItem outlookItem(item, factory);
    EXPECT_FALSE(outlookItem.isSupportedItem());
    EXPECT_EQ(outlookItem.CreateNote(), nullptr);

    const std::u16string path = Platform::CreateTempFile(u"TST");
    ASSERT_FALSE(path.empty());
    outlookItem.SaveTo(path);
    Platform::DeleteFile(path);
    ASSERT_EQ(record->calls.size(), 1u);
    const std::vector<Value>& args = record->calls[0];
    ASSERT_EQ(args.size(), 2u);
    EXPECT_EQ(std::get<std::u16string>(args[0]), path);
    ASSERT_TRUE(std::holds_alternative<Automation::Int>(args[1])) << "the format goes as VT_INT, not VT_I4";
    EXPECT_EQ(std::get<Automation::Int>(args[1]).value, 9);

    // The item's bytes through a temporary file.
    StringUTF8 bytes;
    Utils::LoadData(outlookItem, bytes);
    EXPECT_EQ(bytes.View(), "MSG");
}

TEST_F(ItemClips, OutlookItemRaisesFailingHostCalls) {
    const Item item = Unsupported();
    item->failures[u"Subject"] = kE_OUTOFMEMORY;
    AnswerSaveAs(*item, "", std::make_shared<SaveAsRecord>(), Automation::kDISP_E_BADVARTYPE);
    WrapperFactory factory;
    OutlookItem outlookItem(item, factory);
    try {
        outlookItem.GetSubject();
        ADD_FAILURE() << "GetSubject returned";
    } catch (HResult hr) {
        EXPECT_EQ(hr, kE_OUTOFMEMORY);
    }
    try {
        outlookItem.SaveTo(u"x.msg");
        ADD_FAILURE() << "SaveTo returned";
    } catch (HResult hr) {
        EXPECT_EQ(hr, Automation::kDISP_E_BADVARTYPE);
    }
    // A subject of another kind is a type mismatch, not an empty subject.
    item->failures.clear();
    item->Set(u"Subject", std::int32_t{7});
    EXPECT_THROW(outlookItem.GetSubject(), HResult);
}

TEST_F(ItemClips, CombinedNoteCarriesEachItemAsAMessageFile) {
    const Item named = StickyNote(u"Plans <Q3>");
    const Item unnamed = Unsupported(u"");
    AnswerSaveAs(*named, std::string("\xD0\xCF\x11\xE0named", 9), std::make_shared<SaveAsRecord>());
    AnswerSaveAs(*unnamed, "unnamed", std::make_shared<SaveAsRecord>());

    const Notes::NotePtr note = Global::CreateMultiItemsNote({named, unnamed});

    ASSERT_NE(note, nullptr);
    const Notes::ResourceList& resources = note->GetResources();
    ASSERT_EQ(resources.size(), 2u);
    EXPECT_EQ(resources[0].GetFileName(), u"Plans <Q3>.msg");
    EXPECT_EQ(resources[0].GetSourceUrl(), u"file:///C:/Outlook/Attachments/Plans <Q3>.msg");
    EXPECT_EQ(resources[0].GetMime(), u"application/octet-stream");
    EXPECT_EQ(resources[0].GetReference(), u"");
    EXPECT_EQ(resources[0].GetData().View(), std::string_view("\xD0\xCF\x11\xE0named", 9));
    EXPECT_EQ(resources[1].GetFileName(), u"empty subject.msg");
    EXPECT_EQ(resources[1].GetSourceUrl(), u"file:///C:/Outlook/Attachments/empty subject.msg");
    EXPECT_EQ(resources[1].GetData().View(), "unnamed");

    ASSERT_EQ(note->GetMetadata().size(), 1u);
    EXPECT_EQ(Notes::GetMetadataByName(note->GetMetadata(), Notes::kMetaSource).GetValue(),
              u"app.ms.outlook");
    EXPECT_EQ(note->GetTitle(), u"2 Outlook items");
    EXPECT_EQ(note->GetContent(), u"<ul><li>Plans &lt;Q3&gt;.msg</li><li>empty subject.msg</li></ul>");

    EXPECT_EQ(Global::CreateMultiItemsNote({named})->GetTitle(), u"Plans <Q3>");
}

TEST_F(ItemClips, CombinedNoteStopsAtAnItemThatCannotBeSaved) {
    const Item item = StickyNote(u"a");
    AnswerSaveAs(*item, "", std::make_shared<SaveAsRecord>(), kE_FAIL);
    EXPECT_THROW(Global::CreateMultiItemsNote({item}), HResult);
}

TEST_F(ItemClips, ItemClipSendsTheRenderedNote) {
    ItemClipAction action(StickyNote(u"Memo", u"buy <milk>"), &SendRecorder::Send);
    action.Execute();

    ASSERT_EQ(SendRecorder::sent.size(), 1u);
    const std::string& document = SendRecorder::sent[0].bytes;
    EXPECT_THAT(document, HasSubstr("<title>Memo</title>"));
    EXPECT_THAT(document, HasSubstr("buy&nbsp;&lt;milk&gt;"));
    EXPECT_THAT(Ui().boxes, IsEmpty());
}

// Each operation of the clips traces its scope, in the order the clip runs them.
TEST_F(ItemClips, EachClipTracesItsScopesInOrder) {
    const std::vector<std::string> owners = {
        "ItemClipAction::", "SelectionClipAction::", "OutlookItem::", "Global::CreateMultiItemsNote"};
    const Item saved = StickyNote(u"saved");
    AnswerSaveAs(*saved, "bytes", std::make_shared<SaveAsRecord>());
    const struct {
        const char* name;
        std::function<void()> run;
        std::vector<std::string> traces;
    } cases[] = {
        {"item clip", [] { ItemClipAction(StickyNote(u"a"), &SendRecorder::Send).Execute(); },
         Scopes({Scope("ItemClipAction::Ctor"),
                 Scope("ItemClipAction::GetNotes()",
                       {Scope("OutlookItem::Ctor"), Scope("OutlookItem::CreateNote()"),
                        Scope("OutlookItem::Dtor")}),
                 Scope("ItemClipAction::Dtor")})},
        {"selection clip",
         [] { SelectionClipAction(Selection({StickyNote(u"a")}), &SendRecorder::Send).Execute(); },
         Scopes({Scope("SelectionClipAction::Ctor()"),
                 Scope("SelectionClipAction::GetNotes()",
                       {Scope("OutlookItem::Ctor"), Scope("OutlookItem::CreateNote()"),
                        Scope("OutlookItem::Dtor")}),
                 Scope("SelectionClipAction::Dtor()")})},
        {"selection check", [] { SelectionClipAction::CanBeExecuteOn(Selection({StickyNote(u"a")})); },
         Scope("SelectionClipAction::CanBeExecuteOn()",
               {Scope("OutlookItem::Ctor"), Scope("OutlookItem::isSupportedItem()"),
                Scope("OutlookItem::Dtor")})},
        {"combined note", [&] { Global::CreateMultiItemsNote({saved}); },
         Scope("Global::CreateMultiItemsNote()",
               {Scope("OutlookItem::Ctor"), Scope("OutlookItem::SaveTo()"),
                Scope("OutlookItem::GetSubject()"), Scope("OutlookItem::Dtor")})},
    };
    for (const auto& c : cases) {
        ItemLog log;
        c.run();
        EXPECT_EQ(log.Traces(owners), c.traces) << c.name;
    }
}

TEST_F(ItemClips, ItemClipOfAnUnsupportedItemEndsInTheUnexpectedErrorBox) {
    ItemClipAction action(Unsupported(), &SendRecorder::Send);
    action.Execute();
    EXPECT_THAT(SendRecorder::sent, IsEmpty());
    EXPECT_THAT(Ui().boxes, ElementsAre(RecordingUi::Box{kUnexpectedErrorText, kUnexpectedErrorCaption}));
}

#ifndef _WIN32
// Natively the HTML engine is at hand, so a selection travels the whole way: hook, wrapper, DOM,
// note, document.
TEST_F(ItemClips, ASelectedPassageIsClippedInsteadOfTheWholeItem) {
    Html::SetSelectionProvider(
        [] { return std::u16string(u"<html><body><p>picked words</p></body></html>"); });
    ItemClipAction action(StickyNote(u"Memo", u"the whole body"), &SendRecorder::Send);
    action.Execute();
    Html::SetSelectionProvider(nullptr);

    ASSERT_EQ(SendRecorder::sent.size(), 1u);
    const std::string& document = SendRecorder::sent[0].bytes;
    EXPECT_THAT(document, HasSubstr("picked words"));
    EXPECT_THAT(document, Not(HasSubstr("the whole body")));
    EXPECT_THAT(Ui().boxes, IsEmpty());
}
#endif

} // namespace
} // namespace Tessarix::Testing
