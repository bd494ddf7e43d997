// The automation seam over IDispatch, against a scripted automation object.
#include "core/win/AutomationWin.h"

#include <gtest/gtest.h>

#include "ComTestObjects.h"
#include "core/MapiProp.h"
#include "core/win/MapiPropWin.h"
#include "support/win/FakeOutlook.h"

namespace Tessarix {
namespace {

using Addin::Testing::D;
using Addin::Testing::FakeObject;
using Addin::Testing::VariantValue;
using Testing::TestMapiProp;

template <typename Fill> VariantValue Make(VARTYPE type, Fill fill) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = type;
    fill(v);
    return VariantValue(v);
}

TEST(AutomationWin, PropertyGetsTakeEveryAutomationKindAndFailuresPassThrough) {
    FakeObject item, parent;
    item.onlyDefinedNames = true;
    std::vector<WORD> flags;
    item.Define(L"Subject", [&](WORD how, const std::vector<VariantValue>&, VARIANT* result) {
        flags.push_back(how);
        V_VT(result) = VT_BSTR;
        V_BSTR(result) = SysAllocString(L"Quarterly numbers");
        return S_OK;
    });
    item.Property(L"Importance", Make(VT_I4, [](VARIANT& v) { V_I4(&v) = 2; }));
    item.Property(L"Sent", VariantValue::Bool(true));
    item.Property(L"SentOn", VariantValue::Date(40609.5));
    item.Property(L"Size", Make(VT_I2, [](VARIANT& v) { V_I2(&v) = -7; }));
    item.Property(L"CC", VariantValue());
    item.ObjectProperty(L"Parent", D(parent));
    item.Property(L"Price", Make(VT_CY, [](VARIANT& v) { V_CY(&v).int64 = 10000; }));
    const HRESULT denied = HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    item.Failing(L"Body", denied);
    {
        const auto object = Win::WrapDispatch(&item);
        EXPECT_EQ(item.refs, 2); // the object holds one reference, whatever it reads
        EXPECT_EQ(Automation::GetString(*object, u"Subject"), u"Quarterly numbers");
        EXPECT_EQ(Automation::GetInt(*object, u"Importance"), 2);
        EXPECT_TRUE(Automation::GetBool(*object, u"Sent"));
        EXPECT_DOUBLE_EQ(Automation::GetDate(*object, u"SentOn")->value, 40609.5);
        EXPECT_EQ(Automation::GetInt(*object, u"Size"), -7);
        EXPECT_EQ(Automation::GetString(*object, u"CC"), u"");
        const auto child = Automation::GetDispatch(*object, u"Parent");
        ASSERT_NE(child, nullptr);
        EXPECT_EQ(Win::DispatchOf(child.get()), D(parent));

        Automation::Value value;
        EXPECT_EQ(object->Get(u"Price", value), Automation::kDISP_E_BADVARTYPE);
        EXPECT_EQ(object->Get(u"NoSuchProperty", value), Automation::kDISP_E_UNKNOWNNAME);
        EXPECT_EQ(object->Get(u"Body", value), denied);
        EXPECT_THROW(Automation::GetString(*object, u"Body"), HResult);
        EXPECT_EQ(item.namesLocale, static_cast<LCID>(0x800));
        EXPECT_EQ(item.invokeLocale, static_cast<LCID>(0x800));
        EXPECT_EQ(flags, std::vector<WORD>{DISPATCH_PROPERTYGET});
        EXPECT_EQ(item.refs, 2);
    }
    EXPECT_EQ(item.refs, 1);
    EXPECT_EQ(parent.refs, 1);
    EXPECT_EQ(Win::WrapDispatch(nullptr), nullptr);
}

// The scripted object hands the arguments over in their written order, so a call that passed them
// first-first (not last-first, as Invoke wants) reads them swapped.
TEST(AutomationWin, MethodsTakeTheirArgumentsLastFirstAsInvokeWants) {
    FakeObject item, folder;
    std::vector<VariantValue> saveAs, move;
    item.Define(L"SaveAs", [&](WORD flags, const std::vector<VariantValue>& args, VARIANT*) {
        EXPECT_EQ(flags, DISPATCH_METHOD);
        saveAs = args;
        return S_OK;
    });
    item.Define(L"Move", [&](WORD, const std::vector<VariantValue>& args, VARIANT* result) {
        move = args;
        V_VT(result) = VT_BOOL;
        V_BOOL(result) = VARIANT_TRUE;
        return S_OK;
    });
    const auto object = Win::WrapDispatch(&item);

    Automation::CallMethod(*object, u"SaveAs", {std::u16string(u"C:\\temp\\TSX1.tmp"), Automation::Int{9}});
    ASSERT_EQ(saveAs.size(), 2u);
    EXPECT_EQ(saveAs[0].Text(), L"C:\\temp\\TSX1.tmp");
    EXPECT_EQ(saveAs[1].Get().vt, VT_INT);
    EXPECT_EQ(saveAs[1].Get().intVal, 9);

    EXPECT_TRUE(Automation::AsBool(Automation::CallMethod(*object, u"Move", {Win::WrapDispatch(D(folder))})));
    ASSERT_EQ(move.size(), 1u);
    EXPECT_EQ(move[0].Object(), D(folder));
}

TEST(AutomationWin, ImplementsAsksQueryInterface) {
    FakeObject item({Win::ToIid(Outlook::kIID_MailItem)});
    const auto object = Win::WrapDispatch(&item);
    EXPECT_TRUE(object->Implements(Outlook::kIID_MailItem));
    EXPECT_FALSE(object->Implements(Outlook::kIID_TaskItem));
}

TEST(AutomationWin, MapiObjectIsAskedForTheInterfaceGiven) {
    FakeObject attachment;
    auto* mapi = new TestMapiProp;
    attachment.Property(L"MAPIOBJECT", Make(VT_UNKNOWN, [&](VARIANT& v) { V_UNKNOWN(&v) = mapi; }));
    mapi->Release(); // the property's copy holds it
    const auto object = Win::WrapDispatch(&attachment);

    Mapi::PropPtr prop;
    EXPECT_EQ(object->GetMapiObject(Mapi::kIID_IAttachment, prop), S_OK);
    ASSERT_NE(prop, nullptr);
    EXPECT_EQ(Win::MapiPropOf(prop.get()), static_cast<IMAPIProp*>(mapi));

    EXPECT_EQ(object->GetMapiObject(Mapi::kIID_IMessage, prop), S_OK);
    EXPECT_EQ(prop, nullptr);

    FakeObject broken;
    broken.Failing(L"MAPIOBJECT", E_FAIL);
    EXPECT_EQ(Win::WrapDispatch(&broken)->GetMapiObject(Mapi::kIID_IMAPIProp, prop), E_FAIL);
}

} // namespace
} // namespace Tessarix
