// The add-in's window plumbing against scripted Outlook objects, for what the end-to-end scenarios
// cannot reach: event subscriptions refused, item windows whose item or bars cannot be read, the
// command-bar buttons' properties and an explorer whose Tools menu appears late.
#include <windows.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "FakeOutlook.h"
#include "actions/ClipAction.h"
#include "addin/Buttons.h"
#include "addin/ClipActions.h"
#include "addin/CommandBarViews.h"
#include "addin/EventSink.h"
#include "addin/ItemWindows.h"
#include "addin/Localize.h"
#include "core/Exceptions.h"

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor" // COM interfaces have no destructors

namespace Tessarix::Addin {
namespace {

using Testing::D;
using Testing::FakeApplication;
using Testing::FakeExplorer;
using Testing::FakeInspector;
using Testing::FakeObject;
using Testing::VariantValue;

constexpr DISPID kNewInspector = 0xF001;
constexpr DISPID kActivate = 0xF001;

// Clips nothing: an item window's button then has no action.
class NoClips final : public IClipActions {
public:
    bool CanClipSelection(IDispatch*) override { return false; }
    std::shared_ptr<IAction> ClipSelection(IDispatch*) override { return nullptr; }
    std::shared_ptr<IAction> ClipItemIfSupported(IDispatch* item) override {
        asked.push_back(item);
        return nullptr;
    }
    std::shared_ptr<IAction> ClipItem(IDispatch*) override { return nullptr; }
    std::vector<IDispatch*> asked;
};

class RecordingViewBuilder final : public IInspectorViewBuilder {
public:
    std::shared_ptr<CAddinView> Create(IDispatch* inspector, std::shared_ptr<IAction> action) override {
        built.emplace_back(inspector, action);
        return std::make_shared<CAddinView>();
    }
    std::vector<std::pair<IDispatch*, std::shared_ptr<IAction>>> built;
};

std::shared_ptr<CTessarixButtonCreator> ButtonCreator() {
    return std::make_shared<CTessarixButtonCreator>(std::make_shared<CLocalize>(),
                                                    std::make_shared<CButtonCreator>());
}

TEST(EventConnectionTest, SubscribingTwiceOrToASourceWithoutEventsIsRefused) {
    FakeExplorer explorer;
    class Ignore final : public IEventHandler {
        void OnEvent(DISPID, DISPPARAMS*) override {}
    } handler;
    EventConnection connection(Testing::kIID_ExplorerEvents_10, handler);
    connection.Connect(D(explorer.explorer));
    try {
        connection.Connect(D(explorer.explorer));
        FAIL() << "a second subscription was made";
    } catch (HResult hr) {
        EXPECT_EQ(hr, kE_FAIL);
    }
    EXPECT_EQ(explorer.explorer.Sinks(Testing::kIID_ExplorerEvents_10), 1u);
    connection.Disconnect();
    EXPECT_EQ(explorer.explorer.Sinks(Testing::kIID_ExplorerEvents_10), 0u);

    FakeObject silent; // no connection points at all
    EventConnection other(Testing::kIID_ExplorerEvents_10, handler);
    EXPECT_THROW(other.Connect(D(silent)), HResult);
}

TEST(InspectorTrackingTest, ViewIsBuiltOnceAtTheFirstActivationWhenTheItemWasNotReadable) {
    FakeApplication outlook;
    auto clips = std::make_shared<NoClips>();
    auto builder = std::make_shared<RecordingViewBuilder>();
    FakeInspector late;
    late.inspector.Failing(L"CurrentItem", E_FAIL);

    CInspectors inspectors(D(outlook.application), builder, clips);
    outlook.inspectors.Fire(Testing::kIID_InspectorsEvents, kNewInspector,
                            {VariantValue::Object(D(late.inspector))});
    EXPECT_EQ(inspectors.Count(), 1u); // not ignored: there is no item to judge by
    EXPECT_TRUE(builder->built.empty());

    late.inspector.ObjectProperty(L"CurrentItem", D(late.item));
    late.inspector.Fire(Testing::kIID_InspectorEvents_10, kActivate);
    ASSERT_EQ(builder->built.size(), 1u);
    EXPECT_EQ(builder->built[0].first, D(late.inspector));
    EXPECT_EQ(builder->built[0].second, nullptr);
    EXPECT_EQ(clips->asked, std::vector<IDispatch*>{D(late.item)});
    late.inspector.Fire(Testing::kIID_InspectorEvents_10, kActivate);
    EXPECT_EQ(builder->built.size(), 1u);
}

TEST(CommandBarViewTest, ToolbarAndToolsMenuButtonsAreMadeOnceAndFollowTheRequestedState) {
    FakeExplorer explorer;
    ExplorerToolbarView view(D(explorer.explorer), ButtonCreator());
    view.Init();
    ASSERT_EQ(explorer.commandBars.standard.buttons.size(), 1u);
    ASSERT_EQ(explorer.commandBars.tools.buttons.size(), 1u);
    for (FakeObject* button : {&explorer.commandBars.standard.Last(), &explorer.commandBars.tools.Last()}) {
        EXPECT_TRUE(button->Put(L"BeginGroup").Bool());
        EXPECT_EQ(button->Put(L"Style").Int(), 3);
        EXPECT_NE(button->Put(L"Picture").Object(), nullptr);
        EXPECT_NE(button->Put(L"Mask").Object(), nullptr);
        EXPECT_TRUE(button->WasPut(L"Caption"));
        EXPECT_TRUE(button->WasPut(L"TooltipText"));
        EXPECT_TRUE(button->WasPut(L"Enabled")); // disabled until the first selection change
        EXPECT_FALSE(button->Put(L"Enabled").Bool());
    }
    view.SetEnabled(true);
    EXPECT_TRUE(explorer.commandBars.standard.Last().Put(L"Enabled").Bool());
    EXPECT_TRUE(explorer.commandBars.tools.Last().Put(L"Enabled").Bool());
    view.Init();
    EXPECT_EQ(explorer.commandBars.standard.buttons.size(), 1u);
    EXPECT_EQ(explorer.commandBars.tools.buttons.size(), 1u);
}

TEST(CommandBarViewTest, WithoutAToolsMenuNothingIsMadeAndActivationRetries) {
    FakeExplorer explorer;
    explorer.commandBars.hasToolsMenu = false;
    ExplorerToolbarView view(D(explorer.explorer), ButtonCreator());
    view.Init();
    EXPECT_TRUE(explorer.commandBars.standard.buttons.empty());
    EXPECT_TRUE(explorer.commandBars.tools.buttons.empty());
    view.SetEnabled(true); // remembered for later

    explorer.commandBars.hasToolsMenu = true;
    explorer.explorer.Fire(Testing::kIID_ExplorerEvents_10, kActivate);
    ASSERT_EQ(explorer.commandBars.standard.buttons.size(), 1u);
    ASSERT_EQ(explorer.commandBars.tools.buttons.size(), 1u);
    EXPECT_TRUE(explorer.commandBars.standard.Last().Put(L"Enabled").Bool());
}

TEST(CommandBarViewTest, InspectorWithoutCommandBarsGetsNoView) {
    FakeInspector bare;
    bare.inspector.Failing(L"CommandBars", E_FAIL);
    EXPECT_EQ(CInspectorViewBuilder(ButtonCreator()).Create(D(bare.inspector), nullptr), nullptr);
}

} // namespace
} // namespace Tessarix::Addin
