// The automation seam over IDispatch, against an automation object of the test.
#include "core/win/AutomationWin.h"

#include <gtest/gtest.h>

#include "ComTestObjects.h"
#include "core/MapiProp.h"
#include "core/win/MapiPropWin.h"

namespace Tessarix {
namespace {

using Testing::TestDispatch;
using Testing::TestMapiProp;

VARIANT Text(const wchar_t* text) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_BSTR;
    V_BSTR(&v) = SysAllocString(text);
    return v;
}

template <typename Fill> VARIANT Make(VARTYPE type, Fill fill) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = type;
    fill(v);
    return v;
}

// Owns the test's own reference to a COM object of the test.
template <typename T> struct Owned {
    T* p = new T;
    ~Owned() { p->Release(); }
    T* operator->() const { return p; }
};

TEST(AutomationWin, PropertyGetsTakeEveryAutomationKind) {
    Owned<TestDispatch> item;
    Owned<TestDispatch> parent;
    VARIANT subject = Text(L"Quarterly numbers");
    item->Property(L"Subject", subject);
    VariantClear(&subject);
    item->Property(L"Importance", Make(VT_I4, [](VARIANT& v) { V_I4(&v) = 2; }));
    item->Property(L"Sent", Make(VT_BOOL, [](VARIANT& v) { V_BOOL(&v) = VARIANT_TRUE; }));
    item->Property(L"SentOn", Make(VT_DATE, [](VARIANT& v) { V_DATE(&v) = 40609.5; }));
    item->Property(L"Size", Make(VT_I2, [](VARIANT& v) { V_I2(&v) = -7; }));
    item->Property(L"CC", Make(VT_EMPTY, [](VARIANT&) {}));
    item->Property(L"Parent", Make(VT_DISPATCH, [&](VARIANT& v) { V_DISPATCH(&v) = parent.p; }));
    item->Property(L"Price", Make(VT_CY, [](VARIANT& v) { V_CY(&v).int64 = 10000; }));
    const auto object = Win::WrapDispatch(item.p);

    EXPECT_EQ(Automation::GetString(*object, u"Subject"), u"Quarterly numbers");
    EXPECT_EQ(Automation::GetInt(*object, u"Importance"), 2);
    EXPECT_TRUE(Automation::GetBool(*object, u"Sent"));
    EXPECT_DOUBLE_EQ(Automation::GetDate(*object, u"SentOn")->value, 40609.5);
    EXPECT_EQ(Automation::GetInt(*object, u"Size"), -7);
    EXPECT_EQ(Automation::GetString(*object, u"CC"), u"");
    const auto child = Automation::GetDispatch(*object, u"Parent");
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(Win::DispatchOf(child.get()), parent.p);

    Automation::Value value;
    EXPECT_EQ(object->Get(u"Price", value), Automation::kDISP_E_BADVARTYPE);
    EXPECT_EQ(object->Get(u"NoSuchProperty", value), Automation::kDISP_E_UNKNOWNNAME);
    EXPECT_EQ(item->namesLocale, static_cast<LCID>(0x800));
    EXPECT_EQ(item->invokeLocale, static_cast<LCID>(0x800));
    for (const WORD flags : item->invokeFlags)
        EXPECT_EQ(flags, DISPATCH_PROPERTYGET);
}

TEST(AutomationWin, FailuresPassThroughUnchanged) {
    Owned<TestDispatch> item;
    const HRESULT denied = HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    item->On(L"Body", [&](WORD, DISPPARAMS*, VARIANT*) { return denied; });
    const auto object = Win::WrapDispatch(item.p);
    Automation::Value value;
    EXPECT_EQ(object->Get(u"Body", value), denied);
    EXPECT_THROW(Automation::GetString(*object, u"Body"), HResult);
}

TEST(AutomationWin, MethodsTakeTheirArgumentsLastFirstAsInvokeWants) {
    Owned<TestDispatch> item;
    Owned<TestDispatch> folder;
    std::vector<VARTYPE> types;
    std::wstring path;
    int format = 0;
    IDispatch* target = nullptr;
    item->On(L"SaveAs", [&](WORD flags, DISPPARAMS* params, VARIANT* result) {
        EXPECT_EQ(flags, DISPATCH_METHOD);
        EXPECT_EQ(params->cNamedArgs, 0u);
        for (UINT i = 0; i < params->cArgs; ++i)
            types.push_back(V_VT(&params->rgvarg[i]));
        path = V_BSTR(&params->rgvarg[1]);
        format = V_INT(&params->rgvarg[0]);
        V_VT(result) = VT_EMPTY;
        return S_OK;
    });
    item->On(L"Move", [&](WORD, DISPPARAMS* params, VARIANT* result) {
        target = V_DISPATCH(&params->rgvarg[0]);
        V_VT(result) = VT_BOOL;
        V_BOOL(result) = VARIANT_TRUE;
        return S_OK;
    });
    const auto object = Win::WrapDispatch(item.p);

    Automation::CallMethod(*object, u"SaveAs", {std::u16string(u"C:\\temp\\TSX1.tmp"), Automation::Int{9}});
    EXPECT_EQ(types, (std::vector<VARTYPE>{VT_INT, VT_BSTR}));
    EXPECT_EQ(path, L"C:\\temp\\TSX1.tmp");
    EXPECT_EQ(format, 9);

    const auto destination = Win::WrapDispatch(folder.p);
    EXPECT_TRUE(Automation::AsBool(Automation::CallMethod(*object, u"Move", {destination})));
    EXPECT_EQ(target, folder.p);
}

TEST(AutomationWin, ImplementsAsksQueryInterface) {
    Owned<TestDispatch> item;
    item->interfaces.push_back(Win::ToIid(Outlook::kIID_MailItem));
    const auto object = Win::WrapDispatch(item.p);
    EXPECT_TRUE(object->Implements(Outlook::kIID_MailItem));
    EXPECT_FALSE(object->Implements(Outlook::kIID_TaskItem));
}

TEST(AutomationWin, TheObjectHoldsOneReference) {
    Owned<TestDispatch> item;
    {
        const auto object = Win::WrapDispatch(item.p);
        EXPECT_EQ(item->refs, 2u);
        Automation::Value value;
        object->Get(u"Anything", value);
        EXPECT_EQ(item->refs, 2u);
    }
    EXPECT_EQ(item->refs, 1u);
    EXPECT_EQ(Win::WrapDispatch(nullptr), nullptr);
}

TEST(AutomationWin, MapiObjectIsAskedForTheInterfaceGiven) {
    Owned<TestDispatch> attachment;
    Owned<TestMapiProp> mapi;
    attachment->Property(L"MAPIOBJECT", Make(VT_UNKNOWN, [&](VARIANT& v) { V_UNKNOWN(&v) = mapi.p; }));
    const auto object = Win::WrapDispatch(attachment.p);

    Mapi::PropPtr prop;
    EXPECT_EQ(object->GetMapiObject(Mapi::kIID_IAttachment, prop), S_OK);
    ASSERT_NE(prop, nullptr);
    EXPECT_EQ(Win::MapiPropOf(prop.get()), static_cast<IMAPIProp*>(mapi.p));

    EXPECT_EQ(object->GetMapiObject(Mapi::kIID_IMessage, prop), S_OK);
    EXPECT_EQ(prop, nullptr);

    Owned<TestDispatch> broken;
    broken->On(L"MAPIOBJECT", [](WORD, DISPPARAMS*, VARIANT*) { return E_FAIL; });
    EXPECT_EQ(Win::WrapDispatch(broken.p)->GetMapiObject(Mapi::kIID_IMAPIProp, prop), E_FAIL);
}

} // namespace
} // namespace Tessarix
