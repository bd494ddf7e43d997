// A stand-in for Outlook's msmapi32.dll with its one export that the add-in calls, exported
// undecorated and called as __stdcall like the real one: on x86 a caller that declared another
// convention would unbalance the stack. It checks what it is handed and gives the stream back.
#include <windows.h>

#include <objidl.h>

namespace {
struct RtfWcsInfo {
    ULONG size;
    ULONG flags;
    ULONG inCodePage;
    ULONG outCodePage;
};
struct RtfWcsRetInfo {
    ULONG size;
    ULONG streamFlags;
};
} // namespace

extern "C" __declspec(dllexport) HRESULT
    __stdcall WrapCompressedRTFStreamEx(IStream* compressed, const RtfWcsInfo* info, IStream** uncompressed,
                                        RtfWcsRetInfo* result) {
    constexpr ULONG kNativeBody = 0x00010000;
    if (!compressed || !info || !uncompressed || !result || info->size != sizeof(RtfWcsInfo) ||
        info->flags != kNativeBody || info->inCodePage != 1252 || result->size != sizeof(RtfWcsRetInfo))
        return E_INVALIDARG;
    compressed->AddRef();
    *uncompressed = compressed;
    result->streamFlags = 2; // HTML
    return S_OK;
}
