// The satellite Resource.dll as built, and the search over the resource-module list.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <array>
#include <vector>

#include "../ClipActionTestSupport.h"
#include "core/EnglishTexts.h"
#include "core/Exceptions.h"
#include "core/LocalizedStrings.h"
#include "core/Utf.h"
#include "core/win/LocalizedStringsWin.h"

namespace Tessarix::Testing {
namespace {

constexpr LANGID kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
constexpr LANGID kGerman = MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN);
constexpr LANGID kFrench = MAKELANGID(LANG_FRENCH, SUBLANG_FRENCH);
constexpr std::array<unsigned, 6> kIds = {101, 102, 107, 108, 110, 111};

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path, length);
    return folder.substr(0, folder.find_last_of(L'\\') + 1);
}

// Empties the search list for the test and puts the satellite back afterwards.
class ResourceModules : public ::testing::Test {
protected:
    void SetUp() override {
        PrepareEnglishTexts();
        ASSERT_EQ(ResourceModuleList().size(), 1u);
        satellite_ = ResourceModuleList().front();
        RemoveResourceModule(satellite_);
    }
    void TearDown() override {
        for (const HMODULE module : ResourceModuleList())
            RemoveResourceModule(module);
        AddResourceModule(satellite_);
    }
    HMODULE satellite_ = nullptr;
};

TEST_F(ResourceModules, SatelliteBesideTheModuleIsLoadedAndSearched) {
    EXPECT_EQ(LoadLocalizedString(101), u"") << "nothing is listed yet";
    const HMODULE loaded = LoadSatelliteModule(GetModuleHandleW(nullptr));
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(ResourceModuleList(), std::vector<HMODULE>{loaded});
    // Mapped as data: not a module whose code the loader knows.
    EXPECT_EQ(GetModuleHandleW((ProgramFolder() + L"Resource.dll").c_str()), nullptr);

    SetThreadUILanguage(kEnglish);
    const char16_t* english[] = {u"" TX_TEXT_EN_101, u"" TX_TEXT_EN_102, u"" TX_TEXT_EN_107,
                                 u"" TX_TEXT_EN_108, u"" TX_TEXT_EN_110, u"" TX_TEXT_EN_111};
    for (std::size_t i = 0; i < kIds.size(); ++i)
        EXPECT_EQ(LoadLocalizedString(kIds[i]), english[i]) << "string " << kIds[i];
    EXPECT_EQ(SendTxceException(2).GetMessage(), u"" TX_TEXT_EN_107);
}

TEST_F(ResourceModules, EveryTextExistsInEnglishGermanAndFrench) {
    for (const unsigned id : kIds) {
        const auto en = FindModuleString(satellite_, id, kEnglish);
        const auto de = FindModuleString(satellite_, id, kGerman);
        const auto fr = FindModuleString(satellite_, id, kFrench);
        ASSERT_TRUE(en && de && fr) << "string " << id;
        EXPECT_NE(*de, *en) << "string " << id;
        EXPECT_NE(*fr, *en) << "string " << id;
        EXPECT_NE(*fr, *de) << "string " << id;
    }
    // Characters beyond ASCII arrive intact, next to letters that are also hex digits.
    EXPECT_EQ(FindModuleString(satellite_, 101, kGerman), u"Zu Tessarix hinzuf\u00fcgen");
    EXPECT_EQ(FindModuleString(satellite_, 101, kFrench), u"Ajouter \u00e0 Tessarix");
    EXPECT_EQ(FindModuleString(satellite_, 110, kFrench),
              u"Tessarix n'a pas pu recevoir la capture. Veuillez r\u00e9essayer.");
}

TEST_F(ResourceModules, FirstModuleHoldingTheIdWins) {
    const HMODULE program = GetModuleHandleW(nullptr);
    SetThreadUILanguage(kEnglish);
    AddResourceModule(program);
    AddResourceModule(satellite_);
    EXPECT_EQ(LoadLocalizedString(101), u"Add (from the test program)");
    // The program's block for 96..111 exists but does not hold 107: the search goes on.
    EXPECT_EQ(LoadLocalizedString(107), u"" TX_TEXT_EN_107);
    EXPECT_EQ(LoadLocalizedString(109), u"Only in the test program");
    EXPECT_EQ(LoadLocalizedString(103), u"") << "held by no module";
    EXPECT_EQ(LoadLocalizedString(5000), u"") << "a block no module has";

    RemoveResourceModule(program);
    AddResourceModule(program); // now after the satellite
    EXPECT_EQ(LoadLocalizedString(101), u"" TX_TEXT_EN_101);
    EXPECT_EQ(LoadLocalizedString(109), u"Only in the test program");
}

TEST_F(ResourceModules, MissingSatelliteLeavesEveryTextEmpty) {
    // The system folder has no Resource.dll.
    EXPECT_EQ(LoadSatelliteModule(GetModuleHandleW(L"kernel32.dll")), nullptr);
    for (const unsigned id : kIds)
        EXPECT_EQ(LoadLocalizedString(id), u"") << "string " << id;
    EXPECT_EQ(SendTxceException(2).GetMessage(), u"");
}

// The add-in's own texts reach Outlook (the ribbon label test in addin_win_tests); here: the
// satellite beside it, loaded at the first class request, is never a module whose code the loader
// runs.
TEST(AddinModule, FirstUseMapsTheSatelliteBesideItOnlyAsData) {
    PrepareEnglishTexts();
    const std::wstring folder = ProgramFolder() + L"addin\\";
    const HMODULE addin = LoadLibraryW((folder + L"TessarixOL.dll").c_str());
    ASSERT_NE(addin, nullptr) << "process attach failed: " << GetLastError();
    using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    const auto getClassObject =
        reinterpret_cast<GetClassObject>(reinterpret_cast<void*>(GetProcAddress(addin, "DllGetClassObject")));
    ASSERT_NE(getClassObject, nullptr);
    const CLSID connect = {0x8B0F3933, 0x6796, 0x44E5, {0xA1, 0xDB, 0x8F, 0xC1, 0xAC, 0x46, 0xE3, 0x11}};
    IClassFactory* factory = nullptr;
    ASSERT_EQ(getClassObject(connect, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
    factory->Release();
    EXPECT_EQ(GetModuleHandleW((folder + L"Resource.dll").c_str()), nullptr);
    EXPECT_EQ(GetModuleHandleW(L"Resource.dll"), nullptr);
    EXPECT_TRUE(FreeLibrary(addin));
}

} // namespace
} // namespace Tessarix::Testing
