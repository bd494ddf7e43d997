// TessarixOL.dll end to end under Wine: registered, created through its ProgID and connected to a
// scripted Outlook whose toolbar, menu, context-menu, inspector and ribbon buttons run real clips of
// sticky notes; each export document is parsed as it arrived at a real desktop-client window.
// Every reference the add-in took on Outlook's objects is given back, and the module can unload.
#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <xmllite.h>

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "AddinModule.h"
#include "FakeRibbon.h"
#include "addin/OfficeInterfaces.h"
#include "addin/TessarixOL.h"
#include "core/Utf.h"
#include "core/Utils.h"
#include "core/win/ComPtr.h"
#include "core/win/OleTypes.h"
#include "html/win/StandInEngine.h"
#include "support/win/ClientWindow.h"
#include "support/win/FakeOutlook.h"
#include "support/win/TestWindows.h"

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor" // COM interfaces have no destructors

namespace Tessarix::Addin {
namespace {

using Tessarix::Testing::ClientWindow;
using Tessarix::Testing::Delivery;
using Testing::D;
using Testing::Dll;
using Testing::FakeApplication;
using Testing::FakeBar;
using Testing::FakeCollection;
using Testing::FakeExplorer;
using Testing::FakeInspector;
using Testing::FakeObject;
using Testing::FakeRibbonControl;
using Testing::FakeRibbonUI;
using Testing::LogCapture;
using Testing::StickyNoteFields;
using Testing::VariantValue;
using Win::ComPtr;

constexpr DISPID kNewWindow = 0xF001; // NewExplorer, NewInspector
constexpr DISPID kFolderSwitch = 0xF002;
constexpr DISPID kSelectionChange = 0xF007;
constexpr DISPID kClose = 0xF008;
constexpr DISPID kClick = 1;
constexpr DISPID kCommandBarsUpdate = 1;
constexpr DISPID kItemContextMenuDisplay = 0xFB41;
constexpr DISPID kContextMenuClose = 0xFBA6;

// ---------------------------------------------------------------------------------------------
// What the desktop client received

struct ReceivedNote {
    std::u16string title;
    std::u16string content;
    std::u16string created;
    std::vector<std::u16string> attributes; // element names inside note-attributes
    int resources = 0;
};

struct ReceivedDocument {
    bool byteOrderMark = false;
    std::u16string doctype;
    std::u16string root;
    std::vector<ReceivedNote> notes;
};

// Parses the bytes with the platform's XML reader (XmlLite); a malformed or truncated document
// fails the test.
ReceivedDocument Parse(const std::string& bytes) {
    ReceivedDocument document;
    document.byteOrderMark = bytes.rfind("\xEF\xBB\xBF", 0) == 0;
    using CreateXmlReaderFunction = HRESULT(WINAPI*)(REFIID, void**, IMalloc*);
    static const HMODULE xmllite = ::LoadLibraryW(L"xmllite.dll");
    const auto create = reinterpret_cast<CreateXmlReaderFunction>(
        reinterpret_cast<void*>(::GetProcAddress(xmllite, "CreateXmlReader")));
    EXPECT_NE(create, nullptr);
    if (!create)
        return document;
    ComPtr<IXmlReader> reader;
    EXPECT_EQ(create(__uuidof(IXmlReader), reinterpret_cast<void**>(reader.AddressOf()), nullptr), S_OK);
    EXPECT_EQ(reader->SetProperty(XmlReaderProperty_DtdProcessing, DtdProcessing_Parse), S_OK);
    ComPtr<IStream> stream;
    HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, bytes.size());
    std::memcpy(::GlobalLock(memory), bytes.data(), bytes.size());
    ::GlobalUnlock(memory);
    EXPECT_EQ(::CreateStreamOnHGlobal(memory, TRUE, stream.AddressOf()), S_OK);
    ULARGE_INTEGER size;
    size.QuadPart = bytes.size();
    stream->SetSize(size);
    EXPECT_EQ(reader->SetInput(stream.Get()), S_OK);

    std::vector<std::u16string> path;
    XmlNodeType type = XmlNodeType_None;
    HRESULT hr = S_OK;
    while ((hr = reader->Read(&type)) == S_OK) {
        const wchar_t* name = nullptr;
        UINT length = 0;
        switch (type) {
        case XmlNodeType_DocumentType:
            reader->GetLocalName(&name, &length);
            document.doctype = FromWide(name, length);
            break;
        case XmlNodeType_Element: {
            reader->GetLocalName(&name, &length);
            const std::u16string element = FromWide(name, length);
            if (path.empty())
                document.root = element;
            else if (path.size() == 1 && element == u"note")
                document.notes.emplace_back();
            else if (path.size() == 2 && element == u"resource")
                ++document.notes.back().resources;
            else if (path.size() == 3 && path.back() == u"note-attributes")
                document.notes.back().attributes.push_back(element);
            if (!reader->IsEmptyElement())
                path.push_back(element);
            break;
        }
        case XmlNodeType_EndElement:
            path.pop_back();
            break;
        case XmlNodeType_Text:
        case XmlNodeType_CDATA: {
            reader->GetValue(&name, &length);
            if (path.size() == 3 && path[1] == u"note") {
                ReceivedNote& note = document.notes.back();
                std::u16string* field = path[2] == u"title"     ? &note.title
                                        : path[2] == u"content" ? &note.content
                                        : path[2] == u"created" ? &note.created
                                                                : nullptr;
                if (field)
                    *field += FromWide(name, length);
            }
            break;
        }
        default:
            break;
        }
    }
    EXPECT_EQ(hr, S_FALSE) << "the document is not well-formed";
    EXPECT_TRUE(path.empty()) << "the document ends inside an element";
    return document;
}

// A sticky note as the add-in renders it.
struct Sticky {
    StickyNoteFields fields;
    std::u16string renderedBody; // the body as the note content holds it
    std::unique_ptr<FakeObject> item = Testing::NewStickyNote(fields);

    std::u16string Content() const {
        std::u16string header;
        if (!fields.categories.empty())
            header += u"<b>Categories:</b> " + FromWide(fields.categories.c_str()) + u"<br/>";
        header += u"<b>Creation Time:</b> " + FormatDateTime(AutomationDate{fields.created}) + u"<br/>";
        return header + u"<hr /><br>" + renderedBody;
    }
};

// The document holds exactly these notes, complete.
void ExpectNotes(const Delivery& delivery, const std::vector<const Sticky*>& expected, ULONG_PTR flag = 0) {
    EXPECT_EQ(delivery.flag, flag);
    const ReceivedDocument document = Parse(delivery.bytes);
    EXPECT_TRUE(document.byteOrderMark);
    EXPECT_EQ(document.doctype, u"tx-clipper-export");
    EXPECT_EQ(document.root, u"tx-clipper-export");
    ASSERT_EQ(document.notes.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const ReceivedNote& note = document.notes[i];
        EXPECT_EQ(note.title, FromWide(expected[i]->fields.subject.c_str())) << i;
        EXPECT_EQ(note.content, expected[i]->Content()) << i;
        EXPECT_EQ(note.created.size(), 24u) << i; // the time of the clip, 2011-03-07T13:05:09.042Z
        EXPECT_TRUE(note.attributes.empty()) << i;
        EXPECT_EQ(note.resources, 0) << i;
    }
}

// ---------------------------------------------------------------------------------------------
// Message boxes

// Closes every dialog box this thread shows (a clip that fails shows one and would wait for a
// click) and keeps its caption and texts, so that a failure is reported instead of hanging. Given
// an interlude, it runs it from the box's own message loop, as Outlook's work would run while the
// box shows, and closes the box after it.
class BoxWatcher {
public:
    BoxWatcher() : hook_(::SetWindowsHookExW(WH_CBT, &BoxWatcher::Hook, nullptr, ::GetCurrentThreadId())) {
        watcher_ = this;
        WNDCLASSW type{};
        type.lpfnWndProc = &BoxWatcher::Deliver;
        type.hInstance = ::GetModuleHandleW(nullptr);
        type.lpszClassName = L"TxBoxInterlude";
        ::RegisterClassW(&type);
        courier_ = ::CreateWindowExW(0, type.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                     type.hInstance, nullptr);
    }
    ~BoxWatcher() {
        ::DestroyWindow(courier_);
        ::UnhookWindowsHookEx(hook_);
        watcher_ = nullptr;
    }
    BoxWatcher(const BoxWatcher&) = delete;
    BoxWatcher& operator=(const BoxWatcher&) = delete;

    std::vector<std::string> boxes;
    std::function<void()> interlude; // run once, at the next box

    // Runs `work` from the next message loop that dispatches this thread's posted messages; null
    // forgets work that no loop ran.
    void AtNextPump(std::function<void()> work) {
        pumped_ = std::move(work);
        if (pumped_)
            ::PostMessageW(courier_, kInterlude, 0, 0);
    }

private:
    static constexpr UINT kInterlude = WM_APP + 3;

    static std::string WindowText(HWND window) {
        wchar_t text[512] = {};
        const int length = ::GetWindowTextW(window, text, 512);
        return ToUtf8(FromWide(text, static_cast<std::size_t>(length)));
    }

    static bool IsA(HWND window, const wchar_t* type) {
        wchar_t name[32] = {};
        ::GetClassNameW(window, name, 32);
        return _wcsicmp(name, type) == 0;
    }

    static void Close(HWND box) { ::PostMessageW(box, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0); }

    // A box is complete, texts and all, when it is first activated.
    static LRESULT CALLBACK Hook(int code, WPARAM wParam, LPARAM lParam) {
        const HWND window = reinterpret_cast<HWND>(wParam);
        if (code == HCBT_ACTIVATE && IsA(window, L"#32770") && watcher_->closed_.insert(window).second) {
            std::string box = WindowText(window) + ":";
            for (HWND child = ::GetWindow(window, GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT)) {
                if (IsA(child, L"Static"))
                    box += " " + WindowText(child);
            }
            watcher_->boxes.push_back(box);
            if (watcher_->interlude)
                ::PostMessageW(watcher_->courier_, kInterlude, reinterpret_cast<WPARAM>(window), 0);
            else
                Close(window);
        }
        return ::CallNextHookEx(nullptr, code, wParam, lParam);
    }

    static LRESULT CALLBACK Deliver(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message != kInterlude)
            return ::DefWindowProcW(window, message, wParam, lParam);
        std::function<void()>& work = wParam ? watcher_->interlude : watcher_->pumped_;
        const std::function<void()> run = std::move(work);
        work = nullptr;
        if (run)
            run();
        if (wParam)
            Close(reinterpret_cast<HWND>(wParam));
        return 0;
    }

    static inline BoxWatcher* watcher_ = nullptr;
    std::set<HWND> closed_;
    HHOOK hook_;
    HWND courier_ = nullptr;
    std::function<void()> pumped_;
};

// Every scripted object alive is back at the test's one reference and holds no subscription, and
// every button the add-in made was deleted once.
void ExpectAllReleased() {
    const std::vector<FakeObject*>& live = FakeObject::Live();
    for (std::size_t i = 0; i < live.size(); ++i) {
        EXPECT_EQ(live[i]->refs, 1) << "object " << i;
        EXPECT_EQ(live[i]->AllSinks(), 0u) << "object " << i;
        if (live[i]->Defines(L"Delete")) {
            EXPECT_EQ(live[i]->Calls(L"Delete"), 1) << "button " << i;
        }
    }
}

// ---------------------------------------------------------------------------------------------
// The fixture: the module registered, one Connect made through COM, a desktop client running

class EndToEndTest : public testing::Test {
protected:
    static void SetUpTestSuite() { ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    static void TearDownTestSuite() { ::CoUninitialize(); }

    void SetUp() override {
        ASSERT_NE(Dll().module, nullptr);
        ASSERT_EQ(Dll().registerServer(), S_OK);
        CLSID clsid{};
        ASSERT_EQ(::CLSIDFromProgID(L"TessarixOL.Connect", &clsid), S_OK);
        ASSERT_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(_IDTExtensibility2),
                                     reinterpret_cast<void**>(connect_.AddressOf())),
                  S_OK);
        ASSERT_EQ(connect_.As(callback_), S_OK);
        ASSERT_TRUE(client_.Running());
    }

    void TearDown() override {
        callback_.Reset();
        connect_.Reset();
        Dll().unregisterServer();
        EXPECT_EQ(Dll().canUnloadNow(), S_OK);
    }

    HRESULT Connect(FakeApplication& outlook) {
        return connect_->OnConnection(D(outlook.application), ext_cm_Startup, nullptr, nullptr);
    }

    // Outlook shuts down: the add-in lets go of everything, and Outlook's release of the Connect
    // object is its last reference.
    void ShutDown() {
        EXPECT_EQ(connect_->OnBeginShutdown(nullptr), S_OK);
        EXPECT_EQ(connect_->OnDisconnection(ext_dm_HostShutdown, nullptr), S_OK);
        callback_.Reset();
        EXPECT_EQ(connect_.Detach()->Release(), 0u);
        EXPECT_EQ(Dll().canUnloadNow(), S_OK);
    }

    // The documents delivered since the last call.
    std::vector<Delivery> NewDeliveries() {
        std::vector<Delivery> all = client_.Deliveries();
        std::vector<Delivery> fresh(all.begin() + static_cast<std::ptrdiff_t>(seen_), all.end());
        seen_ = all.size();
        return fresh;
    }

    // Exactly one document arrived since the last look, and it holds these notes.
    void ExpectDelivered(const std::vector<const Sticky*>& expected, ULONG_PTR flag = 0) {
        const std::vector<Delivery> documents = NewDeliveries();
        ASSERT_EQ(documents.size(), 1u);
        ExpectNotes(documents[0], expected, flag);
    }

    // No box was shown and nothing was logged as an error.
    void ExpectNoFailures(const std::string& lines) {
        EXPECT_TRUE(boxes_.boxes.empty()) << boxes_.boxes.front();
        EXPECT_EQ(lines.find("Error: "), std::string::npos) << lines;
        EXPECT_EQ(lines.find("Critical: "), std::string::npos) << lines;
    }

    static void Select(FakeExplorer& explorer, std::vector<IDispatch*> items) {
        explorer.Select(std::move(items));
        explorer.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kSelectionChange);
    }

    static void Click(FakeObject& button) { button.Fire(Office::kIID_CommandBarButtonEvents, kClick); }

    // The ribbon's GetEnabled answer for the control, 5 when it left the answer untouched.
    int RibbonEnabled(FakeRibbonControl& control) {
        VARIANT_BOOL enabled = 5;
        EXPECT_EQ(callback_->GetEnabled(&control, &enabled), S_OK);
        return static_cast<unsigned short>(enabled);
    }

    static void ExpectEnabled(FakeExplorer& explorer, bool enabled) {
        EXPECT_EQ(explorer.commandBars.standard.Last().Put(L"Enabled").Bool(), enabled);
        EXPECT_EQ(explorer.commandBars.tools.Last().Put(L"Enabled").Bool(), enabled);
    }

    static void Open(FakeApplication& outlook, FakeInspector& window) {
        outlook.inspectors.Fire(Outlook::kIID_InspectorsEvents, kNewWindow,
                                {VariantValue::Object(D(window.inspector))});
    }

    Sticky shopping_{{L"Shopping", L"Milk\n<2 L> & eggs", L"Errands", 40609.5447},
                     u"Milk<br>&lt;2&nbsp;L&gt;&nbsp;&&nbsp;eggs"};
    Sticky call_{{L"Call Ann", L"Ask Ann", L"", 40610.25}, u"Ask&nbsp;Ann"};
    std::unique_ptr<FakeObject> list_ = Testing::NewItem(L"IPM.DistList"); // no wrapper
    ClientWindow client_;
    BoxWatcher boxes_;
    ComPtr<_IDTExtensibility2> connect_;
    ComPtr<IRibbonCallback> callback_;

private:
    std::size_t seen_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Outlook 2003: explorer toolbars and Tools menus, the explorer context menu, inspector toolbars

TEST_F(EndToEndTest, Outlook2003ButtonsClipFromExplorersInspectorsAndTheContextMenu) {
    FakeExplorer inbox, notes;
    FakeApplication outlook({&inbox, &notes}, L"11.0.0.8312");
    outlook.Activate(notes);
    auto draft = Testing::NewMail(L"Draft", false);
    auto received = Testing::NewMail(L"Received", true);
    FakeInspector draftWindow(D(*draft)), receivedWindow(D(*received)), callWindow(D(*call_.item)),
        listWindow(D(*list_));
    LogCapture log;

    ASSERT_EQ(Connect(outlook), S_OK);

    // Two explorers open at connection: two views, each a toolbar button and a Tools-menu entry,
    // disabled until the first selection change, and an explorer context menu.
    for (FakeExplorer* explorer : {&inbox, &notes}) {
        EXPECT_EQ(explorer->commandBars.standard.Shown(), 1u);
        EXPECT_EQ(explorer->commandBars.tools.Shown(), 1u);
        ExpectEnabled(*explorer, false);
        EXPECT_EQ(explorer->explorer.Sinks(Outlook::kIID_ExplorerEvents_10), 2u); // tracker and view
        EXPECT_EQ(explorer->commandBars.bars.Sinks(Office::kIID_CommandBarsEvents), 1u);
    }

    // The enable rule follows the item types.
    Select(notes, {D(*list_)});
    ExpectEnabled(notes, false);
    Select(notes, {D(*list_), D(*shopping_.item)}); // two items enable whatever their types
    ExpectEnabled(notes, true);
    Select(notes, {});
    ExpectEnabled(notes, false);
    Select(notes, {D(*call_.item)});
    ExpectEnabled(notes, true);
    notes.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kFolderSwitch);
    ExpectEnabled(notes, false);
    Select(notes, {D(*shopping_.item), D(*call_.item)});
    ExpectEnabled(notes, true);
    ExpectEnabled(inbox, false); // the other explorer's buttons are its own

    // The toolbar button clips the selection; the Tools-menu entry too, with SHIFT held at the click.
    Click(notes.commandBars.standard.Last());
    ExpectDelivered({&shopping_, &call_});
    INPUT shift{};
    shift.type = INPUT_KEYBOARD;
    shift.ki.wVk = VK_SHIFT;
    ASSERT_EQ(::SendInput(1, &shift, sizeof shift), 1u);
    Click(notes.commandBars.tools.Last());
    shift.ki.dwFlags = KEYEVENTF_KEYUP;
    ASSERT_EQ(::SendInput(1, &shift, sizeof shift), 1u);
    ExpectDelivered({&shopping_, &call_}, 1);

    // The active explorer's context menu is rebuilt at each update of the bars while it shows: the
    // entry for several items, then for one, which clips it; none for a refused selection.
    FakeBar& contextMenu = notes.commandBars.context;
    const auto update = [&] {
        notes.commandBars.bars.Fire(Office::kIID_CommandBarsEvents, kCommandBarsUpdate);
    };
    update();
    ASSERT_EQ(contextMenu.Shown(), 1u);
    EXPECT_FALSE(contextMenu.Last().WasPut(L"TooltipText"));
    Select(notes, {D(*shopping_.item)});
    update();
    ASSERT_EQ(contextMenu.Shown(), 1u);
    EXPECT_TRUE(contextMenu.Last().WasPut(L"TooltipText"));
    notes.commandBars.contextMenuShown = false; // an update of other bars leaves the entry alone
    update();
    notes.commandBars.contextMenuShown = true;
    EXPECT_EQ(contextMenu.buttons.size(), 2u);
    EXPECT_EQ(contextMenu.Shown(), 1u);
    Click(contextMenu.Last());
    ExpectDelivered({&shopping_});
    Select(notes, {D(*list_)});
    update();
    EXPECT_EQ(contextMenu.Shown(), 0u);

    // Inspectors: a mail being composed is not tracked, a received one is.
    Open(outlook, draftWindow);
    EXPECT_EQ(draftWindow.inspector.Sinks(Outlook::kIID_InspectorEvents_10), 0u);
    EXPECT_TRUE(draftWindow.commandBars.standard.buttons.empty());
    Open(outlook, receivedWindow);
    EXPECT_EQ(receivedWindow.inspector.Sinks(Outlook::kIID_InspectorEvents_10), 1u);
    EXPECT_EQ(receivedWindow.commandBars.standard.Shown(), 1u);
    EXPECT_FALSE(receivedWindow.commandBars.standard.Last().WasPut(L"Enabled")); // never disabled

    // A sticky note's window clips its note; a distribution list's button does nothing.
    Open(outlook, callWindow);
    Open(outlook, listWindow);
    ASSERT_EQ(callWindow.commandBars.standard.Shown(), 1u);
    ASSERT_EQ(listWindow.commandBars.standard.Shown(), 1u);
    Click(callWindow.commandBars.standard.Last());
    Click(listWindow.commandBars.standard.Last());
    ExpectDelivered({&call_});

    // Windows close one by one; the others keep their buttons.
    callWindow.inspector.Fire(Outlook::kIID_InspectorEvents_10, kClose);
    EXPECT_EQ(callWindow.inspector.Sinks(Outlook::kIID_InspectorEvents_10), 0u);
    EXPECT_EQ(callWindow.commandBars.standard.Shown(), 0u);
    EXPECT_EQ(listWindow.commandBars.standard.Shown(), 1u);
    inbox.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kClose);
    EXPECT_EQ(inbox.explorer.Sinks(Outlook::kIID_ExplorerEvents_10), 0u);
    EXPECT_EQ(inbox.commandBars.standard.Shown(), 0u);
    EXPECT_EQ(inbox.commandBars.bars.Sinks(Office::kIID_CommandBarsEvents), 0u);
    EXPECT_EQ(notes.commandBars.standard.Shown(), 1u);

    ShutDown();
    ExpectAllReleased();
    ExpectNoFailures(log.Text());
}

// ---------------------------------------------------------------------------------------------
// Outlook goes on while a clip waits. A clip that the desktop client refuses fails, and while its
// box shows, Outlook's own work runs: the clip still reports its failure, nothing it uses goes before
// it has unwound, a press meanwhile starts no second clip, and Outlook can clip again afterwards.

int Occurrences(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

class ClipInterludeTest : public EndToEndTest {
protected:
    // `press` starts a clip, which the client refuses; `meanwhile` runs while its box shows.
    void FailWhile(const std::function<void()>& press, std::function<void()> meanwhile) {
        const std::size_t before = boxes_.boxes.size();
        boxes_.interlude = NothingGoesDuring(std::move(meanwhile));
        client_.SetAnswer(0);
        press();
        client_.SetAnswer(1);
        EXPECT_FALSE(boxes_.interlude) << "no box was shown";
        ASSERT_EQ(boxes_.boxes.size(), before + 1);
        EXPECT_EQ(boxes_.boxes.back().rfind("Error message:", 0), 0u) << boxes_.boxes.back();
        EXPECT_EQ(NewDeliveries().size(), 1u) << "one clip, refused";
    }

    // Nothing is destroyed under the clip: what goes meanwhile goes when it has unwound.
    static std::function<void()> NothingGoesDuring(std::function<void()> meanwhile) {
        return [meanwhile = std::move(meanwhile)] {
            const LogCapture during;
            meanwhile();
            const std::string lines = during.Text();
            for (const char* gone :
                 {"CButton::Dtor", "ClipAction::Dtor", "CExplorer d'tor", "CInspector::Dtor",
                  "CAddin2003::Dtor", "CAddin2010::Dtor", "CAddinFactory::Dtor"})
                EXPECT_EQ(lines.find(gone), std::string::npos) << gone;
        };
    }

    // `press` starts a clip whose first message loop runs `meanwhile`.
    void WhileAtNextPump(const std::function<void()>& press, std::function<void()> meanwhile) {
        bool ran = false;
        boxes_.AtNextPump(NothingGoesDuring([&ran, meanwhile = std::move(meanwhile)] {
            ran = true;
            meanwhile();
        }));
        press();
        EXPECT_TRUE(ran) << "the clip ran no message loop";
        boxes_.AtNextPump(nullptr);
    }

    // `press` starts a clip that waits for a clipboard another program holds open; `meanwhile`
    // runs from the wait's message loop, and then the clipboard is let go.
    void WhileClipboardHeld(const std::function<void()>& press, std::function<void()> meanwhile) {
        // Someone to copy from: without a focused window the capture leaves the clipboard alone.
        const Tessarix::Testing::Window frame(L"EDIT", WS_OVERLAPPEDWINDOW | WS_VISIBLE);
        ::SetFocus(frame.Get());
        Tessarix::Testing::ClipboardHolder holder;
        ASSERT_TRUE(holder.Opened());
        WhileAtNextPump(press, [&holder, meanwhile = std::move(meanwhile)] {
            meanwhile();
            holder.Release();
        });
        ::SetFocus(nullptr);
    }

    // Outlook's shutdown, its last release of the add-in included, while a clip runs.
    void ShutDownUnderTheClip() {
        EXPECT_EQ(connect_->OnBeginShutdown(nullptr), S_OK);
        EXPECT_EQ(connect_->OnDisconnection(ext_dm_HostShutdown, nullptr), S_OK);
        callback_.Reset();
        EXPECT_GT(connect_.Detach()->Release(), 0u) << "the clip holds the connection";
        EXPECT_EQ(Dll().canUnloadNow(), S_FALSE);
    }

    // Every button and tracker made was destroyed once, and no fault was caught on the way.
    static void ExpectBalanced(const std::string& lines) {
        EXPECT_EQ(Occurrences(lines, "CButton::Ctor call begin"),
                  Occurrences(lines, "CButton::Dtor call begin"));
        EXPECT_EQ(Occurrences(lines, "CExplorer c'tor call begin"),
                  Occurrences(lines, "CExplorer d'tor call begin"));
        EXPECT_EQ(Occurrences(lines, "SEH error occurs."), 0);
    }
};

TEST_F(ClipInterludeTest, Outlook2003ButtonsWindowsAndConnection) {
    FakeExplorer inbox;
    FakeApplication outlook({&inbox}, L"11.0.0.8312");
    outlook.Activate(inbox);
    FakeInspector callWindow2(D(*call_.item)), callWindow(D(*call_.item)), callAgain(D(*call_.item));
    LogCapture log;
    ASSERT_EQ(Connect(outlook), S_OK);
    Open(outlook, callWindow2);
    Open(outlook, callWindow);
    FakeBar &toolbar = inbox.commandBars.standard, &tools = inbox.commandBars.tools,
            &context = inbox.commandBars.context;
    const auto showContextMenu = [&] {
        inbox.commandBars.bars.Fire(Office::kIID_CommandBarsEvents, kCommandBarsUpdate);
    };

    // A second press on any button starts nothing.
    Select(inbox, {D(*call_.item)});
    showContextMenu();
    ASSERT_EQ(context.Shown(), 1u);
    FailWhile([&] { Click(toolbar.Last()); },
              [&] {
                  for (FakeBar* bar : {&toolbar, &tools, &context, &callWindow2.commandBars.standard,
                                       &callWindow.commandBars.standard})
                      Click(bar->Last());
              });
    EXPECT_EQ(Occurrences(log.Text(), "a clip is running; this press starts no other"), 5);

    // A new context menu while the old entry's clip runs: that entry goes when the clip is over.
    FailWhile([&] { Click(context.Last()); },
              [&] {
                  Select(inbox, {D(*call_.item)});
                  showContextMenu();
                  EXPECT_EQ(context.Shown(), 2u) << "the running entry went under its clip";
              });
    EXPECT_EQ(context.Shown(), 1u);
    Click(context.Last());
    ExpectDelivered({&call_});

    // The entry holds its clip, with the selection, only until the selection changes; a click
    // after that clips the selection of that moment.
    showContextMenu();
    EXPECT_EQ(inbox.selection.refs, 2);
    Select(inbox, {D(*shopping_.item)});
    EXPECT_EQ(inbox.selection.refs, 1);
    Click(context.Last());
    ExpectDelivered({&shopping_});

    // The item window closes while its clip runs.
    FailWhile([&] { Click(callWindow2.commandBars.standard.Last()); },
              [&] {
                  callWindow2.inspector.Fire(Outlook::kIID_InspectorEvents_10, kClose);
                  EXPECT_EQ(callWindow2.commandBars.standard.Shown(), 1u) << "the window's button went";
              });
    EXPECT_EQ(callWindow2.commandBars.standard.Shown(), 0u);
    EXPECT_EQ(callWindow2.inspector.Sinks(Outlook::kIID_InspectorEvents_10), 0u);

    // The explorer closes while a clip from its toolbar runs.
    Select(inbox, {D(*call_.item)});
    FailWhile([&] { Click(toolbar.Last()); },
              [&] {
                  inbox.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kClose);
                  EXPECT_EQ(toolbar.Shown(), 1u) << "the explorer's button went";
              });
    EXPECT_EQ(toolbar.Shown(), 0u);
    EXPECT_EQ(tools.Shown(), 0u);
    EXPECT_EQ(inbox.explorer.Sinks(Outlook::kIID_ExplorerEvents_10), 0u);
    Click(callWindow.commandBars.standard.Last());
    ExpectDelivered({&call_});

    // Disconnected while a clip runs: the add-in lets go of everything after it, and connects again.
    Open(outlook, callAgain);
    FailWhile([&] { Click(callAgain.commandBars.standard.Last()); },
              [&] {
                  EXPECT_EQ(connect_->OnDisconnection(ext_dm_UserClosed, nullptr), S_OK);
                  EXPECT_EQ(callAgain.commandBars.standard.Shown(), 1u) << "the add-in went under its clip";
              });
    EXPECT_EQ(callAgain.commandBars.standard.Shown(), 0u);
    EXPECT_EQ(callWindow.commandBars.standard.Shown(), 0u);
    EXPECT_EQ(outlook.inspectors.Sinks(Outlook::kIID_InspectorsEvents), 0u);
    ASSERT_EQ(Connect(outlook), S_OK);
    Select(inbox, {D(*shopping_.item)});
    Click(toolbar.Last());
    ExpectDelivered({&shopping_});

    // Outlook shuts down while a clip runs: its last release of the add-in comes before the clip
    // is over, and the module can unload once it is.
    Select(inbox, {D(*call_.item)});
    FailWhile([&] { Click(toolbar.Last()); }, [&] { ShutDownUnderTheClip(); });
    EXPECT_EQ(Dll().canUnloadNow(), S_OK);
    ExpectAllReleased();
    ExpectBalanced(log.Text());
}

TEST_F(ClipInterludeTest, Outlook2010RibbonAndItemContextMenu) {
    FakeExplorer mail;
    FakeApplication outlook({&mail}, L"14.0.4760.1000");
    outlook.Activate(mail);
    FakeInspector callWindow(D(*call_.item));
    FakeCollection contextSelection;
    FakeBar contextMenu;
    FakeRibbonUI ribbon;
    FakeRibbonControl inExplorer(D(mail.explorer)), inInspector(D(callWindow.inspector));
    LogCapture log;
    ASSERT_EQ(Connect(outlook), S_OK);
    ASSERT_EQ(callback_->OnLoad(&ribbon), S_OK);
    const auto display = [&](std::vector<IDispatch*> items) {
        contextSelection.items = std::move(items);
        outlook.application.Fire(
            Outlook::kIID_ApplicationEvents_11, kItemContextMenuDisplay,
            {VariantValue::Object(D(contextMenu.bar)), VariantValue::Object(D(contextSelection))});
    };
    const auto explorerRibbon = [&] {
        EXPECT_EQ(callback_->OnClick(&inExplorer), S_OK);
    };
    const auto inspectorRibbon = [&] {
        EXPECT_EQ(callback_->OnClick(&inInspector), S_OK);
    };

    // A second press on any control starts nothing.
    Select(mail, {D(*call_.item)});
    display({D(*call_.item)});
    FailWhile(explorerRibbon, [&] {
        explorerRibbon();
        inspectorRibbon();
        Click(contextMenu.Last());
    });
    EXPECT_EQ(Occurrences(log.Text(), "a clip is running; this press starts no other"), 3);

    // A new context menu while the entry's clip runs: that entry goes when the clip is over.
    FailWhile([&] { Click(contextMenu.Last()); },
              [&] {
                  display({D(*shopping_.item)});
                  EXPECT_EQ(contextMenu.Shown(), 2u) << "the running entry went under its clip";
              });
    EXPECT_EQ(contextMenu.Shown(), 1u);

    // The menu's close lets go of the entry's clip and selection; a click that Outlook delivers
    // after the close clips the explorer's selection.
    EXPECT_GT(contextSelection.refs, 1);
    outlook.application.Fire(Outlook::kIID_ApplicationEvents_11, kContextMenuClose);
    EXPECT_EQ(contextSelection.refs, 1);
    Click(contextMenu.Last());
    ExpectDelivered({&call_});

    // The explorer closes while a clip from its ribbon runs; the item window's button still clips.
    FailWhile(explorerRibbon, [&] { mail.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kClose); });
    EXPECT_EQ(mail.explorer.Sinks(Outlook::kIID_ExplorerEvents_10), 0u);
    inspectorRibbon();
    ExpectDelivered({&call_});

    // Outlook shuts down while a clip from the item window's ribbon runs.
    FailWhile(inspectorRibbon, [&] { ShutDownUnderTheClip(); });
    EXPECT_EQ(Dll().canUnloadNow(), S_OK);
    ExpectAllReleased();
    ExpectBalanced(log.Text());
}

// While the clip waits for a clipboard that another program holds open, Outlook's work runs from
// the wait's message loop; once the clipboard is free, the clip goes on and delivers its note.
TEST_F(ClipInterludeTest, Outlook2003WhileTheClipboardIsHeld) {
    FakeExplorer inbox, notes;
    FakeApplication outlook({&inbox, &notes}, L"11.0.0.8312");
    outlook.Activate(inbox);
    FakeInspector callWindow(D(*call_.item)), shoppingWindow(D(*shopping_.item));
    LogCapture log;
    ASSERT_EQ(Connect(outlook), S_OK);
    Open(outlook, callWindow);
    Open(outlook, shoppingWindow);
    Select(inbox, {D(*shopping_.item)});
    inbox.commandBars.bars.Fire(Office::kIID_CommandBarsEvents, kCommandBarsUpdate);

    // From an item window's button: a press on every kind of button, a new context menu, the
    // window and the explorer closing.
    WhileClipboardHeld([&] { Click(callWindow.commandBars.standard.Last()); },
                       [&] {
                           for (FakeBar* bar :
                                {&inbox.commandBars.standard, &inbox.commandBars.tools,
                                 &inbox.commandBars.context, &shoppingWindow.commandBars.standard})
                               Click(bar->Last());
                           inbox.commandBars.bars.Fire(Office::kIID_CommandBarsEvents, kCommandBarsUpdate);
                           callWindow.inspector.Fire(Outlook::kIID_InspectorEvents_10, kClose);
                           inbox.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kClose);
                       });
    ExpectDelivered({&call_});
    EXPECT_EQ(Occurrences(log.Text(), "a clip is running; this press starts no other"), 4);
    EXPECT_EQ(callWindow.commandBars.standard.Shown(), 0u);
    EXPECT_EQ(inbox.commandBars.standard.Shown() + inbox.commandBars.context.Shown(), 0u);
    EXPECT_EQ(inbox.explorer.Sinks(Outlook::kIID_ExplorerEvents_10), 0u);

    // From the other explorer's context menu: the add-in disconnected.
    outlook.Activate(notes);
    Select(notes, {D(*shopping_.item)});
    notes.commandBars.bars.Fire(Office::kIID_CommandBarsEvents, kCommandBarsUpdate);
    WhileClipboardHeld([&] { Click(notes.commandBars.context.Last()); },
                       [&] { EXPECT_EQ(connect_->OnDisconnection(ext_dm_UserClosed, nullptr), S_OK); });
    ExpectDelivered({&shopping_});
    EXPECT_EQ(notes.commandBars.context.Shown() + shoppingWindow.commandBars.standard.Shown(), 0u);

    // Connected again, from the toolbar: Outlook shuts down.
    ASSERT_EQ(Connect(outlook), S_OK);
    Select(notes, {D(*call_.item)});
    WhileClipboardHeld([&] { Click(notes.commandBars.standard.Last()); }, [&] { ShutDownUnderTheClip(); });
    ExpectDelivered({&call_});
    EXPECT_EQ(Dll().canUnloadNow(), S_OK);
    ExpectAllReleased();
    const std::string lines = log.Text();
    ExpectNoFailures(lines);
    ExpectBalanced(lines);
}

// While a mail's HTML loads (the stand-in engine keeps it loading until the loader's message loop
// has run), Outlook's work runs. The clip still makes its note, and the engine is let go.
TEST_F(ClipInterludeTest, Outlook2010WhileAMailLoads) {
    namespace StandIn = Tessarix::Testing::StandIn;
    StandIn::Engine engine;
    engine.SetCompletion(StandIn::Completion::ByPostedMessage);
    const auto corpus = [](const std::string& file) {
        std::ostringstream text;
        text << std::ifstream(std::string(TX_HTML_CORPUS_DIR) + "/" + file, std::ios::binary).rdbuf();
        return text.str();
    };
    engine.Serve(corpus("outlook-reply.dom"));
    auto reply = Testing::NewMail(L"Re: lunch", true);
    reply->Property(L"HTMLBody", VariantValue::Text(AsWide(FromUtf8(corpus("outlook-reply.html")))));
    FakeExplorer mail, later;
    FakeApplication outlook({&mail}, L"14.0.4760.1000");
    outlook.Activate(mail);
    FakeInspector replyWindow(D(*reply)), callWindow(D(*call_.item));
    FakeCollection contextSelection;
    FakeBar contextMenu;
    FakeRibbonControl inMail(D(mail.explorer)), inLater(D(later.explorer)), inReply(D(replyWindow.inspector)),
        inCall(D(callWindow.inspector));
    LogCapture log;
    ASSERT_EQ(Connect(outlook), S_OK);
    const auto display = [&] {
        contextSelection.items = {D(*reply)};
        outlook.application.Fire(
            Outlook::kIID_ApplicationEvents_11, kItemContextMenuDisplay,
            {VariantValue::Object(D(contextMenu.bar)), VariantValue::Object(D(contextSelection))});
    };
    const auto ribbon = [&](FakeRibbonControl& control) {
        EXPECT_EQ(callback_->OnClick(&control), S_OK);
    };
    // The reply's note holds the note that the corpus expects of its HTML.
    const auto expectReply = [&] {
        const std::vector<Delivery> documents = NewDeliveries();
        ASSERT_EQ(documents.size(), 1u);
        const ReceivedDocument document = Parse(documents[0].bytes);
        ASSERT_EQ(document.notes.size(), 1u);
        EXPECT_EQ(document.notes[0].title, u"Re: lunch");
        EXPECT_NE(document.notes[0].content.find(FromUtf8(corpus("outlook-reply.note"))),
                  std::u16string::npos);
        EXPECT_EQ(engine.LiveObjects(), 0);
    };
    const auto whileLoading = [&](const std::function<void()>& press, std::function<void()> meanwhile) {
        WhileAtNextPump(press, [&engine, meanwhile = std::move(meanwhile)] {
            EXPECT_GT(engine.LiveObjects(), 0) << "the mail is not loading";
            meanwhile();
        });
    };

    // From the explorer's ribbon: a press on every control, a new context menu, the explorer closing.
    Select(mail, {D(*reply)});
    display();
    whileLoading([&] { ribbon(inMail); },
                 [&] {
                     ribbon(inMail);
                     ribbon(inCall);
                     Click(contextMenu.Last());
                     display();
                     EXPECT_EQ(contextMenu.Shown(), 2u) << "the old entry went under the clip";
                     mail.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kClose);
                 });
    expectReply();
    EXPECT_EQ(Occurrences(log.Text(), "a clip is running; this press starts no other"), 3);
    EXPECT_EQ(mail.explorer.Sinks(Outlook::kIID_ExplorerEvents_10), 0u);

    // From the context menu: the add-in disconnected.
    whileLoading([&] { Click(contextMenu.Last()); },
                 [&] { EXPECT_EQ(connect_->OnDisconnection(ext_dm_UserClosed, nullptr), S_OK); });
    expectReply();
    EXPECT_EQ(contextMenu.Shown(), 0u);
    EXPECT_EQ(outlook.application.Sinks(Outlook::kIID_ApplicationEvents_11), 0u);

    // Connected again, from an item window's ribbon: Outlook shuts down.
    ASSERT_EQ(Connect(outlook), S_OK);
    whileLoading([&] { ribbon(inReply); }, [&] { ShutDownUnderTheClip(); });
    expectReply();
    EXPECT_EQ(Dll().canUnloadNow(), S_OK);
    EXPECT_TRUE(engine.Misuse().empty());
    ExpectAllReleased();
    EXPECT_TRUE(boxes_.boxes.empty());
    ExpectBalanced(log.Text());
}

// ---------------------------------------------------------------------------------------------
// Outlook 2010: the ribbon everywhere and the item context menu

TEST_F(EndToEndTest, Outlook2010RibbonAndItemContextMenuClip) {
    FakeExplorer mail, later, untracked;
    FakeApplication outlook({&mail}, L"14.0.4760.1000");
    FakeInspector callWindow(D(*call_.item));
    FakeObject other; // neither kind of window
    FakeCollection contextSelection;
    FakeBar contextMenu;
    FakeRibbonUI ribbon;
    FakeRibbonControl inExplorer(D(mail.explorer)), inLater(D(later.explorer)),
        inUntracked(D(untracked.explorer)), inInspector(D(callWindow.inspector)), elsewhere(D(other));
    LogCapture log;

    ASSERT_EQ(Connect(outlook), S_OK);
    ASSERT_EQ(callback_->OnLoad(&ribbon), S_OK);
    EXPECT_TRUE(mail.commandBars.standard.buttons.empty()); // no command-bar buttons in 2010

    // GetEnabled: 0xFFFF in an item window; the view's 1 or 0 for a tracked explorer, the ribbon
    // invalidated only when that changes; untouched for an explorer without a view.
    EXPECT_EQ(RibbonEnabled(inInspector), 0xFFFF);
    mail.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kFolderSwitch);
    EXPECT_EQ(ribbon.invalidations, 0);
    EXPECT_EQ(RibbonEnabled(inExplorer), 0);
    Select(mail, {D(*shopping_.item)});
    EXPECT_EQ(ribbon.invalidations, 1);
    EXPECT_EQ(RibbonEnabled(inExplorer), 1);
    Select(mail, {D(*list_)});
    EXPECT_EQ(ribbon.invalidations, 2);
    EXPECT_EQ(RibbonEnabled(inExplorer), 0);
    Select(mail, {D(*shopping_.item), D(*call_.item)});
    Select(mail, {D(*call_.item), D(*shopping_.item)}); // still enabled: no invalidation
    EXPECT_EQ(ribbon.invalidations, 3);
    EXPECT_EQ(RibbonEnabled(inUntracked), 5);

    // A new explorer gets its view, and loses it when it closes.
    outlook.explorers.Fire(Outlook::kIID_ExplorersEvents, kNewWindow,
                           {VariantValue::Object(D(later.explorer))});
    EXPECT_EQ(RibbonEnabled(inLater), 0);
    later.explorer.Fire(Outlook::kIID_ExplorerEvents_10, kClose);
    EXPECT_EQ(RibbonEnabled(inLater), 5);

    // The explorer's ribbon button, bound by name as Outlook binds it, clips the selection.
    ComPtr<IDispatch> dispatch;
    ASSERT_EQ(callback_.As(dispatch), S_OK);
    LPOLESTR onClick[] = {const_cast<LPOLESTR>(L"OnClick")};
    DISPID onClickId = 0;
    ASSERT_EQ(dispatch->GetIDsOfNames(IID_NULL, onClick, 1, LOCALE_USER_DEFAULT, &onClickId), S_OK);
    VARIANTARG argument;
    argument.vt = VT_DISPATCH;
    argument.pdispVal = &inExplorer;
    DISPPARAMS params{&argument, nullptr, 1, 0};
    ASSERT_EQ(dispatch->Invoke(onClickId, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, nullptr,
                               nullptr, nullptr),
              S_OK);
    dispatch.Reset();
    ExpectDelivered({&call_, &shopping_});

    // An item window's ribbon button clips its item; a button in neither kind of window, nothing.
    EXPECT_EQ(callback_->OnClick(&inInspector), S_OK);
    ExpectDelivered({&call_});
    EXPECT_EQ(callback_->OnClick(&elsewhere), S_OK);
    EXPECT_TRUE(NewDeliveries().empty());

    // The item context menu: one item gives the single-item entry, two the entry for several
    // items, which clips them; a refused selection none.
    const auto display = [&](std::vector<IDispatch*> items) {
        contextSelection.items = std::move(items);
        outlook.application.Fire(
            Outlook::kIID_ApplicationEvents_11, kItemContextMenuDisplay,
            {VariantValue::Object(D(contextMenu.bar)), VariantValue::Object(D(contextSelection))});
    };
    display({D(*call_.item)});
    ASSERT_EQ(contextMenu.Shown(), 1u);
    EXPECT_TRUE(contextMenu.Last().WasPut(L"TooltipText"));
    display({D(*shopping_.item), D(*call_.item)});
    ASSERT_EQ(contextMenu.Shown(), 1u); // the previous entry went
    EXPECT_TRUE(contextMenu.Last().WasPut(L"Caption"));
    EXPECT_FALSE(contextMenu.Last().WasPut(L"TooltipText"));
    Click(contextMenu.Last());
    ExpectDelivered({&shopping_, &call_});
    display({D(*list_)});
    EXPECT_EQ(contextMenu.Shown(), 0u);

    ShutDown();
    EXPECT_EQ(ribbon.refs, 1);
    for (const FakeRibbonControl* control : {&inExplorer, &inInspector, &elsewhere})
        EXPECT_EQ(control->refs, 1);
    ExpectAllReleased();
    const std::string lines = log.Text();
    ExpectNoFailures(lines);
    EXPECT_NE(lines.find("Warning: CRibbonSupport::GetEnabled view not found"), std::string::npos);
}

// ---------------------------------------------------------------------------------------------
// Outlook 2007: command bars in explorers, the ribbon in item windows

TEST_F(EndToEndTest, Outlook2007ToolbarAndInspectorRibbonClip) {
    FakeExplorer mail;
    FakeApplication outlook({&mail}, L"12.0.6423.1000");
    FakeInspector callWindow(D(*call_.item));
    FakeRibbonControl inExplorer(D(mail.explorer)), inInspector(D(callWindow.inspector));
    LogCapture log;

    ASSERT_EQ(Connect(outlook), S_OK);
    ASSERT_EQ(mail.commandBars.standard.Shown(), 1u);
    Select(mail, {D(*shopping_.item)});
    ExpectEnabled(mail, true);
    Click(mail.commandBars.standard.Last());
    ExpectDelivered({&shopping_});

    // Explorers have no ribbon views in 2007: their ribbon state is left as passed.
    EXPECT_EQ(RibbonEnabled(inExplorer), 5);
    EXPECT_EQ(callback_->OnClick(&inInspector), S_OK);
    ExpectDelivered({&call_});

    ShutDown();
    ExpectAllReleased();
    EXPECT_EQ(inInspector.refs, 1);
    ExpectNoFailures(log.Text());
}

// A clip that fails is reported by the module itself: a selection whose only item cannot be
// clipped still reaches the clip from the ribbon, which shows the unexpected-error box and sends
// nothing.
TEST_F(EndToEndTest, FailedClipShowsItsBoxAndSendsNothing) {
    FakeExplorer mail;
    FakeApplication outlook({&mail}, L"14.0.4760.1000");
    FakeRibbonControl inExplorer(D(mail.explorer));
    ASSERT_EQ(Connect(outlook), S_OK);
    mail.Select({D(*list_)});
    LogCapture log;
    EXPECT_EQ(callback_->OnClick(&inExplorer), S_OK);
    EXPECT_TRUE(NewDeliveries().empty());
    const std::vector<std::string>& boxes = boxes_.boxes;
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_NE(boxes[0].find("Unexpected error:"), std::string::npos) << boxes[0];
    EXPECT_NE(boxes[0].find("Unexpected error during note creation."), std::string::npos) << boxes[0];
    EXPECT_NE(log.Text().find("Critical: Unexpected error occurs."), std::string::npos);
    ShutDown();
    EXPECT_EQ(mail.explorer.refs, 1);
    EXPECT_EQ(list_->refs, 1);
}

} // namespace
} // namespace Tessarix::Addin
