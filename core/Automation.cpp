#include "core/Automation.h"

#include <vector>

namespace Tessarix::Automation {

Value GetProperty(IObject& object, std::u16string_view name) {
    Value result;
    ThrowIfFailed(object.Get(name, result));
    return result;
}

Value CallMethod(IObject& object, std::u16string_view name, std::initializer_list<Value> args) {
    Value result;
    ThrowIfFailed(object.Call(name, std::span<const Value>(args.begin(), args.size()), result));
    return result;
}

std::u16string AsString(const Value& value) {
    if (std::holds_alternative<std::monostate>(value))
        return {};
    if (const auto* text = std::get_if<std::u16string>(&value))
        return *text;
    throw kDISP_E_TYPEMISMATCH;
}

std::optional<std::int32_t> TryAsInt(const Value& value) {
    if (const auto* number = std::get_if<std::int32_t>(&value))
        return *number;
    if (const auto* number = std::get_if<Int>(&value))
        return number->value;
    return std::nullopt;
}

std::int32_t AsInt(const Value& value) {
    if (const auto number = TryAsInt(value))
        return *number;
    throw kDISP_E_TYPEMISMATCH;
}

bool AsBool(const Value& value) {
    if (const auto* flag = std::get_if<bool>(&value))
        return *flag;
    throw kDISP_E_TYPEMISMATCH;
}

std::optional<AutomationDate> AsDate(const Value& value) {
    if (std::holds_alternative<std::monostate>(value))
        return std::nullopt;
    if (const auto* date = std::get_if<AutomationDate>(&value))
        return *date;
    throw kDISP_E_TYPEMISMATCH;
}

ObjectPtr AsObject(const Value& value) {
    if (std::holds_alternative<std::monostate>(value))
        return nullptr;
    if (const auto* object = std::get_if<ObjectPtr>(&value))
        return *object;
    throw kDISP_E_TYPEMISMATCH;
}

} // namespace Tessarix::Automation
