#include "cli/ItemSelection.h"

#include <limits>
#include <stdexcept>

namespace Tessarix::Cli {

namespace {
constexpr HResult kDISP_E_BADPARAMCOUNT = HResultFrom(0x8002000Eu);
}

ObservedItem::ObservedItem(Automation::ObjectPtr item, std::size_t index, Observer touched)
    : item_(std::move(item)), index_(index), touched_(std::move(touched)) {}

HResult ObservedItem::Get(std::u16string_view name, Automation::Value& result) {
    touched_(index_);
    return item_->Get(name, result);
}

HResult ObservedItem::Call(std::u16string_view name, std::span<const Automation::Value> args,
                           Automation::Value& result) {
    touched_(index_);
    return item_->Call(name, args, result);
}

bool ObservedItem::Implements(const Guid& iid) {
    touched_(index_);
    return item_->Implements(iid);
}

HResult ObservedItem::GetMapiObject(const Guid& iid, std::shared_ptr<Mapi::IProp>& object) {
    touched_(index_);
    return item_->GetMapiObject(iid, object);
}

ItemSelection::ItemSelection(std::vector<Automation::ObjectPtr> items) : items_(std::move(items)) {
    if (items_.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        throw std::length_error("too many items for one selection");
}

HResult ItemSelection::Get(std::u16string_view name, Automation::Value& result) {
    if (name != u"Count")
        return Automation::kDISP_E_UNKNOWNNAME;
    result = static_cast<std::int32_t>(items_.size());
    return kS_OK;
}

HResult ItemSelection::Call(std::u16string_view name, std::span<const Automation::Value> args,
                            Automation::Value& result) {
    if (name != u"Item")
        return Automation::kDISP_E_UNKNOWNNAME;
    if (args.size() != 1)
        return kDISP_E_BADPARAMCOUNT;
    const auto index = Automation::TryAsInt(args[0]);
    if (!index)
        return Automation::kDISP_E_TYPEMISMATCH;
    if (*index < 1 || static_cast<std::size_t>(*index) > items_.size())
        return kE_INVALIDARG;
    result = items_[static_cast<std::size_t>(*index) - 1];
    return kS_OK;
}

HResult ItemSelection::GetMapiObject(const Guid&, std::shared_ptr<Mapi::IProp>& object) {
    // A selection has no MAPI object.
    object.reset();
    return Automation::kDISP_E_UNKNOWNNAME;
}

} // namespace Tessarix::Cli
