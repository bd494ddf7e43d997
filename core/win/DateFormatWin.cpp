#include <windows.h>

#include <memory>
#include <oleauto.h>

#include "core/DateFormat.h"
#include "core/Utf.h"

namespace Tessarix::DateText {
namespace {

struct BstrDeleter {
    void operator()(OLECHAR* text) const { SysFreeString(text); }
};
using UniqueBstr = std::unique_ptr<OLECHAR, BstrDeleter>;

} // namespace

std::optional<std::u16string> FormatForUser(double date, unsigned flags) {
    BSTR raw = nullptr;
    const HRESULT hr = VarBstrFromDate(date, LOCALE_USER_DEFAULT, flags, &raw);
    const UniqueBstr text(raw);
    if (FAILED(hr) || !text)
        return std::nullopt;
    return FromWide(text.get(), SysStringLen(text.get()));
}

} // namespace Tessarix::DateText
