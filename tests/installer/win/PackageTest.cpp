// The Windows Installer package under Wine: msiexec installs it per user and per machine into a fresh
// prefix, a program of each architecture reads what it registered in its own registry view, a
// scripted Outlook finds and loads the add-in as Outlook does and clips one item; then an upgrade
// from the previous version, a repair and an uninstall, after which nothing of ours is left.
//
// The x64 package is driven by the x86_64 program, which runs the i686 build of this program for the
// 32-bit side (the PackagePeer tests, told what to check through the environment).
#include <windows.h>

#include <objbase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "addin/OfficeInterfaces.h"
#include "core/Utf.h"
#include "core/win/ComPtr.h"
#include "support/win/ClientWindow.h"
#include "support/win/FakeOutlook.h"
#include "support/win/Registry.h"

namespace Tessarix::Addin {
namespace {

using Tessarix::Testing::KeyExists;
using Tessarix::Testing::ReadNumber;
using Tessarix::Testing::ReadText;
using Tessarix::Testing::RunProgram;
using Tessarix::Testing::WindowsPath;
using Win::ComPtr;

constexpr wchar_t kClassKey[] = L"Software\\Classes\\CLSID\\{8B0F3933-6796-44E5-A1DB-8FC1AC46E311}";
constexpr wchar_t kClassId[] = L"{8B0F3933-6796-44E5-A1DB-8FC1AC46E311}";
constexpr wchar_t kTypeLibKey[] = L"Software\\Classes\\TypeLib\\{C31DCD1D-085F-4616-9B0B-D8168D8BA3B8}";
constexpr wchar_t kAddinKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\TessarixOL.Connect";
// Everything the package writes, relative to each root.
const std::vector<std::wstring> kOurKeys = {
    L"Software\\Classes\\TessarixOL.Connect",
    L"Software\\Classes\\TessarixOL.Connect.1",
    kClassKey,
    kTypeLibKey,
    L"Software\\Classes\\Interface\\{3DC63DA0-1DE0-4047-A0C9-04F61156A674}",
    kAddinKey};

#ifdef _WIN64
constexpr wchar_t kOwnFolder[] = L"x64";
#else
constexpr wchar_t kOwnFolder[] = L"x86";
#endif

std::wstring Environment(const wchar_t* name) {
    wchar_t buffer[1024];
    const DWORD length = ::GetEnvironmentVariableW(name, buffer, 1024);
    return length > 0 && length < 1024 ? std::wstring(buffer, length) : std::wstring();
}

DWORD Msiexec(const std::wstring& arguments) {
    return RunProgram(L"msiexec.exe " + arguments + L" /qn");
}

bool FileExists(const std::wstring& path) {
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// ---------------------------------------------------------------------------------------------
// What one program checks in its own registry view (TX_PACKAGE_CHECK and TX_PACKAGE_FOLDER)

enum class Scope { User, Machine };

HKEY RootOf(Scope scope) {
    return scope == Scope::User ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

// The add-in of this program's architecture is registered in this program's registry view, its files
// are in place, and Outlook's add-in key names it.
void ExpectRegistered(Scope scope, const std::wstring& folder) {
    const HKEY root = RootOf(scope);
    const std::wstring dll = folder + L"\\" + kOwnFolder + L"\\TessarixOL.dll";
    EXPECT_TRUE(FileExists(dll)) << ToUtf8(FromWide(dll.c_str()));
    EXPECT_TRUE(FileExists(folder + L"\\" + kOwnFolder + L"\\Resource.dll"));
    for (const wchar_t* progId : {L"TessarixOL.Connect", L"TessarixOL.Connect.1"})
        EXPECT_EQ(ReadText(root, std::wstring(L"Software\\Classes\\") + progId + L"\\CLSID", nullptr),
                  kClassId);
    EXPECT_EQ(ReadText(root, L"Software\\Classes\\TessarixOL.Connect\\CurVer", nullptr),
              L"TessarixOL.Connect.1");
    const std::wstring server = std::wstring(kClassKey) + L"\\InprocServer32";
    EXPECT_EQ(ReadText(root, server, L"ThreadingModel"), L"Apartment");
    const std::optional<std::wstring> registered = ReadText(root, server, nullptr);
    ASSERT_TRUE(registered);
    if (*registered != dll) {
        // Wine keeps one view of HKEY_CURRENT_USER: both builds wrote the same key, the last one wins.
        // Windows keeps a 32-bit view of HKCU\Software\Classes\CLSID, where each names its own.
        EXPECT_EQ(scope, Scope::User) << ToUtf8(FromWide(registered->c_str()));
        EXPECT_EQ(ReadText(root, server, nullptr, KEY_WOW64_32KEY),
                  ReadText(root, server, nullptr, KEY_WOW64_64KEY));
        EXPECT_TRUE(FileExists(*registered));
    }
#ifdef _WIN64
    EXPECT_EQ(ReadText(root, std::wstring(kTypeLibKey) + L"\\1.0\\0\\win64", nullptr), dll);
#else
    EXPECT_EQ(ReadText(root, std::wstring(kTypeLibKey) + L"\\1.0\\0\\win32", nullptr), dll);
#endif
    EXPECT_EQ(ReadNumber(root, kAddinKey, L"LoadBehavior"), 3u);
    EXPECT_EQ(ReadText(root, kAddinKey, L"FriendlyName"), L"TessarixOL");
    EXPECT_TRUE(ReadText(root, kAddinKey, L"Description").has_value());
}

// Nothing of ours in either root, in either view, nor on disk; the shared roots stay.
void ExpectNothingLeft(const std::wstring& folder) {
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        for (const REGSAM view : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
            for (const auto& key : kOurKeys)
                EXPECT_FALSE(KeyExists(root, key, view)) << ToUtf8(FromWide(key.c_str()));
            EXPECT_TRUE(KeyExists(root, L"Software\\Classes\\CLSID", view) || root == HKEY_CURRENT_USER);
        }
    }
    EXPECT_FALSE(FileExists(folder)) << ToUtf8(FromWide(folder.c_str()));
}

// Every key under `key` with its values as text ("name=type:data"), folder paths without a trailing
// backslash (RegisterTypeLib writes HELPDIR without one, Windows Installer folders end in one).
void Snapshot(HKEY root, const std::wstring& key, std::map<std::wstring, std::set<std::wstring>>& out) {
    HKEY opened = nullptr;
    if (::RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return;
    std::set<std::wstring>& values = out[key];
    wchar_t name[256];
    BYTE data[2048];
    for (DWORD i = 0;; ++i) {
        DWORD nameLength = 256, size = sizeof data, type = 0;
        if (::RegEnumValueW(opened, i, name, &nameLength, nullptr, &type, data, &size) != ERROR_SUCCESS)
            break;
        std::wstring text = type == REG_DWORD
                                ? std::to_wstring(*reinterpret_cast<DWORD*>(data))
                                : std::wstring(reinterpret_cast<wchar_t*>(data),
                                               wcsnlen(reinterpret_cast<wchar_t*>(data), size / 2));
        if (text.size() > 1 && text.back() == L'\\')
            text.pop_back();
        values.insert(std::wstring(name, nameLength) + L"=" + std::to_wstring(type) + L":" + text);
    }
    std::vector<std::wstring> subkeys;
    for (DWORD i = 0;; ++i) {
        DWORD nameLength = 256;
        if (::RegEnumKeyExW(opened, i, name, &nameLength, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        subkeys.emplace_back(name, nameLength);
    }
    ::RegCloseKey(opened);
    for (const auto& subkey : subkeys)
        Snapshot(root, key + L"\\" + subkey, out);
}

// The module registering itself machine-wide (as regsvr32 would) changes nothing of what the
// package wrote: the package's entries and the module's registry script and type library agree.
void ExpectSelfRegistrationAgrees(const std::wstring& folder) {
    const auto snapshot = [] {
        std::map<std::wstring, std::set<std::wstring>> keys;
        for (const auto& key : kOurKeys) {
            if (key != kAddinKey) // the package's own, not the module's
                Snapshot(HKEY_LOCAL_MACHINE, key, keys);
        }
        return keys;
    };
    const auto installed = snapshot();
    ASSERT_FALSE(installed.empty());
    const HMODULE module = ::LoadLibraryW((folder + L"\\" + kOwnFolder + L"\\TessarixOL.dll").c_str());
    ASSERT_NE(module, nullptr);
    const auto registerServer = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(::GetProcAddress(module, "DllRegisterServer")));
    ASSERT_NE(registerServer, nullptr);
    EXPECT_EQ(registerServer(), S_OK);
    ::FreeLibrary(module);
    EXPECT_EQ(snapshot(), installed);
}

// Outlook at start-up: the add-in key names a ProgID, COM creates its class, Outlook connects it.
// Here that Outlook is scripted (2003), and one sticky note is clipped to a desktop client.
void ExpectOutlookLoadsAndClips(Scope scope, const std::wstring& folder) {
    ASSERT_EQ(ReadNumber(RootOf(scope), kAddinKey, L"LoadBehavior").value_or(0) & 3u, 3u);
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    {
        CLSID clsid{};
        ASSERT_EQ(::CLSIDFromProgID(L"TessarixOL.Connect", &clsid), S_OK);
        ComPtr<_IDTExtensibility2> connect;
        ASSERT_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(_IDTExtensibility2),
                                     reinterpret_cast<void**>(connect.AddressOf())),
                  S_OK);
        const std::wstring dll = folder + L"\\" + kOwnFolder + L"\\TessarixOL.dll";
        EXPECT_NE(::GetModuleHandleW(dll.c_str()), nullptr) << "not the installed module";

        Tessarix::Testing::ClientWindow client;
        ASSERT_TRUE(client.Running());
        Testing::FakeExplorer notes;
        Testing::FakeApplication outlook({&notes}, L"11.0.0.8312");
        auto sticky = Testing::NewStickyNote({L"Shopping", L"Milk", L"", 40609.5});
        ASSERT_EQ(connect->OnConnection(Testing::D(outlook.application), ext_cm_Startup, nullptr, nullptr),
                  S_OK);
        notes.Select({Testing::D(*sticky)});
        notes.explorer.Fire(Outlook::kIID_ExplorerEvents_10, 0xF007); // SelectionChange
        ASSERT_EQ(notes.commandBars.standard.Shown(), 1u);
        notes.commandBars.standard.Last().Fire(Office::kIID_CommandBarButtonEvents, 1); // Click
        const auto deliveries = client.Deliveries();
        ASSERT_EQ(deliveries.size(), 1u);
        EXPECT_NE(deliveries[0].bytes.find("<title>Shopping</title>"), std::string::npos);
        EXPECT_EQ(connect->OnDisconnection(ext_dm_HostShutdown, nullptr), S_OK);
    }
    ::CoUninitialize();
}

// The checks of one program, chosen by TX_PACKAGE_CHECK: "user", "machine", "outlook" and
// "self-registration" (per machine), or "absent".
void CheckOwnView(const std::wstring& check, const std::wstring& folder) {
    if (check == L"user")
        ExpectRegistered(Scope::User, folder);
    else if (check == L"machine")
        ExpectRegistered(Scope::Machine, folder);
    else if (check == L"outlook")
        ExpectOutlookLoadsAndClips(Scope::Machine, folder);
    else if (check == L"self-registration")
        ExpectSelfRegistrationAgrees(folder);
    else if (check == L"absent")
        ExpectNothingLeft(folder);
    else
        FAIL() << "unknown check";
}

TEST(PackagePeer, ChecksItsOwnView) {
    const std::wstring check = Environment(L"TX_PACKAGE_CHECK");
    if (check.empty())
        GTEST_SKIP() << "run by the package test of the x64 package";
    CheckOwnView(check, Environment(L"TX_PACKAGE_FOLDER"));
}

// ---------------------------------------------------------------------------------------------
// The driver

class PackageTest : public testing::Test {
protected:
    void SetUp() override {
        if (!Environment(L"TX_PACKAGE_CHECK").empty())
            GTEST_SKIP() << "a peer run";
    }

    static std::wstring Folder(Scope scope) {
        if (scope == Scope::User)
            return Environment(L"LOCALAPPDATA") + L"\\Programs\\TessarixOL";
        const std::wstring native = Environment(L"ProgramW6432"); // 64-bit Program Files, from either build
        return (native.empty() ? Environment(L"ProgramFiles") : native) + L"\\TessarixOL";
    }

    // This program's checks, then the same ones from the i686 program for the x64 package. What loads
    // the module runs in a process of its own, which ends and so leaves the installed files unused.
    static void Check(const std::wstring& check, Scope scope) {
        const std::wstring folder = Folder(scope);
        const std::wstring environment =
            L"TX_PACKAGE_CHECK=" + check + std::wstring(1, L'\0') + L"TX_PACKAGE_FOLDER=" + folder;
        if (check == L"outlook" || check == L"self-registration") {
            wchar_t self[MAX_PATH];
            const DWORD length = ::GetModuleFileNameW(nullptr, self, MAX_PATH);
            EXPECT_EQ(RunProgram(L"\"" + std::wstring(self, length) + L"\" --gtest_filter=PackagePeer.*",
                                 environment),
                      0u)
                << "this program's " << ToUtf8(FromWide(check.c_str()));
        } else {
            SCOPED_TRACE(ToUtf8(FromWide(kOwnFolder)) + " program, " + ToUtf8(FromWide(check.c_str())));
            CheckOwnView(check, folder);
        }
#ifdef TX_PEER_TESTS
        EXPECT_EQ(
            RunProgram(L"\"" + WindowsPath(TX_PEER_TESTS) + L"\" --gtest_filter=PackagePeer.*", environment),
            0u)
            << "the i686 program's " << ToUtf8(FromWide(check.c_str()));
#endif
    }

    const std::wstring package_ = L"\"" + WindowsPath(TX_PACKAGE) + L"\"";
    const std::wstring previous_ = L"\"" + WindowsPath(TX_PACKAGE_PREVIOUS) + L"\"";
};

TEST_F(PackageTest, PerUserInstallAndUninstall) {
    ASSERT_EQ(Msiexec(L"/i " + package_), 0u);
    Check(L"user", Scope::User);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kAddinKey, 0)); // nothing machine-wide
    ASSERT_EQ(Msiexec(L"/x " + package_), 0u);
    Check(L"absent", Scope::User);
}

// COM under Wine reads the machine's classes only, so Outlook's way of loading is shown per machine.
TEST_F(PackageTest, PerMachineUpgradeLoadRepairAndUninstall) {
    ASSERT_TRUE(FileExists(WindowsPath(TX_PACKAGE_PREVIOUS))) << "the previous version's package";
    ASSERT_EQ(Msiexec(L"/i " + previous_ + L" ALLUSERS=1"), 0u);
    Check(L"machine", Scope::Machine);

    // The newer version replaces the older one: one product left, of the newer version.
    ASSERT_EQ(Msiexec(L"/i " + package_ + L" ALLUSERS=1"), 0u);
    Check(L"machine", Scope::Machine);
    Check(L"outlook", Scope::Machine);
    Check(L"self-registration", Scope::Machine);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, kAddinKey, 0));

    // Installing the same version again repairs a lost file and a lost registry value.
    const std::wstring folder = Folder(Scope::Machine);
    ASSERT_TRUE(::DeleteFileW((folder + L"\\" + kOwnFolder + L"\\Resource.dll").c_str()));
    ASSERT_EQ(::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kAddinKey, L"LoadBehavior"), ERROR_SUCCESS);
    ASSERT_EQ(Msiexec(L"/i " + package_ + L" ALLUSERS=1"), 0u);
    Check(L"machine", Scope::Machine);

    ASSERT_EQ(Msiexec(L"/x " + package_ + L" ALLUSERS=1"), 0u);
    Check(L"absent", Scope::Machine);
}

} // namespace
} // namespace Tessarix::Addin
