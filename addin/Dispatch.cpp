#include "addin/Dispatch.h"

#include <vector>

#include "core/Exceptions.h"
#include "core/ForeignCode.h"

namespace Tessarix::Addin::Dispatch {
namespace {

void ThrowIfHrFailed(HRESULT hr) {
    if (FAILED(hr))
        throw HResultFrom(static_cast<std::uint32_t>(hr));
}

DISPID IdOf(IDispatch* object, const wchar_t* name) {
    if (!object)
        throw kE_POINTER;
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    HRESULT hr;
    {
        // Outlook's and Office's objects run their own code.
        const ForeignCodeScope host;
        hr = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_SYSTEM_DEFAULT, &id);
    }
    ThrowIfHrFailed(hr);
    return id;
}

void Invoke(IDispatch* object, const wchar_t* name, WORD flags, std::initializer_list<Arg> args,
            VARIANT* result) {
    const DISPID id = IdOf(object, name);
    // IDispatch takes the arguments last first.
    std::vector<VARIANT> reversed;
    reversed.reserve(args.size());
    for (auto it = args.end(); it != args.begin();)
        reversed.push_back((--it)->Value());
    DISPPARAMS params{reversed.empty() ? nullptr : reversed.data(), nullptr,
                      static_cast<UINT>(reversed.size()), 0};
    DISPID putId = DISPID_PROPERTYPUT;
    if (flags == DISPATCH_PROPERTYPUT) {
        params.rgdispidNamedArgs = &putId;
        params.cNamedArgs = 1;
    }
    HRESULT hr;
    {
        const ForeignCodeScope host;
        hr = object->Invoke(id, IID_NULL, LOCALE_SYSTEM_DEFAULT, flags, &params, result, nullptr, nullptr);
    }
    ThrowIfHrFailed(hr);
}

Win::ComPtr<IDispatch> ObjectOf(Win::Variant& value) {
    if (value->vt == VT_EMPTY || value->vt == VT_NULL)
        return {};
    if (value->vt != VT_DISPATCH)
        ThrowIfHrFailed(::VariantChangeType(value.Get(), value.Get(), 0, VT_DISPATCH));
    return Win::ComPtr<IDispatch>(value->pdispVal);
}

} // namespace

Arg::Arg() {
    ::VariantInit(&value_);
}

Arg::Arg(const Arg& other) : Arg() {
    ThrowIfHrFailed(::VariantCopy(&value_, const_cast<VARIANT*>(&other.value_)));
}

Arg::~Arg() {
    ::VariantClear(&value_);
}

Arg Arg::Int(std::int32_t value) {
    Arg arg;
    arg.value_.vt = VT_I4;
    arg.value_.lVal = value;
    return arg;
}

Arg Arg::Bool(bool value) {
    Arg arg;
    arg.value_.vt = VT_BOOL;
    arg.value_.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return arg;
}

Arg Arg::Text(std::u16string_view value) {
    Arg arg;
    arg.value_.vt = VT_BSTR;
    arg.value_.bstrVal = Win::Bstr(value).Detach();
    return arg;
}

Arg Arg::Object(IDispatch* value) {
    Arg arg;
    arg.value_.vt = VT_DISPATCH;
    arg.value_.pdispVal = value;
    if (value)
        value->AddRef();
    return arg;
}

Arg Arg::Missing() {
    Arg arg;
    arg.value_.vt = VT_ERROR;
    arg.value_.scode = DISP_E_PARAMNOTFOUND;
    return arg;
}

void GetProperty(IDispatch* object, const wchar_t* name, Win::Variant& result) {
    Invoke(object, name, DISPATCH_PROPERTYGET, {}, result.AddressOf());
}

std::u16string GetString(IDispatch* object, const wchar_t* name) {
    Win::Variant value;
    GetProperty(object, name, value);
    if (value->vt != VT_BSTR)
        ThrowIfHrFailed(::VariantChangeType(value.Get(), value.Get(), 0, VT_BSTR));
    const BSTR text = value->bstrVal;
    return text ? std::u16string(reinterpret_cast<const char16_t*>(text), ::SysStringLen(text))
                : std::u16string();
}

std::int32_t GetInt(IDispatch* object, const wchar_t* name) {
    Win::Variant value;
    GetProperty(object, name, value);
    if (value->vt != VT_I4)
        ThrowIfHrFailed(::VariantChangeType(value.Get(), value.Get(), 0, VT_I4));
    return value->lVal;
}

bool GetBool(IDispatch* object, const wchar_t* name) {
    Win::Variant value;
    GetProperty(object, name, value);
    if (value->vt != VT_BOOL)
        ThrowIfHrFailed(::VariantChangeType(value.Get(), value.Get(), 0, VT_BOOL));
    return value->boolVal != VARIANT_FALSE;
}

Win::ComPtr<IDispatch> GetDispatch(IDispatch* object, const wchar_t* name) {
    Win::Variant value;
    GetProperty(object, name, value);
    return ObjectOf(value);
}

void PutProperty(IDispatch* object, const wchar_t* name, const Arg& value) {
    Invoke(object, name, DISPATCH_PROPERTYPUT, {value}, nullptr);
}

void Call(IDispatch* object, const wchar_t* name, std::initializer_list<Arg> args, Win::Variant& result) {
    Invoke(object, name, DISPATCH_METHOD | DISPATCH_PROPERTYGET, args, result.AddressOf());
}

Win::ComPtr<IDispatch> CallForObject(IDispatch* object, const wchar_t* name,
                                     std::initializer_list<Arg> args) {
    Win::Variant value;
    Call(object, name, args, value);
    return ObjectOf(value);
}

} // namespace Tessarix::Addin::Dispatch
