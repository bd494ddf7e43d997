#pragma once
// The MAPI property seam over IMAPIProp. HrGetOneProp and MAPIFreeBuffer are looked up in
// "mapi32.dll" at run time, WrapCompressedRTFStreamEx in "msmapi32.dll" on each use.
#include <mapidefs.h>

#include "core/MapiProp.h"

namespace Tessarix::Win {

// Holds a reference to `prop`; a null pointer gives an empty PropPtr.
Mapi::PropPtr WrapMapiProp(IMAPIProp* prop);
// The IMAPIProp behind an object that WrapMapiProp made (no reference added); null for any other.
IMAPIProp* MapiPropOf(const Mapi::IProp* prop);

// IID conversion for the Windows side of the seams.
inline IID ToIid(const Guid& guid) {
    IID iid{};
    iid.Data1 = guid.data1;
    iid.Data2 = guid.data2;
    iid.Data3 = guid.data3;
    for (int i = 0; i < 8; ++i)
        iid.Data4[i] = guid.data4[i];
    return iid;
}

} // namespace Tessarix::Win
