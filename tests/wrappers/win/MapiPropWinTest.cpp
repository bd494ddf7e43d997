// The MAPI property seam over IMAPIProp: properties read by the platform's HrGetOneProp from a
// MAPI attachment of the test, and the attachment model on top of both Windows adapters.
#include "core/win/MapiPropWin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "ComTestObjects.h"
#include "attachments/Attachment.h"
#include "core/FileSystem.h"
#include "core/Utf.h"
#include "core/win/AutomationWin.h"
#include "core/win/Libraries.h"
#include "itemaccess/MapiProperties.h"
#include "support/ItemFakes.h"
#include "support/ItemLog.h"
#include "support/win/FakeOutlook.h"
#include "support/win/Registry.h"

namespace Tessarix {
namespace {

using Addin::Testing::FakeObject;
using Addin::Testing::VariantValue;
using Testing::ItemLog;
using Testing::TestMapiProp;

template <typename T> struct Owned {
    T* p = new T;
    ~Owned() { p->Release(); }
    T* operator->() const { return p; }
};

TEST(MapiPropWin, GettersReadThroughHrGetOnePropAndLogOnlyRealFailures) {
    Owned<TestMapiProp> mapi;
    mapi->SetText(Mapi::kPR_ATTACH_LONG_FILENAME, L"Quarterly report \x00e9.pdf");
    mapi->SetLong(Mapi::kPR_ATTACH_METHOD, 6);
    mapi->SetBool(Mapi::kPR_ATTACHMENT_HIDDEN, true);
    mapi->SetTime(Mapi::kPR_START_DATE, FILETIME{0x89ABCDEF, 0x01CABDEF});
    mapi->SetBinary(0x0FFF0102, std::string("\x00\x01\x02\xFF", 4));
    mapi->Fail(Mapi::kPR_ATTACH_CONTENT_ID, MAPI_E_CALL_FAILED);
    {
        const auto prop = Win::WrapMapiProp(mapi.p);
        EXPECT_EQ(mapi->refs, 2u);
        ItemLog log;
        EXPECT_EQ(Global::GetStringProperty(prop.get(), Mapi::kPR_ATTACH_LONG_FILENAME),
                  u"Quarterly report \u00e9.pdf");
        EXPECT_EQ(Global::GetLongProperty(prop.get(), Mapi::kPR_ATTACH_METHOD, 0xFFFFFFFF), 6u);
        EXPECT_TRUE(Global::GetBoolProperty(prop.get(), Mapi::kPR_ATTACHMENT_HIDDEN, false));
        EXPECT_EQ(Global::GetTimeProperty(prop.get(), Mapi::kPR_START_DATE, FileTime{}),
                  (FileTime{0x89ABCDEF, 0x01CABDEF}));
        Mapi::PropValue value;
        ASSERT_EQ(prop->GetProp(0x0FFF0102, value), S_OK);
        EXPECT_EQ(std::get<Mapi::Binary>(value).bytes, std::string("\x00\x01\x02\xFF", 4));
        EXPECT_TRUE(log.Messages().empty());

        // An absent property is silent; any other failure is logged.
        EXPECT_EQ(prop->GetProp(Mapi::kPR_ATTACH_MIME_TAG, value), kMAPI_E_NOT_FOUND);
        EXPECT_EQ(prop->GetProp(Mapi::kPR_ATTACH_CONTENT_ID, value),
                  static_cast<HResult>(MAPI_E_CALL_FAILED));
        EXPECT_EQ(Global::GetStringProperty(prop.get(), Mapi::kPR_ATTACH_MIME_TAG, u"none"), u"none");
        EXPECT_EQ(Global::GetStringProperty(prop.get(), Mapi::kPR_ATTACH_CONTENT_ID, u"none"), u"none");
        EXPECT_EQ(log.Messages(),
                  (std::vector<std::string>{"Error: HrGetOneProp() failed in GetStringProperty()!"}));
    }
    EXPECT_EQ(mapi->refs, 1u);
    EXPECT_EQ(Win::WrapMapiProp(nullptr), nullptr);
}

TEST(MapiPropWin, PropertiesOpenAsStreamsAndStorages) {
    Owned<TestMapiProp> mapi;
    mapi->SetStream(Mapi::kPR_ATTACH_DATA_BIN, "file bytes");
    mapi->SetStorage(Mapi::kPR_ATTACH_DATA_OBJ, L"CONTENTS", "ole bytes");
    const auto prop = Win::WrapMapiProp(mapi.p);

    std::shared_ptr<Mapi::IPropStream> stream;
    ASSERT_EQ(prop->OpenStream(Mapi::kPR_ATTACH_DATA_BIN, stream), S_OK);
    StringUTF8 bytes;
    ASSERT_EQ(Mapi::ReadWholeStream(*stream, bytes), S_OK);
    EXPECT_EQ(bytes.View(), "file bytes");

    std::shared_ptr<Mapi::IPropStorage> storage;
    ASSERT_EQ(prop->OpenStorage(Mapi::kPR_ATTACH_DATA_OBJ, storage), S_OK);
    ASSERT_EQ(storage->OpenStream(u"CONTENTS", stream), S_OK);
    ASSERT_EQ(Mapi::ReadWholeStream(*stream, bytes), S_OK);
    EXPECT_EQ(bytes.View(), "ole bytes");
    EXPECT_TRUE(Failed(storage->OpenStream(u"Other", stream)));

    EXPECT_EQ(prop->OpenStream(Mapi::kPR_HTML, stream), kMAPI_E_NOT_FOUND);
}

// Outlook's MAPI library as Outlook registers it for MAPI clients, for one test.
class RegisteredOutlookMapi {
public:
    explicit RegisteredOutlookMapi(const std::wstring& path) {
        if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key_,
                              nullptr) == ERROR_SUCCESS)
            ::RegSetValueExW(key_, L"DLLPathEx", 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                             static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
    }
    ~RegisteredOutlookMapi() {
        if (key_) {
            ::RegDeleteValueW(key_, L"DLLPathEx");
            ::RegCloseKey(key_);
        }
    }
    RegisteredOutlookMapi(const RegisteredOutlookMapi&) = delete;
    RegisteredOutlookMapi& operator=(const RegisteredOutlookMapi&) = delete;

private:
    static constexpr wchar_t kKey[] = L"Software\\Clients\\Mail\\Microsoft Outlook";
    HKEY key_ = nullptr;
};

std::vector<std::pair<std::wstring, DWORD>>& Loads() {
    static std::vector<std::pair<std::wstring, DWORD>> loads;
    return loads;
}

// Through a stand-in for Outlook's library: the export is looked up and called with the options and
// code page, and the stream it returns is the body, of the type it reports. The library is taken
// only where Outlook put it, never from a search that a planted file could win.
TEST(MapiPropWin, TheNativeBodyComesOnlyFromOutlooksOwnMapi) {
    const std::wstring folder = Testing::WindowsPath(TX_OUTLOOK_MAPI_DIR);
    const std::wstring standIn = folder + L"\\msmapi32.dll";
    ASSERT_EQ(::GetModuleHandleW(L"msmapi32.dll"), nullptr) << "Outlook's MAPI is installed here";
    Win::ObserveLibraryLoads([](const wchar_t* file, DWORD flags) { Loads().emplace_back(file, flags); });

    const auto wrap = [](Mapi::NativeBody& body) {
        Owned<TestMapiProp> mapi;
        mapi->SetStream(Mapi::kPR_RTF_COMPRESSED, "<html>body</html>");
        const auto prop = Win::WrapMapiProp(mapi.p);
        std::shared_ptr<Mapi::IPropStream> compressed;
        EXPECT_EQ(prop->OpenStream(Mapi::kPR_RTF_COMPRESSED, compressed), S_OK);
        Testing::FakeStream foreign("compressed");
        EXPECT_EQ(prop->WrapCompressedRtf(foreign, 1252, body), E_INVALIDARG);
        return prop->WrapCompressedRtf(*compressed, 1252, body);
    };
    const auto expectBody = [](const Mapi::NativeBody& body) {
        EXPECT_EQ(body.type, Mapi::kNativeBodyHtml);
        ASSERT_NE(body.stream, nullptr);
        StringUTF8 bytes;
        ASSERT_EQ(Mapi::ReadWholeStream(*body.stream, bytes), S_OK);
        EXPECT_EQ(bytes.View(), "<html>body</html>");
    };
    {
        // Planted where a bare name is searched for, and registered by a bare name.
        ASSERT_TRUE(::SetDllDirectoryW(folder.c_str()));
        RegisteredOutlookMapi registered(L"msmapi32.dll");
        Mapi::NativeBody body;
        EXPECT_EQ(wrap(body), Mapi::kE_MOD_NOT_FOUND);
        ::SetDllDirectoryW(nullptr);
        EXPECT_EQ(body.stream, nullptr);
        EXPECT_EQ(::GetModuleHandleW(L"msmapi32.dll"), nullptr);
        EXPECT_TRUE(Loads().empty());
    }
    {
        RegisteredOutlookMapi registered(standIn);
        Mapi::NativeBody body;
        ASSERT_EQ(wrap(body), S_OK);
        expectBody(body);
        EXPECT_EQ(Loads(),
                  (std::vector<std::pair<std::wstring, DWORD>>{{standIn, LOAD_WITH_ALTERED_SEARCH_PATH}}));
    }
    Loads().clear();
    {
        // Already in the process, as in Outlook: taken from there.
        HMODULE loaded = ::LoadLibraryW(standIn.c_str());
        ASSERT_NE(loaded, nullptr);
        Mapi::NativeBody body;
        ASSERT_EQ(wrap(body), S_OK);
        expectBody(body);
        body = {};
        ::FreeLibrary(loaded);
        EXPECT_TRUE(Loads().empty());
    }
    Win::ObserveLibraryLoads(nullptr);
    EXPECT_EQ(::GetModuleHandleW(L"msmapi32.dll"), nullptr) << "the body's reference was not given back";
}

// An Outlook attachment of the test whose MAPIOBJECT is `mapi`, which it takes over.
void ExposeMapiObject(FakeObject& attachment, TestMapiProp* mapi) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_UNKNOWN;
    V_UNKNOWN(&v) = mapi;
    attachment.Property(L"MAPIOBJECT", VariantValue(v));
    mapi->Release();
}

TEST(MapiPropWin, AnOleAttachmentReadEndToEnd) {
    FakeObject outlook;
    auto* mapi = new TestMapiProp;
    mapi->SetLong(Mapi::kPR_ATTACH_METHOD, Mapi::kATTACH_OLE);
    mapi->SetText(Mapi::kPR_ATTACH_FILENAME, L"chart.xls");
    mapi->SetLong(Mapi::kPR_RENDERING_POSITION, 12);
    mapi->SetStorage(Mapi::kPR_ATTACH_DATA_OBJ, L"CONTENTS", "spreadsheet");
    ExposeMapiObject(outlook, mapi);

    const AttachmentPtr attachment = AttachmentUtils().Wrap(Win::WrapDispatch(&outlook));
    ASSERT_NE(attachment, nullptr);
    EXPECT_EQ(attachment->GetFileName(), u"chart.xls");
    EXPECT_EQ(attachment->GetID(), u"chart.xls");
    EXPECT_EQ(attachment->GetRenderPosition(), 12);
    EXPECT_EQ(attachment->GetSize(), 11u);
    StringUTF8 bytes;
    attachment->LoadContentTo(bytes);
    EXPECT_EQ(bytes.View(), "spreadsheet");
}

TEST(MapiPropWin, AnAttachedMessageIsSavedThroughTheObjectModel) {
    FakeObject outlook;
    auto* mapi = new TestMapiProp;
    mapi->SetLong(Mapi::kPR_ATTACH_METHOD, Mapi::kATTACH_EMBEDDED_MSG);
    mapi->SetLong(Mapi::kPR_ATTACH_SIZE, 2048);
    ExposeMapiObject(outlook, mapi);
    outlook.Property(L"FileName", VariantValue::Text(L"Re: numbers.msg"));
    outlook.Define(L"SaveAsFile", [](WORD, const std::vector<VariantValue>& args, VARIANT*) {
        if (args.size() != 1 || args[0].Get().vt != VT_BSTR)
            return DISP_E_TYPEMISMATCH;
        return Platform::WriteFile(FromWide(args[0].Text().c_str()), "saved message") ? S_OK : E_FAIL;
    });

    const AttachmentPtr attachment = AttachmentUtils().Wrap(Win::WrapDispatch(&outlook));
    ASSERT_NE(attachment, nullptr);
    EXPECT_EQ(attachment->GetFileName(), u"Re: numbers.msg");
    EXPECT_EQ(attachment->GetMimeType(), u"application/octet-stream");
    // The size is that of the saved message, not the 2048 it declares.
    EXPECT_EQ(attachment->GetSize(), 13u);
    StringUTF8 bytes;
    attachment->LoadContentTo(bytes);
    EXPECT_EQ(bytes.View(), "saved message");
}

} // namespace
} // namespace Tessarix
