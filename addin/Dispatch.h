#pragma once
// Late-bound calls on Outlook and Office objects: their interfaces are reached through IDispatch
// by member name, so no Outlook or Office type library is needed. Failures are thrown as HRESULTs.
#include <windows.h>

#include <oaidl.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "core/win/ComPtr.h"
#include "core/win/OleTypes.h"

namespace Tessarix::Addin::Dispatch {

// One argument of a call; it owns what its VARIANT holds.
class Arg {
public:
    static Arg Int(std::int32_t value);
    static Arg Bool(bool value);
    static Arg Text(std::u16string_view value);
    static Arg Object(IDispatch* value);
    // An optional argument left out (VT_ERROR, DISP_E_PARAMNOTFOUND).
    static Arg Missing();

    Arg(const Arg& other);
    Arg& operator=(const Arg&) = delete;
    ~Arg();

    const VARIANT& Value() const { return value_; }

private:
    Arg();
    VARIANT value_;
};

// Property get of `name` without arguments.
void GetProperty(IDispatch* object, const wchar_t* name, Win::Variant& result);
// The property converted to text (VariantChangeType to VT_BSTR).
std::u16string GetString(IDispatch* object, const wchar_t* name);
std::int32_t GetInt(IDispatch* object, const wchar_t* name);
bool GetBool(IDispatch* object, const wchar_t* name);
// An object property; null when the property holds nothing.
Win::ComPtr<IDispatch> GetDispatch(IDispatch* object, const wchar_t* name);

void PutProperty(IDispatch* object, const wchar_t* name, const Arg& value);

// A method call (or a property get with arguments, as collections' Item is) with the arguments in
// their written order.
void Call(IDispatch* object, const wchar_t* name, std::initializer_list<Arg> args, Win::Variant& result);
// The same, for a call that returns an object; null when it returns nothing.
Win::ComPtr<IDispatch> CallForObject(IDispatch* object, const wchar_t* name, std::initializer_list<Arg> args);

} // namespace Tessarix::Addin::Dispatch
