#include "itemaccess/MapiProperties.h"

#include "core/Log.h"

namespace Tessarix::Global {
namespace {

// The one shape of the four getters. A value of another kind than the tag's type counts as a
// failed read.
template <typename T>
T GetProperty(Mapi::IProp* object, Mapi::PropTag tag, T defaultValue, const char16_t* trace,
              const char16_t* failure) {
    CallTracer tracer(trace);
    if (!object)
        return defaultValue;
    Mapi::PropValue value;
    const HResult hr = object->GetProp(tag, value);
    if (!Failed(hr)) {
        if (const T* typed = std::get_if<T>(&value))
            return *typed;
    } else if (hr == kMAPI_E_NOT_FOUND) {
        return defaultValue;
    }
    Log().Error(failure);
    return defaultValue;
}

} // namespace

std::u16string GetStringProperty(Mapi::IProp* object, Mapi::PropTag tag, const std::u16string& defaultValue) {
    return GetProperty<std::u16string>(object, tag, defaultValue, u"Global::GetStringProperty()",
                                       u"HrGetOneProp() failed in GetStringProperty()!");
}

std::uint32_t GetLongProperty(Mapi::IProp* object, Mapi::PropTag tag, std::uint32_t defaultValue) {
    return GetProperty<std::uint32_t>(object, tag, defaultValue, u"Global::GetLongProperty()",
                                      u"HrGetOneProp() failed in GetLongProperty()!");
}

bool GetBoolProperty(Mapi::IProp* object, Mapi::PropTag tag, bool defaultValue) {
    return GetProperty<bool>(object, tag, defaultValue, u"Global::GetBoolProperty()",
                             u"HrGetOneProp() failed in GetBoolProperty()!");
}

FileTime GetTimeProperty(Mapi::IProp* object, Mapi::PropTag tag, FileTime defaultValue) {
    return GetProperty<FileTime>(object, tag, defaultValue, u"Global::GetTimeProperty()",
                                 u"HrGetOneProp() failed in GetTimeProperty()!");
}

} // namespace Tessarix::Global
