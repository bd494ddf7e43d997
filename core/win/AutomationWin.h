#pragma once
// The automation-object seam over IDispatch late binding (GetIDsOfNames, then Invoke, both with
// LOCALE_SYSTEM_DEFAULT).
#include <oaidl.h>

#include "core/Automation.h"

namespace Tessarix::Win {

// Holds a reference to `dispatch`; a null pointer gives an empty ObjectPtr.
Automation::ObjectPtr WrapDispatch(IDispatch* dispatch);
// The IDispatch behind an object that WrapDispatch made (no reference added); null for any other.
IDispatch* DispatchOf(const Automation::IObject* object);

} // namespace Tessarix::Win
