#pragma once
// The opened items as the clip actions see them: each item behind an observer that tells which
// item the clip is working on, and a selection object (Count, Item(i)) over them, as an explorer's
// selection would give them.
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "core/Automation.h"

namespace Tessarix::Cli {

// Forwards everything to `item`; every access first calls `touched(index)`.
class ObservedItem final : public Automation::IObject {
public:
    using Observer = std::function<void(std::size_t index)>;
    ObservedItem(Automation::ObjectPtr item, std::size_t index, Observer touched);

    HResult Get(std::u16string_view name, Automation::Value& result) override;
    HResult Call(std::u16string_view name, std::span<const Automation::Value> args,
                 Automation::Value& result) override;
    bool Implements(const Guid& iid) override;
    HResult GetMapiObject(const Guid& iid, std::shared_ptr<Mapi::IProp>& object) override;

private:
    Automation::ObjectPtr item_;
    std::size_t index_;
    Observer touched_;
};

// Outlook's Selection: Count, and Item(i) for i from 1 (a 32-bit integer, VT_I4 or VT_INT).
class ItemSelection final : public Automation::IObject {
public:
    explicit ItemSelection(std::vector<Automation::ObjectPtr> items);

    HResult Get(std::u16string_view name, Automation::Value& result) override;
    HResult Call(std::u16string_view name, std::span<const Automation::Value> args,
                 Automation::Value& result) override;
    bool Implements(const Guid&) override { return false; }
    HResult GetMapiObject(const Guid&, std::shared_ptr<Mapi::IProp>& object) override;

private:
    std::vector<Automation::ObjectPtr> items_;
};

} // namespace Tessarix::Cli
