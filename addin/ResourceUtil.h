#pragma once
// The add-in module's images and custom-UI documents as the COM values Office wants.
#include <windows.h>

#include <ocidl.h>
#include <olectl.h>

#include "core/win/ComPtr.h"
#include "core/win/OleTypes.h"

namespace Tessarix::Addin {

namespace ResourceId {
inline constexpr unsigned kButtonMask = 204;    // BITMAP, 16 x 16, 4 bits per pixel
inline constexpr unsigned kButtonPicture = 205; // BITMAP, 16 x 16, 8 bits per pixel
inline constexpr unsigned kRibbonImage = 206;   // "PNG", 32 x 32 RGBA
} // namespace ResourceId

namespace ResourceUtil {

// Each picture owns its bitmap or icon. Failures are thrown as HRESULTs.
Win::ComPtr<IPicture> LoadBitmap(unsigned id);
Win::ComPtr<IPicture> LoadPng(unsigned id);
Win::ComPtr<IPicture> LoadIcon(unsigned id);

// The "XML" resource as text of exactly size / 2 UTF-16 units (its byte-order mark included);
// null when the resource is missing. Out of memory is thrown as E_OUTOFMEMORY.
Win::Bstr LoadRibbon(unsigned id);

} // namespace ResourceUtil
} // namespace Tessarix::Addin
