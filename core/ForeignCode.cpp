#include "core/ForeignCode.h"

namespace Tessarix {
namespace {

// Saved and restored by each scope. A scope abandoned by someone else's unwind leaves it set; the
// OwnCodeScope that every guard enters starts from "ours" regardless.
thread_local bool t_foreign = false;

} // namespace

ForeignCodeScope::ForeignCodeScope() noexcept : saved_(t_foreign) {
    t_foreign = true;
}

ForeignCodeScope::~ForeignCodeScope() {
    t_foreign = saved_;
}

OwnCodeScope::OwnCodeScope() noexcept : saved_(t_foreign) {
    t_foreign = false;
}

OwnCodeScope::~OwnCodeScope() {
    t_foreign = saved_;
}

bool InForeignCode() noexcept {
    return t_foreign;
}

} // namespace Tessarix
