// The add-in's window plumbing against scripted Outlook objects, for what the end-to-end scenarios
// cannot reach: event subscriptions refused, item windows whose item or bars cannot be read, the
// command-bar buttons' properties and an explorer whose Tools menu appears late.
#include <windows.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "AddinModule.h"
#include "actions/ClipAction.h"
#include "addin/Buttons.h"
#include "addin/ClipActions.h"
#include "addin/CommandBarViews.h"
#include "addin/EventSink.h"
#include "addin/ItemWindows.h"
#include "addin/Localize.h"
#include "addin/OfficeInterfaces.h"
#include "addin/Registrar.h"
#include "addin/RibbonSupport.h"
#include "core/Automation.h"
#include "core/EnglishTexts.h"
#include "core/Exceptions.h"
#include "core/win/Libraries.h"
#include "core/win/LocalizedStringsWin.h"
#include "core/win/MapiPropWin.h"
#include "support/win/FakeOutlook.h"

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

// Office answers an interface only by its published IID (Office and Outlook type libraries).
TEST(OfficeInterfacesTest, EveryIidIsThePublishedOne) {
    const struct {
        IID iid;
        const wchar_t* published;
    } table[] = {
        {__uuidof(_IDTExtensibility2), L"{B65AD801-ABAF-11D0-BB8B-00A0C90F2744}"},
        {__uuidof(IRibbonExtensibility), L"{000C0396-0000-0000-C000-000000000046}"},
        {__uuidof(IRibbonControl), L"{000C0395-0000-0000-C000-000000000046}"},
        {__uuidof(IRibbonUI), L"{000C03A7-0000-0000-C000-000000000046}"},
        {Office::kIID_CommandBarPopup, L"{000C030A-0000-0000-C000-000000000046}"},
        {Office::kIID_CommandBarButtonEvents, L"{000C0351-0000-0000-C000-000000000046}"},
        {Office::kIID_CommandBarsEvents, L"{000C0352-0000-0000-C000-000000000046}"},
        {Outlook::kIID_Application, L"{00063001-0000-0000-C000-000000000046}"},
        {Outlook::kIID_Explorer, L"{00063003-0000-0000-C000-000000000046}"},
        {Outlook::kIID_Inspector, L"{00063005-0000-0000-C000-000000000046}"},
        {Outlook::kIID_ApplicationEvents_11, L"{0006302C-0000-0000-C000-000000000046}"},
        {Outlook::kIID_ExplorersEvents, L"{00063078-0000-0000-C000-000000000046}"},
        {Outlook::kIID_ExplorerEvents_10, L"{0006300F-0000-0000-C000-000000000046}"},
        {Outlook::kIID_InspectorsEvents, L"{00063079-0000-0000-C000-000000000046}"},
        {Outlook::kIID_InspectorEvents_10, L"{0006302A-0000-0000-C000-000000000046}"},
        {Win::ToIid(Tessarix::Outlook::kIID_MailItem), L"{00063034-0000-0000-C000-000000000046}"},
    };
    for (const auto& [iid, published] : table) {
        wchar_t text[40] = {};
        ASSERT_GT(::StringFromGUID2(iid, text, 40), 0);
        EXPECT_STREQ(text, published);
    }
}

TEST(EventConnectionTest, SubscribingTwiceOrToASourceWithoutEventsIsRefused) {
    FakeExplorer explorer;
    class Ignore final : public IEventHandler {
        void OnEvent(DISPID, DISPPARAMS*) override {}
    } handler;
    EventConnection connection(Outlook::kIID_ExplorerEvents_10, handler);
    connection.Connect(D(explorer.explorer));
    try {
        connection.Connect(D(explorer.explorer));
        FAIL() << "a second subscription was made";
    } catch (HResult hr) {
        EXPECT_EQ(hr, kE_FAIL);
    }
    EXPECT_EQ(explorer.explorer.Sinks(Outlook::kIID_ExplorerEvents_10), 1u);
    connection.Disconnect();
    EXPECT_EQ(explorer.explorer.Sinks(Outlook::kIID_ExplorerEvents_10), 0u);

    FakeObject silent; // no connection points at all
    EventConnection other(Outlook::kIID_ExplorerEvents_10, handler);
    EXPECT_THROW(other.Connect(D(silent)), HResult);
}

TEST(InspectorTrackingTest, ViewIsBuiltOnceAtTheFirstActivationWhenTheItemWasNotReadable) {
    FakeApplication outlook;
    auto clips = std::make_shared<NoClips>();
    auto builder = std::make_shared<RecordingViewBuilder>();
    FakeInspector late;
    late.inspector.Failing(L"CurrentItem", E_FAIL);

    CInspectors inspectors(D(outlook.application), builder, clips);
    outlook.inspectors.Fire(Outlook::kIID_InspectorsEvents, kNewInspector,
                            {VariantValue::Object(D(late.inspector))});
    EXPECT_EQ(inspectors.Count(), 1u); // not ignored: there is no item to judge by
    EXPECT_TRUE(builder->built.empty());

    late.inspector.ObjectProperty(L"CurrentItem", D(late.item));
    late.inspector.Fire(Outlook::kIID_InspectorEvents_10, kActivate);
    ASSERT_EQ(builder->built.size(), 1u);
    EXPECT_EQ(builder->built[0].first, D(late.inspector));
    EXPECT_EQ(builder->built[0].second, nullptr);
    EXPECT_EQ(clips->asked, std::vector<IDispatch*>{D(late.item)});
    late.inspector.Fire(Outlook::kIID_InspectorEvents_10, kActivate);
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
        EXPECT_TRUE(button->WasPut(L"Enabled")); // disabled until the first selection change
        EXPECT_FALSE(button->Put(L"Enabled").Bool());
    }
    view.SetEnabled(true);
    EXPECT_TRUE(explorer.commandBars.standard.Last().Put(L"Enabled").Bool());
    EXPECT_TRUE(explorer.commandBars.tools.Last().Put(L"Enabled").Bool());
    view.Init();
    EXPECT_EQ(explorer.commandBars.standard.buttons.size(), 1u);
    EXPECT_EQ(explorer.commandBars.tools.buttons.size(), 1u);

    // An inspector without command bars gets no view.
    FakeInspector bare;
    bare.inspector.Failing(L"CommandBars", E_FAIL);
    EXPECT_EQ(CInspectorViewBuilder(ButtonCreator()).Create(D(bare.inspector), nullptr), nullptr);
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
    explorer.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kActivate);
    ASSERT_EQ(explorer.commandBars.standard.buttons.size(), 1u);
    ASSERT_EQ(explorer.commandBars.tools.buttons.size(), 1u);
    EXPECT_TRUE(explorer.commandBars.standard.Last().Put(L"Enabled").Bool());
}

// The satellite built beside the add-in, searched by this program's own copy of the add-in code.
class SatelliteTexts {
public:
    SatelliteTexts() : locale_(::GetThreadLocale()) {
        const std::wstring dll = Testing::DllPath();
        module_ = Win::LoadResourceModule(dll.substr(0, dll.find_last_of(L'\\') + 1) + L"Resource.dll");
        if (module_)
            AddResourceModule(module_);
    }
    ~SatelliteTexts() {
        RemoveResourceModule(module_);
        ::FreeLibrary(module_);
        ::SetThreadUILanguage(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
        ::SetThreadLocale(locale_);
    }
    SatelliteTexts(const SatelliteTexts&) = delete;
    SatelliteTexts& operator=(const SatelliteTexts&) = delete;
    HMODULE module_ = nullptr;

private:
    LCID locale_;
};

// Every command-bar button and the ribbon label in each language of the satellite: the single-item
// buttons show the add text with its tip, the multi-item context entry the same text and no tip.
TEST(ButtonTextTest, EveryButtonAndRibbonLabelSpeaksTheUsersLanguage) {
    struct Language {
        LANGID id;
        std::wstring add;
        std::wstring tip;
    };
    const Language languages[] = {
        {MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), L"" TX_TEXT_EN_101, L"" TX_TEXT_EN_102},
        {MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), L"Zu Tessarix hinzuf\u00fcgen",
         L"Tessarix-Notizen aus den ausgew\u00e4hlten Outlook-Elementen erstellen"},
        {MAKELANGID(LANG_FRENCH, SUBLANG_FRENCH), L"Ajouter \u00e0 Tessarix",
         L"Cr\u00e9er des notes Tessarix \u00e0 partir des \u00e9l\u00e9ments Outlook "
         L"s\u00e9lectionn\u00e9s"},
    };
    SatelliteTexts satellite;
    ASSERT_NE(satellite.module_, nullptr);
    for (const Language& language : languages) {
        SCOPED_TRACE(language.id);
        // Windows picks a resource's language by the thread's UI language, Wine by its locale.
        ::SetThreadUILanguage(language.id);
        ::SetThreadLocale(MAKELCID(language.id, SORT_DEFAULT));
        FakeExplorer explorer;
        ExplorerToolbarView(D(explorer.explorer), ButtonCreator()).Init();
        FakeInspector item;
        ASSERT_NE(CInspectorViewBuilder(ButtonCreator()).Create(D(item.inspector), nullptr), nullptr);
        for (FakeObject* button : {&explorer.commandBars.standard.Last(), &explorer.commandBars.tools.Last(),
                                   &item.commandBars.standard.Last()}) {
            EXPECT_EQ(button->Put(L"Caption").Text(), language.add);
            EXPECT_EQ(button->Put(L"TooltipText").Text(), language.tip);
        }
        ButtonCreator()->ClipItemsButton(D(explorer.commandBars.context.bar));
        EXPECT_EQ(explorer.commandBars.context.Last().Put(L"Caption").Text(), language.add);
        EXPECT_FALSE(explorer.commandBars.context.Last().WasPut(L"TooltipText"));

        BSTR label = nullptr;
        ASSERT_EQ(CRibbonSupport(std::make_shared<CLocalize>(), std::make_shared<NoClips>())
                      .GetLabel(nullptr, &label),
                  S_OK);
        EXPECT_EQ(std::wstring(label, ::SysStringLen(label)), language.add);
        ::SysFreeString(label);
    }
}

// Registration reads its script in the system's locale, not the user's thread locale, and gives the
// thread its locale back. This program holds the module's script and a German one of its own.
TEST(RegistrationLocaleTest, TheScriptIsReadInTheSystemLocaleAndTheThreadLocaleIsRestored) {
    constexpr LCID kGerman = MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT);
    ASSERT_NE(::GetSystemDefaultLCID(), kGerman);
    const LCID before = ::GetThreadLocale();
    ASSERT_TRUE(::SetThreadLocale(kGerman));
    const HRESULT registered = RegisterServer(RegistrationScope::CurrentUser);
    EXPECT_EQ(::GetThreadLocale(), kGerman);
    EXPECT_TRUE(Tessarix::Testing::KeyExists(HKEY_CURRENT_USER, L"Software\\Classes\\TessarixOL.Connect"));
    EXPECT_FALSE(
        Tessarix::Testing::KeyExists(HKEY_CURRENT_USER, L"Software\\Classes\\TessarixOL.LocaleProbe"));
    EXPECT_EQ(UnregisterServer(RegistrationScope::CurrentUser), S_OK);
    EXPECT_EQ(::GetThreadLocale(), kGerman);
    ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\Classes\\TessarixOL.LocaleProbe");
    ::SetThreadLocale(before);
    EXPECT_EQ(registered, S_OK);
}

} // namespace
} // namespace Tessarix::Addin
