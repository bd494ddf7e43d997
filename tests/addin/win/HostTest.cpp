// The add-in's window plumbing against scripted Outlook objects: explorer and inspector trackers,
// command-bar buttons and views, context menus, and the Outlook 2010 ribbon view. Clips are
// recorded, not run.
#include <windows.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "FakeOutlook.h"
#include "FakeRibbon.h"
#include "actions/ClipAction.h"
#include "addin/Buttons.h"
#include "addin/ClipActions.h"
#include "addin/CommandBarViews.h"
#include "addin/EventSink.h"
#include "addin/ExplorerView2010.h"
#include "addin/Explorers.h"
#include "addin/ItemWindows.h"
#include "addin/Localize.h"
#include "addin/OfficeInterfaces.h"
#include "addin/RibbonSupport.h"
#include "core/Exceptions.h"

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor" // COM interfaces have no destructors

namespace Tessarix::Addin {
namespace {

using Testing::D;
using Testing::FakeApplication;
using Testing::FakeBar;
using Testing::FakeExplorer;
using Testing::FakeInspector;
using Testing::FakeObject;
using Testing::FakeRibbonControl;
using Testing::FakeRibbonUI;
using Testing::VariantValue;

constexpr DISPID kNewWindow = 0xF001; // NewExplorer, NewInspector
constexpr DISPID kActivate = 0xF001;
constexpr DISPID kFolderSwitch = 0xF002;
constexpr DISPID kSelectionChange = 0xF007;
constexpr DISPID kClose = 0xF008;
constexpr DISPID kClick = 1;
constexpr DISPID kItemContextMenuDisplay = 0xFB41;

// ---------------------------------------------------------------------------------------------
// Recording doubles

class RecordedAction final : public IAction {
public:
    void Execute() override { ++executed; }
    int executed = 0;
};

class RecordingClipActions final : public IClipActions {
public:
    bool CanClipSelection(IDispatch* selection) override {
        judged.push_back(selection);
        return canClip;
    }
    std::shared_ptr<IAction> ClipSelection(IDispatch* selection) override {
        clippedSelections.push_back(selection);
        return last = std::make_shared<RecordedAction>();
    }
    std::shared_ptr<IAction> ClipItemIfSupported(IDispatch* item) override {
        supportedItems.push_back(item);
        return itemsSupported ? (last = std::make_shared<RecordedAction>()) : nullptr;
    }
    std::shared_ptr<IAction> ClipItem(IDispatch* item) override {
        clippedItems.push_back(item);
        return last = std::make_shared<RecordedAction>();
    }

    bool canClip = true;
    bool itemsSupported = true;
    std::vector<IDispatch*> judged, clippedSelections, supportedItems, clippedItems;
    std::shared_ptr<RecordedAction> last;
};

class RecordingView final : public IExplorerView {
public:
    void Init() override { ++inits; }
    void SetEnabled(bool enabled) override { states.push_back(enabled); }
    void Advise(IExplorerViewListener* l) override { listener = l; }

    int inits = 0;
    std::vector<bool> states;
    IExplorerViewListener* listener = nullptr;
};

class RecordingViewFactory final : public IExplorerViewFactory {
public:
    std::shared_ptr<IExplorerView> Create(IDispatch* explorer, IExplorerViewListener*) override {
        auto view = std::make_shared<RecordingView>();
        explorers.push_back(explorer);
        views.push_back(view);
        return view;
    }
    std::vector<IDispatch*> explorers;
    std::vector<std::weak_ptr<RecordingView>> views;
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

// ---------------------------------------------------------------------------------------------
// Explorer tracking

TEST(ExplorerTrackingTest, EveryExplorerIsTrackedFromConnectionToClose) {
    FakeExplorer first, second, third;
    FakeApplication outlook({&first, &second});
    auto clips = std::make_shared<RecordingClipActions>();
    auto factory = std::make_shared<RecordingViewFactory>();
    const LONG collectionRefs = outlook.explorers.refs; // the application's property holds one
    {
        CExplorers explorers(D(outlook.application), factory, clips);
        ASSERT_EQ(explorers.Count(), 2u);
        ASSERT_EQ(factory->views.size(), 2u);
        EXPECT_EQ(factory->explorers[0], D(first.explorer));
        EXPECT_EQ(factory->explorers[1], D(second.explorer));
        auto view1 = factory->views[0].lock();
        auto view2 = factory->views[1].lock();
        EXPECT_EQ(view1->inits, 1);
        EXPECT_NE(view1->listener, nullptr);
        EXPECT_EQ(first.explorer.Sinks(Testing::kIID_ExplorerEvents_10), 1u);
        EXPECT_EQ(outlook.explorers.Sinks(Testing::kIID_ExplorersEvents), 1u);

        // The selection decides the state of that explorer's button only.
        clips->canClip = false;
        first.explorer.Fire(Testing::kIID_ExplorerEvents_10, kSelectionChange);
        clips->canClip = true;
        first.explorer.Fire(Testing::kIID_ExplorerEvents_10, kSelectionChange);
        first.explorer.Fire(Testing::kIID_ExplorerEvents_10, kFolderSwitch);
        EXPECT_EQ(view1->states, (std::vector<bool>{false, true, false}));
        EXPECT_TRUE(view2->states.empty());
        ASSERT_EQ(clips->judged.size(), 2u);
        EXPECT_EQ(clips->judged[0], D(first.selection));

        outlook.explorers.Fire(Testing::kIID_ExplorersEvents, kNewWindow,
                               {VariantValue::Object(D(third.explorer))});
        EXPECT_EQ(explorers.Count(), 3u);
        EXPECT_EQ(factory->explorers.back(), D(third.explorer));

        // Closing one explorer removes exactly its tracker.
        view2.reset();
        second.explorer.Fire(Testing::kIID_ExplorerEvents_10, kClose);
        EXPECT_EQ(explorers.Count(), 2u);
        EXPECT_TRUE(factory->views[1].expired());
        EXPECT_EQ(second.explorer.Sinks(Testing::kIID_ExplorerEvents_10), 0u);
        EXPECT_EQ(first.explorer.Sinks(Testing::kIID_ExplorerEvents_10), 1u);
        EXPECT_EQ(third.explorer.Sinks(Testing::kIID_ExplorerEvents_10), 1u);

        // The button clips the explorer's current selection.
        view1->listener->OnAddNote();
        ASSERT_EQ(clips->clippedSelections.size(), 1u);
        EXPECT_EQ(clips->clippedSelections[0], D(first.selection));
        EXPECT_EQ(clips->last->executed, 1);
    }
    EXPECT_EQ(outlook.explorers.Sinks(Testing::kIID_ExplorersEvents), 0u);
    EXPECT_EQ(first.explorer.Sinks(Testing::kIID_ExplorerEvents_10), 0u);
    EXPECT_EQ(third.explorer.Sinks(Testing::kIID_ExplorerEvents_10), 0u);
    EXPECT_EQ(first.explorer.refs, 1);
    EXPECT_EQ(outlook.explorers.refs, collectionRefs);
}

TEST(ExplorerTrackingTest, SubscribingTwiceToOneSourceIsRefused) {
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

// ---------------------------------------------------------------------------------------------
// Inspector tracking

TEST(InspectorTrackingTest, ComposedMailIsIgnoredAndOtherItemsAreTracked) {
    FakeApplication outlook;
    auto clips = std::make_shared<RecordingClipActions>();
    auto builder = std::make_shared<RecordingViewBuilder>();
    FakeInspector composing(false), received(true), contact(std::nullopt);
    {
        CInspectors inspectors(D(outlook.application), builder, clips);
        auto open = [&](FakeInspector& window) {
            outlook.inspectors.Fire(Testing::kIID_InspectorsEvents, kNewWindow,
                                    {VariantValue::Object(D(window.inspector))});
        };
        open(composing);
        EXPECT_EQ(inspectors.Count(), 0u);
        EXPECT_EQ(composing.inspector.Sinks(Testing::kIID_InspectorEvents_10), 0u);
        open(received);
        open(contact);
        EXPECT_EQ(inspectors.Count(), 2u);
        ASSERT_EQ(builder->built.size(), 2u);
        EXPECT_EQ(builder->built[0].first, D(received.inspector));
        EXPECT_NE(builder->built[0].second, nullptr);
        EXPECT_EQ(clips->supportedItems[0], D(received.item));

        // A view is built once: activation does not build another.
        received.inspector.Fire(Testing::kIID_InspectorEvents_10, kActivate);
        EXPECT_EQ(builder->built.size(), 2u);

        received.inspector.Fire(Testing::kIID_InspectorEvents_10, kClose);
        EXPECT_EQ(inspectors.Count(), 1u);
        EXPECT_EQ(received.inspector.Sinks(Testing::kIID_InspectorEvents_10), 0u);
    }
    EXPECT_EQ(contact.inspector.Sinks(Testing::kIID_InspectorEvents_10), 0u);
    EXPECT_EQ(outlook.inspectors.Sinks(Testing::kIID_InspectorsEvents), 0u);
    EXPECT_EQ(contact.inspector.refs, 1);
}

TEST(InspectorTrackingTest, ViewIsBuiltAtTheFirstActivationWhenTheItemWasNotReadable) {
    FakeApplication outlook;
    auto clips = std::make_shared<RecordingClipActions>();
    clips->itemsSupported = false; // e.g. a distribution list: a button without an action
    auto builder = std::make_shared<RecordingViewBuilder>();
    FakeInspector late(std::nullopt);
    late.inspector.Failing(L"CurrentItem", E_FAIL);

    CInspectors inspectors(D(outlook.application), builder, clips);
    outlook.inspectors.Fire(Testing::kIID_InspectorsEvents, kNewWindow,
                            {VariantValue::Object(D(late.inspector))});
    EXPECT_EQ(inspectors.Count(), 1u); // not ignored: there is no item to judge by
    EXPECT_TRUE(builder->built.empty());

    late.inspector.ObjectProperty(L"CurrentItem", D(late.item));
    late.inspector.Fire(Testing::kIID_InspectorEvents_10, kActivate);
    ASSERT_EQ(builder->built.size(), 1u);
    EXPECT_EQ(builder->built[0].second, nullptr);
}

// ---------------------------------------------------------------------------------------------
// Command-bar views

class RecordingListener final : public IExplorerViewListener {
public:
    void OnAddNote() override { ++notes; }
    int notes = 0;
};

TEST(CommandBarViewTest, ToolbarAndToolsMenuButtonsFollowTheRequestedState) {
    FakeExplorer explorer;
    RecordingListener listener;
    {
        ExplorerToolbarView view(D(explorer.explorer), ButtonCreator());
        view.Advise(&listener);
        view.SetEnabled(false); // before the buttons exist
        view.Init();
        ASSERT_EQ(explorer.commandBars.standard.buttons.size(), 1u);
        ASSERT_EQ(explorer.commandBars.tools.buttons.size(), 1u);
        for (FakeObject* button :
             {&explorer.commandBars.standard.Last(), &explorer.commandBars.tools.Last()}) {
            EXPECT_TRUE(button->Put(L"BeginGroup").Bool());
            EXPECT_EQ(button->Put(L"Style").Int(), 3);
            EXPECT_NE(button->Put(L"Picture").Object(), nullptr);
            EXPECT_NE(button->Put(L"Mask").Object(), nullptr);
            EXPECT_TRUE(button->WasPut(L"Caption"));
            EXPECT_TRUE(button->WasPut(L"TooltipText"));
            EXPECT_TRUE(button->WasPut(L"Enabled"));
            EXPECT_FALSE(button->Put(L"Enabled").Bool());
        }
        view.SetEnabled(true);
        EXPECT_TRUE(explorer.commandBars.standard.Last().Put(L"Enabled").Bool());
        EXPECT_TRUE(explorer.commandBars.tools.Last().Put(L"Enabled").Bool());

        // A second Init makes nothing new; a click on either button reaches the explorer.
        view.Init();
        EXPECT_EQ(explorer.commandBars.standard.buttons.size(), 1u);
        explorer.commandBars.tools.Last().Fire(Testing::kIID_CommandBarButtonEvents, kClick);
        EXPECT_EQ(listener.notes, 1);
    }
    // The buttons are deleted with their view.
    EXPECT_EQ(explorer.commandBars.standard.Last().Calls(L"Delete"), 1);
    EXPECT_EQ(explorer.commandBars.tools.Last().Calls(L"Delete"), 1);
    EXPECT_EQ(explorer.commandBars.standard.Last().Sinks(Testing::kIID_CommandBarButtonEvents), 0u);
    EXPECT_EQ(explorer.explorer.Sinks(Testing::kIID_ExplorerEvents_10), 0u);
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

TEST(CommandBarViewTest, ItemContextMenuEntryDependsOnTheSelection) {
    FakeApplication outlook;
    auto clips = std::make_shared<RecordingClipActions>();
    FakeBar menu;
    FakeObject one, three;
    one.Property(L"Count", VariantValue::Int(1));
    three.Property(L"Count", VariantValue::Int(3));
    CContextMenu2007 contextMenu(D(outlook.application), ButtonCreator(), clips);
    auto display = [&](FakeObject& selection) {
        outlook.application.Fire(Testing::kIID_ApplicationEvents_11, kItemContextMenuDisplay,
                                 {VariantValue::Object(D(menu.bar)), VariantValue::Object(D(selection))});
    };

    display(one);
    ASSERT_EQ(menu.buttons.size(), 1u);
    EXPECT_TRUE(menu.Last().WasPut(L"Caption"));
    EXPECT_TRUE(menu.Last().WasPut(L"TooltipText"));
    menu.Last().Fire(Testing::kIID_CommandBarButtonEvents, kClick);
    ASSERT_EQ(clips->clippedSelections.size(), 1u);
    EXPECT_EQ(clips->clippedSelections[0], D(one));
    EXPECT_EQ(clips->last->executed, 1);

    display(three);
    ASSERT_EQ(menu.buttons.size(), 2u);
    EXPECT_EQ(menu.buttons[0]->Calls(L"Delete"), 1); // the previous entry goes first
    EXPECT_TRUE(menu.Last().WasPut(L"Caption"));
    EXPECT_FALSE(menu.Last().WasPut(L"TooltipText"));

    clips->canClip = false;
    display(one);
    EXPECT_EQ(menu.buttons.size(), 2u);
    EXPECT_EQ(menu.buttons[1]->Calls(L"Delete"), 1);
}

TEST(CommandBarViewTest, Outlook2003ContextMenuIsRebuiltOnEveryUpdateOfTheBars) {
    FakeExplorer explorer(2);
    FakeApplication outlook;
    outlook.Activate(explorer);
    explorer.explorer.ObjectProperty(L"Application", D(outlook.application));
    auto clips = std::make_shared<RecordingClipActions>();
    ExplorerView2003 view(D(explorer.explorer), ButtonCreator(), clips);
    view.Init();
    ASSERT_EQ(explorer.commandBars.bars.Sinks(Testing::kIID_CommandBarsEvents), 1u);
    FakeBar& menu = explorer.commandBars.context;

    explorer.commandBars.bars.Fire(Testing::kIID_CommandBarsEvents, 1);
    ASSERT_EQ(menu.buttons.size(), 1u);
    EXPECT_FALSE(menu.Last().WasPut(L"TooltipText")); // two items: the multi-item entry
    menu.Last().Fire(Testing::kIID_CommandBarButtonEvents, kClick);
    ASSERT_EQ(clips->clippedSelections.size(), 1u);
    EXPECT_EQ(clips->clippedSelections[0], D(explorer.selection));

    // An update while no context menu is shown leaves the entry alone.
    explorer.commandBars.contextMenuShown = false;
    explorer.commandBars.bars.Fire(Testing::kIID_CommandBarsEvents, 1);
    EXPECT_EQ(menu.buttons[0]->Calls(L"Delete"), 0);

    explorer.commandBars.contextMenuShown = true;
    clips->canClip = false;
    explorer.commandBars.bars.Fire(Testing::kIID_CommandBarsEvents, 1);
    EXPECT_EQ(menu.buttons.size(), 1u);
    EXPECT_EQ(menu.buttons[0]->Calls(L"Delete"), 1);
}

TEST(CommandBarViewTest, InspectorButtonWithoutActionDoesNothingAndMissingBarsGiveNoView) {
    FakeInspector inspector(std::nullopt);
    CInspectorViewBuilder builder(ButtonCreator());
    {
        const std::shared_ptr<CAddinView> view = builder.Create(D(inspector.inspector), nullptr);
        ASSERT_NE(view, nullptr);
        ASSERT_EQ(inspector.commandBars.standard.buttons.size(), 1u);
        FakeObject& button = inspector.commandBars.standard.Last();
        EXPECT_FALSE(button.WasPut(L"Enabled")); // never disabled
        button.Fire(Testing::kIID_CommandBarButtonEvents, kClick);
    }
    EXPECT_EQ(inspector.commandBars.standard.Last().Calls(L"Delete"), 1);

    FakeInspector bare(std::nullopt);
    bare.inspector.Failing(L"CommandBars", E_FAIL);
    EXPECT_EQ(builder.Create(D(bare.inspector), nullptr), nullptr);
}

// ---------------------------------------------------------------------------------------------
// Outlook 2010: the explorer view and the ribbon

TEST(RibbonViewTest, ExplorerButtonsMirrorTheirViewsAndInvalidateOnlyOnChange) {
    auto clips = std::make_shared<RecordingClipActions>();
    CRibbonSupport ribbon(std::make_shared<CLocalize>(), clips);
    FakeRibbonUI ribbonUI;
    ASSERT_EQ(ribbon.OnLoad(&ribbonUI), S_OK);
    FakeExplorer explorer;
    FakeRibbonControl control(D(explorer.explorer));
    VARIANT_BOOL enabled = 7;
    {
        ExplorerView2010 view(D(explorer.explorer), &ribbon);
        view.SetEnabled(false); // no change from the initial state
        EXPECT_EQ(ribbonUI.invalidations, 0);
        view.SetEnabled(true);
        view.SetEnabled(true);
        EXPECT_EQ(ribbonUI.invalidations, 1);
        EXPECT_EQ(ribbon.GetEnabled(&control, &enabled), S_OK);
        EXPECT_EQ(enabled, 1); // the view's flag, not VARIANT_TRUE
        view.SetEnabled(false);
        EXPECT_EQ(ribbonUI.invalidations, 2);
        EXPECT_EQ(ribbon.GetEnabled(&control, &enabled), S_OK);
        EXPECT_EQ(enabled, 0);
    }
    enabled = 7;
    EXPECT_EQ(ribbon.GetEnabled(&control, &enabled), S_OK);
    EXPECT_EQ(enabled, 7); // the view is gone
}

TEST(RibbonViewTest, ClickClipsTheInspectorsItemOrTheExplorersSelection) {
    auto clips = std::make_shared<RecordingClipActions>();
    CRibbonSupport ribbon(std::make_shared<CLocalize>(), clips);
    FakeInspector inspector(true);
    FakeExplorer explorer;
    FakeObject other;
    FakeRibbonControl inInspector(D(inspector.inspector)), inExplorer(D(explorer.explorer)),
        elsewhere(D(other));
    const LONG itemRefs = inspector.item.refs; // the inspector's property holds one

    EXPECT_EQ(ribbon.OnClick(&inInspector), S_OK);
    ASSERT_EQ(clips->clippedItems.size(), 1u);
    EXPECT_EQ(clips->clippedItems[0], D(inspector.item));
    EXPECT_EQ(clips->last->executed, 1);

    EXPECT_EQ(ribbon.OnClick(&inExplorer), S_OK);
    ASSERT_EQ(clips->clippedSelections.size(), 1u);
    EXPECT_EQ(clips->clippedSelections[0], D(explorer.selection));
    EXPECT_EQ(clips->last->executed, 1);

    EXPECT_EQ(ribbon.OnClick(&elsewhere), S_OK);
    EXPECT_EQ(clips->clippedItems.size() + clips->clippedSelections.size(), 2u);
    EXPECT_EQ(inspector.item.refs, itemRefs);
}

} // namespace
} // namespace Tessarix::Addin
