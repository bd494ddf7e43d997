#pragma once
// The automation-object seam: an Outlook object (item, attachment, collection, selection,
// inspector...) reached by member name, as IDispatch late binding does.
//
// Windows: IDispatch (core/win/AutomationWin.h). A saved-item reader implements it by mapping the
// object-model names to the item's properties; tests use in-memory fakes.
// The interface reports HRESULTs; the helpers below raise them (core/Exceptions.h).
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "core/Exceptions.h"
#include "core/Guid.h"
#include "core/Utils.h"

namespace Tessarix {

namespace Mapi {
class IProp;
}

namespace Automation {

class IObject;
using ObjectPtr = std::shared_ptr<IObject>;

// VT_INT, the machine integer that a few methods insist on (SaveAs's format argument). Results
// of that type come back as plain 32-bit integers.
struct Int {
    std::int32_t value = 0;
};

// VT_EMPTY, VT_BOOL, VT_I4, VT_INT, VT_DATE, VT_BSTR, VT_DISPATCH (a null object is an empty
// ObjectPtr).
using Value =
    std::variant<std::monostate, bool, std::int32_t, Int, AutomationDate, std::u16string, ObjectPtr>;

inline constexpr HResult kDISP_E_UNKNOWNNAME = HResultFrom(0x80020006u);
inline constexpr HResult kDISP_E_TYPEMISMATCH = HResultFrom(0x80020005u);
inline constexpr HResult kDISP_E_BADVARTYPE = HResultFrom(0x80020008u);
inline constexpr HResult kE_NOINTERFACE = HResultFrom(0x80004002u);

class IObject {
public:
    virtual ~IObject() = default;
    // Property get of `name` without arguments.
    virtual HResult Get(std::u16string_view name, Value& result) = 0;
    // Method call of `name` with `args` in their written order.
    virtual HResult Call(std::u16string_view name, std::span<const Value> args, Value& result) = 0;
    // Whether the object answers QueryInterface for `iid` (the Outlook item interfaces below).
    virtual bool Implements(const Guid& iid) = 0;
    // Reads the MAPIOBJECT property and asks it for `iid` (Mapi::kIID_IMAPIProp, kIID_IMessage,
    // kIID_IAttachment). The result is that of the read; when it succeeds but the MAPI object
    // lacks `iid`, `object` is left empty.
    virtual HResult GetMapiObject(const Guid& iid, std::shared_ptr<Mapi::IProp>& object) = 0;
};

// Raising helpers: a failing HRESULT is thrown as the plain integer, and a value of the wrong
// kind as kDISP_E_TYPEMISMATCH.
Value GetProperty(IObject& object, std::u16string_view name);
Value CallMethod(IObject& object, std::u16string_view name, std::initializer_list<Value> args = {});

std::u16string AsString(const Value& value);              // text; empty stays ""
std::int32_t AsInt(const Value& value);                   // VT_I4 or VT_INT
std::optional<std::int32_t> TryAsInt(const Value& value); // VT_I4 or VT_INT; anything else gives none
bool AsBool(const Value& value);                          // VT_BOOL
std::optional<AutomationDate> AsDate(const Value& value); // VT_DATE; empty gives none
ObjectPtr AsObject(const Value& value);                   // VT_DISPATCH; empty gives none

inline std::u16string GetString(IObject& object, std::u16string_view name) {
    return AsString(GetProperty(object, name));
}
inline std::int32_t GetInt(IObject& object, std::u16string_view name) {
    return AsInt(GetProperty(object, name));
}
inline bool GetBool(IObject& object, std::u16string_view name) {
    return AsBool(GetProperty(object, name));
}
inline std::optional<AutomationDate> GetDate(IObject& object, std::u16string_view name) {
    return AsDate(GetProperty(object, name));
}
inline ObjectPtr GetDispatch(IObject& object, std::u16string_view name) {
    return AsObject(GetProperty(object, name));
}

} // namespace Automation

// Outlook's item interfaces, for IObject::Implements.
namespace Outlook {
inline constexpr Guid kIID_MailItem{0x00063034, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kIID_TaskItem{0x00063035, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kIID_ContactItem{0x00063021, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kIID_AppointmentItem{0x00063033, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kIID_NoteItem{0x00063025, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kIID_JournalItem{0x00063022, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr Guid kIID_MeetingItem{0x00063062, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
} // namespace Outlook

} // namespace Tessarix
