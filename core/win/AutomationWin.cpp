#include "core/win/AutomationWin.h"

#include <windows.h>

#include <oleauto.h>

#include <vector>

#include "core/ForeignCode.h"
#include "core/Utf.h"
#include "core/win/ComPtr.h"
#include "core/win/MapiPropWin.h"
#include "core/win/OleTypes.h"

namespace Tessarix::Win {
namespace {

constexpr LCID kLocale = LOCALE_SYSTEM_DEFAULT; // 0x800

// VARIANTs that clear themselves.
class VariantArray {
public:
    explicit VariantArray(std::size_t count) : items_(count) {
        for (auto& item : items_)
            VariantInit(&item);
    }
    ~VariantArray() {
        for (auto& item : items_)
            VariantClear(&item);
    }
    VariantArray(const VariantArray&) = delete;
    VariantArray& operator=(const VariantArray&) = delete;

    VARIANT* Data() { return items_.empty() ? nullptr : items_.data(); }
    VARIANT& operator[](std::size_t i) { return items_[i]; }
    UINT Size() const { return static_cast<UINT>(items_.size()); }

private:
    std::vector<VARIANT> items_;
};

HResult ToValue(const VARIANT& v, Automation::Value& out) {
    switch (V_VT(&v)) {
    case VT_EMPTY:
    case VT_NULL:
        out = std::monostate{};
        return S_OK;
    case VT_BOOL:
        out = V_BOOL(&v) != VARIANT_FALSE;
        return S_OK;
    case VT_I4:
        out = static_cast<std::int32_t>(V_I4(&v));
        return S_OK;
    case VT_INT:
        out = static_cast<std::int32_t>(V_INT(&v));
        return S_OK;
    case VT_UINT:
        out = static_cast<std::int32_t>(V_UINT(&v));
        return S_OK;
    case VT_UI4:
        out = static_cast<std::int32_t>(V_UI4(&v));
        return S_OK;
    case VT_I2:
        out = static_cast<std::int32_t>(V_I2(&v));
        return S_OK;
    case VT_UI2:
        out = static_cast<std::int32_t>(V_UI2(&v));
        return S_OK;
    case VT_I1:
        out = static_cast<std::int32_t>(V_I1(&v));
        return S_OK;
    case VT_UI1:
        out = static_cast<std::int32_t>(V_UI1(&v));
        return S_OK;
    case VT_DATE:
        out = AutomationDate{V_DATE(&v)};
        return S_OK;
    case VT_BSTR:
        out = V_BSTR(&v) ? FromWide(V_BSTR(&v), SysStringLen(V_BSTR(&v))) : std::u16string();
        return S_OK;
    case VT_DISPATCH:
        out = WrapDispatch(V_DISPATCH(&v));
        return S_OK;
    case VT_UNKNOWN: {
        if (!V_UNKNOWN(&v)) {
            out = Automation::ObjectPtr();
            return S_OK;
        }
        ComPtr<IDispatch> dispatch;
        const HResult hr = ComPtr<IUnknown>(V_UNKNOWN(&v)).As(dispatch);
        if (Failed(hr))
            return hr;
        out = WrapDispatch(dispatch.Get());
        return S_OK;
    }
    default:
        return DISP_E_BADVARTYPE;
    }
}

HResult ToVariant(const Automation::Value& value, VARIANT& out) {
    if (std::holds_alternative<std::monostate>(value)) {
        V_VT(&out) = VT_EMPTY;
    } else if (const auto* flag = std::get_if<bool>(&value)) {
        V_VT(&out) = VT_BOOL;
        V_BOOL(&out) = *flag ? VARIANT_TRUE : VARIANT_FALSE;
    } else if (const auto* number = std::get_if<std::int32_t>(&value)) {
        V_VT(&out) = VT_I4;
        V_I4(&out) = *number;
    } else if (const auto* machine = std::get_if<Automation::Int>(&value)) {
        V_VT(&out) = VT_INT;
        V_INT(&out) = machine->value;
    } else if (const auto* date = std::get_if<AutomationDate>(&value)) {
        V_VT(&out) = VT_DATE;
        V_DATE(&out) = date->value;
    } else if (const auto* text = std::get_if<std::u16string>(&value)) {
        BSTR bstr = SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text->data()),
                                      static_cast<UINT>(text->size()));
        if (!bstr)
            return E_OUTOFMEMORY;
        V_VT(&out) = VT_BSTR;
        V_BSTR(&out) = bstr;
    } else if (const auto* object = std::get_if<Automation::ObjectPtr>(&value)) {
        IDispatch* dispatch = DispatchOf(object->get());
        if (*object && !dispatch)
            return E_INVALIDARG; // not an object of this platform
        if (dispatch)
            dispatch->AddRef();
        V_VT(&out) = VT_DISPATCH;
        V_DISPATCH(&out) = dispatch;
    }
    return S_OK;
}

// The object is Outlook's: its members run Outlook's code, not a library the clip calls.
class DispatchObject final : public Automation::IObject {
public:
    explicit DispatchObject(IDispatch* dispatch) : dispatch_(dispatch) {}

    IDispatch* Dispatch() const { return dispatch_.Get(); }

    HResult Get(std::u16string_view name, Automation::Value& result) override {
        Variant value;
        const HResult hr = GetRaw(name, *value.Get());
        return Failed(hr) ? hr : ToValue(*value.Get(), result);
    }

    HResult Call(std::u16string_view name, std::span<const Automation::Value> args,
                 Automation::Value& result) override {
        DISPID id = DISPID_UNKNOWN;
        if (const HResult hr = DispIdOf(name, id); Failed(hr))
            return hr;
        // Invoke takes the arguments last to first.
        VariantArray argv(args.size());
        for (std::size_t i = 0; i < args.size(); ++i) {
            if (const HResult hr = ToVariant(args[i], argv[args.size() - 1 - i]); Failed(hr))
                return hr;
        }
        DISPPARAMS params{argv.Data(), nullptr, argv.Size(), 0};
        Variant value;
        HResult hr;
        {
            const ForeignCodeScope outlook;
            hr = dispatch_->Invoke(id, IID_NULL, kLocale, DISPATCH_METHOD, &params, value.Get(), nullptr,
                                   nullptr);
        }
        return Failed(hr) ? hr : ToValue(*value.Get(), result);
    }

    bool Implements(const Guid& iid) override {
        ComPtr<IUnknown> typed;
        const ForeignCodeScope outlook;
        return SUCCEEDED(dispatch_.As(ToIid(iid), typed));
    }

    HResult GetMapiObject(const Guid& iid, Mapi::PropPtr& object) override {
        object.reset();
        Variant value;
        if (const HResult hr = GetRaw(u"MAPIOBJECT", *value.Get()); Failed(hr))
            return hr;
        IUnknown* unknown = nullptr;
        if (value->vt == VT_UNKNOWN)
            unknown = value->punkVal;
        if (value->vt == VT_DISPATCH)
            unknown = value->pdispVal;
        // Every interface asked for here derives from IMAPIProp.
        ComPtr<IMAPIProp> prop;
        if (unknown && SUCCEEDED(ComPtr<IUnknown>(unknown).As(ToIid(iid), prop)))
            object = WrapMapiProp(prop.Get());
        return S_OK;
    }

private:
    HResult DispIdOf(std::u16string_view name, DISPID& id) {
        std::u16string copy(name);
        LPOLESTR names[] = {const_cast<LPOLESTR>(AsWide(copy))};
        const ForeignCodeScope outlook;
        return dispatch_->GetIDsOfNames(IID_NULL, names, 1, kLocale, &id);
    }

    HResult GetRaw(std::u16string_view name, VARIANT& value) {
        DISPID id = DISPID_UNKNOWN;
        if (const HResult hr = DispIdOf(name, id); Failed(hr))
            return hr;
        DISPPARAMS params{nullptr, nullptr, 0, 0};
        const ForeignCodeScope outlook;
        return dispatch_->Invoke(id, IID_NULL, kLocale, DISPATCH_PROPERTYGET, &params, &value, nullptr,
                                 nullptr);
    }

    ComPtr<IDispatch> dispatch_;
};

} // namespace

Automation::ObjectPtr WrapDispatch(IDispatch* dispatch) {
    if (!dispatch)
        return nullptr;
    return std::make_shared<DispatchObject>(dispatch);
}

IDispatch* DispatchOf(const Automation::IObject* object) {
    const auto* adapter = dynamic_cast<const DispatchObject*>(object);
    return adapter ? adapter->Dispatch() : nullptr;
}

} // namespace Tessarix::Win
