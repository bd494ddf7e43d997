// The real TessarixOL.dll under Wine: its exports, registration in the Wine prefix's registry,
// creation through COM, the connection with a scripted Outlook and the ribbon requests.
#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <olectl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "AddinModule.h"
#include "FakeRibbon.h"
#include "addin/OfficeInterfaces.h"
#include "addin/TessarixOL.h"
#include "core/Utf.h"
#include "core/win/ComPtr.h"
#include "core/win/OleTypes.h"
#include "support/win/FakeOutlook.h"
#include "support/win/Registry.h"

// COM objects are destroyed by their own Release; COM interfaces have no destructors.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace Tessarix::Addin {
namespace {

using Tessarix::Testing::KeyExists;
using Tessarix::Testing::ReadText;
using Tessarix::Testing::RunProgram;
using Testing::D;
using Testing::Dll;
using Testing::DllPath;
using Testing::FakeApplication;
using Testing::FakeObject;
using Testing::FakeRibbonControl;
using Testing::FakeRibbonUI;
using Testing::LogCapture;
using Win::Bstr;
using Win::ComPtr;

const std::wstring kClassKey = L"CLSID\\{8B0F3933-6796-44E5-A1DB-8FC1AC46E311}";
const std::wstring kTypeLibKey = L"TypeLib\\{C31DCD1D-085F-4616-9B0B-D8168D8BA3B8}";
const std::wstring kCallbackInterfaceKey = L"Interface\\{3DC63DA0-1DE0-4047-A0C9-04F61156A674}";
const GUID kLibId = {0xC31DCD1D, 0x085F, 0x4616, {0x9B, 0x0B, 0xD8, 0x16, 0x8D, 0x8B, 0xA3, 0xB8}};
const std::vector<std::wstring> kClassSubkeys = {L"InprocServer32", L"ProgID", L"Programmable", L"TypeLib",
                                                 L"VersionIndependentProgID"};

// ---------------------------------------------------------------------------------------------
// Registry inspection

// The names of the subkeys, sorted; with `depth` > 1 also theirs, as paths below `path`.
std::vector<std::wstring> Subkeys(HKEY root, const std::wstring& path, REGSAM view = 0, int depth = 1) {
    std::vector<std::wstring> names;
    HKEY key = nullptr;
    if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | view, &key) != ERROR_SUCCESS)
        return names;
    wchar_t name[256];
    for (DWORD i = 0;; ++i) {
        DWORD length = 256;
        if (::RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        names.emplace_back(name, length);
        if (depth > 1) {
            for (const std::wstring& below : Subkeys(root, path + L"\\" + names.back(), view, depth - 1))
                names.push_back(std::wstring(name, length) + L"\\" + below);
        }
    }
    ::RegCloseKey(key);
    std::sort(names.begin(), names.end());
    return names;
}

// Every subscription the add-in made on Outlook at connection.
std::size_t Subscriptions(const FakeApplication& outlook) {
    return outlook.application.Sinks(Outlook::kIID_ApplicationEvents_11) +
           outlook.explorers.Sinks(Outlook::kIID_ExplorersEvents) +
           outlook.inspectors.Sinks(Outlook::kIID_InspectorsEvents);
}

// ---------------------------------------------------------------------------------------------
// Fixtures

class AddinDllTest : public testing::Test {
protected:
    static void SetUpTestSuite() { ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    static void TearDownTestSuite() { ::CoUninitialize(); }

    void SetUp() override {
        ASSERT_NE(Dll().module, nullptr) << "cannot load " << ToUtf8(FromWide(DllPath().c_str()));
        ASSERT_TRUE(Dll().getClassObject && Dll().canUnloadNow && Dll().registerServer &&
                    Dll().unregisterServer && Dll().install);
    }

    // Every test releases what it made: the module must then be free to unload.
    void TearDown() override { EXPECT_EQ(Dll().canUnloadNow(), S_OK); }

    static ComPtr<_IDTExtensibility2> NewConnect() {
        ComPtr<IClassFactory> factory;
        EXPECT_EQ(Dll().getClassObject(__uuidof(::Connect), IID_IClassFactory,
                                       reinterpret_cast<void**>(factory.AddressOf())),
                  S_OK);
        ComPtr<_IDTExtensibility2> connect;
        if (factory) {
            EXPECT_EQ(factory->CreateInstance(nullptr, __uuidof(_IDTExtensibility2),
                                              reinterpret_cast<void**>(connect.AddressOf())),
                      S_OK);
        }
        return connect;
    }

    template <typename I> static ComPtr<I> As(const ComPtr<_IDTExtensibility2>& connect) {
        ComPtr<I> result;
        EXPECT_EQ(connect.As(result), S_OK);
        return result;
    }

    static HRESULT ConnectTo(const ComPtr<_IDTExtensibility2>& connect, IDispatch* application) {
        return connect->OnConnection(application, ext_cm_Startup, nullptr, nullptr);
    }
};

// ---------------------------------------------------------------------------------------------
// Class objects and unloading

TEST_F(AddinDllTest, OneCachedFactoryHeldReferencesAndServerLocksKeepTheModule) {
    const CLSID unknown = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
    void* out = reinterpret_cast<void*>(1);
    EXPECT_EQ(Dll().getClassObject(unknown, IID_IClassFactory, &out), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(Dll().canUnloadNow(), S_OK);
    EXPECT_EQ(Dll().getClassObject(__uuidof(::Connect), IID_IClassFactory, nullptr), E_POINTER);

    ComPtr<IClassFactory> first, second;
    ASSERT_EQ(Dll().getClassObject(__uuidof(::Connect), IID_IClassFactory,
                                   reinterpret_cast<void**>(first.AddressOf())),
              S_OK);
    ASSERT_EQ(
        Dll().getClassObject(__uuidof(::Connect), IID_IUnknown, reinterpret_cast<void**>(second.AddressOf())),
        S_OK);
    EXPECT_EQ(static_cast<IUnknown*>(first.Get()), static_cast<IUnknown*>(second.Get()));
    EXPECT_EQ(Dll().canUnloadNow(), S_FALSE);
    second.Reset();
    EXPECT_EQ(Dll().canUnloadNow(), S_FALSE);

    ComPtr<IUnknown> object;
    EXPECT_EQ(first->CreateInstance(reinterpret_cast<IUnknown*>(first.Get()), IID_IUnknown,
                                    reinterpret_cast<void**>(object.AddressOf())),
              CLASS_E_NOAGGREGATION);
    EXPECT_EQ(first->CreateInstance(nullptr, IID_IClassFactory, reinterpret_cast<void**>(object.AddressOf())),
              E_NOINTERFACE);
    EXPECT_EQ(first->LockServer(TRUE), S_OK);
    first.Reset();
    EXPECT_EQ(Dll().canUnloadNow(), S_FALSE); // the server lock alone
    ComPtr<IClassFactory> again;
    ASSERT_EQ(Dll().getClassObject(__uuidof(::Connect), IID_IClassFactory,
                                   reinterpret_cast<void**>(again.AddressOf())),
              S_OK);
    EXPECT_EQ(again->LockServer(FALSE), S_OK);
    again.Reset();

    ComPtr<_IDTExtensibility2> connect = NewConnect();
    ASSERT_TRUE(connect);
    EXPECT_EQ(Dll().canUnloadNow(), S_FALSE); // a live object
}

// ---------------------------------------------------------------------------------------------
// Registration

class RegistrationTest : public AddinDllTest {
protected:
    void TearDown() override {
        Dll().unregisterServer();
        Dll().install(FALSE, L"user");
        AddinDllTest::TearDown();
    }
};

// What the script writes is checked whole by RegistryScriptTest against a registry in memory; here
// the module's own path, the type library with the one interface it registers, and a registration
// again over an older one's leftovers.
TEST_F(RegistrationTest, RegisterWritesTheModuleAndTypeLibraryAndAgainLeavesOneSetOfKeys) {
    EXPECT_EQ(Dll().install(TRUE, L"everyone"), E_INVALIDARG);
    EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, kClassKey));
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, L"Software\\Classes\\" + kClassKey));

    ASSERT_EQ(Dll().registerServer(), S_OK);
    HKEY stray = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CLASSES_ROOT, (kClassKey + L"\\LocalServer32").c_str(), 0, nullptr, 0,
                                KEY_WRITE, nullptr, &stray, nullptr),
              ERROR_SUCCESS);
    ::RegCloseKey(stray);
    ASSERT_EQ(Dll().registerServer(), S_OK);
    EXPECT_EQ(Subkeys(HKEY_CLASSES_ROOT, kClassKey), kClassSubkeys);
    EXPECT_EQ(Subkeys(HKEY_CLASSES_ROOT, L"TessarixOL.Connect"),
              (std::vector<std::wstring>{L"CLSID", L"CurVer"}));
    const std::wstring server = ReadText(HKEY_CLASSES_ROOT, kClassKey + L"\\InprocServer32").value_or(L"");
    EXPECT_EQ(_wcsicmp(server.c_str(), Dll().path.c_str()), 0) << ToUtf8(FromWide(server.c_str()));

    // The type library, and with it IRibbonCallback, is registered; Office's interfaces are not.
    EXPECT_TRUE(KeyExists(HKEY_CLASSES_ROOT, kTypeLibKey + L"\\1.0"));
    EXPECT_TRUE(KeyExists(HKEY_CLASSES_ROOT, kCallbackInterfaceKey));
    EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, L"Interface\\{000C0395-0000-0000-C000-000000000046}"));
    ComPtr<ITypeLib> library;
    ASSERT_EQ(::LoadRegTypeLib(kLibId, 1, 0, LOCALE_NEUTRAL, library.AddressOf()), S_OK);
    Bstr name, help;
    ASSERT_EQ(library->GetDocumentation(-1, name.AddressOf(), help.AddressOf(), nullptr, nullptr), S_OK);
    EXPECT_EQ(name.View(), u"TessarixOLLib");
    EXPECT_EQ(help.View(), u"TessarixOL 1.0 Type Library");
    EXPECT_EQ(library->GetTypeInfoCount(), 2u); // only the add-in's own: the interface and the class
    ComPtr<ITypeInfo> coclass;
    ASSERT_EQ(library->GetTypeInfoOfGuid(__uuidof(::Connect), coclass.AddressOf()), S_OK);
    ASSERT_EQ(coclass->GetDocumentation(MEMBERID_NIL, name.AddressOf(), help.AddressOf(), nullptr, nullptr),
              S_OK);
    EXPECT_EQ(name.View(), u"Connect");
}

// ---------------------------------------------------------------------------------------------
// Registry views: on 64-bit Windows a 32-bit process (a 32-bit Outlook, the 32-bit regsvr32) reads
// classes from the 32-bit view, which 64-bit processes see under Wow6432Node. The DLL must land in
// the view of its own bitness, through the regsvr32 of that bitness, for both scopes. On 32-bit
// Windows there is one view and the view flags are ignored.

constexpr REGSAM kOwnView = sizeof(void*) == 4 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
constexpr REGSAM kOtherView = sizeof(void*) == 4 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;

bool SystemHasTwoViews() {
    BOOL wow64 = FALSE;
    return sizeof(void*) == 8 || (::IsWow64Process(::GetCurrentProcess(), &wow64) && wow64);
}

// The class roots of both scopes in both views: two levels catch every key the script and the type
// library add ("CLSID\\{...}", "TessarixOL.Connect\\CurVer", "TypeLib\\{...}").
std::vector<std::wstring> ClassKeysInBothViews() {
    std::vector<std::wstring> keys;
    for (const REGSAM view : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
        for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
            const std::wstring label = std::wstring(view == KEY_WOW64_32KEY ? L"32:" : L"64:") +
                                       (root == HKEY_LOCAL_MACHINE ? L"HKLM\\" : L"HKCU\\");
            for (const std::wstring& key : Subkeys(root, L"Software\\Classes", view, 2))
                keys.push_back(label + key);
        }
    }
    std::sort(keys.begin(), keys.end());
    return keys;
}

// regsvr32 of this process's bitness (on 64-bit Windows a 32-bit process that names System32 gets
// SysWOW64): its exit code.
DWORD Regsvr32(const std::wstring& options) {
    wchar_t system[MAX_PATH] = {};
    ::GetSystemDirectoryW(system, MAX_PATH);
    return RunProgram(L"\"" + std::wstring(system) + L"\\regsvr32.exe\" /s " + options + L" \"" + Dll().path +
                          L"\"",
                      {}, 60000);
}

struct Scope {
    const char* name;
    HKEY root;
    const wchar_t* options; // regsvr32's, before /u for unregistration
    // Windows 7 and later keep the class keys of both scopes per view, and COM reads the user's
    // classes before the machine's. Wine separates the views of HKEY_LOCAL_MACHINE\\Software only and
    // its COM reads the machine's classes only, so the per-user case checks the keys in the DLL's
    // own view and the exact removal, which both show alike.
    bool machine;
};

std::string ScopeName(const testing::TestParamInfo<Scope>& scope) {
    return scope.param.name;
}

class RegistryViewTest : public RegistrationTest, public testing::WithParamInterface<Scope> {};

TEST_P(RegistryViewTest, Regsvr32OfTheDllsBitnessRegistersInItsViewAndScopeAndUnregistersExactlyThat) {
    const Scope& scope = GetParam();
    // A first round leaves the keys that the script never removes (its NoRemove CLSID root); each
    // later round must leave exactly what the first left.
    ASSERT_EQ(Regsvr32(scope.options), 0u);
    ASSERT_EQ(Regsvr32(std::wstring(scope.options) + L" /u"), 0u);
    const std::vector<std::wstring> before = ClassKeysInBothViews();
    const std::wstring classes = L"Software\\Classes\\";

    ASSERT_EQ(Regsvr32(scope.options), 0u);
    EXPECT_EQ(_wcsicmp(ReadText(scope.root, classes + kClassKey + L"\\InprocServer32", nullptr, kOwnView)
                           .value_or(L"")
                           .c_str(),
                       Dll().path.c_str()),
              0);
    EXPECT_EQ(ReadText(scope.root, classes + L"TessarixOL.Connect\\CLSID", nullptr, kOwnView),
              L"{8B0F3933-6796-44E5-A1DB-8FC1AC46E311}");
    const HKEY otherScope = scope.machine ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
    EXPECT_FALSE(KeyExists(otherScope, classes + kClassKey, kOwnView));
    if (scope.machine) {
        EXPECT_EQ(!KeyExists(scope.root, classes + kClassKey, kOtherView), SystemHasTwoViews());
        // COM in a process of the DLL's bitness finds the class from its ProgID.
        CLSID found{};
        EXPECT_EQ(::CLSIDFromProgID(L"TessarixOL.Connect", &found), S_OK);
        EXPECT_EQ(found, __uuidof(::Connect));
        ComPtr<IClassFactory> factory;
        EXPECT_EQ(::CoGetClassObject(found, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                                     reinterpret_cast<void**>(factory.AddressOf())),
                  S_OK);
    }

    ASSERT_EQ(Regsvr32(std::wstring(scope.options) + L" /u"), 0u);
    const std::vector<std::wstring> after = ClassKeysInBothViews();
    std::vector<std::wstring> left, removed;
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(left));
    std::set_difference(before.begin(), before.end(), after.begin(), after.end(),
                        std::back_inserter(removed));
    EXPECT_EQ(left, std::vector<std::wstring>{});
    EXPECT_EQ(removed, std::vector<std::wstring>{});
    // Unregistering what is not registered finds nothing to remove and succeeds.
    EXPECT_EQ(Regsvr32(std::wstring(scope.options) + L" /u"), 0u);
}

INSTANTIATE_TEST_SUITE_P(Scopes, RegistryViewTest,
                         testing::Values(Scope{"Machine", HKEY_LOCAL_MACHINE, L"", true},
                                         Scope{"User", HKEY_CURRENT_USER, L"/n /i:user", false}),
                         &ScopeName);

// ---------------------------------------------------------------------------------------------
// Connection and version dispatch

struct VersionCase {
    const wchar_t* version;
    const char* variantTrace; // nullptr: unsupported
    const char* infoLine;     // the Info line of an unsupported version
};

class VersionDispatchTest : public AddinDllTest, public testing::WithParamInterface<VersionCase> {};

TEST_P(VersionDispatchTest, MajorVersionPicksTheVariant) {
    const VersionCase& param = GetParam();
    FakeApplication outlook({}, param.version);
    {
        LogCapture log;
        ComPtr<_IDTExtensibility2> connect = NewConnect();
        ASSERT_EQ(ConnectTo(connect, D(outlook.application)), S_OK);
        const std::string lines = log.Text();
        EXPECT_NE(
            lines.find("Debug: CAddinFactory: Outlook version is " + ToUtf8(FromWide(param.version)) + "\r"),
            std::string::npos)
            << lines;
        BSTR xml = nullptr;
        const HRESULT customUi =
            As<IRibbonExtensibility>(connect)->GetCustomUI(Bstr(u"Microsoft.Outlook.Mail.Read").Get(), &xml);
        Bstr owned = Bstr::Attach(xml);
        if (param.variantTrace) {
            EXPECT_NE(lines.find(std::string("Debug: ") + param.variantTrace + " call begin"),
                      std::string::npos)
                << lines;
            EXPECT_EQ(lines.find("Unsupported Outlook version"), std::string::npos);
            if (std::string(param.variantTrace) == "CAddin2003::Ctor") {
                EXPECT_EQ(customUi, S_FALSE); // no ribbon in Outlook 2003
                EXPECT_EQ(xml, nullptr);
            } else {
                EXPECT_EQ(customUi, S_OK);
                EXPECT_NE(xml, nullptr);
            }
        } else {
            EXPECT_NE(lines.find(std::string("Info: ") + param.infoLine + "\r"), std::string::npos) << lines;
            EXPECT_EQ(lines.find("CAddin20"), std::string::npos);
            // No variant: every ribbon request fails without touching anything.
            EXPECT_EQ(customUi, E_NOTIMPL);
            ComPtr<IRibbonCallback> callback = As<IRibbonCallback>(connect);
            VARIANT_BOOL enabled = 7;
            EXPECT_EQ(callback->GetEnabled(nullptr, &enabled), E_NOTIMPL);
            EXPECT_EQ(enabled, 7);
            EXPECT_EQ(callback->OnClick(nullptr), E_NOTIMPL);
            EXPECT_EQ(callback->OnLoad(nullptr), E_NOTIMPL);
        }
        EXPECT_EQ(connect->OnDisconnection(ext_dm_HostShutdown, nullptr), S_OK);
        EXPECT_EQ(Subscriptions(outlook), 0u);
    }
    EXPECT_EQ(outlook.application.refs, 1);
    EXPECT_EQ(outlook.explorers.refs, 1);
}

INSTANTIATE_TEST_SUITE_P(Versions, VersionDispatchTest,
                         testing::Values(VersionCase{L"11.0.0.8312", "CAddin2003::Ctor", nullptr},
                                         VersionCase{L"12.0.6423.1000", "CAddin2007::Ctor", nullptr},
                                         VersionCase{L"14.0.4760.1000", "CAddin2010::Ctor", nullptr},
                                         VersionCase{L"15.0.4569.1506", nullptr,
                                                     "Unsupported Outlook version: 15"},
                                         VersionCase{L"12", nullptr, "Unsupported Outlook version: "}));

TEST_F(AddinDllTest, ApplicationThatIsNotOutlookIsRefusedWithItsQueryResult) {
    FakeObject notOutlook; // answers no _Application
    notOutlook.Property(L"Version", Testing::VariantValue::Text(L"14.0.0.0"));
    {
        ComPtr<_IDTExtensibility2> connect = NewConnect();
        EXPECT_EQ(ConnectTo(connect, D(notOutlook)), E_NOINTERFACE);
        BSTR xml = nullptr;
        EXPECT_EQ(
            As<IRibbonExtensibility>(connect)->GetCustomUI(Bstr(u"Microsoft.Outlook.Explorer").Get(), &xml),
            E_NOTIMPL);
        EXPECT_EQ(ConnectTo(connect, nullptr), E_POINTER);
    }
    EXPECT_EQ(notOutlook.refs, 1);
}

TEST_F(AddinDllTest, ShutdownReleasesVariantThenFactoryThenApplication) {
    FakeApplication outlook({}, L"14.0.4760.1000");
    FakeRibbonUI ribbon;
    LogCapture log;
    {
        ComPtr<_IDTExtensibility2> connect = NewConnect();
        ASSERT_EQ(ConnectTo(connect, D(outlook.application)), S_OK);
        EXPECT_GT(outlook.application.refs, 1);
        EXPECT_EQ(Subscriptions(outlook), 2u); // the explorer collection and the item context menu
        EXPECT_EQ(As<IRibbonCallback>(connect)->OnLoad(&ribbon), S_OK);
        EXPECT_EQ(ribbon.refs, 2); // the ribbon support keeps the ribbon
        EXPECT_EQ(connect->OnBeginShutdown(nullptr), S_OK);
        EXPECT_EQ(connect->OnDisconnection(ext_dm_HostShutdown, nullptr), S_OK);
        EXPECT_EQ(outlook.application.refs, 1);
        EXPECT_EQ(Subscriptions(outlook), 0u);
        EXPECT_EQ(ribbon.refs, 1);
        EXPECT_EQ(connect->OnDisconnection(ext_dm_HostShutdown, nullptr), S_OK); // nothing left to release
        EXPECT_EQ(ribbon.invalidations, 0);
    }
    const std::string lines = log.Text();
    const std::size_t addin = lines.find("Debug: CAddin2010::Dtor call begin");
    const std::size_t ribbonSupport = lines.find("Debug: CRibbonSupport::Dtor() call begin");
    const std::size_t factory = lines.find("Debug: CAddinFactory::Dtor call begin");
    const std::size_t localize = lines.find("Debug: CLocalize::Dtor call begin");
    const std::size_t connect = lines.find("Debug: CConnect::Dtor call begin");
    ASSERT_NE(addin, std::string::npos) << lines;
    EXPECT_LT(addin, ribbonSupport);
    EXPECT_LT(ribbonSupport, factory);
    EXPECT_LT(factory, localize);
    EXPECT_LT(localize, connect);
    EXPECT_NE(lines.find("Debug: \xE4\xBD\xA0\xE5\xA5\xBD"
                         "CConnect::Ctor call begin"),
              std::string::npos);
    EXPECT_NE(lines.find("Debug: CConnect::OnBeginShutdown() call begin"), std::string::npos);
}

// ---------------------------------------------------------------------------------------------
// Ribbon requests (Outlook 2010)

class RibbonTest : public AddinDllTest {
protected:
    void SetUp() override {
        AddinDllTest::SetUp();
        connect_ = NewConnect();
        ASSERT_EQ(ConnectTo(connect_, D(outlook_.application)), S_OK);
        ribbon_ = As<IRibbonExtensibility>(connect_);
        callback_ = As<IRibbonCallback>(connect_);
    }
    void TearDown() override {
        callback_.Reset();
        ribbon_.Reset();
        if (connect_)
            connect_->OnDisconnection(ext_dm_HostShutdown, nullptr);
        connect_.Reset();
        AddinDllTest::TearDown();
    }

    static std::u16string_view ResourceText(unsigned id, DWORD* size) {
        HRSRC resource = ::FindResourceW(Dll().module, MAKEINTRESOURCEW(id), L"XML");
        *size = resource ? ::SizeofResource(Dll().module, resource) : 0;
        const void* bytes = resource ? ::LockResource(::LoadResource(Dll().module, resource)) : nullptr;
        return {static_cast<const char16_t*>(bytes), *size / 2};
    }

    FakeApplication outlook_{{}, L"14.0.4760.1000"};
    ComPtr<_IDTExtensibility2> connect_;
    ComPtr<IRibbonExtensibility> ribbon_;
    ComPtr<IRibbonCallback> callback_;
};

TEST_F(RibbonTest, EveryRibbonTypeGetsItsWholeDocument) {
    const std::pair<const char16_t*, unsigned> table[] = {
        {u"Microsoft.Outlook.Explorer", 201},
        {u"Microsoft.Outlook.Mail.Read", 203},
        {u"Microsoft.Outlook.Task", 207},
        {u"Microsoft.Outlook.Appointment", 208},
        {u"Microsoft.Outlook.Contact", 209},
        {u"Microsoft.Outlook.Journal", 211},
        {u"Microsoft.Outlook.MeetingRequest.Read", 212},
    };
    for (const auto& [ribbonId, resource] : table) {
        DWORD size = 0;
        const std::u16string_view expected = ResourceText(resource, &size);
        ASSERT_GT(size, 0u) << resource;
        BSTR xml = nullptr;
        ASSERT_EQ(ribbon_->GetCustomUI(Bstr(ribbonId).Get(), &xml), S_OK) << resource;
        const Bstr owned = Bstr::Attach(xml);
        EXPECT_EQ(owned.Length(), size / 2) << resource;
        ASSERT_FALSE(owned.View().empty());
        EXPECT_EQ(owned.View()[0], u'\xFEFF') << resource;
        EXPECT_EQ(owned.View(), expected) << resource;
    }
}

TEST_F(RibbonTest, UnknownRibbonTypesGetNothingAndANullOutPointerIsRefused) {
    for (const char16_t* ribbonId : {u"Microsoft.Outlook.Mail.Compose", u"microsoft.outlook.explorer", u"",
                                     u"Microsoft.Outlook.DistributionList"}) {
        BSTR xml = nullptr;
        EXPECT_EQ(ribbon_->GetCustomUI(Bstr(ribbonId).Get(), &xml), S_OK);
        EXPECT_EQ(xml, nullptr);
    }
    EXPECT_EQ(ribbon_->GetCustomUI(Bstr(u"Microsoft.Outlook.Explorer").Get(), nullptr), E_POINTER);
    EXPECT_EQ(callback_->GetImage(nullptr, nullptr), E_POINTER);
}

TEST_F(RibbonTest, ImageIsTheThirtyTwoPixelPngWithItsAlpha) {
    ComPtr<IPictureDisp> image;
    ASSERT_EQ(callback_->GetImage(nullptr, image.AddressOf()), S_OK);
    ComPtr<IPicture> picture;
    ASSERT_EQ(image.As(picture), S_OK);
    SHORT type = 0;
    EXPECT_EQ(picture->get_Type(&type), S_OK);
    EXPECT_EQ(type, PICTYPE_BITMAP);
    OLE_HANDLE handle = 0;
    ASSERT_EQ(picture->get_Handle(&handle), S_OK);
    BITMAP bitmap{};
    ASSERT_EQ(::GetObjectW(reinterpret_cast<HBITMAP>(static_cast<UINT_PTR>(handle)), sizeof(bitmap), &bitmap),
              static_cast<int>(sizeof(bitmap)));
    EXPECT_EQ(bitmap.bmWidth, 32);
    EXPECT_EQ(bitmap.bmHeight, 32);
    EXPECT_EQ(bitmap.bmBitsPixel, 32);
}

TEST_F(RibbonTest, CallbacksAreBoundByNameWhateverTheirCaseAndInvokedThroughIDispatch) {
    ComPtr<IDispatch> dispatch = As<IDispatch>(connect_);
    ASSERT_TRUE(dispatch);
    UINT count = 0;
    EXPECT_EQ(dispatch->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(dispatch->GetTypeInfo(0, LOCALE_NEUTRAL, info.AddressOf()), S_OK);
    Bstr name, help;
    ASSERT_EQ(info->GetDocumentation(MEMBERID_NIL, name.AddressOf(), help.AddressOf(), nullptr, nullptr),
              S_OK);
    EXPECT_EQ(name.View(), u"IRibbonCallback");
    EXPECT_EQ(help.View(), u"IRibbonCallback Interface");

    const std::pair<const wchar_t*, DISPID> expected[] = {{L"GetEnabled", 1}, {L"OnClick", 2},
                                                          {L"GetImage", 3},   {L"getImage", 3},
                                                          {L"GetLabel", 4},   {L"OnLoad", 5}};
    for (const auto& [callback, id] : expected) {
        LPOLESTR names[] = {const_cast<LPOLESTR>(callback)};
        DISPID found = 0;
        EXPECT_EQ(dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &found), S_OK);
        EXPECT_EQ(found, id);
    }
    LPOLESTR unknown[] = {const_cast<LPOLESTR>(L"GetVisible")};
    DISPID found = 0;
    EXPECT_EQ(dispatch->GetIDsOfNames(IID_NULL, unknown, 1, LOCALE_USER_DEFAULT, &found), DISP_E_UNKNOWNNAME);

    FakeObject inspector; // a context that is no explorer: the button is enabled
    FakeRibbonControl control(D(inspector));
    VARIANTARG argument;
    argument.vt = VT_DISPATCH;
    argument.pdispVal = &control;
    DISPPARAMS params{&argument, nullptr, 1, 0};
    Win::Variant label, enabled;
    ASSERT_EQ(dispatch->Invoke(4, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, label.Get(),
                               nullptr, nullptr),
              S_OK);
    EXPECT_EQ(label->vt, VT_BSTR);
    ASSERT_EQ(dispatch->Invoke(1, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, enabled.Get(),
                               nullptr, nullptr),
              S_OK);
    EXPECT_EQ(enabled->vt, VT_BOOL);
    EXPECT_EQ(enabled->boolVal, VARIANT_TRUE);
    EXPECT_EQ(control.refs, 1);
    EXPECT_EQ(inspector.refs, 1);
}

} // namespace
} // namespace Tessarix::Addin
