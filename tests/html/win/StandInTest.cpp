// The MSHTML adapter, the loader's message loop, the serializer, the cleanup and the picture loop
// over the stand-in engine: for each corpus input they make the note the portable engine made,
// every misbehaviour has its specified outcome, no reference leaks, and the mail loads inert.
#include <windows.h>

#include <mshtmdid.h>
#include <mshtml.h>
#include <shlwapi.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "core/Exceptions.h"
#include "core/Utf.h"
#include "core/win/ComPtr.h"
#include "html/Cleanup.h"
#include "html/CorpusFormat.h"
#include "html/DomLoader.h"
#include "html/Engine.h"
#include "html/win/StandInEngine.h"
#include "support/win/ForeignFault.h"

using namespace Tessarix;
using namespace Tessarix::Testing;

namespace {

// {25336920-03F9-11CF-8FD0-00AA00686F13}
constexpr CLSID kClsidHtmlDocument = {
    0x25336920, 0x03F9, 0x11CF, {0x8F, 0xD0, 0x00, 0xAA, 0x00, 0x68, 0x6F, 0x13}};

std::string Read(const std::string& file) {
    std::ostringstream text;
    text << std::ifstream(std::string(TX_HTML_CORPUS_DIR) + "/" + file, std::ios::binary).rdbuf();
    return text.str();
}

// The addresses of a snapshot's picture list.
std::vector<std::u16string> Pictures(const std::string& snapshot) {
    std::vector<std::u16string> pictures;
    std::istringstream lines(snapshot);
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("image ", 0) == 0)
            pictures.push_back(FromUtf8(Corpus::ParseValue(line.substr(6)).value_or("")));
    return pictures;
}

class Apartment {
public:
    Apartment() { ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~Apartment() { ::CoUninitialize(); }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
};

class MshtmlStandIn : public testing::Test {
protected:
    void TearDown() override { ExpectNoLeakOrMisuse(); }

    void ExpectNoLeakOrMisuse() {
        EXPECT_EQ(engine_->LiveObjects(), 0) << "references leaked";
        EXPECT_EQ(engine_->Misuse(), std::vector<std::string>{});
    }

    // Clips a corpus input: the note content, and the unresolved pictures in `unresolved`.
    std::string Clip(const std::string& name, std::vector<std::u16string>& unresolved) {
        Notes::ResourceList resources;
        const std::string content =
            ToUtf8(Global::MakeCleanContent(FromUtf8(Read(name + ".html")), resources, unresolved));
        EXPECT_TRUE(resources.empty());
        return content;
    }
    std::string Clip(const std::string& name) {
        std::vector<std::u16string> unresolved;
        return Clip(name, unresolved);
    }

    Apartment apartment_;
    std::unique_ptr<StandIn::Engine> engine_ = std::make_unique<StandIn::Engine>();
};

TEST_F(MshtmlStandIn, EachCorpusInputGivesTheNoteOfThePortableEngine) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(TX_HTML_CORPUS_DIR))
        if (entry.path().extension() == ".html")
            names.push_back(entry.path().stem().string());
    ASSERT_GE(names.size(), 5u);
    for (const auto& name : names)
        engine_->Serve(Read(name + ".dom"));
    for (const auto& name : names) {
        std::vector<std::u16string> unresolved;
        EXPECT_EQ(Clip(name, unresolved), Read(name + ".note")) << name;
        // No corpus picture is in the cache or on this machine's disks.
        EXPECT_EQ(unresolved, Pictures(Read(name + ".dom"))) << name;
        ExpectNoLeakOrMisuse();
    }
}

TEST_F(MshtmlStandIn, TheLoaderPumpsUntilAPostedMessageCompletesTheDocument) {
    engine_->Serve(Read("faults.dom"));
    engine_->SetCompletion(StandIn::Completion::ByPostedMessage);
    EXPECT_EQ(Clip("faults"), Read("faults.note"));
}

// The loop runs every window of the thread: a fault in one of them passes the clip's guard and
// reaches Outlook's handler (the document it abandoned leaks, as the handler's unwind leaves it).
TEST(MshtmlStandInLoop, AFaultInAWindowItDispatchesIsLeftToOutlook) {
    Apartment apartment;
    StandIn::Engine engine;
    engine.Serve(Read("faults.dom"));
    engine.SetCompletion(StandIn::Completion::ByPostedMessage);
    const FaultingWindow outlooks;
    outlooks.PostFault();
    std::optional<std::uint32_t> clips = 0u;
    EXPECT_EQ(UnderOutlooksHandler([&] {
                  clips = RunFaultGuarded(
                      [](void*) { (void)Global::CreateDOM(FromUtf8(Read("faults.html"))); }, nullptr);
              }),
              EXCEPTION_ACCESS_VIOLATION);
    EXPECT_EQ(clips, 0u) << "the clip's guard returned";
}

TEST_F(MshtmlStandIn, AQuitDuringTheWaitCancelsTheLoadAndStaysForTheHost) {
    engine_->Serve(Read("faults.dom"));
    engine_->SetCompletion(StandIn::Completion::Never);
    ::PostQuitMessage(7);
    try {
        Clip("faults");
        ADD_FAILURE() << "the load ended without the document";
    } catch (HResult hr) {
        EXPECT_EQ(hr, Html::kLoadCancelled);
    }
    MSG message;
    ASSERT_TRUE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 7u);
}

// What each misbehaviour does to the note of faults.html: a rewrite of the expected note, or the
// HRESULT the clip fails with.
struct Misbehaviour {
    StandIn::Fault fault;
    const char* pattern = nullptr;
    const char* replacement = "";
    HResult failure = 0;
};

HResult NoObjectToText() {
    VARIANT value;
    ::VariantInit(&value);
    value.vt = VT_DISPATCH;
    value.pdispVal = nullptr;
    const HRESULT hr = ::VariantChangeType(&value, &value, 0, VT_BSTR);
    EXPECT_TRUE(FAILED(hr));
    return static_cast<HResult>(hr);
}

TEST_F(MshtmlStandIn, EachMisbehaviourHasItsSpecifiedOutcome) {
    using StandIn::Answer;
    using StandIn::Call;
    constexpr HResult kOutOfMemory = HResultFrom(0x8007000Eu);
    const Misbehaviour cases[] = {
        // No style: the element is written without a style attribute.
        {{Call::CurrentStyle, u"P", Answer::Fails}, R"(<P style="[^"]*")", "<P"},
        {{Call::CurrentStyle, u"P", Answer::Null}, R"(<P style="[^"]*")", "<P"},
        // The font's size is not reported as specified: its computed size is written.
        {{Call::NamedItem, u"size", Answer::Fails},
         R"((<FONT style="[^"]*?font-family:[^;]*;))",
         "$1font-size:small;"},
        {{Call::NamedItem, u"size", Answer::Null},
         R"((<FONT style="[^"]*?font-family:[^;]*;))",
         "$1font-size:small;"},
        // An attribute without a string value, or an empty one, is not written.
        {{Call::AttributeValue, u"title", Answer::NotAString}, R"( title="greeting")"},
        {{Call::AttributeValue, u"title", Answer::Null}, R"( title="greeting")"},
        {{Call::AttributeValue, u"title", Answer::Empty}, R"( title="greeting")"},
        {{Call::AttributeValue, u"title", Answer::Fails}, R"( title="greeting")"},
        // Text without a value writes nothing.
        {{Call::NodeValue, u"one ", Answer::Null}, "one "},
        {{Call::NodeValue, u"one ", Answer::Empty}, "one "},
        {{Call::NodeValue, u"one ", Answer::NotAString}, "one "},
        {{Call::NodeValue, u"one ", Answer::Fails}, "one "},
        // An element without a name is dropped with its content.
        {{Call::NodeName, u"B", Answer::Null}, R"(<B [^>]*>two</B>)"},
        {{Call::NodeName, u"B", Answer::Empty}, R"(<B [^>]*>two</B>)"},
        {{Call::NodeName, u"B", Answer::Fails}, R"(<B [^>]*>two</B>)"},
        // An empty computed value, as a null BSTR in a VARIANT or an empty BSTR, is left out.
        {{Call::StyleValue, u"color", Answer::Null}, R"(([";])color:[^;]*;)", "$1"},
        {{Call::StyleValue, u"display", Answer::Empty}, R"(([";])display:[^;]*;)", "$1"},
        // A computed value that does not convert to text raises the conversion's failure.
        {{Call::StyleValue, u"z-index", Answer::NotAString}, nullptr, "", NoObjectToText()},
        // Out of memory anywhere fails the clip.
        {{Call::NodeName, u"B", Answer::OutOfMemory}, nullptr, "", kOutOfMemory},
        {{Call::NodeValue, u"one ", Answer::OutOfMemory}, nullptr, "", kOutOfMemory},
        {{Call::CurrentStyle, u"P", Answer::OutOfMemory}, nullptr, "", kOutOfMemory},
        {{Call::StyleValue, u"font-size", Answer::OutOfMemory}, nullptr, "", kOutOfMemory},
        {{Call::AttributeValue, u"title", Answer::OutOfMemory}, nullptr, "", kOutOfMemory},
        {{Call::NamedItem, u"size", Answer::OutOfMemory}, nullptr, "", kOutOfMemory},
    };
    engine_->Serve(Read("faults.dom"));
    const std::string note = Read("faults.note");
    for (const Misbehaviour& c : cases) {
        const std::string label = ToUtf8(c.fault.target) + " " +
                                  std::to_string(static_cast<int>(c.fault.call)) + "/" +
                                  std::to_string(static_cast<int>(c.fault.answer));
        engine_->SetFaults({c.fault});
        try {
            const std::string content = Clip("faults");
            ASSERT_TRUE(c.pattern) << label << ": no failure";
            const std::string expected = std::regex_replace(note, std::regex(c.pattern), c.replacement);
            EXPECT_NE(expected, note) << label << ": the case changes nothing";
            EXPECT_EQ(content, expected) << label;
        } catch (HResult hr) {
            EXPECT_EQ(hr, c.failure) << label << std::hex << " 0x" << hr;
        }
        ExpectNoLeakOrMisuse();
    }
}

// The stand-in's record of what a mail would make MSHTML run and fetch, without restriction.
const std::vector<std::string> kUntrustedActivity = {
    "fetch http://tracker.example.net/r",
    "run script document.title = 1;",
    "fetch http://tracker.example.net/s.js",
    "run script http://tracker.example.net/s.js",
    "fetch http://tracker.example.net/open.gif",
    "fetch file://///fileserver/share/logo.png",
    "fetch \\\\fileserver\\share\\banner.png",
    "fetch http://tracker.example.net/frame.html",
    "fetch http://tracker.example.net/cab",
    "fetch http://tracker.example.net/x.swf",
    "run control OBJECT",
    "run script window.location = 1;",
};

TEST_F(MshtmlStandIn, UntrustedMailLoadsOfflineAndInert) {
    engine_->Serve(Read("untrusted.dom"));
    EXPECT_EQ(Clip("untrusted"), Read("untrusted.note"));
    EXPECT_EQ(engine_->Activity(), std::vector<std::string>{});
    EXPECT_EQ(engine_->DownloadControl(), DLCTL_NO_SCRIPTS | DLCTL_NO_JAVA | DLCTL_NO_RUNACTIVEXCTLS |
                                              DLCTL_NO_DLACTIVEXCTLS | DLCTL_NO_FRAMEDOWNLOAD |
                                              DLCTL_NO_BEHAVIORS | DLCTL_NO_CLIENTPULL | DLCTL_FORCEOFFLINE |
                                              DLCTL_SILENT);
    // The document released the site, and nothing else held it.
    EXPECT_EQ(engine_->SiteReferencesAfterRelease(), 0u);

    // The same mail in a document without a site: the stand-in records all of it.
    Win::ComPtr<IPersistStreamInit> document;
    ASSERT_EQ(::CoCreateInstance(kClsidHtmlDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IPersistStreamInit,
                                 reinterpret_cast<void**>(document.AddressOf())),
              S_OK);
    const StringUTF8 bytes = Html::EngineInput(FromUtf8(Read("untrusted.html")));
    Win::ComPtr<IStream> stream = Win::ComPtr<IStream>::Attach(
        ::SHCreateMemStream(reinterpret_cast<const BYTE*>(bytes.Data()), static_cast<UINT>(bytes.Length())));
    ASSERT_TRUE(stream);
    ASSERT_EQ(document->InitNew(), S_OK);
    ASSERT_EQ(document->Load(stream.Get()), S_OK);
    EXPECT_EQ(engine_->Activity(), kUntrustedActivity);
}

} // namespace
